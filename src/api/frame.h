// Formats and frames of the frame API: what a format's rows hold, and a frame
// resolved to its planes, row sizes and strides, checked once.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tav_api.h"

namespace tav::api {

// How a format's samples sit in its rows.
enum class Samples : uint8_t {
    kBits,    // Mono1p, Mono4p: several pixels a byte
    kBytes,   // one byte a sample
    kPacked,  // two samples in three bytes
    kWords,   // one 16-bit word a sample
    kStream,  // a bit stream, least significant bit first (the PFNC "p" formats)
};

enum class Role : uint8_t { kMono, kBayer, kYuv, kColour };

struct Format {
    uint32_t code;
    Samples samples;
    Role role;
    uint8_t depth;     // significant bits of a sample
    uint8_t channels;  // samples a pixel (2 for 4:2:2, 1.5 rounded up for 4:1:1 and 4:2:0)
    uint8_t bytesNum, bytesDen;  // bytes a pixel in plane 0: bytesNum / bytesDen
    uint8_t planes;
    uint8_t widthStep, heightStep;  // the width and height must be multiples of these
    int8_t phase;                   // Bayer phase (dispatch8.h), -1 for the others
};

const Format* findFormat(uint32_t code);
// The format with f's role and phase whose samples are held as `samples`,
// `depth` bits each (one byte or one word a sample).
const Format* heldAs(const Format& f, Samples samples, uint8_t depth);

// A frame whose planes, row sizes and strides are known.
struct View {
    const Format* format;
    int32_t width, height;
    uint32_t depth;  // significant bits: the frame's bitDepth or the format's own
    int32_t planes;
    uint8_t* plane[3];
    ptrdiff_t stride[3];
    ptrdiff_t rowBytes[3];
    int32_t rows[3];
    // The planes follow one another with compact rows, as the kernels read and write them.
    bool compact;
    // Bytes the planes span, first to last byte (for the overlap check).
    uint8_t* begin;
    uint8_t* end;
};

// Planes, row sizes and strides of `frame` (format known, size checked), no
// pointers; TAV_OK or TAV_ERROR_STRIDE.
int32_t layout(const TavFrame& frame, const Format& format, View* view);
// The same and the pointers and depth; TAV_OK, TAV_ERROR_STRIDE,
// TAV_ERROR_BIT_DEPTH or TAV_ERROR_NULL (plane 0).
int32_t resolve(const TavFrame& frame, const Format& format, View* view);

// Size checks shared by every call: positive, within the kernels' 32-bit
// arithmetic, and the format's multiples.
int32_t checkSize(const Format& format, int32_t width, int32_t height);

// True when the byte ranges of two frames meet.
bool overlaps(const View& a, const View& b);

// Rows of `bytes` bytes from one layout to another.
void copyRows(const uint8_t* src, ptrdiff_t srcStride, uint8_t* dst, ptrdiff_t dstStride,
              ptrdiff_t bytes, int32_t rows);

// Plane by plane between a view and the compact layout at `compact`.
void gather(const View& v, uint8_t* compact);
void scatter(const uint8_t* compact, const View& v);

// Bytes of the compact layout.
size_t compactBytes(const View& v);

// The calling thread's work memory, grown to the largest size asked for and
// kept: no allocation per frame once the frames stop growing. Null when it
// cannot grow. Parts are carved at 64-byte boundaries.
// Slot 1 is a second such buffer, for a source unpacked before the job.
uint8_t* threadWork(size_t bytes, int slot = 0);
constexpr size_t roundUp64(size_t n) {
    return (n + 63) & ~size_t{63};
}

}  // namespace tav::api
