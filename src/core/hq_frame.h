// The scalar frame walk of method 3 over line buffers: rows of the
// difference planes run seven rows ahead of the output, green two, the
// other colour at red and blue sites one. Every plane is a ring of rows read
// through the mirror rule, so borders need no passes of their own.
#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "hq_avx2.h"
#include "hq_rules.h"
#include "hq_sse41.h"
#include "rows.h"
#include "threads.h"

namespace tav::hq {

constexpr int32_t kDiffRows = 16;   // ring of each difference and gradient plane
constexpr int32_t kColourRows = 8;  // ring of green and of the other colour
constexpr int32_t kReach = 8;       // columns read beyond either edge
constexpr int32_t kAheadDiff = 7, kAheadGreen = 2, kAheadOther = 1;
// Elements after each ring row: rows of power-of-two widths would otherwise
// put every plane's column x at the same address modulo 4 KiB, where a
// pass's loads wait on its stores to another plane (4K aliasing).
constexpr int32_t kRowPad = 32;

// Rows of kReach-padded sums the green pass keeps: the column index, a ring
// of five-row sums of vertical gradients (row r's sums below are row
// r + 4's above), and the three-row sums of horizontal gradients.
constexpr int32_t kVerticalRows = kWindowLength;
constexpr int32_t kPaddedRows = kVerticalRows + 2;

// Element of the planes' rings: differences of 8-bit samples stay within
// ±2^11 and their gradients below 2^12, which 16 bits hold; 16-bit samples
// need 32.
template <typename T>
using Plane = std::conditional_t<sizeof(T) == 1, int16_t, int32_t>;
// Element of the green and other-colour rings: a sample's range.
template <typename T>
using Colour = std::conditional_t<sizeof(T) == 1, int16_t, uint16_t>;
// Element of the padded rows of partial window sums: for 8-bit samples five
// gradients sum below 2^15.
template <typename T>
using Sum = std::conditional_t<sizeof(T) == 1, uint16_t, uint32_t>;

// Bytes of line buffer a frame `width` wide of samples T needs: the rows
// above, three rows of output colours, 16 bytes for alignment.
template <typename T>
constexpr int64_t workBytes(int32_t width) {
    const int64_t stride = int64_t{width} + kRowPad;
    return int64_t{3 * kDiffRows} * stride * int64_t{sizeof(Plane<T>)} +
           int64_t{2 * kColourRows} * stride * int64_t{sizeof(Colour<T>)} +
           (int64_t{width} + 2 * kReach) * (4 + (kPaddedRows - 1) * int64_t{sizeof(Sum<T>)}) +
           3 * int64_t{width} * sizeof(T) + 16;
}

// Rows a band computes above its first output row: that row reads the other
// colour and green one row up; the other colour reads green one row further;
// green reads the window sums kWindowLength - 1 rows above it, and the
// vertical gradients there the differences one row beyond.
constexpr int32_t kBackOther = 1, kBackGreen = kBackOther + 1,
                  kBackDiff = kBackGreen + kWindowLength - 1 + 1;

// Vector steps start at column 2 and end 2 columns (four-site steps) or 3
// (eight-column steps, which load up to 10 columns on) before the row's end,
// so that every read stays in the row; the rest runs the scalar rule.
constexpr int32_t kStepStart = 2, kStepMargin = 2, kStepMargin8 = 3;

// Lanes of a four-site step from column x that are green sites.
inline __m128i greenLanes(bool evenGreen, int32_t x) {
    const bool first = ((x & 1) == 0) == evenGreen;
    return first ? _mm_setr_epi32(-1, 0, -1, 0) : _mm_setr_epi32(0, -1, 0, -1);
}

template <typename E>
struct Ring {
    E* base;
    int32_t stride;
    int32_t rows;
    E* row(int32_t y) const { return base + (y % rows) * stride; }
};

template <typename T>
struct Frame {
    using Acc = std::conditional_t<sizeof(T) == 1, int32_t, int64_t>;
    using E = Plane<T>;

    const T* src;
    int32_t height, width, max;
    int32_t redY, redX;  // parity of the red site's row and column
    uint32_t epsGreen, epsColour;
    const int32_t* col;  // col[x + kReach]: column x folded into the frame
    Ring<E> dh, dv, gv;
    Ring<Colour<T>> green, other;
    Sum<T>* vertical;       // ring of padded five-row sums, rows r - 4 .. r (greenRow)
    Sum<T>* across;         // padded three-row sums of row r
    T *outR, *outG, *outB;  // one output row before the writer

    // Whether the sites of even columns in row y are green.
    bool evenGreen(int32_t y) const { return isGreen(y, 0); }

