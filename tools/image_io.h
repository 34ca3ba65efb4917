// Image files: PNG (libpng), PPM/PGM.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tavcli {

// Pixels in memory: rows of `width` pixels of `channels` samples, 8-bit
// bytes or host-order 16-bit words, no padding.
struct Raster {
    int32_t width = 0;
    int32_t height = 0;
    int channels = 3;         // 1 grey, 3 colour, 4 colour and alpha
    int bitDepth = 8;         // 8 or 16
    int significantBits = 0;  // 16-bit only: bits in use at the top of the word, 0 = all 16
    bool bgr = false;         // colour samples stored blue first
    std::vector<uint8_t> data;
};

bool looksLikePng(const std::vector<uint8_t>& file);

// Writes a PNG; `pixels` as in Raster. `fast` trades size for speed.
void writePng(const std::string& path, const void* pixels, int32_t width, int32_t height,
              int channels, int bitDepth, bool bgr = false, int significantBits = 0,
              bool fast = true);
void writePng(const std::string& path, const Raster& image, bool fast = true);

// Reads any PNG: palettes and grey below 8 bits are expanded, a grey image's
// alpha is dropped; 16-bit samples arrive in host order.
Raster readPng(const std::string& path);

// A 24-bit BMP from compact BGR8 rows, stored top-down.
void writeBmp(const std::string& path, const uint8_t* bgr, int32_t width, int32_t height);

// Binary PGM (1 channel) or PPM (3 channels, RGB order).
void writePnm(const std::string& path, const uint8_t* pixels, int32_t width, int32_t height,
              int channels);

}  // namespace tavcli
