// Lens-shading application. It runs on every frame, so the bulk is vectorised;
// the vector steps give exactly the results of correct8/correct16 (lsc.h),
// which the scalar tails and the scalar level call.
#include "correct_avx2.h"
#include "lsc.h"
#include "report.h"
#include "rows.h"
#include "simd.h"
#include "tav.h"
#include "threads.h"

namespace tav::lsc {
namespace {

using simd::load;
using simd::store;

// ---- vector pieces

// Gain K split into 16-bit halves (K = hi x 65536 + lo), one per sample lane.
struct Gains {
    __m128i lo, hi;
};

// (d x K + 65536) >> 17 for unsigned 16-bit d, given dhi = d x hi (saturated
// to 0xFFFF where it does not fit). The low 16 bits of d x lo lie below the
// rounding bit and cannot carry past bit 16, so the result is the rounded half
// of (d x lo >> 16) + d x hi: one pavgw, no 64-bit products.
inline __m128i scaled(__m128i d, __m128i lo, __m128i dhi) {
    return _mm_avg_epu16(_mm_mulhi_epu16(d, lo), dhi);
}

// Gains and offsets (12-bit scale) of eight sample lanes.
struct Coefs {
    Gains gain;
    __m128i off12;
};

// Eight consecutive words, split into their low and high 16-bit halves: K's
// low 16 bits straddle the two.
inline Coefs inOrder(__m128i w0, __m128i w1) {
    const __m128i split = _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15);
    const __m128i a = _mm_shuffle_epi8(w0, split), b = _mm_shuffle_epi8(w1, split);
    const __m128i low = _mm_unpacklo_epi64(a, b), high = _mm_unpackhi_epi64(a, b);
    return {
        {_mm_or_si128(_mm_srli_epi16(low, 12), _mm_slli_epi16(high, 4)), _mm_srli_epi16(high, 12)},
        _mm_and_si128(low, _mm_set1_epi16(0xFFF))};
}

// Four words (four Bayer cells) to eight lanes: each word serves both columns
// of its cell. Keeps the low 16 bits of each 32-bit lane.
inline __m128i pairLanes(__m128i v) {
    return _mm_shuffle_epi8(v, _mm_setr_epi8(0, 1, 0, 1, 4, 5, 4, 5, 8, 9, 8, 9, 12, 13, 12, 13));
}

inline Coefs paired(__m128i w) {
    return {{pairLanes(_mm_srli_epi32(w, 12)), pairLanes(_mm_srli_epi32(w, 28))},
            pairLanes(_mm_and_si128(w, _mm_set1_epi32(0xFFF)))};
}

// Offsets of eight consecutive words, 12-bit scale.
inline __m128i offsetsInOrder(__m128i w0, __m128i w1) {
    const __m128i mask = _mm_set1_epi32(0xFFF);
    return _mm_packs_epi32(_mm_and_si128(w0, mask), _mm_and_si128(w1, mask));
}

// Eight 16-bit lanes of values below 256 to sixteen bytes, each twice.
inline __m128i pairBytes(__m128i v) {
    return _mm_shuffle_epi8(v, _mm_setr_epi8(0, 0, 2, 2, 4, 4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14));
}

inline __m128i offsets8(__m128i off12) {
    return _mm_srli_epi16(off12, 4);
}

// 16 samples of 8 bits; a and b are the gains of the low and high 8 lanes.
inline __m128i correct8x16(__m128i s, __m128i off, Gains a, Gains b) {
    const __m128i zero = _mm_setzero_si128();
    // Below the offset the signed rule gives 0; a zero difference scales to 0.
    const __m128i d = _mm_subs_epu8(s, off);
    const __m128i dl = _mm_unpacklo_epi8(d, zero), dh = _mm_unpackhi_epi8(d, zero);
    // d x hi <= 255 x 15: no saturation needed.
    return _mm_packus_epi16(scaled(dl, a.lo, _mm_mullo_epi16(dl, a.hi)),
                            scaled(dh, b.lo, _mm_mullo_epi16(dh, b.hi)));
}

// Coefficients of eight 16-bit lanes, the offset on the samples' scale. Where
// K is 0 the result is 0 whatever the offset, so the offset is cleared there:
// then "below the offset" implies a non-zero gain.
struct Lanes16 {
    Gains gain;
    __m128i off;
};

inline Lanes16 lanes16(Coefs c, __m128i shift) {
    const __m128i dead = _mm_cmpeq_epi16(_mm_or_si128(c.gain.lo, c.gain.hi), _mm_setzero_si128());
    return {c.gain, _mm_andnot_si128(dead, _mm_srl_epi16(c.off12, shift))};
}

// Eight samples of 10 or 12 bits (any 16-bit content).
inline __m128i correct16x8(__m128i s, const Lanes16& c, __m128i maxv) {
    const __m128i below = _mm_subs_epu16(c.off, s);  // non-zero where s < off
    const __m128i d = _mm_sub_epi16(s, c.off);
    // d x hi is saturated where its high half is set (the true result is then
    // at least 32768, far above any maximum, and so is pavgw's) and below the
    // offset, where the 32-bit difference wraps to at least 2^32 - 4095 and
    // the gain is non-zero. Both terms stay below 2^15: one signed compare.
    const __m128i over =
        _mm_cmpgt_epi16(_mm_or_si128(_mm_mulhi_epu16(d, c.gain.hi), below), _mm_setzero_si128());
    const __m128i dhi = _mm_or_si128(_mm_mullo_epi16(d, c.gain.hi), over);
    return _mm_min_epu16(scaled(d, c.gain.lo, dhi), maxv);
}

// ---- kernels: one vector step over whole samples (mode 1) or cells (mode 0),
// and the per-sample rule of lsc.h, which the scalar level runs alone

struct Lsc8 {
    static constexpr int32_t kSamples = 16, kCells = 8;

