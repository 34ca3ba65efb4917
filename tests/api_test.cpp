// The frame API: pictures at every phase, depth, method and output against a
// smooth scene (and the compatible entries' bytes where they must agree), the
// compatible entries' quirks kept there and absent here, strides, thread
// counts and refusals.
#include <cmath>
#include <functional>
#include <numeric>
#include <set>
#include <thread>

#include "alloc_hook.h"
#include "core/threads.h"
#include "support.h"
#include "tav_api.h"

namespace {

using Words = std::vector<uint16_t>;
using Bytes = std::vector<uint8_t>;
using tavtest::Packing;
using tavtest::Pattern;

// A smooth colour scene: channel c (r, g, b) at (x, y), 0..1.
double scene(int c, int x, int y) {
    return 0.5 + 0.4 * std::sin(0.09 * x + 0.06 * y + 2.1 * c) * std::cos(0.05 * y - 0.07 * x + c);
}
int level(double v, int bits) {
    return int(std::lround(v * ((1 << bits) - 1)));
}

// Colour at (x, y) of a mosaic of `pattern`; Mono mosaics hold the green channel.
int siteColour(Pattern p, int x, int y) {
    if (p == Pattern::Mono) return 1;
    const tavtest::Phase& ph = tavtest::kPhases[int(p) - 1];
    if ((y & 1) == ph.redRow && (x & 1) == ph.redCol) return 0;
    if ((y & 1) != ph.redRow && (x & 1) != ph.redCol) return 2;
    return 1;
}

// The scene mosaiced, stored as the source stores it.
Bytes encodeScene(const tavtest::Source& s, int w, int h) {
    const ptrdiff_t pitch = tavtest::compactPitch(s, w);
    Bytes out(size_t(pitch) * h, 0x5A);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const int v = level(scene(siteColour(s.pattern, x, y), x, y), s.bits);
            uint8_t* row = out.data() + y * pitch;
            if (s.packing == Packing::Bytes) {
                row[x] = uint8_t(v);
            } else if (s.packing == Packing::Words) {
                row[2 * x] = uint8_t(v);
                row[2 * x + 1] = uint8_t(v >> 8);
            } else if (s.packing == Packing::Stream) {
                for (int b = 0; b < s.bits; ++b) {
                    const int at = x * s.bits + b;
                    if (at % 8 == 0) row[at / 8] = 0;
                    row[at / 8] = uint8_t(row[at / 8] | (v >> b & 1) << at % 8);
                }
            } else {
                uint8_t* pair = row + x / 2 * 3;
                const int low = v & ((1 << (s.bits - 8)) - 1);
                pair[x & 1 ? 2 : 0] = uint8_t(v >> (s.bits - 8));
                pair[1] = uint8_t(x & 1 ? (pair[1] & 0x0F) | low << 4 : low);
            }
        }
    }
    return out;
}

struct Out {
    uint32_t code;
    const char* name;
    int bits, bytes;  // sample depth; bytes a pixel (planar: 1 in each plane)
    bool planar;
    int order[3];  // word, byte or plane of r, g, b; Mono: 0 0 0
};

constexpr Out kOuts[] = {
    {TAV_PF_MONO8, "Mono8", 8, 1, false, {0, 0, 0}},
    {TAV_PF_RGB8, "RGB8", 8, 3, false, {0, 1, 2}},
    {TAV_PF_BGR8, "BGR8", 8, 3, false, {2, 1, 0}},
    {TAV_PF_RGB8_PLANAR, "RGB8Planar", 8, 1, true, {0, 1, 2}},
    {TAV_PF_BGR8_PLANAR, "BGR8Planar", 8, 1, true, {2, 1, 0}},
    {TAV_PF_RGBA8, "RGBa8", 8, 4, false, {0, 1, 2}},
    {TAV_PF_BGRA8, "BGRa8", 8, 4, false, {2, 1, 0}},
    {TAV_PF_RGB10, "RGB10", 10, 6, false, {0, 1, 2}},
    {TAV_PF_BGR10, "BGR10", 10, 6, false, {2, 1, 0}},
    {TAV_PF_RGB12, "RGB12", 12, 6, false, {0, 1, 2}},
    {TAV_PF_BGR12, "BGR12", 12, 6, false, {2, 1, 0}},
    {TAV_PF_RGB16, "RGB16", 16, 6, false, {0, 1, 2}},
    {TAV_PF_BGR16, "BGR16", 16, 6, false, {2, 1, 0}},
    {TAV_PF_MONO10, "Mono10", 10, 2, false, {0, 0, 0}},
    {TAV_PF_MONO12, "Mono12", 12, 2, false, {0, 0, 0}},
    {TAV_PF_MONO14, "Mono14", 14, 2, false, {0, 0, 0}},
    {TAV_PF_MONO16, "Mono16", 16, 2, false, {0, 0, 0}},
};

bool deep(const Out& o) {
    return o.bits > 8;
}
size_t outBytes(const Out& o, int w, int h) {
    return size_t(w) * h * (o.planar ? 3 : o.bytes);
}

// Sample of channel c (0 r, 1 g, 2 b, 3 alpha) at pixel i of a compact output.
int sampleAt(const Out& o, const Bytes& b, size_t pixels, size_t i, int c) {
    if (o.planar) return b[o.order[c] * pixels + i];
    const int k = c == 3 ? 3 : o.order[c];
    if (!deep(o)) return b[i * o.bytes + k];
    const size_t at = i * o.bytes + 2 * k;
    return b[at] | b[at + 1] << 8;
}

