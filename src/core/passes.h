// Bookkeeping of the kernels that are cut into passes (first rows, first
// columns, body, last rows, last columns): where a body stops, and the
// (row, column) pair a body pass hands to the passes after it.
#pragma once

#include <cstdint>

namespace tav {

// First row (column) a body working in pairs from 1 leaves to the last-row
// (last-column) pass: one before the end for an even size, two for an odd one.
constexpr int32_t bodyEnd(int32_t n) {
    return n - 1 - (n & 1);
}

// (row << 32) | column, as the body passes return it.
constexpr uint64_t packRowCol(int32_t row, int32_t col) {
    return (uint64_t{static_cast<uint32_t>(row)} << 32) | static_cast<uint32_t>(col);
}
constexpr int32_t rowOf(uint64_t rowCol) {
    return static_cast<int32_t>(rowCol >> 32);
}
constexpr int32_t colOf(uint64_t rowCol) {
    return static_cast<int32_t>(static_cast<uint32_t>(rowCol));
}

}  // namespace tav
