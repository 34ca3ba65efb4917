// 16-bit edge-directed demosaicing: the green-line kernels and the exported
// building blocks against the rule-by-rule reference over every small size,
// both phases and word orders, the vector clamp, the entry's method 2.
#include <algorithm>
#include <cstring>

#include "demosaic16_reference.h"
#include "support.h"

using tavtest::diag;
using tavtest::EdgeReference;
using tavtest::printedBy;
using tavtest::Rgb;

namespace {

struct Size {
    int32_t h, w;
};

// Every width from 6 to 41 over a few heights, every height over widths
// below, at and above 20 (where the vector body starts), and wider rows
// around the 8-column step.
std::vector<Size> edgeSizes() {
    std::vector<Size> v;
    for (int32_t w = 6; w <= 41; ++w) {
        for (int32_t h : {6, 7, 8, 11}) v.push_back({h, w});
    }
    for (int32_t h = 9; h <= 41; ++h) {
        if (h == 11) continue;
        for (int32_t w : {6, 7, 19, 20, 27}) v.push_back({h, w});
    }
    for (int32_t w : {58, 59, 60, 61, 62, 63, 64, 65, 66, 67, 100}) v.push_back({9, w});
    return v;
}

// Where the green-line kernels compute with the vector clamp: rows of 20 and
// more, columns of the 8-wide blocks from 2 that start below width - 8, the
// greens of the body's row pairs and the pixels of the rows they finish.
struct VectorRegion {
    int32_t h, w, redRow;
    int32_t firstBody() const { return 2 + redRow; }
    int32_t bodyEnd() const {
        int32_t y = firstBody();
        while (y < h - 3) y += 2;
        return y;
    }
    bool column(int32_t x) const { return w >= 20 && x >= 2 && x < 2 + 8 * ((w - 3) / 8); }
    bool green(int32_t y, int32_t x) const {
        return column(x) && y >= firstBody() && y < bodyEnd();
    }
    bool pixel(int32_t y, int32_t x) const {
        return column(x) && y >= firstBody() - 1 && y < bodyEnd() - 1;
    }
};

std::vector<Rgb> lineKernelReference(const std::vector<uint16_t>& src, int32_t h, int32_t w,
                                     int32_t redRow, uint32_t bits) {
    const VectorRegion v{h, w, redRow};
    const EdgeReference ref{src.data(), h, w, redRow, 0, int32_t((1u << bits) - 1)};
    return ref.frame([&](int32_t y, int32_t x) { return v.green(y, x); },
                     [&](int32_t y, int32_t x) { return v.pixel(y, x); });
}

std::vector<Rgb> plainReference(const std::vector<uint16_t>& src, int32_t h, int32_t w,
                                int32_t redRow, int32_t redCol, int32_t ceiling) {
    const EdgeReference ref{src.data(), h, w, redRow, redCol, ceiling};
    auto never = [](int32_t, int32_t) { return false; };
    return ref.frame(never, never);
}

// Compares three-word pixels; `redFirst` puts the red-site colour in word 0.
void expectPixels(const std::vector<uint16_t>& out, const std::vector<Rgb>& ref, int32_t h,
                  int32_t w, bool redFirst, const std::string& what) {
    for (int32_t y = 0; y < h; ++y) {
        for (int32_t x = 0; x < w; ++x) {
            const Rgb& p = ref[size_t(y) * w + x];
            const uint32_t want[3] = {p.c[redFirst ? 0 : 2], p.c[1], p.c[redFirst ? 2 : 0]};
            const uint16_t* got = &out[3 * (size_t(y) * w + x)];
            for (int k = 0; k < 3; ++k) {
                ASSERT_EQ(got[k], want[k])
                    << what << " " << h << "x" << w << " y=" << y << " x=" << x << " word " << k;
            }
        }
    }
}

struct LineKernel {
    const char* name;
    int32_t redRow;
    int32_t (*run)(const uint16_t*, int32_t, int32_t, uint16_t*, uint32_t, uint32_t);
    int site;
};

const LineKernel kLineKernels[] = {{"rg", 0, rg16ToBgr16_edge, 7569},
                                   {"gb", 1, gb16ToBgr16_edge, 7514}};

void PrintTo(const LineKernel& k, std::ostream* os) {
    *os << k.name;
}

}  // namespace

