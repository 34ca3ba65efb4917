// Edge-directed 8-bit demosaicing: every kernel, pass and dispatch route
// against a whole-frame reference that evaluates the site formulas with
// mirrored indices, the alpha bytes of the 4-byte form, the size checks, and
// hand-computed values.
#include <algorithm>
#include <cstring>
#include <functional>
#include <random>

#include "demosaic8/edge8.h"
#include "support.h"

using tavtest::diag;
using tavtest::printedBy;
namespace edge = tav::d8::edge;

namespace {

// ---- reference

struct Triple {
    int r, g, b;  // red-site colour, green, blue-site colour
};

// The whole frame by the site formulas, every index mirrored into the frame.
// Green-first frames have their red rows at odd y.
class Reference {
  public:
    Reference(const std::vector<uint8_t>& s, int height, int width, bool greenFirst)
        : s_(s), h_(height), w_(width), greenFirst_(greenFirst), greens_(s.size()) {
        for (int y = 0; y < h_; ++y) {
            for (int x = 0; x < w_; ++x) greens_[y * w_ + x] = estimate(y, x);
        }
    }

    int at(int y, int x) const { return s_[edge::mirror(y, h_) * w_ + edge::mirror(x, w_)]; }
    // G' at red and blue sites, the sample at green sites.
    int green(int y, int x) const {
        return greens_[edge::mirror(y, h_) * w_ + edge::mirror(x, w_)];
    }
    bool redRow(int y) const { return ((y + greenFirst_) & 1) == 0; }

    Triple pixel(int y, int x) const {
        const int v = at(y, x);
        if (redRow(y) && x % 2 == 0) return {v, green(y, x), diagonal(y, x)};
        if (!redRow(y) && x % 2 == 1) return {diagonal(y, x), green(y, x), v};
        const int across = edge::fromTwo(v, diff(y, x - 1), diff(y, x + 1));
        const int along = edge::fromTwo(v, diff(y - 1, x), diff(y + 1, x));
        return redRow(y) ? Triple{across, v, along} : Triple{along, v, across};
    }

  private:
    bool greenSite(int y, int x) const { return redRow(y) == (x % 2 == 1); }
    int estimate(int y, int x) const {
        if (greenSite(y, x)) return at(y, x);
        return edge::greenEstimate(at(y, x), at(y, x - 2), at(y, x + 2), at(y - 2, x), at(y + 2, x),
                                   at(y, x - 1), at(y, x + 1), at(y - 1, x), at(y + 1, x));
    }
    int diff(int y, int x) const { return at(y, x) - green(y, x); }
    int diagonal(int y, int x) const {
        return edge::fromFour(green(y, x), diff(y - 1, x - 1), diff(y - 1, x + 1),
                              diff(y + 1, x - 1), diff(y + 1, x + 1));
    }

    const std::vector<uint8_t>& s_;
    int h_, w_;
    bool greenFirst_;
    std::vector<int> greens_;
};

// Random frames of four kinds: uniform; only 0 and 255 (clamps everywhere);
// a narrow range (gradient ties, small negative Laplacians); stripes and steps.
std::vector<uint8_t> frame(int height, int width, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<uint8_t> s(size_t(height) * width);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            uint32_t v = rng();
            switch (seed % 4) {
                case 1:
                    v = (v & 1) ? 255 : 0;
                    break;
                case 2:
                    v = 100 + (v & 3);
                    break;
                case 3:
                    v = ((x / 3) % 2 ? 200 : 30) + ((y / 4) % 2 ? 40 : 0) + (v & 7);
                    break;
                default:
                    break;
            }
            s[y * width + x] = static_cast<uint8_t>(v);
        }
    }
    return s;
}

// ---- output forms

enum class Form { Mono8, Bgr8, Bgra8, Planar };

const char* name(Form f) {
    switch (f) {
        case Form::Mono8:
            return "Mono8";
        case Form::Bgr8:
            return "Bgr8";
        case Form::Bgra8:
            return "Bgra8";
        default:
            return "Planar";
    }
}

