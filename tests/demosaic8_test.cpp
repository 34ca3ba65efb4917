// 8-bit demosaicing: every method, phase, output, size and source code
// through tavDemosaicing at the scalar and the vector level against references
// written from the rules (in true colours, borders mirrored), the exported
// passes and their flags, and values worked out by hand.
#include <functional>

#include "bilinear_sites.h"
#include "edge_sites.h"

#include "support.h"

namespace {

using tavtest::Guarded;
using tavtest::kOutputs;
using tavtest::kPhases;
using tavtest::Output;
using tavtest::Phase;
using tavtest::Pixel8;

// ---- references: nearest written from its rule; bilinear and edge-directed
// from the library's site rules over a mirrored frame (pinned by hand below).

struct Mosaic {
    const std::vector<uint8_t>& s;
    int h, w;
    Phase p;
    int at(int y, int x) const { return s[size_t(tav::mirror(y, h)) * w + tav::mirror(x, w)]; }
    bool redRow(int y) const { return (y & 1) == p.redRow; }
    bool red(int y, int x) const { return redRow(y) && (x & 1) == p.redCol; }
    bool blue(int y, int x) const { return !redRow(y) && (x & 1) != p.redCol; }
    bool green(int y, int x) const { return !red(y, x) && !blue(y, x); }
};

// Missing colours from the 2 x 2 cell whose bottom-right corner the pixel is
// (moved inwards at row 0 and column 0); a missing green is the cell's green
// beside it, or above it in column 0.
Pixel8 nearest(const Mosaic& m, int y, int x) {
    const int cy = y ? y - 1 : 0, cx = x ? x - 1 : 0;
    int r = 0, b = 0;
    for (int yy = cy; yy <= cy + 1; ++yy) {
        for (int xx = cx; xx <= cx + 1; ++xx) {
            if (m.red(yy, xx)) r = m.at(yy, xx);
            if (m.blue(yy, xx)) b = m.at(yy, xx);
        }
    }
    const int g = m.green(y, x) ? m.at(y, x)
                  : x == 0      ? (y ? m.at(y - 1, 0) : m.at(0, 1))
                                : m.at(y, x - 1);
    return {r, g, b};
}

Pixel8 bilinear(const Mosaic& m, int y, int x) {
    const tav::MirroredSamples<uint8_t> s{m.s.data(), m.h, m.w};
    const tav::Rgb c = tav::bilinearAt(s, y, x, m.redRow(y), (x & 1) == m.p.redCol);
    return {int(c.r), int(c.g), int(c.b)};
}

int clampByte(int v) {
    return std::clamp(v, 0, 255);
}

// Greens clamped before the colour differences use them.
struct Edge {
    const Mosaic& m;
    std::vector<int> greens;
    explicit Edge(const Mosaic& mo) : m(mo), greens(mo.s.size()) {
        for (int y = 0; y < m.h; ++y) {
            for (int x = 0; x < m.w; ++x) {
                auto a = [&](int dy, int dx) { return m.at(y + dy, x + dx); };
                greens[y * m.w + x] =
                    m.green(y, x) ? a(0, 0)
                                  : clampByte(tav::greenEstimate(a(0, 0), a(0, -2), a(0, 2),
                                                                 a(-2, 0), a(2, 0), a(0, -1),
                                                                 a(0, 1), a(-1, 0), a(1, 0)));
            }
        }
    }
    int green(int y, int x) const {
        return greens[tav::mirror(y, m.h) * m.w + tav::mirror(x, m.w)];
    }
    int d(int y, int x) const { return m.at(y, x) - green(y, x); }
    Pixel8 pixel(int y, int x) const {
        const int v = m.at(y, x), g = green(y, x);
        if (!m.green(y, x)) {
            const int o = clampByte(tav::fromFour(g, d(y - 1, x - 1), d(y - 1, x + 1),
                                                  d(y + 1, x - 1), d(y + 1, x + 1)));
            return m.red(y, x) ? Pixel8{v, g, o} : Pixel8{o, g, v};
        }
        const int across = clampByte(tav::fromTwo(v, d(y, x - 1), d(y, x + 1)));
        const int along = clampByte(tav::fromTwo(v, d(y - 1, x), d(y + 1, x)));
        return m.redRow(y) ? Pixel8{across, v, along} : Pixel8{along, v, across};
    }
};

std::vector<Pixel8> reference(int method, const std::vector<uint8_t>& s, int h, int w,
                              const Phase& p) {
    const Mosaic m{s, h, w, p};
    const Edge e(m);
    std::vector<Pixel8> out;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            out.push_back(method == 2 ? e.pixel(y, x)
                          : method    ? bilinear(m, y, x)
                                      : nearest(m, y, x));
        }
    }
    return out;
}

