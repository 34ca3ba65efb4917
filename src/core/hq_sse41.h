// SSE4.1 twins of the method 3 rules: four sites a step, 32-bit lanes, the
// same integers as the scalar rules. Two devices keep them exact: the
// exponent and top mantissa bits of a float conversion are the bit length
// and next four bits of an integer below 2^24 (window sums stay below 2^16
// for 8-bit samples, 2^24 for 16-bit ones), and the floor of a double
// quotient is the integer floor quotient for operands below 2^53. The blends
// of 16-bit samples (kWide) form their dividends in double precision too,
// exact there: they reach 2^37.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "hq_rules.h"

namespace tav::hq::sse41 {

inline __m128i load(const int32_t* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
inline __m128i load(const uint32_t* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
// Four plane values widened to lanes, and stored back.
inline __m128i loadLanes(const int32_t* p) {
    return load(p);
}
inline __m128i loadLanes(const int16_t* p) {
    return _mm_cvtepi16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
}
inline void storeLanes(int32_t* p, __m128i v) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}
inline void storeLanes(int16_t* p, __m128i v) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_packs_epi32(v, v));
}
// Four samples widened to lanes.
inline __m128i loadSamples(const uint8_t* p) {
    int32_t v;
    __builtin_memcpy(&v, p, 4);
    return _mm_cvtepu8_epi32(_mm_cvtsi32_si128(v));
}
inline __m128i loadSamples(const uint16_t* p) {
    return _mm_cvtepu16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
}
// Every second value from p: p[0], p[2], p[4], p[6] (reads p[0..7]).
inline __m128i everyOther(const int32_t* p) {
    return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(load(p)), _mm_castsi128_ps(load(p + 4)),
                                           _MM_SHUFFLE(2, 0, 2, 0)));
}
inline __m128i everyOther(const uint32_t* p) {
    return everyOther(reinterpret_cast<const int32_t*>(p));
}
// The 16-bit elements read this way are colours, never negative.
inline __m128i everyOther(const int16_t* p) {
    return _mm_and_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)),
                         _mm_set1_epi32(0xFFFF));
}
inline __m128i everyOther(const uint8_t* p) {
    return _mm_and_si128(_mm_cvtepu16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))),
                         _mm_set1_epi32(0xFF));
}
inline __m128i everyOther(const uint16_t* p) {
    const __m128i words = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    return _mm_cvtepu16_epi32(_mm_shuffle_epi8(
        words, _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, -1, -1, -1, -1, -1, -1, -1, -1)));
}
// Eight columns from the values at their even (e) and odd (o) columns.
struct Columns8 {
    __m128i lo, hi;
};
inline Columns8 merge(__m128i e, __m128i o) {
    return {_mm_unpacklo_epi32(e, o), _mm_unpackhi_epi32(e, o)};
}
inline void storeSamples8(uint8_t* p, Columns8 v) {
    const __m128i words = _mm_packus_epi32(v.lo, v.hi);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_packus_epi16(words, words));
}
// Sixteen columns of bytes from two steps' samples.
inline __m128i samples16(Columns8 a, Columns8 b) {
    return _mm_packus_epi16(_mm_packus_epi32(a.lo, a.hi), _mm_packus_epi32(b.lo, b.hi));
}
inline void storeSamples8(uint16_t* p, Columns8 v) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_packus_epi32(v.lo, v.hi));
}
inline void store8(int32_t* p, Columns8 v) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v.lo);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 4), v.hi);
}
inline void store8(uint16_t* p, Columns8 v) {
    storeSamples8(p, v);
}
inline void store8(int16_t* p, Columns8 v) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_packs_epi32(v.lo, v.hi));
}

inline __m128i clamp(__m128i v, int32_t hi) {
    return _mm_min_epi32(_mm_max_epi32(v, _mm_setzero_si128()), _mm_set1_epi32(hi));
}

// floorDiv for each lane, a >= 0, b > 0, a + b < 2^24: single precision is
// exact there (the rounding error stays below 1 / b, the nearest a quotient
// other than an integer comes to one) and truncation is the floor. The blends
// of 8-bit samples bias their quotients by kBias to keep the dividends
// non-negative (a colour estimate before the clamp lies above -kBias).
inline constexpr int32_t kBias = 256;
inline __m128i divSmall(__m128i a, __m128i b) {
    return _mm_cvttps_epi32(_mm_div_ps(_mm_cvtepi32_ps(a), _mm_cvtepi32_ps(b)));
}
inline __m128i unbias(__m128i q, int32_t max) {
    return _mm_sub_epi32(
        _mm_min_epi32(_mm_max_epi32(q, _mm_set1_epi32(kBias)), _mm_set1_epi32(kBias + max)),
        _mm_set1_epi32(kBias));
}

