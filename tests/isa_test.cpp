// Every instruction-set level gives the same bytes: the AVX2 bodies against the
// SSE4.1 bodies and the scalar rules, through the public entries, on random
// frames of odd heights and of widths around the 16-, 32- and 64-column steps.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "core/level.h"
#include "support.h"
#include "tav.h"

namespace {

using tavtest::AtLevel;
using tavtest::Context;
using tavtest::Guarded;
using tavtest::kOutputs;
using tavtest::kPhases;
using tavtest::Output;
using tavtest::Phase;

constexpr tav::Level kAllLevels[] = {tav::Level::Scalar, tav::Level::Sse41, tav::Level::Avx2};

const char* name(tav::Level l) {
    return l == tav::Level::Scalar ? "scalar" : l == tav::Level::Sse41 ? "sse41" : "avx2";
}

// Runs `call` at each level and expects every result equal to the scalar one.
template <typename F>
void sameAtEveryLevel(const std::string& what, F&& call) {
    if (tav::cpuLevel() != tav::Level::Avx2) GTEST_SKIP() << "the CPU has no AVX2";
    AtLevel restore;
    std::vector<uint8_t> scalar;
    for (tav::Level l : kAllLevels) {
        tav::setLevel(l);
        ASSERT_EQ(tav::level(), l);
        const std::vector<uint8_t> got = call();
        if (l == tav::Level::Scalar) {
            scalar = got;
        } else {
            ASSERT_TRUE(got == scalar) << what << " differs at " << name(l);
        }
    }
}

constexpr int kWidths[] = {5,  15, 16, 17, 18, 31, 32, 33, 34, 35,
                           36, 49, 63, 64, 65, 66, 67, 97, 130};

class Bilinear8 : public testing::TestWithParam<std::tuple<int, int>> {};

TEST_P(Bilinear8, EveryOutputGivesTheSameBytesAtEveryLevel) {
    const auto [width, height] = GetParam();
    const auto mosaic = tavtest::randomBytes(size_t(width) * height, width * 31 + height);
    for (const Phase& p : kPhases) {
        for (const Output& o : kOutputs) {
            const std::string what = std::string(p.name) + " to " + o.name + " " +
                                     std::to_string(width) + "x" + std::to_string(height);
            sameAtEveryLevel(what, [&] {
                Context c;
                c.setOutput(o.format);
                TavImage src{height, width, p.code, const_cast<uint8_t*>(mosaic.data()), width};
                Guarded dst(tavtest::outputBytes(o, size_t(width) * height), 0x5A);
                TavImage d{0, 0, 0, dst.data(), 0};
                EXPECT_EQ(tavDemosaicing(c.ctx, &src, TAV_METHOD_BILINEAR, &d), TAV_OK) << what;
                EXPECT_TRUE(dst.intact()) << what << ": wrote past the output";
                return dst.bytes();
            });
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Widths, Bilinear8,
                         testing::Combine(testing::ValuesIn(kWidths), testing::Values(5, 9)));

// Asking for a level the CPU lacks runs the widest it has.
TEST(Levels, ALevelTheCpuLacksFallsBackToTheWidestItHas) {
    AtLevel restore;
    tav::setLevel(tav::Level::Avx2);
    EXPECT_EQ(tav::level(), tav::cpuLevel());
    tav::setLevel(tav::Level::Scalar);
    EXPECT_EQ(tav::level(), tav::Level::Scalar);
}

}  // namespace
