// tavGetLSCParameter with random records (modes, depths, sizes around the
// 32-pixel minimum and odd ones) and flat-field and dark frames holding any
// float, NaN and infinities included. The coefficient table holds exactly the
// words the record asks for.
#include <climits>
#include <cstdlib>

#include "fuzz_input.h"
#include "tav.h"

namespace {

constexpr uint32_t kModes[] = {0, 1, 0, 1, 2, 0xFFFFFFFFu};
constexpr uint32_t kBits[] = {8, 10, 12, 8, 10, 12, 0, 11, 16, 31, 32};

// Mostly just above the minimum, sometimes a boundary value.
int32_t side(tavfuzz::Input& in) {
    static constexpr int32_t kEdges[] = {INT_MIN, -32, 0, 30, 31, 32, 33, 34, 65536, INT_MAX};
    const uint8_t b = in.byte();
    return b < 220 ? 28 + b % 40 : kEdges[b % (sizeof kEdges / sizeof kEdges[0])];
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tavfuzz::Input in(data, size);
    TavLscInput input{};
    input.mode = in.pick(kModes);
    input.bits = in.pick(kBits);
    input.height = side(in);
    input.width = side(in);
    const uint8_t nulls = in.byte();

    const int32_t height = input.height, width = input.width;
    const bool valid = height > 31 && width > 31;
    const int64_t n = valid ? int64_t{height} * width : 0;
    if (n > (int64_t{1} << 17)) return 0;  // big frames only slow the search down

    tavfuzz::Buffer grey(static_cast<size_t>(4 * n)), dark(static_cast<size_t>(4 * n));
    in.fillFloats(reinterpret_cast<float*>(grey.data()), static_cast<size_t>(n), 0);
    in.fillFloats(reinterpret_cast<float*>(dark.data()), static_cast<size_t>(n), 7);
    input.grey = nulls == 1 ? nullptr : reinterpret_cast<const float*>(grey.data());
    input.dark = nulls == 2 ? nullptr : reinterpret_cast<const float*>(dark.data());

    // One word per pixel, or per 2 x 2 cell; the three header fields before them.
    const bool accepted = valid && input.mode <= 1 && height % 2 == 0 && width % 2 == 0;
    const int64_t words = !accepted ? 0 : input.mode == 1 ? n : n / 4;
    tavfuzz::Buffer table(static_cast<size_t>(12 + 4 * words));
    auto* parameter = reinterpret_cast<TavLscParameter*>(table.data());
    parameter->mode = 77;
    parameter->height = parameter->width = 99;

    const int32_t result =
        tavGetLSCParameter(nulls == 3 ? nullptr : &input, nulls == 4 ? nullptr : parameter);
    const bool nullGiven = nulls >= 1 && nulls <= 4;
    if (nullGiven != (result == TAV_E_NULL_POINTER)) abort();
    if ((result == TAV_OK) != (accepted && !nullGiven)) abort();
    if (result == TAV_OK) {
        if (parameter->mode != input.mode || parameter->height != uint32_t(height) ||
            parameter->width != uint32_t(width))
            abort();
    } else if (parameter->mode != 77 || parameter->height != 99 || parameter->width != 99) {
        abort();
    }
    return 0;
}
