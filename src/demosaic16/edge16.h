// Edge-directed demosaicing of 16-bit Bayer samples: the per-site rules,
// shared by the kernels that keep their greens in a line buffer and the
// building blocks that read them back from the destination.
//
// Green at a colour site follows the smoother direction (vertical on ties):
//   H = |G(x-1) - G(x+1)| + |2C - C(x-2) - C(x+2)|, V likewise down the column,
//   V > H: ((G(x-1) + G(x+1)) >> 1) + ((2C - C(x-2) - C(x+2)) >> 2), else the
//   vertical counterpart.
// A missing colour is green plus the mean colour difference D = C - G^ of the
// nearest sites of that colour: a pair on the row or in the column at a green
// site, the four diagonals at a colour site. Shifts are arithmetic, nothing is
// rounded; every interpolated value is clamped, native samples are copied.
// Out-of-frame samples and greens are read from their mirror position.
#pragma once

#include <cstdint>

#include "bilinear_sites.h"  // Rgb
#include "edge_sites.h"
#include "mirror.h"
#include "words.h"

namespace tav::d16 {

// 2^bitDepth - 1; depths beyond the contract saturate instead of overflowing.
inline int32_t ceilingOf(uint32_t bitDepth) {
    return bitDepth >= 31 ? INT32_MAX : static_cast<int32_t>((1u << bitDepth) - 1);
}

// Clamp of an interpolated value. The vector body narrows with unsigned
// saturation and then takes the signed 16-bit minimum with the ceiling, so at
// depth 16 (ceiling -1 as a signed word) values under 32768 become 65535; the
// scalar code reproduces that wherever the vector body computes a value.
struct Clamp {
    int32_t ceiling;
    bool asVector;

    uint16_t operator()(int32_t v) const {
        if (!asVector) return static_cast<uint16_t>(v < 0 ? 0 : (v > ceiling ? ceiling : v));
        const int32_t narrowed = v < 0 ? 0 : (v > 65535 ? 65535 : v);
        const int16_t top = static_cast<int16_t>(static_cast<uint16_t>(ceiling));
        return static_cast<int16_t>(narrowed) > top ? static_cast<uint16_t>(top)
                                                    : static_cast<uint16_t>(narrowed);
    }
};

// Which sites hold which colour: rows of parity `redRow` carry red at the
// columns of parity `redCol`; the other rows carry blue at the other columns.
struct BayerLayout {
    int32_t redRow, redCol;

    bool redFirst(int32_t r) const { return ((r ^ redRow) & 1) == 0; }
    bool colourSite(int32_t r, int32_t c) const { return redFirst(r) == (((c ^ redCol) & 1) == 0); }
};

// Rows of a whole frame, mirrored at the top and bottom.
struct FrameRows {
    const uint16_t* base;
    int32_t height, width;
    const uint16_t* operator()(int32_t r) const {
        return base + static_cast<intptr_t>(mirror(r, height)) * width;
    }
};

// Consecutive rows given by pointers, mirrored at the bottom: the last one is
// the frame's last row. Rows above the first are never asked for.
struct BandRows {
    const uint16_t* const* band;
    int32_t count;
    const uint16_t* operator()(int32_t r) const { return band[mirror(r, count)]; }
};

template <typename Rows>
inline int32_t sampleAt(const Rows& rows, int32_t width, int32_t r, int32_t c) {
    return rows(r)[mirror(c, width)];
}

// ---- site rules

// G^ at the colour site (r, c), before clamping (the rule of edge_sites.h).
template <typename Rows>
inline int32_t greenEstimate(const Rows& rows, int32_t width, int32_t r, int32_t c) {
    auto at = [&](int32_t rr, int32_t cc) { return sampleAt(rows, width, rr, cc); };
    return tav::greenEstimate(at(r, c), at(r, c - 2), at(r, c + 2), at(r - 2, c), at(r + 2, c),
                              at(r, c - 1), at(r, c + 1), at(r - 1, c), at(r + 1, c));
}

// The finished pixel (r, c). `greens(r, c)` returns the stored G^ of a colour
// site and applies the mirror rule itself.
template <typename Rows, typename Greens>
inline Rgb edgePixel(const Rows& rows, const Greens& greens, const BayerLayout& m, int32_t width,
                     int32_t r, int32_t c, const Clamp& clamp) {
    auto at = [&](int32_t rr, int32_t cc) { return sampleAt(rows, width, rr, cc); };
    auto diff = [&](int32_t rr, int32_t cc) { return at(rr, cc) - int32_t{greens(rr, cc)}; };
    const uint32_t own = static_cast<uint16_t>(at(r, c));
    if (m.colourSite(r, c)) {
        const int32_t g = greens(r, c);
        const uint32_t other = clamp(tav::fromFour(g, diff(r - 1, c - 1), diff(r - 1, c + 1),
                                                   diff(r + 1, c - 1), diff(r + 1, c + 1)));
        const uint32_t green = static_cast<uint16_t>(g);
        return m.redFirst(r) ? Rgb{own, green, other} : Rgb{other, green, own};
    }
    const int32_t o = static_cast<int32_t>(own);
    const uint32_t across = clamp(tav::fromTwo(o, diff(r, c - 1), diff(r, c + 1)));
    const uint32_t along = clamp(tav::fromTwo(o, diff(r - 1, c), diff(r + 1, c)));
    return m.redFirst(r) ? Rgb{across, own, along} : Rgb{along, own, across};
}

// ---- greens kept in the destination (the green word of each colour site)

struct DestGreens {
    const uint16_t* dst;  // three words a pixel, the frame's row 0
    int32_t height, width;
    uint16_t operator()(int32_t r, int32_t c) const {
        const intptr_t i = static_cast<intptr_t>(mirror(r, height)) * width + mirror(c, width);
        return dst[3 * i + 1];
    }
};

// Writes clamped G^ into the green words of the colour sites of rows [r0, r1) x columns [c0, c1).
template <typename Rows>
inline void greensToDest(const Rows& rows, const BayerLayout& m, uint16_t* dst, int32_t width,
                         int32_t r0, int32_t r1, int32_t c0, int32_t c1, const Clamp& clamp) {
    for (int32_t r = r0; r < r1; ++r) {
        for (int32_t c = c0; c < c1; ++c) {
            if (m.colourSite(r, c)) {
                dst[3 * (static_cast<intptr_t>(r) * width + c) + 1] =
                    clamp(greenEstimate(rows, width, r, c));
            }
        }
    }
}

// Finishes the pixels of rows [r0, r1) x columns [c0, c1) into `out.row(r)`.
template <typename Rows, typename Greens, typename Writer>
inline void finishPixels(const Rows& rows, const Greens& greens, const BayerLayout& m,
                         int32_t width, const Writer& out, int32_t r0, int32_t r1, int32_t c0,
                         int32_t c1, const Clamp& clamp) {
    for (int32_t r = r0; r < r1; ++r) {
        const auto row = out.row(r);
        for (int32_t c = c0; c < c1; ++c) {
            const Rgb p = edgePixel(rows, greens, m, width, r, c, clamp);
            row.put(c, p.r, p.g, p.b);
        }
    }
}

}  // namespace tav::d16
