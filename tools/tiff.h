// Baseline TIFF reading: uncompressed 8-bit grey or RGB in strips, the form
// test-picture sets come in.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "image_io.h"

namespace tavcli {

bool looksLikeTiff(const std::vector<uint8_t>& file);

// The first image of a TIFF file: grey (either polarity) or RGB, 8 bits a
// sample, chunky, uncompressed; extra samples (alpha) are dropped. Throws
// Failure for anything else.
Raster readTiff(const std::string& path);

}  // namespace tavcli