    bool isGreen(int32_t y, int32_t x) const { return ((y + x + redY + redX) & 1) != 0; }
    bool isRed(int32_t y, int32_t x) const { return (y & 1) == redY && (x & 1) == redX; }
    const T* srcRow(int32_t y) const { return src + int64_t{fold(y, height)} * width; }
    int32_t c(int32_t x) const { return col[x + kReach]; }
    // Five-row sums of rows y .. y + 4 (y >= -kVerticalRows).
    Sum<T>* verticalRow(int32_t y) const {
        return vertical + ((y + kVerticalRows) % kVerticalRows) * (int64_t{width} + 2 * kReach);
    }
};

// Whether the blends form their dividends in double precision (16-bit samples).
template <typename T>
constexpr bool kWide = sizeof(T) > 1;

// Differences of row q; the vertical gradient of row q - 1
// (and of q itself at the last row), which needs the differences below it,
// unless the rows above q - 1 start below `first`, the walk's first row.
template <typename T>
void diffRow(const Frame<T>& f, int32_t q, int32_t first) {
    const T* s[5];
    for (int i = 0; i < 5; ++i) s[i] = f.srcRow(q - 2 + i);
    using E = Plane<T>;
    E* dh = f.dh.row(q);
    E* dv = f.dv.row(q);
    const int32_t max8 = f.max << kFrac;
    auto one = [&](int32_t x, bool) {
        const bool green = f.isGreen(q, x);
        const int32_t v = s[2][x];
        dh[x] = directional(v, s[2][f.c(x - 1)], s[2][f.c(x + 1)], s[2][f.c(x - 2)],
                            s[2][f.c(x + 2)], green, max8);
        dv[x] = directional(v, s[1][x], s[3][x], s[0][x], s[4][x], green, max8);
    };
    for (int32_t x = 0; x < kStepStart; ++x) one(x, false);
    auto step = [&](int32_t x) {
        using namespace sse41;
        // Green sites take green minus the estimate: the sign flips there.
        const __m128i sign = _mm_or_si128(greenLanes(f.evenGreen(q), x), _mm_set1_epi32(1));
        const __m128i c = loadSamples(s[2] + x);
        auto rule = [&](__m128i a1, __m128i b1, __m128i a2, __m128i b2) {
            const __m128i lap = _mm_sub_epi32(_mm_slli_epi32(c, 1), _mm_add_epi32(a2, b2));
            const __m128i est = _mm_add_epi32(
                _mm_slli_epi32(_mm_add_epi32(a1, b1), 2),
                _mm_srai_epi32(_mm_mullo_epi32(lap, _mm_set1_epi32(kLaplacian)), 5 - kFrac));
            return _mm_sign_epi32(_mm_sub_epi32(clamp(est, max8), _mm_slli_epi32(c, kFrac)), sign);
        };
        sse41::storeLanes(dh + x, rule(loadSamples(s[2] + x - 1), loadSamples(s[2] + x + 1),
                                       loadSamples(s[2] + x - 2), loadSamples(s[2] + x + 2)));
        sse41::storeLanes(dv + x, rule(loadSamples(s[1] + x), loadSamples(s[3] + x),
                                       loadSamples(s[0] + x), loadSamples(s[4] + x)));
    };
    int32_t x = kStepStart;
    if constexpr (sizeof(T) == 1) {
        const int32_t wide = wideSteps<16>(x, f.width - kStepMargin);
        if (wide > 0) {
            diffStepsAvx2(s, f.isGreen(q, x), max8, dh, dv, x, wide);
            x += 16 * wide;
        }
    }
    if constexpr (sizeof(T) == 1) {
        // Eight columns in 16-bit lanes: estimates stay within ±2^12.
        auto step8 = [&](int32_t x) {
            using namespace sse41;
            auto at = [](const uint8_t* p) {
                return _mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
            };
            const __m128i sign = _mm_set1_epi32(f.isGreen(q, x) ? 0x0001FFFF : -0x10000 | 1);
            const __m128i c = at(s[2] + x);
            auto rule = [&](__m128i a1, __m128i b1, __m128i a2, __m128i b2) {
                const __m128i lap = _mm_sub_epi16(_mm_slli_epi16(c, 1), _mm_add_epi16(a2, b2));
                const __m128i est = _mm_add_epi16(
                    _mm_slli_epi16(_mm_add_epi16(a1, b1), 2),
                    _mm_srai_epi16(_mm_mullo_epi16(lap, _mm_set1_epi16(kLaplacian)), 5 - kFrac));
                const __m128i clamped = _mm_min_epi16(_mm_max_epi16(est, _mm_setzero_si128()),
                                                      _mm_set1_epi16(static_cast<int16_t>(max8)));
                return _mm_sign_epi16(_mm_sub_epi16(clamped, _mm_slli_epi16(c, kFrac)), sign);
            };
            _mm_storeu_si128(
                reinterpret_cast<__m128i*>(dh + x),
                rule(at(s[2] + x - 1), at(s[2] + x + 1), at(s[2] + x - 2), at(s[2] + x + 2)));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(dv + x),
                             rule(at(s[1] + x), at(s[3] + x), at(s[0] + x), at(s[4] + x)));
        };
        eachStep<8>(x, f.width - kStepMargin, f.width, step8, one);
    } else {
        eachStep<4>(x, f.width - kStepMargin, f.width, step, one);
    }
    // |a - b| of the plane values at a and b, four (8 for 16-bit planes) a step.
    auto absDiff = [](const E* a, const E* b, E* out) {
        const __m128i va = _mm_loadu_si128(reinterpret_cast<const __m128i*>(a));
        const __m128i vb = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b));
        const __m128i d = sizeof(E) == 2 ? _mm_abs_epi16(_mm_sub_epi16(va, vb))
                                         : _mm_abs_epi32(_mm_sub_epi32(va, vb));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), d);
    };
    constexpr int32_t kLanes = 16 / sizeof(E);
    auto vertical = [&](int32_t y) {
        const E* up = f.dv.row(fold(y - 1, f.height));
        const E* down = f.dv.row(fold(y + 1, f.height));
        E* gv = f.gv.row(y);
        const int32_t wide = wideSteps<8>(0, f.width);
        if (wide > 0) absDiffStepsAvx2(up, down, gv, wide);
        eachStep<kLanes>(
            8 * wide, f.width, f.width, [&](int32_t x) { absDiff(up + x, down + x, gv + x); },
            [&](int32_t x, bool) { gv[x] = std::abs(up[x] - down[x]); });
    };
    if (q >= 1 && (first == 0 || q - 2 >= first)) vertical(q - 1);
    if (q == f.height - 1) vertical(q);
}

