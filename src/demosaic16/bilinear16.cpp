// Exported 16-bit bilinear kernels and passes: thin wrappers over the
// region templates, one per phase and output form.
#include "bilinear16.h"
#include "frame16.h"

#include "report.h"
#include "tav.h"

namespace {

using namespace tav::d16;
using tav::colOf;
using tav::rowOf;

Bgr16Writer interleaved(uint16_t* dst, int32_t width, uint32_t exchange) {
    return {dst, width, exchange != 0};
}
Planar16Writer planes(uint16_t* blue, uint16_t* green, uint16_t* red, int32_t width) {
    return {blue, green, red, width};
}

}  // namespace

namespace tav {

int32_t gr16BilinearFrame(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                          uint32_t exchange, bool everyRow) {
    bilinearFrame(interleaved(dst, width, exchange), src, height, width, kGR, everyRow);
    return TAV_OK;
}

int32_t bilinear16Frame(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                        int32_t phaseCol, uint32_t exchange, const uint32_t* weights,
                        const DepthShift& depth) {
    if (weights != nullptr) {
        bilinearFrame(Mono16Writer{dst, width, weights, depth}, src, height, width, phaseCol, true);
    } else {
        bilinearFrame(Bgr16Writer{dst, width, exchange != 0, depth}, src, height, width, phaseCol,
                      true);
    }
    return TAV_OK;
}

}  // namespace tav

