// Nearest-neighbour demosaicing: the cell rule against the per-site selections
// written out by hand, the kernels (vector bodies, scalar tails, row 0, the
// last row) against a whole-frame scalar reference, and every phase and output
// through tavDemosaicing.
#include <algorithm>
#include <vector>

#include "demosaic8/nearest8.h"
#include "support.h"

namespace {

using tav::d8::Rgb;

enum class Form { Bgr8, Bgra8, Mono8, Planar };
enum Phase { RG, GR, GB, BG };

int bytesPerPixel(Form f) {
    return f == Form::Bgra8 ? 4 : f == Form::Mono8 ? 1 : 3;
}

struct Frame {
    int32_t height, width;
    std::vector<uint8_t> s;
    uint8_t at(int32_t y, int32_t x) const { return s[size_t(y) * width + x]; }
    const uint8_t* row(int32_t y) const { return s.data() + size_t(y) * width; }
};

Frame randomFrame(int32_t height, int32_t width, uint32_t seed) {
    return {height, width, tavtest::randomBytes(size_t(height) * width, seed)};
}

// The whole frame by the cell rule; `gb` for a mosaic whose red sites are on odd rows.
std::vector<Rgb> reference(const Frame& f, bool gb) {
    std::vector<Rgb> out;
    for (int32_t y = 0; y < f.height; ++y) {
        const int32_t top = y > 0 ? y - 1 : 0;
        const int redRow = (top & 1) == int(gb) ? 0 : 1;
        for (int32_t x = 0; x < f.width; ++x) {
            out.push_back(tav::d8::nearestPixel(f.row(top), f.row(top + 1), redRow, y > 0, x));
        }
    }
    return out;
}

uint8_t luma(uint32_t wr, uint32_t r, uint32_t g, uint32_t wb, uint32_t b) {
    return uint8_t((wr * r + 150 * g + wb * b + 128) >> 8);
}

// The bytes a kernel writes for the pixels `px` (planes one after the other).
std::vector<uint8_t> expectedBytes(const std::vector<Rgb>& px, Form f, bool exchange) {
    const size_t n = px.size();
    std::vector<uint8_t> out(n * bytesPerPixel(f));
    for (size_t i = 0; i < n; ++i) {
        const uint8_t r = uint8_t(px[i].r), g = uint8_t(px[i].g), b = uint8_t(px[i].b);
        const uint8_t first = exchange ? r : b, third = exchange ? b : r;
        switch (f) {
            case Form::Bgr8:
                out[3 * i] = first, out[3 * i + 1] = g, out[3 * i + 2] = third;
                break;
            case Form::Bgra8:
                out[4 * i] = first, out[4 * i + 1] = g, out[4 * i + 2] = third, out[4 * i + 3] = 0;
                break;
            case Form::Mono8:
                out[i] = exchange ? luma(29, r, g, 77, b) : luma(77, r, g, 29, b);
                break;
            case Form::Planar:
                out[i] = r, out[n + i] = g, out[2 * n + i] = b;
                break;
        }
    }
    return out;
}

int32_t runWrapper(Form f, bool gb, const Frame& s, uint8_t* dst, uint32_t flag) {
    const uint8_t* src = s.s.data();
    const int32_t h = s.height, w = s.width;
    const ptrdiff_t n = ptrdiff_t(h) * w;
    switch (f) {
        case Form::Bgr8:
            return (gb ? gb8ToBgr8_nearest : rg8ToBgr8_nearest)(src, h, w, dst, flag);
        case Form::Bgra8:
            return (gb ? gb8ToBgra8_nearest : rg8ToBgra8_nearest)(src, h, w, dst, flag);
        case Form::Mono8:
            return (gb ? gb8ToMono8_nearest : rg8ToMono8_nearest)(src, h, w, dst, flag);
        case Form::Planar:
            return (gb ? gb8ToBgr8P_nearest : rg8ToBgr8P_nearest)(src, h, w, dst, dst + n,
                                                                  dst + 2 * n);
    }
    return -1;
}

constexpr uint8_t kFill = 0xEE;
constexpr size_t kGuard = 64;

// Compares the bytes written into a guarded buffer with the expected ones.
void expectWritten(const std::vector<uint8_t>& buf, const std::vector<uint8_t>& want,
                   const std::string& what) {
    ASSERT_EQ(buf.size(), want.size() + kGuard);
    const auto diff = std::mismatch(want.begin(), want.end(), buf.begin());
    ASSERT_TRUE(diff.first == want.end())
        << what << ": first wrong byte " << (diff.first - want.begin()) << " is "
        << int(*diff.second) << ", want " << int(*diff.first);
    ASSERT_TRUE(std::all_of(buf.end() - kGuard, buf.end(), [](uint8_t b) { return b == kFill; }))
        << what << ": wrote past the output";
}

std::string sizeText(int32_t h, int32_t w) {
    return std::to_string(h) + "x" + std::to_string(w);
}

// ---- the cell rule itself, against the selections written out per site

// RG and GB mosaics; the interior and column-0 selections depend only on the
// site's colour, row 0 on the phase.
Rgb bySite(const Frame& f, bool gb, int32_t y, int32_t x) {
    auto S = [&](int32_t yy, int32_t xx) -> uint32_t { return f.at(yy, xx); };
    const bool redRow = (y & 1) == int(gb), evenCol = (x & 1) == 0;
    const uint32_t own = S(y, x);
    if (y == 0 && !gb) {  // R G R G, row 1 below
        if (x == 0) return {own, S(0, 1), S(1, 1)};
        if (!evenCol) return {S(0, x - 1), own, S(1, x)};
        return {own, S(0, x - 1), S(1, x - 1)};
    }
    if (y == 0) {  // G B G B, row 1 (R G R G) below
        if (x == 0) return {S(1, 0), own, S(0, 1)};
        if (!evenCol) return {S(1, x - 1), S(0, x - 1), own};
        return {S(1, x), own, S(0, x - 1)};
    }
    if (x == 0) {
        if (redRow) return {own, S(y - 1, 0), S(y - 1, 1)};
        return {S(y - 1, 0), own, S(y, 1)};
    }
    if (redRow && evenCol) return {own, S(y, x - 1), S(y - 1, x - 1)};
    if (redRow) return {S(y, x - 1), own, S(y - 1, x)};
    if (!evenCol) return {S(y - 1, x - 1), S(y, x - 1), own};
    return {S(y - 1, x), own, S(y, x - 1)};
}

TEST(NearestCellRule, PicksTheSamplesOfEachSite) {
    for (bool gb : {false, true}) {
        for (int32_t h : {4, 5, 9}) {
            for (int32_t w : {4, 7, 10}) {
                const Frame f = randomFrame(h, w, uint32_t(h * 100 + w + gb));
                const auto ref = reference(f, gb);
                for (int32_t y = 0; y < h; ++y) {
                    for (int32_t x = 0; x < w; ++x) {
                        const Rgb want = bySite(f, gb, y, x), got = ref[size_t(y) * w + x];
                        ASSERT_TRUE(got.r == want.r && got.g == want.g && got.b == want.b)
                            << (gb ? "GB " : "RG ") << sizeText(h, w) << " at " << y << "," << x;
                    }
                }
            }
        }
    }
}

TEST(NearestCellRule, OneBlueSampleReachesNinePixels) {
    Frame f{8, 8, std::vector<uint8_t>(64, 0)};
    f.s[1 * 8 + 1] = 200;  // the blue site (1, 1) of an RG mosaic
    std::vector<uint8_t> out(64 * 3, kFill);
    ASSERT_EQ(rg8ToBgr8_nearest(f.s.data(), 8, 8, out.data(), 0), TAV_OK);
    for (int32_t y = 0; y < 8; ++y) {
        for (int32_t x = 0; x < 8; ++x) {
            const uint8_t* p = &out[3 * (y * 8 + x)];
            EXPECT_EQ(p[0], y <= 2 && x <= 2 ? 200 : 0) << y << "," << x;
            EXPECT_EQ(p[1], 0);
            EXPECT_EQ(p[2], 0);
        }
    }
}

// ---- the kernels against the reference

struct KernelCase {
    Form form;
    bool gb;
};

class NearestKernel : public testing::TestWithParam<KernelCase> {};

// Every size from 4 to 40, widths around the 16-column step, and flags 0, 1
// and another non-zero value (which must exchange too).
TEST_P(NearestKernel, MatchesTheReference) {
    const auto [form, gb] = GetParam();
    std::vector<std::pair<int32_t, int32_t>> sizes;
    for (int32_t h = 4; h <= 40; ++h) {
        for (int32_t w = 4; w <= 40; ++w) sizes.push_back({h, w});
    }
    for (int32_t h : {4, 5, 6, 7}) {
        for (int32_t w : {47, 48, 49, 63, 64, 65, 66, 97, 130}) sizes.push_back({h, w});
    }
    for (const auto& [h, w] : sizes) {
        const Frame f = randomFrame(h, w, uint32_t(h * 1000 + w));
        const auto ref = reference(f, gb);
        for (uint32_t flag : {0u, 1u, 0x80000100u}) {
            const auto want = expectedBytes(ref, form, flag != 0);
            std::vector<uint8_t> buf(want.size() + kGuard, kFill);
            ASSERT_EQ(runWrapper(form, gb, f, buf.data(), flag), TAV_OK);
            expectWritten(buf, want, sizeText(h, w) + " flag " + std::to_string(flag));
        }
    }
}

// The band and last-row routines on rows inside a bigger frame: they write
// their rows and nothing else.
class NearestBand : public testing::TestWithParam<Form> {};

TEST_P(NearestBand, BandAndLastRowWriteOnlyTheirRows) {
    const Form form = GetParam();
    for (int32_t w : {4, 5, 16, 17, 18, 33, 50}) {
        const int32_t h = 6;
        const Frame f = randomFrame(h, w, uint32_t(w));
        const auto ref = reference(f, false);
        for (uint32_t flag : {0u, 1u, 2u}) {
            const auto all = expectedBytes(ref, form, flag != 0);
            const size_t row = size_t(w) * bytesPerPixel(form);
            const size_t n = size_t(h) * w;
            // Rows 1 and 2 (a band) and row 3 (a last row) into a frame-sized buffer.
            std::vector<uint8_t> got(all.size() + kGuard, kFill);
            uint8_t* d = got.data();
            const uint8_t *r0 = f.row(0), *r1 = f.row(1), *r2 = f.row(2), *r3 = f.row(3);
            switch (form) {
                case Form::Bgr8:
                    rg8ToBgr8_nearest_body(r0, r1, r2, w, d + row, flag);
                    rg8ToBgr8_nearest_lastRows(r2, r3, w, d + 3 * row, flag);
                    break;
                case Form::Bgra8:
                    rg8ToBgra8_nearest_body(r0, r1, r2, w, d + row, flag);
                    rg8ToBgra8_nearest_lastRows(r2, r3, w, d + 3 * row, flag);
                    break;
                case Form::Mono8:
                    rg8ToMono8_nearest_body(r0, r1, r2, w, d + row, flag);
                    rg8ToMono8_nearest_lastRows(r2, r3, w, d + 3 * row, flag);
                    break;
                case Form::Planar:
                    rg8ToBgr8P_nearest_body(r0, r1, r2, w, d + w, d + n + w, d + 2 * n + w);
                    rg8ToBgr8P_nearest_lastRows(r2, r3, w, d + 3 * w, d + n + 3 * w,
                                                d + 2 * n + 3 * w);
                    break;
            }
            std::vector<uint8_t> want(all.size(), kFill);
            const int planes = form == Form::Planar ? 3 : 1;
            const size_t planeRow = form == Form::Planar ? size_t(w) : row;
            for (int p = 0; p < planes; ++p) {
                const size_t from = p * n + planeRow, to = p * n + 4 * planeRow;
                std::copy(all.begin() + from, all.begin() + to, want.begin() + from);
            }
            expectWritten(got, want, "width " + std::to_string(w));
        }
    }
}

std::string kernelName(const testing::TestParamInfo<KernelCase>& i) {
    static const char* const names[] = {"Bgr8", "Bgra8", "Mono8", "Planar"};
    return std::string(i.param.gb ? "GB_" : "RG_") + names[int(i.param.form)];
}

INSTANTIATE_TEST_SUITE_P(
    All, NearestKernel,
    testing::Values(KernelCase{Form::Bgr8, false}, KernelCase{Form::Bgr8, true},
                    KernelCase{Form::Bgra8, false}, KernelCase{Form::Bgra8, true},
                    KernelCase{Form::Mono8, false}, KernelCase{Form::Mono8, true},
                    KernelCase{Form::Planar, false}, KernelCase{Form::Planar, true}),
    kernelName);

INSTANTIATE_TEST_SUITE_P(All, NearestBand,
                         testing::Values(Form::Bgr8, Form::Bgra8, Form::Mono8, Form::Planar));

// ---- every source phase and output through the entry, judged in true colours

struct Output {
    uint64_t format;
    int bytes;
    int order[3];  // byte (or plane) of red, green, blue; Mono8: none
};

constexpr Output kOutputs[] = {
    {TAV_PF_MONO8, 1, {0, 0, 0}},       {TAV_PF_RGB8, 3, {0, 1, 2}},
    {TAV_PF_BGR8, 3, {2, 1, 0}},        {TAV_PF_RGB8_PLANAR, 3, {0, 1, 2}},
    {TAV_PF_BGR8_PLANAR, 3, {2, 1, 0}}, {TAV_PF_RGBA8, 4, {0, 1, 2}},
    {TAV_PF_BGRA8, 4, {2, 1, 0}},
};

constexpr uint32_t kSourceCodes[] = {TAV_PF_BAYER_RG8, TAV_PF_BAYER_GR8, TAV_PF_BAYER_GB8,
                                     TAV_PF_BAYER_BG8};

// The output of `source` bytes in true colours, by the cell rule.
std::vector<uint8_t> expectedThroughEntry(const Frame& f, Phase phase, const Output& o) {
    // GR and GB put red on odd rows when read as their opposite phases.
    const bool gb = phase == GR || phase == GB, swap = phase == GR || phase == BG;
    const auto px = reference(f, gb);
    const size_t n = px.size();
    const bool planar = o.format == TAV_PF_RGB8_PLANAR || o.format == TAV_PF_BGR8_PLANAR;
    std::vector<uint8_t> out(n * o.bytes, 0);
    for (size_t i = 0; i < n; ++i) {
        const uint8_t red = uint8_t(swap ? px[i].b : px[i].r), green = uint8_t(px[i].g),
                      blue = uint8_t(swap ? px[i].r : px[i].b);
        if (o.bytes == 1) {
            out[i] = luma(77, red, green, 29, blue);
            continue;
        }
        const uint8_t rgb[3] = {red, green, blue};
        for (int c = 0; c < 3; ++c) {
            out[planar ? o.order[c] * n + i : i * o.bytes + o.order[c]] = rgb[c];
        }
    }
    return out;
}

class NearestEntry : public testing::TestWithParam<std::tuple<Phase, int>> {};

TEST_P(NearestEntry, GivesTheCellRuleInTrueColours) {
    const auto [phase, outIndex] = GetParam();
    const Output& o = kOutputs[outIndex];
    tavtest::Context c;
    c.setOutput(o.format);
    for (int32_t h : {4, 5, 8, 11}) {
        for (int32_t w : {4, 5, 6, 7, 16, 17, 18, 19, 31, 32, 33, 34, 47, 48, 49, 65}) {
            Frame f = randomFrame(h, w, uint32_t(h * 77 + w));
            const auto want = expectedThroughEntry(f, phase, o);
            std::vector<uint8_t> buf(want.size() + kGuard, kFill);
            TavImage src{h, w, kSourceCodes[phase], f.s.data(), w};
            TavImage dst{0, 0, 0, buf.data(), 0};
            ASSERT_EQ(tavDemosaicing(c.ctx, &src, TAV_METHOD_NEAREST, &dst), TAV_OK);
            EXPECT_EQ(dst.pixelFormat, uint32_t(o.format));
            expectWritten(buf, want, sizeText(h, w));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, NearestEntry,
                         testing::Combine(testing::Values(RG, GR, GB, BG), testing::Range(0, 7)));

// A wide source reaches the kernels through normalisation.
TEST(NearestEntry, TwelveBitSourceUsesItsTopByte) {
    const int32_t h = 6, w = 21;
    const Frame f = randomFrame(h, w, 9);
    std::vector<uint16_t> wide(f.s.size());
    for (size_t i = 0; i < wide.size(); ++i) wide[i] = uint16_t(f.s[i] << 4 | (i & 15));
    tavtest::Context c;
    c.setOutput(TAV_PF_BGR8);
    const auto want = expectedThroughEntry(f, GB, kOutputs[2]);
    std::vector<uint8_t> buf(want.size() + kGuard, kFill);
    TavImage src{h, w, TAV_PF_BAYER_GB12, reinterpret_cast<uint8_t*>(wide.data()), 2 * w};
    TavImage dst{0, 0, 0, buf.data(), 0};
    ASSERT_EQ(tavDemosaicing(c.ctx, &src, TAV_METHOD_NEAREST, &dst), TAV_OK);
    expectWritten(buf, want, "BayerGB12");
}

// A flat mosaic stays flat in every output, Mono8 included (the weights sum
// to 256), and four-byte outputs carry alpha 0 even where every colour is 255.
TEST(NearestFlat, EveryOutputIsFlat) {
    tavtest::Context c;
    const int32_t h = 7, w = 37, n = h * w;
    for (int p = 0; p < 4; ++p) {
        for (const Output& o : kOutputs) {
            c.setOutput(o.format);
            for (int v : {0, 1, 127, 254, 255}) {
                std::vector<uint8_t> s(n, uint8_t(v)), out(size_t(n) * o.bytes, kFill);
                TavImage src{h, w, kSourceCodes[p], s.data(), w};
                TavImage dst{0, 0, 0, out.data(), 0};
                ASSERT_EQ(tavDemosaicing(c.ctx, &src, TAV_METHOD_NEAREST, &dst), TAV_OK);
                for (size_t i = 0; i < out.size(); ++i) {
                    const int want = (o.bytes == 4 && i % 4 == 3) ? 0 : v;
                    ASSERT_EQ(out[i], want) << "output " << std::hex << o.format << " byte " << i;
                }
            }
        }
    }
}

}  // namespace
