// tavShadingEstimate and tavShadingApply: every check first, frames with
// strides, and every pixel corrected (odd last rows and columns take the
// nearest cell's word).
#include <cstring>

#include "frame.h"
#include "lsc/lsc.h"
#include "threads.h"

namespace tav::api {
namespace {

// Mono or Bayer, 8 bits in bytes or 10..12 bits in words.
bool shadable(const Format& f) {
    return (f.role == Role::kMono || f.role == Role::kBayer) &&
           (f.samples == Samples::kBytes || (f.samples == Samples::kWords && f.depth <= 12));
}

int32_t checkTable(const TavShadingTable* table, int32_t width, int32_t height) {
    if (table == nullptr || table->words == nullptr) return TAV_ERROR_NULL;
    if (table->mode > 1 || table->width != width || table->height != height) {
        return TAV_ERROR_SHADING_TABLE;
    }
    return TAV_OK;
}

// A frame of a format these calls take, resolved.
int32_t frameView(const TavFrame* frame, View* v) {
    const Format* f = findFormat(frame->format);
    if (f == nullptr || !shadable(*f)) return TAV_ERROR_SOURCE_FORMAT;
    const int32_t size = checkSize(*f, frame->width, frame->height);
    if (size != TAV_OK) return size;
    return resolve(*frame, *f, v);
}

bool sameFrame(const View& a, const View& b) {
    return a.plane[0] == b.plane[0] && a.stride[0] == b.stride[0];
}

// Samples of a view as floats, compact.
void toFloats(const View& v, float* out) {
    for (int32_t y = 0; y < v.height; ++y) {
        const uint8_t* row = v.plane[0] + y * v.stride[0];
        float* o = out + size_t(y) * v.width;
        if (v.format->samples == Samples::kBytes) {
            for (int32_t x = 0; x < v.width; ++x) o[x] = row[x];
        } else {
            const uint16_t* words = reinterpret_cast<const uint16_t*>(row);
            for (int32_t x = 0; x < v.width; ++x) o[x] = words[x];
        }
    }
}

// The last row and column that 2x2 cells leave, by the nearest cell.
template <typename T, typename Rule>
void finishOdd(const T* src, T* dst, int32_t height, int32_t width, const uint32_t* words,
               Rule rule) {
    const int32_t cells = width / 2, cellRows = height / 2;
    auto word = [&](int32_t y, int32_t x) {
        const int32_t j = y / 2 < cellRows ? y / 2 : cellRows - 1;
        const int32_t i = x / 2 < cells ? x / 2 : cells - 1;
        return words[size_t(j) * cells + i];
    };
    if (width & 1) {
        for (int32_t y = 0; y < height; ++y) {
            const size_t at = size_t(y) * width + width - 1;
            dst[at] = rule(src[at], word(y, width - 1));
        }
    }
    if (height & 1) {
        for (int32_t x = 0; x < width; ++x) {
            const size_t at = size_t(height - 1) * width + x;
            dst[at] = rule(src[at], word(height - 1, x));
        }
    }
}

}  // namespace
}  // namespace tav::api

