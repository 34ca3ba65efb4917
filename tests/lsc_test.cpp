// Lens shading: the correction's vector bulk against the per-sample rule
// (the scalar level), Bayer cells against per-pixel
// tables, values worked by hand, estimation worked values and round trips.
#include <algorithm>
#include <cmath>

#include "frames.h"

using tavtest::atBothLevels;
using Words = std::vector<uint32_t>;

namespace {

constexpr uint32_t kOne = 131072;  // gain 1.0

uint32_t word(uint32_t gain, uint32_t offset) {
    return gain << 12 | offset;
}

// A coefficient record: mode, height, width, then the words.
struct Table {
    Words storage;
    Table(uint32_t mode, int32_t h, int32_t w, const Words& words)
        : storage{mode, uint32_t(h), uint32_t(w)} {
        storage.insert(storage.end(), words.begin(), words.end());
    }
    const TavLscParameter* get() const {
        return reinterpret_cast<const TavLscParameter*>(storage.data());
    }
};

uint32_t formatOf(uint32_t bits, bool mono) {
    if (bits == 8) return mono ? TAV_PF_MONO8 : TAV_PF_BAYER_GB8;
    if (bits == 10) return mono ? TAV_PF_MONO10 : TAV_PF_BAYER_RG10;
    return mono ? TAV_PF_MONO12 : TAV_PF_BAYER_BG12;
}

// Corrects samples (bytes at depth 8, else words) into a copy of `dst`
// (or in place when dst is empty).
template <typename T>
std::vector<T> correct(const std::vector<T>& src, std::vector<T> dst, const Table& t, int32_t h,
                       int32_t w, uint32_t bits) {
    std::vector<T> in = src;
    const bool inPlace = dst.empty();
    T* out = inPlace ? in.data() : dst.data();
    const TavImage s{h, w, formatOf(bits, t.storage[0] == 1), reinterpret_cast<uint8_t*>(in.data()),
                     0};
    const TavImage d{h, w, 0, reinterpret_cast<uint8_t*>(out), 0};
    EXPECT_EQ(tavLSCorrection(&s, &d, t.get()), TAV_OK);
    return inPlace ? in : dst;
}

// Gains and offsets at the edges of the vector arithmetic.
const uint32_t kGains[] = {0,       1,       2,    0x7FFF,  0x8000, 0xFFFF, 0x10000,
                           0x10001, 0x1FFFF, kOne, 0x30000, 262143, 262144, 0xFFFFF};
const uint32_t kOffsets[] = {0, 1, 15, 16, 17, 160, 1023, 1024, 4095};

// The scalar level runs the per-sample rule on every sample.
template <typename T>
void expectBulkEqualsRule(uint32_t bits, const std::vector<T>& samples) {
    const int32_t n = int32_t(samples.size());
    for (uint32_t gain : kGains) {
        for (uint32_t offset : kOffsets) {
            const Table table(1, 1, n, Words(n, word(gain, offset)));
            const auto [scalar, vector] =
                atBothLevels([&] { return correct(samples, {}, table, 1, n, bits); });
            ASSERT_EQ(scalar, vector)
                << "depth " << bits << " gain " << gain << " offset " << offset;
        }
    }
}

}  // namespace

TEST(LscApply, VectorBulkGivesTheRuleOfEachSample) {
    std::vector<uint8_t> narrow;
    for (int s = 0; s < 256 + 7; ++s) narrow.push_back(uint8_t(s));
    expectBulkEqualsRule(8, narrow);
    // Samples beyond the depth too: the rule must treat any 16-bit value alike.
    std::vector<uint16_t> wide;
    for (uint32_t s = 0; s <= 4100; s += (s < 1030 ? 1 : 7)) wide.push_back(uint16_t(s));
    for (uint32_t s = 4101; s < 65536; s += 613) wide.push_back(uint16_t(s));
    wide.push_back(65535);
    for (uint32_t bits : {10u, 12u}) expectBulkEqualsRule(bits, wide);
}