// The difference planes and window sums around one site, for greenAt.
template <typename E, typename S>
struct DiffWindow {
    const E* dvRows[5];  // rows r - 2 .. r + 2
    const E* dhRow;
    const int32_t* col;
    const S *north, *south, *across;  // padded by kReach
    int32_t x;

    int32_t dv(int dy, int dx) const { return dvRows[dy + 2][col[x + dx + kReach]]; }
    int32_t dh(int, int dx) const { return dhRow[col[x + dx + kReach]]; }
    uint32_t window(int k) const {
        const int32_t i = x + kReach;
        switch (k) {
            case 0:
                return uint32_t{north[i - 1]} + north[i] + north[i + 1];
            case 1:
                return uint32_t{south[i - 1]} + south[i] + south[i + 1];
            case 2:
                return uint32_t{across[i]} + across[i - 1] + across[i - 2] + across[i - 3] +
                       across[i - 4];
            default:
                return uint32_t{across[i]} + across[i + 1] + across[i + 2] + across[i + 3] +
                       across[i + 4];
        }
    }
};

// Green along row r: partial window sums first (five-row sums of the
// vertical gradients above and below each column, three-row sums of the
// horizontal ones), then the rule at each red and blue site.
// `first` is the walk's first green row: row r - 4 made row r's sums above
// when the walk made it.
template <typename T>
void greenRow(const Frame<T>& f, int32_t r, int32_t first) {
    using E = Plane<T>;
    const E* gv[2 * kWindowLength - 1];
    for (int i = 0; i < 2 * kWindowLength - 1; ++i) {
        gv[i] = f.gv.row(fold(r - kWindowLength + 1 + i, f.height));
    }
    // Horizontal gradients come from the differences of rows r - 1 .. r + 1.
    const E* dh[3];
    for (int i = 0; i < 3; ++i) dh[i] = f.dh.row(fold(r - 1 + i, f.height));
    Sum<T>* north = f.verticalRow(r - kWindowLength + 1);
    Sum<T>* south = f.verticalRow(r);
    const bool haveNorth = r - (kWindowLength - 1) >= first;
    // Padded column i is column i - kReach, folded.
    auto sums = [&](int32_t i, bool) {
        const int32_t x = f.col[i];
        uint32_t up = 0, down = 0;
        for (int k = 0; k < kWindowLength; ++k) {
            up += static_cast<uint32_t>(gv[k][x]);
            down += static_cast<uint32_t>(gv[k + kWindowLength - 1][x]);
        }
        if (!haveNorth) north[i] = static_cast<Sum<T>>(up);
        south[i] = static_cast<Sum<T>>(down);
        const int32_t w = f.c(x - 1), e = f.c(x + 1);
        uint32_t across = 0;
        for (int k = 0; k < 3; ++k) across += static_cast<uint32_t>(std::abs(dh[k][w] - dh[k][e]));
        f.across[i] = static_cast<Sum<T>>(across);
    };
    // Eight columns of 16-bit planes: gradients below 2^12, five of them
    // still fit 16 signed bits.
    auto sums8 = [&](int32_t i) {
        const int32_t x = i - kReach;
        auto at = [&](const E* p) {
            return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + x));
        };
        const __m128i mid = at(gv[4]);
        auto widen = [&](Sum<T>* p, __m128i v) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(p + i), v);
        };
        if (!haveNorth) {
            const __m128i up = _mm_add_epi16(_mm_add_epi16(at(gv[0]), at(gv[1])),
                                             _mm_add_epi16(at(gv[2]), at(gv[3])));
            widen(north, _mm_add_epi16(up, mid));
        }
        const __m128i down =
            _mm_add_epi16(_mm_add_epi16(at(gv[5]), at(gv[6])), _mm_add_epi16(at(gv[7]), at(gv[8])));
        widen(south, _mm_add_epi16(down, mid));
        auto grad = [&](const E* p) { return _mm_abs_epi16(_mm_sub_epi16(at(p - 1), at(p + 1))); };
        widen(f.across, _mm_add_epi16(_mm_add_epi16(grad(dh[0]), grad(dh[1])), grad(dh[2])));
    };
    auto sums4 = [&](int32_t i) {
        using sse41::loadLanes;
        const int32_t x = i - kReach;
        __m128i up = _mm_setzero_si128(), down = _mm_setzero_si128();
        for (int k = 0; k < kWindowLength; ++k) {
            up = _mm_add_epi32(up, loadLanes(gv[k] + x));
            down = _mm_add_epi32(down, loadLanes(gv[k + kWindowLength - 1] + x));
        }
        auto grad = [&](const E* p) {
            return _mm_abs_epi32(_mm_sub_epi32(loadLanes(p + x - 1), loadLanes(p + x + 1)));
        };
        const __m128i across = _mm_add_epi32(_mm_add_epi32(grad(dh[0]), grad(dh[1])), grad(dh[2]));
        if (!haveNorth) _mm_storeu_si128(reinterpret_cast<__m128i*>(north + i), up);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(south + i), down);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(f.across + i), across);
    };
    // Vector steps from column 1 to one before the last: the gradients read
    // the differences either side.
    for (int32_t i = 0; i <= kReach; ++i) sums(i, false);
    const int32_t sumSteps = wideSteps<8>(1, f.width - 1);
    if (sumSteps > 0) {
        const E* gvAt[2 * kWindowLength - 1];
        for (int i = 0; i < 2 * kWindowLength - 1; ++i) gvAt[i] = gv[i] + 1;
        const E* dhAt[3] = {dh[0] + 1, dh[1] + 1, dh[2] + 1};
        windowSumsAvx2(gvAt, dhAt, haveNorth ? nullptr : north + kReach + 1, south + kReach + 1,
                       f.across + kReach + 1, sumSteps);
    }
    const int32_t from = kReach + 1 + 8 * sumSteps, stepEnd = kReach + f.width - 1;
    if constexpr (sizeof(E) == 2) {
        eachStep<8>(from, stepEnd, f.width + 2 * kReach, sums8, sums);
    } else {
        eachStep<4>(from, stepEnd, f.width + 2 * kReach, sums4, sums);
    }
    DiffWindow<E, Sum<T>> n;
    for (int i = 0; i < 5; ++i) n.dvRows[i] = f.dv.row(fold(r - 2 + i, f.height));
    n.dhRow = f.dh.row(r);
    n.col = f.col;
    n.north = north;
    n.south = south;
    n.across = f.across;
    const T* s = f.srcRow(r);
    Colour<T>* g = f.green.row(r);
    auto one = [&](int32_t x, bool) {
        n.x = x;
        g[x] = f.isGreen(r, x) ? s[x] : greenAt<typename Frame<T>::Acc>(n, s[x], f.epsGreen, f.max);
    };
    for (int32_t x = 0; x < kStepStart; ++x) one(x, false);
    // Eight columns a step: the rule at the four red or blue sites.
    auto step = [&](int32_t x) {
        using namespace sse41;
        const bool greenFirst = f.isGreen(r, x);
        const int32_t at = greenFirst ? x + 1 : x, i = at + kReach;
        // For 8-bit samples the sums fit 16 bits (five three-row sums or three
        // five-row sums of gradients below 2^12): all eight columns add in
        // 16-bit lanes, then the sites' are masked out.
        auto add = [](__m128i a, __m128i b) {
            return sizeof(T) == 1 ? _mm_add_epi16(a, b) : _mm_add_epi32(a, b);
        };
        auto load = [](const Sum<T>* p) {
            if constexpr (sizeof(T) == 1) {
                return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
            } else {
                return everyOther(p);
            }
        };
        auto sites = [](__m128i v) {
            return sizeof(T) == 1 ? _mm_and_si128(v, _mm_set1_epi32(0xFFFF)) : v;
        };
        auto sum5 = [&](int32_t from) {
            __m128i v = load(f.across + from);
#pragma GCC unroll 4
            for (int k = 1; k < kWindowLength; ++k) v = add(v, load(f.across + from + k));
            return sites(v);
        };
        auto sum3 = [&](const Sum<T>* p) {
            return sites(add(add(load(p + i - 1), load(p + i)), load(p + i + 1)));
        };
        const __m128i sums[4] = {sum3(north), sum3(south), sum5(i - kWindowLength + 1), sum5(i)};
        __m128i d[4] = {_mm_setzero_si128(), _mm_setzero_si128(), _mm_setzero_si128(),
                        _mm_setzero_si128()};
        if constexpr (kWide<T>) {
#pragma GCC unroll 4
            for (int t = 0; t < 3; ++t) {
                const __m128i tap = _mm_set1_epi32(kTaps[t]);
                auto times = [&](__m128i v) { return _mm_mullo_epi32(tap, v); };
                d[0] = _mm_add_epi32(d[0], times(everyOther(n.dvRows[2 - t] + at)));
                d[1] = _mm_add_epi32(d[1], times(everyOther(n.dvRows[2 + t] + at)));
                d[2] = _mm_add_epi32(d[2], times(everyOther(n.dhRow + at - t)));
                d[3] = _mm_add_epi32(d[3], times(everyOther(n.dhRow + at + t)));
            }
        } else {
            // Tapped differences of all eight columns in 16-bit lanes (below
            // 2^14 in magnitude). The blend's madd reads only the low halves
            // of the 32-bit lanes, those of the sites: no sign extension.
            auto taps = [](const E* a, const E* b, const E* c) {
                auto term = [](const E* p, int32_t tap) {
                    return _mm_mullo_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)),
                                           _mm_set1_epi16(static_cast<int16_t>(tap)));
                };
                return _mm_add_epi16(_mm_add_epi16(term(a, kTaps[0]), term(b, kTaps[1])),
                                     term(c, kTaps[2]));
            };
            const E* const* dv = n.dvRows;
            d[0] = taps(dv[2] + at, dv[1] + at, dv[0] + at);
            d[1] = taps(dv[2] + at, dv[3] + at, dv[4] + at);
            d[2] = taps(n.dhRow + at, n.dhRow + at - 1, n.dhRow + at - 2);
            d[3] = taps(n.dhRow + at, n.dhRow + at + 1, n.dhRow + at + 2);
        }
        const __m128i v = sse41::greenAt<kWide<T>>(everyOther(s + at), sums, d, f.epsGreen, f.max);
        const __m128i c = everyOther(s + (greenFirst ? x : x + 1));
        store8(g + x, greenFirst ? merge(c, v) : merge(v, c));
    };
    int32_t x = kStepStart;
    if constexpr (sizeof(T) == 1) {
        const int32_t wide = wideSteps<16>(x, f.width - kStepMargin8);
        if (wide > 0) {
            const GreenRowAvx2 rows{
                north + kReach,
                south + kReach,
                f.across + kReach,
                {n.dvRows[0], n.dvRows[1], n.dvRows[2], n.dvRows[3], n.dvRows[4]},
                n.dhRow,
                s,
                f.epsGreen,
                f.max};
            greenStepsAvx2(rows, f.isGreen(r, x), g, x, wide);
            x += 16 * wide;
        }
    }
    eachStep<8>(x, f.width - kStepMargin8, f.width, step, one);
}