std::vector<Pixel8> exchanged(std::vector<Pixel8> px) {
    for (Pixel8& c : px) std::swap(c.r, c.b);
    return px;
}

// The edge-directed four-byte form writes alpha (0) only where its vector
// body runs: from 20 columns, body passes from the first colour-first row
// pair on, columns 1 to the end of the last 16-column step.
bool edgeAlpha(int h, int w, bool greenFirst, int y, int x) {
    if (w < 20) return false;
    const int first = greenFirst ? 3 : 2;
    int last = -1;
    for (int r = first; r < h - 3; r += 2) last = r;
    return last >= 0 && y >= first - 1 && y <= last && x >= 1 && x <= (w - 20) / 16 * 16 + 16;
}

constexpr uint8_t kFill = 0xAA;

std::vector<uint8_t> expected(int method, const std::vector<Pixel8>& px, const Output& o, int h,
                              int w, const Phase& p) {
    return tavtest::place(px, o, [&](size_t i) -> uint8_t {
        const bool written =
            method != TAV_METHOD_EDGE || edgeAlpha(h, w, p.redRow != p.redCol, i / w, i % w);
        return written ? 0 : kFill;
    });
}

// Random frames of four kinds: uniform; only 0 and 255 (clamps everywhere);
// a narrow range (gradient ties, small negative differences); stripes and steps.
std::vector<uint8_t> frame(int h, int w, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<uint8_t> s(size_t(h) * w);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const uint32_t v = rng();
            const uint32_t kinds[] = {
                v, (v & 1) ? 255u : 0u, 100 + (v & 3),
                ((x / 3) % 2 ? 200u : 30u) + ((y / 4) % 2 ? 40 : 0) + (v & 7)};
            s[size_t(y) * w + x] = uint8_t(kinds[seed % 4]);
        }
    }
    return s;
}

std::string where(const std::vector<uint8_t>& got, const std::vector<uint8_t>& want) {
    for (size_t i = 0; i < want.size(); ++i) {
        if (got[i] != want[i]) {
            return "byte " + std::to_string(i) + " is " + std::to_string(got[i]) + ", want " +
                   std::to_string(want[i]);
        }
    }
    return "";
}

// One entry call into an exactly sized destination; fails the test on a
// refused call, a write past the destination, or bytes other than `want`.
void expectEntry(TavContext* ctx, TavImage src, uint32_t method, const Output& o,
                 const std::vector<uint8_t>& want, const std::string& what) {
    uint64_t format = o.format;
    ASSERT_EQ(tavDemosaicSetConfig(ctx, &format), TAV_OK);
    Guarded dst(want.size(), kFill);
    TavImage d{0, 0, 0, dst.data(), 0};
    ASSERT_EQ(tavDemosaicing(ctx, &src, method, &d), TAV_OK) << what;
    ASSERT_EQ(d.pixelFormat, o.format);
    ASSERT_TRUE(dst.intact()) << what << ": wrote past the output";
    const auto got = dst.bytes();
    ASSERT_TRUE(got == want) << what << " to " << o.name << ": " << where(got, want);
}

// ---- every method, phase, output and size

// Every size up to 12 x 12; widths past two 16-column steps (every remainder
// of the vector steps once and twice) at a few heights, past two 32-column
// steps at two; heights to 24.
std::vector<std::pair<int, int>> sizes() {
    std::vector<std::pair<int, int>> v;
    for (int h = 4; h <= 12; ++h) {
        for (int w = 4; w <= 12; ++w) v.push_back({h, w});
    }
    for (int w = 13; w <= 52; ++w) {
        for (int h : {4, 5, 6, 7, 10, 11}) v.push_back({h, w});
    }
    for (int w = 53; w <= 88; ++w) v.push_back({w % 2 ? 7 : 6, w});
    for (int h = 13; h <= 24; ++h) v.push_back({h, h % 2 ? 21 : 36});
    return v;
}

