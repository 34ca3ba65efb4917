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
    Packed,     // 2 pixels in 3 bytes, high bytes first and last (GigE Vision)
    BitStream,  // n-bit samples one after the other, lowest bit first (PFNC "p")
    Word,       // 1 16-bit word a pixel
    Byte3,      // 3 bytes a pixel (interleaved, or YUV 4:4:4)
    Byte4,      // 4 bytes a pixel
    Planar3,    // three byte planes
    Word3,      // 3 16-bit words a pixel
    Yuv411,     // 6 bytes per 4 pixels
    Yuv420,     // 1.5 bytes a pixel (planar or semi-planar)
    Yuv422,     // 2 bytes a pixel
};

enum Role : unsigned {
    kDemosaicSource = 1,   // tavDemosaic source (Bayer or Mono)
    kDemosaicOutput = 2,   // tavDemosaic 8-bit destination
    kFullDepthOutput = 4,  // tavDemosaic 16-bit-word destination
    kConvertSource = 8,    // tavConvert source
    kConvertTarget = 16,   // tavConvert destination
};

enum class Phase { None, RG, GR, GB, BG };

struct FormatInfo {
    const char* name;
    uint32_t code;
    Layout layout;
    unsigned roles;
    int bits;        // significant bits a sample
    Phase phase;     // Bayer phase, None for the others
    uint32_t words;  // the 16-bit-word format of the same samples (sources deeper than 8 bits)
};

const std::vector<FormatInfo>& allFormats();
const FormatInfo* findFormat(uint32_t code);
// By name or alias (case-insensitive) or by code ("0x01080009", decimal too);
// fails with a message that names the problem.
const FormatInfo& parseFormat(const std::string& text);
std::string hexCode(uint32_t code);

// Bytes of a compact frame in this layout, and of one row (0 where rows are
// not whole bytes apart or the layout has several planes).
uint64_t compactFrameBytes(const FormatInfo& f, int32_t width, int32_t height);
uint64_t rowBytes(const FormatInfo& f, int32_t width);

// The samples of a Packed or BitStream source as 16-bit words: `rows` rows of
// `count` samples, `stride` bytes apart.
void unpackToWords(const FormatInfo& f, const uint8_t* src, int64_t stride, int64_t count,
                   int32_t rows, uint16_t* dst);

// Bytes per pixel of an interleaved demosaic output (planar: 3 too).
int outputBytesPerPixel(const FormatInfo& f);

// `tav formats`.
int runFormats(const std::vector<std::string>& argv);

}  // namespace tavcli
