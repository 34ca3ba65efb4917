// Luma of a demosaiced pixel: (77 R + 150 G + 29 B + 128) >> 8. The exchanged
// weights serve a mosaic whose red and blue sites are exchanged.
#pragma once

#include <immintrin.h>

#include <cstdint>

namespace tav {

// [exchanged][r, g, b]
inline constexpr uint32_t kLumaWeights[2][3] = {{77, 150, 29}, {29, 150, 77}};

inline uint32_t luma(const uint32_t w[3], uint32_t r, uint32_t g, uint32_t b) {
    return (w[0] * r + w[1] * g + w[2] * b + 128) >> 8;
}

// The weights in 16-bit lanes, set up once per row.
struct LumaLanes {
    __m128i r, g, b;
};
inline LumaLanes lumaLanes(const uint32_t w[3]) {
    return {_mm_set1_epi16(static_cast<int16_t>(w[0])), _mm_set1_epi16(static_cast<int16_t>(w[1])),
            _mm_set1_epi16(static_cast<int16_t>(w[2]))};
}

// The vector twins. Eight lumas of values in 16-bit lanes; the weights must
// keep the sum within 16 bits (they add up to 256 for the tables above).
inline __m128i luma(const LumaLanes& w, __m128i r, __m128i g, __m128i b) {
    const __m128i s = _mm_add_epi16(_mm_add_epi16(_mm_mullo_epi16(r, w.r), _mm_mullo_epi16(g, w.g)),
                                    _mm_add_epi16(_mm_mullo_epi16(b, w.b), _mm_set1_epi16(128)));
    return _mm_srli_epi16(s, 8);
}

// Sixteen lumas of bytes.
inline __m128i luma(const uint32_t w[3], __m128i r, __m128i g, __m128i b) {
    const LumaLanes lanes = lumaLanes(w);
    const __m128i zero = _mm_setzero_si128();
    auto half = [&](auto unpack) {
        return luma(lanes, unpack(r, zero), unpack(g, zero), unpack(b, zero));
    };
    return _mm_packus_epi16(half([](__m128i v, __m128i z) { return _mm_unpacklo_epi8(v, z); }),
                            half([](__m128i v, __m128i z) { return _mm_unpackhi_epi8(v, z); }));
}

}  // namespace tav
