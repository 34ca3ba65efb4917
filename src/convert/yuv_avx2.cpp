// The AVX2 bodies of YUV decoding: the SSE4.1 arithmetic of yuv.h
// (FullRange, Studio, Packed422, Yuv444, Nv12Row, PlanarRow, Out3, Out4) on 32
// pixels.
//
// Compiled with -mavx2: see simd_avx2.h for what it may include.
#include "yuv_avx2.h"

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "simd_avx2.h"
#include "yuv_layout.h"

namespace tav::cvt {
namespace {

using avx2::load;
using avx2::loadHalves;

// Chroma lanes hold chroma << 8: d = chroma - 128 as d x 256, whose mulhi by
// w is floor(w d / 256) = (w chroma - 128 w) >> 8.
struct Terms {
    __m256i r, g, b;  // added to Y, subtracted from Y, added to Y
};

// With rounding, floor((w d + 128) / 256) is mulhrs of d x 128.
template <bool kRounding = false>
inline Terms terms(__m256i u256, __m256i v256) {
    const __m256i centre = _mm256_set1_epi16(-32768);
    __m256i ud = _mm256_xor_si256(u256, centre), vd = _mm256_xor_si256(v256, centre);
    if constexpr (kRounding) {
        ud = _mm256_srai_epi16(ud, 1);
        vd = _mm256_srai_epi16(vd, 1);
    }
    auto mul = [](__m256i d, int16_t w) {
        return kRounding ? _mm256_mulhrs_epi16(d, _mm256_set1_epi16(w))
                         : _mm256_mulhi_epi16(d, _mm256_set1_epi16(w));
    };
    return {mul(vd, 359), _mm256_add_epi16(mul(ud, 88), mul(vd, 183)), mul(ud, 454)};
}

struct Channels {
    __m256i r, g, b;
};

inline Channels apply(__m256i y, const Terms& t) {
    return {_mm256_add_epi16(y, t.r), _mm256_sub_epi16(y, t.g), _mm256_add_epi16(y, t.b)};
}

// Two groups of pixel lanes (pixels 0-7|16-23 and 8-15|24-31) packed with
// clamping into bytes in pixel order, and written.
template <int kBytes, bool kBgr, bool kStream>
inline void put32(const Channels& a, const Channels& b, uint8_t* d, __m256i alpha) {
    const __m256i r = _mm256_packus_epi16(a.r, b.r), g = _mm256_packus_epi16(a.g, b.g),
                  bl = _mm256_packus_epi16(a.b, b.b);
    const __m256i first = kBgr ? bl : r, third = kBgr ? r : bl;
    if constexpr (kBytes == 3) {
        avx2::interleave3<kStream>(first, g, third, d);
    } else {
        avx2::interleave4<kStream>(first, g, third, alpha, d);
    }
}

// ---- 4:2:2 pairs: byte offsets of Y0, U, Y1, V within a pair

// Lane j of eight pixel lanes: byte `at(j)` in the low byte (luma) or the high
// byte (chroma), the other byte zero.
template <typename At>
inline __m256i laneMask(bool high, At at) {
    alignas(16) char m[16];
    for (int j = 0; j < 8; ++j) {
        m[2 * j] = high ? char(0x80) : char(at(j));
        m[2 * j + 1] = high ? char(at(j)) : char(0x80);
    }
    return _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(m)));
}

template <int kY0, int kU, int kY1, int kV, int kBytes, bool kBgr, bool kStream>
void packed422(const uint8_t* s, uint8_t* d, size_t blocks, __m256i alpha) {
    const __m256i mY = laneMask(false, [](int p) { return p / 2 * 4 + (p % 2 ? kY1 : kY0); });
    const __m256i mU = laneMask(true, [](int p) { return p / 2 * 4 + kU; });
    const __m256i mV = laneMask(true, [](int p) { return p / 2 * 4 + kV; });
    for (size_t i = 0; i < blocks; ++i, s += 64, d += 32 * kBytes) {
        // Pixels 0-7|16-23 and 8-15|24-31.
        const __m256i a = loadHalves(s, 32), b = loadHalves(s + 16, 32);
        auto decode = [&](__m256i v) {
            return apply(_mm256_shuffle_epi8(v, mY),
                         terms(_mm256_shuffle_epi8(v, mU), _mm256_shuffle_epi8(v, mV)));
        };
        put32<kBytes, kBgr, kStream>(decode(a), decode(b), d, alpha);
    }
}

// ---- 4:4:4 pixels: eight a lane from two overlapping loads (yuv_layout.h)

