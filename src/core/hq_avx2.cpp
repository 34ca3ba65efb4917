// AVX2 twins of the method 3 blends for 8-bit samples (hq_sse41.h does four
// sites a step, these eight): the same integers by the same devices.
#include "hq_avx2.h"

#include <immintrin.h>

#include <type_traits>

#include "demosaic8/writers_avx2.h"
#include "hq_constants.h"

namespace tav::hq {
namespace {

inline __m256i load(const int32_t* p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}
inline __m256i set1(int32_t v) {
    return _mm256_set1_epi32(v);
}

// Every second value from p, sites 0..7 at p[0], p[2], ..., p[14] (reads
// p[0..15]), widened to 32-bit lanes. The 16-bit elements read this way are
// colours, never negative.
inline __m256i evens(const int16_t* p) {
    return _mm256_and_si256(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)), set1(0xFFFF));
}
inline __m256i evens(const uint8_t* p) {
    return _mm256_and_si256(
        _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))), set1(0xFF));
}

// Sixteen columns in 16-bit lanes from the values at their even (e) and odd
// (o) columns, samples in range.
inline __m256i interleave(__m256i e, __m256i o) {
    return _mm256_or_si256(e, _mm256_slli_epi32(o, 16));
}
// Sixteen columns of a plane from its even (e) and odd (o) columns, values
// that fit 16 bits.
inline void storeEvens(int16_t* p, __m256i e, __m256i o) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p),
                        _mm256_blend_epi16(e, _mm256_slli_epi32(o, 16), 0xAA));
}
// Sixteen bytes each of two rows of sixteen columns in 16-bit lanes.
inline void storeBytes(uint8_t* p, __m256i a, uint8_t* q, __m256i b) {
    const __m256i bytes =
        _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), _MM_SHUFFLE(3, 1, 2, 0));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm256_castsi256_si128(bytes));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(q), _mm256_extracti128_si256(bytes, 1));
}

// Floor quotients, a >= 0, b > 0, a + b < 2^24: single precision is exact
// there, and truncation is the floor. The blends bias their quotients by
// kBias to keep the dividends non-negative (a colour estimate before the
// clamp lies above -kBias): a truncation instead of a floor and truncation.
constexpr int32_t kBias = 256;
inline __m256i divSmall(__m256i a, __m256i b) {
    return _mm256_cvttps_epi32(_mm256_div_ps(_mm256_cvtepi32_ps(a), _mm256_cvtepi32_ps(b)));
}
inline __m256i unbias(__m256i q, int32_t max) {
    return _mm256_sub_epi32(_mm256_min_epi32(_mm256_max_epi32(q, set1(kBias)), set1(kBias + max)),
                            set1(kBias));
}

// weights4 of hq_rules.h for each lane, by the float devices of hq_sse41.h.
// Inlined, so that the four-lane arrays stay in registers.
[[gnu::always_inline]] inline void weights4(const __m256i s[4], uint32_t eps, __m256i w[4]) {
    __m256i c[4];
    __m256i least = set1(INT32_MAX);
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) {
        const __m256i v = _mm256_add_epi32(s[k], set1(static_cast<int32_t>(eps)));
        c[k] = _mm256_castps_si256(_mm256_cvtepi32_ps(v));
        least = _mm256_min_epi32(least, c[k]);
    }
    const __m256i top =
        _mm256_add_epi32(set1((127 + kTopWeight) << kLogFrac),
                         _mm256_slli_epi32(_mm256_and_si256(least, set1(-(1 << kLogFrac))), 1));
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) {
        const __m256i code = _mm256_sub_epi32(top, _mm256_slli_epi32(c[k], 1));
        w[k] = _mm256_cvttps_epi32(_mm256_castsi256_ps(code));
    }
}

// Products of lanes whose values fit 16 signed bits, one madd each.
inline __m256i mul16(__m256i a, __m256i b) {
    return _mm256_madd_epi16(a, b);
}

// Weights stay below 2^13 and the differences (tapped ones too) below 2^15.
// With the weights' high halves 0, madd reads only the differences' low ones.
inline __m256i weighted(const __m256i w[4], const __m256i d[4]) {
    return _mm256_add_epi32(_mm256_add_epi32(mul16(w[0], d[0]), mul16(w[1], d[1])),
                            _mm256_add_epi32(mul16(w[2], d[2]), mul16(w[3], d[3])));
}
inline __m256i total(const __m256i w[4]) {
    return _mm256_add_epi32(_mm256_add_epi32(w[0], w[1]), _mm256_add_epi32(w[2], w[3]));
}

