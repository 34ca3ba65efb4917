// Encoders from RGB8/BGR8 pixels: red/blue exchange, widening to four bytes, luma,
// YUV 4:4:4, 4:1:1, 4:2:2 and studio-range planar 4:2:0.
#include "convert.h"
#include "pixels.h"
#include "rgb.h"
#include "rgb_avx2.h"
#include "tav.h"

namespace tav::cvt {
namespace {

using simd::load;
using simd::store;

// First and third byte exchanged, 16 pixels a block.
struct Exchange {
    static constexpr int kUnits = 16, kIn = 3, kOut = 3;
    static constexpr Masks48 kMasks = masks48([](int j) { return j + 2 - 2 * (j % 3); });
    template <bool kStream>
    static void block(const uint8_t* s, uint8_t* d) {
        gather48<kStream>(kMasks, load(s), load(s + 16), load(s + 32), d);
    }
    static void unit(const uint8_t* s, uint8_t* d) {
        const uint8_t first = s[0];
        d[0] = s[2];
        d[1] = s[1];
        d[2] = first;
    }
};

// Three bytes to four (alpha 0, or 255 when opaque), optionally exchanging the outer two: 16
// pixels from three loads; output vector k holds pixels 4k..4k+3, taken from a
// source window starting at byte `base` (0, 12, 24, 32).
constexpr int widenChannel(bool exchange, int c) {
    return exchange ? 2 - c : c;
}

constexpr Mask16 widenMask(bool exchange, int k, int base) {
    Mask16 m{};
    for (int j = 0; j < 16; ++j) {
        const int p = 4 * k + j / 4, c = j % 4;
        m.b[j] = static_cast<int8_t>(c == 3 ? -1 : 3 * p + widenChannel(exchange, c) - base);
    }
    return m;
}

template <bool kExchange, bool kOpaque = false>
struct Widen {
    static constexpr int kUnits = 16, kIn = 3, kOut = 4;
    static constexpr Mask16 kM0 = widenMask(kExchange, 0, 0), kM1 = widenMask(kExchange, 1, 12),
                            kM2 = widenMask(kExchange, 2, 24), kM3 = widenMask(kExchange, 3, 32);
    static __m128i alpha(__m128i v) {
        return kOpaque ? _mm_or_si128(v, _mm_set1_epi32(static_cast<int32_t>(0xFF000000u))) : v;
    }
    template <bool kStream>
    static void block(const uint8_t* s, uint8_t* d) {
        const __m128i a = load(s), b = load(s + 16), c = load(s + 32);
        store<kStream>(d, alpha(shuffle(a, kM0)));
        store<kStream>(d + 16, alpha(shuffle(_mm_alignr_epi8(b, a, 12), kM1)));
        store<kStream>(d + 32, alpha(shuffle(_mm_alignr_epi8(c, b, 8), kM2)));
        store<kStream>(d + 48, alpha(shuffle(c, kM3)));
    }
    static void unit(const uint8_t* s, uint8_t* d) {
        d[0] = s[widenChannel(kExchange, 0)];
        d[1] = s[1];
        d[2] = s[widenChannel(kExchange, 2)];
        d[3] = kOpaque ? 255 : 0;
    }
};

template <bool kRgb>
struct Mono8 {
    using S = Src3<kRgb>;
    static constexpr int kUnits = 16, kIn = 3, kOut = 1;
    template <bool kStream>
    static void block(const uint8_t* s, uint8_t* d) {
        __m128i rg0, gb0, rg1, gb1;
        S::pairs8(s, rg0, gb0);
        S::pairs8(s + 24, rg1, gb1);
        store<kStream>(d, _mm_packus_epi16(luma601x8(rg0, gb0), luma601x8(rg1, gb1)));
    }
    static void unit(const uint8_t* s, uint8_t* d) {
        d[0] = static_cast<uint8_t>(luma601(S::r(s), S::g(s), S::b(s)));
    }
};

// U, Y, V per pixel.
template <bool kRgb>
struct Uyv {
    using S = Src3<kRgb>;
    static constexpr int kUnits = 16, kIn = 3, kOut = 3;
    template <bool kStream>
    static void block(const uint8_t* s, uint8_t* d) {
        __m128i rg0, gb0, rg1, gb1;
        S::pairs8(s, rg0, gb0);
        S::pairs8(s + 24, rg1, gb1);
        const __m128i u = _mm_packus_epi16(cb601x8(rg0, gb0), cb601x8(rg1, gb1));
        const __m128i y = _mm_packus_epi16(luma601x8(rg0, gb0), luma601x8(rg1, gb1));
        const __m128i v = _mm_packus_epi16(cr601x8(rg0, gb0), cr601x8(rg1, gb1));
        interleave3<kStream>(u, y, v, d);
    }
    static void unit(const uint8_t* s, uint8_t* d) {
        const int32_t r = S::r(s), g = S::g(s), b = S::b(s);
        d[0] = static_cast<uint8_t>(cb601(r, g, b));
        d[1] = static_cast<uint8_t>(luma601(r, g, b));
        d[2] = static_cast<uint8_t>(cr601(r, g, b));
    }
};

// Groups of four pixels: U, Y0, Y1, V, Y2, Y3; chroma the truncated mean of
// the four clamped per-pixel values. Eight groups a block, 16 at AVX2.
template <bool kRgb>
struct Yuv411 {
    using S = Src3<kRgb>;
    static constexpr int kUnits = 8, kWideUnits = 16, kIn = 12, kOut = 6;
    // Sources: lumas 0-15, lumas 16-31, then U0..U7 V0..V7.
    static constexpr Masks48 kOrder = masks48([](int j) {
        const int g = j / 6, pos = j % 6;
        if (pos == 0) return 32 + g;
        if (pos == 3) return 40 + g;
        return 4 * g + (pos < 3 ? pos - 1 : pos - 2);
    });
    // Mean of each group of four clamped bytes, as 32-bit lanes.
    static __m128i mean4(__m128i bytes) {
        const __m128i pairs = _mm_maddubs_epi16(bytes, _mm_set1_epi8(1));
        return _mm_srli_epi32(_mm_madd_epi16(pairs, _mm_set1_epi16(1)), 2);
    }
    template <bool kStream>
    static void block(const uint8_t* s, uint8_t* d) {
        __m128i y[2], u[2], v[2];
        for (int h = 0; h < 2; ++h) {
            __m128i rg0, gb0, rg1, gb1;
            S::pairs8(s + 48 * h, rg0, gb0);
            S::pairs8(s + 48 * h + 24, rg1, gb1);
            y[h] = _mm_packus_epi16(luma601x8(rg0, gb0), luma601x8(rg1, gb1));
            u[h] = mean4(_mm_packus_epi16(cb411x8(rg0, gb0), cb411x8(rg1, gb1)));
            v[h] = mean4(_mm_packus_epi16(cr411x8(rg0, gb0), cr411x8(rg1, gb1)));
        }
        const __m128i uv =
            _mm_packus_epi16(_mm_packs_epi32(u[0], u[1]), _mm_packs_epi32(v[0], v[1]));
        gather48<kStream>(kOrder, y[0], y[1], uv, d);
    }
    template <bool kStream>
    static void wide(const uint8_t* s, uint8_t* d, size_t blocks) {
        encode411Avx2(kRgb, kStream, s, d, blocks);
    }
    static void unit(const uint8_t* s, uint8_t* d) {
        int32_t su = 0, sv = 0;
        for (int k = 0; k < 4; ++k) {
            const uint8_t* p = s + 3 * k;
            su += cb411(S::r(p), S::g(p), S::b(p));
            sv += cr411(S::r(p), S::g(p), S::b(p));
        }
        auto y = [&](int k) {
            const uint8_t* p = s + 3 * k;
            return static_cast<uint8_t>(luma601(S::r(p), S::g(p), S::b(p)));
        };
        d[0] = static_cast<uint8_t>(su >> 2);
        d[1] = y(0);
        d[2] = y(1);
        d[3] = static_cast<uint8_t>(sv >> 2);
        d[4] = y(2);
        d[5] = y(3);
    }
};

// Pairs: U = (cb0 + cb1) >> 1, V likewise, each cb clamped first; UYVY or YUYV.
template <bool kRgb, bool kUyvy>
struct Yuv422 {
    using S = Src3<kRgb>;
    static constexpr int kUnits = 8, kIn = 6, kOut = 4;
    static __m128i mean2(__m128i bytes) {
        return _mm_srli_epi16(_mm_maddubs_epi16(bytes, _mm_set1_epi8(1)), 1);
    }
    template <bool kStream>
    static void block(const uint8_t* s, uint8_t* d) {
        __m128i rg0, gb0, rg1, gb1;
        S::pairs8(s, rg0, gb0);
        S::pairs8(s + 24, rg1, gb1);
        const __m128i y = _mm_packus_epi16(luma601x8(rg0, gb0), luma601x8(rg1, gb1));
        const __m128i u = mean2(_mm_packus_epi16(cb601x8(rg0, gb0), cb601x8(rg1, gb1)));
        const __m128i v = mean2(_mm_packus_epi16(cr601x8(rg0, gb0), cr601x8(rg1, gb1)));
        const __m128i uv = _mm_or_si128(u, _mm_slli_epi16(v, 8));
        if constexpr (kUyvy) {
            store<kStream>(d, _mm_unpacklo_epi8(uv, y));
            store<kStream>(d + 16, _mm_unpackhi_epi8(uv, y));
        } else {
            store<kStream>(d, _mm_unpacklo_epi8(y, uv));
            store<kStream>(d + 16, _mm_unpackhi_epi8(y, uv));
        }
    }
    static void unit(const uint8_t* s, uint8_t* d) {
        const uint8_t* p = s + 3;
        const int32_t r0 = S::r(s), g0 = S::g(s), b0 = S::b(s);
        const int32_t r1 = S::r(p), g1 = S::g(p), b1 = S::b(p);
        const auto u = static_cast<uint8_t>((cb601(r0, g0, b0) + cb601(r1, g1, b1)) >> 1);
        const auto v = static_cast<uint8_t>((cr601(r0, g0, b0) + cr601(r1, g1, b1)) >> 1);
        const auto y0 = static_cast<uint8_t>(luma601(r0, g0, b0));
        const auto y1 = static_cast<uint8_t>(luma601(r1, g1, b1));
        if constexpr (kUyvy) {
            d[0] = u, d[1] = y0, d[2] = v, d[3] = y1;
        } else {
            d[0] = y0, d[1] = u, d[2] = y1, d[3] = v;
        }
    }
};

template <bool kRgb>
void to422(const uint8_t* src, uint8_t* dst, uint32_t n, uint64_t target) {
    const auto count = static_cast<int32_t>(n);
    if (count <= 0) return;
    const int32_t pairs = ((count - 1) >> 1) + 1;
    if (target == TAV_PF_YUV422_8_UYVY) {
        runUnits<Yuv422<kRgb, true>>(src, dst, pairs);
    } else {
        runUnits<Yuv422<kRgb, false>>(src, dst, pairs);
    }
}

// ---- planar 4:2:0, BT.709 studio range

template <bool kRgb>
struct Planar420 {
    using S = Src3<kRgb>;

