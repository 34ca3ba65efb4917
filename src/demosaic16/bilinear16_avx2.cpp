// The AVX2 body of 16-bit bilinear demosaicing: putSites8 of bilinear16.h on
// 16 columns, the same sums in 32-bit lanes.
//
// Compiled with -mavx2: see simd_avx2.h for what it may include.
#include "bilinear16_avx2.h"
#include "simd_avx2.h"

#include <immintrin.h>

#include <cstdint>

namespace tav::d16 {
namespace {

using avx2::loadWords;
using avx2::storeWords;

// floor((a + b) / 2) per 16-bit lane without leaving 16 bits.
inline __m256i averageDown(__m256i a, __m256i b) {
    return _mm256_add_epi16(_mm256_and_si256(a, b), _mm256_srli_epi16(_mm256_xor_si256(a, b), 1));
}

template <bool kXOdd>
inline __m256i xLanes(__m256i v) {
    if constexpr (kXOdd) {
        return _mm256_srli_epi32(v, 16);
    } else {
        return _mm256_and_si256(v, _mm256_set1_epi32(0xFFFF));
    }
}

// (a + b + c + d) >> 2 at the X lanes, placed back into those 16-bit lanes.
template <bool kXOdd>
inline __m256i meanOf4(__m256i a, __m256i b, __m256i c, __m256i d) {
    const __m256i s = _mm256_add_epi32(_mm256_add_epi32(xLanes<kXOdd>(a), xLanes<kXOdd>(b)),
                                       _mm256_add_epi32(xLanes<kXOdd>(c), xLanes<kXOdd>(d)));
    const __m256i m = _mm256_srli_epi32(s, 2);
    return kXOdd ? _mm256_slli_epi32(m, 16) : m;
}

template <bool kXOdd>
inline __m256i pickX(__m256i atGreen, __m256i atX) {
    return _mm256_blend_epi16(atGreen, atX, kXOdd ? 0xAA : 0x55);
}

using avx2::Depth;
using avx2::luma;
using avx2::rescale;

inline Depth depthOf(const WideRow& out) {
    return avx2::depth(out.left, out.right, out.down);
}

template <Form16 kForm, bool kScaled>
inline void put(const WideRow& out, const Depth& d, int32_t x, __m256i r, __m256i g, __m256i b) {
    if constexpr (kScaled && kForm == Form16::Bgr16) {
        r = rescale(d, r);
        g = rescale(d, g);
        b = rescale(d, b);
    }
    if constexpr (kForm == Form16::Bgr16) {
        uint8_t* p = reinterpret_cast<uint8_t*>(out.row[0] + 3 * x);
        if (out.exchange) {
            avx2::interleave3<false, true>(r, g, b, p);
        } else {
            avx2::interleave3<false, true>(b, g, r, p);
        }
    } else if constexpr (kForm == Form16::Planar16) {
        storeWords(out.row[0] + x, b);
        storeWords(out.row[1] + x, g);
        storeWords(out.row[2] + x, r);
    } else if constexpr (kScaled) {
        storeWords(out.row[0] + x, rescale(d, luma(out.weights, r, g, b)));
    } else {
        storeWords(out.row[0] + x, luma(out.weights, r, g, b));
    }
}

// Sites x .. x+15; needs columns x-1 .. x+16 inside the row.
template <Form16 kForm, bool kScaled, bool kXOdd>
inline void sites16(const WideRow& out, const Depth& d, const WideSamples& s, int32_t x) {
    const __m256i a0 = loadWords(s.up + x - 1), a1 = loadWords(s.up + x),
                  a2 = loadWords(s.up + x + 1);
    const __m256i c0 = loadWords(s.mid + x - 1), c1 = loadWords(s.mid + x),
                  c2 = loadWords(s.mid + x + 1);
    const __m256i b0 = loadWords(s.down + x - 1), b1 = loadWords(s.down + x),
                  b2 = loadWords(s.down + x + 1);
    const __m256i xc = pickX<kXOdd>(averageDown(c0, c2), c1);
    const __m256i g = pickX<kXOdd>(c1, meanOf4<kXOdd>(a1, b1, c0, c2));
    const __m256i yc = pickX<kXOdd>(averageDown(a1, b1), meanOf4<kXOdd>(a0, a2, b0, b2));
    if (s.xIsRed) {
        put<kForm, kScaled>(out, d, x, xc, g, yc);
    } else {
        put<kForm, kScaled>(out, d, x, yc, g, xc);
    }
}

template <Form16 kForm, bool kScaled>
void row(const WideRow& out, const WideSamples& s, int32_t x, int32_t steps) {
    const Depth d = depthOf(out);
    if (s.xOdd) {
        for (int32_t i = 0; i < steps; ++i, x += 16) sites16<kForm, kScaled, true>(out, d, s, x);
    } else {
        for (int32_t i = 0; i < steps; ++i, x += 16) sites16<kForm, kScaled, false>(out, d, s, x);
    }
}

template <Form16 kForm>
void scaledOrNot(const WideRow& out, const WideSamples& s, int32_t x, int32_t steps) {
    if (out.scaled) {
        row<kForm, true>(out, s, x, steps);
    } else {
        row<kForm, false>(out, s, x, steps);
    }
}

}  // namespace

void bilinearRowAvx2(const WideRow& out, const WideSamples& s, int32_t x, int32_t steps) {
    switch (out.form) {
        case Form16::Bgr16:
            return scaledOrNot<Form16::Bgr16>(out, s, x, steps);
        case Form16::Planar16:
            return row<Form16::Planar16, false>(out, s, x, steps);
        case Form16::Mono16:
            return scaledOrNot<Form16::Mono16>(out, s, x, steps);
    }
}

}  // namespace tav::d16
