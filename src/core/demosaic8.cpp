// The 8-bit demosaicing entry: checks, source mapping, scratch, normalisation.
#include "dispatch8.h"
#include "hq.h"
#include "pixels.h"
#include "report.h"

namespace tav {
namespace {

// How a source reaches 8 bits: it is 8-bit already, packed (two samples in
// three bytes), or 16-bit words shifted right by `shift`.
enum class Narrowing { kNone, kPacked, kShift };

struct Reduction {
    Narrowing kind;
    int32_t shift;  // kShift only
};

constexpr Reduction k8{Narrowing::kNone, 0}, kPacked{Narrowing::kPacked, 0};
constexpr Reduction shiftBy(int32_t shift) {
    return {Narrowing::kShift, shift};
}

// The class code demosaicDataInit reports: 0 for 8-bit, -1 for packed,
// otherwise the shift.
int32_t classCode(Reduction r) {
    return r.kind == Narrowing::kNone ? 0 : r.kind == Narrowing::kPacked ? -1 : r.shift;
}

struct SourceFormat {
    uint32_t code;
    uint32_t format8;
    Reduction reduction;
};

constexpr SourceFormat kSources[] = {
    {TAV_PF_MONO8, TAV_PF_MONO8, k8},
    {TAV_PF_BAYER_GR8, TAV_PF_BAYER_GR8, k8},
    {TAV_PF_BAYER_RG8, TAV_PF_BAYER_RG8, k8},
    {TAV_PF_BAYER_GB8, TAV_PF_BAYER_GB8, k8},
    {TAV_PF_BAYER_BG8, TAV_PF_BAYER_BG8, k8},
    {TAV_PF_MONO10, TAV_PF_MONO8, shiftBy(2)},
    {TAV_PF_BAYER_GR10, TAV_PF_BAYER_GR8, shiftBy(2)},
    {TAV_PF_BAYER_RG10, TAV_PF_BAYER_RG8, shiftBy(2)},
    {TAV_PF_BAYER_GB10, TAV_PF_BAYER_GB8, shiftBy(2)},
    {TAV_PF_BAYER_BG10, TAV_PF_BAYER_BG8, shiftBy(2)},
    {TAV_PF_MONO12, TAV_PF_MONO8, shiftBy(4)},
    {TAV_PF_BAYER_GR12, TAV_PF_BAYER_GR8, shiftBy(4)},
    {TAV_PF_BAYER_RG12, TAV_PF_BAYER_RG8, shiftBy(4)},
    {TAV_PF_BAYER_GB12, TAV_PF_BAYER_GB8, shiftBy(4)},
    {TAV_PF_BAYER_BG12, TAV_PF_BAYER_BG8, shiftBy(4)},
    {TAV_PF_MONO14, TAV_PF_MONO8, shiftBy(6)},
    {TAV_PF_MONO16, TAV_PF_MONO8, shiftBy(8)},
    {TAV_PF_BAYER_GR16, TAV_PF_BAYER_GR8, shiftBy(8)},
    {TAV_PF_BAYER_RG16, TAV_PF_BAYER_RG8, shiftBy(8)},
    {TAV_PF_BAYER_GB16, TAV_PF_BAYER_GB8, shiftBy(8)},
    {TAV_PF_BAYER_BG16, TAV_PF_BAYER_BG8, shiftBy(8)},
    {TAV_PF_MONO10_PACKED, TAV_PF_MONO8, kPacked},
    {TAV_PF_MONO12_PACKED, TAV_PF_MONO8, kPacked},
    {TAV_PF_BAYER_GR10_PACKED, TAV_PF_BAYER_GR8, kPacked},
    {TAV_PF_BAYER_RG10_PACKED, TAV_PF_BAYER_RG8, kPacked},
    {TAV_PF_BAYER_GB10_PACKED, TAV_PF_BAYER_GB8, kPacked},
    {TAV_PF_BAYER_BG10_PACKED, TAV_PF_BAYER_BG8, kPacked},
    {TAV_PF_BAYER_GR12_PACKED, TAV_PF_BAYER_GR8, kPacked},
    {TAV_PF_BAYER_RG12_PACKED, TAV_PF_BAYER_RG8, kPacked},
    {TAV_PF_BAYER_GB12_PACKED, TAV_PF_BAYER_GB8, kPacked},
    {TAV_PF_BAYER_BG12_PACKED, TAV_PF_BAYER_BG8, kPacked},
};

const SourceFormat* findSource(uint32_t code) {
    for (const SourceFormat& f : kSources) {
        if (f.code == code) return &f;
    }
    return nullptr;
}

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
int32_t scratchSize(int32_t height, int32_t width, Narrowing kind) {
    const uint32_t w = static_cast<uint32_t>(width);
    const uint32_t bytes =
        kind == Narrowing::kNone ? w + 64 : (static_cast<uint32_t>(height) + 1) * w + 64;
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
    const tav::SourceFormat* f = tav::findSource(src->pixelFormat);
    if (f == nullptr) return TAV_E_PIXEL_FORMAT;
    *format8 = f->format8;
    *normClass = tav::classCode(f->reduction);
    return TAV_OK;
}

int32_t tavDemosaicing(TavContext* context, TavImage* src, uint32_t method, TavImage* dst) {
    using tav::fail;
    if (context == nullptr || src == nullptr || dst == nullptr)
        return fail(tav::Site::kDemosaicNull, TAV_E_NULL_POINTER);
    if (src->data == nullptr || dst->data == nullptr)
        return fail(tav::Site::kDemosaicNullData, TAV_E_NULL_POINTER);
    const int32_t height = src->height, width = src->width, pitch = src->pitch;
    if (height <= 3 || pitch <= 3 || width <= 3)
        return fail(tav::Site::kDemosaicSize, TAV_E_IMAGE_SIZE);
    const int32_t pixels = tav::pixelCount(height, width);
    if (pixels < 0) return fail(tav::Site::kDemosaicPixels, TAV_E_IMAGE_SIZE);

    const tav::SourceFormat* source = tav::findSource(src->pixelFormat);
    if (source == nullptr) return fail(tav::Site::kDemosaicFormat, TAV_E_PIXEL_FORMAT);
    const uint32_t format8 = source->format8;
    const tav::Reduction reduction = source->reduction;
    const bool wide = reduction.kind != tav::Narrowing::kNone;

    TavScratch& scratch = context->scratch;
    // Method 3 adds its line buffers after the others' scratch.
    const int64_t size = tav::scratchSize(height, width, reduction.kind) +
                         (method == 3 ? tav::hqWorkBytes(width) : 0);
    if (size > INT32_MAX || tavMemRealloc(&scratch, static_cast<int32_t>(size)) != TAV_OK) {
        return fail(wide ? tav::Site::kDemosaicScratchWide : tav::Site::kDemosaicScratch8,
                    TAV_E_NO_MEMORY);
    }

    const uint8_t* image = src->data;
    uint8_t* work = scratch.buffer;
    if (!wide) {
        if (pitch != width) u8Tou8(src->data, height, width, pitch, src->data);
    } else {
        uint8_t* aligned = tav::align16(scratch.buffer);
        if (reduction.kind == tav::Narrowing::kPacked) {
            if (pitch == int64_t{width} + (width >> 1)) {
                unpacked_old(src->data, height, width, aligned);
            } else {
                unpacked(src->data, height, width, pitch, aligned);
            }
        } else {
            const uint16_t* words = reinterpret_cast<const uint16_t*>(src->data);
            if (pitch == 2 * int64_t{width}) {
                u16Tou8_old(words, height, width, reduction.shift, aligned);
            } else {
                u16Tou8(words, height, width, pitch, reduction.shift, aligned);
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
