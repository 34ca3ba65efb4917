#include "formats.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <strings.h>

#include "cli.h"
#include "tav_api.h"

namespace tavcli {
namespace {

constexpr unsigned kSource = kDemosaicSource;
constexpr unsigned kMonoWide = kDemosaicSource | kFullDepthOutput;
constexpr unsigned kColour8 = kDemosaicOutput | kConvertSource | kConvertTarget;

// GenICam PFNC codes of the bit-stream formats, which the program unpacks.
const std::vector<FormatInfo> kFormats = {
    {"Mono1p", TAV_PF_MONO1P, Layout::Bits1, kConvertSource, 1, Phase::None, 0},
    {"Mono4p", TAV_PF_MONO4P, Layout::Bits4, kConvertSource, 4, Phase::None, 0},
    {"Mono8", TAV_PF_MONO8, Layout::Byte,
     kDemosaicSource | kDemosaicOutput | kConvertSource | kConvertTarget, 8, Phase::None, 0},
    {"BayerGR8", TAV_PF_BAYER_GR8, Layout::Byte, kSource, 8, Phase::GR, 0},
    {"BayerRG8", TAV_PF_BAYER_RG8, Layout::Byte, kSource, 8, Phase::RG, 0},
    {"BayerGB8", TAV_PF_BAYER_GB8, Layout::Byte, kSource, 8, Phase::GB, 0},
    {"BayerBG8", TAV_PF_BAYER_BG8, Layout::Byte, kSource, 8, Phase::BG, 0},
    {"Mono10Packed", TAV_PF_MONO10_PACKED, Layout::Packed, kSource, 10, Phase::None, TAV_PF_MONO10},
    {"Mono12Packed", TAV_PF_MONO12_PACKED, Layout::Packed, kSource, 12, Phase::None, TAV_PF_MONO12},
    {"BayerGR10Packed", TAV_PF_BAYER_GR10_PACKED, Layout::Packed, kSource, 10, Phase::GR,
     TAV_PF_BAYER_GR10},
    {"BayerRG10Packed", TAV_PF_BAYER_RG10_PACKED, Layout::Packed, kSource, 10, Phase::RG,
     TAV_PF_BAYER_RG10},
    {"BayerGB10Packed", TAV_PF_BAYER_GB10_PACKED, Layout::Packed, kSource, 10, Phase::GB,
     TAV_PF_BAYER_GB10},
    {"BayerBG10Packed", TAV_PF_BAYER_BG10_PACKED, Layout::Packed, kSource, 10, Phase::BG,
     TAV_PF_BAYER_BG10},
    {"BayerGR12Packed", TAV_PF_BAYER_GR12_PACKED, Layout::Packed, kSource, 12, Phase::GR,
     TAV_PF_BAYER_GR12},
    {"BayerRG12Packed", TAV_PF_BAYER_RG12_PACKED, Layout::Packed, kSource, 12, Phase::RG,
     TAV_PF_BAYER_RG12},
    {"BayerGB12Packed", TAV_PF_BAYER_GB12_PACKED, Layout::Packed, kSource, 12, Phase::GB,
     TAV_PF_BAYER_GB12},
    {"BayerBG12Packed", TAV_PF_BAYER_BG12_PACKED, Layout::Packed, kSource, 12, Phase::BG,
     TAV_PF_BAYER_BG12},
    {"Mono10p", 0x010A0046u, Layout::BitStream, kSource, 10, Phase::None, TAV_PF_MONO10},
    {"Mono12p", 0x010C0047u, Layout::BitStream, kSource, 12, Phase::None, TAV_PF_MONO12},
    {"BayerGR10p", 0x010A0056u, Layout::BitStream, kSource, 10, Phase::GR, TAV_PF_BAYER_GR10},
    {"BayerRG10p", 0x010A0058u, Layout::BitStream, kSource, 10, Phase::RG, TAV_PF_BAYER_RG10},
    {"BayerGB10p", 0x010A0054u, Layout::BitStream, kSource, 10, Phase::GB, TAV_PF_BAYER_GB10},
    {"BayerBG10p", 0x010A0052u, Layout::BitStream, kSource, 10, Phase::BG, TAV_PF_BAYER_BG10},
    {"BayerGR12p", 0x010C0057u, Layout::BitStream, kSource, 12, Phase::GR, TAV_PF_BAYER_GR12},
    {"BayerRG12p", 0x010C0059u, Layout::BitStream, kSource, 12, Phase::RG, TAV_PF_BAYER_RG12},
    {"BayerGB12p", 0x010C0055u, Layout::BitStream, kSource, 12, Phase::GB, TAV_PF_BAYER_GB12},
    {"BayerBG12p", 0x010C0053u, Layout::BitStream, kSource, 12, Phase::BG, TAV_PF_BAYER_BG12},
    {"Mono10", TAV_PF_MONO10, Layout::Word, kMonoWide, 10, Phase::None, TAV_PF_MONO10},
    {"Mono12", TAV_PF_MONO12, Layout::Word, kMonoWide, 12, Phase::None, TAV_PF_MONO12},
    {"Mono14", TAV_PF_MONO14, Layout::Word, kMonoWide, 14, Phase::None, TAV_PF_MONO14},
    {"Mono16", TAV_PF_MONO16, Layout::Word, kMonoWide, 16, Phase::None, TAV_PF_MONO16},
    {"BayerGR10", TAV_PF_BAYER_GR10, Layout::Word, kSource, 10, Phase::GR, TAV_PF_BAYER_GR10},
    {"BayerRG10", TAV_PF_BAYER_RG10, Layout::Word, kSource, 10, Phase::RG, TAV_PF_BAYER_RG10},
    {"BayerGB10", TAV_PF_BAYER_GB10, Layout::Word, kSource, 10, Phase::GB, TAV_PF_BAYER_GB10},
    {"BayerBG10", TAV_PF_BAYER_BG10, Layout::Word, kSource, 10, Phase::BG, TAV_PF_BAYER_BG10},
    {"BayerGR12", TAV_PF_BAYER_GR12, Layout::Word, kSource, 12, Phase::GR, TAV_PF_BAYER_GR12},
    {"BayerRG12", TAV_PF_BAYER_RG12, Layout::Word, kSource, 12, Phase::RG, TAV_PF_BAYER_RG12},
    {"BayerGB12", TAV_PF_BAYER_GB12, Layout::Word, kSource, 12, Phase::GB, TAV_PF_BAYER_GB12},
    {"BayerBG12", TAV_PF_BAYER_BG12, Layout::Word, kSource, 12, Phase::BG, TAV_PF_BAYER_BG12},
    {"BayerGR16", TAV_PF_BAYER_GR16, Layout::Word, kSource, 16, Phase::GR, TAV_PF_BAYER_GR16},
    {"BayerRG16", TAV_PF_BAYER_RG16, Layout::Word, kSource, 16, Phase::RG, TAV_PF_BAYER_RG16},
    {"BayerGB16", TAV_PF_BAYER_GB16, Layout::Word, kSource, 16, Phase::GB, TAV_PF_BAYER_GB16},
    {"BayerBG16", TAV_PF_BAYER_BG16, Layout::Word, kSource, 16, Phase::BG, TAV_PF_BAYER_BG16},
    {"YUV411_8_UYYVYY", TAV_PF_YUV411_8_UYYVYY, Layout::Yuv411, kConvertSource | kConvertTarget, 8,
     Phase::None, 0},
    {"YUV420SP_NV12", TAV_PF_YUV420SP_NV12, Layout::Yuv420, kConvertSource, 8, Phase::None, 0},
    {"YUV420P", TAV_PF_YUV420P, Layout::Yuv420, kConvertSource | kConvertTarget, 8, Phase::None, 0},
    {"YUV422_8_UYVY", TAV_PF_YUV422_8_UYVY, Layout::Yuv422, kConvertSource | kConvertTarget, 8,
     Phase::None, 0},
    {"YUV422_8", TAV_PF_YUV422_8, Layout::Yuv422, kConvertSource | kConvertTarget, 8, Phase::None,
     0},
    {"RGB8", TAV_PF_RGB8, Layout::Byte3, kColour8, 8, Phase::None, 0},
    {"BGR8", TAV_PF_BGR8, Layout::Byte3, kColour8, 8, Phase::None, 0},
    {"YUV8_UYV", TAV_PF_YUV8_UYV, Layout::Byte3, kConvertSource | kConvertTarget, 8, Phase::None,
     0},
    {"RGB8_Planar", TAV_PF_RGB8_PLANAR, Layout::Planar3, kDemosaicOutput, 8, Phase::None, 0},
    {"BGR8_Planar", TAV_PF_BGR8_PLANAR, Layout::Planar3, kDemosaicOutput, 8, Phase::None, 0},
    {"RGBa8", TAV_PF_RGBA8, Layout::Byte4, kColour8 & ~unsigned(kConvertSource), 8, Phase::None, 0},
    {"BGRa8", TAV_PF_BGRA8, Layout::Byte4, kColour8 & ~unsigned(kConvertSource), 8, Phase::None, 0},
    {"RGB10", TAV_PF_RGB10, Layout::Word3, kFullDepthOutput, 10, Phase::None, 0},
    {"BGR10", TAV_PF_BGR10, Layout::Word3, kFullDepthOutput, 10, Phase::None, 0},
    {"RGB12", TAV_PF_RGB12, Layout::Word3, kFullDepthOutput, 12, Phase::None, 0},
    {"BGR12", TAV_PF_BGR12, Layout::Word3, kFullDepthOutput, 12, Phase::None, 0},
    {"RGB16", TAV_PF_RGB16, Layout::Word3, kFullDepthOutput, 16, Phase::None, 0},
    {"BGR16", TAV_PF_BGR16, Layout::Word3, kFullDepthOutput, 16, Phase::None, 0},
};

// Names other programs and camera tools use. Bayer names by their first two
// rows (RGGB8 = BayerRG8) are handled by rule in parseFormat.
struct Alias {
    const char* alias;
    const char* name;
};
const Alias kAliases[] = {
    {"UYVY", "YUV422_8_UYVY"}, {"YUYV", "YUV422_8"},
    {"YUY2", "YUV422_8"},      {"NV12", "YUV420SP_NV12"},
    {"I420", "YUV420P"},       {"IYUV", "YUV420P"},
    {"UYV", "YUV8_UYV"},       {"Y411", "YUV411_8_UYYVYY"},
    {"GREY", "Mono8"},         {"GRAY", "Mono8"},
    {"Y8", "Mono8"},           {"Y16", "Mono16"},
    {"RGB24", "RGB8"},         {"BGR24", "BGR8"},
    {"RGBA", "RGBa8"},         {"BGRA", "BGRa8"},
    {"RGB48", "RGB16"},        {"BGR48", "BGR16"},
};
const char* const kCells[][2] = {{"RGGB", "RG"}, {"GRBG", "GR"}, {"GBRG", "GB"}, {"BGGR", "BG"}};

const FormatInfo* byName(const std::string& text) {
    for (const FormatInfo& f : kFormats) {
        if (strcasecmp(f.name, text.c_str()) == 0) return &f;
    }
    return nullptr;
}

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
    if (const FormatInfo* f = byName(text)) return *f;
    for (const Alias& a : kAliases) {
        if (strcasecmp(a.alias, text.c_str()) == 0) return *byName(a.name);
    }
    for (const auto& cell : kCells) {
        if (text.size() > 4 && strncasecmp(text.c_str(), cell[0], 4) == 0) {
            if (const FormatInfo* f = byName(std::string("Bayer") + cell[1] + text.substr(4))) {
                return *f;
            }
        }
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

uint64_t rowBytes(const FormatInfo& f, int32_t width) {
    const uint64_t w = uint64_t(width);
    switch (f.layout) {
        case Layout::Byte:
            return w;
        case Layout::Packed:
            return (w + 1) / 2 * 3;
        case Layout::BitStream:
            return (w * f.bits + 7) / 8;
        case Layout::Word:
        case Layout::Yuv422:
            return 2 * w;
        case Layout::Byte3:
            return 3 * w;
        case Layout::Byte4:
            return 4 * w;
        case Layout::Word3:
            return 6 * w;
        default:
            return 0;
    }
}

uint64_t compactFrameBytes(const FormatInfo& f, int32_t width, int32_t height) {
    const uint64_t n = uint64_t(width) * uint64_t(height);
    switch (f.layout) {
        case Layout::Bits1:
            return (n + 7) / 8;
        case Layout::Bits4:
            return (n + 1) / 2;
        case Layout::Packed:  // a compact frame is one run of samples
            return (n + 1) / 2 * 3;
        case Layout::BitStream:
            return (n * f.bits + 7) / 8;
        case Layout::Planar3:
            return 3 * n;
        case Layout::Yuv411:
            return n / 4 * 6;
        case Layout::Yuv420:
            return n + n / 2;
        default:
            return rowBytes(f, width) * uint64_t(height);
    }
}

void unpackToWords(const FormatInfo& f, const uint8_t* src, int64_t stride, int64_t count,
                   int32_t rows, uint16_t* dst) {
    const int bits = f.bits;
    const uint32_t mask = (1u << bits) - 1;
    const uint64_t bytes =
        f.layout == Layout::Packed ? uint64_t(count + 1) / 2 * 3 : (uint64_t(count) * bits + 7) / 8;
    for (int32_t y = 0; y < rows; ++y) {
        const uint8_t* s = src + y * stride;
        uint16_t* d = dst + y * count;
        if (f.layout == Layout::Packed) {
            // high bits of each sample in bytes 0 and 2; the low bits share byte 1,
            // the first sample's in bits 0.., the second's in bits 4..
            const int low = bits - 8;
            for (int64_t i = 0; i < count; ++i) {
                const uint8_t* g = s + i / 2 * 3;
                const int at = i % 2 ? 4 : 0;
                d[i] = uint16_t(g[i % 2 ? 2 : 0] << low | (g[1] >> at & ((1 << low) - 1)));
            }
            continue;
        }
        for (int64_t i = 0; i < count; ++i) {
            const uint64_t bit = uint64_t(i) * bits, at = bit / 8;
            uint32_t window = 0;
            for (int k = 0; k < 3 && at + k < bytes; ++k) window |= uint32_t(s[at + k]) << (8 * k);
            d[i] = uint16_t(window >> (bit % 8) & mask);
        }
    }
}

int outputBytesPerPixel(const FormatInfo& f) {
    switch (f.layout) {
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

namespace {

// Runs one small frame through tavDemosaic: what this library build really
// does, rather than what a table says it should.
int32_t probeDemosaic(const FormatInfo& f, uint32_t method, uint32_t target) {
    const int32_t w = 8, h = 8;
    std::vector<uint8_t> src(compactFrameBytes(f, w, h) + 64, 0);
    std::vector<uint8_t> dst(size_t(w) * h * 6);
    TavFrame in, out;
    tavFrameInit(&in, f.code, w, h, src.data());
    tavFrameInit(&out, target, w, h, dst.data());
    TavOptions options;
    tavOptionsInit(&options);
    options.method = method;
    return tavDemosaic(&in, &out, &options);
}

int32_t probeConvert(const FormatInfo& source, const FormatInfo& target) {
    const int32_t w = 8, h = 8;
    std::vector<uint8_t> src(size_t(w) * h * 4 + 64, 0), dst(size_t(w) * h * 4 + 64);
    TavFrame in, out;
    tavFrameInit(&in, source.code, w, h, src.data());
    tavFrameInit(&out, target.code, w, h, dst.data());
    return tavConvert(&in, &out, nullptr);
}

void listLine(const FormatInfo& f, const std::string& what) {
    std::printf("  %s  %-16s %s\n", hexCode(f.code).c_str(), f.name, what.c_str());
}

std::string namesWithRole(unsigned role) {
    std::string s;
    for (const FormatInfo& f : allFormats()) {
        if (f.roles & role) s += std::string(s.empty() ? "" : " ") + f.name;
    }
    return s;
}

}  // namespace

int runFormats(const std::vector<std::string>& argv) {
    Args args(argv, {});
    if (!args.positional().empty()) throw usageError("tav formats takes no arguments");

    std::printf("Demosaicing (tav demosaic): methods this library build runs\n");
    for (const FormatInfo& f : allFormats()) {
        if (!(f.roles & kDemosaicSource)) continue;
        std::string methods;
        // the bit-stream layouts reach the library as words
        const FormatInfo& lib = f.layout == Layout::BitStream ? *findFormat(f.words) : f;
        if (f.phase == Phase::None) {
            methods = "any (monochrome: copied or replicated)";
        } else {
            for (uint32_t m = 0; m <= TAV_METHOD_HQ; ++m) {
                if (probeDemosaic(lib, m, TAV_PF_BGR8) == TAV_OK) {
                    methods += std::string(methods.empty() ? "" : " ") + methodName(m);
                }
            }
            if (methods.empty()) methods = "none";
        }
        if (f.bits > 8) methods += ", full depth";
        if (f.layout == Layout::BitStream) methods += " (unpacked by tav)";
        listLine(f, methods);
    }
    std::printf("  into (8 bits): %s\n", namesWithRole(kDemosaicOutput).c_str());
    std::printf("  into (full depth, 10- to 16-bit sources): %s\n\n",
                namesWithRole(kFullDepthOutput).c_str());

    std::printf("Pixel-format conversion (tav convert)\n");
    for (const FormatInfo& f : allFormats()) {
        if (!(f.roles & kConvertSource)) continue;
        std::string targets;
        for (const FormatInfo& t : allFormats()) {
            if ((t.roles & kConvertTarget) && probeConvert(f, t) == TAV_OK) {
                targets += std::string(targets.empty() ? "" : " ") + t.name;
            }
        }
        listLine(f, "-> " + (targets.empty() ? std::string("nothing") : targets));
    }

    std::printf("\nOther names\n");
    for (const Alias& a : kAliases) std::printf("  %-8s = %s\n", a.alias, a.name);
    for (const auto& cell : kCells) {
        std::printf("  %s8, %s10, %s12, %s16, %s10p, %s12p, %s10Packed ... = Bayer%s8 ...\n",
                    cell[0], cell[0], cell[0], cell[0], cell[0], cell[0], cell[0], cell[1]);
    }
    return 0;
}

}  // namespace tavcli
