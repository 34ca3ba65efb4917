// Nearest-neighbour demosaicing of 8-bit RG and GB mosaics into BGR8, BGRa8,
// planar and Mono8. Every output byte is a copy of one source sample (or, for
// Mono8, one weighted sum of three); the selection rule is in nearest8.h.
#include "nearest8.h"

#include <immintrin.h>

#include <type_traits>

#include "simd.h"
#include "tav.h"
#include "writers.h"

namespace tav::d8 {
namespace {

// Luma weights of the Mono8 kernels, by exchange flag: red and blue weights swap.
constexpr uint32_t kNearestWeights[2][3] = {{77, 150, 29}, {29, 150, 77}};

// ---- 16 pixels from column x: lane i is column x + i

// Parity of a step's first column, and whether its stores stream.
using Odd = std::true_type;
using Even = std::false_type;
using Streamed = std::true_type;
using Cached = std::false_type;

// Every source column feeds two neighbouring pixels. A column of x's parity is
// shared by the lanes 2k and 2k + 1 (both take p[2k]); the other parity splits,
// lane 2k taking p[2k - 1] and lane 2k + 1 taking p[2k + 1].
inline __m128i sharedPick(const uint8_t* p) {
    const __m128i pairs = _mm_setr_epi8(0, 0, 2, 2, 4, 4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14);
    return _mm_shuffle_epi8(simd::load(p), pairs);
}
inline __m128i splitPick(const uint8_t* p) {
    const __m128i evenLanes = _mm_set1_epi16(0x00FF);
    return _mm_or_si128(_mm_and_si128(evenLanes, simd::load(p - 1)),
                        _mm_andnot_si128(evenLanes, simd::load(p)));
}

// The even (odd) column at or left of each pixel.
template <bool kOdd>
inline __m128i evenAtOrLeft(const uint8_t* p) {
    return kOdd ? splitPick(p) : sharedPick(p);
}
template <bool kOdd>
inline __m128i oddAtOrLeft(const uint8_t* p) {
    return kOdd ? sharedPick(p) : splitPick(p);
}

struct Px16 {
    __m128i r, g, b;
};

// A row with blue sites (G B G B ...); `other` is the cell's other row, which has red sites.
template <bool kOdd>
inline Px16 blueRow16(const uint8_t* row, const uint8_t* other) {
    return {evenAtOrLeft<kOdd>(other), evenAtOrLeft<kOdd>(row), oddAtOrLeft<kOdd>(row)};
}

// A row with red sites (R G R G ...); `other` is the cell's other row, which has blue sites.
template <bool kOdd>
inline Px16 redRow16(const uint8_t* row, const uint8_t* other) {
    return {evenAtOrLeft<kOdd>(row), oddAtOrLeft<kOdd>(row), oddAtOrLeft<kOdd>(other)};
}

// ---- storing 16 pixels; streamed stores need 16-byte aligned addresses

template <int kBytes>
inline void streamBlock(const uint8_t* block, uint8_t* out) {
#pragma GCC unroll 4
    for (int i = 0; i < kBytes; i += 16) simd::store<true>(out + i, simd::load(block + i));
}

// Streamed interleaved forms are built in an aligned block by the writer itself.
template <bool kStream>
inline void put16(const Bgr8Writer& w, int32_t x, __m128i r, __m128i g, __m128i b) {
    if constexpr (kStream) {
        alignas(16) uint8_t block[48];
        Bgr8Writer{block, w.width, w.exchange}.put16(0, r, g, b);
        streamBlock<48>(block, w.row + 3 * x);
    } else {
        w.put16(x, r, g, b);
    }
}
template <bool kStream>
inline void put16(const Bgra8Writer& w, int32_t x, __m128i r, __m128i g, __m128i b) {
    if constexpr (kStream) {
        alignas(16) uint8_t block[64];
        Bgra8Writer{block, w.width, w.exchange}.put16(0, r, g, b);
        streamBlock<64>(block, w.row + 4 * x);
    } else {
        w.put16(x, r, g, b);
    }
}
template <bool kStream>
inline void put16(const PlanarWriter& w, int32_t x, __m128i r, __m128i g, __m128i b) {
    simd::store<kStream>(w.first + x, r);
    simd::store<kStream>(w.second + x, g);
    simd::store<kStream>(w.third + x, b);
}

// 16 pixels of one or two rows through a writer.
template <typename W>
struct Step16 {
    W w;

