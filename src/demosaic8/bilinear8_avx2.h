// The AVX2 body of 8-bit bilinear demosaicing: 32 columns a step. Only
// declarations and plain records here, so that the AVX2 translation unit and
// its callers share no inline code.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tav::d8 {

enum class Form8 : int32_t { Bgr8, Bgra8, Planar, Mono8 };

// Where a band's two output rows go: `row` is the writer's row (planar: its
// three planes), `weights` the Mono8 weights, `alpha` the four-byte form's.
struct WideOut {
    Form8 form;
    bool exchange;
    uint8_t* blue[3];
    uint8_t* red[3];
    const uint32_t* weights;
    uint8_t alpha;
};

// Columns [x, x + 32 * steps) of the band whose blue row is `blue`: the same
// bytes as two 16-column steps of the SSE4.1 body each. Call only at
// Level::Avx2.
void bilinearBandAvx2(const WideOut& out, const uint8_t* blue, ptrdiff_t stride, int32_t x,
                      int32_t steps);

}  // namespace tav::d8