class EdgeLineKernel : public testing::TestWithParam<std::tuple<LineKernel, uint32_t>> {};

TEST_P(EdgeLineKernel, EqualsTheRulesEverywhere) {
    const auto& [k, exchange] = GetParam();
    for (uint32_t bits : {10u, 12u, 16u}) {
        for (const Size& s : edgeSizes()) {
            const auto src =
                tavtest::randomWords(size_t(s.h) * s.w, s.h * 1000 + s.w * 3 + bits, bits);
            std::vector<uint16_t> out(3 * size_t(s.h) * s.w, 0xBEEF);
            ASSERT_EQ(printedBy([&] {
                          EXPECT_EQ(k.run(src.data(), s.h, s.w, out.data(), exchange, bits),
                                    TAV_OK);
                      }),
                      "");
            expectPixels(out, lineKernelReference(src, s.h, s.w, k.redRow, bits), s.h, s.w,
                         exchange == 1, std::string(k.name) + " depth " + std::to_string(bits));
            if (testing::Test::HasFatalFailure()) return;
        }
    }
}

// Samples wider than the depth: the vector clamp lets narrowed values of
// 32768 and more through, the ordinary one does not.
TEST_P(EdgeLineKernel, ContentWiderThanTheDepth) {
    const auto& [k, exchange] = GetParam();
    for (auto [h, w] : {std::pair{8, 20}, {9, 37}, {12, 64}}) {
        const auto src = tavtest::randomWords(size_t(h) * w, h + w, 16);
        std::vector<uint16_t> out(3 * size_t(h) * w);
        ASSERT_EQ(k.run(src.data(), h, w, out.data(), exchange, 12), TAV_OK);
        expectPixels(out, lineKernelReference(src, h, w, k.redRow, 12), h, w, exchange == 1,
                     k.name);
    }
}

TEST_P(EdgeLineKernel, RefusesFramesUnderSix) {
    const auto& [k, exchange] = GetParam();
    const std::vector<uint16_t> src(600, 100);
    std::vector<uint16_t> out(1800, 7);
    for (auto [h, w] : {std::pair{5, 100}, {100, 5}, {5, 5}}) {
        EXPECT_EQ(printedBy([&] {
                      EXPECT_EQ(k.run(src.data(), h, w, out.data(), exchange, 12),
                                TAV_E_IMAGE_SIZE);
                  }),
                  diag(k.site));
    }
    EXPECT_EQ(out, std::vector<uint16_t>(1800, 7));
}

INSTANTIATE_TEST_SUITE_P(All, EdgeLineKernel,
                         testing::Combine(testing::ValuesIn(kLineKernels), testing::Values(0u, 1u)),
                         [](const auto& info) {
                             return std::string(std::get<0>(info.param).name) + "_" +
                                    std::to_string(std::get<1>(info.param));
                         });

// A flat field at depth 16: in the vector body's columns and rows no
// interpolated word stays under 32768 (read as a signed word it is under the
// ceiling -1, and becomes 65535); native samples stay. At depth 12 the field
// stays flat.
TEST(EdgeVectorClamp, DepthSixteenLiftsSmallValuesInTheBody) {
    const int32_t h = 10, w = 32;
    const std::vector<uint16_t> src(size_t(h) * w, 1000);
    std::vector<uint16_t> out(3 * size_t(h) * w);
    ASSERT_EQ(rg16ToBgr16_edge(src.data(), h, w, out.data(), 0, 16), TAV_OK);
    const VectorRegion v{h, w, 0};
    int lifted = 0;
    for (int32_t y = 0; y < h; ++y) {
        for (int32_t x = 0; x < w; ++x) {
            const bool redRow = y % 2 == 0, site = (x % 2 == 0) == redRow;
            const uint16_t* p = &out[3 * (size_t(y) * w + x)];
            const int own = !site ? 1 : (redRow ? 2 : 0);  // word of the native sample
            EXPECT_EQ(p[own], 1000) << y << "," << x;
            if (site && v.green(y, x)) {
                EXPECT_EQ(p[1], 65535) << y << "," << x;  // G^ = 1000 lifted
            }
            if (!v.pixel(y, x)) continue;
            for (int k : {0, 2}) {
                if (k == own) continue;
                EXPECT_GE(p[k], 32768) << y << "," << x << " word " << k;
                lifted += p[k] == 65535;
            }
        }
    }
    EXPECT_GT(lifted, 0);
    expectPixels(out, lineKernelReference(src, h, w, 0, 16), h, w, false, "flat");
    ASSERT_EQ(rg16ToBgr16_edge(src.data(), h, w, out.data(), 0, 12), TAV_OK);
    EXPECT_EQ(out, std::vector<uint16_t>(out.size(), 1000));
}

