#include "chart.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace tavcli {
namespace {

constexpr double kPi = 3.14159265358979323846;

// 5x7 glyphs, one byte per row, bit 4 the leftmost column.
struct Glyph {
    char c;
    uint8_t rows[7];
};

const Glyph kFont[] = {
    {'A', {0x0E, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}},
    {'B', {0x1E, 0x11, 0x11, 0x1E, 0x11, 0x11, 0x1E}},
    {'C', {0x0E, 0x11, 0x10, 0x10, 0x10, 0x11, 0x0E}},
    {'D', {0x1C, 0x12, 0x11, 0x11, 0x11, 0x12, 0x1C}},
    {'E', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x1F}},
    {'F', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x10}},
    {'G', {0x0E, 0x11, 0x10, 0x17, 0x11, 0x11, 0x0F}},
    {'H', {0x11, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}},
    {'I', {0x0E, 0x04, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'J', {0x07, 0x02, 0x02, 0x02, 0x02, 0x12, 0x0C}},
    {'K', {0x11, 0x12, 0x14, 0x18, 0x14, 0x12, 0x11}},
    {'L', {0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x1F}},
    {'M', {0x11, 0x1B, 0x15, 0x15, 0x11, 0x11, 0x11}},
    {'N', {0x11, 0x11, 0x19, 0x15, 0x13, 0x11, 0x11}},
    {'O', {0x0E, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}},
    {'P', {0x1E, 0x11, 0x11, 0x1E, 0x10, 0x10, 0x10}},
    {'Q', {0x0E, 0x11, 0x11, 0x11, 0x15, 0x12, 0x0D}},
    {'R', {0x1E, 0x11, 0x11, 0x1E, 0x14, 0x12, 0x11}},
    {'S', {0x0F, 0x10, 0x10, 0x0E, 0x01, 0x01, 0x1E}},
    {'T', {0x1F, 0x04, 0x04, 0x04, 0x04, 0x04, 0x04}},
    {'U', {0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}},
    {'V', {0x11, 0x11, 0x11, 0x11, 0x11, 0x0A, 0x04}},
    {'W', {0x11, 0x11, 0x11, 0x15, 0x15, 0x15, 0x0A}},
    {'X', {0x11, 0x11, 0x0A, 0x04, 0x0A, 0x11, 0x11}},
    {'Y', {0x11, 0x11, 0x11, 0x0A, 0x04, 0x04, 0x04}},
    {'Z', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x10, 0x1F}},
    {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}},
    {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'2', {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}},
    {'3', {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E}},
    {'4', {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}},
    {'5', {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E}},
    {'6', {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}},
    {'7', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08}},
    {'8', {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}},
    {'9', {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}},
    {'.', {0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x0C}},
    {',', {0x00, 0x00, 0x00, 0x00, 0x0C, 0x04, 0x08}},
    {'-', {0x00, 0x00, 0x00, 0x1F, 0x00, 0x00, 0x00}},
    {'+', {0x00, 0x04, 0x04, 0x1F, 0x04, 0x04, 0x00}},
    {'=', {0x00, 0x00, 0x1F, 0x00, 0x1F, 0x00, 0x00}},
    {'/', {0x00, 0x01, 0x02, 0x04, 0x08, 0x10, 0x00}},
    {':', {0x00, 0x0C, 0x0C, 0x00, 0x0C, 0x0C, 0x00}},
    {'(', {0x02, 0x04, 0x08, 0x08, 0x08, 0x04, 0x02}},
    {')', {0x08, 0x04, 0x02, 0x02, 0x02, 0x04, 0x08}},
    {'%', {0x18, 0x19, 0x02, 0x04, 0x08, 0x13, 0x03}},
};

const uint8_t* glyphRows(char c) {
    const char u = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    for (const Glyph& g : kFont) {
        if (g.c == u) return g.rows;
    }
    return nullptr;  // space and anything unknown
}

uint8_t* at(Raster& image, int32_t x, int32_t y) {
    return image.data.data() + (size_t(y) * image.width + x) * 3;
}

void put(Raster& image, int32_t x, int32_t y, Rgb c) {
    uint8_t* p = at(image, x, y);
    p[0] = c.r;
    p[1] = c.g;
    p[2] = c.b;
}

