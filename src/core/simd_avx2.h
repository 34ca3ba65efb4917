// Vector helpers of the AVX2 bodies; include only from *_avx2.cpp files.
//
// Those files are compiled with -mavx2. An inline function with external
// linkage compiled there would be an AVX2 copy that the linker may merge with
// the baseline copy of another file and then run on a CPU without AVX2. So
// they include no other tav header with inline functions or templates, and
// everything here is in an anonymous namespace: each AVX2 file keeps its own
// internal copy. (The intrinsics themselves are always inlined.)
#pragma once

#include <immintrin.h>

#include <cstdint>

namespace tav::avx2 {
namespace {

inline __m256i load(const uint8_t* p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

// 16 words of 16-bit samples.
inline __m256i loadWords(const uint16_t* p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}
inline void storeWords(uint16_t* p, __m256i v) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
}

// Two 16-byte halves from p and p + offset.
inline __m256i loadHalves(const uint8_t* p, int offset) {
    const __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i hi = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + offset));
    return _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1);
}

// kStream: non-temporal stores, as two 16-byte halves, since the callers'
// destinations are only known to be 16-byte aligned.
template <bool kStream = false>
inline void store(uint8_t* p, __m256i v) {
    if constexpr (kStream) {
        _mm_stream_si128(reinterpret_cast<__m128i*>(p), _mm256_castsi256_si128(v));
        _mm_stream_si128(reinterpret_cast<__m128i*>(p + 16), _mm256_extracti128_si256(v, 1));
    } else {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
    }
}

// Byte k of each 16-byte lane of three-byte chunk `chunk` (0..2) takes pixel
// (16 chunk + k) / 3 of the lane's 16 when its channel is `channel`.
constexpr char interleave3Index(int chunk, int channel, int k) {
    return (16 * chunk + k) % 3 == channel ? static_cast<char>((16 * chunk + k) / 3)
                                           : static_cast<char>(0x80);
}
// The same for 16-bit words: bytes 2w and 2w + 1 of word w = (16 chunk + k) / 2
// take word w / 3 of the lane's 8 when its channel is `channel`.
constexpr char interleave3WordsIndex(int chunk, int channel, int k) {
    const int j = 16 * chunk + k;
    return (j / 2) % 3 == channel ? static_cast<char>(2 * (j / 6) + j % 2)
                                  : static_cast<char>(0x80);
}
template <int kChunk, int kChannel, bool kWords = false>
inline __m256i interleave3Mask() {
#define TAV_I(k) \
    (kWords ? interleave3WordsIndex(kChunk, kChannel, k) : interleave3Index(kChunk, kChannel, k))
    const __m128i m = _mm_setr_epi8(TAV_I(0), TAV_I(1), TAV_I(2), TAV_I(3), TAV_I(4), TAV_I(5),
                                    TAV_I(6), TAV_I(7), TAV_I(8), TAV_I(9), TAV_I(10), TAV_I(11),
                                    TAV_I(12), TAV_I(13), TAV_I(14), TAV_I(15));
#undef TAV_I
    return _mm256_broadcastsi128_si256(m);
}
template <int kChunk, bool kWords = false>
inline __m256i interleave3Chunk(__m256i c0, __m256i c1, __m256i c2) {
    return _mm256_or_si256(
        _mm256_or_si256(_mm256_shuffle_epi8(c0, interleave3Mask<kChunk, 0, kWords>()),
                        _mm256_shuffle_epi8(c1, interleave3Mask<kChunk, 1, kWords>())),
        _mm256_shuffle_epi8(c2, interleave3Mask<kChunk, 2, kWords>()));
}

// 32 pixels of three byte planes in pixel order into c0 c1 c2 c0 c1 c2 ...
// (kWords: 16 pixels of 16-bit words): each 128-bit lane interleaves its
// pixels, then the lanes are put in order.
template <bool kStream = false, bool kWords = false>
inline void interleave3(__m256i c0, __m256i c1, __m256i c2, uint8_t* out) {
    const __m256i a = interleave3Chunk<0, kWords>(c0, c1, c2),
                  b = interleave3Chunk<1, kWords>(c0, c1, c2),
                  c = interleave3Chunk<2, kWords>(c0, c1, c2);
    store<kStream>(out, _mm256_permute2x128_si256(a, b, 0x20));
    store<kStream>(out + 32, _mm256_permute2x128_si256(c, a, 0x30));
    store<kStream>(out + 64, _mm256_permute2x128_si256(b, c, 0x31));
}

