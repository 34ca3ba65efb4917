// Edge-directed 8-bit demosaicing kernels: the frame walk (top pass, body
// passes, bottom pass) for both phases, and the exported entries and passes.
#include "edge8.h"

#include "report.h"
#include "tav.h"
#include "threads.h"

namespace tav::d8::edge {
namespace {

Mono8Writer mono(uint8_t* row, int32_t width, uint32_t exchange) {
    return {row, width, kLumaWeights[exchange != 0]};
}
Bgr8Writer bgr(uint8_t* row, int32_t width, uint32_t exchange) {
    return {row, width, exchange != 0};
}
Bgra8KeepAlphaWriter bgra(uint8_t* row, int32_t width, uint32_t exchange) {
    return {{row, width, exchange != 0}};
}
PlanarWriter planes(uint8_t* first, uint8_t* second, uint8_t* third, int32_t width) {
    return {first, second, third, width};
}

// `out` writes output row 0. Green-first frames start with a blue row; their
// row pairs start one row lower, so the same passes see a red row at r.
template <class Writer>
void convert(const uint8_t* src, int height, int width, const Writer& out, uint8_t* line,
             bool greenFirst) {
    int r = 2;
    if (greenFirst) {
        topGreenFirst(src, width, out.next(1), line);
        r = 3;
    } else {
        topRedFirst(src, width, out, line);
    }
    // Row pairs in bands. The line carries each pair's greens to the pair
    // below: a band after the first starts from a line of the pool's, filled
    // with the greens of the pair above it; when such a band ends the body,
    // the caller's line is filled with the last pair's greens for the bottom
    // rows (the pool's line belongs to the next caller by then).
    const int first = r;
    const int pairs = r < height - 3 ? (height - 2 - r) / 2 : 0;
    const size_t lineBytes = static_cast<size_t>(width) + 32;
    auto pairRows = [&](int at, const uint8_t** rows) {
        for (int i = 0; i < 6; ++i) rows[i] = src + static_cast<ptrdiff_t>(at - 2 + i) * width;
    };
    // The line as the pair at `at` leaves it: its greens, from the source alone.
    auto primeLine = [&](int at, uint8_t* into) {
        const uint8_t* rows[6];
        pairRows(at, rows);
        const Window pair{rows, width};
        fillGreens(pair, 0, 0, into);
        fillGreens(pair, 1, 1, into);
    };
    bool endsInPool = false;  // whether a band with a pool line ends the body
    auto walk = [&](int32_t p0, int32_t p1, uint8_t* own) {
        const uint8_t* rows[6];
        const int at = first + 2 * p0;
        uint8_t* band = own ? own : line;
        if (own) primeLine(at - 2, band);
        pairRows(at, rows);
        Writer lo = out.next(at);
        for (int32_t p = p0; p < p1; ++p) {
            bodyPass(rows, width, lo, band);
            for (const uint8_t*& q : rows) q += 2 * static_cast<ptrdiff_t>(width);
            lo = lo.next(2);
        }
        if (p1 == pairs) endsInPool = own != nullptr;
    };
    parallelRowsWithScratch(pairs, minBandUnits(2 * int64_t{width}), lineBytes, walk);
    if (endsInPool) primeLine(first + 2 * pairs - 2, line);
    r = first + 2 * pairs;
    const uint8_t* rows[6];
    pairRows(r, rows);
    const Writer lo = out.next(r);
    if (r == height - 2) {
        last2Rows(rows, width, lo, line);
    } else {
        last3Rows(rows, width, lo, line);
    }
}

bool tooSmall(int32_t height, int32_t width) {
    return width < 6 || height < 6;
}

}  // namespace
}  // namespace tav::d8::edge

using namespace tav::d8::edge;

namespace tav {

int32_t rg8ToBgra8OpaqueEdge(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                             uint32_t exchange, uint8_t* line) {
    convert(src, height, width, Bgra8KeepAlphaWriter{{dst, width, exchange != 0, 255}}, line,
            false);
    return TAV_OK;
}
int32_t gb8ToBgra8OpaqueEdge(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                             uint32_t exchange, uint8_t* line) {
    convert(src, height, width, Bgra8KeepAlphaWriter{{dst, width, exchange != 0, 255}}, line, true);
    return TAV_OK;
}

}  // namespace tav

