// Dispatch data of the 8-bit demosaicing entry: which kernel runs for a Bayer
// phase, an output format and a method, and whether red and blue are
// exchanged (kernel argument, plane order or luma weights).
#pragma once

#include <cstdint>

#include "tav.h"

namespace tav {

enum Phase : int { kPhaseRG, kPhaseGR, kPhaseGB, kPhaseBG, kPhaseCount };

enum Output8 : int {
    kOutMono8,
    kOutRgb8,
    kOutBgr8,
    kOutRgbPlanar,
    kOutBgrPlanar,
    kOutRgba8,
    kOutBgra8,
    kOutputCount
};

// Index of an 8-bit demosaic output format, -1 if the entry does not produce it.
int output8Index(uint64_t format);

// Kernel shapes, by their argument lists. `exchange` 1 exchanges red and blue.
using ExchangeKernel = int32_t (*)(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                                   uint32_t exchange);
using PlainKernel = int32_t (*)(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst);
using PlanarKernel = int32_t (*)(const uint8_t* src, int32_t height, int32_t width, uint8_t* first,
                                 uint8_t* second, uint8_t* third);
using WeightedKernel = int32_t (*)(const uint8_t* src, int32_t height, int32_t width,
                                   const uint32_t* weights, uint8_t* dst);
using WorkKernel = int32_t (*)(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                               uint32_t exchange, uint8_t* work);
using WorkPlanarKernel = int32_t (*)(const uint8_t* src, int32_t height, int32_t width,
                                     uint8_t* first, uint8_t* second, uint8_t* third,
                                     uint8_t* work);

// One cell of a dispatch table. At most one kernel pointer is set; a cell with
// none is a method whose kernels the library does not have. `exchange` goes to
// the kernel as its argument, or gives planes (2N, N, 0) instead of (0, N, 2N),
// or the luma weights 29, 150, 77.
struct Route8 {
    ExchangeKernel exchanging = nullptr;
    PlainKernel plain = nullptr;
    PlanarKernel planar = nullptr;
    WeightedKernel weighted = nullptr;
    WorkKernel work = nullptr;
    WorkPlanarKernel workPlanar = nullptr;
    uint32_t exchange = 0;
};

constexpr Route8 exchanging(ExchangeKernel k, uint32_t exchange) {
    Route8 r;
    r.exchanging = k;
    r.exchange = exchange;
    return r;
}
constexpr Route8 plain(PlainKernel k) {
    Route8 r;
    r.plain = k;
    return r;
}
constexpr Route8 planar(PlanarKernel k, uint32_t exchange) {
    Route8 r;
    r.planar = k;
    r.exchange = exchange;
    return r;
}
constexpr Route8 weighted(WeightedKernel k, uint32_t exchange) {
    Route8 r;
    r.weighted = k;
    r.exchange = exchange;
    return r;
}
constexpr Route8 withWork(WorkKernel k, uint32_t exchange) {
    Route8 r;
    r.work = k;
    r.exchange = exchange;
    return r;
}
constexpr Route8 withWork(WorkPlanarKernel k, uint32_t exchange) {
    Route8 r;
    r.workPlanar = k;
    r.exchange = exchange;
    return r;
}

// Twins of the four-byte kernels that write alpha 255 (the frame API): the
// same arguments and bytes but alpha, no size checks.
int32_t rg8ToBgra8OpaqueNearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                                uint32_t exchange);
int32_t gb8ToBgra8OpaqueNearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                                uint32_t exchange);
int32_t rg8ToBgra8OpaqueBilinear(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst);
int32_t gr8ToBgra8OpaqueBilinear(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst);
int32_t gb8ToBgra8OpaqueBilinear(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst);
int32_t bg8ToBgra8OpaqueBilinear(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst);
int32_t rg8ToBgra8OpaqueEdge(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                             uint32_t exchange, uint8_t* line);
int32_t gb8ToBgra8OpaqueEdge(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                             uint32_t exchange, uint8_t* line);

// The family entries' lookup for a phase, output format and method; with
// `opaque` the four-byte outputs run their twins above.
int32_t demosaic8(Phase phase, const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                  uint64_t outputFormat, uint32_t method, uint8_t* work, bool opaque);

// mono8Convert's replicas; with `opaque` the four-byte outputs' alpha is 255.
int32_t mono8(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
              uint64_t outputFormat, bool opaque);

// Rows: phase (RG, GR, GB, BG); columns: Output8 order.
using RouteTable8 = Route8[kPhaseCount][kOutputCount];
extern const RouteTable8 kNearestRoutes;   // method 0
extern const RouteTable8 kBilinearRoutes;  // method 1
extern const RouteTable8 kEdgeRoutes;      // method 2

}  // namespace tav
