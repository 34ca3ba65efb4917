// tavDemosaicingU16 with random configurations (output formats valid and not,
// methods 0..3 and odd values, bit depths 8..17), records and pitches.
#include <algorithm>
#include <cstdlib>

#include "fuzz_input.h"
#include "tav.h"

namespace {

constexpr uint32_t kFormats[] = {
    TAV_PF_MONO10,     TAV_PF_MONO12,     TAV_PF_MONO14,        TAV_PF_MONO16,
    TAV_PF_BAYER_GR10, TAV_PF_BAYER_RG10, TAV_PF_BAYER_GB10,    TAV_PF_BAYER_BG10,
    TAV_PF_BAYER_GR12, TAV_PF_BAYER_RG12, TAV_PF_BAYER_GB12,    TAV_PF_BAYER_BG12,
    TAV_PF_BAYER_GR16, TAV_PF_BAYER_RG16, TAV_PF_BAYER_GB16,    TAV_PF_BAYER_BG16,
    TAV_PF_BAYER_RG8,  TAV_PF_MONO8,      TAV_PF_MONO12_PACKED, 0u};

// Only the low 32 bits count: the high words below must not change anything.
constexpr int64_t kOutputs[] = {TAV_PF_RGB10,
                                TAV_PF_BGR10,
                                TAV_PF_RGB12,
                                TAV_PF_BGR12,
                                TAV_PF_RGB16,
                                TAV_PF_MONO10,
                                TAV_PF_MONO12,
                                TAV_PF_MONO14,
                                TAV_PF_MONO16,
                                int64_t{0x12345678} << 32 | TAV_PF_RGB16,
                                static_cast<int64_t>(0xFFFFFFFF00000000u | TAV_PF_BGR10),
                                int64_t{1} << 32 | TAV_PF_MONO16,
                                TAV_PF_RGB10 + 8,  // inside the colour range, not a format
                                TAV_PF_RGB16 + 1,
                                TAV_PF_RGB10 - 1,
                                TAV_PF_MONO8,
                                TAV_PF_BGR8,
                                0};

bool isMono(uint32_t format) {
    return format == TAV_PF_MONO10 || format == TAV_PF_MONO12 || format == TAV_PF_MONO14 ||
           format == TAV_PF_MONO16;
}
bool isBayer16(uint32_t format) {
    return (format >> 16) == 0x0110 && !isMono(format);
}

// Words per pixel the destination must hold; 0 where the call writes nothing.
int wordsPerPixel(uint32_t source, int64_t configured) {
    const uint32_t output = static_cast<uint32_t>(configured);
    const bool colour = output == TAV_PF_RGB10 || output == TAV_PF_BGR10 ||
                        output == TAV_PF_RGB12 || output == TAV_PF_BGR12 || output == TAV_PF_RGB16;
    const bool mono = output == TAV_PF_MONO10 || output == TAV_PF_MONO12 ||
                      output == TAV_PF_MONO14 || output == TAV_PF_MONO16;
    if (isMono(source)) return colour ? 3 : mono ? 1 : 0;
    if (isBayer16(source)) return colour ? 3 : 0;
    return 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tavfuzz::Input in(data, size);
    const uint32_t format = in.pick(kFormats);
    TavDemosaicU16Config config{};
    config.outputFormat = in.pick(kOutputs);
    const uint8_t m = in.byte();
    config.method = m < 240 ? m % 4 : uint32_t{m} << 24 | m;
    config.bitDepth = 8 + in.byte() % 10;
    const int32_t height = in.dimension(), width = in.dimension();
    const uint8_t p = in.byte();
    // Big frames only slow the search down; the checks before them are what matters.
    constexpr int64_t kLimit = int64_t{1} << 17;
    if (!tavfuzz::supported(height, width, kLimit)) return 0;

    // The pitch only has to exceed 3: rows are read compact whatever it says.
    const int32_t pitch =
        p < 240 ? static_cast<int32_t>(std::min<int64_t>(2 * int64_t{width} + p % 8, INT32_MAX))
                : int32_t{p % 5} - 1;
    const bool valid = height > 3 && width > 3 && pitch > 3;
    const int64_t pixels = valid ? int64_t{height} * width : 0;
    if (pixels > kLimit) return 0;

    tavfuzz::Buffer src(static_cast<size_t>(2 * pixels));
    in.fill(src.data(), src.size);
    const int words = wordsPerPixel(format, config.outputFormat);
    tavfuzz::Buffer dst(static_cast<size_t>(2 * pixels * words));

    TavImage s{height, width, format, src.data(), pitch};
    const TavImage d{7, 9, TAV_PF_BGR8, dst.data(), 11};
    tavDemosaicingU16(&config, &s, &d);
    // Neither record is written.
    if (d.height != 7 || d.width != 9 || d.pixelFormat != TAV_PF_BGR8 || d.pitch != 11 ||
        s.height != height || s.width != width || s.pixelFormat != format || s.pitch != pitch)
        abort();
    return 0;
}
