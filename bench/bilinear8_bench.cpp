// Bilinear demosaicing of an RG mosaic into every output kind, and the peers'
// single-threaded Bayer demosaicing on the same frames (OpenCV's BayerBG codes
// name the RG layout).
#include "bench_util.h"
#include "tav.h"

#ifdef TAV_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif
#ifdef TAV_HAVE_DC1394
#include <dc1394/conversions.h>
#endif

namespace {

using tavbench::againstFloor;

// Times `op(src, dst)` on a random mosaic against the floor of an output of
// `outBytes` bytes per pixel.
template <typename Op>
void mosaicTo(benchmark::State& state, size_t outBytes, Op&& op) {
    const int32_t w = static_cast<int32_t>(state.range(0)),
                  h = static_cast<int32_t>(state.range(1));
    const size_t n = size_t(w) * h;
    auto src = tavbench::randomBytes(n);
    std::vector<uint8_t> dst(n * outBytes);
    againstFloor(state, n, src.data(), n, dst.data(), dst.size(),
                 [&] { op(src.data(), dst.data(), h, w); });
}

void BilinearRgToBgr8(benchmark::State& state) {
    mosaicTo(state, 3, [](const uint8_t* s, uint8_t* d, int32_t h, int32_t w) {
        rg8ToBgr8_bilinear(s, h, w, d);
    });
}
TAV_BENCH_SIZES(BilinearRgToBgr8);

void BilinearRgToBgra8(benchmark::State& state) {
    mosaicTo(state, 4, [](const uint8_t* s, uint8_t* d, int32_t h, int32_t w) {
        rg8ToBgra8_bilinear(s, h, w, d);
    });
}
TAV_BENCH_SIZES(BilinearRgToBgra8);

void BilinearRgToMono8(benchmark::State& state) {
    mosaicTo(state, 1, [](const uint8_t* s, uint8_t* d, int32_t h, int32_t w) {
        static const uint32_t weights[3] = {77, 150, 29};
        rg8ToMono8_bilinear(s, h, w, weights, d);
    });
}
TAV_BENCH_SIZES(BilinearRgToMono8);

void BilinearRgToPlanar(benchmark::State& state) {
    mosaicTo(state, 3, [](const uint8_t* s, uint8_t* d, int32_t h, int32_t w) {
        const size_t n = size_t(w) * h;
        rg8ToBgr8P_bilinear(s, h, w, d, d + n, d + 2 * n);
    });
}
TAV_BENCH_SIZES(BilinearRgToPlanar);

#ifdef TAV_HAVE_OPENCV
template <int kCode>
void OpenCV(benchmark::State& state, size_t outBytes) {
    cv::setNumThreads(tavbench::peerThreads());
    mosaicTo(state, outBytes, [](const uint8_t* s, uint8_t* d, int32_t h, int32_t w) {
        const cv::Mat in(h, w, CV_8UC1, const_cast<uint8_t*>(s));
        const int type = kCode == cv::COLOR_BayerBG2GRAY   ? CV_8UC1
                         : kCode == cv::COLOR_BayerBG2BGRA ? CV_8UC4
                                                           : CV_8UC3;
        cv::Mat out(h, w, type, d);
        cv::cvtColor(in, out, kCode);
    });
}
void OpenCVBayerBG2BGR(benchmark::State& state) {
    OpenCV<cv::COLOR_BayerBG2BGR>(state, 3);
}
void OpenCVBayerBG2BGRA(benchmark::State& state) {
    OpenCV<cv::COLOR_BayerBG2BGRA>(state, 4);
}
void OpenCVBayerBG2GRAY(benchmark::State& state) {
    OpenCV<cv::COLOR_BayerBG2GRAY>(state, 1);
}
TAV_BENCH_SIZES(OpenCVBayerBG2BGR);
TAV_BENCH_SIZES(OpenCVBayerBG2BGRA);
TAV_BENCH_SIZES(OpenCVBayerBG2GRAY);
#endif

#ifdef TAV_HAVE_DC1394
template <dc1394bayer_method_t kMethod>
void Dc1394(benchmark::State& state) {
    mosaicTo(state, 3, [](const uint8_t* s, uint8_t* d, int32_t h, int32_t w) {
        dc1394_bayer_decoding_8bit(s, d, uint32_t(w), uint32_t(h), DC1394_COLOR_FILTER_RGGB,
                                   kMethod);
    });
}
void Dc1394Bilinear(benchmark::State& state) {
    Dc1394<DC1394_BAYER_METHOD_BILINEAR>(state);
}
void Dc1394Nearest(benchmark::State& state) {
    Dc1394<DC1394_BAYER_METHOD_NEAREST>(state);
}
TAV_BENCH_SIZES(Dc1394Bilinear);
TAV_BENCH_SIZES(Dc1394Nearest);
#endif

}  // namespace
