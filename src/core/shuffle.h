// Byte shuffles of every subsystem: masks built at compile time from a byte
// map, so each kernel states where its bytes come from instead of spelling out
// sixteen indices per mask.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "simd.h"

namespace tav::simd {

struct Mask16 {
    alignas(16) int8_t b[16];
};

// at(j) is the source byte of output byte j, or -1 for zero.
template <typename F>
constexpr Mask16 mask16(F at) {
    Mask16 m{};
    for (int j = 0; j < 16; ++j) m.b[j] = static_cast<int8_t>(at(j));
    return m;
}

inline __m128i shuffle(__m128i v, const Mask16& m) {
    return _mm_shuffle_epi8(v, _mm_load_si128(reinterpret_cast<const __m128i*>(m.b)));
}

// Masks that gather 48 output bytes from three source vectors; map(j) is
// 16 x source + byte for output byte j.
struct Masks48 {
    Mask16 m[3][3];
};

template <typename F>
constexpr Masks48 masks48(F map) {
    Masks48 k{};
    for (int o = 0; o < 3; ++o) {
        for (int s = 0; s < 3; ++s) {
            for (int j = 0; j < 16; ++j) {
                const int v = map(16 * o + j);
                k.m[o][s].b[j] = static_cast<int8_t>(v >= 0 && v / 16 == s ? v % 16 : -1);
            }
        }
    }
    return k;
}

template <bool kStream>
inline void gather48(const Masks48& k, __m128i s0, __m128i s1, __m128i s2, uint8_t* out) {
    // Unrolled, so that a kernel's loop can keep the nine masks in registers.
#pragma GCC unroll 3
    for (int o = 0; o < 3; ++o) {
        const __m128i v = _mm_or_si128(_mm_or_si128(shuffle(s0, k.m[o][0]), shuffle(s1, k.m[o][1])),
                                       shuffle(s2, k.m[o][2]));
        store<kStream>(out + 16 * o, v);
    }
}

// Three byte planes into c0 c1 c2 c0 c1 c2 ...
inline constexpr Masks48 kInterleave3 = masks48([](int j) { return 16 * (j % 3) + j / 3; });

template <bool kStream>
inline void interleave3(__m128i c0, __m128i c1, __m128i c2, uint8_t* out) {
    gather48<kStream>(kInterleave3, c0, c1, c2, out);
}

// Three planes of 16-bit words into c0 c1 c2 c0 c1 c2 ... (words of two bytes).
inline constexpr Masks48 kInterleave3Words =
    masks48([](int j) { return 16 * (j / 2 % 3) + 2 * (j / 6) + j % 2; });

// The reverse: 24 words c0 c1 c2 c0 c1 c2 ... into three planes of 8 words.
inline constexpr Masks48 kDeinterleave3Words =
    masks48([](int j) { return 2 * (3 * (j % 16 / 2) + j / 16) + j % 2; });

inline void deinterleave3Words(const uint16_t* p, __m128i planes[3]) {
    const __m128i s0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i s1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8));
    const __m128i s2 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16));
    const Masks48& k = kDeinterleave3Words;
    for (int o = 0; o < 3; ++o) {
        planes[o] = _mm_or_si128(_mm_or_si128(shuffle(s0, k.m[o][0]), shuffle(s1, k.m[o][1])),
                                 shuffle(s2, k.m[o][2]));
    }
}

// Four byte planes into c0 c1 c2 c3 ...
template <bool kStream>
inline void interleave4(__m128i c0, __m128i c1, __m128i c2, __m128i c3, uint8_t* out) {
    const __m128i lo01 = _mm_unpacklo_epi8(c0, c1), hi01 = _mm_unpackhi_epi8(c0, c1);
    const __m128i lo23 = _mm_unpacklo_epi8(c2, c3), hi23 = _mm_unpackhi_epi8(c2, c3);
    store<kStream>(out, _mm_unpacklo_epi16(lo01, lo23));
    store<kStream>(out + 16, _mm_unpackhi_epi16(lo01, lo23));
    store<kStream>(out + 32, _mm_unpacklo_epi16(hi01, hi23));
    store<kStream>(out + 48, _mm_unpackhi_epi16(hi01, hi23));
}

}  // namespace tav::simd