void PrintTo(Form f, std::ostream* os) {
    *os << name(f);
}

int bytesPerPixel(Form f) {
    return f == Form::Mono8 || f == Form::Planar ? 1 : f == Form::Bgr8 ? 3 : 4;
}

constexpr uint8_t kFill = 0xAA;

// Whether the vector body writes the alpha byte (as 0) of pixel (y, x).
bool vectorAlpha(int height, int width, bool greenFirst, int y, int x) {
    if (width < edge::kVectorMinWidth) return false;
    const int firstPass = greenFirst ? 3 : 2;
    int lastPass = -1;
    for (int r = firstPass; r < height - 3; r += 2) lastPass = r;
    const int lastColumn = (width - 20) / 16 * 16 + 16;
    return lastPass >= 0 && y >= firstPass - 1 && y <= lastPass && x >= 1 && x <= lastColumn;
}

// Checks one output image (in the kernel's channel order for `flag`) against
// the reference; `alpha(y, x)` says whether the alpha byte must be 0.
void expectImage(const Reference& ref, int height, int width, Form form, uint32_t flag,
                 const std::vector<uint8_t>& out, const std::function<bool(int, int)>& alpha,
                 const std::string& what, int firstRow = 0, int lastRow = -1) {
    const size_t n = size_t(height) * width;
    const int wr = flag ? 29 : 77, wb = flag ? 77 : 29;
    for (int y = firstRow; y <= (lastRow < 0 ? height - 1 : lastRow); ++y) {
        for (int x = 0; x < width; ++x) {
            const Triple t = ref.pixel(y, x);
            const size_t i = size_t(y) * width + x;
            const int first = flag ? t.r : t.b, third = flag ? t.b : t.r;
            bool ok = true;
            switch (form) {
                case Form::Mono8:
                    ok = out[i] == (wr * t.r + 150 * t.g + wb * t.b + 128) >> 8;
                    break;
                case Form::Planar:
                    ok = out[i] == t.r && out[n + i] == t.g && out[2 * n + i] == t.b;
                    break;
                default: {
                    const uint8_t* p = &out[i * bytesPerPixel(form)];
                    ok = p[0] == first && p[1] == t.g && p[2] == third;
                    if (form == Form::Bgra8) ok = ok && p[3] == (alpha(y, x) ? 0 : kFill);
                }
            }
            ASSERT_TRUE(ok) << what << " flag " << flag << " at y=" << y << " x=" << x
                            << " want r*=" << t.r << " g=" << t.g << " b*=" << t.b;
        }
    }
}

int32_t runEntry(Form form, bool greenFirst, const uint8_t* src, int height, int width,
                 uint8_t* dst, uint32_t flag, uint8_t* line) {
    const size_t n = size_t(height) * width;
    switch (form) {
        case Form::Mono8:
            return (greenFirst ? gb8ToMono8_edge : rg8ToMono8_edge)(src, height, width, dst, flag,
                                                                    line);
        case Form::Bgr8:
            return (greenFirst ? gb8ToBgr8_edge : rg8ToBgr8_edge)(src, height, width, dst, flag,
                                                                  line);
        case Form::Bgra8:
            return (greenFirst ? gb8ToBgra8_edge : rg8ToBgra8_edge)(src, height, width, dst, flag,
                                                                    line);
        default:
            return (greenFirst ? gb8ToBgr8P_edge : rg8ToBgr8P_edge)(src, height, width, dst,
                                                                    dst + n, dst + 2 * n, line);
    }
}

// ---- every entry kernel on every size

class EdgeKernel : public testing::TestWithParam<std::tuple<Form, bool>> {};

