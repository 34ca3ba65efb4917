// Gradient-weighted colour-difference demosaicing (method 3): the per-site
// rules, shared by the 8- and 16-bit entries, and the scalar frame walk.
//
// 1. Every site gets a horizontal and a vertical colour difference, green
//    minus the other colour of its row or column, from a Hamilton-Adams
//    estimate of the missing one (neighbour mean plus a Laplacian of the
//    site's own colour). Differences carry three fraction bits.
// 2. Their gradients (difference of the two neighbours along the direction),
//    summed over a window five long and three wide on each side of a site,
//    say how far each of north, south, west and east crosses an edge; each
//    direction weighs 1 / (sum + eps)^2.
// 3. Green at red and blue sites: the site value plus the weighted mean of
//    the one-sided (tapered) colour differences of the four directions.
// 4. The other colour at red and blue sites from the four diagonal colour
//    differences, then red and blue at green sites from the four axial ones
//    (one set of weights for both), each weighted by how smooth green and
//    the differences run that way.
// Integer arithmetic throughout; every rule is symmetric under reflection,
// so planes of mirrored rows equal the mirrored planes, and the frame walk
// reads every plane through the mirror rule.
#pragma once

#include <cstdint>
#include <cstdlib>

#include "hq_constants.h"
#include "mirror.h"

