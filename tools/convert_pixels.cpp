// Pixel-format conversion through the library, for builds that have it.
#include <vector>

#include "cli.h"
#include "tav.h"
#include "tool_features.h"

namespace tavcli {

int32_t convertPixels(const FormatInfo& source, const uint8_t* src, int32_t width, int32_t height,
                      const FormatInfo& target, uint8_t* dst, std::string& printed) {
    TavImage in{height, width, source.code, const_cast<uint8_t*>(src), width};
    TavImage out{height, width, target.code, dst, width};
    LibraryDiagnostics quiet;
    const int32_t rc = tavImageTypeConvert(&in, &out, uint64_t(target.code));
    printed = quiet.finish();
    return rc;
}

int32_t probeConvert(const FormatInfo& source, const FormatInfo& target) {
    const int32_t w = 8, h = 8;
    std::vector<uint8_t> src(size_t(w) * h * 4 + 64, 0), dst(size_t(w) * h * 4 + 64);
    std::string printed;
    return convertPixels(source, src.data(), w, h, target, dst.data(), printed);
}

}  // namespace tavcli
