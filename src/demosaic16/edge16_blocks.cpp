// Edge-directed 16-bit demosaicing cut into region passes that can be called
// one by one. No green line: each pass writes G^ into the green word of the
// colour sites it covers and reads the greens of earlier passes back from the
// destination. Output is always b, g, r; the ceiling is an argument; all
// passes are scalar with the ordinary clamp.
//
// A pass first computes the greens its pixels need that no earlier pass has
// written, then finishes its pixels. Passes that work on a frame starting at
// row 1 or 2 of the image never look above that frame's first rows, whose
// greens come from the first-rows pass.
#include "edge16.h"
#include "passes.h"
#include "tav.h"

namespace {

using namespace tav::d16;
using tav::colOf;
using tav::packRowCol;
using tav::rowOf;

Bgr16Writer bgr(uint16_t* dst, int32_t width) {
    return {dst, width, false};
}

// Rows addressed relative to a pointer inside the frame; no mirror.
struct OffsetRows {
    const uint16_t* base;
    int32_t width;
    const uint16_t* operator()(int32_t r) const { return base + static_cast<intptr_t>(r) * width; }
};

struct OffsetGreens {
    const uint16_t* dst;
    int32_t width;
    uint16_t operator()(int32_t r, int32_t c) const {
        return dst[3 * (static_cast<intptr_t>(r) * width + c) + 1];
    }
};

// First column after the interior's column pairs x = start, start+2, ... below width - 3.
int32_t interiorColumnEnd(int32_t width, int32_t startCol) {
    if (startCol >= width - 3) return startCol;
    return startCol + 2 * ((width - 3 - startCol + 1) / 2);
}

// Rows 0 .. rows-1 finished, greens of rows 0 .. greenRows-1; a frame of six
// rows is all these passes may read.
void firstRows(const uint16_t* src, uint16_t* dst, int32_t width, int32_t startCol, int32_t ceiling,
               int32_t redRow, int32_t rows) {
    const Clamp clamp{ceiling, false};
    const FrameRows frame{src, 6, width};
    const BayerLayout m{redRow, startCol & 1};
    greensToDest(frame, m, dst, width, 0, rows + 1, 0, width, clamp);
    finishPixels(frame, DestGreens{dst, 6, width}, m, width, bgr(dst, width), 0, rows, 0, width,
                 clamp);
}

// Columns 0 .. cols-1 of rows 2 .. height-1.
void firstCols(const uint16_t* src, uint16_t* dst, int32_t height, int32_t width, int32_t ceiling,
               int32_t redCol, int32_t cols) {
    const Clamp clamp{ceiling, false};
    const FrameRows frame{src, height, width};
    const BayerLayout m{0, redCol};
    greensToDest(frame, m, dst, width, 2, height, 0, cols + 1, clamp);
    finishPixels(frame, DestGreens{dst, height, width}, m, width, bgr(dst, width), 2, height, 0,
                 cols, clamp);
}

using FirstColsPass = void (*)(const uint16_t*, uint16_t*, int32_t, int32_t, int32_t);

// A mosaic whose row 0 is red-first.
void redFirstDriver(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                    int32_t startCol, FirstColsPass cols, int32_t ceiling) {
    const intptr_t w = width;
    edgeFirstRowsRGGBU16(src, dst, width, startCol, ceiling);
    cols(src, dst, height, width, ceiling);
    const uint64_t done =
        edgeSecRGGBU16(src + 2 * w, dst + 6 * w, height - 4, width, startCol, ceiling);
    edgeLastRowsRGGBU16(src, dst, height, width, rowOf(done) + 2, startCol, ceiling);
    edgeLastColsRGGBU16(src, dst, height, width, done, ceiling);
}

// A mosaic whose row 1 is red-first: after the first three rows, the image
// from row 1 on is a red-first mosaic.
void greenFirstDriver(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                      int32_t startCol, FirstColsPass cols, int32_t ceiling) {
    const intptr_t w = width;
    edgeFirstRowsGBRGU16(src, dst, width, startCol, ceiling);
    cols(src + w, dst + 3 * w, height - 1, width, ceiling);
    const uint64_t done =
        edgeSecRGGBU16(src + 3 * w, dst + 9 * w, height - 5, width, startCol, ceiling);
    edgeLastRowsRGGBU16(src, dst, height, width, rowOf(done) + 3, startCol, ceiling);
    edgeLastColsRGGBU16(src + w, dst + 3 * w, height - 1, width, done, ceiling);
}

}  // namespace

