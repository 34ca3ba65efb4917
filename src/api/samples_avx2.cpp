// The AVX2 bodies of lumaRow and rescaleWords (samples.cpp): the Mono
// writer's luma and the depth rule on 16 pixels or words.
//
// Compiled with -mavx2: see simd_avx2.h for what it may include.
#include "samples_avx2.h"
#include "simd_avx2.h"

#include <immintrin.h>

#include <cstdint>

namespace tav::api {

void lumaRowAvx2(const uint16_t* rgb, uint16_t* out, int32_t steps, const uint32_t* weights,
                 int32_t left, int32_t right, int32_t down) {
    const avx2::Depth d = avx2::depth(left, right, down);
    for (int32_t i = 0; i < steps; ++i, rgb += 48, out += 16) {
        __m256i c[3];
        avx2::deinterleave3Words(rgb, c);
        avx2::storeWords(out, avx2::rescale(d, avx2::luma(weights, c[0], c[1], c[2])));
    }
}

void rescaleWordsAvx2(uint16_t* words, size_t steps, int32_t left, int32_t right, int32_t down) {
    const avx2::Depth d = avx2::depth(left, right, down);
    for (size_t i = 0; i < steps; ++i, words += 16) {
        avx2::storeWords(words, avx2::rescale(d, avx2::loadWords(words)));
    }
}

}  // namespace tav::api