// PSNR of an output against the scene at the output's depth (luma for Mono).
double psnr(const Out& o, const Bytes& b, Pattern p, int w, int h) {
    const double top = (1 << o.bits) - 1;
    const bool mono = o.bytes == 1 + deep(o) && !o.planar;
    double sum = 0;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            int truth[3];
            for (int c = 0; c < 3; ++c) {
                truth[c] = level(scene(p == Pattern::Mono ? 1 : c, x, y), o.bits);
            }
            if (mono) truth[0] = (77 * truth[0] + 150 * truth[1] + 29 * truth[2] + 128) >> 8;
            for (int c = 0; c < (mono ? 1 : 3); ++c) {
                const double e = sampleAt(o, b, size_t(w) * h, size_t(y) * w + x, c) - truth[c];
                sum += e * e;
            }
        }
    }
    const double mse = sum / (double(w) * h * (mono ? 1 : 3));
    return mse == 0 ? 99 : 10 * std::log10(top * top / mse);
}

TavFrame frameOf(uint32_t format, int w, int h, void* data) {
    TavFrame f;
    tavFrameInit(&f, format, w, h, data);
    return f;
}

int32_t demosaic(const TavFrame& src, const TavFrame& dst, uint32_t method) {
    TavOptions o;
    tavOptionsInit(&o);
    o.method = method;
    return tavDemosaic(&src, &dst, &o);
}

// ---- every source x method x output on the scene

struct Case {
    const tavtest::Source* source;
    uint32_t method;
    const Out* out;
};

// Bit streams, which only the frame API reads.
const tavtest::Source kStreams[] = {
    {"Mono10p", TAV_PF_MONO10P, Pattern::Mono, 10, Packing::Stream},
    {"BG10p", TAV_PF_BAYER_BG10P, Pattern::BG, 10, Packing::Stream},
    {"GR12p", TAV_PF_BAYER_GR12P, Pattern::GR, 12, Packing::Stream},
};

std::vector<Case> allCases() {
    std::vector<Case> cases;
    auto add = [&](const tavtest::Source& s) {
        for (uint32_t m = 0; m <= 3; ++m) {
            for (const Out& o : kOuts) {
                const bool refused = deep(o) && (s.bits == 8 || m == 0);
                if (!refused) cases.push_back({&s, m, &o});
            }
        }
    };
    for (const auto& s : tavtest::kSources) add(s);
    for (const auto& s : kStreams) add(s);
    return cases;
}

class Pictures : public testing::TestWithParam<Case> {};

// Least PSNR on the scene by method (nearest, bilinear, edge-directed, method 3).
constexpr double kLeast[] = {31, 42, 38, 36};

TEST_P(Pictures, MatchSceneAndCompatibleBytes) {
    const Case& c = GetParam();
    const tavtest::Source& s = *c.source;
    const Out& o = *c.out;
    const int w = 40, h = 28;
    Bytes in = encodeScene(s, w, h);
    Bytes out(outBytes(o, w, h), 0xAA);
    ASSERT_EQ(
        demosaic(frameOf(s.code, w, h, in.data()), frameOf(o.code, w, h, out.data()), c.method),
        TAV_OK);
    EXPECT_GT(psnr(o, out, s.pattern, w, h), s.pattern == Pattern::Mono ? 50 : kLeast[c.method]);
    if (o.bytes == 4) {
        for (size_t i = 0; i < size_t(w) * h; ++i) ASSERT_EQ(sampleAt(o, out, 0, i, 3), 255) << i;
    }

    // Bit streams, and packed samples at full depth, read as the same words.
    if (s.packing == Packing::Stream || (s.packing == Packing::Packed && deep(o))) {
        const tavtest::Source* words = nullptr;
        for (const auto& t : tavtest::kSources) {
            if (t.packing == Packing::Words && t.pattern == s.pattern && t.bits == s.bits)
                words = &t;
        }
        ASSERT_NE(words, nullptr);
        Bytes wordIn = encodeScene(*words, w, h), same(out.size(), 0x55);
        ASSERT_EQ(demosaic(frameOf(words->code, w, h, wordIn.data()),
                           frameOf(o.code, w, h, same.data()), c.method),
                  TAV_OK);
        ASSERT_EQ(out, same);
        return;
    }

    // The compatible entries' bytes, where no quirk of theirs shows.
    Bytes compat(out.size() + 64, 0xAA);
    const bool gr = s.pattern == Pattern::GR || s.pattern == Pattern::GB;
    int32_t rows = h;
    if (!deep(o)) {
        tavtest::Context ctx;
        ctx.setOutput(o.code);
        TavImage src{h, w, s.code, in.data(), tavtest::compactPitch(s, w)},
            dst{0, 0, 0, compat.data(), 0};
        tavtest::printedBy(
            [&] { ASSERT_EQ(tavDemosaicing(ctx.ctx, &src, c.method, &dst), TAV_OK); });
        if (o.bytes == 4) {
            for (size_t i = 3; i < out.size(); i += 4) compat[i] = 255;
        }
    } else {
        const bool sameDepth = s.bits == o.bits && o.bytes == 6 && o.code != TAV_PF_BGR16;
        const bool quirk = (c.method == 1 && s.pattern == Pattern::BG) ||
                           (c.method == 2 && s.bits == 16 && s.pattern != Pattern::Mono);
        if (!sameDepth || quirk) return;
        if (c.method == 1 && gr) rows = h - 1;  // the row the compatible GR kernel leaves
        const TavDemosaicU16Config config{o.code, c.method, uint32_t(s.bits)};
        const TavImage src{h, w, s.code, in.data(), 2 * w}, dst{0, 0, 0, compat.data(), 0};
        ASSERT_EQ(tavDemosaicingU16(&config, &src, &dst), TAV_OK);
    }
    const size_t n = rows == h ? out.size() : size_t(rows) * w * o.bytes;
    ASSERT_EQ(Bytes(out.begin(), out.begin() + n), Bytes(compat.begin(), compat.begin() + n));
}

