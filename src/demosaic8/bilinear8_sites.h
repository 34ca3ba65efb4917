// The bilinear site rule (src/core/bilinear_sites.h) over 8-bit samples,
// under the names the 8-bit kernels and their tests use.
#pragma once

#include <cstdint>

#include "bilinear_sites.h"

namespace tav::d8 {

using Rgb = tav::Rgb;
using InnerSamples = tav::InnerSamples<uint8_t>;
using MirroredSamples = tav::MirroredSamples<uint8_t>;

using tav::atBlue;
using tav::atGreenOfBlueRow;
using tav::atGreenOfRedRow;
using tav::atRed;
using tav::bilinearAt;

}  // namespace tav::d8
