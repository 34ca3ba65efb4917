// The AVX2 bodies of YUV decoding, 32 pixels a block: UYVY and YUYV pairs and
// NV12 rows through the full-range formula without rounding, 4:4:4 pixels
// through either full-range formula, and planar 4:2:0
// rows through the studio-range formula, to three- or four-byte pixels. Declarations only, so that
// the AVX2 translation unit and its callers share no inline code. Call only at Level::Avx2.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tav::cvt {

// The output: bytes a pixel (3 or 4), blue first, non-temporal stores (the
// destination then 16-byte aligned at every block), the four-byte form's alpha.
struct WideYuvOut {
    int32_t bytes;
    bool bgr;
    bool stream;
    uint8_t alpha;
};

// `blocks` blocks of 16 pairs (64 source bytes) from src on.
void packed422Avx2(bool uyvy, WideYuvOut out, const uint8_t* src, uint8_t* dst, size_t blocks);

// `blocks` blocks of 32 4:4:4 pixels (96 source bytes) from src on, through
// the full-range formula with or without its rounding terms.
void yuv444Avx2(bool rounding, WideYuvOut out, const uint8_t* src, uint8_t* dst, size_t blocks);

// `steps` steps of 32 pixels of one NV12 row: luma y, the block row's chroma uv.
void nv12RowAvx2(WideYuvOut out, const uint8_t* y, const uint8_t* uv, uint8_t* dst, int32_t steps);

// `steps` steps of 32 pixels of one planar 4:2:0 row: luma y, the block row's
// chroma rows u and v.
void planarRowAvx2(WideYuvOut out, const uint8_t* y, const uint8_t* u, const uint8_t* v,
                   uint8_t* dst, int32_t steps);

}  // namespace tav::cvt