// Green and one colour around a site: `d` is green minus that colour, which
// neighbours of that colour have as a sample and the others as an estimate.
template <typename T>
struct ColourWindow {
    const Frame<T>* f;
    const Colour<T>* greenRows[5];  // rows y - 2 .. y + 2
    const Colour<T>* otherRows[3];  // rows y - 1 .. y + 1
    const T* srcRows[3];
    int32_t y, x;
    bool red;  // the colour wanted is the one at red sites

    int32_t g(int dy, int dx) const { return greenRows[dy + 2][f->c(x + dx)]; }
    int32_t d(int dy, int dx) const {
        const int32_t cx = f->c(x + dx);
        const bool sample = f->isRed(y + dy, x + dx) == red;
        return greenRows[dy + 2][cx] - (sample ? srcRows[dy + 1][cx] : otherRows[dy + 1][cx]);
    }
};

template <typename T>
ColourWindow<T> colourWindow(const Frame<T>& f, int32_t y) {
    ColourWindow<T> n;
    n.f = &f;
    for (int i = 0; i < 5; ++i) n.greenRows[i] = f.green.row(fold(y - 2 + i, f.height));
    for (int i = 0; i < 3; ++i) {
        n.otherRows[i] = f.other.row(fold(y - 1 + i, f.height));
        n.srcRows[i] = f.srcRow(y - 1 + i);
    }
    n.y = y;
    return n;
}

