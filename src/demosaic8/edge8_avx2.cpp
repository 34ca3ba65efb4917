// The AVX2 body of 8-bit edge-directed demosaicing: the SSE4.1 step of
// edge8.h on 32 columns, the rules of edge_sites.h in 16-bit lanes.
//
// Compiled with -mavx2: see simd_avx2.h for what it may include.
#include "edge8_avx2.h"
#include "simd_avx2.h"
#include "writers_avx2.h"

#include <immintrin.h>

#include <cstdint>

namespace tav::d8::edge {
namespace {

using avx2::load;
using avx2::store;

struct EvenOdd {
    __m256i even, odd;  // bytes at even and odd offsets, as 16-bit lanes
};

inline EvenOdd split(const uint8_t* p) {
    const __m256i v = load(p);
    return {_mm256_and_si256(v, _mm256_set1_epi16(0x00FF)), _mm256_srli_epi16(v, 8)};
}

inline __m256i add(__m256i a, __m256i b) {
    return _mm256_add_epi16(a, b);
}
inline __m256i sub(__m256i a, __m256i b) {
    return _mm256_sub_epi16(a, b);
}
inline __m256i clampByte(__m256i v) {
    return _mm256_min_epi16(_mm256_max_epi16(v, _mm256_setzero_si256()), _mm256_set1_epi16(255));
}

// edge_sites.h's greenEstimate twin, clamped to a byte as edge8.h does.
inline __m256i greenEstimate(__m256i c, __m256i w2, __m256i e2, __m256i n2, __m256i s2, __m256i w1,
                             __m256i e1, __m256i n1, __m256i s1) {
    const __m256i twice = add(c, c);
    const __m256i lh = sub(sub(twice, w2), e2);
    const __m256i lv = sub(sub(twice, n2), s2);
    const __m256i h = add(_mm256_abs_epi16(lh), _mm256_abs_epi16(sub(w1, e1)));
    const __m256i v = add(_mm256_abs_epi16(lv), _mm256_abs_epi16(sub(n1, s1)));
    const __m256i across = add(_mm256_srai_epi16(add(w1, e1), 1), _mm256_srai_epi16(lh, 2));
    const __m256i along = add(_mm256_srai_epi16(add(n1, s1), 1), _mm256_srai_epi16(lv, 2));
    return clampByte(_mm256_blendv_epi8(along, across, _mm256_cmpgt_epi16(v, h)));
}

// edge_sites.h's fromTwo and fromFour twins, unclamped: the saturating pack
// of interleave() clamps.
inline __m256i fromTwo(__m256i g, __m256i d0, __m256i d1) {
    return add(g, _mm256_srai_epi16(add(d0, d1), 1));
}
inline __m256i fromFour(__m256i g, __m256i d0, __m256i d1, __m256i d2, __m256i d3) {
    return add(g, _mm256_srai_epi16(add(add(d0, d1), add(d2, d3)), 2));
}

// 32 output bytes in column order from odd-column lanes (first column) and
// even-column lanes, saturated to 0..255: each 128-bit lane orders its 16.
inline __m256i interleave(__m256i odd, __m256i even) {
    const __m256i order = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15));
    return _mm256_shuffle_epi8(_mm256_packus_epi16(odd, even), order);
}

// Lanes of `cur` moved up by one, lane 0 taken from the top lane of `prev`.
inline __m256i shiftIn(__m256i cur, __m256i prev) {
    return _mm256_alignr_epi8(cur, _mm256_permute2x128_si256(prev, cur, 0x21), 14);
}

// luma.h's rule on lanes of 0..255.
inline __m256i luma(const uint32_t* w, __m256i r, __m256i g, __m256i b) {
    auto weigh = [](__m256i v, uint32_t k) {
        return _mm256_mullo_epi16(v, _mm256_set1_epi16(static_cast<int16_t>(k)));
    };
    const __m256i s =
        add(add(weigh(r, w[0]), weigh(g, w[1])), add(weigh(b, w[2]), _mm256_set1_epi16(128)));
    return _mm256_srli_epi16(s, 8);
}

// 32 pixels of one row from x on, each colour as odd- and even-column lanes,
// as edge8.h's writers put them.
template <Form8 kForm>
inline void put(const EdgeOut& out, uint8_t* const row[3], int32_t x, __m256i rOdd, __m256i rEven,
                __m256i gOdd, __m256i gEven, __m256i bOdd, __m256i bEven) {
    if constexpr (kForm == Form8::Mono8) {
        const uint32_t* w = out.weights;
        store(row[0] + x,
              interleave(luma(w, clampByte(rOdd), clampByte(gOdd), clampByte(bOdd)),
                         luma(w, clampByte(rEven), clampByte(gEven), clampByte(bEven))));
    } else {
        putColours<kForm>(row, out.exchange, out.alpha, x, interleave(rOdd, rEven),
                          interleave(gOdd, gEven), interleave(bOdd, bEven));
    }
}

