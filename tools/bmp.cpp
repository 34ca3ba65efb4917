// BMP files, with rows padded by the library.
#include <cstring>

#include "cli.h"
#include "tav.h"
#include "tool_features.h"

namespace tavcli {
namespace {

// The adjuster's first argument is only checked for null; the image serves.
template <typename First>
int32_t padRows(int32_t (*adjust)(First, TavImage*), TavImage* image) {
    return adjust(reinterpret_cast<First>(image), image);
}

void put16(uint8_t* p, uint32_t v) {
    p[0] = uint8_t(v);
    p[1] = uint8_t(v >> 8);
}
void put32(uint8_t* p, uint32_t v) {
    put16(p, v & 0xFFFF);
    put16(p + 2, v >> 16);
}

}  // namespace

void writeBmp(const std::string& path, uint8_t* bgr, int32_t width, int32_t height) {
    TavImage image{height, width, TAV_PF_BGR8, bgr, 3 * width};
    LibraryDiagnostics quiet;
    const int32_t rc = padRows(tavBMPAdjust, &image);
    const std::string printed = quiet.finish();
    if (rc != TAV_OK) throw Failure("cannot pad BMP rows: " + describeFailure(rc, printed));
    const uint32_t row = (3u * uint32_t(width) + 3u) & ~3u;
    const uint32_t bytes = row * uint32_t(height);
    uint8_t header[54] = {'B', 'M'};
    put32(header + 2, 54 + bytes);
    put32(header + 10, 54);
    put32(header + 14, 40);
    put32(header + 18, uint32_t(width));
    put32(header + 22,
          uint32_t(-height));  // negative: rows top to bottom, as the library keeps them
    put16(header + 26, 1);
    put16(header + 28, 24);
    put32(header + 34, bytes);
    put32(header + 38, 2835);  // 72 dpi
    put32(header + 42, 2835);
    OutputFile out(path);
    out.write(header, sizeof header);
    out.write(bgr, bytes);
    out.commit();
}

}  // namespace tavcli
