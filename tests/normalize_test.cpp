// Reduction to 8 bits: the exported routines against the per-sample rules,
// over widths around the 16- and 32-sample vector steps.
#include <algorithm>

#include "support.h"

namespace {

// Vector blocks saturate, the scalar tail wraps; `blocked` samples are in blocks.
uint8_t narrowed(uint16_t v, int shift, bool blocked) {
    const int s = v >> shift;
    return static_cast<uint8_t>(blocked ? std::min(s, 255) : s);
}

int32_t inBlocks(int32_t count, int32_t step) {
    return count / step * step;
}

struct Shape {
    int32_t height, width, pad;
};

std::vector<Shape> shapes() {
    std::vector<Shape> v;
    for (int32_t w = 4; w <= 70; ++w) v.push_back({w % 3 + 4, w, (w * 7) % 5});
    for (int32_t w : {95, 96, 97, 127, 128, 129}) v.push_back({5, w, 3});
    return v;
}

}  // namespace

class Narrow : public testing::TestWithParam<int> {};

TEST_P(Narrow, RowsSaturateInBlocksAndWrapInTheTail) {
    const int shift = GetParam();
    for (const Shape& s : shapes()) {
        const int32_t pitchWords = s.width + s.pad;
        const auto src =
            tavtest::randomWords(size_t(s.height) * pitchWords, s.width * 31 + shift, 16);
        std::vector<uint8_t> dst(size_t(s.height) * s.width + 1, 0xCC);
        u16Tou8(src.data(), s.height, s.width, pitchWords * 2, shift, dst.data());
        for (int32_t y = 0; y < s.height; ++y) {
            for (int32_t x = 0; x < s.width; ++x) {
                ASSERT_EQ(dst[y * s.width + x],
                          narrowed(src[y * pitchWords + x], shift, x < inBlocks(s.width, 16)))
                    << "w=" << s.width << " y=" << y << " x=" << x;
            }
        }
        EXPECT_EQ(dst.back(), 0xCC);
    }
}

TEST_P(Narrow, WholeImageRunSaturatesInBlocksAndWrapsInTheTail) {
    const int shift = GetParam();
    for (const Shape& s : shapes()) {
        const int32_t n = s.height * s.width;
        const auto src = tavtest::randomWords(n, s.width * 17 + shift, 16);
        std::vector<uint8_t> dst(n + 1, 0xCC);
        u16Tou8_old(src.data(), s.height, s.width, shift, dst.data());
        for (int32_t i = 0; i < n; ++i) {
            ASSERT_EQ(dst[i], narrowed(src[i], shift, i < inBlocks(n, 16)))
                << "w=" << s.width << " i=" << i;
        }
        EXPECT_EQ(dst.back(), 0xCC);
    }
}

INSTANTIATE_TEST_SUITE_P(Shifts, Narrow, testing::Values(2, 4, 6, 8));

TEST(Narrow, KeepsTheTopBitsWithoutRounding) {
    // 12-bit: 0x0FFF and 0x0123; 10-bit: 0x03FF and 0x0001.
    const std::vector<uint16_t> twelve(20, 0x0FFF), ten(20, 0x03FF);
    std::vector<uint8_t> out(20);
    u16Tou8_old(twelve.data(), 4, 5, 4, out.data());
    EXPECT_EQ(out[0], 0xFF);
    EXPECT_EQ(out[19], 0xFF);
    const uint16_t small12[4] = {0x0123, 0x0123, 0x0123, 0x0123};
    u16Tou8_old(small12, 1, 4, 4, out.data());
    EXPECT_EQ(out[0], 0x12);
    u16Tou8_old(ten.data(), 4, 5, 2, out.data());
    EXPECT_EQ(out[3], 0xFF);
    const uint16_t one[4] = {1, 1, 1, 1};
    u16Tou8_old(one, 1, 4, 2, out.data());
    EXPECT_EQ(out[0], 0);
}

