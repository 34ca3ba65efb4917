// Method 3 of the 8-bit entry: its kernels (library-internal) and dispatch
// table, and the line buffer it needs beyond the other methods' scratch.
#pragma once

#include <cstdint>

#include "dispatch8.h"

namespace tav {

// Red-first (RG; BG exchanged) and green-first (GB; GR exchanged) frames.
int32_t rg8ToMono8Hq(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                     uint32_t exchange, uint8_t* work);
int32_t gb8ToMono8Hq(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                     uint32_t exchange, uint8_t* work);
int32_t rg8ToBgr8Hq(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                    uint32_t exchange, uint8_t* work);
int32_t gb8ToBgr8Hq(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                    uint32_t exchange, uint8_t* work);
int32_t rg8ToBgra8Hq(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                     uint32_t exchange, uint8_t* work);
int32_t gb8ToBgra8Hq(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                     uint32_t exchange, uint8_t* work);
int32_t rg8ToBgr8PHq(const uint8_t* src, int32_t height, int32_t width, uint8_t* first,
                     uint8_t* second, uint8_t* third, uint8_t* work);
int32_t gb8ToBgr8PHq(const uint8_t* src, int32_t height, int32_t width, uint8_t* first,
                     uint8_t* second, uint8_t* third, uint8_t* work);

// The four-byte kernels with alpha 255 (the frame API).
int32_t rg8ToBgra8OpaqueHq(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                           uint32_t exchange, uint8_t* work);
int32_t gb8ToBgra8OpaqueHq(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                           uint32_t exchange, uint8_t* work);

// Bytes of work area method 3 needs for a frame `width` wide.
int64_t hqWorkBytes(int32_t width);

extern const RouteTable8 kHqRoutes;  // method 3

}  // namespace tav