INSTANTIATE_TEST_SUITE_P(Api, Pictures, testing::ValuesIn(allCases()),
                         [](const testing::TestParamInfo<Case>& i) {
                             return std::string(i.param.source->name) + "_m" +
                                    std::to_string(i.param.method) + "_" + i.param.out->name;
                         });

// ---- the compatible entries' quirks: kept there, absent here

const tavtest::Source kRg16As14{"RG16as14", TAV_PF_BAYER_RG16, Pattern::RG, 14, Packing::Words};

const tavtest::Source& sourceNamed(const std::string& name) {
    if (name == kRg16As14.name) return kRg16As14;
    for (const auto& s : tavtest::kSources) {
        if (name == s.name) return s;
    }
    throw std::runtime_error(name);
}
const Out& outOf(uint32_t code) {
    for (const Out& o : kOuts) {
        if (o.code == code) return o;
    }
    throw std::runtime_error("output");
}

constexpr int kW = 40, kH = 28;

// The scene through tavDemosaic (`bits`: the source's declared depth, 0: its own).
Bytes viaApi(const tavtest::Source& s, uint32_t out, uint32_t method, uint32_t bits = 0) {
    Bytes in = encodeScene(s, kW, kH), o(outBytes(outOf(out), kW, kH), 0xAA);
    TavFrame src = frameOf(s.code, kW, kH, in.data());
    src.bitDepth = bits;
    return demosaic(src, frameOf(out, kW, kH, o.data()), method) == TAV_OK ? o : Bytes{};
}
// The same through tavDemosaicingU16 (empty when refused).
Bytes viaU16(const tavtest::Source& s, uint32_t out, uint32_t method, uint32_t bits) {
    Bytes in = encodeScene(s, kW, kH), o(outBytes(outOf(out), kW, kH), 0xAA);
    const TavDemosaicU16Config config{out, method, bits};
    const TavImage src{kH, kW, s.code, in.data(), 2 * kW}, dst{0, 0, 0, o.data(), 0};
    return tavDemosaicingU16(&config, &src, &dst) == TAV_OK ? o : Bytes{};
}
double scenePsnr(const Bytes& b, uint32_t out, Pattern p) {
    return b.empty() ? 0 : psnr(outOf(out), b, p, kW, kH);
}

bool lastRowUnwritten(const Bytes& b) {
    const size_t row = 6 * kW;
    return b.size() > row &&
           std::all_of(b.end() - row, b.end(), [](uint8_t v) { return v == 0xAA; });
}

bool alphaNot255(TavContext* ctx, bool api) {
    Bytes in = encodeScene(sourceNamed("RG8"), kW, kH), o(4 * kW * kH, 0xAA);
    if (api) {
        demosaic(frameOf(TAV_PF_BAYER_RG8, kW, kH, in.data()),
                 frameOf(TAV_PF_BGRA8, kW, kH, o.data()), 2);
    } else {
        const uint64_t f = TAV_PF_BGRA8;
        tavDemosaicSetConfig(ctx, &f);
        TavImage src{kH, kW, TAV_PF_BAYER_RG8, in.data(), kW}, dst{0, 0, 0, o.data(), 0};
        tavDemosaicing(ctx, &src, 2, &dst);
    }
    for (size_t i = 3; i < o.size(); i += 4) {
        if (o[i] != 255) return true;
    }
    return false;
}

// A point list to a target it does not convert: the compatible entry clears
// the destination first.
bool pointListTouches(bool api) {
    Bytes points = {7, 0, 0x11, 1, 0, 0, 0, 0}, o(3 * 8 * 8, 0xAA);
    if (api) {
        const TavFrame src = frameOf(TAV_PF_MONO1C, 8, 8, points.data());
        const TavFrame dst = frameOf(TAV_PF_RGB8, 8, 8, o.data());
        EXPECT_EQ(tavConvert(&src, &dst, nullptr), TAV_ERROR_SOURCE_FORMAT);
    } else {
        TavImage src{8, 8, TAV_PF_MONO1C, points.data(), 8}, dst{8, 8, TAV_PF_RGB8, o.data(), 24};
        EXPECT_EQ(tavImageTypeConvert(&src, &dst, TAV_PF_RGB8), TAV_E_PIXEL_FORMAT);
    }
    return o != Bytes(o.size(), 0xAA);
}

// Quirks that spoil a picture: the scene through tavDemosaicingU16 (its
// refusals count as spoilt) and through tavDemosaic.
struct Spoiler {
    const char* name;
    const char* source;
    uint32_t out, method, bits;
};

