// `tav lsc estimate|apply`: lens-shading coefficients from a flat-field and a
// dark frame, and their application, for builds that have them.
#include <cstddef>
#include <cstring>

#include "cli.h"
#include "formats.h"
#include "tav.h"
#include "tool_features.h"

namespace tavcli {
namespace {

const char kMagic[8] = {'T', 'A', 'V', 'L', 'S', 'C', '0', '1'};
constexpr size_t kWordsOffset = offsetof(TavLscParameter, coefficients);

struct FrameShape {
    const FormatInfo* format;
    int32_t width, height;
};

FrameShape parseShape(const Args& args) {
    FrameShape s;
    s.format = &parseFormat(args.required("format"));
    const uint32_t c = s.format->code;
    const bool ok = c == TAV_PF_MONO8 || c == TAV_PF_MONO10 || c == TAV_PF_MONO12 ||
                    (s.format->phase != Phase::None && s.format->bits <= 12 &&
                     s.format->layout != Layout::Packed12);
    if (!ok) {
        throw usageError(std::string(s.format->name) +
                         " cannot be shading-corrected (Mono8/10/12 or Bayer 8/10/12, unpacked)");
    }
    if (!args.has("width") || !args.has("height")) throw usageError("missing --width or --height");
    s.width = args.integer("width", 1, 1 << 16, 0);
    s.height = args.integer("height", 1, 1 << 16, 0);
    return s;
}

std::vector<uint8_t> readFrame(const std::string& path, const FrameShape& s) {
    std::vector<uint8_t> bytes = readFile(path);
    const uint64_t need = compactFrameBytes(s.format->layout, s.width, s.height);
    if (bytes.size() < need) {
        throw Failure(path + " has " + std::to_string(bytes.size()) + " bytes, but a " +
                      std::to_string(s.width) + "x" + std::to_string(s.height) + " " +
                      s.format->name + " frame needs " + std::to_string(need));
    }
    bytes.resize(need);
    return bytes;
}

std::vector<float> samplesOf(const std::vector<uint8_t>& bytes, const FrameShape& s) {
    const size_t n = size_t(s.width) * s.height;
    std::vector<float> out(n);
    for (size_t i = 0; i < n; ++i) {
        if (s.format->layout == Layout::Word) {
            uint16_t w;
            std::memcpy(&w, bytes.data() + 2 * i, 2);
            out[i] = w;
        } else {
            out[i] = bytes[i];
        }
    }
    return out;
}

size_t coefficientCount(uint32_t mode, uint32_t height, uint32_t width) {
    return mode == 1 ? size_t(height) * width : size_t(height / 2) * (width / 2);
}

// A record with room for its coefficients after the three leading fields.
std::vector<uint32_t> recordStorage(size_t words) {
    return std::vector<uint32_t>((kWordsOffset + 4 * words) / 4 + 1, 0);
}

int estimate(const std::vector<std::string>& argv) {
    Args args(argv, {"format", "width", "height", "grey", "dark", "mode", "o"});
    if (!args.positional().empty()) throw usageError("unexpected argument " + args.positional()[0]);
    const FrameShape s = parseShape(args);
    const std::string out = args.required("o");
    const std::string modeText =
        args.get("mode", s.format->phase == Phase::None ? "mono" : "bayer");
    if (modeText != "mono" && modeText != "bayer") throw usageError("--mode is mono or bayer");
    const uint32_t mode = modeText == "mono" ? 1 : 0;

    const std::vector<float> grey = samplesOf(readFrame(args.required("grey"), s), s);
    const std::vector<float> dark = args.has("dark") ? samplesOf(readFrame(args.get("dark"), s), s)
                                                     : std::vector<float>(grey.size(), 0.0f);
    TavLscInput in;
    std::memset(&in, 0, sizeof in);
    in.mode = mode;
    in.bits = static_cast<decltype(in.bits)>(s.format->bits);
    in.width = s.width;
    in.height = s.height;
    in.grey = const_cast<float*>(grey.data());
    in.dark = const_cast<float*>(dark.data());
    const size_t words = coefficientCount(mode, uint32_t(s.height), uint32_t(s.width));
    std::vector<uint32_t> storage = recordStorage(words);
    auto* param = reinterpret_cast<TavLscParameter*>(storage.data());
    LibraryDiagnostics quiet;
    const int32_t rc = tavGetLSCParameter(&in, param);
    const std::string printed = quiet.finish();
    if (rc != TAV_OK)
        throw Failure("the library refused the estimate: " + describeFailure(rc, printed));

    OutputFile file(out);
    file.write(kMagic, sizeof kMagic);
    file.write(storage.data(), kWordsOffset + 4 * words);
    file.commit();
    std::printf("tav lsc: %zu coefficients (%s mode) written to %s\n", words, modeText.c_str(),
                out.c_str());
    return 0;
}

int apply(const std::vector<std::string>& argv) {
    Args args(argv, {"coefficients", "format", "width", "height", "o"});
    if (args.positional().size() != 1) throw usageError("tav lsc apply takes one input frame");
    const FrameShape s = parseShape(args);
    const std::string input = args.positional()[0];
    const std::string coeffPath = args.required("coefficients");

    std::vector<uint8_t> table = readFile(coeffPath);
    if (table.size() < sizeof kMagic + kWordsOffset ||
        std::memcmp(table.data(), kMagic, sizeof kMagic) != 0) {
        throw Failure(coeffPath + " is not a coefficient file of tav lsc estimate");
    }
    uint32_t head[3];
    std::memcpy(head, table.data() + sizeof kMagic, sizeof head);
    const size_t words = coefficientCount(head[0], head[1], head[2]);
    if (head[0] > 1 || table.size() != sizeof kMagic + kWordsOffset + 4 * words) {
        throw Failure(coeffPath + " is damaged: its size does not match its header");
    }
    if (int64_t(head[1]) != s.height || int64_t(head[2]) != s.width) {
        throw Failure(coeffPath + " holds coefficients for " + std::to_string(head[2]) + "x" +
                      std::to_string(head[1]) + " frames, not " + std::to_string(s.width) + "x" +
                      std::to_string(s.height));
    }
    std::vector<uint32_t> storage = recordStorage(words);
    std::memcpy(storage.data(), table.data() + sizeof kMagic, kWordsOffset + 4 * words);

    std::vector<uint8_t> frame = readFrame(input, s);
    TavImage src{s.height, s.width, s.format->code, frame.data(), s.width};
    TavImage dst = src;  // in place: each sample is read before it is written
    LibraryDiagnostics quiet;
    const int32_t rc =
        tavLSCorrection(&src, &dst, reinterpret_cast<TavLscParameter*>(storage.data()));
    const std::string printed = quiet.finish();
    if (rc != TAV_OK)
        throw Failure(input +
                      ": the library refused the correction: " + describeFailure(rc, printed));
    const std::string out = args.get("o", stem(input) + ".lsc.raw");
    writeWholeFile(out, frame.data(), frame.size());
    return 0;
}

}  // namespace

int runLsc(const std::vector<std::string>& argv) {
    if (argv.empty()) throw usageError("tav lsc estimate|apply ...");
    const std::vector<std::string> rest(argv.begin() + 1, argv.end());
    if (argv[0] == "estimate") return estimate(rest);
    if (argv[0] == "apply") return apply(rest);
    throw usageError("unknown lsc command '" + argv[0] + "' (estimate or apply)");
}

}  // namespace tavcli
