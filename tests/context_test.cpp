#include <cstdlib>

#include "alloc_hook.h"
#include "support.h"

using tavtest::diag;
using tavtest::printedBy;

TEST(Context, FreshContextHasDefaults) {
    tavtest::Context c;
    uint64_t format = 0;
    EXPECT_EQ(tavDemosaicGetConfig(c.ctx, &format), TAV_OK);
    EXPECT_EQ(format, TAV_PF_BGR8);
    const int32_t tuning[8] = {12, 1, 0, 8, 1, 0, 8, 1};
    for (int i = 0; i < 8; ++i) EXPECT_EQ(c.ctx->tuning[i], tuning[i]) << i;
    EXPECT_EQ(c.ctx->reserved32, 0);
    EXPECT_EQ(c.ctx->reserved64, 0);
    EXPECT_EQ(c.ctx->scratch.buffer, nullptr);
    EXPECT_EQ(c.ctx->scratch.capacity, 0);
}

class AcceptedOutput : public testing::TestWithParam<uint64_t> {};

TEST_P(AcceptedOutput, IsStoredAndReadBack) {
    tavtest::Context c;
    const uint64_t format = GetParam();
    EXPECT_EQ(printedBy([&] { EXPECT_EQ(tavDemosaicSetConfig(c.ctx, &format), TAV_OK); }), "");
    uint64_t back = 0;
    EXPECT_EQ(tavDemosaicGetConfig(c.ctx, &back), TAV_OK);
    EXPECT_EQ(back, format);
}

INSTANTIATE_TEST_SUITE_P(All, AcceptedOutput,
                         testing::Values(TAV_PF_RGB8, TAV_PF_BGR8, TAV_PF_BGRA8, TAV_PF_RGBA8,
                                         TAV_PF_BGR8_PLANAR, TAV_PF_RGB8_PLANAR, TAV_PF_MONO8));

class RejectedOutput : public testing::TestWithParam<uint64_t> {};

TEST_P(RejectedOutput, KeepsThePreviousValue) {
    tavtest::Context c;
    c.setOutput(TAV_PF_MONO8);
    const uint64_t format = GetParam();
    EXPECT_EQ(printedBy([&] { EXPECT_EQ(tavDemosaicSetConfig(c.ctx, &format), TAV_E_PARAMETER); }),
              diag(74));
    EXPECT_EQ(c.ctx->outputFormat, TAV_PF_MONO8);
}

// 16-bit outputs, sources, zero, and a valid code with high bits set.
INSTANTIATE_TEST_SUITE_P(All, RejectedOutput,
                         testing::Values(TAV_PF_RGB16, TAV_PF_BAYER_RG8, 0u,
                                         (uint64_t{1} << 32) | TAV_PF_BGR8));

TEST(Context, NullPointersAreReportedWithTheirSite) {
    TavContext* ctx = nullptr;
    uint64_t format = TAV_PF_BGR8;
    ASSERT_EQ(tavCreate(&ctx), TAV_OK);
    EXPECT_EQ(printedBy([] { EXPECT_EQ(tavCreate(nullptr), TAV_E_NULL_POINTER); }), diag(13));
    EXPECT_EQ(printedBy([] { EXPECT_EQ(tavRelease(nullptr), TAV_E_NULL_POINTER); }), diag(41));
    EXPECT_EQ(
        printedBy([&] { EXPECT_EQ(tavDemosaicGetConfig(nullptr, &format), TAV_E_NULL_POINTER); }),
        diag(52));
    EXPECT_EQ(printedBy([&] { EXPECT_EQ(tavDemosaicGetConfig(ctx, nullptr), TAV_E_NULL_POINTER); }),
              diag(52));
    EXPECT_EQ(
        printedBy([&] { EXPECT_EQ(tavDemosaicSetConfig(nullptr, &format), TAV_E_NULL_POINTER); }),
        diag(70));
    EXPECT_EQ(printedBy([&] { EXPECT_EQ(tavDemosaicSetConfig(ctx, nullptr), TAV_E_NULL_POINTER); }),
              diag(70));
    EXPECT_EQ(tavRelease(&ctx), TAV_OK);
    EXPECT_EQ(ctx, nullptr);
}

TEST(Context, CreateReportsAllocationFailure) {
    TavContext* ctx = reinterpret_cast<TavContext*>(&ctx);  // must be cleared
    std::string out;
    {
        tavtest::FailAllocations fail(1);
        out = printedBy([&] { EXPECT_EQ(tavCreate(&ctx), TAV_E_NO_MEMORY); });
    }
    EXPECT_EQ(out, diag(20));
    EXPECT_EQ(ctx, nullptr);
    EXPECT_EQ(tavCreate(&ctx), TAV_OK);
    tavRelease(&ctx);
}

TEST(Context, InitResetsWithoutFreeingTheScratch) {
    tavtest::Context c;
    ASSERT_EQ(tavMemRealloc(&c.ctx->scratch, 100), TAV_OK);
    uint8_t* abandoned = c.ctx->scratch.buffer;
    c.setOutput(TAV_PF_MONO8);
    tavInit(c.ctx);
    EXPECT_EQ(c.ctx->outputFormat, TAV_PF_BGR8);
    EXPECT_EQ(c.ctx->scratch.buffer, nullptr);
    EXPECT_EQ(c.ctx->scratch.capacity, 0);
    std::free(abandoned);  // the reset left it to its owner
}

TEST(Scratch, GrowsOnlyAndKeepsTheExactSize) {
    TavScratch s{nullptr, 0};
    EXPECT_EQ(tavMemRealloc(&s, 0), TAV_OK);
    EXPECT_EQ(tavMemRealloc(&s, -5), TAV_OK);
    EXPECT_EQ(s.buffer, nullptr);
    EXPECT_EQ(s.capacity, 0);

    ASSERT_EQ(tavMemRealloc(&s, 64), TAV_OK);
    ASSERT_NE(s.buffer, nullptr);
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

TEST(Scratch, FailedGrowthLeavesItEmptyAndRetries) {
    TavScratch s{nullptr, 0};
    ASSERT_EQ(tavMemRealloc(&s, 64), TAV_OK);
    std::string out;
    {
        tavtest::FailAllocations fail(1);
        out = printedBy([&] { EXPECT_EQ(tavMemRealloc(&s, 128), TAV_E_NO_MEMORY); });
    }
    EXPECT_EQ(out, diag(42));
    EXPECT_EQ(s.buffer, nullptr);
    EXPECT_EQ(s.capacity, 0);
    EXPECT_EQ(tavMemRealloc(&s, 128), TAV_OK);
    EXPECT_EQ(s.capacity, 128);
    std::free(s.buffer);
}
