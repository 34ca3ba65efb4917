// The 16-bit entry: its checks and printed sites, the converters' format,
// method, word-order and bit-depth rules, the Mono paths and shiftTo16.
#include <cstring>

#include "demosaic16_reference.h"
#include "support.h"

using tavtest::diag;
using tavtest::printedBy;

namespace {

constexpr uint16_t kUntouched = 0xA5C3;

// A call of the entry on buffers it owns.
struct Call16 {
    int32_t h = 8, w = 10;
    TavDemosaicU16Config config{TAV_PF_BGR12, TAV_METHOD_BILINEAR, 12};
    std::vector<uint16_t> src, dst;
    TavImage in{}, out{};

    Call16(uint32_t format, int32_t height, int32_t width, uint32_t bits)
        : h(height),
          w(width),
          src(tavtest::randomWords(size_t(height) * width, height * 131 + width, bits)),
          dst(3 * size_t(height) * width, kUntouched) {
        config.bitDepth = bits;
        in = {h, w, format, reinterpret_cast<uint8_t*>(src.data()), 2 * w};
        out = {77, 88, 0x12345678u, reinterpret_cast<uint8_t*>(dst.data()), 99};
    }
    int32_t run() { return tavDemosaicingU16(&config, &in, &out); }

    // Expects `code` and the print of `site` (or none), and no pixel or record change.
    void refused(int32_t code, int site) {
        const TavImage before = out;
        EXPECT_EQ(printedBy([&] { EXPECT_EQ(run(), code); }), site ? diag(site) : "");
        EXPECT_EQ(std::memcmp(&out, &before, sizeof out), 0);
        EXPECT_EQ(dst, std::vector<uint16_t>(dst.size(), kUntouched));
    }
};

}  // namespace

// ---- checks

TEST(Entry16Checks, NullPointers) {
    Call16 c(TAV_PF_BAYER_RG12, 8, 8, 12);
    EXPECT_EQ(printedBy([&] {
                  EXPECT_EQ(tavDemosaicingU16(nullptr, &c.in, &c.out), TAV_E_NULL_POINTER);
              }),
              diag(214));
    EXPECT_EQ(printedBy([&] {
                  EXPECT_EQ(tavDemosaicingU16(&c.config, nullptr, &c.out), TAV_E_NULL_POINTER);
              }),
              diag(214));
    EXPECT_EQ(printedBy([&] {
                  EXPECT_EQ(tavDemosaicingU16(&c.config, &c.in, nullptr), TAV_E_NULL_POINTER);
              }),
              diag(214));
    c.in.data = nullptr;
    c.in.width = 0;  // the data check comes first
    c.refused(TAV_E_NULL_POINTER, 215);
    c.in.data = reinterpret_cast<uint8_t*>(c.src.data());
    c.out.data = nullptr;
    EXPECT_EQ(printedBy([&] { EXPECT_EQ(c.run(), TAV_E_NULL_POINTER); }), diag(215));
}

class Entry16Size : public testing::TestWithParam<std::tuple<int32_t, int32_t, int32_t>> {};

TEST_P(Entry16Size, SmallOrNegativeDimensionsAreRefused) {
    Call16 c(0 /* the size check comes before the format */, 8, 8, 12);
    std::tie(c.in.height, c.in.width, c.in.pitch) = GetParam();
    c.refused(TAV_E_IMAGE_SIZE, 216);
}

INSTANTIATE_TEST_SUITE_P(All, Entry16Size,
                         testing::Values(std::make_tuple(3, 8, 16), std::make_tuple(8, 3, 16),
                                         std::make_tuple(8, 8, 3), std::make_tuple(-8, 8, 16),
                                         std::make_tuple(8, -8, 16), std::make_tuple(8, 8, -16),
                                         std::make_tuple(0, 0, 0)));

TEST(Entry16Checks, PixelCountMustReadAsNonNegative) {
    Call16 c(0, 8, 8, 12);
    c.in.height = 32768;
    c.in.width = 65536;
    c.refused(TAV_E_IMAGE_SIZE, 228);
    c.in.height = 65535;
    c.in.width = 65535;
    c.refused(TAV_E_IMAGE_SIZE, 228);
    c.in.height = 65536;
    c.in.width = 65536;  // wraps to 0: passes this check, then fails on the format
    c.refused(TAV_E_PIXEL_FORMAT, 0);
}

