// Edge-directed 8-bit demosaicing. Green is estimated at every red and blue
// site along the direction of the smaller gradient; red and blue follow by
// interpolating colour differences (colour minus estimated green).
//
// Kernel coordinates are the red-first arrangement: red at even row/even
// column, blue at odd row/odd column. "Red" and "blue" below mean the colours
// at those sites; the writers put them where the output form wants them.
//
// Passes work on a row pair (r, r + 1), r a red row, given the source rows
// r - 2 .. r + 3. On entry the line buffer holds the green estimates of the
// previous pair (even entries: red row r - 2; odd entries: blue row r - 1); the
// pass writes output rows r - 1 and r and leaves the estimates of rows r and
// r + 1 in the buffer. Rows outside the frame are mirrored by the caller
// choosing row pointers; columns are mirrored here (column -k reads k,
// column W - 1 + k reads W - 1 - k).
#pragma once

#include <cstdint>
#include <cstdlib>
#include <type_traits>

#include "edge8_avx2.h"
#include "edge_sites.h"
#include "mirror.h"
#include "rows.h"
#include "simd.h"
#include "writers.h"

namespace tav::d8::edge {

// The compatible 4-byte form leaves the alpha byte as the caller's buffer held
// it, except where the vector body assembles whole pixels with a zero alpha
// byte. An opaque base (alpha non-zero, the frame API) writes it everywhere.
struct Bgra8KeepAlphaWriter {
    Bgra8Writer base;

    void put(int32_t x, uint32_t r, uint32_t g, uint32_t b) const {
        uint8_t* p = base.row + 4 * x;
        p[0] = static_cast<uint8_t>(base.exchange ? r : b);
        p[1] = static_cast<uint8_t>(g);
        p[2] = static_cast<uint8_t>(base.exchange ? b : r);
        if (base.alpha != 0) p[3] = base.alpha;
    }
    void put16(int32_t x, __m128i r, __m128i g, __m128i b) const { base.put16(x, r, g, b); }
    Bgra8KeepAlphaWriter next(int32_t rows) const { return {base.next(rows)}; }
};

// One pixel; `inStep` tells that a vector step writes it, whole, alpha included.
template <class Writer>
inline void putPixel(const Writer& w, int x, int r, int g, int b, bool inStep) {
    if constexpr (std::is_same_v<Writer, Bgra8KeepAlphaWriter>) {
        if (inStep) return w.base.put(x, r, g, b);
    }
    w.put(x, r, g, b);
}

// ---- site formulas

inline int clampByte(int v) {
    return v < 0 ? 0 : v > 255 ? 255 : v;
}

// The shared rules (edge_sites.h), clamped to a byte: the green estimate
// before any colour difference uses it.
inline int greenEstimate(int c, int w2, int e2, int n2, int s2, int w1, int e1, int n1, int s1) {
    return clampByte(tav::greenEstimate(c, w2, e2, n2, s2, w1, e1, n1, s1));
}
inline int fromTwo(int g, int d0, int d1) {
    return clampByte(tav::fromTwo(g, d0, d1));
}
inline int fromFour(int g, int d0, int d1, int d2, int d3) {
    return clampByte(tav::fromFour(g, d0, d1, d2, d3));
}

// ---- scalar passes

using tav::mirror;

// Source rows r - 2 .. r + 3 (already mirrored at the top and bottom) with
// mirrored columns.
struct Window {
    const uint8_t* const* rows;  // rows[0] is row r - 2
    int width;

