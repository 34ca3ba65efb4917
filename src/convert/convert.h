// Internal interfaces of the conversion subsystem: the converters (one per
// source format) and the encoders from three-byte pixels that they call.
#pragma once

#include <cstdint>

namespace tav::cvt {

using Converter = int32_t (*)(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                              uint64_t target);

int32_t convertMono1P(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                      uint64_t target);
int32_t convertMono4P(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                      uint64_t target);
int32_t convertMono8(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                     uint64_t target);
int32_t convertMono1C(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                      uint64_t target);
int32_t convertYUV411P(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                       uint64_t target);
int32_t convertYUV420P(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                       uint64_t target);
int32_t convertYUV420SP_NV12(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                             uint64_t target);
int32_t convertYUV422_UYVY(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                           uint64_t target);
int32_t convertYUV422_YUYV(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                           uint64_t target);
int32_t convertYUV444(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                      uint64_t target);
int32_t convertRGB8(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                    uint64_t target);
int32_t convertBGR8(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                    uint64_t target);

// The YUV sources' four-byte decoders with alpha 255: the bytes of the
// RGBa8/BGRa8 kernels otherwise. TAV_E_PIXEL_FORMAT for a source without one.
int32_t decodeOpaque(uint32_t source, const uint8_t* src, uint8_t* dst, int32_t height,
                     int32_t width, bool bgr);
// The same for the YUV, RGB8 and BGR8 sources (the frame API); `target`
// RGBA8 or BGRA8.
int32_t convertOpaque(uint32_t source, const uint8_t* src, uint8_t* dst, int32_t height,
                      int32_t width, uint64_t target);

// Encoders from three-byte pixels; `rgb` tells a red-first source from a
// blue-first one. Counts that are not positive write nothing.
void exchangeOuter(const uint8_t* src, uint8_t* dst, int32_t pixels);
void widenTo4(const uint8_t* src, uint8_t* dst, int32_t pixels, bool exchange, bool opaque = false);
void encodeMono8(const uint8_t* src, uint8_t* dst, int32_t pixels, bool rgb);
void encodeUyv(const uint8_t* src, uint8_t* dst, int32_t pixels, bool rgb);
void encode411(const uint8_t* src, uint8_t* dst, int32_t groups, bool rgb);
void encode420(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width, bool rgb);

}  // namespace tav::cvt
