// Edge-directed rules of the 8- and 16-bit kernels, each as a scalar function
// with its vector twin beside it under the same name. The twins work on
// 16-bit lanes (8-bit samples) or 32-bit lanes (16-bit samples), chosen by a
// lane tag. Nothing here clamps: each family clamps its own way.
#pragma once

#include <immintrin.h>

#include <cstdint>
#include <cstdlib>

namespace tav {

// Vector lanes of 16 and 32 bits: the operations the edge rules use.
struct Lanes16 {
    static __m128i add(__m128i a, __m128i b) { return _mm_add_epi16(a, b); }
    static __m128i sub(__m128i a, __m128i b) { return _mm_sub_epi16(a, b); }
    static __m128i abs(__m128i a) { return _mm_abs_epi16(a); }
    static __m128i half(__m128i a) { return _mm_srai_epi16(a, 1); }
    static __m128i quarter(__m128i a) { return _mm_srai_epi16(a, 2); }
    static __m128i greater(__m128i a, __m128i b) { return _mm_cmpgt_epi16(a, b); }
};
struct Lanes32 {
    static __m128i add(__m128i a, __m128i b) { return _mm_add_epi32(a, b); }
    static __m128i sub(__m128i a, __m128i b) { return _mm_sub_epi32(a, b); }
    static __m128i abs(__m128i a) { return _mm_abs_epi32(a); }
    static __m128i half(__m128i a) { return _mm_srai_epi32(a, 1); }
    static __m128i quarter(__m128i a) { return _mm_srai_epi32(a, 2); }
    static __m128i greater(__m128i a, __m128i b) { return _mm_cmpgt_epi32(a, b); }
};

// Green at a red or blue site with value c, from the same-colour samples two
// steps west, east, north and south (w2 e2 n2 s2) and the greens next to it
// (w1 e1 n1 s1): along the smaller gradient, vertical on ties. The mean and
// the quarter Laplacian are floored separately.
inline int32_t greenEstimate(int32_t c, int32_t w2, int32_t e2, int32_t n2, int32_t s2, int32_t w1,
                             int32_t e1, int32_t n1, int32_t s1) {
    const int32_t lh = 2 * c - w2 - e2;
    const int32_t lv = 2 * c - n2 - s2;
    const int32_t h = std::abs(lh) + std::abs(w1 - e1);
    const int32_t v = std::abs(lv) + std::abs(n1 - s1);
    return h < v ? ((w1 + e1) >> 1) + (lh >> 2) : ((n1 + s1) >> 1) + (lv >> 2);
}

template <typename L>
inline __m128i greenEstimate(L, __m128i c, __m128i w2, __m128i e2, __m128i n2, __m128i s2,
                             __m128i w1, __m128i e1, __m128i n1, __m128i s1) {
    const __m128i twice = L::add(c, c);
    const __m128i lh = L::sub(L::sub(twice, w2), e2);
    const __m128i lv = L::sub(L::sub(twice, n2), s2);
    const __m128i h = L::add(L::abs(lh), L::abs(L::sub(w1, e1)));
    const __m128i v = L::add(L::abs(lv), L::abs(L::sub(n1, s1)));
    const __m128i across = L::add(L::half(L::add(w1, e1)), L::quarter(lh));
    const __m128i along = L::add(L::half(L::add(n1, s1)), L::quarter(lv));
    return _mm_blendv_epi8(along, across, L::greater(v, h));
}

// A missing colour at a site with green g, from the colour differences
// (colour minus green) of the two nearest sites of that colour on its row or
// column...
inline int32_t fromTwo(int32_t g, int32_t d0, int32_t d1) {
    return g + ((d0 + d1) >> 1);
}
template <typename L>
inline __m128i fromTwo(L, __m128i g, __m128i d0, __m128i d1) {
    return L::add(g, L::half(L::add(d0, d1)));
}

// ... or of its four diagonal neighbours.
inline int32_t fromFour(int32_t g, int32_t d0, int32_t d1, int32_t d2, int32_t d3) {
    return g + ((d0 + d1 + d2 + d3) >> 2);
}
template <typename L>
inline __m128i fromFour(L, __m128i g, __m128i d0, __m128i d1, __m128i d2, __m128i d3) {
    return L::add(g, L::quarter(L::add(L::add(d0, d1), L::add(d2, d3))));
}

}  // namespace tav
