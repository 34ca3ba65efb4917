// tavDemosaicing with random records, formats, pitches, methods and outputs.
#include <algorithm>

#include "fuzz_input.h"
#include "tav.h"

namespace {

constexpr uint32_t kFormats[] = {TAV_PF_MONO8,
                                 TAV_PF_BAYER_GR8,
                                 TAV_PF_BAYER_RG8,
                                 TAV_PF_BAYER_GB8,
                                 TAV_PF_BAYER_BG8,
                                 TAV_PF_MONO10,
                                 TAV_PF_MONO12,
                                 TAV_PF_MONO14,
                                 TAV_PF_MONO16,
                                 TAV_PF_BAYER_RG10,
                                 TAV_PF_BAYER_GB12,
                                 TAV_PF_BAYER_BG16,
                                 TAV_PF_BAYER_GR12,
                                 TAV_PF_MONO10_PACKED,
                                 TAV_PF_MONO12_PACKED,
                                 TAV_PF_BAYER_RG12_PACKED,
                                 TAV_PF_BAYER_GR10_PACKED,
                                 TAV_PF_BAYER_BG12_PACKED,
                                 TAV_PF_BAYER_GB10_PACKED,
                                 TAV_PF_YUV422_8,
                                 TAV_PF_RGB8,
                                 0u};

constexpr uint64_t kOutputs[] = {TAV_PF_MONO8,       TAV_PF_RGB8,  TAV_PF_BGR8,  TAV_PF_RGB8_PLANAR,
                                 TAV_PF_BGR8_PLANAR, TAV_PF_RGBA8, TAV_PF_BGRA8, TAV_PF_RGB16};

// Bytes of one compact source row (0 for formats the entry refuses).
int64_t compactRow(uint32_t format, int32_t width) {
    switch (format >> 16) {
        case 0x0108:
            return int64_t{width};
        case 0x0110:
            return 2 * int64_t{width};
        case 0x010C:
            return int64_t{width} + (width >> 1);
        default:
            return width;
    }
}

int64_t outputBytes(uint64_t format) {
    switch (format) {
        case TAV_PF_MONO8:
            return 1;
        case TAV_PF_RGBA8:
        case TAV_PF_BGRA8:
            return 4;
        default:
            return 3;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tavfuzz::Input in(data, size);
    const uint32_t format = in.pick(kFormats);
    const uint64_t output = in.pick(kOutputs);
    const uint8_t m = in.byte();
    const uint32_t method = m < 240 ? m % 3 : m;
    const int32_t height = in.dimension(), width = in.dimension();
    const uint8_t p = in.byte();

    const int64_t compact = width > 0 ? compactRow(format, width) : 0;
    // Pitches at least the compact row (the caller's side), or small ones the entry refuses.
    const int32_t pitch =
        p < 240 ? static_cast<int32_t>(compact + p % 8) : static_cast<int32_t>(p % 5) - 1;
    // A pixel count that reads as negative in 32 bits is refused before any
    // access; other frames are kept small so that executions stay fast.
    const bool overflows =
        static_cast<int32_t>(static_cast<uint32_t>(height) * static_cast<uint32_t>(width)) < 0;
    const bool valid = height > 3 && width > 3 && pitch > 3 && !overflows;
    const int64_t pixels = valid ? int64_t{height} * width : 0;
    if (valid && pixels > (int64_t{1} << 18)) return 0;

    int64_t srcBytes = valid ? int64_t{height} * pitch : 1;
    // A compact packed frame is read as one run of sample pairs.
    if (valid && (format >> 16) == 0x010C && pitch == compact) {
        srcBytes = std::max<int64_t>(srcBytes, (pixels + 1) / 2 * 3);
    }
    tavfuzz::Buffer src(static_cast<size_t>(srcBytes));
    in.fill(src.data(), src.size);
    tavfuzz::Buffer dst(static_cast<size_t>(valid ? pixels * outputBytes(output) : 1));

    TavContext* ctx = nullptr;
    if (tavCreate(&ctx) != TAV_OK) return 0;
    if (output == TAV_PF_RGB16) {
        ctx->outputFormat = output;  // a value the configuration call would refuse
    } else {
        tavDemosaicSetConfig(ctx, &output);
    }
    TavImage s{height, width, format, src.data(), pitch};
    TavImage d{0, 0, 0, dst.data(), 0};
    tavDemosaicing(ctx, &s, method, &d);
    // Reuse the context for a second, smaller frame: the scratch must not shrink.
    if (valid && height > 4) {
        s.height = height - 1;
        tavDemosaicing(ctx, &s, method, &d);
    }
    tavRelease(&ctx);
    return 0;
}
