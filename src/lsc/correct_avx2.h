// The AVX2 bodies of 8-bit lens-shading correction, 32 samples a step: two
// SSE4.1 steps of correct.cpp side by side. Declarations only, so that the
// AVX2 translation unit and its callers share no inline code. Call only at
// Level::Avx2.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tav::lsc {

// `steps` steps of 32 samples, each with its own word (mode 1); stream:
// non-temporal stores (destination 16-byte aligned).
void samples8Avx2(bool stream, const uint8_t* s, uint8_t* d, const uint32_t* w, ptrdiff_t steps);

// `steps` steps of 32 columns of two rows, a word for each 2x2 cell (mode 0).
void cells8Avx2(bool stream, const uint8_t* s0, const uint8_t* s1, uint8_t* d0, uint8_t* d1,
                const uint32_t* w, int32_t steps);

}  // namespace tav::lsc
