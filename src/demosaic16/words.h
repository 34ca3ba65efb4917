// Vector helpers and output forms of the 16-bit demosaicing kernels. A kernel
// computes, per pixel, the colour found at the red sites of its phase (r),
// green (g) and the colour found at the blue sites (b); a writer puts them into
// the output. Kernels are templates over the writer.
//
// Every writer has
//   row(y)                    the writer of output row y
// and a row writer has
//   put(x, r, g, b)           one pixel, values 0..65535
//   put8(x, r, g, b)          8 pixels from x on, one word per pixel in each vector
// The interleaved and Mono writers move what they write to another depth when
// given one (depth.h), so that the frame API needs no pass of its own for it.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "depth.h"
#include "luma.h"
#include "shuffle.h"

namespace tav::d16 {

inline __m128i loadWords(const uint16_t* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
inline void storeWords(uint16_t* p, __m128i v) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}

// floor((a + b) / 2) per 16-bit lane without leaving 16 bits.
inline __m128i averageDown(__m128i a, __m128i b) {
    return _mm_add_epi16(_mm_and_si128(a, b), _mm_srli_epi16(_mm_xor_si128(a, b), 1));
}

// 24 words c0 c1 c2 c0 c1 c2 ... from three vectors of 8 words.
inline void interleave3(__m128i c0, __m128i c1, __m128i c2, uint16_t* out) {
    simd::gather48<false>(simd::kInterleave3Words, c0, c1, c2, reinterpret_cast<uint8_t*>(out));
}

// ---- writers

// Three words a pixel: b, g, r; exchanged: r, g, b.
struct Bgr16Writer {
    uint16_t* dst;
    int32_t width;
    bool exchange;
    DepthShift depth = kSameDepth;

    struct Row {
        uint16_t* p;
        bool exchange;
        DepthShift depth;
        void put(int32_t x, uint32_t r, uint32_t g, uint32_t b) const {
            if (!unchanged(depth)) {
                r = rescale(depth, r);
                g = rescale(depth, g);
                b = rescale(depth, b);
            }
            uint16_t* q = p + 3 * x;
            q[0] = static_cast<uint16_t>(exchange ? r : b);
            q[1] = static_cast<uint16_t>(g);
            q[2] = static_cast<uint16_t>(exchange ? b : r);
        }
        void put8(int32_t x, __m128i r, __m128i g, __m128i b) const {
            if (!unchanged(depth)) {
                const DepthLanes d = depthLanes(depth);
                r = rescale(d, r);
                g = rescale(d, g);
                b = rescale(d, b);
            }
            if (exchange) {
                interleave3(r, g, b, p + 3 * x);
            } else {
                interleave3(b, g, r, p + 3 * x);
            }
        }
    };
    Row row(int32_t y) const {
        return {dst + 3 * static_cast<intptr_t>(y) * width, exchange, depth};
    }
};

// Three planes, blue-site colour first.
struct Planar16Writer {
    uint16_t* blue;
    uint16_t* green;
    uint16_t* red;
    int32_t width;

    struct Row {
        uint16_t* b;
        uint16_t* g;
        uint16_t* r;
        void put(int32_t x, uint32_t rv, uint32_t gv, uint32_t bv) const {
            b[x] = static_cast<uint16_t>(bv);
            g[x] = static_cast<uint16_t>(gv);
            r[x] = static_cast<uint16_t>(rv);
        }
        void put8(int32_t x, __m128i rv, __m128i gv, __m128i bv) const {
            storeWords(b + x, bv);
            storeWords(g + x, gv);
            storeWords(r + x, rv);
        }
    };
    Row row(int32_t y) const {
        const intptr_t d = static_cast<intptr_t>(y) * width;
        return {blue + d, green + d, red + d};
    }
};

// One word a pixel: (w0 r + w1 g + w2 b + 128) >> 8 in 32-bit arithmetic, low
// 16 bits kept, then moved to `depth`. Weights are in 1/256; nothing guards
// sums above 256.
struct Mono16Writer {
    uint16_t* dst;
    int32_t width;
    const uint32_t* weights;
    DepthShift depth = kSameDepth;

    struct Row {
        uint16_t* p;
        const uint32_t* w;
        DepthShift depth;
        void put(int32_t x, uint32_t r, uint32_t g, uint32_t b) const {
            const uint32_t v = luma(w, r, g, b) & 0xFFFF;
            p[x] = static_cast<uint16_t>(unchanged(depth) ? v : rescale(depth, v));
        }
        void put8(int32_t x, __m128i r, __m128i g, __m128i b) const {
            const __m128i zero = _mm_setzero_si128();
            const __m128i wr = _mm_set1_epi32(static_cast<int32_t>(w[0]));
            const __m128i wg = _mm_set1_epi32(static_cast<int32_t>(w[1]));
            const __m128i wb = _mm_set1_epi32(static_cast<int32_t>(w[2]));
            const __m128i half = _mm_set1_epi32(128);
            const __m128i low16 = _mm_set1_epi32(0xFFFF);
            auto luma4 = [&](__m128i r32, __m128i g32, __m128i b32) {
                __m128i s = _mm_add_epi32(_mm_mullo_epi32(r32, wr), _mm_mullo_epi32(g32, wg));
                s = _mm_add_epi32(_mm_add_epi32(s, _mm_mullo_epi32(b32, wb)), half);
                return _mm_and_si128(_mm_srli_epi32(s, 8), low16);
            };
            const __m128i lo = luma4(_mm_unpacklo_epi16(r, zero), _mm_unpacklo_epi16(g, zero),
                                     _mm_unpacklo_epi16(b, zero));
            const __m128i hi = luma4(_mm_unpackhi_epi16(r, zero), _mm_unpackhi_epi16(g, zero),
                                     _mm_unpackhi_epi16(b, zero));
            const __m128i v = _mm_packus_epi32(lo, hi);
            storeWords(p + x, unchanged(depth) ? v : rescale(depthLanes(depth), v));
        }
    };
    Row row(int32_t y) const { return {dst + static_cast<intptr_t>(y) * width, weights, depth}; }
};

}  // namespace tav::d16
