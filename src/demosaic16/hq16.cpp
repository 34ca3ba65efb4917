// Method 3 on 16-bit mosaics: the shared frame walk over a three-word writer.
#include "hq16.h"

#include <cstdlib>

#include "hq_frame.h"
#include "tav.h"
#include "words.h"

namespace tav {
namespace {

// The frame walk asks a writer for row y by next(y).
struct Rows16 {
    d16::Bgr16Writer words;
    d16::Bgr16Writer::Row next(int32_t y) const { return words.row(y); }
};

// The line buffer of the caller's band. The entry has no context to keep one
// in, and the caller's band runs on the calling thread (the whole frame does
// when another caller has the pool), so each thread keeps its own, grown to
// the widest frame it has seen: no allocation once a thread has seen its
// widest frame, and no lock between callers.
struct ThreadWork {
    uint8_t* bytes = nullptr;
    size_t size = 0;
    ~ThreadWork() { std::free(bytes); }

    uint8_t* reserve(size_t n) {
        if (n <= size) return bytes;
        void* grown = std::realloc(bytes, n);
        if (grown == nullptr) return nullptr;
        bytes = static_cast<uint8_t*>(grown);
        size = n;
        return bytes;
    }
};

}  // namespace

int32_t hq16ToRgb16(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst, int32_t redY,
                    int32_t redX, bool redFirst, uint32_t bitDepth) {
    if (bitDepth < 10 || bitDepth > 16) return TAV_E_PARAMETER;
    thread_local ThreadWork work;
    uint8_t* line = work.reserve(static_cast<size_t>(hq::workBytes<uint16_t>(width)));
    if (line == nullptr) return TAV_E_NO_MEMORY;
    hq::frame<uint16_t>(src, height, width, static_cast<int32_t>(bitDepth), redY, redX,
                        Rows16{{dst, width, redFirst}}, line);
    return TAV_OK;
}

}  // namespace tav