extern "C" {

size_t tavShadingTableWords(uint32_t mode, int32_t width, int32_t height) {
    if (mode > 1 || width <= 0 || height <= 0) return 0;
    if (mode == 0) return size_t(height / 2) * size_t(width / 2);
    return size_t(height) * size_t(width);
}

int32_t tavShadingEstimate(const TavFrame* flat, const TavFrame* dark,
                           const TavShadingTable* table) {
    using namespace tav::api;
    if (flat == nullptr) return TAV_ERROR_NULL;
    View f, d;
    int32_t checked = frameView(flat, &f);
    if (checked != TAV_OK) return checked;
    if (dark != nullptr) {
        if (dark->format != flat->format) return TAV_ERROR_PAIR;
        if (dark->width != flat->width || dark->height != flat->height) {
            return TAV_ERROR_SIZE_MISMATCH;
        }
        checked = frameView(dark, &d);
        if (checked != TAV_OK) return checked;
    }
    checked = checkTable(table, flat->width, flat->height);
    if (checked != TAV_OK) return checked;
    const int32_t h = f.height, w = f.width;
    if (table->mode == 0 && (w < 2 || h < 2)) return TAV_ERROR_TOO_SMALL;
    const uint8_t* words = reinterpret_cast<const uint8_t*>(table->words);
    const size_t tableBytes = 4 * tavShadingTableWords(table->mode, w, h);
    View tableView = f;
    tableView.planes = 1;
    tableView.plane[0] = const_cast<uint8_t*>(words);
    tableView.stride[0] = tableView.rowBytes[0] = ptrdiff_t(tableBytes);
    tableView.rows[0] = 1;
    if (overlaps(tableView, f) || (dark != nullptr && overlaps(tableView, d))) {
        return TAV_ERROR_OVERLAP;
    }

    const size_t n = size_t(w) * h;
    const size_t cells = table->mode == 0 ? size_t(h / 2) * size_t(w / 2) : 0;
    const size_t floats = 2 * roundUp64(n) + 2 * roundUp64(cells);
    float* grey = reinterpret_cast<float*>(threadWork(sizeof(float) * floats));
    if (grey == nullptr) return TAV_ERROR_NO_MEMORY;
    float* black = grey + roundUp64(n);
    toFloats(f, grey);
    if (dark != nullptr) {
        toFloats(d, black);
    } else {
        std::memset(black, 0, n * sizeof(float));
    }
    const float* greyIn = grey;
    const float* darkIn = black;
    size_t count = n;
    if (table->mode == 0) {
        float* cellDark = black + roundUp64(n);
        float* cellGrey = cellDark + roundUp64(cells);
        tav::dataInit2x2(black, grey, h, w, cellDark, cellGrey);
        greyIn = cellGrey;
        darkIn = cellDark;
        count = cells;
    }
    const double target = tav::getTargetLSCMono(darkIn, greyIn, count);
    if (!(target > 0)) return TAV_ERROR_FLAT_FIELD;
    return tav::getLSCKBMono(darkIn, greyIn, count, f.depth, target, table->words);
}

int32_t tavShadingApply(const TavFrame* src, const TavFrame* dst, const TavShadingTable* table,
                        const TavOptions* options) {
    using namespace tav::api;
    if (src == nullptr || dst == nullptr) return TAV_ERROR_NULL;
    TavOptions defaults;
    tavOptionsInit(&defaults);
    const TavOptions& o = options ? *options : defaults;
    if (o.threads < 0) return TAV_ERROR_THREADS;
    View in, out;
    int32_t checked = frameView(src, &in);
    if (checked != TAV_OK) return checked;
    if (dst->format != src->format) return TAV_ERROR_PAIR;
    if (dst->width != src->width || dst->height != src->height) return TAV_ERROR_SIZE_MISMATCH;
    checked = frameView(dst, &out);
    if (checked == TAV_OK) checked = checkTable(table, src->width, src->height);
    if (checked != TAV_OK) return checked;
    if (in.depth != out.depth) return TAV_ERROR_BIT_DEPTH;
    if (!sameFrame(in, out) && overlaps(in, out)) return TAV_ERROR_OVERLAP;
    const int32_t h = in.height, w = in.width;
    if (table->mode == 0 && (w < 2 || h < 2)) return TAV_ERROR_TOO_SMALL;

    const tav::ThreadCountScope threads(o.threads);
    const bool compact = in.compact && out.compact;
    const size_t bytes = compact ? 0 : compactBytes(in);
    uint8_t* work = compact ? nullptr : threadWork(bytes);
    if (!compact && work == nullptr) return TAV_ERROR_NO_MEMORY;
    const uint8_t* from = compact ? in.plane[0] : work;
    uint8_t* to = compact ? out.plane[0] : work;
    if (!compact) gather(in, work);
    if (in.format->samples == Samples::kBytes) {
        LSCcorrect8_2x2(from, to, table->mode, table->words, h, w);
        if (table->mode == 0) {
            finishOdd(from, to, h, w, table->words, tav::lsc::correct8);
        }
    } else {
        const auto* s = reinterpret_cast<const uint16_t*>(from);
        auto* d = reinterpret_cast<uint16_t*>(to);
        LSCcorrect16_2x2(s, d, table->mode, table->words, h, w, int32_t(in.depth));
        if (table->mode == 0) {
            finishOdd(s, d, h, w, table->words, [&](uint16_t v, uint32_t word) {
                return tav::lsc::correct16(v, word, in.depth);
            });
        }
    }
    if (!compact) scatter(work, out);
    return TAV_OK;
}

}  // extern "C"
