// The AVX2 body of 16-bit bilinear demosaicing: 16 columns a step. Only
// declarations and plain records here, so that the AVX2 translation unit and
// its callers share no inline code.
#pragma once

#include <cstdint>

namespace tav::d16 {

enum class Form16 : int32_t { Bgr16, Planar16, Mono16 };

// One output row: Bgr16 writes row[0] (exchange: r, g, b), Planar16 the
// planes row[0..2] (blue-site colour first), Mono16 row[0] with `weights`.
// Bgr16 and Mono16 move their words to another depth by the shifts of
// depth.h's DepthShift when `scaled`.
struct WideRow {
    Form16 form;
    bool exchange;
    uint16_t* row[3];
    const uint32_t* weights;
    bool scaled;
    int32_t left, right, down;
};

// The rows above, at and below the output row; X sites at odd columns from x
// when `xOdd`, X red when `xIsRed`.
struct WideSamples {
    const uint16_t* up;
    const uint16_t* mid;
    const uint16_t* down;
    bool xOdd, xIsRed;
};

// Sites [x, x + 16 * steps), each step the bytes of two 8-column steps of
// the SSE4.1 body. Call only at Level::Avx2.
void bilinearRowAvx2(const WideRow& out, const WideSamples& s, int32_t x, int32_t steps);

}  // namespace tav::d16
