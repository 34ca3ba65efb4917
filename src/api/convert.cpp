// tavConvert: the pairs tavImageTypeConvert converts, every check first, with
// strides (through compact stand-ins) and opaque alpha.
#include "convert/convert.h"
#include "frame.h"
#include "samples.h"
#include "threads.h"

namespace tav::api {
namespace {

struct Pair {
    uint32_t from;
    cvt::Converter convert;
    uint32_t to[10];  // zero-terminated
};

constexpr Pair kPairs[] = {
    {TAV_PF_MONO1P, cvt::convertMono1P, {TAV_PF_MONO8}},
    {TAV_PF_MONO4P,
     cvt::convertMono4P,
     {TAV_PF_MONO8, TAV_PF_RGB8, TAV_PF_BGR8, TAV_PF_RGBA8, TAV_PF_BGRA8}},
    {TAV_PF_MONO8, cvt::convertMono8, {TAV_PF_YUV420P}},
    {TAV_PF_YUV411_8_UYYVYY,
     cvt::convertYUV411P,
     {TAV_PF_MONO8, TAV_PF_RGB8, TAV_PF_BGR8, TAV_PF_RGBA8, TAV_PF_BGRA8}},
    {TAV_PF_YUV420P, cvt::convertYUV420P, {TAV_PF_RGB8, TAV_PF_BGR8}},
    {TAV_PF_YUV420SP_NV12,
     cvt::convertYUV420SP_NV12,
     {TAV_PF_RGB8, TAV_PF_BGR8, TAV_PF_RGBA8, TAV_PF_BGRA8}},
    {TAV_PF_YUV422_8_UYVY,
     cvt::convertYUV422_UYVY,
     {TAV_PF_MONO8, TAV_PF_RGB8, TAV_PF_BGR8, TAV_PF_RGBA8, TAV_PF_BGRA8}},
    {TAV_PF_YUV422_8,
     cvt::convertYUV422_YUYV,
     {TAV_PF_MONO8, TAV_PF_RGB8, TAV_PF_BGR8, TAV_PF_RGBA8, TAV_PF_BGRA8}},
    {TAV_PF_YUV8_UYV,
     cvt::convertYUV444,
     {TAV_PF_MONO8, TAV_PF_RGB8, TAV_PF_BGR8, TAV_PF_RGBA8, TAV_PF_BGRA8}},
    {TAV_PF_RGB8,
     cvt::convertRGB8,
     {TAV_PF_RGB8, TAV_PF_BGR8, TAV_PF_RGBA8, TAV_PF_BGRA8, TAV_PF_MONO8, TAV_PF_YUV8_UYV,
      TAV_PF_YUV411_8_UYYVYY, TAV_PF_YUV422_8_UYVY, TAV_PF_YUV422_8, TAV_PF_YUV420P}},
    {TAV_PF_BGR8,
     cvt::convertBGR8,
     {TAV_PF_RGB8, TAV_PF_BGR8, TAV_PF_RGBA8, TAV_PF_BGRA8, TAV_PF_MONO8, TAV_PF_YUV8_UYV,
      TAV_PF_YUV411_8_UYYVYY, TAV_PF_YUV422_8_UYVY, TAV_PF_YUV422_8, TAV_PF_YUV420P}},
};

const Pair* findSource(uint32_t code) {
    for (const Pair& p : kPairs) {
        if (p.from == code) return &p;
    }
    return nullptr;
}

bool isTarget(uint32_t code) {
    for (const Pair& p : kPairs) {
        for (uint32_t t : p.to) {
            if (t != 0 && t == code) return true;
        }
    }
    return false;
}

bool converts(const Pair& p, uint32_t code) {
    for (uint32_t t : p.to) {
        if (t != 0 && t == code) return true;
    }
    return false;
}

int32_t check(const TavFrame* src, const TavFrame* dst, const TavOptions& options,
              const Pair** pair, View* in, View* out) {
    if (src == nullptr || dst == nullptr) return TAV_ERROR_NULL;
    if (options.threads < 0) return TAV_ERROR_THREADS;
    *pair = findSource(src->format);
    const Format* from = findFormat(src->format);
    if (*pair == nullptr || from == nullptr) return TAV_ERROR_SOURCE_FORMAT;
    const Format* to = findFormat(dst->format);
    if (to == nullptr || !isTarget(dst->format)) return TAV_ERROR_TARGET_FORMAT;
    if (!converts(**pair, dst->format)) return TAV_ERROR_PAIR;
    int32_t size = checkSize(*from, src->width, src->height);
    if (size != TAV_OK) return size;
    if (dst->width != src->width || dst->height != src->height) return TAV_ERROR_SIZE_MISMATCH;
    size = checkSize(*to, dst->width, dst->height);
    if (size != TAV_OK) return size;
    int32_t resolved = resolve(*src, *from, in);
    if (resolved == TAV_OK) resolved = resolve(*dst, *to, out);
    if (resolved != TAV_OK) return resolved;
    if (overlaps(*in, *out)) return TAV_ERROR_OVERLAP;
    return TAV_OK;
}

}  // namespace
}  // namespace tav::api

extern "C" int32_t tavConvert(const TavFrame* src, const TavFrame* dst, const TavOptions* options) {
    using namespace tav::api;
    TavOptions defaults;
    tavOptionsInit(&defaults);
    const TavOptions& o = options ? *options : defaults;
    const Pair* pair = nullptr;
    View in, out;
    const int32_t checked = check(src, dst, o, &pair, &in, &out);
    if (checked != TAV_OK) return checked;
    const tav::ThreadCountScope threads(o.threads);

    const size_t inBytes = in.compact ? 0 : roundUp64(compactBytes(in));
    const size_t outBytes = out.compact ? 0 : roundUp64(compactBytes(out));
    uint8_t* work = nullptr;
    if (inBytes + outBytes > 0) {
        work = threadWork(inBytes + outBytes);
        if (work == nullptr) return TAV_ERROR_NO_MEMORY;
    }
    const uint8_t* from = in.compact ? in.plane[0] : work;
    if (!in.compact) gather(in, work);
    uint8_t* to = out.compact ? out.plane[0] : work + inBytes;
    const bool four = out.format->channels == 4;
    // YUV, RGB8 and BGR8 sources write alpha 255 themselves; Mono4p gets a pass.
    int32_t result = four ? tav::cvt::convertOpaque(in.format->code, from, to, in.height, in.width,
                                                    out.format->code)
                          : TAV_E_PIXEL_FORMAT;
    if (result == TAV_E_PIXEL_FORMAT) {
        result = pair->convert(from, to, in.height, in.width, out.format->code);
        if (result != TAV_OK) return result;
        if (four) opaque(to, out.rowBytes[0], out.width, out.height);
    }
    if (!out.compact) scatter(to, out);
    return TAV_OK;
}
