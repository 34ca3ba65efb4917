#include "bench_util.h"

#include <immintrin.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <random>

#include "tav.h"

namespace tavbench {

std::vector<uint8_t> randomBytes(size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<uint8_t> v(n);
    for (size_t i = 0; i + 4 <= n; i += 4) {
        const uint32_t r = rng();
        std::memcpy(&v[i], &r, 4);
    }
    return v;
}

namespace {

using Clock = std::chrono::steady_clock;

__attribute__((noinline)) uint64_t streamRead(const uint8_t* p, size_t n) {
    __m128i a = _mm_setzero_si128(), b = a, c = a, d = a;
    size_t i = 0;
    for (; i + 64 <= n; i += 64) {
        a = _mm_xor_si128(a, _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i)));
        b = _mm_xor_si128(b, _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i + 16)));
        c = _mm_xor_si128(c, _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i + 32)));
        d = _mm_xor_si128(d, _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i + 48)));
    }
    uint64_t tail = 0;
    for (; i < n; ++i) tail += p[i];
    const __m128i x = _mm_xor_si128(_mm_xor_si128(a, b), _mm_xor_si128(c, d));
    return static_cast<uint64_t>(_mm_cvtsi128_si64(x)) + tail;
}

double median(std::vector<double> v) {
    if (v.empty()) return 0;
    std::sort(v.begin(), v.end());
    const size_t m = v.size() / 2;
    return v.size() % 2 ? v[m] : (v[m - 1] + v[m]) / 2;
}

}  // namespace

double secondsOf(void (*call)(void*), void* arg) {
    const auto t0 = Clock::now();
    call(arg);
    benchmark::ClobberMemory();
    return std::chrono::duration<double>(Clock::now() - t0).count();
}

double floorSeconds(const void* src, size_t bytes, void* dst, size_t dstBytes) {
    const auto t0 = Clock::now();
    uint64_t sum = streamRead(static_cast<const uint8_t*>(src), bytes);
    benchmark::DoNotOptimize(sum);
    std::memset(dst, static_cast<int>(sum & 1), dstBytes);
    benchmark::ClobberMemory();
    return std::chrono::duration<double>(Clock::now() - t0).count();
}

void report(benchmark::State& state, size_t pixels, std::vector<double>& opTimes,
            std::vector<double>& ratios) {
    const double t = median(opTimes);
    state.counters["MP/s"] = t > 0 ? static_cast<double>(pixels) / t / 1e6 : 0;
    state.counters["x_floor"] = median(ratios);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(pixels));
}

int peerThreads() {
    return tavGetNumThreads() == 1 ? 1 : -1;
}

}  // namespace tavbench
