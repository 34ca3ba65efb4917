// `tav demo`: a synthetic chart through every demosaicing method, with
// timings, PSNR, pictures and a side-by-side sheet.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>

#include "chart.h"
#include "cli.h"
#include "commands.h"
#include "image_io.h"
#include "tav_api.h"

namespace tavcli {
namespace {

struct Timing {
    double msPerFrame = 0;
    int frames = 0;
};

// Median time of `frame` over at least 3 runs, more while under `budget`
// seconds (or exactly `fixed` runs when given).
Timing timeFrames(const std::function<void()>& frame, double budget, int fixed) {
    using Clock = std::chrono::steady_clock;
    std::vector<double> ms;
    const auto start = Clock::now();
    for (;;) {
        const auto t0 = Clock::now();
        frame();
        const auto t1 = Clock::now();
        ms.push_back(std::chrono::duration<double, std::milli>(t1 - t0).count());
        const double spent = std::chrono::duration<double>(t1 - start).count();
        const int n = static_cast<int>(ms.size());
        if (fixed > 0 ? n >= fixed : (n >= 3 && (spent >= budget || n >= 200))) break;
    }
    std::sort(ms.begin(), ms.end());
    return {ms[ms.size() / 2], static_cast<int>(ms.size())};
}

struct Result {
    std::string name;   // short, for the sheet and the file
    std::string entry;  // source and destination formats
    bool ok = false;
    std::string failure;
    Timing timing;
    double psnr = 0;
    std::vector<double> regions;  // PSNR per chart region
    std::string file;
    Raster view;  // 8-bit RGB for the sheet
};

std::string formatPsnr(double db) {
    if (std::isinf(db)) return "exact";
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.2f", db);
    return buf;
}

void printResult(const Result& r, double megapixels) {
    if (!r.ok) {
        std::printf("  %-11s %-26s skipped: %s\n", r.name.c_str(), r.entry.c_str(),
                    r.failure.c_str());
        return;
    }
    std::printf("  %-11s %-26s %8.3f %7.1f %6s", r.name.c_str(), r.entry.c_str(),
                r.timing.msPerFrame, megapixels / (r.timing.msPerFrame / 1000.0),
                formatPsnr(r.psnr).c_str());
    for (double db : r.regions) std::printf(" %6s", formatPsnr(db).c_str());
    std::printf("   %s\n", r.file.c_str());
    std::fflush(stdout);
}

Raster loadUserChart(const std::string& path, std::string& note) {
    Raster image = toRgb8(readPng(path));
    // A camera delivers whole 2x2 Bayer cells; drop an odd last row or column.
    const int32_t w = image.width & ~1, h = image.height & ~1;
    if (w < 8 || h < 8) throw Failure(path + " is too small: the demo needs at least 8x8 pixels");
    if (w != image.width || h != image.height) {
        Raster cropped = makeRgbRaster(w, h);
        for (int32_t y = 0; y < h; ++y) {
            std::copy_n(image.data.begin() + size_t(y) * image.width * 3, size_t(w) * 3,
                        cropped.data.begin() + size_t(y) * w * 3);
        }
        note = " (cropped to even size)";
        return cropped;
    }
    return image;
}

struct PhaseInfo {
    const char* name;
    int redY, redX;
    uint32_t bayer8, packed12, words12, words16;
};
const PhaseInfo kPhases[] = {
    {"RG", 0, 0, TAV_PF_BAYER_RG8, TAV_PF_BAYER_RG12_PACKED, TAV_PF_BAYER_RG12, TAV_PF_BAYER_RG16},
    {"GR", 0, 1, TAV_PF_BAYER_GR8, TAV_PF_BAYER_GR12_PACKED, TAV_PF_BAYER_GR12, TAV_PF_BAYER_GR16},
    {"GB", 1, 0, TAV_PF_BAYER_GB8, TAV_PF_BAYER_GB12_PACKED, TAV_PF_BAYER_GB12, TAV_PF_BAYER_GB16},
    {"BG", 1, 1, TAV_PF_BAYER_BG8, TAV_PF_BAYER_BG12_PACKED, TAV_PF_BAYER_BG12, TAV_PF_BAYER_BG16},
};

// A source depth and the destination it is demosaiced into.
struct Depth {
    const char* source;  // after "Bayer" and the phase
    const char* name;    // of the destination
    int bits;            // of the mosaic's samples
    bool packed;         // 12-bit samples two in three bytes
    uint32_t target;     // RGB8, RGB12 or RGB16
    int maxValue;        // of the destination's samples
};
const Depth kDepths[] = {
    {"8", "RGB8", 8, false, TAV_PF_RGB8, 255},
    {"12Packed", "RGB8", 12, true, TAV_PF_RGB8, 255},
    {"12", "RGB12", 12, false, TAV_PF_RGB12, 4095},
    {"16", "RGB16", 16, false, TAV_PF_RGB16, 65535},
};

// The chart mosaicked in one phase at one depth, as the library reads it.
struct Mosaic {
    std::vector<uint8_t> bytes;
    TavFrame frame;
    Mosaic(const Raster& chart, const PhaseInfo& p, const Depth& d) {
        const std::vector<uint16_t> samples = mosaic(chart, p.redY, p.redX, d.bits);
        uint32_t code;
        if (d.bits == 8) {
            bytes.assign(samples.begin(), samples.end());
            code = p.bayer8;
        } else if (d.packed) {
            bytes = pack12(samples);
            code = p.packed12;
        } else {
            bytes.resize(samples.size() * 2);
            std::memcpy(bytes.data(), samples.data(), bytes.size());
            code = d.bits == 12 ? p.words12 : p.words16;
        }
        tavFrameInit(&frame, code, chart.width, chart.height, bytes.data());
    }
};

// Runs one demosaicing into `out` (3 samples a pixel of the depth's size).
int32_t demosaicInto(const Mosaic& m, const Depth& d, uint32_t method, void* out) {
    TavFrame dst;
    tavFrameInit(&dst, d.target, m.frame.width, m.frame.height, out);
    TavOptions options;
    tavOptionsInit(&options);
    options.method = method;
    return tavDemosaic(&m.frame, &dst, &options);
}

double psnrOf(const Raster& chart, const Depth& d, const std::vector<uint8_t>& out, Rect area) {
    if (d.maxValue == 255) return psnrRgb8(chart, out.data(), area);
    return psnrRgb16(chart, reinterpret_cast<const uint16_t*>(out.data()), d.maxValue, area);
}

}  // namespace

int runDemo(const std::vector<std::string>& argv) {
    Args args(argv, {"input", "output", "o", "size", "frames"});
    if (!args.positional().empty()) {
        throw usageError("unexpected argument '" + args.positional()[0] + "'");
    }
    const std::string dir = args.get("output", args.get("o", "tav-demo"));
    const int fixedFrames = args.integer("frames", 1, 100000, 0);
    int32_t width = 1920, height = 1080;
    if (args.has("size")) parseSize(args.get("size"), width, height);
    if ((width | height) & 1) throw usageError("--size must be even in both directions");
    if (width < 32 || height < 32) {
        throw usageError("the chart needs at least 32x32 pixels, not " + args.get("size"));
    }

    Raster chart;
    std::vector<Rect> details;
    std::vector<Region> regions;
    std::string source, note;
    if (args.has("input")) {
        chart = loadUserChart(args.get("input"), note);
        details = genericDetails(chart.width, chart.height);
        source = args.get("input");
    } else {
        chart = makeChart(width, height, details, regions);
        source = "test chart";
    }
    width = chart.width;
    height = chart.height;
    makeDirectories(dir);

    const PhaseInfo& rg = kPhases[0];
    const Mosaic packed(chart, rg, kDepths[1]);
    const std::string frameFile = joinPath(dir, "frame-BayerRG12Packed.raw");
    writeWholeFile(frameFile, packed.bytes.data(), packed.bytes.size());
    const std::string chartFile = joinPath(dir, "chart.png");
    writePng(chartFile, chart);

    const double megapixels = double(width) * height / 1e6;
    std::printf("tav demo: %s%s, %dx%d, mosaicked to BayerRG12Packed (%zu bytes) -> %s\n",
                source.c_str(), note.c_str(), width, height, packed.bytes.size(), dir.c_str());
    std::printf("  %-11s %-26s %8s %7s %6s", "method", "source to destination", "ms/frame", "MP/s",
                "PSNR");
    for (const Region& r : regions) std::printf(" %6s", r.name);
    std::printf("   file\n");

    // The camera frame through every method: 8 bits out of the packed frame,
    // then full depth out of the same samples in 16-bit words.
    std::vector<Result> results;
    const double budget = 0.5;
    const Mosaic words12(chart, rg, kDepths[2]);
    for (const Depth* d : {&kDepths[1], &kDepths[2]}) {
        const bool deep = d->target != TAV_PF_RGB8;
        const Mosaic& m = deep ? words12 : packed;
        for (uint32_t method = deep ? TAV_METHOD_BILINEAR : TAV_METHOD_NEAREST;
             method <= TAV_METHOD_HQ; ++method) {
            Result r;
            r.name = std::string(methodName(method)) + (deep ? "16" : "");
            r.entry = std::string("BayerRG") + d->source + " to " + d->name;
            std::vector<uint8_t> out(size_t(width) * height * (deep ? 6 : 3));
            const int32_t rc = demosaicInto(m, *d, method, out.data());
            if (rc != TAV_OK) {
                r.failure = tavResultText(rc);
                printResult(r, megapixels);
                results.push_back(std::move(r));
                continue;
            }
            r.timing =
                timeFrames([&] { demosaicInto(m, *d, method, out.data()); }, budget, fixedFrames);
            r.ok = true;
            r.psnr = psnrOf(chart, *d, out, {});
            for (const Region& g : regions) r.regions.push_back(psnrOf(chart, *d, out, g.rect));
            r.file = joinPath(dir, r.name + ".png");
            if (deep) {
                // 12-bit samples at the top of 16-bit words, sBIT 12
                auto* words = reinterpret_cast<uint16_t*>(out.data());
                r.view = makeRgbRaster(width, height);
                for (size_t i = 0; i < r.view.data.size(); ++i) {
                    r.view.data[i] = static_cast<uint8_t>((words[i] * 255u + 2047u) / 4095u);
                    words[i] = static_cast<uint16_t>(words[i] << 4);
                }
                writePng(r.file, words, width, height, 3, 16, false, 12);
            } else {
                r.view = makeRgbRaster(width, height);
                r.view.data = std::move(out);
                writePng(r.file, r.view);
            }
            printResult(r, megapixels);
            results.push_back(std::move(r));
        }
    }
    if (!regions.empty()) {
        std::printf(
            "  zone plate: rings up to the pixel limit, past what a Bayer mosaic resolves; it "
            "measures aliasing.\n"
            "  text: one-pixel strokes, near that limit too. The bars and edges show everyday "
            "quality.\n");
    }

    // Every phase at every depth, once each: a phase or depth error shows as
    // one column or row far below the others.
    const Rect scored = regions.empty() ? Rect{} : regions[0].rect;
    std::printf("\n  every phase and depth, PSNR on the %s:\n  %-11s %-26s",
                regions.empty() ? "whole picture" : "colour bars", "method", "source");
    for (const PhaseInfo& p : kPhases) std::printf(" %8s", p.name);
    std::printf("\n");
    for (const Depth& d : kDepths) {
        std::vector<Mosaic> mosaics;
        for (const PhaseInfo& p : kPhases) mosaics.emplace_back(chart, p, d);
        std::vector<uint8_t> out(size_t(width) * height * (d.maxValue == 255 ? 3 : 6));
        for (uint32_t method = 0; method <= TAV_METHOD_HQ; ++method) {
            if (d.maxValue != 255 && method == TAV_METHOD_NEAREST) continue;
            const std::string name = std::string("BayerXX") + d.source + " to " + d.name;
            std::printf("  %-11s %-26s", methodName(method), name.c_str());
            for (const Mosaic& m : mosaics) {
                const int32_t rc = demosaicInto(m, d, method, out.data());
                std::printf(" %8s", rc == TAV_OK ? formatPsnr(psnrOf(chart, d, out, scored)).c_str()
                                                 : "skipped");
            }
            std::printf("\n");
        }
    }

    std::vector<SheetColumn> columns = {{"chart", &chart}};
    for (const Result& r : results) {
        if (r.ok) columns.push_back({r.name, &r.view});
    }
    const std::string sheetFile = joinPath(dir, "sheet.png");
    writePng(sheetFile, makeSheet(columns, details, 2));

    std::string csv = "method,entry,status,ms_per_frame,megapixels_per_s,psnr_db,frames,file";
    for (const Region& g : regions) csv += std::string(",psnr_") + g.name;
    csv += "\n";
    for (const Result& r : results) {
        char line[512];
        if (r.ok) {
            std::snprintf(line, sizeof line, "%s,%s,ok,%.4f,%.2f,%s,%d,%s", r.name.c_str(),
                          r.entry.c_str(), r.timing.msPerFrame,
                          megapixels / (r.timing.msPerFrame / 1000.0),
                          std::isinf(r.psnr) ? "inf" : formatPsnr(r.psnr).c_str(), r.timing.frames,
                          baseName(r.file).c_str());
            csv += line;
            for (double db : r.regions) csv += "," + (std::isinf(db) ? "inf" : formatPsnr(db));
        } else {
            std::snprintf(line, sizeof line, "%s,%s,skipped,,,,,", r.name.c_str(), r.entry.c_str());
            csv += line;
        }
        csv += "\n";
    }
    writeWholeFile(joinPath(dir, "summary.csv"), csv.data(), csv.size());

    std::printf("\n  chart %s, side by side %s, timings %s\n", chartFile.c_str(), sheetFile.c_str(),
                joinPath(dir, "summary.csv").c_str());
    std::printf(
        "  the raw frame: tav demosaic --format BayerRG12Packed --width %d --height %d "
        "--method edge %s\n",
        width, height, frameFile.c_str());
    return 0;
}

}  // namespace tavcli
