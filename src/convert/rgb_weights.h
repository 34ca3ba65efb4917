// Weights of the vector forms of the RGB/BGR encoding formulas (rgb.h): one
// pmaddubsw on (r, g) byte pairs and one on (g, b) pairs, with the weights
// above 127 split between the two and the even sets halved. Plain data, so
// that the AVX2 bodies (rgb_avx2.cpp) use the same numbers as the SSE4.1 ones;
// the studio-range sets are the scalar formulas' numbers as well.
#pragma once

namespace tav::cvt {

struct PairWeights {
    int r, g1, g2, b;  // r and g1 on (r, g); g2 and b on (g, b)
};

// BT.601 full range: (77 r + 150 g + 29 b + 128) >> 8, and halved chroma.
inline constexpr PairWeights kLuma601{77, 51, 99, 29};
inline constexpr PairWeights kCb601Half{-22, -42, 0, 64};
inline constexpr PairWeights kCr601Half{64, -54, 0, -10};
// The 4:1:1 chroma (odd weights, whole): 128 as 127 plus one more pair.
inline constexpr PairWeights kCb411{-43, -85, 0, 127};
inline constexpr PairWeights kCr411{127, -107, 0, -21};
inline constexpr int kLuma601Round = 128;

// A studio-range set (planar 4:2:0): luma (w.r r + (w.g1 + w.g2) g + w.b b +
// lumaOffset) >> 8 in 16..235, chroma (2 (h.r r + (h.g1 + h.g2) g + h.b b) +
// 32896) >> 8 for its halved weights h. Each pair's weights add up to at most
// 128, so that no pmaddubsw saturates.
struct StudioWeights {
    PairWeights luma, cbHalf, crHalf;
    int lumaOffset;
};

// BT.709: 46 r + 157 g + 16 b + 4096 (the compatible entry's encoder).
inline constexpr StudioWeights kStudio709{
    {46, 82, 75, 16}, {-13, -43, 0, 56}, {56, -51, 0, -5}, 4096};
// BT.601, what the planar 4:2:0 decoder reads: 66 r + 129 g + 25 b + 4224
// (16 and a rounding half), chroma -38 r - 74 g + 112 b and 112 r - 94 g - 18 b.
inline constexpr StudioWeights kStudio601{
    {66, 62, 67, 25}, {-19, -37, 0, 56}, {56, -47, 0, -9}, 4224};
// (2h + 32896) >> 8 = (h + kHalfOffset) >> 7 for a halved chroma sum h.
inline constexpr int kHalfOffset = 16448;

}  // namespace tav::cvt