namespace tav::hq {

// Rows and columns beyond the frame read their mirror image, reflected again
// as often as a frame narrower than the reach needs.
inline int32_t fold(int32_t i, int32_t n) {
    while (i < 0 || i >= n) i = mirror(i, n);
    return i;
}

inline int32_t clampTo(int32_t v, int32_t lo, int32_t hi) {
    return v < lo ? lo : v > hi ? hi : v;
}

template <typename Acc>
Acc floorDiv(Acc a, Acc b) {  // b > 0
    const Acc q = a / b;
    return q * b > a ? q - 1 : q;
}

// Colour difference along one direction at a site of value c, from the
// samples one (a1, b1) and two (a2, b2) steps either way: green minus the
// other colour, whose estimate is clamped to the sample range (max8: the
// largest sample in eighths).
inline int32_t directional(int32_t c, int32_t a1, int32_t b1, int32_t a2, int32_t b2, bool green,
                           int32_t max8) {
    const int32_t est =
        clampTo((4 * (a1 + b1)) + ((kLaplacian * (2 * c - a2 - b2)) >> (5 - kFrac)), 0, max8);
    return green ? (c << kFrac) - est : est - (c << kFrac);
}

// Bit length - 1 of v (0 < v < 2^24) above its next kLogFrac bits: log2(v)
// to within 0.09, linear between powers of two.
inline int32_t logCode(uint32_t v) {
    const int32_t e = 31 - __builtin_clz(v);
    return (e << kLogFrac) | static_cast<int32_t>((v << (kLogFrac - e)) & ((1u << kLogFrac) - 1));
}

// The integer part of 2^(c / 2^kLogFrac), from the same linear form.
inline int32_t fromLogCode(int32_t c) {
    if (c < 0) return 0;
    const int32_t e = c >> kLogFrac;
    return ((1 << kLogFrac) | (c & ((1 << kLogFrac) - 1))) >> (kLogFrac - e);
}

// Relative weights 1 / (s + eps)^2 of four directions, the largest in
// (2^(kTopWeight - 2), 2^kTopWeight]: in the log domain, twice the log of each
// sum taken from that of the smallest sum's power of two. The log form costs
// a few integer steps a lane where a table and a shift cost twice that.
inline void weights4(const uint32_t s[4], uint32_t eps, int32_t w[4]) {
    int32_t c[4];
    int32_t least = INT32_MAX;
    for (int k = 0; k < 4; ++k) {
        c[k] = logCode(s[k] + eps);
        least = c[k] < least ? c[k] : least;
    }
    const int32_t base = least & ~((1 << kLogFrac) - 1);
    for (int k = 0; k < 4; ++k) w[k] = fromLogCode((kTopWeight << kLogFrac) - 2 * (c[k] - base));
}

// Products and quotients of the blends run in Acc: 32 bits hold them for
// 8-bit samples (below 2^29), 16-bit samples need 64.

// Green at a red or blue site of value c. `n` gives the planes around it:
// dh/dv(dy, dx) the colour differences, window(k) the gradient sum of
// direction k (north, south, west, east).
template <typename Acc, class N>
int32_t greenAt(const N& n, int32_t c, uint32_t eps, int32_t max) {
    const uint32_t s[4] = {n.window(0), n.window(1), n.window(2), n.window(3)};
    Acc d[4] = {0, 0, 0, 0};
    for (int i = 0; i < 3; ++i) {
        d[0] += kTaps[i] * n.dv(-i, 0);
        d[1] += kTaps[i] * n.dv(i, 0);
        d[2] += kTaps[i] * n.dh(0, -i);
        d[3] += kTaps[i] * n.dh(0, i);
    }
    int32_t w[4];
    weights4(s, eps, w);
    // Green = c + weighted mean difference, rounded: one division by the
    // weight total in eighths.
    const Acc den = Acc{w[0] + w[1] + w[2] + w[3]} * kTapSum;
    const Acc num = w[0] * d[0] + w[1] * d[1] + w[2] * d[2] + w[3] * d[3];
    const Acc g = floorDiv<Acc>(((Acc{c} << kFrac) + (1 << (kFrac - 1))) * den + num, den << kFrac);
    return clampTo(static_cast<int32_t>(g), 0, max);
}

// How smoothly green runs from a site to each of four neighbours k at
// (dy[k], dx[k]): 2 |g0 - g1|. `n.g` is green. (A second step on, to the
// sample beyond, scored no better on photographs and costs a row of reach.)
template <class N>
void greenSteps(const N& n, const int (&dy)[4], const int (&dx)[4], int32_t steps[4]) {
    const int32_t g = n.g(0, 0);
    for (int k = 0; k < 4; ++k) steps[k] = 2 * std::abs(g - n.g(dy[k], dx[k]));
}

// g minus the weighted mean of d[k], rounded, clamped to [0, max].
template <typename Acc>
int32_t blend(int32_t g, const int32_t w[4], const int32_t d[4], int32_t max) {
    const Acc den = w[0] + w[1] + w[2] + w[3];
    const Acc num = Acc{w[0]} * d[0] + Acc{w[1]} * d[1] + Acc{w[2]} * d[2] + Acc{w[3]} * d[3];
    return clampTo(static_cast<int32_t>(floorDiv<Acc>(Acc{g} * den - num + den / 2, den)), 0, max);
}

// A missing colour at a site of green g, from the four neighbours k at
// (dy[k], dx[k]), opposite in pairs (0, 1) and (2, 3): `n.d` is green minus
// the colour wanted. Each neighbour weighs by its green steps and by how its
// difference agrees with the opposite one.
template <typename Acc, class N>
int32_t colourAt(const N& n, const int (&dy)[4], const int (&dx)[4], const int32_t steps[4],
                 uint32_t eps, int32_t max) {
    int32_t d[4];
    for (int k = 0; k < 4; ++k) d[k] = n.d(dy[k], dx[k]);
    uint32_t s[4];
    for (int k = 0; k < 4; ++k) s[k] = static_cast<uint32_t>(steps[k] + std::abs(d[k] - d[k ^ 1]));
    int32_t w[4];
    weights4(s, eps, w);
    return blend<Acc>(n.g(0, 0), w, d, max);
}

// Both missing colours at a green site, from the four axial neighbours:
// da and db are green minus either colour there. One set of weights serves
// both, from the green steps and how both differences agree with the
// opposite ones: an edge shows in either colour, and half the weights cost.
template <typename Acc>
void coloursAt(int32_t g, const int32_t da[4], const int32_t db[4], const int32_t steps[4],
               uint32_t eps, int32_t max, int32_t& a, int32_t& b) {
    uint32_t s[4];
    for (int k = 0; k < 4; ++k) {
        s[k] = static_cast<uint32_t>(steps[k] + std::abs(da[k] - da[k ^ 1]) +
                                     std::abs(db[k] - db[k ^ 1]));
    }
    int32_t w[4];
    weights4(s, eps, w);
    a = blend<Acc>(g, w, da, max);
    b = blend<Acc>(g, w, db, max);
}

}  // namespace tav::hq
