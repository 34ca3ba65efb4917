#include "formats.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <strings.h>

#include "cli.h"
#include "tav.h"
#include "tool_features.h"

namespace tavcli {
namespace {

constexpr unsigned kBayer = kDemosaicSource;
constexpr unsigned kBayerWide = kDemosaicSource | kDemosaic16Source;
constexpr unsigned kMonoWide = kDemosaicSource | kDemosaic16Source | kDemosaic16Output;
constexpr unsigned kColour8 = kDemosaicOutput | kConvertSource | kConvertTarget;

const std::vector<FormatInfo> kFormats = {
    {"Mono1p", TAV_PF_MONO1P, Layout::Bits1, kConvertSource, 1, Phase::None},
    {"Mono4p", TAV_PF_MONO4P, Layout::Bits4, kConvertSource, 4, Phase::None},
    {"Mono8", TAV_PF_MONO8, Layout::Byte,
     kDemosaicSource | kDemosaicOutput | kConvertSource | kConvertTarget, 8, Phase::None},
    {"BayerGR8", TAV_PF_BAYER_GR8, Layout::Byte, kBayer, 8, Phase::GR},
    {"BayerRG8", TAV_PF_BAYER_RG8, Layout::Byte, kBayer, 8, Phase::RG},
    {"BayerGB8", TAV_PF_BAYER_GB8, Layout::Byte, kBayer, 8, Phase::GB},
    {"BayerBG8", TAV_PF_BAYER_BG8, Layout::Byte, kBayer, 8, Phase::BG},
    {"Mono10Packed", TAV_PF_MONO10_PACKED, Layout::Packed12, kDemosaicSource, 10, Phase::None},
    {"Mono12Packed", TAV_PF_MONO12_PACKED, Layout::Packed12, kDemosaicSource, 12, Phase::None},
    {"BayerGR10Packed", TAV_PF_BAYER_GR10_PACKED, Layout::Packed12, kBayer, 10, Phase::GR},
    {"BayerRG10Packed", TAV_PF_BAYER_RG10_PACKED, Layout::Packed12, kBayer, 10, Phase::RG},
    {"BayerGB10Packed", TAV_PF_BAYER_GB10_PACKED, Layout::Packed12, kBayer, 10, Phase::GB},
    {"BayerBG10Packed", TAV_PF_BAYER_BG10_PACKED, Layout::Packed12, kBayer, 10, Phase::BG},
    {"BayerGR12Packed", TAV_PF_BAYER_GR12_PACKED, Layout::Packed12, kBayer, 12, Phase::GR},
    {"BayerRG12Packed", TAV_PF_BAYER_RG12_PACKED, Layout::Packed12, kBayer, 12, Phase::RG},
    {"BayerGB12Packed", TAV_PF_BAYER_GB12_PACKED, Layout::Packed12, kBayer, 12, Phase::GB},
    {"BayerBG12Packed", TAV_PF_BAYER_BG12_PACKED, Layout::Packed12, kBayer, 12, Phase::BG},
    {"Mono10", TAV_PF_MONO10, Layout::Word, kMonoWide, 10, Phase::None},
    {"Mono12", TAV_PF_MONO12, Layout::Word, kMonoWide, 12, Phase::None},
    {"Mono14", TAV_PF_MONO14, Layout::Word, kMonoWide, 14, Phase::None},
    {"Mono16", TAV_PF_MONO16, Layout::Word, kMonoWide, 16, Phase::None},
    {"BayerGR10", TAV_PF_BAYER_GR10, Layout::Word, kBayerWide, 10, Phase::GR},
    {"BayerRG10", TAV_PF_BAYER_RG10, Layout::Word, kBayerWide, 10, Phase::RG},
    {"BayerGB10", TAV_PF_BAYER_GB10, Layout::Word, kBayerWide, 10, Phase::GB},
    {"BayerBG10", TAV_PF_BAYER_BG10, Layout::Word, kBayerWide, 10, Phase::BG},
    {"BayerGR12", TAV_PF_BAYER_GR12, Layout::Word, kBayerWide, 12, Phase::GR},
    {"BayerRG12", TAV_PF_BAYER_RG12, Layout::Word, kBayerWide, 12, Phase::RG},
    {"BayerGB12", TAV_PF_BAYER_GB12, Layout::Word, kBayerWide, 12, Phase::GB},
    {"BayerBG12", TAV_PF_BAYER_BG12, Layout::Word, kBayerWide, 12, Phase::BG},
    {"BayerGR16", TAV_PF_BAYER_GR16, Layout::Word, kBayerWide, 16, Phase::GR},
    {"BayerRG16", TAV_PF_BAYER_RG16, Layout::Word, kBayerWide, 16, Phase::RG},
    {"BayerGB16", TAV_PF_BAYER_GB16, Layout::Word, kBayerWide, 16, Phase::GB},
    {"BayerBG16", TAV_PF_BAYER_BG16, Layout::Word, kBayerWide, 16, Phase::BG},
    {"Mono1c", TAV_PF_MONO1C, Layout::PointList, kConvertSource, 8, Phase::None},
    {"YUV411_8_UYYVYY", TAV_PF_YUV411_8_UYYVYY, Layout::Yuv411, kConvertSource | kConvertTarget, 8,
     Phase::None},
    {"YUV420SP_NV12", TAV_PF_YUV420SP_NV12, Layout::Yuv420, kConvertSource, 8, Phase::None},
    {"YUV420P", TAV_PF_YUV420P, Layout::Yuv420, kConvertSource | kConvertTarget, 8, Phase::None},
    {"YUV422_8_UYVY", TAV_PF_YUV422_8_UYVY, Layout::Yuv422, kConvertSource | kConvertTarget, 8,
     Phase::None},
    {"YUV422_8", TAV_PF_YUV422_8, Layout::Yuv422, kConvertSource | kConvertTarget, 8, Phase::None},
    {"RGB8", TAV_PF_RGB8, Layout::Byte3, kColour8, 8, Phase::None},
    {"BGR8", TAV_PF_BGR8, Layout::Byte3, kColour8, 8, Phase::None},
    {"YUV8_UYV", TAV_PF_YUV8_UYV, Layout::Byte3, kConvertSource | kConvertTarget, 8, Phase::None},
    {"RGB8_Planar", TAV_PF_RGB8_PLANAR, Layout::Planar3, kDemosaicOutput, 8, Phase::None},
    {"BGR8_Planar", TAV_PF_BGR8_PLANAR, Layout::Planar3, kDemosaicOutput, 8, Phase::None},
    {"RGBa8", TAV_PF_RGBA8, Layout::Byte4, kColour8 & ~unsigned(kConvertSource), 8, Phase::None},
    {"BGRa8", TAV_PF_BGRA8, Layout::Byte4, kColour8 & ~unsigned(kConvertSource), 8, Phase::None},
    {"RGB10", TAV_PF_RGB10, Layout::Word3, kDemosaic16Output, 16, Phase::None},
    {"BGR10", TAV_PF_BGR10, Layout::Word3, kDemosaic16Output, 16, Phase::None},
    {"RGB12", TAV_PF_RGB12, Layout::Word3, kDemosaic16Output, 16, Phase::None},
    {"BGR12", TAV_PF_BGR12, Layout::Word3, kDemosaic16Output, 16, Phase::None},
    {"RGB16", TAV_PF_RGB16, Layout::Word3, kDemosaic16Output, 16, Phase::None},
};

}  // namespace

const std::vector<FormatInfo>& allFormats() {
    return kFormats;
}

const FormatInfo* findFormat(uint32_t code) {
    for (const FormatInfo& f : kFormats) {
        if (f.code == code) return &f;
    }
    return nullptr;
}

std::string hexCode(uint32_t code) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "0x%08X", code);
    return buf;
}