[[gnu::always_inline]] inline __m256i greenAt(__m256i c, const __m256i s[4], const __m256i d[4],
                                              uint32_t eps, int32_t max) {
    __m256i w[4];
    weights4(s, eps, w);
    // The weights' total (below 2^15) and base (below 2^12) fit madd; the
    // dividend stays within [0, 2^30), so shifted by kTapShift + kFrac it and
    // the total divide exactly in single precision.
    const __m256i sum = total(w);
    const __m256i base = _mm256_add_epi32(
        _mm256_slli_epi32(_mm256_add_epi32(c, set1(kBias)), kFrac), set1(1 << (kFrac - 1)));
    const __m256i a =
        _mm256_add_epi32(_mm256_slli_epi32(mul16(base, sum), kTapShift), weighted(w, d));
    return unbias(divSmall(_mm256_srai_epi32(a, kTapShift + kFrac), sum), max);
}

[[gnu::always_inline]] inline __m256i blend(__m256i g, const __m256i w[4], const __m256i d[4],
                                            int32_t max) {
    const __m256i den = total(w);
    // g + kBias below 2^9, the weights' total below 2^15.
    const __m256i a = _mm256_add_epi32(
        _mm256_sub_epi32(mul16(_mm256_add_epi32(g, set1(kBias)), den), weighted(w, d)),
        _mm256_srli_epi32(den, 1));
    return unbias(divSmall(a, den), max);
}

[[gnu::always_inline]] inline __m256i colourAt(__m256i g, const __m256i d[4],
                                               const __m256i steps[4], uint32_t eps, int32_t max) {
    // Opposite neighbours share their disagreement.
    const __m256i agree[2] = {_mm256_abs_epi32(_mm256_sub_epi32(d[0], d[1])),
                              _mm256_abs_epi32(_mm256_sub_epi32(d[2], d[3]))};
    __m256i s[4];
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) s[k] = _mm256_add_epi32(steps[k], agree[k >> 1]);
    __m256i w[4];
    weights4(s, eps, w);
    return blend(g, w, d, max);
}

[[gnu::always_inline]] inline void coloursAt(__m256i g, const __m256i da[4], const __m256i db[4],
                                             const __m256i steps[4], uint32_t eps, int32_t max,
                                             __m256i& a, __m256i& b) {
    // Opposite neighbours share their disagreements.
    auto apart = [](const __m256i v[4], int k) {
        return _mm256_abs_epi32(_mm256_sub_epi32(v[k], v[k + 1]));
    };
    const __m256i agree[2] = {_mm256_add_epi32(apart(da, 0), apart(db, 0)),
                              _mm256_add_epi32(apart(da, 2), apart(db, 2))};
    __m256i s[4];
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) s[k] = _mm256_add_epi32(steps[k], agree[k >> 1]);
    __m256i w[4];
    weights4(s, eps, w);
    a = blend(g, w, da, max);
    b = blend(g, w, db, max);
}

inline __m256i greenStep(__m256i g0, __m256i g1) {
    return _mm256_slli_epi32(_mm256_abs_epi32(_mm256_sub_epi32(g0, g1)), 1);
}

// Calls f with the phase as a compile-time constant, so that each loop is
// specialised and keeps its constants and row pointers out of the loop.
template <class F>
inline void byPhase(bool b, F f) {
    if (b) {
        f(std::true_type{});
    } else {
        f(std::false_type{});
    }
}

constexpr int kDiagY[4] = {-1, 1, -1, 1}, kDiagX[4] = {-1, 1, 1, -1};
constexpr int kAxisY[4] = {-1, 1, 0, 0}, kAxisX[4] = {0, 0, -1, 1};

}  // namespace

