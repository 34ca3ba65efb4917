// The conversion entry: checks and their printed sites, the split between
// unsupported formats and unsuitable sizes, routing of every source, the
// RGB/BGR encoders against their formulas, the monochrome converters,
// bgrToBgra and the BMP row padding.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>

#include "convert/rgb.h"
#include "support.h"

using tavtest::diag;
using tavtest::printedBy;

namespace {

namespace cvt = tav::cvt;

constexpr uint32_t kAllTargets[] = {
    TAV_PF_MONO1P,          TAV_PF_MONO4P,   TAV_PF_MONO8,         TAV_PF_MONO1C,
    TAV_PF_YUV411_8_UYYVYY, TAV_PF_YUV420P,  TAV_PF_YUV420SP_NV12, TAV_PF_YUV422_8_UYVY,
    TAV_PF_YUV422_8,        TAV_PF_YUV8_UYV, TAV_PF_RGB8,          TAV_PF_BGR8,
    TAV_PF_RGBA8,           TAV_PF_BGRA8,    TAV_PF_RGB8_PLANAR,   TAV_PF_BAYER_RG8};

// One call of the entry with its printed text; the destination starts filled.
struct Call {
    std::vector<uint8_t> src, dst;
    TavImage in{}, out{};
    int32_t code = 0;
    std::string printed;

