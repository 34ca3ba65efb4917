// Whole-frame reference for the 16-bit bilinear kernels, written from the
// rule rather than from the library's code: every missing colour is the
// truncated mean of the nearest samples of that colour in the 3x3
// neighbourhood, out-of-frame samples read from their mirror position.
#pragma once

#include <cstdint>
#include <vector>

namespace tavtest {

enum Colour { kRed = 0, kGreen = 1, kBlue = 2 };

// A mosaic whose row 0 has red at the columns of parity `redCol`.
struct Mosaic {
    const uint16_t* s;
    int32_t h, w, redCol;

    static int32_t mirror(int32_t i, int32_t n) { return i < 0 ? -i : i >= n ? 2 * n - 2 - i : i; }
    uint32_t at(int32_t y, int32_t x) const { return s[mirror(y, h) * w + mirror(x, w)]; }
    Colour colour(int32_t y, int32_t x) const {
        const bool redCol_ = ((x & 1) == redCol);
        if ((y & 1) == 0) return redCol_ ? kRed : kGreen;
        return redCol_ ? kGreen : kBlue;
    }
};

struct Rgb {
    uint32_t c[3];  // indexed by Colour: the colour at the mosaic's red sites, green, blue sites
};

inline Rgb bilinearReference(const Mosaic& m, int32_t y, int32_t x) {
    Rgb out{};
    for (int c = 0; c < 3; ++c) {
        if (m.colour(y, x) == c) {
            out.c[c] = m.at(y, x);
            continue;
        }
        uint32_t sum = 0, n = 0;
        for (int dy = -1; dy <= 1; ++dy) {
            for (int dx = -1; dx <= 1; ++dx) {
                if ((dy || dx) && m.colour(y + dy, x + dx) == c) {
                    sum += m.at(y + dy, x + dx);
                    ++n;
                }
            }
        }
        out.c[c] = n == 4 ? sum >> 2 : sum >> 1;  // two or four neighbours
    }
    return out;
}

inline std::vector<Rgb> bilinearReferenceFrame(const uint16_t* src, int32_t h, int32_t w,
                                               int32_t redCol) {
    const Mosaic m{src, h, w, redCol};
    std::vector<Rgb> out(size_t(h) * w);
    for (int32_t y = 0; y < h; ++y) {
        for (int32_t x = 0; x < w; ++x) out[size_t(y) * w + x] = bilinearReference(m, y, x);
    }
    return out;
}

}  // namespace tavtest