const Spoiler kSpoilers[] = {
    {"BgBilinearSwapsRedAndBlue", "BG12", TAV_PF_RGB12, 1, 12},
    {"Depth16EdgeVectorClamp", "RG16", TAV_PF_RGB16, 2, 16},
    {"Rgb16ResultReplacedByShift", "RG16as14", TAV_PF_RGB16, 1, 14},
    {"Depth14LeftUnshifted", "Mono14", TAV_PF_MONO16, 1, 14},
};

class Quirks : public testing::TestWithParam<Spoiler> {};

TEST_P(Quirks, SpoilTheCompatiblePictureOnly) {
    const Spoiler& q = GetParam();
    const tavtest::Source& s = sourceNamed(q.source);
    EXPECT_LT(scenePsnr(viaU16(s, q.out, q.method, q.bits), q.out, s.pattern), 20);
    EXPECT_GT(scenePsnr(viaApi(s, q.out, q.method, q.bits), q.out, s.pattern), 40);
}

INSTANTIATE_TEST_SUITE_P(Api, Quirks, testing::ValuesIn(kSpoilers),
                         [](const testing::TestParamInfo<Spoiler>& i) { return i.param.name; });

// Quirks that spoil a conversion or an estimate: the largest error against the
// right picture through the compatible entry (its refusals count as spoilt),
// then through the frame API.
struct Misread {
    const char* name;
    double (*error)(bool api);
    double tolerance;
};

int32_t convert(bool api, uint32_t from, uint32_t to, int w, int h, Bytes& in, Bytes& out) {
    if (api) {
        const TavFrame src = frameOf(from, w, h, in.data()), dst = frameOf(to, w, h, out.data());
        return tavConvert(&src, &dst, nullptr);
    }
    TavImage src{h, w, from, in.data(), 0}, dst{h, w, to, out.data(), 0};
    return tavImageTypeConvert(&src, &dst, to);
}

// Mono1p bits as 0 or 255, Mono4p nibbles n as n x 17 (low nibble first), in
// every channel, alpha 255.
template <uint32_t kFrom, uint32_t kTo>
double monoError(bool api) {
    const int w = 48, h = 6, bits = kFrom == TAV_PF_MONO1P ? 1 : 4, bytes = outOf(kTo).bytes;
    Bytes in = tavtest::randomBytes(size_t(w) * h * bits / 8, 11), out(size_t(w) * h * bytes);
    if (convert(api, kFrom, kTo, w, h, in, out) != TAV_OK) return 255;
    int worst = 0;
    for (int i = 0; i < w * h; ++i) {
        const int v =
            (in[i * bits / 8] >> (i * bits % 8) & ((1 << bits) - 1)) * 255 / ((1 << bits) - 1);
        for (int c = 0; c < bytes; ++c) {
            worst = std::max(worst, std::abs(out[size_t(i) * bytes + c] - (c == 3 ? 255 : v)));
        }
    }
    return worst;
}

// RGB8 of one random colour a 2x2 block (52 wide: vector steps and scalar
// blocks) through I420 and back: the largest difference from the source.
double i420RoundTrip(bool api) {
    const int w = 52, h = 8;
    const Bytes colours = tavtest::randomBytes(3 * w * h / 4, 5);
    Bytes rgb(3 * w * h), yuv(w * h * 3 / 2), back(3 * w * h);
    for (int i = 0; i < 3 * w * h; ++i) {
        const int x = i / 3 % w, y = i / 3 / w;
        rgb[i] = colours[3 * (y / 2 * w / 2 + x / 2) + i % 3];
    }
    if (convert(api, TAV_PF_RGB8, TAV_PF_YUV420P, w, h, rgb, yuv) != TAV_OK ||
        convert(api, TAV_PF_YUV420P, TAV_PF_RGB8, w, h, yuv, back) != TAV_OK) {
        return 255;
    }
    int worst = 0;
    for (size_t i = 0; i < rgb.size(); ++i) worst = std::max(worst, std::abs(back[i] - rgb[i]));
    return worst;
}

// A flat field whose odd rows fall off towards the edges while its even rows
// stay level, corrected by the mode-0 table estimated from it: the largest
// departure of a cell's mean from the mean of all, in percent.
double shadingError(bool api) {
    const int w = 32, h = 32;
    Words flat(w * h), out(w * h);
    for (int i = 0; i < w * h; ++i) {
        const int x = i % w, y = i / w;
        flat[i] =
            uint16_t(y % 2 ? 2000 - 30 * std::abs(x - w / 2) - 20 * std::abs(y - h / 2) : 2000);
    }
    std::vector<uint32_t> words(tavShadingTableWords(0, w, h)), compat(words.size() + 3);
    const TavShadingTable table{0, w, h, words.data()};
    const TavFrame f = frameOf(TAV_PF_MONO12, w, h, flat.data()),
                   d = frameOf(TAV_PF_MONO12, w, h, out.data());
    if (api) {
        if (tavShadingEstimate(&f, nullptr, &table) != TAV_OK) return 100;
    } else {
        std::vector<float> ff(flat.begin(), flat.end()), df(ff.size());
        const TavLscInput input{0, 12, w, h, ff.data(), df.data()};
        if (tavGetLSCParameter(&input, reinterpret_cast<TavLscParameter*>(compat.data())) != TAV_OK)
            return 100;
        std::copy(compat.begin() + 3, compat.end(), words.begin());
    }
    if (tavShadingApply(&f, &d, &table, nullptr) != TAV_OK) return 100;
    std::vector<double> cells;
    for (int i = 0; i < w * h / 4; ++i) {
        const int x = 2 * (i % (w / 2)), y = 2 * (i / (w / 2));
        cells.push_back(out[y * w + x] + out[y * w + x + 1] + out[y * w + w + x] +
                        out[y * w + w + x + 1]);
    }
    const double mean = std::accumulate(cells.begin(), cells.end(), 0.0) / cells.size();
    double worst = 0;
    for (double c : cells) worst = std::max(worst, std::abs(c - mean) * 100 / mean);
    return worst;
}