void fill(Raster& image, const Rect& r, Rgb c) {
    for (int32_t y = r.y; y < r.y + r.h; ++y) {
        for (int32_t x = r.x; x < r.x + r.w; ++x) put(image, x, y, c);
    }
}

uint8_t toByte(double v) {
    return static_cast<uint8_t>(std::lround(std::clamp(v, 0.0, 255.0)));
}

Rgb mix(Rgb a, Rgb b, double t) {
    return {toByte(a.r + (b.r - a.r) * t), toByte(a.g + (b.g - a.g) * t),
            toByte(a.b + (b.b - a.b) * t)};
}

// Fraction of the pixel at (px, py) inside the half-plane n.(p - o) <= 0,
// from its signed distance to the edge: a one-pixel ramp, like a real lens.
double coverage(double px, double py, double ox, double oy, double nx, double ny) {
    const double d = (px - ox) * nx + (py - oy) * ny;
    return std::clamp(0.5 - d, 0.0, 1.0);
}

void colourBars(Raster& image, const Rect& r) {
    static const Rgb kBars[] = {{255, 255, 255}, {255, 255, 0}, {0, 255, 255}, {0, 255, 0},
                                {255, 0, 255},   {255, 0, 0},   {0, 0, 255},   {0, 0, 0}};
    const int32_t top = r.h * 2 / 3;
    for (int32_t y = r.y; y < r.y + r.h; ++y) {
        for (int32_t x = r.x; x < r.x + r.w; ++x) {
            const int i = static_cast<int>(int64_t(x - r.x) * 8 / r.w);
            // lower third: the same bars at 75 % in reverse order
            const Rgb c = y - r.y < top ? kBars[i] : kBars[7 - i];
            const double k = y - r.y < top ? 1.0 : 0.75;
            put(image, x, y, {toByte(c.r * k), toByte(c.g * k), toByte(c.b * k)});
        }
    }
}

// Rings whose frequency grows with the radius and reaches the pixel
// frequency limit (half a cycle a pixel) at the edge of the square.
void zonePlate(Raster& image, const Rect& r) {
    const double cx = r.x + r.w / 2.0, cy = r.y + r.h / 2.0;
    const double k = kPi / std::min(r.w, r.h);
    for (int32_t y = r.y; y < r.y + r.h; ++y) {
        for (int32_t x = r.x; x < r.x + r.w; ++x) {
            const double dx = x + 0.5 - cx, dy = y + 0.5 - cy;
            const uint8_t v = toByte(127.5 + 127.0 * std::cos(k * (dx * dx + dy * dy)));
            put(image, x, y, {v, v, v});
        }
    }
}

// A dark square turned by 5 degrees on white, and two colour boundaries
// slanted the other way below it.
void slantedEdges(Raster& image, const Rect& r) {
    const double a = 5.0 * kPi / 180.0, c = std::cos(a), s = std::sin(a);
    const int32_t squareH = r.h * 3 / 5;
    const double side = std::min(r.w, squareH) * 0.6;
    const double cx = r.x + r.w / 2.0, cy = r.y + squareH / 2.0;
    const double half = side / 2;
    const Rgb white{245, 245, 245}, dark{20, 20, 20};
    for (int32_t y = r.y; y < r.y + squareH; ++y) {
        for (int32_t x = r.x; x < r.x + r.w; ++x) {
            const double px = x + 0.5, py = y + 0.5;
            // inside all four sides of the turned square
            double cov = 1.0;
            const double normals[4][2] = {{c, s}, {-c, -s}, {-s, c}, {s, -c}};
            for (const auto& n : normals) {
                cov =
                    std::min(cov, coverage(px, py, cx + n[0] * half, cy + n[1] * half, n[0], n[1]));
            }
            put(image, x, y, mix(white, dark, cov));
        }
    }
    const Rgb red{220, 30, 30}, cyan{30, 200, 220}, blue{30, 40, 210}, yellow{235, 220, 40};
    const int32_t bandH = r.h - squareH;
    for (int32_t y = r.y + squareH; y < r.y + r.h; ++y) {
        const bool upper = y - (r.y + squareH) < bandH / 2;
        for (int32_t x = r.x; x < r.x + r.w; ++x) {
            const double t = coverage(x + 0.5, y + 0.5, cx, cy, c, -s);
            put(image, x, y, upper ? mix(red, cyan, t) : mix(blue, yellow, t));
        }
    }
}

