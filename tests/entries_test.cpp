// The context and its scratch buffer, reduction of wide sources to 8 bits,
// and Mono8 replication.
#include <cstdlib>

#include "alloc_hook.h"
#include "support.h"

namespace {

using tavtest::Guarded;

// ---- context lifecycle

TEST(Context, CreateConfigureResetRelease) {
    TavContext* ctx = nullptr;
    ASSERT_EQ(tavCreate(&ctx), TAV_OK);
    uint64_t format = 0;
    EXPECT_EQ(tavDemosaicGetConfig(ctx, &format), TAV_OK);
    EXPECT_EQ(format, TAV_PF_BGR8);
    const int32_t tuning[8] = {12, 1, 0, 8, 1, 0, 8, 1};
    for (int i = 0; i < 8; ++i) EXPECT_EQ(ctx->tuning[i], tuning[i]) << i;
    EXPECT_EQ(ctx->reserved32, 0);
    EXPECT_EQ(ctx->reserved64, 0);
    EXPECT_EQ(ctx->scratch.buffer, nullptr);
    EXPECT_EQ(ctx->scratch.capacity, 0);
    for (const tavtest::Output& o : tavtest::kOutputs) {
        EXPECT_EQ(
            tavtest::printedBy([&] { EXPECT_EQ(tavDemosaicSetConfig(ctx, &o.format), TAV_OK); }),
            "");
        EXPECT_EQ(tavDemosaicGetConfig(ctx, &format), TAV_OK);
        EXPECT_EQ(format, o.format);
    }
    // A reset restores the defaults and leaves a scratch buffer to its owner.
    ASSERT_EQ(tavMemRealloc(&ctx->scratch, 100), TAV_OK);
    uint8_t* abandoned = ctx->scratch.buffer;
    ctx->tuning[3] = 99;
    tavInit(ctx);
    EXPECT_EQ(ctx->outputFormat, TAV_PF_BGR8);
    EXPECT_EQ(ctx->tuning[3], 8);
    EXPECT_EQ(ctx->scratch.buffer, nullptr);
    EXPECT_EQ(ctx->scratch.capacity, 0);
    std::free(abandoned);
    ASSERT_EQ(tavMemRealloc(&ctx->scratch, 10), TAV_OK);
    EXPECT_EQ(tavRelease(&ctx), TAV_OK);
    EXPECT_EQ(ctx, nullptr);
}

TEST(Scratch, GrowsOnlyToTheExactSize) {
    TavScratch s{nullptr, 0};
    EXPECT_EQ(tavMemRealloc(&s, 0), TAV_OK);
    EXPECT_EQ(tavMemRealloc(&s, -5), TAV_OK);
    EXPECT_EQ(s.buffer, nullptr);
    ASSERT_EQ(tavMemRealloc(&s, 64), TAV_OK);
    EXPECT_EQ(s.capacity, 64);
    uint8_t* first = s.buffer;
    EXPECT_EQ(tavMemRealloc(&s, 64), TAV_OK);
    EXPECT_EQ(tavMemRealloc(&s, 10), TAV_OK);
    EXPECT_EQ(s.buffer, first);
    EXPECT_EQ(s.capacity, 64);
    ASSERT_EQ(tavMemRealloc(&s, 1000), TAV_OK);
    EXPECT_EQ(s.capacity, 1000);
    std::free(s.buffer);
}

// An 8-bit frame needs a line (width + 64), a wide one its 8-bit image and a
// line ((height + 1) x width + 64); equal frames allocate nothing more.
TEST(Scratch, SizedByTheFrameAndKeptAcrossFrames) {
    tavtest::Context c;
    c.setOutput(TAV_PF_MONO8);
    const int32_t h = 10, w = 30;
    auto bytes = tavtest::randomBytes(size_t(2 * h) * w * 2, 1);
    std::vector<uint8_t> out(size_t(2 * h) * w);
    TavImage src{h, w, TAV_PF_MONO8, bytes.data(), w}, dst{0, 0, 0, out.data(), 0};
    ASSERT_EQ(tavDemosaicing(c.ctx, &src, 1, &dst), TAV_OK);
    EXPECT_EQ(c.ctx->scratch.capacity, w + 64);
    src.pixelFormat = TAV_PF_MONO12;
    src.pitch = 2 * w;
    ASSERT_EQ(tavDemosaicing(c.ctx, &src, 1, &dst), TAV_OK);
    EXPECT_EQ(c.ctx->scratch.capacity, (h + 1) * w + 64);
    const uint8_t* buffer = c.ctx->scratch.buffer;
    {
        tavtest::FailAllocations none(1);  // any allocation now fails the call
        for (uint32_t format : {TAV_PF_MONO12, TAV_PF_MONO8, TAV_PF_MONO10}) {
            src.pixelFormat = format;
            src.pitch = format == TAV_PF_MONO8 ? w : 2 * w;
            ASSERT_EQ(tavDemosaicing(c.ctx, &src, 1, &dst), TAV_OK);
        }
    }
    EXPECT_EQ(c.ctx->scratch.buffer, buffer);
    src.height = 2 * h;
    ASSERT_EQ(tavDemosaicing(c.ctx, &src, 1, &dst), TAV_OK);
    EXPECT_EQ(c.ctx->scratch.capacity, (2 * h + 1) * w + 64);
}

// ---- reduction to 8 bits

// Widths around the 16-sample (words, copies) and 32-sample (packed) steps.
std::vector<int32_t> widths() {
    std::vector<int32_t> v;
    for (int32_t w = 4; w <= 70; ++w) v.push_back(w);
    for (int32_t w : {95, 96, 97, 127, 128, 129}) v.push_back(w);
    return v;
}

// Vector blocks saturate, the scalar tail keeps the low byte: with stray high
// bits the block/tail split shows. Rows split per row, the compact run once.
TEST(Reduce, WordsSaturateInBlocksAndWrapInTheTail) {
    tavtest::AtLevel restore;
    for (tav::Level level : tavtest::kLevels) {
        tav::setLevel(level);
        for (int shift : {2, 4, 6, 8}) {
            for (int32_t w : widths()) {
                const int32_t h = w % 3 + 4, pitch = w + (w * 7) % 5, n = h * w;
                const auto src = tavtest::randomWords(size_t(h) * pitch, w * 31 + shift, 16);
                Guarded rows(static_cast<size_t>(n)), run(static_cast<size_t>(n));
                u16Tou8(src.data(), h, w, 2 * pitch, shift, rows.data());
                u16Tou8_old(src.data(), h, w, shift, run.data());
                auto narrowed = [&](uint16_t v, bool inBlock) {
                    const int s = v >> shift;
                    return uint8_t(inBlock ? std::min(s, 255) : s);
                };
                for (int32_t i = 0; i < n; ++i) {
                    const int32_t y = i / w, x = i % w;
                    ASSERT_EQ(rows.data()[i], narrowed(src[y * pitch + x], x < w / 16 * 16))
                        << "w=" << w << " y=" << y << " x=" << x;
                    ASSERT_EQ(run.data()[i], narrowed(src[i], i < n / 16 * 16)) << "w=" << w;
                }
                ASSERT_TRUE(rows.intact() && run.intact());
            }
        }
    }
}

// Packed pairs keep their outer bytes; an odd count writes one byte past
// the row (or the run), never read from the source.
TEST(Reduce, PackedPairsKeepTheirHighBytes) {
    for (int32_t w : widths()) {
        const int32_t h = w % 3 + 4, n = h * w, rowBytes = w / 2 * 3 + (w & 1);
        const int32_t pitch = rowBytes + (w * 7) % 5 + 1;
        const auto bytes = tavtest::randomBytes(size_t(h) * pitch, w);
        Guarded rowSrc(
            std::vector<uint8_t>(bytes.begin(), bytes.begin() + (h - 1) * pitch + rowBytes));
        Guarded runSrc(std::vector<uint8_t>(bytes.begin(), bytes.begin() + n / 2 * 3 + (n & 1)));
        Guarded rows(size_t(n) + 1, 0xCC), run(size_t(n) + 1, 0xCC);
        unpacked(rowSrc.data(), h, w, pitch, rows.data());
        unpacked_old(runSrc.data(), h, w, run.data());
        for (int32_t i = 0; i < n; ++i) {
            const int32_t y = i / w, x = i % w;
            ASSERT_EQ(rows.data()[i], bytes[y * pitch + x / 2 * 3 + (x & 1) * 2]) << "w=" << w;
            ASSERT_EQ(run.data()[i], bytes[i / 2 * 3 + (i & 1) * 2]) << "w=" << w;
        }
        EXPECT_EQ(rows.data()[n] != 0xCC, bool(w & 1)) << w;
        EXPECT_EQ(run.data()[n] != 0xCC, bool(n & 1)) << w;
        ASSERT_TRUE(rows.intact() && run.intact() && rowSrc.intact() && runSrc.intact());
    }
    const uint8_t packed[6] = {0xAB, 0xCD, 0xEF, 0x12, 0x34, 0x56};  // Mono12Packed
    uint8_t out[4] = {};
    unpacked_old(packed, 1, 4, out);
    EXPECT_EQ(std::vector<uint8_t>(out, out + 4), (std::vector<uint8_t>{0xAB, 0xEF, 0x12, 0x56}));
}

// Padded 8-bit rows move down in place; the bytes after them are kept, and
// the entry leaves the source record as it was.
TEST(Reduce, PaddedBytesAreCompactedInPlace) {
    for (int32_t w : widths()) {
        for (int32_t extra : {0, 1, 3, 16, 17}) {
            const int32_t h = w % 3 + 4, pitch = w + extra;
            const auto original = tavtest::randomBytes(size_t(h) * pitch, w * 7 + extra);
            auto buf = original;
            u8Tou8(buf.data(), h, w, pitch, buf.data());
            for (int32_t i = 0; i < h * w; ++i) {
                ASSERT_EQ(buf[i], original[i / w * pitch + i % w]) << w << " " << extra;
            }
            ASSERT_TRUE(std::equal(buf.begin() + h * w, buf.end(), original.begin() + h * w));
        }
    }
    const int32_t h = 6, w = 21, pitch = 24;
    const auto original = tavtest::randomBytes(size_t(h) * pitch, 5);
    auto buf = original;
    std::vector<uint8_t> out(size_t(h) * w);
    tavtest::Context c;
    c.setOutput(TAV_PF_MONO8);
    TavImage src{h, w, TAV_PF_MONO8, buf.data(), pitch}, dst{0, 0, 0, out.data(), 0};
    ASSERT_EQ(tavDemosaicing(c.ctx, &src, 0, &dst), TAV_OK);
    EXPECT_EQ(src.pitch, pitch);
    EXPECT_TRUE(std::equal(out.begin(), out.end(), buf.begin()));
    EXPECT_TRUE(std::equal(buf.begin() + h * w, buf.end(), original.begin() + h * w));
}

// Through the entry: a stray high bit saturates in a vector block and wraps
// in the tail, per row when padded, over the whole run when compact.
TEST(Reduce, StrayHighBitsThroughTheEntry) {
    tavtest::Context c;
    c.setOutput(TAV_PF_MONO8);
    for (auto [h, w, pitch] : {std::tuple{4, 20, 42}, {4, 5, 10}, {4, 5, 12}}) {
        std::vector<uint16_t> words(size_t(h) * pitch / 2, 0);
        words[3] = 0x0400;                                    // sample 3
        words[size_t(pitch / 2) * (h - 1) + w - 2] = 0x0400;  // the last row's second-last sample
        std::vector<uint8_t> out(size_t(h) * w, 0xCC);
        TavImage src{h, w, TAV_PF_MONO10, reinterpret_cast<uint8_t*>(words.data()), pitch};
        TavImage dst{0, 0, 0, out.data(), 0};
        ASSERT_EQ(tavDemosaicing(c.ctx, &src, 0, &dst), TAV_OK);
        const bool rowBlocks = w >= 16, runBlocks = pitch == 2 * w;
        EXPECT_EQ(out[3], rowBlocks || runBlocks ? 255 : 0) << w << " " << pitch;
        EXPECT_EQ(out[size_t(h) * w - 2], 0) << w << " " << pitch;
    }
}

// ---- Mono8 replicated into every output, alpha 0

TEST(Mono8Convert, ReplicatesEverySampleIntoEveryOutput) {
    for (const tavtest::Output& o : tavtest::kOutputs) {
        for (int32_t w = 4; w <= 40; ++w) {
            const int32_t h = 4, n = h * w;
            const auto src = tavtest::randomBytes(n, n);
            std::vector<tavtest::Pixel8> px;
            for (uint8_t v : src) px.push_back({v, v, v});
            const auto want = tavtest::place(px, o, [](size_t) -> uint8_t { return 0; });
            Guarded out(want.size(), 0xEE);
            ASSERT_EQ(mono8Convert(src.data(), out.data(), h, w, o.format), TAV_OK);
            ASSERT_TRUE(out.bytes() == want && out.intact()) << o.name << " " << w;
        }
    }
    uint8_t src[16] = {}, dst[64] = {};
    EXPECT_EQ(mono8Convert(src, dst, 4, 4, TAV_PF_RGB16), TAV_E_PARAMETER);
}

}  // namespace
