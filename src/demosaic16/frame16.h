// Whole-frame 16-bit demosaicing with the right colours at every phase and
// depth (library-internal): what the frame API runs, on the compatible kernels.
#pragma once

#include <cstdint>

#include "depth.h"

namespace tav {

// Bilinear, GR phase; `everyRow` false leaves the row after the body's last
// pair unwritten, as tavDemosaicingU16 always has.
int32_t gr16BilinearFrame(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                          uint32_t exchange, bool everyRow);

// Bilinear into the frame API's forms in one pass: red sites at columns of
// parity `phaseCol` on even rows, every row written; three words a pixel
// (exchange: r, g, b) or, when `weights`, their luma (luma.h); every word
// moved by `depth` (depth.h).
int32_t bilinear16Frame(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                        int32_t phaseCol, uint32_t exchange, const uint32_t* weights,
                        const DepthShift& depth);

// The same by Bayer phase (dispatch8.h's Phase): red first when `rgb`, the
// luma of the true colours when `mono`, samples from `bitDepth` to `toDepth`.
int32_t bilinear16Deep(int phase, const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                       bool rgb, bool mono, uint32_t bitDepth, uint32_t toDepth);

// Rows [r0, r1) of a destination that its kernel no longer reads or writes,
// given from the thread of the band that wrote them, so that a pass over them
// finds them in cache.
struct RowsDone {
    void (*run)(void* context, int32_t r0, int32_t r1);
    void* context;
};

// Edge-directed, red-first rows of parity `redRow`, every value clamped to
// 0..2^bitDepth - 1 (the compatible kernels' vector clamp is signed); every
// row goes to `done` once, if given.
int32_t edge16Frame(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                    bool exchange, uint32_t bitDepth, int32_t redRow,
                    const RowsDone* done = nullptr);

// Methods 1..3 on a Bayer phase (dispatch8.h's Phase) into three words a
// pixel, red first when `rgb`; samples keep their depth. Every row goes to
// `done` once, if given (the edge kernel's as they are finished, the others'
// in bands at the end). Sizes are the caller's to check.
int32_t demosaic16Frame(int phase, uint32_t method, const uint16_t* src, int32_t height,
                        int32_t width, uint16_t* dst, bool rgb, uint32_t bitDepth,
                        const RowsDone* done = nullptr);

}  // namespace tav
