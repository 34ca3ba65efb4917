// tavDemosaic: every check first; then the source as the compact mosaic the
// kernels read (in place when it is one), the kernel into the destination
// (or a compact stand-in when its rows are padded), and the rows put in place.
#include <cstring>

#include "demosaic16/frame16.h"
#include "dispatch8.h"
#include "frame.h"
#include "hq.h"
#include "normalize.h"
#include "samples.h"
#include "threads.h"
#include "unpack.h"

namespace tav::api {
namespace {

// Smallest side each method's kernels take, by method.
constexpr int32_t kMinSide[] = {4, 4, 6, 8};

struct Job {
    View src, dst;
    uint32_t method;
    bool deep;  // a full-depth destination
};

bool isOutput8(uint32_t code) {
    return output8Index(code) >= 0;
}

bool isDeepOutput(const Format& f) {
    return f.samples == Samples::kWords && f.role != Role::kBayer;
}

int32_t check(const TavFrame* src, const TavFrame* dst, const TavOptions& options, Job* job) {
    if (src == nullptr || dst == nullptr) return TAV_ERROR_NULL;
    if (options.method > TAV_METHOD_HQ) return TAV_ERROR_METHOD;
    if (options.threads < 0) return TAV_ERROR_THREADS;
    const Format* in = findFormat(src->format);
    if (in == nullptr || (in->role != Role::kMono && in->role != Role::kBayer) ||
        in->samples == Samples::kBits) {
        return TAV_ERROR_SOURCE_FORMAT;
    }
    const Format* out = findFormat(dst->format);
    if (out == nullptr || (!isOutput8(out->code) && !isDeepOutput(*out))) {
        return TAV_ERROR_TARGET_FORMAT;
    }
    job->deep = !isOutput8(out->code);
    job->method = options.method;
    if (job->deep && in->depth <= 8) return TAV_ERROR_PAIR;
    if (job->deep && options.method == TAV_METHOD_NEAREST) return TAV_ERROR_NEAREST_DEPTH;
    const int32_t size = checkSize(*in, src->width, src->height);
    if (size != TAV_OK) return size;
    if (dst->width != src->width || dst->height != src->height) return TAV_ERROR_SIZE_MISMATCH;
    if (in->role == Role::kBayer) {
        const int32_t least = kMinSide[options.method];
        if (src->width < least || src->height < least) return TAV_ERROR_TOO_SMALL;
    }
    int32_t resolved = resolve(*src, *in, &job->src);
    if (resolved == TAV_OK) resolved = resolve(*dst, *out, &job->dst);
    if (resolved != TAV_OK) return resolved;
    if (overlaps(job->src, job->dst)) return TAV_ERROR_OVERLAP;
    return TAV_OK;
}

// ---- 8-bit destinations

int32_t run8(const Job& job) {
    const View& s = job.src;
    const View& d = job.dst;
    const int32_t h = s.height, w = s.width;
    const size_t pixels = static_cast<size_t>(w) * h;
    const bool inPlace = s.format->samples == Samples::kBytes && s.compact;
    const size_t mosaicBytes = inPlace ? 0 : roundUp64(pixels);
    const size_t outBytes = d.compact ? 0 : roundUp64(compactBytes(d));
    const size_t lineBytes = roundUp64(
        size_t(w) + 64 + (job.method == TAV_METHOD_HQ ? static_cast<size_t>(hqWorkBytes(w)) : 0));
    uint8_t* work = threadWork(mosaicBytes + outBytes + lineBytes);
    if (work == nullptr) return TAV_ERROR_NO_MEMORY;
    uint8_t* mosaic = work;
    uint8_t* out = d.compact ? d.plane[0] : work + mosaicBytes;
    uint8_t* line = work + mosaicBytes + outBytes;

    const uint8_t* image = s.plane[0];
    const int32_t pitch = static_cast<int32_t>(s.stride[0]);
    switch (s.format->samples) {
        case Samples::kBytes:
            if (!inPlace) copyRows(s.plane[0], s.stride[0], mosaic, w, w, h);
            break;
        case Samples::kPacked:
            if (s.compact) {
                unpacked_old(s.plane[0], h, w, mosaic);
            } else {
                unpacked(s.plane[0], h, w, pitch, mosaic);
            }
            break;
        case Samples::kWords: {
            const uint16_t* words = reinterpret_cast<const uint16_t*>(s.plane[0]);
            // Stray bits above the depth saturate in every column.
            tav::saturatedWords(words, h, w, s.stride[0], static_cast<int32_t>(s.depth) - 8,
                                mosaic);
            break;
        }
        case Samples::kBits:
        case Samples::kStream:  // unpacked to words before the job
            return TAV_ERROR_SOURCE_FORMAT;
    }
    if (!inPlace) image = mosaic;

    const bool mono = s.format->role == Role::kMono;
    const int32_t result = mono ? mono8(image, out, h, w, d.format->code, true)
                                : demosaic8(Phase(s.format->phase), image, out, h, w,
                                            d.format->code, job.method, line, true);
    if (result != TAV_OK) return result;
    if (!d.compact) scatter(out, d);
    return TAV_OK;
}

// ---- full-depth destinations

// Colour words of a kernel into the destination's depth (in place) and,
// when they are kept apart, into its padded rows; or into their luma. Rows
// as the kernel finishes them, while they are in cache.
struct Finish {
    uint16_t* rgb;
    uint8_t* mono;    // the Mono destination, or null
    uint8_t* padded;  // the colour destination when `rgb` is apart, or null
    ptrdiff_t stride;
    int32_t width;
    uint32_t from, to;
};

void finishRows(void* context, int32_t r0, int32_t r1) {
    const Finish& f = *static_cast<const Finish*>(context);
    for (int32_t r = r0; r < r1; ++r) {
        uint16_t* row = f.rgb + 3 * intptr_t{r} * f.width;
        if (f.mono != nullptr) {
            lumaRow(row, f.width, reinterpret_cast<uint16_t*>(f.mono + r * f.stride), f.from, f.to);
            continue;
        }
        rescaleWords(row, 3 * size_t(f.width), f.from, f.to);
        if (f.padded != nullptr) std::memcpy(f.padded + r * f.stride, row, 6 * size_t(f.width));
    }
}

int32_t runDeep(const Job& job) {
    const View& s = job.src;
    const View& d = job.dst;
    const int32_t h = s.height, w = s.width;
    const size_t pixels = static_cast<size_t>(w) * h;
    const bool colour = d.format->channels == 3;
    const bool bayer = s.format->role == Role::kBayer;
    const bool redFirst = !colour || d.format->code == TAV_PF_RGB10 ||
                          d.format->code == TAV_PF_RGB12 || d.format->code == TAV_PF_RGB16;
    if (bayer && job.method == TAV_METHOD_BILINEAR) {
        // One pass: the kernel's writers take the luma and the depth.
        const size_t srcBytes = s.compact ? 0 : roundUp64(2 * pixels);
        const size_t outBytes = d.compact ? 0 : roundUp64(compactBytes(d));
        uint8_t* work = threadWork(srcBytes + outBytes);
        if (work == nullptr) return TAV_ERROR_NO_MEMORY;
        const uint16_t* in = reinterpret_cast<const uint16_t*>(s.compact ? s.plane[0] : work);
        if (!s.compact) gather(s, work);
        uint8_t* out = d.compact ? d.plane[0] : work + srcBytes;
        bilinear16Deep(s.format->phase, in, h, w, reinterpret_cast<uint16_t*>(out), redFirst,
                       !colour, s.depth, d.depth);
        if (!d.compact) scatter(out, d);
        return TAV_OK;
    }
    if (!bayer) {
        // Copied or replicated and moved to the destination's depth, row by row.
        monoRows(s.plane[0], s.stride[0], d.plane[0], d.stride[0], w, h, colour ? 3 : 1, s.depth,
                 d.depth);
        return TAV_OK;
    }
    // Colour words: in the destination when it is compact, else apart (and
    // always for a Mono destination), finished as the kernel hands rows over.
    const bool colourApart = !colour || !d.compact;
    const size_t srcBytes = s.compact ? 0 : roundUp64(2 * pixels);
    const size_t colourBytes = colourApart ? roundUp64(6 * pixels) : 0;
    uint8_t* work = threadWork(srcBytes + colourBytes);
    if (work == nullptr) return TAV_ERROR_NO_MEMORY;
    const uint16_t* in = reinterpret_cast<const uint16_t*>(s.compact ? s.plane[0] : work);
    if (!s.compact) gather(s, work);

    uint16_t* rgb = reinterpret_cast<uint16_t*>(colourApart ? work + srcBytes : d.plane[0]);
    uint8_t* mono = colour ? nullptr : d.plane[0];
    uint8_t* padded = colour && colourApart ? d.plane[0] : nullptr;
    Finish finish{rgb, mono, padded, d.stride[0], w, s.depth, d.depth};
    const RowsDone done{finishRows, &finish};
    const bool untouched = colour && d.compact && s.depth == d.depth;
    const int32_t result = demosaic16Frame(s.format->phase, job.method, in, h, w, rgb, redFirst,
                                           s.depth, untouched ? nullptr : &done);
    // Method 3's line rows are the only memory a kernel asks for.
    if (result != TAV_OK) return result == TAV_E_NO_MEMORY ? TAV_ERROR_NO_MEMORY : result;
    return TAV_OK;
}

}  // namespace
}  // namespace tav::api

