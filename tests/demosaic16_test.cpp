// 16-bit demosaicing: every kernel at both levels, each against its 8-bit
// twin on 8-bit content (the GR kernel's untouched row included), the entry's
// word orders and shifts, and the quirks (edge body clamp, Mono16 wrap).
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
    std::function<int32_t(const uint16_t* src, int32_t h, int32_t w, uint32_t bits, uint16_t* out)>;
using Kernel8 = std::function<int32_t(const uint8_t* src, int32_t h, int32_t w, uint8_t* out)>;

enum : int {
    kReversed = 1,   // the 8-bit twin's pixel bytes in the other order
    kKeepsRow = 2,   // the GR kernel leaves the row after its body
    kMidValues = 4,  // twin content 112..143: the building blocks clamp to 4095 or 65535
};

struct Named {
    const char* name;
    int32_t minSide;
    Kernel16 run;
    Kernel8 twin;  // the 8-bit kernel of its phase
    int quirks = 0;
};

template <typename F>
Kernel16 planar(F f) {
    return [f](const uint16_t* s, int32_t h, int32_t w, uint32_t, uint16_t* o) {
        return f(s, h, w, o, o + size_t(h) * w, o + 2 * size_t(h) * w);
    };
}
template <typename F>
Kernel16 bilinear(F f, uint32_t exchange) {
    return [f, exchange](const uint16_t* s, int32_t h, int32_t w, uint32_t, uint16_t* o) {
        return f(s, h, w, o, exchange);
    };
}
template <typename F>
Kernel16 edge(F f, uint32_t exchange) {
    return [f, exchange](const uint16_t* s, int32_t h, int32_t w, uint32_t bits, uint16_t* o) {
        return f(s, h, w, o, exchange, bits);
    };
}
template <typename F>
Kernel16 driver(F f) {
    return [f](const uint16_t* s, int32_t h, int32_t w, uint32_t, uint16_t* o) {
        return f(s, h, w, o);
    };
}
Kernel8 edge8(int32_t (*f)(const uint8_t*, int32_t, int32_t, uint8_t*, uint32_t, uint8_t*),
              uint32_t exchange) {
    return [f, exchange](const uint8_t* s, int32_t h, int32_t w, uint8_t* o) {
        Bytes line(w);
        return f(s, h, w, o, exchange, line.data());
    };
}

const uint32_t kLuma[3] = {77, 150, 29};
// The 16-bit planes are blue, green, red; the 8-bit ones red-site colour first.
const Kernel8 kPlanar8 = [](const uint8_t* s, int32_t h, int32_t w, uint8_t* o) {
    return rg8ToBgr8P_bilinear(s, h, w, o + 2 * size_t(h) * w, o + size_t(h) * w, o);
};
const Kernel8 kRg8 = rg8ToBgr8_bilinear;

