// Lens shading: application against a whole-frame reference built from the
// per-sample formulas, estimation worked values and round trips, and every
// check with its printed number.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>

#include "alloc_hook.h"
#include "lsc/lsc.h"
#include "support.h"

namespace {

using tavtest::diag;
using tavtest::printedBy;

// A coefficient record with room for `count` words.
struct Table {
    std::vector<uint32_t> storage;
    explicit Table(size_t count, uint32_t fill = 0xA5A5A5A5u) : storage(3 + count, fill) {}
    TavLscParameter* get() { return reinterpret_cast<TavLscParameter*>(storage.data()); }
    uint32_t* words() { return storage.data() + 3; }
    size_t count() const { return storage.size() - 3; }
};

size_t wordCount(uint32_t mode, int32_t h, int32_t w) {
    return mode == 1 ? size_t(h) * w : size_t(h / 2) * (w / 2);
}

// Gains and offsets weighted towards the edges of the arithmetic.
uint32_t randomWord(std::mt19937& rng) {
    static constexpr uint32_t kGains[] = {0,      1,       2,       3,      0x7FFF, 0x8000,
                                          0xFFFF, 0x10000, 0x10001, 131072, 262144, 0xFFFFF};
    uint32_t gain;
    switch (rng() % 3) {
        case 0:
            gain = kGains[rng() % std::size(kGains)];
            break;
        case 1:
            gain = 65536 + rng() % 327680;
            break;  // gains 0.5 .. 3.0
        default:
            gain = rng() & 0xFFFFF;
    }
    const uint32_t offset = rng() % 4 == 0 ? (rng() % 2 ? 0 : 4095) : rng() & 0xFFF;
    return tav::lsc::packWord(gain, offset);
}

std::vector<uint32_t> randomWords(size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<uint32_t> v(n);
    for (auto& w : v) w = randomWord(rng);
    return v;
}

// In-range samples mostly; some with stray high bits, which the rule must
// handle like any other 16-bit value.
std::vector<uint16_t> randomSamples16(size_t n, uint32_t seed, uint32_t bits) {
    std::mt19937 rng(seed);
    std::vector<uint16_t> v(n);
    for (auto& s : v) s = static_cast<uint16_t>(rng() % 8 ? rng() & ((1u << bits) - 1) : rng());
    return v;
}

// The traversal rule: mono, sample i with word i; Bayer, one word per 2x2
// cell and an odd last row or column left as it was.
template <typename T, typename F>
std::vector<T> reference(const std::vector<T>& src, std::vector<T> dst, uint32_t mode,
                         const uint32_t* words, int32_t h, int32_t w, F f) {
    if (mode == 1) {
        for (size_t i = 0; i < size_t(h) * w; ++i) dst[i] = f(src[i], words[i]);
        return dst;
    }
    for (int32_t j = 0; j < h / 2; ++j) {
        for (int32_t i = 0; i < w / 2; ++i) {
            for (int32_t p = 0; p < 4; ++p) {
                const size_t at = size_t(2 * j + p / 2) * w + 2 * i + p % 2;
                dst[at] = f(src[at], words[j * (w / 2) + i]);
            }
        }
    }
    return dst;
}

template <typename T>
std::vector<T> referenceFor(const std::vector<T>& src, const std::vector<T>& dst, uint32_t mode,
                            const uint32_t* words, int32_t h, int32_t w, uint32_t bits) {
    if constexpr (sizeof(T) == 1) {
        return reference(src, dst, mode, words, h, w,
                         [](uint8_t s, uint32_t k) { return tav::lsc::correct8(s, k); });
    } else {
        return reference(src, dst, mode, words, h, w, [bits](uint16_t s, uint32_t k) {
            return tav::lsc::correct16(s, k, bits);
        });
    }
}

uint32_t formatFor(uint32_t bits, uint32_t variant) {
    const uint32_t mono = bits == 8 ? TAV_PF_MONO8 : bits == 10 ? TAV_PF_MONO10 : TAV_PF_MONO12;
    const uint32_t bayer = bits == 8    ? TAV_PF_BAYER_GR8
                           : bits == 10 ? TAV_PF_BAYER_GR10
                                        : TAV_PF_BAYER_GR12;
    return variant % 5 == 4 ? mono : bayer + variant % 4;
}

// Runs tavLSCorrection on `src` (into `dst`, or in place) and compares with the
// reference.
template <typename T>
void expectCorrected(const std::vector<T>& src, std::vector<T> dst, uint32_t mode, Table& table,
                     int32_t h, int32_t w, uint32_t bits, bool inPlace, uint32_t variant) {
    table.get()->mode = mode;
    table.get()->height = h;
    table.get()->width = w;
    const auto want = referenceFor(src, inPlace ? src : dst, mode, table.words(), h, w, bits);
    std::vector<T> in = src;
    T* out = inPlace ? in.data() : dst.data();
    TavImage s{h, w, formatFor(bits, variant), reinterpret_cast<uint8_t*>(in.data()), 0};
    TavImage d{h, w, 0, reinterpret_cast<uint8_t*>(out), 0};
    ASSERT_EQ(tavLSCorrection(&s, &d, table.get()), TAV_OK);
    const std::vector<T> got(out, out + src.size());
    if (got == want) return;
    for (size_t i = 0; i < src.size(); ++i) {
        ASSERT_EQ(got[i], want[i])
            << "h=" << h << " w=" << w << " mode=" << mode << " bits=" << bits
            << " inPlace=" << inPlace << " at " << i / w << "," << i % w << " src=" << +src[i];
    }
}

std::vector<int32_t> widths() {
    std::vector<int32_t> v;
    for (int32_t x = 1; x <= 40; ++x) v.push_back(x);
    for (int32_t x : {47, 48, 49, 63, 64, 65, 66, 67, 95, 96, 97}) v.push_back(x);
    return v;
}

}  // namespace

