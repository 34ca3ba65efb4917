// Helpers of the 16-bit demosaicing, conversion and lens-shading tests.
#pragma once

#include <functional>
#include <utility>

#include "core/level.h"
#include "support.h"

namespace tavtest {

// Runs `call` at the scalar level, then at the vector level the suite runs at
// (TAV_ISA); returns both results.
template <typename F>
auto atBothLevels(F&& call) {
    const tav::Level vector = tav::vectorLevel() ? tav::level() : tav::Level::Sse41;
    tav::setLevel(tav::Level::Scalar);
    auto scalar = call();
    tav::setLevel(vector);
    auto atVector = call();
    return std::pair{std::move(scalar), std::move(atVector)};
}

inline uint8_t* bytes(std::vector<uint16_t>& v) {
    return reinterpret_cast<uint8_t*>(v.data());
}

// Words of a tavDemosaicingU16 call into a destination of 3 words a pixel
// and one more, filled with `fill`; code is the result.
struct Run16 {
    int32_t code;
    std::vector<uint16_t> out;
};

inline Run16 demosaic16(uint32_t format, int64_t output, uint32_t method, uint32_t bits,
                        std::vector<uint16_t> src, int32_t h, int32_t w, uint16_t fill = 0xA5C3) {
    Run16 r{0, std::vector<uint16_t>(3 * size_t(h) * w + 1, fill)};
    const TavDemosaicU16Config config{output, method, bits};
    const TavImage in{h, w, format, bytes(src), 2 * w};
    const TavImage out{0, 0, 0, bytes(r.out), 0};
    r.code = tavDemosaicingU16(&config, &in, &out);
    return r;
}

}  // namespace tavtest
