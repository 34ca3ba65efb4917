#include "raw_input.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace tavcli {

const std::vector<std::string> kRawOptions = {"format", "width",  "height", "stride",
                                              "pitch",  "offset", "frame"};
const std::vector<std::string> kRawFlags = {"all", "msb", "big-endian"};

uint64_t RawLayout::frameBytes() const {
    return stride ? uint64_t(stride) * uint64_t(height) : compactFrameBytes(*format, width, height);
}

std::string RawLayout::describe() const {
    std::string s =
        std::to_string(width) + "x" + std::to_string(height) + " " + format->name + " frame";
    if (stride) s += " with rows " + std::to_string(stride) + " bytes apart";
    return s;
}

RawLayout parseRawLayout(const Args& args) {
    RawLayout l;
    l.format = &parseFormat(
        args.required("format", "the pixel format: --format NAME (tav formats lists them)"));
    if (!args.has("width") || !args.has("height")) {
        throw usageError("needs the frame size: --width W --height H (or -w W -h H)");
    }
    l.width = args.integer("width", 1, 1 << 20, 0);
    l.height = args.integer("height", 1, 1 << 20, 0);
    if (uint64_t(l.width) * uint64_t(l.height) > 0x7FFFFFFFull / 8) {
        throw usageError("a frame of " + std::to_string(l.width) + "x" + std::to_string(l.height) +
                         " pixels is too large");
    }
    const std::string strideName = args.has("pitch") ? "pitch" : "stride";
    l.stride = args.integer(strideName, 1, 0x7FFFFFFF, 0);
    const uint64_t row = rowBytes(*l.format, l.width);
    if (l.stride && row == 0) {
        throw usageError(std::string("--") + strideName + " needs a format of one plane, not " +
                         l.format->name);
    }
    if (l.stride && uint64_t(l.stride) < row) {
        throw usageError("--" + strideName + " " + std::to_string(l.stride) +
                         " is shorter than a row of " + std::to_string(l.width) + " " +
                         l.format->name + " pixels (" + std::to_string(row) + " bytes)");
    }
    if (uint64_t(l.stride) == row) l.stride = 0;
    if (l.stride && l.format->layout == Layout::Word && l.stride % 2) {
        throw usageError("--" + strideName + " must be even for 16-bit samples");
    }
    l.offset = args.integer("offset", 0, 0x7FFFFFFF, 0);
    l.all = args.flag("all");
    if (args.has("frame")) {
        if (l.all) throw usageError("--frame and --all exclude each other");
        l.frame = args.integer("frame", 0, 0x7FFFFFFF, 0);
    }
    l.msb = args.flag("msb");
    l.bigEndian = args.flag("big-endian");
    if ((l.msb || l.bigEndian) && l.format->layout != Layout::Word) {
        throw usageError(std::string("--msb and --big-endian are for 16-bit-word formats, not ") +
                         l.format->name);
    }
    return l;
}

std::vector<int64_t> framesToRead(const RawLayout& l, uint64_t fileSize, const std::string& path) {
    const uint64_t need = l.frameBytes();
    const uint64_t have = fileSize > uint64_t(l.offset) ? fileSize - l.offset : 0;
    const std::string size = path + " has " + std::to_string(fileSize) + " bytes" +
                             (l.offset ? " (" + std::to_string(have) + " after the " +
                                             std::to_string(l.offset) + "-byte offset)"
                                       : std::string());
    if (have < need) {
        throw Failure(size + ", but a " + l.describe() + " needs " + std::to_string(need));
    }
    if (have % need) {
        throw Failure(size + ", not a whole number of " + l.describe() + "s of " +
                      std::to_string(need) + " bytes (" + std::to_string(have % need) +
                      " left over): check the size and format; --offset skips a header, "
                      "--stride gives padded rows");
    }
    const int64_t count = int64_t(have / need);
    std::vector<int64_t> frames;
    if (l.all) {
        for (int64_t i = 0; i < count; ++i) frames.push_back(i);
    } else if (l.frame >= 0) {
        if (l.frame >= count) {
            throw usageError("--frame " + std::to_string(l.frame) + ": " + path + " holds " +
                             std::to_string(count) + " frame" + (count > 1 ? "s" : "") + " (0 to " +
                             std::to_string(count - 1) + ")");
        }
        frames.push_back(l.frame);
    } else if (count > 1) {
        throw usageError(path + " holds " + std::to_string(count) + " frames of " +
                         std::to_string(need) + " bytes: pick one with --frame N (0 to " +
                         std::to_string(count - 1) + ") or take all with --all");
    } else {
        frames.push_back(0);
    }
    return frames;
}

