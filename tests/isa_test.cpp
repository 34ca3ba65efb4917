// Instruction-set levels: non-temporal stores of the wide bodies give the same
// bytes at every level, and a level the CPU lacks falls back. (The whole suite
// runs at each level through TAV_ISA, and its sweeps compare every level.)
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <tuple>
#include <vector>

#include "core/level.h"
#include "support.h"
#include "tav.h"
#include "tav_kernels.h"

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

// ---- YUV decoding: 4:2:2 pairs and NV12 frames, by height x width

struct Yuv {
    const char* name;
    bool nv12;
    int bytes;  // a pixel out
    int32_t (*pairs)(const uint8_t*, uint8_t*, int32_t, uint64_t);
    int32_t (*frame)(const uint8_t*, uint8_t*, int32_t, int32_t, uint64_t);
};

const Yuv kYuv[] = {
    {"UYVY to RGB8", false, 3, YUV422_UYVYToRGB8, nullptr},
    {"UYVY to RGBa8", false, 4, YUV422_UYVYToRGBA8, nullptr},
    {"YUYV to RGB8", false, 3, YUV422_YUYVToRGB8, nullptr},
    {"YUYV to RGBa8", false, 4, YUV422_YUYVToRGBA8, nullptr},
    {"NV12 to RGB8", true, 3, nullptr, YUV420SP_NV12ToRGB8},
    {"NV12 to RGBa8", true, 4, nullptr, YUV420SP_NV12ToRGBA8},
};

// `k` in the given channel orders on a random frame of height x width.
void yuvSameAtEveryLevel(const Yuv& k, int32_t height, int32_t width,
                         std::initializer_list<bool> orders = {false, true}) {
    const size_t n = size_t(width) * height;
    const auto src = tavtest::randomBytes(k.nv12 ? n + n / 2 + width : 2 * n, width + 7 * height);
    for (bool bgr : orders) {
        const uint64_t target =
            k.bytes == 3 ? (bgr ? TAV_PF_BGR8 : TAV_PF_RGB8) : (bgr ? TAV_PF_BGRA8 : TAV_PF_RGBA8);
        const std::string what = std::string(k.name) + (bgr ? " blue first " : " ") +
                                 std::to_string(height) + "x" + std::to_string(width);
        sameAtEveryLevel(what, [&] {
            Guarded dst(n * k.bytes, 0x5A);
            const int32_t code = k.nv12 ? k.frame(src.data(), dst.data(), height, width, target)
                                        : k.pairs(src.data(), dst.data(), int32_t(n / 2), target);
            EXPECT_EQ(code, TAV_OK) << what;
            EXPECT_TRUE(dst.intact()) << what << ": wrote past the output";
            return dst.bytes();
        });
    }
}

// Outputs past 16 MiB with aligned rows take the non-temporal stores; one
// kernel of each store pattern (4:2:2 to four bytes, NV12 rows to three).
TEST(YuvDecodeStreamed, KernelsGiveTheSameBytesAtEveryLevel) {
    yuvSameAtEveryLevel(kYuv[1], 2040, 2064, {true});
    yuvSameAtEveryLevel(kYuv[4], 2720, 2064, {true});
}

// Asking for a level the CPU lacks runs the widest it has.
TEST(Levels, ALevelTheCpuLacksFallsBackToTheWidestItHas) {
    AtLevel restore;
    tav::setLevel(tav::Level::Avx2);
    EXPECT_EQ(tav::level(), tav::cpuLevel());
    tav::setLevel(tav::Level::Scalar);
    EXPECT_EQ(tav::level(), tav::Level::Scalar);
}

}  // namespace
