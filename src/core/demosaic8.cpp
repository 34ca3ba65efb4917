// The 8-bit demosaicing entry: checks, source mapping, scratch, normalisation.
#include "dispatch8.h"
#include "hq.h"
#include "report.h"

namespace tav {
namespace {

// How a source reaches 8 bits: 0 already 8-bit, -1 packed (two samples in
// three bytes), otherwise the right shift applied to a 16-bit container.
enum : int32_t { kClass8 = 0, kClassPacked = -1 };

struct SourceFormat {
    uint32_t code;
    uint32_t format8;
    int32_t normClass;
};

constexpr SourceFormat kSources[] = {
    {TAV_PF_MONO8, TAV_PF_MONO8, kClass8},
    {TAV_PF_BAYER_GR8, TAV_PF_BAYER_GR8, kClass8},
    {TAV_PF_BAYER_RG8, TAV_PF_BAYER_RG8, kClass8},
    {TAV_PF_BAYER_GB8, TAV_PF_BAYER_GB8, kClass8},
    {TAV_PF_BAYER_BG8, TAV_PF_BAYER_BG8, kClass8},
    {TAV_PF_MONO10, TAV_PF_MONO8, 2},
    {TAV_PF_BAYER_GR10, TAV_PF_BAYER_GR8, 2},
    {TAV_PF_BAYER_RG10, TAV_PF_BAYER_RG8, 2},
    {TAV_PF_BAYER_GB10, TAV_PF_BAYER_GB8, 2},
    {TAV_PF_BAYER_BG10, TAV_PF_BAYER_BG8, 2},
    {TAV_PF_MONO12, TAV_PF_MONO8, 4},
    {TAV_PF_BAYER_GR12, TAV_PF_BAYER_GR8, 4},
    {TAV_PF_BAYER_RG12, TAV_PF_BAYER_RG8, 4},
    {TAV_PF_BAYER_GB12, TAV_PF_BAYER_GB8, 4},
    {TAV_PF_BAYER_BG12, TAV_PF_BAYER_BG8, 4},
    {TAV_PF_MONO14, TAV_PF_MONO8, 6},
    {TAV_PF_MONO16, TAV_PF_MONO8, 8},
    {TAV_PF_BAYER_GR16, TAV_PF_BAYER_GR8, 8},
    {TAV_PF_BAYER_RG16, TAV_PF_BAYER_RG8, 8},
    {TAV_PF_BAYER_GB16, TAV_PF_BAYER_GB8, 8},
    {TAV_PF_BAYER_BG16, TAV_PF_BAYER_BG8, 8},
    {TAV_PF_MONO10_PACKED, TAV_PF_MONO8, kClassPacked},
    {TAV_PF_MONO12_PACKED, TAV_PF_MONO8, kClassPacked},
    {TAV_PF_BAYER_GR10_PACKED, TAV_PF_BAYER_GR8, kClassPacked},
    {TAV_PF_BAYER_RG10_PACKED, TAV_PF_BAYER_RG8, kClassPacked},
    {TAV_PF_BAYER_GB10_PACKED, TAV_PF_BAYER_GB8, kClassPacked},
    {TAV_PF_BAYER_BG10_PACKED, TAV_PF_BAYER_BG8, kClassPacked},
    {TAV_PF_BAYER_GR12_PACKED, TAV_PF_BAYER_GR8, kClassPacked},
    {TAV_PF_BAYER_RG12_PACKED, TAV_PF_BAYER_RG8, kClassPacked},
    {TAV_PF_BAYER_GB12_PACKED, TAV_PF_BAYER_GB8, kClassPacked},
    {TAV_PF_BAYER_BG12_PACKED, TAV_PF_BAYER_BG8, kClassPacked},
};

using FamilyEntry = int32_t (*)(const uint8_t*, uint8_t*, int32_t, int32_t, uint64_t, uint32_t,
                                uint8_t*);

struct Family {
    uint32_t format8;
    FamilyEntry entry;
};

constexpr Family kFamilies[] = {
    {TAV_PF_BAYER_GR8, gr8Convert},
    {TAV_PF_BAYER_RG8, rg8Convert},
    {TAV_PF_BAYER_GB8, gb8Convert},
    {TAV_PF_BAYER_BG8, bg8Convert},
};

// Sizes are computed in 32-bit arithmetic; frames whose scratch size does not
// fit are outside the supported range.
int32_t scratchSize(int32_t height, int32_t width, int32_t normClass) {
    const uint32_t w = static_cast<uint32_t>(width);
    const uint32_t bytes =
        normClass == kClass8 ? w + 64 : (static_cast<uint32_t>(height) + 1) * w + 64;
    return static_cast<int32_t>(bytes);
}

uint8_t* align16(uint8_t* p) {
    return p + ((16 - (reinterpret_cast<uintptr_t>(p) & 15)) & 15);
}

}  // namespace
}  // namespace tav