TEST_P(EdgeKernel, MatchesTheReferenceOnEverySize) {
    const auto [form, greenFirst] = GetParam();
    std::vector<std::pair<int, int>> sizes;  // height, width
    for (int w = 6; w <= 40; ++w) {
        for (int h : {6, 7, 8, 9, 10, 11, 12, 13}) sizes.push_back({h, w});
    }
    for (int w : {51, 52, 53, 67, 70}) sizes.push_back({9, w});
    for (int h = 14; h <= 40; ++h) sizes.push_back({h, h % 3 ? 21 : 36});

    for (const auto& [height, width] : sizes) {
        const auto src = frame(height, width, uint32_t(height * 131 + width));
        const Reference ref(src, height, width, greenFirst);
        for (uint32_t flag : {0u, 1u}) {
            if (form == Form::Planar && flag) continue;  // planar kernels take no flag
            std::vector<uint8_t> out(
                size_t(height) * width * (form == Form::Planar ? 3 : bytesPerPixel(form)), kFill);
            std::vector<uint8_t> line(width);  // exactly one line: overruns trip the sanitizer
            ASSERT_EQ(runEntry(form, greenFirst, src.data(), height, width, out.data(), flag,
                               line.data()),
                      TAV_OK);
            expectImage(
                ref, height, width, form, flag, out,
                [&](int y, int x) { return vectorAlpha(height, width, greenFirst, y, x); },
                std::to_string(height) + "x" + std::to_string(width));
            if (testing::Test::HasFatalFailure()) return;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, EdgeKernel,
                         testing::Combine(testing::Values(Form::Mono8, Form::Bgr8, Form::Bgra8,
                                                          Form::Planar),
                                          testing::Bool()),
                         [](const auto& info) {
                             return std::string(name(std::get<0>(info.param))) +
                                    (std::get<1>(info.param) ? "_GreenFirst" : "_RedFirst");
                         });

// ---- the exported passes, called as the entry calls them

using FlagPass = int32_t (*)(const uint8_t* const*, int32_t, uint8_t*, uint8_t*, uint32_t);
using PlanarPass = int32_t (*)(const uint8_t* const*, int32_t, uint8_t*, uint8_t*, uint8_t*,
                               uint8_t*);

struct Passes {
    Form form;
    FlagPass body = nullptr, last2 = nullptr, last3 = nullptr;
    PlanarPass planarBody = nullptr, planarLast2 = nullptr, planarLast3 = nullptr;
};

const Passes kPasses[] = {
    {Form::Mono8, rg8ToMono8_edge_body, rg8ToMono8_edge_last2Rows, rg8ToMono8_edge_last3Rows},
    {Form::Bgr8, rg8ToBgr8_edge_body, rg8ToBgr8_edge_last2Rows, rg8ToBgr8_edge_last3Rows},
    {Form::Bgra8, rg8ToBgra8_edge_body, rg8ToBgra8_edge_last2Rows, rg8ToBgra8_edge_last3Rows},
    {Form::Planar, nullptr, nullptr, nullptr, rg8ToBgr8P_edge_body, rg8ToBgr8P_edge_last2Rows,
     rg8ToBgr8P_edge_last3Rows},
};

void PrintTo(const Passes& p, std::ostream* os) {
    *os << name(p.form);
}

class EdgePass : public testing::TestWithParam<Passes> {};

// A red-first frame of `height` rows with two rows of noise below it, which
// bottom passes must not read; a pass at row r is given the line as the
// previous pass leaves it and must write only rows r - 1 .. `lastRow`.
enum PassKind { kBody, kLast2, kLast3 };

void checkPass(const Passes& p, PassKind kind, int height, int width, int r) {
    const size_t n = size_t(height) * width;
    const auto src = frame(height + 2, width, uint32_t(width * 7 + height + kind));
    const std::vector<uint8_t> image(src.begin(), src.begin() + n);
    const Reference ref(image, height, width, false);
    const uint8_t* rows[6];
    for (int i = 0; i < 6; ++i) rows[i] = src.data() + size_t(r - 2 + i) * width;
    std::vector<uint8_t> line(width);
    for (int x = 0; x < width; ++x) line[x] = static_cast<uint8_t>(ref.green(r - 2 + x % 2, x));
    const int lastRow = kind == kBody ? r : height - 1;

    for (uint32_t flag : {0u, 1u}) {
        if (p.form == Form::Planar && flag) continue;
        auto pass = line;
        std::vector<uint8_t> out(n * (p.form == Form::Planar ? 3 : bytesPerPixel(p.form)), kFill);
        const int bpp = p.form == Form::Planar ? 1 : bytesPerPixel(p.form);
        uint8_t* at = out.data() + size_t(r) * width * bpp;
        if (p.form == Form::Planar) {
            const PlanarPass f = kind == kBody    ? p.planarBody
                                 : kind == kLast2 ? p.planarLast2
                                                  : p.planarLast3;
            ASSERT_EQ(f(rows, width, at, at + n, at + 2 * n, pass.data()), TAV_OK);
        } else {
            const FlagPass f = kind == kBody ? p.body : kind == kLast2 ? p.last2 : p.last3;
            ASSERT_EQ(f(rows, width, at, pass.data(), flag), TAV_OK);
        }
        // Rows outside r - 1 .. lastRow keep the fill.
        for (int y = 0; y < height; ++y) {
            if (y >= r - 1 && y <= lastRow) continue;
            for (int plane = 0; plane < (p.form == Form::Planar ? 3 : 1); ++plane) {
                const size_t begin = plane * n + size_t(y) * width * bpp;
                EXPECT_TRUE(std::all_of(out.begin() + begin, out.begin() + begin + width * bpp,
                                        [](uint8_t b) { return b == kFill; }))
                    << "row " << y << " written";
            }
        }
        // Rows r - 1 .. lastRow against the reference; only a body pass runs the vector code.
        const std::string what = std::to_string(height) + "x" + std::to_string(width) + " pass " +
                                 std::to_string(kind) + " at " + std::to_string(r);
        const int lastVectorColumn = width < 20 ? 0 : (width - 20) / 16 * 16 + 16;
        expectImage(
            ref, height, width, p.form, flag, out,
            [&](int, int x) { return kind == kBody && x >= 1 && x <= lastVectorColumn; }, what,
            r - 1, lastRow);
        if (testing::Test::HasFatalFailure()) return;
        // A body pass leaves the greens of rows r (even entries) and r + 1 (odd entries).
        if (kind == kBody) {
            for (int x = 0; x < width; ++x) {
                ASSERT_EQ(pass[x], ref.green(r + x % 2, x)) << what << " line entry " << x;
            }
        }
    }
}

TEST_P(EdgePass, BodyWritesTwoRowsAndLeavesTheirGreens) {
    for (int width = 6; width <= 60; ++width) {
        checkPass(GetParam(), kBody, 10, width, 4);
        if (testing::Test::HasFatalFailure()) return;
    }
}

TEST_P(EdgePass, BottomPassesFinishTheFrame) {
    for (int width = 6; width <= 40; ++width) {
        for (int height : {6, 8, 11}) {
            // Even heights end with last2Rows at H - 2, odd ones with last3Rows at H - 3.
            const bool odd = height % 2;
            checkPass(GetParam(), odd ? kLast3 : kLast2, height, width,
                      odd ? height - 3 : height - 2);
            if (testing::Test::HasFatalFailure()) return;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, EdgePass, testing::ValuesIn(kPasses),
                         [](const auto& info) { return std::string(name(info.param.form)); });

// The vector body against the same pass in scalar code, on wide rows.
TEST(EdgeBody, VectorAndScalarPassesAgree) {
    for (int width = 20; width <= 200; width += 3) {
        const auto src = frame(6, width, uint32_t(width));
        const uint8_t* rows[6];
        for (int i = 0; i < 6; ++i) rows[i] = src.data() + size_t(i) * width;
        const auto line = tavtest::randomBytes(width, width + 1);
        std::vector<uint8_t> outs[2], lines[2];
        for (int vector = 0; vector < 2; ++vector) {
            outs[vector].assign(size_t(6) * width * 3, kFill);
            lines[vector] = line;
            edge::bodyPass(rows, width,
                           tav::d8::Bgr8Writer{outs[vector].data() + 2 * 3 * width, width, false},
                           lines[vector].data(), vector == 1);
        }
        ASSERT_TRUE(outs[0] == outs[1]) << "width " << width;
        ASSERT_TRUE(lines[0] == lines[1]) << "width " << width;
    }
}

// ---- size checks

struct SizeCheck {
    const char* kernel;
    int site;
    bool greenFirst;
    Form form;
};

class EdgeSize : public testing::TestWithParam<SizeCheck> {};

TEST_P(EdgeSize, FramesBelowSixRowsOrColumnsAreRefused) {
    const SizeCheck c = GetParam();
    for (auto [height, width] : {std::pair{5, 6}, {6, 5}, {5, 40}, {40, 5}, {-6, 8}, {8, -6}}) {
        std::vector<uint8_t> src(64 * 64, 1), out(64 * 64 * 4, kFill), line(64, kFill);
        const std::string printed = printedBy([&] {
            EXPECT_EQ(runEntry(c.form, c.greenFirst, src.data(), height, width, out.data(), 0,
                               line.data()),
                      TAV_E_IMAGE_SIZE);
        });
        EXPECT_EQ(printed, diag(c.site)) << height << "x" << width;
        EXPECT_TRUE(std::all_of(out.begin(), out.end(), [](uint8_t b) { return b == kFill; }));
    }
}

INSTANTIATE_TEST_SUITE_P(All, EdgeSize,
                         testing::Values(SizeCheck{"rg8ToBgr8", 5672, false, Form::Bgr8},
                                         SizeCheck{"gb8ToBgr8", 5617, true, Form::Bgr8},
                                         SizeCheck{"rg8ToBgra8", 9463, false, Form::Bgra8},
                                         SizeCheck{"gb8ToBgra8", 9413, true, Form::Bgra8},
                                         SizeCheck{"rg8ToBgr8P", 11269, false, Form::Planar},
                                         SizeCheck{"gb8ToBgr8P", 11216, true, Form::Planar},
                                         SizeCheck{"rg8ToMono8", 13056, false, Form::Mono8},
                                         SizeCheck{"gb8ToMono8", 13007, true, Form::Mono8}),
                         [](const auto& info) { return std::string(info.param.kernel); });

// ---- hand-computed values

TEST(EdgeFormulas, GreenEstimateByHand) {
    // Horizontal (H = 3 + 1 < V = 200): mean 100, quarter Laplacian of -3 floors to -1.
    EXPECT_EQ(edge::greenEstimate(10, 11, 12, 10, 10, 100, 101, 0, 200), 99);
    // Equal gradients (H = V = 420) take the vertical estimate: 80 + 100, not 50 + 100.
    EXPECT_EQ(edge::greenEstimate(200, 0, 0, 0, 0, 40, 60, 70, 90), 180);
    // Vertical with mean 100: Laplacians -1, -4, -5 contribute -1, -1, -2.
    EXPECT_EQ(edge::greenEstimate(10, 0, 0, 10, 11, 0, 255, 100, 100), 99);
    EXPECT_EQ(edge::greenEstimate(10, 0, 0, 10, 14, 0, 255, 100, 100), 99);
    EXPECT_EQ(edge::greenEstimate(10, 0, 0, 10, 15, 0, 255, 100, 100), 98);
    // Overshoot: 255 + 510 / 4 clamps to 255; undershoot clamps to 0.
    EXPECT_EQ(edge::greenEstimate(255, 0, 0, 0, 0, 255, 255, 0, 255), 255);
    EXPECT_EQ(edge::greenEstimate(0, 255, 255, 255, 255, 0, 0, 0, 200), 0);
}

TEST(EdgeFormulas, ColourDifferencesFloorAndClamp) {
    EXPECT_EQ(edge::fromTwo(100, -3, 0), 98);         // -3 >> 1 = -2
    EXPECT_EQ(edge::fromFour(100, -1, 0, 0, 0), 99);  // -1 >> 2 = -1
    EXPECT_EQ(edge::fromTwo(250, 20, 20), 255);
    EXPECT_EQ(edge::fromFour(5, -255, -255, -255, -255), 0);
}

std::vector<uint8_t> bgrOf(const std::vector<uint8_t>& src, int height, int width) {
    std::vector<uint8_t> out(size_t(height) * width * 3), line(width);
    EXPECT_EQ(rg8ToBgr8_edge(src.data(), height, width, out.data(), 0, line.data()), TAV_OK);
    return out;
}

TEST(EdgeByHand, CornerPixel) {
    // All 100 but for the neighbourhood of (0, 0). G'(0, 0): H = 2|100 - 80| = 40 <
    // V = 2|100 - 130| = 60, so 60 + 40 / 4 = 70. G'(1, 1): H = 50 + 10 < V = 50 + 40,
    // so (90 + 100) / 2 + 50 / 4 = 107 and D(1, 1) = 43; blue = 70 + 43.
    std::vector<uint8_t> s(36, 100);
    s[0 * 6 + 2] = 80;
    s[2 * 6 + 0] = 130;
    s[0 * 6 + 1] = 60;
    s[1 * 6 + 0] = 90;
    s[1 * 6 + 1] = 150;
    const auto out = bgrOf(s, 6, 6);
    EXPECT_EQ(out[0], 113);
    EXPECT_EQ(out[1], 70);
    EXPECT_EQ(out[2], 100);
}

class EdgeClamp : public testing::TestWithParam<int> {};

TEST_P(EdgeClamp, OvershootingGreenIsClampedBeforeItsDifferenceIsUsed) {
    // Greens 255, reds and blues 0, one red of 255 at (2, x0). Its green
    // estimate 255 + 510 / 4 clamps to 255, so D = 0 there; its right red
    // neighbour estimates 255 vertically, D = -255. The green site between
    // them gets red 255 + (0 - 255) >> 1 = 127 (64 without the clamp).
    const int width = GetParam(), x0 = width < 20 ? 2 : 6;
    std::vector<uint8_t> s(size_t(8) * width);
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < width; ++x) s[y * width + x] = (x + y) % 2 ? 255 : 0;
    }
    s[2 * width + x0] = 255;
    const auto out = bgrOf(s, 8, width);
    EXPECT_EQ(out[(2 * width + x0 + 1) * 3 + 2], 127);
    EXPECT_EQ(out[(2 * width + x0) * 3 + 1], 255);  // the clamped estimate itself
}

INSTANTIATE_TEST_SUITE_P(ScalarAndVector, EdgeClamp, testing::Values(6, 24));

TEST(EdgeByHand, EdgesAndFlatFields) {
    // A flat field comes back unchanged; a vertical edge has no vertical
    // gradient, so greens follow the column and colours do not bleed across.
    const int height = 8, width = 24;
    std::vector<uint8_t> flat(size_t(height) * width, 77), edges(flat.size());
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) edges[y * width + x] = x < 11 ? 40 : 220;
    }
    const auto flatOut = bgrOf(flat, height, width);
    EXPECT_TRUE(std::all_of(flatOut.begin(), flatOut.end(), [](uint8_t b) { return b == 77; }));
    const auto edgeOut = bgrOf(edges, height, width);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const uint8_t want = x < 11 ? 40 : 220;
            for (int k = 0; k < 3; ++k)
                ASSERT_EQ(edgeOut[(y * width + x) * 3 + k], want) << y << " " << x;
        }
    }
}

