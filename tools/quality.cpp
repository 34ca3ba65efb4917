// tav-quality: how close each demosaicing method comes to the picture it
// started from. Every picture is mosaicked in each Bayer phase, demosaicked
// to RGB8 through tavDemosaic, and scored by CPSNR (R, G and B together,
// peak 255) over the whole frame and with a border cropped.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "chart.h"
#include "cli.h"
#include "image_io.h"
#include "tav_api.h"
#include "tiff.h"

namespace tavcli {
namespace {

struct Phase {
    const char* name;
    uint32_t format;
    int redY, redX;  // where the red site of each 2x2 cell is
};
constexpr Phase kPhases[] = {{"RG", TAV_PF_BAYER_RG8, 0, 0},
                             {"GR", TAV_PF_BAYER_GR8, 0, 1},
                             {"GB", TAV_PF_BAYER_GB8, 1, 0},
                             {"BG", TAV_PF_BAYER_BG8, 1, 1}};

struct Method {
    uint32_t value;
    const char* name;
};
constexpr Method kMethods[] = {{TAV_METHOD_NEAREST, "nearest"},
                               {TAV_METHOD_BILINEAR, "bilinear"},
                               {TAV_METHOD_EDGE, "edge"},
                               {TAV_METHOD_HQ, "hq"}};

std::vector<uint8_t> mosaic(const Raster& rgb, const Phase& p) {
    std::vector<uint8_t> raw(size_t(rgb.width) * rgb.height);
    for (int32_t y = 0; y < rgb.height; ++y) {
        for (int32_t x = 0; x < rgb.width; ++x) {
            const bool redRow = (y & 1) == p.redY, redCol = (x & 1) == p.redX;
            const int channel = redRow && redCol ? 0 : !redRow && !redCol ? 2 : 1;
            raw[size_t(y) * rgb.width + x] = rgb.data[(size_t(y) * rgb.width + x) * 3 + channel];
        }
    }
    return raw;
}

// CPSNR of `out` against `ref` (both RGB8) over the frame less `border` pixels
// on every side; infinite when identical.
double cpsnr(const Raster& ref, const std::vector<uint8_t>& out, int border) {
    double sum = 0;
    size_t n = 0;
    for (int32_t y = border; y < ref.height - border; ++y) {
        for (int32_t x = border; x < ref.width - border; ++x) {
            const size_t i = (size_t(y) * ref.width + x) * 3;
            for (int c = 0; c < 3; ++c) {
                const double d = double(out[i + c]) - double(ref.data[i + c]);
                sum += d * d;
            }
            n += 3;
        }
    }
    if (n == 0) return std::nan("");
    return sum == 0 ? INFINITY : 10.0 * std::log10(255.0 * 255.0 * double(n) / sum);
}

Raster readPicture(const std::string& path) {
    const std::vector<uint8_t> head = readFile(path);
    if (looksLikeTiff(head)) return toRgb8(readTiff(path));
    if (looksLikePng(head)) return toRgb8(readPng(path));
    throw Failure(path + ": neither PNG nor TIFF");
}

std::vector<std::string> split(const std::string& text) {
    std::vector<std::string> parts;
    size_t start = 0;
    for (;;) {
        const size_t comma = text.find(',', start);
        parts.push_back(text.substr(start, comma - start));
        if (comma == std::string::npos) return parts;
        start = comma + 1;
    }
}

struct Score {
    double whole = 0, cropped = 0;
};

int run(const std::vector<std::string>& argv) {
    bool help = false;
    const Args args = [&] {
        try {
            return Args(argv, {"phases", "methods", "border"}, {"per-phase"});
        } catch (const HelpRequested&) {
            help = true;
            return Args({}, {});
        }
    }();
    if (help || args.positional().empty()) {
        std::printf(
            "usage: tav-quality [--phases RG,GR,GB,BG] [--methods 0,1,2] [--border N]\n"
            "                   [--per-phase] PICTURE...\n"
            "  PICTURE: PNG or 8-bit TIFF. Prints CPSNR in dB (whole frame / border of N\n"
            "  pixels cropped, default 10) per picture and method, averaged over the\n"
            "  phases, and the mean over the pictures.\n");
        return help ? 0 : 2;
    }
    const int border = args.integer("border", 0, 1000, 10);
    std::vector<Phase> phases;
    for (const std::string& name : split(args.get("phases", "RG,GR,GB,BG"))) {
        bool found = false;
        for (const Phase& p : kPhases) {
            if (name == p.name) {
                phases.push_back(p);
                found = true;
            }
        }
        if (!found) throw usageError("unknown phase " + name);
    }
    std::vector<Method> methods;
    if (!args.has("methods")) methods.assign(std::begin(kMethods), std::end(kMethods));
    for (const std::string& text :
         args.has("methods") ? split(args.get("methods")) : std::vector<std::string>{}) {
        const uint32_t v = static_cast<uint32_t>(std::stoul(text));
        const char* name = "?";
        for (const Method& m : kMethods) {
            if (m.value == v) name = m.name;
        }
        methods.push_back({v, name});
    }

    std::printf("%-24s", "picture");
    for (const Method& m : methods) std::printf(" %9s whole/crop", m.name);
    std::printf("\n");
    std::vector<Score> mean(methods.size());
    for (const std::string& path : args.positional()) {
        const Raster ref = readPicture(path);
        std::vector<Score> scores(methods.size());
        for (const Phase& p : phases) {
            std::vector<uint8_t> raw = mosaic(ref, p);
            if (args.flag("per-phase")) std::printf("%-21s %s", baseName(path).c_str(), p.name);
            for (size_t k = 0; k < methods.size(); ++k) {
                std::vector<uint8_t> out(raw.size() * 3);
                TavFrame in, dst;
                tavFrameInit(&in, p.format, ref.width, ref.height, raw.data());
                tavFrameInit(&dst, TAV_PF_RGB8, ref.width, ref.height, out.data());
                TavOptions options;
                tavOptionsInit(&options);
                options.method = methods[k].value;
                const int32_t rc = tavDemosaic(&in, &dst, &options);
                if (rc != TAV_OK) throw Failure(path + ": " + tavResultText(rc));
                const Score s{cpsnr(ref, out, 0), cpsnr(ref, out, border)};
                if (args.flag("per-phase")) std::printf(" %9.2f / %6.2f", s.whole, s.cropped);
                scores[k].whole += s.whole / phases.size();
                scores[k].cropped += s.cropped / phases.size();
            }
            if (args.flag("per-phase")) std::printf("\n");
        }
        std::printf("%-24s", baseName(path).c_str());
        for (size_t k = 0; k < methods.size(); ++k) {
            std::printf(" %9.2f / %6.2f", scores[k].whole, scores[k].cropped);
            mean[k].whole += scores[k].whole / args.positional().size();
            mean[k].cropped += scores[k].cropped / args.positional().size();
        }
        std::printf("\n");
    }
    std::printf("%-24s", "mean");
    for (const Score& s : mean) std::printf(" %9.2f / %6.2f", s.whole, s.cropped);
    std::printf("\n");
    return 0;
}

}  // namespace
}  // namespace tavcli

int main(int argc, char** argv) {
    try {
        return tavcli::run(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const tavcli::Failure& f) {
        std::fprintf(stderr, "tav-quality: %s\n", f.what());
        return f.usage ? 2 : 1;
    }
}