extern "C" {

int32_t demosaicDataInit(const TavImage* src, const TavContext* /*context*/, uint32_t* format8,
                         int32_t* normClass) {
    for (const tav::SourceFormat& f : tav::kSources) {
        if (f.code == src->pixelFormat) {
            *format8 = f.format8;
            *normClass = f.normClass;
            return TAV_OK;
        }
    }
    return TAV_E_PIXEL_FORMAT;
}

int32_t tavDemosaicing(TavContext* context, TavImage* src, uint32_t method, TavImage* dst) {
    using tav::fail;
    if (context == nullptr || src == nullptr || dst == nullptr) return fail(94, TAV_E_NULL_POINTER);
    if (src->data == nullptr || dst->data == nullptr) return fail(95, TAV_E_NULL_POINTER);
    const int32_t height = src->height, width = src->width, pitch = src->pitch;
    if (height <= 3 || pitch <= 3 || width <= 3) return fail(96, TAV_E_IMAGE_SIZE);
    const int32_t pixels =
        static_cast<int32_t>(static_cast<uint32_t>(width) * static_cast<uint32_t>(height));
    if (pixels < 0) return fail(104, TAV_E_IMAGE_SIZE);

    uint32_t format8 = 0;
    int32_t normClass = 0;
    const int32_t mapped = demosaicDataInit(src, context, &format8, &normClass);
    if (mapped != TAV_OK) return fail(110, mapped);

    TavScratch& scratch = context->scratch;
    // Method 3 adds its line buffers after the others' scratch.
    const int64_t size =
        tav::scratchSize(height, width, normClass) + (method == 3 ? tav::hqWorkBytes(width) : 0);
    if (size > INT32_MAX || tavMemRealloc(&scratch, static_cast<int32_t>(size)) != TAV_OK) {
        return fail(normClass == tav::kClass8 ? 115 : 119, TAV_E_NO_MEMORY);
    }

    const uint8_t* image = src->data;
    uint8_t* work = scratch.buffer;
    if (normClass == tav::kClass8) {
        if (pitch != width) u8Tou8(src->data, height, width, pitch, src->data);
    } else {
        uint8_t* aligned = tav::align16(scratch.buffer);
        if (normClass == tav::kClassPacked) {
            if (pitch == int64_t{width} + (width >> 1)) {
                unpacked_old(src->data, height, width, aligned);
            } else {
                unpacked(src->data, height, width, pitch, aligned);
            }
        } else {
            const uint16_t* wide = reinterpret_cast<const uint16_t*>(src->data);
            if (pitch == 2 * int64_t{width}) {
                u16Tou8_old(wide, height, width, normClass, aligned);
            } else {
                u16Tou8(wide, height, width, pitch, normClass, aligned);
            }
        }
        image = aligned;
        work = aligned + pixels;
    }

    int32_t result = TAV_E_PIXEL_FORMAT;
    const uint64_t output = context->outputFormat;
    if (format8 == TAV_PF_MONO8) {
        result = mono8Convert(image, dst->data, height, width, output);
    } else {
        for (const tav::Family& f : tav::kFamilies) {
            if (f.format8 == format8)
                result = f.entry(image, dst->data, height, width, output, method, work);
        }
    }
    if (result != TAV_OK) return result;

    dst->height = height;
    dst->width = width;
    dst->pixelFormat = static_cast<uint32_t>(output);
    return TAV_OK;
}

}  // extern "C"
