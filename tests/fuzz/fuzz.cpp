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
#include "tav_api.h"

namespace tavfuzz {

constexpr float kNaN = __builtin_nanf(""), kInf = __builtin_inff();
// Big frames only slow the search down; the checks before them are what matters.
constexpr int64_t kLimit = int64_t{1} << 17;

class Input {
  public:
    Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}

    uint8_t byte() { return pos_ < size_ ? data_[pos_++] : 0; }
    template <typename T, size_t N>
    T pick(const T (&table)[N]) {
        return table[byte() % N];
    }
    // Mostly base + byte % span, sometimes (a byte from `common` up) a boundary value.
    template <size_t N>
    int32_t around(uint8_t common, int32_t base, int32_t span, const int32_t (&edges)[N]) {
        const uint8_t b = byte();
        return b < common ? base + b % span : edges[b % N];
    }
    // A dimension: mostly small frames, sometimes a boundary value.
    int32_t dimension() {
        static constexpr int32_t kEdges[] = {
            INT_MIN, -1, 0, 1, 2, 3, 4, 5, 6, 7, 16, 17, 31, 32, 33, 32768, 65536, 65535, INT_MAX};
        return around(224, 4, 45, kEdges);
    }
    // Byte i of the rest of the input, repeated (a fixed pattern when none is left).
    uint8_t rest(size_t i) const {
        const size_t n = size_ - pos_;
        return n ? data_[pos_ + i % n] : uint8_t(i * 151);
    }
    void fill(uint8_t* p, size_t n) const {
        for (size_t i = 0; i < n; ++i) p[i] = rest(i);
    }
    // Floats from the rest of the input (starting `skew` bytes in): mostly small
    // whole values, sometimes a value a camera never gives (NaN, infinities,
    // negatives, huge or subnormal values).
    void fillFloats(float* p, size_t n, size_t skew) const {
        static constexpr float kOdd[] = {kNaN,   kInf, -kInf,   -1.0f,    -1e30f, 1e30f,
                                         1e-42f, 0.5f, 4095.5f, 65535.0f, 3e9f,   -3e9f,
                                         1e-30f, 2.0f, 0.0f,    -0.0f};
        for (size_t i = 0; i < n; ++i) {
            const uint8_t b = rest(i + skew);
            p[i] = b < 240 ? float(b) : kOdd[b - 240];
        }
    }

  private:
    const uint8_t* data_;
    size_t size_;
    size_t pos_ = 0;
};

// A heap buffer of exactly `n` bytes (at least one, so that data is not null),
// and a copy of what it held to check against.
struct Buffer {
    explicit Buffer(int64_t n) : size(size_t(n)), bytes(new uint8_t[n ? n : 1]) {}
    size_t size;
    std::unique_ptr<uint8_t[]> bytes;
    uint8_t* data() { return bytes.get(); }
    float* floats() { return reinterpret_cast<float*>(bytes.get()); }
    std::vector<uint8_t> copy() const { return {bytes.get(), bytes.get() + size}; }
    bool holds(const std::vector<uint8_t>& v) const {
        return !size || std::memcmp(bytes.get(), v.data(), size) == 0;
    }
};

// The pixel count as 32-bit code forms it.
inline int32_t product32(int32_t height, int32_t width) {
    return static_cast<int32_t>(static_cast<uint32_t>(height) * static_cast<uint32_t>(width));
}

// Pixels of a frame the entries may touch: 0 for sizes refused before any
// access, -1 for frames too big to try (counts wrapped past 32 bits and
// positive, or above the limit).
inline int64_t pixels(int32_t height, int32_t width) {
    const int32_t n32 = product32(height, width);
    if ((height > 0 && width > 0 && int64_t{height} * width > kLimit) || n32 > kLimit) return -1;
    return n32 > 0 ? n32 : 0;
}

inline bool among(uint64_t v, std::initializer_list<uint64_t> set) {
    return std::find(set.begin(), set.end(), v) != set.end();
}

// `p` unless `nulls` selects it (`which`).
template <typename T>
T* unless(int nulls, int which, T* p) {
    return nulls == which ? nullptr : p;
}

