#include "image_io.h"

#include <png.h>

#include <cstring>

#include "cli.h"

namespace tavcli {
namespace {

struct PngErrors {
    std::string message;
};

void onPngError(png_structp png, png_const_charp text) {
    static_cast<PngErrors*>(png_get_error_ptr(png))->message = text;
    png_longjmp(png, 1);
}

void onPngWarning(png_structp, png_const_charp) {}

// libpng reports errors by longjmp: nothing with a destructor may be created
// between setjmp and the end of these two functions.
bool encodePng(FILE* out, png_bytep* rows, int32_t width, int32_t height, int channels,
               int bitDepth, bool bgr, int significantBits, bool fast, PngErrors& errors) {
    png_structp png =
        png_create_write_struct(PNG_LIBPNG_VER_STRING, &errors, onPngError, onPngWarning);
    if (!png) return false;
    png_infop info = png_create_info_struct(png);
    if (!info || setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_init_io(png, out);
    if (fast) {
        png_set_compression_level(png, 1);
        png_set_filter(png, 0, PNG_FILTER_SUB);
    }
    const int type = channels == 1   ? PNG_COLOR_TYPE_GRAY
                     : channels == 4 ? PNG_COLOR_TYPE_RGB_ALPHA
                                     : PNG_COLOR_TYPE_RGB;
    png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height),
                 bitDepth, type, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    if (bitDepth == 16 && significantBits > 0 && significantBits < 16) {
        png_color_8 sig;
        std::memset(&sig, 0, sizeof sig);
        sig.red = sig.green = sig.blue = sig.gray = static_cast<png_byte>(significantBits);
        if (channels == 4) sig.alpha = static_cast<png_byte>(significantBits);
        png_set_sBIT(png, info, &sig);
    }
    png_write_info(png, info);
    if (bitDepth == 16) png_set_swap(png);
    if (bgr) png_set_bgr(png);
    png_write_image(png, rows);
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return true;
}

struct PngHeader {
    png_uint_32 width = 0, height = 0;
    int channels = 0, bitDepth = 0, significantBits = 0;
};

bool decodePng(FILE* in, std::vector<uint8_t>& pixels, std::vector<png_bytep>& rows,
               PngHeader& header, PngErrors& errors) {
    png_structp png =
        png_create_read_struct(PNG_LIBPNG_VER_STRING, &errors, onPngError, onPngWarning);
    if (!png) return false;
    png_infop info = png_create_info_struct(png);
    if (!info || setjmp(png_jmpbuf(png))) {
        png_destroy_read_struct(&png, &info, nullptr);
        return false;
    }
    png_init_io(png, in);
    png_set_user_limits(png, 32768, 32768);
    png_read_info(png, info);
    const int type = png_get_color_type(png, info);
    if (type == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(png);
    if (type == PNG_COLOR_TYPE_GRAY && png_get_bit_depth(png, info) < 8) {
        png_set_expand_gray_1_2_4_to_8(png);
    }
    if (png_get_valid(png, info, PNG_INFO_tRNS)) png_set_tRNS_to_alpha(png);
    if (!(type & PNG_COLOR_MASK_COLOR) &&
        ((type & PNG_COLOR_MASK_ALPHA) || png_get_valid(png, info, PNG_INFO_tRNS))) {
        png_set_strip_alpha(png);
    }
    png_color_8p sig = nullptr;
    if (png_get_bit_depth(png, info) == 16 && png_get_sBIT(png, info, &sig) && sig) {
        header.significantBits = (type & PNG_COLOR_MASK_COLOR) ? sig->green : sig->gray;
    }
    png_set_swap(png);
    png_read_update_info(png, info);
    header.width = png_get_image_width(png, info);
    header.height = png_get_image_height(png, info);
    header.channels = png_get_channels(png, info);
    header.bitDepth = png_get_bit_depth(png, info);
    const size_t rowBytes = png_get_rowbytes(png, info);
    pixels.resize(rowBytes * header.height);
    rows.resize(header.height);
    for (png_uint_32 r = 0; r < header.height; ++r) rows[r] = pixels.data() + r * rowBytes;
    png_read_image(png, rows.data());
    png_read_end(png, nullptr);
    png_destroy_read_struct(&png, &info, nullptr);
    return true;
}

}  // namespace

bool looksLikePng(const std::vector<uint8_t>& file) {
    static const uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    return file.size() >= 8 && std::memcmp(file.data(), kSignature, 8) == 0;
}

void writePng(const std::string& path, const void* pixels, int32_t width, int32_t height,
              int channels, int bitDepth, bool bgr, int significantBits, bool fast) {
    const size_t rowBytes = size_t(width) * channels * (bitDepth / 8);
    std::vector<png_bytep> rows(height);
    auto* base = static_cast<png_bytep>(const_cast<void*>(pixels));
    for (int32_t r = 0; r < height; ++r) rows[r] = base + r * rowBytes;
    OutputFile out(path);
    PngErrors errors;
    if (!encodePng(out.stream(), rows.data(), width, height, channels, bitDepth, bgr,
                   significantBits, fast, errors)) {
        throw Failure("cannot write PNG " + path + ": " + errors.message);
    }
    out.commit();
}

void writePng(const std::string& path, const Raster& image, bool fast) {
    writePng(path, image.data.data(), image.width, image.height, image.channels, image.bitDepth,
             image.bgr, image.significantBits, fast);
}

Raster readPng(const std::string& path) {
    FILE* in = std::fopen(path.c_str(), "rb");
    if (!in) throw Failure("cannot read " + path + ": " + std::strerror(errno));
    Raster image;
    std::vector<png_bytep> rows;
    PngHeader header;
    PngErrors errors;
    const bool ok = decodePng(in, image.data, rows, header, errors);
    std::fclose(in);
    if (!ok) throw Failure("cannot read PNG " + path + ": " + errors.message);
    image.width = static_cast<int32_t>(header.width);
    image.height = static_cast<int32_t>(header.height);
    image.channels = header.channels;
    image.bitDepth = header.bitDepth;
    image.significantBits = header.significantBits;
    return image;
}

void writePnm(const std::string& path, const uint8_t* pixels, int32_t width, int32_t height,
              int channels) {
    OutputFile out(path);
    const std::string header = std::string(channels == 1 ? "P5" : "P6") + "\n" +
                               std::to_string(width) + " " + std::to_string(height) + "\n255\n";
    out.write(header.data(), header.size());
    out.write(pixels, size_t(width) * height * channels);
    out.commit();
}

void writeBmp(const std::string& path, const uint8_t* bgr, int32_t width, int32_t height) {
    const uint32_t row = 3u * uint32_t(width), padded = (row + 3u) & ~3u;
    const uint32_t bytes = padded * uint32_t(height);
    uint8_t header[54] = {'B', 'M'};
    auto put = [&](int at, uint32_t v, int n) {
        for (int k = 0; k < n; ++k) header[at + k] = uint8_t(v >> (8 * k));
    };
    put(2, 54 + bytes, 4);
    put(10, 54, 4);
    put(14, 40, 4);
    put(18, uint32_t(width), 4);
    put(22, uint32_t(-height), 4);  // negative: rows top to bottom
    put(26, 1, 2);
    put(28, 24, 2);
    put(34, bytes, 4);
    put(38, 2835, 4);  // 72 dpi
    put(42, 2835, 4);
    OutputFile out(path);
    out.write(header, sizeof header);
    const uint8_t zeros[3] = {};
    for (int32_t y = 0; y < height; ++y) {
        out.write(bgr + size_t(y) * row, row);
        out.write(zeros, padded - row);
    }
    out.commit();
}

}  // namespace tavcli
