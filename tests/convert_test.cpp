// Pixel-format conversion: every source/target pair of the entry at both
// levels, the decoding formulas over their whole input space, and values
// worked by hand for each kernel family and the point lists' quirks.
#include <algorithm>
#include <cstring>

#include "frames.h"

using tavtest::atBothLevels;
using Bytes = std::vector<uint8_t>;

namespace {

constexpr uint32_t kSources[] = {
    TAV_PF_MONO1P,          TAV_PF_MONO4P,   TAV_PF_MONO8,         TAV_PF_MONO1C,
    TAV_PF_YUV411_8_UYYVYY, TAV_PF_YUV420P,  TAV_PF_YUV420SP_NV12, TAV_PF_YUV422_8_UYVY,
    TAV_PF_YUV422_8,        TAV_PF_YUV8_UYV, TAV_PF_RGB8,          TAV_PF_BGR8};

constexpr uint32_t kTargets[] = {
    TAV_PF_MONO1P,          TAV_PF_MONO4P,   TAV_PF_MONO8,         TAV_PF_MONO1C,
    TAV_PF_YUV411_8_UYYVYY, TAV_PF_YUV420P,  TAV_PF_YUV420SP_NV12, TAV_PF_YUV422_8_UYVY,
    TAV_PF_YUV422_8,        TAV_PF_YUV8_UYV, TAV_PF_RGB8,          TAV_PF_BGR8,
    TAV_PF_RGBA8,           TAV_PF_BGRA8,    TAV_PF_RGB8_PLANAR,   TAV_PF_BAYER_RG8};

// What each source converts into.
std::vector<uint32_t> accepted(uint32_t source) {
    if (source == TAV_PF_MONO1P || source == TAV_PF_MONO1C) return {TAV_PF_MONO8};
    if (source == TAV_PF_MONO8) return {TAV_PF_YUV420P};
    if (source == TAV_PF_YUV420P) return {TAV_PF_RGB8, TAV_PF_BGR8};
    std::vector<uint32_t> v = {TAV_PF_RGB8, TAV_PF_BGR8, TAV_PF_RGBA8, TAV_PF_BGRA8};
    if (source == TAV_PF_YUV420SP_NV12) return v;
    v.push_back(TAV_PF_MONO8);  // the rest decode per pixel; RGB and BGR encode too
    if (source != TAV_PF_RGB8 && source != TAV_PF_BGR8) return v;
    v.insert(v.end(), {TAV_PF_YUV8_UYV, TAV_PF_YUV411_8_UYYVYY, TAV_PF_YUV422_8_UYVY,
                       TAV_PF_YUV422_8, TAV_PF_YUV420P});
    return v;
}

struct Result {
    int32_t code;
    std::string printed;
    Bytes dst;
    bool operator==(const Result& o) const {
        return code == o.code && printed == o.printed && dst == o.dst;
    }
};

// One entry call into a destination of 4 bytes a pixel and a guard, filled 0xA5.
Result convert(uint32_t source, const Bytes& src, int32_t h, int32_t w, uint64_t target,
               bool capture = true) {
    Result r{0, "", Bytes(4 * size_t(h) * w + 64, 0xA5)};
    const TavImage in{h, w, source, const_cast<uint8_t*>(src.data()), 0};
    TavImage out{0, 0, 0, r.dst.data(), 0};
    auto call = [&] { r.code = tavImageTypeConvert(&in, &out, target); };
    capture ? void(r.printed = tavtest::printedBy(call)) : call();
    return r;
}

Bytes first(const Result& r, size_t n) {
    return Bytes(r.dst.begin(), r.dst.begin() + n);
}

}  // namespace

class ConvertPairs : public testing::TestWithParam<uint32_t> {};

