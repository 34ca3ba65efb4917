// The 8-bit entry: checks in order with their printed sites, source mapping,
// normalisation through the entry, Mono8 replication and the scratch buffer.
#include <algorithm>
#include <cstring>

#include "alloc_hook.h"
#include "support.h"

using tavtest::diag;
using tavtest::printedBy;

namespace {

struct Call {
    tavtest::Context c;
    std::vector<uint8_t> srcBytes = std::vector<uint8_t>(64 * 64 * 2, 7);
    std::vector<uint8_t> dstBytes = std::vector<uint8_t>(64 * 64 * 4, 0xEE);
    TavImage src{8, 8, TAV_PF_MONO8, srcBytes.data(), 8};
    TavImage dst{0, 0, 0, dstBytes.data(), 0};

    // Runs the entry, expecting `code` and the print of `site` (or none).
    void expect(int32_t code, int site, uint32_t method = 1) {
        const TavImage dstBefore = dst;
        const auto bytesBefore = dstBytes;
        const std::string out =
            printedBy([&] { EXPECT_EQ(tavDemosaicing(c.ctx, &src, method, &dst), code); });
        EXPECT_EQ(out, site ? diag(site) : "");
        if (code != TAV_OK) {
            EXPECT_EQ(std::memcmp(&dst, &dstBefore, sizeof dst), 0) << "destination record changed";
            EXPECT_TRUE(dstBytes == bytesBefore) << "destination pixels changed";
        }
    }
};

}  // namespace

TEST(EntryChecks, NullRecordsAndData) {
    Call k;
    EXPECT_EQ(printedBy([&] {
                  EXPECT_EQ(tavDemosaicing(nullptr, &k.src, 1, &k.dst), TAV_E_NULL_POINTER);
              }),
              diag(94));
    EXPECT_EQ(printedBy([&] {
                  EXPECT_EQ(tavDemosaicing(k.c.ctx, nullptr, 1, &k.dst), TAV_E_NULL_POINTER);
              }),
              diag(94));
    EXPECT_EQ(printedBy([&] {
                  EXPECT_EQ(tavDemosaicing(k.c.ctx, &k.src, 1, nullptr), TAV_E_NULL_POINTER);
              }),
              diag(94));
    k.src.data = nullptr;
    k.src.width = 0;  // the data check comes before the size check
    k.expect(TAV_E_NULL_POINTER, 95);
    k.src.data = k.srcBytes.data();
    k.dst.data = nullptr;
    k.expect(TAV_E_NULL_POINTER, 95);
}

class EntrySize : public testing::TestWithParam<std::tuple<int32_t, int32_t, int32_t>> {};

TEST_P(EntrySize, SmallOrNegativeDimensionsAreRefused) {
    Call k;
    std::tie(k.src.height, k.src.width, k.src.pitch) = GetParam();
    k.src.pixelFormat = 0;  // the size check comes before the format check
    k.expect(TAV_E_IMAGE_SIZE, 96);
}

INSTANTIATE_TEST_SUITE_P(All, EntrySize,
                         testing::Values(std::make_tuple(3, 8, 8), std::make_tuple(8, 3, 8),
                                         std::make_tuple(8, 8, 3), std::make_tuple(-8, 8, 8),
                                         std::make_tuple(8, -8, 8), std::make_tuple(8, 8, -8),
                                         std::make_tuple(0, 0, 0)));

TEST(EntryChecks, PixelCountMustFitInASignedInt) {
    Call k;
    k.src.height = 32768;
    k.src.width = 65536;  // 2^31
    k.expect(TAV_E_IMAGE_SIZE, 104);
    k.src.height = 65535;
    k.src.width = 65535;  // wraps to a negative value too
    k.expect(TAV_E_IMAGE_SIZE, 104);
}

TEST(EntryChecks, UnknownSourceFormats) {
    Call k;
    for (uint32_t format :
         {0u, 0x0110010Fu /* a 14-bit Bayer code */, TAV_PF_YUV422_8, TAV_PF_BGR8, TAV_PF_MONO1P}) {
        k.src.pixelFormat = format;
        k.expect(TAV_E_PIXEL_FORMAT, 110);
    }
}