template <bool kRounding, int kBytes, bool kBgr, bool kStream>
void yuv444(const uint8_t* s, uint8_t* d, size_t blocks, __m256i alpha) {
    auto mask = [](int channel, int load) {
        return laneMask(channel != 1, [=](int p) { return kYuv444At[channel][load][p]; });
    };
    const __m256i mY0 = mask(1, 0), mY1 = mask(1, 1), mU0 = mask(0, 0), mU1 = mask(0, 1),
                  mV0 = mask(2, 0), mV1 = mask(2, 1);
    // Pixels 0-7|16-23 from p = s, 8-15|24-31 from p = s + 24.
    auto decode = [&](const uint8_t* p) {
        const __m256i a = loadHalves(p, 48), b = loadHalves(p + 8, 48);
        auto pick = [&](__m256i ma, __m256i mb) {
            return _mm256_or_si256(_mm256_shuffle_epi8(a, ma), _mm256_shuffle_epi8(b, mb));
        };
        return apply(pick(mY0, mY1), terms<kRounding>(pick(mU0, mU1), pick(mV0, mV1)));
    };
    for (size_t i = 0; i < blocks; ++i, s += 96, d += 32 * kBytes) {
        put32<kBytes, kBgr, kStream>(decode(s), decode(s + 24), d, alpha);
    }
}

// ---- NV12 rows: 16 chroma pairs and 32 luma bytes a step

template <int kBytes, bool kBgr, bool kStream>
void nv12Row(const uint8_t* y, const uint8_t* uv, uint8_t* d, int32_t steps, __m256i alpha) {
    const __m256i zero = _mm256_setzero_si256(), high = _mm256_set1_epi16(-256);
    for (int32_t i = 0; i < steps; ++i, y += 32, uv += 32, d += 32 * kBytes) {
        const __m256i p = load(uv);
        // Pairs 0-7|8-15; each spread over its two pixels: 0-7|16-23, 8-15|24-31.
        const Terms t = terms(_mm256_slli_epi16(p, 8), _mm256_and_si256(p, high));
        auto twice = [](auto unpack, const Terms& s) {
            return Terms{unpack(s.r, s.r), unpack(s.g, s.g), unpack(s.b, s.b)};
        };
        const Terms lo = twice([](__m256i a, __m256i b) { return _mm256_unpacklo_epi16(a, b); }, t);
        const Terms hi = twice([](__m256i a, __m256i b) { return _mm256_unpackhi_epi16(a, b); }, t);
        const __m256i luma = load(y);
        put32<kBytes, kBgr, kStream>(apply(_mm256_unpacklo_epi8(luma, zero), lo),
                                     apply(_mm256_unpackhi_epi8(luma, zero), hi), d, alpha);
    }
}

// ---- planar 4:2:0 rows, studio range: 16 chroma samples and 32 luma bytes a
// step. Each chroma weight w = 256 k + w' keeps w' d under the shift (see
// Studio in yuv.h for the offsets m that keep the lanes unsigned).

struct StudioTerms {
    __m256i inR, outR, inG, outG, inB, outB;  // added under / after the shift
};

inline StudioTerms studioTerms(__m256i u256, __m256i v256) {
    const __m256i centre = _mm256_set1_epi16(-32768);
    const __m256i du = _mm256_srai_epi16(_mm256_xor_si256(u256, centre), 8);
    const __m256i dv = _mm256_srai_epi16(_mm256_xor_si256(v256, centre), 8);
    auto c = [](int v) { return _mm256_set1_epi16(static_cast<int16_t>(v)); };
    auto mul = [&](__m256i d, int w) { return _mm256_mullo_epi16(d, c(w)); };
    auto under = [&](__m256i wd, int m) {
        return _mm256_srli_epi16(_mm256_add_epi16(wd, c(256 * m - 4768)), 1);
    };
    return {under(mul(dv, 153), 96),
            _mm256_sub_epi16(dv, c(96)),
            under(_mm256_sub_epi16(mul(dv, 48), mul(du, 100)), 93),
            _mm256_sub_epi16(c(-93), dv),
            under(mul(du, 5), 22),
            _mm256_sub_epi16(_mm256_add_epi16(du, du), c(22))};
}

inline Channels studioApply(__m256i y, const StudioTerms& t) {
    const __m256i y149 = _mm256_mullo_epi16(y, _mm256_set1_epi16(149));
    auto channel = [&](__m256i in, __m256i out) {
        return _mm256_add_epi16(_mm256_srli_epi16(_mm256_add_epi16(y149, in), 7), out);
    };
    return {channel(t.inR, t.outR), channel(t.inG, t.outG), channel(t.inB, t.outB)};
}

