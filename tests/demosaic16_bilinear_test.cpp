// 16-bit bilinear kernels against the mirror-rule reference over every small
// size, both phases, both word orders, planar and Mono16 outputs; the pass
// contract, the GR kernel's untouched row, and the checks of the entries.
#include <algorithm>
#include <array>
#include <cstring>

#include "demosaic16/bilinear16.h"
#include "demosaic16_reference.h"
#include "support.h"

using tavtest::bilinearReferenceFrame;
using tavtest::diag;
using tavtest::printedBy;
using tavtest::Rgb;

namespace {

constexpr uint16_t kUntouched = 0xA5C3;

struct Size {
    int32_t h, w;
};

// Every width from 4 to 41 over a few heights and every height over a few
// widths, plus widths around several vector steps.
std::vector<Size> frameSizes() {
    std::vector<Size> v;
    for (int32_t w = 4; w <= 41; ++w) {
        for (int32_t h : {4, 5, 6, 9}) v.push_back({h, w});
    }
    for (int32_t h = 7; h <= 41; ++h) {
        if (h == 9) continue;
        for (int32_t w : {4, 5, 10, 19}) v.push_back({h, w});
    }
    for (int32_t w : {63, 64, 65, 66, 67, 72, 73, 130}) v.push_back({7, w});
    return v;
}

enum class Form { kInterleaved, kPlanar, kMono };

struct Kernel {
    const char* name;
    int32_t redCol;  // red column of row 0
    Form form;
    uint32_t exchange;
    bool keepsRowAfterBody;
    // Runs the kernel; out holds 3 planes (planar) or 3 words a pixel or 1.
    void (*run)(const uint16_t* src, int32_t h, int32_t w, uint16_t* out, uint32_t exchange);
};

void runRg(const uint16_t* s, int32_t h, int32_t w, uint16_t* o, uint32_t e) {
    EXPECT_EQ(rg16ToBgr16_bilinear(s, h, w, o, e), TAV_OK);
}
void runGr(const uint16_t* s, int32_t h, int32_t w, uint16_t* o, uint32_t e) {
    EXPECT_EQ(gr16ToBgr16_bilinear(s, h, w, o, e), TAV_OK);
}
void runCore(const uint16_t* s, int32_t h, int32_t w, uint16_t* o, uint32_t e) {
    EXPECT_EQ(demosaicingBilinearRGGBU16(s, h, w, o, e), TAV_OK);
}
void runChecked(const uint16_t* s, int32_t h, int32_t w, uint16_t* o, uint32_t) {
    EXPECT_EQ(tavDemosaicingBilinearU16(s, h, w, o), TAV_OK);
}
void runPlanar(const uint16_t* s, int32_t h, int32_t w, uint16_t* o, uint32_t) {
    const size_t n = size_t(h) * w;
    EXPECT_EQ(tavDemosaicingBilinearU16P(s, h, w, o, o + n, o + 2 * n), TAV_OK);
}
void runPlanarCore(const uint16_t* s, int32_t h, int32_t w, uint16_t* o, uint32_t) {
    const size_t n = size_t(h) * w;
    EXPECT_EQ(demosaicingBilinearRGGBU16P(s, h, w, o, o + n, o + 2 * n), TAV_OK);
}

const Kernel kKernels[] = {
    {"rg_bgr", 0, Form::kInterleaved, 0, false, runRg},
    {"rg_rgb", 0, Form::kInterleaved, 1, false, runRg},
    {"gr_bgr", 1, Form::kInterleaved, 0, true, runGr},
    {"gr_rgb", 1, Form::kInterleaved, 1, true, runGr},
    {"core_bgr", 0, Form::kInterleaved, 0, false, runCore},
    {"core_rgb", 0, Form::kInterleaved, 1, false, runCore},
    {"checked", 0, Form::kInterleaved, 0, false, runChecked},
    {"planar", 0, Form::kPlanar, 0, false, runPlanar},
    {"planar_core", 0, Form::kPlanar, 0, false, runPlanarCore},
};

void PrintTo(const Kernel& k, std::ostream* os) {
    *os << k.name;
}

// Rows that a kernel leaves as the buffer held them.
bool untouchedRow(const Kernel& k, int32_t h, int32_t y) {
    return k.keepsRowAfterBody && y == tav::d16::bodyRowEnd(h);
}

// Word `c` (0..2) of pixel i as the kernel stores it.
uint16_t stored(const Kernel& k, const std::vector<uint16_t>& out, size_t n, size_t i, int c) {
    return k.form == Form::kPlanar ? out[c * n + i] : out[3 * i + c];
}

// Which reference colour the kernel stores in word c.
int colourOfWord(const Kernel& k, int c) {
    if (c == 1) return tavtest::kGreen;
    const bool redFirst = k.form == Form::kInterleaved && k.exchange == 1;
    return (c == 0) == redFirst ? tavtest::kRed : tavtest::kBlue;
}

}  // namespace

