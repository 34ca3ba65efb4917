// YUV decoding: the per-pixel formulas (scalar, and the same arithmetic eight
// lanes at a time), the source layouts and the output writers. A kernel is a
// layout, a formula set and a writer put together (yuv_decode.cpp).
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "rows.h"
#include "shuffle.h"
#include "simd.h"
#include "yuv_avx2.h"
#include "yuv_layout.h"

namespace tav::cvt {

using namespace simd;  // masks, gathers, interleaves, stores

struct Rgb {
    int32_t r, g, b;
};

inline int32_t clamp255(int32_t v) {
    return v < 0 ? 0 : (v > 255 ? 255 : v);
}

// ---- formulas

// Chroma offsets of the full-range set: weight x 128 (no rounding), or
// weight x 128 - 128 (each term rounded).
struct FullRangeOffsets {
    int32_t r, gu, gv, b;
};
inline constexpr FullRangeOffsets kPlainOffsets{45952, 11264, 23424, 58112};
inline constexpr FullRangeOffsets kRoundingOffsets{45824, 11136, 23296, 57984};

// Each term is shifted (toward minus infinity) on its own before it meets Y.
inline Rgb fullRangePixel(int32_t y, int32_t u, int32_t v, const FullRangeOffsets& o) {
    const int32_t rTerm = (359 * v - o.r) >> 8;
    const int32_t gTermU = (88 * u - o.gu) >> 8;
    const int32_t gTermV = (183 * v - o.gv) >> 8;
    const int32_t bTerm = (454 * u - o.b) >> 8;
    return {clamp255(y + rTerm), clamp255(y - gTermU - gTermV), clamp255(y + bTerm)};
}

// Studio-range BT.601 (blue weight 517): one shift over luma and chroma together.
inline Rgb studioPixel(int32_t y, int32_t u, int32_t v) {
    const int32_t c = 298 * y - 4768;
    return {clamp255((c + 409 * v - 52352) >> 8), clamp255((c - 100 * u - 208 * v + 39424) >> 8),
            clamp255((c + 517 * u - 66176) >> 8)};
}

// Vector forms take chroma as 16-bit lanes holding chroma << 8 and luma as
// 16-bit lanes; `terms` works per chroma lane, `apply` per pixel lane, and
// `lo`/`hi` spread each chroma lane over a pixel pair (4:2:0 rows).
//
// Full range: with d = chroma - 128, (w x chroma - 128w) >> 8 = floor(w d / 256),
// which mulhi gives exactly from d x 256; the rounding set floor((w d + 128) / 256)
// is mulhrs of d x 128.
template <bool kRounding>
struct FullRange {
    static Rgb pixel(int32_t y, int32_t u, int32_t v) {
        return fullRangePixel(y, u, v, kRounding ? kRoundingOffsets : kPlainOffsets);
    }

    struct Terms {
        __m128i r, g, b;  // added to Y, subtracted from Y, added to Y
    };

    static Terms terms(__m128i u256, __m128i v256) {
        const __m128i centre = _mm_set1_epi16(-32768);
        __m128i ud = _mm_xor_si128(u256, centre), vd = _mm_xor_si128(v256, centre);
        if constexpr (kRounding) {
            ud = _mm_srai_epi16(ud, 1);
            vd = _mm_srai_epi16(vd, 1);
            return {mul(vd, 359), _mm_add_epi16(mul(ud, 88), mul(vd, 183)), mul(ud, 454)};
        } else {
            return {mul(vd, 359), _mm_add_epi16(mul(ud, 88), mul(vd, 183)), mul(ud, 454)};
        }
    }
    static Terms lo(const Terms& t) {
        return {_mm_unpacklo_epi16(t.r, t.r), _mm_unpacklo_epi16(t.g, t.g),
                _mm_unpacklo_epi16(t.b, t.b)};
    }
    static Terms hi(const Terms& t) {
        return {_mm_unpackhi_epi16(t.r, t.r), _mm_unpackhi_epi16(t.g, t.g),
                _mm_unpackhi_epi16(t.b, t.b)};
    }
    static void apply(__m128i y, const Terms& t, __m128i& r, __m128i& g, __m128i& b) {
        r = _mm_add_epi16(y, t.r);
        g = _mm_sub_epi16(y, t.g);
        b = _mm_add_epi16(y, t.b);
    }