extern "C" {

// ---- entries

int32_t rg8ToMono8_edge(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                        uint32_t exchange, uint8_t* line) {
    if (tooSmall(height, width)) return tav::fail(tav::Site::kEdgeRgMono8, TAV_E_IMAGE_SIZE);
    convert(src, height, width, mono(dst, width, exchange), line, false);
    return TAV_OK;
}

int32_t gb8ToMono8_edge(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                        uint32_t exchange, uint8_t* line) {
    if (tooSmall(height, width)) return tav::fail(tav::Site::kEdgeGbMono8, TAV_E_IMAGE_SIZE);
    convert(src, height, width, mono(dst, width, exchange), line, true);
    return TAV_OK;
}

int32_t rg8ToBgr8_edge(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                       uint32_t exchange, uint8_t* line) {
    if (tooSmall(height, width)) return tav::fail(tav::Site::kEdgeRgBgr8, TAV_E_IMAGE_SIZE);
    convert(src, height, width, bgr(dst, width, exchange), line, false);
    return TAV_OK;
}

int32_t gb8ToBgr8_edge(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                       uint32_t exchange, uint8_t* line) {
    if (tooSmall(height, width)) return tav::fail(tav::Site::kEdgeGbBgr8, TAV_E_IMAGE_SIZE);
    convert(src, height, width, bgr(dst, width, exchange), line, true);
    return TAV_OK;
}

int32_t rg8ToBgra8_edge(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                        uint32_t exchange, uint8_t* line) {
    if (tooSmall(height, width)) return tav::fail(tav::Site::kEdgeRgBgra8, TAV_E_IMAGE_SIZE);
    convert(src, height, width, bgra(dst, width, exchange), line, false);
    return TAV_OK;
}

int32_t gb8ToBgra8_edge(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                        uint32_t exchange, uint8_t* line) {
    if (tooSmall(height, width)) return tav::fail(tav::Site::kEdgeGbBgra8, TAV_E_IMAGE_SIZE);
    convert(src, height, width, bgra(dst, width, exchange), line, true);
    return TAV_OK;
}

int32_t rg8ToBgr8P_edge(const uint8_t* src, int32_t height, int32_t width, uint8_t* first,
                        uint8_t* second, uint8_t* third, uint8_t* line) {
    if (tooSmall(height, width)) return tav::fail(tav::Site::kEdgeRgPlanar, TAV_E_IMAGE_SIZE);
    convert(src, height, width, planes(first, second, third, width), line, false);
    return TAV_OK;
}

int32_t gb8ToBgr8P_edge(const uint8_t* src, int32_t height, int32_t width, uint8_t* first,
                        uint8_t* second, uint8_t* third, uint8_t* line) {
    if (tooSmall(height, width)) return tav::fail(tav::Site::kEdgeGbPlanar, TAV_E_IMAGE_SIZE);
    convert(src, height, width, planes(first, second, third, width), line, true);
    return TAV_OK;
}

// ---- body passes

int32_t rg8ToMono8_edge_body(const uint8_t* const rows[6], int32_t width, uint8_t* dst,
                             uint8_t* line, uint32_t exchange) {
    bodyPass(rows, width, mono(dst, width, exchange), line);
    return TAV_OK;
}

int32_t rg8ToBgr8_edge_body(const uint8_t* const rows[6], int32_t width, uint8_t* dst,
                            uint8_t* line, uint32_t exchange) {
    bodyPass(rows, width, bgr(dst, width, exchange), line);
    return TAV_OK;
}

int32_t rg8ToBgra8_edge_body(const uint8_t* const rows[6], int32_t width, uint8_t* dst,
                             uint8_t* line, uint32_t exchange) {
    bodyPass(rows, width, bgra(dst, width, exchange), line);
    return TAV_OK;
}

int32_t rg8ToBgr8P_edge_body(const uint8_t* const rows[6], int32_t width, uint8_t* first,
                             uint8_t* second, uint8_t* third, uint8_t* line) {
    bodyPass(rows, width, planes(first, second, third, width), line);
    return TAV_OK;
}

// ---- bottom passes

int32_t rg8ToMono8_edge_last2Rows(const uint8_t* const rows[6], int32_t width, uint8_t* dst,
                                  uint8_t* line, uint32_t exchange) {
    last2Rows(rows, width, mono(dst, width, exchange), line);
    return TAV_OK;
}

int32_t rg8ToMono8_edge_last3Rows(const uint8_t* const rows[6], int32_t width, uint8_t* dst,
                                  uint8_t* line, uint32_t exchange) {
    last3Rows(rows, width, mono(dst, width, exchange), line);
    return TAV_OK;
}

int32_t rg8ToBgr8_edge_last2Rows(const uint8_t* const rows[6], int32_t width, uint8_t* dst,
                                 uint8_t* line, uint32_t exchange) {
    last2Rows(rows, width, bgr(dst, width, exchange), line);
    return TAV_OK;
}

int32_t rg8ToBgr8_edge_last3Rows(const uint8_t* const rows[6], int32_t width, uint8_t* dst,
                                 uint8_t* line, uint32_t exchange) {
    last3Rows(rows, width, bgr(dst, width, exchange), line);
    return TAV_OK;
}

int32_t rg8ToBgra8_edge_last2Rows(const uint8_t* const rows[6], int32_t width, uint8_t* dst,
                                  uint8_t* line, uint32_t exchange) {
    last2Rows(rows, width, bgra(dst, width, exchange), line);
    return TAV_OK;
}

int32_t rg8ToBgra8_edge_last3Rows(const uint8_t* const rows[6], int32_t width, uint8_t* dst,
                                  uint8_t* line, uint32_t exchange) {
    last3Rows(rows, width, bgra(dst, width, exchange), line);
    return TAV_OK;
}

int32_t rg8ToBgr8P_edge_last2Rows(const uint8_t* const rows[6], int32_t width, uint8_t* first,
                                  uint8_t* second, uint8_t* third, uint8_t* line) {
    last2Rows(rows, width, planes(first, second, third, width), line);
    return TAV_OK;
}

int32_t rg8ToBgr8P_edge_last3Rows(const uint8_t* const rows[6], int32_t width, uint8_t* first,
                                  uint8_t* second, uint8_t* third, uint8_t* line) {
    last3Rows(rows, width, planes(first, second, third, width), line);
    return TAV_OK;
}

}  // extern "C"