    template <bool kRedRow, bool kOdd, bool kStream>
    void row(int32_t x, const uint8_t* row, const uint8_t* other) const {
        const Px16 p =
            kRedRow ? redRow16<kOdd>(row + x, other + x) : blueRow16<kOdd>(row + x, other + x);
        put16<kStream>(w, x, p.r, p.g, p.b);
    }
    // Both rows are picked before either is stored, so shared samples load once.
    template <bool kOdd, bool kStream>
    static void band(const Step16& s0, const Step16& s1, int32_t x, const uint8_t* above,
                     const uint8_t* upper, const uint8_t* lower) {
        const Px16 a = blueRow16<kOdd>(upper + x, above + x);
        const Px16 b = redRow16<kOdd>(lower + x, upper + x);
        put16<kStream>(s0.w, x, a.r, a.g, a.b);
        put16<kStream>(s1.w, x, b.r, b.g, b.b);
    }
};

// Mono8 weighs the source columns before picking: every column feeds the luma
// of two neighbouring pixels, so summing first halves the multiplies. In 16-bit
// lane k the pixel pair (x + 2k, x + 2k + 1) shares column x + 2k; its left
// pixel also takes column x + 2k - 1 and its right pixel column x + 2k + 1.
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

    // Weighted samples of one column: a row with red sites has red on even
    // columns and green over blue on odd ones; a row with blue sites has green
    // over red on even columns and blue on odd ones.
    template <bool kRedRow, bool kEvenColumn>
    __m128i term(__m128i row, __m128i other) const {
        if (kRedRow) {
            if (kEvenColumn) return _mm_mullo_epi16(row, wr);
            return _mm_add_epi16(_mm_mullo_epi16(row, wg), _mm_mullo_epi16(other, wb));
        }
        if (kEvenColumn) return _mm_add_epi16(_mm_mullo_epi16(other, wr), _mm_mullo_epi16(row, wg));
        return _mm_mullo_epi16(row, wb);
    }

