// tavImageTypeConvert with every source and target code, unknown ones among
// them, over odd, even, tiny and negative sizes.
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <initializer_list>

#include "fuzz_input.h"
#include "tav.h"

namespace {

constexpr uint32_t kSources[] = {
    TAV_PF_MONO1P,          TAV_PF_MONO4P,    TAV_PF_MONO8,         TAV_PF_MONO1C,
    TAV_PF_YUV411_8_UYYVYY, TAV_PF_YUV420P,   TAV_PF_YUV420SP_NV12, TAV_PF_YUV422_8_UYVY,
    TAV_PF_YUV422_8,        TAV_PF_YUV8_UYV,  TAV_PF_RGB8,          TAV_PF_BGR8,
    TAV_PF_RGBA8,           TAV_PF_BAYER_RG8, TAV_PF_MONO16,        0u};

constexpr uint64_t kTargets[] = {TAV_PF_MONO8,
                                 TAV_PF_RGB8,
                                 TAV_PF_BGR8,
                                 TAV_PF_RGBA8,
                                 TAV_PF_BGRA8,
                                 TAV_PF_YUV8_UYV,
                                 TAV_PF_YUV411_8_UYYVYY,
                                 TAV_PF_YUV422_8_UYVY,
                                 TAV_PF_YUV422_8,
                                 TAV_PF_YUV420P,
                                 TAV_PF_YUV420SP_NV12,
                                 TAV_PF_MONO1P,
                                 TAV_PF_RGB8_PLANAR,
                                 TAV_PF_RGB16,
                                 uint64_t{0xFFFFFFFF} << 32 | TAV_PF_YUV420P,  // sign-extended
                                 uint64_t{1} << 32 | TAV_PF_RGB8,
                                 0};

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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t bytes) {
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