// ---- the alpha byte of the 4-byte form

TEST(EdgeAlpha, ZeroOnlyWhereTheVectorBodyRuns) {
    // 20 columns: one vector step per body pass, covering columns 1 .. 16 of
    // rows 1 .. 6 (red-first, 10 rows: body passes at rows 2, 4, 6).
    const int height = 10, width = 20;
    const auto src = frame(height, width, 11);
    std::vector<uint8_t> out(size_t(height) * width * 4, kFill), line(width);
    ASSERT_EQ(rg8ToBgra8_edge(src.data(), height, width, out.data(), 0, line.data()), TAV_OK);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const bool zero = y >= 1 && y <= 6 && x >= 1 && x <= 16;
            EXPECT_EQ(out[(y * width + x) * 4 + 3], zero ? 0 : kFill) << "y=" << y << " x=" << x;
        }
    }
}

// ---- through tavDemosaicing

struct Source {
    uint32_t code8, packed;      // 8-bit and 12-bit packed codes of one phase
    bool greenFirst, exchanged;  // kernel phase; red and blue sites exchanged
};

void PrintTo(const Source& s, std::ostream* os) {
    *os << "source 0x" << std::hex << s.code8;
}

const Source kSources[] = {
    {TAV_PF_BAYER_RG8, TAV_PF_BAYER_RG12_PACKED, false, false},
    {TAV_PF_BAYER_BG8, TAV_PF_BAYER_BG12_PACKED, false, true},
    {TAV_PF_BAYER_GB8, TAV_PF_BAYER_GB12_PACKED, true, false},
    {TAV_PF_BAYER_GR8, TAV_PF_BAYER_GR12_PACKED, true, true},
};

