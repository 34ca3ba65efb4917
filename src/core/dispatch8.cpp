// Family entries of the 8-bit demosaicing entry: look up the kernel for an
// output format and method and call it; Mono8 sources are replicated here.
#include <cstring>

#include "dispatch8.h"
#include "hq.h"
#include "simd.h"

namespace tav {

int output8Index(uint64_t format) {
    switch (format) {
        case TAV_PF_MONO8:
            return kOutMono8;
        case TAV_PF_RGB8:
            return kOutRgb8;
        case TAV_PF_BGR8:
            return kOutBgr8;
        case TAV_PF_RGB8_PLANAR:
            return kOutRgbPlanar;
        case TAV_PF_BGR8_PLANAR:
            return kOutBgrPlanar;
        case TAV_PF_RGBA8:
            return kOutRgba8;
        case TAV_PF_BGRA8:
            return kOutBgra8;
        default:
            return -1;
    }
}

namespace {

constexpr uint32_t kLumaWeights[2][3] = {{77, 150, 29}, {29, 150, 77}};

int32_t runRoute(const Route8& r, const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                 uint8_t* work) {
    const ptrdiff_t n = static_cast<ptrdiff_t>(width) * height;
    uint8_t* first = r.reversed ? dst + 2 * n : dst;
    uint8_t* third = r.reversed ? dst : dst + 2 * n;
    if (r.flagged) return r.flagged(src, height, width, dst, r.flag);
    if (r.plain) return r.plain(src, height, width, dst);
    if (r.planar) return r.planar(src, height, width, first, dst + n, third);
    if (r.weighted) return r.weighted(src, height, width, kLumaWeights[r.reversed], dst);
    if (r.work) return r.work(src, height, width, dst, r.flag, work);
    if (r.workPlanar) return r.workPlanar(src, height, width, first, dst + n, third, work);
    return TAV_E_PARAMETER;
}

int32_t convert8(Phase phase, const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                 uint64_t outputFormat, uint32_t method, uint8_t* work) {
    static constexpr const RouteTable8* kMethods[] = {&kNearestRoutes, &kBilinearRoutes,
                                                      &kEdgeRoutes, &kHqRoutes};
    const int out = output8Index(outputFormat);
    if (out < 0) return TAV_E_PARAMETER;
    // An unknown method is not an error: nothing is written and the call succeeds.
    if (method > 3) return TAV_OK;
    return runRoute((*kMethods[method])[phase][out], src, dst, height, width, work);
}

// ---- Mono8 replication: 16 source bytes per vector step, the rest one by one.

template <bool kStream>
void replicate3(const uint8_t* src, uint8_t* dst, ptrdiff_t n) {
    const __m128i m0 = _mm_setr_epi8(0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5);
    const __m128i m1 = _mm_setr_epi8(5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9, 10, 10);
    const __m128i m2 =
        _mm_setr_epi8(10, 11, 11, 11, 12, 12, 12, 13, 13, 13, 14, 14, 14, 15, 15, 15);
    ptrdiff_t i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m128i g = simd::load(src + i);
        uint8_t* d = dst + 3 * i;
        simd::store<kStream>(d, _mm_shuffle_epi8(g, m0));
        simd::store<kStream>(d + 16, _mm_shuffle_epi8(g, m1));
        simd::store<kStream>(d + 32, _mm_shuffle_epi8(g, m2));
    }
    for (; i < n; ++i) dst[3 * i] = dst[3 * i + 1] = dst[3 * i + 2] = src[i];
}

template <bool kStream>
void replicate4(const uint8_t* src, uint8_t* dst, ptrdiff_t n) {
    // A negative shuffle index yields the zero alpha byte.
    const __m128i m0 = _mm_setr_epi8(0, 0, 0, -1, 1, 1, 1, -1, 2, 2, 2, -1, 3, 3, 3, -1);
    const __m128i step = _mm_setr_epi8(4, 4, 4, 0, 4, 4, 4, 0, 4, 4, 4, 0, 4, 4, 4, 0);
    const __m128i m1 = _mm_add_epi8(m0, step);
    const __m128i m2 = _mm_add_epi8(m1, step);
    const __m128i m3 = _mm_add_epi8(m2, step);
    ptrdiff_t i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m128i g = simd::load(src + i);
        uint8_t* d = dst + 4 * i;
        simd::store<kStream>(d, _mm_shuffle_epi8(g, m0));
        simd::store<kStream>(d + 16, _mm_shuffle_epi8(g, m1));
        simd::store<kStream>(d + 32, _mm_shuffle_epi8(g, m2));
        simd::store<kStream>(d + 48, _mm_shuffle_epi8(g, m3));
    }
    for (; i < n; ++i) {
        dst[4 * i] = dst[4 * i + 1] = dst[4 * i + 2] = src[i];
        dst[4 * i + 3] = 0;
    }
}

}  // namespace
}  // namespace tav

extern "C" {

int32_t rg8Convert(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                   uint64_t outputFormat, uint32_t method, uint8_t* work) {
    return tav::convert8(tav::kPhaseRG, src, dst, height, width, outputFormat, method, work);
}

int32_t gr8Convert(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                   uint64_t outputFormat, uint32_t method, uint8_t* work) {
    return tav::convert8(tav::kPhaseGR, src, dst, height, width, outputFormat, method, work);
}

int32_t gb8Convert(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                   uint64_t outputFormat, uint32_t method, uint8_t* work) {
    return tav::convert8(tav::kPhaseGB, src, dst, height, width, outputFormat, method, work);
}

int32_t bg8Convert(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                   uint64_t outputFormat, uint32_t method, uint8_t* work) {
    return tav::convert8(tav::kPhaseBG, src, dst, height, width, outputFormat, method, work);
}

int32_t mono8Convert(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                     uint64_t outputFormat) {
    const ptrdiff_t n = static_cast<ptrdiff_t>(width) * height;
    switch (tav::output8Index(outputFormat)) {
        case tav::kOutMono8:
            std::memcpy(dst, src, static_cast<size_t>(n));
            return TAV_OK;
        case tav::kOutRgb8:
        case tav::kOutBgr8:
            tav::simd::withStorePolicy(dst, 3 * static_cast<size_t>(n), [&](auto stream) {
                tav::replicate3<decltype(stream)::value>(src, dst, n);
            });
            return TAV_OK;
        case tav::kOutRgbPlanar:
        case tav::kOutBgrPlanar:
            for (int plane = 0; plane < 3; ++plane) {
                std::memcpy(dst + plane * n, src, static_cast<size_t>(n));
            }
            return TAV_OK;
        case tav::kOutRgba8:
        case tav::kOutBgra8:
            tav::simd::withStorePolicy(dst, 4 * static_cast<size_t>(n), [&](auto stream) {
                tav::replicate4<decltype(stream)::value>(src, dst, n);
            });
            return TAV_OK;
        default:
            return TAV_E_PARAMETER;
    }
}

}  // extern "C"
