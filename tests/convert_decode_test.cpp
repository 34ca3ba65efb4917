// YUV decoding kernels: the vector paths against the scalar formulas over the
// whole input space, every kernel and channel order on random frames of many
// sizes against a reference built from the layouts, and the worked values.
#include <algorithm>
#include <array>
#include <cstring>
#include <functional>

#include "convert/yuv.h"
#include "support.h"

namespace {

using tav::cvt::fullRangePixel;
using tav::cvt::kPlainOffsets;
using tav::cvt::kRoundingOffsets;
using tav::cvt::Rgb;
using tav::cvt::studioPixel;

enum class Formula { kPlain, kRounding, kStudio };

Rgb decodeRef(Formula f, int y, int u, int v) {
    switch (f) {
        case Formula::kPlain:
            return fullRangePixel(y, u, v, kPlainOffsets);
        case Formula::kRounding:
            return fullRangePixel(y, u, v, kRoundingOffsets);
        case Formula::kStudio:
            break;
    }
    return studioPixel(y, u, v);
}

// Output pixel in a target's byte order: 1 (luma), 3 or 4 bytes.
void putRef(uint8_t* p, int bytes, bool bgr, Rgb c) {
    p[0] = static_cast<uint8_t>(bgr ? c.b : c.r);
    p[1] = static_cast<uint8_t>(c.g);
    p[2] = static_cast<uint8_t>(bgr ? c.r : c.b);
    if (bytes == 4) p[3] = 0;
}

// Packed layouts as the formats define them.
struct Layout {
    const char* name;
    int pixels, bytes;
    std::array<int, 4> y;
    int u, v;
};
const Layout kUyvy{"UYVY", 2, 4, {1, 3}, 0, 2};
const Layout kYuyv{"YUYV", 2, 4, {0, 2}, 1, 3};
const Layout k411{"411", 4, 6, {1, 2, 4, 5}, 0, 3};
const Layout k444{"444", 1, 3, {1}, 0, 2};

using MonoFn = int32_t (*)(const uint8_t*, uint8_t*, int32_t);
using ColourFn = int32_t (*)(const uint8_t*, uint8_t*, int32_t, uint64_t);

struct PackedCase {
    Layout layout;
    MonoFn mono;
    ColourFn three, four;
    Formula threeFormula, fourFormula;
};

void PrintTo(const PackedCase& c, std::ostream* os) {
    *os << c.layout.name;
}

const PackedCase kPacked[] = {
    {kUyvy, YUV422_UYVYToMono8, YUV422_UYVYToRGB8, YUV422_UYVYToRGBA8, Formula::kPlain,
     Formula::kPlain},
    {kYuyv, YUV422_YUYVToMono8, YUV422_YUYVToRGB8, YUV422_YUYVToRGBA8, Formula::kPlain,
     Formula::kPlain},
    {k411, YUV411PToMono8, YUV411PToRGB8, YUV411PToRGBA8, Formula::kPlain, Formula::kPlain},
    {k444, YUV444ToMono8, YUV444ToRGB8, YUV444ToRGBA8, Formula::kRounding, Formula::kPlain},
};

// Reference output of `units` units; bytes 0 means luma only.
std::vector<uint8_t> packedRef(const Layout& l, const std::vector<uint8_t>& src, int32_t units,
                               int bytes, bool bgr, Formula f) {
    const int per = bytes ? bytes : 1;
    std::vector<uint8_t> out(static_cast<size_t>(units) * l.pixels * per);
    for (int32_t i = 0; i < units; ++i) {
        const uint8_t* s = &src[static_cast<size_t>(i) * l.bytes];
        for (int k = 0; k < l.pixels; ++k) {
            uint8_t* p = &out[(static_cast<size_t>(i) * l.pixels + k) * per];
            if (!bytes) {
                p[0] = s[l.y[k]];
            } else {
                putRef(p, bytes, bgr, decodeRef(f, s[l.y[k]], s[l.u], s[l.v]));
            }
        }
    }
    return out;
}

// Runs a kernel into a buffer with guard bytes; checks the guards and returns the output.
std::vector<uint8_t> runGuarded(size_t bytes, const std::function<int32_t(uint8_t*)>& call) {
    std::vector<uint8_t> buf(bytes + 64, 0xA5);
    EXPECT_EQ(call(buf.data()), TAV_OK);
    for (size_t i = bytes; i < buf.size(); ++i) {
        EXPECT_EQ(buf[i], 0xA5) << "write past the output at +" << i - bytes;
        if (buf[i] != 0xA5) break;
    }
    buf.resize(bytes);
    return buf;
}

// ---- whole input space of each formula through a 4:4:4 kernel (one pixel per unit)

// UYV pixels for every (U, V) pair at each luma of `ys`, then every luma at
// each chroma pair of `uvs`.
std::vector<uint8_t> coverage(const std::vector<int>& ys,
                              const std::vector<std::pair<int, int>>& uvs) {
    std::vector<uint8_t> src;
    for (int y : ys) {
        for (int u = 0; u < 256; ++u) {
            for (int v = 0; v < 256; ++v)
                src.insert(src.end(), {uint8_t(u), uint8_t(y), uint8_t(v)});
        }
    }
    for (auto [u, v] : uvs) {
        for (int y = 0; y < 256; ++y) src.insert(src.end(), {uint8_t(u), uint8_t(y), uint8_t(v)});
    }
    return src;
}

const std::vector<int> kLumas = {0, 1, 16, 77, 128, 200, 235, 254, 255};
const std::vector<std::pair<int, int>> kChromas = {{0, 0},     {0, 255},   {255, 0},  {255, 255},
                                                   {128, 128}, {127, 129}, {1, 254},  {64, 192},
                                                   {16, 240},  {240, 16},  {100, 30}, {200, 220}};

TEST(DecodeExhaustive, FullRangeSetsMatchTheFormulasForEveryChromaAndLuma) {
    const auto src = coverage(kLumas, kChromas);
    const int32_t n = static_cast<int32_t>(src.size() / 3);
    struct {
        ColourFn fn;
        int bytes;
        Formula f;
    } const cases[] = {{YUV444ToRGBA8, 4, Formula::kPlain}, {YUV444ToRGB8, 3, Formula::kRounding}};
    for (const auto& c : cases) {
        const auto out = runGuarded(size_t(n) * c.bytes, [&](uint8_t* d) {
            return c.fn(src.data(), d, n, c.bytes == 4 ? TAV_PF_BGRA8 : TAV_PF_BGR8);
        });
        const auto ref = packedRef(k444, src, n, c.bytes, true, c.f);
        for (int32_t i = 0; i < n; ++i) {
            ASSERT_EQ(0, std::memcmp(&out[size_t(i) * c.bytes], &ref[size_t(i) * c.bytes], c.bytes))
                << "bytes " << c.bytes << " U=" << int(src[3 * i]) << " Y=" << int(src[3 * i + 1])
                << " V=" << int(src[3 * i + 2]);
        }
    }
}

// Studio range through planar 4:2:0 (512 x 256 frames, one chroma pair per
// 2x2 block): every (U, V) pair at four lumas, then every luma at each pair
// of the chroma set (one block row per pair).
void expectStudioFrame(const std::vector<uint8_t>& src, int32_t h, int32_t w) {
    const uint8_t* up = src.data() + w * h;
    const uint8_t* vp = up + w * h / 4;
    const auto out = runGuarded(size_t(w) * h * 3, [&](uint8_t* d) {
        return YUV420PToRGB8(src.data(), d, h, w, TAV_PF_RGB8);
    });
    for (int r = 0; r < h; ++r) {
        for (int x = 0; x < w; ++x) {
            const int c = (r / 2) * (w / 2) + x / 2;
            uint8_t ref[3];
            putRef(ref, 3, false, studioPixel(src[r * w + x], up[c], vp[c]));
            ASSERT_EQ(0, std::memcmp(&out[(size_t(r) * w + x) * 3], ref, 3))
                << "Y=" << int(src[r * w + x]) << " U=" << int(up[c]) << " V=" << int(vp[c]);
        }
    }
}

TEST(DecodeExhaustive, StudioRangeMatchesTheFormulaForEveryChromaAndLuma) {
    const int32_t w = 512;
    auto frame = [&](int32_t h, auto uvOf, auto yOf) {
        std::vector<uint8_t> src(size_t(w) * h * 3 / 2);
        uint8_t* up = src.data() + w * h;
        uint8_t* vp = up + w * h / 4;
        for (int j = 0; j < h / 2; ++j) {
            for (int i = 0; i < w / 2; ++i) {
                const auto [u, v] = uvOf(j, i);
                up[j * (w / 2) + i] = uint8_t(u);
                vp[j * (w / 2) + i] = uint8_t(v);
                for (int k = 0; k < 4; ++k)
                    src[(2 * j + k / 2) * w + 2 * i + k % 2] = uint8_t(yOf(j, i, k));
            }
        }
        expectStudioFrame(src, h, w);
    };
    const int lumas[4] = {0, 16, 128, 255};
    for (int half = 0; half < 2; ++half) {
        frame(
            256,
            [&](int j, int i) {
                return std::pair{half * 128 + j, i};
            },
            [&](int, int, int k) { return lumas[k]; });
    }
    frame(
        int32_t(2 * kChromas.size()), [&](int j, int) { return kChromas[j]; },
        [&](int, int i, int k) { return (4 * i + k) & 255; });
}

// ---- every packed kernel, output size and order on random data

class PackedKernels : public testing::TestWithParam<PackedCase> {};

TEST_P(PackedKernels, MatchTheReferenceForEveryCountAndOrder) {
    const PackedCase& c = GetParam();
    std::vector<int32_t> counts;
    for (int32_t i = 0; i <= 40; ++i) counts.push_back(i);
    for (int32_t i : {63, 64, 65, 127, 128, 129, 1001}) counts.push_back(i);
    for (int32_t units : counts) {
        const auto src = tavtest::randomBytes(size_t(units) * c.layout.bytes + 1, 1000 + units);
        SCOPED_TRACE(std::string(c.layout.name) + " units=" + std::to_string(units));
        auto mono = runGuarded(size_t(units) * c.layout.pixels,
                               [&](uint8_t* d) { return c.mono(src.data(), d, units); });
        EXPECT_TRUE(mono == packedRef(c.layout, src, units, 0, false, Formula::kPlain)) << "Mono8";
        struct {
            uint64_t target;
            bool bgr;
        } const threes[] = {{TAV_PF_RGB8, false}, {TAV_PF_BGR8, true}, {TAV_PF_RGBA8, false}},
                fours[] = {{TAV_PF_RGBA8, false}, {TAV_PF_BGRA8, true}, {TAV_PF_BGR8, false}};
        for (const auto& t : threes) {
            const auto out = runGuarded(size_t(units) * c.layout.pixels * 3, [&](uint8_t* d) {
                return c.three(src.data(), d, units, t.target);
            });
            EXPECT_TRUE(out == packedRef(c.layout, src, units, 3, t.bgr, c.threeFormula))
                << "three bytes, target " << std::hex << t.target;
        }
        for (const auto& t : fours) {
            const auto out = runGuarded(size_t(units) * c.layout.pixels * 4, [&](uint8_t* d) {
                return c.four(src.data(), d, units, t.target);
            });
            EXPECT_TRUE(out == packedRef(c.layout, src, units, 4, t.bgr, c.fourFormula))
                << "four bytes, target " << std::hex << t.target;
        }
    }
}

TEST_P(PackedKernels, NegativeCountWritesNothing) {
    const PackedCase& c = GetParam();
    const uint8_t src[16] = {};
    runGuarded(0, [&](uint8_t* d) { return c.mono(src, d, -5); });
    runGuarded(0, [&](uint8_t* d) { return c.three(src, d, -5, TAV_PF_BGR8); });
    runGuarded(0, [&](uint8_t* d) { return c.four(src, d, INT32_MIN, TAV_PF_BGRA8); });
}

INSTANTIATE_TEST_SUITE_P(Layouts, PackedKernels, testing::ValuesIn(kPacked),
                         [](const auto& info) { return std::string(info.param.layout.name); });

// ---- 4:2:0 kernels: row pairs, odd sizes leave the last row and column alone

struct Case420 {
    const char* name;
    std::function<int32_t(const uint8_t*, uint8_t*, int32_t, int32_t, uint64_t)> fn;
    bool planar;
    int bytes;
    uint64_t bgrCode;
};

void PrintTo(const Case420& c, std::ostream* os) {
    *os << c.name;
}

const Case420 k420[] = {
    {"NV12ToRGB8", YUV420SP_NV12ToRGB8, false, 3, TAV_PF_BGR8},
    {"NV12ToRGBA8", YUV420SP_NV12ToRGBA8, false, 4, TAV_PF_BGRA8},
    {"PlanarToRGB8", YUV420PToRGB8, true, 3, TAV_PF_BGR8},
};

class Kernels420 : public testing::TestWithParam<Case420> {};

TEST_P(Kernels420, MatchTheReferenceForEverySizeAndOrder) {
    const Case420& c = GetParam();
    std::vector<std::pair<int32_t, int32_t>> sizes;
    for (int32_t w = 1; w <= 40; ++w) sizes.push_back({2 + w % 5, w});
    for (int32_t w : {46, 47, 48, 49, 64, 66, 130}) sizes.push_back({4, w});
    for (auto [h, w] : sizes) {
        const int32_t n = h * w;
        const auto src = tavtest::randomBytes(size_t(n) + n / 2 + 8, 77 * w + h);
        for (uint64_t target : {c.bgrCode, uint64_t(TAV_PF_RGB8), uint64_t(0x12345)}) {
            const bool bgr = target == c.bgrCode;
            SCOPED_TRACE(std::string(c.name) + " " + std::to_string(h) + "x" + std::to_string(w));
            std::vector<uint8_t> ref(size_t(n) * c.bytes, 0xA5);
            for (int32_t r = 0; r < h / 2 * 2; ++r) {
                for (int32_t x = 0; x < w / 2 * 2; ++x) {
                    const int32_t j = r / 2, i = x / 2;
                    int u, v;
                    if (c.planar) {
                        const int32_t at = j * w / 2 + i;
                        u = src[n + at], v = src[n + n / 4 + at];
                    } else {
                        u = src[n + j * w + 2 * i], v = src[n + j * w + 2 * i + 1];
                    }
                    putRef(&ref[(size_t(r) * w + x) * c.bytes], c.bytes, bgr,
                           decodeRef(c.planar ? Formula::kStudio : Formula::kPlain, src[r * w + x],
                                     u, v));
                }
            }
            // Untouched pixels keep the fill, so the reference carries it too.
            std::vector<uint8_t> out(ref.size() + 64, 0xA5);
            EXPECT_EQ(c.fn(src.data(), out.data(), h, w, target), TAV_OK);
            EXPECT_TRUE(std::equal(ref.begin(), ref.end(), out.begin())) << std::hex << target;
            EXPECT_TRUE(std::all_of(out.begin() + ref.size(), out.end(),
                                    [](uint8_t b) { return b == 0xA5; }));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kernels, Kernels420, testing::ValuesIn(k420),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- worked values

Rgb decodeOne(ColourFn fn, int bytes, int y, int u, int v) {
    const uint8_t src[3] = {uint8_t(u), uint8_t(y), uint8_t(v)};
    uint8_t out[4];
    fn(src, out, 1, TAV_PF_RGB8);
    (void)bytes;
    return {out[0], out[1], out[2]};
}

TEST(DecodeValues, FullRangeWorkedValues) {
    for (ColourFn fn : {YUV444ToRGBA8, YUV444ToRGB8}) {
        const Rgb white = decodeOne(fn, 4, 255, 128, 128);
        EXPECT_EQ(white.r, 255);
        EXPECT_EQ(white.g, 255);
        EXPECT_EQ(white.b, 255);
    }
    // bTerm 225 clamps blue; gTermU 43, gTermV 0.
    const Rgb blue = decodeOne(YUV444ToRGBA8, 4, 128, 255, 128);
    EXPECT_EQ(blue.b, 255);
    EXPECT_EQ(blue.g, 85);
    EXPECT_EQ(blue.r, 128);
    // rTerm = -45952 >> 8 = -180 (toward minus infinity).
    EXPECT_EQ(fullRangePixel(200, 128, 0, kPlainOffsets).r, 20);
    EXPECT_EQ(decodeOne(YUV444ToRGBA8, 4, 0, 128, 0).r, 0);
    // The two G terms truncate separately: U = V = 127 gives -1 each.
    EXPECT_EQ(fullRangePixel(100, 127, 127, kPlainOffsets).g, 102);
}

TEST(DecodeValues, StudioWorkedValues) {
    const uint8_t white[6] = {255, 255, 255, 255, 128, 128}, black[6] = {16, 16, 16, 16, 128, 128};
    uint8_t out[12];
    YUV420PToRGB8(white, out, 2, 2, TAV_PF_RGB8);
    for (uint8_t b : out) EXPECT_EQ(b, 255);
    YUV420PToRGB8(black, out, 2, 2, TAV_PF_BGR8);
    for (uint8_t b : out) EXPECT_EQ(b, 0);
    // Blue weight 517: (298 x 84 + 517 x 100) >> 8 = 299 -> 255; at U = 148 it is 138.
    EXPECT_EQ(studioPixel(100, 148, 128).b, (298 * 84 + 517 * 20) >> 8);
}

// The rounding set differs from the plain one by at most one step in red and
// blue (up) and two in green (down); somewhere it does differ in each.
TEST(DecodeValues, RoundingSetOf444ThreeByteKernel) {
    int dr = 0, dg = 0, db = 0;
    for (int u = 0; u < 256; ++u) {
        for (int v = 0; v < 256; ++v) {
            const Rgb a = decodeOne(YUV444ToRGB8, 3, 128, u, v);
            const Rgb b = decodeOne(YUV444ToRGBA8, 4, 128, u, v);
            ASSERT_GE(a.r - b.r, 0);
            ASSERT_LE(a.r - b.r, 1);
            ASSERT_GE(a.b - b.b, 0);
            ASSERT_LE(a.b - b.b, 1);
            ASSERT_GE(b.g - a.g, 0);
            ASSERT_LE(b.g - a.g, 2);
            dr += a.r != b.r, dg += a.g != b.g, db += a.b != b.b;
        }
    }
    EXPECT_GT(dr, 0);
    EXPECT_GT(dg, 0);
    EXPECT_GT(db, 0);
}

}  // namespace