    template <bool kRedRow, bool kOdd, bool kStream>
    void row(int32_t x, const uint8_t* row, const uint8_t* other) const {
        const __m128i r0 = simd::load(row + x), rm = simd::load(row + x - 1);
        const __m128i o0 = simd::load(other + x), om = simd::load(other + x - 1);
        const __m128i shared =
            _mm_add_epi16(term<kRedRow, !kOdd>(lowBytes(r0), lowBytes(o0)), _mm_set1_epi16(128));
        const __m128i left = term<kRedRow, kOdd>(lowBytes(rm), lowBytes(om));
        const __m128i right = term<kRedRow, kOdd>(highBytes(r0), highBytes(o0));
        const __m128i lumaLeft = _mm_srli_epi16(_mm_add_epi16(left, shared), 8);
        const __m128i lumaRight = _mm_add_epi16(right, shared);  // luma in the high byte
        simd::store<kStream>(
            out + x, _mm_or_si128(lumaLeft, _mm_andnot_si128(_mm_set1_epi16(0x00FF), lumaRight)));
    }
    template <bool kOdd, bool kStream>
    static void band(const Step16& s0, const Step16& s1, int32_t x, const uint8_t* above,
                     const uint8_t* upper, const uint8_t* lower) {
        s0.row<false, kOdd, kStream>(x, upper, above);
        s1.row<true, kOdd, kStream>(x, lower, upper);
    }
};

// Covers columns 0 .. width-1 with step(x, parity, store policy) over 16
// columns and single(x) over one. Cached: steps from column 1. Streamed (rows
// start 16-byte aligned): steps from column 16, after one cached step over
// columns 1 to 16. A last cached step, moved left to end at the row's end and
// starting on an odd column, rewrites equal bytes; single columns do the rest.
template <bool kStream, typename Step, typename Single>
inline void sweep(int32_t width, Step step, Single single) {
    single(0);
    int32_t x = 1;
    if (kStream && width >= 32) {
        step(1, Odd{}, Cached{});
        for (x = 16; x + 16 <= width; x += 16) step(x, Even{}, Streamed{});
    } else {
        for (; x + 16 <= width; x += 16) step(x, Odd{}, Cached{});
    }
    if (width - x > 1) {
        const int32_t last = width - 16 - ((width & 1) ^ 1);
        if (last >= 1) {
            step(last, Odd{}, Cached{});
            x = last + 16;
        }
    }
    for (; x < width; ++x) single(x);
}

template <typename W>
inline void put(const W& w, int32_t x, const Rgb& p) {
    w.put(x, p.r, p.g, p.b);
}

// One row whose cell partner `other` lies above it (dy 1) or, for row 0, below it (dy 0).
template <bool kRedRow, bool kStream = false, typename W>
void nearestRow(const uint8_t* row, const uint8_t* other, int dy, int32_t width, const W& w) {
    const uint8_t* top = dy ? other : row;
    const uint8_t* bottom = dy ? row : other;
    const int redRow = (dy == 0) == kRedRow ? 0 : 1;
    const Step16<W> step{w};
    sweep<kStream>(
        width,
        [step, row, other](int32_t x, auto odd, auto stream) {
            step.template row<kRedRow, decltype(odd)::value, decltype(stream)::value>(x, row,
                                                                                      other);
        },
        [w, top, bottom, redRow, dy](int32_t x) {
            put(w, x, nearestPixel(top, bottom, redRow, dy, x));
        });
}

// Two rows: `upper` with blue sites, `lower` with red sites, `above` the row over `upper`.
template <bool kStream = false, typename W>
void nearestBand(const uint8_t* above, const uint8_t* upper, const uint8_t* lower, int32_t width,
                 const W& w) {
    const W w1 = w.next(1);
    const Step16<W> s0{w}, s1{w1};
    sweep<kStream>(
        width,
        [s0, s1, above, upper, lower](int32_t x, auto odd, auto stream) {
            Step16<W>::template band<decltype(odd)::value, decltype(stream)::value>(
                s0, s1, x, above, upper, lower);
        },
        [w, w1, above, upper, lower](int32_t x) {
            put(w, x, nearestPixel(above, upper, 0, 1, x));
            put(w1, x, nearestPixel(upper, lower, 1, 1, x));
        });
}

// A whole frame. RG: row 0 has red sites; GB: row 0 has blue sites and row 1
// is done alone, after which rows pair up as in RG from row 2.
template <bool kStream, typename W>
void nearestFrame(const uint8_t* src, int32_t height, int32_t width, bool gb, const W& w) {
    const uint8_t* row1 = src + width;
    int32_t y = 1;
    W out = w.next(1);
    if (gb) {
        nearestRow<false, kStream>(src, row1, 0, width, w);
        nearestRow<true, kStream>(row1, src, 1, width, out);
        y = 2;
        out = out.next(1);
    } else {
        nearestRow<true, kStream>(src, row1, 0, width, w);
    }
    const uint8_t* above = src + static_cast<ptrdiff_t>(y - 1) * width;
    for (; y < height - 1; y += 2) {
        nearestBand<kStream>(above, above + width, above + 2 * width, width, out);
        above += 2 * width;
        out = out.next(2);
    }
    if (y < height) nearestRow<false, kStream>(above + width, above, 1, width, out);
}

// Output forms from the exported arguments.
inline Bgr8Writer bgr8(uint8_t* dst, int32_t width, uint32_t flag) {
    return {dst, width, flag != 0};
}
inline Bgra8Writer bgra8(uint8_t* dst, int32_t width, uint32_t flag) {
    return {dst, width, flag != 0};
}
inline Mono8Writer mono8(uint8_t* dst, int32_t width, uint32_t flag) {
    return {dst, width, kNearestWeights[flag != 0]};
}
inline PlanarWriter planes(uint8_t* first, uint8_t* second, uint8_t* third, int32_t width) {
    return {first, second, third, width};
}

template <typename W>
void frameWith(const W& w, const uint8_t* src, int32_t height, int32_t width, bool gb,
               bool stream) {
    if (stream) {
        nearestFrame<true>(src, height, width, gb, w);
        _mm_sfence();
    } else {
        nearestFrame<false>(src, height, width, gb, w);
    }
}

}  // namespace

int32_t nearestFrame8(NearestOut out, bool gb, const uint8_t* src, int32_t height, int32_t width,
                      uint8_t* first, uint8_t* second, uint8_t* third, uint32_t flag,
                      size_t streamFrom) {
    static constexpr int kBytes[] = {3, 4, 1, 3};
    const size_t rowBytes = size_t(kBytes[int(out)]) * size_t(width);
    const bool planesAligned =
        out != NearestOut::Planar || (simd::aligned16(second) && simd::aligned16(third));
    const bool stream = rowBytes * size_t(height) >= streamFrom && rowBytes % 16 == 0 &&
                        simd::aligned16(first) && planesAligned;
    switch (out) {
        case NearestOut::Bgr8:
            frameWith(bgr8(first, width, flag), src, height, width, gb, stream);
            break;
        case NearestOut::Bgra8:
            frameWith(bgra8(first, width, flag), src, height, width, gb, stream);
            break;
        case NearestOut::Mono8:
            frameWith(mono8(first, width, flag), src, height, width, gb, stream);
            break;
        case NearestOut::Planar:
            frameWith(planes(first, second, third, width), src, height, width, gb, stream);
            break;
    }
    return TAV_OK;
}

}  // namespace tav::d8

