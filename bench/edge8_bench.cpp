// Edge-directed 8-bit demosaicing into every output form, and the peers of
// similar purpose in the same run: OpenCV's edge-aware and VNG modes,
// libdc1394's edge-sensing and high-quality linear methods (single-threaded).
#include <algorithm>
#include <cmath>
#include <random>

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

// A camera-like mosaic rather than noise, so that branchy peers are not
// penalised by unpredictable branches: smooth shading, a grid of sharp edges
// and a little sensor noise.
std::vector<uint8_t> scene(int32_t width, int32_t height) {
    std::mt19937 rng(7);
    std::vector<uint8_t> s(size_t(width) * height);
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            double v = 110 + 60 * std::sin(x / 37.0) * std::cos(y / 23.0);
            if ((x / 97 + y / 61) % 2) v += 50;
            v += static_cast<int>(rng() % 9) - 4;
            s[size_t(y) * width + x] = static_cast<uint8_t>(std::clamp(v, 0.0, 255.0));
        }
    }
    return s;
}

enum class Form { Mono8, Bgr8, Bgra8, Planar };

void edge(benchmark::State& state, Form form) {
    const int32_t w = state.range(0), h = state.range(1);
    const size_t n = size_t(w) * h;
    const auto src = scene(w, h);
    const size_t dstBytes = n * (form == Form::Mono8 ? 1 : form == Form::Bgra8 ? 4 : 3);
    std::vector<uint8_t> dst(dstBytes), line(w + 64);
    againstFloor(state, n, src.data(), n, dst.data(), dstBytes, [&] {
        switch (form) {
            case Form::Mono8:
                rg8ToMono8_edge(src.data(), h, w, dst.data(), 0, line.data());
                break;
            case Form::Bgr8:
                rg8ToBgr8_edge(src.data(), h, w, dst.data(), 0, line.data());
                break;
            case Form::Bgra8:
                rg8ToBgra8_edge(src.data(), h, w, dst.data(), 0, line.data());
                break;
            case Form::Planar:
                rg8ToBgr8P_edge(src.data(), h, w, dst.data(), dst.data() + n, dst.data() + 2 * n,
                                line.data());
                break;
        }
    });
}

void Edge8_Bgr8(benchmark::State& state) {
    edge(state, Form::Bgr8);
}
void Edge8_Bgra8(benchmark::State& state) {
    edge(state, Form::Bgra8);
}
void Edge8_Mono8(benchmark::State& state) {
    edge(state, Form::Mono8);
}
void Edge8_Planar(benchmark::State& state) {
    edge(state, Form::Planar);
}
TAV_BENCH_SIZES(Edge8_Bgr8);
TAV_BENCH_SIZES(Edge8_Bgra8);
TAV_BENCH_SIZES(Edge8_Mono8);
TAV_BENCH_SIZES(Edge8_Planar);

// BGR8 through the entry (records, scratch, dispatch), by method: the
// edge-directed method and method 3 (gradient-weighted colour differences).
void entry(benchmark::State& state, uint32_t method) {
    const int32_t w = state.range(0), h = state.range(1);
    const size_t n = size_t(w) * h;
    auto src = scene(w, h);
    std::vector<uint8_t> dst(3 * n);
    TavContext* ctx = nullptr;
    tavCreate(&ctx);
    const uint64_t format = TAV_PF_BGR8;
    tavDemosaicSetConfig(ctx, &format);
    TavImage in{h, w, TAV_PF_BAYER_RG8, src.data(), w};
    TavImage out{0, 0, 0, dst.data(), 0};
    againstFloor(state, n, src.data(), n, dst.data(), 3 * n,
                 [&] { tavDemosaicing(ctx, &in, method, &out); });
    tavRelease(&ctx);
}
void Edge8_Bgr8_Entry(benchmark::State& state) {
    entry(state, TAV_METHOD_EDGE);
}
void Hq8_Bgr8_Entry(benchmark::State& state) {
    entry(state, TAV_METHOD_HQ);
}
TAV_BENCH_SIZES(Edge8_Bgr8_Entry);
TAV_BENCH_SIZES(Hq8_Bgr8_Entry);

#ifdef TAV_HAVE_OPENCV
void opencv(benchmark::State& state, int code) {
    cv::setNumThreads(tavbench::peerThreads());
    const int32_t w = state.range(0), h = state.range(1);
    const size_t n = size_t(w) * h;
    auto src = scene(w, h);
    const cv::Mat in(h, w, CV_8UC1, src.data());
    cv::Mat out(h, w, CV_8UC3);
    againstFloor(state, n, src.data(), n, out.data, 3 * n, [&] { cv::cvtColor(in, out, code); });
}
void Peer_OpenCV_EA_Bgr8(benchmark::State& state) {
    opencv(state, cv::COLOR_BayerBG2BGR_EA);
}
void Peer_OpenCV_VNG_Bgr8(benchmark::State& state) {
    opencv(state, cv::COLOR_BayerBG2BGR_VNG);
}
TAV_BENCH_SIZES(Peer_OpenCV_EA_Bgr8);
TAV_BENCH_SIZES(Peer_OpenCV_VNG_Bgr8);
#endif

#ifdef TAV_HAVE_DC1394
void dc1394(benchmark::State& state, dc1394bayer_method_t method) {
    const int32_t w = state.range(0), h = state.range(1);
    const size_t n = size_t(w) * h;
    auto src = scene(w, h);
    std::vector<uint8_t> dst(3 * n);
    againstFloor(state, n, src.data(), n, dst.data(), 3 * n, [&] {
        dc1394_bayer_decoding_8bit(src.data(), dst.data(), w, h, DC1394_COLOR_FILTER_RGGB, method);
    });
}
void Peer_Dc1394_EdgeSense_Rgb8(benchmark::State& state) {
    dc1394(state, DC1394_BAYER_METHOD_EDGESENSE);
}
void Peer_Dc1394_HqLinear_Rgb8(benchmark::State& state) {
    dc1394(state, DC1394_BAYER_METHOD_HQLINEAR);
}
// The picture-quality reference method 3 is measured against.
void Peer_Dc1394_Ahd_Rgb8(benchmark::State& state) {
    dc1394(state, DC1394_BAYER_METHOD_AHD);
}
TAV_BENCH_SIZES(Peer_Dc1394_EdgeSense_Rgb8);
TAV_BENCH_SIZES(Peer_Dc1394_HqLinear_Rgb8);
TAV_BENCH_SIZES(Peer_Dc1394_Ahd_Rgb8);
#endif

}  // namespace
