// Edge-directed 16-bit kernels with a green line: the wrappers seed the first
// rows, the body finishes one row pair per call (eight columns at a time in
// the interior), the closing kernels finish the last two or three rows.
//
// Working memory is the destination itself: the green line (G^ of the red
// sites two rows up at even columns, of the blue sites one row up at odd
// columns) lives in the last `width` words of the destination, and the body
// builds the next line in the output row below its pair, which the next call
// overwrites.
#include <cstring>

#include "edge16.h"
#include "edge16_avx2.h"
#include "frame16.h"
#include "report.h"
#include "rows.h"
#include "tav.h"
#include "threads.h"

namespace {

using namespace tav::d16;
using tav::eachStep;
using tav::mirror;

// Row r of a writer whose row `first` is the pointer it was built on.
template <typename Writer>
struct RowsFrom {
    Writer w;
    int32_t first;
    auto row(int32_t r) const { return w.row(r - first); }
};

// Greens of a row pair in the body: rows 0 and 1 of the band from the line,
// rows 2 and 3 from the next line.
struct LineGreens {
    const uint16_t* line;
    const uint16_t* next;
    int32_t width;
    uint16_t operator()(int32_t r, int32_t c) const {
        return (r < 2 ? line : next)[mirror(c, width)];
    }
};

// Greens of the closing rows: the two rows above from the line, the rest
// recomputed (the destination rows they would live in are being written).
struct ClosingGreens {
    BandRows rows;
    const uint16_t* line;
    int32_t width;
    Clamp clamp;
    uint16_t operator()(int32_t r, int32_t c) const {
        const int32_t mc = mirror(c, width);
        if (r < 2) return line[mc];
        const int32_t mr = mirror(r, rows.count);
        return clamp(greenEstimate(rows, width, mr, mc));
    }
};

// ---- the vector body

// Samples at even and odd columns of 8 words from p, zero-extended to 32 bits.
struct EvenOdd {
    __m128i even, odd;
};
inline EvenOdd split(const uint16_t* p) {
    const __m128i v = loadWords(p);
    return {_mm_and_si128(v, _mm_set1_epi32(0xFFFF)), _mm_srli_epi32(v, 16)};
}

constexpr tav::Lanes32 kLanes{};

// Narrows with unsigned saturation, takes the minimum with the ceiling
// (signed as the compatible entries always have; `exact`: unsigned, right at
// depth 16 too), and interleaves: words even0 odd0 even1 odd1 ...
inline __m128i clampMerge(__m128i even, __m128i odd, __m128i ceiling, bool exact) {
    const __m128i packed = _mm_packus_epi32(even, odd);
    const __m128i v = exact ? _mm_min_epu16(packed, ceiling) : _mm_min_epi16(packed, ceiling);
    return _mm_unpacklo_epi16(v, _mm_unpackhi_epi64(v, v));
}

// G^ of the red sites of band row 2 (even columns) and the blue sites of
// band row 3 (odd columns), columns b .. b+7, into next[b ..].
inline void nextLine8(const uint16_t* const* s, int32_t b, uint16_t* next, __m128i ceiling,
                      bool exact) {
    const EvenOdd r2l = split(s[2] + b - 2), r2 = split(s[2] + b), r2r = split(s[2] + b + 2);
    const EvenOdd r3l = split(s[3] + b - 2), r3 = split(s[3] + b), r3r = split(s[3] + b + 2);
    const EvenOdd r0 = split(s[0] + b), r1 = split(s[1] + b), r4 = split(s[4] + b),
                  r5 = split(s[5] + b);
    const __m128i red = tav::greenEstimate(kLanes, r2.even, r2l.even, r2r.even, r0.even, r4.even,
                                           r2l.odd, r2.odd, r1.even, r3.even);
    const __m128i blue = tav::greenEstimate(kLanes, r3.odd, r3l.odd, r3r.odd, r1.odd, r5.odd,
                                            r3.even, r3r.even, r2.odd, r4.odd);
    storeWords(next + b, clampMerge(red, blue, ceiling, exact));
}

// Finishes band rows 1 (green-blue) and 2 (red-green), columns b .. b+7.
template <typename Writer>
inline void finish8(const uint16_t* const* s, const uint16_t* line, const uint16_t* next, int32_t b,
                    const Writer& out, __m128i ceiling, bool exact) {
    const EvenOdd s0 = split(s[0] + b), s0r = split(s[0] + b + 2);
    const EvenOdd s1l = split(s[1] + b - 2), s1 = split(s[1] + b);
    const EvenOdd s2 = split(s[2] + b), s2r = split(s[2] + b + 2);
    const EvenOdd s3l = split(s[3] + b - 2), s3 = split(s[3] + b);
    const EvenOdd ll = split(line + b - 2), lm = split(line + b), lr = split(line + b + 2);
    const EvenOdd nl = split(next + b - 2), nm = split(next + b), nr = split(next + b + 2);

    // Colour differences: red sites of rows 0 and 2 at columns x and x+2
    // (x even), blue sites of rows 1 and 3 at columns x-1 and x+1.
    const __m128i dr0 = _mm_sub_epi32(s0.even, lm.even), dr0r = _mm_sub_epi32(s0r.even, lr.even);
    const __m128i dr2 = _mm_sub_epi32(s2.even, nm.even), dr2r = _mm_sub_epi32(s2r.even, nr.even);
    const __m128i db1l = _mm_sub_epi32(s1l.odd, ll.odd), db1 = _mm_sub_epi32(s1.odd, lm.odd);
    const __m128i db3l = _mm_sub_epi32(s3l.odd, nl.odd), db3 = _mm_sub_epi32(s3.odd, nm.odd);

    // Row 1: green sites at even columns, blue sites at odd ones.
    const __m128i r1even = tav::fromTwo(kLanes, s1.even, dr0, dr2);
    const __m128i b1even = tav::fromTwo(kLanes, s1.even, db1l, db1);
    const __m128i r1odd = tav::fromFour(kLanes, lm.odd, dr0, dr2, dr0r, dr2r);
    // Row 2: red sites at even columns, green sites at odd ones.
    const __m128i b2even = tav::fromFour(kLanes, nm.even, db1l, db1, db3l, db3);
    const __m128i r2odd = tav::fromTwo(kLanes, s2.odd, dr2, dr2r);
    const __m128i b2odd = tav::fromTwo(kLanes, s2.odd, db1, db3);

    const __m128i raw1 = loadWords(s[1] + b), raw2 = loadWords(s[2] + b);
    const __m128i line8 = loadWords(line + b), next8 = loadWords(next + b);
    const __m128i mixed = clampMerge(b1even, r2odd, ceiling, exact);  // b1 at even words, r2 at odd
    const __m128i red1 = clampMerge(r1even, r1odd, ceiling, exact);
    const __m128i green1 = _mm_blend_epi16(raw1, line8, 0xAA);
    const __m128i blue1w = _mm_blend_epi16(mixed, raw1, 0xAA);
    const __m128i red2 = _mm_blend_epi16(raw2, mixed, 0xAA);
    const __m128i green2 = _mm_blend_epi16(next8, raw2, 0xAA);
    const __m128i blue2 = clampMerge(b2even, b2odd, ceiling, exact);
    out.row(1).put8(b, red1, green1, blue1w);
    out.row(2).put8(b, red2, green2, blue2);
}

// The vector body owns the blocks of 8 from column 2 that start below
// width - 8 and clamps as vectors do there, also where a block would read
// past the row (columns b-2 .. b+9) and the scalar rule stands in for it.
inline int32_t vectorEndOf(int32_t width) {
    return width >= 20 ? 2 + 8 * ((width - 3) / 8) : 2;
}

// The body's clamp at column c.
inline Clamp clampAt(int32_t ceiling, int32_t width, int32_t c, bool exact) {
    return Clamp{ceiling, !exact && c >= 2 && c < vectorEndOf(width)};
}

// Column c of the green line a row pair leaves (rows: y-2 .. y+3), by the scalar rule.
inline uint16_t nextGreen(const BandRows& rows, int32_t width, int32_t ceiling, int32_t c,
                          bool exact) {
    return clampAt(ceiling, width, c, exact)(greenEstimate(rows, width, 2 + (c & 1), c));
}

// The whole line, for a band that starts below the pair `band`.
void lineOf(const uint16_t* const* band, int32_t width, uint32_t bitDepth, bool exact,
            uint16_t* into) {
    const int32_t ceiling = ceilingOf(bitDepth);
    for (int32_t c = 0; c < width; ++c) {
        into[c] = nextGreen(BandRows{band, 6}, width, ceiling, c, exact);
    }
}

// One row pair: band = rows y-2 .. y+3 (row y red-first), out = output row
// y-1; the pair's greens go through `next` (width words) into the line.
void edgePair(const uint16_t* const* band, int32_t width, uint16_t* out, uint16_t* line,
              uint16_t* next, bool exchange, uint32_t bitDepth, bool exact) {
    const int32_t ceiling = ceilingOf(bitDepth);
    const int32_t vectorEnd = vectorEndOf(width);
    const int32_t stepEnd = vectorEnd < width - 2 ? vectorEnd : width - 2;
    const int16_t ceilingWord = static_cast<int16_t>(static_cast<uint16_t>(ceiling));
    const __m128i ceiling16 = _mm_set1_epi16(ceilingWord);
    const BandRows rows{band, 6};
    const BayerLayout m{0, 0};
    const RowsFrom<Bgr16Writer> writer{{out, width, exchange}, 1};
    const LineGreens greens{line, next, width};

    auto nextOne = [&](int32_t c, bool) { next[c] = nextGreen(rows, width, ceiling, c, exact); };
    auto finishOne = [&](int32_t c, bool) {
        finishPixels(rows, greens, m, width, writer, 1, 3, c, c + 1,
                     clampAt(ceiling, width, c, exact));
    };

    // AVX2: 16-column steps, then at most one 8-column step.
    const int32_t wide = tav::wideSteps<16>(2, stepEnd);
    nextOne(0, false);
    nextOne(1, false);
    if (wide > 0) nextLineAvx2(band, next, 2, wide, ceilingWord, exact);
    eachStep<8>(
        2 + 16 * wide, stepEnd, width,
        [&](int32_t b) { nextLine8(band, b, next, ceiling16, exact); }, nextOne);
    finishOne(0, false);
    finishOne(1, false);
    if (wide > 0) {
        finishAvx2(band, line, next, out, out + 3 * static_cast<intptr_t>(width), exchange, 2, wide,
                   ceilingWord, exact);
    }
    eachStep<8>(
        2 + 16 * wide, stepEnd, width,
        [&](int32_t b) { finish8(band, line, next, b, writer, ceiling16, exact); }, finishOne);

    std::memcpy(line, next, sizeof(uint16_t) * width);
}

// The same with the output row below the pair as `next`.
void edgeBody(const uint16_t* const* band, int32_t width, uint16_t* out, uint16_t* line,
              bool exchange, uint32_t bitDepth) {
    edgePair(band, width, out, line, out + 6 * static_cast<intptr_t>(width), exchange, bitDepth,
             false);
}

// The last rows: band = rows y-2 .. last (4 or 5 rows), out = output row y-1.
void edgeClose(const uint16_t* const* band, int32_t count, int32_t width, uint16_t* out,
               const uint16_t* line, bool exchange, uint32_t bitDepth) {
    const Clamp plain{ceilingOf(bitDepth), false};
    const BandRows rows{band, count};
    const BayerLayout m{0, 0};
    const RowsFrom<Bgr16Writer> writer{{out, width, exchange}, 1};
    const ClosingGreens greens{rows, line, width, plain};
    // Rows y-1 and y are the line's last readers; the last row is written over it.
    finishPixels(rows, greens, m, width, writer, 1, 3, 0, width, plain);
    finishPixels(rows, greens, m, width, writer, 3, count, 0, width, plain);
}

// A frame whose red-first rows have the parity of `redRow`: seed rows, body
// pairs, closing rows; `done`, if any, gets each run of rows the kernel no
// longer reads.
int32_t edgeFrame(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst, bool exchange,
                  uint32_t bitDepth, int32_t redRow, bool exact,
                  const tav::RowsDone* done = nullptr) {
    auto finished = [done](int32_t r0, int32_t r1) {
        if (done != nullptr) done->run(done->context, r0, r1);
    };
    const Clamp plain{ceilingOf(bitDepth), false};
    const FrameRows rows{src, height, width};
    const BayerLayout m{redRow, 0};
    const Bgr16Writer out{dst, width, exchange};
    const intptr_t rowWords = 3 * static_cast<intptr_t>(width);

    // Seed: G^ of the first two (GB: three) rows, the rows above the first pair finished.
    const int32_t first = 2 + redRow;  // first body row y
    greensToDest(rows, m, dst, width, 0, first, 0, width, plain);
    finishPixels(rows, DestGreens{dst, height, width}, m, width, out, 0, first - 1, 0, width,
                 plain);
    uint16_t* line = dst + rowWords * height - width;
    for (int32_t c = 0; c < width; ++c) {
        const int32_t r = first - 2 + (c & 1);
        line[c] = dst[rowWords * r + 3 * c + 1];
    }
    finished(0, first - 1);

    // Row pairs in bands. The line carries each pair's greens to the pair
    // below: a band after the first starts from a line of the pool's, filled
    // with the greens of the pair above it. A band's last pair, unless it
    // ends the body, keeps its next line apart (the first band in the
    // still unwritten last row, the others in the pool) since the row below
    // it belongs to the next band. When a band with a pool line ends the
    // body, the caller's line gets the last pair's greens for the closing rows.
    const int32_t pairs = first < height - 3 ? (height - 2 - first) / 2 : 0;
    auto bandAt = [&](int32_t y, const uint16_t** band) {
        for (int i = 0; i < 6; ++i) band[i] = src + (y - 2 + i) * static_cast<intptr_t>(width);
    };
    bool endsInPool = false;
    auto walk = [&](int32_t p0, int32_t p1, uint8_t* own) {
        uint16_t* bandLine = own ? reinterpret_cast<uint16_t*>(own) : line;
        uint16_t* spare = own ? bandLine + width : line - 2 * width;
        const uint16_t* band[6];
        if (own) {
            bandAt(first + 2 * p0 - 2, band);
            lineOf(band, width, bitDepth, exact, bandLine);
        }
        for (int32_t p = p0; p < p1; ++p) {
            const int32_t y = first + 2 * p;
            bandAt(y, band);
            uint16_t* pairOut = dst + rowWords * (y - 1);
            uint16_t* next = p + 1 == p1 && p1 != pairs ? spare : pairOut + 2 * rowWords;
            edgePair(band, width, pairOut, bandLine, next, exchange, bitDepth, exact);
            finished(y - 1, y + 1);
        }
        if (p1 == pairs) endsInPool = own != nullptr;
    };
    tav::parallelRowsWithScratch(pairs, tav::minBandUnits(2 * int64_t{width}),
                                 2 * sizeof(uint16_t) * static_cast<size_t>(width), walk);
    const int32_t y = first + 2 * pairs;
    if (endsInPool) {
        const uint16_t* band[6];
        bandAt(y - 2, band);
        lineOf(band, width, bitDepth, exact, line);
    }
    const int32_t count = height - y + 2;  // rows y-2 .. last
    const uint16_t* band[5];
    for (int i = 0; i < count; ++i) band[i] = src + (y - 2 + i) * static_cast<intptr_t>(width);
    edgeClose(band, count, width, dst + rowWords * (y - 1), line, exchange, bitDepth);
    finished(y - 1, height);
    return TAV_OK;
}

}  // namespace

