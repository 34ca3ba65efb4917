// The AVX2 bodies of the frame API's luma of colour words and depth scaling:
// 16 pixels or words a step.
// Only declarations here, so that the AVX2 translation unit and its callers
// share no inline code.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tav::api {

// Pixels [0, 16 * steps) of three words (r, g, b) into the luma with
// `weights`, moved by depth.h's shifts `left`, `right`, `down`: the words of
// two 8-pixel steps of lumaRow. Call only at Level::Avx2.
void lumaRowAvx2(const uint16_t* rgb, uint16_t* out, int32_t steps, const uint32_t* weights,
                 int32_t left, int32_t right, int32_t down);

// Words [0, 16 * steps) moved in place by depth.h's shifts. Call only at
// Level::Avx2.
void rescaleWordsAvx2(uint16_t* words, size_t steps, int32_t left, int32_t right, int32_t down);

}  // namespace tav::api
