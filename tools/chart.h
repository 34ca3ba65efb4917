// The demo's test chart, its Bayer mosaic, and the pictures and numbers made
// from the results.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "image_io.h"

namespace tavcli {

struct Rect {
    int32_t x, y, w, h;
};

struct Rgb {
    uint8_t r, g, b;
};

// An 8-bit RGB raster of the given size.
Raster makeRgbRaster(int32_t width, int32_t height);

// Writes text in a 5x7 pixel font, each font pixel `scale` pixels wide;
// clipped to `clip`. Letters are shown upper case.
void drawText(Raster& image, int32_t x, int32_t y, const std::string& text, int scale, Rgb colour,
              const Rect& clip);

// Colour bars, a zone plate, slanted edges, text and line gratings, and
// gradients; `details` receives the spots worth a close look.
Raster makeChart(int32_t width, int32_t height, std::vector<Rect>& details);

// Spots worth a close look in a picture the program knows nothing about.
std::vector<Rect> genericDetails(int32_t width, int32_t height);

// Any PNG as 8-bit RGB (grey replicated, alpha dropped, 16-bit reduced).
Raster toRgb8(const Raster& image);

// The chart as an RG-phased Bayer sensor at 12 bits would see it (each 8-bit
// value v scaled to the full 12-bit range, v * 4095 / 255).
std::vector<uint16_t> mosaicRG12(const Raster& rgb);

// 12-bit samples in the GigE Vision packed layout, two in three bytes:
// high byte of the first, the two low nibbles, high byte of the second.
std::vector<uint8_t> pack12(const std::vector<uint16_t>& samples);

// PSNR in dB of an RGB result (8-bit, or 16-bit words with `maxValue`)
// against the 8-bit chart, both scaled to [0, 1]. Infinite when identical.
double psnrRgb8(const Raster& chart, const uint8_t* rgb);
double psnrRgb16(const Raster& chart, const uint16_t* rgb, int maxValue);

// Side-by-side crops: one column per labelled picture, one row per detail,
// each crop enlarged `zoom` times.
struct SheetColumn {
    std::string label;
    const Raster* image;  // 8-bit RGB, the chart's size
};
Raster makeSheet(const std::vector<SheetColumn>& columns, const std::vector<Rect>& details,
                 int zoom);

}  // namespace tavcli
