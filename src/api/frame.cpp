// The frame API's format table, frame resolution, work memory, and the small
// exported helpers (frame and option set-up, result texts, version).
#include "frame.h"

#include <cstdlib>
#include <cstring>

#include "dispatch8.h"

namespace tav::api {
namespace {

using S = Samples;
using R = Role;

constexpr Format kFormats[] = {
    // code, samples, role, depth, channels, bytes num/den, planes, width/height steps, phase
    {TAV_PF_MONO1P, S::kBits, R::kMono, 1, 1, 1, 8, 1, 8, 1, -1},
    {TAV_PF_MONO4P, S::kBits, R::kMono, 4, 1, 1, 2, 1, 2, 1, -1},
    {TAV_PF_MONO8, S::kBytes, R::kMono, 8, 1, 1, 1, 1, 1, 1, -1},
    {TAV_PF_BAYER_GR8, S::kBytes, R::kBayer, 8, 1, 1, 1, 1, 2, 2, kPhaseGR},
    {TAV_PF_BAYER_RG8, S::kBytes, R::kBayer, 8, 1, 1, 1, 1, 2, 2, kPhaseRG},
    {TAV_PF_BAYER_GB8, S::kBytes, R::kBayer, 8, 1, 1, 1, 1, 2, 2, kPhaseGB},
    {TAV_PF_BAYER_BG8, S::kBytes, R::kBayer, 8, 1, 1, 1, 1, 2, 2, kPhaseBG},
    {TAV_PF_MONO10_PACKED, S::kPacked, R::kMono, 10, 1, 3, 2, 1, 2, 1, -1},
    {TAV_PF_MONO12_PACKED, S::kPacked, R::kMono, 12, 1, 3, 2, 1, 2, 1, -1},
    {TAV_PF_BAYER_GR10_PACKED, S::kPacked, R::kBayer, 10, 1, 3, 2, 1, 2, 2, kPhaseGR},
    {TAV_PF_BAYER_RG10_PACKED, S::kPacked, R::kBayer, 10, 1, 3, 2, 1, 2, 2, kPhaseRG},
    {TAV_PF_BAYER_GB10_PACKED, S::kPacked, R::kBayer, 10, 1, 3, 2, 1, 2, 2, kPhaseGB},
    {TAV_PF_BAYER_BG10_PACKED, S::kPacked, R::kBayer, 10, 1, 3, 2, 1, 2, 2, kPhaseBG},
    {TAV_PF_BAYER_GR12_PACKED, S::kPacked, R::kBayer, 12, 1, 3, 2, 1, 2, 2, kPhaseGR},
    {TAV_PF_BAYER_RG12_PACKED, S::kPacked, R::kBayer, 12, 1, 3, 2, 1, 2, 2, kPhaseRG},
    {TAV_PF_BAYER_GB12_PACKED, S::kPacked, R::kBayer, 12, 1, 3, 2, 1, 2, 2, kPhaseGB},
    {TAV_PF_BAYER_BG12_PACKED, S::kPacked, R::kBayer, 12, 1, 3, 2, 1, 2, 2, kPhaseBG},
    {TAV_PF_MONO10P, S::kStream, R::kMono, 10, 1, 5, 4, 1, 4, 1, -1},
    {TAV_PF_BAYER_GR10P, S::kStream, R::kBayer, 10, 1, 5, 4, 1, 4, 2, kPhaseGR},
    {TAV_PF_BAYER_RG10P, S::kStream, R::kBayer, 10, 1, 5, 4, 1, 4, 2, kPhaseRG},
    {TAV_PF_BAYER_GB10P, S::kStream, R::kBayer, 10, 1, 5, 4, 1, 4, 2, kPhaseGB},
    {TAV_PF_BAYER_BG10P, S::kStream, R::kBayer, 10, 1, 5, 4, 1, 4, 2, kPhaseBG},
    {TAV_PF_MONO12P, S::kStream, R::kMono, 12, 1, 3, 2, 1, 2, 1, -1},
    {TAV_PF_BAYER_GR12P, S::kStream, R::kBayer, 12, 1, 3, 2, 1, 2, 2, kPhaseGR},
    {TAV_PF_BAYER_RG12P, S::kStream, R::kBayer, 12, 1, 3, 2, 1, 2, 2, kPhaseRG},
    {TAV_PF_BAYER_GB12P, S::kStream, R::kBayer, 12, 1, 3, 2, 1, 2, 2, kPhaseGB},
    {TAV_PF_BAYER_BG12P, S::kStream, R::kBayer, 12, 1, 3, 2, 1, 2, 2, kPhaseBG},
    {TAV_PF_MONO10, S::kWords, R::kMono, 10, 1, 2, 1, 1, 1, 1, -1},
    {TAV_PF_MONO12, S::kWords, R::kMono, 12, 1, 2, 1, 1, 1, 1, -1},
    {TAV_PF_MONO14, S::kWords, R::kMono, 14, 1, 2, 1, 1, 1, 1, -1},
    {TAV_PF_MONO16, S::kWords, R::kMono, 16, 1, 2, 1, 1, 1, 1, -1},
    {TAV_PF_BAYER_GR10, S::kWords, R::kBayer, 10, 1, 2, 1, 1, 2, 2, kPhaseGR},
    {TAV_PF_BAYER_RG10, S::kWords, R::kBayer, 10, 1, 2, 1, 1, 2, 2, kPhaseRG},
    {TAV_PF_BAYER_GB10, S::kWords, R::kBayer, 10, 1, 2, 1, 1, 2, 2, kPhaseGB},
    {TAV_PF_BAYER_BG10, S::kWords, R::kBayer, 10, 1, 2, 1, 1, 2, 2, kPhaseBG},
    {TAV_PF_BAYER_GR12, S::kWords, R::kBayer, 12, 1, 2, 1, 1, 2, 2, kPhaseGR},
    {TAV_PF_BAYER_RG12, S::kWords, R::kBayer, 12, 1, 2, 1, 1, 2, 2, kPhaseRG},
    {TAV_PF_BAYER_GB12, S::kWords, R::kBayer, 12, 1, 2, 1, 1, 2, 2, kPhaseGB},
    {TAV_PF_BAYER_BG12, S::kWords, R::kBayer, 12, 1, 2, 1, 1, 2, 2, kPhaseBG},
    {TAV_PF_BAYER_GR16, S::kWords, R::kBayer, 16, 1, 2, 1, 1, 2, 2, kPhaseGR},
    {TAV_PF_BAYER_RG16, S::kWords, R::kBayer, 16, 1, 2, 1, 1, 2, 2, kPhaseRG},
    {TAV_PF_BAYER_GB16, S::kWords, R::kBayer, 16, 1, 2, 1, 1, 2, 2, kPhaseGB},
    {TAV_PF_BAYER_BG16, S::kWords, R::kBayer, 16, 1, 2, 1, 1, 2, 2, kPhaseBG},
    {TAV_PF_YUV411_8_UYYVYY, S::kBytes, R::kYuv, 8, 2, 3, 2, 1, 4, 1, -1},
    {TAV_PF_YUV420SP_NV12, S::kBytes, R::kYuv, 8, 2, 1, 1, 2, 2, 2, -1},
    {TAV_PF_YUV420P, S::kBytes, R::kYuv, 8, 2, 1, 1, 3, 2, 2, -1},
    {TAV_PF_YUV422_8_UYVY, S::kBytes, R::kYuv, 8, 2, 2, 1, 1, 2, 1, -1},
    {TAV_PF_YUV422_8, S::kBytes, R::kYuv, 8, 2, 2, 1, 1, 2, 1, -1},
    {TAV_PF_YUV8_UYV, S::kBytes, R::kYuv, 8, 3, 3, 1, 1, 1, 1, -1},
    {TAV_PF_RGB8, S::kBytes, R::kColour, 8, 3, 3, 1, 1, 1, 1, -1},
    {TAV_PF_BGR8, S::kBytes, R::kColour, 8, 3, 3, 1, 1, 1, 1, -1},
    {TAV_PF_RGB8_PLANAR, S::kBytes, R::kColour, 8, 3, 1, 1, 3, 1, 1, -1},
    {TAV_PF_BGR8_PLANAR, S::kBytes, R::kColour, 8, 3, 1, 1, 3, 1, 1, -1},
    {TAV_PF_RGBA8, S::kBytes, R::kColour, 8, 4, 4, 1, 1, 1, 1, -1},
    {TAV_PF_BGRA8, S::kBytes, R::kColour, 8, 4, 4, 1, 1, 1, 1, -1},
    {TAV_PF_RGB10, S::kWords, R::kColour, 10, 3, 6, 1, 1, 1, 1, -1},
    {TAV_PF_BGR10, S::kWords, R::kColour, 10, 3, 6, 1, 1, 1, 1, -1},
    {TAV_PF_RGB12, S::kWords, R::kColour, 12, 3, 6, 1, 1, 1, 1, -1},
    {TAV_PF_BGR12, S::kWords, R::kColour, 12, 3, 6, 1, 1, 1, 1, -1},
    {TAV_PF_RGB16, S::kWords, R::kColour, 16, 3, 6, 1, 1, 1, 1, -1},
    {TAV_PF_BGR16, S::kWords, R::kColour, 16, 3, 6, 1, 1, 1, 1, -1},
};

// Every kernel counts pixels, and some bytes, in 32-bit arithmetic: frames
// stay under 2^28 pixels (eight bytes a pixel at most) and 2^24 a side.
constexpr int64_t kMaxPixels = int64_t{1} << 28;
constexpr int32_t kMaxSide = 1 << 24;

struct Geometry {
    ptrdiff_t rowBytes;
    int32_t rows;
};

Geometry planeGeometry(const Format& f, int32_t width, int32_t height, int k) {
    if (k == 0) {
        return {static_cast<ptrdiff_t>((int64_t{width} * f.bytesNum + f.bytesDen - 1) / f.bytesDen),
                height};
    }
    if (f.code == TAV_PF_YUV420SP_NV12) return {width, height / 2};
    if (f.code == TAV_PF_YUV420P) return {width / 2, height / 2};
    return {width, height};  // the colour planes of RGB8_PLANAR and BGR8_PLANAR
}

}  // namespace

const Format* findFormat(uint32_t code) {
    for (const Format& f : kFormats) {
        if (f.code == code) return &f;
    }
    return nullptr;
}

const Format* heldAs(const Format& f, Samples samples, uint8_t depth) {
    for (const Format& w : kFormats) {
        if (w.samples == samples && w.role == f.role && w.phase == f.phase && w.depth == depth) {
            return &w;
        }
    }
    return nullptr;
}

int32_t checkSize(const Format& f, int32_t width, int32_t height) {
    if (width <= 0 || height <= 0 || width > kMaxSide || height > kMaxSide ||
        int64_t{width} * height > kMaxPixels) {
        return TAV_ERROR_SIZE;
    }
    if (width % f.widthStep != 0) return TAV_ERROR_ODD_WIDTH;
    if (height % f.heightStep != 0) return TAV_ERROR_ODD_HEIGHT;
    return TAV_OK;
}

int32_t layout(const TavFrame& frame, const Format& f, View* v) {
    v->format = &f;
    v->width = frame.width;
    v->height = frame.height;
    v->planes = f.planes;
    for (int k = 0; k < 3; ++k) {
        v->plane[k] = nullptr;
        v->stride[k] = v->rowBytes[k] = 0;
        v->rows[k] = 0;
    }
    for (int k = 0; k < f.planes; ++k) {
        const Geometry g = planeGeometry(f, frame.width, frame.height, k);
        ptrdiff_t stride = frame.stride[k];
        if (stride == 0) {
            stride =
                k == 0 ? g.rowBytes : (f.code == TAV_PF_YUV420P ? v->stride[0] / 2 : v->stride[0]);
        }
        // Word rows start on a word.
        const bool odd = f.samples == Samples::kWords && stride % 2 != 0;
        if (stride < g.rowBytes || stride > INT32_MAX || odd) return TAV_ERROR_STRIDE;
        v->stride[k] = stride;
        v->rowBytes[k] = g.rowBytes;
        v->rows[k] = g.rows;
    }
    return TAV_OK;
}

int32_t resolve(const TavFrame& frame, const Format& f, View* v) {
    const int32_t laid = layout(frame, f, v);
    if (laid != TAV_OK) return laid;
    if (frame.bitDepth == 0) {
        v->depth = f.depth;
    } else if (f.samples == Samples::kWords && frame.bitDepth >= 10 && frame.bitDepth <= f.depth) {
        v->depth = frame.bitDepth;
    } else if (frame.bitDepth == f.depth) {
        v->depth = f.depth;
    } else {
        return TAV_ERROR_BIT_DEPTH;
    }
    if (frame.plane[0] == nullptr) return TAV_ERROR_NULL;
    v->compact = true;
    for (int k = 0; k < f.planes; ++k) {
        uint8_t* p = static_cast<uint8_t*>(frame.plane[k]);
        uint8_t* follows = k == 0 ? nullptr : v->plane[k - 1] + v->stride[k - 1] * v->rows[k - 1];
        if (p == nullptr) p = follows;
        if (v->stride[k] != v->rowBytes[k] || (k > 0 && p != follows)) v->compact = false;
        v->plane[k] = p;
    }
    v->begin = v->plane[0];
    v->end = v->plane[0];
    for (int k = 0; k < f.planes; ++k) {
        uint8_t* first = v->plane[k];
        uint8_t* last = first + v->stride[k] * (v->rows[k] - 1) + v->rowBytes[k];
        if (first < v->begin) v->begin = first;
        if (last > v->end) v->end = last;
    }
    return TAV_OK;
}

bool overlaps(const View& a, const View& b) {
    for (int i = 0; i < a.planes; ++i) {
        const uint8_t* a0 = a.plane[i];
        const uint8_t* a1 = a0 + a.stride[i] * (a.rows[i] - 1) + a.rowBytes[i];
        for (int j = 0; j < b.planes; ++j) {
            const uint8_t* b0 = b.plane[j];
            const uint8_t* b1 = b0 + b.stride[j] * (b.rows[j] - 1) + b.rowBytes[j];
            if (a0 < b1 && b0 < a1) return true;
        }
    }
    return false;
}

void copyRows(const uint8_t* src, ptrdiff_t srcStride, uint8_t* dst, ptrdiff_t dstStride,
              ptrdiff_t bytes, int32_t rows) {
    for (int32_t r = 0; r < rows; ++r) {
        std::memcpy(dst + r * dstStride, src + r * srcStride, static_cast<size_t>(bytes));
    }
}

size_t compactBytes(const View& v) {
    size_t n = 0;
    for (int k = 0; k < v.planes; ++k) n += static_cast<size_t>(v.rowBytes[k]) * v.rows[k];
    return n;
}

void gather(const View& v, uint8_t* compact) {
    for (int k = 0; k < v.planes; ++k) {
        copyRows(v.plane[k], v.stride[k], compact, v.rowBytes[k], v.rowBytes[k], v.rows[k]);
        compact += v.rowBytes[k] * v.rows[k];
    }
}

void scatter(const uint8_t* compact, const View& v) {
    for (int k = 0; k < v.planes; ++k) {
        copyRows(compact, v.rowBytes[k], v.plane[k], v.stride[k], v.rowBytes[k], v.rows[k]);
        compact += v.rowBytes[k] * v.rows[k];
    }
}

uint8_t* threadWork(size_t bytes, int slot) {
    struct Work {
        uint8_t* data = nullptr;
        size_t size = 0;
        ~Work() { std::free(data); }
    };
    thread_local Work slots[2];
    Work& work = slots[slot];
    if (work.data != nullptr && bytes <= work.size) return work.data;
    // Nothing in it outlives a call. 64 bytes of slack: kernels may read a
    // vector past a row's end.
    std::free(work.data);
    work.data = static_cast<uint8_t*>(std::malloc(bytes + 64));
    work.size = 0;
    if (work.data == nullptr) return nullptr;
    work.size = bytes;
    return work.data;
}

}  // namespace tav::api

