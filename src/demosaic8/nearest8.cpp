// Nearest-neighbour demosaicing of 8-bit RG and GB mosaics into BGR8, BGRa8,
// planar and Mono8. Every output byte is a copy of one source sample (or, for
// Mono8, one weighted sum of three); the selection rule is in nearest8.h.
//
// Stores are ordinary ones. Streaming stores gained nothing measurable on
// 4096 x 3000 frames and slowed Mono8 fifty-fold when source and destination
// rows lie within a few hundred bytes of each other modulo 4 KiB (the next
// step's loads then wait on the streamed stores).
#include "nearest8.h"

#include <immintrin.h>

#include <cstddef>
#include <type_traits>

#include "nearest8_avx2.h"
#include "rows.h"
#include "simd.h"
#include "tav.h"
#include "threads.h"
#include "writers.h"

namespace tav::d8 {
namespace {

// ---- 16 pixels from an odd column x: lane i is column x + i
//
// Inside the frame the cell rule takes every colour from the nearest column
// of the right parity at or left of the pixel: in a row with blue sites red
// (from the row above) and green come from even columns and blue from odd
// ones; in a row with red sites red comes from even columns, green and blue
// (from the row above) from odd ones. Each column thus serves two pixels.

// The odd column at or left of each pixel: lanes 2k and 2k + 1 both take p[2k].
inline __m128i oddAtOrLeft(const uint8_t* p) {
    const __m128i pairs = _mm_setr_epi8(0, 0, 2, 2, 4, 4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14);
    return _mm_shuffle_epi8(simd::load(p), pairs);
}

// The even column at or left of each pixel: lane 2k takes p[2k - 1], lane 2k + 1 takes p[2k + 1].
inline __m128i evenAtOrLeft(const uint8_t* p) {
    const __m128i evenLanes = _mm_set1_epi16(0x00FF);
    return _mm_or_si128(_mm_and_si128(evenLanes, simd::load(p - 1)),
                        _mm_andnot_si128(evenLanes, simd::load(p)));
}

struct Px16 {
    __m128i r, g, b;
};

// A row with blue sites (G B G B ...); `other` is the cell's other row, which has red sites.
inline Px16 blueRow16(const uint8_t* row, const uint8_t* other) {
    return {evenAtOrLeft(other), evenAtOrLeft(row), oddAtOrLeft(row)};
}

// A row with red sites (R G R G ...); `other` is the cell's other row, which has blue sites.
inline Px16 redRow16(const uint8_t* row, const uint8_t* other) {
    return {evenAtOrLeft(row), oddAtOrLeft(row), oddAtOrLeft(other)};
}

// 16 pixels of one or two rows through a writer.
template <typename W>
struct Step16 {
    W w;

    template <bool kRedRow>
    void row(int32_t x, const uint8_t* row, const uint8_t* other) const {
        const Px16 p = kRedRow ? redRow16(row + x, other + x) : blueRow16(row + x, other + x);
        w.put16(x, p.r, p.g, p.b);
    }
    // Both rows are picked before either is stored, so shared samples load once.
    static void band(const Step16& s0, const Step16& s1, int32_t x, const uint8_t* above,
                     const uint8_t* upper, const uint8_t* lower) {
        const Px16 a = blueRow16(upper + x, above + x);
        const Px16 b = redRow16(lower + x, upper + x);
        s0.w.put16(x, a.r, a.g, a.b);
        s1.w.put16(x, b.r, b.g, b.b);
    }
};

// Mono8 weighs the source columns before picking, which halves the
// multiplies. In 16-bit lane k the pixel pair (x + 2k, x + 2k + 1) shares the
// odd column x + 2k; its left pixel takes the even column x + 2k - 1 and its
// right pixel the even column x + 2k + 1.
template <>
struct Step16<Mono8Writer> {
    uint8_t* out;
    __m128i wr, wg, wb;

    explicit Step16(const Mono8Writer& m)
        : out(m.row),
          wr(_mm_set1_epi16(static_cast<int16_t>(m.weights[0]))),
          wg(_mm_set1_epi16(static_cast<int16_t>(m.weights[1]))),
          wb(_mm_set1_epi16(static_cast<int16_t>(m.weights[2]))) {}

