// `tav lsc estimate|apply`: a lens-shading table from a flat-field and a dark
// frame, and its application.
#include <cstring>

#include "cli.h"
#include "commands.h"
#include "formats.h"
#include "raw_input.h"
#include "tav_api.h"

namespace tavcli {
namespace {

// The file: these 8 bytes, then mode, height and width as 32-bit words, then
// the table's words, all little-endian.
const char kMagic[8] = {'T', 'A', 'V', 'L', 'S', 'C', '0', '1'};

RawLayout parseShape(const Args& args) {
    RawLayout l = parseRawLayout(args);
    const FormatInfo& f = *l.format;
    const bool ok = (f.layout == Layout::Byte || f.layout == Layout::Word) && f.bits <= 12 &&
                    (f.phase != Phase::None || f.code == TAV_PF_MONO8 || f.code == TAV_PF_MONO10 ||
                     f.code == TAV_PF_MONO12);
    if (!ok) {
        throw usageError(
            std::string(f.name) +
            " cannot be shading-corrected (Mono or Bayer, 8, 10 or 12 bits, unpacked)");
    }
    if (l.all) throw usageError("tav lsc reads one frame a file: pick it with --frame N");
    return l;
}

// One frame of a file, compact.
std::vector<uint8_t> readFrame(const std::string& path, const RawLayout& l, TavFrame& frame) {
    const int64_t index = framesToRead(l, fileSize(path), path).front();
    const std::vector<uint8_t> file = readFrame(l, path, index);
    std::vector<uint16_t> words;
    const TavFrame view = frameOf(l, file, false, words, path, "lsc");
    std::vector<uint8_t> bytes = compactBytes(view, *findFormat(view.format));
    tavFrameInit(&frame, view.format, l.width, l.height, bytes.data());
    return bytes;
}

int estimate(const std::vector<std::string>& argv) {
    std::vector<std::string> valued = kRawOptions;
    valued.insert(valued.end(), {"grey", "dark", "mode", "o"});
    Args args(argv, valued, kRawFlags);
    if (!args.positional().empty()) throw usageError("unexpected argument " + args.positional()[0]);
    const RawLayout l = parseShape(args);
    const std::string out = args.required("o", "a file to write the table to: -o FILE");
    const std::string modeText =
        args.get("mode", l.format->phase == Phase::None ? "mono" : "bayer");
    if (modeText != "mono" && modeText != "bayer") throw usageError("--mode is mono or bayer");

    TavFrame flat, dark;
    const std::vector<uint8_t> flatBytes =
        readFrame(args.required("grey", "a flat-field frame: --grey FILE"), l, flat);
    std::vector<uint8_t> darkBytes;
    if (args.has("dark")) darkBytes = readFrame(args.get("dark"), l, dark);

    TavShadingTable table;
    table.mode = modeText == "mono" ? 1 : 0;
    table.width = l.width;
    table.height = l.height;
    std::vector<uint32_t> words(tavShadingTableWords(table.mode, l.width, l.height));
    table.words = words.data();
    const int32_t rc = tavShadingEstimate(&flat, args.has("dark") ? &dark : nullptr, &table);
    if (rc != TAV_OK) throw usageError(tavResultText(rc));

    const uint32_t head[3] = {table.mode, uint32_t(l.height), uint32_t(l.width)};
    OutputFile file(out);
    file.write(kMagic, sizeof kMagic);
    file.write(head, sizeof head);
    file.write(words.data(), 4 * words.size());
    file.commit();
    std::printf("tav lsc: wrote %s (%zu gains, %s mode, %dx%d frames)\n", out.c_str(), words.size(),
                modeText.c_str(), l.width, l.height);
    return 0;
}

int apply(const std::vector<std::string>& argv) {
    std::vector<std::string> valued = kRawOptions;
    valued.insert(valued.end(), {"coefficients", "o"});
    Args args(argv, valued, kRawFlags);
    if (args.positional().size() != 1) throw usageError("tav lsc apply takes one input frame");
    const RawLayout l = parseShape(args);
    const std::string input = args.positional()[0];
    const std::string tablePath =
        args.required("coefficients", "the table of tav lsc estimate: --coefficients FILE");
    const size_t slash = input.find_last_of('/');
    const std::string beside = slash == std::string::npos ? "" : input.substr(0, slash + 1);
    const std::string out = args.get("o", beside + stem(input) + ".lsc.raw");
    if (out != "-" && extension(out) != "raw") {
        throw usageError("tav lsc apply writes a raw frame: name it .raw, not " + out);
    }
    checkOutputPath(out);

    const std::vector<uint8_t> bytes = readFile(tablePath);
    uint32_t head[3];
    if (bytes.size() < sizeof kMagic + sizeof head ||
        std::memcmp(bytes.data(), kMagic, sizeof kMagic) != 0) {
        throw Failure(tablePath + " is not a table of tav lsc estimate");
    }
    std::memcpy(head, bytes.data() + sizeof kMagic, sizeof head);
    const size_t count =
        head[0] <= 1 ? tavShadingTableWords(head[0], int32_t(head[2]), int32_t(head[1])) : 0;
    if (count == 0 || bytes.size() != sizeof kMagic + sizeof head + 4 * count) {
        throw Failure(tablePath + " is damaged: its size does not match its header");
    }
    if (int64_t(head[1]) != l.height || int64_t(head[2]) != l.width) {
        throw Failure(tablePath + " holds a table for " + std::to_string(head[2]) + "x" +
                      std::to_string(head[1]) + " frames, not " + std::to_string(l.width) + "x" +
                      std::to_string(l.height));
    }
    std::vector<uint32_t> words(count);
    std::memcpy(words.data(), bytes.data() + sizeof kMagic + sizeof head, 4 * count);
    const TavShadingTable table{head[0], l.width, l.height, words.data()};

    TavFrame frame;
    std::vector<uint8_t> pixels = readFrame(input, l, frame);
    const int32_t rc = tavShadingApply(&frame, &frame, &table, nullptr);  // in place
    if (rc != TAV_OK) throw usageError(tavResultText(rc));
    writeWholeFile(out, pixels.data(), pixels.size());
    std::printf("tav lsc: wrote %s (%dx%d %s)\n", out.c_str(), l.width, l.height, l.format->name);
    return 0;
}

}  // namespace

int runLsc(const std::vector<std::string>& argv) {
    if (argv.empty()) throw usageError("tav lsc estimate|apply ... (tav lsc --help)");
    if (argv[0] == "--help" || argv[0] == "-?") throw HelpRequested{};
    const std::vector<std::string> rest(argv.begin() + 1, argv.end());
    if (argv[0] == "estimate") return estimate(rest);
    if (argv[0] == "apply") return apply(rest);
    throw usageError("unknown lsc command '" + argv[0] + "' (estimate or apply)");
}

}  // namespace tavcli