TEST(Narrow, StrayHighBitSaturatesInABlockButWrapsInTheTail) {
    // Mono10 row of 20: samples 0..15 are one vector block, 16..19 the tail.
    std::vector<uint16_t> row(20, 0);
    row[3] = 0x0400;
    row[18] = 0x0400;
    std::vector<uint8_t> out(20, 0xCC);
    u16Tou8(row.data(), 1, 20, 40, 2, out.data());
    EXPECT_EQ(out[3], 255);
    EXPECT_EQ(out[18], 0);
}

TEST(Unpack, RowsKeepTheHighByteOfEachSample) {
    for (const Shape& s : shapes()) {
        const int32_t rowBytes = s.width + (s.width >> 1);
        const int32_t pitch = rowBytes + 2 + s.pad;  // room for the odd-width read
        const auto src = tavtest::randomBytes(size_t(s.height) * pitch, s.width);
        std::vector<uint8_t> dst(size_t(s.height) * s.width + 1, 0xCC);
        unpacked(src.data(), s.height, s.width, pitch, dst.data());
        for (int32_t y = 0; y < s.height; ++y) {
            const uint8_t* row = src.data() + y * pitch;
            for (int32_t x = 0; x < s.width; ++x) {
                const uint8_t want = row[(x >> 1) * 3 + (x & 1) * 2];
                ASSERT_EQ(dst[y * s.width + x], want)
                    << "w=" << s.width << " y=" << y << " x=" << x;
            }
        }
        // An odd width writes one byte past the last row; an even one does not.
        if (s.width & 1) {
            EXPECT_NE(dst.back(), 0xCC) << s.width;
        } else {
            EXPECT_EQ(dst.back(), 0xCC) << s.width;
        }
    }
}

TEST(Unpack, WholeImageRunReadsConsecutiveGroups) {
    for (const Shape& s : shapes()) {
        const int32_t n = s.height * s.width;
        const auto src = tavtest::randomBytes(size_t(n) / 2 * 3 + 3, s.width + 1000);
        std::vector<uint8_t> dst(n + 1, 0xCC);
        unpacked_old(src.data(), s.height, s.width, dst.data());
        for (int32_t i = 0; i < n; ++i) {
            ASSERT_EQ(dst[i], src[(i >> 1) * 3 + (i & 1) * 2]) << "w=" << s.width << " i=" << i;
        }
        if (n & 1) {
            EXPECT_NE(dst.back(), 0xCC);
        } else {
            EXPECT_EQ(dst.back(), 0xCC);
        }
    }
}

TEST(Unpack, WorkedExample) {
    // Mono12Packed: AB CD EF holds the pixels 0xAB and 0xEF.
    const uint8_t packed[6] = {0xAB, 0xCD, 0xEF, 0x12, 0x34, 0x56};
    uint8_t out[4] = {};
    unpacked_old(packed, 1, 4, out);
    EXPECT_EQ(out[0], 0xAB);
    EXPECT_EQ(out[1], 0xEF);
    EXPECT_EQ(out[2], 0x12);
    EXPECT_EQ(out[3], 0x56);
}

TEST(Compact, RowsMoveDownInPlaceAndTheRestIsKept) {
    for (const Shape& s : shapes()) {
        for (int32_t extra : {0, 1, 3, 16, 17}) {
            const int32_t pitch = s.width + extra;
            const auto original =
                tavtest::randomBytes(size_t(s.height) * pitch, s.width * 7 + extra);
            auto buf = original;
            u8Tou8(buf.data(), s.height, s.width, pitch, buf.data());
            for (int32_t y = 0; y < s.height; ++y) {
                ASSERT_TRUE(std::equal(buf.begin() + y * s.width, buf.begin() + (y + 1) * s.width,
                                       original.begin() + y * pitch))
                    << "w=" << s.width << " pitch=" << pitch << " y=" << y;
            }
            EXPECT_TRUE(std::equal(buf.begin() + s.height * s.width, buf.end(),
                                   original.begin() + s.height * s.width));
        }
    }
}