    static __m128i lowBytes(__m128i v) { return _mm_and_si128(v, _mm_set1_epi16(0x00FF)); }
    static __m128i highBytes(__m128i v) { return _mm_srli_epi16(v, 8); }

    // Lumas of the pairs from the weighted even columns of their left and
    // right pixels and the weighted odd column they share. The sums stay below
    // 2^16 (the weights add up to 256).
    void store(int32_t x, __m128i evenLeft, __m128i evenRight, __m128i odd) const {
        const __m128i shared = _mm_add_epi16(odd, _mm_set1_epi16(128));
        const __m128i left = _mm_srli_epi16(_mm_add_epi16(evenLeft, shared), 8);
        const __m128i right = _mm_add_epi16(evenRight, shared);  // luma in the high byte
        const __m128i highByte = _mm_set1_epi16(static_cast<int16_t>(0xFF00));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + x),
                         _mm_or_si128(left, _mm_and_si128(right, highByte)));
    }

    template <bool kRedRow>
    void row(int32_t x, const uint8_t* row, const uint8_t* other) const {
        const __m128i r0 = simd::load(row + x), rm = simd::load(row + x - 1);
        const __m128i o0 = simd::load(other + x);
        if (kRedRow) {  // red on even columns, green over blue on odd ones
            const __m128i odd =
                _mm_add_epi16(_mm_mullo_epi16(lowBytes(r0), wg), _mm_mullo_epi16(lowBytes(o0), wb));
            store(x, _mm_mullo_epi16(lowBytes(rm), wr), _mm_mullo_epi16(highBytes(r0), wr), odd);
        } else {  // green over red on even columns, blue on odd ones
            const __m128i om = simd::load(other + x - 1);
            const __m128i left =
                _mm_add_epi16(_mm_mullo_epi16(lowBytes(om), wr), _mm_mullo_epi16(lowBytes(rm), wg));
            const __m128i right = _mm_add_epi16(_mm_mullo_epi16(highBytes(o0), wr),
                                                _mm_mullo_epi16(highBytes(r0), wg));
            store(x, left, right, _mm_mullo_epi16(lowBytes(r0), wb));
        }
    }
    static void band(const Step16& s0, const Step16& s1, int32_t x, const uint8_t* above,
                     const uint8_t* upper, const uint8_t* lower) {
        s0.row<false>(x, upper, above);
        s1.row<true>(x, lower, upper);
    }
};

// Covers columns 0 .. width-1: column 0, then `wide(n)` (where given) for n
// AVX2 steps of 32 from column 1, the steps of 16 after them, and the columns
// no step reaches by the single-pixel rule.
template <typename Step, typename Single, typename Wide = std::nullptr_t>
inline void sweep(int32_t width, Step step, Single single, Wide wide = nullptr) {
    single(0);
    int32_t x = 1;
    if constexpr (!std::is_null_pointer_v<Wide>) {
        const int32_t n = wideSteps<32>(x, width);
        if (n > 0) wide(n);
        x += 32 * n;
    }
    eachStep<16>(x, width, width, step, [&single](int32_t c, bool) { single(c); });
}

// Where the AVX2 body writes a band: `upper` and `lower` rows.
inline WideOut wideOut(const Bgr8Writer& upper, const Bgr8Writer& lower) {
    return {Form8::Bgr8,
            upper.exchange,
            {upper.row, nullptr, nullptr},
            {lower.row, nullptr, nullptr},
            nullptr,
            0};
}
inline WideOut wideOut(const Bgra8Writer& upper, const Bgra8Writer& lower) {
    return {
        Form8::Bgra8, upper.exchange, {upper.row, nullptr, nullptr}, {lower.row, nullptr, nullptr},
        nullptr,      upper.alpha};
}
inline WideOut wideOut(const PlanarWriter& upper, const PlanarWriter& lower) {
    return {Form8::Planar,
            false,
            {upper.first, upper.second, upper.third},
            {lower.first, lower.second, lower.third},
            nullptr,
            0};
}
inline WideOut wideOut(const Mono8Writer& upper, const Mono8Writer& lower) {
    return {Form8::Mono8,  false, {upper.row, nullptr, nullptr}, {lower.row, nullptr, nullptr},
            upper.weights, 0};
}

