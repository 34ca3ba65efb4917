// `tav convert`: between raw files and PNG, BMP, PPM/PGM, through tavConvert
// where the pixel format changes.
#include <algorithm>
#include <cstring>

#include "cli.h"
#include "commands.h"
#include "formats.h"
#include "image_io.h"
#include "raw_input.h"
#include "tav_api.h"

namespace tavcli {
namespace {

struct Frame {
    const FormatInfo* format = nullptr;
    int32_t width = 0, height = 0;
    std::vector<uint8_t> bytes;  // compact
};

bool isMonoWord(const FormatInfo& f) {
    return f.layout == Layout::Word && f.phase == Phase::None;
}

// Formats a PNG holds without loss: grey, colour, colour and alpha at 8 bits,
// and 10- to 16-bit grey and colour (samples at the top of the word, depth in sBIT).
bool pngHolds(const FormatInfo& f) {
    switch (f.code) {
        case TAV_PF_MONO8:
        case TAV_PF_RGB8:
        case TAV_PF_BGR8:
        case TAV_PF_RGBA8:
        case TAV_PF_BGRA8:
            return true;
    }
    return isMonoWord(f) || f.layout == Layout::Word3;
}

// What a PNG of tav's (or anyone's) holds, as a raw format.
Frame framePng(const std::string& path) {
    Raster png = readPng(path);
    Frame f;
    f.width = png.width;
    f.height = png.height;
    const size_t n = size_t(png.width) * png.height;
    if (png.bitDepth == 8) {
        const uint32_t code = png.channels == 1   ? TAV_PF_MONO8
                              : png.channels == 3 ? TAV_PF_RGB8
                                                  : TAV_PF_RGBA8;
        f.format = findFormat(code);
        f.bytes = std::move(png.data);
        return f;
    }
    if (png.channels == 4)
        throw Failure(path + ": 16-bit colour with alpha has no raw format here");
    const int sig = png.significantBits;
    const int bits = png.channels == 1 ? (sig >= 10 && sig <= 14 && sig % 2 == 0 ? sig : 16)
                                       : (sig == 10 || sig == 12 ? sig : 16);
    f.format = findFormat(png.channels == 1 ? (bits == 10   ? TAV_PF_MONO10
                                               : bits == 12 ? TAV_PF_MONO12
                                               : bits == 14 ? TAV_PF_MONO14
                                                            : TAV_PF_MONO16)
                                            : (bits == 10   ? TAV_PF_RGB10
                                               : bits == 12 ? TAV_PF_RGB12
                                                            : TAV_PF_RGB16));
    const size_t count = n * png.channels;
    f.bytes.resize(2 * count);
    auto* words = reinterpret_cast<uint16_t*>(f.bytes.data());
    std::memcpy(words, png.data.data(), 2 * count);
    for (size_t i = 0; i < count; ++i) words[i] = static_cast<uint16_t>(words[i] >> (16 - bits));
    return f;
}

// A raw frame: the one the layout options pick, compact, with bit streams
// and packed samples as 16-bit words.
Frame frameRaw(const Args& args, const std::string& input) {
    const RawLayout layout = parseRawLayout(args);
    if (layout.all) throw usageError("tav convert writes one frame: pick it with --frame N");
    const FormatInfo& f = *layout.format;
    Frame out;
    out.width = layout.width;
    out.height = layout.height;
    const int64_t index = framesToRead(layout, fileSize(input), input).front();
    const std::vector<uint8_t> file = readFrame(layout, input, index);
    const bool unpack = f.layout == Layout::Packed || f.layout == Layout::BitStream;
    std::vector<uint16_t> words;
    const TavFrame frame = frameOf(layout, file, unpack, words, input, "convert");
    out.format = findFormat(frame.format);
    out.bytes = compactBytes(frame, *out.format);
    return out;
}

void writeFramePng(const std::string& path, const FormatInfo& format, int32_t width, int32_t height,
                   std::vector<uint8_t>& bytes) {
    const bool bgr = format.code == TAV_PF_BGR8 || format.code == TAV_PF_BGRA8 ||
                     format.code == TAV_PF_BGR10 || format.code == TAV_PF_BGR12 ||
                     format.code == TAV_PF_BGR16;
    if (format.layout == Layout::Word || format.layout == Layout::Word3) {
        const int channels = format.layout == Layout::Word ? 1 : 3;
        auto* words = reinterpret_cast<uint16_t*>(bytes.data());
        const size_t n = size_t(width) * height * channels;
        for (size_t i = 0; i < n; ++i)
            words[i] = static_cast<uint16_t>(words[i] << (16 - format.bits));
        writePng(path, words, width, height, channels, 16, bgr, format.bits);
        return;
    }
    const int channels = format.layout == Layout::Byte ? 1 : format.layout == Layout::Byte4 ? 4 : 3;
    writePng(path, bytes.data(), width, height, channels, 8, bgr);
}

}  // namespace

int runConvert(const std::vector<std::string>& argv) {
    std::vector<std::string> valued = kRawOptions;
    valued.insert(valued.end(), {"to", "o"});
    Args args(argv, valued, kRawFlags);
    if (args.positional().size() != 1) throw usageError("tav convert takes one input file");
    const std::string input = args.positional()[0];

    const bool png = looksLikePng(readFile(input, 0, 8));
    for (const std::string& option : kRawOptions) {
        if (png && args.has(option)) {
            throw usageError("--" + option + " is for raw frames; " + input +
                             " is a PNG and says its own");
        }
    }
    Frame frame = png ? framePng(input) : frameRaw(args, input);

    const std::string out = args.get("o");
    const std::string ext = out.empty() || out == "-" ? "raw" : extension(out);
    if (ext != "png" && ext != "raw" && ext != "bmp" && ext != "ppm" && ext != "pgm") {
        throw usageError("cannot tell the file type of " + out +
                         ": tav convert writes .png, .bmp, .ppm, .pgm and .raw files");
    }
    const FormatInfo* target = nullptr;
    if (args.has("to")) {
        target = &parseFormat(args.get("to"));
    } else if (ext == "bmp") {
        target = findFormat(TAV_PF_BGR8);
    } else if (ext == "ppm") {
        target = findFormat(TAV_PF_RGB8);
    } else if (ext == "pgm") {
        target = findFormat(TAV_PF_MONO8);
    } else if (ext == "raw" || pngHolds(*frame.format)) {
        target = frame.format;
    } else {
        throw usageError("a PNG cannot hold " + std::string(frame.format->name) +
                         ": name the pixel format to write with --to");
    }
    const uint32_t needs = ext == "bmp"   ? TAV_PF_BGR8
                           : ext == "ppm" ? TAV_PF_RGB8
                           : ext == "pgm" ? TAV_PF_MONO8
                                          : 0;
    if ((needs && target->code != needs) || (ext == "png" && !pngHolds(*target))) {
        throw usageError("a ." + ext + " file cannot hold " + std::string(target->name) +
                         (ext == "png" ? " (Mono8, RGB8, BGR8, RGBa8, BGRa8, Mono10..16, RGB10..16)"
                                       : std::string(" (") + findFormat(needs)->name + " only)"));
    }
    const std::string path = !out.empty() ? out
                                          : joinPath(input.find('/') == std::string::npos
                                                         ? ""
                                                         : input.substr(0, input.find_last_of('/')),
                                                     stem(input) + "." + target->name + ".raw");
    checkOutputPath(path);

    std::vector<uint8_t> result;
    if (target == frame.format) {
        result = std::move(frame.bytes);
    } else {
        if (!(frame.format->roles & kConvertSource) || !(target->roles & kConvertTarget)) {
            throw usageError("tav convert cannot turn " + std::string(frame.format->name) +
                             " into " + target->name + " (tav formats lists what each becomes)");
        }
        result.resize(compactFrameBytes(*target, frame.width, frame.height));
        TavFrame src, dst;
        tavFrameInit(&src, frame.format->code, frame.width, frame.height, frame.bytes.data());
        tavFrameInit(&dst, target->code, frame.width, frame.height, result.data());
        const int32_t rc = tavConvert(&src, &dst, nullptr);
        if (rc != TAV_OK) {
            throw usageError(std::string(tavResultText(rc)) + " (" + frame.format->name + " to " +
                             target->name + ", " + std::to_string(frame.width) + "x" +
                             std::to_string(frame.height) + ")");
        }
    }
    if (ext == "png") {
        writeFramePng(path, *target, frame.width, frame.height, result);
    } else if (ext == "bmp") {
        writeBmp(path, result.data(), frame.width, frame.height);
    } else if (ext == "ppm" || ext == "pgm") {
        writePnm(path, result.data(), frame.width, frame.height, ext == "ppm" ? 3 : 1);
    } else {
        writeWholeFile(path, result.data(), result.size());
    }
    std::fprintf(out == "-" ? stderr : stdout, "tav convert: wrote %s (%dx%d %s, .%s)\n",
                 out == "-" ? "standard output" : path.c_str(), frame.width, frame.height,
                 target->name, ext.c_str());
    return 0;
}

}  // namespace tavcli
