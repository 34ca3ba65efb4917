// tavGetBasicLSCParameter with random records: modes, depths, region counts,
// block sizes valid and not, sizes around the 32-pixel minimum, flat fields and
// dark levels holding any float. The table holds exactly three bytes a block.
#include <climits>
#include <cstdlib>

#include "fuzz_input.h"
#include "tav.h"

namespace {

constexpr uint32_t kModes[] = {0, 0, 0, 1, 2, 0xFFFFFFFFu};
constexpr int32_t kBits[] = {8, 10, 12, 8, 10, 12, 0, 9, 11, 16, -12};
constexpr int32_t kRegions[] = {2, 3, 4, 2, 3, 4, 0, 1, 5, -3, INT_MIN};
constexpr int32_t kBlockWidths[] = {16, 32, 16, 32, 0, 8, 24, 64, -16};
constexpr int32_t kBlockHeights[] = {16, 16, 16, 0, 8, 32, -16};
constexpr float kDarkLevels[] = {0.0f,
                                 1.0f,
                                 10.0f,
                                 64.5f,
                                 255.0f,
                                 4095.0f,
                                 -5.0f,
                                 1e30f,
                                 -1e30f,
                                 __builtin_nanf(""),
                                 __builtin_inff(),
                                 -__builtin_inff()};

int32_t side(tavfuzz::Input& in) {
    static constexpr int32_t kEdges[] = {INT_MIN, -32, 0, 30, 31, 32, 33, 47, 48, 65536, INT_MAX};
    const uint8_t b = in.byte();
    return b < 220 ? 28 + b % 72 : kEdges[b % (sizeof kEdges / sizeof kEdges[0])];
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tavfuzz::Input in(data, size);
    TavBasicLscInput input{};
    input.mode = in.pick(kModes);
    input.bits = in.pick(kBits);
    input.regionCount = in.pick(kRegions);
    input.height = side(in);
    input.width = side(in);
    input.blockWidth = in.pick(kBlockWidths);
    input.blockHeight = in.pick(kBlockHeights);
    input.darkLevel = in.pick(kDarkLevels);
    const uint8_t nulls = in.byte();

    const int32_t height = input.height, width = input.width;
    const bool valid = height > 31 && width > 31;
    const int64_t n = valid ? int64_t{height} * width : 0;
    if (n > (int64_t{1} << 17)) return 0;  // big frames only slow the search down

    tavfuzz::Buffer grey(static_cast<size_t>(4 * n));
    in.fillFloats(reinterpret_cast<float*>(grey.data()), static_cast<size_t>(n), 0);
    input.grey = nulls == 1 ? nullptr : reinterpret_cast<const float*>(grey.data());

    // Three bytes per whole block; no table at all for a block shape it refuses.
    const bool blocks =
        (input.blockWidth == 16 || input.blockWidth == 32) && input.blockHeight == 16;
    const int64_t entries = valid && blocks ? int64_t{height >> 4} * (width / input.blockWidth) : 0;
    tavfuzz::Buffer table(static_cast<size_t>(3 * entries));
    for (size_t i = 0; i < table.size; ++i) table.data()[i] = 0xEE;

    const int32_t result =
        tavGetBasicLSCParameter(nulls == 2 ? nullptr : &input, nulls == 3 ? nullptr : table.data());
    const bool nullGiven = nulls >= 1 && nulls <= 3;
    if (nullGiven != (result == TAV_E_NULL_POINTER)) abort();
    const bool accepted = valid && input.mode == 0 && blocks && input.regionCount >= 2 &&
                          input.regionCount <= 4 &&
                          (input.bits == 8 || input.bits == 10 || input.bits == 12);
    if ((result == TAV_OK) != (accepted && !nullGiven)) abort();
    if (result != TAV_OK) {
        for (size_t i = 0; i < table.size; ++i) {
            if (table.data()[i] != 0xEE) abort();  // a refused call writes nothing
        }
    }
    return 0;
}