// Text at one and two font pixels a pixel, in several colour pairs, and
// gratings of one- and two-pixel lines.
void fineDetail(Raster& image, const Rect& r) {
    fill(image, r, {250, 250, 250});
    static const char kText[] =
        "THE QUICK BROWN FOX JUMPS OVER THE LAZY DOG 0123456789 (TAV) 1/2 = 50%, "
        "RAW BAYER RG12 PACKED: NEAREST BILINEAR EDGE. ";
    struct Line {
        int scale;
        Rgb fg, bg;
    };
    static const Line kLines[] = {
        {1, {0, 0, 0}, {250, 250, 250}}, {1, {255, 255, 255}, {0, 0, 0}},
        {1, {200, 0, 0}, {0, 160, 0}},   {1, {0, 0, 200}, {250, 250, 250}},
        {2, {0, 0, 0}, {250, 250, 250}}, {2, {250, 250, 0}, {0, 0, 160}}};
    const int32_t gratingH = r.h / 4;
    int32_t y = r.y + 2;
    size_t offset = 0;
    while (y + 9 < r.y + r.h - gratingH) {
        for (const Line& line : kLines) {
            const int32_t lineH = 9 * line.scale;
            if (y + lineH > r.y + r.h - gratingH) break;
            fill(image, {r.x, y, r.w, lineH}, line.bg);
            std::string text;
            while (int32_t(text.size()) * 6 * line.scale < r.w) {
                text += kText[offset++ % (sizeof kText - 1)];
            }
            drawText(image, r.x + 1, y + line.scale, text, line.scale, line.fg, r);
            y += lineH;
        }
    }
    // gratings: vertical and horizontal lines, one and two pixels wide
    const int32_t gy = r.y + r.h - gratingH;
    const int32_t qw = r.w / 4;
    for (int32_t yy = gy; yy < r.y + r.h; ++yy) {
        for (int32_t xx = r.x; xx < r.x + r.w; ++xx) {
            const int32_t q = std::min<int32_t>((xx - r.x) / std::max(qw, 1), 3);
            const int32_t u = q < 2 ? xx : yy;
            const int32_t period = q % 2 == 0 ? 1 : 2;
            const uint8_t v = (u / period) % 2 ? 255 : 0;
            put(image, xx, yy, {v, v, v});
        }
    }
}

// Ramps from black to full grey, red, green and blue, and a hue sweep.
void gradients(Raster& image, const Rect& r) {
    for (int32_t y = r.y; y < r.y + r.h; ++y) {
        const int band = static_cast<int>(int64_t(y - r.y) * 5 / r.h);
        for (int32_t x = r.x; x < r.x + r.w; ++x) {
            const double t = (x - r.x) / double(std::max(r.w - 1, 1));
            const uint8_t v = toByte(255.0 * t);
            Rgb c{v, v, v};
            if (band == 1) c = {v, 0, 0};
            if (band == 2) c = {0, v, 0};
            if (band == 3) c = {0, 0, v};
            if (band == 4) {
                const double h = t * 6.0;
                auto f = [&](double n) {
                    const double k = std::fmod(n + h, 6.0);
                    return toByte(255.0 * (1.0 - std::clamp(std::min(k, 4.0 - k), 0.0, 1.0)));
                };
                c = {f(5.0), f(3.0), f(1.0)};
            }
            put(image, x, y, c);
        }
    }
}

Rect centred(int32_t cx, int32_t cy, int32_t size, int32_t width, int32_t height) {
    size = std::min({size, width, height});
    const int32_t x = std::clamp(cx - size / 2, 0, width - size);
    const int32_t y = std::clamp(cy - size / 2, 0, height - size);
    return {x, y, size, size};
}

}  // namespace

Raster makeRgbRaster(int32_t width, int32_t height) {
    Raster r;
    r.width = width;
    r.height = height;
    r.channels = 3;
    r.bitDepth = 8;
    r.data.assign(size_t(width) * height * 3, 0);
    return r;
}

