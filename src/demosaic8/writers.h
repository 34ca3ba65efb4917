// Output forms of the 8-bit demosaicing kernels. A pass computes, per pixel,
// the colour at the red sites of its phase (r), green (g) and the colour at the
// blue sites (b); a writer puts them into one output row. Passes are templates
// over the writer, so every output form shares one pass.
//
// Every writer has
//   put(x, r, g, b)       one pixel, values 0..255
//   put16(x, r, g, b)     16 pixels from x on, one byte per pixel in each vector
//   next(rows)            the writer for the row `rows` below (may be negative)
#pragma once

#include <immintrin.h>

#include <cstdint>

namespace tav::d8 {

// ---- interleaving 16 pixels

// 48 bytes c0 c1 c2 c0 c1 c2 ... from three 16-byte channel vectors.
inline void interleave3(__m128i c0, __m128i c1, __m128i c2, uint8_t* out) {
    const __m128i a0 = _mm_setr_epi8(0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1, -1, 5);
    const __m128i a1 = _mm_setr_epi8(-1, 0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1, -1);
    const __m128i a2 = _mm_setr_epi8(-1, -1, 0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1);
    const __m128i b0 = _mm_setr_epi8(-1, -1, 6, -1, -1, 7, -1, -1, 8, -1, -1, 9, -1, -1, 10, -1);
    const __m128i b1 = _mm_setr_epi8(5, -1, -1, 6, -1, -1, 7, -1, -1, 8, -1, -1, 9, -1, -1, 10);
    const __m128i b2 = _mm_setr_epi8(-1, 5, -1, -1, 6, -1, -1, 7, -1, -1, 8, -1, -1, 9, -1, -1);
    const __m128i d0 =
        _mm_setr_epi8(-1, 11, -1, -1, 12, -1, -1, 13, -1, -1, 14, -1, -1, 15, -1, -1);
    const __m128i d1 =
        _mm_setr_epi8(-1, -1, 11, -1, -1, 12, -1, -1, 13, -1, -1, 14, -1, -1, 15, -1);
    const __m128i d2 =
        _mm_setr_epi8(10, -1, -1, 11, -1, -1, 12, -1, -1, 13, -1, -1, 14, -1, -1, 15);
    __m128i* o = reinterpret_cast<__m128i*>(out);
    _mm_storeu_si128(o,
                     _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(c0, a0), _mm_shuffle_epi8(c1, a1)),
                                  _mm_shuffle_epi8(c2, a2)));
    _mm_storeu_si128(o + 1,
                     _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(c0, b0), _mm_shuffle_epi8(c1, b1)),
                                  _mm_shuffle_epi8(c2, b2)));
    _mm_storeu_si128(o + 2,
                     _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(c0, d0), _mm_shuffle_epi8(c1, d1)),
                                  _mm_shuffle_epi8(c2, d2)));
}

// 64 bytes c0 c1 c2 c3 ... from four 16-byte channel vectors.
inline void interleave4(__m128i c0, __m128i c1, __m128i c2, __m128i c3, uint8_t* out) {
    const __m128i lo01 = _mm_unpacklo_epi8(c0, c1), hi01 = _mm_unpackhi_epi8(c0, c1);
    const __m128i lo23 = _mm_unpacklo_epi8(c2, c3), hi23 = _mm_unpackhi_epi8(c2, c3);
    __m128i* o = reinterpret_cast<__m128i*>(out);
    _mm_storeu_si128(o, _mm_unpacklo_epi16(lo01, lo23));
    _mm_storeu_si128(o + 1, _mm_unpackhi_epi16(lo01, lo23));
    _mm_storeu_si128(o + 2, _mm_unpacklo_epi16(hi01, hi23));
    _mm_storeu_si128(o + 3, _mm_unpackhi_epi16(hi01, hi23));
}

// ---- luma

inline uint8_t luma(const uint32_t w[3], uint32_t r, uint32_t g, uint32_t b) {
    return static_cast<uint8_t>((w[0] * r + w[1] * g + w[2] * b + 128) >> 8);
}

