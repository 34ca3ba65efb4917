// Method 3 (gradient-weighted colour differences) through the 8-bit entry.
#include <algorithm>
#include <cstdlib>

#include "frames.h"
#include "level.h"

namespace {

using tavtest::Context;

constexpr uint32_t kPhases[4] = {TAV_PF_BAYER_RG8, TAV_PF_BAYER_GR8, TAV_PF_BAYER_GB8,
                                 TAV_PF_BAYER_BG8};
constexpr uint32_t kPhases16[4] = {TAV_PF_BAYER_RG16, TAV_PF_BAYER_GR16, TAV_PF_BAYER_GB16,
                                   TAV_PF_BAYER_BG16};

// Red and blue sites of each phase: row and column parity of red.
constexpr int kRedY[4] = {0, 0, 1, 1}, kRedX[4] = {0, 1, 0, 1};

std::vector<uint8_t> demosaic(std::vector<uint8_t> raw, int h, int w, uint32_t phase,
                              uint64_t output, uint32_t method = TAV_METHOD_HQ) {
    Context c;
    c.setOutput(output);
    std::vector<uint8_t> out(size_t(h) * w * 4, 0xA5);
    TavImage src{h, w, phase, raw.data(), w};
    TavImage dst{0, 0, 0, out.data(), 0};
    EXPECT_EQ(tavDemosaicing(c.ctx, &src, method, &dst), TAV_OK);
    return out;
}

// The mosaic a sensor of phase p would record of an RGB picture.
std::vector<uint8_t> mosaic(const std::vector<uint8_t>& rgb, int h, int w, int p) {
    std::vector<uint8_t> raw(size_t(h) * w);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const bool ry = (y & 1) == kRedY[p], rx = (x & 1) == kRedX[p];
            raw[size_t(y) * w + x] = rgb[(size_t(y) * w + x) * 3 + (ry && rx     ? 0
                                                                    : !ry && !rx ? 2
                                                                                 : 1)];
        }
    }
    return raw;
}

class HqPhase : public testing::TestWithParam<int> {};

// A uniform colour comes back exactly, in every output form and at every size.
TEST_P(HqPhase, FlatFieldsAreExact) {
    const int p = GetParam();
    for (const int size : {4, 5, 9, 20}) {
        const int h = size, w = size + 3;
        std::vector<uint8_t> rgb(size_t(h) * w * 3);
        for (size_t i = 0; i < rgb.size(); i += 3) rgb[i] = 201, rgb[i + 1] = 90, rgb[i + 2] = 7;
        const std::vector<tavtest::Pixel8> flat(size_t(h) * w, {201, 90, 7});
        for (const tavtest::Output& o : tavtest::kOutputs) {
            auto got = demosaic(mosaic(rgb, h, w, p), h, w, kPhases[p], o.format);
            got.resize(tavtest::outputBytes(o, size_t(h) * w));
            ASSERT_EQ(got, tavtest::place(flat, o, [](size_t) -> uint8_t { return 0; }))
                << "size " << size << " " << o.name;
        }
    }
}

// Mirroring the frame changes its phase (RG <-> GR across, RG <-> GB down)
// and mirrors the picture: border and body rules treat both sides alike.
TEST_P(HqPhase, MirroredFramesGiveMirroredPictures) {
    const int p = GetParam(), h = 18, w = 22;
    const std::vector<uint8_t> raw = tavtest::randomBytes(size_t(h) * w, 7 + p);
    const std::vector<uint8_t> base = demosaic(raw, h, w, kPhases[p], TAV_PF_RGB8);
    for (const int flip : {1, 2, 3}) {  // bit 0: across, bit 1: down
        std::vector<uint8_t> flipped(raw.size());
        auto at = [&](int y, int x) {
            return size_t(flip & 2 ? h - 1 - y : y) * w + (flip & 1 ? w - 1 - x : x);
        };
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) flipped[size_t(y) * w + x] = raw[at(y, x)];
        const int q = p ^ ((flip & 1) ? 1 : 0) ^ ((flip & 2) ? 2 : 0);
        const std::vector<uint8_t> got = demosaic(flipped, h, w, kPhases[q], TAV_PF_RGB8);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                for (int c = 0; c < 3; ++c)
                    ASSERT_EQ(got[(size_t(y) * w + x) * 3 + c], base[at(y, x) * 3 + c])
                        << "flip " << flip << " at " << y << "," << x;
    }
}