template <int kBytes, bool kBgr, bool kStream>
void planarRow(const uint8_t* y, const uint8_t* u, const uint8_t* v, uint8_t* d, int32_t steps,
               __m256i alpha) {
    const __m256i zero = _mm256_setzero_si256();
    for (int32_t i = 0; i < steps; ++i, y += 32, u += 16, v += 16, d += 32 * kBytes) {
        // Samples 0-7|8-15 as chroma << 8; each spread over its two pixels.
        auto widen = [](const uint8_t* p) {
            const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
            return _mm256_slli_epi16(_mm256_cvtepu8_epi16(b), 8);
        };
        const StudioTerms t = studioTerms(widen(u), widen(v));
        auto twice = [&](auto unpack) {
            return StudioTerms{unpack(t.inR, t.inR), unpack(t.outR, t.outR),
                               unpack(t.inG, t.inG), unpack(t.outG, t.outG),
                               unpack(t.inB, t.inB), unpack(t.outB, t.outB)};
        };
        const StudioTerms lo =
            twice([](__m256i a, __m256i b) { return _mm256_unpacklo_epi16(a, b); });
        const StudioTerms hi =
            twice([](__m256i a, __m256i b) { return _mm256_unpackhi_epi16(a, b); });
        const __m256i luma = load(y);
        put32<kBytes, kBgr, kStream>(studioApply(_mm256_unpacklo_epi8(luma, zero), lo),
                                     studioApply(_mm256_unpackhi_epi8(luma, zero), hi), d, alpha);
    }
}

// A compile-time value (not std::integral_constant: see simd_avx2.h).
template <int kV>
struct Const {
    static constexpr int value = kV;
};

// Runs f(bytes, bgr, stream) with the three as Const types.
template <typename F>
inline void byOut(WideYuvOut o, F&& f) {
    auto stream = [&](auto bytes, auto bgr) {
        if (o.stream) {
            f(bytes, bgr, Const<1>{});
        } else {
            f(bytes, bgr, Const<0>{});
        }
    };
    auto order = [&](auto bytes) {
        if (o.bgr) {
            stream(bytes, Const<1>{});
        } else {
            stream(bytes, Const<0>{});
        }
    };
    if (o.bytes == 3) {
        order(Const<3>{});
    } else {
        order(Const<4>{});
    }
}

#define V(c) decltype(c)::value

}  // namespace

void packed422Avx2(bool uyvy, WideYuvOut out, const uint8_t* src, uint8_t* dst, size_t blocks) {
    const __m256i alpha = _mm256_set1_epi8(static_cast<char>(out.alpha));
    byOut(out, [&](auto bytes, auto bgr, auto stream) {
        if (uyvy) {
            packed422<1, 0, 3, 2, V(bytes), V(bgr), V(stream)>(src, dst, blocks, alpha);
        } else {
            packed422<0, 1, 2, 3, V(bytes), V(bgr), V(stream)>(src, dst, blocks, alpha);
        }
    });
}

void yuv444Avx2(bool rounding, WideYuvOut out, const uint8_t* src, uint8_t* dst, size_t blocks) {
    const __m256i alpha = _mm256_set1_epi8(static_cast<char>(out.alpha));
    byOut(out, [&](auto bytes, auto bgr, auto stream) {
        if (rounding) {
            yuv444<true, V(bytes), V(bgr), V(stream)>(src, dst, blocks, alpha);
        } else {
            yuv444<false, V(bytes), V(bgr), V(stream)>(src, dst, blocks, alpha);
        }
    });
}

void nv12RowAvx2(WideYuvOut out, const uint8_t* y, const uint8_t* uv, uint8_t* dst, int32_t steps) {
    const __m256i alpha = _mm256_set1_epi8(static_cast<char>(out.alpha));
    byOut(out, [&](auto bytes, auto bgr, auto stream) {
        nv12Row<V(bytes), V(bgr), V(stream)>(y, uv, dst, steps, alpha);
    });
}

void planarRowAvx2(WideYuvOut out, const uint8_t* y, const uint8_t* u, const uint8_t* v,
                   uint8_t* dst, int32_t steps) {
    const __m256i alpha = _mm256_set1_epi8(static_cast<char>(out.alpha));
    byOut(out, [&](auto bytes, auto bgr, auto stream) {
        planarRow<V(bytes), V(bgr), V(stream)>(y, u, v, dst, steps, alpha);
    });
}

#undef V

}  // namespace tav::cvt
