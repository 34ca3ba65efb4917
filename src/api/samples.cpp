#include "samples.h"

#include <immintrin.h>

#include <cstring>

#include "demosaic16/words.h"
#include "depth.h"
#include "rows.h"
#include "samples_avx2.h"
#include "shuffle.h"
#include "threads.h"

namespace tav::api {

void rescaleWords(uint16_t* words, size_t count, uint32_t from, uint32_t to) {
    if (from == to) return;
    const DepthShift shift = depthShift(from, to);
    const DepthLanes lanes = depthLanes(shift);
    const size_t wide = wideSteps<16>(size_t{0}, count);
    if (wide > 0) rescaleWordsAvx2(words, wide, shift.left, shift.right, shift.down);
    eachStep<8>(
        16 * wide, count, count,
        [&](size_t i) {
            __m128i* p = reinterpret_cast<__m128i*>(words + i);
            _mm_storeu_si128(p, rescale(lanes, _mm_loadu_si128(p)));
        },
        [&](size_t i, bool) { words[i] = static_cast<uint16_t>(rescale(shift, words[i])); });
}

void lumaRow(const uint16_t* rgb, int32_t width, uint16_t* out, uint32_t from, uint32_t to) {
    const DepthShift depth = depthShift(from, to);
    const d16::Mono16Writer::Row row{out, kLumaWeights[0], depth};
    // AVX2: 16-pixel steps, then at most one 8-pixel step.
    const int32_t wide = wideSteps<16>(0, width);
    if (wide > 0) {
        lumaRowAvx2(rgb, out, wide, kLumaWeights[0], depth.left, depth.right, depth.down);
    }
    eachStep<8>(
        16 * wide, width, width,
        [&](int32_t x) {
            __m128i c[3];
            simd::deinterleave3Words(rgb + 3 * x, c);
            row.put8(x, c[0], c[1], c[2]);
        },
        [&](int32_t x, bool) { row.put(x, rgb[3 * x], rgb[3 * x + 1], rgb[3 * x + 2]); });
}

void monoRows(const uint8_t* src, ptrdiff_t srcStride, uint8_t* dst, ptrdiff_t dstStride,
              int32_t width, int32_t rows, int32_t channels, uint32_t from, uint32_t to) {
    const DepthShift depth = depthShift(from, to);
    parallelRows(rows, minBandUnits(int64_t{channels} * width), [&](int32_t r0, int32_t r1) {
        for (int32_t r = r0; r < r1; ++r) {
            const uint16_t* in = reinterpret_cast<const uint16_t*>(src + r * srcStride);
            uint16_t* out = reinterpret_cast<uint16_t*>(dst + r * dstStride);
            if (channels == 1) {
                std::memcpy(out, in, 2 * size_t(width));
                rescaleWords(out, size_t(width), from, to);
                continue;
            }
            const d16::Bgr16Writer::Row row{out, false, depth};
            eachStep<8>(
                0, width, width,
                [&](int32_t x) {
                    const __m128i v = d16::loadWords(in + x);
                    row.put8(x, v, v, v);
                },
                [&](int32_t x, bool) { row.put(x, in[x], in[x], in[x]); });
        }
    });
}

}  // namespace tav::api
