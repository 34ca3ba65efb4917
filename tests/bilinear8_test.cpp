// Bilinear 8-bit demosaicing against a whole-frame scalar reference (the site
// formulas over mirrored samples), through the exported kernels, their passes
// and the entry, for every phase and output.
#include <cstring>
#include <functional>

#include "demosaic8/bilinear8_sites.h"
#include "support.h"

namespace {

using tav::d8::Rgb;

enum Phase { kRG, kGR, kGB, kBG };
const char* const kPhaseNames[] = {"RG", "GR", "GB", "BG"};
const uint32_t kPhaseFormats[] = {TAV_PF_BAYER_RG8, TAV_PF_BAYER_GR8, TAV_PF_BAYER_GB8,
                                  TAV_PF_BAYER_BG8};

// The true colours of a mosaic of any phase, located by where its red sites lie
// (no red/blue exchange involved).
std::vector<Rgb> reference(const std::vector<uint8_t>& mosaic, int32_t height, int32_t width,
                           Phase phase) {
    const int redRow = (phase == kGB || phase == kBG) ? 1 : 0;
    const int redCol = (phase == kGR || phase == kBG) ? 1 : 0;
    const tav::d8::MirroredSamples s{mosaic.data(), height, width};
    std::vector<Rgb> out(size_t(height) * width);
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            out[y * width + x] = tav::d8::bilinearAt(s, y, x, (y & 1) == redRow, (x & 1) == redCol);
        }
    }
    return out;
}

uint8_t lumaOf(const Rgb& c, const uint32_t w[3]) {
    return static_cast<uint8_t>((w[0] * c.r + w[1] * c.g + w[2] * c.b + 128) >> 8);
}

const uint32_t kLuma[3] = {77, 150, 29};
const uint32_t kLumaReversed[3] = {29, 150, 77};

struct Output {
    uint64_t format;
    const char* name;
    int bytes;  // per pixel in one plane (planar: 1 in each of three)
};
const Output kOutputs[] = {
    {TAV_PF_MONO8, "Mono8", 1},
    {TAV_PF_RGB8, "RGB8", 3},
    {TAV_PF_BGR8, "BGR8", 3},
    {TAV_PF_RGB8_PLANAR, "RGB8_Planar", 1},
    {TAV_PF_BGR8_PLANAR, "BGR8_Planar", 1},
    {TAV_PF_RGBA8, "RGBa8", 4},
    {TAV_PF_BGRA8, "BGRa8", 4},
};

size_t outputBytes(uint64_t format, size_t n) {
    switch (format) {
        case TAV_PF_MONO8:
            return n;
        case TAV_PF_RGBA8:
        case TAV_PF_BGRA8:
            return 4 * n;
        default:
            return 3 * n;
    }
}

// The bytes an output format holds for reference colours.
std::vector<uint8_t> expectedBytes(const std::vector<Rgb>& ref, uint64_t format) {
    const size_t n = ref.size();
    std::vector<uint8_t> out(outputBytes(format, n));
    for (size_t i = 0; i < n; ++i) {
        const Rgb& c = ref[i];
        const uint8_t r = uint8_t(c.r), g = uint8_t(c.g), b = uint8_t(c.b);
        switch (format) {
            case TAV_PF_MONO8:
                out[i] = lumaOf(c, kLuma);
                break;
            case TAV_PF_RGB8:
                out[3 * i] = r, out[3 * i + 1] = g, out[3 * i + 2] = b;
                break;
            case TAV_PF_BGR8:
                out[3 * i] = b, out[3 * i + 1] = g, out[3 * i + 2] = r;
                break;
            case TAV_PF_RGB8_PLANAR:
                out[i] = r, out[n + i] = g, out[2 * n + i] = b;
                break;
            case TAV_PF_BGR8_PLANAR:
                out[i] = b, out[n + i] = g, out[2 * n + i] = r;
                break;
            case TAV_PF_RGBA8:
                out[4 * i] = r, out[4 * i + 1] = g, out[4 * i + 2] = b, out[4 * i + 3] = 0;
                break;
            case TAV_PF_BGRA8:
                out[4 * i] = b, out[4 * i + 1] = g, out[4 * i + 2] = r, out[4 * i + 3] = 0;
                break;
        }
    }
    return out;
}