    // Block (j, i) at the scalar formulas.
    static void block1(const uint8_t* r0, const uint8_t* r1, uint8_t* y0, uint8_t* y1, uint8_t* u,
                       uint8_t* v, int32_t i) {
        int32_t cb[4], cr[4];
        for (int k = 0; k < 4; ++k) {
            const int32_t x = 2 * i + (k & 1);
            const uint8_t* p = (k < 2 ? r0 : r1) + 3 * x;
            const int32_t r = S::r(p), g = S::g(p), b = S::b(p);
            (k < 2 ? y0 : y1)[x] = static_cast<uint8_t>(luma709(r, g, b));
            cb[k] = cb709(r, g, b);
            cr[k] = cr709(r, g, b);
        }
        u[i] = static_cast<uint8_t>(chroma709(cb[0], cb[1], cb[2], cb[3]));
        v[i] = static_cast<uint8_t>(chroma709(cr[0], cr[1], cr[2], cr[3]));
    }

    // Eight blocks (16 columns of two rows).
    static void block8(const uint8_t* r0, const uint8_t* r1, uint8_t* y0, uint8_t* y1, uint8_t* u,
                       uint8_t* v) {
        const __m128i lo = _mm_set1_epi8(16), hiY = _mm_set1_epi8(static_cast<char>(235));
        const __m128i hiC = _mm_set1_epi8(static_cast<char>(240));
        __m128i cbSum[2], crSum[2];
        const uint8_t* rows[2] = {r0, r1};
        uint8_t* ys[2] = {y0, y1};
        for (int h = 0; h < 2; ++h) {
            __m128i rg[2], gb[2];
            S::pairs8(rows[h], rg[0], gb[0]);
            S::pairs8(rows[h] + 24, rg[1], gb[1]);
            const __m128i y = _mm_packus_epi16(luma709x8(rg[0], gb[0]), luma709x8(rg[1], gb[1]));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(ys[h]),
                             _mm_min_epu8(_mm_max_epu8(y, lo), hiY));
            const __m128i cb = _mm_hadd_epi16(cb709x8(rg[0], gb[0]), cb709x8(rg[1], gb[1]));
            const __m128i cr = _mm_hadd_epi16(cr709x8(rg[0], gb[0]), cr709x8(rg[1], gb[1]));
            cbSum[h] = cb;
            crSum[h] = cr;
        }
        auto mean = [&](__m128i a, __m128i b) {
            const __m128i two = _mm_set1_epi16(2);
            const __m128i m = _mm_srai_epi16(_mm_add_epi16(_mm_add_epi16(a, b), two), 2);
            return _mm_min_epu8(_mm_max_epu8(_mm_packus_epi16(m, m), lo), hiC);
        };
        _mm_storel_epi64(reinterpret_cast<__m128i*>(u), mean(cbSum[0], cbSum[1]));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(v), mean(crSum[0], crSum[1]));
    }