class Demosaic : public testing::TestWithParam<std::tuple<int, int>> {};

TEST_P(Demosaic, EveryOutputAndSizeAtEveryLevel) {
    const auto [method, phaseIndex] = GetParam();
    const Phase& p = kPhases[phaseIndex];
    tavtest::AtLevel restore;
    tavtest::Context c;
    for (const auto& [h, w] : sizes()) {
        if (method == TAV_METHOD_EDGE && (h < 6 || w < 6)) continue;  // refused: see checks
        auto mosaic = frame(h, w, uint32_t(h * 1000 + w + method));
        const auto ref = reference(method, mosaic, h, w, p);
        Guarded src(mosaic);
        for (const Output& o : kOutputs) {
            const auto want = expected(method, ref, o, h, w, p);
            for (tav::Level level : tavtest::kLevels) {
                tav::setLevel(level);
                expectEntry(c.ctx, {h, w, p.code, src.data(), w}, method, o, want,
                            std::to_string(h) + "x" + std::to_string(w) + " level " +
                                std::to_string(int(level)));
                if (HasFatalFailure()) return;
            }
        }
        ASSERT_TRUE(src.intact());
    }
}

const char* const kMethodNames[] = {"Nearest", "Bilinear", "Edge"};

INSTANTIATE_TEST_SUITE_P(All, Demosaic,
                         testing::Combine(testing::Range(0, 3), testing::Range(0, 4)),
                         [](const auto& i) {
                             return std::string(kMethodNames[std::get<0>(i.param)]) +
                                    kPhases[std::get<1>(i.param)].name;
                         });

// ---- every source code, every method: wide, packed and padded sources give
// the bytes of the compact 8-bit mosaic of their top bits.

std::vector<uint8_t> run8(TavContext* ctx, std::vector<uint8_t> s, int h, int w, uint32_t code,
                          uint32_t method, size_t bytes) {
    std::vector<uint8_t> out(bytes, kFill);
    TavImage src{h, w, code, s.data(), w}, dst{0, 0, 0, out.data(), 0};
    EXPECT_EQ(tavDemosaicing(ctx, &src, method, &dst), TAV_OK);
    return out;
}

class SourceCode : public testing::TestWithParam<tavtest::Source> {};