// The first differing byte, for failure messages.
std::string firstDifference(const std::vector<uint8_t>& got, const std::vector<uint8_t>& want) {
    for (size_t i = 0; i < want.size(); ++i) {
        if (got[i] != want[i]) {
            return "byte " + std::to_string(i) + ": got " + std::to_string(got[i]) + ", want " +
                   std::to_string(want[i]);
        }
    }
    return "";
}

// Frame sizes: every width from 4 to 40 and around the 16- and 32-column steps
// with a few heights, every height from 4 to 40 with a few widths.
std::vector<std::pair<int32_t, int32_t>> frameSizes() {
    std::vector<std::pair<int32_t, int32_t>> sizes;  // (height, width)
    std::vector<int32_t> widths;
    for (int32_t w = 4; w <= 40; ++w) widths.push_back(w);
    for (int32_t w : {47, 48, 49, 63, 64, 65}) widths.push_back(w);
    for (int32_t h : {4, 5, 6, 7, 10, 13}) {
        for (int32_t w : widths) sizes.emplace_back(h, w);
    }
    for (int32_t h = 8; h <= 40; ++h) {
        if (h == 10 || h == 13) continue;
        for (int32_t w : {4, 5, 17, 18, 34, 35}) sizes.emplace_back(h, w);
    }
    return sizes;
}

const uint32_t kGuard = 64;  // bytes after every destination that nothing may touch

// ---- the exported wrappers: each phase's own kernels

// Runs the wrapper that serves `phase` to `format` natively (blue-first forms,
// planes red/green/blue, weights 77/150/29); planar into dst, dst+n, dst+2n.
int32_t runWrapper(Phase phase, uint64_t format, const uint8_t* src, int32_t h, int32_t w,
                   uint8_t* dst) {
    const size_t n = size_t(h) * w;
    const bool rgRows = phase == kRG || phase == kBG;
    switch (format) {
        case TAV_PF_BGR8: {
            static int32_t (*const k[])(const uint8_t*, int32_t, int32_t, uint8_t*) = {
                rg8ToBgr8_bilinear, gr8ToBgr8_bilinear, gb8ToBgr8_bilinear, bg8ToBgr8_bilinear};
            return k[phase](src, h, w, dst);
        }
        case TAV_PF_BGRA8: {
            static int32_t (*const k[])(const uint8_t*, int32_t, int32_t, uint8_t*) = {
                rg8ToBgra8_bilinear, gr8ToBgra8_bilinear, gb8ToBgra8_bilinear, bg8ToBgra8_bilinear};
            return k[phase](src, h, w, dst);
        }
        case TAV_PF_RGB8_PLANAR: {
            // The planar kernels exist for RG and GR; the opposite phases exchange planes.
            const bool opposite = phase == kBG || phase == kGB;
            uint8_t* red = opposite ? dst + 2 * n : dst;
            uint8_t* blue = opposite ? dst : dst + 2 * n;
            return (rgRows ? rg8ToBgr8P_bilinear : gr8ToBgr8P_bilinear)(src, h, w, red, dst + n,
                                                                        blue);
        }
        case TAV_PF_MONO8: {
            const bool opposite = phase == kBG || phase == kGB;
            return (rgRows ? rg8ToMono8_bilinear : gr8ToMono8_bilinear)(
                src, h, w, opposite ? kLumaReversed : kLuma, dst);
        }
    }
    return -1;
}

class BilinearFrames : public testing::TestWithParam<Phase> {};

TEST_P(BilinearFrames, WrappersEqualTheReference) {
    const Phase phase = GetParam();
    for (const auto& [h, w] : frameSizes()) {
        const size_t n = size_t(h) * w;
        const auto mosaic = tavtest::randomBytes(n, uint32_t(h * 1000 + w));
        const auto ref = reference(mosaic, h, w, phase);
        for (uint64_t format : {TAV_PF_BGR8, TAV_PF_BGRA8, TAV_PF_RGB8_PLANAR, TAV_PF_MONO8}) {
            const auto want = expectedBytes(ref, format);
            std::vector<uint8_t> got(want.size() + kGuard, 0xEE);
            ASSERT_EQ(runWrapper(phase, format, mosaic.data(), h, w, got.data()), TAV_OK);
            for (size_t i = want.size(); i < got.size(); ++i) ASSERT_EQ(got[i], 0xEE);
            got.resize(want.size());
            ASSERT_TRUE(got == want)
                << kPhaseNames[phase] << " format " << std::hex << format << std::dec << " " << h
                << "x" << w << ": " << firstDifference(got, want);
        }
    }
}