extern "C" {

void edgeFirstRowsRGGBU16(const uint16_t* src, uint16_t* dst, int32_t width, int32_t startCol,
                          int32_t ceiling) {
    firstRows(src, dst, width, startCol, ceiling, 0, 2);
}

void edgeFirstRowsGBRGU16(const uint16_t* src, uint16_t* dst, int32_t width, int32_t startCol,
                          int32_t ceiling) {
    firstRows(src, dst, width, startCol, ceiling, 1, 3);
}

void edgeFirstColsRGGBU16(const uint16_t* src, uint16_t* dst, int32_t height, int32_t width,
                          int32_t ceiling) {
    firstCols(src, dst, height, width, ceiling, 0, 2);
}

void edgeFirstColsGRBGU16(const uint16_t* src, uint16_t* dst, int32_t height, int32_t width,
                          int32_t ceiling) {
    firstCols(src, dst, height, width, ceiling, 1, 3);
}

// src and dst point at the interior's first row r (red-first); each row pair
// (r, r+1) and column pair (x, x+1) gives G^ at (r, x) and (r+1, x+1) and
// finishes rows r-1 and r at columns x-1 and x.
uint64_t edgeSecRGGBU16(const uint16_t* src, uint16_t* dst, int32_t rows, int32_t width,
                        int32_t startCol, int32_t ceiling) {
    const int32_t pairs = rows >= 2 ? (rows - 2) / 2 + 1 : 0;
    const int32_t colEnd = interiorColumnEnd(width, startCol);
    if (pairs == 0) return static_cast<uint32_t>(startCol);
    const Clamp clamp{ceiling, false};
    const OffsetRows frame{src, width};
    const BayerLayout m{0, startCol & 1};
    greensToDest(frame, m, dst, width, 0, 2 * pairs, startCol, colEnd, clamp);
    finishPixels(frame, OffsetGreens{dst, width}, m, width, bgr(dst, width), -1, 2 * pairs - 1,
                 startCol - 1, colEnd - 1, clamp);
    return packRowCol(2 * pairs, colEnd);
}

// Rows firstRow-1 .. height-1 over the interior's columns; row firstRow is red-first.
void edgeLastRowsRGGBU16(const uint16_t* src, uint16_t* dst, int32_t height, int32_t width,
                         int32_t firstRow, int32_t startCol, int32_t ceiling) {
    const int32_t colEnd = interiorColumnEnd(width, startCol);
    if (colEnd == startCol) return;
    const Clamp clamp{ceiling, false};
    const FrameRows frame{src, height, width};
    const BayerLayout m{firstRow & 1, startCol & 1};
    const int32_t c0 = startCol - 2 < 0 ? 0 : startCol - 2;
    greensToDest(frame, m, dst, width, firstRow, height, c0, colEnd, clamp);
    finishPixels(frame, DestGreens{dst, height, width}, m, width, bgr(dst, width), firstRow - 1,
                 height, startCol - 1, colEnd - 1, clamp);
}

// Columns from the one before the interior's end to the right edge, rows 2 .. height-1.
void edgeLastColsRGGBU16(const uint16_t* src, uint16_t* dst, int32_t height, int32_t width,
                         uint64_t interior, int32_t ceiling) {
    const int32_t colEnd = colOf(interior);
    const int32_t c0 = colEnd - 1 < 0 ? 0 : colEnd - 1;
    const Clamp clamp{ceiling, false};
    const FrameRows frame{src, height, width};
    const BayerLayout m{0, colEnd & 1};
    greensToDest(frame, m, dst, width, 2, height, c0, width, clamp);
    finishPixels(frame, DestGreens{dst, height, width}, m, width, bgr(dst, width), 2, height, c0,
                 width, clamp);
}

// RGGB is clamped to 12 bits, the other phases to 16: kept as callers know it.
int32_t demosaicingEdgeRGGBU16(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst) {
    redFirstDriver(src, height, width, dst, 2, edgeFirstColsRGGBU16, 4095);
    return TAV_OK;
}

int32_t demosaicingEdgeGRBGU16(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst) {
    redFirstDriver(src, height, width, dst, 3, edgeFirstColsGRBGU16, 65535);
    return TAV_OK;
}

int32_t demosaicingEdgeGBRGU16(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst) {
    greenFirstDriver(src, height, width, dst, 2, edgeFirstColsRGGBU16, 65535);
    return TAV_OK;
}

int32_t demosaicingEdgeBGGRU16(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst) {
    greenFirstDriver(src, height, width, dst, 3, edgeFirstColsGRBGU16, 65535);
    return TAV_OK;
}

}  // extern "C"