template <typename W>
inline void put(const W& w, int32_t x, const Rgb& p) {
    w.put(x, p.r, p.g, p.b);
}

// One row whose cell partner `other` lies above it (dy 1) or, for row 0, below it (dy 0).
template <bool kRedRow, typename W>
void nearestRow(const uint8_t* row, const uint8_t* other, int dy, int32_t width, const W& w) {
    const uint8_t* top = dy ? other : row;
    const uint8_t* bottom = dy ? row : other;
    const int redRow = (dy == 0) == kRedRow ? 0 : 1;
    const Step16<W> step{w};
    sweep(
        width, [step, row, other](int32_t x) { step.template row<kRedRow>(x, row, other); },
        [w, top, bottom, redRow, dy](int32_t x) {
            put(w, x, nearestPixel(top, bottom, redRow, dy, x));
        });
}

// Two rows: `upper` with blue sites, `lower` with red sites, `above` the row over `upper`.
template <typename W>
void nearestBand(const uint8_t* above, const uint8_t* upper, const uint8_t* lower, int32_t width,
                 const W& w) {
    const W w1 = w.next(1);
    const Step16<W> s0{w}, s1{w1};
    sweep(
        width,
        [s0, s1, above, upper, lower](int32_t x) {
            Step16<W>::band(s0, s1, x, above, upper, lower);
        },
        [w, w1, above, upper, lower](int32_t x) {
            put(w, x, nearestPixel(above, upper, 0, 1, x));
            put(w1, x, nearestPixel(upper, lower, 1, 1, x));
        },
        [&](int32_t n) { nearestBandAvx2(wideOut(w, w1), above, upper, lower, 1, n); });
}

// A whole frame. RG: row 0 has red sites; GB: row 0 has blue sites and row 1
// is done alone, after which rows pair up as in RG from row 2. Writers step
// down a row or two at a time, so no offset grows with the frame.
template <typename W>
int32_t nearestFrame(const uint8_t* src, int32_t height, int32_t width, bool gb, const W& w) {
    const uint8_t* row1 = src + width;
    int32_t y = 1;
    W out = w.next(1);
    if (gb) {
        nearestRow<false>(src, row1, 0, width, w);
        nearestRow<true>(row1, src, 1, width, out);
        y = 2;
        out = out.next(1);
    } else {
        nearestRow<true>(src, row1, 0, width, w);
    }
    // Row pairs from y on, in bands of pairs; each band finds its first pair.
    const int32_t pairs = (height - y) / 2;
    const uint8_t* first = src + static_cast<ptrdiff_t>(y - 1) * width;
    parallelRows(pairs, minBandUnits(2 * int64_t{width}), [&](int32_t p0, int32_t p1) {
        const uint8_t* above = first + 2 * static_cast<ptrdiff_t>(p0) * width;
        W band = out;
        for (int32_t p = 0; p < p0; ++p) band = band.next(2);
        for (int32_t p = p0; p < p1; ++p) {
            nearestBand(above, above + width, above + 2 * width, width, band);
            above += 2 * width;
            band = band.next(2);
        }
    });
    y += 2 * pairs;
    for (int32_t p = 0; p < pairs; ++p) out = out.next(2);
    const uint8_t* above = first + 2 * static_cast<ptrdiff_t>(pairs) * width;
    if (y < height) nearestRow<false>(above + width, above, 1, width, out);
    return TAV_OK;
}

// Output forms from the exported arguments.
inline Bgr8Writer bgr8(uint8_t* dst, int32_t width, uint32_t exchange) {
    return {dst, width, exchange != 0};
}
inline Bgra8Writer bgra8(uint8_t* dst, int32_t width, uint32_t exchange) {
    return {dst, width, exchange != 0};
}
inline Mono8Writer mono8(uint8_t* dst, int32_t width, uint32_t exchange) {
    return {dst, width, kLumaWeights[exchange != 0]};
}
inline PlanarWriter planes(uint8_t* first, uint8_t* second, uint8_t* third, int32_t width) {
    return {first, second, third, width};
}

}  // namespace
}  // namespace tav::d8