const std::vector<Named> kKernels = {
    {"rg_bilinear", 4, bilinear(rg16ToBgr16_bilinear, 0), kRg8},
    {"rg_bilinear_x", 4, bilinear(rg16ToBgr16_bilinear, 1), kRg8, kReversed},
    {"gr_bilinear", 4, bilinear(gr16ToBgr16_bilinear, 0), gr8ToBgr8_bilinear, kKeepsRow},
    {"gr_bilinear_x", 4, bilinear(gr16ToBgr16_bilinear, 1), gr8ToBgr8_bilinear,
     kReversed | kKeepsRow},
    {"rggb_bilinear", 4, bilinear(demosaicingBilinearRGGBU16, 0), kRg8},
    {"rggb_bilinear_x", 4, bilinear(demosaicingBilinearRGGBU16, 1), kRg8, kReversed},
    {"checked", 4, driver(tavDemosaicingBilinearU16), kRg8},
    {"checked_planar", 4, planar(tavDemosaicingBilinearU16P), kPlanar8},
    {"rggb_planar", 4, planar(demosaicingBilinearRGGBU16P), kPlanar8},
    {"mono", 4,
     [](const uint16_t* s, int32_t h, int32_t w, uint32_t, uint16_t* o) {
         return rg16ToMono16_bilinear(s, h, w, kLuma, o);
     },
     [](const uint8_t* s, int32_t h, int32_t w, uint8_t* o) {
         return rg8ToMono8_bilinear(s, h, w, kLuma, o);
     }},
    {"rg_edge", 6, edge(rg16ToBgr16_edge, 0), edge8(rg8ToBgr8_edge, 0)},
    {"rg_edge_x", 6, edge(rg16ToBgr16_edge, 1), edge8(rg8ToBgr8_edge, 1)},
    {"gb_edge", 6, edge(gb16ToBgr16_edge, 0), edge8(gb8ToBgr8_edge, 0)},
    {"gb_edge_x", 6, edge(gb16ToBgr16_edge, 1), edge8(gb8ToBgr8_edge, 1)},
    {"RGGB_edge", 6, driver(demosaicingEdgeRGGBU16), edge8(rg8ToBgr8_edge, 0), kMidValues},
    {"GRBG_edge", 6, driver(demosaicingEdgeGRBGU16), edge8(gb8ToBgr8_edge, 1), kMidValues},
    {"GBRG_edge", 6, driver(demosaicingEdgeGBRGU16), edge8(gb8ToBgr8_edge, 0), kMidValues},
    {"BGGR_edge", 6, driver(demosaicingEdgeBGGRU16), edge8(rg8ToBgr8_edge, 1), kMidValues},
};

Words run(const Named& k, const Words& src, int32_t h, int32_t w, uint32_t bits) {
    Words out(3 * size_t(h) * w + 3, 0xA5C3);
    EXPECT_EQ(k.run(src.data(), h, w, bits, out.data()), TAV_OK) << k.name;
    return out;
}

}  // namespace

class Kernels16 : public testing::TestWithParam<Named> {};

// Every small size, and widths around the 8-column step at one and two steps.
// Content may exceed the depth: the clamps must agree there too.
TEST_P(Kernels16, ScalarLevelGivesTheVectorBytes) {
    const Named& k = GetParam();
    std::vector<std::pair<int32_t, int32_t>> sizes;
    for (int32_t h = k.minSide; h <= 13; ++h) {
        for (int32_t w = k.minSide; w <= 41; ++w) sizes.push_back({h, w});
    }
    for (int32_t w : {63, 64, 65, 66, 67, 130}) sizes.push_back({7, w});
    for (uint32_t bits : {10u, 12u, 14u, 16u}) {
        for (const auto& [h, w] : sizes) {
            const Words src =
                tavtest::randomWords(size_t(h) * w, h * 977 + w + bits, w % 3 ? bits : 16);
            const auto [scalar, vector] = atBothLevels([&] { return run(k, src, h, w, bits); });
            ASSERT_EQ(scalar, vector) << k.name << " " << h << "x" << w << " depth " << bits;
        }
    }
}