TEST(EntryChecks, ScratchAllocationFailureNamesTheSourceClass) {
    for (uint32_t format : {TAV_PF_MONO8, TAV_PF_MONO12, TAV_PF_MONO12_PACKED}) {
        Call k;
        k.src.pixelFormat = format;
        k.src.pitch = 16;
        const std::string out = [&] {
            tavtest::FailAllocations fail(1);
            return printedBy(
                [&] { EXPECT_EQ(tavDemosaicing(k.c.ctx, &k.src, 1, &k.dst), TAV_E_NO_MEMORY); });
        }();
        EXPECT_EQ(out, diag(42) + diag(format == TAV_PF_MONO8 ? 115 : 119));
        EXPECT_EQ(k.dst.pixelFormat, 0u);
        // The context stays usable.
        k.expect(TAV_OK, 0);
    }
}

TEST(EntryChecks, OutputUnknownToTheFamilyFailsWithoutPrint) {
    Call k;
    k.c.ctx->outputFormat = TAV_PF_RGB16;  // only possible by writing the record directly
    k.expect(TAV_E_PARAMETER, 0);
}

// ---- source mapping

struct Mapping {
    uint32_t code, format8;
    int32_t normClass;
};

class SourceMapping : public testing::TestWithParam<Mapping> {};

TEST_P(SourceMapping, GivesThe8BitFormatAndClass) {
    const Mapping m = GetParam();
    TavImage src{8, 8, m.code, nullptr, 8};
    uint32_t format8 = 0;
    int32_t normClass = 99;
    EXPECT_EQ(demosaicDataInit(&src, nullptr, &format8, &normClass), TAV_OK);
    EXPECT_EQ(format8, m.format8);
    EXPECT_EQ(normClass, m.normClass);
}

INSTANTIATE_TEST_SUITE_P(All, SourceMapping,
                         testing::Values(Mapping{TAV_PF_MONO8, TAV_PF_MONO8, 0},
                                         Mapping{TAV_PF_BAYER_GR8, TAV_PF_BAYER_GR8, 0},
                                         Mapping{TAV_PF_BAYER_RG8, TAV_PF_BAYER_RG8, 0},
                                         Mapping{TAV_PF_BAYER_GB8, TAV_PF_BAYER_GB8, 0},
                                         Mapping{TAV_PF_BAYER_BG8, TAV_PF_BAYER_BG8, 0},
                                         Mapping{TAV_PF_MONO10, TAV_PF_MONO8, 2},
                                         Mapping{TAV_PF_BAYER_GR10, TAV_PF_BAYER_GR8, 2},
                                         Mapping{TAV_PF_BAYER_RG10, TAV_PF_BAYER_RG8, 2},
                                         Mapping{TAV_PF_BAYER_GB10, TAV_PF_BAYER_GB8, 2},
                                         Mapping{TAV_PF_BAYER_BG10, TAV_PF_BAYER_BG8, 2},
                                         Mapping{TAV_PF_MONO12, TAV_PF_MONO8, 4},
                                         Mapping{TAV_PF_BAYER_GR12, TAV_PF_BAYER_GR8, 4},
                                         Mapping{TAV_PF_BAYER_RG12, TAV_PF_BAYER_RG8, 4},
                                         Mapping{TAV_PF_BAYER_GB12, TAV_PF_BAYER_GB8, 4},
                                         Mapping{TAV_PF_BAYER_BG12, TAV_PF_BAYER_BG8, 4},
                                         Mapping{TAV_PF_MONO14, TAV_PF_MONO8, 6},
                                         Mapping{TAV_PF_MONO16, TAV_PF_MONO8, 8},
                                         Mapping{TAV_PF_BAYER_GR16, TAV_PF_BAYER_GR8, 8},
                                         Mapping{TAV_PF_BAYER_RG16, TAV_PF_BAYER_RG8, 8},
                                         Mapping{TAV_PF_BAYER_GB16, TAV_PF_BAYER_GB8, 8},
                                         Mapping{TAV_PF_BAYER_BG16, TAV_PF_BAYER_BG8, 8},
                                         Mapping{TAV_PF_MONO10_PACKED, TAV_PF_MONO8, -1},
                                         Mapping{TAV_PF_MONO12_PACKED, TAV_PF_MONO8, -1},
                                         Mapping{TAV_PF_BAYER_GR10_PACKED, TAV_PF_BAYER_GR8, -1},
                                         Mapping{TAV_PF_BAYER_RG10_PACKED, TAV_PF_BAYER_RG8, -1},
                                         Mapping{TAV_PF_BAYER_GB10_PACKED, TAV_PF_BAYER_GB8, -1},
                                         Mapping{TAV_PF_BAYER_BG10_PACKED, TAV_PF_BAYER_BG8, -1},
                                         Mapping{TAV_PF_BAYER_GR12_PACKED, TAV_PF_BAYER_GR8, -1},
                                         Mapping{TAV_PF_BAYER_RG12_PACKED, TAV_PF_BAYER_RG8, -1},
                                         Mapping{TAV_PF_BAYER_GB12_PACKED, TAV_PF_BAYER_GB8, -1},
                                         Mapping{TAV_PF_BAYER_BG12_PACKED, TAV_PF_BAYER_BG8, -1}));

