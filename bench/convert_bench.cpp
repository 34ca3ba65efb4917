// Pixel-format conversion against the floor, with libyuv (as shipped, and
// limited to SSSE3) and OpenCV (one thread) on the same frames.
//
// Names: Convert/<source>_<target>, Libyuv/<function>[_ssse3], OpenCV/<code>.
#include <functional>

#include "bench_util.h"
#include "tav.h"

#ifdef TAV_HAVE_LIBYUV
#include <libyuv.h>
#endif
#ifdef TAV_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

using tavbench::againstFloor;

#define TAV_CONVERT_BENCH(fn, name, ...)     \
    BENCHMARK_CAPTURE(fn, name, __VA_ARGS__) \
        ->Args({1920, 1080})                 \
        ->Args({4096, 3000})                 \
        ->UseManualTime()                    \
        ->Unit(benchmark::kMillisecond)

// Source and destination bytes of a frame of n pixels, in eighths of a byte
// per pixel so that 4:2:0 (12/8) stays exact.
struct Rates {
    int srcEighths, dstEighths;
};

size_t bytesOf(size_t n, int eighths) {
    return n * eighths / 8;
}

// ---- tav through its entry

void Convert(benchmark::State& state, uint32_t source, uint64_t target, Rates rates) {
    const int32_t w = state.range(0), h = state.range(1);
    const size_t n = size_t(w) * h;
    auto src = tavbench::randomBytes(bytesOf(n, rates.srcEighths));
    std::vector<uint8_t> dst(bytesOf(n, rates.dstEighths));
    TavImage in{h, w, source, src.data(), 0}, out{0, 0, 0, dst.data(), 0};
    if (tavImageTypeConvert(&in, &out, target) != TAV_OK) state.SkipWithError("conversion refused");
    againstFloor(state, n, src.data(), src.size(), dst.data(), dst.size(),
                 [&] { tavImageTypeConvert(&in, &out, target); });
}

constexpr Rates k422To4{16, 32}, k422To3{16, 24}, k420To4{12, 32}, k420To3{12, 24};
constexpr Rates k411To4{12, 32}, k411To3{12, 24}, k444To4{24, 32}, k444To3{24, 24};
constexpr Rates k3To4{24, 32}, k3To3{24, 24}, k3To1{24, 8}, k3To422{24, 16}, k3To420{24, 12};

TAV_CONVERT_BENCH(Convert, UYVY_BGRa8, TAV_PF_YUV422_8_UYVY, TAV_PF_BGRA8, k422To4);
TAV_CONVERT_BENCH(Convert, YUYV_BGRa8, TAV_PF_YUV422_8, TAV_PF_BGRA8, k422To4);
TAV_CONVERT_BENCH(Convert, NV12_BGRa8, TAV_PF_YUV420SP_NV12, TAV_PF_BGRA8, k420To4);
TAV_CONVERT_BENCH(Convert, YUV411_BGRa8, TAV_PF_YUV411_8_UYYVYY, TAV_PF_BGRA8, k411To4);
TAV_CONVERT_BENCH(Convert, UYV_BGRa8, TAV_PF_YUV8_UYV, TAV_PF_BGRA8, k444To4);
TAV_CONVERT_BENCH(Convert, UYVY_BGR8, TAV_PF_YUV422_8_UYVY, TAV_PF_BGR8, k422To3);
TAV_CONVERT_BENCH(Convert, YUYV_BGR8, TAV_PF_YUV422_8, TAV_PF_BGR8, k422To3);
TAV_CONVERT_BENCH(Convert, NV12_BGR8, TAV_PF_YUV420SP_NV12, TAV_PF_BGR8, k420To3);
TAV_CONVERT_BENCH(Convert, I420_BGR8, TAV_PF_YUV420P, TAV_PF_BGR8, k420To3);
TAV_CONVERT_BENCH(Convert, YUV411_BGR8, TAV_PF_YUV411_8_UYYVYY, TAV_PF_BGR8, k411To3);
TAV_CONVERT_BENCH(Convert, UYV_BGR8, TAV_PF_YUV8_UYV, TAV_PF_BGR8, k444To3);
TAV_CONVERT_BENCH(Convert, UYVY_Mono8, TAV_PF_YUV422_8_UYVY, TAV_PF_MONO8, Rates{16, 8});
TAV_CONVERT_BENCH(Convert, BGR8_BGRa8, TAV_PF_BGR8, TAV_PF_BGRA8, k3To4);
TAV_CONVERT_BENCH(Convert, BGR8_RGB8, TAV_PF_BGR8, TAV_PF_RGB8, k3To3);
TAV_CONVERT_BENCH(Convert, BGR8_Mono8, TAV_PF_BGR8, TAV_PF_MONO8, k3To1);
TAV_CONVERT_BENCH(Convert, BGR8_UYV, TAV_PF_BGR8, TAV_PF_YUV8_UYV, k3To3);
TAV_CONVERT_BENCH(Convert, BGR8_UYVY, TAV_PF_BGR8, TAV_PF_YUV422_8_UYVY, k3To422);
TAV_CONVERT_BENCH(Convert, BGR8_YUV411, TAV_PF_BGR8, TAV_PF_YUV411_8_UYYVYY, Rates{24, 12});
TAV_CONVERT_BENCH(Convert, BGR8_I420, TAV_PF_BGR8, TAV_PF_YUV420P, k3To420);
TAV_CONVERT_BENCH(Convert, Mono8_I420, TAV_PF_MONO8, TAV_PF_YUV420P, Rates{8, 12});
TAV_CONVERT_BENCH(Convert, Mono1p_Mono8, TAV_PF_MONO1P, TAV_PF_MONO8, Rates{1, 8});
TAV_CONVERT_BENCH(Convert, Mono4p_Mono8, TAV_PF_MONO4P, TAV_PF_MONO8, Rates{4, 8});
TAV_CONVERT_BENCH(Convert, Mono4p_BGR8, TAV_PF_MONO4P, TAV_PF_BGR8, Rates{4, 24});