extern "C" {

// ---- interleaved, RG

void bilinearFirstRowsRGGBU16(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                              uint32_t exchange) {
    firstRows(interleaved(dst, width, exchange), src, height, width, kRG);
}
void bilinearFirstColsRGGBU16(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                              uint32_t exchange) {
    firstCols(interleaved(dst, width, exchange), src, height, width, kRG);
}
uint64_t bilinearBodyRGGBU16(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                             uint32_t exchange) {
    return body(interleaved(dst, width, exchange), src, height, width, kRG);
}
void bilinearLastRowsRGGBU16(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                             uint32_t exchange, int32_t firstRow) {
    lastRows(interleaved(dst, width, exchange), src, height, width, kRG, firstRow);
}
void bilinearLastColsRGGBU16(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                             uint32_t exchange, int32_t firstCol) {
    lastCols(interleaved(dst, width, exchange), src, height, width, kRG, firstCol);
}

// ---- interleaved, GR

void bilinearFirstRowsGRBGU16(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                              uint32_t exchange) {
    firstRows(interleaved(dst, width, exchange), src, height, width, kGR);
}
void bilinearFirstColsGRBGU16(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                              uint32_t exchange) {
    firstCols(interleaved(dst, width, exchange), src, height, width, kGR);
}
uint64_t bilinearBodyGRBGU16(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                             uint32_t exchange) {
    return body(interleaved(dst, width, exchange), src, height, width, kGR);
}
void bilinearLastRowsGRBGU16(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                             uint32_t exchange, int32_t firstRow) {
    lastRows(interleaved(dst, width, exchange), src, height, width, kGR, firstRow);
}
void bilinearLastColsGRBGU16(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                             uint32_t exchange, int32_t firstCol) {
    lastCols(interleaved(dst, width, exchange), src, height, width, kGR, firstCol);
}

// ---- planar, RG

void bilinearFirstRowsRGGBU16P(const uint16_t* src, int32_t height, int32_t width, uint16_t* blue,
                               uint16_t* green, uint16_t* red) {
    firstRows(planes(blue, green, red, width), src, height, width, kRG);
}
void bilinearFirstColsRGGBU16P(const uint16_t* src, int32_t height, int32_t width, uint16_t* blue,
                               uint16_t* green, uint16_t* red) {
    firstCols(planes(blue, green, red, width), src, height, width, kRG);
}
uint64_t bilinearBodyRGGBU16P(const uint16_t* src, int32_t height, int32_t width, uint16_t* blue,
                              uint16_t* green, uint16_t* red) {
    return body(planes(blue, green, red, width), src, height, width, kRG);
}
void bilinearLastRowsRGGBU16P(const uint16_t* src, int32_t height, int32_t width, uint16_t* blue,
                              uint16_t* green, uint16_t* red, int32_t firstRow) {
    lastRows(planes(blue, green, red, width), src, height, width, kRG, firstRow);
}
void bilinearLastColsRGGBU16P(const uint16_t* src, int32_t height, int32_t width, uint16_t* blue,
                              uint16_t* green, uint16_t* red, int32_t firstCol) {
    lastCols(planes(blue, green, red, width), src, height, width, kRG, firstCol);
}

// ---- kernels and entries

int32_t demosaicingBilinearRGGBU16(const uint16_t* src, int32_t height, int32_t width,
                                   uint16_t* dst, uint32_t exchange) {
    bilinearFirstRowsRGGBU16(src, height, width, dst, exchange);
    bilinearFirstColsRGGBU16(src, height, width, dst, exchange);
    const uint64_t end = bilinearBodyRGGBU16(src, height, width, dst, exchange);
    bilinearLastRowsRGGBU16(src, height, width, dst, exchange, rowOf(end));
    bilinearLastColsRGGBU16(src, height, width, dst, exchange, colOf(end));
    return TAV_OK;
}

int32_t demosaicingBilinearRGGBU16P(const uint16_t* src, int32_t height, int32_t width,
                                    uint16_t* blue, uint16_t* green, uint16_t* red) {
    bilinearFirstRowsRGGBU16P(src, height, width, blue, green, red);
    bilinearFirstColsRGGBU16P(src, height, width, blue, green, red);
    const uint64_t end = bilinearBodyRGGBU16P(src, height, width, blue, green, red);
    bilinearLastRowsRGGBU16P(src, height, width, blue, green, red, rowOf(end));
    bilinearLastColsRGGBU16P(src, height, width, blue, green, red, colOf(end));
    return TAV_OK;
}

int32_t rg16ToBgr16_bilinear(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                             uint32_t exchange) {
    return demosaicingBilinearRGGBU16(src, height, width, dst, exchange);
}

// The compatible form starts the last-rows pass one row after the body, so
// no pass writes that row.
int32_t gr16ToBgr16_bilinear(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                             uint32_t exchange) {
    return tav::gr16BilinearFrame(src, height, width, dst, exchange, false);
}

int32_t tavDemosaicingBilinearU16(const uint16_t* src, int32_t height, int32_t width,
                                  uint16_t* dst) {
    if (src == nullptr || dst == nullptr)
        return tav::fail(tav::Site::kBilinear16Null, TAV_E_NULL_POINTER);
    if (height < 4 || width < 4) return tav::fail(tav::Site::kBilinear16Size, TAV_E_IMAGE_SIZE);
    return demosaicingBilinearRGGBU16(src, height, width, dst, 0);
}

int32_t tavDemosaicingBilinearU16P(const uint16_t* src, int32_t height, int32_t width,
                                   uint16_t* blue, uint16_t* green, uint16_t* red) {
    if (src == nullptr || blue == nullptr || green == nullptr || red == nullptr) {
        return tav::fail(tav::Site::kBilinear16PNull, TAV_E_NULL_POINTER);
    }
    if (height < 4 || width < 4) return tav::fail(tav::Site::kBilinear16PSize, TAV_E_IMAGE_SIZE);
    return demosaicingBilinearRGGBU16P(src, height, width, blue, green, red);
}

int32_t rg16ToMono16_bilinear(const uint16_t* src, uint32_t height, uint32_t width,
                              const uint32_t* weights, uint16_t* dst) {
    const int32_t h = static_cast<int32_t>(height), w = static_cast<int32_t>(width);
    bilinearFrame(Mono16Writer{dst, w, weights}, src, h, w, kRG);
    return TAV_OK;
}

}  // extern "C"