using namespace tav::d8;

namespace tav {

int32_t rg8ToBgra8OpaqueNearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                                uint32_t exchange) {
    return nearestFrame(src, height, width, false, Bgra8Writer{dst, width, exchange != 0, 255});
}
int32_t gb8ToBgra8OpaqueNearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                                uint32_t exchange) {
    return nearestFrame(src, height, width, true, Bgra8Writer{dst, width, exchange != 0, 255});
}

}  // namespace tav

extern "C" {

// ---- wrappers

int32_t rg8ToBgr8_nearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                          uint32_t exchange) {
    return nearestFrame(src, height, width, false, bgr8(dst, width, exchange));
}
int32_t gb8ToBgr8_nearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                          uint32_t exchange) {
    return nearestFrame(src, height, width, true, bgr8(dst, width, exchange));
}
int32_t rg8ToBgra8_nearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                           uint32_t exchange) {
    return nearestFrame(src, height, width, false, bgra8(dst, width, exchange));
}
int32_t gb8ToBgra8_nearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                           uint32_t exchange) {
    return nearestFrame(src, height, width, true, bgra8(dst, width, exchange));
}
int32_t rg8ToMono8_nearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                           uint32_t exchange) {
    return nearestFrame(src, height, width, false, mono8(dst, width, exchange));
}
int32_t gb8ToMono8_nearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                           uint32_t exchange) {
    return nearestFrame(src, height, width, true, mono8(dst, width, exchange));
}
int32_t rg8ToBgr8P_nearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* first,
                           uint8_t* second, uint8_t* third) {
    return nearestFrame(src, height, width, false, planes(first, second, third, width));
}
int32_t gb8ToBgr8P_nearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* first,
                           uint8_t* second, uint8_t* third) {
    return nearestFrame(src, height, width, true, planes(first, second, third, width));
}

// ---- bands of two rows: a row with blue sites, then one with red sites

void rg8ToBgr8_nearest_body(const uint8_t* above, const uint8_t* upper, const uint8_t* lower,
                            int32_t width, uint8_t* dst, uint32_t exchange) {
    nearestBand(above, upper, lower, width, bgr8(dst, width, exchange));
}
void rg8ToBgra8_nearest_body(const uint8_t* above, const uint8_t* upper, const uint8_t* lower,
                             int32_t width, uint8_t* dst, uint32_t exchange) {
    nearestBand(above, upper, lower, width, bgra8(dst, width, exchange));
}
void rg8ToMono8_nearest_body(const uint8_t* above, const uint8_t* upper, const uint8_t* lower,
                             int32_t width, uint8_t* dst, uint32_t exchange) {
    nearestBand(above, upper, lower, width, mono8(dst, width, exchange));
}
void rg8ToBgr8P_nearest_body(const uint8_t* above, const uint8_t* upper, const uint8_t* lower,
                             int32_t width, uint8_t* first, uint8_t* second, uint8_t* third) {
    nearestBand(above, upper, lower, width, planes(first, second, third, width));
}

// ---- the last row, one with blue sites below a row with red sites

void rg8ToBgr8_nearest_lastRows(const uint8_t* above, const uint8_t* row, int32_t width,
                                uint8_t* dst, uint32_t exchange) {
    nearestRow<false>(row, above, 1, width, bgr8(dst, width, exchange));
}
void rg8ToBgra8_nearest_lastRows(const uint8_t* above, const uint8_t* row, int32_t width,
                                 uint8_t* dst, uint32_t exchange) {
    nearestRow<false>(row, above, 1, width, bgra8(dst, width, exchange));
}
void rg8ToMono8_nearest_lastRows(const uint8_t* above, const uint8_t* row, int32_t width,
                                 uint8_t* dst, uint32_t exchange) {
    nearestRow<false>(row, above, 1, width, mono8(dst, width, exchange));
}
void rg8ToBgr8P_nearest_lastRows(const uint8_t* above, const uint8_t* row, int32_t width,
                                 uint8_t* first, uint8_t* second, uint8_t* third) {
    nearestRow<false>(row, above, 1, width, planes(first, second, third, width));
}

}  // extern "C"
