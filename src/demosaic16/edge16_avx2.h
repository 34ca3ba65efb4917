// The AVX2 body of the 16-bit edge-directed kernels: 16 columns a step. Only
// declarations here, so that the AVX2 translation unit and its callers share
// no inline code.
#pragma once

#include <cstdint>

namespace tav::d16 {

// `ceiling` is the clamp's word (edge16.cpp's ceiling16 lane), compared
// signed, or unsigned when `exact`. Call both only
// at Level::Avx2, over columns where the SSE4.1 body would run its steps.

// The next line's greens, columns [b, b + 16 * steps): the words of two
// 8-column steps of nextLine8 each.
void nextLineAvx2(const uint16_t* const* band, uint16_t* next, int32_t b, int32_t steps,
                  int16_t ceiling, bool exact);

// Band rows 1 and 2 into `row1` and `row2` (three words a pixel; exchange: r,
// g, b first), columns [b, b + 16 * steps): the words of two steps of finish8.
void finishAvx2(const uint16_t* const* band, const uint16_t* line, const uint16_t* next,
                uint16_t* row1, uint16_t* row2, bool exchange, int32_t b, int32_t steps,
                int16_t ceiling, bool exact);

}  // namespace tav::d16
