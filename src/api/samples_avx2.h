// The AVX2 body of the frame API's luma of colour words: 16 pixels a step.
// Only declarations here, so that the AVX2 translation unit and its callers
// share no inline code.
#pragma once

#include <cstdint>

namespace tav::api {

// Pixels [0, 16 * steps) of three words (r, g, b) into the luma with
// `weights`, moved by depth.h's shifts `left`, `right`, `down`: the words of
// two 8-pixel steps of lumaRow. Call only at Level::Avx2.
void lumaRowAvx2(const uint16_t* rgb, uint16_t* out, int32_t steps, const uint32_t* weights,
                 int32_t left, int32_t right, int32_t down);

}  // namespace tav::api