  private:
    static __m128i mul(__m128i d, int16_t w) {
        if constexpr (kRounding) {
            return _mm_mulhrs_epi16(d, _mm_set1_epi16(w));
        } else {
            return _mm_mulhi_epi16(d, _mm_set1_epi16(w));
        }
    }
};

// Studio range. Each chroma weight w = 256 k + w' leaves a small part w' d
// under the shift; with T' = 298 Y - 4768 + w' d (even luma part, so
// floor(T' / 2) = 149 Y + floor((w' d - 4768) / 2)) and an offset 128 m that
// makes T' / 2 + 128 m positive and below 65536:
//   channel = (149 Y + floor((w' d - 4768) / 2) + 128 m) >>> 7 + k d - m
// computed without overflow in unsigned 16-bit lanes; the final pack clamps.
//   R: 409 = 256 + 153 (m 96); G: -100 u - 208 v = -256 v + 48 v - 100 u (m 93);
//   B: 517 = 512 + 5 (m 22).
struct Studio {
    static Rgb pixel(int32_t y, int32_t u, int32_t v) { return studioPixel(y, u, v); }

    struct Terms {
        __m128i inR, outR, inG, outG, inB, outB;  // added under / after the shift
    };

    static Terms terms(__m128i u256, __m128i v256) {
        const __m128i centre = _mm_set1_epi16(-32768);
        const __m128i du = _mm_srai_epi16(_mm_xor_si128(u256, centre), 8);
        const __m128i dv = _mm_srai_epi16(_mm_xor_si128(v256, centre), 8);
        auto c = [](int v) { return _mm_set1_epi16(static_cast<int16_t>(v)); };
        auto mul = [](__m128i d, int w) {
            return _mm_mullo_epi16(d, _mm_set1_epi16(static_cast<int16_t>(w)));
        };
        // (w' d - 4768 + 256 m) >> 1, non-negative.
        auto under = [&](__m128i wd, int m) {
            return _mm_srli_epi16(_mm_add_epi16(wd, c(256 * m - 4768)), 1);
        };
        Terms t;
        t.inR = under(mul(dv, 153), 96);
        t.outR = _mm_sub_epi16(dv, c(96));
        t.inG = under(_mm_sub_epi16(mul(dv, 48), mul(du, 100)), 93);
        t.outG = _mm_sub_epi16(c(-93), dv);
        t.inB = under(mul(du, 5), 22);
        t.outB = _mm_sub_epi16(_mm_add_epi16(du, du), c(22));
        return t;
    }
    static Terms lo(const Terms& t) {
        auto d = [](__m128i v) { return _mm_unpacklo_epi16(v, v); };
        return {d(t.inR), d(t.outR), d(t.inG), d(t.outG), d(t.inB), d(t.outB)};
    }
    static Terms hi(const Terms& t) {
        auto d = [](__m128i v) { return _mm_unpackhi_epi16(v, v); };
        return {d(t.inR), d(t.outR), d(t.inG), d(t.outG), d(t.inB), d(t.outB)};
    }
    static void apply(__m128i y, const Terms& t, __m128i& r, __m128i& g, __m128i& b) {
        const __m128i y149 = _mm_mullo_epi16(y, _mm_set1_epi16(149));
        auto channel = [&](__m128i in, __m128i out) {
            return _mm_add_epi16(_mm_srli_epi16(_mm_add_epi16(y149, in), 7), out);
        };
        r = channel(t.inR, t.outR);
        g = channel(t.inG, t.outG);
        b = channel(t.inB, t.outB);
    }
};

// ---- writers: three or four bytes a pixel, blue first or red first; alpha 0
// (the compatible entries) or 255 (Out4Opaque, the frame API)

template <bool kBgr>
struct Out3 {
    static constexpr int kBytes = 3;
    static constexpr bool kBgrOrder = kBgr;
    static constexpr uint8_t kAlpha = 0;
    static void put(uint8_t* p, Rgb c) {
        p[0] = static_cast<uint8_t>(kBgr ? c.b : c.r);
        p[1] = static_cast<uint8_t>(c.g);
        p[2] = static_cast<uint8_t>(kBgr ? c.r : c.b);
    }
    template <bool kStream>
    static void put16(uint8_t* p, __m128i r, __m128i g, __m128i b) {
        if constexpr (kBgr) {
            interleave3<kStream>(b, g, r, p);
        } else {
            interleave3<kStream>(r, g, b, p);
        }
    }
};

template <bool kBgr, uint8_t kA>
struct Out4Alpha {
    static constexpr int kBytes = 4;
    static constexpr bool kBgrOrder = kBgr;
    static constexpr uint8_t kAlpha = kA;
    static void put(uint8_t* p, Rgb c) {
        Out3<kBgr>::put(p, c);
        p[3] = kA;
    }
    template <bool kStream>
    static void put16(uint8_t* p, __m128i r, __m128i g, __m128i b) {
        const __m128i alpha = _mm_set1_epi8(static_cast<char>(kA));
        if constexpr (kBgr) {
            interleave4<kStream>(b, g, r, alpha, p);
        } else {
            interleave4<kStream>(r, g, b, alpha, p);
        }
    }
};
template <bool kBgr>
using Out4 = Out4Alpha<kBgr, 0>;
template <bool kBgr>
using Out4Opaque = Out4Alpha<kBgr, 255>;

// Eight pixels of each half through the formula, packed (clamped) and written.
template <class F, class W, bool kStream>
inline void decode16(__m128i yLo, __m128i yHi, const typename F::Terms& tLo,
                     const typename F::Terms& tHi, uint8_t* d) {
    __m128i r0, g0, b0, r1, g1, b1;
    F::apply(yLo, tLo, r0, g0, b0);
    F::apply(yHi, tHi, r1, g1, b1);
    W::template put16<kStream>(d, _mm_packus_epi16(r0, r1), _mm_packus_epi16(g0, g1),
                               _mm_packus_epi16(b0, b1));
}

// ---- packed layouts: units in sequence, each with its own chroma
//
// load() gives 16 pixels as luma lanes y[2] and per-pixel chroma lanes
// u[2], v[2] (chroma << 8), eight pixels a vector.

// Masks for luma (low byte of a lane) and chroma (high byte) of pixel lanes.
template <typename Offset>
constexpr Mask16 lumaLanes(Offset at) {
    return mask16([at](int j) { return j % 2 ? -1 : at(j / 2); });
}
template <typename Offset>
constexpr Mask16 chromaLanes(Offset at) {
    return mask16([at](int j) { return j % 2 ? at(j / 2) : -1; });
}

// 4:2:2, four bytes per pair, byte offsets of Y0, U, Y1, V within the pair.
template <int kY0, int kU, int kY1, int kV>
struct Packed422 {
    static constexpr int kPixels = 2, kBytes = 4;
    static int32_t y(const uint8_t* s, int k) { return s[k ? kY1 : kY0]; }
    static int32_t u(const uint8_t* s) { return s[kU]; }
    static int32_t v(const uint8_t* s) { return s[kV]; }

