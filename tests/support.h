// Helpers shared by the test files.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "core/level.h"
#include "tav.h"

#if defined(__SANITIZE_ADDRESS__)
#define TAVTEST_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TAVTEST_ASAN 1
#endif
#endif
#ifdef TAVTEST_ASAN
#include <sanitizer/asan_interface.h>
#endif

namespace tavtest {

// Runs `call` with standard output captured; returns what it printed.
template <typename F>
std::string printedBy(F&& call) {
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

inline std::string diag(int site) {
    return "error line = [" + std::to_string(site) + "]";
}

inline std::vector<uint8_t> randomBytes(size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<uint8_t> v(n);
    for (auto& b : v) b = static_cast<uint8_t>(rng());
    return v;
}

inline std::vector<uint16_t> randomWords(size_t n, uint32_t seed, uint32_t bits) {
    std::mt19937 rng(seed);
    std::vector<uint16_t> v(n);
    for (auto& w : v) w = static_cast<uint16_t>(rng() & ((1u << bits) - 1));
    return v;
}

// Owns a context for one test.
struct Context {
    TavContext* ctx = nullptr;
    Context() { EXPECT_EQ(tavCreate(&ctx), TAV_OK); }
    ~Context() {
        if (ctx) tavRelease(&ctx);
    }
    void setOutput(uint64_t format) { ASSERT_EQ(tavDemosaicSetConfig(ctx, &format), TAV_OK); }
};

// Restores the level a test changed.
struct AtLevel {
    tav::Level saved = tav::level();
    ~AtLevel() { tav::setLevel(saved); }
};
// Levels the CPU lacks fall back to the best it has.
inline constexpr tav::Level kLevels[] = {tav::Level::Scalar, tav::Level::Sse41, tav::Level::Avx2};

// A buffer of exactly `size` bytes followed by a poisoned tail: writes there
// show in intact(), and under AddressSanitizer any access there traps.
class Guarded {
  public:
    static constexpr size_t kTail = 64;
    static constexpr uint8_t kPoison = 0xD7;

    explicit Guarded(size_t size, uint8_t fill = 0) : Guarded(std::vector<uint8_t>(size, fill)) {}
    Guarded(std::vector<uint8_t> content) : size_(content.size()), bytes_(std::move(content)) {
        bytes_.insert(bytes_.end(), kTail, kPoison);
        poison(true);
    }
    Guarded(Guarded&& o) noexcept : size_(o.size_), bytes_(std::move(o.bytes_)) {
        o.bytes_.clear();
    }
    Guarded& operator=(Guarded&&) = delete;
    ~Guarded() { poison(false); }

    uint8_t* data() { return bytes_.data(); }
    size_t size() const { return size_; }
    std::vector<uint8_t> bytes() const { return {bytes_.begin(), bytes_.begin() + size_}; }
    bool intact() {
        poison(false);
        const bool ok = std::all_of(bytes_.begin() + size_, bytes_.end(),
                                    [](uint8_t b) { return b == kPoison; });
        poison(true);
        return ok;
    }

  private:
    void poison(bool on) {
        if (bytes_.empty()) return;
#ifdef TAVTEST_ASAN
        if (on) {
            ASAN_POISON_MEMORY_REGION(bytes_.data() + size_, kTail);
        } else {
            ASAN_UNPOISON_MEMORY_REGION(bytes_.data() + size_, kTail);
        }
#else
        (void)on;
#endif
    }
    size_t size_;
    std::vector<uint8_t> bytes_;
};

// ---- the 8-bit entry's outputs

struct Output {
    uint64_t format;
    const char* name;
    int bytes;  // per pixel in one plane (planar: 1 in each of three)
    bool planar;
    int order[3];  // byte (or plane) of red, green, blue
};

inline constexpr Output kOutputs[] = {
    {TAV_PF_MONO8, "Mono8", 1, false, {0, 0, 0}},
    {TAV_PF_RGB8, "RGB8", 3, false, {0, 1, 2}},
    {TAV_PF_BGR8, "BGR8", 3, false, {2, 1, 0}},
    {TAV_PF_RGB8_PLANAR, "RGB8Planar", 1, true, {0, 1, 2}},
    {TAV_PF_BGR8_PLANAR, "BGR8Planar", 1, true, {2, 1, 0}},
    {TAV_PF_RGBA8, "RGBa8", 4, false, {0, 1, 2}},
    {TAV_PF_BGRA8, "BGRa8", 4, false, {2, 1, 0}},
};

inline size_t outputBytes(const Output& o, size_t pixels) {
    return pixels * (o.planar ? 3 : o.bytes);
}

struct Pixel8 {
    int r, g, b;
};

// The bytes of `o` for true colours; Mono8 is (77 R + 150 G + 29 B + 128) >> 8.
// alpha(i) gives the fourth byte of pixel i.
template <typename Alpha>
std::vector<uint8_t> place(const std::vector<Pixel8>& px, const Output& o, Alpha alpha) {
    const size_t n = px.size();
    std::vector<uint8_t> out(outputBytes(o, n));
    for (size_t i = 0; i < n; ++i) {
        const Pixel8& c = px[i];
        const int rgb[3] = {c.r, c.g, c.b};
        if (o.bytes == 1 && !o.planar) {
            out[i] = uint8_t((77 * c.r + 150 * c.g + 29 * c.b + 128) >> 8);
            continue;
        }
        for (int k = 0; k < 3; ++k) {
            out[o.planar ? o.order[k] * n + i : i * o.bytes + o.order[k]] = uint8_t(rgb[k]);
        }
        if (o.bytes == 4) out[4 * i + 3] = alpha(i);
    }
    return out;
}

// ---- Bayer phases and the source codes of the 8-bit entry

enum class Pattern { Mono, RG, GR, GB, BG };

struct Phase {
    const char* name;
    uint32_t code;       // 8-bit code
    int redRow, redCol;  // position of red in the 2 x 2 cell at the origin
};

inline constexpr Phase kPhases[] = {{"RG", TAV_PF_BAYER_RG8, 0, 0},
                                    {"GR", TAV_PF_BAYER_GR8, 0, 1},
                                    {"GB", TAV_PF_BAYER_GB8, 1, 0},
                                    {"BG", TAV_PF_BAYER_BG8, 1, 1}};

// Stream: the frame API's "p" bit streams, least significant bit first.
enum class Packing { Bytes, Packed, Words, Stream };

// A source format by its meaning: pattern, significant bits, how samples are stored.
struct Source {
    const char* name;
    uint32_t code;
    Pattern pattern;
    int bits;
    Packing packing;
};

inline constexpr Source kSources[] = {
    {"Mono8", TAV_PF_MONO8, Pattern::Mono, 8, Packing::Bytes},
    {"GR8", TAV_PF_BAYER_GR8, Pattern::GR, 8, Packing::Bytes},
    {"RG8", TAV_PF_BAYER_RG8, Pattern::RG, 8, Packing::Bytes},
    {"GB8", TAV_PF_BAYER_GB8, Pattern::GB, 8, Packing::Bytes},
    {"BG8", TAV_PF_BAYER_BG8, Pattern::BG, 8, Packing::Bytes},
    {"Mono10", TAV_PF_MONO10, Pattern::Mono, 10, Packing::Words},
    {"GR10", TAV_PF_BAYER_GR10, Pattern::GR, 10, Packing::Words},
    {"RG10", TAV_PF_BAYER_RG10, Pattern::RG, 10, Packing::Words},
    {"GB10", TAV_PF_BAYER_GB10, Pattern::GB, 10, Packing::Words},
    {"BG10", TAV_PF_BAYER_BG10, Pattern::BG, 10, Packing::Words},
    {"Mono12", TAV_PF_MONO12, Pattern::Mono, 12, Packing::Words},
    {"GR12", TAV_PF_BAYER_GR12, Pattern::GR, 12, Packing::Words},
    {"RG12", TAV_PF_BAYER_RG12, Pattern::RG, 12, Packing::Words},
    {"GB12", TAV_PF_BAYER_GB12, Pattern::GB, 12, Packing::Words},
    {"BG12", TAV_PF_BAYER_BG12, Pattern::BG, 12, Packing::Words},
    {"Mono14", TAV_PF_MONO14, Pattern::Mono, 14, Packing::Words},
    {"Mono16", TAV_PF_MONO16, Pattern::Mono, 16, Packing::Words},
    {"GR16", TAV_PF_BAYER_GR16, Pattern::GR, 16, Packing::Words},
    {"RG16", TAV_PF_BAYER_RG16, Pattern::RG, 16, Packing::Words},
    {"GB16", TAV_PF_BAYER_GB16, Pattern::GB, 16, Packing::Words},
    {"BG16", TAV_PF_BAYER_BG16, Pattern::BG, 16, Packing::Words},
    {"Mono10Packed", TAV_PF_MONO10_PACKED, Pattern::Mono, 10, Packing::Packed},
    {"Mono12Packed", TAV_PF_MONO12_PACKED, Pattern::Mono, 12, Packing::Packed},
    {"GR10Packed", TAV_PF_BAYER_GR10_PACKED, Pattern::GR, 10, Packing::Packed},
    {"RG10Packed", TAV_PF_BAYER_RG10_PACKED, Pattern::RG, 10, Packing::Packed},
    {"GB10Packed", TAV_PF_BAYER_GB10_PACKED, Pattern::GB, 10, Packing::Packed},
    {"BG10Packed", TAV_PF_BAYER_BG10_PACKED, Pattern::BG, 10, Packing::Packed},
    {"GR12Packed", TAV_PF_BAYER_GR12_PACKED, Pattern::GR, 12, Packing::Packed},
    {"RG12Packed", TAV_PF_BAYER_RG12_PACKED, Pattern::RG, 12, Packing::Packed},
    {"GB12Packed", TAV_PF_BAYER_GB12_PACKED, Pattern::GB, 12, Packing::Packed},
    {"BG12Packed", TAV_PF_BAYER_BG12_PACKED, Pattern::BG, 12, Packing::Packed},
};

// Bytes of one row without padding.
inline int32_t compactPitch(const Source& s, int32_t width) {
    return s.packing == Packing::Bytes    ? width
           : s.packing == Packing::Words  ? 2 * width
           : s.packing == Packing::Stream ? width * s.bits / 8
                                          : width + (width >> 1);
}

// A frame holding the 8-bit mosaic `top` (the top 8 bits of every sample) in
// the source's storage, with random bits below them, rows `padding` bytes
// longer than compact, in a buffer of exactly the size a caller provides.
// Packed samples pair up two in three bytes (high bits in the outer bytes);
// compact packed frames run on across rows as one stream of pairs.
struct Encoded {
    Guarded bytes;
    int32_t pitch;
};

inline Encoded encode(const Source& s, const std::vector<uint8_t>& top, int32_t height,
                      int32_t width, int32_t padding, uint32_t seed) {
    const int32_t pitch = compactPitch(s, width) + padding;
    const size_t n = top.size();
    const bool oneRun = s.packing == Packing::Packed && padding == 0;
    const size_t size = oneRun ? n / 2 * 3 + (n & 1) : size_t(height) * pitch;
    Encoded e{Guarded(size), pitch};
    uint8_t* out = e.bytes.data();
    const auto noise = randomBytes(n, seed);
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            const size_t i = size_t(y) * width + x;
            if (s.packing == Packing::Bytes) {
                out[size_t(y) * pitch + x] = top[i];
            } else if (s.packing == Packing::Words) {
                const int low = s.bits - 8;
                const uint16_t w = uint16_t(top[i] << low | (noise[i] & ((1 << low) - 1)));
                std::memcpy(out + size_t(y) * (pitch & ~1) + 2 * x, &w, 2);  // rows start on a word
            } else {
                const size_t k = oneRun ? i : size_t(x);  // sample index in its run
                uint8_t* group = out + (oneRun ? 0 : size_t(y) * pitch) + k / 2 * 3;
                group[(k & 1) ? 2 : 0] = top[i];
                if (!(k & 1) && group + 1 < out + size) group[1] = noise[i];
            }
        }
    }
    return e;
}

}  // namespace tavtest