// The rows of a colour window, for the AVX2 body.
inline ColourRowsAvx2 colourRowsAvx2(const Frame<uint8_t>& f, const ColourWindow<uint8_t>& n) {
    return {{n.greenRows[0], n.greenRows[1], n.greenRows[2], n.greenRows[3], n.greenRows[4]},
            {n.otherRows[0], n.otherRows[1], n.otherRows[2]},
            {n.srcRows[0], n.srcRows[1], n.srcRows[2]},
            f.epsColour,
            f.max};
}

constexpr int kDiagY[4] = {-1, 1, -1, 1}, kDiagX[4] = {-1, 1, 1, -1};
constexpr int kAxisY[4] = {-1, 1, 0, 0}, kAxisX[4] = {0, 0, -1, 1};

// The colour missing at each red and blue site of row r (blue at red sites,
// red at blue sites), from the diagonal neighbours, which have it.
template <typename T>
void otherRow(const Frame<T>& f, int32_t r) {
    ColourWindow<T> n = colourWindow(f, r);
    Colour<T>* o = f.other.row(r);
    auto one = [&](int32_t x, bool) {
        if (f.isGreen(r, x)) return;
        n.x = x;
        n.red = !f.isRed(r, x);
        int32_t steps[4];
        greenSteps(n, kDiagY, kDiagX, steps);
        o[x] = colourAt<typename Frame<T>::Acc>(n, kDiagY, kDiagX, steps, f.epsColour, f.max);
    };
    for (int32_t x = 0; x < kStepStart; ++x) one(x, false);
    // Eight columns a step: the rule at the four red or blue sites; green
    // sites get 0, which nobody reads.
    auto step = [&](int32_t x) {
        using namespace sse41;
        const int32_t at = f.isGreen(r, x) ? x + 1 : x;
        const __m128i g0 = everyOther(n.greenRows[2] + at);
        __m128i d[4], steps[4];
#pragma GCC unroll 4
        for (int k = 0; k < 4; ++k) {
            const int32_t dy = kDiagY[k], dx = kDiagX[k];
            const __m128i g1 = everyOther(n.greenRows[2 + dy] + at + dx);
            d[k] = _mm_sub_epi32(g1, everyOther(n.srcRows[1 + dy] + at + dx));
            steps[k] = greenStep(g0, g1);
        }
        const __m128i v = sse41::colourAt<kWide<T>>(g0, d, steps, f.epsColour, f.max);
        const __m128i none = _mm_setzero_si128();
        store8(o + x, at == x ? merge(v, none) : merge(none, v));
    };
    int32_t x = kStepStart;
    if constexpr (sizeof(T) == 1) {
        const int32_t wide = wideSteps<16>(x, f.width - kStepMargin8);
        if (wide > 0) {
            otherStepsAvx2(colourRowsAvx2(f, n), f.isGreen(r, x), o, x, wide);
            x += 16 * wide;
        }
    }
    eachStep<8>(x, f.width - kStepMargin8, f.width, step, one);
}

