// The colour output forms of the 8-bit AVX2 bodies: 32 pixels of red, green
// and blue bytes in pixel order, written as BGR8, BGRa8 (blue first unless
// redFirst) or three planes (red, green, blue). Include only from *_avx2.cpp
// files (see simd_avx2.h: everything here stays in an anonymous namespace).
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "bilinear8_avx2.h"
#include "simd_avx2.h"

namespace tav::d8 {
namespace {

template <Form8 kForm>
inline void putColours(uint8_t* const row[3], bool redFirst, uint8_t alpha, int32_t x, __m256i r,
                       __m256i g, __m256i b) {
    static_assert(kForm != Form8::Mono8, "Mono8 weighs its lanes before packing");
    if constexpr (kForm == Form8::Planar) {
        avx2::store(row[0] + x, r);
        avx2::store(row[1] + x, g);
        avx2::store(row[2] + x, b);
    } else {
        const __m256i first = redFirst ? r : b, third = redFirst ? b : r;
        if constexpr (kForm == Form8::Bgr8) {
            avx2::interleave3(first, g, third, row[0] + 3 * x);
        } else {
            const __m256i a = _mm256_set1_epi8(static_cast<char>(alpha));
            avx2::interleave4(first, g, third, a, row[0] + 4 * x);
        }
    }
}

}  // namespace
}  // namespace tav::d8