extern "C" {

void tavFrameInit(TavFrame* frame, uint32_t format, int32_t width, int32_t height, void* data) {
    if (frame == nullptr) return;
    frame->format = format;
    frame->width = width;
    frame->height = height;
    frame->bitDepth = 0;
    frame->plane[0] = data;
    frame->plane[1] = frame->plane[2] = nullptr;
    frame->stride[0] = frame->stride[1] = frame->stride[2] = 0;
}

size_t tavFrameSize(const TavFrame* frame) {
    using namespace tav::api;
    if (frame == nullptr) return 0;
    const Format* f = findFormat(frame->format);
    if (f == nullptr || checkSize(*f, frame->width, frame->height) != TAV_OK) return 0;
    View v;
    if (layout(*frame, *f, &v) != TAV_OK) return 0;
    size_t n = 0;
    for (int k = 0; k < v.planes; ++k) n += static_cast<size_t>(v.stride[k]) * v.rows[k];
    return n;
}

void tavOptionsInit(TavOptions* options) {
    if (options == nullptr) return;
    std::memset(options, 0, sizeof(*options));
    options->method = TAV_METHOD_BILINEAR;
    options->threads = 0;
}

const char* tavVersion(void) {
    return TAV_VERSION_TEXT;
}

const char* tavResultText(int32_t code) {
    switch (code) {
        case TAV_OK:
            return "success";
        case TAV_E_LSC_ESTIMATE:
            return "lens-shading estimate failed: flat field not brighter than the dark frame";
        case TAV_E_PIXEL_FORMAT:
            return "pixel format not supported here";
        case TAV_E_FORMAT_SIZE:
            return "frame size does not suit the pixel format";
        case TAV_E_IMAGE_SIZE:
            return "frame size out of range for this operation";
        case TAV_E_PARAMETER:
            return "invalid parameter";
        case TAV_E_NULL_POINTER:
            return "a required record or data pointer is null";
        case TAV_E_NO_MEMORY:
            return "out of memory";
        case TAV_ERROR_NULL:
            return "a required pointer is null";
        case TAV_ERROR_SOURCE_FORMAT:
            return "source format not supported by this call";
        case TAV_ERROR_TARGET_FORMAT:
            return "destination format not supported by this call";
        case TAV_ERROR_PAIR:
            return "this source format cannot be converted to this destination format";
        case TAV_ERROR_SIZE:
            return "width and height must be positive and at most 16777216, and the frame at "
                   "most 2^28 pixels";
        case TAV_ERROR_ODD_WIDTH:
            return "width must be even (a multiple of 4 for YUV 4:1:1 and 10p bit streams, of 8 "
                   "for "
                   "Mono1p)";
        case TAV_ERROR_ODD_HEIGHT:
            return "height must be even";
        case TAV_ERROR_SIZE_MISMATCH:
            return "source and destination must have the same width and height";
        case TAV_ERROR_TOO_SMALL:
            return "frame too small for the method: nearest and bilinear need at least 4x4, "
                   "edge-directed at least 6x6, method 3 at least 8x8";
        case TAV_ERROR_STRIDE:
            return "stride shorter than a row (or past 2 GiB)";
        case TAV_ERROR_METHOD:
            return "unknown method (0 nearest, 1 bilinear, 2 edge-directed, 3 method 3)";
        case TAV_ERROR_NEAREST_DEPTH:
            return "nearest has no full-depth form: use an 8-bit destination or another method";
        case TAV_ERROR_BIT_DEPTH:
            return "bit depth outside what the format holds (10 up to the format's own for "
                   "16-bit words)";
        case TAV_ERROR_THREADS:
            return "thread count must not be negative";
        case TAV_ERROR_OVERLAP:
            return "source and destination memory overlap";
        case TAV_ERROR_NO_MEMORY:
            return "work memory could not be allocated";
        case TAV_ERROR_SHADING_TABLE:
            return "shading table mode or size does not match the frame";
        case TAV_ERROR_FLAT_FIELD:
            return "flat field must be brighter than the dark frame";
        default:
            return "unknown result code";
    }
}

}  // extern "C"
