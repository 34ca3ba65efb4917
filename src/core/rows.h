// The one way kernels walk a row (after libyuv's any-width row wrappers):
// whole vector steps over the bulk, the scalar rule on the rest. At the scalar
// level the steps are skipped and the scalar rule covers the whole span, so a
// kernel can always run its scalar path alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "level.h"
#include "simd.h"
#include "threads.h"

namespace tav {

// Columns [x, end): `step(x)` for each whole step of kStep columns that ends
// at or before `stepEnd` (vector levels only), then `one(x, inStep)` every
// kOne columns. `inStep` tells whether x lies where a vector step would have
// run, for kernels whose vector extent shows in the output (saturation,
// written alpha); it is the same at every level. Returns nothing: the span is
// done. The index has x's type: int32_t for rows, ptrdiff_t for whole frames.
template <int32_t kStep, int32_t kOne = 1, typename I, typename Step, typename One>
inline void eachStep(I x, std::common_type_t<I> stepEnd, std::common_type_t<I> end, Step&& step,
                     One&& one) {
    const I steps = stepEnd - x >= kStep ? (stepEnd - x) / kStep : 0;
    const I covered = x + steps * kStep;
    if (vectorLevel()) {
        for (; x < covered; x += kStep) step(x);
    }
    for (; x < end; x += kOne) one(x, x < covered);
}

// How many wide steps of kWide columns (an AVX2 body, twice the narrower
// step) run from x at Level::Avx2, none at other levels: those that end at or
// before stepEnd. eachStep then goes on from x + kWide * steps with at most
// one narrower step, so every step boundary and `inStep` stay where the
// narrower step alone puts them.
template <int32_t kWide, typename I>
inline I wideSteps(I x, std::common_type_t<I> stepEnd) {
    return avx2Level() && stepEnd - x >= kWide ? (stepEnd - x) / kWide : 0;
}

// Whether a unit kernel has an AVX2 block (kWideUnits units, twice kUnits).
template <typename K, typename = void>
inline constexpr bool kHasWide = false;
template <typename K>
inline constexpr bool kHasWide<K, std::void_t<decltype(K::kWideUnits)>> = true;

// Calls fn(x0, x1) over bands of [0, count) made of whole kStep steps, the
// last band with the rest, so that a walk of each band with eachStep runs its
// vector steps and its scalar tail where a walk of the whole span would.
template <int32_t kStep, typename I, typename F>
void parallelSteps(I count, F&& fn) {
    const I steps = count > 0 ? count / kStep : 0;
    if (steps < 2 || steps > INT32_MAX) return fn(I{0}, count);
    parallelRows(static_cast<int32_t>(steps), minBandUnits(kStep), [&](int32_t s0, int32_t s1) {
        fn(I{s0} * kStep, s1 == steps ? count : I{s1} * kStep);
    });
}

// Runs a unit kernel over `units` units stored one after another: the vector
// block on the bulk, the scalar unit on the rest. A kernel K has
//   kUnits            units per vector block
//   kIn, kOut         source and destination bytes per unit
//   block<kStream>(s, d, args...)   kUnits units
//   unit(s, d, args...)             one unit
// and may have an AVX2 block of kWideUnits = 2 kUnits units,
//   wide<kStream>(s, d, blocks, args...)   `blocks` wide blocks
// which runs first at Level::Avx2; the vector blocks end where they end alone.
// A block reads and writes its own units only, so a span can start at any block.
template <typename K, typename... A>
void runUnitSpan(const uint8_t* src, uint8_t* dst, ptrdiff_t units, A... args) {
    if (units <= 0) return;
    const size_t n = static_cast<size_t>(units);
    const size_t bulk = vectorLevel() ? n / K::kUnits * K::kUnits : 0;
    size_t i = 0;
    simd::withStorePolicy(dst, n * K::kOut, [&](auto stream) {
        if constexpr (kHasWide<K>) {
            if (avx2Level()) {
                const size_t blocks = bulk / K::kWideUnits;
                K::template wide<decltype(stream)::value>(src, dst, blocks, args...);
                i = blocks * K::kWideUnits;
            }
        }
        for (; i < bulk; i += K::kUnits) {
            K::template block<decltype(stream)::value>(src + i * K::kIn, dst + i * K::kOut,
                                                       args...);
        }
    });
    for (; i < n; ++i) K::unit(src + i * K::kIn, dst + i * K::kOut, args...);
}

// The same in bands of whole blocks, the last band with the rest, so that the
// blocks and the scalar tail cover the units they cover in one span.
template <typename K, typename... A>
void runUnits(const uint8_t* src, uint8_t* dst, ptrdiff_t units, A... args) {
    const ptrdiff_t blocks = units > 0 ? units / K::kUnits : 0;
    if (blocks < 2 || blocks > INT32_MAX) return runUnitSpan<K>(src, dst, units, args...);
    // A band moves at least three bytes per kBandPixels on its wider side.
    constexpr int64_t kBlockBytes = int64_t{K::kUnits} * (K::kIn > K::kOut ? K::kIn : K::kOut);
    constexpr int32_t kLeast = minBandUnits(kBlockBytes / 3 > 0 ? kBlockBytes / 3 : 1);
    parallelRows(static_cast<int32_t>(blocks), kLeast, [&](int32_t b0, int32_t b1) {
        const ptrdiff_t u0 = ptrdiff_t{b0} * K::kUnits;
        const ptrdiff_t u1 = b1 == blocks ? units : ptrdiff_t{b1} * K::kUnits;
        runUnitSpan<K>(src + u0 * K::kIn, dst + u0 * K::kOut, u1 - u0, args...);
    });
}

}  // namespace tav