    int at(int dy, int x) const { return rows[dy + 2][mirror(x, width)]; }
    // Green estimate at the red or blue site (r + dy, x).
    int green(int dy, int x) const {
        return greenEstimate(at(dy, x), at(dy, x - 2), at(dy, x + 2), at(dy - 2, x), at(dy + 2, x),
                             at(dy, x - 1), at(dy, x + 1), at(dy - 1, x), at(dy + 1, x));
    }
};

// Green estimates at columns x - 2 (even: old row r - 2, new row r) and x - 1
// (odd: old row r - 1, new row r + 1), carried from one column pair to the next.
struct Carry {
    int oldE, oldO, newE, newO;
};

// Output column x (odd) of rows r - 1 (blue site) and r (green site), from the
// estimates at x - 1 (even, left), x + 1 (even, right) and x (odd).
template <class Writer>
void emitOdd(const Window& s, int x, int oldL, int oldR, int oldO, int newL, int newR, int newO,
             const Writer* up, const Writer* lo, bool inStep = false) {
    const int dMidL = s.at(0, x - 1) - newL, dMidR = s.at(0, x + 1) - newR;
    const int dAbove = s.at(-1, x) - oldO;
    if (up) {
        const int red =
            fromFour(oldO, s.at(-2, x - 1) - oldL, s.at(-2, x + 1) - oldR, dMidL, dMidR);
        putPixel(*up, x, red, oldO, s.at(-1, x), inStep);
    }
    if (lo) {
        const int g = s.at(0, x);
        putPixel(*lo, x, fromTwo(g, dMidL, dMidR), g, fromTwo(g, dAbove, s.at(1, x) - newO),
                 inStep);
    }
}

// Output column x (even) of rows r - 1 (green site) and r (red site), from the
// estimates at x (even) and x - 1, x + 1 (odd).
template <class Writer>
void emitEven(const Window& s, int x, int oldE, int oldL, int oldR, int newE, int newL, int newR,
              const Writer* up, const Writer* lo, bool inStep = false) {
    const int dMid = s.at(0, x) - newE;
    const int dAboveL = s.at(-1, x - 1) - oldL, dAboveR = s.at(-1, x + 1) - oldR;
    if (up) {
        const int g = s.at(-1, x);
        putPixel(*up, x, fromTwo(g, s.at(-2, x) - oldE, dMid), g, fromTwo(g, dAboveL, dAboveR),
                 inStep);
    }
    if (lo) {
        const int blue =
            fromFour(newE, dAboveL, dAboveR, s.at(1, x - 1) - newL, s.at(1, x + 1) - newR);
        putPixel(*lo, x, s.at(0, x), newE, blue, inStep);
    }
}

// Column 0 of the pair; returns the estimates at columns 0 and 1, which the
// line keeps until the pair at column 2 has read the old ones.
template <class Writer>
Carry startPair(const Window& s, const uint8_t* line, const Writer* up, const Writer* lo) {
    const int oldE = line[0], oldO = line[1];
    const int newE = s.green(0, 0), newO = lo ? s.green(1, 1) : 0;
    emitEven(s, 0, oldE, oldO, oldO, newE, newO, newO, up, lo);
    return {oldE, oldO, newE, newO};
}

// The column pair at x (even, x <= width - 1): output columns x - 1 and x. A
// pass that writes only row r - 1 needs no estimates of row r + 1 and leaves
// junk in the odd entries.
template <class Writer>
void columnPair(const Window& s, uint8_t* line, int x, Carry& c, const Writer* up, const Writer* lo,
                bool inStep = false) {
    // At the right edge column x + 1 mirrors onto x - 1.
    const bool inside = x + 1 <= s.width - 1;
    const int oldE = line[x], oldO = inside ? line[x + 1] : c.oldO;
    const int newE = s.green(0, x);
    const int newO = !inside ? c.newO : lo ? s.green(1, x + 1) : 0;
    emitOdd(s, x - 1, c.oldE, oldE, c.oldO, c.newE, newE, c.newO, up, lo, inStep);
    emitEven(s, x, oldE, c.oldO, oldO, newE, c.newO, newO, up, lo, inStep);
    line[x - 2] = static_cast<uint8_t>(c.newE);
    line[x - 1] = static_cast<uint8_t>(c.newO);
    c = {oldE, oldO, newE, newO};
}

// After the last column pair: the last column of an even width, the last line entries.
template <class Writer>
void endPairs(const Window& s, uint8_t* line, const Carry& c, const Writer* up, const Writer* lo) {
    const int last = s.width - 1;
    if ((s.width & 1) == 0) {
        // Even width: the last column is odd, its right neighbour mirrors onto its left.
        emitOdd(s, last, c.oldE, c.oldE, c.oldO, c.newE, c.newE, c.newO, up, lo);
        line[last - 1] = static_cast<uint8_t>(c.newE);
        line[last] = static_cast<uint8_t>(c.newO);
    } else {
        line[last] = static_cast<uint8_t>(c.newE);
    }
}

// Green estimates of row r + dy at the columns x0, x0 + 2, ... into the line.
inline void fillGreens(const Window& s, int dy, int x0, uint8_t* line) {
    for (int x = x0; x < s.width; x += 2) line[x] = static_cast<uint8_t>(s.green(dy, x));
}

// A whole row pair in scalar code (borders).
template <class Writer>
void scalarPair(const Window& s, uint8_t* line, const Writer* up, const Writer* lo) {
    Carry c = startPair(s, line, up, lo);
    for (int x = 2; x < s.width; x += 2) columnPair(s, line, x, c, up, lo);
    endPairs(s, line, c, up, lo);
}

// ---- vector body: 8 red and 8 blue sites per step in 16-bit lanes

namespace vec {

struct EvenOdd {
    __m128i even, odd;  // bytes at even and odd offsets, as 16-bit lanes
};

inline EvenOdd split(const uint8_t* p) {
    const __m128i v = simd::load(p);
    return {_mm_and_si128(v, _mm_set1_epi16(0x00FF)), _mm_srli_epi16(v, 8)};
}

constexpr Lanes16 kLanes{};

// The scalar greenEstimate's twin, clamped to a byte the same way.
inline __m128i greenEstimate(__m128i c, __m128i w2, __m128i e2, __m128i n2, __m128i s2, __m128i w1,
                             __m128i e1, __m128i n1, __m128i s1) {
    const __m128i g = tav::greenEstimate(kLanes, c, w2, e2, n2, s2, w1, e1, n1, s1);
    return _mm_min_epi16(_mm_max_epi16(g, _mm_setzero_si128()), _mm_set1_epi16(255));
}

// fromTwo and fromFour stay unclamped: the saturating pack in interleave()
// clamps to 0..255.

// 16 output bytes in column order from odd-column lanes (first column) and
// even-column lanes, saturated to 0..255.
inline __m128i interleave(__m128i odd, __m128i even) {
    const __m128i order = _mm_setr_epi8(0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15);
    return _mm_shuffle_epi8(_mm_packus_epi16(odd, even), order);
}

// Lanes of `cur` moved up by one, lane 0 taken from the top lane of `prev`.
inline __m128i shiftIn(__m128i cur, __m128i prev) {
    return _mm_alignr_epi8(cur, prev, 14);
}

// What one step leaves the next: the estimates of its top lanes (the left
// neighbours of the next step) and the estimates waiting for the line, where
// the next step still reads the old ones beside them.
struct Run {
    __m128i prevE, prevO, pending;
    bool open;
};

// Before the first step: the carry of column 0.
inline Run begin(const Carry& c) {
    return {_mm_slli_si128(_mm_cvtsi32_si128(c.newE), 14),
            _mm_slli_si128(_mm_cvtsi32_si128(c.newO), 14), _mm_setzero_si128(), false};
}

// The step at red-site column x (2, 18, 34, ...; reads source columns up to
// x + 17) writes output columns x - 1 .. x + 14 of rows r - 1 and r.
template <class Writer>
inline void step(const uint8_t* const* rows, uint8_t* line, int x, const Carry& c, Run& run,
                 const Writer& up, const Writer& lo) {
    const uint8_t *s0 = rows[0], *s1 = rows[1], *s2 = rows[2], *s3 = rows[3], *s4 = rows[4],
                  *s5 = rows[5];
    const EvenOdd up2L = split(s0 + x - 2), up2 = split(s0 + x);
    const EvenOdd up1L = split(s1 + x - 2), up1 = split(s1 + x);
    const EvenOdd midL = split(s2 + x - 2), mid = split(s2 + x), midR = split(s2 + x + 2);
    const EvenOdd lo1L = split(s3 + x - 2), lo1 = split(s3 + x), lo1R = split(s3 + x + 2);
    const EvenOdd lo2 = split(s4 + x), lo3 = split(s5 + x);
    const EvenOdd oldL = split(line + x - 2), old = split(line + x);
    // The old estimates are read; the new ones of the previous step may go in.
    if (!run.open) {
        line[0] = static_cast<uint8_t>(c.newE);
        line[1] = static_cast<uint8_t>(c.newO);
        run.open = true;
    } else {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(line + x - 16), run.pending);
    }

