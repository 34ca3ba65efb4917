// Parts of the program that call library functions not every library build
// has. CMake compiles each part, and sets its macro to 1, when the public
// header declares the functions that part calls.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "formats.h"

#ifndef TAV_TOOL_U16
#define TAV_TOOL_U16 0
#endif
#ifndef TAV_TOOL_BMP
#define TAV_TOOL_BMP 0
#endif
#ifndef TAV_TOOL_CONVERT
#define TAV_TOOL_CONVERT 0
#endif
#ifndef TAV_TOOL_LSC
#define TAV_TOOL_LSC 0
#endif

namespace tavcli {

#if TAV_TOOL_U16
// demosaic16.cpp: tavDemosaicingU16 over compact rows of 16-bit samples into
// `dst` (3 words a pixel, or 1 for a monochrome target).
int32_t demosaic16(const FormatInfo& source, const uint16_t* src, int32_t width, int32_t height,
                   uint32_t method, uint32_t target, uint16_t* dst);
int32_t probeDemosaic16(const FormatInfo& source, uint32_t method);
#endif

#if TAV_TOOL_BMP
// bmp.cpp: a 24-bit BMP from compact BGR8 rows; `bgr` must have room for the
// rows padded to 4 bytes (tavBMPAdjust pads them in place).
void writeBmp(const std::string& path, uint8_t* bgr, int32_t width, int32_t height);
#endif

#if TAV_TOOL_CONVERT
// convert_pixels.cpp: tavImageTypeConvert.
int32_t convertPixels(const FormatInfo& source, const uint8_t* src, int32_t width, int32_t height,
                      const FormatInfo& target, uint8_t* dst, std::string& printed);
int32_t probeConvert(const FormatInfo& source, const FormatInfo& target);
#endif

#if TAV_TOOL_LSC
// lsc.cpp: `tav lsc estimate|apply`.
int runLsc(const std::vector<std::string>& argv);
#endif

}  // namespace tavcli