// Each accepted pair gives the same bytes at both levels on every size its
// rules accept (odd ones among them); the others are refused without a print
// or a write.
TEST_P(ConvertPairs, EveryTargetAtBothLevels) {
    const uint32_t source = GetParam();
    const auto ok = accepted(source);
    for (uint32_t target : kTargets) {
        const bool accepts = std::find(ok.begin(), ok.end(), target) != ok.end();
        int ran = 0;
        for (int32_t h : {1, 2, 3, 4, 6}) {
            for (int32_t w = 1; w <= 72; w += (w < 36 ? 1 : 18)) {
                // Point lists: an empty one (random records leave the frame).
                const Bytes src = source == TAV_PF_MONO1C
                                      ? Bytes(4 * size_t(h) * w + 4, 0)
                                      : tavtest::randomBytes(3 * size_t(h) * w + 8, h * 131 + w);
                const auto [scalar, vector] =
                    atBothLevels([&] { return convert(source, src, h, w, target, w == 4); });
                if (vector.code == TAV_E_FORMAT_SIZE) continue;  // a size rule
                ASSERT_EQ(vector.code, accepts ? TAV_OK : TAV_E_PIXEL_FORMAT)
                    << std::hex << source << " to " << target << std::dec << " " << h << "x" << w;
                ASSERT_EQ(vector.printed, "");
                ASSERT_TRUE(scalar == vector) << std::hex << source << " to " << target;
                // a refusal writes nothing (point lists clear the frame first)
                ASSERT_TRUE(accepts || source == TAV_PF_MONO1C ||
                            vector.dst == Bytes(vector.dst.size(), 0xA5));
                ran += accepts;
            }
        }
        EXPECT_EQ(ran > 0, accepts) << std::hex << source << " to " << target;
    }
}

INSTANTIATE_TEST_SUITE_P(Sources, ConvertPairs, testing::ValuesIn(kSources));

// ---- decoding

// Every (U, V) pair at a few lumas, every luma at a few chroma pairs, through
// the 4:4:4 kernels (both formula sets) and planar 4:2:0 (studio range).
TEST(Decode, WholeInputSpaceAtBothLevels) {
    Bytes uyv;
    for (int y : {0, 16, 128, 235, 255}) {
        for (int u = 0; u < 256; ++u) {
            for (int v = 0; v < 256; ++v)
                uyv.insert(uyv.end(), {uint8_t(u), uint8_t(y), uint8_t(v)});
        }
    }
    for (int y = 0; y < 256; ++y) uyv.insert(uyv.end(), {255, uint8_t(y), 0});
    const int32_t n = int32_t(uyv.size() / 3);
    for (uint32_t target : {TAV_PF_RGB8, TAV_PF_BGRA8}) {
        const auto [scalar, vector] =
            atBothLevels([&] { return convert(TAV_PF_YUV8_UYV, uyv, 1, n, target); });
        EXPECT_TRUE(scalar == vector) << std::hex << target;
    }
    // Planar 4:2:0, 512 x 256: a block per (U, V) pair of half the chroma plane.
    const int32_t w = 512, h = 256;
    Bytes planar(size_t(w) * h * 3 / 2);
    for (size_t i = 0; i < size_t(w) * h; ++i) planar[i] = uint8_t(i * 7);
    for (size_t i = 0; i < size_t(w) * h / 4; ++i) {
        planar[size_t(w) * h + i] = uint8_t(i >> 8);
        planar[size_t(w) * h * 5 / 4 + i] = uint8_t(i);
    }
    const auto [scalar, vector] =
        atBothLevels([&] { return convert(TAV_PF_YUV420P, planar, h, w, TAV_PF_RGB8); });
    EXPECT_TRUE(scalar == vector);
}