    template <bool kStream>
    void samples(const uint8_t* s, uint8_t* d, const uint32_t* w) const {
        const Coefs a = inOrder(load(w), load(w + 4));
        const Coefs b = inOrder(load(w + 8), load(w + 12));
        const __m128i off = _mm_packus_epi16(offsets8(a.off12), offsets8(b.off12));
        store<kStream>(d, correct8x16(load(s), off, a.gain, b.gain));
    }

    // Two rows of 16 samples; each word serves a 2x2 cell.
    template <bool kStream>
    void cells(const uint8_t* s0, const uint8_t* s1, uint8_t* d0, uint8_t* d1,
               const uint32_t* w) const {
        const __m128i w0 = load(w), w1 = load(w + 4);
        const Gains a = paired(w0).gain, b = paired(w1).gain;
        const __m128i off = pairBytes(offsets8(offsetsInOrder(w0, w1)));
        store<kStream>(d0, correct8x16(load(s0), off, a, b));
        store<kStream>(d1, correct8x16(load(s1), off, a, b));
    }

    uint8_t one(uint8_t s, uint32_t w) const { return correct8(s, w); }
};

struct Lsc16 {
    static constexpr int32_t kSamples = 8, kCells = 4;
    uint32_t bits;
    __m128i shift, maxv;

    explicit Lsc16(uint32_t depth)
        : bits(depth),
          shift(_mm_cvtsi32_si128(static_cast<int>(12 - depth))),
          maxv(_mm_set1_epi16(static_cast<int16_t>((1 << depth) - 1))) {}

    template <bool kStream>
    void samples(const uint16_t* s, uint16_t* d, const uint32_t* w) const {
        const Lanes16 c = lanes16(inOrder(load(w), load(w + 4)), shift);
        store<kStream>(d, correct16x8(load(s), c, maxv));
    }

    template <bool kStream>
    void cells(const uint16_t* s0, const uint16_t* s1, uint16_t* d0, uint16_t* d1,
               const uint32_t* w) const {
        const Lanes16 k = lanes16(paired(load(w)), shift);
        store<kStream>(d0, correct16x8(load(s0), k, maxv));
        store<kStream>(d1, correct16x8(load(s1), k, maxv));
    }

    uint16_t one(uint16_t s, uint32_t w) const { return correct16(s, w, bits); }
};

// ---- frames

// Streamed output needs every vector store aligned: in Bayer mode, all rows.
size_t streamBytes(int32_t width, size_t sampleBytes, size_t outputBytes) {
    return (static_cast<size_t>(width) * sampleBytes) % 16 == 0 ? outputBytes : 0;
}

// Mode 1 walks the frame as one span of samples, mode 0 each row pair as a
// span of cells.
template <typename K, typename T>
void correctFrame(const K& k, const T* src, T* dst, uint32_t mode, const uint32_t* w,
                  int32_t height, int32_t width) {
    const size_t bytes = static_cast<size_t>(height) * static_cast<size_t>(width) * sizeof(T);
    if (mode == 1) {
        const ptrdiff_t n = static_cast<ptrdiff_t>(height) * width;
        // Samples are independent (src may be dst): bands of whole steps.
        simd::withStorePolicy(dst, bytes, [&](auto stream) {
            parallelSteps<K::kSamples>(n, [&](ptrdiff_t i0, ptrdiff_t i1) {
                if constexpr (std::is_same_v<T, uint8_t>) {  // AVX2: 32 samples a step
                    const ptrdiff_t wide = wideSteps<32>(i0, i1);
                    if (wide > 0) samples8Avx2(stream, src + i0, dst + i0, w + i0, wide);
                    i0 += 32 * wide;
                }
                eachStep<K::kSamples>(
                    i0, i1, i1,
                    [&](ptrdiff_t i) {
                        k.template samples<decltype(stream)::value>(src + i, dst + i, w + i);
                    },
                    [&](ptrdiff_t i, bool) { dst[i] = k.one(src[i], w[i]); });
            });
        });
        return;
    }
    const int32_t cells = width / 2;
    simd::withStorePolicy(dst, streamBytes(width, sizeof(T), bytes), [&](auto stream) {
        // Row pairs read and write their own rows only: bands of pairs.
        parallelRows(height / 2, minBandUnits(2 * int64_t{width}), [&](int32_t j0, int32_t j1) {
            for (int32_t j = j0; j < j1; ++j) {
                const ptrdiff_t top = static_cast<ptrdiff_t>(2 * j) * width;
                const T* s0 = src + top;
                const T* s1 = s0 + width;
                T* d0 = dst + top;
                T* d1 = d0 + width;
                const uint32_t* row = w + static_cast<ptrdiff_t>(j) * cells;
                int32_t first = 0;
                if constexpr (std::is_same_v<T, uint8_t>) {  // AVX2: 16 cells a step
                    const int32_t wide = wideSteps<16>(0, cells);
                    if (wide > 0) cells8Avx2(stream, s0, s1, d0, d1, row, wide);
                    first = 16 * wide;
                }
                eachStep<K::kCells>(
                    first, cells, cells,
                    [&](int32_t c) {
                        const int32_t x = 2 * c;
                        k.template cells<decltype(stream)::value>(s0 + x, s1 + x, d0 + x, d1 + x,
                                                                  row + c);
                    },
                    [&](int32_t c, bool) {
                        const int32_t x = 2 * c;
                        d0[x] = k.one(s0[x], row[c]);
                        d0[x + 1] = k.one(s0[x + 1], row[c]);
                        d1[x] = k.one(s1[x], row[c]);
                        d1[x + 1] = k.one(s1[x + 1], row[c]);
                    });
            }
        });
    });
}

}  // namespace
}  // namespace tav::lsc

