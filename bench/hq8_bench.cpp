// Method 3 (gradient-weighted colour differences) to BGR8 through the 8-bit
// entry, beside the edge-directed method in the same run.
#include <algorithm>
#include <cmath>
#include <random>

#include "bench_util.h"
#include "tav.h"

namespace {

using tavbench::againstFloor;

// Smooth shading, a grid of sharp edges and a little sensor noise.
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

void Hq8_Bgr8_Entry(benchmark::State& state) {
    entry(state, TAV_METHOD_HQ);
}
void Hq8_Bgr8_EdgeBeside(benchmark::State& state) {
    entry(state, TAV_METHOD_EDGE);
}
TAV_BENCH_SIZES(Hq8_Bgr8_Entry);
TAV_BENCH_SIZES(Hq8_Bgr8_EdgeBeside);

}  // namespace