namespace tav {

int32_t edge16Frame(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                    bool exchange, uint32_t bitDepth, int32_t redRow, const RowsDone* done) {
    return edgeFrame(src, height, width, dst, exchange, bitDepth, redRow, true, done);
}

}  // namespace tav

extern "C" {

int32_t rg16ToBgr16_edge(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                         uint32_t exchange, uint32_t bitDepth) {
    if (width < 6 || height < 6) return tav::fail(tav::Site::kEdge16Rg, TAV_E_IMAGE_SIZE);
    return edgeFrame(src, height, width, dst, exchange != 0, bitDepth, 0, false);
}

int32_t gb16ToBgr16_edge(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                         uint32_t exchange, uint32_t bitDepth) {
    if (width < 6 || height < 6) return tav::fail(tav::Site::kEdge16Gb, TAV_E_IMAGE_SIZE);
    return edgeFrame(src, height, width, dst, exchange != 0, bitDepth, 1, false);
}

void rg16ToBgr16_edge_body(const uint16_t* const* band, int32_t width, uint16_t* out,
                           uint16_t* greenLine, uint32_t exchange, uint32_t bitDepth) {
    edgeBody(band, width, out, greenLine, exchange != 0, bitDepth);
}

void rg16ToBgr16_edge_last2Rows(const uint16_t* const* band, int32_t width, uint16_t* out,
                                uint16_t* greenLine, uint32_t exchange, uint32_t bitDepth) {
    edgeClose(band, 4, width, out, greenLine, exchange != 0, bitDepth);
}

void rg16ToBgr16_edge_last3Rows(const uint16_t* const* band, int32_t width, uint16_t* out,
                                uint16_t* greenLine, uint32_t exchange, uint32_t bitDepth) {
    edgeClose(band, 5, width, out, greenLine, exchange != 0, bitDepth);
}

}  // extern "C"
