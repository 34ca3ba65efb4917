// Bilinear 8-bit demosaicing. A frame is split into row 0 (and row 1 for the
// GR/GB phases), column 0, a body that needs no bounds checks, and the last one
// or two rows and columns. Every pass is a template over the output writer and
// over whether red and blue are exchanged; the border passes and the body's
// scalar tail evaluate the site formulas of bilinear_sites.h, the body's
// vector step computes the same sums 16 columns at a time.
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "bilinear8_avx2.h"
#include "bilinear_sites.h"
#include "passes.h"
#include "rows.h"
#include "simd.h"
#include "tav.h"
#include "threads.h"
#include "writers.h"

namespace tav::d8 {
namespace {

using InnerSamples = tav::InnerSamples<uint8_t>;
using MirroredSamples = tav::MirroredSamples<uint8_t>;

// Whether a pass exchanges red and blue.
template <bool kExchange>
using Exchange = std::bool_constant<kExchange>;

// The passes exchange red and blue themselves: the writers' own exchange stays
// off, known at compile time, so that no step tests it.
inline Bgr8Writer native(const Bgr8Writer& w) {
    return {w.row, w.width, false};
}
inline Bgra8Writer native(const Bgra8Writer& w) {
    return {w.row, w.width, false, w.alpha};
}
template <typename W>
inline const W& native(const W& w) {
    return w;
}

template <bool kExchange, typename W>
inline void emit(const W& w, int32_t x, Rgb c) {
    if constexpr (kExchange) {
        native(w).put(x, c.b, c.g, c.r);
    } else {
        native(w).put(x, c.r, c.g, c.b);
    }
}

template <bool kExchange, typename W>
inline void emit16(const W& w, int32_t x, __m128i r, __m128i g, __m128i b) {
    if constexpr (kExchange) {
        native(w).put16(x, b, g, r);
    } else {
        native(w).put16(x, r, g, b);
    }
}

// Columns [x0, x1) of row y, `w` writing row 0.
template <bool kExchange, typename W>
void rowSpan(const MirroredSamples& s, const W& w, int32_t y, int32_t x0, int32_t x1, bool redRow) {
    const W row = w.next(y);
    for (int32_t x = x0; x < x1; ++x)
        emit<kExchange>(row, x, bilinearAt(s, y, x, redRow, (x & 1) == 0));
}

// ---- border passes (row 0 a red row unless stated)

template <bool kExchange, typename W>
void firstRowRg(Exchange<kExchange>, const uint8_t* src, const W& w, int32_t height,
                int32_t width) {
    rowSpan<kExchange>(MirroredSamples{src, height, width}, w, 0, 0, width, true);
}

// Rows 0 and 1 of a mosaic whose row 0 is a blue row (GB; GR when exchanged).
template <bool kExchange, typename W>
void firstRowsGb(Exchange<kExchange>, const uint8_t* src, const W& w, int32_t height,
                 int32_t width) {
    const MirroredSamples s{src, height, width};
    rowSpan<kExchange>(s, w, 0, 0, width, false);
    rowSpan<kExchange>(s, w, 1, 0, width, true);
}

template <bool kExchange, typename W>
void firstCols(Exchange<kExchange>, const uint8_t* src, const W& w, int32_t height, int32_t width) {
    const MirroredSamples s{src, height, width};
    for (int32_t y = 1; y < height; ++y) rowSpan<kExchange>(s, w, y, 0, 1, (y & 1) == 0);
}

// Rows from rowOf(start) on, of which the first is a blue row; the GR/GB
// wrappers give the whole frame and a start one below the body's.
template <bool kExchange, typename W>
void lastRows(Exchange<kExchange>, const uint8_t* src, const W& w, int32_t height, int32_t width,
              uint64_t start) {
    const MirroredSamples s{src, height, width};
    const int32_t r0 = rowOf(start), c0 = colOf(start);
    for (int32_t y = r0; y < height; ++y) rowSpan<kExchange>(s, w, y, 1, c0, ((y - r0) & 1) != 0);
}

template <bool kExchange, typename W>
void lastCols(Exchange<kExchange>, const uint8_t* src, const W& w, int32_t height, int32_t width,
              uint64_t start) {
    const MirroredSamples s{src, height, width};
    const int32_t c0 = colOf(start);
    for (int32_t y = 1; y < height; ++y) rowSpan<kExchange>(s, w, y, c0, width, (y & 1) == 0);
}

// ---- body

// One source row around a 16-column step starting at odd x, in 16-bit lanes,
// j = 0..7: e0 = column x-1+2j, o0 = x+2j, e1 = x+1+2j, o1 = x+2+2j.
struct Columns {
    __m128i e0, o0, e1, o1;
};

inline Columns columnsAround(const uint8_t* row, int32_t x) {
    const __m128i low = _mm_set1_epi16(0x00FF);
    const __m128i left = simd::load(row + x - 1), right = simd::load(row + x + 1);
    return {_mm_and_si128(left, low), _mm_srli_epi16(left, 8), _mm_and_si128(right, low),
            _mm_srli_epi16(right, 8)};
}

// 16 bytes in column order from the values at columns x+2j and x+1+2j.
inline __m128i joinColumns(__m128i atOdd, __m128i atEven) {
    return _mm_or_si128(atOdd, _mm_slli_epi16(atEven, 8));
}

inline __m128i add(__m128i a, __m128i b) {
    return _mm_add_epi16(a, b);
}
inline __m128i half(__m128i a) {
    return _mm_srli_epi16(a, 1);
}
inline __m128i quarter(__m128i a) {
    return _mm_srli_epi16(a, 2);
}

// How the body hands 16 pixels, given as values at the columns x+2j and
// x+1+2j in 16-bit lanes, to a writer: as colour bytes in column order...
template <bool kExchange, typename W>
struct LaneOutput {
    explicit LaneOutput(const W&) {}
    void operator()(const W& w, int32_t x, __m128i rOdd, __m128i rEven, __m128i gOdd, __m128i gEven,
                    __m128i bOdd, __m128i bEven) const {
        emit16<kExchange>(w, x, joinColumns(rOdd, rEven), joinColumns(gOdd, gEven),
                          joinColumns(bOdd, bEven));
    }
};

// ... except Mono8, weighed in the lanes before they are packed, with the
// weights kept in registers: the same bytes as the writer's luma.
template <bool kExchange>
struct LaneOutput<kExchange, Mono8Writer> {
    LumaLanes w;

