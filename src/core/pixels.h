// Pixel counts as every entry computes them: height x width in 32-bit
// unsigned arithmetic. Frames past 2^32 pixels wrap, and a count past
// INT32_MAX reads negative as int32_t; the entries' size checks rely on both.
#pragma once

#include <cstdint>

namespace tav {

inline uint32_t pixels32(int32_t height, int32_t width) {
    return static_cast<uint32_t>(height) * static_cast<uint32_t>(width);
}

inline int32_t pixelCount(int32_t height, int32_t width) {
    return static_cast<int32_t>(pixels32(height, width));
}

}  // namespace tav
