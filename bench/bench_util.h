// Measuring against the floor: for every frame, the time to read the source
// bytes once and write the destination bytes once, timed back to back with the
// operation in each iteration. A ratio of 1.0 is the speed of the memory bus.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tavbench {

struct Size {
    int32_t width, height;
};
// 1080p fits in the last-level cache; 4096x3000 does not, so judge there.
inline const Size kSizes[] = {{1920, 1080}, {4096, 3000}};

// Registers `fn` once per frame size with the arguments (width, height).
#define TAV_BENCH_SIZES(fn)  \
    BENCHMARK(fn)            \
        ->Args({1920, 1080}) \
        ->Args({4096, 3000}) \
        ->UseManualTime()    \
        ->Unit(benchmark::kMillisecond)

std::vector<uint8_t> randomBytes(size_t n, uint32_t seed = 1);

// Threads a peer library runs with: one when tav runs on one thread
// (TAV_NUM_THREADS=1, the default), else -1, which gives OpenCV its own
// default, every core, as its users get it.
int peerThreads();

// Streams `bytes` of `src` through the core and `memset`s `dstBytes` of `dst`;
// returns the seconds taken.
double floorSeconds(const void* src, size_t bytes, void* dst, size_t dstBytes);

// Times `op` and the floor back to back in every iteration. Reports the
// operation's time as the iteration time and the counters
//   MP/s      megapixels per second of the operation (median iteration)
//   x_floor   median over iterations of operation time / floor time
template <typename Op>
void againstFloor(benchmark::State& state, size_t pixels, const void* src, size_t srcBytes,
                  void* dst, size_t dstBytes, Op&& op);

void report(benchmark::State& state, size_t pixels, std::vector<double>& opTimes,
            std::vector<double>& ratios);
double secondsOf(void (*call)(void*), void* arg);

template <typename Op>
void againstFloor(benchmark::State& state, size_t pixels, const void* src, size_t srcBytes,
                  void* dst, size_t dstBytes, Op&& op) {
    std::vector<double> opTimes, ratios;
    op();  // warm-up: page in buffers, grow scratch
    for (auto _ : state) {
        const double t = secondsOf([](void* f) { (*static_cast<Op*>(f))(); }, &op);
        const double floor = floorSeconds(src, srcBytes, dst, dstBytes);
        state.SetIterationTime(t);
        opTimes.push_back(t);
        ratios.push_back(t / floor);
    }
    report(state, pixels, opTimes, ratios);
}

}  // namespace tavbench
