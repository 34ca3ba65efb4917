// 16-bit demosaicing: every kernel at both levels, each against its 8-bit
// twin on 8-bit content, the entry's word orders and shifts, and the quirks
// (the GR kernel's untouched row, the edge body's clamp, the Mono16 wrap).
#include <algorithm>
#include <array>

#include "frames.h"

using tavtest::atBothLevels;
using tavtest::demosaic16;

namespace {

using Words = std::vector<uint16_t>;
using Bytes = std::vector<uint8_t>;

// A kernel of one output form: fills `out` (3 words a pixel, or 3 planes, or 1 word).
using Kernel16 =
    std::function<void(const Words& src, int32_t h, int32_t w, uint32_t bits, Words& out)>;

struct Named {
    const char* name;
    int32_t minSide;
    Kernel16 run;
};

template <typename F>
Kernel16 planar(F f) {
    return [f](const Words& s, int32_t h, int32_t w, uint32_t, Words& o) {
        const size_t n = size_t(h) * w;
        EXPECT_EQ(f(s.data(), h, w, o.data(), o.data() + n, o.data() + 2 * n), TAV_OK);
    };
}

template <typename F>
Kernel16 bilinear(F f, uint32_t exchange) {
    return [f, exchange](const Words& s, int32_t h, int32_t w, uint32_t, Words& o) {
        EXPECT_EQ(f(s.data(), h, w, o.data(), exchange), TAV_OK);
    };
}

template <typename F>
Kernel16 edge(F f, uint32_t exchange) {
    return [f, exchange](const Words& s, int32_t h, int32_t w, uint32_t bits, Words& o) {
        EXPECT_EQ(f(s.data(), h, w, o.data(), exchange, bits), TAV_OK);
    };
}

template <typename F>
Kernel16 driver(F f) {
    return [f](const Words& s, int32_t h, int32_t w, uint32_t, Words& o) {
        EXPECT_EQ(f(s.data(), h, w, o.data()), TAV_OK);
    };
}

const uint32_t kLuma[3] = {77, 150, 29};

const std::vector<Named> kKernels = {
    {"rg_bilinear", 4, bilinear(rg16ToBgr16_bilinear, 0)},
    {"rg_bilinear_x", 4, bilinear(rg16ToBgr16_bilinear, 1)},
    {"gr_bilinear", 4, bilinear(gr16ToBgr16_bilinear, 0)},
    {"gr_bilinear_x", 4, bilinear(gr16ToBgr16_bilinear, 1)},
    {"rggb_bilinear", 4, bilinear(demosaicingBilinearRGGBU16, 0)},
    {"rggb_bilinear_x", 4, bilinear(demosaicingBilinearRGGBU16, 1)},
    {"checked", 4,
     [](const Words& s, int32_t h, int32_t w, uint32_t, Words& o) {
         EXPECT_EQ(tavDemosaicingBilinearU16(s.data(), h, w, o.data()), TAV_OK);
     }},
    {"checked_planar", 4, planar(tavDemosaicingBilinearU16P)},
    {"rggb_planar", 4, planar(demosaicingBilinearRGGBU16P)},
    {"mono", 4,
     [](const Words& s, int32_t h, int32_t w, uint32_t, Words& o) {
         EXPECT_EQ(rg16ToMono16_bilinear(s.data(), h, w, kLuma, o.data()), TAV_OK);
     }},
    {"rg_edge", 6, edge(rg16ToBgr16_edge, 0)},
    {"rg_edge_x", 6, edge(rg16ToBgr16_edge, 1)},
    {"gb_edge", 6, edge(gb16ToBgr16_edge, 0)},
    {"gb_edge_x", 6, edge(gb16ToBgr16_edge, 1)},
    {"RGGB_edge", 6, driver(demosaicingEdgeRGGBU16)},
    {"GRBG_edge", 6, driver(demosaicingEdgeGRBGU16)},
    {"GBRG_edge", 6, driver(demosaicingEdgeGBRGU16)},
    {"BGGR_edge", 6, driver(demosaicingEdgeBGGRU16)},
};

struct Size {
    int32_t h, w;
};

// Every small size, and widths around the 8-column step at one and two steps.
std::vector<Size> sizes(int32_t minSide) {
    std::vector<Size> v;
    for (int32_t h = minSide; h <= 13; ++h) {
        for (int32_t w = minSide; w <= 41; ++w) v.push_back({h, w});
    }
    for (int32_t w : {63, 64, 65, 66, 67, 130}) v.push_back({7, w});
    return v;
}

Words run(const Named& k, const Words& src, int32_t h, int32_t w, uint32_t bits) {
    Words out(3 * size_t(h) * w + 3, 0xA5C3);
    k.run(src, h, w, bits, out);
    return out;
}

}  // namespace

