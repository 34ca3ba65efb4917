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

// A part of the chart scored on its own.
struct Region {
    const char* name;
    Rect rect;
};

// Colour bars, a zone plate, slanted edges, text and line gratings, and
// gradients; `details` receives the spots worth a close look, `regions` the
// colour bars, slanted edges, text and zone plate.
Raster makeChart(int32_t width, int32_t height, std::vector<Rect>& details,
                 std::vector<Region>& regions);

// Spots worth a close look in a picture the program knows nothing about.
std::vector<Rect> genericDetails(int32_t width, int32_t height);

// Any PNG as 8-bit RGB (grey replicated, alpha dropped, 16-bit reduced).
Raster toRgb8(const Raster& image);

// The chart as a Bayer sensor would see it, red at (redY, redX) of each 2x2
// cell, each 8-bit value v scaled to `bits` (v * (2^bits - 1) / 255, rounded down).
std::vector<uint16_t> mosaic(const Raster& rgb, int redY, int redX, int bits);

// 12-bit samples in the GigE Vision packed layout, two in three bytes:
// high byte of the first, the two low nibbles, high byte of the second.
std::vector<uint8_t> pack12(const std::vector<uint16_t>& samples);

// PSNR in dB of an RGB result (8-bit, or 16-bit words with `maxValue`)
// against the 8-bit chart, both scaled to [0, 1], over `area` (the whole
// chart when empty). Infinite when identical.
double psnrRgb8(const Raster& chart, const uint8_t* rgb, Rect area = {});
double psnrRgb16(const Raster& chart, const uint16_t* rgb, int maxValue, Rect area = {});

// Side-by-side crops: one column per labelled picture, one row per detail,
// each crop enlarged `zoom` times.
struct SheetColumn {
    std::string label;
    const Raster* image;  // 8-bit RGB, the chart's size
};
Raster makeSheet(const std::vector<SheetColumn>& columns, const std::vector<Rect>& details,
                 int zoom);

}  // namespace tavcli
