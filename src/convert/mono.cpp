// Converters of the monochrome sources: 1- and 4-bit packed, Mono8 to planar
// 4:2:0, and the point list.
#include <cstddef>
#include <cstring>

#include "rows.h"
#include "shuffle.h"
#include "convert.h"
#include "pixels.h"
#include "report.h"
#include "tav.h"

namespace tav::cvt {

using namespace simd;  // masks, gathers, interleaves, stores
namespace {

// Bytes a Mono4p pixel takes in each accepted target; 0 for any other target.
int mono4Bytes(uint64_t target) {
    switch (target) {
        case TAV_PF_MONO8:
            return 1;
        case TAV_PF_RGB8:
        case TAV_PF_BGR8:
            return 3;
        case TAV_PF_RGBA8:
        case TAV_PF_BGRA8:
            return 4;
        default:
            return 0;
    }
}

// Full-range grey to studio-range luma: 0..255 onto 16..234.
inline uint8_t studioGrey(int32_t v) {
    return static_cast<uint8_t>((219 * v + 4096) >> 8);
}

// 219 x 255 + 4096 stays below 65536, so 16-bit lanes and a logical shift hold it.
struct StudioGrey {
    static constexpr int kUnits = 16, kIn = 1, kOut = 1;
    template <bool kStream>
    static void block(const uint8_t* s, uint8_t* d) {
        const __m128i v = simd::load(s), zero = _mm_setzero_si128();
        auto half = [](__m128i x) {
            const __m128i p = _mm_mullo_epi16(x, _mm_set1_epi16(219));
            return _mm_srli_epi16(_mm_add_epi16(p, _mm_set1_epi16(4096)), 8);
        };
        simd::store<kStream>(d, _mm_packus_epi16(half(_mm_unpacklo_epi8(v, zero)),
                                                 half(_mm_unpackhi_epi8(v, zero))));
    }
    static void unit(const uint8_t* s, uint8_t* d) { d[0] = studioGrey(s[0]); }
};

// Grey of `bytes` bytes (1, 3 or 4); alpha 255 if kOpaque, else 0.
template <bool kOpaque>
inline void putGrey(uint8_t* p, uint8_t value, int bytes) {
    if (bytes == 1) {
        p[0] = value;
        return;
    }
    p[0] = p[1] = p[2] = value;
    if (bytes == 4) p[3] = kOpaque ? 255 : 0;
}

// 16 grey bytes as kBytes-byte pixels.
template <int kBytes, bool kOpaque, bool kStream>
inline void storeGrey(__m128i grey, uint8_t* out) {
    if constexpr (kBytes == 1) {
        simd::store<kStream>(out, grey);
    } else if constexpr (kBytes == 3) {
        interleave3<kStream>(grey, grey, grey, out);
    } else {
        interleave4<kStream>(grey, grey, grey, _mm_set1_epi8(kOpaque ? -1 : 0), out);
    }
}

// Mono1p: a byte's eight bits, bit k as pixel k; 16 bytes a block. Compatible
// (kFull false): the bit's own weight 1 << k, Mono8 only. Full: 0 or 255 as
// grey of kBytes bytes, alpha 255.
template <int kBytes, bool kFull>
struct Bits {
    static constexpr int kUnits = 16, kIn = 1, kOut = 8 * kBytes;
    template <bool kStream>
    static void block(const uint8_t* s, uint8_t* d) {
        const __m128i v = simd::load(s), weights = _mm_set1_epi64x(0x8040201008040201);
        // Bytes 2k and 2k + 1 of the block, each over eight lanes.
        __m128i spread = _mm_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1);
        for (int k = 0; k < 8; ++k, spread = _mm_add_epi8(spread, _mm_set1_epi8(2))) {
            __m128i bits = _mm_and_si128(_mm_shuffle_epi8(v, spread), weights);
            if constexpr (kFull) bits = _mm_cmpeq_epi8(bits, weights);
            storeGrey<kBytes, kFull, kStream>(bits, d + 16 * kBytes * k);
        }
    }
    static void unit(const uint8_t* s, uint8_t* d) {
        for (int k = 0; k < 8; ++k) {
            const unsigned bit = s[0] & (1u << k);
            putGrey<kFull>(d + kBytes * k, static_cast<uint8_t>(kFull ? (bit ? 255 : 0) : bit),
                           kBytes);
        }
    }
};

// Mono4p: a byte's two pixels, low nibble first, as grey of kBytes bytes; 16
// bytes a block. Compatible: the low nibble moved up, the high one kept, alpha
// 0. Full: nibble n as n x 17 (0..255) for both, alpha 255.
template <int kBytes, bool kFull>
struct Nibbles {
    static constexpr int kUnits = 16, kIn = 1, kOut = 2 * kBytes;
    static uint8_t first(uint8_t b) {
        return static_cast<uint8_t>(kFull ? (b & 0x0F) * 17 : b << 4);
    }
    static uint8_t second(uint8_t b) {
        return static_cast<uint8_t>(kFull ? (b >> 4) * 17 : b & 0xF0);
    }
    template <bool kStream>
    static void block(const uint8_t* s, uint8_t* d) {
        const __m128i v = simd::load(s), high = _mm_set1_epi8(static_cast<char>(0xF0));
        __m128i lo = _mm_and_si128(_mm_slli_epi16(v, 4), high);
        __m128i hi = _mm_and_si128(v, high);
        if constexpr (kFull) {
            // n x 17 = n << 4 | n: each nibble copied into the other half.
            lo = _mm_or_si128(lo, _mm_srli_epi16(lo, 4));
            hi = _mm_or_si128(hi, _mm_and_si128(_mm_srli_epi16(hi, 4), _mm_set1_epi8(0x0F)));
        }
        storeGrey<kBytes, kFull, kStream>(_mm_unpacklo_epi8(lo, hi), d);
        storeGrey<kBytes, kFull, kStream>(_mm_unpackhi_epi8(lo, hi), d + 16 * kBytes);
    }
    static void unit(const uint8_t* s, uint8_t* d) {
        putGrey<kFull>(d, first(s[0]), kBytes);
        putGrey<kFull>(d + kBytes, second(s[0]), kBytes);
    }
};

template <bool kFull>
int32_t mono4(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width, uint64_t target) {
    const int bytes = mono4Bytes(target);
    if (!bytes) return TAV_E_PIXEL_FORMAT;
    const int32_t n = pixelCount(height, width);
    if (n <= 0) return TAV_OK;
    const int32_t pairs = n / 2;
    static constexpr void (*kByBytes[5])(const uint8_t*, uint8_t*, ptrdiff_t) = {
        nullptr, runUnits<Nibbles<1, kFull>>, nullptr, runUnits<Nibbles<3, kFull>>,
        runUnits<Nibbles<4, kFull>>};
    kByBytes[bytes](src, dst, pairs);
    const size_t step = 2 * static_cast<size_t>(bytes);
    if (n & 1) putGrey<kFull>(dst + pairs * step, Nibbles<1, kFull>::first(src[pairs]), bytes);
    return TAV_OK;
}

}  // namespace