    const __m128i newE = greenEstimate(mid.even, midL.even, midR.even, up2.even, lo2.even, midL.odd,
                                       mid.odd, up1.even, lo1.even);
    const __m128i newO = greenEstimate(lo1.odd, lo1L.odd, lo1R.odd, up1.odd, lo3.odd, lo1.even,
                                       lo1R.even, mid.odd, lo2.odd);
    const __m128i newEL = shiftIn(newE, run.prevE), newOL = shiftIn(newO, run.prevO);

    // Colour differences: two rows up (red, old), this row (red, new),
    // one row up and down (blue, old and new); L = one site to the left.
    const __m128i dUp2L = _mm_sub_epi16(up2L.even, oldL.even);
    const __m128i dUp2 = _mm_sub_epi16(up2.even, old.even);
    const __m128i dMidL = _mm_sub_epi16(midL.even, newEL);
    const __m128i dMid = _mm_sub_epi16(mid.even, newE);
    const __m128i dUp1L = _mm_sub_epi16(up1L.odd, oldL.odd);
    const __m128i dUp1 = _mm_sub_epi16(up1.odd, old.odd);
    const __m128i dLo1L = _mm_sub_epi16(lo1L.odd, newOL);
    const __m128i dLo1 = _mm_sub_epi16(lo1.odd, newO);

