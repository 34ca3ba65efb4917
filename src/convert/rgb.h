// RGB/BGR encoding: the per-pixel formulas and their vector forms.
//
// Vector forms work on eight pixels as two vectors of byte pairs per 16-bit
// lane, (r, g) and (g, b), so that one pmaddubsw applies two weights at once.
// Weights above 127 are split between the two pairs (150 g = 51 g + 99 g) and
// every even weight set is halved, which keeps each partial sum within 16 bits
// while giving the same integer as the 32-bit formula.
#pragma once

#include <immintrin.h>

#include <algorithm>
#include <cstdint>

#include "luma.h"
#include "rgb_weights.h"
#include "rows.h"
#include "shuffle.h"
#include "simd.h"

namespace tav::cvt {

using namespace simd;  // masks, gathers, interleaves, stores

// ---- scalar formulas

// BT.601 full range (Mono8 and every YUV target but planar 4:2:0); the luma
// is the demosaicing entry's own.
inline int32_t luma601(int32_t r, int32_t g, int32_t b) {
    return static_cast<int32_t>(luma(kLumaWeights[0], static_cast<uint32_t>(r),
                                     static_cast<uint32_t>(g), static_cast<uint32_t>(b)));
}
inline int32_t cb601(int32_t r, int32_t g, int32_t b) {
    return std::min(255, (128 * b - 44 * r - 84 * g + 32896) >> 8);
}
inline int32_t cr601(int32_t r, int32_t g, int32_t b) {
    return std::min(255, (128 * r - 108 * g - 20 * b + 32896) >> 8);
}
// The 4:1:1 target's own chroma weights, one off in the last place.
inline int32_t cb411(int32_t r, int32_t g, int32_t b) {
    return std::min(255, (128 * b - 43 * r - 85 * g + 32896) >> 8);
}
inline int32_t cr411(int32_t r, int32_t g, int32_t b) {
    return std::min(255, (128 * r - 107 * g - 21 * b + 32896) >> 8);
}

// Studio range (planar 4:2:0 target), from a weight set of rgb_weights.h.
inline int32_t studioLuma(const StudioWeights& w, int32_t r, int32_t g, int32_t b) {
    const PairWeights& y = w.luma;
    return std::clamp((y.r * r + (y.g1 + y.g2) * g + y.b * b + w.lumaOffset) >> 8, 16, 235);
}
inline int32_t studioChroma(const PairWeights& half, int32_t r, int32_t g, int32_t b) {
    return (2 * (half.r * r + (half.g1 + half.g2) * g + half.b * b) + 32896) >> 8;
}
inline int32_t studioMean(int32_t c0, int32_t c1, int32_t c2, int32_t c3) {
    return std::clamp((c0 + c1 + c2 + c3 + 2) >> 2, 16, 240);
}

// ---- source order

// Lane p of eight pixels: bytes (c0, c1) of pixel p; pixels 0-4 from the load
// at 0, 5-7 from the load at 8.
template <int kC0, int kC1, bool kSecond>
constexpr Mask16 pairMask() {
    return mask16([](int j) {
        const int p = j / 2;
        const bool second = p > 4;
        return second == kSecond ? 3 * p + (j % 2 ? kC1 : kC0) - (second ? 8 : 0) : -1;
    });
}

template <bool kRgb>
struct Src3 {
    static constexpr int kR = kRgb ? 0 : 2, kB = kRgb ? 2 : 0;
    static int32_t r(const uint8_t* p) { return p[kR]; }
    static int32_t g(const uint8_t* p) { return p[1]; }
    static int32_t b(const uint8_t* p) { return p[kB]; }

    static constexpr Mask16 kRgA = pairMask<kR, 1, false>(), kRgB = pairMask<kR, 1, true>();
    static constexpr Mask16 kGbA = pairMask<1, kB, false>(), kGbB = pairMask<1, kB, true>();

    static void pairs8(const uint8_t* s, __m128i& rg, __m128i& gb) {
        const __m128i a = simd::load(s), b = simd::load(s + 8);
        rg = _mm_or_si128(shuffle(a, kRgA), shuffle(b, kRgB));
        gb = _mm_or_si128(shuffle(a, kGbA), shuffle(b, kGbB));
    }
};

// ---- vector forms (eight pixels, 16-bit lanes)

// Weights of one pmaddubsw: first and second byte of each pair.
inline __m128i w2(int w0, int w1) {
    return _mm_set1_epi16(static_cast<int16_t>(((w1 & 0xFF) << 8) | (w0 & 0xFF)));
}

inline __m128i dot(__m128i rg, __m128i gb, __m128i wRg, __m128i wGb) {
    return _mm_add_epi16(_mm_maddubs_epi16(rg, wRg), _mm_maddubs_epi16(gb, wGb));
}
inline __m128i dot(__m128i rg, __m128i gb, const PairWeights& w) {
    return dot(rg, gb, w2(w.r, w.g1), w2(w.g2, w.b));
}

// (77 r + 150 g + 29 b + 128) >> 8; the sum may pass 32767, so the shift is logical.
inline __m128i luma601x8(__m128i rg, __m128i gb) {
    const __m128i s = dot(rg, gb, kLuma601);
    return _mm_srli_epi16(_mm_add_epi16(s, _mm_set1_epi16(kLuma601Round)), 8);
}

// (2h + 32896) >> 8 = (h + 16448) >> 7 for the halved sum h in [-16320, 16320];
// 1..256, the caller's saturating pack makes it min(255, .).
inline __m128i fromHalf(__m128i h) {
    return _mm_srli_epi16(_mm_add_epi16(h, _mm_set1_epi16(kHalfOffset)), 7);
}
inline __m128i cb601x8(__m128i rg, __m128i gb) {
    return fromHalf(dot(rg, gb, kCb601Half));
}
inline __m128i cr601x8(__m128i rg, __m128i gb) {
    return fromHalf(dot(rg, gb, kCr601Half));
}
// Odd weights: the full sum x in [-32640, 32640], 128 x c as 127 c + c.
inline __m128i cb411x8(__m128i rg, __m128i gb) {
    const __m128i x = _mm_add_epi16(dot(rg, gb, kCb411), _mm_maddubs_epi16(gb, w2(0, 1)));
    return fromHalf(_mm_srai_epi16(x, 1));
}
inline __m128i cr411x8(__m128i rg, __m128i gb) {
    const __m128i x = _mm_add_epi16(dot(rg, gb, kCr411), _mm_maddubs_epi16(rg, w2(1, 0)));
    return fromHalf(_mm_srai_epi16(x, 1));
}

// Studio range: luma unclamped (at most 235 before the clamp), chroma 16..240.
inline __m128i studioLumax8(__m128i rg, __m128i gb, const StudioWeights& w) {
    const __m128i s = dot(rg, gb, w.luma);
    return _mm_srli_epi16(_mm_add_epi16(s, _mm_set1_epi16(static_cast<int16_t>(w.lumaOffset))), 8);
}
inline __m128i studioChromax8(__m128i rg, __m128i gb, const PairWeights& half) {
    return fromHalf(dot(rg, gb, half));
}

}  // namespace tav::cvt