// Each bit keeps its own weight (1, 2, ..., 128) rather than being stretched
// to 255; a trailing partial byte is not converted.
int32_t convertMono1P(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                      uint64_t target) {
    if (target != TAV_PF_MONO8) return TAV_E_PIXEL_FORMAT;
    runUnits<Bits<1, false>>(src, dst, pixelCount(height, width) >> 3);
    return TAV_OK;
}

// Low nibble first, moved up; high nibble kept in place.
int32_t convertMono4P(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                      uint64_t target) {
    return mono4<false>(src, dst, height, width, target);
}

int32_t fullRangeMono(uint32_t source, const uint8_t* src, uint8_t* dst, int32_t height,
                      int32_t width, uint64_t target) {
    const int bytes = mono4Bytes(target);
    if (!bytes) return TAV_E_PIXEL_FORMAT;
    if (source == TAV_PF_MONO4P) return mono4<true>(src, dst, height, width, target);
    if (source != TAV_PF_MONO1P) return TAV_E_PIXEL_FORMAT;
    static constexpr void (*kByBytes[5])(const uint8_t*, uint8_t*, ptrdiff_t) = {
        nullptr, runUnits<Bits<1, true>>, nullptr, runUnits<Bits<3, true>>,
        runUnits<Bits<4, true>>};
    kByBytes[bytes](src, dst, pixelCount(height, width) >> 3);
    return TAV_OK;
}

// Studio-range luma with neutral chroma.
int32_t convertMono8(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                     uint64_t target) {
    if (target != TAV_PF_YUV420P) return TAV_E_PIXEL_FORMAT;
    if ((width & 1) || (height & 1)) return fail(tav::Site::kMono8To420P, TAV_E_FORMAT_SIZE);
    const int32_t n = pixelCount(height, width);
    if (n <= 0) return TAV_OK;
    runUnits<StudioGrey>(src, dst, n);
    std::memset(dst + n, 128, 2 * static_cast<size_t>(n / 4));
    return TAV_OK;
}

// Records of value, then a 12-bit row and a 12-bit column counted from 1. The
// bounds test is an upper test only: a 0 field gives -1 and lands before the
// intended pixel.
int32_t convertMono1C(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                      uint64_t target) {
    const int32_t n = pixelCount(height, width);
    if (n > 0) std::memset(dst, 0, static_cast<size_t>(n));
    if (target != TAV_PF_MONO8) return TAV_E_PIXEL_FORMAT;
    int64_t stored = 0;
    const uint8_t* rec = src;
    do {
        if ((rec[0] | rec[1] | rec[2] | rec[3]) == 0) break;
        const int32_t row = rec[1] * 16 + (rec[2] >> 4) - 1;
        const int32_t column = (rec[2] & 0x0F) * 256 + rec[3] - 1;
        if (column >= width || row >= height) return TAV_E_IMAGE_SIZE;
        // The bounds test is an upper test only: a zero row field would land
        // before the buffer. Such a record is passed over, never stored there.
        const std::ptrdiff_t index = static_cast<std::ptrdiff_t>(row) * width + column;
        if (index >= 0) dst[index] = rec[0];
        ++stored;
        rec += 4;
    } while (4 * stored < n);
    return TAV_OK;
}

}  // namespace tav::cvt
