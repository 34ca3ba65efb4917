#include "unpack.h"

#include <cstring>

#include "threads.h"

namespace tav::api {
namespace {

// Little-endian value of the n bytes at p (n <= 8): reads no byte past them.
inline uint64_t bytesAt(const uint8_t* p, int n) {
    uint64_t v = 0;
    std::memcpy(&v, p, static_cast<size_t>(n));
    return v;
}

// GigE packed: two samples in three bytes, the top eight bits of each in
// bytes 0 and 2, their low bits in byte 1 (the first's from bit 0, the
// second's from bit 4).
void packedRow(const uint8_t* s, int32_t width, uint32_t depth, uint16_t* d) {
    const uint32_t low = depth - 8, mask = (1u << low) - 1;
    for (int32_t x = 0; x < width; x += 2, s += 3) {
        d[x] = static_cast<uint16_t>(uint32_t{s[0]} << low | (s[1] & mask));
        d[x + 1] = static_cast<uint16_t>(uint32_t{s[2]} << low | (s[1] >> 4 & mask));
    }
}

// A bit stream: sample i in bits depth*i .. depth*i + depth - 1, groups of
// eight bits' worth of samples (four 10-bit samples in five bytes, two 12-bit
// in three) read at once.
void streamRow(const uint8_t* s, int32_t width, uint32_t depth, uint16_t* d) {
    const int groupSamples = depth == 10 ? 4 : 2;
    const int groupBytes = groupSamples * static_cast<int>(depth) / 8;
    const uint32_t mask = (1u << depth) - 1;
    for (int32_t x = 0; x < width; x += groupSamples, s += groupBytes) {
        const uint64_t v = bytesAt(s, groupBytes);
        for (int k = 0; k < groupSamples; ++k) {
            d[x + k] = static_cast<uint16_t>(v >> (depth * k) & mask);
        }
    }
}

}  // namespace

void unpackWords(const View& s, uint16_t* words) {
    const int32_t w = s.width;
    const bool stream = s.format->samples == Samples::kStream;
    const uint32_t depth = s.format->depth;
    parallelRows(s.height, minBandUnits(2 * int64_t{w}), [&](int32_t r0, int32_t r1) {
        for (int32_t r = r0; r < r1; ++r) {
            const uint8_t* row = s.plane[0] + r * s.stride[0];
            uint16_t* out = words + size_t(r) * w;
            if (stream) {
                streamRow(row, w, depth, out);
            } else {
                packedRow(row, w, depth, out);
            }
        }
    });
}

}  // namespace tav::api