void drawText(Raster& image, int32_t x, int32_t y, const std::string& text, int scale, Rgb colour,
              const Rect& clip) {
    const int32_t x1 = std::min(clip.x + clip.w, image.width);
    const int32_t y1 = std::min(clip.y + clip.h, image.height);
    for (char ch : text) {
        if (const uint8_t* rows = glyphRows(ch)) {
            for (int gy = 0; gy < 7 * scale; ++gy) {
                for (int gx = 0; gx < 5 * scale; ++gx) {
                    if (!(rows[gy / scale] & (0x10 >> (gx / scale)))) continue;
                    const int32_t px = x + gx, py = y + gy;
                    if (px >= clip.x && py >= clip.y && px < x1 && py < y1)
                        put(image, px, py, colour);
                }
            }
        }
        x += 6 * scale;
    }
}

Raster makeChart(int32_t width, int32_t height, std::vector<Rect>& details,
                 std::vector<Region>& regions) {
    Raster image = makeRgbRaster(width, height);
    const int32_t barsH = std::max(1, height * 16 / 100);
    const int32_t gradH = std::max(1, height * 20 / 100);
    const int32_t midY = barsH, midH = height - barsH - gradH;
    const int32_t zoneW = std::min(midH, width * 36 / 100);
    const int32_t restW = width - zoneW;
    const int32_t edgeW = restW * 40 / 100;
    const Rect bars{0, 0, width, barsH};
    const Rect zone{0, midY, zoneW, midH};
    const Rect edges{zoneW, midY, edgeW, midH};
    const Rect detail{zoneW + edgeW, midY, restW - edgeW, midH};
    const Rect grads{0, height - gradH, width, gradH};
    fill(image, {0, 0, width, height}, {128, 128, 128});
    colourBars(image, bars);
    if (zone.w > 0 && zone.h > 0) zonePlate(image, {zone.x, zone.y, zoneW, std::min(zoneW, midH)});
    if (edges.w > 0 && edges.h > 0) slantedEdges(image, edges);
    if (detail.w > 0 && detail.h > 0) fineDetail(image, detail);
    gradients(image, grads);

    // the text lines only: the gratings below them sit at the pixel limit
    const Rect text{detail.x, detail.y, detail.w, detail.h - detail.h / 4};
    const Rect plate{zone.x, zone.y, zoneW, std::min(zoneW, midH)};
    regions.clear();
    for (const Region& r : {Region{"bars", bars}, Region{"edges", edges}, Region{"text", text},
                            Region{"zone", plate}}) {
        if (r.rect.w > 0 && r.rect.h > 0) regions.push_back(r);
    }

    const int32_t crop = std::max<int32_t>(8, std::min<int32_t>(128, midH / 2));
    details = {
        // zone plate rings at about 0.35 cycles a pixel, where methods differ most
        centred(zone.x + zoneW * 85 / 100, zone.y + zoneW / 2, crop, width, height),
        // a corner of the turned square
        centred(edges.x + edges.w / 2 + int32_t(std::min(edges.w, midH * 3 / 5) * 0.3),
                edges.y + int32_t(midH * 3 / 10 - std::min(edges.w, midH * 3 / 5) * 0.3), crop,
                width, height),
        // text and the start of the gratings
        centred(detail.x + crop / 2, detail.y + detail.h - detail.h / 4, crop, width, height),
        // where the colour bars meet
        centred(width * 5 / 8, barsH * 2 / 3, crop, width, height),
    };
    return image;
}

std::vector<Rect> genericDetails(int32_t width, int32_t height) {
    const int32_t crop = std::max<int32_t>(8, std::min<int32_t>(128, std::min(width, height) / 3));
    return {centred(width / 4, height / 4, crop, width, height),
            centred(3 * width / 4, height / 4, crop, width, height),
            centred(width / 4, 3 * height / 4, crop, width, height),
            centred(3 * width / 4, 3 * height / 4, crop, width, height)};
}

Raster toRgb8(const Raster& image) {
    Raster out = makeRgbRaster(image.width, image.height);
    const size_t n = size_t(image.width) * image.height;
    for (size_t i = 0; i < n; ++i) {
        for (int c = 0; c < 3; ++c) {
            const int src = image.channels >= 3 ? c : 0;
            const size_t k = i * image.channels + src;
            uint8_t v;
            if (image.bitDepth == 16) {
                uint16_t w;
                std::memcpy(&w, image.data.data() + 2 * k, 2);
                v = static_cast<uint8_t>(w >> 8);
            } else {
                v = image.data[k];
            }
            out.data[i * 3 + c] = v;
        }
    }
    return out;
}