class Kernels16 : public testing::TestWithParam<Named> {};

// Content may exceed the depth: the clamps must agree there too.
TEST_P(Kernels16, ScalarLevelGivesTheVectorBytes) {
    const Named& k = GetParam();
    for (uint32_t bits : {10u, 12u, 14u, 16u}) {
        for (const Size& s : sizes(k.minSide)) {
            const Words src = tavtest::randomWords(size_t(s.h) * s.w, s.h * 977 + s.w + bits,
                                                   s.w % 3 ? bits : 16);
            const auto [scalar, vector] = atBothLevels([&] { return run(k, src, s.h, s.w, bits); });
            ASSERT_EQ(scalar, vector) << k.name << " " << s.h << "x" << s.w << " depth " << bits;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, Kernels16, testing::ValuesIn(kKernels),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- 8-bit twins: on samples of 8 bits (edge kernels at depth 8) every
// 16-bit kernel gives the bytes of the 8-bit kernel of its phase.

namespace {

using Kernel8 = std::function<void(const Bytes& src, int32_t h, int32_t w, Bytes& out)>;

struct Twin {
    const char* wide;  // name in kKernels
    Kernel8 narrow;
    bool reversed;   // the 8-bit pixel's bytes in the other order
    bool keepsRow;   // the GR kernel leaves the row after its body
    bool midValues;  // samples 112..143: no value reaches a clamp
};

Kernel8 bilinear8(int32_t (*f)(const uint8_t*, int32_t, int32_t, uint8_t*)) {
    return [f](const Bytes& s, int32_t h, int32_t w, Bytes& o) {
        EXPECT_EQ(f(s.data(), h, w, o.data()), TAV_OK);
    };
}

Kernel8 edge8(int32_t (*f)(const uint8_t*, int32_t, int32_t, uint8_t*, uint32_t, uint8_t*),
              uint32_t exchange) {
    return [f, exchange](const Bytes& s, int32_t h, int32_t w, Bytes& o) {
        Bytes line(w);
        EXPECT_EQ(f(s.data(), h, w, o.data(), exchange, line.data()), TAV_OK);
    };
}

// The 16-bit planes are blue, green, red; the 8-bit ones red-site colour first.
const Kernel8 kPlanar8 = [](const Bytes& s, int32_t h, int32_t w, Bytes& o) {
    const size_t n = size_t(h) * w;
    EXPECT_EQ(rg8ToBgr8P_bilinear(s.data(), h, w, o.data() + 2 * n, o.data() + n, o.data()),
              TAV_OK);
};

const Twin kTwins[] = {
    {"rg_bilinear", bilinear8(rg8ToBgr8_bilinear), false, false, false},
    {"rg_bilinear_x", bilinear8(rg8ToBgr8_bilinear), true, false, false},
    {"gr_bilinear", bilinear8(gr8ToBgr8_bilinear), false, true, false},
    {"gr_bilinear_x", bilinear8(gr8ToBgr8_bilinear), true, true, false},
    {"rggb_bilinear", bilinear8(rg8ToBgr8_bilinear), false, false, false},
    {"rggb_bilinear_x", bilinear8(rg8ToBgr8_bilinear), true, false, false},
    {"checked", bilinear8(rg8ToBgr8_bilinear), false, false, false},
    {"checked_planar", kPlanar8, false, false, false},
    {"rggb_planar", kPlanar8, false, false, false},
    {"mono",
     [](const Bytes& s, int32_t h, int32_t w, Bytes& o) {
         EXPECT_EQ(rg8ToMono8_bilinear(s.data(), h, w, kLuma, o.data()), TAV_OK);
     },
     false, false, false},
    {"rg_edge", edge8(rg8ToBgr8_edge, 0), false, false, false},
    {"rg_edge_x", edge8(rg8ToBgr8_edge, 1), false, false, false},
    {"gb_edge", edge8(gb8ToBgr8_edge, 0), false, false, false},
    {"gb_edge_x", edge8(gb8ToBgr8_edge, 1), false, false, false},
    // The building blocks clamp to 4095 or 65535, so only content that stays
    // inside 8 bits compares.
    {"RGGB_edge", edge8(rg8ToBgr8_edge, 0), false, false, true},
    {"BGGR_edge", edge8(rg8ToBgr8_edge, 1), false, false, true},
    {"GBRG_edge", edge8(gb8ToBgr8_edge, 0), false, false, true},
    {"GRBG_edge", edge8(gb8ToBgr8_edge, 1), false, false, true},
};

void PrintTo(const Twin& t, std::ostream* os) {
    *os << t.wide;
}

}  // namespace

class Twins : public testing::TestWithParam<Twin> {};

TEST_P(Twins, EightBitContentGivesTheEightBitKernelsBytes) {
    const Twin& t = GetParam();
    const Named& k = *std::find_if(kKernels.begin(), kKernels.end(),
                                   [&](const Named& n) { return std::string(n.name) == t.wide; });
    const bool mono = std::string(t.wide) == "mono";
    for (int32_t h = k.minSide; h <= 13; ++h) {
        for (int32_t w = k.minSide; w <= 45; ++w) {
            Bytes src8 = tavtest::randomBytes(size_t(h) * w, h * 100 + w);
            if (t.midValues) {
                for (auto& b : src8) b = uint8_t(112 + b % 32);
            }
            const Words wide = run(k, Words(src8.begin(), src8.end()), h, w, 8);
            Bytes narrow(3 * size_t(h) * w);
            t.narrow(src8, h, w, narrow);
            const int32_t keptRow = t.keepsRow ? h - 1 - (h & 1) : -1;
            const size_t count = (mono ? 1 : 3) * size_t(h) * w;
            for (size_t i = 0; i < count; ++i) {
                if (int32_t(i / (3 * w)) == keptRow) {
                    ASSERT_EQ(wide[i], 0xA5C3) << "kept row, " << h << "x" << w;
                    continue;
                }
                const size_t j = t.reversed ? i / 3 * 3 + 2 - i % 3 : i;
                ASSERT_EQ(wide[i], narrow[j]) << t.wide << " " << h << "x" << w << " word " << i;
            }
            ASSERT_EQ(wide[count], 0xA5C3) << "written past the frame";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, Twins, testing::ValuesIn(kTwins),
                         [](const auto& info) { return std::string(info.param.wide); });

// ---- values worked by hand

TEST(Values16, BilinearMeansOfTheNearestSamples) {
    //   R  G  R  G       10  21  30  41
    //   G  B  G  B       50  61  70  81
    //   R  G  R  G       90 101 110 121
    //   G  B  G  B      130 141 150 161
    const Words src = {10, 21, 30, 41, 50, 61, 70, 81, 90, 101, 110, 121, 130, 141, 150, 161};
    Words out(48);
    ASSERT_EQ(demosaicingBilinearRGGBU16(src.data(), 4, 4, out.data(), 0), TAV_OK);
    auto px = [&](int y, int x) { return Words(&out[3 * (4 * y + x)], &out[3 * (4 * y + x) + 3]); };
    EXPECT_EQ(px(0, 0), (Words{61, (50 + 21) / 2, 10}));
    EXPECT_EQ(px(1, 1), (Words{61, (21 + 50 + 70 + 101) / 4, (10 + 30 + 90 + 110) / 4}));
    EXPECT_EQ(px(0, 2), (Words{(61 + 81) / 2, (21 + 41 + 2 * 70) / 4, 30}));
    EXPECT_EQ(px(2, 3), (Words{(81 + 161) / 2, 121, 110}));  // mirrored pair
    EXPECT_EQ(px(3, 0), (Words{141, 130, 90}));
}

TEST(Values16, EdgeTiesInterpolateVertically) {
    // Red site (2, 2): greens 10 | 30 across and 40 / 60 along: H = V = 20.
    Words src(64, 100), out(192);
    src[2 * 8 + 1] = 10, src[2 * 8 + 3] = 30, src[1 * 8 + 2] = 40, src[3 * 8 + 2] = 60;
    ASSERT_EQ(demosaicingEdgeRGGBU16(src.data(), 8, 8, out.data()), TAV_OK);
    EXPECT_EQ(out[3 * (2 * 8 + 2) + 1], (40 + 60) / 2);
    src[3 * 8 + 2] = 70;  // V = 30 > H: the row pair
    ASSERT_EQ(demosaicingEdgeRGGBU16(src.data(), 8, 8, out.data()), TAV_OK);
    EXPECT_EQ(out[3 * (2 * 8 + 2) + 1], (10 + 30) / 2);
}

// Interpolated words of the building blocks stop at the driver's ceiling;
// native samples are copied as they are.
TEST(Values16, BuildingBlocksClampToTheirCeiling) {
    const struct {
        int32_t (*run)(const uint16_t*, int32_t, int32_t, uint16_t*);
        uint16_t ceiling;
    } drivers[] = {{demosaicingEdgeRGGBU16, 4095},
                   {demosaicingEdgeGRBGU16, 65535},
                   {demosaicingEdgeGBRGU16, 65535},
                   {demosaicingEdgeBGGRU16, 65535}};
    const int32_t h = 12, w = 30;
    const Words src = tavtest::randomWords(size_t(h) * w, 99, 16);
    for (const auto& d : drivers) {
        Words out(3 * size_t(h) * w);
        ASSERT_EQ(d.run(src.data(), h, w, out.data()), TAV_OK);
        int atCeiling = 0, atZero = 0;
        for (size_t i = 0; i < out.size(); ++i) {
            if (out[i] == src[i / 3]) continue;
            ASSERT_LE(out[i], d.ceiling) << i;
            atCeiling += out[i] == d.ceiling;
            atZero += out[i] == 0;
        }
        EXPECT_GT(atCeiling, 0);
        EXPECT_GT(atZero, 0);
    }
}

// Inside the vector body (rows of 20 and more, the 8-wide blocks from column
// 2 short of the row's end, rows of the body's pairs) the edge kernels clamp
// with a signed 16-bit minimum after unsigned narrowing.
TEST(Values16, EdgeBodyClampIsASignedMinimum) {
    const int32_t h = 10, w = 32;
    for (auto [level, bits] : {std::pair{1000, 16u}, {40000, 12u}}) {
        const Words src(size_t(h) * w, uint16_t(level));
        Words out(3 * size_t(h) * w);
        ASSERT_EQ(rg16ToBgr16_edge(src.data(), h, w, out.data(), 0, bits), TAV_OK);
        // Depth 16: 1000 reads under the ceiling -1 and is lifted to 65535.
        // Depth 12: 40000 reads as negative and passes; outside, 4095.
        const uint16_t inside = bits == 16 ? 65535 : 40000, outside = bits == 16 ? 1000 : 4095;
        auto word = [&](int y, int x, int k) { return out[3 * (size_t(y) * w + x) + k]; };
        EXPECT_EQ(word(2, 2, 1), inside);       // green at a red site in the body
        EXPECT_EQ(word(2, 2, 2), level);        // the native red
        EXPECT_EQ(word(3, 11, 2), inside);      // red at a blue site
        EXPECT_EQ(word(0, 0, 1), outside);      // first row: the ordinary clamp
        EXPECT_EQ(word(4, 30, 0), outside);     // past the blocks
        EXPECT_EQ(word(h - 1, 3, 1), outside);  // the closing rows
    }
}

// The 32-bit luma keeps its low 16 bits.
TEST(Values16, MonoLumaWrapsAtSixteenBits) {
    const Words src(6 * 10, 60000);
    Words out(60);
    const uint32_t w[3] = {256, 256, 0};
    ASSERT_EQ(rg16ToMono16_bilinear(src.data(), 6, 10, w, out.data()), TAV_OK);
    EXPECT_EQ(out, Words(60, uint16_t((60000 * 512 + 128) >> 8)));
}

// The GR kernel leaves the row after its body as the buffer held it.
TEST(Values16, GrKernelKeepsTheRowAfterItsBody) {
    for (int32_t h : {8, 9}) {
        const Words src(size_t(h) * 12, 500);
        Words out(3 * size_t(h) * 12, 7);
        ASSERT_EQ(gr16ToBgr16_bilinear(src.data(), h, 12, out.data(), 0), TAV_OK);
        for (int32_t y = 0; y < h; ++y) {
            EXPECT_EQ(out[3 * 12 * y + 5], y == 7 ? 7 : 500) << "h=" << h << " row " << y;
        }
    }
}

TEST(Values16, PassesReturnWhereTheyStopped) {
    const Words src = tavtest::randomWords(11 * 27, 5, 12);
    Words a(3 * 11 * 27);
    const uint64_t body = (uint64_t(9) << 32) | 25;  // less 2 for an odd size
    EXPECT_EQ(bilinearBodyRGGBU16(src.data(), 11, 27, a.data(), 0), body);
    EXPECT_EQ(bilinearBodyGRBGU16(src.data(), 11, 27, a.data(), 1), body);
    EXPECT_EQ(bilinearBodyRGGBU16P(src.data(), 11, 27, a.data(), a.data() + 297, a.data() + 594),
              body);
    for (auto [rows, width, start, done, end] :
         {std::array{4, 8, 2, 4, 6}, {5, 9, 3, 4, 7}, {7, 21, 3, 6, 19}}) {
        const uint64_t r =
            edgeSecRGGBU16(src.data() + 2 * width, a.data() + 6 * width, rows, width, start, 65535);
        EXPECT_EQ(r, (uint64_t(done) << 32) | uint32_t(end)) << rows << " rows of " << width;
    }
}

// ---- the entry

namespace {

constexpr uint32_t kRed = 300, kGreen = 200, kBlue = 100;

// A mosaic of one colour: red at (redRow, redCol) of each 2x2 cell.
Words flatMosaic(int32_t h, int32_t w, int redRow, int redCol) {
    Words v(size_t(h) * w);
    for (int32_t y = 0; y < h; ++y) {
        for (int32_t x = 0; x < w; ++x) {
            const bool r = (y & 1) == redRow, c = (x & 1) == redCol;
            v[size_t(y) * w + x] = uint16_t(r && c ? kRed : !r && !c ? kBlue : kGreen);
        }
    }
    return v;
}

}  // namespace

// Every phase and method gives the colour back in the format's order, except
// that bilinear BG keeps the RG kernel's order (red and blue exchanged);
// RGB16 moves the samples to the top of the word.
TEST(Entry16, OneColourComesBackInTheFormatsOrder) {
    const struct {
        uint32_t code;
        int redRow, redCol;
    } phases[] = {{TAV_PF_BAYER_RG12, 0, 0},
                  {TAV_PF_BAYER_GR12, 0, 1},
                  {TAV_PF_BAYER_GB12, 1, 0},
                  {TAV_PF_BAYER_BG12, 1, 1}};
    for (const auto& p : phases) {
        for (uint32_t method : {TAV_METHOD_BILINEAR, TAV_METHOD_EDGE}) {
            for (uint32_t format :
                 {TAV_PF_RGB10, TAV_PF_BGR10, TAV_PF_RGB12, TAV_PF_BGR12, TAV_PF_RGB16}) {
                const int32_t h = 9, w = 26;
                const auto r = demosaic16(p.code, format, method, 12,
                                          flatMosaic(h, w, p.redRow, p.redCol), h, w);
                ASSERT_EQ(r.code, TAV_OK);
                bool redFirst =
                    format == TAV_PF_RGB10 || format == TAV_PF_RGB12 || format == TAV_PF_RGB16;
                if (p.code == TAV_PF_BAYER_BG12 && method == TAV_METHOD_BILINEAR) {
                    redFirst = !redFirst;
                }
                const int shift = format == TAV_PF_RGB16 ? 4 : 0;
                const Words want = {uint16_t((redFirst ? kRed : kBlue) << shift),
                                    uint16_t(kGreen << shift),
                                    uint16_t((redFirst ? kBlue : kRed) << shift)};
                const int32_t kept =
                    (p.redRow ^ p.redCol) == 1 && method == TAV_METHOD_BILINEAR ? 7 : -1;
                for (int32_t i = 0; i < h * w; ++i) {
                    if (i / w == kept) continue;
                    ASSERT_EQ(Words(&r.out[3 * i], &r.out[3 * i + 3]), want)
                        << std::hex << p.code << " to " << format << std::dec << " method "
                        << method << " pixel " << i;
                }
            }
        }
    }
}

// RGB16 and Mono16 shift depths 10, 12 (and 16: by nothing); at 14 the
// shift refuses and the unshifted result stays.
TEST(Entry16, ShiftToTheTopOfTheWord) {
    const int32_t h = 6, w = 7;
    for (uint32_t bits : {10u, 12u, 14u, 16u}) {
        const Words src = tavtest::randomWords(size_t(h) * w, bits, bits);
        const int shift = bits == 14 ? 0 : 16 - int(bits);
        const auto plain = demosaic16(TAV_PF_BAYER_GB16, TAV_PF_RGB12, 1, bits, src, h, w);
        const auto top = demosaic16(TAV_PF_BAYER_GB16, TAV_PF_RGB16, 1, bits, src, h, w);
        EXPECT_EQ(top.code, bits == 14 ? TAV_E_PIXEL_FORMAT : TAV_OK);
        for (size_t i = 0; i < 3 * src.size(); ++i)
            ASSERT_EQ(top.out[i], uint16_t(plain.out[i] << shift)) << bits << " " << i;
        // Mono: copies (Mono10..16) or three replicas (colour formats).
        for (uint32_t format : {TAV_PF_MONO14, TAV_PF_MONO16, TAV_PF_BGR10, TAV_PF_RGB16}) {
            const auto r = demosaic16(TAV_PF_MONO12, format, 0, bits, src, h, w);
            EXPECT_EQ(r.code, TAV_OK);
            const int channels = format == TAV_PF_MONO14 || format == TAV_PF_MONO16 ? 1 : 3;
            const int s = format == TAV_PF_MONO16 || format == TAV_PF_RGB16 ? shift : 0;
            for (size_t i = 0; i < src.size() * channels; ++i)
                ASSERT_EQ(r.out[i], uint16_t(src[i / channels] << s)) << std::hex << format;
            EXPECT_EQ(r.out[src.size() * channels], 0xA5C3);
        }
    }
}

// Refusals that print nothing: a source the entry does not know, an output or
// method the converters do not know. Only the low 32 bits of the entry's
// output format count.
TEST(Entry16, SilentRefusals) {
    const Words src(64, 100);
    for (uint32_t format : {0u, TAV_PF_BAYER_RG8, TAV_PF_RGB16, TAV_PF_BAYER_BG16 + 1}) {
        EXPECT_EQ(demosaic16(format, TAV_PF_BGR12, 1, 12, src, 8, 8).code, TAV_E_PIXEL_FORMAT);
    }
    const auto high =
        demosaic16(TAV_PF_BAYER_RG12, int64_t(1) << 32 | TAV_PF_BGR12, 1, 12, src, 8, 8);
    EXPECT_EQ(high.code, TAV_OK);
    EXPECT_EQ(high.out[0], 100);
    Words dst(3 * 64, 7);
    for (auto convert : {rg16Convert, gr16Convert, gb16Convert, bg16Convert}) {
        for (int64_t format : {int64_t{TAV_PF_RGB10} + 8, int64_t{TAV_PF_MONO16},
                               (int64_t{1} << 32) | TAV_PF_BGR12}) {
            EXPECT_EQ(convert(src.data(), dst.data(), 8, 8, format, 1, 12), TAV_E_PARAMETER);
        }
        for (uint32_t method : {0u, 3u}) {
            EXPECT_EQ(convert(src.data(), dst.data(), 8, 8, TAV_PF_RGB16, method, 12),
                      TAV_E_PARAMETER);
        }
    }
    EXPECT_EQ(mono16Convert(src.data(), dst.data(), 8, 8, TAV_PF_MONO8, 12), TAV_E_PARAMETER);
    EXPECT_EQ(dst, Words(3 * 64, 7));
}

TEST(Entry16, ShiftTo16) {
    Words v = {0, 1, 4095, 0x0ABC, 0xF001, 9};
    EXPECT_EQ(shiftTo16(v.data(), 1, 5, 12, 1), TAV_OK);
    EXPECT_EQ(v, (Words{0, 16, 65520, 0xABC0, 0x0010, 9}));
    EXPECT_EQ(shiftTo16(v.data(), 1, 1, 10, 3), TAV_OK);
    EXPECT_EQ(v, (Words{0, 1024, 0xFC00, 0xABC0, 0x0010, 9}));
    const Words before = v;
    for (uint32_t bits : {16u, 14u, 8u, 11u}) {
        EXPECT_EQ(shiftTo16(v.data(), 1, 2, bits, 3), bits == 16 ? TAV_OK : TAV_E_PIXEL_FORMAT);
        EXPECT_EQ(v, before);
    }
}