using namespace tav::d8;

extern "C" {

// ---- wrappers

int32_t rg8ToBgr8_nearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                          uint32_t flag) {
    return nearestFrame8(NearestOut::Bgr8, false, src, height, width, dst, nullptr, nullptr, flag);
}
int32_t gb8ToBgr8_nearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                          uint32_t flag) {
    return nearestFrame8(NearestOut::Bgr8, true, src, height, width, dst, nullptr, nullptr, flag);
}
int32_t rg8ToBgra8_nearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                           uint32_t flag) {
    return nearestFrame8(NearestOut::Bgra8, false, src, height, width, dst, nullptr, nullptr, flag);
}
int32_t gb8ToBgra8_nearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                           uint32_t flag) {
    return nearestFrame8(NearestOut::Bgra8, true, src, height, width, dst, nullptr, nullptr, flag);
}
int32_t rg8ToMono8_nearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                           uint32_t flag) {
    return nearestFrame8(NearestOut::Mono8, false, src, height, width, dst, nullptr, nullptr, flag);
}
int32_t gb8ToMono8_nearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                           uint32_t flag) {
    return nearestFrame8(NearestOut::Mono8, true, src, height, width, dst, nullptr, nullptr, flag);
}
int32_t rg8ToBgr8P_nearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* first,
                           uint8_t* second, uint8_t* third) {
    return nearestFrame8(NearestOut::Planar, false, src, height, width, first, second, third, 0);
}
int32_t gb8ToBgr8P_nearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* first,
                           uint8_t* second, uint8_t* third) {
    return nearestFrame8(NearestOut::Planar, true, src, height, width, first, second, third, 0);
}

// ---- bands of two rows: a row with blue sites, then one with red sites

void rg8ToBgr8_nearest_body(const uint8_t* above, const uint8_t* upper, const uint8_t* lower,
                            int32_t width, uint8_t* dst, uint32_t flag) {
    nearestBand(above, upper, lower, width, bgr8(dst, width, flag));
}
void rg8ToBgra8_nearest_body(const uint8_t* above, const uint8_t* upper, const uint8_t* lower,
                             int32_t width, uint8_t* dst, uint32_t flag) {
    nearestBand(above, upper, lower, width, bgra8(dst, width, flag));
}
void rg8ToMono8_nearest_body(const uint8_t* above, const uint8_t* upper, const uint8_t* lower,
                             int32_t width, uint8_t* dst, uint32_t flag) {
    nearestBand(above, upper, lower, width, mono8(dst, width, flag));
}
void rg8ToBgr8P_nearest_body(const uint8_t* above, const uint8_t* upper, const uint8_t* lower,
                             int32_t width, uint8_t* first, uint8_t* second, uint8_t* third) {
    nearestBand(above, upper, lower, width, planes(first, second, third, width));
}

// ---- the last row, one with blue sites below a row with red sites

void rg8ToBgr8_nearest_lastRows(const uint8_t* above, const uint8_t* row, int32_t width,
                                uint8_t* dst, uint32_t flag) {
    nearestRow<false>(row, above, 1, width, bgr8(dst, width, flag));
}
void rg8ToBgra8_nearest_lastRows(const uint8_t* above, const uint8_t* row, int32_t width,
                                 uint8_t* dst, uint32_t flag) {
    nearestRow<false>(row, above, 1, width, bgra8(dst, width, flag));
}
void rg8ToMono8_nearest_lastRows(const uint8_t* above, const uint8_t* row, int32_t width,
                                 uint8_t* dst, uint32_t flag) {
    nearestRow<false>(row, above, 1, width, mono8(dst, width, flag));
}
void rg8ToBgr8P_nearest_lastRows(const uint8_t* above, const uint8_t* row, int32_t width,
                                 uint8_t* first, uint8_t* second, uint8_t* third) {
    nearestRow<false>(row, above, 1, width, planes(first, second, third, width));
}

}  // extern "C"