    static void run(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width) {
        const int32_t rowPairs = height / 2, pairs = width / 2;
        if (rowPairs <= 0 || pairs <= 0) return;
        const uint32_t n = pixels32(height, width);
        uint8_t* uPlane = dst + n;
        uint8_t* vPlane = uPlane + n / 4;
        const size_t w = static_cast<size_t>(width);
        // Row pairs read and write their own rows and chroma only: bands of row pairs.
        parallelRows(rowPairs, minBandUnits(2 * int64_t{width}), [&](int32_t j0, int32_t j1) {
            for (int32_t j = j0; j < j1; ++j) {
                const uint8_t* r0 = src + 3 * w * (2 * j);
                const uint8_t* r1 = r0 + 3 * w;
                uint8_t* y0 = dst + w * (2 * j);
                uint8_t* y1 = y0 + w;
                uint8_t* u = uPlane + static_cast<size_t>(j) * pairs;
                uint8_t* v = vPlane + static_cast<size_t>(j) * pairs;
                // AVX2: 16 blocks a step, then at most one 8-block step.
                const int32_t wide = wideSteps<16>(0, pairs);
                if (wide > 0) encode420Avx2(kRgb, r0, r1, y0, y1, u, v, wide);
                eachStep<8>(
                    16 * wide, pairs, pairs,
                    [&](int32_t i) {
                        block8(r0 + 6 * i, r1 + 6 * i, y0 + 2 * i, y1 + 2 * i, u + i, v + i);
                    },
                    [&](int32_t i, bool) { block1(r0, r1, y0, y1, u, v, i); });
            }
        });
    }
};

}  // namespace

