// The fifteen YUV decoding kernels. Each picks its channel order from the
// target code (only the blue-first code counts) and runs one layout, formula
// and writer; 4:2:0 kernels walk row pairs and share each chroma sample.
#include "pixels.h"
#include "tav.h"
#include "yuv.h"

namespace tav::cvt {
namespace {

using UnitsFn = void (*)(const uint8_t*, uint8_t*, ptrdiff_t);

// Unit kernels of layout L and formula F by output order: [red first, blue first].
template <class L, class F, template <bool> class W>
int32_t decodeUnits(const uint8_t* src, uint8_t* dst, int32_t units, bool bgr) {
    static constexpr UnitsFn kByOrder[2] = {runUnits<Decode<L, F, W<false>>>,
                                            runUnits<Decode<L, F, W<true>>>};
    kByOrder[bgr](src, dst, units);
    return TAV_OK;
}

template <class L>
int32_t lumaUnits(const uint8_t* src, uint8_t* dst, int32_t units) {
    runUnits<Luma<L>>(src, dst, units);
    return TAV_OK;
}

// ---- 4:2:0: chroma of one block row

// NV12: U, V pairs interleaved; pair i at byte 2i.
struct Nv12Row {
    const uint8_t* uv;
    int32_t u(int32_t i) const { return uv[2 * i]; }
    int32_t v(int32_t i) const { return uv[2 * i + 1]; }
    void load8(int32_t i, __m128i& u256, __m128i& v256) const {
        const __m128i p = simd::load(uv + 2 * i);
        u256 = _mm_slli_epi16(p, 8);
        v256 = _mm_and_si128(p, _mm_set1_epi16(static_cast<int16_t>(0xFF00)));
    }
};

// Planar: separate U and V rows.
struct PlanarRow {
    const uint8_t* up;
    const uint8_t* vp;
    int32_t u(int32_t i) const { return up[i]; }
    int32_t v(int32_t i) const { return vp[i]; }
    void load8(int32_t i, __m128i& u256, __m128i& v256) const {
        const __m128i zero = _mm_setzero_si128();
        u256 = _mm_unpacklo_epi8(zero, _mm_loadl_epi64(reinterpret_cast<const __m128i*>(up + i)));
        v256 = _mm_unpacklo_epi8(zero, _mm_loadl_epi64(reinterpret_cast<const __m128i*>(vp + i)));
    }
};

// One row of a block row, `pairs` column pairs; 16 columns a step. The two
// rows of a block row run one after the other, each recomputing its chroma
// terms: a single output stream keeps streamed 3-byte rows in whole lines.
template <class F, class W, bool kStream, class C>
void row420(const uint8_t* y, const C& c, uint8_t* d, int32_t pairs) {
    const __m128i zero = _mm_setzero_si128();
    // AVX2 (NV12 full range, planar studio range): 16 pairs a step, then at
    // most one 8-pair step.
    constexpr bool kNv12 = std::is_same_v<F, FullRange<false>> && std::is_same_v<C, Nv12Row>;
    constexpr bool kPlanar = std::is_same_v<F, Studio> && std::is_same_v<C, PlanarRow>;
    const int32_t wide = kNv12 || kPlanar ? wideSteps<16>(0, pairs) : 0;
    if (wide > 0) {
        const WideYuvOut out{W::kBytes, W::kBgrOrder, kStream, W::kAlpha};
        if constexpr (kNv12) nv12RowAvx2(out, y, c.uv, d, wide);
        if constexpr (kPlanar) planarRowAvx2(out, y, c.up, c.vp, d, wide);
    }
    const int32_t first = 16 * wide;
    eachStep<8>(
        first, pairs, pairs,
        [&](int32_t i) {
            const int32_t x = 2 * i;
            __m128i u256, v256;
            c.load8(i, u256, v256);
            const typename F::Terms t = F::terms(u256, v256);
            const __m128i a = simd::load(y + x);
            decode16<F, W, kStream>(_mm_unpacklo_epi8(a, zero), _mm_unpackhi_epi8(a, zero),
                                    F::lo(t), F::hi(t), d + x * W::kBytes);
        },
        [&](int32_t i, bool) {
            for (int32_t x = 2 * i; x < 2 * i + 2; ++x) {
                W::put(d + x * W::kBytes, F::pixel(y[x], c.u(i), c.v(i)));
            }
        });
}

// Row pairs of a 4:2:0 frame; chromaRow(j) gives block row j's chroma.
template <class F, class W, class RowOf>
void decode420(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width, RowOf chromaRow) {
    const int32_t rowPairs = height / 2, pairs = width / 2;
    if (rowPairs <= 0 || pairs <= 0) return;
    const size_t rowBytes = static_cast<size_t>(width) * W::kBytes;
    // Streamed stores need every destination row 16-byte aligned.
    const size_t streamed = rowBytes % 16 ? 0 : rowBytes * 2 * rowPairs;
    simd::withStorePolicy(dst, streamed, [&](auto stream) {
        // Block rows read and write their own rows only: bands of block rows.
        parallelRows(rowPairs, minBandUnits(2 * int64_t{width}), [&](int32_t j0, int32_t j1) {
            for (int32_t j = j0; j < j1; ++j) {
                const uint8_t* y0 = src + static_cast<size_t>(2 * j) * width;
                uint8_t* d0 = dst + static_cast<size_t>(2 * j) * rowBytes;
                const auto chroma = chromaRow(j);
                row420<F, W, decltype(stream)::value>(y0, chroma, d0, pairs);
                row420<F, W, decltype(stream)::value>(y0 + width, chroma, d0 + rowBytes, pairs);
            }
        });
    });
}

template <class F, template <bool> class W>
void nv12(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width, bool bgr) {
    const uint8_t* uv = src + pixels32(height, width);
    auto row = [=](int32_t j) { return Nv12Row{uv + static_cast<size_t>(j) * width}; };
    if (bgr) {
        decode420<F, W<true>>(src, dst, height, width, row);
    } else {
        decode420<F, W<false>>(src, dst, height, width, row);
    }
}

}  // namespace

int32_t decodeOpaque(uint32_t source, const uint8_t* src, uint8_t* dst, int32_t height,
                     int32_t width, bool bgr) {
    const int32_t n = pixelCount(height, width);
    switch (source) {
        case TAV_PF_YUV411_8_UYYVYY:
            return decodeUnits<Yuv411, FullRange<false>, Out4Opaque>(src, dst, n >> 2, bgr);
        case TAV_PF_YUV422_8_UYVY:
            return decodeUnits<Uyvy, FullRange<false>, Out4Opaque>(src, dst, n >> 1, bgr);
        case TAV_PF_YUV422_8:
            return decodeUnits<Yuyv, FullRange<false>, Out4Opaque>(src, dst, n >> 1, bgr);
        case TAV_PF_YUV8_UYV:
            return decodeUnits<Yuv444, FullRange<false>, Out4Opaque>(src, dst, n, bgr);
        case TAV_PF_YUV420SP_NV12:
            nv12<FullRange<false>, Out4Opaque>(src, dst, height, width, bgr);
            return TAV_OK;
        default:
            return TAV_E_PIXEL_FORMAT;
    }
}

}  // namespace tav::cvt

