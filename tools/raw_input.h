// Headerless camera frames in a file: where each frame is, how its samples
// are stored, and the checks that catch a wrong guess.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cli.h"
#include "formats.h"
#include "tav_api.h"

namespace tavcli {

struct RawLayout {
    const FormatInfo* format = nullptr;
    int32_t width = 0, height = 0;
    int64_t stride = 0;  // bytes from row to row; 0: compact
    int64_t offset = 0;  // bytes before the first frame
    int64_t frame = -1;  // the one to read; -1: the only one
    bool all = false;    // every frame
    bool msb = false;    // 16-bit words: samples in the top bits
    bool bigEndian = false;
    uint64_t frameBytes() const;
    std::string describe() const;  // "16x16 BayerRG12 frame (stride 40)"
};

// The options parseRawLayout reads, for Args.
extern const std::vector<std::string> kRawOptions, kRawFlags;
RawLayout parseRawLayout(const Args& args);

// The indices of the frames to read from a file of this size; throws Failure
// when the size does not fit the layout.
std::vector<int64_t> framesToRead(const RawLayout& layout, uint64_t fileSize,
                                  const std::string& path);

// The bytes of frame `index` of a file (only those are read).
std::vector<uint8_t> readFrame(const RawLayout& layout, const std::string& path, int64_t index);

// A frame's bytes as the library reads them. Where the program has to
// unpack or fix the samples first (bit streams, --msb, --big-endian, or
// `asWords`), they land in `words` and the frame is in its word format.
// Samples above the declared depth get a warning on standard error, naming
// `command` (no warning when null).
TavFrame frameOf(const RawLayout& layout, const std::vector<uint8_t>& bytes, bool asWords,
                 std::vector<uint16_t>& words, const std::string& path, const char* command);

// The bytes of a one-plane frame of `format` (or any compact frame) with compact rows.
std::vector<uint8_t> compactBytes(const TavFrame& frame, const FormatInfo& format);

}  // namespace tavcli
