// `tav convert`: between raw files and PNG, through tavImageTypeConvert
// where the pixel format changes.
#include <algorithm>
#include <cstring>

#include "cli.h"
#include "commands.h"
#include "formats.h"
#include "image_io.h"
#include "tav.h"
#include "tool_features.h"

namespace tavcli {
namespace {

struct Frame {
    const FormatInfo* format = nullptr;
    int32_t width = 0, height = 0;
    std::vector<uint8_t> bytes;
};

bool isMonoWord(const FormatInfo& f) {
    return f.layout == Layout::Word && f.phase == Phase::None;
}

// Formats a PNG holds without loss: grey, colour, colour and alpha at 8 bits,
// and 10- to 16-bit grey (samples at the top of the word, depth in sBIT).
bool pngHolds(const FormatInfo& f) {
    switch (f.code) {
        case TAV_PF_MONO8:
        case TAV_PF_RGB8:
        case TAV_PF_BGR8:
        case TAV_PF_RGBA8:
        case TAV_PF_BGRA8:
            return true;
    }
    return isMonoWord(f);
}

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
    if (png.channels != 1) {
        throw Failure(path + " is a 16-bit colour PNG; only 16-bit grey has a raw format here");
    }
    const int bits =
        png.significantBits >= 10 && png.significantBits <= 14 && png.significantBits % 2 == 0
            ? png.significantBits
            : 16;
    f.format = findFormat(bits == 10   ? TAV_PF_MONO10
                          : bits == 12 ? TAV_PF_MONO12
                          : bits == 14 ? TAV_PF_MONO14
                                       : TAV_PF_MONO16);
    f.bytes.resize(2 * n);
    auto* words = reinterpret_cast<uint16_t*>(f.bytes.data());
    std::memcpy(words, png.data.data(), 2 * n);
    for (size_t i = 0; i < n; ++i) words[i] = static_cast<uint16_t>(words[i] >> (16 - bits));
    return f;
}

void writeFramePng(const std::string& path, const FormatInfo& format, int32_t width, int32_t height,
                   std::vector<uint8_t>& bytes) {
    if (isMonoWord(format)) {
        auto* words = reinterpret_cast<uint16_t*>(bytes.data());
        const size_t n = size_t(width) * height;
        for (size_t i = 0; i < n; ++i)
            words[i] = static_cast<uint16_t>(words[i] << (16 - format.bits));
        writePng(path, words, width, height, 1, 16, false, format.bits);
        return;
    }
    const int channels = format.layout == Layout::Byte ? 1 : format.layout == Layout::Byte4 ? 4 : 3;
    const bool bgr = format.code == TAV_PF_BGR8 || format.code == TAV_PF_BGRA8;
    writePng(path, bytes.data(), width, height, channels, 8, bgr);
}

}  // namespace

int runConvert(const std::vector<std::string>& argv) {
    Args args(argv, {"format", "width", "height", "to", "o"});
    if (args.positional().size() != 1) throw usageError("tav convert takes one input file");
    const std::string input = args.positional()[0];

    std::vector<uint8_t> file = readFile(input);
    Frame frame;
    if (looksLikePng(file)) {
        frame = framePng(input);
    } else {
        frame.format = &parseFormat(args.required("format"));
        frame.width = args.integer("width", 1, 1 << 20, 0);
        frame.height = args.integer("height", 1, 1 << 20, 0);
        if (!args.has("width") || !args.has("height")) {
            throw usageError("missing --width or --height (needed for raw input)");
        }
        const uint64_t need = compactFrameBytes(frame.format->layout, frame.width, frame.height);
        if (file.size() < need) {
            throw Failure(input + " has " + std::to_string(file.size()) + " bytes, but a " +
                          std::to_string(frame.width) + "x" + std::to_string(frame.height) + " " +
                          frame.format->name + " frame needs " + std::to_string(need));
        }
        frame.bytes = std::move(file);
    }
    if (uint64_t(frame.width) * uint64_t(frame.height) > 0x7FFFFFFFull / 8) {
        throw usageError("frame too large");
    }

    const std::string out = args.get("o");
    const bool toPng = extension(out) == "png";
    const FormatInfo* target = nullptr;
    if (args.has("to")) {
        target = &parseFormat(args.get("to"));
    } else if (!toPng || pngHolds(*frame.format)) {
        target = frame.format;
    } else {
        throw usageError("missing --to: a PNG cannot hold " + std::string(frame.format->name));
    }
    if (toPng && !pngHolds(*target)) {
        throw usageError("unsupported combination: a PNG cannot hold " + std::string(target->name) +
                         " (Mono8, RGB8, BGR8, RGBa8, BGRa8 or Mono10..16)");
    }
    const std::string path = !out.empty() ? out
                                          : joinPath(input.find('/') == std::string::npos
                                                         ? ""
                                                         : input.substr(0, input.find_last_of('/')),
                                                     stem(input) + "." + target->name + ".raw");

    const size_t pixels = size_t(frame.width) * frame.height;
    std::vector<uint8_t> result;
    if (target == frame.format) {
        result = frame.bytes;
        result.resize(compactFrameBytes(target->layout, frame.width, frame.height));
    } else {
#if TAV_TOOL_CONVERT
        if (!(frame.format->roles & kConvertSource) || !(target->roles & kConvertTarget)) {
            throw usageError("unsupported combination: " + std::string(frame.format->name) +
                             " to " + target->name + " (tav formats lists what each can become)");
        }
        // A point list ends at a zero record or after width x height / 4 records.
        frame.bytes.resize(frame.bytes.size() + pixels + 64, 0);
        result.resize(std::max<uint64_t>(
            compactFrameBytes(target->layout, frame.width, frame.height), pixels));
        std::string printed;
        const int32_t rc = convertPixels(*frame.format, frame.bytes.data(), frame.width,
                                         frame.height, *target, result.data(), printed);
        if (rc != TAV_OK) {
            throw Failure(input + ": the library refused " + frame.format->name + " to " +
                          target->name + ": " + describeFailure(rc, printed));
        }
        result.resize(compactFrameBytes(target->layout, frame.width, frame.height));
#else
        (void)pixels;
        throw Failure("converting " + std::string(frame.format->name) + " to " + target->name +
                      " needs tavImageTypeConvert, which this library build does not have");
#endif
    }
    if (toPng) {
        writeFramePng(path, *target, frame.width, frame.height, result);
    } else {
        writeWholeFile(path, result.data(), result.size());
    }
    return 0;
}

}  // namespace tavcli
