// Packed and bit-stream sources as one 16-bit word a sample, so that every
// source deeper than 8 bits reaches the full-depth kernels.
#pragma once

#include <cstdint>

#include "frame.h"

namespace tav::api {

// The rows of `s` (GigE packed or a "p" bit stream) into `words`, compact
// rows of s.width words, in row bands.
void unpackWords(const View& s, uint16_t* words);
// The top 8 bits of each sample of a bit stream into `bytes`, compact rows of
// s.width bytes, in row bands.
void unpackTopBytes(const View& s, uint8_t* bytes);

}  // namespace tav::api
