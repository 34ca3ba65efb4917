// `tav demosaic`: headerless raw frames to PNG, BMP, PPM/PGM or raw.
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <map>

#include "cli.h"
#include "commands.h"
#include "formats.h"
#include "image_io.h"
#include "raw_input.h"
#include "tav_api.h"

namespace tavcli {
namespace {

enum class FileType { Png, Png16, Bmp, Ppm, Pgm, Raw };

struct Job {
    RawLayout raw;
    uint32_t method;
    FileType type;
    const FormatInfo* target;  // tavDemosaic's destination format
};

struct Output {
    std::string input;
    int64_t frame;
    std::string path;
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

// The file type an output name asks for; its extension must be one tav writes.
FileType typeOfName(const std::string& path) {
    const std::string ext = extension(path);
    if (ext == "png") return FileType::Png;
    if (ext == "bmp") return FileType::Bmp;
    if (ext == "ppm") return FileType::Ppm;
    if (ext == "pgm") return FileType::Pgm;
    if (ext == "raw") return FileType::Raw;
    throw usageError("cannot tell the file type of " + path +
                     (ext.empty() ? std::string(" (no extension)") : " (." + ext + ")") +
                     ": tav writes .png, .bmp, .ppm, .pgm and .raw files, or into a folder");
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

const char* typeName(FileType t) {
    return t == FileType::Png16 ? "16-bit PNG"
           : t == FileType::Png ? "PNG"
           : t == FileType::Bmp ? "BMP"
           : t == FileType::Ppm ? "PPM"
           : t == FileType::Pgm ? "PGM"
                                : "raw";
}

bool isMono(const FormatInfo& f) {
    return f.phase == Phase::None;
}

// The destination format for a file type, checking that the pair makes sense.
const FormatInfo* chooseTarget(const Job& job, const std::string& targetText) {
    const FormatInfo& source = *job.raw.format;
    const FormatInfo* t = targetText.empty() ? nullptr : &parseFormat(targetText);
    auto only = [&](std::initializer_list<uint32_t> allowed, uint32_t fallback) {
        if (!t) return findFormat(fallback);
        for (uint32_t code : allowed) {
            if (t->code == code) return t;
        }
        std::string names;
        for (uint32_t code : allowed)
            names += std::string(names.empty() ? "" : ", ") + findFormat(code)->name;
        throw usageError(std::string("a ") + typeName(job.type) + " takes " + names + ", not " +
                         t->name);
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
        case FileType::Png16: {
            // the source's own depth unless told otherwise
            const int bits = source.bits;
            const uint32_t colour = bits == 10   ? TAV_PF_RGB10
                                    : bits == 12 ? TAV_PF_RGB12
                                                 : TAV_PF_RGB16;
            const uint32_t grey = bits == 10   ? TAV_PF_MONO10
                                  : bits == 12 ? TAV_PF_MONO12
                                  : bits == 14 ? TAV_PF_MONO14
                                               : TAV_PF_MONO16;
            return only({TAV_PF_RGB10, TAV_PF_RGB12, TAV_PF_RGB16, TAV_PF_MONO10, TAV_PF_MONO12,
                         TAV_PF_MONO14, TAV_PF_MONO16},
                        isMono(source) ? grey : colour);
        }
        case FileType::Raw:
            if (!t) return findFormat(TAV_PF_BGR8);
            if (t->roles & (kDemosaicOutput | kFullDepthOutput)) return t;
            throw usageError(std::string("tav demosaic does not write ") + t->name +
                             " (tav formats lists what it writes)");
    }
    return nullptr;
}

bool fullDepth(const Job& job) {
    return job.target->roles & kFullDepthOutput;
}

void writeOutput(const Job& job, const std::string& path, std::vector<uint8_t>& pixels) {
    const int32_t w = job.raw.width, h = job.raw.height;
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
        case FileType::Bmp:
            writeBmp(path, pixels.data(), w, h);
            return;
        case FileType::Raw:
            writeWholeFile(path, pixels.data(), size_t(w) * h * outputBytesPerPixel(*job.target));
            return;
        case FileType::Png16: {
            // samples moved to the top of the word, the depth noted in sBIT
            const int bits = job.target->bits,
                      channels = job.target->layout == Layout::Word ? 1 : 3;
            auto* words = reinterpret_cast<uint16_t*>(pixels.data());
            const size_t n = size_t(w) * h * channels;
            for (size_t i = 0; i < n; ++i) words[i] = uint16_t(words[i] << (16 - bits));
            writePng(path, words, w, h, channels, 16, false, bits);
            return;
        }
    }
}

std::string normalPath(const std::string& path) {
    std::error_code ec;
    const auto p = std::filesystem::absolute(path, ec);
    return ec ? path : p.lexically_normal().string();
}

// Output names for every frame to read, refused as a whole before anything is
// written when two frames share a name or a name cannot be replaced.
std::vector<Output> planOutputs(const Job& job, const std::vector<std::string>& inputs,
                                const std::string& out, bool folder, size_t& failed) {
    std::vector<Output> plan;
    for (const std::string& input : inputs) {
        std::vector<int64_t> frames;
        try {
            frames = framesToRead(job.raw, fileSize(input), input);
        } catch (const Failure& e) {
            if (e.usage) throw;
            std::fprintf(stderr, "tav demosaic: %s\n", e.what());
            ++failed;
            continue;
        }
        const int digits = int(std::to_string(frames.back()).size());
        for (int64_t frame : frames) {
            std::string path = out;
            if (out.empty() || folder) {
                std::string name = stem(input);
                if (job.raw.all) {
                    char suffix[32];
                    std::snprintf(suffix, sizeof suffix, "-%0*lld", digits,
                                  static_cast<long long>(frame));
                    name += suffix;
                }
                if (job.type == FileType::Raw) name += std::string(".") + job.target->name;
                name += std::string(".") + fileExtension(job.type);
                const size_t slash = input.find_last_of('/');
                path = folder                       ? joinPath(out, name)
                       : slash == std::string::npos ? name
                                                    : input.substr(0, slash + 1) + name;
            }
            plan.push_back({input, frame, path});
        }
    }
    if (!folder && !out.empty() && plan.size() > 1) {
        throw usageError("-o " + out + " names one " + (out == "-" ? "stream" : "file") +
                         ", but there are " + std::to_string(plan.size()) + " frames to write" +
                         (out == "-" ? "" : ": give an existing folder"));
    }
    std::map<std::string, std::string> taken;
    for (const std::string& input : inputs) taken[normalPath(input)] = "the input " + input;
    for (const Output& o : plan) {
        if (o.path == "-") continue;
        const std::string key = normalPath(o.path);
        const std::string who = o.input + (job.raw.all ? " frame " + std::to_string(o.frame) : "");
        auto [it, fresh] = taken.emplace(key, who);
        if (!fresh && it->second.rfind("the input ", 0) == 0) {
            throw usageError(who + " would be written over " + it->second + "; nothing written");
        }
        if (!fresh) {
            throw usageError(who + " and " + it->second + " would both be written to " + o.path +
                             "; nothing written");
        }
        checkOutputPath(o.path);
    }
    return plan;
}

}  // namespace

int runDemosaic(const std::vector<std::string>& argv) {
    std::vector<std::string> valued = kRawOptions;
    valued.insert(valued.end(), {"method", "output", "target", "o"});
    Args args(argv, valued, kRawFlags);
    const std::vector<std::string>& inputs = args.positional();
    if (inputs.empty()) throw usageError("needs a raw frame file to read (tav demosaic --help)");

    Job job{};
    job.raw = parseRawLayout(args);
    if (!(job.raw.format->roles & kDemosaicSource)) {
        throw usageError(std::string(job.raw.format->name) +
                         " is not a demosaicing source (tav formats lists them)");
    }
    job.method = parseMethod(args.get("method", "bilinear"));

    const std::string out = args.get("o");
    const bool folder = !out.empty() && out != "-" && (isDirectory(out) || out.back() == '/');
    if (folder && !isDirectory(out)) throw Failure("-o " + out + ": no such folder");
    if (!out.empty() && out != "-" && !folder) {
        checkOutputPath(out);  // "a device" says more than "no extension"
        job.type = typeOfName(out);
        if (args.has("output")) {
            const FileType asked = parseFileType(args.get("output"));
            if (asked == FileType::Png16 && job.type == FileType::Png) job.type = asked;
            if (asked != job.type) {
                throw usageError("--output " + args.get("output") + " does not match the name " +
                                 out);
            }
        }
    } else {
        job.type = parseFileType(args.get("output", "png"));
    }
    job.target = chooseTarget(job, args.get("target"));
    if (fullDepth(job)) {
        if (job.raw.format->bits <= 8) {
            throw usageError(std::string("full depth needs a 10- to 16-bit source; ") +
                             job.raw.format->name + " has 8 bits");
        }
        if (job.method == TAV_METHOD_NEAREST)
            throw usageError(tavResultText(TAV_ERROR_NEAREST_DEPTH));
    }

    if (!folder && !out.empty() && inputs.size() > 1) {
        throw usageError("-o " + out + " names one " + (out == "-" ? "stream" : "file") +
                         ", but there are " + std::to_string(inputs.size()) + " inputs" +
                         (out == "-" ? "" : ": give an existing folder"));
    }
    size_t failed = 0;
    const std::vector<Output> plan = planOutputs(job, inputs, out, folder, failed);

    TavOptions options;
    tavOptionsInit(&options);
    options.method = job.method;
    const size_t bytes = size_t(job.raw.width) * job.raw.height * outputBytesPerPixel(*job.target);
    std::vector<uint8_t> pixels(bytes);
    std::vector<uint16_t> words;
    std::string lastInput;
    const bool progress = plan.size() >= 8 && ::isatty(STDERR_FILENO);
    size_t written = 0;
    for (size_t i = 0; i < plan.size(); ++i) {
        const Output& o = plan[i];
        if (progress) {
            std::fprintf(stderr, "\r[%zu/%zu] %s\033[K", i + 1, plan.size(),
                         baseName(o.input).c_str());
        }
        try {
            const bool firstOfFile = o.input != lastInput;  // warnings once a file
            lastInput = o.input;
            const std::vector<uint8_t> bytes = readFrame(job.raw, o.input, o.frame);
            const TavFrame src =
                frameOf(job.raw, bytes, false, words, o.input, firstOfFile ? "demosaic" : nullptr);
            TavFrame dst;
            tavFrameInit(&dst, job.target->code, job.raw.width, job.raw.height, pixels.data());
            const int32_t rc = tavDemosaic(&src, &dst, &options);
            if (rc != TAV_OK) {
                // the same for every frame of this shape: stop here
                if (progress) std::fputc('\n', stderr);
                throw usageError(std::string(tavResultText(rc)) + " (" + job.raw.describe() +
                                 " by " + methodName(job.method) + " into " + job.target->name +
                                 ")");
            }
            writeOutput(job, o.path, pixels);
            ++written;
        } catch (const Failure& e) {
            if (e.usage) throw;
            if (progress) std::fputc('\n', stderr);
            std::fprintf(stderr, "tav demosaic: %s\n", e.what());
            ++failed;
        }
    }
    if (progress) std::fputc('\n', stderr);
    FILE* summary = out == "-" ? stderr : stdout;
    const std::string what = std::string(typeName(job.type)) + ", " + job.target->name + " from " +
                             job.raw.format->name + " by " + methodName(job.method);
    if (plan.size() + failed == 1 && written == 0) {
        // the error said it all
    } else if (plan.size() + failed == 1) {
        std::fprintf(summary, "tav demosaic: wrote %s (%dx%d %s)\n",
                     out == "-" ? "standard output" : plan[0].path.c_str(), job.raw.width,
                     job.raw.height, what.c_str());
    } else {
        std::fprintf(summary, "tav demosaic: %zu of %zu frames written %s (%s)\n", written,
                     written + failed, folder ? ("to " + out).c_str() : "next to their inputs",
                     what.c_str());
    }
    return failed ? 1 : 0;
}

}  // namespace tavcli