    explicit LaneOutput(const Mono8Writer& m) : w(lumaLanes(m.weights)) {
        if (kExchange) w = {w.b, w.g, w.r};
    }
    __m128i luma(__m128i r, __m128i g, __m128i b) const { return tav::luma(w, r, g, b); }
    void operator()(const Mono8Writer& w, int32_t x, __m128i rOdd, __m128i rEven, __m128i gOdd,
                    __m128i gEven, __m128i bOdd, __m128i bEven) const {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(w.row + x),
                         joinColumns(luma(rOdd, gOdd, bOdd), luma(rEven, gEven, bEven)));
    }
};

// Columns x..x+15 (x odd) of a band: the blue row `blue` (B sites at odd
// columns) and the red row below it (R sites at even columns).
template <typename Out, typename W>
inline void bandStep(const Out& out, const uint8_t* blue, ptrdiff_t stride, int32_t x,
                     const W& wBlue, const W& wRed) {
    const Columns a = columnsAround(blue - stride, x);
    const Columns b = columnsAround(blue, x);
    const Columns r = columnsAround(blue + stride, x);
    const Columns n = columnsAround(blue + 2 * stride, x);

    const __m128i verticalE1 = add(a.e1, r.e1);
    const __m128i horizontalO = add(b.o0, b.o1);
    out(wBlue, x, quarter(add(add(a.e0, r.e0), verticalE1)), half(verticalE1),
        quarter(add(add(a.o0, r.o0), add(b.e0, b.e1))), b.e1, b.o0, half(horizontalO));
    out(wRed, x, half(add(r.e0, r.e1)), r.e1, r.o0, quarter(add(add(b.e1, n.e1), add(r.o0, r.o1))),
        half(add(b.o0, n.o0)), quarter(add(horizontalO, add(n.o0, n.o1))));
}

// Where the AVX2 body writes a band of writer rows.
template <bool kExchange>
inline WideOut wideOut(const Bgr8Writer& b, const Bgr8Writer& r) {
    return {Form8::Bgr8, kExchange, {b.row, nullptr, nullptr}, {r.row, nullptr, nullptr},
            nullptr,     0};
}
template <bool kExchange>
inline WideOut wideOut(const Bgra8Writer& b, const Bgra8Writer& r) {
    return {Form8::Bgra8, kExchange, {b.row, nullptr, nullptr}, {r.row, nullptr, nullptr},
            nullptr,      b.alpha};
}
template <bool kExchange>
inline WideOut wideOut(const PlanarWriter& b, const PlanarWriter& r) {
    return {Form8::Planar, kExchange, {b.first, b.second, b.third}, {r.first, r.second, r.third},
            nullptr,       0};
}
template <bool kExchange>
inline WideOut wideOut(const Mono8Writer& b, const Mono8Writer& r) {
    return {Form8::Mono8, kExchange, {b.row, nullptr, nullptr}, {r.row, nullptr, nullptr},
            b.weights,    0};
}

// Rows 1 .. R0-1 in bands of a blue and a red row, columns 1 .. C0-1; returns
// (R0, C0), where the last-row and last-column passes start.
template <bool kExchange, typename W>
uint64_t body(Exchange<kExchange>, const uint8_t* src, const W& w, int32_t height, int32_t width) {
    const int32_t r0 = bodyEnd(height), c0 = bodyEnd(width);
    const InnerSamples s{src, width};
    const ptrdiff_t stride = width;
    const LaneOutput<kExchange, W> out(w);
    // AVX2: 32-column steps, then at most one 16-column step.
    const int32_t wide = wideSteps<32>(1, width - 1);
    // Row pairs read the rows around them and write only their own: bands of pairs.
    parallelRows((r0 - 1) / 2, minBandUnits(2 * int64_t{width}), [&](int32_t p0, int32_t p1) {
        for (int32_t y = 1 + 2 * p0; y < 1 + 2 * p1; y += 2) {
            const uint8_t* blue = src + y * stride;
            const W wBlue = w.next(y), wRed = w.next(y + 1);
            if (wide > 0) bilinearBandAvx2(wideOut<kExchange>(wBlue, wRed), blue, stride, 1, wide);
            // A step reads one column past its 16; it never passes c0 (both odd).
            eachStep<16, 2>(
                1 + 32 * wide, width - 1, c0,
                [&](int32_t x) { bandStep(out, blue, stride, x, wBlue, wRed); },
                [&](int32_t x, bool) {
                    emit<kExchange>(wBlue, x, atBlue(s, y, x));
                    emit<kExchange>(wBlue, x + 1, atGreenOfBlueRow(s, y, x + 1));
                    emit<kExchange>(wRed, x, atGreenOfRedRow(s, y + 1, x));
                    emit<kExchange>(wRed, x + 1, atRed(s, y + 1, x + 1));
                });
        }
    });
    return packRowCol(r0, c0);
}

// ---- whole frames

// Column 0, body, last rows and columns of a mosaic whose row 0 is done.
template <bool kExchange, typename W>
void afterFirstRows(Exchange<kExchange> ex, const uint8_t* src, const W& w, int32_t height,
                    int32_t width) {
    firstCols(ex, src, w, height, width);
    const uint64_t start = body(ex, src, w, height, width);
    lastRows(ex, src, w, height, width, start);
    lastCols(ex, src, w, height, width, start);
}

template <bool kExchange, typename W>
void frameRg(Exchange<kExchange> ex, const uint8_t* src, const W& w, int32_t height,
             int32_t width) {
    firstRowRg(ex, src, w, height, width);
    afterFirstRows(ex, src, w, height, width);
}

// GB (GR when exchanged): rows 0 and 1 whole, then the RG passes on the frame
// from row 1, whose last rows are done on the whole frame.
template <bool kExchange, typename W>
void frameGb(Exchange<kExchange> ex, const uint8_t* src, const W& w, int32_t height,
             int32_t width) {
    firstRowsGb(ex, src, w, height, width);
    const uint8_t* below = src + width;
    const W wBelow = w.next(1);
    firstCols(ex, below, wBelow, height - 1, width);
    const uint64_t start = body(ex, below, wBelow, height - 1, width);
    lastRows(ex, src, w, height, width, start + packRowCol(1, 0));
    lastCols(ex, below, wBelow, height - 1, width, start);
}

// Runs f(Exchange<...>) for an exchange argument: only the value 1 exchanges.
template <typename F>
inline auto byExchange(uint32_t exchange, F&& f) {
    return exchange == 1 ? f(Exchange<true>{}) : f(Exchange<false>{});
}

inline Bgr8Writer bgr8(uint8_t* dst, int32_t width) {
    return {dst, width, false};
}
inline Bgra8Writer bgra8(uint8_t* dst, int32_t width) {
    return {dst, width, false};
}
inline PlanarWriter planes(uint8_t* first, uint8_t* second, uint8_t* third, int32_t width) {
    return {first, second, third, width};
}
inline Mono8Writer mono8(uint8_t* dst, int32_t width, const uint32_t* weights) {
    return {dst, width, weights};
}

constexpr Exchange<false> kNative;
constexpr Exchange<true> kExchanged;

}  // namespace
}  // namespace tav::d8