// Values worked by hand on a 6x6 RG frame through the building blocks
// (ordinary clamp, blue, green, red words).
TEST(EdgeValues, WorkedByHand) {
    // A vertical edge: columns 0-2 dark, 3-5 bright. Red sites at even rows and columns.
    std::vector<uint16_t> src(36);
    for (int y = 0; y < 6; ++y) {
        for (int x = 0; x < 6; ++x) src[y * 6 + x] = x < 3 ? 100 : 900;
    }
    std::vector<uint16_t> out(108);
    ASSERT_EQ(demosaicingEdgeGRBGU16(src.data(), 6, 6, out.data()),
              TAV_OK);  // red at odd columns of row 0
    auto word = [&](int y, int x, int k) { return out[3 * (y * 6 + x) + k]; };
    // (2, 3) red: H = |100-900| + |1800-100-900| = 1600, V = 0: vertical wins, G = 900.
    EXPECT_EQ(word(2, 3, 1), 900);
    // (2, 1) red: H = |100-100| + |200-100-900| = 800 > V = 0: vertical, G = 100.
    EXPECT_EQ(word(2, 1, 1), 100);
    // (3, 2) blue: H = |100-900| + |200-200-900| (C(x+2) = 900) = 1700, V = 0 -> 100 + 0.
    EXPECT_EQ(word(3, 2, 1), 100);
    // Flat in the vertical direction everywhere, so every G^ equals its sample and every D is 0:
    // the missing colours copy the pixel's green.
    EXPECT_EQ(word(2, 2, 0), 100);  // green site: blue from the column pair
    EXPECT_EQ(word(2, 2, 2), 100);  // red from the row pair (100 - 100 and 100 - 100)
    EXPECT_EQ(word(3, 3, 2), 900);  // green site on a blue row
}

TEST(EdgeValues, TiesInterpolateVertically) {
    // Red site (2, 2) of an RGGB frame: colour samples flat, greens 10 | 30 across
    // and 40 / 60 along the column: H = V = 20, so the column pair is used.
    std::vector<uint16_t> src(64, 100), out(192);
    src[2 * 8 + 1] = 10;
    src[2 * 8 + 3] = 30;
    src[1 * 8 + 2] = 40;
    src[3 * 8 + 2] = 60;
    ASSERT_EQ(demosaicingEdgeRGGBU16(src.data(), 8, 8, out.data()), TAV_OK);
    EXPECT_EQ(out[3 * (2 * 8 + 2) + 1], (40 + 60) / 2);
    src[3 * 8 + 2] = 70;  // V = 30 > H: the row pair
    ASSERT_EQ(demosaicingEdgeRGGBU16(src.data(), 8, 8, out.data()), TAV_OK);
    EXPECT_EQ(out[3 * (2 * 8 + 2) + 1], (10 + 30) / 2);
    // A flat field stays flat.
    const std::vector<uint16_t> flat(64, 321);
    ASSERT_EQ(demosaicingEdgeRGGBU16(flat.data(), 8, 8, out.data()), TAV_OK);
    EXPECT_EQ(out, std::vector<uint16_t>(192, 321));
}

// ---- building blocks

namespace {

struct Driver {
    const char* name;
    int32_t redRow, redCol, ceiling;
    int32_t (*run)(const uint16_t*, int32_t, int32_t, uint16_t*);
};

const Driver kDrivers[] = {
    {"RGGB", 0, 0, 4095, demosaicingEdgeRGGBU16},
    {"GRBG", 0, 1, 65535, demosaicingEdgeGRBGU16},
    {"GBRG", 1, 0, 65535, demosaicingEdgeGBRGU16},
    {"BGGR", 1, 1, 65535, demosaicingEdgeBGGRU16},
};

void PrintTo(const Driver& d, std::ostream* os) {
    *os << d.name;
}

}  // namespace