// Y 150, U 170, V 90 and Y 100, U 60, V 200: full range with each chroma term
// shifted on its own (the three-byte 4:4:4 kernel rounds each term first),
// studio range in one shift.
TEST(Decode, WorkedValues) {
    const Bytes uyv = {170, 150, 90, 60, 100, 200};
    EXPECT_EQ(first(convert(TAV_PF_YUV8_UYV, uyv, 1, 2, TAV_PF_RGBA8), 8),
              (Bytes{96, 164, 224, 0, 200, 73, 0, 0}));
    EXPECT_EQ(first(convert(TAV_PF_YUV8_UYV, uyv, 1, 2, TAV_PF_BGR8), 6),
              (Bytes{224, 163, 97, 0, 72, 201}));
    // Y 100, U = V = 127: the two green terms truncate separately (-1 each).
    EXPECT_EQ(first(convert(TAV_PF_YUV8_UYV, {127, 100, 127}, 1, 1, TAV_PF_RGBA8), 3),
              (Bytes{98, 102, 98}));
    const Bytes studio = {150, 150, 150, 150, 170, 90};
    EXPECT_EQ(first(convert(TAV_PF_YUV420P, studio, 2, 2, TAV_PF_RGB8), 3), (Bytes{95, 170, 240}));
    // Layouts: lumas in their places, U and V not exchanged (U 255 raises blue).
    const struct {
        uint32_t format;
        int32_t w;
        Bytes src;
    } layouts[] = {{TAV_PF_YUV422_8_UYVY, 2, {255, 100, 128, 110}},
                   {TAV_PF_YUV422_8, 2, {100, 255, 110, 128}},
                   {TAV_PF_YUV411_8_UYYVYY, 4, {255, 100, 110, 128, 120, 130}}};
    for (const auto& l : layouts) {
        const auto grey = first(convert(l.format, l.src, 1, l.w, TAV_PF_MONO8), l.w);
        const auto rgb = first(convert(l.format, l.src, 1, l.w, TAV_PF_RGB8), 3 * l.w);
        for (int32_t p = 0; p < l.w; ++p) {
            const int y = 100 + 10 * p;
            EXPECT_EQ(grey[p], y);
            // r = y, g = y - 43, b = y + 225, clamped.
            EXPECT_EQ(Bytes(&rgb[3 * p], &rgb[3 * p + 3]),
                      (Bytes{uint8_t(y), uint8_t(y - 43), 255}))
                << std::hex << l.format << " pixel " << p;
        }
    }
}

// NV12 uses the packed kernels' formula: each pixel as a UYVY pair of its own
// luma and its 2x2 block's chroma.
TEST(Decode, Nv12IsPackedWithItsBlocksChroma) {
    const int32_t h = 6, w = 10;
    const Bytes nv12 = tavtest::randomBytes(size_t(h) * w * 3 / 2, 9);
    Bytes uyvy;
    for (int32_t i = 0; i < h * w; ++i) {
        const size_t c = size_t(h) * w + (i / w / 2) * w + (i % w) / 2 * 2;
        uyvy.insert(uyvy.end(), {nv12[c], nv12[i], nv12[c + 1], nv12[i]});
    }
    for (uint32_t target : {TAV_PF_RGB8, TAV_PF_BGRA8}) {
        const auto pairs = convert(TAV_PF_YUV422_8_UYVY, uyvy, h, 2 * w, target);
        const auto got = convert(TAV_PF_YUV420SP_NV12, nv12, h, w, target);
        const size_t bytes = target == TAV_PF_RGB8 ? 3 : 4;
        for (int32_t i = 0; i < h * w; ++i) {
            ASSERT_EQ(Bytes(&got.dst[bytes * i], &got.dst[bytes * (i + 1)]),
                      Bytes(&pairs.dst[2 * bytes * i], &pairs.dst[2 * bytes * i + bytes]))
                << "pixel " << i;
        }
    }
}