// Four lanes in double precision, two at a time.
struct Doubles {
    __m128d lo, hi;
};
inline Doubles toDoubles(__m128i v) {
    return {_mm_cvtepi32_pd(v), _mm_cvtepi32_pd(_mm_unpackhi_epi64(v, v))};
}
inline Doubles mulAdd(Doubles acc, __m128i a, __m128i b) {  // acc + a * b
    const Doubles x = toDoubles(a), y = toDoubles(b);
    return {_mm_add_pd(acc.lo, _mm_mul_pd(x.lo, y.lo)), _mm_add_pd(acc.hi, _mm_mul_pd(x.hi, y.hi))};
}

// floorDiv for each lane, b > 0, |a| and b below 2^53.
inline __m128i floorDiv(Doubles a, __m128i b) {
    const Doubles d = toDoubles(b);
    const __m128i lo = _mm_cvttpd_epi32(_mm_floor_pd(_mm_div_pd(a.lo, d.lo)));
    const __m128i hi = _mm_cvttpd_epi32(_mm_floor_pd(_mm_div_pd(a.hi, d.hi)));
    return _mm_unpacklo_epi64(lo, hi);
}
inline __m128i floorDiv(__m128i a, __m128i b) {
    return floorDiv(toDoubles(a), b);
}

// Σ w[k] * d[k] added to acc in double precision.
inline Doubles weighted(Doubles acc, const __m128i w[4], const __m128i d[4]) {
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) acc = mulAdd(acc, w[k], d[k]);
    return acc;
}
inline Doubles negate(Doubles v) {
    const __m128d zero = _mm_setzero_pd();
    return {_mm_sub_pd(zero, v.lo), _mm_sub_pd(zero, v.hi)};
}

// weights4 for each lane: s[k] the sums of direction k. A float's bits are
// logCode plus the exponent bias, and the bits of a weight's log read as a
// float truncate to fromLogCode (the bias cancels in the differences; no
// weight's log falls below -2^kLogFrac * 36, so none turns negative).
[[gnu::always_inline]] inline void weights4(const __m128i s[4], uint32_t eps, __m128i w[4]) {
    __m128i c[4];
    __m128i least = _mm_set1_epi32(INT32_MAX);
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) {
        const __m128i v = _mm_add_epi32(s[k], _mm_set1_epi32(static_cast<int32_t>(eps)));
        c[k] = _mm_castps_si128(_mm_cvtepi32_ps(v));
        least = _mm_min_epi32(least, c[k]);
    }
    // The top weight's code, biased, plus twice the base.
    const __m128i top =
        _mm_add_epi32(_mm_set1_epi32((127 + kTopWeight) << kLogFrac),
                      _mm_slli_epi32(_mm_and_si128(least, _mm_set1_epi32(-(1 << kLogFrac))), 1));
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) {
        const __m128i code = _mm_sub_epi32(top, _mm_slli_epi32(c[k], 1));
        w[k] = _mm_cvttps_epi32(_mm_castsi128_ps(code));
    }
}

// Products of lanes whose values fit 16 signed bits, one madd each.
inline __m128i mul16(__m128i a, __m128i b) {
    return _mm_madd_epi16(a, b);
}
// Σ w[k] * d[k] for 8-bit samples: weights below 2^13, the differences
// (tapped ones too) below 2^15. With the weights' high halves 0, madd reads
// only the differences' low ones.
inline __m128i weighted(const __m128i w[4], const __m128i d[4]) {
    return _mm_add_epi32(_mm_add_epi32(mul16(w[0], d[0]), mul16(w[1], d[1])),
                         _mm_add_epi32(mul16(w[2], d[2]), mul16(w[3], d[3])));
}
inline __m128i total(const __m128i w[4]) {
    return _mm_add_epi32(_mm_add_epi32(w[0], w[1]), _mm_add_epi32(w[2], w[3]));
}