TEST(Entry16Checks, UnknownSourceFormatsFailSilently) {
    for (uint32_t format : {0u, TAV_PF_BAYER_RG8, TAV_PF_MONO8, TAV_PF_BAYER_RG12_PACKED,
                            TAV_PF_RGB16, 0x0110010Fu, TAV_PF_BAYER_BG16 + 1}) {
        Call16 c(format, 8, 8, 12);
        c.refused(TAV_E_PIXEL_FORMAT, 0);
    }
}

TEST(Entry16Checks, SmallestAcceptedSizeAndPitchIgnored) {
    Call16 c(TAV_PF_BAYER_RG12, 4, 4, 12);
    c.in.pitch = 4;  // only checked against 3: rows are read tightly packed
    EXPECT_EQ(printedBy([&] { EXPECT_EQ(c.run(), TAV_OK); }), "");
    std::vector<uint16_t> want(c.dst.size());
    demosaicingBilinearRGGBU16(c.src.data(), 4, 4, want.data(), 0);
    EXPECT_EQ(c.dst, want);
}

// ---- Bayer converters

namespace {

struct BayerSource {
    const char* name;
    uint32_t codes[3];    // 10-, 12- and 16-bit codes
    int32_t redCol;       // red column of row 0 of the kernel's mosaic
    bool redBlueSwapped;  // true red sits at the kernel mosaic's blue sites
    bool grKernel;
};

const BayerSource kBayer[] = {
    {"RG", {TAV_PF_BAYER_RG10, TAV_PF_BAYER_RG12, TAV_PF_BAYER_RG16}, 0, false, false},
    {"BG", {TAV_PF_BAYER_BG10, TAV_PF_BAYER_BG12, TAV_PF_BAYER_BG16}, 0, true, false},
    {"GR", {TAV_PF_BAYER_GR10, TAV_PF_BAYER_GR12, TAV_PF_BAYER_GR16}, 1, false, true},
    {"GB", {TAV_PF_BAYER_GB10, TAV_PF_BAYER_GB12, TAV_PF_BAYER_GB16}, 1, true, true},
};

void PrintTo(const BayerSource& s, std::ostream* os) {
    *os << s.name;
}

struct ColourFormat {
    uint32_t code;
    bool rgbOrder;
    bool toTop;
};

const ColourFormat kColourFormats[] = {
    {TAV_PF_RGB10, true, false},  {TAV_PF_BGR10, false, false}, {TAV_PF_RGB12, true, false},
    {TAV_PF_BGR12, false, false}, {TAV_PF_RGB16, true, true},
};

void PrintTo(const ColourFormat& f, std::ostream* os) {
    *os << std::hex << f.code;
}

}  // namespace

class Bayer16Bilinear : public testing::TestWithParam<std::tuple<BayerSource, ColourFormat>> {};