// Unknown sources, and target codes as 64 bits (a sign-extended one is another code).
TEST(Decode, UnknownCodes) {
    for (uint32_t source : {0u, TAV_PF_BAYER_RG8, TAV_PF_RGBA8, TAV_PF_MONO16, 0x800C0003u}) {
        EXPECT_EQ(convert(source, Bytes(256), 4, 6, TAV_PF_RGB8).code, TAV_E_PIXEL_FORMAT);
    }
    EXPECT_EQ(convert(TAV_PF_BGR8, Bytes(48), 4, 4, 0xFFFFFFFF800C0002ull).code,
              TAV_E_PIXEL_FORMAT);
    EXPECT_EQ(convert(TAV_PF_BGR8, Bytes(48), 4, 4, 0x800C0002ull).code, TAV_OK);
}

// The kernels pick their order from the target alone; counts under one
// write nothing.
TEST(Decode, KernelTargetsAndCounts) {
    const Bytes src = {255, 10, 128, 20};
    Bytes out(16, 0xA5);
    EXPECT_EQ(YUV422_UYVYToRGB8(src.data(), out.data(), 1, 0x12345), TAV_OK);
    EXPECT_EQ(first({0, "", out}, 3), (Bytes{10, 0, 235}));
    EXPECT_EQ(YUV422_UYVYToRGBA8(src.data(), out.data(), 1, TAV_PF_BGRA8), TAV_OK);
    EXPECT_EQ(first({0, "", out}, 4), (Bytes{235, 0, 10, 0}));
    Bytes none(16, 0xA5);
    EXPECT_EQ(YUV411PToRGB8(src.data(), none.data(), -3, TAV_PF_RGB8), TAV_OK);
    EXPECT_EQ(YUV444ToMono8(src.data(), none.data(), 0), TAV_OK);
    EXPECT_EQ(none, Bytes(16, 0xA5));
}

// ---- encoding from RGB8 / BGR8

// Pixels (200, 100, 50), (255, 0, 0), (10, 240, 30), (90, 90, 200) as r, g, b.
TEST(Encode, WorkedValues) {
    const Bytes rgb = {200, 100, 50, 255, 0, 0, 10, 240, 30, 90, 90, 200};
    Bytes bgr = rgb;
    for (size_t i = 0; i < bgr.size(); i += 3) std::swap(bgr[i], bgr[i + 2]);
    for (auto [source, bytes] : {std::pair{TAV_PF_RGB8, rgb}, {TAV_PF_BGR8, bgr}}) {
        auto run = [&](int32_t h, int32_t w, uint32_t target, size_t n) {
            return first(convert(source, bytes, h, w, target), n);
        };
        EXPECT_EQ(run(1, 4, TAV_PF_MONO8, 4), (Bytes{124, 77, 147, 102}));
        EXPECT_EQ(run(1, 1, TAV_PF_YUV8_UYV, 3), (Bytes{86, 124, 182}));
        EXPECT_EQ(run(1, 2, TAV_PF_YUV422_8_UYVY, 4), (Bytes{85, 124, 218, 77}));
        EXPECT_EQ(run(1, 2, TAV_PF_YUV422_8, 4), (Bytes{124, 85, 77, 218}));
        // 4:1:1 has chroma weights of its own.
        EXPECT_EQ(run(1, 4, TAV_PF_YUV411_8_UYYVYY, 6), (Bytes{104, 124, 77, 146, 147, 102}));
        // BT.709 studio range, chroma of the 2x2 block.
        EXPECT_EQ(run(2, 2, TAV_PF_YUV420P, 6), (Bytes{116, 61, 166, 99, 108, 144}));
        EXPECT_EQ(run(1, 2, TAV_PF_BGRA8, 8), (Bytes{50, 100, 200, 0, 0, 0, 255, 0}));
        EXPECT_EQ(run(1, 4, TAV_PF_RGB8, 12), rgb);  // a copy, or red and blue exchanged
    }
    // Clamps: pure blue gives U 256, stored 255; studio luma stays within 16..235.
    EXPECT_EQ(first(convert(TAV_PF_BGR8, {255, 0, 0}, 1, 1, TAV_PF_YUV8_UYV), 3),
              (Bytes{255, 29, 108}));
    EXPECT_EQ(first(convert(TAV_PF_BGR8, Bytes(12, 255), 2, 2, TAV_PF_YUV420P), 6),
              (Bytes{234, 234, 234, 234, 128, 128}));
    EXPECT_EQ(first(convert(TAV_PF_BGR8, Bytes(12, 0), 2, 2, TAV_PF_YUV420P), 6),
              (Bytes{16, 16, 16, 16, 128, 128}));
}