    // Row r - 1: blue sites at odd columns, green sites at even columns.
    const __m128i upOddR = tav::fromFour(kLanes, oldL.odd, dUp2L, dUp2, dMidL, dMid);
    const __m128i upEvenR = tav::fromTwo(kLanes, up1.even, dUp2, dMid);
    const __m128i upEvenB = tav::fromTwo(kLanes, up1.even, dUp1L, dUp1);
    up.put16(x - 1, interleave(upOddR, upEvenR), interleave(oldL.odd, up1.even),
             interleave(up1L.odd, upEvenB));

    // Row r: green sites at odd columns, red sites at even columns.
    const __m128i loOddR = tav::fromTwo(kLanes, midL.odd, dMidL, dMid);
    const __m128i loOddB = tav::fromTwo(kLanes, midL.odd, dUp1L, dLo1L);
    const __m128i loEvenB = tav::fromFour(kLanes, newE, dUp1L, dUp1, dLo1L, dLo1);
    lo.put16(x - 1, interleave(loOddR, mid.even), interleave(midL.odd, newE),
             interleave(loOddB, loEvenB));

    run.pending = _mm_or_si128(newE, _mm_slli_epi16(newO, 8));
    run.prevE = newE;
    run.prevO = newO;
}

// After the AVX2 steps: their top lanes and pending line bytes.
inline Run resume(const EdgeRun& r) {
    return {_mm_slli_si128(_mm_cvtsi32_si128(r.lastE), 14),
            _mm_slli_si128(_mm_cvtsi32_si128(r.lastO), 14),
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(r.pending)), r.open};
}

// Where the AVX2 steps write a pass's two rows.
inline EdgeOut wideOut(const Mono8Writer& up, const Mono8Writer& lo) {
    return {Form8::Mono8, false, {up.row, nullptr, nullptr}, {lo.row, nullptr, nullptr},
            lo.weights,   0};
}
inline EdgeOut wideOut(const Bgr8Writer& up, const Bgr8Writer& lo) {
    return {Form8::Bgr8,
            lo.exchange,
            {up.row, nullptr, nullptr},
            {lo.row, nullptr, nullptr},
            nullptr,
            0};
}
inline EdgeOut wideOut(const Bgra8KeepAlphaWriter& up, const Bgra8KeepAlphaWriter& lo) {
    return {Form8::Bgra8,
            lo.base.exchange,
            {up.base.row, nullptr, nullptr},
            {lo.base.row, nullptr, nullptr},
            nullptr,
            lo.base.alpha};
}
inline EdgeOut wideOut(const PlanarWriter& up, const PlanarWriter& lo) {
    return {Form8::Planar, false, {up.first, up.second, up.third}, {lo.first, lo.second, lo.third},
            nullptr,       0};
}

// After the last step, before the column pair at x: the carry for the scalar rule.
inline void close(Run& run, uint8_t* line, int x, Carry& c) {
    c.oldE = line[x - 2];
    c.oldO = line[x - 1];
    c.newE = _mm_extract_epi16(run.prevE, 7);
    c.newO = _mm_extract_epi16(run.prevO, 7);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(line + x - 16), run.pending);
    run.open = false;
}

}  // namespace vec

