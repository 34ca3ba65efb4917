// Every check site of every entry point: the refusing call, its result code,
// what it prints, and that it writes nothing. Then allocation failures.
#include <climits>
#include <cstring>

#include "alloc_hook.h"
#include "support.h"

#ifdef TAVTEST_ASAN
#include <sanitizer/lsan_interface.h>
#endif

namespace {

using tavtest::diag;

constexpr uint8_t kFill = 0xA5;

// Valid arguments for every entry; a check row spoils one or two and calls.
struct Env {
    tavtest::Context c;
    std::vector<uint8_t> in = std::vector<uint8_t>(64 * 64 * 2, 100);
    std::vector<uint8_t> out = std::vector<uint8_t>(64 * 64 * 8, kFill);
    std::vector<float> grey = std::vector<float>(48 * 64, 100.0f), dark = grey;
    uint8_t* o = out.data();
    uint16_t* o16 = reinterpret_cast<uint16_t*>(out.data());
    uint16_t* in16 = reinterpret_cast<uint16_t*>(in.data());
    TavImage src{8, 8, TAV_PF_BAYER_RG8, in.data(), 8};
    TavImage dst{0, 0, 0, out.data(), 0};
    uint64_t format = TAV_PF_RGB8;
    TavDemosaicU16Config cfg{TAV_PF_BGR12, TAV_METHOD_BILINEAR, 12};
    TavLscInput lsc{0, 12, 40, 40, grey.data(), dark.data()};
    TavBasicLscInput basic{0, 12, 3, 64, 48, 32, 16, grey.data(), 2.0f};
    TavLscParameter* table = reinterpret_cast<TavLscParameter*>(out.data());
    std::vector<uint32_t> coefficients = std::vector<uint32_t>(3 + 64, 131072u << 12);
    TavLscParameter* unity = reinterpret_cast<TavLscParameter*>(coefficients.data());
    Env() { *unity = {0, 8, 8}; }