const FormatInfo& parseFormat(const std::string& text) {
    for (const FormatInfo& f : kFormats) {
        if (strcasecmp(f.name, text.c_str()) == 0) return f;
    }
    char* end = nullptr;
    const unsigned long long v = std::strtoull(text.c_str(), &end, 0);
    if (!text.empty() && std::isdigit(static_cast<unsigned char>(text[0])) && *end == '\0') {
        if (v <= 0xFFFFFFFFull) {
            if (const FormatInfo* f = findFormat(static_cast<uint32_t>(v))) return *f;
        }
        throw usageError("unknown pixel format code " + text + " (tav formats lists them)");
    }
    throw usageError("unknown pixel format '" + text + "' (tav formats lists them)");
}

uint64_t compactFrameBytes(Layout layout, int32_t width, int32_t height) {
    const uint64_t n = uint64_t(width) * uint64_t(height);
    switch (layout) {
        case Layout::Bits1:
            return (n + 7) / 8;
        case Layout::Bits4:
            return (n + 1) / 2;
        case Layout::Byte:
            return n;
        case Layout::Packed12:
            return (n + 1) / 2 * 3;
        case Layout::Word:
            return 2 * n;
        case Layout::Byte3:
            return 3 * n;
        case Layout::Byte4:
            return 4 * n;
        case Layout::Planar3:
            return 3 * n;
        case Layout::Word3:
            return 6 * n;
        case Layout::Yuv411:
            return n / 4 * 6;
        case Layout::Yuv420:
            return n + n / 2;
        case Layout::Yuv422:
            return 2 * n;
        case Layout::PointList:
            return 0;
    }
    return 0;
}

int32_t compactPitch(Layout layout, int32_t width) {
    switch (layout) {
        case Layout::Packed12:
            return width + width / 2;
        case Layout::Word:
            return 2 * width;
        default:
            return width;
    }
}

uint64_t sourceBytes(Layout layout, int32_t width, int32_t height, int32_t pitch) {
    // A compact packed frame is read as one run of samples; with any other
    // pitch each row is read as whole pairs.
    if (layout == Layout::Packed12) {
        if (pitch == compactPitch(layout, width)) return compactFrameBytes(layout, width, height);
        return uint64_t(pitch) * uint64_t(height - 1) + uint64_t(width + 1) / 2 * 3;
    }
    const uint64_t row = layout == Layout::Word ? 2 * uint64_t(width) : uint64_t(width);
    return uint64_t(pitch) * uint64_t(height - 1) + row;
}