TEST_P(SourceCode, DemosaicsItsTopEightBits) {
    const tavtest::Source& s = GetParam();
    const bool mono = s.pattern == tavtest::Pattern::Mono;
    tavtest::AtLevel restore;
    tavtest::Context c;
    int turn = 0;
    for (const auto& [h, w] : {std::pair{6, 6}, {7, 9}, {8, 33}, {9, 35}, {6, 66}}) {
        const auto mosaic = frame(h, w, uint32_t(h * 7 + w));
        for (uint32_t method = 0; method <= TAV_METHOD_HQ; ++method) {
            const Output& o = kOutputs[turn++ % 7];
            c.setOutput(o.format);
            const size_t bytes = tavtest::outputBytes(o, size_t(h) * w);
            const auto want =
                run8(c.ctx, mosaic, h, w, mono ? TAV_PF_MONO8 : kPhases[int(s.pattern) - 1].code,
                     method, bytes);
            for (int32_t padding : {0, 5}) {
                for (tav::Level level : tavtest::kLevels) {
                    tav::setLevel(level);
                    auto e = tavtest::encode(s, mosaic, h, w, padding, uint32_t(w + padding));
                    expectEntry(c.ctx, {h, w, s.code, e.bytes.data(), e.pitch}, method, o, want,
                                std::to_string(h) + "x" + std::to_string(w) + " pitch " +
                                    std::to_string(e.pitch) + " method " + std::to_string(method));
                    if (HasFatalFailure()) return;
                    ASSERT_TRUE(e.bytes.intact()) << "the source was written past its end";
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, SourceCode, testing::ValuesIn(tavtest::kSources),
                         [](const auto& i) { return std::string(i.param.name); });

TEST(EntryQuirks, UnknownMethodSucceedsWithoutPixelsAndMonoIgnoresMethod) {
    tavtest::Context c;
    c.setOutput(TAV_PF_BGRA8);
    std::vector<uint8_t> in(64, 7), out(256, kFill);
    for (uint32_t code : {TAV_PF_BAYER_GB8, TAV_PF_MONO8}) {
        TavImage src{8, 8, code, in.data(), 8}, dst{0, 0, 0, out.data(), 0};
        EXPECT_EQ(tavDemosaicing(c.ctx, &src, 7, &dst), TAV_OK);
        EXPECT_EQ(dst.height * 100 + dst.width, 808);
        EXPECT_EQ(dst.pixelFormat, TAV_PF_BGRA8);
        EXPECT_EQ(out[0], code == TAV_PF_MONO8 ? 7 : kFill);
        EXPECT_EQ(out[3], code == TAV_PF_MONO8 ? 0 : kFill);
    }
}

// ---- the exported kernels and passes the entry does not call as such

const Phase& kRG = kPhases[0];
const Phase& kGB = kPhases[2];
const Output& kBgr8 = kOutputs[2];
const Output& kBgra8 = kOutputs[6];
const Output& kMono8 = kOutputs[0];
const Output& kPlanar = kOutputs[3];

// Any non-zero flag exchanges in the nearest kernels (the entry passes 0 and
// 1); band and last-row routines write their rows and nothing else.
TEST(NearestKernels, AnyNonZeroFlagExchangesAndPassesWriteTheirRows) {
    using Flagged = int32_t (*)(const uint8_t*, int32_t, int32_t, uint8_t*, uint32_t);
    using Body =
        void (*)(const uint8_t*, const uint8_t*, const uint8_t*, int32_t, uint8_t*, uint32_t);
    using Last = void (*)(const uint8_t*, const uint8_t*, int32_t, uint8_t*, uint32_t);
    const struct {
        const Output& o;
        Flagged rg, gb;
        Body body;
        Last last;
    } kernels[] = {
        {kBgr8, rg8ToBgr8_nearest, gb8ToBgr8_nearest, rg8ToBgr8_nearest_body,
         rg8ToBgr8_nearest_lastRows},
        {kBgra8, rg8ToBgra8_nearest, gb8ToBgra8_nearest, rg8ToBgra8_nearest_body,
         rg8ToBgra8_nearest_lastRows},
        {kMono8, rg8ToMono8_nearest, gb8ToMono8_nearest, rg8ToMono8_nearest_body,
         rg8ToMono8_nearest_lastRows},
        {kPlanar, nullptr, nullptr, nullptr, nullptr},
    };
    for (int w : {4, 5, 16, 17, 18, 33, 50}) {
        const int h = 6, n = h * w;
        const auto s = frame(h, w, uint32_t(w));
        const uint8_t *r0 = s.data(), *r1 = r0 + w, *r2 = r1 + w, *r3 = r2 + w;
        for (const auto& k : kernels) {
            for (uint32_t flag : {0u, 1u, 0x80000100u}) {
                if (k.o.planar && flag) continue;
                const auto px = reference(0, s, h, w, kRG);
                auto want = expected(0, flag ? exchanged(px) : px, k.o, h, w, kRG);
                if (k.rg && flag) {
                    for (Flagged f : {k.rg, k.gb}) {
                        Guarded a(want.size()), b(want.size());
                        f(s.data(), h, w, a.data(), 1);
                        f(s.data(), h, w, b.data(), flag);
                        ASSERT_TRUE(a.bytes() == b.bytes()) << k.o.name << " " << w;
                    }
                }
                // Rows 1 and 2 from a band, row 3 from a last-row call.
                const size_t row = size_t(w) * (k.o.planar ? 1 : k.o.bytes);
                for (int p = 0; p < (k.o.planar ? 3 : 1); ++p) {
                    std::fill_n(want.begin() + p * n, row, kFill);
                    std::fill(want.begin() + p * n + 4 * row, want.begin() + (p + 1) * h * row,
                              kFill);
                }
                Guarded out(want.size(), kFill);
                uint8_t* d = out.data();
                if (k.o.planar) {
                    rg8ToBgr8P_nearest_body(r0, r1, r2, w, d + w, d + n + w, d + 2 * n + w);
                    rg8ToBgr8P_nearest_lastRows(r2, r3, w, d + 3 * w, d + n + 3 * w,
                                                d + 2 * n + 3 * w);
                } else {
                    k.body(r0, r1, r2, w, d + row, flag);
                    k.last(r2, r3, w, d + 3 * row, flag);
                }
                ASSERT_TRUE(out.bytes() == want && out.intact()) << k.o.name << " passes " << w;
            }
        }
    }
}

// Each bilinear pass writes exactly its region: firstRows row 0, firstCols
// column 0 below it, body rows 1..R0-1 x columns 1..C0-1 returning
// R0 << 32 | C0 (size less 1 when even, less 2 when odd), lastRows the rows
// from R0, lastCols the columns from C0.
TEST(BilinearPasses, EachWritesItsRegion) {
    for (int h = 4; h <= 9; ++h) {
        for (int w : {4, 5, 6, 7, 16, 17, 18, 19, 20, 33, 34, 35}) {
            const auto s = frame(h, w, uint32_t(h * 100 + w));
            const auto all = expected(1, reference(1, s, h, w, kRG), kBgr8, h, w, kRG);
            const int r0 = h % 2 ? h - 2 : h - 1, c0 = w % 2 ? w - 2 : w - 1;
            const uint64_t start = (uint64_t(r0) << 32) | uint32_t(c0);
            const uint8_t* src = s.data();
            const struct {
                std::function<void(uint8_t*)> run;
                std::function<bool(int, int)> inside;
            } passes[] = {
                {[&](uint8_t* d) { rg8ToBgr8_bilinear_firstRows(src, d, h, w, 0); },
                 [](int y, int) { return y == 0; }},
                {[&](uint8_t* d) { rg8ToBgr8_bilinear_firstCols(src, d, h, w, 0); },
                 [](int y, int x) { return x == 0 && y > 0; }},
                {[&](uint8_t* d) { EXPECT_EQ(rg8ToBgr8_bilinear_body(src, d, h, w, 0), start); },
                 [&](int y, int x) { return y >= 1 && y < r0 && x >= 1 && x < c0; }},
                {[&](uint8_t* d) { rg8ToBgr8_bilinear_lastRows(src, d, h, w, 0, start); },
                 [&](int y, int x) { return y >= r0 && x >= 1 && x < c0; }},
                {[&](uint8_t* d) { rg8ToBgr8_bilinear_lastCols(src, d, h, w, 0, start); },
                 [&](int y, int x) { return y >= 1 && x >= c0; }},
            };
            for (const auto& pass : passes) {
                auto want = all;
                for (size_t i = 0; i < want.size(); ++i) {
                    if (!pass.inside(int(i / 3) / w, int(i / 3) % w)) want[i] = kFill;
                }
                Guarded out(want.size(), kFill);
                pass.run(out.data());
                ASSERT_TRUE(out.bytes() == want && out.intact())
                    << h << "x" << w << ": " << where(out.bytes(), want);
            }
        }
    }
}

// Only the flag value 1 exchanges; Mono8 takes any weights.
TEST(BilinearPasses, FlagsCompositionAndWeights) {
    const int h = 7, w = 37, n = h * w;
    const auto s = frame(h, w, 11);
    const auto ref = reference(1, s, h, w, kRG);
    const uint8_t* src = s.data();
    for (uint32_t flag : {0u, 1u, 2u, 0xFFFFFFFFu}) {
        const auto px = flag == 1 ? exchanged(ref) : ref;
        for (const Output* o : {&kBgr8, &kBgra8}) {
            const bool four = o == &kBgra8;
            Guarded out(size_t(n) * o->bytes, kFill);
            uint8_t* d = out.data();
            (four ? rg8ToBgra8_bilinear_firstRows : rg8ToBgr8_bilinear_firstRows)(src, d, h, w,
                                                                                  flag);
            (four ? rg8ToBgra8_bilinear_firstCols : rg8ToBgr8_bilinear_firstCols)(src, d, h, w,
                                                                                  flag);
            const uint64_t at =
                (four ? rg8ToBgra8_bilinear_body : rg8ToBgr8_bilinear_body)(src, d, h, w, flag);
            (four ? rg8ToBgra8_bilinear_lastRows : rg8ToBgr8_bilinear_lastRows)(src, d, h, w, flag,
                                                                                at);
            (four ? rg8ToBgra8_bilinear_lastCols : rg8ToBgr8_bilinear_lastCols)(src, d, h, w, flag,
                                                                                at);
            EXPECT_TRUE(out.bytes() == expected(1, px, *o, h, w, kRG)) << o->name << " " << flag;
        }
        // Planar and Mono8 passes below row 0: planes or weights exchange.
        Guarded planes(3 * size_t(n), kFill), mono(n, kFill);
        uint8_t *p0 = planes.data(), *m = mono.data();
        const uint32_t weights[3] = {77, 150, 29};
        rg8ToBgr8P_bilinear_firstCols(src, p0, p0 + n, p0 + 2 * n, h, w, flag);
        uint64_t at = rg8ToBgr8P_bilinear_body(src, p0, p0 + n, p0 + 2 * n, h, w, flag);
        rg8ToBgr8P_bilinear_lastRows(src, p0, p0 + n, p0 + 2 * n, h, w, flag, at);
        rg8ToBgr8P_bilinear_lastCols(src, p0, p0 + n, p0 + 2 * n, h, w, flag, at);
        rg8ToMono8_bilinear_firstCols(src, weights, m, h, w, flag);
        at = rg8ToMono8_bilinear_body(src, weights, m, h, w, flag);
        rg8ToMono8_bilinear_lastRows(src, weights, m, h, w, flag, at);
        rg8ToMono8_bilinear_lastCols(src, weights, m, h, w, flag, at);
        auto wantPlanes = expected(1, px, kPlanar, h, w, kRG);
        auto wantMono = expected(1, px, kMono8, h, w, kRG);
        for (int k = 0; k < 3; ++k) std::fill_n(wantPlanes.begin() + k * n, w, kFill);
        std::fill_n(wantMono.begin(), w, kFill);
        EXPECT_TRUE(planes.bytes() == wantPlanes && planes.intact()) << "planar " << flag;
        EXPECT_TRUE(mono.bytes() == wantMono && mono.intact()) << "mono " << flag;
    }
    const uint32_t odd[3] = {200, 50, 6};
    for (const Phase* p : {&kRG, &kPhases[1]}) {
        std::vector<uint8_t> got(n), want(n);
        const auto px = reference(1, s, h, w, *p);
        for (int i = 0; i < n; ++i) {
            const Pixel8& c = px[i];  // the first weight for the phase's red sites
            want[i] = uint8_t((200 * c.r + 50 * c.g + 6 * c.b + 128) >> 8);
        }
        (p == &kRG ? rg8ToMono8_bilinear : gr8ToMono8_bilinear)(src, h, w, odd, got.data());
        EXPECT_TRUE(got == want) << p->name;
    }
}

// Edge passes on a red-first frame with two rows of noise below it: a body
// pass at row r writes rows r-1 and r and leaves the greens of rows r (even
// entries) and r+1 (odd) in the line; last2Rows / last3Rows finish the frame.
TEST(EdgePasses, WriteTheirRowsAndCarryTheGreens) {
    using FlagPass = int32_t (*)(const uint8_t* const*, int32_t, uint8_t*, uint8_t*, uint32_t);
    using PlanarPass =
        int32_t (*)(const uint8_t* const*, int32_t, uint8_t*, uint8_t*, uint8_t*, uint8_t*);
    const struct {
        const Output& o;
        FlagPass pass[3];
        PlanarPass planar[3];
    } forms[] = {
        {kMono8, {rg8ToMono8_edge_body, rg8ToMono8_edge_last2Rows, rg8ToMono8_edge_last3Rows}, {}},
        {kBgr8, {rg8ToBgr8_edge_body, rg8ToBgr8_edge_last2Rows, rg8ToBgr8_edge_last3Rows}, {}},
        {kBgra8, {rg8ToBgra8_edge_body, rg8ToBgra8_edge_last2Rows, rg8ToBgra8_edge_last3Rows}, {}},
        {kPlanar, {}, {rg8ToBgr8P_edge_body, rg8ToBgr8P_edge_last2Rows, rg8ToBgr8P_edge_last3Rows}},
    };
    struct Case {
        int kind, h, w, r;  // kind 0 body, 1 last2Rows, 2 last3Rows
    };
    std::vector<Case> cases;
    for (int w = 6; w <= 52; ++w) cases.push_back({0, 10, w, 4});
    for (int w = 6; w <= 40; ++w) {
        for (int h : {6, 8, 11}) cases.push_back({h % 2 ? 2 : 1, h, w, h % 2 ? h - 3 : h - 2});
    }
    for (const Case& c : cases) {
        const int n = c.h * c.w, last = c.kind ? c.h - 1 : c.r;
        const auto src = frame(c.h + 2, c.w, uint32_t(c.w * 7 + c.h + c.kind));
        const std::vector<uint8_t> image(src.begin(), src.begin() + n);
        const Mosaic m{image, c.h, c.w, kRG};
        const Edge e(m);
        const uint8_t* rows[6];
        for (int i = 0; i < 6; ++i) rows[i] = src.data() + size_t(c.r - 2 + i) * c.w;
        for (const auto& f : forms) {
            for (uint32_t flag : {0u, 1u}) {
                if (f.o.planar && flag) continue;
                std::vector<uint8_t> line(c.w);
                for (int x = 0; x < c.w; ++x) line[x] = uint8_t(e.green(c.r - 2 + x % 2, x));
                const auto px = reference(2, image, c.h, c.w, kRG);
                auto want = tavtest::place(flag ? exchanged(px) : px, f.o, [&](size_t i) {
                    const int x = int(i % c.w), end = (c.w - 20) / 16 * 16 + 16;
                    return uint8_t(c.kind == 0 && c.w >= 20 && x >= 1 && x <= end ? 0 : kFill);
                });
                const int planes = f.o.planar ? 3 : 1, bpp = f.o.planar ? 1 : f.o.bytes;
                for (int k = 0; k < planes; ++k) {
                    for (int y = 0; y < c.h; ++y) {
                        if (y >= c.r - 1 && y <= last) continue;
                        std::fill_n(want.begin() + k * n + size_t(y) * c.w * bpp, c.w * bpp, kFill);
                    }
                }
                Guarded out(want.size(), kFill);
                uint8_t* at = out.data() + size_t(c.r) * c.w * bpp;
                if (f.o.planar) {
                    f.planar[c.kind](rows, c.w, at, at + n, at + 2 * n, line.data());
                } else {
                    f.pass[c.kind](rows, c.w, at, line.data(), flag);
                }
                ASSERT_TRUE(out.bytes() == want && out.intact())
                    << f.o.name << " pass " << c.kind << " " << c.h << "x" << c.w << " flag "
                    << flag << ": " << where(out.bytes(), want);
                for (int x = 0; c.kind == 0 && x < c.w; ++x) {
                    ASSERT_EQ(line[x], e.green(c.r + x % 2, x)) << c.w << " line entry " << x;
                }
            }
        }
    }
}

// ---- values worked out by hand

std::vector<uint8_t> entry(const std::vector<uint8_t>& s, int h, int w, uint32_t method,
                           uint64_t output = TAV_PF_RGB8) {
    tavtest::Context c;
    c.setOutput(output);
    auto in = s;
    std::vector<uint8_t> out(size_t(h) * w * 4);
    TavImage src{h, w, TAV_PF_BAYER_RG8, in.data(), w}, dst{0, 0, 0, out.data(), 0};
    EXPECT_EQ(tavDemosaicing(c.ctx, &src, method, &dst), TAV_OK);
    return out;
}

std::vector<int> rgbAt(const std::vector<uint8_t>& rgb, int w, int y, int x) {
    const uint8_t* p = &rgb[3 * (y * w + x)];
    return {p[0], p[1], p[2]};
}

// RG 4 x 4; neighbours outside the frame are read from the mirror position.
//   10  20  30  40 /  50  61  70  81 /  90 100 110 120 / 130 141 150 161
TEST(ByHand, BilinearSitesAverageAndTruncate) {
    const std::vector<uint8_t> s = {10, 20,  30,  40,  50,  61,  70,  81,
                                    90, 100, 110, 120, 130, 141, 150, 161};
    const auto out = entry(s, 4, 4, TAV_METHOD_BILINEAR);
    using V = std::vector<int>;
    EXPECT_EQ(rgbAt(out, 4, 0, 0), (V{10, 35, 61}));     // green (20 + 50) / 2, blue the diagonal
    EXPECT_EQ(rgbAt(out, 4, 0, 1), (V{20, 20, 61}));     // red (10 + 30) / 2, blue below
    EXPECT_EQ(rgbAt(out, 4, 0, 2), (V{30, 50, 71}));     // green (20 + 2 x 70 + 40) / 4
    EXPECT_EQ(rgbAt(out, 4, 1, 0), (V{50, 50, 61}));     // red (10 + 90) / 2
    EXPECT_EQ(rgbAt(out, 4, 1, 1), (V{60, 60, 61}));     // red (10 + 30 + 90 + 110) / 4
    EXPECT_EQ(rgbAt(out, 4, 2, 2), (V{110, 110, 111}));  // blue (61 + 81 + 141 + 161) / 4
    EXPECT_EQ(rgbAt(out, 4, 3, 3), (V{110, 135, 161}));  // green (120 + 150) / 2
    const std::vector<uint8_t> t = {2, 2, 2, 2, 1, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 2};
    const auto tr = entry(t, 4, 4, TAV_METHOD_BILINEAR);
    EXPECT_EQ(rgbAt(tr, 4, 2, 1)[0], 1);  // (1 + 2) >> 1
    EXPECT_EQ(rgbAt(tr, 4, 1, 1)[1], 1);  // (2 + 1 + 2 + 2) >> 2
    EXPECT_EQ(entry(t, 4, 4, TAV_METHOD_BILINEAR, TAV_PF_MONO8)[9],
              2);  // (77 + 300 + 58 + 128) >> 8
}

TEST(ByHand, NearestBlueSampleReachesItsNinePixels) {
    std::vector<uint8_t> s(64, 0);
    s[1 * 8 + 1] = 200;  // the blue site (1, 1)
    const auto out = entry(s, 8, 8, TAV_METHOD_NEAREST);
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) {
            const int b = y <= 2 && x <= 2 ? 200 : 0;
            EXPECT_EQ(rgbAt(out, 8, y, x), (std::vector<int>{0, 0, b})) << y << "," << x;
        }
    }
}

TEST(ByHand, EdgeGreenEstimates) {
    // Corner (0, 0): H = 2|100 - 80| = 40 < V = 2|100 - 130| = 60: green 60 + 40 / 4 = 70.
    // (1, 1): H = 50 + 10 < V = 50 + 40: (90 + 100) / 2 + 50 / 4 = 107, difference 43.
    std::vector<uint8_t> s(36, 100);
    s[2] = 80, s[12] = 130, s[1] = 60, s[6] = 90, s[7] = 150;
    EXPECT_EQ(rgbAt(entry(s, 6, 6, TAV_METHOD_EDGE), 6, 0, 0), (std::vector<int>{100, 70, 113}));
    // A tie (H = V = 20) takes the vertical estimate (70 + 90) / 2, not (40 + 60) / 2.
    std::vector<uint8_t> tie(36, 100);
    tie[2 * 6 + 1] = 40, tie[2 * 6 + 3] = 60, tie[1 * 6 + 2] = 70, tie[3 * 6 + 2] = 90;
    EXPECT_EQ(rgbAt(entry(tie, 6, 6, TAV_METHOD_EDGE), 6, 2, 2)[1], 80);
    // Greens 255, reds and blues 0 but one red of 255 at (2, x0): its estimate
    // 255 + 510 / 4 clamps to 255 before differences use it, so the green site
    // to its right gets red 255 + (0 - 255) >> 1 = 127 (64 unclamped). In the
    // scalar columns and in the vector body.
    for (int w : {6, 24}) {
        const int x0 = w < 20 ? 2 : 6;
        std::vector<uint8_t> f(size_t(8) * w);
        for (int y = 0; y < 8; ++y) {
            for (int x = 0; x < w; ++x) f[y * w + x] = (x + y) % 2 ? 255 : 0;
        }
        f[2 * w + x0] = 255;
        const auto out = entry(f, 8, w, TAV_METHOD_EDGE);
        EXPECT_EQ(rgbAt(out, w, 2, x0 + 1)[0], 127) << w;
        EXPECT_EQ(rgbAt(out, w, 2, x0)[1], 255) << w;
    }
}

}  // namespace