    Call(uint32_t format, int32_t h, int32_t w, std::vector<uint8_t> bytes, size_t dstBytes)
        : src(std::move(bytes)), dst(dstBytes + 64, 0xA5) {
        in = {h, w, format, src.data(), 0};
        out = {0, 0, 0, dst.data(), 0};
    }
    Call& run(uint64_t target) {
        printed = printedBy([&] { code = tavImageTypeConvert(&in, &out, target); });
        return *this;
    }
    bool untouched() const {
        return std::all_of(dst.begin(), dst.end(), [](uint8_t b) { return b == 0xA5; });
    }
};

// ---- entry checks

TEST(ConvertEntry, NullRecordsAndDataArePrinted) {
    std::vector<uint8_t> a(64), b(64);
    TavImage src{4, 4, TAV_PF_BGR8, a.data(), 0}, dst{0, 0, 0, b.data(), 0};
    int32_t code = 0;
    EXPECT_EQ(printedBy([&] { code = tavImageTypeConvert(nullptr, &dst, TAV_PF_RGB8); }), diag(17));
    EXPECT_EQ(code, TAV_E_NULL_POINTER);
    EXPECT_EQ(printedBy([&] { code = tavImageTypeConvert(&src, nullptr, TAV_PF_RGB8); }), diag(17));
    EXPECT_EQ(code, TAV_E_NULL_POINTER);
    src.data = nullptr;
    src.pixelFormat = 0x1234;  // data comes before the format
    EXPECT_EQ(printedBy([&] { code = tavImageTypeConvert(&src, &dst, TAV_PF_RGB8); }), diag(18));
    EXPECT_EQ(code, TAV_E_NULL_POINTER);
    src.data = a.data();
    dst.data = nullptr;
    EXPECT_EQ(printedBy([&] { code = tavImageTypeConvert(&src, &dst, TAV_PF_RGB8); }), diag(18));
    EXPECT_EQ(code, TAV_E_NULL_POINTER);
}

TEST(ConvertEntry, UnknownSourceIsRefusedSilently) {
    for (uint32_t format : {0u, uint32_t(TAV_PF_BAYER_RG8), uint32_t(TAV_PF_RGBA8),
                            uint32_t(TAV_PF_MONO16), 0x800C0003u}) {
        Call c(format, 4, 6, std::vector<uint8_t>(256), 256);
        c.run(TAV_PF_RGB8);
        EXPECT_EQ(c.code, TAV_E_PIXEL_FORMAT) << std::hex << format;
        EXPECT_EQ(c.printed, "");
        EXPECT_TRUE(c.untouched());
    }
    // The target is the 32-bit code zero-extended: a sign-extended planar code is another code.
    Call c(TAV_PF_BGR8, 4, 4, std::vector<uint8_t>(48), 64);
    EXPECT_EQ(c.run(0xFFFFFFFF800C0002ull).code, TAV_E_PIXEL_FORMAT);
    EXPECT_EQ(c.run(0x800C0002ull).code, TAV_OK);
}

struct SizeCase {
    uint32_t source;
    uint64_t target;
    int32_t height, width;
    int site;
};

class ConvertSizes : public testing::TestWithParam<SizeCase> {};

// A size rule of the source (entry) or of the target (converter) prints its
// site and returns TAV_E_FORMAT_SIZE before any pixel is written.
TEST_P(ConvertSizes, UnsuitableSizeIsPrintedAndNothingWritten) {
    const SizeCase& s = GetParam();
    Call c(s.source, s.height, s.width, std::vector<uint8_t>(4096, 9), 4096);
    c.run(s.target);
    EXPECT_EQ(c.code, TAV_E_FORMAT_SIZE);
    EXPECT_EQ(c.printed, diag(s.site));
    EXPECT_TRUE(c.untouched());
}

INSTANTIATE_TEST_SUITE_P(Rules, ConvertSizes,
                         testing::Values(SizeCase{TAV_PF_YUV411_8_UYYVYY, TAV_PF_RGB8, 4, 6, 48},
                                         SizeCase{TAV_PF_YUV411_8_UYYVYY, TAV_PF_YUV8_UYV, 4, 6,
                                                  48},  // size before target
                                         SizeCase{TAV_PF_YUV411_8_UYYVYY, TAV_PF_MONO8, 3, 2, 48},
                                         SizeCase{TAV_PF_YUV420P, TAV_PF_RGB8, 4, 5, 54},
                                         SizeCase{TAV_PF_YUV420P, TAV_PF_BGR8, 3, 4, 54},
                                         SizeCase{TAV_PF_YUV420SP_NV12, TAV_PF_RGBA8, 4, 7, 60},
                                         SizeCase{TAV_PF_YUV420SP_NV12, TAV_PF_BGR8, 5, 8, 60},
                                         SizeCase{TAV_PF_YUV422_8_UYVY, TAV_PF_BGRA8, 4, 5, 66},
                                         SizeCase{TAV_PF_YUV422_8, TAV_PF_MONO8, 4, 3, 72},
                                         SizeCase{TAV_PF_MONO8, TAV_PF_YUV420P, 4, 5, 920},
                                         SizeCase{TAV_PF_MONO8, TAV_PF_YUV420P, 3, 4, 920},
                                         SizeCase{TAV_PF_BGR8, TAV_PF_YUV411_8_UYYVYY, 2, 6, 1254},
                                         SizeCase{TAV_PF_RGB8, TAV_PF_YUV411_8_UYYVYY, 2, 6, 1017},
                                         SizeCase{TAV_PF_BGR8, TAV_PF_YUV422_8_UYVY, 2, 5, 1223},
                                         SizeCase{TAV_PF_BGR8, TAV_PF_YUV422_8, 2, 5, 1223},
                                         SizeCase{TAV_PF_RGB8, TAV_PF_YUV422_8_UYVY, 2, 5, 986},
                                         SizeCase{TAV_PF_RGB8, TAV_PF_YUV422_8, 2, 5, 986},
                                         SizeCase{TAV_PF_BGR8, TAV_PF_YUV420P, 3, 4, 1297},
                                         SizeCase{TAV_PF_BGR8, TAV_PF_YUV420P, 4, 3, 1297},
                                         SizeCase{TAV_PF_RGB8, TAV_PF_YUV420P, 3, 4, 1060},
                                         SizeCase{TAV_PF_RGB8, TAV_PF_YUV420P, 4, 3, 1060}));

// ---- routing: accepted targets of each source, and what the YUV sources run

using Kernel = std::function<void(const uint8_t*, uint8_t*, int32_t h, int32_t w, uint64_t)>;

struct Route {
    const char* name;
    uint32_t source;
    std::vector<uint32_t> accepted;
};

void PrintTo(const Route& r, std::ostream* os) {
    *os << r.name;
}

const std::vector<uint32_t> kPerPixel = {TAV_PF_MONO8, TAV_PF_RGB8, TAV_PF_BGR8, TAV_PF_RGBA8,
                                         TAV_PF_BGRA8};
const std::vector<uint32_t> kFromRgb = {
    TAV_PF_RGB8,     TAV_PF_BGR8,     TAV_PF_RGBA8,           TAV_PF_BGRA8,
    TAV_PF_MONO8,    TAV_PF_YUV8_UYV, TAV_PF_YUV411_8_UYYVYY, TAV_PF_YUV422_8_UYVY,
    TAV_PF_YUV422_8, TAV_PF_YUV420P};

const Route kRoutes[] = {
    {"Mono1p", TAV_PF_MONO1P, {TAV_PF_MONO8}},
    {"Mono4p", TAV_PF_MONO4P, kPerPixel},
    {"Mono8", TAV_PF_MONO8, {TAV_PF_YUV420P}},
    {"YUV411", TAV_PF_YUV411_8_UYYVYY, kPerPixel},
    {"YUV420P", TAV_PF_YUV420P, {TAV_PF_RGB8, TAV_PF_BGR8}},
    {"NV12", TAV_PF_YUV420SP_NV12, {TAV_PF_RGB8, TAV_PF_BGR8, TAV_PF_RGBA8, TAV_PF_BGRA8}},
    {"UYVY", TAV_PF_YUV422_8_UYVY, kPerPixel},
    {"YUYV", TAV_PF_YUV422_8, kPerPixel},
    {"UYV", TAV_PF_YUV8_UYV, kPerPixel},
    {"RGB8", TAV_PF_RGB8, kFromRgb},
    {"BGR8", TAV_PF_BGR8, kFromRgb},
};

class ConvertRoutes : public testing::TestWithParam<Route> {};

TEST_P(ConvertRoutes, OtherTargetsAreRefusedSilently) {
    const Route& r = GetParam();
    for (uint32_t target : kAllTargets) {
        if (std::find(r.accepted.begin(), r.accepted.end(), target) != r.accepted.end()) continue;
        Call c(r.source, 4, 8, tavtest::randomBytes(256, 5), 256);
        c.run(target);
        EXPECT_EQ(c.code, TAV_E_PIXEL_FORMAT) << std::hex << target;
        EXPECT_EQ(c.printed, "");
        EXPECT_TRUE(c.untouched()) << std::hex << target;
    }
    for (uint32_t target : r.accepted) {
        Call c(r.source, 4, 8, tavtest::randomBytes(256, 5), 256);
        c.run(target);
        EXPECT_EQ(c.code, TAV_OK) << std::hex << target;
        EXPECT_EQ(c.printed, "");
    }
}

INSTANTIATE_TEST_SUITE_P(Sources, ConvertRoutes, testing::ValuesIn(kRoutes),
                         [](const auto& info) { return std::string(info.param.name); });

// The packed YUV sources hand n/4, n/2 or n units and the target to their kernels.
TEST(ConvertRoutes, YuvSourcesRunTheirKernels) {
    struct {
        uint32_t source;
        int shift;
        int32_t (*mono)(const uint8_t*, uint8_t*, int32_t);
        int32_t (*three)(const uint8_t*, uint8_t*, int32_t, uint64_t);
        int32_t (*four)(const uint8_t*, uint8_t*, int32_t, uint64_t);
    } const cases[] = {
        {TAV_PF_YUV411_8_UYYVYY, 2, YUV411PToMono8, YUV411PToRGB8, YUV411PToRGBA8},
        {TAV_PF_YUV422_8_UYVY, 1, YUV422_UYVYToMono8, YUV422_UYVYToRGB8, YUV422_UYVYToRGBA8},
        {TAV_PF_YUV422_8, 1, YUV422_YUYVToMono8, YUV422_YUYVToRGB8, YUV422_YUYVToRGBA8},
        {TAV_PF_YUV8_UYV, 0, YUV444ToMono8, YUV444ToRGB8, YUV444ToRGBA8},
    };
    const int32_t h = 6, w = 36, n = h * w;
    const auto src = tavtest::randomBytes(3 * n, 11);
    for (const auto& k : cases) {
        for (uint32_t target : kPerPixel) {
            Call c(k.source, h, w, src, 4 * n);
            c.run(target);
            std::vector<uint8_t> expect(c.dst.size(), 0xA5);
            const int32_t units = n >> k.shift;
            if (target == TAV_PF_MONO8) {
                k.mono(src.data(), expect.data(), units);
            } else if (target == TAV_PF_RGB8 || target == TAV_PF_BGR8) {
                k.three(src.data(), expect.data(), units, target);
            } else {
                k.four(src.data(), expect.data(), units, target);
            }
            EXPECT_EQ(c.code, TAV_OK);
            EXPECT_TRUE(c.dst == expect) << std::hex << k.source << " to " << target;
        }
    }
    for (uint32_t target : {TAV_PF_RGB8, TAV_PF_BGR8}) {
        Call c(TAV_PF_YUV420P, h, w, src, 3 * n);
        std::vector<uint8_t> expect(c.dst.size(), 0xA5);
        YUV420PToRGB8(src.data(), expect.data(), h, w, target);
        EXPECT_TRUE(c.run(target).dst == expect);
    }
    for (uint32_t target : {TAV_PF_RGB8, TAV_PF_BGR8, TAV_PF_RGBA8, TAV_PF_BGRA8}) {
        Call c(TAV_PF_YUV420SP_NV12, h, w, src, 4 * n);
        std::vector<uint8_t> expect(c.dst.size(), 0xA5);
        if (target == TAV_PF_RGB8 || target == TAV_PF_BGR8) {
            YUV420SP_NV12ToRGB8(src.data(), expect.data(), h, w, target);
        } else {
            YUV420SP_NV12ToRGBA8(src.data(), expect.data(), h, w, target);
        }
        EXPECT_TRUE(c.run(target).dst == expect);
    }
}

// ---- RGB8 / BGR8 encoders against the formulas

struct Px {
    int r, g, b;
};

Px pixelAt(const std::vector<uint8_t>& src, size_t i, bool rgb) {
    const uint8_t* p = &src[3 * i];
    return rgb ? Px{p[0], p[1], p[2]} : Px{p[2], p[1], p[0]};
}

// Reference output of a three-byte source for `target` (an accepted one).
std::vector<uint8_t> encodeRef(const std::vector<uint8_t>& src, bool rgb, int32_t h, int32_t w,
                               uint32_t target) {
    const size_t n = size_t(h) * w;
    std::vector<uint8_t> out;
    auto px = [&](size_t i) { return pixelAt(src, i, rgb); };
    switch (target) {
        case TAV_PF_RGB8:
        case TAV_PF_BGR8:
        case TAV_PF_RGBA8:
        case TAV_PF_BGRA8:
            for (size_t i = 0; i < n; ++i) {
                const Px p = px(i);
                const bool redFirst = target == TAV_PF_RGB8 || target == TAV_PF_RGBA8;
                out.insert(out.end(), {uint8_t(redFirst ? p.r : p.b), uint8_t(p.g),
                                       uint8_t(redFirst ? p.b : p.r)});
                if (target == TAV_PF_RGBA8 || target == TAV_PF_BGRA8) out.push_back(0);
            }
            break;
        case TAV_PF_MONO8:
            for (size_t i = 0; i < n; ++i)
                out.push_back(uint8_t(cvt::luma601(px(i).r, px(i).g, px(i).b)));
            break;
        case TAV_PF_YUV8_UYV:
            for (size_t i = 0; i < n; ++i) {
                const Px p = px(i);
                out.insert(out.end(), {uint8_t(cvt::cb601(p.r, p.g, p.b)),
                                       uint8_t(cvt::luma601(p.r, p.g, p.b)),
                                       uint8_t(cvt::cr601(p.r, p.g, p.b))});
            }
            break;
        case TAV_PF_YUV411_8_UYYVYY:
            for (size_t i = 0; i + 4 <= n; i += 4) {
                int su = 0, sv = 0;
                uint8_t y[4];
                for (int k = 0; k < 4; ++k) {
                    const Px p = px(i + k);
                    su += cvt::cb411(p.r, p.g, p.b);
                    sv += cvt::cr411(p.r, p.g, p.b);
                    y[k] = uint8_t(cvt::luma601(p.r, p.g, p.b));
                }
                out.insert(out.end(), {uint8_t(su >> 2), y[0], y[1], uint8_t(sv >> 2), y[2], y[3]});
            }
            break;
        case TAV_PF_YUV422_8_UYVY:
        case TAV_PF_YUV422_8:
            for (size_t i = 0; i + 2 <= n; i += 2) {
                const Px a = px(i), b = px(i + 1);
                const uint8_t u =
                    uint8_t((cvt::cb601(a.r, a.g, a.b) + cvt::cb601(b.r, b.g, b.b)) >> 1);
                const uint8_t v =
                    uint8_t((cvt::cr601(a.r, a.g, a.b) + cvt::cr601(b.r, b.g, b.b)) >> 1);
                const uint8_t y0 = uint8_t(cvt::luma601(a.r, a.g, a.b)),
                              y1 = uint8_t(cvt::luma601(b.r, b.g, b.b));
                if (target == TAV_PF_YUV422_8_UYVY) {
                    out.insert(out.end(), {u, y0, v, y1});
                } else {
                    out.insert(out.end(), {y0, u, y1, v});
                }
            }
            break;
        case TAV_PF_YUV420P: {
            out.assign(n + n / 2, 0);
            for (int32_t j = 0; j < h / 2; ++j) {
                for (int32_t i = 0; i < w / 2; ++i) {
                    int cb[4], cr[4];
                    for (int k = 0; k < 4; ++k) {
                        const size_t at = size_t(2 * j + k / 2) * w + 2 * i + k % 2;
                        const Px p = px(at);
                        out[at] = uint8_t(cvt::luma709(p.r, p.g, p.b));
                        cb[k] = cvt::cb709(p.r, p.g, p.b);
                        cr[k] = cvt::cr709(p.r, p.g, p.b);
                    }
                    out[n + j * (w / 2) + i] = uint8_t(cvt::chroma709(cb[0], cb[1], cb[2], cb[3]));
                    out[n + n / 4 + j * (w / 2) + i] =
                        uint8_t(cvt::chroma709(cr[0], cr[1], cr[2], cr[3]));
                }
            }
            break;
        }
    }
    return out;
}

void expectEncoded(const std::vector<uint8_t>& src, bool rgb, int32_t h, int32_t w,
                   uint32_t target) {
    const auto ref = encodeRef(src, rgb, h, w, target);
    Call c(rgb ? TAV_PF_RGB8 : TAV_PF_BGR8, h, w, src, ref.size());
    c.run(target);
    ASSERT_EQ(c.code, TAV_OK);
    EXPECT_EQ(c.printed, "");
    EXPECT_TRUE(std::equal(ref.begin(), ref.end(), c.dst.begin()))
        << (rgb ? "RGB8" : "BGR8") << " " << h << "x" << w << " to " << std::hex << target;
    EXPECT_TRUE(std::all_of(c.dst.begin() + ref.size(), c.dst.end(), [](uint8_t b) {
        return b == 0xA5;
    })) << "write past the output";
}

class Encoders : public testing::TestWithParam<std::tuple<uint32_t, bool>> {};

TEST_P(Encoders, RandomFramesOfManySizes) {
    const auto [target, rgb] = GetParam();
    const int32_t step =
        target == TAV_PF_YUV411_8_UYYVYY ? 4
        : target == TAV_PF_YUV420P || target == TAV_PF_YUV422_8 || target == TAV_PF_YUV422_8_UYVY
            ? 2
            : 1;
    std::vector<std::pair<int32_t, int32_t>> sizes;
    for (int32_t w = step; w <= 72; w += step)
        sizes.push_back({target == TAV_PF_YUV420P ? 2 + 2 * (w % 3) : 1 + w % 4, w});
    for (int32_t w : {96, 100, 128, 132, 256}) sizes.push_back({4, w});
    for (auto [h, w] : sizes) {
        expectEncoded(tavtest::randomBytes(size_t(3) * h * w, h * 1000 + w), rgb, h, w, target);
    }
}

// Every pair of channels over its whole range, at a few values of the third.
TEST_P(Encoders, WholeChannelPlanes) {
    const auto [target, rgb] = GetParam();
    if (target == TAV_PF_RGB8 || target == TAV_PF_BGR8 || target == TAV_PF_RGBA8 ||
        target == TAV_PF_BGRA8) {
        GTEST_SKIP() << "byte moves only";
    }
    // The source order only changes the loading masks, which the random frames cover.
    if (rgb) GTEST_SKIP() << "covered from BGR8";
    std::vector<uint8_t> src;
    for (int third : {0, 255}) {
        for (int plane = 0; plane < 3; ++plane) {
            for (int a = 0; a < 256; ++a) {
                for (int b = 0; b < 256; ++b) {
                    uint8_t p[3];
                    p[plane] = uint8_t(third), p[(plane + 1) % 3] = uint8_t(a),
                    p[(plane + 2) % 3] = uint8_t(b);
                    src.insert(src.end(), p, p + 3);
                }
            }
        }
    }
    const int32_t w = 1024, h = int32_t(src.size() / 3 / w);
    expectEncoded(src, rgb, h, w, target);
}

INSTANTIATE_TEST_SUITE_P(Targets, Encoders,
                         testing::Combine(testing::ValuesIn(kFromRgb), testing::Bool()),
                         [](const auto& info) {
                             char code[16];
                             std::snprintf(code, sizeof code, "%08X", std::get<0>(info.param));
                             return "to_" + std::string(code) +
                                    (std::get<1>(info.param) ? "_fromRGB8" : "_fromBGR8");
                         });

TEST(EncoderValues, WorkedValues) {
    auto encode = [](std::vector<uint8_t> bgr, int32_t w, uint32_t target) {
        Call c(TAV_PF_BGR8, 1, w, std::move(bgr), 64);
        EXPECT_EQ(c.run(target).code, TAV_OK);
        return c.dst;
    };
    // Pure blue: U clamps from 256 to 255; V = (-20 x 255 + 32896) >> 8 = 108.
    auto uyv = encode({255, 0, 0}, 1, TAV_PF_YUV8_UYV);
    EXPECT_EQ(uyv[0], 255);
    EXPECT_EQ(uyv[1], (29 * 255 + 128) >> 8);
    EXPECT_EQ(uyv[2], 108);
    auto pair = encode({255, 0, 0, 255, 0, 0}, 2, TAV_PF_YUV422_8_UYVY);
    EXPECT_EQ(pair[0], 255);
    EXPECT_EQ(pair[2], 108);
    auto black = encode({0, 0, 0, 0, 0, 0}, 2, TAV_PF_YUV422_8);
    EXPECT_EQ(std::vector<uint8_t>(black.begin(), black.begin() + 4),
              (std::vector<uint8_t>{0, 128, 0, 128}));
    // 4:1:1 chroma weights differ from 4:4:4 ones: grey 200 gives 128 either way,
    // pure green 255 gives (-85 x 255 + 32896) >> 8 = 43 against 44.
    auto g411 = encode({0, 255, 0, 0, 255, 0, 0, 255, 0, 0, 255, 0}, 4, TAV_PF_YUV411_8_UYYVYY);
    EXPECT_EQ(g411[0], 43);
    EXPECT_EQ(encode({0, 255, 0}, 1, TAV_PF_YUV8_UYV)[0], 44);
    // BT.709 studio range: white gives Y 235 (clamped), black Y 16, grey chroma 128.
    Call c(TAV_PF_BGR8, 2, 2, std::vector<uint8_t>(12, 255), 6);
    c.run(TAV_PF_YUV420P);
    EXPECT_EQ(std::vector<uint8_t>(c.dst.begin(), c.dst.begin() + 6),
              (std::vector<uint8_t>{234, 234, 234, 234, 128, 128}));
    EXPECT_EQ(cvt::luma709(0, 0, 0), 16);
}

// ---- monochrome sources

TEST(MonoConverters, Mono1pKeepsBitWeightsAndWholeBytes) {
    Call c(TAV_PF_MONO1P, 3, 5, {0xFF, 0x81}, 16);
    EXPECT_EQ(c.run(TAV_PF_MONO8).code, TAV_OK);
    EXPECT_EQ(std::vector<uint8_t>(c.dst.begin(), c.dst.begin() + 9),
              (std::vector<uint8_t>{1, 2, 4, 8, 16, 32, 64, 128, 0xA5}));
    Call seven(TAV_PF_MONO1P, 1, 7, {0xFF}, 8);
    EXPECT_EQ(seven.run(TAV_PF_MONO8).code, TAV_OK);
    EXPECT_TRUE(seven.untouched());
    Call two(TAV_PF_MONO1P, 2, 8, {0x81, 0x42}, 16);
    two.run(TAV_PF_MONO8);
    EXPECT_EQ(std::vector<uint8_t>(two.dst.begin(), two.dst.begin() + 16),
              (std::vector<uint8_t>{1, 0, 0, 0, 0, 0, 0, 128, 0, 2, 0, 0, 0, 0, 64, 0}));
}

TEST(MonoConverters, Mono4pNibblesInEveryForm) {
    struct {
        uint32_t target;
        int bytes;
    } const forms[] = {{TAV_PF_MONO8, 1},
                       {TAV_PF_RGB8, 3},
                       {TAV_PF_BGR8, 3},
                       {TAV_PF_RGBA8, 4},
                       {TAV_PF_BGRA8, 4}};
    for (const auto& f : forms) {
        // Three pixels: the odd last one from the low nibble of the next byte.
        Call c(TAV_PF_MONO4P, 1, 3, {0x5A, 0x73}, 16);
        EXPECT_EQ(c.run(f.target).code, TAV_OK);
        const uint8_t values[3] = {0xA0, 0x50, 0x30};
        for (int p = 0; p < 3; ++p) {
            for (int k = 0; k < f.bytes; ++k) {
                EXPECT_EQ(c.dst[p * f.bytes + k], k == 3 ? 0 : values[p]) << f.bytes << " p" << p;
            }
        }
        EXPECT_EQ(c.dst[3 * f.bytes], 0xA5);
    }
    Call one(TAV_PF_MONO4P, 1, 1, {0x5A}, 4);
    one.run(TAV_PF_MONO8);
    EXPECT_EQ(one.dst[0], 0xA0);
    EXPECT_EQ(one.dst[1], 0xA5);
}

TEST(MonoConverters, Mono8ToStudioPlanar) {
    // Every grey value, through the vector blocks and the tail.
    const int32_t h = 16, w = 18, n = h * w;
    std::vector<uint8_t> src(n);
    for (int i = 0; i < n; ++i) src[i] = uint8_t(i * 7 + i / 256);
    Call c(TAV_PF_MONO8, h, w, src, n + n / 2);
    EXPECT_EQ(c.run(TAV_PF_YUV420P).code, TAV_OK);
    for (int i = 0; i < n; ++i)
        ASSERT_EQ(c.dst[i], (219 * src[i] + 4096) >> 8) << "grey " << int(src[i]);
    EXPECT_EQ(c.dst[std::find(src.begin(), src.end(), 255) - src.begin()], 234);
    EXPECT_EQ(c.dst[std::find(src.begin(), src.end(), 0) - src.begin()], 16);
    for (int i = n; i < n + n / 2; ++i) ASSERT_EQ(c.dst[i], 128);
    EXPECT_EQ(c.dst[n + n / 2], 0xA5);
}

std::vector<uint8_t> record(uint8_t value, int row1, int column1) {
    return {value, uint8_t(row1 >> 4), uint8_t(((row1 & 15) << 4) | (column1 >> 8)),
            uint8_t(column1)};
}

// One record and the terminator.
std::vector<uint8_t> single(uint8_t value, int row1, int column1) {
    auto r = record(value, row1, column1);
    r.insert(r.end(), {0, 0, 0, 0});
    return r;
}

TEST(MonoConverters, PointListPlacesRecordsUntilTheTerminator) {
    std::vector<uint8_t> list;
    for (auto r : {record(7, 1, 1), record(9, 3, 5), record(200, 20, 300)})
        list.insert(list.end(), r.begin(), r.end());
    list.insert(list.end(), {0, 0, 0, 0});
    list.insert(list.end(), {5, 0, 0x11, 0x01});  // after the terminator: never read as a point
    const int32_t h = 20, w = 300;
    Call c(TAV_PF_MONO1C, h, w, list, h * w);
    std::fill(c.dst.begin(), c.dst.begin() + h * w, 0x33);
    EXPECT_EQ(c.run(TAV_PF_MONO8).code, TAV_OK);
    std::vector<uint8_t> expect(h * w, 0);
    expect[0] = 7;
    expect[2 * w + 4] = 9;
    expect[19 * w + 299] = 200;
    EXPECT_TRUE(std::equal(expect.begin(), expect.end(), c.dst.begin()));
}

TEST(MonoConverters, PointListQuirks) {
    // The destination is cleared even when the target is then refused.
    Call refused(TAV_PF_MONO1C, 4, 4, single(7, 1, 1), 16);
    EXPECT_EQ(refused.run(TAV_PF_RGB8).code, TAV_E_PIXEL_FORMAT);
    EXPECT_TRUE(std::all_of(refused.dst.begin(), refused.dst.begin() + 16,
                            [](uint8_t b) { return b == 0; }));
    // Out of bounds stops at once, points already placed stay; no print.
    std::vector<uint8_t> list = record(1, 1, 2);
    for (auto r : {record(2, 5, 1), record(3, 1, 3)}) list.insert(list.end(), r.begin(), r.end());
    Call out(TAV_PF_MONO1C, 4, 4, list, 16);
    out.run(TAV_PF_MONO8);
    EXPECT_EQ(out.code, TAV_E_IMAGE_SIZE);
    EXPECT_EQ(out.printed, "");
    EXPECT_EQ(out.dst[1], 1);
    EXPECT_EQ(out.dst[2], 0);
    Call wide(TAV_PF_MONO1C, 4, 4, single(2, 1, 5), 16);
    EXPECT_EQ(wide.run(TAV_PF_MONO8).code, TAV_E_IMAGE_SIZE);
    // A zero column field gives column -1: the last pixel of the row before.
    Call zero(TAV_PF_MONO1C, 4, 4, single(8, 2, 0), 16);
    EXPECT_EQ(zero.run(TAV_PF_MONO8).code, TAV_OK);
    EXPECT_EQ(zero.dst[3], 8);
    // A zero row field would index before the buffer: passed over, the next record still counts.
    std::vector<uint8_t> early = record(6, 0, 2);
    for (auto r : {record(4, 2, 2), record(0, 0, 0)}) early.insert(early.end(), r.begin(), r.end());
    Call before(TAV_PF_MONO1C, 4, 4, early, 16);
    EXPECT_EQ(before.run(TAV_PF_MONO8).code, TAV_OK);
    EXPECT_EQ(std::count(before.dst.begin(), before.dst.begin() + 16, 6), 0);
    EXPECT_EQ(before.dst[5], 4);
    // At most n/4 records (rounded up): a 2 x 3 image takes two.
    std::vector<uint8_t> three;
    for (auto r : {record(1, 1, 1), record(2, 1, 2), record(3, 1, 3)})
        three.insert(three.end(), r.begin(), r.end());
    Call few(TAV_PF_MONO1C, 2, 3, three, 6);
    EXPECT_EQ(few.run(TAV_PF_MONO8).code, TAV_OK);
    EXPECT_EQ(std::vector<uint8_t>(few.dst.begin(), few.dst.begin() + 3),
              (std::vector<uint8_t>{1, 2, 0}));
}

// ---- bgrToBgra

TEST(BgrToBgra, FastStepAndTailWriteTheSameBytes) {
    for (uint32_t w : {1u, 15u, 16u, 17u, 31u, 32u, 33u, 47u, 100u}) {
        for (int32_t h : {1, 3}) {
            const auto src = tavtest::randomBytes(3 * w * h, w + h);
            std::vector<uint8_t> out(4 * w * h + 16, 0xA5);
            EXPECT_EQ(bgrToBgra(src.data(), w, h, out.data()), 3 * w * h);
            for (uint32_t i = 0; i < w * h; ++i) {
                const uint8_t expect[4] = {src[3 * i], src[3 * i + 1], src[3 * i + 2], 0};
                ASSERT_EQ(0, std::memcmp(&out[4 * i], expect, 4))
                    << w << "x" << h << " pixel " << i;
            }
            EXPECT_EQ(out[4 * w * h], 0xA5);
        }
    }
}

// ---- tavBMPAdjust

TEST(BmpAdjust, ChecksArePrinted) {
    std::vector<uint8_t> buf(512);
    TavImage img{4, 4, TAV_PF_BGR8, buf.data(), 0};
    int handle = 0;
    int32_t code = 0;
    EXPECT_EQ(printedBy([&] { code = tavBMPAdjust(nullptr, &img); }), diag(14));
    EXPECT_EQ(code, TAV_E_NULL_POINTER);
    EXPECT_EQ(printedBy([&] { code = tavBMPAdjust(&handle, nullptr); }), diag(14));
    EXPECT_EQ(code, TAV_E_NULL_POINTER);
    img.data = nullptr;
    img.height = 0;
    EXPECT_EQ(printedBy([&] { code = tavBMPAdjust(&handle, &img); }), diag(15));
    EXPECT_EQ(code, TAV_E_NULL_POINTER);
    img.data = buf.data();
    for (auto [h, w] : {std::pair{3, 5}, {5, 3}, {-5, 5}, {5, -1}}) {
        img.height = h, img.width = w;
        EXPECT_EQ(printedBy([&] { code = tavBMPAdjust(&handle, &img); }), diag(16));
        EXPECT_EQ(code, TAV_E_IMAGE_SIZE);
    }
}

TEST(BmpAdjust, RowsArePaddedInPlace) {
    int handle = 0;
    for (int32_t w : {4, 5, 6, 7, 8, 9, 33}) {
        const int32_t h = 5, row = 3 * w, padded = (row + 3) / 4 * 4;
        auto buf = tavtest::randomBytes(size_t(h) * padded + 8, w);
        const auto before = buf;
        TavImage img{h, w, 0x12345678, buf.data(), 77};
        EXPECT_EQ(printedBy([&] { EXPECT_EQ(tavBMPAdjust(&handle, &img), TAV_OK); }), "");
        for (int32_t r = 0; r < h; ++r) {
            EXPECT_EQ(0, std::memcmp(&buf[r * padded], &before[r * row], row))
                << "w=" << w << " row " << r;
            for (int32_t k = row; k < padded; ++k) EXPECT_EQ(buf[r * padded + k], 0) << "w=" << w;
        }
        EXPECT_EQ(0, std::memcmp(&buf[h * padded], &before[h * padded], 8));
        EXPECT_EQ(img.pixelFormat, 0x12345678u);
        EXPECT_EQ(img.pitch, 77);
    }
}

}  // namespace
