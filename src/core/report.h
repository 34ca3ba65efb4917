// Diagnostics shared by every entry point.
#pragma once

#include <cstdint>
#include <cstdio>

namespace tav {

// Every check site's printed number, by entry. The numbers are what callers'
// logs have always shown and never change; two sites share 505.
enum class Site : int {
    kUnchecked = 0,  // table rows whose rule cannot fail
    // context
    kCreateNull = 13,
    kCreateNoMemory = 20,
    kReleaseNull = 41,
    kScratchNoMemory = 42,
    kGetConfigNull = 52,
    kSetConfigNull = 70,
    kSetConfigFormat = 74,
    // tavDemosaicing
    kDemosaicNull = 94,
    kDemosaicNullData = 95,
    kDemosaicSize = 96,
    kDemosaicPixels = 104,
    kDemosaicFormat = 110,
    kDemosaicScratch8 = 115,
    kDemosaicScratchWide = 119,
    // 8-bit edge-directed kernels: frames under 6 x 6
    kEdgeRgMono8 = 13056,
    kEdgeGbMono8 = 13007,
    kEdgeRgBgr8 = 5672,
    kEdgeGbBgr8 = 5617,
    kEdgeRgBgra8 = 9463,
    kEdgeGbBgra8 = 9413,
    kEdgeRgPlanar = 11269,
    kEdgeGbPlanar = 11216,
    // 16-bit entries and kernels
    kBilinear16Null = 196,
    kBilinear16Size = 197,
    kBilinear16PNull = 283,
    kBilinear16PSize = 284,
    kU16Null = 214,
    kU16NullData = 215,
    kU16Size = 216,
    kU16Pixels = 228,
    kEdge16Rg = 7569,
    kEdge16Gb = 7514,
    // lens shading
    kBasicLscNull = 501,
    kBasicLscMode = 502,
    kBasicLscSize = 503,
    kBasicLscBits = 504,
    kBasicLscBlockWidth = 505,
    kBasicLscBlockHeight = 505,
    kLscNull = 598,
    kLscMode = 599,
    kLscSize = 600,
    kLscOdd = 601,
    kCorrectNull = 692,
    kCorrectNullData = 693,
    kCorrectMode = 694,
    kCorrectTable = 695,
    kCorrectDestination = 696,
    // BMP padding
    kBmpNull = 14,
    kBmpNullData = 15,
    kBmpSize = 16,
    // tavImageTypeConvert: arguments, then size rules by source and target
    kConvertNull = 17,
    kConvertNullData = 18,
    kFrom411 = 48,
    kFrom420P = 54,
    kFromNv12 = 60,
    kFromUyvy = 66,
    kFromYuyv = 72,
    kMono8To420P = 920,
    kRgbTo422 = 986,
    kRgbTo411 = 1017,
    kRgbTo420P = 1060,
    kBgrTo422 = 1223,
    kBgrTo411 = 1254,
    kBgrTo420P = 1297,
};

// Prints the check site's number (no newline; callers' logs rely on that) and
// hands back the result code, so a check reads
// `return fail(Site::kDemosaicSize, TAV_E_IMAGE_SIZE);`.
inline int32_t fail(Site site, int32_t code) {
    std::printf("error line = [%d]", static_cast<int>(site));
    return code;
}

}  // namespace tav