using namespace tav::d8;

namespace tav {

int32_t rg8ToBgra8OpaqueBilinear(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst) {
    frameRg(kNative, src, Bgra8Writer{dst, width, false, 255}, height, width);
    return TAV_OK;
}
int32_t bg8ToBgra8OpaqueBilinear(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst) {
    frameRg(kExchanged, src, Bgra8Writer{dst, width, false, 255}, height, width);
    return TAV_OK;
}
int32_t gb8ToBgra8OpaqueBilinear(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst) {
    frameGb(kNative, src, Bgra8Writer{dst, width, false, 255}, height, width);
    return TAV_OK;
}
int32_t gr8ToBgra8OpaqueBilinear(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst) {
    frameGb(kExchanged, src, Bgra8Writer{dst, width, false, 255}, height, width);
    return TAV_OK;
}

}  // namespace tav

extern "C" {

// ---- BGR8

void rg8ToBgr8_bilinear_firstRows(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                                  uint32_t exchange) {
    byExchange(exchange, [&](auto ex) { firstRowRg(ex, src, bgr8(dst, width), height, width); });
}
void gr8ToBgr8_bilinear_firstRows(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                                  uint32_t exchange) {
    byExchange(exchange, [&](auto ex) { firstRowsGb(ex, src, bgr8(dst, width), height, width); });
}
void rg8ToBgr8_bilinear_firstCols(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                                  uint32_t exchange) {
    byExchange(exchange, [&](auto ex) { firstCols(ex, src, bgr8(dst, width), height, width); });
}
uint64_t rg8ToBgr8_bilinear_body(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                                 uint32_t exchange) {
    return byExchange(exchange,
                      [&](auto ex) { return body(ex, src, bgr8(dst, width), height, width); });
}
void rg8ToBgr8_bilinear_lastRows(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                                 uint32_t exchange, uint64_t start) {
    byExchange(exchange,
               [&](auto ex) { lastRows(ex, src, bgr8(dst, width), height, width, start); });
}
void rg8ToBgr8_bilinear_lastCols(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                                 uint32_t exchange, uint64_t start) {
    byExchange(exchange,
               [&](auto ex) { lastCols(ex, src, bgr8(dst, width), height, width, start); });
}

int32_t rg8ToBgr8_bilinear(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst) {
    frameRg(kNative, src, bgr8(dst, width), height, width);
    return TAV_OK;
}
int32_t bg8ToBgr8_bilinear(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst) {
    frameRg(kExchanged, src, bgr8(dst, width), height, width);
    return TAV_OK;
}
int32_t gb8ToBgr8_bilinear(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst) {
    frameGb(kNative, src, bgr8(dst, width), height, width);
    return TAV_OK;
}
int32_t gr8ToBgr8_bilinear(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst) {
    frameGb(kExchanged, src, bgr8(dst, width), height, width);
    return TAV_OK;
}

// ---- BGRa8

void rg8ToBgra8_bilinear_firstRows(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                                   uint32_t exchange) {
    byExchange(exchange, [&](auto ex) { firstRowRg(ex, src, bgra8(dst, width), height, width); });
}
void gr8ToBgra8_bilinear_firstRows(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                                   uint32_t exchange) {
    byExchange(exchange, [&](auto ex) { firstRowsGb(ex, src, bgra8(dst, width), height, width); });
}
void rg8ToBgra8_bilinear_firstCols(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                                   uint32_t exchange) {
    byExchange(exchange, [&](auto ex) { firstCols(ex, src, bgra8(dst, width), height, width); });
}
uint64_t rg8ToBgra8_bilinear_body(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                                  uint32_t exchange) {
    return byExchange(exchange,
                      [&](auto ex) { return body(ex, src, bgra8(dst, width), height, width); });
}
void rg8ToBgra8_bilinear_lastRows(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                                  uint32_t exchange, uint64_t start) {
    byExchange(exchange,
               [&](auto ex) { lastRows(ex, src, bgra8(dst, width), height, width, start); });
}
void rg8ToBgra8_bilinear_lastCols(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                                  uint32_t exchange, uint64_t start) {
    byExchange(exchange,
               [&](auto ex) { lastCols(ex, src, bgra8(dst, width), height, width, start); });
}

int32_t rg8ToBgra8_bilinear(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst) {
    frameRg(kNative, src, bgra8(dst, width), height, width);
    return TAV_OK;
}
int32_t bg8ToBgra8_bilinear(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst) {
    frameRg(kExchanged, src, bgra8(dst, width), height, width);
    return TAV_OK;
}
int32_t gb8ToBgra8_bilinear(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst) {
    frameGb(kNative, src, bgra8(dst, width), height, width);
    return TAV_OK;
}
int32_t gr8ToBgra8_bilinear(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst) {
    frameGb(kExchanged, src, bgra8(dst, width), height, width);
    return TAV_OK;
}

// ---- planar: exchange 1 exchanges the first and third planes

void rg8ToBgr8P_bilinear_firstCols(const uint8_t* src, uint8_t* first, uint8_t* second,
                                   uint8_t* third, int32_t height, int32_t width,
                                   uint32_t exchange) {
    byExchange(exchange, [&](auto ex) {
        firstCols(ex, src, planes(first, second, third, width), height, width);
    });
}
uint64_t rg8ToBgr8P_bilinear_body(const uint8_t* src, uint8_t* first, uint8_t* second,
                                  uint8_t* third, int32_t height, int32_t width,
                                  uint32_t exchange) {
    return byExchange(exchange, [&](auto ex) {
        return body(ex, src, planes(first, second, third, width), height, width);
    });
}
void rg8ToBgr8P_bilinear_lastRows(const uint8_t* src, uint8_t* first, uint8_t* second,
                                  uint8_t* third, int32_t height, int32_t width, uint32_t exchange,
                                  uint64_t start) {
    byExchange(exchange, [&](auto ex) {
        lastRows(ex, src, planes(first, second, third, width), height, width, start);
    });
}
void rg8ToBgr8P_bilinear_lastCols(const uint8_t* src, uint8_t* first, uint8_t* second,
                                  uint8_t* third, int32_t height, int32_t width, uint32_t exchange,
                                  uint64_t start) {
    byExchange(exchange, [&](auto ex) {
        lastCols(ex, src, planes(first, second, third, width), height, width, start);
    });
}

int32_t rg8ToBgr8P_bilinear(const uint8_t* src, int32_t height, int32_t width, uint8_t* first,
                            uint8_t* second, uint8_t* third) {
    frameRg(kNative, src, planes(first, second, third, width), height, width);
    return TAV_OK;
}
// Rows from 1 on form a mosaic with red and blue exchanged, hence the exchanged planes.
int32_t gr8ToBgr8P_bilinear(const uint8_t* src, int32_t height, int32_t width, uint8_t* first,
                            uint8_t* second, uint8_t* third) {
    frameGb(kNative, src, planes(third, second, first, width), height, width);
    return TAV_OK;
}

// ---- Mono8: exchange 1 exchanges the first and third weights

void rg8ToMono8_bilinear_firstCols(const uint8_t* src, const uint32_t* weights, uint8_t* dst,
                                   int32_t height, int32_t width, uint32_t exchange) {
    byExchange(exchange,
               [&](auto ex) { firstCols(ex, src, mono8(dst, width, weights), height, width); });
}
uint64_t rg8ToMono8_bilinear_body(const uint8_t* src, const uint32_t* weights, uint8_t* dst,
                                  int32_t height, int32_t width, uint32_t exchange) {
    return byExchange(exchange, [&](auto ex) {
        return body(ex, src, mono8(dst, width, weights), height, width);
    });
}
void rg8ToMono8_bilinear_lastRows(const uint8_t* src, const uint32_t* weights, uint8_t* dst,
                                  int32_t height, int32_t width, uint32_t exchange,
                                  uint64_t start) {
    byExchange(exchange, [&](auto ex) {
        lastRows(ex, src, mono8(dst, width, weights), height, width, start);
    });
}
void rg8ToMono8_bilinear_lastCols(const uint8_t* src, const uint32_t* weights, uint8_t* dst,
                                  int32_t height, int32_t width, uint32_t exchange,
                                  uint64_t start) {
    byExchange(exchange, [&](auto ex) {
        lastCols(ex, src, mono8(dst, width, weights), height, width, start);
    });
}

int32_t rg8ToMono8_bilinear(const uint8_t* src, int32_t height, int32_t width,
                            const uint32_t* weights, uint8_t* dst) {
    frameRg(kNative, src, mono8(dst, width, weights), height, width);
    return TAV_OK;
}
// Rows from 1 on form a mosaic with red and blue exchanged, hence the exchanged weights.
int32_t gr8ToMono8_bilinear(const uint8_t* src, int32_t height, int32_t width,
                            const uint32_t* weights, uint8_t* dst) {
    const uint32_t exchanged[3] = {weights[2], weights[1], weights[0]};
    frameGb(kNative, src, mono8(dst, width, exchanged), height, width);
    return TAV_OK;
}

}  // extern "C"
