// The AVX2 bodies of RGB/BGR encoding: 4:1:1 groups and planar 4:2:0 row
// pairs, each 128-bit lane doing what one SSE4.1 block does. Declarations
// only, so that the AVX2 translation unit and its callers share no inline
// code. Call only at Level::Avx2.
#pragma once

#include <cstddef>
#include <cstdint>

#include "rgb_weights.h"

namespace tav::cvt {

// `blocks` blocks of 16 groups of four pixels (192 source bytes) to U Y Y V Y Y;
// rgb: red-first source; stream: non-temporal stores (destination 16-byte aligned).
void encode411Avx2(bool rgb, bool stream, const uint8_t* src, uint8_t* dst, size_t blocks);

// `steps` steps of 32 columns of the source rows r0 and r1 to planar 4:2:0
// with `weights`: 32 luma bytes to each of y0 and y1, 16 chroma bytes to each
// of u and v.
void encode420Avx2(bool rgb, const StudioWeights& weights, const uint8_t* r0, const uint8_t* r1,
                   uint8_t* y0, uint8_t* y1, uint8_t* u, uint8_t* v, int32_t steps);

}  // namespace tav::cvt