class EdgeDriver : public testing::TestWithParam<Driver> {};

TEST_P(EdgeDriver, EqualsTheRulesWithItsCeiling) {
    const Driver& d = GetParam();
    for (uint32_t bits : {10u, 12u, 16u}) {
        for (const Size& s : edgeSizes()) {
            const auto src =
                tavtest::randomWords(size_t(s.h) * s.w, s.h * 7 + s.w * 1009 + bits, bits);
            std::vector<uint16_t> out(3 * size_t(s.h) * s.w, 0xBEEF);
            ASSERT_EQ(d.run(src.data(), s.h, s.w, out.data()), TAV_OK);
            expectPixels(out, plainReference(src, s.h, s.w, d.redRow, d.redCol, d.ceiling), s.h,
                         s.w, false, std::string(d.name) + " depth " + std::to_string(bits));
            if (testing::Test::HasFatalFailure()) return;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, EdgeDriver, testing::ValuesIn(kDrivers),
                         [](const auto& info) { return std::string(info.param.name); });

// The RGGB driver clamps to 12 bits; the same mosaic one row down, read as
// GBRG, keeps the full 16.
TEST(EdgeDriverCeiling, RggbStopsAt4095) {
    const int32_t h = 12, w = 16;
    const auto rggb = tavtest::randomWords(size_t(h) * w, 99, 16);
    std::vector<uint16_t> shifted(size_t(h + 1) * w);
    std::copy(rggb.begin() + w, rggb.begin() + 2 * w, shifted.begin());  // a G B row above
    std::copy(rggb.begin(), rggb.end(), shifted.begin() + w);
    std::vector<uint16_t> a(3 * size_t(h) * w), b(3 * size_t(h + 1) * w);
    ASSERT_EQ(demosaicingEdgeRGGBU16(rggb.data(), h, w, a.data()), TAV_OK);
    ASSERT_EQ(demosaicingEdgeGBRGU16(shifted.data(), h + 1, w, b.data()), TAV_OK);
    uint16_t maxInterpolatedA = 0, maxB = 0;
    for (int32_t y = 0; y < h; ++y) {
        for (int32_t x = 0; x < w; ++x) {
            const size_t i = size_t(y) * w + x;
            const bool redRow = y % 2 == 0, site = (x % 2 == 0) == redRow;
            // words that are interpolated: green at sites, the two colours elsewhere
            const int own = !site ? 1 : (redRow ? 2 : 0);
            for (int k = 0; k < 3; ++k) {
                if (k != own) maxInterpolatedA = std::max(maxInterpolatedA, a[3 * i + k]);
            }
        }
    }
    for (size_t i = 3 * w; i < b.size(); ++i) maxB = std::max(maxB, b[i]);
    EXPECT_EQ(maxInterpolatedA, 4095);
    EXPECT_GT(maxB, 4095);
}

TEST(EdgeInterior, ReturnsRowsDoneAndColumnEnd) {
    struct Case {
        int32_t rows, width, start;
        uint32_t done, colEnd;
    };
    for (const Case& c : {Case{2, 6, 2, 2, 4}, Case{3, 7, 2, 2, 4}, Case{4, 8, 2, 4, 6},
                          Case{5, 9, 3, 4, 7}, Case{6, 20, 2, 6, 18}, Case{7, 21, 3, 6, 19}}) {
        const int32_t h = c.rows + 4;
        const auto src = tavtest::randomWords(size_t(h) * c.width, 1, 12);
        std::vector<uint16_t> dst(3 * size_t(h) * c.width);
        const uint64_t r = edgeSecRGGBU16(src.data() + 2 * c.width, dst.data() + 6 * c.width,
                                          c.rows, c.width, c.start, 65535);
        EXPECT_EQ(uint32_t(r >> 32), c.done) << c.rows << " rows";
        EXPECT_EQ(uint32_t(r), c.colEnd) << c.width << " wide from " << c.start;
    }
}

// ---- through the entry

namespace {

struct EdgeSource {
    const char* name;
    uint32_t code;
    int32_t redRow;  // of the kernel's mosaic
    bool swapped;    // the kernel's red sites hold blue
};

const EdgeSource kEdgeSources[] = {
    {"RG", TAV_PF_BAYER_RG12, 0, false},
    {"BG", TAV_PF_BAYER_BG12, 0, true},
    {"GB", TAV_PF_BAYER_GB12, 1, false},
    {"GR", TAV_PF_BAYER_GR12, 1, true},
};

void PrintTo(const EdgeSource& s, std::ostream* os) {
    *os << s.name;
}

}  // namespace

class Edge16Entry : public testing::TestWithParam<EdgeSource> {};

// Every phase comes out in the order its format names, RGB16 shifted.
TEST_P(Edge16Entry, WordOrderFollowsTheFormat) {
    const EdgeSource& s = GetParam();
    for (uint32_t format : {TAV_PF_RGB10, TAV_PF_BGR10, TAV_PF_RGB12, TAV_PF_BGR12, TAV_PF_RGB16}) {
        for (auto [h, w] : {std::pair{8, 12}, {9, 25}, {6, 6}}) {
            const auto src = tavtest::randomWords(size_t(h) * w, h * w, 12);
            std::vector<uint16_t> dst(3 * size_t(h) * w);
            const TavDemosaicU16Config config{format, TAV_METHOD_EDGE, 12};
            const TavImage in{h, w, s.code,
                              reinterpret_cast<uint8_t*>(const_cast<uint16_t*>(src.data())), 2 * w};
            const TavImage out{0, 0, 0, reinterpret_cast<uint8_t*>(dst.data()), 0};
            ASSERT_EQ(tavDemosaicingU16(&config, &in, &out), TAV_OK);
            if (format == TAV_PF_RGB16) {
                for (auto& v : dst) v = uint16_t(v >> 4);  // the shift only adds zero bits
            }
            const bool rgb =
                format == TAV_PF_RGB10 || format == TAV_PF_RGB12 || format == TAV_PF_RGB16;
            expectPixels(dst, lineKernelReference(src, h, w, s.redRow, 12), h, w, rgb != s.swapped,
                         s.name);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, Edge16Entry, testing::ValuesIn(kEdgeSources),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(Edge16EntryResults, KernelSizeErrorsPassThroughExceptWithRgb16) {
    const int32_t h = 5, w = 40;
    const std::vector<uint16_t> src(size_t(h) * w, 100);
    for (auto [code, site] : {std::pair{TAV_PF_BAYER_RG12, 7569}, {TAV_PF_BAYER_GR12, 7514}}) {
        std::vector<uint16_t> dst(3 * size_t(h) * w, 3);
        TavDemosaicU16Config config{TAV_PF_BGR12, TAV_METHOD_EDGE, 12};
        const TavImage in{h, w, code, reinterpret_cast<uint8_t*>(const_cast<uint16_t*>(src.data())),
                          2 * w};
        const TavImage out{0, 0, 0, reinterpret_cast<uint8_t*>(dst.data()), 0};
        EXPECT_EQ(
            printedBy([&] { EXPECT_EQ(tavDemosaicingU16(&config, &in, &out), TAV_E_IMAGE_SIZE); }),
            diag(site));
        EXPECT_EQ(dst, std::vector<uint16_t>(dst.size(), 3));
        // With RGB16 the shift's result stands: success, the untouched buffer shifted.
        config.outputFormat = TAV_PF_RGB16;
        EXPECT_EQ(printedBy([&] { EXPECT_EQ(tavDemosaicingU16(&config, &in, &out), TAV_OK); }),
                  diag(site));
        EXPECT_EQ(dst, std::vector<uint16_t>(dst.size(), 3 << 4));
        // Depth 14 with RGB16: demosaiced, unshifted, refused by the shift.
        std::vector<uint16_t> dst8(3 * 8 * size_t(w), 3);
        const TavImage out8{0, 0, 0, reinterpret_cast<uint8_t*>(dst8.data()), 0};
        std::vector<uint16_t> flatSrc(8 * size_t(w), 100);
        const TavImage flatIn{8, w, code, reinterpret_cast<uint8_t*>(flatSrc.data()), 2 * w};
        config.bitDepth = 14;
        EXPECT_EQ(tavDemosaicingU16(&config, &flatIn, &out8), TAV_E_PIXEL_FORMAT);
        EXPECT_EQ(dst8, std::vector<uint16_t>(dst8.size(), 100));
    }
}