void exchangeOuter(const uint8_t* src, uint8_t* dst, int32_t pixels) {
    runUnits<Exchange>(src, dst, pixels);
}
void widenTo4(const uint8_t* src, uint8_t* dst, int32_t pixels, bool exchange, bool opaque) {
    static constexpr void (*kBy[2][2])(const uint8_t*, uint8_t*, ptrdiff_t) = {
        {runUnits<Widen<false>>, runUnits<Widen<false, true>>},
        {runUnits<Widen<true>>, runUnits<Widen<true, true>>}};
    kBy[exchange][opaque](src, dst, pixels);
}
void encodeMono8(const uint8_t* src, uint8_t* dst, int32_t pixels, bool rgb) {
    static constexpr void (*kByOrder[2])(const uint8_t*, uint8_t*, ptrdiff_t) = {
        runUnits<Mono8<false>>, runUnits<Mono8<true>>};
    kByOrder[rgb](src, dst, pixels);
}
void encodeUyv(const uint8_t* src, uint8_t* dst, int32_t pixels, bool rgb) {
    static constexpr void (*kByOrder[2])(const uint8_t*, uint8_t*, ptrdiff_t) = {
        runUnits<Uyv<false>>, runUnits<Uyv<true>>};
    kByOrder[rgb](src, dst, pixels);
}
void encode411(const uint8_t* src, uint8_t* dst, int32_t groups, bool rgb) {
    static constexpr void (*kByOrder[2])(const uint8_t*, uint8_t*, ptrdiff_t) = {
        runUnits<Yuv411<false>>, runUnits<Yuv411<true>>};
    kByOrder[rgb](src, dst, groups);
}
void encode420(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width, bool rgb) {
    static constexpr void (*kByOrder[2])(const uint8_t*, uint8_t*, int32_t, int32_t) = {
        Planar420<false>::run, Planar420<true>::run};
    kByOrder[rgb](src, dst, height, width);
}

}  // namespace tav::cvt

extern "C" {

void BGRToYUV422(const uint8_t* src, uint8_t* dst, uint32_t n, uint64_t target) {
    tav::cvt::to422<false>(src, dst, n, target);
}
void RGBToYUV422(const uint8_t* src, uint8_t* dst, uint32_t n, uint64_t target) {
    tav::cvt::to422<true>(src, dst, n, target);
}

// 16 pixels a step with three loads, four shuffles and four stores; the rest
// one by one. Both give the same bytes.
uint32_t bgrToBgra(const uint8_t* src, uint32_t width, int32_t height, uint8_t* dst) {
    const uint32_t total = 3u * width * static_cast<uint32_t>(height);
    if (height > 0) tav::cvt::widenTo4(src, dst, static_cast<int32_t>(total / 3), false);
    return total;
}

}  // extern "C"