extern "C" int32_t tavDemosaic(const TavFrame* src, const TavFrame* dst,
                               const TavOptions* options) {
    using namespace tav::api;
    TavOptions defaults;
    tavOptionsInit(&defaults);
    const TavOptions& o = options ? *options : defaults;
    Job job;
    const int32_t checked = check(src, dst, o, &job);
    if (checked != TAV_OK) return checked;
    const tav::ThreadCountScope threads(o.threads);
    // Bit streams, and packed samples for a full-depth destination, become
    // words first, or the bytes of their top 8 bits for an 8-bit one; the
    // 8-bit path reduces packed samples itself.
    const Samples samples = job.src.format->samples;
    if (samples == Samples::kStream || (samples == Samples::kPacked && job.deep)) {
        View& s = job.src;
        const bool words = job.deep;
        const ptrdiff_t row = (words ? 2 : 1) * ptrdiff_t{s.width};
        uint8_t* held = threadWork(size_t(row) * s.height, 1);
        if (held == nullptr) return TAV_ERROR_NO_MEMORY;
        if (words) {
            unpackWords(s, reinterpret_cast<uint16_t*>(held));
        } else {
            unpackTopBytes(s, held);
        }
        s.format = words ? heldAs(*s.format, Samples::kWords, s.format->depth)
                         : heldAs(*s.format, Samples::kBytes, 8);
        s.depth = s.format->depth;
        s.plane[0] = s.begin = held;
        s.stride[0] = s.rowBytes[0] = row;
        s.end = held + row * s.height;
        s.compact = true;
    }
    return job.deep ? runDeep(job) : run8(job);
}
