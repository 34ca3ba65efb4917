// The AVX2 bodies of RGB/BGR encoding: the SSE4.1 arithmetic of rgb.h
// (Src3::pairs8, the x8 formulas, Yuv411::block, Planar420::block8) with two
// blocks side by side, one in each 128-bit lane.
//
// Compiled with -mavx2: see simd_avx2.h for what it may include.
#include "rgb_avx2.h"

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "rgb_weights.h"
#include "simd_avx2.h"

namespace tav::cvt {
namespace {

using avx2::loadHalves;
using avx2::store;

inline __m256i c16(int v) {
    return _mm256_set1_epi16(static_cast<int16_t>(v));
}

// A byte shuffle, the same in both lanes: byte j takes at(j), or zero for -1.
template <typename At>
inline __m256i laneShuffle(At at) {
    alignas(16) char m[16];
    for (int j = 0; j < 16; ++j) m[j] = static_cast<char>(at(j) < 0 ? 0x80 : at(j));
    return _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(m)));
}

// Lane p of eight pixels: bytes (c0, c1) of pixel p; pixels 0-4 from the load
// at 0, 5-7 from the load at 8.
inline __m256i pairMask(int c0, int c1, bool second) {
    return laneShuffle([=](int j) {
        const int p = j / 2;
        const bool late = p > 4;
        return late == second ? 3 * p + (j % 2 ? c1 : c0) - (late ? 8 : 0) : -1;
    });
}

// (r, g) and (g, b) byte pairs of one channel order.
struct Pairs {
    __m256i rgA, rgB, gbA, gbB;
    explicit Pairs(bool rgb) {
        const int r = rgb ? 0 : 2, b = rgb ? 2 : 0;
        rgA = pairMask(r, 1, false), rgB = pairMask(r, 1, true);
        gbA = pairMask(1, b, false), gbB = pairMask(1, b, true);
    }
    // Eight pixels in each lane: lane 0 from s, lane 1 from s + offset.
    void load(const uint8_t* s, int offset, __m256i& rg, __m256i& gb) const {
        const __m256i a = loadHalves(s, offset), b = loadHalves(s + 8, offset);
        rg = _mm256_or_si256(_mm256_shuffle_epi8(a, rgA), _mm256_shuffle_epi8(b, rgB));
        gb = _mm256_or_si256(_mm256_shuffle_epi8(a, gbA), _mm256_shuffle_epi8(b, gbB));
    }
};

inline __m256i w2(int w0, int w1) {
    return c16(((w1 & 0xFF) << 8) | (w0 & 0xFF));
}
inline __m256i dot(__m256i rg, __m256i gb, const PairWeights& w) {
    return _mm256_add_epi16(_mm256_maddubs_epi16(rg, w2(w.r, w.g1)),
                            _mm256_maddubs_epi16(gb, w2(w.g2, w.b)));
}
inline __m256i fromHalf(__m256i h) {
    return _mm256_srli_epi16(_mm256_add_epi16(h, c16(kHalfOffset)), 7);
}
inline __m256i luma601(__m256i rg, __m256i gb) {
    return _mm256_srli_epi16(_mm256_add_epi16(dot(rg, gb, kLuma601), c16(kLuma601Round)), 8);
}
inline __m256i cb411(__m256i rg, __m256i gb) {
    const __m256i x = _mm256_add_epi16(dot(rg, gb, kCb411), _mm256_maddubs_epi16(gb, w2(0, 1)));
    return fromHalf(_mm256_srai_epi16(x, 1));
}
inline __m256i cr411(__m256i rg, __m256i gb) {
    const __m256i x = _mm256_add_epi16(dot(rg, gb, kCr411), _mm256_maddubs_epi16(rg, w2(1, 0)));
    return fromHalf(_mm256_srai_epi16(x, 1));
}
inline __m256i studioLuma(__m256i rg, __m256i gb, const StudioWeights& w) {
    return _mm256_srli_epi16(_mm256_add_epi16(dot(rg, gb, w.luma), c16(w.lumaOffset)), 8);
}
inline __m256i studioChroma(__m256i rg, __m256i gb, const PairWeights& half) {
    return fromHalf(dot(rg, gb, half));
}

// ---- 4:1:1: eight groups a lane

// Mean of each group of four bytes, as 32-bit lanes.
inline __m256i mean4(__m256i bytes) {
    const __m256i pairs = _mm256_maddubs_epi16(bytes, _mm256_set1_epi8(1));
    return _mm256_srli_epi32(_mm256_madd_epi16(pairs, c16(1)), 2);
}

// Output byte j of a lane's 48 from lumas 0-15, lumas 16-31, then U0..U7 V0..V7.
constexpr int order411(int j) {
    const int g = j / 6, pos = j % 6;
    if (pos == 0) return 32 + g;
    if (pos == 3) return 40 + g;
    return 4 * g + (pos < 3 ? pos - 1 : pos - 2);
}

