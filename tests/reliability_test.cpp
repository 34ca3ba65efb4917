// Contract edges: the smallest and odd frame sizes of every source class with
// buffers of exactly their documented size (under AddressSanitizer any access
// outside them fails the test), the size minimums of each method, the largest
// pixel count the overflow checks let through; and the lens-shading
// estimators when an allocation fails.
#include <climits>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>

#include "alloc_hook.h"
#include "simd.h"
#include "support.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

using tavtest::diag;
using tavtest::printedBy;

namespace {

// A heap block of exactly `n` bytes, so that one byte past it is caught.
struct Exact {
    explicit Exact(size_t n, uint8_t fill = 0) : size(n), bytes(new uint8_t[n]) {
        std::memset(bytes.get(), fill, n);
    }
    size_t size;
    std::unique_ptr<uint8_t[]> bytes;
    uint8_t* data() const { return bytes.get(); }
    std::vector<uint8_t> copy() const { return {bytes.get(), bytes.get() + size}; }
};

// ---- tavDemosaicing: every source class at its smallest and odd sizes

enum class Container { kByte, kWord, kPacked };

struct SourceClass {
    const char* name;
    uint32_t format, format8;  // the source and the 8-bit mosaic it reduces to
    Container container;
    int shift;        // bits below the kept byte (16-bit containers)
    int32_t padding;  // bytes added to the compact pitch
};

void PrintTo(const SourceClass& s, std::ostream* os) {
    *os << s.name;
}

const SourceClass kSourceClasses[] = {
    {"RG8", TAV_PF_BAYER_RG8, TAV_PF_BAYER_RG8, Container::kByte, 0, 0},
    {"GB8_padded", TAV_PF_BAYER_GB8, TAV_PF_BAYER_GB8, Container::kByte, 0, 3},
    {"Mono8_padded", TAV_PF_MONO8, TAV_PF_MONO8, Container::kByte, 0, 1},
    {"BG10", TAV_PF_BAYER_BG10, TAV_PF_BAYER_BG8, Container::kWord, 2, 0},
    {"GR12_padded", TAV_PF_BAYER_GR12, TAV_PF_BAYER_GR8, Container::kWord, 4, 2},
    {"Mono14", TAV_PF_MONO14, TAV_PF_MONO8, Container::kWord, 6, 0},
    {"RG16_padded", TAV_PF_BAYER_RG16, TAV_PF_BAYER_RG8, Container::kWord, 8, 4},
    {"RG10Packed", TAV_PF_BAYER_RG10_PACKED, TAV_PF_BAYER_RG8, Container::kPacked, 0, 0},
    {"GB12Packed_padded", TAV_PF_BAYER_GB12_PACKED, TAV_PF_BAYER_GB8, Container::kPacked, 0, 1},
    {"Mono12Packed", TAV_PF_MONO12_PACKED, TAV_PF_MONO8, Container::kPacked, 0, 0},
};

int32_t compactPitch(Container c, int32_t width) {
    switch (c) {
        case Container::kByte:
            return width;
        case Container::kWord:
            return 2 * width;
        case Container::kPacked:
            break;
    }
    return width + (width >> 1);
}

// The source frame holding the 8-bit mosaic `v` in the class's container, in a
// buffer of exactly the size the caller must provide.
Exact encode(const SourceClass& s, const std::vector<uint8_t>& v, int32_t height, int32_t width,
             int32_t pitch, uint32_t seed) {
    const auto noise = tavtest::randomBytes(v.size() + 8, seed);
    size_t bytes = size_t(height) * pitch;
    // A compact packed frame is read as one run of sample pairs.
    if (s.container == Container::kPacked && s.padding == 0) {
        bytes = std::max(bytes, (v.size() + 1) / 2 * 3);
    }
    Exact out(bytes, 0xC7);
    for (int32_t r = 0; r < height; ++r) {
        for (int32_t c = 0; c < width; ++c) {
            const size_t i = size_t(r) * width + c;
            switch (s.container) {
                case Container::kByte:
                    out.data()[size_t(r) * pitch + c] = v[i];
                    break;
                case Container::kWord: {
                    // Random bits below the kept byte must not show.
                    const uint16_t low = noise[i] & ((1 << s.shift) - 1);
                    const uint16_t w = static_cast<uint16_t>(v[i] << s.shift | low);
                    std::memcpy(out.data() + size_t(r) * pitch + 2 * c, &w, 2);
                    break;
                }
                case Container::kPacked: {
                    // Compact frames pack the whole image as one run of pairs.
                    const size_t at =
                        s.padding ? size_t(r) * pitch + 3 * size_t(c / 2) : 3 * (i / 2);
                    const bool second = s.padding ? (c & 1) : (i & 1);
                    out.data()[at + (second ? 2 : 0)] = v[i];
                    out.data()[at + 1] = noise[i];
                    break;
                }
            }
        }
    }
    return out;
}

constexpr uint64_t kOutputs[] = {TAV_PF_MONO8,       TAV_PF_RGB8,  TAV_PF_BGR8, TAV_PF_RGB8_PLANAR,
                                 TAV_PF_BGR8_PLANAR, TAV_PF_RGBA8, TAV_PF_BGRA8};

size_t outputBytes(uint64_t output) {
    return output == TAV_PF_MONO8 ? 1 : (output == TAV_PF_RGBA8 || output == TAV_PF_BGRA8) ? 4 : 3;
}

struct Outcome {
    int32_t code;
    std::string printed;
    std::vector<uint8_t> pixels;
    TavImage record;
};

Outcome demosaic(uint64_t output, uint32_t method, TavImage src, int32_t height, int32_t width,
                 uint8_t fill) {
    tavtest::Context c;
    c.setOutput(output);
    Exact dst(size_t(height) * width * outputBytes(output), fill);
    Outcome o{};
    o.record = {0, 0, 0, dst.data(), 5};
    o.printed = printedBy([&] { o.code = tavDemosaicing(c.ctx, &src, method, &o.record); });
    o.pixels = dst.copy();
    return o;
}

}  // namespace

