// Method 3 on 8-bit mosaics: the scalar frame walk over each output form.
#include "hq.h"
#include "hq_frame.h"
#include "luma.h"
#include "writers.h"

namespace tav {
namespace d8 {

// Where method 3's AVX2 output steps put a writer's row.
inline hq::OutputAvx2 wideRow(const Bgr8Writer& w) {
    return {Form8::Bgr8, {w.row, nullptr, nullptr}, w.exchange, 0};
}
inline hq::OutputAvx2 wideRow(const Bgra8Writer& w) {
    return {Form8::Bgra8, {w.row, nullptr, nullptr}, w.exchange, w.alpha};
}
inline hq::OutputAvx2 wideRow(const PlanarWriter& w) {
    return {Form8::Planar, {w.first, w.second, w.third}, false, 0};
}
inline hq::OutputAvx2 wideRow(const Mono8Writer&) {
    return {Form8::Mono8, {nullptr, nullptr, nullptr}, false, 0};
}

}  // namespace d8
namespace {

// Green-first frames (G B over R G) have their red sites on odd rows.
template <class Writer>
int32_t run(const uint8_t* src, int32_t height, int32_t width, const Writer& out, bool greenFirst,
            uint8_t* work) {
    hq::frame<uint8_t>(src, height, width, 8, greenFirst ? 1 : 0, 0, out, work);
    return TAV_OK;
}

d8::Mono8Writer mono(uint8_t* dst, int32_t width, uint32_t exchange) {
    return {dst, width, kLumaWeights[exchange != 0]};
}

}  // namespace

int64_t hqWorkBytes(int32_t width) {
    return hq::workBytes<uint8_t>(width);
}

int32_t rg8ToMono8Hq(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                     uint32_t exchange, uint8_t* work) {
    return run(src, height, width, mono(dst, width, exchange), false, work);
}
int32_t gb8ToMono8Hq(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                     uint32_t exchange, uint8_t* work) {
    return run(src, height, width, mono(dst, width, exchange), true, work);
}
int32_t rg8ToBgr8Hq(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                    uint32_t exchange, uint8_t* work) {
    return run(src, height, width, d8::Bgr8Writer{dst, width, exchange != 0}, false, work);
}
int32_t gb8ToBgr8Hq(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                    uint32_t exchange, uint8_t* work) {
    return run(src, height, width, d8::Bgr8Writer{dst, width, exchange != 0}, true, work);
}
int32_t rg8ToBgra8Hq(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                     uint32_t exchange, uint8_t* work) {
    return run(src, height, width, d8::Bgra8Writer{dst, width, exchange != 0}, false, work);
}
int32_t gb8ToBgra8Hq(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                     uint32_t exchange, uint8_t* work) {
    return run(src, height, width, d8::Bgra8Writer{dst, width, exchange != 0}, true, work);
}
int32_t rg8ToBgra8OpaqueHq(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                           uint32_t exchange, uint8_t* work) {
    return run(src, height, width, d8::Bgra8Writer{dst, width, exchange != 0, 255}, false, work);
}
int32_t gb8ToBgra8OpaqueHq(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                           uint32_t exchange, uint8_t* work) {
    return run(src, height, width, d8::Bgra8Writer{dst, width, exchange != 0, 255}, true, work);
}
int32_t rg8ToBgr8PHq(const uint8_t* src, int32_t height, int32_t width, uint8_t* first,
                     uint8_t* second, uint8_t* third, uint8_t* work) {
    return run(src, height, width, d8::PlanarWriter{first, second, third, width}, false, work);
}
int32_t gb8ToBgr8PHq(const uint8_t* src, int32_t height, int32_t width, uint8_t* first,
                     uint8_t* second, uint8_t* third, uint8_t* work) {
    return run(src, height, width, d8::PlanarWriter{first, second, third, width}, true, work);
}

}  // namespace tav
