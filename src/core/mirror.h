// The border rule of every kernel family: an index outside [0, n) is read from
// its mirror position about the edge sample, which is not repeated (-1 reads 1,
// n reads n - 2).
#pragma once

#include <cstdint>

namespace tav {

constexpr int32_t mirror(int32_t i, int32_t n) {
    return i < 0 ? -i : i >= n ? 2 * n - 2 - i : i;
}

}  // namespace tav
