// Per-sample work the frame API adds to the 16-bit kernels: samples moved
// from one bit depth to another, the luma of colour words, Mono replicas.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tav::api {

// Samples of `from` bits (10..16) to `to` bits (10..16) by depth.h's rule.
void rescaleWords(uint16_t* words, size_t count, uint32_t from, uint32_t to);

// Luma of the true colours (luma.h) of `width` pixels of three words, red
// first, moved from `from` to `to` bits (depth.h).
void lumaRow(const uint16_t* rgb, int32_t width, uint16_t* out, uint32_t from, uint32_t to);

// Rows of `width` words (`rows` of them) into one word a pixel, or three
// copies when `channels` is 3, moved from `from` to `to` bits; in bands.
void monoRows(const uint8_t* src, ptrdiff_t srcStride, uint8_t* dst, ptrdiff_t dstStride,
              int32_t width, int32_t rows, int32_t channels, uint32_t from, uint32_t to);

}  // namespace tav::api