#ifdef TAV_HAVE_LIBYUV

// ---- libyuv, one call per frame; `ssse3` masks its CPU flags down to SSSE3.

enum class Yuv {
    kUYVYToARGB,
    kYUY2ToARGB,
    kNV12ToARGB,
    kNV12ToRGB24,
    kI420ToARGB,
    kI420ToRGB24,
    kI444ToRGB24,
    kRGB24ToARGB,
    kRGB24ToI420,
    kARGBToUYVY,
    kRGB24ToJ400,
};

Rates yuvRates(Yuv k) {
    switch (k) {
        case Yuv::kUYVYToARGB:
        case Yuv::kYUY2ToARGB:
            return k422To4;
        case Yuv::kNV12ToARGB:
        case Yuv::kI420ToARGB:
            return k420To4;
        case Yuv::kNV12ToRGB24:
        case Yuv::kI420ToRGB24:
            return k420To3;
        case Yuv::kI444ToRGB24:
            return k444To3;
        case Yuv::kRGB24ToARGB:
            return k3To4;
        case Yuv::kRGB24ToI420:
            return k3To420;
        case Yuv::kARGBToUYVY:
            return Rates{32, 16};
        case Yuv::kRGB24ToJ400:
            return k3To1;
    }
    return {};
}

void Libyuv(benchmark::State& state, Yuv k, bool ssse3) {
    const int w = state.range(0), h = state.range(1);
    const size_t n = size_t(w) * h;
    const Rates r = yuvRates(k);
    auto src = tavbench::randomBytes(bytesOf(n, r.srcEighths));
    std::vector<uint8_t> dst(bytesOf(n, r.dstEighths));
    uint8_t* s = src.data();
    uint8_t* d = dst.data();
    const int hw = (w + 1) / 2;
    libyuv::MaskCpuFlags(ssse3 ? libyuv::kCpuInitialized | libyuv::kCpuHasX86 |
                                     libyuv::kCpuHasSSE2 | libyuv::kCpuHasSSSE3
                               : -1);
    std::function<void()> op;
    switch (k) {
        case Yuv::kUYVYToARGB:
            op = [=] { libyuv::UYVYToARGB(s, 2 * w, d, 4 * w, w, h); };
            break;
        case Yuv::kYUY2ToARGB:
            op = [=] { libyuv::YUY2ToARGB(s, 2 * w, d, 4 * w, w, h); };
            break;
        case Yuv::kNV12ToARGB:
            op = [=] { libyuv::NV12ToARGB(s, w, s + n, w, d, 4 * w, w, h); };
            break;
        case Yuv::kNV12ToRGB24:
            op = [=] { libyuv::NV12ToRGB24(s, w, s + n, w, d, 3 * w, w, h); };
            break;
        case Yuv::kI420ToARGB:
            op = [=] { libyuv::I420ToARGB(s, w, s + n, hw, s + n + n / 4, hw, d, 4 * w, w, h); };
            break;
        case Yuv::kI420ToRGB24:
            op = [=] { libyuv::I420ToRGB24(s, w, s + n, hw, s + n + n / 4, hw, d, 3 * w, w, h); };
            break;
        case Yuv::kI444ToRGB24:
            op = [=] { libyuv::I444ToRGB24(s, w, s + n, w, s + 2 * n, w, d, 3 * w, w, h); };
            break;
        case Yuv::kRGB24ToARGB:
            op = [=] { libyuv::RGB24ToARGB(s, 3 * w, d, 4 * w, w, h); };
            break;
        case Yuv::kRGB24ToI420:
            op = [=] { libyuv::RGB24ToI420(s, 3 * w, d, w, d + n, hw, d + n + n / 4, hw, w, h); };
            break;
        case Yuv::kARGBToUYVY:
            op = [=] { libyuv::ARGBToUYVY(s, 4 * w, d, 2 * w, w, h); };
            break;
        case Yuv::kRGB24ToJ400:
            op = [=] { libyuv::RGB24ToJ400(s, 3 * w, d, w, w, h); };
            break;
    }
    againstFloor(state, n, src.data(), src.size(), dst.data(), dst.size(), [&] { op(); });
    libyuv::MaskCpuFlags(-1);
}