void diffStepsAvx2(const uint8_t* const s[5], bool evenGreen, int32_t max8, int16_t* dh,
                   int16_t* dv, int32_t x, int32_t steps) {
    // Sixteen columns in 16-bit lanes: estimates stay within ±2^12.
    auto samples = [](const uint8_t* p) {
        return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
    };
    // Green sites take green minus the estimate: the sign flips there.
    const __m256i sign =
        evenGreen ? _mm256_set1_epi32(0x0001FFFF) : _mm256_set1_epi32(-0x10000 | 1);
    const __m256i hi = _mm256_set1_epi16(static_cast<int16_t>(max8));
    auto store = [](int16_t* p, __m256i v) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
    };
    for (; steps > 0; --steps, x += 16) {
        const __m256i c = samples(s[2] + x);
        auto rule = [&](__m256i a1, __m256i b1, __m256i a2, __m256i b2) {
            const __m256i lap = _mm256_sub_epi16(_mm256_slli_epi16(c, 1), _mm256_add_epi16(a2, b2));
            const __m256i est = _mm256_add_epi16(
                _mm256_slli_epi16(_mm256_add_epi16(a1, b1), 2),
                _mm256_srai_epi16(_mm256_mullo_epi16(lap, _mm256_set1_epi16(kLaplacian)),
                                  5 - kFrac));
            const __m256i clamped =
                _mm256_min_epi16(_mm256_max_epi16(est, _mm256_setzero_si256()), hi);
            return _mm256_sign_epi16(_mm256_sub_epi16(clamped, _mm256_slli_epi16(c, kFrac)), sign);
        };
        store(dh + x, rule(samples(s[2] + x - 1), samples(s[2] + x + 1), samples(s[2] + x - 2),
                           samples(s[2] + x + 2)));
        store(dv + x,
              rule(samples(s[1] + x), samples(s[3] + x), samples(s[0] + x), samples(s[4] + x)));
    }
}

void absDiffStepsAvx2(const int32_t* a, const int32_t* b, int32_t* out, int32_t steps) {
    for (int32_t x = 0; steps > 0; --steps, x += 8) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + x),
                            _mm256_abs_epi32(_mm256_sub_epi32(load(a + x), load(b + x))));
    }
}

void absDiffStepsAvx2(const int16_t* a, const int16_t* b, int16_t* out, int32_t steps) {
    auto at = [](const int16_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); };
    int32_t x = 0;
    for (; steps >= 2; steps -= 2, x += 16) {
        const __m256i d =
            _mm256_sub_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(a + x)),
                             _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b + x)));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + x), _mm256_abs_epi16(d));
    }
    if (steps > 0) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + x),
                         _mm_abs_epi16(_mm_sub_epi16(at(a + x), at(b + x))));
    }
}

void windowSumsAvx2(const int16_t* const gv[9], const int16_t* const dh[3], uint16_t* north,
                    uint16_t* south, uint16_t* across, int32_t steps) {
    // Gradients below 2^12: five of them still fit 16 signed bits.
    auto sums = [&](auto at, auto add, auto grad, auto widen, int32_t x) {
        const auto mid = at(gv[4] + x);
        if (north != nullptr) {
            widen(north + x,
                  add(add(add(at(gv[0] + x), at(gv[1] + x)), add(at(gv[2] + x), at(gv[3] + x))),
                      mid));
        }
        const auto down = add(add(at(gv[5] + x), at(gv[6] + x)), add(at(gv[7] + x), at(gv[8] + x)));
        widen(south + x, add(down, mid));
        auto gradient = [&](const int16_t* p) { return grad(at(p + x - 1), at(p + x + 1)); };
        widen(across + x, add(add(gradient(dh[0]), gradient(dh[1])), gradient(dh[2])));
    };
    auto at16 = [](const int16_t* p) {
        return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    };
    auto add16 = [](__m256i a, __m256i b) { return _mm256_add_epi16(a, b); };
    auto widen16 = [](uint16_t* p, __m256i v) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
    };
    int32_t x = 0;
    auto grad16 = [](__m256i a, __m256i b) { return _mm256_abs_epi16(_mm256_sub_epi16(a, b)); };
    for (; steps >= 2; steps -= 2, x += 16) sums(at16, add16, grad16, widen16, x);
    if (steps > 0) {
        auto at8 = [](const int16_t* p) {
            return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        };
        auto add8 = [](__m128i a, __m128i b) { return _mm_add_epi16(a, b); };
        auto widen8 = [](uint16_t* p, __m128i v) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
        };
        auto grad8 = [](__m128i a, __m128i b) { return _mm_abs_epi16(_mm_sub_epi16(a, b)); };
        sums(at8, add8, grad8, widen8, x);
    }
}