// Mono10 samples with a stray bit above the depth, 100 of them (six 16-sample
// vector steps and a tail) to Mono8: the largest difference from 255.
double strayBitError(bool api) {
    const int w = 20, h = 5;
    Words in(w * h);
    for (int i = 0; i < w * h; ++i) in[i] = uint16_t(1024 + i % w * 37);
    Bytes out(w * h);
    int32_t code;
    if (api) {
        code = demosaic(frameOf(TAV_PF_MONO10, w, h, in.data()),
                        frameOf(TAV_PF_MONO8, w, h, out.data()), 1);
    } else {
        tavtest::Context c;
        c.setOutput(TAV_PF_MONO8);
        TavImage src{h, w, TAV_PF_MONO10, reinterpret_cast<uint8_t*>(in.data()), 2 * w};
        TavImage dst{0, 0, 0, out.data(), 0};
        code = tavDemosaicing(c.ctx, &src, 1, &dst);
    }
    if (code != TAV_OK) return 255;
    int worst = 0;
    for (uint8_t v : out) worst = std::max(worst, 255 - v);
    return worst;
}

const Misread kMisreads[] = {
    {"Mono1pBitWeights", monoError<TAV_PF_MONO1P, TAV_PF_MONO8>, 0},
    {"Mono1pToBgra8", monoError<TAV_PF_MONO1P, TAV_PF_BGRA8>, 0},
    {"Mono4pNibblesApart", monoError<TAV_PF_MONO4P, TAV_PF_MONO8>, 0},
    {"Mono4pToRgb8", monoError<TAV_PF_MONO4P, TAV_PF_RGB8>, 0},
    {"ShadingCellGreyFromTopRow", shadingError, 1},
    {"I420WrittenBt709ReadBt601", i420RoundTrip, 3},
    {"StrayBitsWrapInTheTail", strayBitError, 0},
};

class Misreads : public testing::TestWithParam<Misread> {};

TEST_P(Misreads, SpoilTheCompatibleResultOnly) {
    const Misread& m = GetParam();
    EXPECT_GT(m.error(false), m.tolerance);
    EXPECT_LE(m.error(true), m.tolerance);
}

INSTANTIATE_TEST_SUITE_P(Api, Misreads, testing::ValuesIn(kMisreads),
                         [](const testing::TestParamInfo<Misread>& i) { return i.param.name; });

TEST(ApiQuirks, UnwrittenAlphaAndRowsAndEarlyClearsStayCompatible) {
    tavtest::Context c;
    std::string printed = tavtest::printedBy([&] {
        EXPECT_TRUE(alphaNot255(c.ctx, false));
        EXPECT_TRUE(lastRowUnwritten(viaU16(sourceNamed("GR12"), TAV_PF_RGB12, 1, 12)));
        EXPECT_TRUE(pointListTouches(false));
    });
    printed = tavtest::printedBy([&] {
        EXPECT_FALSE(alphaNot255(nullptr, true));
        EXPECT_FALSE(lastRowUnwritten(viaApi(sourceNamed("GR12"), TAV_PF_RGB12, 1)));
        EXPECT_FALSE(pointListTouches(true));
    });
    EXPECT_EQ(printed, "");
}

// ---- strides, thread counts and levels: the same pixels as compact frames at
// one thread by the scalar rules

struct Geometry {
    ptrdiff_t rowBytes;
    int rows;
};

std::vector<Geometry> planesOf(uint32_t format, int w, int h) {
    switch (format) {
        case TAV_PF_YUV420SP_NV12:
            return {{w, h}, {w, h / 2}};
        case TAV_PF_YUV420P:
            return {{w, h}, {w / 2, h / 2}, {w / 2, h / 2}};
        case TAV_PF_RGB8_PLANAR:
        case TAV_PF_BGR8_PLANAR:
            return {{w, h}, {w, h}, {w, h}};
        default: {
            const TavFrame f = frameOf(format, w, h, nullptr);
            return {{ptrdiff_t(tavFrameSize(&f) / h), h}};
        }
    }
}

// A frame in `buffer`: compact (pad 0), or rows `pad` bytes longer and planes
// 64 bytes apart, given by pointer.
TavFrame laidOut(uint32_t format, int w, int h, Bytes& buffer, ptrdiff_t pad, uint8_t fill) {
    const auto planes = planesOf(format, w, h);
    size_t size = 0;
    for (const Geometry& g : planes) size += (g.rowBytes + pad) * g.rows + (pad ? 64 : 0);
    buffer.assign(size, fill);
    TavFrame f = frameOf(format, w, h, buffer.data());
    uint8_t* p = buffer.data();
    for (size_t k = 0; k < planes.size() && pad; ++k) {
        f.plane[k] = p;
        f.stride[k] = planes[k].rowBytes + pad;
        p += f.stride[k] * planes[k].rows + 64;
    }
    return f;
}