// Every 17th level of each channel in uniform 4 x 2 blocks, so that the
// chroma means reach their clamps, through each encoder at both levels.
TEST(Encode, ColourGridAtBothLevels) {
    const int32_t w = 128, h = 256;
    Bytes bgr(size_t(w) * h * 3);
    for (int32_t y = 0; y < h; ++y) {
        for (int32_t x = 0; x < w; ++x) {
            const int c = y / 2 * (w / 4) + x / 4;
            uint8_t* p = &bgr[(size_t(y) * w + x) * 3];
            p[0] = uint8_t(17 * (c % 16)), p[1] = uint8_t(17 * (c / 16 % 16));
            p[2] = uint8_t(17 * (c / 256));
        }
    }
    for (uint32_t target : {TAV_PF_YUV420P, TAV_PF_YUV411_8_UYYVYY, TAV_PF_YUV422_8_UYVY,
                            TAV_PF_YUV8_UYV, TAV_PF_MONO8}) {
        const auto [scalar, vector] =
            atBothLevels([&] { return convert(TAV_PF_BGR8, bgr, h, w, target); });
        EXPECT_TRUE(scalar == vector) << std::hex << target;
    }
}

// ---- monochrome sources

TEST(Mono, UnpackingAndStudioGrey) {
    // Mono1p: bit i of each byte is pixel i, weight 1 << i; an incomplete last byte is not written.
    EXPECT_EQ(first(convert(TAV_PF_MONO1P, {0x81, 0x42}, 2, 8, TAV_PF_MONO8), 16),
              (Bytes{1, 0, 0, 0, 0, 0, 0, 128, 0, 2, 0, 0, 0, 0, 64, 0}));
    EXPECT_EQ(first(convert(TAV_PF_MONO1P, {0xFF}, 1, 7, TAV_PF_MONO8), 1), (Bytes{0xA5}));
    // Mono4p: high nibble first, the odd last pixel from the next byte's low nibble.
    EXPECT_EQ(first(convert(TAV_PF_MONO4P, {0x5A, 0x73}, 1, 3, TAV_PF_MONO8), 4),
              (Bytes{0xA0, 0x50, 0x30, 0xA5}));
    EXPECT_EQ(first(convert(TAV_PF_MONO4P, {0x5A, 0x73}, 1, 3, TAV_PF_BGRA8), 13),
              (Bytes{0xA0, 0xA0, 0xA0, 0, 0x50, 0x50, 0x50, 0, 0x30, 0x30, 0x30, 0, 0xA5}));
    // Mono8 to studio-range planar: (219 v + 4096) >> 8, chroma 128.
    EXPECT_EQ(first(convert(TAV_PF_MONO8, {0, 100, 255, 7}, 2, 2, TAV_PF_YUV420P), 7),
              (Bytes{16, 101, 234, 21, 128, 128, 0xA5}));
}

namespace {

// Records of value, row + 1 (12 bits) and column + 1 (12 bits); a zero record ends.
Bytes points(std::initializer_list<std::array<int, 3>> list) {
    Bytes v;
    for (auto [value, row1, column1] : list) {
        v.insert(v.end(), {uint8_t(value), uint8_t(row1 >> 4),
                           uint8_t(((row1 & 15) << 4) | (column1 >> 8)), uint8_t(column1)});
    }
    return v;
}

}  // namespace

