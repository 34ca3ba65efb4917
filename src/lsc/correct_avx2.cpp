// The AVX2 bodies of 8-bit lens-shading correction: the SSE4.1 arithmetic of
// correct.cpp (inOrder, paired, offsetsInOrder, pairBytes, correct8x16) with
// one SSE4.1 step in each 128-bit lane.
//
// Compiled with -mavx2: see simd_avx2.h for what it may include.
#include "correct_avx2.h"

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "simd_avx2.h"

namespace tav::lsc {
namespace {

using avx2::load;
using avx2::loadHalves;
using avx2::store;

inline __m256i both(__m128i v) {
    return _mm256_broadcastsi128_si256(v);
}

// Gain K split into 16-bit halves; (d x K + 65536) >> 17 as one pavgw (see
// correct.cpp).
struct Gains {
    __m256i lo, hi;
};

inline __m256i scaled(__m256i d, __m256i lo, __m256i dhi) {
    return _mm256_avg_epu16(_mm256_mulhi_epu16(d, lo), dhi);
}

// Gains and 12-bit offsets of eight consecutive words a lane.
struct Coefs {
    Gains gain;
    __m256i off12;
};

inline Coefs inOrder(__m256i w0, __m256i w1) {
    const __m256i split = both(_mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15));
    const __m256i a = _mm256_shuffle_epi8(w0, split), b = _mm256_shuffle_epi8(w1, split);
    const __m256i low = _mm256_unpacklo_epi64(a, b), high = _mm256_unpackhi_epi64(a, b);
    return {{_mm256_or_si256(_mm256_srli_epi16(low, 12), _mm256_slli_epi16(high, 4)),
             _mm256_srli_epi16(high, 12)},
            _mm256_and_si256(low, _mm256_set1_epi16(0xFFF))};
}

// Four cell words to eight lanes a lane: each word serves both columns.
inline __m256i pairLanes(__m256i v) {
    return _mm256_shuffle_epi8(
        v, both(_mm_setr_epi8(0, 1, 0, 1, 4, 5, 4, 5, 8, 9, 8, 9, 12, 13, 12, 13)));
}

inline Gains pairedGains(__m256i w) {
    return {pairLanes(_mm256_srli_epi32(w, 12)), pairLanes(_mm256_srli_epi32(w, 28))};
}

inline __m256i offsetsInOrder(__m256i w0, __m256i w1) {
    const __m256i mask = _mm256_set1_epi32(0xFFF);
    return _mm256_packs_epi32(_mm256_and_si256(w0, mask), _mm256_and_si256(w1, mask));
}

inline __m256i pairBytes(__m256i v) {
    return _mm256_shuffle_epi8(
        v, both(_mm_setr_epi8(0, 0, 2, 2, 4, 4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14)));
}

inline __m256i offsets8(__m256i off12) {
    return _mm256_srli_epi16(off12, 4);
}

// 16 samples a lane; a and b are the gains of each lane's low and high 8.
inline __m256i correct8x32(__m256i s, __m256i off, Gains a, Gains b) {
    const __m256i zero = _mm256_setzero_si256();
    const __m256i d = _mm256_subs_epu8(s, off);
    const __m256i dl = _mm256_unpacklo_epi8(d, zero), dh = _mm256_unpackhi_epi8(d, zero);
    return _mm256_packus_epi16(scaled(dl, a.lo, _mm256_mullo_epi16(dl, a.hi)),
                               scaled(dh, b.lo, _mm256_mullo_epi16(dh, b.hi)));
}

inline const uint8_t* bytesOf(const uint32_t* w) {
    return reinterpret_cast<const uint8_t*>(w);
}

template <bool kStream>
void samples8(const uint8_t* s, uint8_t* d, const uint32_t* w, ptrdiff_t steps) {
    for (ptrdiff_t i = 0; i < steps; ++i, s += 32, d += 32, w += 32) {
        // Samples 0-7|16-23 and 8-15|24-31: the second lane's words 64 bytes on.
        const uint8_t* wb = bytesOf(w);
        const Coefs a = inOrder(loadHalves(wb, 64), loadHalves(wb + 16, 64));
        const Coefs b = inOrder(loadHalves(wb + 32, 64), loadHalves(wb + 48, 64));
        const __m256i off = _mm256_packus_epi16(offsets8(a.off12), offsets8(b.off12));
        store<kStream>(d, correct8x32(load(s), off, a.gain, b.gain));
    }
}

template <bool kStream>
void cells8(const uint8_t* s0, const uint8_t* s1, uint8_t* d0, uint8_t* d1, const uint32_t* w,
            int32_t steps) {
    for (int32_t i = 0; i < steps; ++i) {
        // Cells 0-3|8-11 and 4-7|12-15.
        const uint8_t* wb = bytesOf(w + 16 * i);
        const __m256i w0 = loadHalves(wb, 32), w1 = loadHalves(wb + 16, 32);
        const Gains a = pairedGains(w0), b = pairedGains(w1);
        const __m256i off = pairBytes(offsets8(offsetsInOrder(w0, w1)));
        const ptrdiff_t x = 32 * static_cast<ptrdiff_t>(i);
        store<kStream>(d0 + x, correct8x32(load(s0 + x), off, a, b));
        store<kStream>(d1 + x, correct8x32(load(s1 + x), off, a, b));
    }
}

}  // namespace

void samples8Avx2(bool stream, const uint8_t* s, uint8_t* d, const uint32_t* w, ptrdiff_t steps) {
    if (stream) {
        samples8<true>(s, d, w, steps);
    } else {
        samples8<false>(s, d, w, steps);
    }
}

void cells8Avx2(bool stream, const uint8_t* s0, const uint8_t* s1, uint8_t* d0, uint8_t* d1,
                const uint32_t* w, int32_t steps) {
    if (stream) {
        cells8<true>(s0, s1, d0, d1, w, steps);
    } else {
        cells8<false>(s0, s1, d0, d1, w, steps);
    }
}

}  // namespace tav::lsc