    static constexpr Mask16 kY = lumaLanes([](int p) { return p / 2 * 4 + (p % 2 ? kY1 : kY0); });
    static constexpr Mask16 kUm = chromaLanes([](int p) { return p / 2 * 4 + kU; });
    static constexpr Mask16 kVm = chromaLanes([](int p) { return p / 2 * 4 + kV; });

    static void loadY(const uint8_t* s, __m128i y[2]) {
        y[0] = shuffle(simd::load(s), kY);
        y[1] = shuffle(simd::load(s + 16), kY);
    }
    static void load(const uint8_t* s, __m128i y[2], __m128i u[2], __m128i v[2]) {
        const __m128i a = simd::load(s), b = simd::load(s + 16);
        y[0] = shuffle(a, kY), y[1] = shuffle(b, kY);
        u[0] = shuffle(a, kUm), u[1] = shuffle(b, kUm);
        v[0] = shuffle(a, kVm), v[1] = shuffle(b, kVm);
    }
};
using Uyvy = Packed422<1, 0, 3, 2>;
using Yuyv = Packed422<0, 1, 2, 3>;

// 4:1:1, six bytes per group of four: U, Y0, Y1, V, Y2, Y3. Groups 0-1 come
// from the load at 0, groups 2-3 from the load at 8 (their bytes start at 4).
inline constexpr int kLuma411[4] = {1, 2, 4, 5};
constexpr int at411(int p, int base, int offset) {
    return base + 6 * (p / 4) + offset;
}

struct Yuv411 {
    static constexpr int kPixels = 4, kBytes = 6;
    static int32_t y(const uint8_t* s, int k) { return s[kLuma411[k]]; }
    static int32_t u(const uint8_t* s) { return s[0]; }
    static int32_t v(const uint8_t* s) { return s[3]; }

    static constexpr Mask16 kY0 = lumaLanes([](int p) { return at411(p, 0, kLuma411[p % 4]); });
    static constexpr Mask16 kY1 = lumaLanes([](int p) { return at411(p, 4, kLuma411[p % 4]); });
    static constexpr Mask16 kU0 = chromaLanes([](int p) { return at411(p, 0, 0); });
    static constexpr Mask16 kU1 = chromaLanes([](int p) { return at411(p, 4, 0); });
    static constexpr Mask16 kV0 = chromaLanes([](int p) { return at411(p, 0, 3); });
    static constexpr Mask16 kV1 = chromaLanes([](int p) { return at411(p, 4, 3); });

    static void loadY(const uint8_t* s, __m128i y[2]) {
        y[0] = shuffle(simd::load(s), kY0);
        y[1] = shuffle(simd::load(s + 8), kY1);
    }
    static void load(const uint8_t* s, __m128i y[2], __m128i u[2], __m128i v[2]) {
        const __m128i a = simd::load(s), b = simd::load(s + 8);
        y[0] = shuffle(a, kY0), y[1] = shuffle(b, kY1);
        u[0] = shuffle(a, kU0), u[1] = shuffle(b, kU1);
        v[0] = shuffle(a, kV0), v[1] = shuffle(b, kV1);
    }
};

// 4:4:4, three bytes per pixel: U, Y, V. Eight pixels span 24 bytes, read by
// two loads (yuv_layout.h).
struct Yuv444 {
    static constexpr int kPixels = 1, kBytes = 3;
    static int32_t y(const uint8_t* s, int) { return s[1]; }
    static int32_t u(const uint8_t* s) { return s[0]; }
    static int32_t v(const uint8_t* s) { return s[2]; }

