#include "unpack.h"

#include <smmintrin.h>

#include "threads.h"

namespace tav::api {
namespace {

// GigE packed: two samples in three bytes, the top eight bits of each in
// bytes 0 and 2, their low bits in byte 1 (the first's from bit 0, the
// second's from bit 4). Eight samples a vector step: each word holds the
// sample's top byte over byte 1.
void packedRow(const uint8_t* s, int32_t width, uint32_t depth, uint16_t* d) {
    const uint32_t low = depth - 8, mask = (1u << low) - 1;
    const __m128i picks = _mm_setr_epi8(1, 0, 1, 2, 4, 3, 4, 5, 7, 6, 7, 8, 10, 9, 10, 11);
    const __m128i lows = _mm_set1_epi16(static_cast<int16_t>(mask));
    const __m128i up = _mm_cvtsi32_si128(static_cast<int>(8 - low));
    int32_t x = 0;
    // A step reads 16 bytes from byte x * 3 / 2 of a row of width * 3 / 2.
    for (; x + 8 <= width && int64_t{x} * 3 / 2 + 16 <= int64_t{width} * 3 / 2; x += 8) {
        const __m128i w = _mm_shuffle_epi8(
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + x / 2 * 3)), picks);
        const __m128i top = _mm_srl_epi16(_mm_and_si128(w, _mm_set1_epi16(-256)), up);
        const __m128i bottom = _mm_and_si128(_mm_blend_epi16(w, _mm_srli_epi16(w, 4), 0xAA), lows);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + x), _mm_or_si128(top, bottom));
    }
    for (s += x / 2 * 3; x < width; x += 2, s += 3) {
        d[x] = static_cast<uint16_t>(uint32_t{s[0]} << low | (s[1] & mask));
        d[x + 1] = static_cast<uint16_t>(uint32_t{s[2]} << low | (s[1] >> 4 & mask));
    }
}

// A bit stream: sample i in bits Depth*i .. Depth*i + Depth - 1, as words or
// as its top 8 bits (Out = uint8_t). Eight samples a vector step: each word
// gathers the two bytes that hold its sample, shifts the sample to the top by
// a multiply, then down to the bottom; the scalar rule reads a group of whole
// bytes (four 10-bit samples in five bytes, two 12-bit in three) and stops at
// the row's last byte.
template <uint32_t Depth, typename Out>
void streamRow(const uint8_t* s, int32_t width, Out* d) {
    constexpr int kSamples = Depth == 10 ? 4 : 2;
    constexpr int kBytes = kSamples * static_cast<int>(Depth) / 8;
    constexpr uint32_t kMask = (1u << Depth) - 1;
    constexpr uint32_t kDrop = sizeof(Out) == 1 ? Depth - 8 : 0;
    alignas(16) uint8_t pick[16];
    alignas(16) uint16_t lift[8];
    for (int k = 0; k < 8; ++k) {
        const int bit = static_cast<int>(Depth) * k;
        pick[2 * k] = static_cast<uint8_t>(bit / 8);
        pick[2 * k + 1] = static_cast<uint8_t>(bit / 8 + 1);
        lift[k] = static_cast<uint16_t>(1u << (16 - Depth - bit % 8));
    }
    const __m128i picks = _mm_load_si128(reinterpret_cast<const __m128i*>(pick));
    const __m128i lifts = _mm_load_si128(reinterpret_cast<const __m128i*>(lift));
    const int64_t rowBytes = int64_t{width} * Depth / 8;
    int32_t x = 0;
    // A step reads 16 bytes from byte x * Depth / 8.
    for (; x + 8 <= width && int64_t{x} * Depth / 8 + 16 <= rowBytes; x += 8) {
        const __m128i v = _mm_shuffle_epi8(
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + x * Depth / 8)), picks);
        const __m128i out = _mm_srli_epi16(_mm_mullo_epi16(v, lifts), 16 - Depth + kDrop);
        if constexpr (sizeof(Out) == 1) {
            _mm_storel_epi64(reinterpret_cast<__m128i*>(d + x), _mm_packus_epi16(out, out));
        } else {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(d + x), out);
        }
    }
    for (s += x * Depth / 8; x < width; x += kSamples, s += kBytes) {
        uint64_t v = 0;
        for (int b = 0; b < kBytes; ++b) v |= uint64_t{s[b]} << (8 * b);
        for (int k = 0; k < kSamples; ++k)
            d[x + k] = static_cast<Out>((v >> (Depth * k) & kMask) >> kDrop);
    }
}

}  // namespace

namespace {

// Rows of s into compact rows of `out`, in row bands.
template <typename Out, typename Row>
void eachRow(const View& s, Out* out, Row row) {
    const int32_t w = s.width;
    parallelRows(s.height, minBandUnits(2 * int64_t{w}), [&](int32_t r0, int32_t r1) {
        for (int32_t r = r0; r < r1; ++r) row(s.plane[0] + r * s.stride[0], w, out + size_t(r) * w);
    });
}

}  // namespace

void unpackWords(const View& s, uint16_t* words) {
    const uint32_t depth = s.format->depth;
    if (s.format->samples == Samples::kStream) {
        eachRow(s, words, depth == 10 ? streamRow<10, uint16_t> : streamRow<12, uint16_t>);
    } else {
        eachRow(s, words, [depth](const uint8_t* row, int32_t w, uint16_t* out) {
            packedRow(row, w, depth, out);
        });
    }
}

void unpackTopBytes(const View& s, uint8_t* bytes) {
    eachRow(s, bytes, s.format->depth == 10 ? streamRow<10, uint8_t> : streamRow<12, uint8_t>);
}

}  // namespace tav::api
