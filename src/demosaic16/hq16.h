// Method 3 on 16-bit mosaics (library-internal).
#pragma once

#include <cstdint>

namespace tav {

// Three words a pixel, red first or blue first, samples of `bitDepth` bits
// (10 to 16; others are refused) with red at row and column parity redY, redX.
int32_t hq16ToRgb16(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst, int32_t redY,
                    int32_t redX, bool redFirst, uint32_t bitDepth);

}  // namespace tav