// ---- Mono sources of every class through the entry, compact and padded

struct MonoSource {
    uint32_t code;
    int bytesPerTwo;  // container bytes per two samples
    int shift;        // 0 for 8-bit and packed
};

class MonoThroughEntry : public testing::TestWithParam<std::tuple<MonoSource, int>> {};

TEST_P(MonoThroughEntry, GivesTheTopByteOfEverySample) {
    const auto [source, extraPitch] = GetParam();
    for (int32_t height : {4, 7}) {
        for (int32_t width = 4; width <= 41; ++width) {
            const int32_t compact = width * source.bytesPerTwo / 2;
            const int32_t pitch = compact + extraPitch;
            // Packed rows of odd width need their last group complete to be read.
            const auto bytes =
                tavtest::randomBytes(size_t(height) * pitch + 4, width * 13 + height);
            auto srcBuf = bytes;
            std::vector<uint8_t> out(size_t(height) * width, 0xEE);
            tavtest::Context c;
            c.setOutput(TAV_PF_MONO8);
            TavImage src{height, width, source.code, srcBuf.data(), pitch};
            TavImage dst{0, 0, 0, out.data(), 12345};
            ASSERT_EQ(tavDemosaicing(c.ctx, &src, 1, &dst), TAV_OK);
            EXPECT_EQ(dst.height, height);
            EXPECT_EQ(dst.width, width);
            EXPECT_EQ(dst.pixelFormat, TAV_PF_MONO8);
            EXPECT_EQ(dst.pitch, 12345);
            // Compact packed frames are read as one run of samples, so an odd
            // width carries pairs across rows; wide rows step by whole samples.
            const bool oneRun = source.bytesPerTwo == 3 && pitch == compact;
            const int32_t rowStep = source.bytesPerTwo == 4 ? (pitch >> 1) * 2 : pitch;
            for (int32_t y = 0; y < height; ++y) {
                const uint8_t* row = bytes.data() + size_t(y) * rowStep;
                for (int32_t x = 0; x < width; ++x) {
                    uint8_t want;
                    if (source.bytesPerTwo == 2) {
                        want = row[x];
                    } else if (oneRun) {
                        const int32_t i = y * width + x;
                        want = bytes[(i >> 1) * 3 + (i & 1) * 2];
                    } else if (source.bytesPerTwo == 3) {
                        want = row[(x >> 1) * 3 + (x & 1) * 2];
                    } else {
                        // Random words may carry stray high bits: only in-range samples are
                        // compared.
                        uint16_t v;
                        std::memcpy(&v, row + 2 * x, 2);
                        if ((v >> source.shift) > 255) continue;
                        want = static_cast<uint8_t>(v >> source.shift);
                    }
                    ASSERT_EQ(out[y * width + x], want)
                        << "w=" << width << " y=" << y << " x=" << x;
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, MonoThroughEntry,
                         testing::Combine(testing::Values(MonoSource{TAV_PF_MONO8, 2, 0},
                                                          MonoSource{TAV_PF_MONO10, 4, 2},
                                                          MonoSource{TAV_PF_MONO12, 4, 4},
                                                          MonoSource{TAV_PF_MONO14, 4, 6},
                                                          MonoSource{TAV_PF_MONO16, 4, 8},
                                                          MonoSource{TAV_PF_MONO10_PACKED, 3, 0},
                                                          MonoSource{TAV_PF_MONO12_PACKED, 3, 0}),
                                          testing::Values(0, 2, 5)));

TEST(EntryCompaction, PaddedEightBitSourceIsCompactedInPlace) {
    const int32_t height = 6, width = 21, pitch = 24;
    const auto original = tavtest::randomBytes(size_t(height) * pitch, 5);
    auto buf = original;
    std::vector<uint8_t> out(size_t(height) * width);
    tavtest::Context c;
    c.setOutput(TAV_PF_MONO8);
    TavImage src{height, width, TAV_PF_MONO8, buf.data(), pitch};
    TavImage dst{0, 0, 0, out.data(), 0};
    ASSERT_EQ(tavDemosaicing(c.ctx, &src, 0, &dst), TAV_OK);
    EXPECT_EQ(src.pitch, pitch);  // the record is not changed, only its bytes
    for (int32_t y = 0; y < height; ++y) {
        EXPECT_TRUE(std::equal(buf.begin() + y * width, buf.begin() + (y + 1) * width,
                               original.begin() + y * pitch));
    }
    EXPECT_TRUE(
        std::equal(buf.begin() + height * width, buf.end(), original.begin() + height * width));
    EXPECT_TRUE(std::equal(out.begin(), out.end(), buf.begin()));
}

// ---- Mono8 replicated into every output

class Mono8Output : public testing::TestWithParam<uint64_t> {};

TEST_P(Mono8Output, ReplicatesEveryByte) {
    const uint64_t format = GetParam();
    for (int32_t height : {4, 5}) {
        for (int32_t width = 4; width <= 40; ++width) {
            const int32_t n = width * height;
            const auto src = tavtest::randomBytes(n, n);
            const int bytes = format == TAV_PF_MONO8                               ? 1
                              : (format == TAV_PF_RGBA8 || format == TAV_PF_BGRA8) ? 4
                                                                                   : 3;
            std::vector<uint8_t> out(size_t(n) * bytes + 16, 0xEE);
            ASSERT_EQ(mono8Convert(src.data(), out.data(), height, width, format), TAV_OK);
            const bool planar = format == TAV_PF_RGB8_PLANAR || format == TAV_PF_BGR8_PLANAR;
            for (int32_t i = 0; i < n; ++i) {
                for (int k = 0; k < bytes; ++k) {
                    const uint8_t got = planar ? out[k * n + i] : out[i * bytes + k];
                    const uint8_t want = (bytes == 4 && k == 3) ? 0 : src[i];
                    ASSERT_EQ(got, want) << "w=" << width << " i=" << i << " k=" << k;
                }
            }
            EXPECT_TRUE(
                std::all_of(out.end() - 16, out.end(), [](uint8_t b) { return b == 0xEE; }));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, Mono8Output,
                         testing::Values(TAV_PF_MONO8, TAV_PF_RGB8, TAV_PF_BGR8, TAV_PF_RGB8_PLANAR,
                                         TAV_PF_BGR8_PLANAR, TAV_PF_RGBA8, TAV_PF_BGRA8));

TEST(Mono8Output, UnknownOutputIsAParameterError) {
    uint8_t src[16] = {}, dst[64] = {};
    EXPECT_EQ(mono8Convert(src, dst, 4, 4, TAV_PF_RGB16), TAV_E_PARAMETER);
}

TEST(Mono8Output, MethodIsIgnored) {
    Call k;
    k.c.setOutput(TAV_PF_BGRA8);
    k.expect(TAV_OK, 0, 7);
    EXPECT_EQ(k.dst.pixelFormat, TAV_PF_BGRA8);
    EXPECT_EQ(k.dstBytes[0], 7);
    EXPECT_EQ(k.dstBytes[3], 0);
}

// ---- Bayer sources: every output and method either succeeds having written
// every pixel, or fails leaving the destination record as it was.

class BayerOutcome : public testing::TestWithParam<std::tuple<uint32_t, uint64_t, uint32_t>> {};

TEST_P(BayerOutcome, NeverSucceedsWithUnwrittenPixels) {
    const auto [source, output, method] = GetParam();
    const int32_t height = 9, width = 23, n = height * width;
    const auto bytes = tavtest::randomBytes(n, 3);
    std::vector<uint8_t> results[2];
    int32_t codes[2];
    for (int pass = 0; pass < 2; ++pass) {
        auto srcBuf = bytes;
        results[pass].assign(size_t(n) * 4, pass ? 0x00 : 0xFF);
        tavtest::Context c;
        c.setOutput(output);
        TavImage src{height, width, source, srcBuf.data(), width};
        TavImage dst{0, 0, 0, results[pass].data(), 0};
        codes[pass] = tavDemosaicing(c.ctx, &src, method, &dst);
        EXPECT_EQ(dst.pixelFormat, codes[pass] == TAV_OK ? output : 0u);
    }
    EXPECT_EQ(codes[0], codes[1]);
    if (codes[0] == TAV_OK) {
        const int bytesPerPixel = output == TAV_PF_MONO8                               ? 1
                                  : (output == TAV_PF_RGBA8 || output == TAV_PF_BGRA8) ? 4
                                                                                       : 3;
        results[0].resize(size_t(n) * bytesPerPixel);
        results[1].resize(size_t(n) * bytesPerPixel);
        // The edge-directed 4-byte form leaves most alpha bytes as the buffer
        // held them: compare its colour bytes only.
        if (method == TAV_METHOD_EDGE && bytesPerPixel == 4) {
            for (auto& r : results) {
                for (size_t i = 3; i < r.size(); i += 4) r[i] = 0;
            }
        }
        EXPECT_TRUE(results[0] == results[1]) << "some output bytes were not written";
    }
}

INSTANTIATE_TEST_SUITE_P(All, BayerOutcome,
                         testing::Combine(testing::Values(TAV_PF_BAYER_RG8, TAV_PF_BAYER_GR8,
                                                          TAV_PF_BAYER_GB8, TAV_PF_BAYER_BG8),
                                          testing::Values(TAV_PF_MONO8, TAV_PF_RGB8, TAV_PF_BGR8,
                                                          TAV_PF_RGB8_PLANAR, TAV_PF_BGR8_PLANAR,
                                                          TAV_PF_RGBA8, TAV_PF_BGRA8),
                                          testing::Values(0u, 1u, 2u)));

TEST(BayerOutcome, UnknownMethodSucceedsWithoutWritingPixels) {
    Call k;
    k.src.pixelFormat = TAV_PF_BAYER_GB8;
    k.c.setOutput(TAV_PF_RGB8);
    const auto before = k.dstBytes;
    k.expect(TAV_OK, 0, 7);
    EXPECT_TRUE(k.dstBytes == before);
    EXPECT_EQ(k.dst.height, 8);
    EXPECT_EQ(k.dst.width, 8);
    EXPECT_EQ(k.dst.pixelFormat, TAV_PF_RGB8);
}

// ---- the scratch buffer across a stream of frames

TEST(EntryScratch, EqualFramesAllocateOnceAndBiggerFramesGrowIt) {
    tavtest::Context c;
    c.setOutput(TAV_PF_MONO8);
    const int32_t height = 10, width = 30;
    auto words = tavtest::randomBytes(size_t(2 * height) * width * 2, 1);
    std::vector<uint8_t> out(size_t(height) * width * 2 * 2);
    TavImage src{height, width, TAV_PF_MONO12, words.data(), width * 2};
    TavImage dst{0, 0, 0, out.data(), 0};
    ASSERT_EQ(tavDemosaicing(c.ctx, &src, 1, &dst), TAV_OK);
    const uint8_t* buffer = c.ctx->scratch.buffer;
    EXPECT_EQ(c.ctx->scratch.capacity, (height + 1) * width + 64);
    for (int frame = 0; frame < 5; ++frame) {
        tavtest::FailAllocations noMore(1);  // any allocation now would fail the call
        ASSERT_EQ(tavDemosaicing(c.ctx, &src, 1, &dst), TAV_OK);
    }
    EXPECT_EQ(c.ctx->scratch.buffer, buffer);

    // An 8-bit frame needs less: the buffer stays.
    src.pixelFormat = TAV_PF_MONO8;
    src.pitch = width;
    ASSERT_EQ(tavDemosaicing(c.ctx, &src, 1, &dst), TAV_OK);
    EXPECT_EQ(c.ctx->scratch.capacity, (height + 1) * width + 64);

    src.height = 2 * height;
    src.pixelFormat = TAV_PF_MONO10;
    src.pitch = width * 2;
    ASSERT_EQ(tavDemosaicing(c.ctx, &src, 1, &dst), TAV_OK);
    EXPECT_EQ(c.ctx->scratch.capacity, (2 * height + 1) * width + 64);
}

TEST(EntryScratch, EightBitSourceNeedsOnlyALine) {
    Call k;
    k.expect(TAV_OK, 0);
    EXPECT_EQ(k.c.ctx->scratch.capacity, k.src.width + 64);
}
