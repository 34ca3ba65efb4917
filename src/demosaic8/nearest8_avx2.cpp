// The AVX2 body of 8-bit nearest-neighbour demosaicing: the SSE4.1 band step
// of nearest8.cpp on 32 columns (lane i is column x + i, x odd).
//
// Compiled with -mavx2: see simd_avx2.h for what it may include.
#include "nearest8_avx2.h"
#include "simd_avx2.h"
#include "writers_avx2.h"

#include <immintrin.h>

#include <cstdint>

namespace tav::d8 {
namespace {

using avx2::load;
using avx2::store;

// The odd column at or left of each pixel: lanes 2k and 2k + 1 both take p[2k].
inline __m256i oddAtOrLeft(const uint8_t* p) {
    const __m256i pairs = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(0, 0, 2, 2, 4, 4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14));
    return _mm256_shuffle_epi8(load(p), pairs);
}

// The even column at or left of each pixel: lane 2k takes p[2k - 1], lane 2k + 1 takes p[2k + 1].
inline __m256i evenAtOrLeft(const uint8_t* p) {
    const __m256i evenLanes = _mm256_set1_epi16(0x00FF);
    return _mm256_or_si256(_mm256_and_si256(evenLanes, load(p - 1)),
                           _mm256_andnot_si256(evenLanes, load(p)));
}

template <Form8 kForm>
void band(const WideOut& out, const uint8_t* above, const uint8_t* upper, const uint8_t* lower,
          int32_t x, int32_t steps) {
    for (int32_t i = 0; i < steps; ++i, x += 32) {
        // Upper row: red from the row above, green and blue its own; lower
        // row: red and green its own, blue from the upper row.
        const __m256i upperEven = evenAtOrLeft(upper + x), upperOdd = oddAtOrLeft(upper + x);
        putColours<kForm>(out.blue, out.exchange, out.alpha, x, evenAtOrLeft(above + x), upperEven,
                          upperOdd);
        putColours<kForm>(out.red, out.exchange, out.alpha, x, evenAtOrLeft(lower + x),
                          oddAtOrLeft(lower + x), upperOdd);
    }
}

// Mono8 as nearest8.cpp's: the source columns weighed before picking; in
// 16-bit lane k the pixel pair (x + 2k, x + 2k + 1) shares odd column x + 2k.
struct Mono {
    __m256i wr, wg, wb;

    static __m256i lowBytes(__m256i v) { return _mm256_and_si256(v, _mm256_set1_epi16(0x00FF)); }
    static __m256i highBytes(__m256i v) { return _mm256_srli_epi16(v, 8); }
    static __m256i weigh(__m256i v, __m256i w) { return _mm256_mullo_epi16(v, w); }

    static void store(uint8_t* out, __m256i evenLeft, __m256i evenRight, __m256i odd) {
        const __m256i shared = _mm256_add_epi16(odd, _mm256_set1_epi16(128));
        const __m256i left = _mm256_srli_epi16(_mm256_add_epi16(evenLeft, shared), 8);
        const __m256i right = _mm256_add_epi16(evenRight, shared);  // luma in the high byte
        const __m256i highByte = _mm256_set1_epi16(static_cast<int16_t>(0xFF00));
        avx2::store(out, _mm256_or_si256(left, _mm256_and_si256(right, highByte)));
    }
    // Red on even columns, green over blue on odd ones.
    void redRow(uint8_t* out, const uint8_t* row, const uint8_t* other) const {
        const __m256i r0 = load(row), rm = load(row - 1), o0 = load(other);
        const __m256i odd = _mm256_add_epi16(weigh(lowBytes(r0), wg), weigh(lowBytes(o0), wb));
        store(out, weigh(lowBytes(rm), wr), weigh(highBytes(r0), wr), odd);
    }
    // Green over red on even columns, blue on odd ones.
    void blueRow(uint8_t* out, const uint8_t* row, const uint8_t* other) const {
        const __m256i r0 = load(row), rm = load(row - 1), o0 = load(other), om = load(other - 1);
        const __m256i left = _mm256_add_epi16(weigh(lowBytes(om), wr), weigh(lowBytes(rm), wg));
        const __m256i right = _mm256_add_epi16(weigh(highBytes(o0), wr), weigh(highBytes(r0), wg));
        store(out, left, right, weigh(lowBytes(r0), wb));
    }
};

void monoBand(const WideOut& out, const uint8_t* above, const uint8_t* upper, const uint8_t* lower,
              int32_t x, int32_t steps) {
    auto lane = [&](int i) { return _mm256_set1_epi16(static_cast<int16_t>(out.weights[i])); };
    const Mono m{lane(0), lane(1), lane(2)};
    for (int32_t i = 0; i < steps; ++i, x += 32) {
        m.blueRow(out.blue[0] + x, upper + x, above + x);
        m.redRow(out.red[0] + x, lower + x, upper + x);
    }
}

}  // namespace

void nearestBandAvx2(const WideOut& out, const uint8_t* above, const uint8_t* upper,
                     const uint8_t* lower, int32_t x, int32_t steps) {
    switch (out.form) {
        case Form8::Bgr8:
            return band<Form8::Bgr8>(out, above, upper, lower, x, steps);
        case Form8::Bgra8:
            return band<Form8::Bgra8>(out, above, upper, lower, x, steps);
        case Form8::Planar:
            return band<Form8::Planar>(out, above, upper, lower, x, steps);
        case Form8::Mono8:
            return monoBand(out, above, upper, lower, x, steps);
    }
}

}  // namespace tav::d8