template <typename T, class Writer>
void outputRow(const Frame<T>& f, int32_t y, const Writer& out) {
    ColourWindow<T> n = colourWindow(f, y);
    const T* s = f.srcRow(y);
    const Colour<T>* g = f.green.row(y);
    const Colour<T>* o = f.other.row(y);
    using Acc = typename Frame<T>::Acc;
    auto one = [&](int32_t x, bool) {
        n.x = x;
        int32_t r, b;
        if (!f.isGreen(y, x)) {
            const bool red = f.isRed(y, x);
            r = red ? s[x] : o[x];
            b = red ? o[x] : s[x];
        } else {
            int32_t steps[4], dr[4], db[4];
            greenSteps(n, kAxisY, kAxisX, steps);
            for (int k = 0; k < 4; ++k) {
                n.red = true;
                dr[k] = n.d(kAxisY[k], kAxisX[k]);
                n.red = false;
                db[k] = n.d(kAxisY[k], kAxisX[k]);
            }
            coloursAt<Acc>(g[x], dr, db, steps, f.epsColour, f.max, r, b);
        }
        f.outR[x] = static_cast<T>(r);
        f.outG[x] = static_cast<T>(g[x]);
        f.outB[x] = static_cast<T>(b);
    };
    for (int32_t x = 0; x < kStepStart; ++x) one(x, false);
    // Eight columns a step: both colours at the four green sites, the
    // sample and the other colour at the four red or blue ones.
    using sse41::Columns8;
    auto colours = [&](int32_t x, Columns8& red, Columns8& green, Columns8& blue) {
        using namespace sse41;
        const bool greenFirst = f.isGreen(y, x);
        const int32_t at = greenFirst ? x : x + 1, site = greenFirst ? x + 1 : x;
        const __m128i g0 = everyOther(g + at);
        __m128i steps[4], sample[4], estimate[4];
#pragma GCC unroll 4
        for (int k = 0; k < 4; ++k) {
            const int32_t dy = kAxisY[k], dx = kAxisX[k];
            const __m128i g1 = everyOther(n.greenRows[2 + dy] + at + dx);
            steps[k] = greenStep(g0, g1);
            sample[k] = _mm_sub_epi32(g1, everyOther(n.srcRows[1 + dy] + at + dx));
            estimate[k] = _mm_sub_epi32(g1, everyOther(n.otherRows[1 + dy] + at + dx));
        }
        // Row neighbours (k = 2, 3) have the row's colour as a sample and
        // the column's as an estimate; column neighbours the other way.
        const __m128i dRow[4] = {estimate[0], estimate[1], sample[2], sample[3]};
        const __m128i dCol[4] = {sample[0], sample[1], estimate[2], estimate[3]};
        __m128i fromRow, fromCol;
        sse41::coloursAt<kWide<T>>(g0, dRow, dCol, steps, f.epsColour, f.max, fromRow, fromCol);
        // At red and blue sites the row's colour is the sample.
        const __m128i c = everyOther(s + site), other = everyOther(o + site);
        const __m128i gSite = everyOther(g + site);
        auto both = [&](__m128i atGreen, __m128i atSite) {
            return greenFirst ? merge(atGreen, atSite) : merge(atSite, atGreen);
        };
        const bool redRow = (y & 1) == f.redY;
        red = redRow ? both(fromRow, c) : both(fromCol, other);
        green = both(g0, gSite);
        blue = redRow ? both(fromCol, other) : both(fromRow, c);
    };
    auto step = [&](int32_t x) {
        Columns8 r, g, b;
        colours(x, r, g, b);
        sse41::storeSamples8(f.outR + x, r);
        sse41::storeSamples8(f.outG + x, g);
        sse41::storeSamples8(f.outB + x, b);
    };
    int32_t x = kStepStart;
    // Columns [kStepStart, written) went to the writer's row directly.
    int32_t written = 0;
    if constexpr (sizeof(T) == 1) {
        const int32_t wide = wideSteps<16>(x, f.width - kStepMargin8);
        if (wide > 0) {
            // wideRow comes with the writers (hq8.cpp). Mono8 weighs its
            // lanes: its pairs of steps go to the output rows too.
            OutputAvx2 direct = wideRow(out);
            uint8_t* const rows[3] = {f.outR, f.outG, f.outB};
            if (direct.form == d8::Form8::Mono8) {
                direct = {d8::Form8::Planar, {f.outR, f.outG, f.outB}, false, 0};
            } else {
                written = x + 32 * (wide / 2);
            }
            outputStepsAvx2(colourRowsAvx2(f, n), f.isGreen(y, x), (y & 1) == f.redY, direct, rows,
                            x, wide);
            x += 16 * wide;
        } else if (vectorLevel()) {
            // Pairs of steps straight to the writer; an odd one and the
            // scalar rest go through the output rows.
            const int32_t stepEnd = f.width - kStepMargin8;
            for (; stepEnd - x >= 16; x += 16) {
                Columns8 r[2], g[2], b[2];
                colours(x, r[0], g[0], b[0]);
                colours(x + 8, r[1], g[1], b[1]);
                out.put16(x, sse41::samples16(r[0], r[1]), sse41::samples16(g[0], g[1]),
                          sse41::samples16(b[0], b[1]));
            }
            written = x;
        }
    }
    eachStep<8>(x, f.width - kStepMargin8, f.width, step, one);
    auto put = [&](int32_t x, bool) { out.put(x, f.outR[x], f.outG[x], f.outB[x]); };
    if constexpr (sizeof(T) == 1) {
        if (written > 0) {
            for (int32_t x = 0; x < kStepStart; ++x) put(x, false);
        }
        eachStep<16>(
            written, f.width, f.width,
            [&](int32_t x) {
                out.put16(x, simd::load(f.outR + x), simd::load(f.outG + x),
                          simd::load(f.outB + x));
            },
            put);
    } else {
        auto words = [](const T* p) {
            return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        };
        eachStep<8>(
            0, f.width, f.width,
            [&](int32_t x) {
                out.put8(x, words(f.outR + x), words(f.outG + x), words(f.outB + x));
            },
            put);
    }
}