inline void require(bool ok) {
    if (!ok) abort();
}

}  // namespace tavfuzz

using namespace tavfuzz;

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

int run(const uint8_t* data, size_t size) {
    Input in(data, size);
    const uint32_t format = in.pick(kFormats);
    const uint64_t output = in.pick(kOutputs);
    const uint8_t m = in.byte();
    const uint32_t method = m < 240 ? m % 3 : m;
    const int32_t height = in.dimension(), width = in.dimension();
    const uint8_t p = in.byte();

    // Bytes of one compact source row: 16-bit words, packed pairs, else bytes.
    const uint32_t kind = format >> 16;
    const int64_t compact = width <= 0       ? 0
                            : kind == 0x0110 ? 2 * int64_t{width}
                            : kind == 0x010C ? int64_t{width} + (width >> 1)
                                             : width;
    // Pitches at least the compact row (the caller's side), or small ones the entry refuses.
    const int32_t pitch =
        p < 240 ? static_cast<int32_t>(compact + p % 8) : static_cast<int32_t>(p % 5) - 1;
    // A pixel count that reads as negative in 32 bits is refused before any access.
    const bool valid = height > 3 && width > 3 && pitch > 3 && product32(height, width) >= 0;
    const int64_t n = valid ? int64_t{height} * width : 0;
    if (n > (int64_t{1} << 18)) return 0;

    // A compact packed frame is read as one run of sample pairs.
    const bool run = valid && kind == 0x010C && pitch == compact;
    Buffer src(!valid ? 1 : std::max<int64_t>(int64_t{height} * pitch, run ? (n + 1) / 2 * 3 : 0));
    in.fill(src.data(), src.size);
    const bool alpha = output == TAV_PF_RGBA8 || output == TAV_PF_BGRA8;
    Buffer dst(valid ? n * (output == TAV_PF_MONO8 ? 1 : alpha ? 4 : 3) : 1);

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

int run(const uint8_t* data, size_t size) {
    Input in(data, size);
    const uint32_t format = in.pick(kFormats);
    TavDemosaicU16Config config{};
    config.outputFormat = in.pick(kOutputs);
    const uint8_t m = in.byte();
    config.method = m < 240 ? m % 4 : uint32_t{m} << 24 | m;
    config.bitDepth = 8 + in.byte() % 10;
    const int32_t height = in.dimension(), width = in.dimension();
    const uint8_t p = in.byte();
    // Frames past the limit whose count does not read as negative are not tried.
    if (height > 0 && width > 0 && int64_t{height} * width > kLimit &&
        product32(height, width) >= 0)
        return 0;

    // The pitch only has to exceed 3: rows are read compact whatever it says.
    const int32_t pitch =
        p < 240 ? static_cast<int32_t>(std::min<int64_t>(2 * int64_t{width} + p % 8, INT32_MAX))
                : int32_t{p % 5} - 1;
    const bool valid = height > 3 && width > 3 && pitch > 3;
    const int64_t n = valid ? int64_t{height} * width : 0;
    if (n > kLimit) return 0;

    Buffer src(2 * n);
    in.fill(src.data(), src.size);
    // Words per pixel the destination must hold (all sources here are 16-bit
    // words; Mono outputs take Mono sources); 0 where the call writes nothing.
    const uint64_t out = static_cast<uint32_t>(config.outputFormat);
    const int words =
        (format >> 16) != 0x0110                                                             ? 0
        : among(out, {TAV_PF_RGB10, TAV_PF_BGR10, TAV_PF_RGB12, TAV_PF_BGR12, TAV_PF_RGB16}) ? 3
        : among(out, {TAV_PF_MONO10, TAV_PF_MONO12, TAV_PF_MONO14, TAV_PF_MONO16}) &&
                among(format, {TAV_PF_MONO10, TAV_PF_MONO12, TAV_PF_MONO14, TAV_PF_MONO16})
            ? 1
            : 0;
    Buffer dst(2 * n * words);

    TavImage s{height, width, format, src.data(), pitch};
    const TavImage d{7, 9, TAV_PF_BGR8, dst.data(), 11};
    tavDemosaicingU16(&config, &s, &d);
    // Neither record is written.
    require(d.height == 7 && d.width == 9 && d.pixelFormat == TAV_PF_BGR8 && d.pitch == 11 &&
            s.height == height && s.width == width && s.pixelFormat == format && s.pitch == pitch);
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

// Source bytes of an image of n pixels.
int64_t sourceBytes(uint32_t format, int64_t n) {
    if (format == TAV_PF_MONO1P) return (n + 7) / 8;
    if (format == TAV_PF_MONO4P) return (n + 1) / 2;
    if (format == TAV_PF_MONO8) return n;
    // point records until a zero one; the first is always read
    if (format == TAV_PF_MONO1C) return 4 * std::max<int64_t>(1, (n + 3) / 4);
    if (among(format, {TAV_PF_YUV411_8_UYYVYY, TAV_PF_YUV420P, TAV_PF_YUV420SP_NV12}))
        return (3 * n + 1) / 2;
    if (among(format, {TAV_PF_YUV422_8_UYVY, TAV_PF_YUV422_8})) return 2 * n;
    return among(format, {TAV_PF_YUV8_UYV, TAV_PF_RGB8, TAV_PF_BGR8}) ? 3 * n : 0;
}

// Bytes of n pixels in a target format; 0 for codes that are not targets.
int64_t targetBytes(uint64_t target, int64_t n) {
    if (target == TAV_PF_MONO8) return n;
    if (among(target, {TAV_PF_RGB8, TAV_PF_BGR8, TAV_PF_YUV8_UYV})) return 3 * n;
    if (among(target, {TAV_PF_RGBA8, TAV_PF_BGRA8})) return 4 * n;
    if (target == TAV_PF_YUV411_8_UYYVYY) return (3 * n + 1) / 2;
    if (among(target, {TAV_PF_YUV422_8_UYVY, TAV_PF_YUV422_8})) return 2 * n;
    return target == TAV_PF_YUV420P ? n + 2 * (n / 4) : 0;
}

// The destination the caller provides: sized for the target where the source
// converts to it, nothing where the call must not write.
int64_t destinationBytes(uint32_t source, uint64_t target, int64_t n) {
    const int64_t bytes = targetBytes(target, n);
    if (source == TAV_PF_MONO1P) return target == TAV_PF_MONO8 ? n : 0;
    if (source == TAV_PF_MONO1C) return n;  // cleared before the target is looked at
    if (source == TAV_PF_MONO8) return target == TAV_PF_YUV420P ? bytes : 0;
    if (among(source, {TAV_PF_MONO4P, TAV_PF_YUV411_8_UYYVYY, TAV_PF_YUV422_8_UYVY, TAV_PF_YUV422_8,
                       TAV_PF_YUV8_UYV}))
        return among(target, {TAV_PF_MONO8, TAV_PF_RGB8, TAV_PF_BGR8, TAV_PF_RGBA8, TAV_PF_BGRA8})
                   ? bytes
                   : 0;
    if (source == TAV_PF_YUV420P) return among(target, {TAV_PF_RGB8, TAV_PF_BGR8}) ? bytes : 0;
    if (source == TAV_PF_YUV420SP_NV12)
        return among(target, {TAV_PF_RGB8, TAV_PF_BGR8, TAV_PF_RGBA8, TAV_PF_BGRA8}) ? bytes : 0;
    return among(source, {TAV_PF_RGB8, TAV_PF_BGR8}) ? bytes : 0;
}

int run(const uint8_t* data, size_t bytes) {
    Input in(data, bytes);
    const uint32_t source = in.pick(kSources);
    const uint64_t target = in.pick(kTargets);
    // Any size, the entry checks none: mostly small, sometimes 1..3, zero,
    // negative or huge.
    static constexpr int32_t kEdges[] = {INT_MIN, -4, -3,    -2,    -1,    0,      1,
                                         2,       3,  32768, 65535, 65536, INT_MAX};
    const int32_t height = in.around(208, 1, 40, kEdges), width = in.around(208, 1, 40, kEdges);
    const uint8_t nulls = in.byte();
    const int64_t n = pixels(height, width);
    if (n < 0) return 0;

    Buffer src(sourceBytes(source, n));
    in.fill(src.data(), src.size);
    Buffer dst(destinationBytes(source, target, n));

    const TavImage s{height, width, source, unless(nulls, 1, src.data()), 5};
    TavImage d{3, 2, TAV_PF_MONO16, unless(nulls, 2, dst.data()), 1};
    const int32_t result = tavImageTypeConvert(unless(nulls, 3, &s), unless(nulls, 4, &d), target);
    require(nulls < 1 || nulls > 4 || result == TAV_E_NULL_POINTER);
    // Neither record is written.
    require(d.height == 3 && d.width == 2 && d.pixelFormat == TAV_PF_MONO16 && d.pitch == 1);
    return 0;
}

}  // namespace convert_target

// ---- bmp: tavBMPAdjust on random records; the buffer holds exactly the padded rows, and
// the result is checked against the rows it started from.
namespace bmp_target {

int run(const uint8_t* data, size_t size) {
    Input in(data, size);
    const int32_t height = in.dimension(), width = in.dimension();
    const uint8_t nulls = in.byte();

    const bool valid = height > 3 && width > 3;
    // No pixel-count check here: the buffer is the caller's, so any size it can hold is fine.
    if (valid && int64_t{height} * width > kLimit) return 0;
    const int64_t rowBytes = valid ? 3 * int64_t{width} : 0;
    const int64_t padded = (rowBytes + 3) / 4 * 4;
    Buffer image(valid ? height * padded : 0);
    in.fill(image.data(), image.size);
    const std::vector<uint8_t> before = image.copy();

    const int handle = 0;
    TavImage record{height, width, TAV_PF_BGR8, unless(nulls, 1, image.data()), 1};
    const int32_t result = tavBMPAdjust(unless(nulls, 2, &handle), unless(nulls, 3, &record));
    require(record.height == height && record.width == width && record.pixelFormat == TAV_PF_BGR8 &&
            record.pitch == 1);
    require(result == TAV_OK || image.holds(before));
    if (result != TAV_OK) return 0;
    // Each compact row now starts a padded row and is followed by zero bytes.
    for (int64_t r = 0; r < height; ++r) {
        const uint8_t* row = image.data() + r * padded;
        require(std::memcmp(row, before.data() + r * rowBytes, size_t(rowBytes)) == 0);
        require(std::all_of(row + rowBytes, row + padded, [](uint8_t b) { return b == 0; }));
    }
    return 0;
}

}  // namespace bmp_target

// ---- lsc_apply: tavLSCorrection with random formats, modes, coefficient records whose size
// matches the frame or not, separate or shared destinations. Accepted calls
// leave the samples outside the Bayer cells as they were (the unit tests pin
// the formula itself).
namespace lsc_apply_target {

constexpr uint32_t kFormats[] = {
    TAV_PF_MONO8,     TAV_PF_BAYER_GR8,  TAV_PF_BAYER_RG8,  TAV_PF_BAYER_GB8,
    TAV_PF_BAYER_BG8, TAV_PF_MONO10,     TAV_PF_BAYER_GR10, TAV_PF_BAYER_BG10,
    TAV_PF_MONO12,    TAV_PF_BAYER_RG12, TAV_PF_BAYER_GB12, TAV_PF_MONO16,
    TAV_PF_MONO14,    TAV_PF_RGB8,       TAV_PF_BAYER_RG16, 0u};

constexpr uint32_t kModes[] = {0, 1, 0, 1, 2, 0x80000000u};

int run(const uint8_t* data, size_t size) {
    Input in(data, size);
    const uint32_t format = in.pick(kFormats);
    const uint32_t mode = in.pick(kModes);
    const int32_t height = in.dimension(), width = in.dimension();
    const uint8_t shape = in.byte();  // which sizes match, shared buffer, null pointers
    uint32_t paramHeight = uint32_t(height), paramWidth = uint32_t(width);
    if (shape & 1) paramHeight = uint32_t(in.dimension());
    if (shape & 2) paramWidth = uint32_t(in.dimension());
    const int32_t dstHeight = shape & 4 ? in.dimension() : height, dstWidth = width;
    const bool shared = shape & 8;
    const int nulls = shape >> 4;

    const int64_t n = pixels(height, width);
    if (n < 0) return 0;
    // The record holds as many words as its own mode and sizes call for.
    const uint64_t words = mode == 1   ? uint64_t{paramHeight} * paramWidth
                           : mode == 0 ? uint64_t{paramHeight / 2} * (paramWidth / 2)
                                       : 0;
    if (words > uint64_t{kLimit}) return 0;

    // Bits per sample of the formats the correction handles, 0 for the rest.
    const int bits = format >> 16 == 0x0108                                                 ? 8
                     : among(format, {TAV_PF_MONO10, TAV_PF_BAYER_GR10, TAV_PF_BAYER_BG10}) ? 10
                     : among(format, {TAV_PF_MONO12, TAV_PF_BAYER_RG12, TAV_PF_BAYER_GB12}) ? 12
                                                                                            : 0;
    const int64_t sampleBytes = bits == 8 ? 1 : bits ? 2 : 0;
    Buffer src(n * sampleBytes), dst(n * sampleBytes), record(12 + 4 * words);
    in.fill(record.data(), record.size);
    in.fill(src.data(), src.size);
    // Samples within the frame's depth.
    for (int64_t i = 0; sampleBytes == 2 && i < n; ++i)
        src.data()[2 * i + 1] &= static_cast<uint8_t>((1u << (bits - 8)) - 1);
    for (size_t i = 0; i < dst.size; ++i) dst.data()[i] = uint8_t(src.data()[i] ^ 0x5A);
    auto* parameter = reinterpret_cast<TavLscParameter*>(record.data());
    parameter->mode = mode;
    parameter->height = paramHeight;
    parameter->width = paramWidth;

    const std::vector<uint8_t> before = src.copy(), dstBefore = dst.copy();
    uint8_t* out = shared ? src.data() : dst.data();
    const TavImage s{height, width, format, unless(nulls, 1, src.data()), 4};
    const TavImage d{dstHeight, dstWidth, format, unless(nulls, 2, out), 4};
    const int32_t result =
        tavLSCorrection(unless(nulls, 3, &s), unless(nulls, 4, &d), unless(nulls, 5, parameter));
    if (result != TAV_OK || !bits) {  // nothing written
        require(src.holds(before) && dst.holds(dstBefore));
        return 0;
    }
    require(shared || src.holds(before));
    const uint8_t* kept = shared ? before.data() : dstBefore.data();
    auto sample = [&](const uint8_t* p, size_t i) {
        return sampleBytes == 2 ? uint32_t(p[2 * i] | p[2 * i + 1] << 8) : uint32_t(p[i]);
    };
    // An empty frame (e.g. INT_MAX rows of width 0) has nothing to compare.
    for (int32_t r = 0; n && mode == 0 && r < height; ++r) {
        for (int32_t c = r < height / 2 * 2 ? width / 2 * 2 : 0; c < width; ++c)
            require(sample(out, size_t(r) * width + c) == sample(kept, size_t(r) * width + c));
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
constexpr int32_t kEdges[] = {INT_MIN, -32, 0, 30, 31, 32, 33, 34, 65536, INT_MAX};

int run(const uint8_t* data, size_t size) {
    Input in(data, size);
    TavLscInput input{};
    input.mode = in.pick(kModes);
    input.bits = in.pick(kBits);
    // Sides mostly just above the minimum, sometimes a boundary value.
    input.height = in.around(220, 28, 40, kEdges);
    input.width = in.around(220, 28, 40, kEdges);
    const uint8_t nulls = in.byte();

    const int32_t height = input.height, width = input.width;
    const bool valid = height > 31 && width > 31;
    const int64_t n = valid ? int64_t{height} * width : 0;
    if (n > kLimit) return 0;

    Buffer grey(4 * n), dark(4 * n);
    in.fillFloats(grey.floats(), size_t(n), 0);
    in.fillFloats(dark.floats(), size_t(n), 7);
    input.grey = unless(nulls, 1, grey.floats());
    input.dark = unless(nulls, 2, dark.floats());

    // One word per pixel, or per 2 x 2 cell; the three header fields before them.
    const bool accepted = valid && input.mode <= 1 && height % 2 == 0 && width % 2 == 0;
    Buffer table(12 + 4 * (!accepted ? 0 : input.mode == 1 ? n : n / 4));
    auto* parameter = reinterpret_cast<TavLscParameter*>(table.data());
    parameter->mode = 77;
    parameter->height = parameter->width = 99;

    const int32_t result =
        tavGetLSCParameter(unless(nulls, 3, &input), unless(nulls, 4, parameter));
    const bool nullGiven = nulls >= 1 && nulls <= 4;
    require(nullGiven == (result == TAV_E_NULL_POINTER));
    require((result == TAV_OK) == (accepted && !nullGiven));
    const bool ok = result == TAV_OK;  // the header is written only then
    require(parameter->mode == (ok ? input.mode : 77) &&
            parameter->height == (ok ? uint32_t(height) : 99) &&
            parameter->width == (ok ? uint32_t(width) : 99));
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
constexpr float kDarkLevels[] = {0.0f,  1.0f,  10.0f,  64.5f, 255.0f, 4095.0f,
                                 -5.0f, 1e30f, -1e30f, kNaN,  kInf,   -kInf};
constexpr int32_t kEdges[] = {INT_MIN, -32, 0, 30, 31, 32, 33, 47, 48, 65536, INT_MAX};

int run(const uint8_t* data, size_t size) {
    Input in(data, size);
    TavBasicLscInput input{};
    input.mode = in.pick(kModes);
    input.bits = in.pick(kBits);
    input.regionCount = in.pick(kRegions);
    input.height = in.around(220, 28, 72, kEdges);
    input.width = in.around(220, 28, 72, kEdges);
    input.blockWidth = in.pick(kBlockWidths);
    input.blockHeight = in.pick(kBlockHeights);
    input.darkLevel = in.pick(kDarkLevels);
    const uint8_t nulls = in.byte();

    const int32_t height = input.height, width = input.width;
    const bool valid = height > 31 && width > 31;
    const int64_t n = valid ? int64_t{height} * width : 0;
    if (n > kLimit) return 0;

    Buffer grey(4 * n);
    in.fillFloats(grey.floats(), size_t(n), 0);
    input.grey = unless(nulls, 1, grey.floats());

    // Three bytes per whole block; no table at all for a block shape it refuses.
    const bool blocks = among(input.blockWidth, {16, 32}) && input.blockHeight == 16;
    Buffer table(3 * (valid && blocks ? int64_t{height >> 4} * (width / input.blockWidth) : 0));
    std::memset(table.data(), 0xEE, table.size);
    const std::vector<uint8_t> before = table.copy();

    const int32_t result =
        tavGetBasicLSCParameter(unless(nulls, 2, &input), unless(nulls, 3, table.data()));
    const bool nullGiven = nulls >= 1 && nulls <= 3;
    require(nullGiven == (result == TAV_E_NULL_POINTER));
    const bool accepted = valid && input.mode == 0 && blocks && input.regionCount >= 2 &&
                          input.regionCount <= 4 && among(uint64_t(input.bits), {8, 10, 12});
    require((result == TAV_OK) == (accepted && !nullGiven));
    require(result == TAV_OK || table.holds(before));  // a refused call writes nothing
    return 0;
}

}  // namespace lsc_basic_target

// ---- frame_api: tavDemosaic, tavConvert and tavShadingApply with random frames:
// any format pair, sizes, strides and depths. Buffers hold exactly what
// tavFrameSize says the frame spans; a refused call writes nothing and has
// a reason, and no source is ever written.
namespace frame_api_target {

// clang-format off
constexpr uint32_t kFormats[] = {
    TAV_PF_MONO1P, TAV_PF_MONO4P, TAV_PF_MONO8, TAV_PF_BAYER_GR8, TAV_PF_BAYER_RG8,
    TAV_PF_BAYER_GB8, TAV_PF_BAYER_BG8, TAV_PF_MONO10_PACKED, TAV_PF_BAYER_RG12_PACKED,
    TAV_PF_BAYER_GB10_PACKED, TAV_PF_MONO12P, TAV_PF_BAYER_BG10P, TAV_PF_BAYER_GR12P,
    TAV_PF_MONO10, TAV_PF_MONO16, TAV_PF_BAYER_RG12, TAV_PF_BAYER_BG16, TAV_PF_BAYER_GR10,
    TAV_PF_YUV411_8_UYYVYY, TAV_PF_YUV420SP_NV12, TAV_PF_YUV420P, TAV_PF_YUV422_8_UYVY,
    TAV_PF_YUV422_8, TAV_PF_YUV8_UYV, TAV_PF_RGB8, TAV_PF_BGR8, TAV_PF_RGB8_PLANAR,
    TAV_PF_BGR8_PLANAR, TAV_PF_RGBA8, TAV_PF_BGRA8, TAV_PF_RGB10, TAV_PF_BGR12, TAV_PF_RGB16,
    TAV_PF_BGR16, TAV_PF_MONO14, TAV_PF_MONO1C, 0u};
// clang-format on
constexpr uint32_t kDepths[] = {0, 0, 0, 0, 8, 10, 12, 14, 16, 9, 17};

// A frame of a random format, its size given, rows `pad` bytes past compact
// (odd or negative pads included) unless the byte says compact.
TavFrame frame(Input& in, int32_t width, int32_t height) {
    TavFrame f;
    tavFrameInit(&f, in.pick(kFormats), width, height, nullptr);
    f.bitDepth = in.pick(kDepths);
    const uint8_t pad = in.byte();
    if (pad >= 128) {
        TavFrame compact = f;
        const size_t row = height > 0 ? tavFrameSize(&compact) / size_t(height) : 0;
        f.stride[0] = ptrdiff_t(row) + (pad & 63) - 8;
    }
    return f;
}

int run(const uint8_t* data, size_t size) {
    Input in(data, size);
    const uint8_t call = in.byte() % 3;
    const int32_t width = in.dimension(), height = in.dimension();
    if (pixels(height, width) < 0) return 0;
    TavFrame src = frame(in, width, height), dst = frame(in, width, height);
    if (in.byte() < 32) dst.width = in.dimension();
    TavOptions options;
    tavOptionsInit(&options);
    options.method = in.byte() % 5;
    options.threads = int32_t(in.byte() % 5) - 1;

    const size_t srcBytes = tavFrameSize(&src), dstBytes = tavFrameSize(&dst);
    if (srcBytes > size_t(16 * kLimit) || dstBytes > size_t(16 * kLimit)) return 0;
    Buffer a{int64_t(srcBytes)}, b{int64_t(dstBytes)};
    in.fill(a.data(), a.size);
    std::memset(b.data(), 0xEE, b.size);
    src.plane[0] = srcBytes ? a.data() : nullptr;
    dst.plane[0] = dstBytes ? b.data() : nullptr;
    const std::vector<uint8_t> source = a.copy(), before = b.copy();

    std::vector<uint32_t> words;
    TavShadingTable table{uint32_t(in.byte() % 3), width, height, nullptr};
    int32_t result;
    if (call == 0) {
        result = tavDemosaic(&src, &dst, &options);
    } else if (call == 1) {
        result = tavConvert(&src, &dst, &options);
    } else {
        words.assign(std::min<size_t>(tavShadingTableWords(table.mode, width, height), 1u << 20),
                     131072u);
        table.words = words.empty() ? nullptr : words.data();
        result = tavShadingApply(&src, &dst, &table, &options);
    }
    require(result <= 0 && tavResultText(result) != nullptr);
    require(result == TAV_OK || b.holds(before));  // a refused call writes nothing
    require(a.holds(source));                      // sources are read only
    return 0;
}

}  // namespace frame_api_target

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return TAV_FUZZ_TARGET::run(data, size);
}
