// Samples moved from one bit depth (10..16) to another: down by dropping low
// bits, up by repeating the top bits below them, so that full scale stays full
// scale (4095 becomes 65535, not 65520). One form for every direction:
// ((v << left | v >> right) & 0xFFFF) >> down; unchanged is {0, 16, 0}.
#pragma once

#include <immintrin.h>

#include <cstdint>

namespace tav {

struct DepthShift {
    int32_t left, right, down;
};

inline constexpr DepthShift kSameDepth{0, 16, 0};

inline DepthShift depthShift(uint32_t from, uint32_t to) {
    const int32_t up = static_cast<int32_t>(to) - static_cast<int32_t>(from);
    if (up > 0) return {up, static_cast<int32_t>(from) - up, 0};
    return {0, 16, -up};
}

inline bool unchanged(const DepthShift& s) {
    return s.left == 0 && s.down == 0;
}

inline uint32_t rescale(const DepthShift& s, uint32_t v) {
    return (((v << s.left) | (v >> s.right)) & 0xFFFF) >> s.down;
}

// The lane twin: eight words.
struct DepthLanes {
    __m128i left, right, down;
};
inline DepthLanes depthLanes(const DepthShift& s) {
    return {_mm_cvtsi32_si128(s.left), _mm_cvtsi32_si128(s.right), _mm_cvtsi32_si128(s.down)};
}
inline __m128i rescale(const DepthLanes& s, __m128i v) {
    return _mm_srl_epi16(_mm_or_si128(_mm_sll_epi16(v, s.left), _mm_srl_epi16(v, s.right)), s.down);
}

}  // namespace tav