// The planes of a walk laid out in `work` (workBytes<T>(width)).
template <typename T>
Frame<T> layout(const T* src, int32_t height, int32_t width, int32_t depth, int32_t redY,
                int32_t redX, uint8_t* work) {
    int32_t* p =
        reinterpret_cast<int32_t*>(work + ((16 - (reinterpret_cast<uintptr_t>(work) & 15)) & 15));
    int32_t* col = p;
    for (int32_t x = -kReach; x < width + kReach; ++x) col[x + kReach] = fold(x, width);
    p += width + 2 * kReach;
    using E = Plane<T>;
    E* planes = reinterpret_cast<E*>(p);
    const int32_t stride = width + kRowPad;
    auto ring = [&](int32_t rows) {
        const Ring<E> r{planes, stride, rows};
        planes += int64_t{rows} * stride;
        return r;
    };
    const Ring<E> dh = ring(kDiffRows), dv = ring(kDiffRows), gv = ring(kDiffRows);
    Colour<T>* colours = reinterpret_cast<Colour<T>*>(planes);
    const Ring<Colour<T>> green{colours, stride, kColourRows},
        other{colours + int64_t{kColourRows} * stride, stride, kColourRows};
    const int32_t scale = depth > 8 ? depth - 8 : 0;
    Frame<T> f{src,
               height,
               width,
               (1 << depth) - 1,
               redY,
               redX,
               static_cast<uint32_t>(kEpsGreen) << scale,
               static_cast<uint32_t>(kEpsColour) << scale,
               col,
               dh,
               dv,
               gv,
               green,
               other,
               nullptr,
               nullptr,
               nullptr,
               nullptr,
               nullptr};
    Sum<T>* padded = reinterpret_cast<Sum<T>*>(colours + int64_t{2 * kColourRows} * stride);
    f.vertical = padded;
    f.across = padded + kVerticalRows * (int64_t{width} + 2 * kReach);
    f.outR = reinterpret_cast<T*>(f.across + (width + 2 * kReach));
    f.outG = f.outR + width;
    f.outB = f.outG + width;
    return f;
}

