// `tav demo`: a synthetic chart through every demosaicing method, with
// timings, PSNR, pictures and a side-by-side sheet.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>

#include "chart.h"
#include "cli.h"
#include "commands.h"
#include "demosaic8.h"
#include "image_io.h"
#include "tav.h"
#include "tool_features.h"

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
    std::string name;  // short, for the sheet and the file
    std::string path;  // which entry ran
    bool ok = false;
    std::string failure;
    Timing timing;
    double psnr = 0;
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
        std::printf("  %-12s %-24s unavailable: %s\n", r.name.c_str(), r.path.c_str(),
                    r.failure.c_str());
        return;
    }
    std::printf("  %-12s %-24s %9.3f %9.1f %8s   %s\n", r.name.c_str(), r.path.c_str(),
                r.timing.msPerFrame, megapixels / (r.timing.msPerFrame / 1000.0),
                formatPsnr(r.psnr).c_str(), r.file.c_str());
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

    Raster chart;
    std::vector<Rect> details;
    std::string source, note;
    if (args.has("input")) {
        chart = loadUserChart(args.get("input"), note);
        details = genericDetails(chart.width, chart.height);
        source = args.get("input");
    } else {
        chart = makeChart(width, height, details);
        source = "test chart";
    }
    width = chart.width;
    height = chart.height;
    makeDirectories(dir);

    const std::vector<uint16_t> samples = mosaicRG12(chart);
    const std::vector<uint8_t> packed = pack12(samples);
    const std::string frameFile = joinPath(dir, "frame-BayerRG12Packed.raw");
    writeWholeFile(frameFile, packed.data(), packed.size());
    const std::string chartFile = joinPath(dir, "chart.png");
    writePng(chartFile, chart);

    const double megapixels = double(width) * height / 1e6;
    std::printf("tav demo: %s%s, %dx%d, mosaicked to BayerRG12Packed (%zu bytes) -> %s\n",
                source.c_str(), note.c_str(), width, height, packed.size(), dir.c_str());
    std::printf("  %-12s %-24s %9s %9s %8s   %s\n", "method", "entry", "ms/frame", "MP/s",
                "PSNR dB", "file");

    std::vector<Result> results;
    const double budget = 0.5;
    // 8-bit: the camera frame as delivered, through the context's entry
    {
        Context8 context;
        for (uint32_t method = 0; method <= TAV_METHOD_HQ; ++method) {
            Result r;
            r.name = methodName(method);
            r.path = "tavDemosaicing RGB8";
            r.view = makeRgbRaster(width, height);
            std::vector<uint8_t> input = packed;
            TavImage src{height, width, TAV_PF_BAYER_RG12_PACKED, input.data(), width + width / 2};
            std::string printed;
            const int32_t rc = context.run(src, method, TAV_PF_RGB8, r.view.data.data(), printed);
            if (rc != TAV_OK) {
                r.failure = describeFailure(rc, printed);
            } else {
                uint64_t output = TAV_PF_RGB8;
                LibraryDiagnostics quiet;
                tavDemosaicSetConfig(context.get(), &output);
                TavImage out{0, 0, 0, r.view.data.data(), 0};
                r.timing = timeFrames([&] { tavDemosaicing(context.get(), &src, method, &out); },
                                      budget, fixedFrames);
                quiet.finish();
                r.ok = true;
                r.psnr = psnrRgb8(chart, r.view.data.data());
                r.file = joinPath(dir, r.name + ".png");
                writePng(r.file, r.view);
            }
            printResult(r, megapixels);
            results.push_back(std::move(r));
        }
    }
    // 16-bit: the same mosaic unpacked to 16-bit words, kept at 12 bits
#if TAV_TOOL_U16
    {
        const FormatInfo& rg12 = *findFormat(TAV_PF_BAYER_RG12);
        for (uint32_t method = TAV_METHOD_BILINEAR; method <= TAV_METHOD_HQ; ++method) {
            Result r;
            r.name = std::string(methodName(method)) + "16";
            r.path = "tavDemosaicingU16 RGB12";
            std::vector<uint16_t> out(size_t(width) * height * 3);
            LibraryDiagnostics quiet;
            const int32_t rc =
                demosaic16(rg12, samples.data(), width, height, method, TAV_PF_RGB12, out.data());
            if (rc != TAV_OK) {
                r.failure = describeFailure(rc, quiet.finish());
            } else {
                r.timing = timeFrames(
                    [&] {
                        demosaic16(rg12, samples.data(), width, height, method, TAV_PF_RGB12,
                                   out.data());
                    },
                    budget, fixedFrames);
                quiet.finish();
                r.ok = true;
                r.psnr = psnrRgb16(chart, out.data(), 4095);
                r.view = makeRgbRaster(width, height);
                for (size_t i = 0; i < out.size(); ++i) {
                    r.view.data[i] = static_cast<uint8_t>((out[i] * 255u + 2047u) / 4095u);
                    out[i] = static_cast<uint16_t>(out[i] << 4);
                }
                r.file = joinPath(dir, r.name + ".png");
                writePng(r.file, out.data(), width, height, 3, 16, false, 12);
            }
            printResult(r, megapixels);
            results.push_back(std::move(r));
        }
    }
#else
    std::printf("  %-12s %-24s unavailable: this library build has no tavDemosaicingU16\n",
                "16-bit", "tavDemosaicingU16");
#endif

    std::vector<SheetColumn> columns = {{"chart", &chart}};
    for (const Result& r : results) {
        if (r.ok) columns.push_back({r.name, &r.view});
    }
    const std::string sheetFile = joinPath(dir, "sheet.png");
    writePng(sheetFile, makeSheet(columns, details, 2));

    std::string csv = "method,entry,status,ms_per_frame,megapixels_per_s,psnr_db,frames,file\n";
    for (const Result& r : results) {
        char line[512];
        if (r.ok) {
            std::snprintf(line, sizeof line, "%s,%s,ok,%.4f,%.2f,%s,%d,%s\n", r.name.c_str(),
                          r.path.c_str(), r.timing.msPerFrame,
                          megapixels / (r.timing.msPerFrame / 1000.0),
                          std::isinf(r.psnr) ? "inf" : formatPsnr(r.psnr).c_str(), r.timing.frames,
                          baseName(r.file).c_str());
        } else {
            std::snprintf(line, sizeof line, "%s,%s,unavailable,,,,,\n", r.name.c_str(),
                          r.path.c_str());
        }
        csv += line;
    }
    writeWholeFile(joinPath(dir, "summary.csv"), csv.data(), csv.size());

    std::printf("  chart %s, side by side %s, timings %s\n", chartFile.c_str(), sheetFile.c_str(),
                joinPath(dir, "summary.csv").c_str());
    std::printf(
        "  the raw frame: tav demosaic --format BayerRG12Packed --width %d --height %d "
        "--method edge %s\n",
        width, height, frameFile.c_str());
    return 0;
}

}  // namespace tavcli