// 16 lumas; the weights must keep w0*r + w1*g + w2*b + 128 within 16 bits.
inline __m128i luma16(const uint32_t w[3], __m128i r, __m128i g, __m128i b) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i wr = _mm_set1_epi16(static_cast<int16_t>(w[0]));
    const __m128i wg = _mm_set1_epi16(static_cast<int16_t>(w[1]));
    const __m128i wb = _mm_set1_epi16(static_cast<int16_t>(w[2]));
    const __m128i half = _mm_set1_epi16(128);
    auto sum = [&](__m128i r16, __m128i g16, __m128i b16) {
        __m128i s = _mm_add_epi16(_mm_mullo_epi16(r16, wr), _mm_mullo_epi16(g16, wg));
        s = _mm_add_epi16(_mm_add_epi16(s, _mm_mullo_epi16(b16, wb)), half);
        return _mm_srli_epi16(s, 8);
    };
    const __m128i lo =
        sum(_mm_unpacklo_epi8(r, zero), _mm_unpacklo_epi8(g, zero), _mm_unpacklo_epi8(b, zero));
    const __m128i hi =
        sum(_mm_unpackhi_epi8(r, zero), _mm_unpackhi_epi8(g, zero), _mm_unpackhi_epi8(b, zero));
    return _mm_packus_epi16(lo, hi);
}

// ---- writers

// Three bytes a pixel: b, g, r; exchanged: r, g, b.
struct Bgr8Writer {
    uint8_t* row;
    int32_t width;
    bool exchange;

    void put(int32_t x, uint32_t r, uint32_t g, uint32_t b) const {
        uint8_t* p = row + 3 * x;
        p[0] = static_cast<uint8_t>(exchange ? r : b);
        p[1] = static_cast<uint8_t>(g);
        p[2] = static_cast<uint8_t>(exchange ? b : r);
    }
    void put16(int32_t x, __m128i r, __m128i g, __m128i b) const {
        if (exchange) {
            interleave3(r, g, b, row + 3 * x);
        } else {
            interleave3(b, g, r, row + 3 * x);
        }
    }
    Bgr8Writer next(int32_t rows) const { return {row + 3 * rows * width, width, exchange}; }
};

// Four bytes a pixel: b, g, r, alpha 0; exchanged: r, g, b, 0.
struct Bgra8Writer {
    uint8_t* row;
    int32_t width;
    bool exchange;

    void put(int32_t x, uint32_t r, uint32_t g, uint32_t b) const {
        uint8_t* p = row + 4 * x;
        p[0] = static_cast<uint8_t>(exchange ? r : b);
        p[1] = static_cast<uint8_t>(g);
        p[2] = static_cast<uint8_t>(exchange ? b : r);
        p[3] = 0;
    }
    void put16(int32_t x, __m128i r, __m128i g, __m128i b) const {
        const __m128i alpha = _mm_setzero_si128();
        if (exchange) {
            interleave4(r, g, b, alpha, row + 4 * x);
        } else {
            interleave4(b, g, r, alpha, row + 4 * x);
        }
    }
    Bgra8Writer next(int32_t rows) const { return {row + 4 * rows * width, width, exchange}; }
};

// Three planes: the red-site colour to the first, green, the blue-site colour to the third.
struct PlanarWriter {
    uint8_t* first;
    uint8_t* second;
    uint8_t* third;
    int32_t width;

    void put(int32_t x, uint32_t r, uint32_t g, uint32_t b) const {
        first[x] = static_cast<uint8_t>(r);
        second[x] = static_cast<uint8_t>(g);
        third[x] = static_cast<uint8_t>(b);
    }
    void put16(int32_t x, __m128i r, __m128i g, __m128i b) const {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(first + x), r);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(second + x), g);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(third + x), b);
    }
    PlanarWriter next(int32_t rows) const {
        const int32_t d = rows * width;
        return {first + d, second + d, third + d, width};
    }
};

// One byte a pixel: the weighted luma; weights[0] weighs the red-site colour.
struct Mono8Writer {
    uint8_t* row;
    int32_t width;
    const uint32_t* weights;

    void put(int32_t x, uint32_t r, uint32_t g, uint32_t b) const {
        row[x] = luma(weights, r, g, b);
    }
    void put16(int32_t x, __m128i r, __m128i g, __m128i b) const {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(row + x), luma16(weights, r, g, b));
    }
    Mono8Writer next(int32_t rows) const { return {row + rows * width, width, weights}; }
};

}  // namespace tav::d8