// Calls fn(row, rowBytes, stride) for every row of every plane.
template <typename F>
void eachRow(const TavFrame& f, F fn) {
    const auto planes = planesOf(f.format, f.width, f.height);
    auto* next = static_cast<uint8_t*>(f.plane[0]);
    for (size_t k = 0; k < planes.size(); ++k) {
        auto* base = f.plane[k] ? static_cast<uint8_t*>(f.plane[k]) : next;
        const ptrdiff_t stride = f.stride[k] ? f.stride[k] : planes[k].rowBytes;
        for (int r = 0; r < planes[k].rows; ++r) fn(base + r * stride, planes[k].rowBytes, stride);
        next = base + stride * planes[k].rows;
    }
}

// Rows of every plane; `paddingKept` turns false where a byte between them is not `fill`.
Bytes rowsOf(const TavFrame& f, bool* paddingKept = nullptr, uint8_t fill = 0) {
    Bytes rows;
    eachRow(f, [&](const uint8_t* row, ptrdiff_t bytes, ptrdiff_t stride) {
        rows.insert(rows.end(), row, row + bytes);
        for (ptrdiff_t b = bytes; paddingKept && b < stride; ++b) *paddingKept &= row[b] == fill;
    });
    return rows;
}

enum class Call { kDemosaic, kConvert, kShading };

struct Layout {
    const char* name;
    Call call;
    uint32_t from, to, method, bits;  // bits: significant bits of the source samples
};

constexpr Layout kLayouts[] = {
    {"RG8_Bgra8_Edge", Call::kDemosaic, TAV_PF_BAYER_RG8, TAV_PF_BGRA8, 2, 8},
    {"GB12p_Planar_Bilinear", Call::kDemosaic, TAV_PF_BAYER_GB12_PACKED, TAV_PF_BGR8_PLANAR, 1, 8},
    {"BG10_Rgb8_Nearest", Call::kDemosaic, TAV_PF_BAYER_BG10, TAV_PF_RGB8, 0, 10},
    {"RG12_Rgb16_Edge", Call::kDemosaic, TAV_PF_BAYER_RG12, TAV_PF_RGB16, 2, 12},
    {"BG16_Bgr16_Edge", Call::kDemosaic, TAV_PF_BAYER_BG16, TAV_PF_BGR16, 2, 16},
    {"GR16_Mono12_Hq", Call::kDemosaic, TAV_PF_BAYER_GR16, TAV_PF_MONO12, 3, 16},
    {"GR12_Mono16_Bilinear", Call::kDemosaic, TAV_PF_BAYER_GR12, TAV_PF_MONO16, 1, 12},
    {"BG10_Rgb16_Bilinear", Call::kDemosaic, TAV_PF_BAYER_BG10, TAV_PF_RGB16, 1, 10},
    {"Mono12_Bgr10", Call::kDemosaic, TAV_PF_MONO12, TAV_PF_BGR10, 1, 12},
    {"Nv12_Bgra8", Call::kConvert, TAV_PF_YUV420SP_NV12, TAV_PF_BGRA8, 0, 8},
    {"I420_Rgb8", Call::kConvert, TAV_PF_YUV420P, TAV_PF_RGB8, 0, 8},
    {"Bgr8_I420", Call::kConvert, TAV_PF_BGR8, TAV_PF_YUV420P, 0, 8},
    {"Mono4p_Rgba8", Call::kConvert, TAV_PF_MONO4P, TAV_PF_RGBA8, 0, 8},
    {"Mono1p_Bgr8", Call::kConvert, TAV_PF_MONO1P, TAV_PF_BGR8, 0, 8},
    {"Rg12_Shading", Call::kShading, TAV_PF_BAYER_RG12, TAV_PF_BAYER_RG12, 0, 12},
    {"Mono8_Shading", Call::kShading, TAV_PF_MONO8, TAV_PF_MONO8, 1, 8},
};

int32_t run(const Layout& l, const TavFrame& src, const TavFrame& dst, int32_t threads) {
    TavOptions o;
    tavOptionsInit(&o);
    o.method = l.method;
    o.threads = threads;
    if (l.call == Call::kDemosaic) return tavDemosaic(&src, &dst, &o);
    if (l.call == Call::kConvert) return tavConvert(&src, &dst, &o);
    std::vector<uint32_t> words(tavShadingTableWords(l.method, src.width, src.height));
    for (size_t i = 0; i < words.size(); ++i)
        words[i] = uint32_t(150000 + i * 977 % 60000) << 12 | i * 31 % 4096;
    const TavShadingTable table{l.method, src.width, src.height, words.data()};
    return tavShadingApply(&src, &dst, &table, &o);
}

class Layouts : public testing::TestWithParam<Layout> {};

