// Whole-frame references for the 16-bit kernels, written from the rules
// rather than from the library's code; out-of-frame samples are read from
// their mirror position (row -1 reads row 1, row H reads row H-2).
#pragma once

#include <cstdint>
#include <cstdlib>
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

// Bilinear: every missing colour is the truncated mean of the nearest samples
// of that colour in the 3x3 neighbourhood.

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

namespace tavtest {

// Whole-frame reference for the edge-directed rules. `vectorGreen(r, c)` and
// `vectorPixel(r, c)` say where a value takes the clamp of the vector body
// (unsigned narrowing, then a signed 16-bit minimum with the ceiling) instead
// of the ordinary one. Channels as in Rgb: red-site colour, green, blue-site.
struct EdgeReference {
    const uint16_t* s;
    int32_t h, w;
    int32_t redRow, redCol;  // parity of the red-first rows and of red columns in them
    int32_t ceiling;

    static int32_t mirror(int32_t i, int32_t n) { return i < 0 ? -i : i >= n ? 2 * n - 2 - i : i; }
    int32_t at(int32_t y, int32_t x) const { return s[mirror(y, h) * w + mirror(x, w)]; }
    bool redRowAt(int32_t y) const { return ((y - redRow) & 1) == 0; }
    bool siteAt(int32_t y, int32_t x) const { return redRowAt(y) == (((x - redCol) & 1) == 0); }

    int32_t clamp(int32_t v, bool vector) const {
        if (!vector) return v < 0 ? 0 : v > ceiling ? ceiling : v;
        const int32_t n = v < 0 ? 0 : v > 65535 ? 65535 : v;
        const int16_t c = int16_t(uint16_t(ceiling));
        return int16_t(n) > c ? uint16_t(c) : n;
    }

    template <typename VG, typename VP>
    std::vector<Rgb> frame(VG vectorGreen, VP vectorPixel) const {
        // G^ at every colour site first, as stored (clamped).
        std::vector<int32_t> gh(size_t(h) * w, 0);
        for (int32_t y = 0; y < h; ++y) {
            for (int32_t x = 0; x < w; ++x) {
                if (!siteAt(y, x)) continue;
                const int32_t c = at(y, x);
                const int32_t hGrad = std::abs(at(y, x - 1) - at(y, x + 1)) +
                                      std::abs(2 * c - at(y, x - 2) - at(y, x + 2));
                const int32_t vGrad = std::abs(at(y - 1, x) - at(y + 1, x)) +
                                      std::abs(2 * c - at(y - 2, x) - at(y + 2, x));
                int32_t g;
                if (vGrad > hGrad) {
                    g = ((at(y, x - 1) + at(y, x + 1)) >> 1) +
                        ((2 * c - at(y, x - 2) - at(y, x + 2)) >> 2);
                } else {
                    g = ((at(y - 1, x) + at(y + 1, x)) >> 1) +
                        ((2 * c - at(y - 2, x) - at(y + 2, x)) >> 2);
                }
                gh[size_t(y) * w + x] = clamp(g, vectorGreen(y, x));
            }
        }
        auto ghat = [&](int32_t y, int32_t x) {
            return gh[size_t(mirror(y, h)) * w + mirror(x, w)];
        };
        auto d = [&](int32_t y, int32_t x) { return at(y, x) - ghat(y, x); };
        std::vector<Rgb> out(size_t(h) * w);
        for (int32_t y = 0; y < h; ++y) {
            for (int32_t x = 0; x < w; ++x) {
                const bool vec = vectorPixel(y, x);
                Rgb& p = out[size_t(y) * w + x];
                const int32_t own = at(y, x);
                if (siteAt(y, x)) {
                    const int32_t g = ghat(y, x);
                    const int32_t other = clamp(g + ((d(y - 1, x - 1) + d(y - 1, x + 1) +
                                                      d(y + 1, x - 1) + d(y + 1, x + 1)) >>
                                                     2),
                                                vec);
                    p.c[kGreen] = g;
                    p.c[redRowAt(y) ? kRed : kBlue] = own;
                    p.c[redRowAt(y) ? kBlue : kRed] = other;
                } else {
                    const int32_t rowPair = clamp(own + ((d(y, x - 1) + d(y, x + 1)) >> 1), vec);
                    const int32_t colPair = clamp(own + ((d(y - 1, x) + d(y + 1, x)) >> 1), vec);
                    p.c[kGreen] = own;
                    p.c[redRowAt(y) ? kRed : kBlue] = rowPair;  // the colour sharing the row
                    p.c[redRowAt(y) ? kBlue : kRed] = colPair;
                }
            }
        }
        return out;
    }
};

}  // namespace tavtest