TEST_P(BilinearFrames, EntryEqualsTheReferenceForEveryOutput) {
    const Phase phase = GetParam();
    for (const auto& [h, w] : frameSizes()) {
        const size_t n = size_t(h) * w;
        const auto mosaic = tavtest::randomBytes(n, uint32_t(h * 7919 + w));
        const auto ref = reference(mosaic, h, w, phase);
        for (const Output& out : kOutputs) {
            tavtest::Context c;
            c.setOutput(out.format);
            auto srcBuf = mosaic;
            const auto want = expectedBytes(ref, out.format);
            std::vector<uint8_t> got(want.size() + kGuard, 0xEE);
            TavImage src{h, w, kPhaseFormats[phase], srcBuf.data(), w};
            TavImage dst{0, 0, 0, got.data(), 0};
            ASSERT_EQ(tavDemosaicing(c.ctx, &src, TAV_METHOD_BILINEAR, &dst), TAV_OK);
            ASSERT_EQ(dst.pixelFormat, out.format);
            for (size_t i = want.size(); i < got.size(); ++i) ASSERT_EQ(got[i], 0xEE);
            got.resize(want.size());
            ASSERT_TRUE(got == want) << kPhaseNames[phase] << " to " << out.name << " " << h << "x"
                                     << w << ": " << firstDifference(got, want);
        }
    }
}

