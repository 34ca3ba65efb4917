// The AVX2 body of method 3's blends on 8-bit samples: sixteen columns a
// step, the same integers as two SSE4.1 steps. Only declarations and plain
// records here, so that the AVX2 translation unit and its callers share no
// inline code. Call only at Level::Avx2.
#pragma once

#include <cstdint>

#include "demosaic8/bilinear8_avx2.h"

namespace tav::hq {

// Differences of row q, columns [x, x + 16 steps): s holds rows q - 2 .. q + 2;
// `evenGreen`: column x is green. Reads up to 2 columns either side.
void diffStepsAvx2(const uint8_t* const s[5], bool evenGreen, int32_t max8, int16_t* dh,
                   int16_t* dv, int32_t x, int32_t steps);

// out[i] = |a[i] - b[i]| for i in [0, 8 steps).
void absDiffStepsAvx2(const int32_t* a, const int32_t* b, int32_t* out, int32_t steps);
void absDiffStepsAvx2(const int16_t* a, const int16_t* b, int16_t* out, int32_t steps);

// Partial window sums of columns [0, 8 steps): five rows of vertical gradients
// from gv[0] (north, none when null) and from gv[4] (south), and the
// horizontal gradients of three rows of differences dh (read one column
// either side).
void windowSumsAvx2(const int32_t* const gv[9], const int32_t* const dh[3], uint32_t* north,
                    uint32_t* south, uint32_t* across, int32_t steps);
void windowSumsAvx2(const int16_t* const gv[9], const int16_t* const dh[3], uint16_t* north,
                    uint16_t* south, uint16_t* across, int32_t steps);

// The planes around row r that the green rule reads.
struct GreenRowAvx2 {
    const uint16_t *north, *south, *across;  // partial window sums, indexed by column
    const int16_t* dv[5];                    // vertical differences, rows r - 2 .. r + 2
    const int16_t* dh;                       // horizontal differences of row r
    const uint8_t* src;                      // row r
    uint32_t eps;
    int32_t max;
};

// Green of row r, columns [x, x + 16 steps); `greenFirst`: column x is green.
void greenStepsAvx2(const GreenRowAvx2& r, bool greenFirst, int16_t* green, int32_t x,
                    int32_t steps);

// The planes around row y that the colour rules read.
struct ColourRowsAvx2 {
    const int16_t* green[5];  // rows y - 2 .. y + 2
    const int16_t* other[3];  // the other colour at red and blue sites, rows y - 1 .. y + 1
    const uint8_t* src[3];    // rows y - 1 .. y + 1
    uint32_t eps;
    int32_t max;
};

// The other colour at the red and blue sites of row y, 0 at green sites.
void otherStepsAvx2(const ColourRowsAvx2& n, bool greenFirst, int16_t* other, int32_t x,
                    int32_t steps);

// Where the output steps put a row's pixels, as writers_avx2.h's putColours
// takes them (form Planar: red, green, blue planes).
struct OutputAvx2 {
    d8::Form8 form;
    uint8_t* row[3];
    bool redFirst;
    uint8_t alpha;
};

// Red, green and blue of row y; `redRow`: row y holds red sites. Pairs of
// steps go to `out` (not Mono8), an odd last step to the planes `rest`.
void outputStepsAvx2(const ColourRowsAvx2& n, bool greenFirst, bool redRow, const OutputAvx2& out,
                     uint8_t* const rest[3], int32_t x, int32_t steps);

}  // namespace tav::hq
