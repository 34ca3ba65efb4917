// Dispatch data of the 8-bit demosaicing entry: which kernel runs for a Bayer
// phase, an output format and a method, with which exchange flag, plane order
// or luma weights.
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

// Kernel shapes, by their argument lists.
using FlaggedKernel = int32_t (*)(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                                  uint32_t flag);
using PlainKernel = int32_t (*)(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst);
using PlanarKernel = int32_t (*)(const uint8_t* src, int32_t height, int32_t width, uint8_t* first,
                                 uint8_t* second, uint8_t* third);
using WeightedKernel = int32_t (*)(const uint8_t* src, int32_t height, int32_t width,
                                   const uint32_t* weights, uint8_t* dst);
using WorkKernel = int32_t (*)(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                               uint32_t flag, uint8_t* work);
using WorkPlanarKernel = int32_t (*)(const uint8_t* src, int32_t height, int32_t width,
                                     uint8_t* first, uint8_t* second, uint8_t* third,
                                     uint8_t* work);

// One cell of a dispatch table. At most one kernel pointer is set; a cell with
// none is a method whose kernels the library does not have.
struct Route8 {
    FlaggedKernel flagged = nullptr;
    PlainKernel plain = nullptr;
    PlanarKernel planar = nullptr;
    WeightedKernel weighted = nullptr;
    WorkKernel work = nullptr;
    WorkPlanarKernel workPlanar = nullptr;
    uint32_t flag = 0;
    bool reversed = false;  // planes passed (2N, N, 0), or luma weights 29, 150, 77
};

constexpr Route8 flagged(FlaggedKernel k, uint32_t flag) {
    Route8 r;
    r.flagged = k;
    r.flag = flag;
    return r;
}
constexpr Route8 plain(PlainKernel k) {
    Route8 r;
    r.plain = k;
    return r;
}
constexpr Route8 planar(PlanarKernel k, bool reversed) {
    Route8 r;
    r.planar = k;
    r.reversed = reversed;
    return r;
}
constexpr Route8 weighted(WeightedKernel k, bool reversed) {
    Route8 r;
    r.weighted = k;
    r.reversed = reversed;
    return r;
}
constexpr Route8 withWork(WorkKernel k, uint32_t flag) {
    Route8 r;
    r.work = k;
    r.flag = flag;
    return r;
}
constexpr Route8 withWork(WorkPlanarKernel k, bool reversed) {
    Route8 r;
    r.workPlanar = k;
    r.reversed = reversed;
    return r;
}

// Rows: phase (RG, GR, GB, BG); columns: Output8 order.
using RouteTable8 = Route8[kPhaseCount][kOutputCount];
extern const RouteTable8 kNearestRoutes;   // method 0
extern const RouteTable8 kBilinearRoutes;  // method 1
extern const RouteTable8 kEdgeRoutes;      // method 2

}  // namespace tav