using namespace tav::cvt;

extern "C" {

int32_t YUV411PToMono8(const uint8_t* src, uint8_t* dst, int32_t groups) {
    return lumaUnits<Yuv411>(src, dst, groups);
}
int32_t YUV411PToRGB8(const uint8_t* src, uint8_t* dst, int32_t groups, uint64_t target) {
    return decodeUnits<Yuv411, FullRange<false>, Out3>(src, dst, groups, target == TAV_PF_BGR8);
}
int32_t YUV411PToRGBA8(const uint8_t* src, uint8_t* dst, int32_t groups, uint64_t target) {
    return decodeUnits<Yuv411, FullRange<false>, Out4>(src, dst, groups, target == TAV_PF_BGRA8);
}

int32_t YUV422_UYVYToMono8(const uint8_t* src, uint8_t* dst, int32_t pairs) {
    return lumaUnits<Uyvy>(src, dst, pairs);
}
int32_t YUV422_UYVYToRGB8(const uint8_t* src, uint8_t* dst, int32_t pairs, uint64_t target) {
    return decodeUnits<Uyvy, FullRange<false>, Out3>(src, dst, pairs, target == TAV_PF_BGR8);
}
int32_t YUV422_UYVYToRGBA8(const uint8_t* src, uint8_t* dst, int32_t pairs, uint64_t target) {
    return decodeUnits<Uyvy, FullRange<false>, Out4>(src, dst, pairs, target == TAV_PF_BGRA8);
}

int32_t YUV422_YUYVToMono8(const uint8_t* src, uint8_t* dst, int32_t pairs) {
    return lumaUnits<Yuyv>(src, dst, pairs);
}
int32_t YUV422_YUYVToRGB8(const uint8_t* src, uint8_t* dst, int32_t pairs, uint64_t target) {
    return decodeUnits<Yuyv, FullRange<false>, Out3>(src, dst, pairs, target == TAV_PF_BGR8);
}
int32_t YUV422_YUYVToRGBA8(const uint8_t* src, uint8_t* dst, int32_t pairs, uint64_t target) {
    return decodeUnits<Yuyv, FullRange<false>, Out4>(src, dst, pairs, target == TAV_PF_BGRA8);
}

int32_t YUV444ToMono8(const uint8_t* src, uint8_t* dst, int32_t pixels) {
    return lumaUnits<Yuv444>(src, dst, pixels);
}
// The three-byte 4:4:4 kernel rounds each chroma term; the four-byte one does not.
int32_t YUV444ToRGB8(const uint8_t* src, uint8_t* dst, int32_t pixels, uint64_t target) {
    return decodeUnits<Yuv444, FullRange<true>, Out3>(src, dst, pixels, target == TAV_PF_BGR8);
}
int32_t YUV444ToRGBA8(const uint8_t* src, uint8_t* dst, int32_t pixels, uint64_t target) {
    return decodeUnits<Yuv444, FullRange<false>, Out4>(src, dst, pixels, target == TAV_PF_BGRA8);
}

int32_t YUV420SP_NV12ToRGB8(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                            uint64_t target) {
    nv12<FullRange<false>, Out3>(src, dst, height, width, target == TAV_PF_BGR8);
    return TAV_OK;
}
int32_t YUV420SP_NV12ToRGBA8(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                             uint64_t target) {
    nv12<FullRange<false>, Out4>(src, dst, height, width, target == TAV_PF_BGRA8);
    return TAV_OK;
}

int32_t YUV420PToRGB8(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                      uint64_t target) {
    const uint32_t n = tav::pixels32(height, width);
    const uint8_t* up = src + n;
    const uint8_t* vp = up + n / 4;
    // Block row j's chroma starts at (j x width) / 2.
    auto row = [=](int32_t j) {
        const size_t at = static_cast<size_t>(j) * static_cast<size_t>(width) / 2;
        return PlanarRow{up + at, vp + at};
    };
    if (target == TAV_PF_BGR8) {
        decode420<Studio, Out3<true>>(src, dst, height, width, row);
    } else {
        decode420<Studio, Out3<false>>(src, dst, height, width, row);
    }
    return TAV_OK;
}

}  // extern "C"
