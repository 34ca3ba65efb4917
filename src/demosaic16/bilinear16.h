// Bilinear demosaicing of 16-bit Bayer samples.
//
// Every pixel of a row is one of two kinds. At a colour site (red or blue:
// call its colour X, the opposite colour Y) X is the sample itself, green the
// mean of the four cross neighbours and Y the mean of the four diagonal ones.
// At a green site X is the mean of the horizontal pair (X shares the row) and
// Y the mean of the vertical pair. Means truncate. Neighbours outside the
// frame are read from their mirror position, the edge not repeated (row -1
// reads row 1, row H reads row H-2), which gives every border formula.
//
// A frame is walked row by row: the row above and below are mirrored by
// pointer, the two edge columns by index, and the columns in between run 8 at
// a time with the same arithmetic (four samples widened to 32 bits before
// they are added).
#pragma once

#include <cstdint>

#include "bilinear16_avx2.h"
#include "bilinear_sites.h"
#include "mirror.h"
#include "passes.h"
#include "rows.h"
#include "threads.h"
#include "words.h"

namespace tav::d16 {

// One row of a mosaic with its mirrored neighbour rows. X sites sit at the
// columns whose parity is `xParity`; X is red on rows where `xIsRed`.
struct BayerRow {
    const uint16_t* up;
    const uint16_t* mid;
    const uint16_t* down;
    int32_t width;
    int32_t xParity;
    bool xIsRed;
};

inline BayerRow bayerRow(const uint16_t* src, int32_t height, int32_t width, int32_t y,
                         int32_t phaseCol) {
    auto rowAt = [&](int32_t i) { return src + static_cast<intptr_t>(mirror(i, height)) * width; };
    return {rowAt(y - 1), rowAt(y), rowAt(y + 1), width, (phaseCol + y) & 1, (y & 1) == 0};
}

// ---- one site: the shared rule (bilinear_sites.h) on the row's samples

// Row y of the rule is r.mid, rows y -/+ 1 are r.up and r.down; columns mirror.
struct RowSamples {
    const BayerRow& r;
    uint32_t operator()(int32_t y, int32_t x) const {
        return (y < 0 ? r.up : y > 0 ? r.down : r.mid)[mirror(x, r.width)];
    }
};

template <typename RowWriter>
inline void putSite(const RowWriter& out, const BayerRow& r, int32_t x) {
    const bool xSite = (x & 1) == r.xParity;
    const Rgb c = bilinearAt(RowSamples{r}, 0, x, r.xIsRed, xSite == r.xIsRed);
    out.put(x, c.r, c.g, c.b);
}

// ---- 8 sites at once

// The 16-bit lanes of the X sites, zero-extended into 32-bit lanes.
template <bool kXOdd>
inline __m128i xLanes(__m128i v) {
    if constexpr (kXOdd) {
        return _mm_srli_epi32(v, 16);
    } else {
        return _mm_and_si128(v, _mm_set1_epi32(0xFFFF));
    }
}

// (a + b + c + d) >> 2 at the X lanes, placed back into those 16-bit lanes.
template <bool kXOdd>
inline __m128i meanOf4(__m128i a, __m128i b, __m128i c, __m128i d) {
    const __m128i s = _mm_add_epi32(_mm_add_epi32(xLanes<kXOdd>(a), xLanes<kXOdd>(b)),
                                    _mm_add_epi32(xLanes<kXOdd>(c), xLanes<kXOdd>(d)));
    const __m128i m = _mm_srli_epi32(s, 2);
    return kXOdd ? _mm_slli_epi32(m, 16) : m;
}

// Lanes of `atX` at the X sites, of `atGreen` elsewhere.
template <bool kXOdd>
inline __m128i pickX(__m128i atGreen, __m128i atX) {
    return _mm_blend_epi16(atGreen, atX, kXOdd ? 0xAA : 0x55);
}

// Sites x .. x+7; needs columns x-1 .. x+8 inside the row.
template <bool kXOdd, typename RowWriter>
inline void putSites8(const RowWriter& out, const BayerRow& r, int32_t x) {
    const __m128i a0 = loadWords(r.up + x - 1), a1 = loadWords(r.up + x),
                  a2 = loadWords(r.up + x + 1);
    const __m128i c0 = loadWords(r.mid + x - 1), c1 = loadWords(r.mid + x),
                  c2 = loadWords(r.mid + x + 1);
    const __m128i b0 = loadWords(r.down + x - 1), b1 = loadWords(r.down + x),
                  b2 = loadWords(r.down + x + 1);
    const __m128i xc = pickX<kXOdd>(averageDown(c0, c2), c1);
    const __m128i g = pickX<kXOdd>(c1, meanOf4<kXOdd>(a1, b1, c0, c2));
    const __m128i yc = pickX<kXOdd>(averageDown(a1, b1), meanOf4<kXOdd>(a0, a2, b0, b2));
    if (r.xIsRed) {
        out.put8(x, xc, g, yc);
    } else {
        out.put8(x, yc, g, xc);
    }
}

// Where the AVX2 body writes a row.
inline WideRow wideRow(const Bgr16Writer::Row& w) {
    const DepthShift& d = w.depth;
    return {Form16::Bgr16, w.exchange, {w.p, nullptr, nullptr}, nullptr, !unchanged(d), d.left,
            d.right,       d.down};
}
inline WideRow wideRow(const Planar16Writer::Row& w) {
    return {Form16::Planar16, false, {w.b, w.g, w.r}, nullptr, false, 0, 16, 0};
}
inline WideRow wideRow(const Mono16Writer::Row& w) {
    const DepthShift& d = w.depth;
    return {Form16::Mono16, false, {w.p, nullptr, nullptr}, w.w, !unchanged(d), d.left,
            d.right,        d.down};
}

// Columns [x0, x1) of one row.
template <typename RowWriter>
inline void bilinearRow(const RowWriter& out, const BayerRow& r, int32_t x0, int32_t x1) {
    int32_t x = x0;
    if (x == 0 && x < x1) putSite(out, r, x++);
    const int32_t limit = x1 < r.width - 1 ? x1 : r.width - 1;  // keeps x + 8 inside
    auto one = [&](int32_t c, bool) { putSite(out, r, c); };
    const bool xOdd = ((x ^ r.xParity) & 1) != 0;
    // AVX2: 16-column steps, then at most one 8-column step.
    const int32_t wide = wideSteps<16>(x, limit);
    if (wide > 0) {
        bilinearRowAvx2(wideRow(out), {r.up, r.mid, r.down, xOdd, r.xIsRed}, x, wide);
        x += 16 * wide;
    }
    if (xOdd) {
        eachStep<8>(
            x, limit, x1, [&](int32_t c) { putSites8<true>(out, r, c); }, one);
    } else {
        eachStep<8>(
            x, limit, x1, [&](int32_t c) { putSites8<false>(out, r, c); }, one);
    }
}

// Rows [y0, y1) x columns [x0, x1) of a mosaic whose row 0 has its red sites
// at columns of parity `phaseCol`.
template <typename Writer>
inline void bilinearRegion(const Writer& out, const uint16_t* src, int32_t height, int32_t width,
                           int32_t phaseCol, int32_t y0, int32_t y1, int32_t x0, int32_t x1) {
    for (int32_t y = y0; y < y1; ++y) {
        bilinearRow(out.row(y), bayerRow(src, height, width, y, phaseCol), x0, x1);
    }
}

// ---- the frame's regions

// The body covers rows and columns 1 .. bodyEnd(n) - 1 (passes.h), two at a
// time.

// Red sites at even columns of row 0 (RG) or at odd ones (GR). The GR kernels
// leave the row after the body untouched in every pass, as they always have.
enum PhaseCol : int32_t { kRG = 0, kGR = 1 };

inline bool skipsRowAfterBody(int32_t phaseCol) {
    return phaseCol == kGR;
}

template <typename Writer>
void firstRows(const Writer& out, const uint16_t* src, int32_t height, int32_t width,
               int32_t phaseCol) {
    bilinearRegion(out, src, height, width, phaseCol, 0, 1, 0, width);
}

// Column 0 below row 0; the GR kernel skips the row after the body unless
// `everyRow`.
template <typename Writer>
void firstCols(const Writer& out, const uint16_t* src, int32_t height, int32_t width,
               int32_t phaseCol, bool everyRow = false) {
    const int32_t skip = !everyRow && skipsRowAfterBody(phaseCol) ? bodyEnd(height) : -1;
    for (int32_t y = 1; y < height; ++y) {
        if (y != skip) bilinearRegion(out, src, height, width, phaseCol, y, y + 1, 0, 1);
    }
}

template <typename Writer>
uint64_t body(const Writer& out, const uint16_t* src, int32_t height, int32_t width,
              int32_t phaseCol) {
    const int32_t rowEnd = bodyEnd(height), colEnd = bodyEnd(width);
    // Rows read the rows around them and write only their own: bands of rows.
    parallelRows(rowEnd - 1, minBandUnits(width), [&](int32_t r0, int32_t r1) {
        bilinearRegion(out, src, height, width, phaseCol, 1 + r0, 1 + r1, 1, colEnd);
    });
    return packRowCol(rowEnd, colEnd);
}

// Rows firstRow .. height-1 over the body's columns.
template <typename Writer>
void lastRows(const Writer& out, const uint16_t* src, int32_t height, int32_t width,
              int32_t phaseCol, int32_t firstRow) {
    bilinearRegion(out, src, height, width, phaseCol, firstRow < 0 ? 0 : firstRow, height, 1,
                   bodyEnd(width));
}

// Columns firstCol .. width-1 below row 0; the GR kernel skips the row after
// the body unless `everyRow`.
template <typename Writer>
void lastCols(const Writer& out, const uint16_t* src, int32_t height, int32_t width,
              int32_t phaseCol, int32_t firstCol, bool everyRow = false) {
    const int32_t skip = !everyRow && skipsRowAfterBody(phaseCol) ? bodyEnd(height) : -1;
    const int32_t x0 = firstCol < 0 ? 0 : firstCol;
    for (int32_t y = 1; y < height; ++y) {
        if (y != skip) bilinearRegion(out, src, height, width, phaseCol, y, y + 1, x0, width);
    }
}

// The whole frame, pass by pass; `everyRow` writes the row the GR kernel skips.
template <typename Writer>
void bilinearFrame(const Writer& out, const uint16_t* src, int32_t height, int32_t width,
                   int32_t phaseCol, bool everyRow = false) {
    const bool skips = !everyRow && skipsRowAfterBody(phaseCol);
    firstRows(out, src, height, width, phaseCol);
    firstCols(out, src, height, width, phaseCol, everyRow);
    const uint64_t end = body(out, src, height, width, phaseCol);
    const int32_t rowEnd = rowOf(end), colEnd = colOf(end);
    lastRows(out, src, height, width, phaseCol, rowEnd + (skips ? 1 : 0));
    lastCols(out, src, height, width, phaseCol, colEnd, everyRow);
}

}  // namespace tav::d16
