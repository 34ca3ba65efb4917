// Reduction of packed, padded and wide sources to a compact 8-bit mosaic.
//
// Each routine keeps the top 8 bits of every sample. The vector steps and the
// scalar tails differ on purpose for wide samples with stray high bits: the
// vector pack saturates to 255, the tail keeps the low byte of the shifted
// value. The block/tail split is therefore part of the result and must not move.
#include <cstring>

#include "simd.h"
#include "tav.h"

namespace tav {
namespace {

using simd::load;
using simd::store;

// ---- scalar row functions (also the tails of the vector rows)

// Two samples in three bytes; the first and third byte hold the high bits.
// Works in pairs and always writes both samples of the last pair, so an odd
// count writes one byte past `count`; that byte is not read from the source.
inline void unpackRowC(const uint8_t* src, uint8_t* dst, int32_t from, int32_t count) {
    for (int32_t x = from; x < count; x += 2) {
        const uint8_t* g = src + (x >> 1) * 3;
        dst[x] = g[0];
        dst[x + 1] = (x + 1 < count) ? g[2] : 0;
    }
}

// Shift and keep the low byte (wraps for out-of-range samples).
inline void narrowRowC(const uint16_t* src, uint8_t* dst, int32_t from, int32_t count,
                       int32_t shift) {
    for (int32_t x = from; x < count; ++x) dst[x] = static_cast<uint8_t>(src[x] >> shift);
}

// ---- vector row functions: return how many samples they did

// 32 samples (48 packed bytes) per step.
template <bool kStream>
inline int32_t unpackRowSsse3(const uint8_t* src, uint8_t* dst, int32_t count) {
    const __m128i lo0 = _mm_setr_epi8(0, 2, 3, 5, 6, 8, 9, 11, 12, 14, 15, -1, -1, -1, -1, -1);
    const __m128i lo1 = _mm_setr_epi8(-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 1, 2, 4, 5, 7);
    const __m128i hi1 =
        _mm_setr_epi8(8, 10, 11, 13, 14, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
    const __m128i hi2 = _mm_setr_epi8(-1, -1, -1, -1, -1, 0, 1, 3, 4, 6, 7, 9, 10, 12, 13, 15);
    int32_t x = 0;
    for (; x < count - 31; x += 32) {
        const uint8_t* s = src + (x >> 1) * 3;
        const __m128i a = load(s), b = load(s + 16), c = load(s + 32);
        store<kStream>(dst + x, _mm_or_si128(_mm_shuffle_epi8(a, lo0), _mm_shuffle_epi8(b, lo1)));
        store<kStream>(dst + x + 16,
                       _mm_or_si128(_mm_shuffle_epi8(b, hi1), _mm_shuffle_epi8(c, hi2)));
    }
    return x;
}

// 16 samples per step; the pack saturates.
template <bool kStream>
inline int32_t narrowRowSse2(const uint16_t* src, uint8_t* dst, int32_t count, int32_t shift) {
    const __m128i n = _mm_cvtsi32_si128(shift);
    int32_t x = 0;
    for (; x < count - 15; x += 16) {
        const __m128i a = _mm_srl_epi16(load(src + x), n);
        const __m128i b = _mm_srl_epi16(load(src + x + 8), n);
        store<kStream>(dst + x, _mm_packus_epi16(a, b));
    }
    return x;
}

inline void copyRow(const uint8_t* src, uint8_t* dst, int32_t count) {
    int32_t x = 0;
    // Each block is loaded before it is stored, so rows may move down in place.
    for (; x < count - 15; x += 16)
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + x), load(src + x));
    for (; x < count; ++x) dst[x] = src[x];
}

template <bool kStream>
inline void unpackRow(const uint8_t* src, uint8_t* dst, int32_t count) {
    unpackRowC(src, dst, unpackRowSsse3<kStream>(src, dst, count), count);
}

template <bool kStream>
inline void narrowRow(const uint16_t* src, uint8_t* dst, int32_t count, int32_t shift) {
    narrowRowC(src, dst, narrowRowSse2<kStream>(src, dst, count, shift), count, shift);
}

// Destination rows are only all aligned when the width is a multiple of 16.
size_t streamBytes(int32_t height, int32_t width) {
    return (width & 15) ? 0 : static_cast<size_t>(height) * static_cast<size_t>(width);
}

// The sample count wraps like the entry's own pixel count; callers check it.
int32_t sampleCount(int32_t height, int32_t width) {
    return static_cast<int32_t>(static_cast<uint32_t>(width) * static_cast<uint32_t>(height));
}

}  // namespace
}  // namespace tav

using tav::sampleCount;
using tav::simd::withStorePolicy;

extern "C" {

void u8Tou8(const uint8_t* src, int32_t height, int32_t width, int32_t pitch, uint8_t* dst) {
    for (int32_t r = 0; r < height; ++r) {
        tav::copyRow(src + static_cast<ptrdiff_t>(r) * pitch,
                     dst + static_cast<ptrdiff_t>(r) * width, width);
    }
}

void unpacked(const uint8_t* src, int32_t height, int32_t width, int32_t pitch, uint8_t* dst) {
    withStorePolicy(dst, tav::streamBytes(height, width), [&](auto stream) {
        for (int32_t r = 0; r < height; ++r) {
            tav::unpackRow<decltype(stream)::value>(src + static_cast<ptrdiff_t>(r) * pitch,
                                                    dst + static_cast<ptrdiff_t>(r) * width, width);
        }
    });
}

void unpacked_old(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst) {
    const int32_t count = sampleCount(height, width);
    withStorePolicy(dst, static_cast<size_t>(count),
                    [&](auto stream) { tav::unpackRow<decltype(stream)::value>(src, dst, count); });
}

void u16Tou8(const uint16_t* src, int32_t height, int32_t width, int32_t pitch, int32_t shift,
             uint8_t* dst) {
    const ptrdiff_t step = pitch >> 1;
    withStorePolicy(dst, tav::streamBytes(height, width), [&](auto stream) {
        for (int32_t r = 0; r < height; ++r) {
            tav::narrowRow<decltype(stream)::value>(
                src + r * step, dst + static_cast<ptrdiff_t>(r) * width, width, shift);
        }
    });
}

void u16Tou8_old(const uint16_t* src, int32_t height, int32_t width, int32_t shift, uint8_t* dst) {
    const int32_t count = sampleCount(height, width);
    withStorePolicy(dst, static_cast<size_t>(count), [&](auto stream) {
        tav::narrowRow<decltype(stream)::value>(src, dst, count, shift);
    });
}

}  // extern "C"
