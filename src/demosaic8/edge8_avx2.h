// The AVX2 body of 8-bit edge-directed demosaicing: 32 columns a step. Only
// declarations and plain records here, so that the AVX2 translation unit and
// its callers share no inline code.
#pragma once

#include <cstdint>

#include "bilinear8_avx2.h"

namespace tav::d8::edge {

// Where a pass writes its rows r - 1 (`up`) and r (`lo`); planar: three
// planes each. `exchange` exchanges red and blue in the three- and four-byte
// forms; Mono8 weighs with `weights`.
struct EdgeOut {
    Form8 form;
    bool exchange;
    uint8_t* up[3];
    uint8_t* lo[3];
    const uint32_t* weights;
    uint8_t alpha;  // of the four-byte form
};

// What a run of steps hands the next step: the estimates at its last even and
// odd columns, and the line bytes of its last 16 columns, stored once the next
// step has read the old ones beside them. Before the first step (open false)
// last* are the estimates of column 0 and 1.
struct EdgeRun {
    int32_t lastE, lastO;
    bool open;
    uint8_t pending[16];
};

// `steps` steps of 32 columns from red-site column x on: the same bytes, line
// included, as two 16-column steps of the SSE4.1 body each. Call only at
// Level::Avx2.
void edgeStepsAvx2(const EdgeOut& out, const uint8_t* const* rows, uint8_t* line, int32_t x,
                   int32_t steps, EdgeRun& run);

}  // namespace tav::d8::edge
