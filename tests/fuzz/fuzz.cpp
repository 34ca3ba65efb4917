// libFuzzer harnesses, one per entry point, in one source: each target is
// this file built with TAV_FUZZ_TARGET naming its namespace. Inputs decode into
// call arguments; buffers are allocated at exactly the size the caller's side
// of the contract requires, so any access past them is caught by AddressSanitizer.
#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <vector>

#include "tav.h"

namespace tavfuzz {

class Input {
  public:
    Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}

    uint8_t byte() { return pos_ < size_ ? data_[pos_++] : 0; }
    uint32_t u32() {
        uint32_t v = 0;
        for (int i = 0; i < 4; ++i) v = (v << 8) | byte();
        return v;
    }
    template <typename T, size_t N>
    T pick(const T (&table)[N]) {
        return table[byte() % N];
    }
    // A dimension: mostly small frames, sometimes a boundary value.
    int32_t dimension() {
        static constexpr int32_t kEdges[] = {
            INT_MIN, -1, 0, 1, 2, 3, 4, 5, 6, 7, 16, 17, 31, 32, 33, 32768, 65536, 65535, INT_MAX};
        const uint8_t b = byte();
        return b < 224 ? 4 + b % 45 : kEdges[b % (sizeof kEdges / sizeof kEdges[0])];
    }
    // Fills `n` bytes with the rest of the input, repeated.
    void fill(uint8_t* p, size_t n) {
        const size_t rest = size_ - pos_;
        for (size_t i = 0; i < n; ++i) p[i] = rest ? data_[pos_ + i % rest] : uint8_t(i * 151);
    }

    // Fills `n` floats from the rest of the input, repeated (starting `skew`
    // bytes in): mostly small whole values, sometimes a value a camera never
    // gives (NaN, infinities, negatives, huge or subnormal values).
    void fillFloats(float* p, size_t n, size_t skew) {
        // clang-format off
static constexpr float kOdd[] = {
    __builtin_nanf(""), __builtin_inff(), -__builtin_inff(), -1.0f, -1e30f, 1e30f, 1e-42f, 0.5f,
    4095.5f, 65535.0f, 3e9f, -3e9f, 1e-30f, 2.0f, 0.0f, -0.0f
};
        // clang-format on
        const size_t rest = size_ - pos_;
        for (size_t i = 0; i < n; ++i) {
            const uint8_t b = rest ? data_[pos_ + (i + skew) % rest] : uint8_t((i + skew) * 151);
            p[i] = b < 240 ? float(b) : kOdd[b - 240];
        }
    }

  private:
    const uint8_t* data_;
    size_t size_;
    size_t pos_ = 0;
};

// A heap buffer of exactly `n` bytes (at least one, so that data is not null).
struct Buffer {
    explicit Buffer(size_t n) : size(n), bytes(new uint8_t[n ? n : 1]) {}
    size_t size;
    std::unique_ptr<uint8_t[]> bytes;
    uint8_t* data() { return bytes.get(); }
};

// Frames whose sizes are computed past 32 bits are outside the supported range
// (the pixel-count check only catches products that read as negative).
inline bool supported(int32_t height, int32_t width, int64_t limit = int64_t{1} << 22) {
    if (height <= 0 || width <= 0) return true;  // refused before any access
    const int64_t n = int64_t{height} * width;
    const int32_t wrapped = static_cast<int32_t>(static_cast<uint32_t>(n));
    return wrapped < 0 || n <= limit;
}

}  // namespace tavfuzz