TEST_P(Layouts, PaddedFramesAndThreadsGiveCompactPixels) {
    const Layout& l = GetParam();
    const int w = 48, h = 20;
    Bytes compactIn, compactOut, paddedIn, paddedOut;
    const TavFrame src = laidOut(l.from, w, h, compactIn, 0, 0);
    const TavFrame dst = laidOut(l.to, w, h, compactOut, 0, 0xEE);
    const TavFrame paddedSrc = laidOut(l.from, w, h, paddedIn, 22, 0x33);
    const TavFrame paddedDst = laidOut(l.to, w, h, paddedOut, 26, 0xEE);
    const Bytes noise = tavtest::randomBytes(compactIn.size(), 7);
    std::copy(noise.begin(), noise.end(), compactIn.begin());
    for (size_t i = 1; l.bits > 8 && i < compactIn.size(); i += 2)
        compactIn[i] &= (1 << (l.bits - 8)) - 1;
    size_t at = 0;
    eachRow(paddedSrc, [&](uint8_t* row, ptrdiff_t bytes, ptrdiff_t) {
        std::copy_n(compactIn.begin() + at, bytes, row);
        at += bytes;
    });
    {  // compact frames by the scalar rules alone, one thread
        tavtest::AtLevel restore;
        tav::setLevel(tav::Level::Scalar);
        ASSERT_EQ(run(l, src, dst, 1), TAV_OK);
    }
    const int32_t before = tavGetNumThreads();
    tav::setBandUnits(1);
    const std::string printed =
        tavtest::printedBy([&] { ASSERT_EQ(run(l, paddedSrc, paddedDst, 3), TAV_OK); });
    const char* suite = std::getenv("TAV_TEST_BAND_UNITS");
    tav::setBandUnits(suite ? std::atoi(suite) : 0);
    EXPECT_EQ(printed, "");
    EXPECT_EQ(tavGetNumThreads(), before);
    bool kept = true;
    EXPECT_EQ(rowsOf(paddedDst, &kept, 0xEE), rowsOf(dst));
    EXPECT_TRUE(kept);
}

INSTANTIATE_TEST_SUITE_P(Api, Layouts, testing::ValuesIn(kLayouts),
                         [](const testing::TestParamInfo<Layout>& i) { return i.param.name; });

// ---- conversions and shading: the compatible entries' bytes, alpha 255, every pixel

TEST(ApiConvert, EveryPairGivesTheCompatibleBytesWithOpaqueAlpha) {
    const uint32_t formats[] = {
        TAV_PF_MONO1P,   TAV_PF_MONO4P,        TAV_PF_MONO8,         TAV_PF_YUV411_8_UYYVYY,
        TAV_PF_YUV420P,  TAV_PF_YUV420SP_NV12, TAV_PF_YUV422_8_UYVY, TAV_PF_YUV422_8,
        TAV_PF_YUV8_UYV, TAV_PF_RGB8,          TAV_PF_BGR8,          TAV_PF_RGBA8,
        TAV_PF_BGRA8};
    const int w = 24, h = 6;
    int pairs = 0;
    for (uint32_t from : formats) {
        Bytes in = tavtest::randomBytes(4 * w * h, from);
        for (uint32_t to : formats) {
            Bytes api(4 * w * h, 0xAA), compat(api);
            const TavFrame src = frameOf(from, w, h, in.data()),
                           dst = frameOf(to, w, h, api.data());
            const int32_t code = tavConvert(&src, &dst, nullptr);
            if (code != TAV_OK) {
                EXPECT_TRUE(code == TAV_ERROR_PAIR || code == TAV_ERROR_SOURCE_FORMAT ||
                            code == TAV_ERROR_TARGET_FORMAT)
                    << from << " " << to;
                EXPECT_EQ(api, Bytes(api.size(), 0xAA));
                continue;
            }
            ++pairs;
            // Full-range Mono1p/Mono4p, BT.601 I420: see Misreads.
            if (from == TAV_PF_MONO1P || from == TAV_PF_MONO4P ||
                (to == TAV_PF_YUV420P && from != TAV_PF_MONO8)) {
                continue;
            }
            TavImage s{h, w, from, in.data(), 0}, d{h, w, to, compat.data(), 0};
            ASSERT_EQ(tavImageTypeConvert(&s, &d, to), TAV_OK);
            for (size_t i = 3; (to == TAV_PF_RGBA8 || to == TAV_PF_BGRA8) && i < compat.size();
                 i += 4) {
                if (i < 4u * w * h) compat[i] = 255;
            }
            EXPECT_EQ(api, compat) << from << " " << to;
        }
    }
    EXPECT_EQ(pairs, 57);
}

TEST(ApiShading, EstimateMatchesCompatibleWordsAndApplyWritesEveryPixel) {
    const int w = 34, h = 32;
    for (uint32_t mode : {0u, 1u}) {
        Words flat(w * h), dark(w * h);
        for (int i = 0; i < w * h; ++i) {
            flat[i] = uint16_t(3000 - std::abs(i % w - w / 2) * 40 - std::abs(i / w - h / 2) * 30);
            dark[i] = uint16_t(60 + i % 7);
        }
        std::vector<uint32_t> words(tavShadingTableWords(mode, w, h)), compat(words.size() + 3);
        const TavShadingTable table{mode, w, h, words.data()};
        TavFrame f = frameOf(TAV_PF_MONO12, w, h, flat.data()),
                 d = frameOf(TAV_PF_MONO12, w, h, dark.data());
        ASSERT_EQ(tavShadingEstimate(&f, &d, &table), TAV_OK);
        std::vector<float> ff(flat.begin(), flat.end()), df(dark.begin(), dark.end());
        const TavLscInput input{mode, 12, w, h, ff.data(), df.data()};
        ASSERT_EQ(tavGetLSCParameter(&input, reinterpret_cast<TavLscParameter*>(compat.data())),
                  TAV_OK);
        // Mode 0 averages whole cells: see Misreads.
        if (mode == 1) {
            EXPECT_EQ(words, std::vector<uint32_t>(compat.begin() + 3, compat.end()));
        }
        EXPECT_EQ(tavShadingEstimate(&f, &f, &table), TAV_ERROR_FLAT_FIELD);

        // Odd sizes: the last row and column take the nearest cell's word.
        const int ow = w - 1, oh = h - 1;
        Bytes in(ow * oh, 100), out(ow * oh, 0);
        const TavShadingTable odd{mode, ow, oh, words.data()};
        f = frameOf(TAV_PF_MONO8, ow, oh, in.data());
        d = frameOf(TAV_PF_MONO8, ow, oh, out.data());
        ASSERT_EQ(tavShadingApply(&f, &d, &odd, nullptr), TAV_OK);
        EXPECT_EQ(std::count(out.begin(), out.end(), 0), 0);
    }
}