extern "C" {

int32_t getBits(uint32_t pixelFormat) {
    if (pixelFormat == TAV_PF_MONO8 ||
        (pixelFormat >= TAV_PF_BAYER_GR8 && pixelFormat <= TAV_PF_BAYER_BG8)) {
        return 8;
    }
    if (pixelFormat == TAV_PF_MONO10 ||
        (pixelFormat >= TAV_PF_BAYER_GR10 && pixelFormat <= TAV_PF_BAYER_BG10)) {
        return 10;
    }
    if (pixelFormat == TAV_PF_MONO12 ||
        (pixelFormat >= TAV_PF_BAYER_GR12 && pixelFormat <= TAV_PF_BAYER_BG12)) {
        return 12;
    }
    return TAV_E_PIXEL_FORMAT;
}

int32_t LSCcorrect8_2x2(const uint8_t* src, uint8_t* dst, uint32_t mode,
                        const uint32_t* coefficients, int32_t height, int32_t width) {
    namespace lsc = tav::lsc;
    if (mode > 1) return TAV_E_PARAMETER;
    if (height <= 0 || width <= 0) return TAV_OK;
    lsc::correctFrame(lsc::Lsc8{}, src, dst, mode, coefficients, height, width);
    return TAV_OK;
}

int32_t LSCcorrect16_2x2(const uint16_t* src, uint16_t* dst, uint32_t mode,
                         const uint32_t* coefficients, int32_t height, int32_t width,
                         int32_t bits) {
    namespace lsc = tav::lsc;
    if (mode > 1 || bits < 1 || bits > 12) return TAV_E_PARAMETER;
    if (height <= 0 || width <= 0) return TAV_OK;
    lsc::correctFrame(lsc::Lsc16(static_cast<uint32_t>(bits)), src, dst, mode, coefficients, height,
                      width);
    return TAV_OK;
}

int32_t tavLSCorrection(const TavImage* src, const TavImage* dst,
                        const TavLscParameter* parameter) {
    using tav::fail;
    if (src == nullptr || dst == nullptr || parameter == nullptr) {
        return fail(tav::Site::kCorrectNull, TAV_E_NULL_POINTER);
    }
    if (src->data == nullptr || dst->data == nullptr)
        return fail(tav::Site::kCorrectNullData, TAV_E_NULL_POINTER);
    if (parameter->mode > 1) return fail(tav::Site::kCorrectMode, TAV_E_NULL_POINTER);
    const int32_t height = src->height, width = src->width;
    if (parameter->height != static_cast<uint32_t>(height) ||
        parameter->width != static_cast<uint32_t>(width)) {
        return fail(tav::Site::kCorrectTable, TAV_E_IMAGE_SIZE);
    }
    if (dst->height != height || dst->width != width)
        return fail(tav::Site::kCorrectDestination, TAV_E_IMAGE_SIZE);

    const int32_t bits = getBits(src->pixelFormat);
    if (bits == 8) {
        LSCcorrect8_2x2(src->data, dst->data, parameter->mode, parameter->coefficients, height,
                        width);
    } else if (bits == 10 || bits == 12) {
        LSCcorrect16_2x2(reinterpret_cast<const uint16_t*>(src->data),
                         reinterpret_cast<uint16_t*>(dst->data), parameter->mode,
                         parameter->coefficients, height, width, bits);
    }
    return TAV_OK;
}

}  // extern "C"