namespace {

// Samples above `bits`: say so, and what the data most likely is.
void warnAboveDepth(const uint16_t* s, int64_t stride, int32_t width, int32_t height, int bits,
                    const std::string& path, const char* command) {
    if (bits >= 16 || command == nullptr) return;
    const uint32_t limit = (1u << bits) - 1, low = (1u << (16 - bits)) - 1;
    uint64_t above = 0;
    uint32_t largest = 0, lowBits = 0, swappedLargest = 0;
    for (int32_t y = 0; y < height; ++y) {
        const uint16_t* row = s + y * stride;
        for (int32_t x = 0; x < width; ++x) {
            const uint32_t v = row[x];
            above += v > limit;
            largest = std::max(largest, v);
            lowBits |= v & low;
            swappedLargest = std::max(swappedLargest, (v >> 8 | v << 8) & 0xFFFFu);
        }
    }
    if (!above) return;
    std::string cause;
    if (lowBits == 0) {
        cause = "the low " + std::to_string(16 - bits) +
                " bits are always 0: the data is likely in the top bits (--msb reads it)";
    } else if (swappedLargest <= limit) {
        cause =
            "with the bytes swapped every sample fits: the data is likely big-endian "
            "(--big-endian reads it)";
    } else {
        cause = "check --format (is it a 16-bit format?)";
    }
    std::fprintf(stderr, "tav %s: warning: %s: %llu samples exceed %d bits (largest %u); %s\n",
                 command, path.c_str(), static_cast<unsigned long long>(above), bits, largest,
                 cause.c_str());
}

}  // namespace

std::vector<uint8_t> readFrame(const RawLayout& l, const std::string& path, int64_t index) {
    const uint64_t bytes = l.frameBytes();
    std::vector<uint8_t> frame =
        readFile(path, uint64_t(l.offset) + uint64_t(index) * bytes, bytes);
    if (frame.size() != bytes) throw Failure(path + " became shorter while tav read it");
    return frame;
}

TavFrame frameOf(const RawLayout& l, const std::vector<uint8_t>& bytes, bool asWords,
                 std::vector<uint16_t>& words, const std::string& path, const char* command) {
    const FormatInfo& f = *l.format;
    const uint8_t* data = bytes.data();
    TavFrame frame;
    const bool packed = f.layout == Layout::Packed || f.layout == Layout::BitStream;
    // The library reads packed rows, and bit-stream rows that end on a byte;
    // a compact frame of other widths is one run of samples, not rows.
    const int32_t step = f.layout == Layout::BitStream && f.bits == 10 ? 4 : 2;
    asWords = (packed && (asWords || l.width % step)) ||
              (f.layout == Layout::Word && (l.msb || l.bigEndian));
    if (!asWords) {
        tavFrameInit(&frame, f.code, l.width, l.height, const_cast<uint8_t*>(data));
        frame.stride[0] = l.stride;
        if (f.layout == Layout::Word) {
            warnAboveDepth(reinterpret_cast<const uint16_t*>(data),
                           (l.stride ? l.stride : 2 * l.width) / 2, l.width, l.height, f.bits, path,
                           command);
        }
        return frame;
    }
    const size_t n = size_t(l.width) * l.height;
    words.resize(n);
    if (packed) {
        const bool run = l.stride == 0;
        unpackToWords(f, data, l.stride, run ? int64_t(n) : l.width, run ? 1 : l.height,
                      words.data());
    } else {
        const int64_t stride = l.stride ? l.stride : 2 * l.width;
        const int shift = l.msb ? 16 - f.bits : 0;
        for (int32_t y = 0; y < l.height; ++y) {
            const uint8_t* s = data + y * stride;
            for (int32_t x = 0; x < l.width; ++x) {
                const uint8_t a = s[2 * x], b = s[2 * x + 1];
                const uint32_t v = l.bigEndian ? uint32_t(a) << 8 | b : uint32_t(b) << 8 | a;
                words[size_t(y) * l.width + x] = uint16_t(v >> shift);
            }
        }
        warnAboveDepth(words.data(), l.width, l.width, l.height, f.bits, path, command);
    }
    tavFrameInit(&frame, f.words, l.width, l.height, words.data());
    return frame;
}

std::vector<uint8_t> compactBytes(const TavFrame& frame, const FormatInfo& format) {
    std::vector<uint8_t> bytes(compactFrameBytes(format, frame.width, frame.height));
    const uint64_t row = rowBytes(format, frame.width);
    const auto* base = static_cast<const uint8_t*>(frame.plane[0]);
    if (row == 0 || frame.stride[0] == 0) {
        std::memcpy(bytes.data(), base, bytes.size());
    } else {
        for (int32_t y = 0; y < frame.height; ++y)
            std::memcpy(bytes.data() + y * row, base + y * frame.stride[0], row);
    }
    return bytes;
}

}  // namespace tavcli
