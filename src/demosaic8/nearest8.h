// The nearest-neighbour selection rule, in one place. A pixel takes its
// missing red and blue from the 2x2 cell whose bottom-right corner it is (the
// cell moved inwards at row 0 and column 0), and a missing green from the
// cell's green beside it. Row 0, column 0, the scalar tails and the tests'
// reference all use these functions.
#pragma once

#include <cstdint>

#include "bilinear_sites.h"  // Rgb

namespace tav::d8 {

using Rgb = tav::Rgb;

// The pixel at (dy, dx) of a cell whose rows start at `top` and `bottom` (both
// already offset to the cell's left column). The red sample sits in cell row
// `redRow` and cell column `redCol`, blue diagonally opposite.
inline Rgb pickInCell(const uint8_t* top, const uint8_t* bottom, int redRow, int redCol, int dy,
                      int dx) {
    const uint8_t* rows[2] = {top, bottom};
    Rgb p;
    p.r = rows[redRow][redCol];
    p.b = rows[1 - redRow][1 - redCol];
    const bool green = (dy == redRow) != (dx == redCol);
    if (green) {
        p.g = rows[dy][dx];
    } else if (dy == 1 && dx == 0) {
        p.g = rows[0][0];  // column 0 below row 0: no left neighbour, take the one above
    } else {
        p.g = rows[dy][1 - dx];  // the horizontal neighbour: left, or right at (0, 0)
    }
    return p;
}

// Pixel in column x of a row of a mosaic whose red sites are on even columns.
// The cell's rows are `top` and `bottom` (whole rows); the pixel lies in `top`
// when dy is 0 (row 0 of the frame), otherwise in `bottom`; `redRow` says which
// of the two holds red.
inline Rgb nearestPixel(const uint8_t* top, const uint8_t* bottom, int redRow, int dy, int32_t x) {
    const int32_t cx = x > 0 ? x - 1 : 0;
    return pickInCell(top + cx, bottom + cx, redRow, cx & 1, dy, x - cx);
}

}  // namespace tav::d8