void windowSumsAvx2(const int32_t* const gv[9], const int32_t* const dh[3], uint32_t* north,
                    uint32_t* south, uint32_t* across, int32_t steps) {
    for (int32_t x = 0; steps > 0; --steps, x += 8) {
        // Rows 0..3 and 5..8 once each, row 4 (the site's) in both.
        const __m256i mid = load(gv[4] + x);
        if (north != nullptr) {
            const __m256i up = _mm256_add_epi32(_mm256_add_epi32(load(gv[0] + x), load(gv[1] + x)),
                                                _mm256_add_epi32(load(gv[2] + x), load(gv[3] + x)));
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(north + x), _mm256_add_epi32(up, mid));
        }
        const __m256i down = _mm256_add_epi32(_mm256_add_epi32(load(gv[5] + x), load(gv[6] + x)),
                                              _mm256_add_epi32(load(gv[7] + x), load(gv[8] + x)));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(south + x), _mm256_add_epi32(down, mid));
        auto gradient = [&](const int32_t* p) {
            return _mm256_abs_epi32(_mm256_sub_epi32(load(p + x - 1), load(p + x + 1)));
        };
        _mm256_storeu_si256(
            reinterpret_cast<__m256i*>(across + x),
            _mm256_add_epi32(_mm256_add_epi32(gradient(dh[0]), gradient(dh[1])), gradient(dh[2])));
    }
}

namespace {

template <bool greenFirst>
void greenSteps(const GreenRowAvx2 r, int16_t* green, int32_t x, int32_t steps) {
    for (; steps > 0; --steps, x += 16) {
        const int32_t at = greenFirst ? x + 1 : x;
        // Window sums in 16-bit lanes over all sixteen columns (below 2^16:
        // five three-row sums or three five-row sums of gradients below
        // 2^12), then those of the sites.
        auto at16 = [](const uint16_t* p) {
            return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
        };
        auto sites = [](__m256i v) { return _mm256_and_si256(v, set1(0xFFFF)); };
        auto sum5 = [&](int32_t from) {
            __m256i v = at16(r.across + from);
#pragma GCC unroll 4
            for (int k = 1; k < kWindowLength; ++k)
                v = _mm256_add_epi16(v, at16(r.across + from + k));
            return sites(v);
        };
        auto sum3 = [&](const uint16_t* p) {
            return sites(_mm256_add_epi16(_mm256_add_epi16(at16(p + at - 1), at16(p + at)),
                                          at16(p + at + 1)));
        };
        const __m256i sums[4] = {sum3(r.north), sum3(r.south), sum5(at - kWindowLength + 1),
                                 sum5(at)};
        // Tapped differences of all sixteen columns in 16-bit lanes (below
        // 2^14 in magnitude). The blend's madd reads only the low halves of
        // the 32-bit lanes, those of the sites: no sign extension.
        auto taps = [](const int16_t* a, const int16_t* b, const int16_t* c) {
            auto term = [](const int16_t* p, int32_t tap) {
                return _mm256_mullo_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)),
                                          _mm256_set1_epi16(static_cast<int16_t>(tap)));
            };
            return _mm256_add_epi16(_mm256_add_epi16(term(a, kTaps[0]), term(b, kTaps[1])),
                                    term(c, kTaps[2]));
        };
        const __m256i d[4] = {taps(r.dv[2] + at, r.dv[1] + at, r.dv[0] + at),
                              taps(r.dv[2] + at, r.dv[3] + at, r.dv[4] + at),
                              taps(r.dh + at, r.dh + at - 1, r.dh + at - 2),
                              taps(r.dh + at, r.dh + at + 1, r.dh + at + 2)};
        const __m256i v = greenAt(evens(r.src + at), sums, d, r.eps, r.max);
        const __m256i c = evens(r.src + (greenFirst ? x : x + 1));
        if (greenFirst) {
            storeEvens(green + x, c, v);
        } else {
            storeEvens(green + x, v, c);
        }
    }
}

}  // namespace

void greenStepsAvx2(const GreenRowAvx2& r, bool greenFirst, int16_t* green, int32_t x,
                    int32_t steps) {
    byPhase(greenFirst, [&](auto first) { greenSteps<first>(r, green, x, steps); });
}

namespace {

template <bool greenFirst>
void otherSteps(const ColourRowsAvx2 n, int16_t* other, int32_t x, int32_t steps) {
    for (; steps > 0; --steps, x += 16) {
        const int32_t at = greenFirst ? x + 1 : x;
        const __m256i g0 = evens(n.green[2] + at);
        __m256i d[4], s[4];
#pragma GCC unroll 4
        for (int k = 0; k < 4; ++k) {
            const int32_t dy = kDiagY[k], dx = kDiagX[k];
            const __m256i g1 = evens(n.green[2 + dy] + at + dx);
            d[k] = _mm256_sub_epi32(g1, evens(n.src[1 + dy] + at + dx));
            s[k] = greenStep(g0, g1);
        }
        const __m256i v = colourAt(g0, d, s, n.eps, n.max);
        const __m256i none = _mm256_setzero_si256();
        if (greenFirst) {
            storeEvens(other + x, none, v);
        } else {
            storeEvens(other + x, v, none);
        }
    }
}

}  // namespace

