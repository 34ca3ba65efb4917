// tav: the command-line face of the library.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "cli.h"
#include "commands.h"
#include "formats.h"
#include "tav_api.h"

namespace {

using tavcli::Failure;

struct Command {
    const char* name;
    int (*run)(const std::vector<std::string>&);
    const char* summary;
    const char* usage;
};

const Command kCommands[] = {
#ifdef TAV_TOOL_CAPTURE
    {"capture", tavcli::runCapture, "frames from a GigE Vision or USB3 Vision camera (Aravis)",
     "tav capture [--camera NAME] [--frames N] [--method nearest|bilinear|edge|hq]\n"
     "            [--format png|png16|ppm|raw] [--keep-raw] [--pixel-format NAME]\n"
     "            [--size WxH] [--frame-rate FPS] [--timeout SECONDS] -o DIR\n"
     "  Receives N frames (default 10) from the camera (default: the first found; a\n"
     "  GigE Vision camera also by its address), decodes each by the pixel format it\n"
     "  carries and writes DIR/frame-NNNN.png (png16: full depth of 10- to 16-bit\n"
     "  formats; raw: the frames as received; --keep-raw: those too). Prints\n"
     "  frames per second, decode time and drops: failed buffers and missing frames.\n"},
#endif
    {"demo", tavcli::runDemo, "demosaic a built-in test chart with every method",
     "tav demo [--input PICTURE.png] [-o DIR] [--size WxH] [--frames N]\n"
     "  Synthesises a chart (or takes PICTURE.png), mosaics it as a 12-bit camera\n"
     "  would, demosaics it with every method and writes the results, a side-by-side\n"
     "  sheet and summary.csv into DIR (default tav-demo). Prints time per frame and\n"
     "  PSNR per region against the chart, then every Bayer phase at every depth.\n"
     "  Default size 1920x1080, at least 32x32.\n"},
    {"demosaic", tavcli::runDemosaic, "raw Bayer or mono frames to PNG, BMP, PPM/PGM or raw",
     "tav demosaic --format FMT --width W --height H [--stride BYTES] [--offset BYTES]\n"
     "             [--frame N | --all] [--msb] [--big-endian]\n"
     "             [--method nearest|bilinear|edge|hq] [--output png|png16|bmp|ppm|pgm|raw]\n"
     "             [--target FMT] [-o FILE|DIR|-] FRAME...\n"
     "  FMT is a pixel-format name, alias or code (tav formats). -w and -h stand for\n"
     "  --width and --height. The file must hold whole frames: --offset skips a header,\n"
     "  --stride gives padded rows, --frame N (from 0) or --all picks from a dump of\n"
     "  several. --msb reads 16-bit words with the samples in the top bits,\n"
     "  --big-endian words with the high byte first.\n"
     "  -o FILE: its extension (.png .bmp .ppm .pgm .raw) picks the file type; -o DIR\n"
     "  (an existing folder) for several frames; -o - for standard output. Without -o\n"
     "  each output goes next to its input. --output picks the type otherwise (default\n"
     "  png); png16 keeps the full depth of a 10- to 16-bit source. --target picks the\n"
     "  pixel format (png: RGB8 or Mono8; raw: any that tav formats lists as output).\n"
     "  Only regular files are replaced, never links, devices, FIFOs or read-only files.\n"},
    {"convert", tavcli::runConvert, "pixel-format conversion between raw files and pictures",
     "tav convert [--format FMT --width W --height H [--offset B] [--frame N]] [--to FMT]\n"
     "            [-o OUT] INPUT\n"
     "  INPUT is a raw frame (give its format and size) or a PNG. OUT's extension picks\n"
     "  the container: .png .bmp .ppm .pgm or .raw (default INPUT.FMT.raw). Without --to\n"
     "  the format stays and only the container changes.\n"},
    {"lsc", tavcli::runLsc, "lens-shading tables: estimate and apply",
     "tav lsc estimate --format FMT --width W --height H --grey FLAT [--dark DARK]\n"
     "                 [--mode bayer|mono] -o TABLE\n"
     "tav lsc apply --coefficients TABLE --format FMT --width W --height H [-o OUT] FRAME\n"
     "  FMT: Mono or Bayer, 8, 10 or 12 bits (10 and 12 in 16-bit words).\n"},
    {"formats", tavcli::runFormats, "pixel formats, their codes, aliases, what each becomes",
     "tav formats\n"
     "  Lists every pixel format with its code, what this library build turns it into,\n"
     "  and the other names tav accepts (RGGB8, UYVY, NV12, I420 ...).\n"},
};

void printUsage(FILE* out) {
    std::fprintf(out, "usage: tav COMMAND [options]   (tav COMMAND --help for its options)\n\n");
    for (const Command& c : kCommands) std::fprintf(out, "  %-9s %s\n", c.name, c.summary);
    std::fprintf(out,
                 "\nEvery command takes --threads N: threads a frame may use (0, the default,\n"
                 "every core).\n");
}

// Takes --threads N (or --threads=N) out of a command's arguments and sets the
// library's thread count: every core unless told otherwise.
std::vector<std::string> withThreads(const std::vector<std::string>& args) {
    std::vector<std::string> rest;
    std::string count = "0";
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--threads") {
            if (i + 1 >= args.size()) throw tavcli::usageError("option --threads needs a value");
            count = args[++i];
        } else if (args[i].rfind("--threads=", 0) == 0) {
            count = args[i].substr(10);
        } else {
            rest.push_back(args[i]);
        }
    }
    char* end = nullptr;
    const long n = std::strtol(count.c_str(), &end, 10);
    if (count.empty() || *end != '\0' || n < 0 || n > 256) {
        throw tavcli::usageError(
            "--threads must be a whole number from 0 (every core) to 256, not '" + count + "'");
    }
    tavSetNumThreads(static_cast<int32_t>(n));
    return rest;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.empty() || args[0] == "help" || args[0] == "--help" || args[0] == "-?") {
        if (args.size() >= 2) {
            for (const Command& c : kCommands) {
                if (args[1] == c.name) {
                    std::fputs(c.usage, stdout);
                    return 0;
                }
            }
        }
        printUsage(args.empty() ? stderr : stdout);
        return args.empty() ? 2 : 0;
    }
    if (args[0] == "--version") {
        std::printf("tav %s (library %s)\n", TAV_TOOL_VERSION, tavVersion());
        return 0;
    }
    for (const Command& c : kCommands) {
        if (args[0] != c.name) continue;
        const std::vector<std::string> rest(args.begin() + 1, args.end());
        try {
            return c.run(withThreads(rest));
        } catch (const tavcli::HelpRequested&) {
            std::fputs(c.usage, stdout);
            return 0;
        } catch (const Failure& e) {
            std::fprintf(stderr, "tav %s: %s\n", c.name, e.what());
            return e.usage ? 2 : 1;
        } catch (const std::bad_alloc&) {
            std::fprintf(stderr, "tav %s: out of memory\n", c.name);
            return 1;
        }
    }
    std::fprintf(stderr, "tav: unknown command '%s' (tav --help lists them)\n", args[0].c_str());
    return 2;
}