// ---- refusals: a code for each, nothing written, nothing printed

struct Refusal {
    int32_t code;
    std::function<void(TavFrame& src, TavFrame& dst, TavOptions& o)> change;
};

const Refusal kRefusals[] = {
    {TAV_ERROR_METHOD, [](TavFrame&, TavFrame&, TavOptions& o) { o.method = 4; }},
    {TAV_ERROR_THREADS, [](TavFrame&, TavFrame&, TavOptions& o) { o.threads = -1; }},
    {TAV_ERROR_SOURCE_FORMAT, [](TavFrame& s, TavFrame&, TavOptions&) { s.format = TAV_PF_RGB8; }},
    {TAV_ERROR_TARGET_FORMAT,
     [](TavFrame&, TavFrame& d, TavOptions&) { d.format = TAV_PF_BAYER_RG8; }},
    {TAV_ERROR_PAIR, [](TavFrame& s, TavFrame& d,
                        TavOptions&) { s.format = TAV_PF_BAYER_RG8, d.format = TAV_PF_RGB12; }},
    {TAV_ERROR_NEAREST_DEPTH,
     [](TavFrame&, TavFrame& d, TavOptions& o) { o.method = 0, d.format = TAV_PF_RGB16; }},
    {TAV_ERROR_SIZE, [](TavFrame& s, TavFrame&, TavOptions&) { s.height = -2; }},
    {TAV_ERROR_ODD_WIDTH, [](TavFrame& s, TavFrame& d, TavOptions&) { s.width = d.width = 9; }},
    {TAV_ERROR_ODD_HEIGHT, [](TavFrame& s, TavFrame& d, TavOptions&) { s.height = d.height = 7; }},
    {TAV_ERROR_SIZE_MISMATCH, [](TavFrame&, TavFrame& d, TavOptions&) { d.width = 8; }},
    {TAV_ERROR_TOO_SMALL,
     [](TavFrame& s, TavFrame& d, TavOptions& o) { o.method = 2, s.width = d.width = 4; }},
    {TAV_ERROR_STRIDE, [](TavFrame& s, TavFrame&, TavOptions&) { s.stride[0] = 18; }},
    {TAV_ERROR_STRIDE, [](TavFrame&, TavFrame& d, TavOptions&) { d.stride[0] = 29; }},
    {TAV_ERROR_BIT_DEPTH, [](TavFrame& s, TavFrame&, TavOptions&) { s.bitDepth = 13; }},
    {TAV_ERROR_BIT_DEPTH, [](TavFrame&, TavFrame& d, TavOptions&) { d.bitDepth = 12; }},
    {TAV_ERROR_NULL, [](TavFrame& s, TavFrame&, TavOptions&) { s.plane[0] = nullptr; }},
    {TAV_ERROR_OVERLAP, [](TavFrame& s, TavFrame& d,
                           TavOptions&) { d.plane[0] = static_cast<uint8_t*>(s.plane[0]) + 64; }},
};

class Refusals : public testing::TestWithParam<Refusal> {};

TEST_P(Refusals, CodeWithoutWritingOrPrinting) {
    const int w = 10, h = 8;  // RG12 to RGB8, bilinear
    Bytes in(4096, 0x11), out(4096, 0xAA);
    TavFrame src = frameOf(TAV_PF_BAYER_RG12, w, h, in.data()),
             dst = frameOf(TAV_PF_RGB8, w, h, out.data());
    TavOptions o;
    tavOptionsInit(&o);
    GetParam().change(src, dst, o);
    int32_t code = 0;
    EXPECT_EQ(tavtest::printedBy([&] { code = tavDemosaic(&src, &dst, &o); }), "");
    EXPECT_EQ(code, GetParam().code) << tavResultText(code);
    EXPECT_EQ(out, Bytes(4096, 0xAA));
    EXPECT_EQ(in, Bytes(4096, 0x11));
}

INSTANTIATE_TEST_SUITE_P(Api, Refusals, testing::ValuesIn(kRefusals));

TEST(ApiRefusals, NoMemoryAndEveryCodeHasItsOwnReason) {
    std::thread([] {  // a thread whose work memory has not grown yet
        Bytes in(64 * 64 * 2), out(64 * 64 * 3);
        const TavFrame src = frameOf(TAV_PF_BAYER_RG12, 64, 64, in.data());
        const TavFrame dst = frameOf(TAV_PF_RGB8, 64, 64, out.data());
        tavtest::FailAllocations fail(1);
        EXPECT_EQ(tavDemosaic(&src, &dst, nullptr), TAV_ERROR_NO_MEMORY);
    })
        .join();
    std::set<std::string> reasons;
    for (int32_t code = -250; code <= 0; ++code) {
        const std::string text = tavResultText(code);
        if (text != tavResultText(1)) {
            EXPECT_TRUE(reasons.insert(text).second) << code;
        }
    }
    EXPECT_EQ(reasons.size(), 8u + 18u);
}

}  // namespace
