// `tav demosaic`: headerless raw frames to PNG, BMP, PPM/PGM or raw.
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "cli.h"
#include "commands.h"
#include "demosaic8.h"
#include "formats.h"
#include "image_io.h"
#include "tav.h"
#include "tool_features.h"

namespace tavcli {
namespace {

enum class FileType { Png, Png16, Bmp, Ppm, Pgm, Raw };

struct Job {
    const FormatInfo* source;
    int32_t width, height, pitch;
    uint32_t method;
    FileType type;
    const FormatInfo* target;  // the library's output format
};

FileType parseFileType(const std::string& text) {
    if (text == "png") return FileType::Png;
    if (text == "png16") return FileType::Png16;
    if (text == "bmp") return FileType::Bmp;
    if (text == "ppm") return FileType::Ppm;
    if (text == "pgm") return FileType::Pgm;
    if (text == "raw") return FileType::Raw;
    throw usageError("unknown --output '" + text + "' (png, png16, bmp, ppm, pgm or raw)");
}

const char* fileExtension(FileType t) {
    switch (t) {
        case FileType::Png:
        case FileType::Png16:
            return "png";
        case FileType::Bmp:
            return "bmp";
        case FileType::Ppm:
            return "ppm";
        case FileType::Pgm:
            return "pgm";
        case FileType::Raw:
            return "raw";
    }
    return "";
}

bool isMono(const FormatInfo& f) {
    return f.phase == Phase::None;
}

// The library output format for a file type, checking that the pair makes sense.
const FormatInfo* chooseTarget(const Job& job, const std::string& targetText,
                               const std::string& typeText) {
    const FormatInfo* t = targetText.empty() ? nullptr : &parseFormat(targetText);
    auto only = [&](std::initializer_list<uint32_t> allowed, uint32_t fallback) {
        if (!t) return findFormat(fallback);
        for (uint32_t code : allowed) {
            if (t->code == code) return t;
        }
        std::string names;
        for (uint32_t code : allowed)
            names += std::string(names.empty() ? "" : " or ") + findFormat(code)->name;
        throw usageError("unsupported combination: --output " + typeText + " with --target " +
                         t->name + " (" + typeText + " takes " + names + ")");
    };
    switch (job.type) {
        case FileType::Png:
            return only({TAV_PF_RGB8, TAV_PF_MONO8}, TAV_PF_RGB8);
        case FileType::Bmp:
            return only({TAV_PF_BGR8}, TAV_PF_BGR8);
        case FileType::Ppm:
            return only({TAV_PF_RGB8}, TAV_PF_RGB8);
        case FileType::Pgm:
            return only({TAV_PF_MONO8}, TAV_PF_MONO8);
        case FileType::Png16:
            if (isMono(*job.source)) return only({TAV_PF_RGB16, TAV_PF_MONO16}, TAV_PF_RGB16);
            return only({TAV_PF_RGB16}, TAV_PF_RGB16);
        case FileType::Raw:
            if (!t) return findFormat(TAV_PF_BGR8);
            if ((t->roles & kDemosaicOutput) ||
                (t->layout == Layout::Word3 || (t->layout == Layout::Word && isMono(*job.source) &&
                                                (t->roles & kDemosaic16Output)))) {
                return t;
            }
            throw usageError("unsupported combination: " + std::string(job.source->name) + " to " +
                             t->name + " (tav formats lists what each format can become)");
    }
    return nullptr;
}

bool fullDepth(const Job& job) {
    return job.type == FileType::Png16 || job.target->layout == Layout::Word3 ||
           job.target->layout == Layout::Word;
}

// Output path for `input`: `out` is a file for one input, a folder otherwise.
std::string outputPath(const Job& job, const std::string& input, const std::string& out,
                       bool outIsFolder) {
    if (!out.empty() && !outIsFolder) return out;
    std::string name = stem(input);
    if (job.type == FileType::Raw) name += std::string(".") + job.target->name;
    name += std::string(".") + fileExtension(job.type);
    if (outIsFolder) return joinPath(out, name);
    const size_t slash = input.find_last_of('/');
    return slash == std::string::npos ? name : input.substr(0, slash + 1) + name;
}

void writeOutput(const Job& job, const std::string& path, std::vector<uint8_t>& pixels) {
    const int32_t w = job.width, h = job.height;
    switch (job.type) {
        case FileType::Png:
            writePng(path, pixels.data(), w, h, job.target->code == TAV_PF_MONO8 ? 1 : 3, 8);
            return;
        case FileType::Ppm:
            writePnm(path, pixels.data(), w, h, 3);
            return;
        case FileType::Pgm:
            writePnm(path, pixels.data(), w, h, 1);
            return;
        case FileType::Raw: {
            const size_t n = size_t(w) * h * outputBytesPerPixel(job.target->layout);
            writeWholeFile(path, pixels.data(), n);
            return;
        }
        case FileType::Bmp:
#if TAV_TOOL_BMP
            writeBmp(path, pixels.data(), w, h);
#endif
            return;
        case FileType::Png16: {
            // full-depth samples at the top of the word, the depth noted in sBIT
            const int bits = job.source->bits;
            auto* words = reinterpret_cast<uint16_t*>(pixels.data());
            const int channels = job.target->code == TAV_PF_MONO16 ? 1 : 3;
            const size_t n = size_t(w) * h * channels;
            for (size_t i = 0; i < n; ++i)
                words[i] = static_cast<uint16_t>(words[i] << (16 - bits));
            writePng(path, words, w, h, channels, 16, false, bits);
            return;
        }
    }
}

// Reads, checks and converts one file; throws Failure naming the problem.
void demosaicFile(const Job& job, Context8& context, const std::string& input,
                  const std::string& output) {
    std::vector<uint8_t> file = readFile(input);
    const uint64_t need = sourceBytes(job.source->layout, job.width, job.height, job.pitch);
    if (file.size() < need) {
        throw Failure(input + " has " + std::to_string(file.size()) + " bytes, but a " +
                      std::to_string(job.width) + "x" + std::to_string(job.height) + " " +
                      job.source->name + " frame with pitch " + std::to_string(job.pitch) +
                      " needs " + std::to_string(need));
    }
    // Room for BMP rows padded in place to 4 bytes.
    const size_t rowOut = size_t(job.width) * 6 + 3;
    std::vector<uint8_t> out(rowOut * job.height);
    std::string printed;
    int32_t rc;
    if (fullDepth(job)) {
#if TAV_TOOL_U16
        // the 16-bit entry reads compact rows; copy out of a wider pitch
        std::vector<uint16_t> compact(size_t(job.width) * job.height);
        for (int32_t y = 0; y < job.height; ++y) {
            std::memcpy(compact.data() + size_t(y) * job.width, file.data() + size_t(y) * job.pitch,
                        size_t(job.width) * 2);
        }
        uint32_t target = job.target->code;
        if (job.type == FileType::Png16) {
            // unshifted samples; the PNG writer moves them to the top
            target = job.target->code == TAV_PF_MONO16 ? TAV_PF_MONO14 : TAV_PF_RGB12;
        }
        LibraryDiagnostics quiet;
        rc = demosaic16(*job.source, compact.data(), job.width, job.height, job.method, target,
                        reinterpret_cast<uint16_t*>(out.data()));
        printed = quiet.finish();
#else
        rc = TAV_E_PARAMETER;
#endif
    } else {
        file.resize(file.size() + 64);  // the packed readers work in whole pairs
        TavImage src{job.height, job.width, job.source->code, file.data(), job.pitch};
        rc = context.run(src, job.method, job.target->code, out.data(), printed);
    }
    if (rc != TAV_OK) {
        throw Failure(input + ": the library refused " + job.source->name + " to " +
                      job.target->name + " by " + methodName(job.method) + ": " +
                      describeFailure(rc, printed));
    }
    writeOutput(job, output, out);
}

}  // namespace

int runDemosaic(const std::vector<std::string>& argv) {
    Args args(argv, {"format", "width", "height", "pitch", "method", "output", "target", "o"});
    const std::vector<std::string>& inputs = args.positional();
    if (inputs.empty()) throw usageError("no input file (tav demosaic --help)");

    Job job{};
    job.source = &parseFormat(args.required("format"));
    if (!(job.source->roles & kDemosaicSource)) {
        throw usageError(std::string(job.source->name) +
                         " is not a demosaicing source "
                         "(tav formats lists them)");
    }
    job.width = args.integer("width", 1, 1 << 20, 0);
    job.height = args.integer("height", 1, 1 << 20, 0);
    if (!args.has("width") || !args.has("height")) throw usageError("missing --width or --height");
    if (uint64_t(job.width) * uint64_t(job.height) > 0x7FFFFFFFull / 6) {
        throw usageError("frame of " + std::to_string(job.width) + "x" +
                         std::to_string(job.height) + " pixels is too large");
    }
    const int32_t compact = compactPitch(job.source->layout, job.width);
    job.pitch = args.integer("pitch", 1, 0x7FFFFFFF, compact);
    const int32_t minPitch =
        job.source->layout == Layout::Packed12 ? (job.width + 1) / 2 * 3 : compact;
    if (job.pitch < minPitch && job.pitch != compact) {
        throw usageError("--pitch " + std::to_string(job.pitch) + " is shorter than a row of " +
                         std::to_string(job.width) + " " + job.source->name + " pixels (" +
                         std::to_string(minPitch) + " bytes)");
    }
    job.method = parseMethod(args.get("method", "bilinear"));
    const std::string typeText = args.get("output", "png");
    job.type = parseFileType(typeText);
    job.target = chooseTarget(job, args.get("target"), typeText);
    if (fullDepth(job)) {
        if (!(job.source->roles & kDemosaic16Source)) {
            throw usageError("unsupported combination: " + std::string(job.source->name) + " to " +
                             job.target->name +
                             " (full depth needs a 10- to 16-bit "
                             "unpacked source)");
        }
        if (job.pitch % 2) throw usageError("--pitch must be even for 16-bit samples");
        if (!TAV_TOOL_U16) {
            throw Failure("this library build has no tavDemosaicingU16: no full-depth output");
        }
    }
    if (job.type == FileType::Bmp && !TAV_TOOL_BMP) {
        throw Failure("this library build has no tavBMPAdjust: no BMP output");
    }

    std::string out = args.get("o");
    bool outIsFolder = false;
    if (!out.empty() && (inputs.size() > 1 || isDirectory(out) || out.back() == '/')) {
        makeDirectories(out);
        outIsFolder = true;
    }

    Context8 context;
    const bool progress = inputs.size() >= 8 && ::isatty(STDERR_FILENO);
    size_t failed = 0;
    for (size_t i = 0; i < inputs.size(); ++i) {
        if (progress) {
            std::fprintf(stderr, "\r[%zu/%zu] %s\033[K", i + 1, inputs.size(),
                         baseName(inputs[i]).c_str());
        }
        try {
            demosaicFile(job, context, inputs[i], outputPath(job, inputs[i], out, outIsFolder));
        } catch (const Failure& e) {
            if (progress) std::fputc('\n', stderr);
            std::fprintf(stderr, "tav demosaic: %s\n", e.what());
            ++failed;
        }
    }
    if (progress) std::fputc('\n', stderr);
    if (inputs.size() > 1) {
        std::printf("tav demosaic: %zu of %zu frames written\n", inputs.size() - failed,
                    inputs.size());
    }
    return failed ? 1 : 0;
}

}  // namespace tavcli
