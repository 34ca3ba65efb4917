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

#include "luma.h"
#include "shuffle.h"

namespace tav::d8 {

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
            simd::interleave3<false>(r, g, b, row + 3 * x);
        } else {
            simd::interleave3<false>(b, g, r, row + 3 * x);
        }
    }
    Bgr8Writer next(int32_t rows) const { return {row + 3 * rows * width, width, exchange}; }
};

// Four bytes a pixel: b, g, r, alpha; exchanged: r, g, b, alpha. Alpha is 0
// for the compatible entries, 255 for the frame API.
struct Bgra8Writer {
    uint8_t* row;
    int32_t width;
    bool exchange;
    uint8_t alpha = 0;

    void put(int32_t x, uint32_t r, uint32_t g, uint32_t b) const {
        uint8_t* p = row + 4 * x;
        p[0] = static_cast<uint8_t>(exchange ? r : b);
        p[1] = static_cast<uint8_t>(g);
        p[2] = static_cast<uint8_t>(exchange ? b : r);
        p[3] = alpha;
    }
    void put16(int32_t x, __m128i r, __m128i g, __m128i b) const {
        const __m128i a = _mm_set1_epi8(static_cast<char>(alpha));
        if (exchange) {
            simd::interleave4<false>(r, g, b, a, row + 4 * x);
        } else {
            simd::interleave4<false>(b, g, r, a, row + 4 * x);
        }
    }
    Bgra8Writer next(int32_t rows) const {
        return {row + 4 * rows * width, width, exchange, alpha};
    }
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
        row[x] = static_cast<uint8_t>(luma(weights, r, g, b));
    }
    void put16(int32_t x, __m128i r, __m128i g, __m128i b) const {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(row + x), luma(weights, r, g, b));
    }
    Mono8Writer next(int32_t rows) const { return {row + rows * width, width, weights}; }
};

}  // namespace tav::d8
