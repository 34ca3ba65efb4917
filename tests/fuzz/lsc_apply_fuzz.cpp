// tavLSCorrection with random formats, modes, coefficient records whose size
// matches the frame or not, separate or shared destinations. Accepted calls are
// checked sample by sample against the correction formula.
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz_input.h"
#include "tav.h"

namespace {

constexpr uint32_t kFormats[] = {
    TAV_PF_MONO8,     TAV_PF_BAYER_GR8,  TAV_PF_BAYER_RG8,  TAV_PF_BAYER_GB8,
    TAV_PF_BAYER_BG8, TAV_PF_MONO10,     TAV_PF_BAYER_GR10, TAV_PF_BAYER_BG10,
    TAV_PF_MONO12,    TAV_PF_BAYER_RG12, TAV_PF_BAYER_GB12, TAV_PF_MONO16,
    TAV_PF_MONO14,    TAV_PF_RGB8,       TAV_PF_BAYER_RG16, 0u};

constexpr uint32_t kModes[] = {0, 1, 0, 1, 2, 0x80000000u};

// Bits per sample of the formats the correction handles, 0 for the rest.
int depth(uint32_t format) {
    switch (format) {
        case TAV_PF_MONO8:
        case TAV_PF_BAYER_GR8:
        case TAV_PF_BAYER_RG8:
        case TAV_PF_BAYER_GB8:
        case TAV_PF_BAYER_BG8:
            return 8;
        case TAV_PF_MONO10:
        case TAV_PF_BAYER_GR10:
        case TAV_PF_BAYER_BG10:
            return 10;
        case TAV_PF_MONO12:
        case TAV_PF_BAYER_RG12:
        case TAV_PF_BAYER_GB12:
            return 12;
        default:
            return 0;
    }
}

uint32_t corrected(uint32_t sample, uint32_t word, int bits) {
    const uint32_t gain = word >> 12, offset12 = word & 0xFFF;
    if (bits == 8) {
        const int32_t v = ((static_cast<int32_t>(sample) - static_cast<int32_t>(offset12 >> 4)) *
                               static_cast<int32_t>(gain) +
                           65536) >>
                          17;
        return v < 0 ? 0 : v > 255 ? 255 : static_cast<uint32_t>(v);
    }
    const uint32_t difference = sample - (offset12 >> (12 - bits));  // wraps below the offset
    const uint64_t v = (uint64_t{difference} * gain + 65536) >> 17;
    const uint64_t ceiling = (1u << bits) - 1;
    return static_cast<uint32_t>(v < ceiling ? v : ceiling);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tavfuzz::Input in(data, size);
    const uint32_t format = in.pick(kFormats);
    const uint32_t mode = in.pick(kModes);
    const int32_t height = in.dimension(), width = in.dimension();
    const uint8_t shape = in.byte();  // which sizes match, shared buffer, null pointers
    uint32_t paramHeight = static_cast<uint32_t>(height), paramWidth = static_cast<uint32_t>(width);
    if (shape & 1) paramHeight = static_cast<uint32_t>(in.dimension());
    if (shape & 2) paramWidth = static_cast<uint32_t>(in.dimension());
    int32_t dstHeight = height, dstWidth = width;
    if (shape & 4) dstHeight = in.dimension();
    const bool shared = shape & 8;
    const int nulls = shape >> 4;

    constexpr int64_t kLimit = int64_t{1} << 17;
    const int32_t n32 =
        static_cast<int32_t>(static_cast<uint32_t>(height) * static_cast<uint32_t>(width));
    if (height > 0 && width > 0 && int64_t{height} * width > kLimit) return 0;
    if (n32 > kLimit) return 0;
    const int64_t n = n32 > 0 ? n32 : 0;

    // The record holds as many words as its own mode and sizes call for.
    uint64_t words = 0;
    if (mode == 1) words = uint64_t{paramHeight} * paramWidth;
    if (mode == 0) words = uint64_t{paramHeight / 2} * (paramWidth / 2);
    if (words > uint64_t{kLimit}) return 0;

    const int bits = depth(format);
    const int64_t sampleBytes = bits == 8 ? 1 : bits ? 2 : 0;
    tavfuzz::Buffer src(static_cast<size_t>(n * sampleBytes));
    tavfuzz::Buffer dst(static_cast<size_t>(n * sampleBytes));
    tavfuzz::Buffer record(static_cast<size_t>(12 + 4 * words));
    in.fill(record.data(), record.size);
    in.fill(src.data(), src.size);
    // Samples within the frame's depth.
    if (sampleBytes == 2) {
        for (int64_t i = 0; i < n; ++i)
            src.data()[2 * i + 1] &= static_cast<uint8_t>((1u << (bits - 8)) - 1);
    }
    for (size_t i = 0; i < dst.size; ++i)
        dst.data()[i] = static_cast<uint8_t>(src.data()[i] ^ 0x5A);
    auto* parameter = reinterpret_cast<TavLscParameter*>(record.data());
    parameter->mode = mode;
    parameter->height = paramHeight;
    parameter->width = paramWidth;

    const std::vector<uint8_t> before(src.data(), src.data() + src.size);
    const std::vector<uint8_t> dstBefore(dst.data(), dst.data() + dst.size);
    uint8_t* out = shared ? src.data() : dst.data();
    const TavImage s{height, width, format, nulls == 1 ? nullptr : src.data(), 4};
    const TavImage d{dstHeight, dstWidth, format, nulls == 2 ? nullptr : out, 4};
    const int32_t result = tavLSCorrection(nulls == 3 ? nullptr : &s, nulls == 4 ? nullptr : &d,
                                           nulls == 5 ? nullptr : parameter);
    if (result != TAV_OK || !bits) {
        // Nothing written.
        if (src.size && std::memcmp(src.data(), before.data(), src.size) != 0) abort();
        if (dst.size && std::memcmp(dst.data(), dstBefore.data(), dst.size) != 0) abort();
        return 0;
    }
    if (!shared && src.size && std::memcmp(src.data(), before.data(), src.size) != 0) abort();
    if (n == 0) return 0;  // an empty frame (e.g. INT_MAX rows of width 0): nothing to compare
    const uint8_t* kept = shared ? before.data() : dstBefore.data();
    for (int32_t r = 0; r < height; ++r) {
        for (int32_t c = 0; c < width; ++c) {
            const size_t i = static_cast<size_t>(r) * width + c;
            uint32_t sample = before[i * sampleBytes], now = out[i * sampleBytes],
                     old = kept[i * sampleBytes];
            if (sampleBytes == 2) {
                sample |= uint32_t{before[2 * i + 1]} << 8;
                now |= uint32_t{out[2 * i + 1]} << 8;
                old |= uint32_t{kept[2 * i + 1]} << 8;
            }
            // Bayer cells cover the even part of the frame; the rest is kept.
            const bool inCell = mode == 1 || (r < height / 2 * 2 && c < width / 2 * 2);
            const size_t word = mode == 1 ? i : static_cast<size_t>(r / 2) * (width / 2) + c / 2;
            const uint32_t want =
                inCell ? corrected(sample, parameter->coefficients[word], bits) : old;
            if (now != want) abort();
        }
    }
    return 0;
}
