// Reduction of packed, padded and wide sources to a compact 8-bit mosaic.
//
// Each routine keeps the top 8 bits of every sample. The vector steps and the
// scalar tails differ on purpose for wide samples with stray high bits: the
// vector pack saturates to 255, the tail keeps the low byte of the shifted
// value. The block/tail split is therefore part of the result and must not move;
// the scalar level keeps it by saturating where a vector step would have run.
#include "normalize.h"

#include <cstring>

#include "pixels.h"
#include "rows.h"
#include "shuffle.h"
#include "simd.h"
#include "tav.h"
#include "threads.h"

namespace tav {
namespace {

using simd::load;
using simd::store;

// ---- per-sample rules (the scalar level runs these alone)

// Two samples in three bytes; the first and third byte hold the high bits.
// Works in pairs and always writes both samples of the last pair, so an odd
// count writes one byte past `count`; that byte is not read from the source.
inline void unpackPair(const uint8_t* src, uint8_t* dst, int32_t x, int32_t count) {
    const uint8_t* g = src + (x >> 1) * 3;
    dst[x] = g[0];
    dst[x + 1] = (x + 1 < count) ? g[2] : 0;
}

// Shift and keep the low byte (wraps for out-of-range samples) ...
inline uint8_t narrow(uint16_t sample, int32_t shift) {
    return static_cast<uint8_t>(sample >> shift);
}

// ... except where a vector step ran: psrlw clears the word for a count past
// 15, and packuswb reads the words as signed, so 32768.. gives 0, 256.. 255.
inline uint8_t narrowInStep(uint16_t sample, int32_t shift) {
    const uint32_t v = shift < 0 || shift > 15 ? 0 : uint32_t{sample} >> shift;
    return static_cast<uint8_t>(v >= 0x8000 ? 0 : v > 255 ? 255 : v);
}

// ---- rows: vector steps on the bulk, the rules on the rest

// 32 samples (48 packed bytes) per step.
template <bool kStream>
inline void unpackRow(const uint8_t* src, uint8_t* dst, int32_t count) {
    // Sample j of a step comes from packed byte 3 (j / 2) + 2 (j % 2); the first
    // 16 samples lie in loads 0 and 1, the next 16 in loads 1 and 2.
    static constexpr simd::Masks48 kFrom =
        simd::masks48([](int j) { return j < 32 ? 3 * (j >> 1) + 2 * (j & 1) : -1; });
    using simd::shuffle;
    eachStep<32, 2>(
        0, count, count,
        [&](int32_t x) {
            const uint8_t* s = src + (x >> 1) * 3;
            const __m128i a = load(s), b = load(s + 16), c = load(s + 32);
            store<kStream>(dst + x,
                           _mm_or_si128(shuffle(a, kFrom.m[0][0]), shuffle(b, kFrom.m[0][1])));
            store<kStream>(dst + x + 16,
                           _mm_or_si128(shuffle(b, kFrom.m[1][1]), shuffle(c, kFrom.m[1][2])));
        },
        [&](int32_t x, bool) { unpackPair(src, dst, x, count); });
}

// 16 samples per step; the pack saturates, and with kSaturate the tail too.
template <bool kStream, bool kSaturate = false>
inline void narrowRow(const uint16_t* src, uint8_t* dst, int32_t count, int32_t shift) {
    const __m128i n = _mm_cvtsi32_si128(shift);
    eachStep<16>(
        0, count, count,
        [&](int32_t x) {
            const __m128i a = _mm_srl_epi16(load(src + x), n);
            const __m128i b = _mm_srl_epi16(load(src + x + 8), n);
            store<kStream>(dst + x, _mm_packus_epi16(a, b));
        },
        [&](int32_t x, bool inStep) {
            dst[x] = inStep || kSaturate ? narrowInStep(src[x], shift) : narrow(src[x], shift);
        });
}

// Each block is loaded before it is stored, so rows may move down in place.
inline void copyRow(const uint8_t* src, uint8_t* dst, int32_t count) {
    eachStep<16>(
        0, count, count,
        [&](int32_t x) { _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + x), load(src + x)); },
        [&](int32_t x, bool) { dst[x] = src[x]; });
}

// Destination rows are only all aligned when the width is a multiple of 16.
size_t streamBytes(int32_t height, int32_t width) {
    return (width & 15) ? 0 : static_cast<size_t>(height) * static_cast<size_t>(width);
}

}  // namespace

void saturatedWords(const uint16_t* src, int32_t height, int32_t width, ptrdiff_t pitch,
                    int32_t shift, uint8_t* dst) {
    simd::withStorePolicy(dst, streamBytes(height, width), [&](auto stream) {
        parallelRows(height, minBandUnits(width), [&](int32_t r0, int32_t r1) {
            for (int32_t r = r0; r < r1; ++r) {
                narrowRow<decltype(stream)::value, true>(
                    reinterpret_cast<const uint16_t*>(reinterpret_cast<const uint8_t*>(src) +
                                                      r * pitch),
                    dst + static_cast<ptrdiff_t>(r) * width, width, shift);
            }
        });
    });
}

}  // namespace tav

using tav::pixelCount;
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
        tav::parallelRows(height, tav::minBandUnits(width), [&](int32_t r0, int32_t r1) {
            for (int32_t r = r0; r < r1; ++r) {
                const uint8_t* s = src + static_cast<ptrdiff_t>(r) * pitch;
                uint8_t* d = dst + static_cast<ptrdiff_t>(r) * width;
                // An odd row writes a 0 over the next row's first sample, which
                // the next row then writes; a band's last row leaves the next
                // band's alone (same steps: width - 1 has width's whole steps).
                if ((width & 1) != 0 && r == r1 - 1 && r1 < height) {
                    tav::unpackRow<decltype(stream)::value>(s, d, width - 1);
                    d[width - 1] = s[(width - 1) / 2 * 3];
                } else {
                    tav::unpackRow<decltype(stream)::value>(s, d, width);
                }
            }
        });
    });
}

void unpacked_old(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst) {
    const int32_t count = pixelCount(height, width);
    // Bands of whole 32-sample steps: each starts on a whole packed pair.
    withStorePolicy(dst, static_cast<size_t>(count), [&](auto stream) {
        tav::parallelSteps<32>(count, [&](int32_t x0, int32_t x1) {
            tav::unpackRow<decltype(stream)::value>(src + x0 / 2 * 3, dst + x0, x1 - x0);
        });
    });
}

void u16Tou8(const uint16_t* src, int32_t height, int32_t width, int32_t pitch, int32_t shift,
             uint8_t* dst) {
    const ptrdiff_t step = pitch >> 1;
    withStorePolicy(dst, tav::streamBytes(height, width), [&](auto stream) {
        tav::parallelRows(height, tav::minBandUnits(width), [&](int32_t r0, int32_t r1) {
            for (int32_t r = r0; r < r1; ++r) {
                tav::narrowRow<decltype(stream)::value>(
                    src + r * step, dst + static_cast<ptrdiff_t>(r) * width, width, shift);
            }
        });
    });
}

void u16Tou8_old(const uint16_t* src, int32_t height, int32_t width, int32_t shift, uint8_t* dst) {
    const int32_t count = pixelCount(height, width);
    withStorePolicy(dst, static_cast<size_t>(count), [&](auto stream) {
        tav::parallelSteps<16>(count, [&](int32_t x0, int32_t x1) {
            tav::narrowRow<decltype(stream)::value>(src + x0, dst + x0, x1 - x0, shift);
        });
    });
}

}  // extern "C"