// greenAt for four sites from the window sums s and the tapered one-sided
// differences d (scalar: Σ kTaps[i] * difference).
template <bool kWide>
[[gnu::always_inline]] inline __m128i greenAt(__m128i c, const __m128i s[4], const __m128i d[4],
                                              uint32_t eps, int32_t max) {
    __m128i w[4];
    weights4(s, eps, w);
    const __m128i den = _mm_mullo_epi32(total(w), _mm_set1_epi32(kTapSum));
    const __m128i base = _mm_add_epi32(_mm_slli_epi32(c, kFrac), _mm_set1_epi32(1 << (kFrac - 1)));
    const __m128i by = _mm_slli_epi32(den, kFrac);
    if constexpr (kWide) {
        const Doubles zero{_mm_setzero_pd(), _mm_setzero_pd()};
        return clamp(floorDiv(weighted(mulAdd(zero, base, den), w, d), by), max);
    } else {
        // The biased base (below 2^12) and the weights' total (below 2^15)
        // fit madd; the dividend stays within [0, 2^30), so shifted by
        // kTapShift + kFrac it and the total divide exactly in single precision.
        const __m128i sum = total(w);
        const __m128i biased = _mm_add_epi32(base, _mm_set1_epi32(kBias << kFrac));
        const __m128i a =
            _mm_add_epi32(_mm_slli_epi32(mul16(biased, sum), kTapShift), weighted(w, d));
        return unbias(divSmall(_mm_srai_epi32(a, kTapShift + kFrac), sum), max);
    }
}

// blend for four sites of green g. For 8-bit samples the dividend stays
// within [0, 2^24 - 2^15): g + kBias below 2^9, |d| below 2^8, the weights'
// total at most 2^14.
template <bool kWide>
[[gnu::always_inline]] inline __m128i blend(__m128i g, const __m128i w[4], const __m128i d[4],
                                            int32_t max) {
    const __m128i den = total(w);
    if constexpr (kWide) {
        const Doubles half = toDoubles(_mm_srli_epi32(den, 1));
        const Doubles a = mulAdd(negate(weighted(negate(half), w, d)), g, den);
        return clamp(floorDiv(a, den), max);
    } else {
        const __m128i biased = _mm_add_epi32(g, _mm_set1_epi32(kBias));
        const __m128i a = _mm_add_epi32(_mm_sub_epi32(mul16(biased, den), weighted(w, d)),
                                        _mm_srli_epi32(den, 1));
        return unbias(divSmall(a, den), max);
    }
}

// colourAt for four sites of green g, from the neighbours' differences d and
// green steps.
template <bool kWide>
[[gnu::always_inline]] inline __m128i colourAt(__m128i g, const __m128i d[4],
                                               const __m128i steps[4], uint32_t eps, int32_t max) {
    // Opposite neighbours share their disagreement.
    const __m128i agree[2] = {_mm_abs_epi32(_mm_sub_epi32(d[0], d[1])),
                              _mm_abs_epi32(_mm_sub_epi32(d[2], d[3]))};
    __m128i s[4];
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) s[k] = _mm_add_epi32(steps[k], agree[k >> 1]);
    __m128i w[4];
    weights4(s, eps, w);
    return blend<kWide>(g, w, d, max);
}

// coloursAt for four green sites.
template <bool kWide>
[[gnu::always_inline]] inline void coloursAt(__m128i g, const __m128i da[4], const __m128i db[4],
                                             const __m128i steps[4], uint32_t eps, int32_t max,
                                             __m128i& a, __m128i& b) {
    // Opposite neighbours share their disagreements.
    auto apart = [](const __m128i v[4], int k) {
        return _mm_abs_epi32(_mm_sub_epi32(v[k], v[k + 1]));
    };
    const __m128i agree[2] = {_mm_add_epi32(apart(da, 0), apart(db, 0)),
                              _mm_add_epi32(apart(da, 2), apart(db, 2))};
    __m128i s[4];
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) s[k] = _mm_add_epi32(steps[k], agree[k >> 1]);
    __m128i w[4];
    weights4(s, eps, w);
    a = blend<kWide>(g, w, da, max);
    b = blend<kWide>(g, w, db, max);
}

// greenSteps for four sites: g0 at the sites, g1 one step on.
inline __m128i greenStep(__m128i g0, __m128i g1) {
    return _mm_slli_epi32(_mm_abs_epi32(_mm_sub_epi32(g0, g1)), 1);
}

}  // namespace tav::hq::sse41