class BilinearFrame : public testing::TestWithParam<Kernel> {};

TEST_P(BilinearFrame, EqualsTheMirrorRuleEverywhere) {
    const Kernel& k = GetParam();
    for (uint32_t bits : {10u, 12u, 16u}) {
        for (const Size& s : frameSizes()) {
            const size_t n = size_t(s.h) * s.w;
            const auto src = tavtest::randomWords(n, s.h * 1000 + s.w + bits, bits);
            std::vector<uint16_t> out(3 * n, kUntouched);
            k.run(src.data(), s.h, s.w, out.data(), k.exchange);
            const auto ref = bilinearReferenceFrame(src.data(), s.h, s.w, k.redCol);
            for (int32_t y = 0; y < s.h; ++y) {
                for (int32_t x = 0; x < s.w; ++x) {
                    const size_t i = size_t(y) * s.w + x;
                    for (int c = 0; c < 3; ++c) {
                        const uint32_t want =
                            untouchedRow(k, s.h, y) ? kUntouched : ref[i].c[colourOfWord(k, c)];
                        ASSERT_EQ(stored(k, out, n, i, c), want)
                            << k.name << " " << s.h << "x" << s.w << " y=" << y << " x=" << x
                            << " word " << c;
                    }
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, BilinearFrame, testing::ValuesIn(kKernels),
                         [](const auto& info) { return std::string(info.param.name); });

// Vector and scalar row functions agree on rows with every lane phase.
TEST(BilinearRows, VectorEqualsScalar) {
    for (int32_t w : {10, 11, 17, 18, 33, 40, 41}) {
        const int32_t h = 5;
        const auto src = tavtest::randomWords(size_t(h) * w, w, 16);
        for (int32_t phase : {0, 1}) {
            for (int32_t y = 0; y < h; ++y) {
                for (int32_t x0 : {0, 1, 2, 3}) {
                    std::vector<uint16_t> vec(3 * w, 0), sca(3 * w, 0);
                    const auto row = tav::d16::bayerRow(src.data(), h, w, y, phase);
                    tav::d16::bilinearRow<true>(tav::d16::Bgr16Writer{vec.data(), w, false}.row(0),
                                                row, x0, w);
                    tav::d16::bilinearRow<false>(tav::d16::Bgr16Writer{sca.data(), w, false}.row(0),
                                                 row, x0, w);
                    ASSERT_EQ(vec, sca)
                        << "w=" << w << " phase=" << phase << " y=" << y << " x0=" << x0;
                }
            }
        }
    }
}

// A few values worked by hand, so the rule itself is pinned.
TEST(Bilinear16Values, WorkedByHand) {
    // RG mosaic, 4x4:
    //   R  G  R  G       10  21  30  41
    //   G  B  G  B       50  61  70  81
    //   R  G  R  G       90 101 110 121
    //   G  B  G  B      130 141 150 161
    const std::vector<uint16_t> src = {10, 21,  30,  41,  50,  61,  70,  81,
                                       90, 101, 110, 121, 130, 141, 150, 161};
    std::vector<uint16_t> out(48);
    ASSERT_EQ(demosaicingBilinearRGGBU16(src.data(), 4, 4, out.data(), 0), TAV_OK);
    auto px = [&](int y, int x) {
        const uint16_t* p = &out[3 * (4 * y + x)];
        return std::vector<uint16_t>{p[0], p[1], p[2]};  // b, g, r
    };
    EXPECT_EQ(px(0, 0), (std::vector<uint16_t>{61, (50 + 21) / 2, 10}));
    EXPECT_EQ(px(1, 1),
              (std::vector<uint16_t>{61, (21 + 50 + 70 + 101) / 4, (10 + 30 + 90 + 110) / 4}));
    EXPECT_EQ(px(0, 2), (std::vector<uint16_t>{(61 + 81) / 2, (21 + 41 + 2 * 70) / 4, 30}));
    EXPECT_EQ(px(2, 3), (std::vector<uint16_t>{(81 + 161) / 2, 121, 110}));  // mirrored pair
    EXPECT_EQ(px(3, 0), (std::vector<uint16_t>{141, 130, 90}));              // corner: copies
    EXPECT_EQ(px(3, 1), (std::vector<uint16_t>{141, (130 + 150 + 2 * 101) / 4, (90 + 110) / 2}));
}

TEST(Bilinear16Values, FlatFieldStaysFlat) {
    for (const Kernel& k : kKernels) {
        const int32_t h = 9, w = 21;
        const std::vector<uint16_t> src(size_t(h) * w, 1000);
        std::vector<uint16_t> out(3 * size_t(h) * w, kUntouched);
        k.run(src.data(), h, w, out.data(), k.exchange);
        for (size_t i = 0; i < out.size(); ++i) {
            const size_t pixel = k.form == Form::kPlanar ? i % (size_t(h) * w) : i / 3;
            if (!untouchedRow(k, h, int32_t(pixel / w))) {
                ASSERT_EQ(out[i], 1000) << k.name << " " << i;
            }
        }
    }
}

// The body covers rows 1 .. end-1 and columns 1 .. end-1 of its result and
// nothing else; the GR kernel leaves the row after the body untouched.
class BilinearBody : public testing::TestWithParam<Size> {};

TEST_P(BilinearBody, ReturnsAndWritesItsRegion) {
    const Size s = GetParam();
    const auto src = tavtest::randomWords(size_t(s.h) * s.w, 5, 12);
    const int32_t rowEnd = s.h - 1 - (s.h & 1), colEnd = ((s.w - 4) & ~1) + 3;
    const uint64_t want = (uint64_t(rowEnd) << 32) | uint32_t(colEnd);
    std::vector<uint16_t> a(3 * size_t(s.h) * s.w, kUntouched), b = a, p = a;
    EXPECT_EQ(bilinearBodyRGGBU16(src.data(), s.h, s.w, a.data(), 0), want);
    EXPECT_EQ(bilinearBodyGRBGU16(src.data(), s.h, s.w, b.data(), 1), want);
    const size_t n = size_t(s.h) * s.w;
    EXPECT_EQ(bilinearBodyRGGBU16P(src.data(), s.h, s.w, p.data(), p.data() + n, p.data() + 2 * n),
              want);
    for (int32_t y = 0; y < s.h; ++y) {
        for (int32_t x = 0; x < s.w; ++x) {
            const bool inside = y >= 1 && y < rowEnd && x >= 1 && x < colEnd;
            const size_t i = size_t(y) * s.w + x;
            EXPECT_EQ(a[3 * i] != kUntouched, inside) << y << "," << x;
            EXPECT_EQ(b[3 * i] != kUntouched, inside) << y << "," << x;
            EXPECT_EQ(p[i] != kUntouched, inside) << y << "," << x;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, BilinearBody,
                         testing::Values(Size{4, 4}, Size{5, 5}, Size{6, 7}, Size{7, 6},
                                         Size{8, 20}, Size{11, 27}));

TEST(BilinearGr, RowAfterTheBodyKeepsTheBuffer) {
    for (int32_t h : {8, 9}) {
        const int32_t w = 12;
        const auto src = tavtest::randomWords(size_t(h) * w, 3, 12);
        auto out = tavtest::randomWords(3 * size_t(h) * w, 4, 16);
        const auto before = out;
        ASSERT_EQ(gr16ToBgr16_bilinear(src.data(), h, w, out.data(), 0), TAV_OK);
        const int32_t kept = 7;  // the last row of 8, the second-last of 9
        for (int32_t y = 0; y < h; ++y) {
            const size_t row = 3 * size_t(y) * w;
            const bool same =
                std::equal(out.begin() + row, out.begin() + row + 3 * w, before.begin() + row);
            EXPECT_EQ(same, y == kept) << "h=" << h << " row " << y;
        }
    }
}

// ---- Mono16

class BilinearMono : public testing::TestWithParam<std::array<uint32_t, 3>> {};

TEST_P(BilinearMono, IsTheWeightedSumOfTheColours) {
    const auto weights = GetParam();
    for (const Size& s : frameSizes()) {
        const size_t n = size_t(s.h) * s.w;
        const auto src = tavtest::randomWords(n, s.h * 77 + s.w, 16);
        std::vector<uint16_t> out(n + 1, kUntouched);
        ASSERT_EQ(rg16ToMono16_bilinear(src.data(), s.h, s.w, weights.data(), out.data()), TAV_OK);
        const auto ref = bilinearReferenceFrame(src.data(), s.h, s.w, 0);
        for (size_t i = 0; i < n; ++i) {
            const uint32_t sum =
                ref[i].c[0] * weights[0] + ref[i].c[1] * weights[1] + ref[i].c[2] * weights[2];
            ASSERT_EQ(out[i], uint16_t((sum + 128) >> 8)) << s.h << "x" << s.w << " i=" << i;
        }
        EXPECT_EQ(out[n], kUntouched);
    }
}

// Usual luma, single colours, and weights whose sums wrap in 32 bits.
INSTANTIATE_TEST_SUITE_P(Weights, BilinearMono,
                         testing::Values(std::array<uint32_t, 3>{77, 150, 29},
                                         std::array<uint32_t, 3>{256, 0, 0},
                                         std::array<uint32_t, 3>{0, 256, 0},
                                         std::array<uint32_t, 3>{0, 0, 256},
                                         std::array<uint32_t, 3>{70001, 3, 0x10000u * 300 + 5}));

TEST(BilinearMonoValues, FlatFieldKeepsItsLevel) {
    const std::vector<uint16_t> src(6 * 10, 4000);
    std::vector<uint16_t> out(60);
    const uint32_t w[3] = {77, 150, 29};
    ASSERT_EQ(rg16ToMono16_bilinear(src.data(), 6, 10, w, out.data()), TAV_OK);
    for (uint16_t v : out) ASSERT_EQ(v, 4000);
}

// ---- checks of the exported entries

TEST(BilinearChecks, InterleavedEntry) {
    std::vector<uint16_t> src(64, 1), dst(3 * 64, kUntouched);
    const auto before = dst;
    EXPECT_EQ(printedBy([&] {
                  EXPECT_EQ(tavDemosaicingBilinearU16(nullptr, 8, 8, dst.data()),
                            TAV_E_NULL_POINTER);
              }),
              diag(196));
    EXPECT_EQ(printedBy([&] {
                  EXPECT_EQ(tavDemosaicingBilinearU16(src.data(), 8, 8, nullptr),
                            TAV_E_NULL_POINTER);
              }),
              diag(196));
    for (auto [h, w] : {std::pair{3, 8}, {8, 3}, {-8, 8}, {8, 0}}) {
        EXPECT_EQ(printedBy([&] {
                      EXPECT_EQ(tavDemosaicingBilinearU16(src.data(), h, w, dst.data()),
                                TAV_E_IMAGE_SIZE);
                  }),
                  diag(197));
    }
    EXPECT_EQ(dst, before);
}

TEST(BilinearChecks, PlanarEntry) {
    std::vector<uint16_t> src(64, 1), b(64, kUntouched), g = b, r = b;
    uint16_t* planes[3] = {b.data(), g.data(), r.data()};
    for (int missing = 0; missing < 4; ++missing) {
        const uint16_t* s = missing == 3 ? nullptr : src.data();
        uint16_t* p[3] = {planes[0], planes[1], planes[2]};
        if (missing < 3) p[missing] = nullptr;
        EXPECT_EQ(printedBy([&] {
                      EXPECT_EQ(tavDemosaicingBilinearU16P(s, 8, 8, p[0], p[1], p[2]),
                                TAV_E_NULL_POINTER);
                  }),
                  diag(283));
    }
    for (auto [h, w] : {std::pair{3, 8}, {8, 3}, {-1, 8}}) {
        EXPECT_EQ(printedBy([&] {
                      EXPECT_EQ(tavDemosaicingBilinearU16P(src.data(), h, w, b.data(), g.data(),
                                                           r.data()),
                                TAV_E_IMAGE_SIZE);
                  }),
                  diag(284));
    }
    EXPECT_EQ(b, std::vector<uint16_t>(64, kUntouched));
    EXPECT_EQ(g, b);
    EXPECT_EQ(r, b);
}