// Borders follow the mirror rule: a frame gives the middle of the frame
// extended by its own mirror image, down to the smallest sizes.
TEST_P(HqPhase, BordersReadTheMirrorImage) {
    const int p = GetParam(), e = 12;
    for (int h = 4; h <= 20; h += 3) {
        for (int w = 4; w <= 21; w += 1) {
            const std::vector<uint8_t> raw = tavtest::randomBytes(size_t(h) * w, h * 100 + w);
            const int H = h + 2 * e, W = w + 2 * e;
            std::vector<uint8_t> big(size_t(H) * W);
            auto fold = [](int i, int n) {
                while (i < 0 || i >= n) i = i < 0 ? -i : 2 * n - 2 - i;
                return i;
            };
            for (int y = 0; y < H; ++y)
                for (int x = 0; x < W; ++x)
                    big[size_t(y) * W + x] = raw[size_t(fold(y - e, h)) * w + fold(x - e, w)];
            const std::vector<uint8_t> small = demosaic(raw, h, w, kPhases[p], TAV_PF_BGR8);
            const std::vector<uint8_t> whole = demosaic(big, H, W, kPhases[p], TAV_PF_BGR8);
            for (int y = 0; y < h; ++y)
                ASSERT_TRUE(std::equal(&small[size_t(y) * w * 3], &small[size_t(y + 1) * w * 3],
                                       &whole[(size_t(y + e) * W + e) * 3]))
                    << h << "x" << w << " row " << y;
        }
    }
}

// The vector bodies give the scalar rules' bytes at every width around their
// steps and every output form; at full depth too, at every depth.
TEST_P(HqPhase, VectorBodyEqualsScalarRules) {
    const int p = GetParam();
    tavtest::AtLevel restore;
    for (int w = 4; w <= 40; ++w) {
        for (const int h : {4, 7, 12}) {
            const std::vector<uint8_t> raw = tavtest::randomBytes(size_t(h) * w, w * 31 + h + p);
            for (const tavtest::Output& o : tavtest::kOutputs) {
                tav::setLevel(tav::Level::Scalar);
                const std::vector<uint8_t> scalar = demosaic(raw, h, w, kPhases[p], o.format);
                for (const tav::Level level : {tav::Level::Sse41, tav::Level::Avx2}) {
                    tav::setLevel(level);
                    ASSERT_EQ(demosaic(raw, h, w, kPhases[p], o.format), scalar)
                        << w << "x" << h << " " << o.name << " level " << int(level);
                }
            }
            for (const uint32_t bits : {10u, 16u}) {
                const uint32_t code = kPhases16[p];
                const auto words = tavtest::randomWords(size_t(h) * w, w * 31 + h + p, bits);
                const auto [scalar, vector] = tavtest::atBothLevels([&] {
                    return tavtest::demosaic16(code, TAV_PF_BGR12, TAV_METHOD_HQ, bits, words, h,
                                               w);
                });
                ASSERT_EQ(vector.out, scalar.out) << w << "x" << h << " depth " << bits;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Phases, HqPhase, testing::Range(0, 4));

// A grey edge at a slant: no zipper and no coloured fringe beside it.
TEST(Hq, SlantedEdgeStaysGreyAndInRange) {
    const int h = 64, w = 64, dark = 40, bright = 200;
    std::vector<uint8_t> rgb(size_t(h) * w * 3);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            // Edge through the centre, 1 in 5 off vertical, antialiased over 1 pixel.
            const int d = 5 * (x - w / 2) - (y - h / 2);
            const int v = d <= -3 ? dark : d >= 3 ? bright : dark + (bright - dark) * (d + 3) / 6;
            for (int c = 0; c < 3; ++c) rgb[(size_t(y) * w + x) * 3 + c] = uint8_t(v);
        }
    const std::vector<uint8_t> out =
        demosaic(mosaic(rgb, h, w, 0), h, w, TAV_PF_BAYER_RG8, TAV_PF_RGB8);
    int over = 0, chroma = 0;
    for (size_t i = 0; i < size_t(h) * w; ++i) {
        const int r = out[3 * i], g = out[3 * i + 1], b = out[3 * i + 2];
        over = std::max({over, dark - std::min({r, g, b}), std::max({r, g, b}) - bright});
        chroma = std::max({chroma, std::abs(r - g), std::abs(b - g)});
    }
    // Measured 2 and 8; the edge-directed method gives 9 and 15, bilinear 0 and 67.
    EXPECT_LE(over, 4);
    EXPECT_LE(chroma, 10);
}

}  // namespace