const uint64_t kOutputs[] = {TAV_PF_MONO8,       TAV_PF_RGB8,  TAV_PF_BGR8, TAV_PF_RGB8_PLANAR,
                             TAV_PF_BGR8_PLANAR, TAV_PF_RGBA8, TAV_PF_BGRA8};

// The expected output in real colours, from the reference in site colours.
std::vector<uint8_t> expectedOutput(const Reference& ref, const Source& src, uint64_t output,
                                    int height, int width) {
    const size_t n = size_t(height) * width;
    const bool four = output == TAV_PF_RGBA8 || output == TAV_PF_BGRA8;
    std::vector<uint8_t> out(n * (output == TAV_PF_MONO8 ? 1 : four ? 4 : 3));
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const Triple t = ref.pixel(y, x);
            const int red = src.exchanged ? t.b : t.r, blue = src.exchanged ? t.r : t.b, g = t.g;
            const size_t i = size_t(y) * width + x;
            const auto put = [&](int bpp, int c0, int c1, int c2) {
                out[i * bpp] = uint8_t(c0);
                out[i * bpp + 1] = uint8_t(c1);
                out[i * bpp + 2] = uint8_t(c2);
                if (bpp == 4) {
                    out[i * bpp + 3] = vectorAlpha(height, width, src.greenFirst, y, x) ? 0 : kFill;
                }
            };
            switch (output) {
                case TAV_PF_MONO8:
                    out[i] = uint8_t((77 * red + 150 * g + 29 * blue + 128) >> 8);
                    break;
                case TAV_PF_RGB8:
                    put(3, red, g, blue);
                    break;
                case TAV_PF_BGR8:
                    put(3, blue, g, red);
                    break;
                case TAV_PF_RGBA8:
                    put(4, red, g, blue);
                    break;
                case TAV_PF_BGRA8:
                    put(4, blue, g, red);
                    break;
                case TAV_PF_RGB8_PLANAR:
                    out[i] = uint8_t(red), out[n + i] = uint8_t(g), out[2 * n + i] = uint8_t(blue);
                    break;
                default:
                    out[i] = uint8_t(blue), out[n + i] = uint8_t(g), out[2 * n + i] = uint8_t(red);
            }
        }
    }
    return out;
}

