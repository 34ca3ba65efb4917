// Bilinear interpolation at one Bayer site, written once for the 8- and 16-bit
// kernels: their border passes, the scalar rule beside each vector body, and
// the tests' references.
//
// Sites are named in the terms of the RG phase: a red row holds R G R G, a
// blue row G B G B; a red column holds the R (and the blue row's G) sites.
// Every average truncates.
#pragma once

#include <cstdint>

#include "mirror.h"

namespace tav {

// The colour at the red sites of the kernel's phase (r), green, the colour at
// its blue sites (b).
struct Rgb {
    uint32_t r, g, b;
};

// Samples of a frame whose neighbours are known to lie inside it.
template <typename T>
struct InnerSamples {
    const T* src;
    int32_t width;

    uint32_t operator()(int32_t y, int32_t x) const { return src[y * width + x]; }
};

// Samples of a whole frame; a neighbour outside it is read from its mirror
// position about the edge pixel (row -1 reads row 1, row height reads row height - 2).
template <typename T>
struct MirroredSamples {
    const T* src;
    int32_t height, width;

    uint32_t operator()(int32_t y, int32_t x) const {
        return src[mirror(y, height) * width + mirror(x, width)];
    }
};

template <typename S>
inline uint32_t cross4(const S& s, int32_t y, int32_t x) {
    return (s(y - 1, x) + s(y, x - 1) + s(y, x + 1) + s(y + 1, x)) >> 2;
}
template <typename S>
inline uint32_t diagonal4(const S& s, int32_t y, int32_t x) {
    return (s(y - 1, x - 1) + s(y - 1, x + 1) + s(y + 1, x - 1) + s(y + 1, x + 1)) >> 2;
}
template <typename S>
inline uint32_t vertical2(const S& s, int32_t y, int32_t x) {
    return (s(y - 1, x) + s(y + 1, x)) >> 1;
}
template <typename S>
inline uint32_t horizontal2(const S& s, int32_t y, int32_t x) {
    return (s(y, x - 1) + s(y, x + 1)) >> 1;
}

template <typename S>
inline Rgb atRed(const S& s, int32_t y, int32_t x) {
    return {s(y, x), cross4(s, y, x), diagonal4(s, y, x)};
}
template <typename S>
inline Rgb atGreenOfRedRow(const S& s, int32_t y, int32_t x) {
    return {horizontal2(s, y, x), s(y, x), vertical2(s, y, x)};
}
template <typename S>
inline Rgb atGreenOfBlueRow(const S& s, int32_t y, int32_t x) {
    return {vertical2(s, y, x), s(y, x), horizontal2(s, y, x)};
}
template <typename S>
inline Rgb atBlue(const S& s, int32_t y, int32_t x) {
    return {diagonal4(s, y, x), cross4(s, y, x), s(y, x)};
}

template <typename S>
inline Rgb bilinearAt(const S& s, int32_t y, int32_t x, bool redRow, bool redCol) {
    if (redRow) return redCol ? atRed(s, y, x) : atGreenOfRedRow(s, y, x);
    return redCol ? atGreenOfBlueRow(s, y, x) : atBlue(s, y, x);
}

}  // namespace tav