template <bool kStream>
void encode411(bool rgb, const uint8_t* s, uint8_t* d, size_t blocks) {
    const Pairs src(rgb);
    __m256i order[3][3];
    for (int o = 0; o < 3; ++o) {
        for (int k = 0; k < 3; ++k) {
            order[o][k] = laneShuffle([=](int j) {
                const int at = order411(16 * o + j);
                return at / 16 == k ? at % 16 : -1;
            });
        }
    }
    // Lane 0: groups 0-7 (bytes 0-95), lane 1: groups 8-15.
    for (size_t i = 0; i < blocks; ++i, s += 192, d += 96) {
        __m256i y[2], u[2], v[2];
        for (int h = 0; h < 2; ++h) {
            __m256i rg0, gb0, rg1, gb1;
            src.load(s + 48 * h, 96, rg0, gb0);
            src.load(s + 48 * h + 24, 96, rg1, gb1);
            y[h] = _mm256_packus_epi16(luma601(rg0, gb0), luma601(rg1, gb1));
            u[h] = mean4(_mm256_packus_epi16(cb411(rg0, gb0), cb411(rg1, gb1)));
            v[h] = mean4(_mm256_packus_epi16(cr411(rg0, gb0), cr411(rg1, gb1)));
        }
        const __m256i uv =
            _mm256_packus_epi16(_mm256_packs_epi32(u[0], u[1]), _mm256_packs_epi32(v[0], v[1]));
        __m256i out[3];
        for (int o = 0; o < 3; ++o) {
            out[o] = _mm256_or_si256(_mm256_or_si256(_mm256_shuffle_epi8(y[0], order[o][0]),
                                                     _mm256_shuffle_epi8(y[1], order[o][1])),
                                     _mm256_shuffle_epi8(uv, order[o][2]));
        }
        // Each lane's 48 bytes in turn.
        store<kStream>(d, _mm256_permute2x128_si256(out[0], out[1], 0x20));
        store<kStream>(d + 32, _mm256_permute2x128_si256(out[2], out[0], 0x30));
        store<kStream>(d + 64, _mm256_permute2x128_si256(out[1], out[2], 0x31));
    }
}

// ---- planar 4:2:0: 16 columns of two rows a lane

void encode420(bool rgb, const StudioWeights& w, const uint8_t* r0, const uint8_t* r1, uint8_t* y0,
               uint8_t* y1, uint8_t* u, uint8_t* v, int32_t steps) {
    const Pairs src(rgb);
    const __m256i lo = _mm256_set1_epi8(16), hiY = _mm256_set1_epi8(static_cast<char>(235));
    const __m256i hiC = _mm256_set1_epi8(static_cast<char>(240));
    for (int32_t i = 0; i < steps; ++i) {
        const uint8_t* rows[2] = {r0 + 96 * i, r1 + 96 * i};
        uint8_t* ys[2] = {y0 + 32 * i, y1 + 32 * i};
        __m256i cbSum[2], crSum[2];
        for (int h = 0; h < 2; ++h) {
            // Pixels 0-7|16-23 and 8-15|24-31.
            __m256i rgA, gbA, rgB, gbB;
            src.load(rows[h], 48, rgA, gbA);
            src.load(rows[h] + 24, 48, rgB, gbB);
            const __m256i y = _mm256_packus_epi16(studioLuma(rgA, gbA, w),
                                                  studioLuma(rgB, gbB, w));  // 0-15|16-31
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(ys[h]),
                                _mm256_min_epu8(_mm256_max_epu8(y, lo), hiY));
            // blocks 0-7|8-15
            cbSum[h] = _mm256_hadd_epi16(studioChroma(rgA, gbA, w.cbHalf),
                                         studioChroma(rgB, gbB, w.cbHalf));
            crSum[h] = _mm256_hadd_epi16(studioChroma(rgA, gbA, w.crHalf),
                                         studioChroma(rgB, gbB, w.crHalf));
        }
        auto mean = [](__m256i a, __m256i b) {
            return _mm256_srai_epi16(_mm256_add_epi16(_mm256_add_epi16(a, b), c16(2)), 2);
        };
        // U 0-7, V 0-7 | U 8-15, V 8-15, then U 0-15 | V 0-15.
        __m256i uv = _mm256_packus_epi16(mean(cbSum[0], cbSum[1]), mean(crSum[0], crSum[1]));
        uv = _mm256_permute4x64_epi64(uv, 0xD8);
        uv = _mm256_min_epu8(_mm256_max_epu8(uv, lo), hiC);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(u + 16 * i), _mm256_castsi256_si128(uv));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(v + 16 * i), _mm256_extracti128_si256(uv, 1));
    }
}

}  // namespace

void encode411Avx2(bool rgb, bool stream, const uint8_t* src, uint8_t* dst, size_t blocks) {
    if (stream) {
        encode411<true>(rgb, src, dst, blocks);
    } else {
        encode411<false>(rgb, src, dst, blocks);
    }
}

void encode420Avx2(bool rgb, const StudioWeights& weights, const uint8_t* r0, const uint8_t* r1,
                   uint8_t* y0, uint8_t* y1, uint8_t* u, uint8_t* v, int32_t steps) {
    encode420(rgb, weights, r0, r1, y0, y1, u, v, steps);
}

}  // namespace tav::cvt
