// The AVX2 body of 8-bit nearest-neighbour demosaicing: 32 columns a step.
// Only declarations here, so that the AVX2 translation unit and its callers
// share no inline code.
#pragma once

#include <cstdint>

#include "bilinear8_avx2.h"

namespace tav::d8 {

// A band of two rows: `upper` with blue sites into out.blue, `lower` with red
// sites into out.red, `above` the row over `upper`; out.exchange exchanges
// red and blue in the three- and four-byte forms, Mono8 weighs with
// out.weights as they are. Columns [x, x + 32 * steps), x odd: the bytes of
// two 16-column steps of the SSE4.1 body each. Call only at Level::Avx2.
void nearestBandAvx2(const WideOut& out, const uint8_t* above, const uint8_t* upper,
                     const uint8_t* lower, int32_t x, int32_t steps);

}  // namespace tav::d8
