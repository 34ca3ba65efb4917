// tavDemosaic: every check first; then the source as the compact mosaic the
// kernels read (in place when it is one), the kernel into the destination
// (or a compact stand-in when its rows are padded), and the rows put in place.
#include <cstring>

#include "demosaic16/frame16.h"
#include "dispatch8.h"
#include "frame.h"
#include "hq.h"
#include "luma.h"
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
    const int32_t result = mono ? mono8Convert(image, out, h, w, d.format->code)
                                : demosaic8(Phase(s.format->phase), image, out, h, w,
                                            d.format->code, job.method, line, true);
    if (result != TAV_OK) return result;
    // The Bayer kernels write alpha 255 themselves; Mono replicas write 0.
    if (mono && d.format->channels == 4) opaque(out, 4 * ptrdiff_t{w}, w, h);
    if (!d.compact) scatter(out, d);
    return TAV_OK;
}

// ---- full-depth destinations

int32_t runDeep(const Job& job) {
    const View& s = job.src;
    const View& d = job.dst;
    const int32_t h = s.height, w = s.width;
    const size_t pixels = static_cast<size_t>(w) * h;
    const bool colour = d.format->channels == 3;
    const bool bayer = s.format->role == Role::kBayer;
    // Colour words: in the destination when it is compact, else apart; a
    // Bayer source to a Mono destination goes through colour words too.
    const bool colourApart = colour ? !d.compact : bayer;
    const size_t srcBytes = s.compact ? 0 : roundUp64(2 * pixels);
    const size_t colourBytes = colourApart ? roundUp64(6 * pixels) : 0;
    uint8_t* work = threadWork(srcBytes + colourBytes);
    if (work == nullptr) return TAV_ERROR_NO_MEMORY;
    const uint16_t* in = reinterpret_cast<const uint16_t*>(s.compact ? s.plane[0] : work);
    if (!s.compact) gather(s, work);

    if (!colour && !bayer) {
        // Mono to Mono: copied, then rescaled in place.
        copyRows(reinterpret_cast<const uint8_t*>(in), 2 * ptrdiff_t{w}, d.plane[0], d.stride[0],
                 2 * ptrdiff_t{w}, h);
        rescaleRows(d.plane[0], d.stride[0], size_t(w), h, s.depth, d.depth);
        return TAV_OK;
    }

    uint16_t* rgb = reinterpret_cast<uint16_t*>(colourApart ? work + srcBytes : d.plane[0]);
    const bool redFirst = !colour || d.format->code == TAV_PF_RGB10 ||
                          d.format->code == TAV_PF_RGB12 || d.format->code == TAV_PF_RGB16;
    if (bayer) {
        const int32_t result =
            demosaic16Frame(s.format->phase, job.method, in, h, w, rgb, redFirst, s.depth);
        // Method 3's line rows are the only memory a kernel asks for.
        if (result != TAV_OK) return result == TAV_E_NO_MEMORY ? TAV_ERROR_NO_MEMORY : result;
    } else {
        // Copies of the sample in the three words (the format picks replication).
        mono16Convert(in, rgb, h, w, TAV_PF_RGB10, s.depth);
    }

    if (colour) {
        rescaleRows(reinterpret_cast<uint8_t*>(rgb), 6 * ptrdiff_t{w}, 3 * size_t(w), h, s.depth,
                    d.depth);
        if (colourApart) scatter(reinterpret_cast<uint8_t*>(rgb), d);
        return TAV_OK;
    }
    for (int32_t r = 0; r < h; ++r) {
        uint16_t* row = reinterpret_cast<uint16_t*>(d.plane[0] + r * d.stride[0]);
        const uint16_t* p = rgb + 3 * size_t(r) * w;
        for (int32_t x = 0; x < w; ++x, p += 3) {
            row[x] = static_cast<uint16_t>(luma(kLumaWeights[0], p[0], p[1], p[2]));
        }
        rescaleWords(row, size_t(w), s.depth, d.depth);
    }
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
    // words first; the 8-bit path reads packed samples itself.
    const Samples samples = job.src.format->samples;
    if (samples == Samples::kStream || (samples == Samples::kPacked && job.deep)) {
        View& s = job.src;
        uint8_t* words = threadWork(2 * size_t(s.width) * s.height, 1);
        if (words == nullptr) return TAV_ERROR_NO_MEMORY;
        unpackWords(s, reinterpret_cast<uint16_t*>(words));
        s.format = wordsFormat(*s.format);
        s.plane[0] = s.begin = words;
        s.stride[0] = s.rowBytes[0] = 2 * ptrdiff_t{s.width};
        s.end = words + s.rowBytes[0] * s.height;
        s.compact = true;
    }
    return job.deep ? runDeep(job) : run8(job);
}