    int32_t demosaic(uint32_t method = 1) { return tavDemosaicing(c.ctx, &src, method, &dst); }
    int32_t demosaic16() { return tavDemosaicingU16(&cfg, &src, &dst); }
    int32_t correct() { return tavLSCorrection(&src, &dst, unity); }
    int32_t estimate() { return tavGetLSCParameter(&lsc, table); }
    int32_t basicEstimate() { return tavGetBasicLSCParameter(&basic, o); }
    int32_t convert(uint64_t target) { return tavImageTypeConvert(&src, &dst, target); }
    int32_t setConfig(uint64_t f) { return format = f, tavDemosaicSetConfig(c.ctx, &format); }
    static constexpr auto planar16 = tavDemosaicingBilinearU16P;
    int32_t edge8(int32_t h, int32_t w, uint64_t output) {  // through the entry
        src.height = h, src.width = w, src.pitch = w;
        c.ctx->outputFormat = output;
        return demosaic(TAV_METHOD_EDGE);
    }
};

struct Check {
    const char* name;
    int32_t code;
    int site;  // 0: nothing printed
    int32_t (*call)(Env& e);
};

constexpr int32_t kNull = TAV_E_NULL_POINTER, kSize = TAV_E_IMAGE_SIZE, kFmt = TAV_E_PIXEL_FORMAT,
                  kParam = TAV_E_PARAMETER;
// One row: the name, result code, printed site and the spoiling call.
#define ROW(name, code, site, ...)                                                         \
    {                                                                                      \
#name, code, site, []([[maybe_unused]] Env & e) -> int32_t { return __VA_ARGS__; } \
    }

// clang-format off
const Check kChecks[] = {
    // tavDemosaicing: nulls, data before size, size before format.
    ROW(Demosaic_NullContext, kNull, 94, tavDemosaicing(nullptr, &e.src, 1, &e.dst)),
    ROW(Demosaic_NullSource, kNull, 94, tavDemosaicing(e.c.ctx, nullptr, 1, &e.dst)),
    ROW(Demosaic_NullDestination, kNull, 94, tavDemosaicing(e.c.ctx, &e.src, 1, nullptr)),
    ROW(Demosaic_NullSourceData, kNull, 95, e.src.data = nullptr, e.src.width = 0, e.demosaic()),
    ROW(Demosaic_NullDestinationData, kNull, 95, e.dst.data = nullptr, e.demosaic()),
    ROW(Demosaic_Height3, kSize, 96, e.src.height = 3, e.src.pixelFormat = 0, e.demosaic()),
    ROW(Demosaic_Width3, kSize, 96, e.src.width = 3, e.demosaic()),
    ROW(Demosaic_Pitch3, kSize, 96, e.src.pitch = 3, e.demosaic()),
    ROW(Demosaic_NegativeWidth, kSize, 96, e.src.width = -8, e.demosaic()),
    ROW(Demosaic_Count2To31, kSize, 104, e.src.height = 32768, e.src.width = 65536, e.demosaic()),
    ROW(Demosaic_CountJustOver, kSize, 104, e.src.height = 46341, e.src.width = 46341, e.demosaic()),
    // Largest counts pass and meet the format check; 2^32 wraps to 0 and passes.
    ROW(Demosaic_CountLargest, kFmt, 110, e.src.height = 46340, e.src.width = 46341, e.src.pixelFormat = 0, e.demosaic()),
    ROW(Demosaic_CountWraps, kFmt, 110, e.src.height = e.src.width = 65536, e.src.pixelFormat = 0, e.demosaic()),
    ROW(Demosaic_FormatRGB8, kFmt, 110, e.src.pixelFormat = TAV_PF_RGB8, e.demosaic()),
    ROW(Demosaic_FormatMono1p, kFmt, 110, e.src.pixelFormat = TAV_PF_MONO1P, e.demosaic()),
    // An output the context would not accept, written into the record: silent.
    ROW(Demosaic_BayerOutputRGB16, kParam, 0, e.c.ctx->outputFormat = TAV_PF_RGB16, e.demosaic()),
    ROW(Demosaic_MonoOutputRGB16, kParam, 0, e.c.ctx->outputFormat = TAV_PF_RGB16, e.src.pixelFormat = TAV_PF_MONO8, e.demosaic()),
    // Edge-directed kernels refuse frames under 6 x 6, each with its own site.
    ROW(Edge8_RG_Mono8, kSize, 13056, e.edge8(5, 6, TAV_PF_MONO8)),
    ROW(Edge8_GB_Mono8, kSize, 13007, e.src.pixelFormat = TAV_PF_BAYER_GR8, e.edge8(6, 5, TAV_PF_MONO8)),
    ROW(Edge8_RG_BGR8, kSize, 5672, e.src.pixelFormat = TAV_PF_BAYER_BG8, e.edge8(5, 40, TAV_PF_BGR8)),
    ROW(Edge8_GB_BGR8, kSize, 5617, e.src.pixelFormat = TAV_PF_BAYER_GB8, e.edge8(40, 5, TAV_PF_RGB8)),
    ROW(Edge8_RG_BGRa8, kSize, 9463, e.edge8(6, 5, TAV_PF_RGBA8)),
    ROW(Edge8_GB_BGRa8, kSize, 9413, e.src.pixelFormat = TAV_PF_BAYER_GB8, e.edge8(5, 6, TAV_PF_BGRA8)),
    ROW(Edge8_RG_Planar, kSize, 11269, e.edge8(5, 5, TAV_PF_BGR8_PLANAR)),
    ROW(Edge8_GB_Planar, kSize, 11216, e.src.pixelFormat = TAV_PF_BAYER_GR8, e.edge8(5, 40, TAV_PF_RGB8_PLANAR)),
    ROW(Edge8_KernelNegativeHeight, kSize, 5672, rg8ToBgr8_edge(e.in.data(), -6, 8, e.o, 0, e.o + 1024)),
    // Context.
    ROW(Create_Null, kNull, 13, tavCreate(nullptr)),
    ROW(Release_Null, kNull, 41, tavRelease(nullptr)),
    ROW(GetConfig_NullContext, kNull, 52, tavDemosaicGetConfig(nullptr, &e.format)),
    ROW(GetConfig_NullOutput, kNull, 52, tavDemosaicGetConfig(e.c.ctx, nullptr)),
    ROW(SetConfig_NullContext, kNull, 70, tavDemosaicSetConfig(nullptr, &e.format)),
    ROW(SetConfig_NullFormat, kNull, 70, tavDemosaicSetConfig(e.c.ctx, nullptr)),
    ROW(SetConfig_RGB16, kParam, 74, e.setConfig(TAV_PF_RGB16)),
    ROW(SetConfig_BayerRG8, kParam, 74, e.setConfig(TAV_PF_BAYER_RG8)),
    ROW(SetConfig_Zero, kParam, 74, e.setConfig(0)),
    ROW(SetConfig_HighBits, kParam, 74, e.setConfig(uint64_t{1} << 32 | TAV_PF_BGR8)),
    // tavDemosaicingU16.
    ROW(U16_NullConfig, kNull, 214, tavDemosaicingU16(nullptr, &e.src, &e.dst)),
    ROW(U16_NullSource, kNull, 214, tavDemosaicingU16(&e.cfg, nullptr, &e.dst)),
    ROW(U16_NullDestination, kNull, 214, tavDemosaicingU16(&e.cfg, &e.src, nullptr)),
    ROW(U16_NullSourceData, kNull, 215, e.src.data = nullptr, e.src.width = 0, e.demosaic16()),
    ROW(U16_NullDestinationData, kNull, 215, e.dst.data = nullptr, e.demosaic16()),
    ROW(U16_Height3, kSize, 216, e.src.height = 3, e.src.pixelFormat = 0, e.demosaic16()),
    ROW(U16_Width3, kSize, 216, e.src.width = 3, e.demosaic16()),
    ROW(U16_Pitch3, kSize, 216, e.src.pitch = 3, e.demosaic16()),
    ROW(U16_NegativeHeight, kSize, 216, e.src.height = -8, e.demosaic16()),
    ROW(U16_Count2To31, kSize, 228, e.src.height = 32768, e.src.width = 65536, e.demosaic16()),
    ROW(U16_CountJustOver, kSize, 228, e.src.height = INT_MAX, e.src.width = 4, e.demosaic16()),
    ROW(U16_CountLargest, kFmt, 0, e.src.height = 4, e.src.width = INT_MAX / 4, e.src.pixelFormat = 0, e.demosaic16()),
    ROW(U16_CountWraps, kFmt, 0, e.src.height = e.src.width = 65536, e.src.pixelFormat = 0, e.demosaic16()),
    ROW(U16_Format8Bit, kFmt, 0, e.demosaic16()),
    ROW(U16_FormatPacked, kFmt, 0, e.src.pixelFormat = TAV_PF_BAYER_RG12_PACKED, e.demosaic16()),
    ROW(U16_EdgeRG, kSize, 7569, e.cfg.method = TAV_METHOD_EDGE, e.src.pixelFormat = TAV_PF_BAYER_BG12, e.src.height = 5, e.src.width = 40, e.demosaic16()),
    ROW(U16_EdgeGB, kSize, 7514, e.cfg.method = TAV_METHOD_EDGE, e.src.pixelFormat = TAV_PF_BAYER_GR12, e.src.width = 5, e.demosaic16()),
    ROW(Edge16_RG, kSize, 7569, rg16ToBgr16_edge(e.in16, 5, 100, e.o16, 0, 12)),
    ROW(Edge16_GB, kSize, 7514, gb16ToBgr16_edge(e.in16, 100, 5, e.o16, 1, 12)),
    ROW(Bilinear16_NullSource, kNull, 196, tavDemosaicingBilinearU16(nullptr, 8, 8, e.o16)),
    ROW(Bilinear16_NullDestination, kNull, 196, tavDemosaicingBilinearU16(e.in16, 8, 8, nullptr)),
    ROW(Bilinear16_Height3, kSize, 197, tavDemosaicingBilinearU16(e.in16, 3, 8, e.o16)),
    ROW(Bilinear16_Width3, kSize, 197, tavDemosaicingBilinearU16(e.in16, 8, 3, e.o16)),
    ROW(Bilinear16P_NullSource, kNull, 283, e.planar16(nullptr, 8, 8, e.o16, e.o16 + 64, e.o16 + 128)),
    ROW(Bilinear16P_NullBlue, kNull, 283, e.planar16(e.in16, 8, 8, nullptr, e.o16 + 64, e.o16 + 128)),
    ROW(Bilinear16P_NullGreen, kNull, 283, e.planar16(e.in16, 8, 8, e.o16, nullptr, e.o16 + 128)),
    ROW(Bilinear16P_NullRed, kNull, 283, e.planar16(e.in16, 8, 8, e.o16, e.o16 + 64, nullptr)),
    ROW(Bilinear16P_Height3, kSize, 284, e.planar16(e.in16, 3, 8, e.o16, e.o16 + 64, e.o16 + 128)),
    ROW(Bilinear16P_Width3, kSize, 284, e.planar16(e.in16, 8, 3, e.o16, e.o16 + 64, e.o16 + 128)),
    // Lens-shading estimate.
    ROW(Lsc_NullInput, kNull, 598, tavGetLSCParameter(nullptr, e.table)),
    ROW(Lsc_NullDark, kNull, 598, e.lsc.dark = nullptr, e.lsc.mode = 5, e.estimate()),
    ROW(Lsc_NullGrey, kNull, 598, e.lsc.grey = nullptr, e.estimate()),
    ROW(Lsc_NullOutput, kNull, 598, tavGetLSCParameter(&e.lsc, nullptr)),
    ROW(Lsc_Mode2, kParam, 599, e.lsc.mode = 2, e.lsc.height = 3, e.estimate()),
    ROW(Lsc_Height31, kSize, 600, e.lsc.height = 31, e.estimate()),
    ROW(Lsc_Width31, kSize, 600, e.lsc.width = 31, e.estimate()),
    ROW(Lsc_NegativeWidth, kSize, 600, e.lsc.width = -40, e.estimate()),
    ROW(Lsc_OddWidth, kSize, 601, e.lsc.width = 33, e.estimate()),
    ROW(Lsc_OddHeightPerPixel, kSize, 601, e.lsc.height = 33, e.lsc.mode = 1, e.estimate()),
    ROW(Basic_NullInput, kNull, 501, tavGetBasicLSCParameter(nullptr, e.o)),
    ROW(Basic_NullTable, kNull, 501, tavGetBasicLSCParameter(&e.basic, nullptr)),
    ROW(Basic_NullGrey, kNull, 501, e.basic.grey = nullptr, e.basic.mode = 3, e.basicEstimate()),
    ROW(Basic_Mode2, kParam, 502, e.basic.mode = 2, e.basic.width = 8, e.basicEstimate()),
    ROW(Basic_Height31, kSize, 503, e.basic.height = 31, e.basic.bits = 9, e.basicEstimate()),
    ROW(Basic_Width16, kSize, 503, e.basic.width = 16, e.basicEstimate()),
    ROW(Basic_Bits9, kParam, 504, e.basic.bits = 9, e.basic.blockWidth = 8, e.basicEstimate()),
    ROW(Basic_Bits16, kParam, 504, e.basic.bits = 16, e.basicEstimate()),
    ROW(Basic_BlockWidth24, kSize, 505, e.basic.blockWidth = 24, e.basicEstimate()),
    ROW(Basic_BlockHeight32, kSize, 505, e.basic.blockHeight = 32, e.basic.regionCount = 9, e.basicEstimate()),
    // Refused late, after averaging, without a message.
    ROW(Basic_RegionCount1, kParam, 0, e.basic.regionCount = 1, e.basicEstimate()),
    ROW(Basic_RegionCount5, kParam, 0, e.basic.regionCount = 5, e.basicEstimate()),
    ROW(Basic_Mode1, kParam, 0, e.basic.mode = 1, e.basicEstimate()),
    // Lens-shading correction; a bad mode reports a null pointer.
    ROW(Correct_NullSource, kNull, 692, tavLSCorrection(nullptr, &e.dst, e.unity)),
    ROW(Correct_NullDestination, kNull, 692, tavLSCorrection(&e.src, nullptr, e.unity)),
    ROW(Correct_NullParameter, kNull, 692, e.src.data = nullptr, tavLSCorrection(&e.src, &e.dst, nullptr)),
    ROW(Correct_NullSourceData, kNull, 693, e.src.data = nullptr, e.unity->mode = 2, e.correct()),
    ROW(Correct_NullDestinationData, kNull, 693, e.dst.data = nullptr, e.correct()),
    ROW(Correct_Mode2, kNull, 694, e.unity->mode = 2, e.unity->height = 6, e.correct()),
    ROW(Correct_ParameterHeight, kSize, 695, e.unity->height = 6, e.dst = {6, 8, 0, e.o, 0}, e.correct()),
    ROW(Correct_ParameterWidth, kSize, 695, e.unity->width = 10, e.dst = {8, 8, 0, e.o, 0}, e.correct()),
    ROW(Correct_DestinationHeight, kSize, 696, e.dst = {10, 8, 0, e.o, 0}, e.correct()),
    ROW(Correct_DestinationWidth, kSize, 696, e.dst = {8, 6, 0, e.o, 0}, e.correct()),
    // Conversion: nulls, data before format, size rules of sources and targets.
    ROW(Convert_NullSource, kNull, 17, tavImageTypeConvert(nullptr, &e.dst, TAV_PF_RGB8)),
    ROW(Convert_NullDestination, kNull, 17, tavImageTypeConvert(&e.src, nullptr, TAV_PF_RGB8)),
    ROW(Convert_NullSourceData, kNull, 18, e.src.data = nullptr, e.src.pixelFormat = 0x1234, e.convert(TAV_PF_RGB8)),
    ROW(Convert_NullDestinationData, kNull, 18, e.dst.data = nullptr, e.convert(TAV_PF_RGB8)),
    ROW(Convert_UnknownSource, kFmt, 0, e.convert(TAV_PF_RGB8)),
    ROW(Convert_SignExtendedTarget, kFmt, 0, e.src.pixelFormat = TAV_PF_BGR8, e.convert(0xFFFFFFFF800C0002ull)),
};
// clang-format on

struct SizeRule {
    uint32_t source;
    uint64_t target;
    int32_t h, w;
    int site;
};

const SizeRule kSizeRules[] = {
    {TAV_PF_YUV411_8_UYYVYY, TAV_PF_RGB8, 4, 6, 48},
    {TAV_PF_YUV411_8_UYYVYY, TAV_PF_YUV8_UYV, 4, 6, 48},
    {TAV_PF_YUV420P, TAV_PF_RGB8, 4, 5, 54},
    {TAV_PF_YUV420P, TAV_PF_BGR8, 3, 4, 54},
    {TAV_PF_YUV420SP_NV12, TAV_PF_RGBA8, 4, 7, 60},
    {TAV_PF_YUV420SP_NV12, TAV_PF_BGR8, 5, 8, 60},
    {TAV_PF_YUV422_8_UYVY, TAV_PF_BGRA8, 4, 5, 66},
    {TAV_PF_YUV422_8, TAV_PF_MONO8, 4, 3, 72},
    {TAV_PF_MONO8, TAV_PF_YUV420P, 4, 5, 920},
    {TAV_PF_MONO8, TAV_PF_YUV420P, 3, 4, 920},
    {TAV_PF_BGR8, TAV_PF_YUV411_8_UYYVYY, 2, 6, 1254},
    {TAV_PF_RGB8, TAV_PF_YUV411_8_UYYVYY, 2, 6, 1017},
    {TAV_PF_BGR8, TAV_PF_YUV422_8_UYVY, 2, 5, 1223},
    {TAV_PF_BGR8, TAV_PF_YUV422_8, 2, 5, 1223},
    {TAV_PF_RGB8, TAV_PF_YUV422_8_UYVY, 2, 5, 986},
    {TAV_PF_RGB8, TAV_PF_YUV422_8, 2, 5, 986},
    {TAV_PF_BGR8, TAV_PF_YUV420P, 3, 4, 1297},
    {TAV_PF_BGR8, TAV_PF_YUV420P, 4, 3, 1297},
    {TAV_PF_RGB8, TAV_PF_YUV420P, 3, 4, 1060},
    {TAV_PF_RGB8, TAV_PF_YUV420P, 4, 3, 1060},
};

// BMP adjustment: nulls, data before size, sizes under 4.
const int kBmp[][4] = {{0, 4, 4, 14}, {1, 4, 4, 14},  {2, 0, 4, 15}, {3, 3, 5, 16},
                       {3, 5, 3, 16}, {3, -5, 5, 16}, {3, 5, -1, 16}};

// Runs `call` on a fresh Env and checks code, print and that neither the
// destination pixels nor the records (destination, context) changed.
void expectRefused(const std::string& name, int32_t code, int site, int32_t (*call)(Env&)) {
    Env e;
    const TavContext before = *e.c.ctx;
    int32_t got = 0;
    const std::string printed = tavtest::printedBy([&] { got = call(e); });
    EXPECT_EQ(got, code) << name;
    EXPECT_EQ(printed, site ? diag(site) : "") << name;
    EXPECT_TRUE(std::all_of(e.out.begin(), e.out.end(), [](uint8_t b) { return b == kFill; }))
        << name << ": pixels written";
    EXPECT_EQ(e.dst.pixelFormat, 0u) << name << ": record written";
    if (site == 70 || site == 74) {
        EXPECT_EQ(e.c.ctx->outputFormat, before.outputFormat) << name;
    }
}

class CheckSite : public testing::TestWithParam<Check> {};

TEST_P(CheckSite, RefusesPrintsAndWritesNothing) {
    const Check& c = GetParam();
    expectRefused(c.name, c.code, c.site, c.call);
}

INSTANTIATE_TEST_SUITE_P(All, CheckSite, testing::ValuesIn(kChecks),
                         [](const auto& i) { return std::string(i.param.name); });

TEST(CheckSite, ConversionSizeRulesAndBmp) {
    for (const SizeRule& r : kSizeRules) {
        static const SizeRule* rule;
        rule = &r;
        expectRefused(std::to_string(r.site), TAV_E_FORMAT_SIZE, r.site, [](Env& e) {
            e.src = {rule->h, rule->w, rule->source, e.in.data(), 0};
            return tavImageTypeConvert(&e.src, &e.dst, rule->target);
        });
    }
    for (const auto& b : kBmp) {
        static const int* row;
        row = b;
        expectRefused("bmp " + std::to_string(b[3]),
                      b[3] == 16 ? TAV_E_IMAGE_SIZE : TAV_E_NULL_POINTER, b[3], [](Env& e) {
                          TavImage img{row[1], row[2], TAV_PF_BGR8, row[0] == 2 ? nullptr : e.o, 0};
                          return tavBMPAdjust(row[0] == 0 ? nullptr : &e,
                                              row[0] == 1 ? nullptr : &img);
                      });
    }
}

// With RGB16 the 16-bit entry reports the shift's result in place of the edge
// kernel's refusal: success, the site printed, the untouched buffer shifted.
TEST(CheckSite, U16EdgeRefusalHiddenByTheRgb16Shift) {
    Env e;
    e.cfg = {TAV_PF_RGB16, TAV_METHOD_EDGE, 12};
    e.src = {5, 40, TAV_PF_BAYER_RG12, e.in.data(), 80};
    std::fill_n(e.o16, 3 * 5 * 40, uint16_t(3));
    EXPECT_EQ(tavtest::printedBy([&] { EXPECT_EQ(e.demosaic16(), TAV_OK); }), diag(7569));
    EXPECT_TRUE(std::all_of(e.o16, e.o16 + 3 * 5 * 40, [](uint16_t v) { return v == 3 << 4; }));
}

// ---- allocation failures: reported, nothing leaked, and the same call
// succeeds once memory is back.

const std::string kNoBlock[2] = {
    "\xb4\xb4\xbd\xa8"
    "blockGrey"
    "\xc4\xda\xb4\xe6\xbf\xd5\xbc\xe4\xca\xa7\xb0\xdc\n",
    "\xb4\xb4\xbd\xa8"
    "blockDark"
    "\xc4\xda\xb4\xe6\xbf\xd5\xbc\xe4\xca\xa7\xb0\xdc\n"};

TEST(NoMemory, ReportedFreedAndRecovered) {
    struct Case {
        const char* name;
        int nth;
        std::string printed;
        int32_t (*call)(Env&);
    };
    static TavContext* created;
    const Case cases[] = {
        {"Create", 1, diag(20), [](Env&) { return tavCreate(&created); }},
        {"Demosaic8Bit", 1, diag(42) + diag(115), [](Env& e) { return e.demosaic(); }},
        {"DemosaicWide", 1, diag(42) + diag(119),
         [](Env& e) { return e.src.pixelFormat = TAV_PF_MONO12, e.src.pitch = 16, e.demosaic(); }},
        {"DemosaicPacked", 1, diag(42) + diag(119),
         [](Env& e) {
             return e.src.pixelFormat = TAV_PF_BAYER_RG12_PACKED, e.src.pitch = 16, e.demosaic();
         }},
        {"LscGrey", 1, kNoBlock[0], [](Env& e) { return tavGetLSCParameter(&e.lsc, e.table); }},
        {"LscDark", 2, kNoBlock[1], [](Env& e) { return tavGetLSCParameter(&e.lsc, e.table); }},
        {"BasicGrey", 1, kNoBlock[0],
         [](Env& e) { return tavGetBasicLSCParameter(&e.basic, e.o); }},
        {"BasicDark", 2, kNoBlock[1],
         [](Env& e) { return tavGetBasicLSCParameter(&e.basic, e.o); }},
    };
    for (const Case& c : cases) {
        Env e;
        created = reinterpret_cast<TavContext*>(&created);  // must be cleared
        int32_t code = 0;
        std::string printed;
        {
            tavtest::FailAllocations fail(c.nth);
            printed = tavtest::printedBy([&] { code = c.call(e); });
        }
        EXPECT_EQ(code, TAV_E_NO_MEMORY) << c.name;
        EXPECT_EQ(printed, c.printed) << c.name;
        EXPECT_TRUE(std::all_of(e.out.begin(), e.out.end(), [](uint8_t b) { return b == kFill; }))
            << c.name;
        EXPECT_EQ(e.dst.pixelFormat, 0u) << c.name;
        if (std::string(c.name) == "Create") {
            EXPECT_EQ(created, nullptr);
        }
#ifdef TAVTEST_ASAN
        EXPECT_EQ(__lsan_do_recoverable_leak_check(), 0) << c.name;
#endif
        EXPECT_EQ(tavtest::printedBy([&] { EXPECT_EQ(c.call(e), TAV_OK) << c.name; }), "");
        if (std::string(c.name) == "Create") tavRelease(&created);
    }
    // A failed growth leaves the scratch empty; the per-pixel estimate needs no buffers.
    TavScratch s{nullptr, 0};
    ASSERT_EQ(tavMemRealloc(&s, 64), TAV_OK);
    Env e;
    e.lsc.mode = 1;
    {
        tavtest::FailAllocations fail(1);
        EXPECT_EQ(tavtest::printedBy([&] { EXPECT_EQ(tavMemRealloc(&s, 128), TAV_E_NO_MEMORY); }),
                  diag(42));
        EXPECT_EQ(s.buffer, nullptr);
        EXPECT_EQ(s.capacity, 0);
        EXPECT_EQ(tavGetLSCParameter(&e.lsc, e.table), TAV_OK);
    }
    EXPECT_EQ(tavMemRealloc(&s, 128), TAV_OK);
    std::free(s.buffer);
}

}  // namespace