// ---- demosaic8: tavDemosaicing with random records, formats, pitches, methods and outputs.
namespace demosaic8_target {

// clang-format off
constexpr uint32_t kFormats[] = {
    TAV_PF_MONO8, TAV_PF_BAYER_GR8, TAV_PF_BAYER_RG8, TAV_PF_BAYER_GB8, TAV_PF_BAYER_BG8,
    TAV_PF_MONO10, TAV_PF_MONO12, TAV_PF_MONO14, TAV_PF_MONO16, TAV_PF_BAYER_RG10,
    TAV_PF_BAYER_GB12, TAV_PF_BAYER_BG16, TAV_PF_BAYER_GR12, TAV_PF_MONO10_PACKED,
    TAV_PF_MONO12_PACKED, TAV_PF_BAYER_RG12_PACKED, TAV_PF_BAYER_GR10_PACKED,
    TAV_PF_BAYER_BG12_PACKED, TAV_PF_BAYER_GB10_PACKED, TAV_PF_YUV422_8, TAV_PF_RGB8, 0u
};
// clang-format on

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

int run(const uint8_t* data, size_t size) {
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

}  // namespace demosaic8_target

// ---- demosaic16: tavDemosaicingU16 with random configurations (output formats valid and not,
// methods 0..3 and odd values, bit depths 8..17), records and pitches.
namespace demosaic16_target {

constexpr uint32_t kFormats[] = {
    TAV_PF_MONO10,     TAV_PF_MONO12,     TAV_PF_MONO14,        TAV_PF_MONO16,
    TAV_PF_BAYER_GR10, TAV_PF_BAYER_RG10, TAV_PF_BAYER_GB10,    TAV_PF_BAYER_BG10,
    TAV_PF_BAYER_GR12, TAV_PF_BAYER_RG12, TAV_PF_BAYER_GB12,    TAV_PF_BAYER_BG12,
    TAV_PF_BAYER_GR16, TAV_PF_BAYER_RG16, TAV_PF_BAYER_GB16,    TAV_PF_BAYER_BG16,
    TAV_PF_BAYER_RG8,  TAV_PF_MONO8,      TAV_PF_MONO12_PACKED, 0u};

// Only the low 32 bits count: the high words below must not change anything.
// clang-format off
constexpr int64_t kOutputs[] = {
    TAV_PF_RGB10, TAV_PF_BGR10, TAV_PF_RGB12, TAV_PF_BGR12, TAV_PF_RGB16, TAV_PF_MONO10,
    TAV_PF_MONO12, TAV_PF_MONO14, TAV_PF_MONO16, int64_t{0x12345678} << 32 | TAV_PF_RGB16,
    static_cast<int64_t>(0xFFFFFFFF00000000u | TAV_PF_BGR10), int64_t{1} << 32 | TAV_PF_MONO16,
    TAV_PF_RGB10 + 8,  // inside the colour range, not a format
    TAV_PF_RGB16 + 1, TAV_PF_RGB10 - 1, TAV_PF_MONO8, TAV_PF_BGR8, 0
};
// clang-format on

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

int run(const uint8_t* data, size_t size) {
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

}  // namespace demosaic16_target

// ---- convert: tavImageTypeConvert with every source and target code, unknown ones among
// them, over odd, even, tiny and negative sizes.
namespace convert_target {

constexpr uint32_t kSources[] = {
    TAV_PF_MONO1P,          TAV_PF_MONO4P,    TAV_PF_MONO8,         TAV_PF_MONO1C,
    TAV_PF_YUV411_8_UYYVYY, TAV_PF_YUV420P,   TAV_PF_YUV420SP_NV12, TAV_PF_YUV422_8_UYVY,
    TAV_PF_YUV422_8,        TAV_PF_YUV8_UYV,  TAV_PF_RGB8,          TAV_PF_BGR8,
    TAV_PF_RGBA8,           TAV_PF_BAYER_RG8, TAV_PF_MONO16,        0u};

// clang-format off
constexpr uint64_t kTargets[] = {
    TAV_PF_MONO8, TAV_PF_RGB8, TAV_PF_BGR8, TAV_PF_RGBA8, TAV_PF_BGRA8, TAV_PF_YUV8_UYV,
    TAV_PF_YUV411_8_UYYVYY, TAV_PF_YUV422_8_UYVY, TAV_PF_YUV422_8, TAV_PF_YUV420P,
    TAV_PF_YUV420SP_NV12, TAV_PF_MONO1P, TAV_PF_RGB8_PLANAR, TAV_PF_RGB16,
    uint64_t{0xFFFFFFFF} << 32 | TAV_PF_YUV420P,  // sign-extended
    uint64_t{1} << 32 | TAV_PF_RGB8, 0
};
// clang-format on

// Source bytes of an image of n pixels (n from the 32-bit product, 0 if negative).
int64_t sourceBytes(uint32_t format, int64_t n) {
    switch (format) {
        case TAV_PF_MONO1P:
            return (n + 7) / 8;
        case TAV_PF_MONO4P:
            return (n + 1) / 2;
        case TAV_PF_MONO8:
            return n;
        case TAV_PF_MONO1C:  // records until a zero one; the first is always read
            return 4 * std::max<int64_t>(1, (n + 3) / 4);
        case TAV_PF_YUV411_8_UYYVYY:
        case TAV_PF_YUV420P:
        case TAV_PF_YUV420SP_NV12:
            return (3 * n + 1) / 2;
        case TAV_PF_YUV422_8_UYVY:
        case TAV_PF_YUV422_8:
            return 2 * n;
        case TAV_PF_YUV8_UYV:
        case TAV_PF_RGB8:
        case TAV_PF_BGR8:
            return 3 * n;
        default:
            return 0;
    }
}

// Bytes of n pixels in a target format; 0 for codes that are not targets.
int64_t targetBytes(uint64_t target, int64_t n) {
    switch (target) {
        case TAV_PF_MONO8:
            return n;
        case TAV_PF_RGB8:
        case TAV_PF_BGR8:
        case TAV_PF_YUV8_UYV:
            return 3 * n;
        case TAV_PF_RGBA8:
        case TAV_PF_BGRA8:
            return 4 * n;
        case TAV_PF_YUV411_8_UYYVYY:
            return (3 * n + 1) / 2;
        case TAV_PF_YUV422_8_UYVY:
        case TAV_PF_YUV422_8:
            return 2 * n;
        case TAV_PF_YUV420P:
            return n + 2 * (n / 4);
        default:
            return 0;
    }
}

bool among(uint64_t target, std::initializer_list<uint64_t> accepted) {
    for (uint64_t a : accepted) {
        if (a == target) return true;
    }
    return false;
}

// The destination the caller provides: sized for the target where the source
// converts to it, nothing where the call must not write.
int64_t destinationBytes(uint32_t source, uint64_t target, int64_t n) {
    const std::initializer_list<uint64_t> yuv = {TAV_PF_MONO8, TAV_PF_RGB8, TAV_PF_BGR8,
                                                 TAV_PF_RGBA8, TAV_PF_BGRA8};
    switch (source) {
        case TAV_PF_MONO1P:
            return target == TAV_PF_MONO8 ? n : 0;
        case TAV_PF_MONO1C:  // cleared before the target is looked at
            return n;
        case TAV_PF_MONO8:
            return target == TAV_PF_YUV420P ? targetBytes(target, n) : 0;
        case TAV_PF_MONO4P:
        case TAV_PF_YUV411_8_UYYVYY:
        case TAV_PF_YUV422_8_UYVY:
        case TAV_PF_YUV422_8:
        case TAV_PF_YUV8_UYV:
            return among(target, yuv) ? targetBytes(target, n) : 0;
        case TAV_PF_YUV420P:
            return among(target, {TAV_PF_RGB8, TAV_PF_BGR8}) ? targetBytes(target, n) : 0;
        case TAV_PF_YUV420SP_NV12:
            return among(target, {TAV_PF_RGB8, TAV_PF_BGR8, TAV_PF_RGBA8, TAV_PF_BGRA8})
                       ? targetBytes(target, n)
                       : 0;
        case TAV_PF_RGB8:
        case TAV_PF_BGR8:
            return targetBytes(target, n);
        default:
            return 0;
    }
}

// Any size, the entry checks none: mostly small, sometimes 1..3, zero,
// negative or huge.
int32_t size(tavfuzz::Input& in) {
    static constexpr int32_t kEdges[] = {INT_MIN, -4, -3,    -2,    -1,    0,      1,
                                         2,       3,  32768, 65535, 65536, INT_MAX};
    const uint8_t b = in.byte();
    return b < 208 ? 1 + b % 40 : kEdges[b % (sizeof kEdges / sizeof kEdges[0])];
}

int run(const uint8_t* data, size_t bytes) {
    tavfuzz::Input in(data, bytes);
    const uint32_t source = in.pick(kSources);
    const uint64_t target = in.pick(kTargets);
    const int32_t height = size(in), width = size(in);
    const uint8_t nulls = in.byte();

    constexpr int64_t kLimit = int64_t{1} << 17;  // big frames only slow the search down
    // Pixel count as the converters form it: the 32-bit product.
    const int32_t n32 =
        static_cast<int32_t>(static_cast<uint32_t>(height) * static_cast<uint32_t>(width));
    if (height > 0 && width > 0 && int64_t{height} * width > kLimit) return 0;
    if (n32 > kLimit) return 0;  // wrapped to a positive count no buffer could hold
    const int64_t n = n32 > 0 ? n32 : 0;

    tavfuzz::Buffer src(static_cast<size_t>(sourceBytes(source, n)));
    in.fill(src.data(), src.size);
    tavfuzz::Buffer dst(static_cast<size_t>(destinationBytes(source, target, n)));

    const TavImage s{height, width, source, nulls == 1 ? nullptr : src.data(), 5};
    TavImage d{3, 2, TAV_PF_MONO16, nulls == 2 ? nullptr : dst.data(), 1};
    const int32_t result =
        tavImageTypeConvert(nulls == 3 ? nullptr : &s, nulls == 4 ? nullptr : &d, target);
    if (nulls >= 1 && nulls <= 4 && result != TAV_E_NULL_POINTER) abort();
    // Neither record is written.
    if (d.height != 3 || d.width != 2 || d.pixelFormat != TAV_PF_MONO16 || d.pitch != 1) abort();
    return 0;
}

}  // namespace convert_target

// ---- bmp: tavBMPAdjust on random records; the buffer holds exactly the padded rows, and
// the result is checked against the rows it started from.
namespace bmp_target {

int run(const uint8_t* data, size_t size) {
    tavfuzz::Input in(data, size);
    const int32_t height = in.dimension(), width = in.dimension();
    const uint8_t nulls = in.byte();

    const bool valid = height > 3 && width > 3;
    // No pixel-count check here: the buffer is the caller's, so any size it can hold is fine.
    if (valid && int64_t{height} * width > (int64_t{1} << 17)) return 0;
    const int64_t rowBytes = valid ? 3 * int64_t{width} : 0;
    const int64_t padded = (rowBytes + 3) / 4 * 4;
    tavfuzz::Buffer image(static_cast<size_t>(valid ? height * padded : 0));
    in.fill(image.data(), image.size);
    const std::vector<uint8_t> before(image.data(), image.data() + image.size);

    const int handle = 0;
    TavImage record{height, width, TAV_PF_BGR8, nulls == 1 ? nullptr : image.data(), 1};
    const int32_t result =
        tavBMPAdjust(nulls == 2 ? nullptr : &handle, nulls == 3 ? nullptr : &record);
    if (record.height != height || record.width != width || record.pixelFormat != TAV_PF_BGR8 ||
        record.pitch != 1)
        abort();
    if (result != TAV_OK) {
        if (image.size && std::memcmp(before.data(), image.data(), image.size) != 0) abort();
        return 0;
    }
    // Each compact row now starts a padded row and is followed by zero bytes.
    for (int64_t r = 0; r < height; ++r) {
        const uint8_t* row = image.data() + r * padded;
        if (std::memcmp(row, before.data() + r * rowBytes, static_cast<size_t>(rowBytes)) != 0)
            abort();
        for (int64_t k = rowBytes; k < padded; ++k) {
            if (row[k] != 0) abort();
        }
    }
    return 0;
}

}  // namespace bmp_target

// ---- lsc_apply: tavLSCorrection with random formats, modes, coefficient records whose size
// matches the frame or not, separate or shared destinations. Accepted calls are
// checked sample by sample against the correction formula.
namespace lsc_apply_target {

constexpr uint32_t kFormats[] = {
    TAV_PF_MONO8,     TAV_PF_BAYER_GR8,  TAV_PF_BAYER_RG8,  TAV_PF_BAYER_GB8,
    TAV_PF_BAYER_BG8, TAV_PF_MONO10,     TAV_PF_BAYER_GR10, TAV_PF_BAYER_BG10,
    TAV_PF_MONO12,    TAV_PF_BAYER_RG12, TAV_PF_BAYER_GB12, TAV_PF_MONO16,
    TAV_PF_MONO14,    TAV_PF_RGB8,       TAV_PF_BAYER_RG16, 0u};

constexpr uint32_t kModes[] = {0, 1, 0, 1, 2, 0x80000000u};

// Bits per sample of the formats the correction handles, 0 for the rest.
int depth(uint32_t format) {
    switch (format) {
        case TAV_PF_MONO8:
        case TAV_PF_BAYER_GR8:
        case TAV_PF_BAYER_RG8:
        case TAV_PF_BAYER_GB8:
        case TAV_PF_BAYER_BG8:
            return 8;
        case TAV_PF_MONO10:
        case TAV_PF_BAYER_GR10:
        case TAV_PF_BAYER_BG10:
            return 10;
        case TAV_PF_MONO12:
        case TAV_PF_BAYER_RG12:
        case TAV_PF_BAYER_GB12:
            return 12;
        default:
            return 0;
    }
}

uint32_t corrected(uint32_t sample, uint32_t word, int bits) {
    const uint32_t gain = word >> 12, offset12 = word & 0xFFF;
    if (bits == 8) {
        const int32_t v = ((static_cast<int32_t>(sample) - static_cast<int32_t>(offset12 >> 4)) *
                               static_cast<int32_t>(gain) +
                           65536) >>
                          17;
        return v < 0 ? 0 : v > 255 ? 255 : static_cast<uint32_t>(v);
    }
    const uint32_t difference = sample - (offset12 >> (12 - bits));  // wraps below the offset
    const uint64_t v = (uint64_t{difference} * gain + 65536) >> 17;
    const uint64_t ceiling = (1u << bits) - 1;
    return static_cast<uint32_t>(v < ceiling ? v : ceiling);
}

int run(const uint8_t* data, size_t size) {
    tavfuzz::Input in(data, size);
    const uint32_t format = in.pick(kFormats);
    const uint32_t mode = in.pick(kModes);
    const int32_t height = in.dimension(), width = in.dimension();
    const uint8_t shape = in.byte();  // which sizes match, shared buffer, null pointers
    uint32_t paramHeight = static_cast<uint32_t>(height), paramWidth = static_cast<uint32_t>(width);
    if (shape & 1) paramHeight = static_cast<uint32_t>(in.dimension());
    if (shape & 2) paramWidth = static_cast<uint32_t>(in.dimension());
    int32_t dstHeight = height, dstWidth = width;
    if (shape & 4) dstHeight = in.dimension();
    const bool shared = shape & 8;
    const int nulls = shape >> 4;

    constexpr int64_t kLimit = int64_t{1} << 17;
    const int32_t n32 =
        static_cast<int32_t>(static_cast<uint32_t>(height) * static_cast<uint32_t>(width));
    if (height > 0 && width > 0 && int64_t{height} * width > kLimit) return 0;
    if (n32 > kLimit) return 0;
    const int64_t n = n32 > 0 ? n32 : 0;

    // The record holds as many words as its own mode and sizes call for.
    uint64_t words = 0;
    if (mode == 1) words = uint64_t{paramHeight} * paramWidth;
    if (mode == 0) words = uint64_t{paramHeight / 2} * (paramWidth / 2);
    if (words > uint64_t{kLimit}) return 0;

    const int bits = depth(format);
    const int64_t sampleBytes = bits == 8 ? 1 : bits ? 2 : 0;
    tavfuzz::Buffer src(static_cast<size_t>(n * sampleBytes));
    tavfuzz::Buffer dst(static_cast<size_t>(n * sampleBytes));
    tavfuzz::Buffer record(static_cast<size_t>(12 + 4 * words));
    in.fill(record.data(), record.size);
    in.fill(src.data(), src.size);
    // Samples within the frame's depth.
    if (sampleBytes == 2) {
        for (int64_t i = 0; i < n; ++i)
            src.data()[2 * i + 1] &= static_cast<uint8_t>((1u << (bits - 8)) - 1);
    }
    for (size_t i = 0; i < dst.size; ++i)
        dst.data()[i] = static_cast<uint8_t>(src.data()[i] ^ 0x5A);
    auto* parameter = reinterpret_cast<TavLscParameter*>(record.data());
    parameter->mode = mode;
    parameter->height = paramHeight;
    parameter->width = paramWidth;

    const std::vector<uint8_t> before(src.data(), src.data() + src.size);
    const std::vector<uint8_t> dstBefore(dst.data(), dst.data() + dst.size);
    uint8_t* out = shared ? src.data() : dst.data();
    const TavImage s{height, width, format, nulls == 1 ? nullptr : src.data(), 4};
    const TavImage d{dstHeight, dstWidth, format, nulls == 2 ? nullptr : out, 4};
    const int32_t result = tavLSCorrection(nulls == 3 ? nullptr : &s, nulls == 4 ? nullptr : &d,
                                           nulls == 5 ? nullptr : parameter);
    if (result != TAV_OK || !bits) {
        // Nothing written.
        if (src.size && std::memcmp(src.data(), before.data(), src.size) != 0) abort();
        if (dst.size && std::memcmp(dst.data(), dstBefore.data(), dst.size) != 0) abort();
        return 0;
    }
    if (!shared && src.size && std::memcmp(src.data(), before.data(), src.size) != 0) abort();
    if (n == 0) return 0;  // an empty frame (e.g. INT_MAX rows of width 0): nothing to compare
    const uint8_t* kept = shared ? before.data() : dstBefore.data();
    for (int32_t r = 0; r < height; ++r) {
        for (int32_t c = 0; c < width; ++c) {
            const size_t i = static_cast<size_t>(r) * width + c;
            uint32_t sample = before[i * sampleBytes], now = out[i * sampleBytes],
                     old = kept[i * sampleBytes];
            if (sampleBytes == 2) {
                sample |= uint32_t{before[2 * i + 1]} << 8;
                now |= uint32_t{out[2 * i + 1]} << 8;
                old |= uint32_t{kept[2 * i + 1]} << 8;
            }
            // Bayer cells cover the even part of the frame; the rest is kept.
            const bool inCell = mode == 1 || (r < height / 2 * 2 && c < width / 2 * 2);
            const size_t word = mode == 1 ? i : static_cast<size_t>(r / 2) * (width / 2) + c / 2;
            const uint32_t want =
                inCell ? corrected(sample, parameter->coefficients[word], bits) : old;
            if (now != want) abort();
        }
    }
    return 0;
}

}  // namespace lsc_apply_target

// ---- lsc_estimate: tavGetLSCParameter with random records (modes, depths, sizes around the
// 32-pixel minimum and odd ones) and flat-field and dark frames holding any
// float, NaN and infinities included. The coefficient table holds exactly the
// words the record asks for.
namespace lsc_estimate_target {

constexpr uint32_t kModes[] = {0, 1, 0, 1, 2, 0xFFFFFFFFu};
constexpr uint32_t kBits[] = {8, 10, 12, 8, 10, 12, 0, 11, 16, 31, 32};

// Mostly just above the minimum, sometimes a boundary value.
int32_t side(tavfuzz::Input& in) {
    static constexpr int32_t kEdges[] = {INT_MIN, -32, 0, 30, 31, 32, 33, 34, 65536, INT_MAX};
    const uint8_t b = in.byte();
    return b < 220 ? 28 + b % 40 : kEdges[b % (sizeof kEdges / sizeof kEdges[0])];
}

int run(const uint8_t* data, size_t size) {
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

}  // namespace lsc_estimate_target

// ---- lsc_basic: tavGetBasicLSCParameter with random records: modes, depths, region counts,
// block sizes valid and not, sizes around the 32-pixel minimum, flat fields and
// dark levels holding any float. The table holds exactly three bytes a block.
namespace lsc_basic_target {

constexpr uint32_t kModes[] = {0, 0, 0, 1, 2, 0xFFFFFFFFu};
constexpr int32_t kBits[] = {8, 10, 12, 8, 10, 12, 0, 9, 11, 16, -12};
constexpr int32_t kRegions[] = {2, 3, 4, 2, 3, 4, 0, 1, 5, -3, INT_MIN};
constexpr int32_t kBlockWidths[] = {16, 32, 16, 32, 0, 8, 24, 64, -16};
constexpr int32_t kBlockHeights[] = {16, 16, 16, 0, 8, 32, -16};
// clang-format off
constexpr float kDarkLevels[] = {
    0.0f, 1.0f, 10.0f, 64.5f, 255.0f, 4095.0f, -5.0f, 1e30f, -1e30f, __builtin_nanf(""),
    __builtin_inff(), -__builtin_inff()
};
// clang-format on

int32_t side(tavfuzz::Input& in) {
    static constexpr int32_t kEdges[] = {INT_MIN, -32, 0, 30, 31, 32, 33, 47, 48, 65536, INT_MAX};
    const uint8_t b = in.byte();
    return b < 220 ? 28 + b % 72 : kEdges[b % (sizeof kEdges / sizeof kEdges[0])];
}

int run(const uint8_t* data, size_t size) {
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

}  // namespace lsc_basic_target

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return TAV_FUZZ_TARGET::run(data, size);
}