    static constexpr Mask16 kYA = lumaLanes([](int p) { return kYuv444At[1][0][p]; });
    static constexpr Mask16 kYB = lumaLanes([](int p) { return kYuv444At[1][1][p]; });
    static constexpr Mask16 kUA = chromaLanes([](int p) { return kYuv444At[0][0][p]; });
    static constexpr Mask16 kUB = chromaLanes([](int p) { return kYuv444At[0][1][p]; });
    static constexpr Mask16 kVA = chromaLanes([](int p) { return kYuv444At[2][0][p]; });
    static constexpr Mask16 kVB = chromaLanes([](int p) { return kYuv444At[2][1][p]; });

    static __m128i pick(__m128i a, __m128i b, const Mask16& ma, const Mask16& mb) {
        return _mm_or_si128(shuffle(a, ma), shuffle(b, mb));
    }
    static void loadY(const uint8_t* s, __m128i y[2]) {
        for (int h = 0; h < 2; ++h) {
            y[h] = pick(simd::load(s + 24 * h), simd::load(s + 24 * h + 8), kYA, kYB);
        }
    }
    static void load(const uint8_t* s, __m128i y[2], __m128i u[2], __m128i v[2]) {
        for (int h = 0; h < 2; ++h) {
            const __m128i a = simd::load(s + 24 * h), b = simd::load(s + 24 * h + 8);
            y[h] = pick(a, b, kYA, kYB);
            u[h] = pick(a, b, kUA, kUB);
            v[h] = pick(a, b, kVA, kVB);
        }
    }
};

// ---- unit kernels for runUnits

// The AVX2 block of a unit kernel, where there is one (yuv_avx2.h): 4:2:2
// pairs through the full-range formula without rounding, 4:4:4 pixels through
// either full-range formula.
template <class L, class F, class W>
struct WideDecode {};
template <int kY0, int kU, int kY1, int kV, class W>
struct WideDecode<Packed422<kY0, kU, kY1, kV>, FullRange<false>, W> {
    static constexpr int kWideUnits = 16;
    template <bool kStream>
    static void wide(const uint8_t* s, uint8_t* d, size_t blocks) {
        packed422Avx2(std::is_same_v<Packed422<kY0, kU, kY1, kV>, Uyvy>,
                      {W::kBytes, W::kBgrOrder, kStream, W::kAlpha}, s, d, blocks);
    }
};

template <bool kRounding, class W>
struct WideDecode<Yuv444, FullRange<kRounding>, W> {
    static constexpr int kWideUnits = 32;
    template <bool kStream>
    static void wide(const uint8_t* s, uint8_t* d, size_t blocks) {
        yuv444Avx2(kRounding, {W::kBytes, W::kBgrOrder, kStream, W::kAlpha}, s, d, blocks);
    }
};

// A layout L decoded by formula F into writer W, 16 pixels a block.
template <class L, class F, class W>
struct Decode : WideDecode<L, F, W> {
    static constexpr int kUnits = 16 / L::kPixels;
    static constexpr int kIn = L::kBytes, kOut = L::kPixels * W::kBytes;

    template <bool kStream>
    static void block(const uint8_t* s, uint8_t* d) {
        __m128i y[2], u[2], v[2];
        L::load(s, y, u, v);
        decode16<F, W, kStream>(y[0], y[1], F::terms(u[0], v[0]), F::terms(u[1], v[1]), d);
    }
    static void unit(const uint8_t* s, uint8_t* d) {
        for (int k = 0; k < L::kPixels; ++k) {
            W::put(d + k * W::kBytes, F::pixel(L::y(s, k), L::u(s), L::v(s)));
        }
    }
};

// The luma bytes of a layout, in order.
template <class L>
struct Luma {
    static constexpr int kUnits = 16 / L::kPixels;
    static constexpr int kIn = L::kBytes, kOut = L::kPixels;

    template <bool kStream>
    static void block(const uint8_t* s, uint8_t* d) {
        __m128i y[2];
        L::loadY(s, y);
        simd::store<kStream>(d, _mm_packus_epi16(y[0], y[1]));
    }
    static void unit(const uint8_t* s, uint8_t* d) {
        for (int k = 0; k < L::kPixels; ++k) d[k] = static_cast<uint8_t>(L::y(s, k));
    }
};

}  // namespace tav::cvt