// One body pass: column 0, the vector steps, then scalar column pairs to the
// right edge. Flattened, so
// that the steps' run state stays in registers.
template <class Writer>
[[gnu::flatten]] void bodyPass(const uint8_t* const* rows, int width, const Writer& lo,
                               uint8_t* line) {
    const Window s{rows, width};
    const Writer up = lo.next(-1);
    Carry c = startPair(s, line, &up, &lo);
    vec::Run run = vec::begin(c);
    // AVX2: 32-column steps, then at most one 16-column step.
    const int wide = wideSteps<32>(2, width - 2);
    if (wide > 0) {
        EdgeRun r{c.newE, c.newO, false, {}};
        edgeStepsAvx2(vec::wideOut(up, lo), rows, line, 2, wide, r);
        run = vec::resume(r);
    }
    eachStep<16, 2>(
        2 + 32 * wide, width - 2, width, [&](int x) { vec::step(rows, line, x, c, run, up, lo); },
        [&](int x, bool inStep) {
            if (run.open) vec::close(run, line, x, c);
            columnPair(s, line, x, c, &up, &lo, inStep);
        });
    endPairs(s, line, c, &up, &lo);
}

// Top of a red-first frame: output row 0, greens of rows 0 and 1 left in the line.
template <class Writer>
void topRedFirst(const uint8_t* src, int width, const Writer& row0, uint8_t* line) {
    auto row = [&](int y) { return src + static_cast<ptrdiff_t>(y) * width; };
    const uint8_t* const rows[6] = {row(2), row(1), row(0), row(1), row(2), row(3)};
    const Window s{rows, width};
    fillGreens(s, 1, 1, line);  // row -1 mirrors row 1
    scalarPair<Writer>(s, line, nullptr, &row0);
}

// Top of a green-first frame (row 0 blue, row 1 red): output rows 0 and 1,
// greens of rows 1 and 2 left in the line.
template <class Writer>
void topGreenFirst(const uint8_t* src, int width, const Writer& row1, uint8_t* line) {
    auto row = [&](int y) { return src + static_cast<ptrdiff_t>(y) * width; };
    const uint8_t* const rows[6] = {row(1), row(0), row(1), row(2), row(3), row(4)};
    const uint8_t* const rows0[6] = {row(2), row(1), row(0), row(1), row(2), nullptr};
    const Window s{rows, width}, s0{rows0, width};
    fillGreens(s, 0, 0, line);   // row -1 mirrors row 1
    fillGreens(s0, 0, 1, line);  // row 0
    const Writer row0 = row1.next(-1);
    scalarPair(s, line, &row0, &row1);
}

// Bottom when row r + 1 is the last: writes rows r - 1 .. r + 1.
template <class Writer>
void last2Rows(const uint8_t* const* rows, int width, const Writer& lo, uint8_t* line) {
    // Row r + 2 mirrors row r, row r + 3 mirrors row r - 1.
    const uint8_t* const pair[6] = {rows[0], rows[1], rows[2], rows[3], rows[2], rows[1]};
    const Writer up = lo.next(-1), last = lo.next(1);
    scalarPair(Window{pair, width}, line, &up, &lo);
    // Row r + 1 is the upper row of the mirrored pair at r + 2, whose rows
    // r + 2 .. r + 4 read rows r .. r - 2; its blue row is not needed.
    const uint8_t* const below[6] = {rows[2], rows[3], rows[2], rows[1], rows[0], nullptr};
    scalarPair<Writer>(Window{below, width}, line, &last, nullptr);
}

// Bottom when row r + 2 is the last: writes rows r - 1 .. r + 2.
template <class Writer>
void last3Rows(const uint8_t* const* rows, int width, const Writer& lo, uint8_t* line) {
    // Row r + 3 mirrors row r + 1.
    const uint8_t* const pair[6] = {rows[0], rows[1], rows[2], rows[3], rows[4], rows[3]};
    const Writer up = lo.next(-1), up2 = lo.next(1), lo2 = lo.next(2);
    scalarPair(Window{pair, width}, line, &up, &lo);
    // The pair at r + 2: rows r + 3 .. r + 5 read rows r + 1 .. r - 1.
    const uint8_t* const below[6] = {rows[2], rows[3], rows[4], rows[3], rows[2], rows[1]};
    scalarPair(Window{below, width}, line, &up2, &lo2);
}

}  // namespace tav::d8::edge
