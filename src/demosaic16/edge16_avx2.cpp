// The AVX2 body of the 16-bit edge-directed kernels: nextLine8 and finish8 of
// edge16.cpp on 16 columns, the rules of edge_sites.h in 32-bit lanes.
//
// Compiled with -mavx2: see simd_avx2.h for what it may include.
#include "edge16_avx2.h"
#include "simd_avx2.h"

#include <immintrin.h>

#include <cstdint>

namespace tav::d16 {
namespace {

using avx2::loadWords;
using avx2::storeWords;

// Samples at even and odd columns of 16 words from p, zero-extended to 32 bits.
struct EvenOdd {
    __m256i even, odd;
};
inline EvenOdd split(const uint16_t* p) {
    const __m256i v = loadWords(p);
    return {_mm256_and_si256(v, _mm256_set1_epi32(0xFFFF)), _mm256_srli_epi32(v, 16)};
}

inline __m256i add(__m256i a, __m256i b) {
    return _mm256_add_epi32(a, b);
}
inline __m256i sub(__m256i a, __m256i b) {
    return _mm256_sub_epi32(a, b);
}

// edge_sites.h's greenEstimate twin.
inline __m256i greenEstimate(__m256i c, __m256i w2, __m256i e2, __m256i n2, __m256i s2, __m256i w1,
                             __m256i e1, __m256i n1, __m256i s1) {
    const __m256i twice = add(c, c);
    const __m256i lh = sub(sub(twice, w2), e2);
    const __m256i lv = sub(sub(twice, n2), s2);
    const __m256i h = add(_mm256_abs_epi32(lh), _mm256_abs_epi32(sub(w1, e1)));
    const __m256i v = add(_mm256_abs_epi32(lv), _mm256_abs_epi32(sub(n1, s1)));
    const __m256i across = add(_mm256_srai_epi32(add(w1, e1), 1), _mm256_srai_epi32(lh, 2));
    const __m256i along = add(_mm256_srai_epi32(add(n1, s1), 1), _mm256_srai_epi32(lv, 2));
    return _mm256_blendv_epi8(along, across, _mm256_cmpgt_epi32(v, h));
}

// edge_sites.h's fromTwo and fromFour twins.
inline __m256i fromTwo(__m256i g, __m256i d0, __m256i d1) {
    return add(g, _mm256_srai_epi32(add(d0, d1), 1));
}
inline __m256i fromFour(__m256i g, __m256i d0, __m256i d1, __m256i d2, __m256i d3) {
    return add(g, _mm256_srai_epi32(add(add(d0, d1), add(d2, d3)), 2));
}

// edge16.cpp's clampMerge: unsigned saturation to words, the signed (exact:
// unsigned) minimum with the ceiling, words even0 odd0 even1 odd1 ... (each
// 128-bit lane its 8).
inline __m256i clampMerge(__m256i even, __m256i odd, __m256i ceiling, bool exact) {
    const __m256i packed = _mm256_packus_epi32(even, odd);
    const __m256i v = exact ? _mm256_min_epu16(packed, ceiling) : _mm256_min_epi16(packed, ceiling);
    return _mm256_unpacklo_epi16(v, _mm256_unpackhi_epi64(v, v));
}

inline void nextLine16(const uint16_t* const* s, int32_t b, uint16_t* next, __m256i ceiling,
                       bool exact) {
    const EvenOdd r2l = split(s[2] + b - 2), r2 = split(s[2] + b), r2r = split(s[2] + b + 2);
    const EvenOdd r3l = split(s[3] + b - 2), r3 = split(s[3] + b), r3r = split(s[3] + b + 2);
    const EvenOdd r0 = split(s[0] + b), r1 = split(s[1] + b), r4 = split(s[4] + b),
                  r5 = split(s[5] + b);
    const __m256i red = greenEstimate(r2.even, r2l.even, r2r.even, r0.even, r4.even, r2l.odd,
                                      r2.odd, r1.even, r3.even);
    const __m256i blue =
        greenEstimate(r3.odd, r3l.odd, r3r.odd, r1.odd, r5.odd, r3.even, r3r.even, r2.odd, r4.odd);
    storeWords(next + b, clampMerge(red, blue, ceiling, exact));
}

inline void put(uint16_t* row, bool exchange, int32_t x, __m256i r, __m256i g, __m256i b) {
    uint8_t* p = reinterpret_cast<uint8_t*>(row + 3 * x);
    if (exchange) {
        avx2::interleave3<false, true>(r, g, b, p);
    } else {
        avx2::interleave3<false, true>(b, g, r, p);
    }
}

inline void finish16(const uint16_t* const* s, const uint16_t* line, const uint16_t* next,
                     int32_t b, uint16_t* row1, uint16_t* row2, bool exchange, __m256i ceiling,
                     bool exact) {
    const EvenOdd s0 = split(s[0] + b), s0r = split(s[0] + b + 2);
    const EvenOdd s1l = split(s[1] + b - 2), s1 = split(s[1] + b);
    const EvenOdd s2 = split(s[2] + b), s2r = split(s[2] + b + 2);
    const EvenOdd s3l = split(s[3] + b - 2), s3 = split(s[3] + b);
    const EvenOdd ll = split(line + b - 2), lm = split(line + b), lr = split(line + b + 2);
    const EvenOdd nl = split(next + b - 2), nm = split(next + b), nr = split(next + b + 2);

    const __m256i dr0 = sub(s0.even, lm.even), dr0r = sub(s0r.even, lr.even);
    const __m256i dr2 = sub(s2.even, nm.even), dr2r = sub(s2r.even, nr.even);
    const __m256i db1l = sub(s1l.odd, ll.odd), db1 = sub(s1.odd, lm.odd);
    const __m256i db3l = sub(s3l.odd, nl.odd), db3 = sub(s3.odd, nm.odd);

    const __m256i r1even = fromTwo(s1.even, dr0, dr2);
    const __m256i b1even = fromTwo(s1.even, db1l, db1);
    const __m256i r1odd = fromFour(lm.odd, dr0, dr2, dr0r, dr2r);
    const __m256i b2even = fromFour(nm.even, db1l, db1, db3l, db3);
    const __m256i r2odd = fromTwo(s2.odd, dr2, dr2r);
    const __m256i b2odd = fromTwo(s2.odd, db1, db3);

    const __m256i raw1 = loadWords(s[1] + b), raw2 = loadWords(s[2] + b);
    const __m256i line16 = loadWords(line + b), next16 = loadWords(next + b);
    const __m256i mixed = clampMerge(b1even, r2odd, ceiling, exact);
    const __m256i red1 = clampMerge(r1even, r1odd, ceiling, exact);
    const __m256i green1 = _mm256_blend_epi16(raw1, line16, 0xAA);
    const __m256i blue1 = _mm256_blend_epi16(mixed, raw1, 0xAA);
    const __m256i red2 = _mm256_blend_epi16(raw2, mixed, 0xAA);
    const __m256i green2 = _mm256_blend_epi16(next16, raw2, 0xAA);
    const __m256i blue2 = clampMerge(b2even, b2odd, ceiling, exact);
    put(row1, exchange, b, red1, green1, blue1);
    put(row2, exchange, b, red2, green2, blue2);
}

}  // namespace

void nextLineAvx2(const uint16_t* const* band, uint16_t* next, int32_t b, int32_t steps,
                  int16_t ceiling, bool exact) {
    const __m256i c = _mm256_set1_epi16(ceiling);
    for (int32_t i = 0; i < steps; ++i, b += 16) nextLine16(band, b, next, c, exact);
}

void finishAvx2(const uint16_t* const* band, const uint16_t* line, const uint16_t* next,
                uint16_t* row1, uint16_t* row2, bool exchange, int32_t b, int32_t steps,
                int16_t ceiling, bool exact) {
    const __m256i c = _mm256_set1_epi16(ceiling);
    for (int32_t i = 0; i < steps; ++i, b += 16) {
        finish16(band, line, next, b, row1, row2, exchange, c, exact);
    }
}

}  // namespace tav::d16
