// 16-bit demosaicing on 12-bit content, against the floor and, in the same
// run, the single-threaded peers (OpenCV cvtColor on CV_16U, libdc1394).
#include <cstring>

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

// A frame of 12-bit samples and a three-word-a-pixel destination.
struct Frame16 {
    int32_t w, h;
    size_t n;
    std::vector<uint16_t> src, dst;

    explicit Frame16(const benchmark::State& state)
        : w(int32_t(state.range(0))),
          h(int32_t(state.range(1))),
          n(size_t(w) * h),
          src(n),
          dst(3 * n) {
        const auto bytes = tavbench::randomBytes(2 * n);
        std::memcpy(src.data(), bytes.data(), 2 * n);
        for (auto& v : src) v &= 0x0FFF;
    }
    size_t srcBytes() const { return 2 * n; }
    size_t dstBytes() const { return 6 * n; }
};

void U16Entry(benchmark::State& state, int64_t output, uint32_t method) {
    Frame16 f(state);
    const TavDemosaicU16Config config{output, method, 12};
    const TavImage in{f.h, f.w, TAV_PF_BAYER_RG12, reinterpret_cast<uint8_t*>(f.src.data()),
                      2 * f.w};
    const TavImage out{0, 0, 0, reinterpret_cast<uint8_t*>(f.dst.data()), 0};
    againstFloor(state, f.n, f.src.data(), f.srcBytes(), f.dst.data(), f.dstBytes(),
                 [&] { tavDemosaicingU16(&config, &in, &out); });
}

void U16Bilinear_BGR12(benchmark::State& state) {
    U16Entry(state, TAV_PF_BGR12, TAV_METHOD_BILINEAR);
}
TAV_BENCH_SIZES(U16Bilinear_BGR12);

void U16Bilinear_RGB16(benchmark::State& state) {
    U16Entry(state, TAV_PF_RGB16, TAV_METHOD_BILINEAR);
}
TAV_BENCH_SIZES(U16Bilinear_RGB16);

void U16Edge_BGR12(benchmark::State& state) {
    U16Entry(state, TAV_PF_BGR12, TAV_METHOD_EDGE);
}
TAV_BENCH_SIZES(U16Edge_BGR12);

void U16Edge_RGB16(benchmark::State& state) {
    U16Entry(state, TAV_PF_RGB16, TAV_METHOD_EDGE);
}
TAV_BENCH_SIZES(U16Edge_RGB16);

void U16Hq_BGR12(benchmark::State& state) {
    U16Entry(state, TAV_PF_BGR12, TAV_METHOD_HQ);
}
TAV_BENCH_SIZES(U16Hq_BGR12);

// The exported building blocks (scalar passes).
void U16EdgeBlocks_GBRG(benchmark::State& state) {
    Frame16 f(state);
    againstFloor(state, f.n, f.src.data(), f.srcBytes(), f.dst.data(), f.dstBytes(),
                 [&] { demosaicingEdgeGBRGU16(f.src.data(), f.h, f.w, f.dst.data()); });
}
TAV_BENCH_SIZES(U16EdgeBlocks_GBRG);

void U16Bilinear_Planar(benchmark::State& state) {
    Frame16 f(state);
    uint16_t* b = f.dst.data();
    againstFloor(state, f.n, f.src.data(), f.srcBytes(), f.dst.data(), f.dstBytes(), [&] {
        tavDemosaicingBilinearU16P(f.src.data(), f.h, f.w, b, b + f.n, b + 2 * f.n);
    });
}
TAV_BENCH_SIZES(U16Bilinear_Planar);

void U16Bilinear_Mono16(benchmark::State& state) {
    Frame16 f(state);
    const uint32_t weights[3] = {77, 150, 29};
    againstFloor(state, f.n, f.src.data(), f.srcBytes(), f.dst.data(), 2 * f.n, [&] {
        rg16ToMono16_bilinear(f.src.data(), uint32_t(f.h), uint32_t(f.w), weights, f.dst.data());
    });
}
TAV_BENCH_SIZES(U16Bilinear_Mono16);

#ifdef TAV_HAVE_OPENCV
void OpenCV_U16Bilinear(benchmark::State& state) {
    cv::setNumThreads(tavbench::peerThreads());
    Frame16 f(state);
    const cv::Mat in(f.h, f.w, CV_16UC1, f.src.data());
    cv::Mat out(f.h, f.w, CV_16UC3, f.dst.data());
    againstFloor(state, f.n, f.src.data(), f.srcBytes(), f.dst.data(), f.dstBytes(),
                 [&] { cv::cvtColor(in, out, cv::COLOR_BayerBG2BGR); });
}
TAV_BENCH_SIZES(OpenCV_U16Bilinear);

void OpenCV_U16EdgeAware(benchmark::State& state) {
    cv::setNumThreads(tavbench::peerThreads());
    Frame16 f(state);
    const cv::Mat in(f.h, f.w, CV_16UC1, f.src.data());
    cv::Mat out(f.h, f.w, CV_16UC3, f.dst.data());
    againstFloor(state, f.n, f.src.data(), f.srcBytes(), f.dst.data(), f.dstBytes(),
                 [&] { cv::cvtColor(in, out, cv::COLOR_BayerBG2BGR_EA); });
}
TAV_BENCH_SIZES(OpenCV_U16EdgeAware);
#endif

#ifdef TAV_HAVE_DC1394
void Dc1394_U16Bilinear(benchmark::State& state) {
    Frame16 f(state);
    againstFloor(state, f.n, f.src.data(), f.srcBytes(), f.dst.data(), f.dstBytes(), [&] {
        dc1394_bayer_decoding_16bit(f.src.data(), f.dst.data(), uint32_t(f.w), uint32_t(f.h),
                                    DC1394_COLOR_FILTER_RGGB, DC1394_BAYER_METHOD_BILINEAR, 12);
    });
}
TAV_BENCH_SIZES(Dc1394_U16Bilinear);

void Dc1394(benchmark::State& state, dc1394bayer_method_t method) {
    Frame16 f(state);
    againstFloor(state, f.n, f.src.data(), f.srcBytes(), f.dst.data(), f.dstBytes(), [&] {
        dc1394_bayer_decoding_16bit(f.src.data(), f.dst.data(), uint32_t(f.w), uint32_t(f.h),
                                    DC1394_COLOR_FILTER_RGGB, method, 12);
    });
}
void Dc1394_U16EdgeSense(benchmark::State& state) {
    Dc1394(state, DC1394_BAYER_METHOD_EDGESENSE);
}
TAV_BENCH_SIZES(Dc1394_U16EdgeSense);
void Dc1394_U16HqLinear(benchmark::State& state) {
    Dc1394(state, DC1394_BAYER_METHOD_HQLINEAR);
}
TAV_BENCH_SIZES(Dc1394_U16HqLinear);
#endif

}  // namespace