// Source bytes in one of three layouts: 8-bit compact, 8-bit with padded rows,
// 12-bit packed (two samples in three bytes, the 8-bit value in the outer bytes).
enum class Layout { Compact8, Padded8, Packed12 };

void PrintTo(Layout l, std::ostream* os) {
    *os << (l == Layout::Compact8 ? "compact" : l == Layout::Padded8 ? "padded" : "packed");
}

std::vector<uint8_t> encode(const std::vector<uint8_t>& s, int height, int width, Layout layout,
                            int32_t& pitch) {
    if (layout == Layout::Compact8) {
        pitch = width;
        return s;
    }
    if (layout == Layout::Padded8) {
        pitch = width + 5;
        std::vector<uint8_t> out(size_t(height) * pitch, 0x5A);
        for (int y = 0; y < height; ++y) std::copy_n(&s[y * width], width, &out[y * pitch]);
        return out;
    }
    pitch = width + width / 2;  // width is even here
    std::vector<uint8_t> out(size_t(height) * pitch);
    for (size_t k = 0; 2 * k < s.size(); ++k) {
        out[3 * k] = s[2 * k];
        out[3 * k + 1] = uint8_t(k * 37);  // low bits, not part of the 8-bit result
        out[3 * k + 2] = s[2 * k + 1];
    }
    return out;
}

