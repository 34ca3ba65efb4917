// Pixel formats by name: storage layout and what the library does with each.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tavcli {

enum class Layout {
    Bits1,      // 8 pixels a byte
    Bits4,      // 2 pixels a byte
    Byte,       // 1 byte a pixel
    Packed12,   // 2 pixels in 3 bytes
    Word,       // 1 16-bit word a pixel
    Byte3,      // 3 bytes a pixel (interleaved, or YUV 4:4:4)
    Byte4,      // 4 bytes a pixel
    Planar3,    // three byte planes
    Word3,      // 3 16-bit words a pixel
    Yuv411,     // 6 bytes per 4 pixels
    Yuv420,     // 1.5 bytes a pixel (planar or semi-planar)
    Yuv422,     // 2 bytes a pixel
    PointList,  // 4-byte point records
};

enum Role : unsigned {
    kDemosaicSource = 1,    // tavDemosaicing source
    kDemosaicOutput = 2,    // tavDemosaicing output
    kDemosaic16Source = 4,  // tavDemosaicingU16 source
    kDemosaic16Output = 8,  // tavDemosaicingU16 output
    kConvertSource = 16,    // tavImageTypeConvert source
    kConvertTarget = 32,    // tavImageTypeConvert target
};

enum class Phase { None, RG, GR, GB, BG };

struct FormatInfo {
    const char* name;
    uint32_t code;
    Layout layout;
    unsigned roles;
    int bits;     // significant bits a sample
    Phase phase;  // Bayer phase, None for the others
};

const std::vector<FormatInfo>& allFormats();
const FormatInfo* findFormat(uint32_t code);
// By name (case-insensitive) or by code ("0x01080009", decimal too); fails
// with a message that names the problem.
const FormatInfo& parseFormat(const std::string& text);
std::string hexCode(uint32_t code);

// Bytes of a frame in this layout with compact rows.
uint64_t compactFrameBytes(Layout layout, int32_t width, int32_t height);
// The compact row pitch where rows have one (the layouts a demosaicing source can have).
int32_t compactPitch(Layout layout, int32_t width);
// Bytes the library reads from a demosaicing source with this pitch.
uint64_t sourceBytes(Layout layout, int32_t width, int32_t height, int32_t pitch);

// Bytes per pixel of an interleaved 8-bit demosaic output (planar: 3 too).
int outputBytesPerPixel(Layout layout);

// `tav formats`.
int runFormats(const std::vector<std::string>& argv);

}  // namespace tavcli
