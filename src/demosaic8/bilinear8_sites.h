// Bilinear interpolation at one Bayer site, written once for the border passes,
// the scalar tails of the body and the test reference.
//
// Sites are named in the terms of the RG phase: a red row holds R G R G, a blue
// row G B G B; a red column holds the R (and the blue row's G) sites. Every
// average truncates.
#pragma once

#include <cstdint>

namespace tav::d8 {

struct Rgb {
    uint32_t r, g, b;
};

// Samples of a frame whose neighbours are known to lie inside it.
struct InnerSamples {
    const uint8_t* src;
    int32_t width;

    uint32_t operator()(int32_t y, int32_t x) const { return src[y * width + x]; }
};

// Samples of a whole frame; a neighbour outside it is read from its mirror
// position about the edge pixel (row -1 reads row 1, row height reads row height - 2).
struct MirroredSamples {
    const uint8_t* src;
    int32_t height, width;

    static int32_t reflect(int32_t i, int32_t n) { return i < 0 ? -i : i >= n ? 2 * n - 2 - i : i; }
    uint32_t operator()(int32_t y, int32_t x) const {
        return src[reflect(y, height) * width + reflect(x, width)];
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

}  // namespace tav::d8