// ---- application: library against the reference

struct ApplyCase {
    uint32_t bits, mode;
    bool inPlace;
};

class LscApply : public testing::TestWithParam<ApplyCase> {};

TEST_P(LscApply, MatchesTheSampleRuleOnRandomFramesOfEverySize) {
    const ApplyCase p = GetParam();
    uint32_t seed = p.bits * 1000 + p.mode * 100 + p.inPlace;
    for (int32_t h : {1, 2, 3, 4, 5, 7}) {
        for (int32_t w : widths()) {
            ++seed;
            const size_t n = size_t(h) * w;
            Table table(wordCount(p.mode, h, w));
            const auto words = randomWords(table.count(), seed);
            std::copy(words.begin(), words.end(), table.words());
            if (p.bits == 8) {
                expectCorrected(tavtest::randomBytes(n, seed), tavtest::randomBytes(n, ~seed),
                                p.mode, table, h, w, 8, p.inPlace, seed);
            } else {
                expectCorrected(randomSamples16(n, seed, p.bits),
                                tavtest::randomWords(n, ~seed, 16), p.mode, table, h, w, p.bits,
                                p.inPlace, seed);
            }
            if (HasFatalFailure()) return;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(DepthsModes, LscApply,
                         testing::Values(ApplyCase{8, 0, false}, ApplyCase{8, 1, false},
                                         ApplyCase{8, 0, true}, ApplyCase{8, 1, true},
                                         ApplyCase{10, 0, false}, ApplyCase{10, 1, true},
                                         ApplyCase{12, 0, false}, ApplyCase{12, 1, false},
                                         ApplyCase{12, 0, true}, ApplyCase{12, 1, true}),
                         [](const auto& info) {
                             return "Bits" + std::to_string(info.param.bits) +
                                    (info.param.mode ? "Mono" : "Bayer") +
                                    (info.param.inPlace ? "InPlace" : "");
                         });

// Every sample value (16-bit: every value up to 4200 and a spread above) under
// gains and offsets at the edges of the vector arithmetic, in both vector and
// tail positions.
TEST(LscApply, EdgeCoefficientsOverTheWholeSampleRange) {
    std::vector<uint32_t> gains = {0,       1,       2,       15,      16,      0x7FFF,
                                   0x8000,  0xFFFF,  0x10000, 0x10001, 0x1FFFF, 131072,
                                   0x2FFFF, 0x30000, 262143,  262144,  0xFFFFE, 0xFFFFF};
    const std::vector<uint32_t> offsets = {0, 1, 3, 4, 15, 16, 17, 160, 1023, 1024, 4094, 4095};
    std::vector<uint16_t> wide;
    for (uint32_t s = 0; s <= 4200; ++s) wide.push_back(static_cast<uint16_t>(s));
    for (uint32_t s = 4201; s < 65536; s += 61) wide.push_back(static_cast<uint16_t>(s));
    wide.push_back(65535);
    std::vector<uint8_t> narrow;
    for (uint32_t s = 0; s < 256 + 7; ++s) narrow.push_back(static_cast<uint8_t>(s));
    for (uint32_t gain : gains) {
        for (uint32_t offset : offsets) {
            const uint32_t word = tav::lsc::packWord(gain, offset);
            Table t8(narrow.size(), word);
            expectCorrected(narrow, std::vector<uint8_t>(narrow.size()), 1, t8, 1,
                            int32_t(narrow.size()), 8, false, 4);
            Table t16(wide.size(), word);
            for (uint32_t bits : {10u, 12u}) {
                expectCorrected(wide, std::vector<uint16_t>(wide.size()), 1, t16, 1,
                                int32_t(wide.size()), bits, true, 4);
            }
            if (HasFatalFailure()) return;
        }
    }
}

// Outputs of 16 MB and more take the streaming stores, which need every Bayer
// row aligned. Kept lean: it is by far the biggest frame of the suite.
TEST(LscApply, LargeBayerFrameMatchesTheReference) {
    const int32_t h = 2048, w = 4096;
    const size_t n = size_t(h) * w;
    Table table(wordCount(0, h, w));
    uint32_t* words = table.words();
    for (size_t i = 0; i < table.count(); ++i) words[i] = uint32_t(i * 2246822519u) >> 3;
    table.get()->mode = 0;
    table.get()->height = h;
    table.get()->width = w;
    std::vector<uint16_t> src(n), dst(n);
    for (size_t i = 0; i < n; ++i) src[i] = static_cast<uint16_t>((i * 2654435761u) >> 20);
    TavImage s{h, w, TAV_PF_BAYER_GB12, reinterpret_cast<uint8_t*>(src.data()), 0};
    TavImage d{h, w, 0, reinterpret_cast<uint8_t*>(dst.data()), 0};
    ASSERT_EQ(tavLSCorrection(&s, &d, table.get()), TAV_OK);
    // Every vector store is checked elsewhere; here a spread of rows will do.
    for (int32_t y = 0; y < h; y += (y % 2 ? 59 : 1)) {
        const uint32_t* row = words + size_t(y / 2) * (w / 2);
        for (int32_t c = 0; c < w; ++c) {
            const size_t i = size_t(y) * w + c;
            if (dst[i] != tav::lsc::correct16(src[i], row[c / 2], 12)) {
                FAIL() << "at " << y << "," << c;
            }
        }
    }
}

struct Worked {
    uint32_t format, mode, word;
    uint16_t sample, expected;
};

class LscWorked : public testing::TestWithParam<Worked> {};

// Uniform 6 x 37 frames: every output the same, through vector body and tail.
TEST_P(LscWorked, UniformFrameGivesTheValue) {
    const Worked p = GetParam();
    const int32_t h = 6, w = 37, n = h * w;
    const bool eight = getBits(p.format) == 8;
    Table table(wordCount(p.mode, h, w), p.word);
    table.get()->mode = p.mode;
    table.get()->height = h;
    table.get()->width = w;
    std::vector<uint16_t> in(n, p.sample), out(n, 0x5A5A);
    std::vector<uint8_t> in8(n, static_cast<uint8_t>(p.sample)), out8(n, 0x5A);
    TavImage s{h, w, p.format, eight ? in8.data() : reinterpret_cast<uint8_t*>(in.data()), 0};
    TavImage d{h, w, 0, eight ? out8.data() : reinterpret_cast<uint8_t*>(out.data()), 0};
    ASSERT_EQ(tavLSCorrection(&s, &d, table.get()), TAV_OK);
    for (int32_t i = 0; i < n; ++i) {
        const bool written = p.mode == 1 || i % w < w - 1;  // odd last column
        const uint16_t want = written ? p.expected : (eight ? 0x5A : 0x5A5A);
        ASSERT_EQ(eight ? out8[i] : out[i], want) << i;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Values, LscWorked,
    testing::Values(
        // Gain 1.0, no offset: unchanged (the rounding term rounds half up).
        Worked{TAV_PF_MONO8, 1, 131072u << 12, 201, 201},
        Worked{TAV_PF_BAYER_RG12, 0, 131072u << 12, 4095, 4095},
        Worked{TAV_PF_MONO10, 1, 131072u << 12, 1, 1},
        // Below the offset: 8-bit clamps to 0, 10/12-bit wrap to the maximum...
        Worked{TAV_PF_BAYER_BG8, 0, (131072u << 12) | 160, 5, 0},
        Worked{TAV_PF_MONO12, 1, (131072u << 12) | 160, 5, 4095},
        Worked{TAV_PF_BAYER_GB10, 0, (131072u << 12) | 160, 5, 1023},
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

TEST(LscApply, UnsupportedSourceFormatWritesNothing) {
    Table table(64, 131072u << 12);
    table.get()->mode = 1;
    table.get()->height = 8;
    table.get()->width = 8;
    std::vector<uint8_t> in(64 * 3, 7), out(64 * 3, 0x5A);
    for (uint32_t format : {TAV_PF_RGB8, TAV_PF_MONO16, TAV_PF_BAYER_RG16, TAV_PF_MONO12_PACKED}) {
        TavImage s{8, 8, format, in.data(), 8};
        TavImage d{8, 8, 0, out.data(), 8};
        int32_t rc = -1;
        EXPECT_EQ(printedBy([&] { rc = tavLSCorrection(&s, &d, table.get()); }), "");
        EXPECT_EQ(rc, TAV_OK);
        EXPECT_EQ(out, std::vector<uint8_t>(64 * 3, 0x5A));
    }
}

TEST(LscApply, KernelsRefuseWhatTheyCannotDo) {
    std::vector<uint16_t> buf(16, 3);
    const std::vector<uint32_t> words(16, 131072u << 12);
    EXPECT_EQ(LSCcorrect8_2x2(reinterpret_cast<uint8_t*>(buf.data()),
                              reinterpret_cast<uint8_t*>(buf.data()), 2, words.data(), 4, 4),
              TAV_E_PARAMETER);
    EXPECT_EQ(LSCcorrect16_2x2(buf.data(), buf.data(), 0, words.data(), 4, 4, 13), TAV_E_PARAMETER);
    EXPECT_EQ(LSCcorrect16_2x2(buf.data(), buf.data(), 0, words.data(), 4, 4, 0), TAV_E_PARAMETER);
    EXPECT_EQ(buf, std::vector<uint16_t>(16, 3));
}

TEST(LscApply, BitsOfEachFormat) {
    for (uint32_t f :
         {TAV_PF_MONO8, TAV_PF_BAYER_GR8, TAV_PF_BAYER_RG8, TAV_PF_BAYER_GB8, TAV_PF_BAYER_BG8}) {
        EXPECT_EQ(getBits(f), 8) << std::hex << f;
    }
    for (uint32_t f : {TAV_PF_MONO10, TAV_PF_BAYER_GR10, TAV_PF_BAYER_RG10, TAV_PF_BAYER_GB10,
                       TAV_PF_BAYER_BG10}) {
        EXPECT_EQ(getBits(f), 10) << std::hex << f;
    }
    for (uint32_t f : {TAV_PF_MONO12, TAV_PF_BAYER_GR12, TAV_PF_BAYER_RG12, TAV_PF_BAYER_GB12,
                       TAV_PF_BAYER_BG12}) {
        EXPECT_EQ(getBits(f), 12) << std::hex << f;
    }
    for (uint32_t f : {0u, 0x01080007u, 0x0108000Cu, 0x01100004u, 0x01100006u, 0x0110000Bu,
                       0x01100014u, TAV_PF_MONO16, TAV_PF_MONO14, TAV_PF_BAYER_GR16,
                       TAV_PF_MONO10_PACKED, TAV_PF_BAYER_RG12_PACKED, TAV_PF_RGB8}) {
        EXPECT_EQ(getBits(f), TAV_E_PIXEL_FORMAT) << std::hex << f;
    }
}

// ---- application checks

struct ApplyCheck {
    const char* name;
    int site;
    int32_t code;
    void (*spoil)(TavImage*& src, TavImage*& dst, TavLscParameter*& p);
};

class LscApplyCheck : public testing::TestWithParam<ApplyCheck> {};

TEST_P(LscApplyCheck, PrintsItsNumberAndWritesNothing) {
    const ApplyCheck c = GetParam();
    Table table(16, 131072u << 12);
    table.get()->mode = 0;
    table.get()->height = 8;
    table.get()->width = 8;
    std::vector<uint8_t> in(64, 100), out(64, 0x5A);
    TavImage s{8, 8, TAV_PF_BAYER_RG8, in.data(), 8}, d{8, 8, 0, out.data(), 8};
    TavImage* sp = &s;
    TavImage* dp = &d;
    TavLscParameter* pp = table.get();
    c.spoil(sp, dp, pp);
    int32_t rc = 0;
    EXPECT_EQ(printedBy([&] { rc = tavLSCorrection(sp, dp, pp); }), diag(c.site));
    EXPECT_EQ(rc, c.code);
    EXPECT_EQ(out, std::vector<uint8_t>(64, 0x5A));
}

INSTANTIATE_TEST_SUITE_P(
    Sites, LscApplyCheck,
    testing::Values(ApplyCheck{"NullSource", 692, TAV_E_NULL_POINTER,
                               [](auto& s, auto&, auto&) { s = nullptr; }},
                    ApplyCheck{"NullDestination", 692, TAV_E_NULL_POINTER,
                               [](auto&, auto& d, auto&) { d = nullptr; }},
                    ApplyCheck{"NullParameter", 692, TAV_E_NULL_POINTER,
                               [](auto& s, auto&, auto& p) {
                                   p = nullptr;
                                   s->data = nullptr;
                               }},
                    ApplyCheck{"NullSourceData", 693, TAV_E_NULL_POINTER,
                               [](auto& s, auto&, auto& p) {
                                   s->data = nullptr;
                                   p->mode = 2;
                               }},
                    ApplyCheck{"NullDestinationData", 693, TAV_E_NULL_POINTER,
                               [](auto&, auto& d, auto&) { d->data = nullptr; }},
                    // A bad mode reports a null pointer, ahead of the size checks.
                    ApplyCheck{"ModeAboveOne", 694, TAV_E_NULL_POINTER,
                               [](auto&, auto& d, auto& p) {
                                   p->mode = 2;
                                   p->height = 6;
                                   d->width = 6;
                               }},
                    ApplyCheck{"ParameterHeight", 695, TAV_E_IMAGE_SIZE,
                               [](auto&, auto& d, auto& p) {
                                   p->height = 6;
                                   d->height = 6;
                               }},
                    ApplyCheck{"ParameterWidth", 695, TAV_E_IMAGE_SIZE,
                               [](auto&, auto&, auto& p) { p->width = 10; }},
                    ApplyCheck{"DestinationHeight", 696, TAV_E_IMAGE_SIZE,
                               [](auto&, auto& d, auto&) { d->height = 10; }},
                    ApplyCheck{"DestinationWidth", 696, TAV_E_IMAGE_SIZE,
                               [](auto&, auto& d, auto&) { d->width = 6; }}),
    [](const auto& info) { return std::string(info.param.name); });

// ---- estimation: worked values of the per-position rules

TEST(LscEstimate, CoefficientWordWorkedValues) {
    auto word = [](float dark, float grey, uint32_t bits, double target) {
        return tav::lsc::coefficientWord(dark, grey, tav::lsc::offsetScale(bits), target);
    };
    using tav::lsc::packWord;
    EXPECT_EQ(word(0.0f, 100.0f, 12, 100.0), packWord(131072, 0));
    EXPECT_EQ(word(0.0f, 50.0f, 12, 100.0), packWord(262144, 0));
    EXPECT_EQ(word(0.0f, 12.5f, 12, 100.0), packWord(0xFFFFF, 0));  // k = 8.0
    EXPECT_EQ(word(0.0f, 10.0f, 12, 100.0), packWord(0xFFFFF, 0));  // k > 8
    EXPECT_EQ(word(0.0f, 100.0f, 12, -5.0), packWord(0, 0));        // k < 0
    EXPECT_EQ(word(5.0f, 5.0f, 12, 100.0), packWord(0, 5));         // grey = dark
    EXPECT_EQ(word(6.0f, 5.0f, 12, 100.0), packWord(0, 6));         // grey < dark
    EXPECT_EQ(word(0.0f, 3.0f, 12, 1.0), packWord(43691, 0));       // 43690.67 rounds up
    // Offsets on the 12-bit scale.
    EXPECT_EQ(word(10.0f, 110.0f, 8, 100.0), packWord(131072, 160));
    EXPECT_EQ(word(10.0f, 110.0f, 10, 100.0), packWord(131072, 40));
    EXPECT_EQ(word(1.125f, 101.125f, 10, 100.0), packWord(131072, 5));  // 4.5 up
    EXPECT_EQ(word(0.25f, 100.25f, 12, 100.0), packWord(131072, 0));
    EXPECT_EQ(word(0.5f, 100.5f, 12, 100.0), packWord(131072, 1));
    EXPECT_EQ(word(300.0f, 400.0f, 8, 100.0), packWord(131072, 4095));
    EXPECT_EQ(word(-1.0f, 99.0f, 12, 100.0), packWord(131072, 0));
    EXPECT_EQ(word(100.0f, 200.0f, 14, 100.0), packWord(131072, 25));
    EXPECT_EQ(word(1.0f, 101.0f, 0, 100.0), packWord(131072, 4095));
    EXPECT_EQ(word(100.0f, 200.0f, 5000, 100.0), packWord(131072, 0));  // unchecked depth
}

// The difference grey - dark is taken in single precision: 2^24 - 0.5 rounds to
// 2^24, which moves the rounded gain down by one here.
TEST(LscEstimate, DifferenceIsSinglePrecision) {
    const float dark = 0.5f, grey = 16777216.0f;
    uint32_t word = 0;
    EXPECT_EQ(tav::getLSCKBMono(&dark, &grey, 1, 12, 16777151.75, &word), TAV_OK);
    EXPECT_EQ(word, tav::lsc::packWord(131071, 1));
}

TEST(LscEstimate, TargetSumsInDouble) {
    const std::vector<float> grey = {16777216.0f, 1.0f, 1.0f, 1.0f},
                             dark = {0.0f, 0.0f, 0.0f, 1.0f};
    EXPECT_EQ(tav::getTargetLSCMono(dark.data(), grey.data(), 4), 16777218.0 / 4);
}

TEST(LscEstimate, RegionEntryWorkedValues) {
    auto entry = [](float dark, float grey, int32_t bits, double target, float level) {
        std::vector<uint8_t> e(4, 0xEE);
        tav::lsc::regionEntry(dark, grey, bits, target, level, e.data());
        EXPECT_EQ(e[3], 0xEE);
        return std::vector<int>(e.begin(), e.begin() + 3);
    };
    using V = std::vector<int>;
    EXPECT_EQ(entry(0, 100, 12, 100.0, 0), (V{128, 0, 0}));    // gain 1.0
    EXPECT_EQ(entry(0, 100, 12, 150.0, 0), (V{192, 0, 0}));    // 1.5
    EXPECT_EQ(entry(0, 4096, 12, 4097.0, 0), (V{128, 8, 0}));  // 4097: low gain bits
    EXPECT_EQ(entry(0, 10, 12, 100.0, 0), (V{255, 0xF8, 0}));  // k > 2: 8191
    EXPECT_EQ(entry(0, 50, 12, 100.0, 0), (V{255, 0xF8, 0}));  // k = 2: 8192 capped
    EXPECT_EQ(entry(0, 100, 12, -1.0, 0), (V{0, 0, 0}));       // k < 0
    EXPECT_EQ(entry(7, 7, 12, 100.0, 7), (V{128, 0, 0}));      // grey = dark: 1.0
    EXPECT_EQ(entry(8, 7, 12, 100.0, 8), (V{128, 0, 0}));      // grey < dark: 1.0
    // Offsets (darkLevel - dark) on an 11-bit scale, rounded half away from zero.
    EXPECT_EQ(entry(0, 100, 12, 100.0, 10), (V{128, 0, 5}));
    EXPECT_EQ(entry(0, 100, 12, 100.0, 3), (V{128, 0, 2}));     // 1.5
    EXPECT_EQ(entry(3, 103, 12, 100.0, 0), (V{128, 7, 0xFE}));  // -1.5: -2
    EXPECT_EQ(entry(0, 100, 8, 100.0, 10), (V{128, 0, 80}));
    EXPECT_EQ(entry(10, 110, 10, 100.0, 0), (V{128, 7, 0xEC}));      // -20
    EXPECT_EQ(entry(0, 100, 8, 100.0, 127.875f), (V{128, 3, 255}));  // 1023
    EXPECT_EQ(entry(0, 100, 8, 100.0, 200), (V{128, 3, 255}));       // above: 1023
    EXPECT_EQ(entry(128, 228, 8, 100.0, 0), (V{128, 4, 0}));         // -1024
    // Below -1024: 0xFC is OR-ed into the byte that holds the low gain bits.
    EXPECT_EQ(entry(200, 300, 8, 100.0, 0), (V{128, 0xFC, 0}));
    EXPECT_EQ(entry(200, 300, 8, 101.0, 0), (V{129, 0xFC, 0}));  // gain 4137: low bits lost
}

// ---- estimation through the entries

namespace {

struct Field {
    int32_t h, w;
    std::vector<float> grey, dark;
    Field(int32_t h_, int32_t w_, float g, float d)
        : h(h_), w(w_), grey(size_t(h_) * w_, g), dark(size_t(h_) * w_, d) {}
    TavLscInput input(uint32_t mode, uint32_t bits) const {
        return {mode, bits, w, h, grey.data(), dark.data()};
    }
};

int32_t estimate(const TavLscInput& in, Table& table, std::string* printed = nullptr) {
    int32_t rc = 0;
    const std::string out = printedBy([&] { rc = tavGetLSCParameter(&in, table.get()); });
    if (printed) *printed = out;
    return rc;
}

}  // namespace

TEST(LscEstimate, UniformFieldGivesUnitGainInBothModes) {
    const Field f(32, 32, 100.0f, 0.0f);
    for (uint32_t mode : {0u, 1u}) {
        const size_t n = wordCount(mode, 32, 32);
        Table table(n + 4);
        ASSERT_EQ(estimate(f.input(mode, 12), table), TAV_OK);
        EXPECT_EQ(table.get()->mode, mode);
        EXPECT_EQ(table.get()->height, 32u);
        EXPECT_EQ(table.get()->width, 32u);
        for (size_t i = 0; i < n; ++i) ASSERT_EQ(table.words()[i], 131072u << 12) << i;
        for (size_t i = n; i < n + 4; ++i) EXPECT_EQ(table.words()[i], 0xA5A5A5A5u);
    }
}

TEST(LscEstimate, BayerCellTakesGreyFromItsTopRowAndDarkFromAllFour) {
    Field f(32, 34, 100.0f, 4.0f);
    Table plain(wordCount(0, 32, 34)), brightGrey(plain.count()), brightDark(plain.count());
    ASSERT_EQ(estimate(f.input(0, 12), plain), TAV_OK);
    f.grey[size_t(5) * 34 + 7] = 4000.0f;  // lower row of cell (2, 3)
    ASSERT_EQ(estimate(f.input(0, 12), brightGrey), TAV_OK);
    EXPECT_EQ(brightGrey.storage, plain.storage);
    f.grey[size_t(5) * 34 + 7] = 100.0f;
    f.dark[size_t(5) * 34 + 7] = 44.0f;  // cell dark (4 + 4 + 4 + 44) / 4 = 14
    ASSERT_EQ(estimate(f.input(0, 12), brightDark), TAV_OK);
    const uint32_t cell = 2 * 17 + 3;
    EXPECT_EQ(tav::lsc::offsetOf(brightDark.words()[cell]), 14u);
    EXPECT_EQ(tav::lsc::offsetOf(brightDark.words()[cell + 1]), 4u);
    // That cell's grey is now only 86 above its dark: a larger gain.
    EXPECT_GT(tav::lsc::gainOf(brightDark.words()[cell]), tav::lsc::gainOf(plain.words()[cell]));
}

TEST(LscEstimate, DarkAtOrAboveGreyCorrectsToBlack) {
    Field f(32, 32, 100.0f, 0.0f);
    f.dark[40] = 100.0f;
    f.dark[41] = 120.0f;
    Table table(32 * 32);
    ASSERT_EQ(estimate(f.input(1, 8), table), TAV_OK);
    EXPECT_EQ(tav::lsc::gainOf(table.words()[40]), 0u);
    EXPECT_EQ(tav::lsc::gainOf(table.words()[41]), 0u);
    EXPECT_EQ(tav::lsc::offsetOf(table.words()[40]), 1600u);
    EXPECT_EQ(tav::lsc::offsetOf(table.words()[41]), 1920u);
    EXPECT_GT(tav::lsc::gainOf(table.words()[42]), 0u);
}

// Estimate from a vignetted flat field, then correct the same field: it comes
// out flat at the mean level to within one step.
struct RoundTrip {
    uint32_t mode, bits;
    int32_t h, w;
};

class LscRoundTrip : public testing::TestWithParam<RoundTrip> {};

TEST_P(LscRoundTrip, CorrectedFlatFieldIsFlat) {
    const RoundTrip p = GetParam();
    const float level = float(1u << p.bits) * 0.8f;
    Field f(p.h, p.w, 0, 0);
    std::vector<uint16_t> frame(size_t(p.h) * p.w);
    for (int32_t y = 0; y < p.h; ++y) {
        for (int32_t x = 0; x < p.w; ++x) {
            // Bayer mode: one level per 2x2 cell, as a grey target gives.
            const int32_t cy = p.mode ? y : y | 1, cx = p.mode ? x : x | 1;
            const double dy = (cy - p.h / 2.0) / p.h, dx = (cx - p.w / 2.0) / p.w;
            const float dark = float(2 + (cy * 3 + cx * 5) % 7);
            const float grey = dark + std::round(level * float(1.0 - 0.9 * (dx * dx + dy * dy)));
            f.dark[size_t(y) * p.w + x] = dark;
            f.grey[size_t(y) * p.w + x] = grey;
            frame[size_t(y) * p.w + x] = static_cast<uint16_t>(grey);
        }
    }
    double mean = 0;
    for (size_t i = 0; i < frame.size(); ++i) mean += f.grey[i] - f.dark[i];
    mean /= double(frame.size());
    Table table(wordCount(p.mode, p.h, p.w));
    ASSERT_EQ(estimate(f.input(p.mode, p.bits), table), TAV_OK);

    std::vector<uint16_t> out(frame.size());
    std::vector<uint8_t> frame8(frame.begin(), frame.end()), out8(frame.size());
    const bool eight = p.bits == 8;
    TavImage s{p.h, p.w, formatFor(p.bits, p.mode ? 4 : 1),
               eight ? frame8.data() : reinterpret_cast<uint8_t*>(frame.data()), 0};
    TavImage d{p.h, p.w, 0, eight ? out8.data() : reinterpret_cast<uint8_t*>(out.data()), 0};
    ASSERT_EQ(tavLSCorrection(&s, &d, table.get()), TAV_OK);
    if (eight) std::copy(out8.begin(), out8.end(), out.begin());
    const auto [lo, hi] = std::minmax_element(frame.begin(), frame.end());
    ASSERT_GT(*hi - *lo, level / 4) << "the field is not vignetted";
    for (size_t i = 0; i < out.size(); ++i) ASSERT_NEAR(out[i], mean, 1.0) << i;
}

INSTANTIATE_TEST_SUITE_P(ModesDepths, LscRoundTrip,
                         testing::Values(RoundTrip{0, 8, 48, 64}, RoundTrip{1, 8, 48, 64},
                                         RoundTrip{0, 10, 32, 98}, RoundTrip{1, 10, 32, 98},
                                         RoundTrip{0, 12, 64, 36}, RoundTrip{1, 12, 64, 36}));

// The basic table: gains per 16-row block, width / blockWidth blocks a row.
TEST(LscBasic, VignettedFieldGivesBlockGainsAndIgnoresPartialBlocks) {
    const int32_t h = 40, w = 100;
    std::vector<float> grey(size_t(h) * w, 1e6f);  // partial blocks: must not count
    const float means[2][3] = {{100, 200, 400}, {50, 200, 200}};
    for (int32_t y = 0; y < 32; ++y) {
        for (int32_t x = 0; x < 96; ++x) {
            // A block mean of exactly its level, with variation inside the block.
            grey[size_t(y) * w + x] = means[y / 16][x / 32] + float((x % 2) ? 1 : -1);
        }
    }
    const TavBasicLscInput in{0, 12, 2, w, h, 32, 16, grey.data(), 0.0f};
    std::vector<uint8_t> table(3 * 6 + 3, 0xEE);
    int32_t rc = 0;
    EXPECT_EQ(printedBy([&] { rc = tavGetBasicLSCParameter(&in, table.data()); }), "");
    ASSERT_EQ(rc, TAV_OK);
    // Target 1150 / 6; gain target / mean: 100 -> 7851, 200 -> 3925, 400 -> 1963,
    // 50 -> above 2.0, 8191.
    EXPECT_EQ(table, (std::vector<uint8_t>{245, 88,  0,   122, 168, 0,   61, 88,   0,    255, 248,
                                           0,   122, 168, 0,   122, 168, 0,  0xEE, 0xEE, 0xEE}));
}

TEST(LscBasic, BlockAtItsDarkLevelKeepsUnitGain) {
    std::vector<float> grey(32 * 32, 300.0f);
    for (int32_t y = 0; y < 16; ++y) {
        for (int32_t x = 16; x < 32; ++x) grey[y * 32 + x] = 20.0f;  // block 1 at the dark level
    }
    const TavBasicLscInput in{0, 10, 4, 32, 32, 16, 16, grey.data(), 20.0f};
    std::vector<uint8_t> table(12);
    ASSERT_EQ(tavGetBasicLSCParameter(&in, table.data()), TAV_OK);
    EXPECT_EQ(std::vector<int>(table.begin() + 3, table.begin() + 6),
              (std::vector<int>{128, 0, 0}));
    // The others: target (3 x 280 + 0) / 4 = 210 over 280: 0.75 = 3072.
    EXPECT_EQ(std::vector<int>(table.begin(), table.begin() + 3), (std::vector<int>{96, 0, 0}));
}

// ---- estimation checks

struct EstimateCheck {
    const char* name;
    int site;
    int32_t code;
    void (*spoil)(TavLscInput*& in, TavLscParameter*& out);
};

class LscEstimateCheck : public testing::TestWithParam<EstimateCheck> {};

TEST_P(LscEstimateCheck, PrintsItsNumberAndWritesNothing) {
    const EstimateCheck c = GetParam();
    const Field f(40, 40, 100.0f, 1.0f);
    TavLscInput in = f.input(0, 12);
    Table table(40 * 40);
    TavLscInput* ip = &in;
    TavLscParameter* op = table.get();
    c.spoil(ip, op);
    int32_t rc = 0;
    EXPECT_EQ(printedBy([&] { rc = tavGetLSCParameter(ip, op); }), diag(c.site));
    EXPECT_EQ(rc, c.code);
    EXPECT_EQ(table.storage, Table(40 * 40).storage);
}

INSTANTIATE_TEST_SUITE_P(
    Sites, LscEstimateCheck,
    testing::Values(
        EstimateCheck{"NullInput", 598, TAV_E_NULL_POINTER, [](auto& i, auto&) { i = nullptr; }},
        EstimateCheck{"NullDark", 598, TAV_E_NULL_POINTER,
                      [](auto& i, auto&) {
                          i->dark = nullptr;
                          i->mode = 5;
                      }},
        EstimateCheck{"NullGrey", 598, TAV_E_NULL_POINTER,
                      [](auto& i, auto&) { i->grey = nullptr; }},
        EstimateCheck{"NullOutput", 598, TAV_E_NULL_POINTER, [](auto&, auto& o) { o = nullptr; }},
        EstimateCheck{"ModeAboveOne", 599, TAV_E_PARAMETER,
                      [](auto& i, auto&) {
                          i->mode = 2;
                          i->height = 3;
                      }},
        EstimateCheck{"Height31", 600, TAV_E_IMAGE_SIZE, [](auto& i, auto&) { i->height = 31; }},
        EstimateCheck{"Width31", 600, TAV_E_IMAGE_SIZE, [](auto& i, auto&) { i->width = 31; }},
        EstimateCheck{"Height30OddWidth", 600, TAV_E_IMAGE_SIZE,
                      [](auto& i, auto&) {
                          i->height = 30;
                          i->width = 33;
                      }},
        EstimateCheck{"NegativeWidth", 600, TAV_E_IMAGE_SIZE,
                      [](auto& i, auto&) { i->width = -40; }},
        EstimateCheck{"OddWidth", 601, TAV_E_IMAGE_SIZE,
                      [](auto& i, auto&) {
                          i->height = 34;
                          i->width = 33;
                      }},
        EstimateCheck{"OddHeightMono", 601, TAV_E_IMAGE_SIZE,
                      [](auto& i, auto&) {
                          i->height = 33;
                          i->mode = 1;
                      }}),
    [](const auto& info) { return std::string(info.param.name); });

struct BasicCheck {
    const char* name;
    int site;  // 0: refused late, silently
    int32_t code;
    void (*spoil)(TavBasicLscInput*& in, uint8_t*& table);
};

class LscBasicCheck : public testing::TestWithParam<BasicCheck> {};

TEST_P(LscBasicCheck, PrintsItsNumberAndWritesNothing) {
    const BasicCheck c = GetParam();
    std::vector<float> grey(48 * 64, 100.0f);
    TavBasicLscInput in{0, 12, 3, 64, 48, 32, 16, grey.data(), 2.0f};
    std::vector<uint8_t> table(3 * 6, 0xEE);
    TavBasicLscInput* ip = &in;
    uint8_t* tp = table.data();
    c.spoil(ip, tp);
    int32_t rc = 0;
    EXPECT_EQ(printedBy([&] { rc = tavGetBasicLSCParameter(ip, tp); }), c.site ? diag(c.site) : "");
    EXPECT_EQ(rc, c.code);
    EXPECT_EQ(table, std::vector<uint8_t>(3 * 6, 0xEE));
}

INSTANTIATE_TEST_SUITE_P(
    Sites, LscBasicCheck,
    testing::Values(
        BasicCheck{"NullInput", 501, TAV_E_NULL_POINTER, [](auto& i, auto&) { i = nullptr; }},
        BasicCheck{"NullTable", 501, TAV_E_NULL_POINTER, [](auto&, auto& t) { t = nullptr; }},
        BasicCheck{"NullGrey", 501, TAV_E_NULL_POINTER,
                   [](auto& i, auto&) {
                       i->grey = nullptr;
                       i->mode = 3;
                   }},
        BasicCheck{"ModeAboveOne", 502, TAV_E_PARAMETER,
                   [](auto& i, auto&) {
                       i->mode = 2;
                       i->width = 8;
                   }},
        BasicCheck{"Height31", 503, TAV_E_IMAGE_SIZE,
                   [](auto& i, auto&) {
                       i->height = 31;
                       i->bits = 9;
                   }},
        BasicCheck{"Width16", 503, TAV_E_IMAGE_SIZE, [](auto& i, auto&) { i->width = 16; }},
        BasicCheck{"Bits9", 504, TAV_E_PARAMETER,
                   [](auto& i, auto&) {
                       i->bits = 9;
                       i->blockWidth = 8;
                   }},
        BasicCheck{"Bits16", 504, TAV_E_PARAMETER, [](auto& i, auto&) { i->bits = 16; }},
        BasicCheck{"BlockWidth24", 505, TAV_E_IMAGE_SIZE,
                   [](auto& i, auto&) { i->blockWidth = 24; }},
        BasicCheck{"BlockHeight32", 505, TAV_E_IMAGE_SIZE,
                   [](auto& i, auto&) {
                       i->blockHeight = 32;
                       i->regionCount = 9;
                   }},
        BasicCheck{"RegionCount1", 0, TAV_E_PARAMETER, [](auto& i, auto&) { i->regionCount = 1; }},
        BasicCheck{"RegionCount5", 0, TAV_E_PARAMETER, [](auto& i, auto&) { i->regionCount = 5; }},
        BasicCheck{"ModeOne", 0, TAV_E_PARAMETER, [](auto& i, auto&) { i->mode = 1; }}),
    [](const auto& info) { return std::string(info.param.name); });

// ---- allocation failures

namespace {
const std::string kNoBlockGrey =
    "\xb4\xb4\xbd\xa8"
    "blockGrey"
    "\xc4\xda\xb4\xe6\xbf\xd5\xbc\xe4\xca\xa7\xb0\xdc\n";
const std::string kNoBlockDark =
    "\xb4\xb4\xbd\xa8"
    "blockDark"
    "\xc4\xda\xb4\xe6\xbf\xd5\xbc\xe4\xca\xa7\xb0\xdc\n";
}  // namespace

class LscNoMemory : public testing::TestWithParam<int> {};

TEST_P(LscNoMemory, BayerEstimateReportsWhichBufferFailed) {
    const int nth = GetParam();
    const Field f(32, 32, 100.0f, 0.0f);
    const TavLscInput in = f.input(0, 12);
    Table table(256);
    std::string printed;
    int32_t rc;
    {
        tavtest::FailAllocations failing(nth);
        rc = estimate(in, table, &printed);
    }
    EXPECT_EQ(rc, TAV_E_NO_MEMORY);
    EXPECT_EQ(printed, nth == 1 ? kNoBlockGrey : kNoBlockDark);
    EXPECT_EQ(table.storage, Table(256).storage);
}

TEST_P(LscNoMemory, BasicEstimateReportsWhichBufferFailed) {
    const int nth = GetParam();
    std::vector<float> grey(32 * 32, 100.0f);
    const TavBasicLscInput in{0, 8, 2, 32, 32, 16, 16, grey.data(), 0.0f};
    std::vector<uint8_t> table(12, 0xEE);
    std::string printed;
    int32_t rc = 0;
    {
        tavtest::FailAllocations failing(nth);
        printed = printedBy([&] { rc = tavGetBasicLSCParameter(&in, table.data()); });
    }
    EXPECT_EQ(rc, TAV_E_NO_MEMORY);
    EXPECT_EQ(printed, nth == 1 ? kNoBlockGrey : kNoBlockDark);
    EXPECT_EQ(table, std::vector<uint8_t>(12, 0xEE));
}

INSTANTIATE_TEST_SUITE_P(FirstAndSecond, LscNoMemory, testing::Values(1, 2));

TEST(LscNoMemory, MonoEstimateNeedsNoBuffers) {
    const Field f(32, 32, 100.0f, 0.0f);
    Table table(32 * 32);
    tavtest::FailAllocations failing(1);
    EXPECT_EQ(estimate(f.input(1, 12), table), TAV_OK);
    EXPECT_EQ(table.words()[0], 131072u << 12);
}