void otherStepsAvx2(const ColourRowsAvx2& n, bool greenFirst, int16_t* other, int32_t x,
                    int32_t steps) {
    byPhase(greenFirst, [&](auto first) { otherSteps<first>(n, other, x, steps); });
}

namespace {

// Red, green and blue of row y, columns [x, x + 16), in 16-bit lanes.
template <bool greenFirst, bool redRow>
[[gnu::always_inline]] inline void outputStep(const ColourRowsAvx2& n, int32_t x, __m256i& r,
                                              __m256i& green, __m256i& b) {
    const int16_t* g = n.green[2];
    const int32_t at = greenFirst ? x : x + 1, site = greenFirst ? x + 1 : x;
    const __m256i g0 = evens(g + at);
    __m256i s[4], sample[4], estimate[4];
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) {
        const int32_t dy = kAxisY[k], dx = kAxisX[k];
        const __m256i g1 = evens(n.green[2 + dy] + at + dx);
        s[k] = greenStep(g0, g1);
        sample[k] = _mm256_sub_epi32(g1, evens(n.src[1 + dy] + at + dx));
        estimate[k] = _mm256_sub_epi32(g1, evens(n.other[1 + dy] + at + dx));
    }
    // Row neighbours have the row's colour as a sample, column ones the other.
    const __m256i dRow[4] = {estimate[0], estimate[1], sample[2], sample[3]};
    const __m256i dCol[4] = {sample[0], sample[1], estimate[2], estimate[3]};
    __m256i fromRow, fromCol;
    coloursAt(g0, dRow, dCol, s, n.eps, n.max, fromRow, fromCol);
    const __m256i c = evens(n.src[1] + site), o = evens(n.other[1] + site);
    const __m256i gSite = evens(g + site);
    auto both = [&](__m256i atGreen, __m256i atSite) {
        return greenFirst ? interleave(atGreen, atSite) : interleave(atSite, atGreen);
    };
    r = redRow ? both(fromRow, c) : both(fromCol, o);
    b = redRow ? both(fromCol, o) : both(fromRow, c);
    green = both(g0, gSite);
}

// 32 bytes in column order from two steps' 16-bit lanes.
inline __m256i bytes(__m256i a, __m256i b) {
    return _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), _MM_SHUFFLE(3, 1, 2, 0));
}

template <d8::Form8 kForm, bool greenFirst, bool redRow>
void outputPairs(const ColourRowsAvx2 n, const OutputAvx2 out, int32_t x, int32_t pairs) {
    for (; pairs > 0; --pairs, x += 32) {
        __m256i r0, g0, b0, r1, g1, b1;
        outputStep<greenFirst, redRow>(n, x, r0, g0, b0);
        outputStep<greenFirst, redRow>(n, x + 16, r1, g1, b1);
        d8::putColours<kForm>(out.row, out.redFirst, out.alpha, x, bytes(r0, r1), bytes(g0, g1),
                              bytes(b0, b1));
    }
}

}  // namespace

void outputStepsAvx2(const ColourRowsAvx2& n, bool greenFirst, bool redRow, const OutputAvx2& out,
                     uint8_t* const rest[3], int32_t x, int32_t steps) {
    const int32_t pairs = steps / 2;
    byPhase(greenFirst, [&](auto first) {
        byPhase(redRow, [&](auto red) {
            switch (out.form) {
                case d8::Form8::Bgr8:
                    outputPairs<d8::Form8::Bgr8, first, red>(n, out, x, pairs);
                    break;
                case d8::Form8::Bgra8:
                    outputPairs<d8::Form8::Bgra8, first, red>(n, out, x, pairs);
                    break;
                default:
                    outputPairs<d8::Form8::Planar, first, red>(n, out, x, pairs);
                    break;
            }
            if (steps % 2 != 0) {
                const int32_t last = x + 32 * pairs;
                __m256i r, g, b;
                outputStep<first, red>(n, last, r, g, b);
                storeBytes(rest[0] + last, r, rest[2] + last, b);
                _mm_storeu_si128(reinterpret_cast<__m128i*>(rest[1] + last),
                                 _mm256_castsi256_si128(bytes(g, g)));
            }
        });
    });
}

}  // namespace tav::hq
