// The conversion entry and the converters of the YUV and RGB/BGR sources.
// Source formats, target formats, size rules and their check sites are tables.
#include <cstring>

#include "convert.h"
#include "pixels.h"
#include "report.h"
#include "tav.h"

namespace tav::cvt {
namespace {

enum class SizeRule { kNone, kWidth4, kWidthEven, kBothEven };

bool fits(SizeRule rule, int32_t height, int32_t width) {
    switch (rule) {
        case SizeRule::kWidth4:
            return width % 4 == 0;
        case SizeRule::kWidthEven:
            return width % 2 == 0;
        case SizeRule::kBothEven:
            return width % 2 == 0 && height % 2 == 0;
        case SizeRule::kNone:
            break;
    }
    return true;
}

struct SourceRoute {
    uint32_t format;
    SizeRule rule;
    Site site;  // printed when the size rule fails
    Converter convert;
};

constexpr SourceRoute kSources[] = {
    {TAV_PF_MONO1P, SizeRule::kNone, Site::kUnchecked, convertMono1P},
    {TAV_PF_MONO4P, SizeRule::kNone, Site::kUnchecked, convertMono4P},
    {TAV_PF_MONO8, SizeRule::kNone, Site::kUnchecked, convertMono8},
    {TAV_PF_MONO1C, SizeRule::kNone, Site::kUnchecked, convertMono1C},
    {TAV_PF_YUV411_8_UYYVYY, SizeRule::kWidth4, Site::kFrom411, convertYUV411P},
    {TAV_PF_YUV420P, SizeRule::kBothEven, Site::kFrom420P, convertYUV420P},
    {TAV_PF_YUV420SP_NV12, SizeRule::kBothEven, Site::kFromNv12, convertYUV420SP_NV12},
    {TAV_PF_YUV422_8_UYVY, SizeRule::kWidthEven, Site::kFromUyvy, convertYUV422_UYVY},
    {TAV_PF_YUV422_8, SizeRule::kWidthEven, Site::kFromYuyv, convertYUV422_YUYV},
    {TAV_PF_YUV8_UYV, SizeRule::kNone, Site::kUnchecked, convertYUV444},
    {TAV_PF_RGB8, SizeRule::kNone, Site::kUnchecked, convertRGB8},
    {TAV_PF_BGR8, SizeRule::kNone, Site::kUnchecked, convertBGR8},
};

// ---- packed YUV sources: one kernel per output size, the target code passed on

using MonoKernel = int32_t (*)(const uint8_t*, uint8_t*, int32_t);
using ColourKernel = int32_t (*)(const uint8_t*, uint8_t*, int32_t, uint64_t);

struct PackedKernels {
    MonoKernel mono;
    ColourKernel three, four;
    int unitShift;  // units = n >> unitShift
};

int32_t convertPacked(const PackedKernels& k, const uint8_t* src, uint8_t* dst, int32_t height,
                      int32_t width, uint64_t target) {
    const int32_t units = pixelCount(height, width) >> k.unitShift;
    switch (target) {
        case TAV_PF_MONO8:
            return k.mono(src, dst, units);
        case TAV_PF_RGB8:
        case TAV_PF_BGR8:
            return k.three(src, dst, units, target);
        case TAV_PF_RGBA8:
        case TAV_PF_BGRA8:
            return k.four(src, dst, units, target);
        default:
            return TAV_E_PIXEL_FORMAT;
    }
}

constexpr PackedKernels k411{YUV411PToMono8, YUV411PToRGB8, YUV411PToRGBA8, 2};
constexpr PackedKernels kUyvy{YUV422_UYVYToMono8, YUV422_UYVYToRGB8, YUV422_UYVYToRGBA8, 1};
constexpr PackedKernels kYuyv{YUV422_YUYVToMono8, YUV422_YUYVToRGB8, YUV422_YUYVToRGBA8, 1};
constexpr PackedKernels k444{YUV444ToMono8, YUV444ToRGB8, YUV444ToRGBA8, 0};

// ---- RGB8 / BGR8 sources

enum class Encode { kThree, kFour, kMono8, kUyv, k411, k422, k420 };

struct RgbTarget {
    uint32_t target;
    Encode encode;
    bool rgb;  // channel order of the three- and four-byte targets: red first
    SizeRule rule;
    Site siteFromBgr, siteFromRgb;
};

constexpr RgbTarget kRgbTargets[] = {
    {TAV_PF_RGB8, Encode::kThree, true, SizeRule::kNone, Site::kUnchecked, Site::kUnchecked},
    {TAV_PF_BGR8, Encode::kThree, false, SizeRule::kNone, Site::kUnchecked, Site::kUnchecked},
    {TAV_PF_RGBA8, Encode::kFour, true, SizeRule::kNone, Site::kUnchecked, Site::kUnchecked},
    {TAV_PF_BGRA8, Encode::kFour, false, SizeRule::kNone, Site::kUnchecked, Site::kUnchecked},
    {TAV_PF_MONO8, Encode::kMono8, false, SizeRule::kNone, Site::kUnchecked, Site::kUnchecked},
    {TAV_PF_YUV8_UYV, Encode::kUyv, false, SizeRule::kNone, Site::kUnchecked, Site::kUnchecked},
    {TAV_PF_YUV411_8_UYYVYY, Encode::k411, false, SizeRule::kWidth4, Site::kBgrTo411,
     Site::kRgbTo411},
    {TAV_PF_YUV422_8_UYVY, Encode::k422, false, SizeRule::kWidthEven, Site::kBgrTo422,
     Site::kRgbTo422},
    {TAV_PF_YUV422_8, Encode::k422, false, SizeRule::kWidthEven, Site::kBgrTo422, Site::kRgbTo422},
    {TAV_PF_YUV420P, Encode::k420, false, SizeRule::kBothEven, Site::kBgrTo420P, Site::kRgbTo420P},
};

int32_t convertThreeByte(bool rgb, const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                         uint64_t target) {
    const RgbTarget* t = nullptr;
    for (const RgbTarget& row : kRgbTargets) {
        if (row.target == target) t = &row;
    }
    if (!t) return TAV_E_PIXEL_FORMAT;
    if (!fits(t->rule, height, width)) {
        return fail(rgb ? t->siteFromRgb : t->siteFromBgr, TAV_E_FORMAT_SIZE);
    }
    const int32_t n = pixelCount(height, width);
    switch (t->encode) {
        case Encode::kThree:
            if (n < 1) break;
            if (t->rgb == rgb) {
                std::memcpy(dst, src, 3 * static_cast<size_t>(n));
            } else {
                exchangeOuter(src, dst, n);
            }
            break;
        case Encode::kFour:
            widenTo4(src, dst, n, t->rgb != rgb);
            break;
        case Encode::kMono8:
            encodeMono8(src, dst, n, rgb);
            break;
        case Encode::kUyv:
            encodeUyv(src, dst, n, rgb);
            break;
        case Encode::k411:
            encode411(src, dst, n >> 2, rgb);
            break;
        case Encode::k422:
            if (n < 1) break;
            (rgb ? RGBToYUV422 : BGRToYUV422)(src, dst, static_cast<uint32_t>(n), target);
            break;
        case Encode::k420:
            encode420(src, dst, height, width, rgb);
            break;
    }
    return TAV_OK;
}

}  // namespace

int32_t convertYUV411P(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                       uint64_t target) {
    return convertPacked(k411, src, dst, height, width, target);
}
int32_t convertYUV422_UYVY(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                           uint64_t target) {
    return convertPacked(kUyvy, src, dst, height, width, target);
}
int32_t convertYUV422_YUYV(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                           uint64_t target) {
    return convertPacked(kYuyv, src, dst, height, width, target);
}
int32_t convertYUV444(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                      uint64_t target) {
    return convertPacked(k444, src, dst, height, width, target);
}

int32_t convertYUV420P(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                       uint64_t target) {
    if (target != TAV_PF_RGB8 && target != TAV_PF_BGR8) return TAV_E_PIXEL_FORMAT;
    return YUV420PToRGB8(src, dst, height, width, target);
}

int32_t convertYUV420SP_NV12(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                             uint64_t target) {
    switch (target) {
        case TAV_PF_RGB8:
        case TAV_PF_BGR8:
            return YUV420SP_NV12ToRGB8(src, dst, height, width, target);
        case TAV_PF_RGBA8:
        case TAV_PF_BGRA8:
            return YUV420SP_NV12ToRGBA8(src, dst, height, width, target);
        default:
            return TAV_E_PIXEL_FORMAT;
    }
}

int32_t convertOpaque(uint32_t source, const uint8_t* src, uint8_t* dst, int32_t height,
                      int32_t width, uint64_t target) {
    const bool bgra = target == TAV_PF_BGRA8;
    if (source == TAV_PF_RGB8 || source == TAV_PF_BGR8) {
        // The outer bytes exchange when the source's order is not the target's.
        widenTo4(src, dst, pixelCount(height, width), bgra == (source == TAV_PF_RGB8), true);
        return TAV_OK;
    }
    return decodeOpaque(source, src, dst, height, width, bgra);
}

int32_t convertRGB8(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                    uint64_t target) {
    return convertThreeByte(true, src, dst, height, width, target);
}
int32_t convertBGR8(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                    uint64_t target) {
    return convertThreeByte(false, src, dst, height, width, target);
}

}  // namespace tav::cvt

extern "C" int32_t tavImageTypeConvert(const TavImage* src, TavImage* dst, uint64_t targetFormat) {
    using namespace tav::cvt;
    if (!dst || !src) return tav::fail(tav::Site::kConvertNull, TAV_E_NULL_POINTER);
    if (!src->data || !dst->data) return tav::fail(tav::Site::kConvertNullData, TAV_E_NULL_POINTER);
    for (const SourceRoute& route : kSources) {
        if (route.format != src->pixelFormat) continue;
        if (!fits(route.rule, src->height, src->width)) {
            return tav::fail(route.site, TAV_E_FORMAT_SIZE);
        }
        return route.convert(src->data, dst->data, src->height, src->width, targetFormat);
    }
    return TAV_E_PIXEL_FORMAT;
}