class EdgeEntry : public testing::TestWithParam<std::tuple<Source, uint64_t, Layout>> {};

TEST_P(EdgeEntry, EveryPhaseAndOutput) {
    const auto [source, output, layout] = GetParam();
    for (auto [height, width] : {std::pair{6, 6}, {7, 20}, {9, 23}, {12, 38}, {13, 52}}) {
        if (layout == Layout::Packed12 && width % 2) continue;
        const auto plane = frame(height, width, uint32_t(height + width));
        const Reference ref(plane, height, width, source.greenFirst);
        const auto want = expectedOutput(ref, source, output, height, width);
        int32_t pitch = 0;
        auto bytes = encode(plane, height, width, layout, pitch);
        tavtest::Context c;
        c.setOutput(output);
        std::vector<uint8_t> out(want.size(), kFill);
        TavImage src{height, width, layout == Layout::Packed12 ? source.packed : source.code8,
                     bytes.data(), pitch};
        TavImage dst{0, 0, 0, out.data(), 0};
        ASSERT_EQ(tavDemosaicing(c.ctx, &src, TAV_METHOD_EDGE, &dst), TAV_OK);
        EXPECT_EQ(dst.pixelFormat, uint32_t(output));
        ASSERT_TRUE(out == want) << height << "x" << width;
    }
}