// A Bayer record is a per-pixel one with each word over its 2x2 cell; an odd
// last row or column is left as it was. Random frames of every small size.
TEST(LscApply, CellsEqualPerPixelTables) {
    std::vector<int32_t> widths;
    for (int32_t x = 1; x <= 40; ++x) widths.push_back(x);
    for (int32_t x : {47, 48, 49, 63, 64, 65, 66, 67, 97}) widths.push_back(x);
    uint32_t seed = 0;
    for (uint32_t bits : {8u, 10u, 12u}) {
        for (int32_t h : {1, 2, 3, 4, 5, 7}) {
            for (int32_t w : widths) {
                std::mt19937 rng(++seed);
                Words cells(size_t(h / 2) * (w / 2)), pixels(size_t(h) * w, 0);
                for (auto& c : cells)
                    c = word(rng() % 4 ? 65536 + rng() % 327680 : rng() & 0xFFFFF, rng() & 0xFFF);
                for (int32_t y = 0; y < h / 2 * 2; ++y) {
                    for (int32_t x = 0; x < w / 2 * 2; ++x)
                        pixels[size_t(y) * w + x] = cells[size_t(y / 2) * (w / 2) + x / 2];
                }
                const Table bayer(0, h, w, cells), mono(1, h, w, pixels);
                auto check = [&](auto src, auto old) {
                    for (bool inPlace : {false, true}) {
                        const auto [scalar, vector] = atBothLevels([&] {
                            return correct(src, inPlace ? decltype(old){} : old, bayer, h, w, bits);
                        });
                        ASSERT_EQ(scalar, vector);
                        auto want = correct(src, {}, mono, h, w, bits);
                        const auto& kept = inPlace ? src : old;
                        for (int32_t i = 0; i < h * w; ++i) {
                            if (i / w >= h / 2 * 2 || i % w >= w / 2 * 2) want[i] = kept[i];
                        }
                        ASSERT_EQ(vector, want) << h << "x" << w << " depth " << bits;
                    }
                };
                const size_t n = size_t(h) * w;
                if (bits == 8) {
                    check(tavtest::randomBytes(n, seed), tavtest::randomBytes(n, ~seed));
                } else {
                    check(tavtest::randomWords(n, seed, bits), tavtest::randomWords(n, ~seed, 16));
                }
            }
        }
    }
}

struct Worked {
    uint32_t format, mode, word;
    uint16_t sample, expected;
};

class LscWorked : public testing::TestWithParam<Worked> {};