template <Form8 kForm>
void steps(const EdgeOut& out, const uint8_t* const* rows, uint8_t* line, int32_t x, int32_t n,
           EdgeRun& run) {
    const uint8_t *s0 = rows[0], *s1 = rows[1], *s2 = rows[2], *s3 = rows[3], *s4 = rows[4],
                  *s5 = rows[5];
    __m256i prevE = _mm256_set_epi16(static_cast<int16_t>(run.lastE), 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                     0, 0, 0, 0, 0);
    __m256i prevO = _mm256_set_epi16(static_cast<int16_t>(run.lastO), 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                     0, 0, 0, 0, 0);
    __m256i pending = _mm256_setzero_si256();
    for (int32_t i = 0; i < n; ++i, x += 32) {
        const EvenOdd up2L = split(s0 + x - 2), up2 = split(s0 + x);
        const EvenOdd up1L = split(s1 + x - 2), up1 = split(s1 + x);
        const EvenOdd midL = split(s2 + x - 2), mid = split(s2 + x), midR = split(s2 + x + 2);
        const EvenOdd lo1L = split(s3 + x - 2), lo1 = split(s3 + x), lo1R = split(s3 + x + 2);
        const EvenOdd lo2 = split(s4 + x), lo3 = split(s5 + x);
        const EvenOdd oldL = split(line + x - 2), old = split(line + x);
        // The old estimates are read; the new ones before them may go in.
        if (i > 0) {
            store(line + x - 32, pending);
        } else if (run.open) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(line + x - 16),
                             _mm_loadu_si128(reinterpret_cast<const __m128i*>(run.pending)));
        } else {
            line[0] = static_cast<uint8_t>(run.lastE);
            line[1] = static_cast<uint8_t>(run.lastO);
        }

        const __m256i newE = greenEstimate(mid.even, midL.even, midR.even, up2.even, lo2.even,
                                           midL.odd, mid.odd, up1.even, lo1.even);
        const __m256i newO = greenEstimate(lo1.odd, lo1L.odd, lo1R.odd, up1.odd, lo3.odd, lo1.even,
                                           lo1R.even, mid.odd, lo2.odd);
        const __m256i newEL = shiftIn(newE, prevE), newOL = shiftIn(newO, prevO);

        const __m256i dUp2L = sub(up2L.even, oldL.even);
        const __m256i dUp2 = sub(up2.even, old.even);
        const __m256i dMidL = sub(midL.even, newEL);
        const __m256i dMid = sub(mid.even, newE);
        const __m256i dUp1L = sub(up1L.odd, oldL.odd);
        const __m256i dUp1 = sub(up1.odd, old.odd);
        const __m256i dLo1L = sub(lo1L.odd, newOL);
        const __m256i dLo1 = sub(lo1.odd, newO);

        // Row r - 1: blue sites at odd columns, green sites at even columns.
        put<kForm>(out, out.up, x - 1, fromFour(oldL.odd, dUp2L, dUp2, dMidL, dMid),
                   fromTwo(up1.even, dUp2, dMid), oldL.odd, up1.even, up1L.odd,
                   fromTwo(up1.even, dUp1L, dUp1));
        // Row r: green sites at odd columns, red sites at even columns.
        put<kForm>(out, out.lo, x - 1, fromTwo(midL.odd, dMidL, dMid), mid.even, midL.odd, newE,
                   fromTwo(midL.odd, dUp1L, dLo1L), fromFour(newE, dUp1L, dUp1, dLo1L, dLo1));

        pending = _mm256_or_si256(newE, _mm256_slli_epi16(newO, 8));
        prevE = newE;
        prevO = newO;
    }
    // The next step reads line bytes from x - 2 on: the lower half may go in.
    _mm_storeu_si128(reinterpret_cast<__m128i*>(line + x - 32), _mm256_castsi256_si128(pending));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(run.pending), _mm256_extracti128_si256(pending, 1));
    run.lastE = _mm256_extract_epi16(prevE, 15);
    run.lastO = _mm256_extract_epi16(prevO, 15);
    run.open = true;
}

}  // namespace

void edgeStepsAvx2(const EdgeOut& out, const uint8_t* const* rows, uint8_t* line, int32_t x,
                   int32_t n, EdgeRun& run) {
    if (n <= 0) return;
    switch (out.form) {
        case Form8::Bgr8:
            return steps<Form8::Bgr8>(out, rows, line, x, n, run);
        case Form8::Bgra8:
            return steps<Form8::Bgra8>(out, rows, line, x, n, run);
        case Form8::Planar:
            return steps<Form8::Planar>(out, rows, line, x, n, run);
        case Form8::Mono8:
            return steps<Form8::Mono8>(out, rows, line, x, n, run);
    }
}

}  // namespace tav::d8::edge