std::vector<uint16_t> mosaic(const Raster& rgb, int redY, int redX, int bits) {
    const uint32_t top = (1u << bits) - 1;
    std::vector<uint16_t> samples(size_t(rgb.width) * rgb.height);
    for (int32_t y = 0; y < rgb.height; ++y) {
        for (int32_t x = 0; x < rgb.width; ++x) {
            const bool redRow = (y & 1) == redY, redCol = (x & 1) == redX;
            const int channel = redRow && redCol ? 0 : !redRow && !redCol ? 2 : 1;
            const uint32_t v = rgb.data[(size_t(y) * rgb.width + x) * 3 + channel];
            samples[size_t(y) * rgb.width + x] = static_cast<uint16_t>(v * top / 255);
        }
    }
    return samples;
}

std::vector<uint8_t> pack12(const std::vector<uint16_t>& samples) {
    std::vector<uint8_t> packed((samples.size() + 1) / 2 * 3);
    for (size_t i = 0; i < samples.size(); i += 2) {
        const uint16_t a = samples[i];
        const uint16_t b = i + 1 < samples.size() ? samples[i + 1] : 0;
        uint8_t* p = &packed[i / 2 * 3];
        p[0] = static_cast<uint8_t>(a >> 4);
        p[1] = static_cast<uint8_t>((a & 0xF) | ((b & 0xF) << 4));
        p[2] = static_cast<uint8_t>(b >> 4);
    }
    return packed;
}

namespace {

template <typename T>
double psnr(const Raster& chart, const T* rgb, double maxValue, Rect a) {
    if (a.w <= 0 || a.h <= 0) a = {0, 0, chart.width, chart.height};
    double sum = 0;
    for (int32_t y = a.y; y < a.y + a.h; ++y) {
        const size_t start = (size_t(y) * chart.width + a.x) * 3;
        for (size_t i = start; i < start + size_t(a.w) * 3; ++i) {
            const double d = rgb[i] / maxValue - chart.data[i] / 255.0;
            sum += d * d;
        }
    }
    const double mse = sum / (double(a.w) * a.h * 3);
    return mse == 0 ? std::numeric_limits<double>::infinity() : -10.0 * std::log10(mse);
}

}  // namespace

double psnrRgb8(const Raster& chart, const uint8_t* rgb, Rect area) {
    return psnr(chart, rgb, 255.0, area);
}

double psnrRgb16(const Raster& chart, const uint16_t* rgb, int maxValue, Rect area) {
    return psnr(chart, rgb, double(maxValue), area);
}

Raster makeSheet(const std::vector<SheetColumn>& columns, const std::vector<Rect>& details,
                 int zoom) {
    const int32_t margin = 8, labelH = 7 * 2 + 2 * margin;
    int32_t tile = 0;
    for (const Rect& d : details) tile = std::max(tile, std::max(d.w, d.h) * zoom);
    const int32_t cols = static_cast<int32_t>(columns.size());
    const int32_t rows = static_cast<int32_t>(details.size());
    Raster sheet = makeRgbRaster(margin + cols * (tile + margin), labelH + rows * (tile + margin));
    fill(sheet, {0, 0, sheet.width, sheet.height}, {40, 40, 40});
    for (int32_t c = 0; c < cols; ++c) {
        const int32_t x0 = margin + c * (tile + margin);
        drawText(sheet, x0, margin, columns[c].label, 2, {235, 235, 235}, {x0, 0, tile, labelH});
        const Raster& src = *columns[c].image;
        for (int32_t r = 0; r < rows; ++r) {
            const Rect& d = details[r];
            const int32_t y0 = labelH + r * (tile + margin);
            for (int32_t y = 0; y < d.h * zoom; ++y) {
                for (int32_t x = 0; x < d.w * zoom; ++x) {
                    const uint8_t* p =
                        src.data.data() + (size_t(d.y + y / zoom) * src.width + d.x + x / zoom) * 3;
                    put(sheet, x0 + x, y0 + y, {p[0], p[1], p[2]});
                }
            }
        }
    }
    return sheet;
}

}  // namespace tavcli
