// The AVX2 body of 8-bit bilinear demosaicing: the SSE4.1 band step of
// bilinear8.cpp on 32 columns, the same sums in 16-bit lanes.
//
// Compiled with -mavx2: see simd_avx2.h for what it may include.
#include "bilinear8_avx2.h"
#include "simd_avx2.h"
#include "writers_avx2.h"

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

namespace tav::d8 {
namespace {

using avx2::load;
using avx2::store;

// One source row around a 32-column step starting at odd x, in 16-bit lanes,
// j = 0..15: e0 = column x-1+2j, o0 = x+2j, e1 = x+1+2j, o1 = x+2+2j.
struct Columns {
    __m256i e0, o0, e1, o1;
};

inline Columns columnsAround(const uint8_t* row, int32_t x) {
    const __m256i low = _mm256_set1_epi16(0x00FF);
    const __m256i left = load(row + x - 1), right = load(row + x + 1);
    return {_mm256_and_si256(left, low), _mm256_srli_epi16(left, 8), _mm256_and_si256(right, low),
            _mm256_srli_epi16(right, 8)};
}

inline __m256i joinColumns(__m256i atOdd, __m256i atEven) {
    return _mm256_or_si256(atOdd, _mm256_slli_epi16(atEven, 8));
}
inline __m256i add(__m256i a, __m256i b) {
    return _mm256_add_epi16(a, b);
}
inline __m256i half(__m256i a) {
    return _mm256_srli_epi16(a, 1);
}
inline __m256i quarter(__m256i a) {
    return _mm256_srli_epi16(a, 2);
}

// A colour in 16-bit lanes: the values at the columns x+2j and x+1+2j.
struct Lanes {
    __m256i odd, even;
};

// The luma of Mono8 in the lanes, before packing: the bytes of luma.h's rule.
inline __m256i luma(const __m256i w[3], __m256i r, __m256i g, __m256i b) {
    const __m256i s =
        _mm256_add_epi16(_mm256_add_epi16(_mm256_mullo_epi16(r, w[0]), _mm256_mullo_epi16(g, w[1])),
                         _mm256_add_epi16(_mm256_mullo_epi16(b, w[2]), _mm256_set1_epi16(128)));
    return _mm256_srli_epi16(s, 8);
}

// Writes 32 pixels of one row from x on; with exchange the colour at the red
// sites and at the blue sites trade places (for Mono8: their weights).
template <Form8 kForm>
inline void put(uint8_t* const row[3], const __m256i w[3], bool exchange, uint8_t alpha, int32_t x,
                Lanes r, Lanes g, Lanes b) {
    if (exchange) {
        const Lanes t = r;
        r = b;
        b = t;
    }
    if constexpr (kForm == Form8::Mono8) {
        store(row[0] + x,
              joinColumns(luma(w, r.odd, g.odd, b.odd), luma(w, r.even, g.even, b.even)));
    } else {
        putColours<kForm>(row, false, alpha, x, joinColumns(r.odd, r.even),
                          joinColumns(g.odd, g.even), joinColumns(b.odd, b.even));
    }
}

// Columns x..x+31 (x odd) of a band: the blue row `blue` (B sites at odd
// columns) and the red row below it (R sites at even columns).
template <Form8 kForm>
inline void bandStep(const WideOut& out, const __m256i w[3], const uint8_t* blue, ptrdiff_t stride,
                     int32_t x) {
    const Columns a = columnsAround(blue - stride, x);
    const Columns b = columnsAround(blue, x);
    const Columns r = columnsAround(blue + stride, x);
    const Columns n = columnsAround(blue + 2 * stride, x);

    const __m256i verticalE1 = add(a.e1, r.e1);
    const __m256i horizontalO = add(b.o0, b.o1);
    put<kForm>(out.blue, w, out.exchange, out.alpha, x,
               {quarter(add(add(a.e0, r.e0), verticalE1)), half(verticalE1)},
               {quarter(add(add(a.o0, r.o0), add(b.e0, b.e1))), b.e1}, {b.o0, half(horizontalO)});
    put<kForm>(out.red, w, out.exchange, out.alpha, x, {half(add(r.e0, r.e1)), r.e1},
               {r.o0, quarter(add(add(b.e1, n.e1), add(r.o0, r.o1)))},
               {half(add(b.o0, n.o0)), quarter(add(horizontalO, add(n.o0, n.o1)))});
}

template <Form8 kForm>
void band(const WideOut& out, const uint8_t* blue, ptrdiff_t stride, int32_t x, int32_t steps) {
    __m256i w[3] = {_mm256_setzero_si256(), _mm256_setzero_si256(), _mm256_setzero_si256()};
    if (kForm == Form8::Mono8) {
        for (int i = 0; i < 3; ++i) w[i] = _mm256_set1_epi16(static_cast<int16_t>(out.weights[i]));
    }
    for (int32_t i = 0; i < steps; ++i, x += 32) bandStep<kForm>(out, w, blue, stride, x);
}

}  // namespace

void bilinearBandAvx2(const WideOut& out, const uint8_t* blue, ptrdiff_t stride, int32_t x,
                      int32_t steps) {
    switch (out.form) {
        case Form8::Bgr8:
            return band<Form8::Bgr8>(out, blue, stride, x, steps);
        case Form8::Bgra8:
            return band<Form8::Bgra8>(out, blue, stride, x, steps);
        case Form8::Planar:
            return band<Form8::Planar>(out, blue, stride, x, steps);
        case Form8::Mono8:
            return band<Form8::Mono8>(out, blue, stride, x, steps);
    }
}

}  // namespace tav::d8