#define TAV_LIBYUV_BENCH(fn)                          \
    TAV_CONVERT_BENCH(Libyuv, fn, Yuv::k##fn, false); \
    TAV_CONVERT_BENCH(Libyuv, fn##_ssse3, Yuv::k##fn, true)

TAV_LIBYUV_BENCH(UYVYToARGB);
TAV_LIBYUV_BENCH(YUY2ToARGB);
TAV_LIBYUV_BENCH(NV12ToARGB);
TAV_LIBYUV_BENCH(NV12ToRGB24);
TAV_LIBYUV_BENCH(I420ToARGB);
TAV_LIBYUV_BENCH(I420ToRGB24);
TAV_LIBYUV_BENCH(I444ToRGB24);
TAV_LIBYUV_BENCH(RGB24ToARGB);
TAV_LIBYUV_BENCH(RGB24ToI420);
TAV_LIBYUV_BENCH(ARGBToUYVY);
TAV_LIBYUV_BENCH(RGB24ToJ400);

#endif  // TAV_HAVE_LIBYUV

#ifdef TAV_HAVE_OPENCV

// ---- OpenCV cvtColor on one thread; the destination is allocated once.

void OpenCV(benchmark::State& state, int code, int srcRowsEighths, int srcType, Rates r) {
    cv::setNumThreads(tavbench::peerThreads());
    const int w = state.range(0), h = state.range(1);
    const size_t n = size_t(w) * h;
    auto bytes = tavbench::randomBytes(bytesOf(n, r.srcEighths));
    cv::Mat src(h * srcRowsEighths / 8, w, srcType, bytes.data());
    cv::Mat dst;
    cv::cvtColor(src, dst, code);
    againstFloor(state, n, bytes.data(), bytes.size(), dst.data, dst.total() * dst.elemSize(),
                 [&] { cv::cvtColor(src, dst, code); });
}

TAV_CONVERT_BENCH(OpenCV, YUV2BGRA_UYVY, cv::COLOR_YUV2BGRA_UYVY, 8, CV_8UC2, k422To4);
TAV_CONVERT_BENCH(OpenCV, YUV2BGRA_YUY2, cv::COLOR_YUV2BGRA_YUY2, 8, CV_8UC2, k422To4);
TAV_CONVERT_BENCH(OpenCV, YUV2BGRA_NV12, cv::COLOR_YUV2BGRA_NV12, 12, CV_8UC1, k420To4);
TAV_CONVERT_BENCH(OpenCV, YUV2BGRA_I420, cv::COLOR_YUV2BGRA_I420, 12, CV_8UC1, k420To4);
TAV_CONVERT_BENCH(OpenCV, YUV2BGR_UYVY, cv::COLOR_YUV2BGR_UYVY, 8, CV_8UC2, k422To3);
TAV_CONVERT_BENCH(OpenCV, YUV2BGR_YUY2, cv::COLOR_YUV2BGR_YUY2, 8, CV_8UC2, k422To3);
TAV_CONVERT_BENCH(OpenCV, YUV2BGR_NV12, cv::COLOR_YUV2BGR_NV12, 12, CV_8UC1, k420To3);
TAV_CONVERT_BENCH(OpenCV, YUV2BGR_I420, cv::COLOR_YUV2BGR_I420, 12, CV_8UC1, k420To3);
TAV_CONVERT_BENCH(OpenCV, BGR2YUV_I420, cv::COLOR_BGR2YUV_I420, 8, CV_8UC3, k3To420);
TAV_CONVERT_BENCH(OpenCV, BGR2BGRA, cv::COLOR_BGR2BGRA, 8, CV_8UC3, k3To4);
TAV_CONVERT_BENCH(OpenCV, BGR2GRAY, cv::COLOR_BGR2GRAY, 8, CV_8UC3, k3To1);

#endif  // TAV_HAVE_OPENCV

}  // namespace