int outputBytesPerPixel(Layout layout) {
    switch (layout) {
        case Layout::Byte:
            return 1;
        case Layout::Byte4:
            return 4;
        case Layout::Word:
            return 2;
        case Layout::Word3:
            return 6;
        default:
            return 3;
    }
}

}  // namespace tavcli

namespace tavcli {
namespace {

const char* const kMethodNames[] = {"nearest", "bilinear", "edge", "hq"};

// Runs one small frame through the 8-bit entry: what this build of the
// library really does, rather than what a table says it should.
int32_t probeDemosaic8(const FormatInfo& f, uint32_t method, uint64_t output) {
    const int32_t w = 8, h = 8;
    std::vector<uint8_t> src(compactFrameBytes(f.layout, w, h) + 64, 0);
    std::vector<uint8_t> dst(size_t(w) * h * 4);
    TavImage in{h, w, f.code, src.data(), compactPitch(f.layout, w)};
    TavImage out{0, 0, 0, dst.data(), 0};
    TavContext* ctx = nullptr;
    LibraryDiagnostics quiet;
    if (tavCreate(&ctx) != TAV_OK) return TAV_E_NO_MEMORY;
    int32_t rc = tavDemosaicSetConfig(ctx, &output);
    if (rc == TAV_OK) rc = tavDemosaicing(ctx, &in, method, &out);
    tavRelease(&ctx);
    return rc;
}

void listLine(const FormatInfo& f, const std::string& what) {
    std::printf("  %s  %-16s %s\n", hexCode(f.code).c_str(), f.name, what.c_str());
}

std::string namesWithRole(unsigned role, bool colourOnly = false) {
    std::string s;
    for (const FormatInfo& f : allFormats()) {
        if (colourOnly && f.phase == Phase::None && f.layout == Layout::Word) continue;
        if (f.roles & role) s += std::string(s.empty() ? "" : " ") + f.name;
    }
    return s;
}

}  // namespace

int runFormats(const std::vector<std::string>& argv) {
    Args args(argv, {});
    if (!args.positional().empty()) throw usageError("tav formats takes no arguments");

    std::printf("Demosaicing to 8 bits (tav demosaic): methods this library build runs\n");
    for (const FormatInfo& f : allFormats()) {
        if (!(f.roles & kDemosaicSource)) continue;
        std::string methods;
        if (f.phase == Phase::None) {
            methods = "any (monochrome: copied or replicated)";
        } else {
            for (uint32_t m = 0; m < 4; ++m) {
                if (probeDemosaic8(f, m, TAV_PF_BGR8) == TAV_OK) {
                    methods += std::string(methods.empty() ? "" : " ") + kMethodNames[m];
                }
            }
            if (methods.empty()) methods = "none yet";
        }
        listLine(f, methods);
    }
    std::printf("  into: %s\n\n", namesWithRole(kDemosaicOutput).c_str());

    std::printf(
        "Demosaicing at full depth (tav demosaic --output png16, or raw to a 16-bit target)\n");
#if TAV_TOOL_U16
    for (const FormatInfo& f : allFormats()) {
        if (!(f.roles & kDemosaic16Source)) continue;
        std::string methods;
        if (f.phase == Phase::None) {
            methods = "any (monochrome: copied or replicated)";
        } else {
            for (uint32_t m = TAV_METHOD_BILINEAR; m <= TAV_METHOD_HQ; ++m) {
                if (probeDemosaic16(f, m) == TAV_OK) {
                    methods += std::string(methods.empty() ? "" : " ") + kMethodNames[m];
                }
            }
            if (methods.empty()) methods = "none yet";
        }
        listLine(f, methods);
    }
    std::printf("  into: %s (Mono10/12/14/16 from monochrome sources)\n\n",
                namesWithRole(kDemosaic16Output, true).c_str());
#else
    std::printf("  not in this build of the library (no tavDemosaicingU16)\n\n");
#endif

    std::printf("Pixel-format conversion (tav convert)\n");
#if TAV_TOOL_CONVERT
    for (const FormatInfo& f : allFormats()) {
        if (!(f.roles & kConvertSource)) continue;
        std::string targets;
        for (const FormatInfo& t : allFormats()) {
            if ((t.roles & kConvertTarget) && probeConvert(f, t) != TAV_E_PIXEL_FORMAT) {
                targets += std::string(targets.empty() ? "" : " ") + t.name;
            }
        }
        listLine(f, "-> " + (targets.empty() ? std::string("nothing yet") : targets));
    }
#else
    std::printf(
        "  not in this build of the library (no tavImageTypeConvert); without it\n"
        "  tav convert only changes containers (raw <-> PNG) of the same format\n");
#endif
    return 0;
}

}  // namespace tavcli
