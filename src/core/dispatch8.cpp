// Family entries of the 8-bit demosaicing entry: look up the kernel for an
// output format and method and call it; Mono8 sources are replicated here.
#include <cstring>

#include "dispatch8.h"
#include "hq.h"
#include "luma.h"
#include "rows.h"
#include "shuffle.h"

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

int32_t runRoute(const Route8& r, const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                 uint8_t* work) {
    const ptrdiff_t n = static_cast<ptrdiff_t>(width) * height;
    uint8_t* first = r.exchange ? dst + 2 * n : dst;
    uint8_t* third = r.exchange ? dst : dst + 2 * n;
    if (r.exchanging) return r.exchanging(src, height, width, dst, r.exchange);
    if (r.plain) return r.plain(src, height, width, dst);
    if (r.planar) return r.planar(src, height, width, first, dst + n, third);
    if (r.weighted) return r.weighted(src, height, width, kLumaWeights[r.exchange], dst);
    if (r.work) return r.work(src, height, width, dst, r.exchange, work);
    if (r.workPlanar) return r.workPlanar(src, height, width, first, dst + n, third, work);
    return TAV_E_PARAMETER;
}

template <typename K>
struct Twin {
    K kernel, opaque;
};
constexpr Twin<ExchangeKernel> kExchangeTwins[] = {{rg8ToBgra8_nearest, rg8ToBgra8OpaqueNearest},
                                                   {gb8ToBgra8_nearest, gb8ToBgra8OpaqueNearest}};
constexpr Twin<PlainKernel> kPlainTwins[] = {{rg8ToBgra8_bilinear, rg8ToBgra8OpaqueBilinear},
                                             {gr8ToBgra8_bilinear, gr8ToBgra8OpaqueBilinear},
                                             {gb8ToBgra8_bilinear, gb8ToBgra8OpaqueBilinear},
                                             {bg8ToBgra8_bilinear, bg8ToBgra8OpaqueBilinear}};
constexpr Twin<WorkKernel> kWorkTwins[] = {{rg8ToBgra8_edge, rg8ToBgra8OpaqueEdge},
                                           {gb8ToBgra8_edge, gb8ToBgra8OpaqueEdge},
                                           {rg8ToBgra8Hq, rg8ToBgra8OpaqueHq},
                                           {gb8ToBgra8Hq, gb8ToBgra8OpaqueHq}};

template <typename K, size_t N>
K twinOf(K kernel, const Twin<K> (&twins)[N]) {
    for (const Twin<K>& t : twins) {
        if (t.kernel == kernel) return t.opaque;
    }
    return kernel;
}

}  // namespace

int32_t demosaic8(Phase phase, const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                  uint64_t outputFormat, uint32_t method, uint8_t* work, bool opaque) {
    static constexpr const RouteTable8* kMethods[] = {&kNearestRoutes, &kBilinearRoutes,
                                                      &kEdgeRoutes, &kHqRoutes};
    const int out = output8Index(outputFormat);
    if (out < 0) return TAV_E_PARAMETER;
    // An unknown method is not an error: nothing is written and the call succeeds.
    if (method > 3) return TAV_OK;
    Route8 route = (*kMethods[method])[phase][out];
    if (opaque) {
        route.exchanging = twinOf(route.exchanging, kExchangeTwins);
        route.plain = twinOf(route.plain, kPlainTwins);
        route.work = twinOf(route.work, kWorkTwins);
    }
    return runRoute(route, src, dst, height, width, work);
}

namespace {

// ---- Mono8 replication: grey into the three colour bytes, alpha 0; 16 source
// bytes a vector block.

// Byte j of output vector kPart: pixel b / kBytes for b = 16 kPart + j, or
// zero for the alpha byte.
template <int kBytes, int kPart>
constexpr simd::Mask16 replicateMask() {
    return simd::mask16([](int j) {
        const int b = 16 * kPart + j;
        return b % kBytes == 3 ? -1 : b / kBytes;
    });
}

// kAlpha: the alpha byte of four-byte pixels.
template <int kBytes, uint8_t kAlpha = 0>
struct Replicate {
    static constexpr int kUnits = 16, kIn = 1, kOut = kBytes;
    static constexpr simd::Mask16 kMasks[4] = {
        replicateMask<kBytes, 0>(), replicateMask<kBytes, 1>(), replicateMask<kBytes, 2>(),
        replicateMask<kBytes, 3>()};
    template <bool kStream>
    static void block(const uint8_t* s, uint8_t* d) {
        const __m128i g = simd::load(s);
        const __m128i alpha = _mm_set1_epi32(static_cast<int32_t>(uint32_t{kAlpha} << 24));
        for (int k = 0; k < kBytes; ++k) {
            const __m128i v = simd::shuffle(g, kMasks[k]);
            simd::store<kStream>(d + 16 * k,
                                 kBytes == 4 && kAlpha != 0 ? _mm_or_si128(v, alpha) : v);
        }
    }
    static void unit(const uint8_t* s, uint8_t* d) {
        d[0] = d[1] = d[2] = s[0];
        if constexpr (kBytes == 4) d[3] = kAlpha;
    }
};

}  // namespace
}  // namespace tav

extern "C" {

int32_t rg8Convert(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                   uint64_t outputFormat, uint32_t method, uint8_t* work) {
    return tav::demosaic8(tav::kPhaseRG, src, dst, height, width, outputFormat, method, work,
                          false);
}

int32_t gr8Convert(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                   uint64_t outputFormat, uint32_t method, uint8_t* work) {
    return tav::demosaic8(tav::kPhaseGR, src, dst, height, width, outputFormat, method, work,
                          false);
}

int32_t gb8Convert(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                   uint64_t outputFormat, uint32_t method, uint8_t* work) {
    return tav::demosaic8(tav::kPhaseGB, src, dst, height, width, outputFormat, method, work,
                          false);
}

int32_t bg8Convert(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                   uint64_t outputFormat, uint32_t method, uint8_t* work) {
    return tav::demosaic8(tav::kPhaseBG, src, dst, height, width, outputFormat, method, work,
                          false);
}

int32_t mono8Convert(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                     uint64_t outputFormat) {
    return tav::mono8(src, dst, height, width, outputFormat, false);
}

}  // extern "C"

namespace tav {

int32_t mono8(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
              uint64_t outputFormat, bool opaque) {
    const ptrdiff_t n = static_cast<ptrdiff_t>(width) * height;
    switch (tav::output8Index(outputFormat)) {
        case tav::kOutMono8:
            std::memcpy(dst, src, static_cast<size_t>(n));
            return TAV_OK;
        case tav::kOutRgb8:
        case tav::kOutBgr8:
            tav::runUnits<tav::Replicate<3>>(src, dst, n);
            return TAV_OK;
        case tav::kOutRgbPlanar:
        case tav::kOutBgrPlanar:
            for (int plane = 0; plane < 3; ++plane) {
                std::memcpy(dst + plane * n, src, static_cast<size_t>(n));
            }
            return TAV_OK;
        case tav::kOutRgba8:
        case tav::kOutBgra8:
            if (opaque) {
                tav::runUnits<tav::Replicate<4, 255>>(src, dst, n);
            } else {
                tav::runUnits<tav::Replicate<4>>(src, dst, n);
            }
            return TAV_OK;
        default:
            return TAV_E_PARAMETER;
    }
}

}  // namespace tav
