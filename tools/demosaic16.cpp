// The full-depth entry, for builds that have it.
#include <cstring>
#include <vector>

#include "cli.h"
#include "tav.h"
#include "tool_features.h"

namespace tavcli {

int32_t demosaic16(const FormatInfo& source, const uint16_t* src, int32_t width, int32_t height,
                   uint32_t method, uint32_t target, uint16_t* dst) {
    TavDemosaicU16Config config;
    std::memset(&config, 0, sizeof config);
    config.outputFormat = static_cast<decltype(config.outputFormat)>(target);
    config.method = method;
    config.bitDepth = static_cast<decltype(config.bitDepth)>(source.bits);
    TavImage in{height, width, source.code, reinterpret_cast<uint8_t*>(const_cast<uint16_t*>(src)),
                2 * width};
    TavImage out{height, width, target, reinterpret_cast<uint8_t*>(dst), 6 * width};
    return tavDemosaicingU16(&config, &in, &out);
}

int32_t probeDemosaic16(const FormatInfo& source, uint32_t method) {
    const int32_t w = 8, h = 8;
    std::vector<uint16_t> src(size_t(w) * h, 0), dst(size_t(w) * h * 3);
    LibraryDiagnostics quiet;
    return demosaic16(source, src.data(), w, h, method, TAV_PF_RGB16, dst.data());
}

}  // namespace tavcli
