// Nearest-neighbour demosaicing of an RG mosaic into BGR8, BGRa8, Mono8 and
// planar, each against its floor; libdc1394's nearest (RGB8) in the same run.
#include "bench_util.h"
#include "tav.h"

#ifdef TAV_HAVE_DC1394
#include <dc1394/conversions.h>
#endif

namespace {

using tavbench::againstFloor;

// Runs `kernel(src, h, w, dst)` on a random RG mosaic with `bytes` of output per pixel.
template <typename Kernel>
void nearestRG(benchmark::State& state, int bytes, Kernel&& kernel) {
    const int32_t w = static_cast<int32_t>(state.range(0)),
                  h = static_cast<int32_t>(state.range(1));
    const size_t n = size_t(w) * h;
    auto src = tavbench::randomBytes(n);
    std::vector<uint8_t> dst(n * bytes);
    againstFloor(state, n, src.data(), n, dst.data(), n * bytes,
                 [&] { kernel(src.data(), h, w, dst.data()); });
}

void NearestRGToBgr8(benchmark::State& state) {
    nearestRG(state, 3, [](const uint8_t* s, int32_t h, int32_t w, uint8_t* d) {
        rg8ToBgr8_nearest(s, h, w, d, 0);
    });
}
TAV_BENCH_SIZES(NearestRGToBgr8);

void NearestRGToBgra8(benchmark::State& state) {
    nearestRG(state, 4, [](const uint8_t* s, int32_t h, int32_t w, uint8_t* d) {
        rg8ToBgra8_nearest(s, h, w, d, 0);
    });
}
TAV_BENCH_SIZES(NearestRGToBgra8);

void NearestRGToMono8(benchmark::State& state) {
    nearestRG(state, 1, [](const uint8_t* s, int32_t h, int32_t w, uint8_t* d) {
        rg8ToMono8_nearest(s, h, w, d, 0);
    });
}
TAV_BENCH_SIZES(NearestRGToMono8);

void NearestRGToPlanar(benchmark::State& state) {
    nearestRG(state, 3, [](const uint8_t* s, int32_t h, int32_t w, uint8_t* d) {
        const ptrdiff_t n = ptrdiff_t(w) * h;
        rg8ToBgr8P_nearest(s, h, w, d, d + n, d + 2 * n);
    });
}
TAV_BENCH_SIZES(NearestRGToPlanar);

// The same through the entry, dispatch and all.
void NearestRGToBgr8Entry(benchmark::State& state) {
    TavContext* ctx = nullptr;
    tavCreate(&ctx);
    const uint64_t format = TAV_PF_BGR8;
    tavDemosaicSetConfig(ctx, &format);
    nearestRG(state, 3, [ctx](const uint8_t* s, int32_t h, int32_t w, uint8_t* d) {
        TavImage in{h, w, TAV_PF_BAYER_RG8, const_cast<uint8_t*>(s), w};
        TavImage out{0, 0, 0, d, 0};
        tavDemosaicing(ctx, &in, TAV_METHOD_NEAREST, &out);
    });
    tavRelease(&ctx);
}
TAV_BENCH_SIZES(NearestRGToBgr8Entry);

#ifdef TAV_HAVE_DC1394
void PeerDc1394NearestRGToRgb8(benchmark::State& state) {
    nearestRG(state, 3, [](const uint8_t* s, int32_t h, int32_t w, uint8_t* d) {
        dc1394_bayer_decoding_8bit(s, d, uint32_t(w), uint32_t(h), DC1394_COLOR_FILTER_RGGB,
                                   DC1394_BAYER_METHOD_NEAREST);
    });
}
TAV_BENCH_SIZES(PeerDc1394NearestRGToRgb8);
#endif

}  // namespace