class DemosaicEdges : public testing::TestWithParam<SourceClass> {};

// Each class at every size from 4 to 7 in both directions, every output and
// method: the result equals that of the compact 8-bit mosaic it reduces to,
// every destination byte is written, and a refused call writes nothing.
TEST_P(DemosaicEdges, SmallAndOddFramesStayInsideTheirBuffers) {
    const SourceClass& s = GetParam();
    for (int32_t height = 4; height <= 7; ++height) {
        for (int32_t width = 4; width <= 7; ++width) {
            const auto v = tavtest::randomBytes(size_t(height) * width, 97 * height + width);
            const int32_t pitch = compactPitch(s.container, width) + s.padding;
            for (uint64_t output : kOutputs) {
                for (uint32_t method : {0u, 1u, 2u}) {
                    SCOPED_TRACE(testing::Message() << height << "x" << width << " output "
                                                    << std::hex << output << " method " << method);
                    auto reference = v;
                    const Outcome want = demosaic(
                        output, method, {height, width, s.format8, reference.data(), width}, height,
                        width, 0x00);
                    Outcome got[2];
                    for (int pass = 0; pass < 2; ++pass) {
                        const Exact src = encode(s, v, height, width, pitch, height + width);
                        got[pass] =
                            demosaic(output, method, {height, width, s.format, src.data(), pitch},
                                     height, width, pass ? 0xFF : 0x00);
                    }
                    const bool small = height < 6 || width < 6;
                    const bool refused = method == 2 && small && s.format8 != TAV_PF_MONO8;
                    EXPECT_EQ(got[0].code, refused ? TAV_E_IMAGE_SIZE : TAV_OK);
                    EXPECT_EQ(got[0].code, want.code);
                    EXPECT_EQ(got[0].printed, want.printed);
                    if (refused) {
                        EXPECT_EQ(got[0].printed.rfind("error line = [", 0), 0u);
                        EXPECT_EQ(got[0].record.pixelFormat, 0u);
                        EXPECT_EQ(got[1].pixels, std::vector<uint8_t>(got[1].pixels.size(), 0xFF));
                        continue;
                    }
                    EXPECT_EQ(got[0].record.height, height);
                    EXPECT_EQ(got[0].record.width, width);
                    EXPECT_EQ(got[0].pixels, want.pixels);
                    // The edge-directed four-byte form leaves most alpha bytes
                    // as the buffer held them; every other byte is written.
                    if (method == 2 && outputBytes(output) == 4 && s.format8 != TAV_PF_MONO8) {
                        for (auto& o : got) {
                            for (size_t i = 3; i < o.pixels.size(); i += 4) o.pixels[i] = 0;
                        }
                    }
                    EXPECT_EQ(got[0].pixels, got[1].pixels) << "some output bytes were not written";
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Classes, DemosaicEdges, testing::ValuesIn(kSourceClasses),
                         [](const testing::TestParamInfo<SourceClass>& i) {
                             return std::string(i.param.name);
                         });

// ---- tavDemosaicingU16: the bilinear minimum is 4, the edge-directed one 6

namespace {

struct Phase16 {
    const char* name;
    uint32_t format;
    int edgeSite;  // printed by the edge kernel the phase runs on
};

void PrintTo(const Phase16& p, std::ostream* os) {
    *os << p.name;
}

const Phase16 kPhases16[] = {{"RG", TAV_PF_BAYER_RG12, 7569},
                             {"BG", TAV_PF_BAYER_BG12, 7569},
                             {"GR", TAV_PF_BAYER_GR12, 7514},
                             {"GB", TAV_PF_BAYER_GB12, 7514}};

}  // namespace

class Demosaic16Edges : public testing::TestWithParam<Phase16> {};

TEST_P(Demosaic16Edges, MinimumsPerMethodWithExactBuffers) {
    const Phase16& p = GetParam();
    for (int32_t height = 4; height <= 7; ++height) {
        for (int32_t width = 4; width <= 7; ++width) {
            const size_t n = size_t(height) * width;
            const auto samples = tavtest::randomWords(n, uint32_t(n), 12);
            Exact src(2 * n);
            std::memcpy(src.data(), samples.data(), 2 * n);
            for (uint32_t method : {1u, 2u}) {
                for (uint32_t output : {TAV_PF_BGR12, TAV_PF_RGB16}) {
                    SCOPED_TRACE(testing::Message() << height << "x" << width << " method "
                                                    << method << " output " << std::hex << output);
                    Exact dst(6 * n, 0x5A);
                    const TavDemosaicU16Config config{output, method, 12};
                    const TavImage in{height, width, p.format, src.data(), 4};
                    const TavImage out{0, 0, 0, dst.data(), 0};
                    int32_t code = 0;
                    const std::string printed =
                        printedBy([&] { code = tavDemosaicingU16(&config, &in, &out); });
                    const bool refused = method == 2 && (height < 6 || width < 6);
                    // RGB16 reports the shift's result in place of the kernel's.
                    const bool reported = refused && output != TAV_PF_RGB16;
                    EXPECT_EQ(code, reported ? TAV_E_IMAGE_SIZE : TAV_OK);
                    EXPECT_EQ(printed, refused ? diag(p.edgeSite) : "");
                    if (refused) continue;
                    // Every word is written and within the depth: the fill
                    // (0x5A5A) is neither below 4096 nor a multiple of 16.
                    // The GR bilinear kernel leaves the row after its body
                    // unwritten.
                    const bool grBilinear = method == 1 && p.edgeSite == 7514;
                    const int32_t unwritten = grBilinear ? height - 1 - (height & 1) : -1;
                    for (size_t i = 0; i < 3 * n; ++i) {
                        if (int32_t(i / (3 * width)) == unwritten) continue;
                        uint16_t w;
                        std::memcpy(&w, dst.data() + 2 * i, 2);
                        ASSERT_TRUE(output == TAV_PF_RGB16 ? w % 16 == 0 : w < 4096)
                            << "word " << i << " = " << w;
                    }
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Phases, Demosaic16Edges, testing::ValuesIn(kPhases16),
                         [](const testing::TestParamInfo<Phase16>& i) {
                             return std::string(i.param.name);
                         });

// ---- the overflow checks: the largest pixel count passes, one more is refused

namespace {

// Dimensions whose product is the largest (or, with `over`, just past the
// largest) signed 32-bit count, for a small and for a square frame.
struct Limit {
    int32_t height, width;
    bool passes;
};

const Limit kLimits[] = {
    {4, INT_MAX / 4, true},      {4, INT_MAX / 4 + 1, false}, {5, INT_MAX / 5, true},
    {5, INT_MAX / 5 + 1, false}, {46340, 46341, true},        {46341, 46341, false},
    {INT_MAX, 4, false},         {65536, 65536, true},  // wraps to 0: not caught
};

}  // namespace

// A frame that passes the count check is stopped by the format check behind
// it, so no buffer of that size is needed; actually running such a frame
// would take several GiB and is not done here.
TEST(OverflowCheck, LargestCountPassesAndTheNextIsRefused) {
    uint8_t byte = 0;
    tavtest::Context c;
    const TavDemosaicU16Config config{TAV_PF_RGB16, 1, 12};
    uint8_t out = 0;
    for (const Limit& l : kLimits) {
        SCOPED_TRACE(testing::Message() << l.height << "x" << l.width);
        TavImage src{l.height, l.width, TAV_PF_BAYER_RG8 + 0x100, &byte, 16};  // no such format
        TavImage dst{0, 0, 0, &out, 0};
        std::string printed = printedBy([&] {
            EXPECT_EQ(tavDemosaicing(c.ctx, &src, 1, &dst),
                      l.passes ? TAV_E_PIXEL_FORMAT : TAV_E_IMAGE_SIZE);
        });
        EXPECT_EQ(printed, diag(l.passes ? 110 : 104));
        printed = printedBy([&] {
            EXPECT_EQ(tavDemosaicingU16(&config, &src, &dst),
                      l.passes ? TAV_E_PIXEL_FORMAT : TAV_E_IMAGE_SIZE);
        });
        EXPECT_EQ(printed, l.passes ? "" : diag(228));
    }
    EXPECT_EQ(c.ctx->scratch.capacity, 0) << "nothing may be allocated for a refused frame";
}

// ---- lens-shading estimators when memory runs out

namespace {

// The estimators' messages, GBK-encoded, each followed by a line feed.
const std::string kNoBlockGrey =
    "\xB4\xB4\xBD\xA8"
    "blockGrey"
    "\xC4\xDA\xB4\xE6\xBF\xD5\xBC\xE4\xCA\xA7\xB0\xDC\n";
const std::string kNoBlockDark =
    "\xB4\xB4\xBD\xA8"
    "blockDark"
    "\xC4\xDA\xB4\xE6\xBF\xD5\xBC\xE4\xCA\xA7\xB0\xDC\n";

constexpr uint32_t kUntouchedWord = 0xDEADBEEF;

// Fails the test if the process holds unreachable heap blocks (ASan builds).
void expectNoLeaks() {
#if defined(__SANITIZE_ADDRESS__)
    EXPECT_EQ(__lsan_do_recoverable_leak_check(), 0) << "leaked blocks";
#endif
}

struct FlatField {
    int32_t height = 34, width = 48;
    std::vector<float> grey, dark;
    FlatField() {
        const auto g = tavtest::randomBytes(size_t(height) * width, 11);
        for (uint8_t v : g) {
            grey.push_back(100.0f + v);
            dark.push_back(v / 16.0f);
        }
    }
};

}  // namespace

// The Nth allocation of an estimate fails: the first is the grey blocks, the
// second the dark blocks (the grey ones must then be given back).
class LscAllocation : public testing::TestWithParam<int> {};

TEST_P(LscAllocation, PerCellEstimateReportsFreesAndRecovers) {
    const int nth = GetParam();
    const FlatField f;
    const TavLscInput input{0, 12, f.width, f.height, f.grey.data(), f.dark.data()};
    std::vector<uint32_t> record(3 + size_t(f.height / 2) * (f.width / 2), kUntouchedWord);
    auto* parameter = reinterpret_cast<TavLscParameter*>(record.data());
    const std::string printed = [&] {
        tavtest::FailAllocations fail(nth);
        return printedBy(
            [&] { EXPECT_EQ(tavGetLSCParameter(&input, parameter), TAV_E_NO_MEMORY); });
    }();
    EXPECT_EQ(printed, nth == 1 ? kNoBlockGrey : kNoBlockDark);
    EXPECT_EQ(record, std::vector<uint32_t>(record.size(), kUntouchedWord));
    expectNoLeaks();
    // With memory back the same call succeeds.
    EXPECT_EQ(printedBy([&] { EXPECT_EQ(tavGetLSCParameter(&input, parameter), TAV_OK); }), "");
    EXPECT_EQ(parameter->height, uint32_t(f.height));
    EXPECT_EQ(parameter->width, uint32_t(f.width));
    EXPECT_NE(record.back(), kUntouchedWord);
    expectNoLeaks();
}

TEST_P(LscAllocation, BlockEstimateReportsFreesAndRecovers) {
    const int nth = GetParam();
    const FlatField f;
    const TavBasicLscInput input{0, 10, 3, f.width, f.height, 16, 16, f.grey.data(), 2.0f};
    const size_t bytes = 3 * size_t(f.height >> 4) * (f.width / 16);
    std::vector<uint8_t> table(bytes, 0xEE);
    const std::string printed = [&] {
        tavtest::FailAllocations fail(nth);
        return printedBy(
            [&] { EXPECT_EQ(tavGetBasicLSCParameter(&input, table.data()), TAV_E_NO_MEMORY); });
    }();
    EXPECT_EQ(printed, nth == 1 ? kNoBlockGrey : kNoBlockDark);
    EXPECT_EQ(table, std::vector<uint8_t>(bytes, 0xEE));
    expectNoLeaks();
    EXPECT_EQ(printedBy([&] { EXPECT_EQ(tavGetBasicLSCParameter(&input, table.data()), TAV_OK); }),
              "");
    EXPECT_NE(table, std::vector<uint8_t>(bytes, 0xEE));
    expectNoLeaks();
}

INSTANTIATE_TEST_SUITE_P(FirstAndSecond, LscAllocation, testing::Values(1, 2));

// The per-pixel estimate needs no block buffers, so no allocation can fail it.
TEST(LscAllocationFree, PerPixelEstimateAllocatesNothing) {
    const FlatField f;
    const TavLscInput input{1, 8, f.width, f.height, f.grey.data(), f.dark.data()};
    std::vector<uint32_t> record(3 + size_t(f.height) * f.width, kUntouchedWord);
    tavtest::FailAllocations fail(1);
    EXPECT_EQ(printedBy([&] {
                  EXPECT_EQ(
                      tavGetLSCParameter(&input, reinterpret_cast<TavLscParameter*>(record.data())),
                      TAV_OK);
              }),
              "");
    EXPECT_NE(record.back(), kUntouchedWord);
}

// ---- lens shading at its size limits, with tables and frames of exactly their size

namespace {

struct EstimateSize {
    int32_t height, width;
    int perCellSite;  // 0: accepted
    int blockSite;
};

const EstimateSize kEstimateSizes[] = {{32, 32, 0, 0},     {31, 32, 600, 503}, {32, 31, 600, 503},
                                       {32, 33, 601, 0},   {33, 32, 601, 0},   {34, 36, 0, 0},
                                       {30, 64, 600, 503}, {47, 63, 601, 0},   {-32, 32, 600, 503}};

}  // namespace

TEST(LscEdges, EstimatorMinimumsWithExactTables) {
    for (const EstimateSize& s : kEstimateSizes) {
        SCOPED_TRACE(testing::Message() << s.height << "x" << s.width);
        const size_t n = s.height > 0 ? size_t(s.height) * s.width : 0;
        std::vector<float> grey(std::max<size_t>(n, 1), 200.0f), dark(grey.size(), 3.0f);
        for (uint32_t mode : {0u, 1u}) {
            const size_t words = s.perCellSite ? 0 : mode ? n : n / 4;
            Exact record(12 + 4 * words, 0xEE);
            const TavLscInput input{mode, 12, s.width, s.height, grey.data(), dark.data()};
            int32_t code = 0;
            const std::string printed = printedBy([&] {
                code =
                    tavGetLSCParameter(&input, reinterpret_cast<TavLscParameter*>(record.data()));
            });
            EXPECT_EQ(code, s.perCellSite ? TAV_E_IMAGE_SIZE : TAV_OK);
            EXPECT_EQ(printed, s.perCellSite ? diag(s.perCellSite) : "");
            if (s.perCellSite) {
                EXPECT_EQ(record.copy(), std::vector<uint8_t>(record.size, 0xEE));
            }
        }
        for (int32_t blockWidth : {16, 32}) {
            const size_t entries =
                s.blockSite ? 0 : size_t(s.height >> 4) * size_t(s.width / blockWidth);
            Exact table(3 * entries, 0xEE);
            const TavBasicLscInput input{0,          8,  2,           s.width, s.height,
                                         blockWidth, 16, grey.data(), 3.0f};
            int32_t code = 0;
            const std::string printed =
                printedBy([&] { code = tavGetBasicLSCParameter(&input, table.data()); });
            EXPECT_EQ(code, s.blockSite ? TAV_E_IMAGE_SIZE : TAV_OK);
            EXPECT_EQ(printed, s.blockSite ? diag(s.blockSite) : "");
        }
    }
}

// No minimum size for the correction: frames down to 1 x 1, with the odd last
// row and column of a Bayer frame left as they were.
TEST(LscEdges, CorrectionOfTinyAndOddFramesStaysInside) {
    for (uint32_t format : {TAV_PF_MONO8, TAV_PF_BAYER_RG12}) {
        const size_t sampleBytes = format == TAV_PF_MONO8 ? 1 : 2;
        for (uint32_t mode : {0u, 1u}) {
            for (int32_t height : {1, 2, 3, 5}) {
                for (int32_t width : {1, 2, 3, 7}) {
                    SCOPED_TRACE(testing::Message() << std::hex << format << std::dec << " mode "
                                                    << mode << " " << height << "x" << width);
                    const size_t n = size_t(height) * width;
                    const size_t words = mode ? n : size_t(height / 2) * (width / 2);
                    Exact record(12 + 4 * words);
                    auto* parameter = reinterpret_cast<TavLscParameter*>(record.data());
                    *parameter = {mode, uint32_t(height), uint32_t(width)};
                    for (size_t i = 0; i < words; ++i) {
                        const uint32_t unity = 131072u << 12;  // gain 1.0, no offset
                        std::memcpy(record.data() + 12 + 4 * i, &unity, 4);
                    }
                    const auto samples = tavtest::randomWords(n, uint32_t(n), 8);
                    Exact src(n * sampleBytes), dst(n * sampleBytes, 0xA5);
                    for (size_t i = 0; i < n; ++i) {
                        std::memcpy(src.data() + i * sampleBytes, &samples[i], sampleBytes);
                    }
                    const TavImage in{height, width, format, src.data(), 0};
                    const TavImage out{height, width, format, dst.data(), 0};
                    EXPECT_EQ(tavLSCorrection(&in, &out, parameter), TAV_OK);
                    for (int32_t r = 0; r < height; ++r) {
                        for (int32_t c = 0; c < width; ++c) {
                            const size_t i = size_t(r) * width + c;
                            const bool corrected =
                                mode == 1 || (r < height / 2 * 2 && c < width / 2 * 2);
                            for (size_t b = 0; b < sampleBytes; ++b) {
                                EXPECT_EQ(dst.data()[i * sampleBytes + b],
                                          corrected ? src.data()[i * sampleBytes + b] : 0xA5)
                                    << "row " << r << " column " << c;
                            }
                        }
                    }
                }
            }
        }
    }
}

// ---- destinations large enough for streamed stores

namespace {

// A 64-byte aligned block of exactly `n` bytes: a destination of 16 MiB or more
// there takes the streamed-store path, whose last store must still end inside.
struct Aligned {
    explicit Aligned(size_t n) : size(n) {
        void* p = nullptr;
        if (posix_memalign(&p, 64, n) == 0) bytes = static_cast<uint8_t*>(p);
    }
    ~Aligned() { std::free(bytes); }
    Aligned(const Aligned&) = delete;
    Aligned& operator=(const Aligned&) = delete;
    size_t size;
    uint8_t* bytes = nullptr;
};

struct StreamedCase {
    const char* name;
    size_t dstBytes;
    std::function<int32_t(uint8_t* dst)> run;
};

void PrintTo(const StreamedCase& c, std::ostream* os) {
    *os << c.name;
}

// Sources shared by the cases (built once: they are large).
const std::vector<uint8_t>& bigSource() {
    static const std::vector<uint8_t> bytes = tavtest::randomBytes(size_t{34} << 20, 21);
    return bytes;
}

std::vector<StreamedCase> streamedCases() {
    std::vector<StreamedCase> cases;
    // Mono8 replicated into four bytes a pixel: 2049 x 2051 x 4 bytes.
    cases.push_back({"Mono8ToBgra8", size_t{2049} * 2051 * 4, [](uint8_t* dst) {
                         std::vector<uint8_t> src(bigSource().begin(),
                                                  bigSource().begin() + 2049 * 2051);
                         tavtest::Context c;
                         c.setOutput(TAV_PF_BGRA8);
                         TavImage in{2049, 2051, TAV_PF_MONO8, src.data(), 2051};
                         TavImage out{0, 0, 0, dst, 0};
                         return tavDemosaicing(c.ctx, &in, 1, &out);
                     }});
    // Packed 4:2:2 and 4:2:0 sources into four-byte targets.
    cases.push_back({"UyvyToRgba8", size_t{2047} * 2054 * 4, [](uint8_t* dst) {
                         const TavImage in{2047, 2054, TAV_PF_YUV422_8_UYVY,
                                           const_cast<uint8_t*>(bigSource().data()), 0};
                         TavImage out{0, 0, 0, dst, 0};
                         return tavImageTypeConvert(&in, &out, TAV_PF_RGBA8);
                     }});
    cases.push_back({"Nv12ToBgra8", size_t{2048} * 2052 * 4, [](uint8_t* dst) {
                         const TavImage in{2048, 2052, TAV_PF_YUV420SP_NV12,
                                           const_cast<uint8_t*>(bigSource().data()), 0};
                         TavImage out{0, 0, 0, dst, 0};
                         return tavImageTypeConvert(&in, &out, TAV_PF_BGRA8);
                     }});
    // Lens shading of 12-bit words, per Bayer cell (odd height: the last row
    // is kept) and per pixel.
    for (uint32_t mode : {0u, 1u}) {
        const int32_t height = 2049, width = 4104;
        cases.push_back({mode ? "LscPerPixel" : "LscPerCell", size_t{2} * height * width,
                         [mode, height, width](uint8_t* dst) {
                             const size_t n = size_t(height) * width;
                             std::vector<uint32_t> table{mode, uint32_t(height), uint32_t(width)};
                             const size_t words = mode ? n : size_t(height / 2) * (width / 2);
                             const uint8_t* noise = bigSource().data();
                             for (size_t i = 0; i < words; ++i) {
                                 table.push_back((120000u + 64u * noise[i]) << 12 | noise[i + 1]);
                             }
                             std::vector<uint16_t> src(n);
                             for (size_t i = 0; i < n; ++i)
                                 src[i] = uint16_t(noise[2 * i] << 4 | noise[i] >> 4);
                             const TavImage in{height, width, TAV_PF_BAYER_RG12,
                                               reinterpret_cast<uint8_t*>(src.data()), 0};
                             const TavImage out{height, width, TAV_PF_BAYER_RG12, dst, 0};
                             return tavLSCorrection(
                                 &in, &out, reinterpret_cast<const TavLscParameter*>(table.data()));
                         }});
    }
    return cases;
}

}  // namespace

class StreamedFrames : public testing::TestWithParam<StreamedCase> {};

// The same frame into an exact aligned destination (streamed) and into one
// two bytes off alignment (plain stores) gives the same bytes.
TEST_P(StreamedFrames, StayInsideAndMatchPlainStores) {
    const StreamedCase& c = GetParam();
    ASSERT_GE(c.dstBytes, tav::simd::kStreamBytes);
    Aligned streamed(c.dstBytes), plain(c.dstBytes + 2);
    ASSERT_TRUE(streamed.bytes && plain.bytes);
    std::memset(streamed.bytes, 0x3C, c.dstBytes);
    std::memset(plain.bytes, 0x3C, c.dstBytes + 2);
    EXPECT_EQ(c.run(streamed.bytes), TAV_OK);
    EXPECT_EQ(c.run(plain.bytes + 2), TAV_OK);
    EXPECT_EQ(std::memcmp(streamed.bytes, plain.bytes + 2, c.dstBytes), 0);
}

INSTANTIATE_TEST_SUITE_P(Large, StreamedFrames, testing::ValuesIn(streamedCases()),
                         [](const testing::TestParamInfo<StreamedCase>& i) {
                             return std::string(i.param.name);
                         });