TEST(Mono, PointLists) {
    // Placed until the terminator; the rest of the frame cleared.
    const auto placed =
        convert(TAV_PF_MONO1C, points({{7, 1, 1}, {200, 20, 300}, {0, 0, 0}, {5, 1, 2}}), 20, 300,
                TAV_PF_MONO8);
    EXPECT_EQ(placed.code, TAV_OK);
    Bytes want(6000, 0);
    want[0] = 7, want[5999] = 200;
    EXPECT_EQ(first(placed, 6000), want);
    // Cleared even when the target is then refused.
    const auto refused = convert(TAV_PF_MONO1C, points({{7, 1, 1}, {0, 0, 0}}), 4, 4, TAV_PF_RGB8);
    EXPECT_EQ(refused.code, TAV_E_PIXEL_FORMAT);
    EXPECT_EQ(first(refused, 16), Bytes(16, 0));
    // Out of bounds stops at once, silently; points already placed stay.
    const auto out =
        convert(TAV_PF_MONO1C, points({{1, 1, 2}, {2, 5, 1}, {3, 1, 3}}), 4, 4, TAV_PF_MONO8);
    EXPECT_EQ(out.code, TAV_E_IMAGE_SIZE);
    EXPECT_EQ(out.printed, "");
    EXPECT_EQ(first(out, 3), (Bytes{0, 1, 0}));
    EXPECT_EQ(convert(TAV_PF_MONO1C, points({{2, 1, 5}, {0, 0, 0}}), 4, 4, TAV_PF_MONO8).code,
              TAV_E_IMAGE_SIZE);
    // Column field 0: the last pixel of the row before. Row field 0: passed over.
    EXPECT_EQ(convert(TAV_PF_MONO1C, points({{8, 2, 0}, {0, 0, 0}}), 4, 4, TAV_PF_MONO8).dst[3], 8);
    const auto early =
        convert(TAV_PF_MONO1C, points({{6, 0, 2}, {4, 2, 2}, {0, 0, 0}}), 4, 4, TAV_PF_MONO8);
    EXPECT_EQ(first(early, 16), (Bytes{0, 0, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    // At most n/4 records, rounded up: a 2 x 3 image takes two.
    EXPECT_EQ(
        first(convert(TAV_PF_MONO1C, points({{1, 1, 1}, {2, 1, 2}, {3, 1, 3}}), 2, 3, TAV_PF_MONO8),
              3),
        (Bytes{1, 2, 0}));
}

// ---- bgrToBgra and BMP rows

TEST(Bgra, AlphaZeroAtBothLevels) {
    const Bytes src = tavtest::randomBytes(3 * 37, 3);
    const auto [scalar, vector] = atBothLevels([&] {
        Bytes out(4 * 37 + 4, 0xA5);
        EXPECT_EQ(bgrToBgra(src.data(), 37, 1, out.data()), 3u * 37);
        return out;
    });
    EXPECT_EQ(scalar, vector);
    EXPECT_EQ(first({0, "", vector}, 8),
              (Bytes{src[0], src[1], src[2], 0, src[3], src[4], src[5], 0}));
    EXPECT_EQ(vector[4 * 37], 0xA5);
}

TEST(Bmp, RowsArePaddedInPlace) {
    int handle = 0;
    for (int32_t w : {4, 5, 6, 7, 33}) {
        const int32_t h = 5, row = 3 * w, padded = (row + 3) / 4 * 4;
        Bytes buf = tavtest::randomBytes(size_t(h) * padded + 8, w);
        const Bytes before = buf;
        TavImage img{h, w, 0x12345678, buf.data(), 77};
        EXPECT_EQ(tavBMPAdjust(&handle, &img), TAV_OK);
        for (int32_t r = 0; r < h; ++r) {
            EXPECT_EQ(0, std::memcmp(&buf[r * padded], &before[r * row], row)) << w;
            for (int32_t k = row; k < padded; ++k) EXPECT_EQ(buf[r * padded + k], 0) << w;
        }
        EXPECT_EQ(0, std::memcmp(&buf[h * padded], &before[h * padded], 8));
    }
}