// Output rows [y0, y1): the rings start kBack* rows above y0, recomputed
// from the source, so a band gives the bytes the whole walk gives.
template <typename T, class Writer>
void walk(const Frame<T>& f, int32_t y0, int32_t y1, const Writer& out) {
    auto from = [y0](int32_t back) { return y0 > back ? y0 - back : 0; };
    const int32_t first = from(kBackDiff);
    const int32_t greenFirst = from(kBackGreen);
    int32_t diffDone = first, greenDone = greenFirst, otherDone = from(kBackOther);
    const int32_t height = f.height;
    for (int32_t y = y0; y < y1; ++y) {
        for (; diffDone < height && diffDone <= y + kAheadDiff; ++diffDone) {
            diffRow(f, diffDone, first);
        }
        for (; greenDone < height && greenDone <= y + kAheadGreen; ++greenDone) {
            greenRow(f, greenDone, greenFirst);
        }
        for (; otherDone < height && otherDone <= y + kAheadOther; ++otherDone) {
            otherRow(f, otherDone);
        }
        outputRow(f, y, out.next(y));
    }
}

// A whole frame, height and width at least 2, in bands of rows; `out`
// writes row 0 and gives the writers of the rows below. `work` holds
// workBytes<T>(width) for the caller's band, the pool lends the others'.
template <typename T, class Writer>
void frame(const T* src, int32_t height, int32_t width, int32_t depth, int32_t redY, int32_t redX,
           const Writer& out, uint8_t* work) {
    // Each band recomputes kBackDiff rows: bands of a few times that at least.
    const int32_t minRows = std::max(minBandUnits(width), 4 * kBackDiff);
    parallelRowsWithScratch(
        height, minRows, static_cast<size_t>(workBytes<T>(width)),
        [&](int32_t y0, int32_t y1, uint8_t* own) {
            walk(layout(src, height, width, depth, redY, redX, own != nullptr ? own : work), y0, y1,
                 out);
        });
}

}  // namespace tav::hq