// On samples of 8 bits (edge kernels at depth 8) every 16-bit kernel gives
// the bytes of the 8-bit kernel of its phase.
TEST_P(Kernels16, EightBitContentGivesTheEightBitKernelsBytes) {
    const Named& k = GetParam();
    const size_t channels = std::string(k.name) == "mono" ? 1 : 3;
    for (int32_t h = k.minSide; h <= 13; ++h) {
        for (int32_t w = k.minSide; w <= 45; ++w) {
            Bytes src8 = tavtest::randomBytes(size_t(h) * w, h * 100 + w);
            if (k.quirks & kMidValues) {
                for (auto& b : src8) b = uint8_t(112 + b % 32);
            }
            const Words wide = run(k, Words(src8.begin(), src8.end()), h, w, 8);
            Bytes narrow(3 * size_t(h) * w);
            ASSERT_EQ(k.twin(src8.data(), h, w, narrow.data()), TAV_OK);
            const int32_t keptRow = k.quirks & kKeepsRow ? h - 1 - (h & 1) : -1;
            const size_t count = channels * h * w;
            for (size_t i = 0; i < count; ++i) {
                if (int32_t(i / (3 * w)) == keptRow) {
                    ASSERT_EQ(wide[i], 0xA5C3) << "kept row, " << h << "x" << w;
                    continue;
                }
                const size_t j = k.quirks & kReversed ? i / 3 * 3 + 2 - i % 3 : i;
                ASSERT_EQ(wide[i], narrow[j]) << k.name << " " << h << "x" << w << " word " << i;
            }
            ASSERT_EQ(wide[count], 0xA5C3) << "written past the frame";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, Kernels16, testing::ValuesIn(kKernels),
                         [](const auto& info) { return std::string(info.param.name); });

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

// Every phase and method gives one colour back in the format's order, except
// that bilinear BG keeps the RG kernel's order (red and blue exchanged);
// RGB16 moves the samples to the top of the word. Method 3 at every depth,
// with green high and red and blue at the ends: its weighted sums outgrow
// 32 bits there.
TEST(Entry16, OneColourComesBackInTheFormatsOrder) {
    const int32_t h = 9, w = 26;
    // phase: the red site's row and column in the 2x2 cell
    for (auto [code, redRow, redCol] : {std::array{TAV_PF_BAYER_RG12, 0u, 0u},
                                        {TAV_PF_BAYER_GR12, 0u, 1u},
                                        {TAV_PF_BAYER_GB12, 1u, 0u},
                                        {TAV_PF_BAYER_BG12, 1u, 1u}}) {
        for (uint32_t method : {TAV_METHOD_BILINEAR, TAV_METHOD_EDGE, TAV_METHOD_HQ}) {
            const bool bilinear = method == TAV_METHOD_BILINEAR, hq = method == TAV_METHOD_HQ;
            for (uint32_t bits : hq ? std::vector{10u, 12u, 14u, 16u} : std::vector{12u}) {
                const uint16_t red = hq ? uint16_t((1 << bits) - 1) : 300,
                               green = hq ? uint16_t(3 << (bits - 2)) : 200, blue = hq ? 0 : 100;
                Words mosaic(size_t(h) * w);
                for (int32_t i = 0; i < h * w; ++i) {
                    const bool r = (i / w & 1) == int(redRow), c = (i % w & 1) == int(redCol);
                    mosaic[i] = r && c ? red : !r && !c ? blue : green;
                }
                for (uint32_t format :
                     {TAV_PF_RGB10, TAV_PF_BGR10, TAV_PF_RGB12, TAV_PF_BGR12, TAV_PF_RGB16}) {
                    const auto r = demosaic16(code, format, method, bits, mosaic, h, w);
                    const int shift = format == TAV_PF_RGB16 ? 16 - int(bits) : 0;
                    if (shift == 2) {  // depth 14: the shift refuses
                        EXPECT_EQ(r.code, TAV_E_PIXEL_FORMAT);
                        continue;
                    }
                    ASSERT_EQ(r.code, TAV_OK);
                    const bool redFirst = (format != TAV_PF_BGR10 && format != TAV_PF_BGR12) !=
                                          (code == TAV_PF_BAYER_BG12 && bilinear);
                    const Words want = {uint16_t((redFirst ? red : blue) << shift),
                                        uint16_t(green << shift),
                                        uint16_t((redFirst ? blue : red) << shift)};
                    const int32_t kept = (redRow ^ redCol) == 1 && bilinear ? 7 : -1;
                    for (int32_t i = 0; i < h * w; ++i) {
                        if (i / w == kept) continue;
                        ASSERT_EQ(Words(&r.out[3 * i], &r.out[3 * i + 3]), want)
                            << std::hex << code << " to " << format << std::dec << " method "
                            << method << " depth " << bits << " pixel " << i;
                    }
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
        for (uint32_t method : {0u, 4u}) {
            EXPECT_EQ(convert(src.data(), dst.data(), 8, 8, TAV_PF_RGB16, method, 12),
                      TAV_E_PARAMETER);
        }
        // Method 3 takes depths 10 to 16 only, whatever the output.
        for (uint32_t bits : {9u, 17u}) {
            EXPECT_EQ(convert(src.data(), dst.data(), 8, 8, TAV_PF_RGB16, 3, bits),
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
