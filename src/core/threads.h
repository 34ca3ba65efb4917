// Row bands on a shared pool of workers. A frame walk hands its rows (or row
// pairs, or any unit of rows it keeps whole) to parallelRows; each band writes
// only its own rows, so the bytes are the same at every thread count. At one
// thread, or for a frame too small to gain, the walk runs on the caller's
// thread as a single band.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tav {

// Threads a frame may use (at least 1): the calling thread's scoped count
// if one is set, else the process setting.
int32_t numThreads();

// For one call: frames walked on this thread while it lives use `threads`
// (0: the process setting) without touching the process setting.
class ThreadCountScope {
  public:
    explicit ThreadCountScope(int32_t threads);
    ~ThreadCountScope();
    ThreadCountScope(const ThreadCountScope&) = delete;
    ThreadCountScope& operator=(const ThreadCountScope&) = delete;

  private:
    int32_t saved_;
};

// Smallest band worth a hand-off, in pixels (some 0.05 ms of the fastest
// kernels). On the 2-core build VM, 8-bit bilinear to BGR8 at two threads
// breaks even on frames of 0.25 to 1 MPix (0.9x to 1.2x, run to run) and
// gains 1.3x at 2 MPix, 1.4x at 4 and 1.6x at 9: the hand-off costs tens of
// microseconds there, so smaller bands only add noise.
constexpr int64_t kBandPixels = 256 * 1024;

// For tests (not exported): when `units` > 0, every band is at least that many
// units whatever the frame walk asks, so small frames split too; 0 restores
// the walks' own minimum.
void setBandUnits(int32_t units);

namespace detail {
using BandFn = void (*)(void* fn, int32_t begin, int32_t end, uint8_t* scratch);
bool runBands(int32_t units, int32_t bands, size_t scratchBytes, BandFn call, void* fn);
int32_t bandCount(int32_t units, int32_t minUnits);

template <typename F>
void bands(int32_t units, int32_t minUnits, size_t scratchBytes, F& fn) {
    const int32_t n = bandCount(units, minUnits);
    if (n > 1 && runBands(
                     units, n, scratchBytes,
                     [](void* f, int32_t begin, int32_t end, uint8_t* scratch) {
                         (*static_cast<F*>(f))(begin, end, scratch);
                     },
                     &fn)) {
        return;
    }
    if (units > 0) fn(int32_t{0}, units, static_cast<uint8_t*>(nullptr));
}
}  // namespace detail

// Calls fn(begin, end) over consecutive bands covering [0, units), each at
// least `minUnits` long, the caller running bands too. Returns when every band
// is done; every band's writes are visible to the caller then.
template <typename F>
void parallelRows(int32_t units, int32_t minUnits, F&& fn) {
    auto band = [&fn](int32_t begin, int32_t end, uint8_t*) { fn(begin, end); };
    detail::bands(units, minUnits, 0, band);
}

// The same for walks that carry state down the rows in a buffer:
// fn(begin, end, scratch) gets nullptr for the band starting at 0, which uses
// the caller's own buffer, and for every other band `scratchBytes` bytes of
// the pool's, kept from frame to frame (grown to the largest size seen).
template <typename F>
void parallelRowsWithScratch(int32_t units, int32_t minUnits, size_t scratchBytes, F&& fn) {
    detail::bands(units, minUnits, scratchBytes, fn);
}

// Units of `unitPixels` pixels a band needs to be worth a hand-off.
constexpr int32_t minBandUnits(int64_t unitPixels) {
    return unitPixels <= 0 ? 1 : static_cast<int32_t>((kBandPixels + unitPixels - 1) / unitPixels);
}

}  // namespace tav