// Wide sources reach the kernels through normalisation: 16-bit words keep their
// top byte, packed pairs their first and third bytes.
TEST_P(BilinearFrames, EntryDemosaicsWideAndPackedSources) {
    const Phase phase = GetParam();
    const uint32_t words[] = {TAV_PF_BAYER_RG16, TAV_PF_BAYER_GR16, TAV_PF_BAYER_GB16,
                              TAV_PF_BAYER_BG16};
    const uint32_t packed[] = {TAV_PF_BAYER_RG12_PACKED, TAV_PF_BAYER_GR12_PACKED,
                               TAV_PF_BAYER_GB12_PACKED, TAV_PF_BAYER_BG12_PACKED};
    for (const auto& [h, w] : {std::pair{4, 4}, {7, 18}, {9, 33}, {12, 40}, {5, 64}}) {
        const size_t n = size_t(h) * w;
        const auto raw = tavtest::randomBytes(2 * n, uint32_t(n));
        std::vector<uint8_t> mosaic(n), packedBytes(n / 2 * 3);
        for (size_t i = 0; i < n; ++i) mosaic[i] = raw[2 * i + 1];  // little-endian top byte
        for (size_t i = 0; i + 1 < n; i += 2) {
            packedBytes[i / 2 * 3] = mosaic[i];
            packedBytes[i / 2 * 3 + 1] = raw[i];  // low bits, never read
            packedBytes[i / 2 * 3 + 2] = mosaic[i + 1];
        }
        const auto ref = reference(mosaic, h, w, phase);
        for (const Output& out : kOutputs) {
            const auto want = expectedBytes(ref, out.format);
            for (int form = 0; form < (w % 2 ? 1 : 2); ++form) {  // packed rows: whole pairs
                auto srcBuf = form == 0 ? raw : packedBytes;
                tavtest::Context c;
                c.setOutput(out.format);
                std::vector<uint8_t> got(want.size(), 0xEE);
                TavImage src{h, w, form == 0 ? words[phase] : packed[phase], srcBuf.data(),
                             form == 0 ? 2 * w : w / 2 * 3};
                TavImage dst{0, 0, 0, got.data(), 0};
                ASSERT_EQ(tavDemosaicing(c.ctx, &src, TAV_METHOD_BILINEAR, &dst), TAV_OK);
                ASSERT_TRUE(got == want)
                    << kPhaseNames[phase] << (form ? " packed" : " 16-bit") << " to " << out.name
                    << " " << h << "x" << w << ": " << firstDifference(got, want);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, BilinearFrames, testing::Values(kRG, kGR, kGB, kBG),
                         [](const auto& info) { return kPhaseNames[info.param]; });

// ---- the passes one by one: each writes exactly its region, and in the order
// of the wrappers they make the frame

using Region = std::function<bool(int32_t y, int32_t x)>;

// Runs `pass` on a destination full of 0xEE (BGR8, flag 0) and checks the
// pixels `inside` against the RG reference and every other byte untouched.
void expectRegion(const std::vector<uint8_t>& mosaic, int32_t h, int32_t w,
                  const std::function<void(uint8_t*)>& pass, const Region& inside,
                  const char* what) {
    const auto want = expectedBytes(reference(mosaic, h, w, kRG), TAV_PF_BGR8);
    std::vector<uint8_t> got(want.size() + kGuard, 0xEE);
    pass(got.data());
    for (int32_t y = 0; y < h; ++y) {
        for (int32_t x = 0; x < w; ++x) {
            for (int k = 0; k < 3; ++k) {
                const size_t i = 3 * (size_t(y) * w + x) + k;
                ASSERT_EQ(got[i], inside(y, x) ? want[i] : 0xEE)
                    << what << " " << h << "x" << w << " at y=" << y << " x=" << x;
            }
        }
    }
    for (size_t i = want.size(); i < got.size(); ++i) ASSERT_EQ(got[i], 0xEE) << what;
}

TEST(BilinearPasses, EachWritesItsOwnRegion) {
    for (int32_t h = 4; h <= 9; ++h) {
        for (int32_t w : {4, 5, 6, 7, 16, 17, 18, 19, 20, 33, 34, 35}) {
            const auto mosaic = tavtest::randomBytes(size_t(h) * w, uint32_t(h * 100 + w));
            const uint8_t* s = mosaic.data();
            const int32_t r0 = h % 2 ? h - 2 : h - 1, c0 = w % 2 ? w - 2 : w - 1;
            const uint64_t start = (uint64_t(r0) << 32) | uint32_t(c0);
            expectRegion(
                mosaic, h, w, [&](uint8_t* d) { rg8ToBgr8_bilinear_firstRows(s, d, h, w, 0); },
                [](int32_t y, int32_t) { return y == 0; }, "firstRows");
            expectRegion(
                mosaic, h, w, [&](uint8_t* d) { rg8ToBgr8_bilinear_firstCols(s, d, h, w, 0); },
                [](int32_t y, int32_t x) { return x == 0 && y > 0; }, "firstCols");
            expectRegion(
                mosaic, h, w,
                [&](uint8_t* d) { EXPECT_EQ(rg8ToBgr8_bilinear_body(s, d, h, w, 0), start); },
                [&](int32_t y, int32_t x) { return y >= 1 && y < r0 && x >= 1 && x < c0; }, "body");
            expectRegion(
                mosaic, h, w,
                [&](uint8_t* d) { rg8ToBgr8_bilinear_lastRows(s, d, h, w, 0, start); },
                [&](int32_t y, int32_t x) { return y >= r0 && x >= 1 && x < c0; }, "lastRows");
            expectRegion(
                mosaic, h, w,
                [&](uint8_t* d) { rg8ToBgr8_bilinear_lastCols(s, d, h, w, 0, start); },
                [&](int32_t y, int32_t x) { return y >= 1 && x >= c0; }, "lastCols");
        }
    }
}

// A GB frame from the exported passes: rows 0 and 1 whole, the RG passes on the
// frame from row 1, its last rows given on the whole frame one row lower.
TEST(BilinearPasses, ComposeAGbFrame) {
    for (int32_t h : {4, 5, 8, 11}) {
        for (int32_t w : {4, 5, 18, 35, 48}) {
            const size_t n = size_t(h) * w;
            const auto mosaic = tavtest::randomBytes(n, uint32_t(h * 31 + w));
            const auto want = expectedBytes(reference(mosaic, h, w, kGB), TAV_PF_BGRA8);
            std::vector<uint8_t> got(want.size(), 0xEE);
            const uint8_t* s = mosaic.data();
            uint8_t* d = got.data();
            gr8ToBgra8_bilinear_firstRows(s, d, h, w, 0);
            rg8ToBgra8_bilinear_firstCols(s + w, d + 4 * w, h - 1, w, 0);
            const uint64_t start = rg8ToBgra8_bilinear_body(s + w, d + 4 * w, h - 1, w, 0);
            rg8ToBgra8_bilinear_lastRows(s, d, h, w, 0, start + (uint64_t{1} << 32));
            rg8ToBgra8_bilinear_lastCols(s + w, d + 4 * w, h - 1, w, 0, start);
            ASSERT_TRUE(got == want) << h << "x" << w << ": " << firstDifference(got, want);
        }
    }
}

// Only the flag value 1 exchanges red and blue; 2 or all ones keep the native order.
TEST(BilinearPasses, OnlyFlagOneExchanges) {
    const int32_t h = 7, w = 37;
    const size_t n = size_t(h) * w;
    const auto mosaic = tavtest::randomBytes(n, 11);
    const auto ref = reference(mosaic, h, w, kRG);
    auto run = [&](uint32_t flag, auto firstRows, auto firstCols, auto body, auto lastRows,
                   auto lastCols, size_t bytes) {
        std::vector<uint8_t> out(bytes * n, 0xEE);
        firstRows(mosaic.data(), out.data(), h, w, flag);
        firstCols(mosaic.data(), out.data(), h, w, flag);
        const uint64_t start = body(mosaic.data(), out.data(), h, w, flag);
        lastRows(mosaic.data(), out.data(), h, w, flag, start);
        lastCols(mosaic.data(), out.data(), h, w, flag, start);
        return out;
    };
    for (uint32_t flag : {0u, 1u, 2u, 0xFFFFFFFFu}) {
        const bool exchanged = flag == 1;
        EXPECT_TRUE(run(flag, rg8ToBgr8_bilinear_firstRows, rg8ToBgr8_bilinear_firstCols,
                        rg8ToBgr8_bilinear_body, rg8ToBgr8_bilinear_lastRows,
                        rg8ToBgr8_bilinear_lastCols,
                        3) == expectedBytes(ref, exchanged ? TAV_PF_RGB8 : TAV_PF_BGR8))
            << "BGR8 flag " << flag;
        EXPECT_TRUE(run(flag, rg8ToBgra8_bilinear_firstRows, rg8ToBgra8_bilinear_firstCols,
                        rg8ToBgra8_bilinear_body, rg8ToBgra8_bilinear_lastRows,
                        rg8ToBgra8_bilinear_lastCols,
                        4) == expectedBytes(ref, exchanged ? TAV_PF_RGBA8 : TAV_PF_BGRA8))
            << "BGRa8 flag " << flag;

        // Planar and Mono8 passes below row 0: planes or weights exchange.
        std::vector<uint8_t> planes(3 * n, 0xEE), mono(n, 0xEE);
        uint8_t *p0 = planes.data(), *p1 = p0 + n, *p2 = p0 + 2 * n;
        rg8ToBgr8P_bilinear_firstCols(mosaic.data(), p0, p1, p2, h, w, flag);
        uint64_t start = rg8ToBgr8P_bilinear_body(mosaic.data(), p0, p1, p2, h, w, flag);
        rg8ToBgr8P_bilinear_lastRows(mosaic.data(), p0, p1, p2, h, w, flag, start);
        rg8ToBgr8P_bilinear_lastCols(mosaic.data(), p0, p1, p2, h, w, flag, start);
        rg8ToMono8_bilinear_firstCols(mosaic.data(), kLuma, mono.data(), h, w, flag);
        start = rg8ToMono8_bilinear_body(mosaic.data(), kLuma, mono.data(), h, w, flag);
        rg8ToMono8_bilinear_lastRows(mosaic.data(), kLuma, mono.data(), h, w, flag, start);
        rg8ToMono8_bilinear_lastCols(mosaic.data(), kLuma, mono.data(), h, w, flag, start);
        for (size_t i = w; i < n; ++i) {
            const Rgb& c = ref[i];
            ASSERT_EQ(planes[i], exchanged ? c.b : c.r) << "flag " << flag << " i=" << i;
            ASSERT_EQ(planes[n + i], c.g);
            ASSERT_EQ(planes[2 * n + i], exchanged ? c.r : c.b);
            ASSERT_EQ(mono[i], lumaOf(c, exchanged ? kLumaReversed : kLuma));
        }
    }
}

// The Mono8 kernels weigh the colour of their phase's red sites by the first
// weight, whatever the weights (within 16-bit sums).
TEST(BilinearPasses, Mono8TakesAnyWeights) {
    const uint32_t weights[3] = {200, 50, 6};
    for (const auto& [h, w] : {std::pair{4, 4}, {7, 33}, {10, 50}}) {
        const size_t n = size_t(h) * w;
        const auto mosaic = tavtest::randomBytes(n, uint32_t(n));
        for (Phase phase : {kRG, kGR}) {
            const auto ref = reference(mosaic, h, w, phase);
            std::vector<uint8_t> got(n), want(n);
            for (size_t i = 0; i < n; ++i) want[i] = lumaOf(ref[i], weights);
            (phase == kRG ? rg8ToMono8_bilinear : gr8ToMono8_bilinear)(mosaic.data(), h, w, weights,
                                                                       got.data());
            EXPECT_TRUE(got == want)
                << kPhaseNames[phase] << " " << h << "x" << w << ": " << firstDifference(got, want);
        }
    }
}

// ---- opposite phases: the same bytes read as the opposite phase give the same
// colours with red and blue exchanged

TEST(BilinearOpposite, ExchangingRedAndBlueSitesExchangesTheOutput) {
    using Kernel = int32_t (*)(const uint8_t*, int32_t, int32_t, uint8_t*);
    const struct {
        Kernel a, b;
        int bytes;
    } pairs[] = {{rg8ToBgr8_bilinear, bg8ToBgr8_bilinear, 3},
                 {gr8ToBgr8_bilinear, gb8ToBgr8_bilinear, 3},
                 {rg8ToBgra8_bilinear, bg8ToBgra8_bilinear, 4},
                 {gr8ToBgra8_bilinear, gb8ToBgra8_bilinear, 4}};
    for (const auto& p : pairs) {
        for (const auto& [h, w] : {std::pair{4, 4}, {5, 5}, {9, 20}, {16, 33}, {6, 49}}) {
            const size_t n = size_t(h) * w;
            const auto mosaic = tavtest::randomBytes(n, uint32_t(n + p.bytes));
            std::vector<uint8_t> a(n * p.bytes), b(n * p.bytes);
            p.a(mosaic.data(), h, w, a.data());
            p.b(mosaic.data(), h, w, b.data());
            for (size_t i = 0; i < n * p.bytes; i += p.bytes) std::swap(b[i], b[i + 2]);
            EXPECT_TRUE(a == b) << h << "x" << w << " bytes " << p.bytes;
        }
    }
}

TEST(BilinearOpposite, BgToRgbEqualsRgToBgrThroughTheEntry) {
    const int32_t h = 11, w = 29;
    const auto mosaic = tavtest::randomBytes(size_t(h) * w, 5);
    auto run = [&](uint32_t source, uint64_t output) {
        tavtest::Context c;
        c.setOutput(output);
        auto srcBuf = mosaic;
        std::vector<uint8_t> out(outputBytes(output, size_t(h) * w));
        TavImage src{h, w, source, srcBuf.data(), w};
        TavImage dst{0, 0, 0, out.data(), 0};
        EXPECT_EQ(tavDemosaicing(c.ctx, &src, TAV_METHOD_BILINEAR, &dst), TAV_OK);
        return out;
    };
    EXPECT_TRUE(run(TAV_PF_BAYER_BG8, TAV_PF_RGB8) == run(TAV_PF_BAYER_RG8, TAV_PF_BGR8));
    EXPECT_TRUE(run(TAV_PF_BAYER_GB8, TAV_PF_RGBA8) == run(TAV_PF_BAYER_GR8, TAV_PF_BGRA8));
    EXPECT_TRUE(run(TAV_PF_BAYER_BG8, TAV_PF_RGB8_PLANAR) ==
                run(TAV_PF_BAYER_RG8, TAV_PF_BGR8_PLANAR));
}

// ---- hand-computed values

TEST(BilinearValues, FlatFieldGivesItsValueEverywhere) {
    for (uint8_t v : {0, 1, 128, 255}) {
        for (Phase phase : {kRG, kGR, kGB, kBG}) {
            for (const Output& out : kOutputs) {
                const int32_t h = 6, w = 21;
                const size_t n = size_t(h) * w;
                std::vector<uint8_t> mosaic(n, v), got(outputBytes(out.format, n), 0xEE);
                tavtest::Context c;
                c.setOutput(out.format);
                TavImage src{h, w, kPhaseFormats[phase], mosaic.data(), w};
                TavImage dst{0, 0, 0, got.data(), 0};
                ASSERT_EQ(tavDemosaicing(c.ctx, &src, TAV_METHOD_BILINEAR, &dst), TAV_OK);
                for (size_t i = 0; i < got.size(); ++i) {
                    const bool alpha = out.bytes == 4 && i % 4 == 3;
                    ASSERT_EQ(got[i], alpha ? 0 : v) << out.name << " byte " << i;
                }
            }
        }
    }
}

// RG 4x4 with distinct samples; borders take their out-of-frame neighbours from
// the mirror position.
//   row 0:  10  20  30  40
//   row 1:  50  61  70  81
//   row 2:  90 100 110 120
//   row 3: 130 141 150 161
TEST(BilinearValues, SmallFrameByHand) {
    const std::vector<uint8_t> mosaic = {10, 20,  30,  40,  50,  61,  70,  81,
                                         90, 100, 110, 120, 130, 141, 150, 161};
    std::vector<uint8_t> out(4 * 16);
    rg8ToBgra8_bilinear(mosaic.data(), 4, 4, out.data());
    auto pixel = [&](int y, int x) {
        const uint8_t* p = &out[4 * (y * 4 + x)];
        return std::vector<int>{p[2], p[1], p[0], p[3]};  // r, g, b, alpha
    };
    // Corner R site: green (20 + 50) >> 1, blue copies the one inner diagonal.
    EXPECT_EQ(pixel(0, 0), (std::vector<int>{10, 35, 61, 0}));
    // Top G site: red (10 + 30) >> 1, blue copies the sample below.
    EXPECT_EQ(pixel(0, 1), (std::vector<int>{20, 20, 61, 0}));
    // Top R site: green (20 + 2 x 70 + 40) >> 2, blue (61 + 81) >> 1.
    EXPECT_EQ(pixel(0, 2), (std::vector<int>{30, 50, 71, 0}));
    // Left G site of a blue row: red (10 + 90) >> 1, blue copies its right neighbour.
    EXPECT_EQ(pixel(1, 0), (std::vector<int>{50, 50, 61, 0}));
    // Inner B site: red (10 + 30 + 90 + 110) >> 2, green (20 + 50 + 70 + 100) >> 2.
    EXPECT_EQ(pixel(1, 1), (std::vector<int>{60, 60, 61, 0}));
    // Inner R site: green (70 + 100 + 120 + 150) >> 2, blue (61 + 81 + 141 + 161) >> 2.
    EXPECT_EQ(pixel(2, 2), (std::vector<int>{110, 110, 111, 0}));
    // Bottom-right B corner: red copies 110, green (120 + 150) >> 1.
    EXPECT_EQ(pixel(3, 3), (std::vector<int>{110, 135, 161, 0}));
}

// Averages truncate: neighbours 1 and 2 give 1, four neighbours 2, 2, 2, 1 give 1.
TEST(BilinearValues, AveragesTruncate) {
    const int32_t h = 4, w = 4;
    // RG: red sites 1 and 2 alternate along row 2; every other sample 2, the
    // green sites around the blue site (1, 1) 2, 2, 2 and 1.
    const std::vector<uint8_t> mosaic = {2, 2, 2, 2,  //
                                         1, 2, 2, 2,  //
                                         1, 2, 2, 2,  //
                                         2, 2, 2, 2};
    std::vector<uint8_t> bgr(3 * 16);
    rg8ToBgr8_bilinear(mosaic.data(), h, w, bgr.data());
    EXPECT_EQ(bgr[3 * (2 * 4 + 1) + 2], 1);  // red at (2, 1): (1 + 2) >> 1
    EXPECT_EQ(bgr[3 * (1 * 4 + 1) + 1], 1);  // green at (1, 1): (2 + 1 + 2 + 2) >> 2
    EXPECT_EQ(bgr[3 * (1 * 4 + 1) + 2], 1);  // red at (1, 1): (2 + 2 + 1 + 2) >> 2
    const uint32_t weights[3] = {77, 150, 29};
    std::vector<uint8_t> mono(16);
    rg8ToMono8_bilinear(mosaic.data(), h, w, weights, mono.data());
    // (2, 1): r 1, g 2, b (2 + 2) >> 1 = 2: (77 + 300 + 58 + 128) >> 8 = 2.
    EXPECT_EQ(mono[2 * 4 + 1], 2);
}

}  // namespace