// Word order per format; BG keeps the RG kernel's order, so its red and blue
// come out exchanged with respect to the format's name.
TEST_P(Bayer16Bilinear, WordOrderAndDepthFollowTheFormat) {
    const auto& [source, format] = GetParam();
    for (uint32_t bits : {10u, 12u, 14u, 16u}) {
        for (uint32_t code : source.codes) {
            for (auto [h, w] : {std::pair{8, 10}, {9, 13}, {6, 29}}) {
                Call16 c(code, h, w, bits);
                c.config.outputFormat = format.code;
                const int32_t result = c.run();
                const bool refusedDepth = format.toTop && bits != 10 && bits != 12 && bits != 16;
                EXPECT_EQ(result, refusedDepth ? TAV_E_PIXEL_FORMAT : TAV_OK);
                const int shift = format.toTop && !refusedDepth ? 16 - int(bits) : 0;

                const auto ref = tavtest::bilinearReferenceFrame(c.src.data(), h, w, source.redCol);
                const bool redFirst = format.rgbOrder != (source.name == std::string("BG"));
                // Kernel colours (at the mosaic's red sites, green, at its blue sites) to true
                // ones.
                const int trueRed = source.redBlueSwapped ? tavtest::kBlue : tavtest::kRed;
                const int trueBlue = source.redBlueSwapped ? tavtest::kRed : tavtest::kBlue;
                const int order[3] = {redFirst ? trueRed : trueBlue, tavtest::kGreen,
                                      redFirst ? trueBlue : trueRed};
                const int32_t keptRow = source.grKernel ? h - 1 - (h & 1) : -1;
                for (int32_t y = 0; y < h; ++y) {
                    for (int32_t x = 0; x < w; ++x) {
                        const size_t i = size_t(y) * w + x;
                        for (int k = 0; k < 3; ++k) {
                            const uint16_t want = y == keptRow
                                                      ? uint16_t(kUntouched << shift)
                                                      : uint16_t(ref[i].c[order[k]] << shift);
                            ASSERT_EQ(c.dst[3 * i + k], want)
                                << source.name << " " << h << "x" << w << " y=" << y << " x=" << x
                                << " k=" << k;
                        }
                    }
                }
                EXPECT_EQ(c.out.height, 77);  // the destination record is not written
                EXPECT_EQ(c.out.width, 88);
                EXPECT_EQ(c.out.pixelFormat, 0x12345678u);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, Bayer16Bilinear,
                         testing::Combine(testing::ValuesIn(kBayer),
                                          testing::ValuesIn(kColourFormats)),
                         [](const auto& info) {
                             return std::string(std::get<0>(info.param).name) + "_" +
                                    std::to_string(std::get<1>(info.param).code & 0xFF);
                         });

TEST(Bayer16Convert, RefusedOutputsAndMethods) {
    using ConvertFn =
        int32_t (*)(const uint16_t*, uint16_t*, int32_t, int32_t, int64_t, uint32_t, uint32_t);
    const std::vector<uint16_t> src(64, 100);
    for (ConvertFn convert : {rg16Convert, gr16Convert, gb16Convert, bg16Convert}) {
        std::vector<uint16_t> dst(3 * 64, kUntouched);
        for (int64_t format :
             {int64_t{TAV_PF_RGB10} - 1, int64_t{TAV_PF_RGB10} + 8, int64_t{TAV_PF_RGB16} + 1,
              int64_t{TAV_PF_MONO16}, int64_t{TAV_PF_BGR8}, (int64_t{1} << 32) | TAV_PF_BGR12}) {
            EXPECT_EQ(convert(src.data(), dst.data(), 8, 8, format, TAV_METHOD_BILINEAR, 12),
                      TAV_E_PARAMETER);
        }
        for (uint32_t method : {0u, 3u, 0xFFFFFFFFu}) {
            EXPECT_EQ(convert(src.data(), dst.data(), 8, 8, TAV_PF_BGR12, method, 12),
                      TAV_E_PARAMETER);
            EXPECT_EQ(convert(src.data(), dst.data(), 8, 8, TAV_PF_RGB16, method, 12),
                      TAV_E_PARAMETER);
        }
        EXPECT_EQ(dst, std::vector<uint16_t>(dst.size(), kUntouched));
    }
}

TEST(Entry16Checks, OnlyTheLow32BitsOfTheOutputFormatCount) {
    Call16 a(TAV_PF_BAYER_RG12, 8, 8, 12), b(TAV_PF_BAYER_RG12, 8, 8, 12);
    b.config.outputFormat = int64_t(0x7FFFFFFF00000000) | TAV_PF_BGR12;
    ASSERT_EQ(a.run(), TAV_OK);
    ASSERT_EQ(b.run(), TAV_OK);
    EXPECT_EQ(a.dst, b.dst);
}

// ---- Mono

namespace {

struct MonoFormat {
    uint32_t code;
    int channels;
    bool toTop;
};

const MonoFormat kMonoFormats[] = {
    {TAV_PF_MONO10, 1, false}, {TAV_PF_MONO12, 1, false}, {TAV_PF_MONO14, 1, false},
    {TAV_PF_MONO16, 1, true},  {TAV_PF_RGB10, 3, false},  {TAV_PF_BGR10, 3, false},
    {TAV_PF_RGB12, 3, false},  {TAV_PF_BGR12, 3, false},  {TAV_PF_RGB16, 3, true},
};

void PrintTo(const MonoFormat& f, std::ostream* os) {
    *os << std::hex << f.code;
}

}  // namespace

class Mono16 : public testing::TestWithParam<MonoFormat> {};

// Copies or triples each sample; Mono16 and RGB16 shift where the depth
// allows and succeed where it does not; the method is not looked at.
TEST_P(Mono16, CopiesOrReplicatesAndShifts) {
    const MonoFormat& format = GetParam();
    for (uint32_t bits : {10u, 12u, 14u, 16u}) {
        for (uint32_t code : {TAV_PF_MONO10, TAV_PF_MONO12, TAV_PF_MONO14, TAV_PF_MONO16}) {
            for (auto [h, w] : {std::pair{4, 4}, {5, 7}, {7, 13}}) {
                Call16 c(code, h, w, bits);
                c.config.outputFormat = format.code;
                c.config.method = 0;
                ASSERT_EQ(printedBy([&] { EXPECT_EQ(c.run(), TAV_OK); }), "");
                const int shift = format.toTop && (bits == 10 || bits == 12) ? 16 - int(bits) : 0;
                const size_t n = size_t(h) * w;
                for (size_t i = 0; i < n; ++i) {
                    for (int k = 0; k < format.channels; ++k) {
                        ASSERT_EQ(c.dst[format.channels * i + k], uint16_t(c.src[i] << shift)) << i;
                    }
                }
                for (size_t i = format.channels * n; i < c.dst.size(); ++i)
                    ASSERT_EQ(c.dst[i], kUntouched);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, Mono16, testing::ValuesIn(kMonoFormats),
                         [](const auto& info) { return std::to_string(info.param.code); });

TEST(Mono16Convert, OtherOutputsAreRefused) {
    const std::vector<uint16_t> src(16, 9);
    std::vector<uint16_t> dst(48, kUntouched);
    for (int64_t format :
         {int64_t{TAV_PF_MONO8}, int64_t{TAV_PF_BGR8}, int64_t{TAV_PF_RGB16} + 1, int64_t{0}}) {
        EXPECT_EQ(mono16Convert(src.data(), dst.data(), 4, 4, format, 12), TAV_E_PARAMETER);
    }
    EXPECT_EQ(dst, std::vector<uint16_t>(48, kUntouched));
}

// ---- shiftTo16

class ShiftTo16 : public testing::TestWithParam<uint32_t> {};

TEST_P(ShiftTo16, ShiftsEveryWordOrRefuses) {
    const uint32_t bits = GetParam();
    for (int32_t channels : {1, 3}) {
        for (auto [h, w] : {std::pair{1, 1}, {3, 5}, {4, 8}, {7, 9}}) {
            const size_t count = size_t(h) * w * channels;
            const auto words =
                tavtest::randomWords(count + 1, h * w + channels, 16);  // high bits set too
            auto shifted = words;
            const int32_t result = shiftTo16(shifted.data(), h, w, bits, channels);
            if (bits == 16) {
                EXPECT_EQ(result, TAV_OK);
                EXPECT_EQ(shifted, words);
            } else if (bits == 10 || bits == 12) {
                EXPECT_EQ(result, TAV_OK);
                for (size_t i = 0; i < count; ++i)
                    ASSERT_EQ(shifted[i], uint16_t(words[i] << (16 - bits))) << i;
                EXPECT_EQ(shifted[count], words[count]);
            } else {
                EXPECT_EQ(result, TAV_E_PIXEL_FORMAT);
                EXPECT_EQ(shifted, words);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Depths, ShiftTo16, testing::Values(0u, 8u, 10u, 11u, 12u, 14u, 16u, 32u));

TEST(ShiftTo16Values, TwelveBitsTimesSixteen) {
    std::vector<uint16_t> v = {0, 1, 4095, 0x0ABC, 0xF001};
    EXPECT_EQ(shiftTo16(v.data(), 1, 5, 12, 1), TAV_OK);
    EXPECT_EQ(v, (std::vector<uint16_t>{0, 16, 65520, 0xABC0, 0x0010}));
    EXPECT_EQ(shiftTo16(v.data(), 0, 5, 12, 3), TAV_OK);  // nothing to do
    EXPECT_EQ(v[1], 16);
}
