// Luma of a demosaiced pixel: (77 R + 150 G + 29 B + 128) >> 8. The exchanged
// weights serve a mosaic whose red and blue sites are exchanged.
#pragma once

#include <cstdint>

namespace tav {

// [exchanged][r, g, b]
inline constexpr uint32_t kLumaWeights[2][3] = {{77, 150, 29}, {29, 150, 77}};

inline uint32_t luma(const uint32_t w[3], uint32_t r, uint32_t g, uint32_t b) {
    return (w[0] * r + w[1] * g + w[2] * b + 128) >> 8;
}

}  // namespace tav