// 32 pixels of four byte planes into c0 c1 c2 c3 ...
template <bool kStream = false>
inline void interleave4(__m256i c0, __m256i c1, __m256i c2, __m256i c3, uint8_t* out) {
    const __m256i lo01 = _mm256_unpacklo_epi8(c0, c1), hi01 = _mm256_unpackhi_epi8(c0, c1);
    const __m256i lo23 = _mm256_unpacklo_epi8(c2, c3), hi23 = _mm256_unpackhi_epi8(c2, c3);
    // Pixels 0-3|16-19, 4-7|20-23, 8-11|24-27, 12-15|28-31.
    const __m256i q0 = _mm256_unpacklo_epi16(lo01, lo23), q1 = _mm256_unpackhi_epi16(lo01, lo23);
    const __m256i q2 = _mm256_unpacklo_epi16(hi01, hi23), q3 = _mm256_unpackhi_epi16(hi01, hi23);
    store<kStream>(out, _mm256_permute2x128_si256(q0, q1, 0x20));
    store<kStream>(out + 32, _mm256_permute2x128_si256(q2, q3, 0x20));
    store<kStream>(out + 64, _mm256_permute2x128_si256(q0, q1, 0x31));
    store<kStream>(out + 96, _mm256_permute2x128_si256(q2, q3, 0x31));
}

// 16 pixels of three words, c0 c1 c2 c0 c1 c2 ..., into three planes: each
// 128-bit lane gathers 8 pixels as shuffle.h's deinterleave3Words does.
constexpr char deinterleave3WordsIndex(int plane, int source, int k) {
    return (2 * (3 * (k / 2) + plane) + k % 2) / 16 == source
               ? static_cast<char>((2 * (3 * (k / 2) + plane) + k % 2) % 16)
               : static_cast<char>(0x80);
}
template <int kPlane, int kSource>
inline __m256i deinterleave3Mask() {
#define TAV_D(k) deinterleave3WordsIndex(kPlane, kSource, k)
    const __m128i m = _mm_setr_epi8(TAV_D(0), TAV_D(1), TAV_D(2), TAV_D(3), TAV_D(4), TAV_D(5),
                                    TAV_D(6), TAV_D(7), TAV_D(8), TAV_D(9), TAV_D(10), TAV_D(11),
                                    TAV_D(12), TAV_D(13), TAV_D(14), TAV_D(15));
#undef TAV_D
    return _mm256_broadcastsi128_si256(m);
}
template <int kPlane>
inline __m256i deinterleave3Plane(__m256i s0, __m256i s1, __m256i s2) {
    return _mm256_or_si256(_mm256_or_si256(_mm256_shuffle_epi8(s0, deinterleave3Mask<kPlane, 0>()),
                                           _mm256_shuffle_epi8(s1, deinterleave3Mask<kPlane, 1>())),
                           _mm256_shuffle_epi8(s2, deinterleave3Mask<kPlane, 2>()));
}
inline void deinterleave3Words(const uint16_t* p, __m256i planes[3]) {
    const uint8_t* b = reinterpret_cast<const uint8_t*>(p);
    const __m256i s0 = loadHalves(b, 48), s1 = loadHalves(b + 16, 48), s2 = loadHalves(b + 32, 48);
    planes[0] = deinterleave3Plane<0>(s0, s1, s2);
    planes[1] = deinterleave3Plane<1>(s0, s1, s2);
    planes[2] = deinterleave3Plane<2>(s0, s1, s2);
}

// words.h's Mono16Writer: (w0 r + w1 g + w2 b + 128) >> 8 in 32-bit lanes,
// low 16 bits kept.
inline __m256i luma(const uint32_t* w, __m256i r, __m256i g, __m256i b) {
    const __m256i zero = _mm256_setzero_si256();
    const __m256i wr = _mm256_set1_epi32(static_cast<int32_t>(w[0]));
    const __m256i wg = _mm256_set1_epi32(static_cast<int32_t>(w[1]));
    const __m256i wb = _mm256_set1_epi32(static_cast<int32_t>(w[2]));
    auto luma8 = [&](__m256i r32, __m256i g32, __m256i b32) {
        __m256i s = _mm256_add_epi32(_mm256_mullo_epi32(r32, wr), _mm256_mullo_epi32(g32, wg));
        s = _mm256_add_epi32(_mm256_add_epi32(s, _mm256_mullo_epi32(b32, wb)),
                             _mm256_set1_epi32(128));
        return _mm256_and_si256(_mm256_srli_epi32(s, 8), _mm256_set1_epi32(0xFFFF));
    };
    const __m256i lo = luma8(_mm256_unpacklo_epi16(r, zero), _mm256_unpacklo_epi16(g, zero),
                             _mm256_unpacklo_epi16(b, zero));
    const __m256i hi = luma8(_mm256_unpackhi_epi16(r, zero), _mm256_unpackhi_epi16(g, zero),
                             _mm256_unpackhi_epi16(b, zero));
    return _mm256_packus_epi32(lo, hi);
}

// depth.h's rescale twin: ((v << left | v >> right) & 0xFFFF) >> down.
struct Depth {
    __m128i left, right, down;
};
inline Depth depth(int32_t left, int32_t right, int32_t down) {
    return {_mm_cvtsi32_si128(left), _mm_cvtsi32_si128(right), _mm_cvtsi32_si128(down)};
}
inline __m256i rescale(const Depth& d, __m256i v) {
    return _mm256_srl_epi16(
        _mm256_or_si256(_mm256_sll_epi16(v, d.left), _mm256_srl_epi16(v, d.right)), d.down);
}

}  // namespace
}  // namespace tav::avx2