// Uniform 6 x 37 frames: every written output the same, through vector body and tail.
TEST_P(LscWorked, UniformFrameGivesTheValue) {
    const Worked p = GetParam();
    const int32_t h = 6, w = 37, n = h * w;
    const uint32_t bits = uint32_t(getBits(p.format));
    const Table table(p.mode, h, w, Words(p.mode ? n : 3 * 18, p.word));
    auto check = [&](auto src, auto fill) {
        const auto out = correct(src, decltype(src)(n, fill), table, h, w, bits);
        for (int32_t i = 0; i < n; ++i) {
            const bool written = p.mode == 1 || i % w < w - 1;  // odd last column
            ASSERT_EQ(out[i], written ? p.expected : fill) << i;
        }
    };
    if (bits == 8) {
        check(std::vector<uint8_t>(n, uint8_t(p.sample)), uint8_t(0x5A));
    } else {
        check(std::vector<uint16_t>(n, p.sample), uint16_t(0x5A5A));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Values, LscWorked,
    testing::Values(
        // Gain 1.0, no offset: unchanged (the rounding term rounds half up).
        Worked{TAV_PF_MONO8, 1, kOne << 12, 201, 201},
        Worked{TAV_PF_BAYER_RG12, 0, kOne << 12, 4095, 4095},
        Worked{TAV_PF_MONO10, 1, kOne << 12, 1, 1},
        // Below the offset: 8-bit clamps to 0, 10/12-bit wrap to the maximum...
        Worked{TAV_PF_BAYER_BG8, 0, (kOne << 12) | 160, 5, 0},
        Worked{TAV_PF_MONO12, 1, (kOne << 12) | 160, 5, 4095},
        Worked{TAV_PF_BAYER_GB10, 0, (kOne << 12) | 160, 5, 1023},
        // ... unless the gain is 0.
        Worked{TAV_PF_MONO12, 1, 160, 5, 0},
        // Gain 2.0: 600 saturates at 1023, 300 doubles.
        Worked{TAV_PF_MONO10, 1, 262144u << 12, 600, 1023},
        Worked{TAV_PF_MONO10, 1, 262144u << 12, 300, 600},
        Worked{TAV_PF_BAYER_GR8, 0, 262144u << 12, 200, 255},
        // Offset 10 (160 on the 12-bit scale), gain 1.5: (100 - 10) x 1.5.
        Worked{TAV_PF_MONO8, 1, (196608u << 12) | 160, 100, 135},
        // 12-bit offset 160, gain 0.5 with the half rounded up: (1001 - 160) / 2.
        Worked{TAV_PF_BAYER_RG12, 0, (65536u << 12) | 160, 1001, 421}));

// Formats other than 8-, 10- and 12-bit Mono and Bayer are left alone.
TEST(LscApply, OtherFormatsAndDepths) {
    for (uint32_t f : {TAV_PF_MONO8, TAV_PF_BAYER_BG8, TAV_PF_MONO10, TAV_PF_BAYER_GR10,
                       TAV_PF_MONO12, TAV_PF_BAYER_GB12}) {
        EXPECT_EQ(getBits(f), (f >> 16 == 0x0108)                              ? 8
                              : (f == TAV_PF_MONO10 || f == TAV_PF_BAYER_GR10) ? 10
                                                                               : 12);
    }
    for (uint32_t f : {0u, 0x01080007u, 0x0108000Cu, 0x01100004u, 0x01100014u, TAV_PF_MONO16,
                       TAV_PF_MONO14, TAV_PF_BAYER_GR16, TAV_PF_MONO10_PACKED, TAV_PF_RGB8}) {
        EXPECT_EQ(getBits(f), TAV_E_PIXEL_FORMAT) << std::hex << f;
    }
    const Table table(1, 8, 8, Words(64, 262144u << 12));
    std::vector<uint8_t> in(64 * 3, 7), out(64 * 3, 0x5A);
    for (uint32_t format : {TAV_PF_RGB8, TAV_PF_MONO16, TAV_PF_BAYER_RG16, TAV_PF_MONO12_PACKED}) {
        const TavImage s{8, 8, format, in.data(), 8}, d{8, 8, 0, out.data(), 8};
        EXPECT_EQ(tavLSCorrection(&s, &d, table.get()), TAV_OK);
        EXPECT_EQ(out, std::vector<uint8_t>(64 * 3, 0x5A));
    }
    std::vector<uint16_t> buf(16, 3);
    EXPECT_EQ(LSCcorrect8_2x2(tavtest::bytes(buf), tavtest::bytes(buf), 2, table.storage.data() + 3,
                              4, 4),
              TAV_E_PARAMETER);
    for (int32_t bits : {0, 13}) {
        EXPECT_EQ(LSCcorrect16_2x2(buf.data(), buf.data(), 0, table.storage.data() + 3, 4, 4, bits),
                  TAV_E_PARAMETER);
    }
    EXPECT_EQ(buf, std::vector<uint16_t>(16, 3));
}

// ---- estimation

namespace {

struct Field {
    int32_t h, w;
    std::vector<float> grey, dark;
    Field(int32_t h_, int32_t w_, float g, float d)
        : h(h_), w(w_), grey(size_t(h_) * w_, g), dark(size_t(h_) * w_, d) {}
    // The coefficient words of an estimate (mode 1: one a pixel, 0: one a cell).
    Words estimate(uint32_t mode, uint32_t bits) const {
        const TavLscInput in{mode, bits, w, h, grey.data(), dark.data()};
        Words record(3 + size_t(h) * w + 1, 0xA5A5A5A5u);
        EXPECT_EQ(tavGetLSCParameter(&in, reinterpret_cast<TavLscParameter*>(record.data())),
                  TAV_OK);
        EXPECT_EQ(record[0], mode);
        EXPECT_EQ(Words(record.begin() + 1, record.begin() + 3), (Words{uint32_t(h), uint32_t(w)}));
        const size_t n = mode ? size_t(h) * w : size_t(h / 2) * (w / 2);
        EXPECT_EQ(record[3 + n], 0xA5A5A5A5u);
        return Words(record.begin() + 3, record.begin() + 3 + n);
    }
};

}  // namespace

// Per pixel: gain = target / (grey - dark) (target: the mean difference, here
// 100), 17 fractional bits rounded, at most 0xFFFFF, 0 with no signal; offset
// = dark on the 12-bit scale, rounded, within 0..4095.
TEST(LscEstimate, WorkedWords) {
    Field f(32, 32, 100.0f, 0.0f);
    const float pairs[][2] = {{0, 50},  {0, 150}, {0, 12.5f}, {0, 187.5f}, {10, 110}, {5, 5},
                              {0, 200}, {6, 5},   {0, 201},   {300, 400},  {-1, 99}};
    for (size_t i = 0; i < std::size(pairs); ++i) {
        f.dark[i] = pairs[i][0];
        f.grey[i] = pairs[i][1];
    }
    const Words got = f.estimate(1, 8);
    EXPECT_EQ(Words(got.begin(), got.begin() + std::size(pairs) + 1),
              (Words{word(0x40000, 0), word(0x15555, 0), word(0xFFFFF, 0), word(0x11111, 0),
                     word(kOne, 160), word(0, 80), word(0x10000, 0), word(0, 96), word(0xFEBA, 0),
                     word(kOne, 4095), word(kOne, 0), word(kOne, 0)}));
    // Offsets at other depths: 1.125 x 4 = 4.5 rounds up; 100 / 4 at 14 bits.
    Field g(32, 32, 101.125f, 1.125f);
    EXPECT_EQ(g.estimate(1, 10)[0], word(kOne, 5));
    EXPECT_EQ(g.estimate(1, 14)[0], word(kOne, 0));
}

// A Bayer cell takes its grey from the top-left sample and its dark from all four.
TEST(LscEstimate, BayerCells) {
    Field f(32, 34, 100.0f, 4.0f);
    const Words plain = f.estimate(0, 12);
    f.grey[size_t(5) * 34 + 7] = 4000.0f;  // lower row of cell (2, 3)
    EXPECT_EQ(f.estimate(0, 12), plain);
    f.grey[size_t(5) * 34 + 7] = 100.0f;
    f.dark[size_t(5) * 34 + 7] = 44.0f;  // cell dark (4 + 4 + 4 + 44) / 4 = 14
    const Words dark = f.estimate(0, 12);
    const uint32_t cell = 2 * 17 + 3;
    EXPECT_EQ(dark[cell] & 0xFFF, 14u);
    EXPECT_EQ(dark[cell + 1] & 0xFFF, 4u);
    EXPECT_GT(dark[cell] >> 12, plain[cell] >> 12);  // 86 above its dark: a larger gain
}

struct RoundTrip {
    uint32_t mode, bits;
    int32_t h, w;
};

class LscRoundTrip : public testing::TestWithParam<RoundTrip> {};

// Estimate from a vignetted flat field, then correct the same field: it comes
// out flat at the mean level to within one step.
TEST_P(LscRoundTrip, CorrectedFlatFieldIsFlat) {
    const RoundTrip p = GetParam();
    const float level = float(1u << p.bits) * 0.8f;
    Field f(p.h, p.w, 0, 0);
    std::vector<uint16_t> frame(size_t(p.h) * p.w);
    double mean = 0;
    for (int32_t y = 0; y < p.h; ++y) {
        for (int32_t x = 0; x < p.w; ++x) {
            const int32_t cy = p.mode ? y : y | 1, cx = p.mode ? x : x | 1;  // one level a cell
            const double dy = (cy - p.h / 2.0) / p.h, dx = (cx - p.w / 2.0) / p.w;
            const float dark = float(2 + (cy * 3 + cx * 5) % 7);
            const float grey = dark + std::round(level * float(1.0 - 0.9 * (dx * dx + dy * dy)));
            f.dark[size_t(y) * p.w + x] = dark;
            f.grey[size_t(y) * p.w + x] = grey;
            frame[size_t(y) * p.w + x] = uint16_t(grey);
            mean += grey - dark;
        }
    }
    mean /= double(frame.size());
    const Table table(p.mode, p.h, p.w, f.estimate(p.mode, p.bits));
    std::vector<uint16_t> out;
    if (p.bits == 8) {
        const auto o =
            correct(std::vector<uint8_t>(frame.begin(), frame.end()), {}, table, p.h, p.w, 8);
        out.assign(o.begin(), o.end());
    } else {
        out = correct(frame, {}, table, p.h, p.w, p.bits);
    }
    const auto [lo, hi] = std::minmax_element(frame.begin(), frame.end());
    ASSERT_GT(*hi - *lo, level / 4) << "the field is not vignetted";
    for (size_t i = 0; i < out.size(); ++i) ASSERT_NEAR(out[i], mean, 1.0) << i;
}

INSTANTIATE_TEST_SUITE_P(ModesDepths, LscRoundTrip,
                         testing::Values(RoundTrip{0, 8, 48, 64}, RoundTrip{1, 8, 48, 64},
                                         RoundTrip{0, 10, 32, 98}, RoundTrip{1, 10, 32, 98},
                                         RoundTrip{0, 12, 64, 36}, RoundTrip{1, 12, 64, 36}));

// The basic table: gains per 16-row block, width / blockWidth blocks a row;
// partial blocks do not count.
TEST(LscBasic, BlockGains) {
    const int32_t h = 40, w = 100;
    std::vector<float> grey(size_t(h) * w, 1e6f);
    const float means[2][3] = {{100, 200, 400}, {50, 200, 200}};
    for (int32_t y = 0; y < 32; ++y) {
        for (int32_t x = 0; x < 96; ++x)
            grey[size_t(y) * w + x] = means[y / 16][x / 32] + float((x % 2) ? 1 : -1);
    }
    const TavBasicLscInput in{0, 12, 2, w, h, 32, 16, grey.data(), 0.0f};
    std::vector<uint8_t> table(3 * 6 + 3, 0xEE);
    ASSERT_EQ(tavGetBasicLSCParameter(&in, table.data()), TAV_OK);
    // Target 1150 / 6; gain target / mean with 12 fractional bits: 100 -> 7851,
    // 200 -> 3925, 400 -> 1963, 50 -> above 2.0, 8191.
    EXPECT_EQ(table, (std::vector<uint8_t>{245, 88,  0,   122, 168, 0,   61, 88,   0,    255, 248,
                                           0,   122, 168, 0,   122, 168, 0,  0xEE, 0xEE, 0xEE}));
    // A block at the dark level keeps gain 1.0; the others 210 / 280 = 0.75.
    std::vector<float> flat(32 * 32, 300.0f);
    for (int32_t y = 0; y < 16; ++y) std::fill_n(&flat[y * 32 + 16], 16, 20.0f);
    const TavBasicLscInput dark{0, 10, 4, 32, 32, 16, 16, flat.data(), 20.0f};
    ASSERT_EQ(tavGetBasicLSCParameter(&dark, table.data()), TAV_OK);
    EXPECT_EQ(std::vector<int>(table.begin(), table.begin() + 6),
              (std::vector<int>{96, 0, 0, 128, 0, 0}));
}