INSTANTIATE_TEST_SUITE_P(All, EdgeEntry,
                         testing::Combine(testing::ValuesIn(kSources), testing::ValuesIn(kOutputs),
                                          testing::Values(Layout::Compact8, Layout::Padded8,
                                                          Layout::Packed12)));

TEST(EdgeEntry, OppositePhasesGiveTheSameBytesInTheOtherOrder) {
    // BayerBG8 to BGR8 is BayerRG8 to RGB8 on the same plane; GR to BGR8 is GB to RGB8.
    const int height = 11, width = 37;
    const auto plane = frame(height, width, 5);
    auto run = [&](uint32_t format, uint64_t output) {
        auto bytes = plane;
        std::vector<uint8_t> out(size_t(height) * width * 3);
        tavtest::Context c;
        c.setOutput(output);
        TavImage src{height, width, format, bytes.data(), width};
        TavImage dst{0, 0, 0, out.data(), 0};
        EXPECT_EQ(tavDemosaicing(c.ctx, &src, TAV_METHOD_EDGE, &dst), TAV_OK);
        return out;
    };
    EXPECT_TRUE(run(TAV_PF_BAYER_BG8, TAV_PF_BGR8) == run(TAV_PF_BAYER_RG8, TAV_PF_RGB8));
    EXPECT_TRUE(run(TAV_PF_BAYER_GR8, TAV_PF_BGR8) == run(TAV_PF_BAYER_GB8, TAV_PF_RGB8));
    EXPECT_FALSE(run(TAV_PF_BAYER_RG8, TAV_PF_BGR8) == run(TAV_PF_BAYER_RG8, TAV_PF_RGB8));
}

}  // namespace
