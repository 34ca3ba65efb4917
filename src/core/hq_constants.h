// Constants of the method 3 rules (hq_rules.h), in a header of their own so
// that the AVX2 body, which may include no tav header with inline code,
// shares them.
#pragma once

#include <cstdint>

namespace tav::hq {

// Strength of the Laplacian correction in eighths (8: Hamilton-Adams' full
// quarter Laplacian). Half strength keeps most of the detail the correction
// restores while halving its overshoot next to edges; on photographs it
// scores best anywhere from 3 to 6, and the full correction is 0.15 dB worse.
constexpr int32_t kLaplacian = 4;
// Regularisers of the direction weights, for 8-bit samples (scaled with the
// sample range): green step, window sums of 15 gradients in eighths (two
// levels in all); colour steps, sums of three steps in whole units (about
// ten levels a step), so that noise-level steps do not swing the weights.
constexpr int32_t kEpsGreen = 16;
constexpr int32_t kEpsColour = 32;
// Taper of the one-sided colour differences: the site, the next sample and
// half of the one after (sum 8). Longer tails reach across detail.
constexpr int32_t kTaps[3] = {3, 3, 2};
constexpr int32_t kTapSum = kTaps[0] + kTaps[1] + kTaps[2];

// Fraction bits of the colour differences.
constexpr int32_t kFrac = 3;

// kTapSum is a power of two: green's divisor, the weights' total times
// kTapSum << kFrac, is that total shifted, so the vector rules can shift the
// dividend first (floor(floor(a / 2^k) / t) = floor(a / (t * 2^k))).
constexpr int32_t kTapShift = 3;
static_assert(kTapSum == 1 << kTapShift, "kTapSum must be a power of two");

// Weights carry their logarithm in the layout of a float's bits: bit
// length - 1 above kLogFrac bits of mantissa (a value below 2^24 converts to
// a float exactly). The largest weight lies in (2^(kTopWeight - 2), 2^kTopWeight].
constexpr int32_t kLogFrac = 23;
constexpr int32_t kTopWeight = 12;

// Window sums of gradients on each side of a site: north, rows -4..0 and
// columns -1..1 of the vertical gradients; south, rows 0..4; west and east
// alike across the horizontal ones.
constexpr int kWindowLength = 5;

}  // namespace tav::hq
