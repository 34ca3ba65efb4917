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

const Check kChecks[] = {
    // tavDemosaicing: nulls, data before size, size before format.
    {"Demosaic_NullContext", TAV_E_NULL_POINTER, 94,
     [](Env& e) { return tavDemosaicing(nullptr, &e.src, 1, &e.dst); }},
    {"Demosaic_NullSource", TAV_E_NULL_POINTER, 94,
     [](Env& e) { return tavDemosaicing(e.c.ctx, nullptr, 1, &e.dst); }},
    {"Demosaic_NullDestination", TAV_E_NULL_POINTER, 94,
     [](Env& e) { return tavDemosaicing(e.c.ctx, &e.src, 1, nullptr); }},
    {"Demosaic_NullSourceData", TAV_E_NULL_POINTER, 95,
     [](Env& e) { return e.src.data = nullptr, e.src.width = 0, e.demosaic(); }},
    {"Demosaic_NullDestinationData", TAV_E_NULL_POINTER, 95,
     [](Env& e) { return e.dst.data = nullptr, e.demosaic(); }},
    {"Demosaic_Height3", TAV_E_IMAGE_SIZE, 96,
     [](Env& e) { return e.src.height = 3, e.src.pixelFormat = 0, e.demosaic(); }},
    {"Demosaic_Width3", TAV_E_IMAGE_SIZE, 96, [](Env& e) { return e.src.width = 3, e.demosaic(); }},
    {"Demosaic_Pitch3", TAV_E_IMAGE_SIZE, 96, [](Env& e) { return e.src.pitch = 3, e.demosaic(); }},
    {"Demosaic_NegativeWidth", TAV_E_IMAGE_SIZE, 96,
     [](Env& e) { return e.src.width = -8, e.demosaic(); }},
    {"Demosaic_Count2To31", TAV_E_IMAGE_SIZE, 104,
     [](Env& e) { return e.src.height = 32768, e.src.width = 65536, e.demosaic(); }},
    {"Demosaic_CountJustOver", TAV_E_IMAGE_SIZE, 104,
     [](Env& e) { return e.src.height = 46341, e.src.width = 46341, e.demosaic(); }},
    // Largest counts pass and meet the format check; 2^32 wraps to 0 and passes.
    {"Demosaic_CountLargest", TAV_E_PIXEL_FORMAT, 110,
     [](Env& e) { return e.src.height = 46340, e.src.width = 46341, e.src.pixelFormat = 0, e.demosaic(); }},
    {"Demosaic_CountWraps", TAV_E_PIXEL_FORMAT, 110,
     [](Env& e) { return e.src.height = e.src.width = 65536, e.src.pixelFormat = 0, e.demosaic(); }},
    {"Demosaic_FormatRGB8", TAV_E_PIXEL_FORMAT, 110,
     [](Env& e) { return e.src.pixelFormat = TAV_PF_RGB8, e.demosaic(); }},
    {"Demosaic_FormatMono1p", TAV_E_PIXEL_FORMAT, 110,
     [](Env& e) { return e.src.pixelFormat = TAV_PF_MONO1P, e.demosaic(); }},
    // An output the context would not accept, written into the record: silent.
    {"Demosaic_BayerOutputRGB16", TAV_E_PARAMETER, 0,
     [](Env& e) { return e.c.ctx->outputFormat = TAV_PF_RGB16, e.demosaic(); }},
    {"Demosaic_MonoOutputRGB16", TAV_E_PARAMETER, 0, [](Env& e) {
         return e.c.ctx->outputFormat = TAV_PF_RGB16, e.src.pixelFormat = TAV_PF_MONO8, e.demosaic();
     }},
    // Edge-directed kernels refuse frames under 6 x 6, each with its own site.
    {"Edge8_RG_Mono8", TAV_E_IMAGE_SIZE, 13056, [](Env& e) { return e.edge8(5, 6, TAV_PF_MONO8); }},
    {"Edge8_GB_Mono8", TAV_E_IMAGE_SIZE, 13007,
     [](Env& e) { return e.src.pixelFormat = TAV_PF_BAYER_GR8, e.edge8(6, 5, TAV_PF_MONO8); }},
    {"Edge8_RG_BGR8", TAV_E_IMAGE_SIZE, 5672,
     [](Env& e) { return e.src.pixelFormat = TAV_PF_BAYER_BG8, e.edge8(5, 40, TAV_PF_BGR8); }},
    {"Edge8_GB_BGR8", TAV_E_IMAGE_SIZE, 5617,
     [](Env& e) { return e.src.pixelFormat = TAV_PF_BAYER_GB8, e.edge8(40, 5, TAV_PF_RGB8); }},
    {"Edge8_RG_BGRa8", TAV_E_IMAGE_SIZE, 9463, [](Env& e) { return e.edge8(6, 5, TAV_PF_RGBA8); }},
    {"Edge8_GB_BGRa8", TAV_E_IMAGE_SIZE, 9413,
     [](Env& e) { return e.src.pixelFormat = TAV_PF_BAYER_GB8, e.edge8(5, 6, TAV_PF_BGRA8); }},
    {"Edge8_RG_Planar", TAV_E_IMAGE_SIZE, 11269,
     [](Env& e) { return e.edge8(5, 5, TAV_PF_BGR8_PLANAR); }},
    {"Edge8_GB_Planar", TAV_E_IMAGE_SIZE, 11216,
     [](Env& e) { return e.src.pixelFormat = TAV_PF_BAYER_GR8, e.edge8(5, 40, TAV_PF_RGB8_PLANAR); }},
    {"Edge8_KernelNegativeHeight", TAV_E_IMAGE_SIZE, 5672,
     [](Env& e) { return rg8ToBgr8_edge(e.in.data(), -6, 8, e.o, 0, e.o + 1024); }},
    // Context.
    {"Create_Null", TAV_E_NULL_POINTER, 13, [](Env&) { return tavCreate(nullptr); }},
    {"Release_Null", TAV_E_NULL_POINTER, 41, [](Env&) { return tavRelease(nullptr); }},
    {"GetConfig_NullContext", TAV_E_NULL_POINTER, 52,
     [](Env& e) { return tavDemosaicGetConfig(nullptr, &e.format); }},
    {"GetConfig_NullOutput", TAV_E_NULL_POINTER, 52,
     [](Env& e) { return tavDemosaicGetConfig(e.c.ctx, nullptr); }},
    {"SetConfig_NullContext", TAV_E_NULL_POINTER, 70,
     [](Env& e) { return tavDemosaicSetConfig(nullptr, &e.format); }},
    {"SetConfig_NullFormat", TAV_E_NULL_POINTER, 70,
     [](Env& e) { return tavDemosaicSetConfig(e.c.ctx, nullptr); }},
    {"SetConfig_RGB16", TAV_E_PARAMETER, 74,
     [](Env& e) { return e.format = TAV_PF_RGB16, tavDemosaicSetConfig(e.c.ctx, &e.format); }},
    {"SetConfig_BayerRG8", TAV_E_PARAMETER, 74,
     [](Env& e) { return e.format = TAV_PF_BAYER_RG8, tavDemosaicSetConfig(e.c.ctx, &e.format); }},
    {"SetConfig_Zero", TAV_E_PARAMETER, 74,
     [](Env& e) { return e.format = 0, tavDemosaicSetConfig(e.c.ctx, &e.format); }},
    {"SetConfig_HighBits", TAV_E_PARAMETER, 74, [](Env& e) {
         return e.format = uint64_t{1} << 32 | TAV_PF_BGR8, tavDemosaicSetConfig(e.c.ctx, &e.format);
     }},
    // tavDemosaicingU16.
    {"U16_NullConfig", TAV_E_NULL_POINTER, 214,
     [](Env& e) { return tavDemosaicingU16(nullptr, &e.src, &e.dst); }},
    {"U16_NullSource", TAV_E_NULL_POINTER, 214,
     [](Env& e) { return tavDemosaicingU16(&e.cfg, nullptr, &e.dst); }},
    {"U16_NullDestination", TAV_E_NULL_POINTER, 214,
     [](Env& e) { return tavDemosaicingU16(&e.cfg, &e.src, nullptr); }},
    {"U16_NullSourceData", TAV_E_NULL_POINTER, 215,
     [](Env& e) { return e.src.data = nullptr, e.src.width = 0, e.demosaic16(); }},
    {"U16_NullDestinationData", TAV_E_NULL_POINTER, 215,
     [](Env& e) { return e.dst.data = nullptr, e.demosaic16(); }},
    {"U16_Height3", TAV_E_IMAGE_SIZE, 216,
     [](Env& e) { return e.src.height = 3, e.src.pixelFormat = 0, e.demosaic16(); }},
    {"U16_Width3", TAV_E_IMAGE_SIZE, 216, [](Env& e) { return e.src.width = 3, e.demosaic16(); }},
    {"U16_Pitch3", TAV_E_IMAGE_SIZE, 216, [](Env& e) { return e.src.pitch = 3, e.demosaic16(); }},
    {"U16_NegativeHeight", TAV_E_IMAGE_SIZE, 216,
     [](Env& e) { return e.src.height = -8, e.demosaic16(); }},
    {"U16_Count2To31", TAV_E_IMAGE_SIZE, 228,
     [](Env& e) { return e.src.height = 32768, e.src.width = 65536, e.demosaic16(); }},
    {"U16_CountJustOver", TAV_E_IMAGE_SIZE, 228,
     [](Env& e) { return e.src.height = INT_MAX, e.src.width = 4, e.demosaic16(); }},
    {"U16_CountLargest", TAV_E_PIXEL_FORMAT, 0,
     [](Env& e) { return e.src.height = 4, e.src.width = INT_MAX / 4, e.src.pixelFormat = 0, e.demosaic16(); }},
    {"U16_CountWraps", TAV_E_PIXEL_FORMAT, 0,
     [](Env& e) { return e.src.height = e.src.width = 65536, e.src.pixelFormat = 0, e.demosaic16(); }},
    {"U16_Format8Bit", TAV_E_PIXEL_FORMAT, 0, [](Env& e) { return e.demosaic16(); }},
    {"U16_FormatPacked", TAV_E_PIXEL_FORMAT, 0,
     [](Env& e) { return e.src.pixelFormat = TAV_PF_BAYER_RG12_PACKED, e.demosaic16(); }},
    {"U16_EdgeRG", TAV_E_IMAGE_SIZE, 7569, [](Env& e) {
         e.cfg.method = TAV_METHOD_EDGE, e.src.pixelFormat = TAV_PF_BAYER_BG12;
         return e.src.height = 5, e.src.width = 40, e.demosaic16();
     }},
    {"U16_EdgeGB", TAV_E_IMAGE_SIZE, 7514, [](Env& e) {
         e.cfg.method = TAV_METHOD_EDGE, e.src.pixelFormat = TAV_PF_BAYER_GR12;
         return e.src.width = 5, e.demosaic16();
     }},
    {"Edge16_RG", TAV_E_IMAGE_SIZE, 7569,
     [](Env& e) { return rg16ToBgr16_edge(e.in16, 5, 100, e.o16, 0, 12); }},
    {"Edge16_GB", TAV_E_IMAGE_SIZE, 7514,
     [](Env& e) { return gb16ToBgr16_edge(e.in16, 100, 5, e.o16, 1, 12); }},
    {"Bilinear16_NullSource", TAV_E_NULL_POINTER, 196,
     [](Env& e) { return tavDemosaicingBilinearU16(nullptr, 8, 8, e.o16); }},
    {"Bilinear16_NullDestination", TAV_E_NULL_POINTER, 196,
     [](Env& e) { return tavDemosaicingBilinearU16(e.in16, 8, 8, nullptr); }},
    {"Bilinear16_Height3", TAV_E_IMAGE_SIZE, 197,
     [](Env& e) { return tavDemosaicingBilinearU16(e.in16, 3, 8, e.o16); }},
    {"Bilinear16_Width3", TAV_E_IMAGE_SIZE, 197,
     [](Env& e) { return tavDemosaicingBilinearU16(e.in16, 8, 3, e.o16); }},
    {"Bilinear16P_NullSource", TAV_E_NULL_POINTER, 283,
     [](Env& e) { return tavDemosaicingBilinearU16P(nullptr, 8, 8, e.o16, e.o16 + 64, e.o16 + 128); }},
    {"Bilinear16P_NullBlue", TAV_E_NULL_POINTER, 283,
     [](Env& e) { return tavDemosaicingBilinearU16P(e.in16, 8, 8, nullptr, e.o16 + 64, e.o16 + 128); }},
    {"Bilinear16P_NullGreen", TAV_E_NULL_POINTER, 283,
     [](Env& e) { return tavDemosaicingBilinearU16P(e.in16, 8, 8, e.o16, nullptr, e.o16 + 128); }},
    {"Bilinear16P_NullRed", TAV_E_NULL_POINTER, 283,
     [](Env& e) { return tavDemosaicingBilinearU16P(e.in16, 8, 8, e.o16, e.o16 + 64, nullptr); }},
    {"Bilinear16P_Height3", TAV_E_IMAGE_SIZE, 284,
     [](Env& e) { return tavDemosaicingBilinearU16P(e.in16, 3, 8, e.o16, e.o16 + 64, e.o16 + 128); }},
    {"Bilinear16P_Width3", TAV_E_IMAGE_SIZE, 284,
     [](Env& e) { return tavDemosaicingBilinearU16P(e.in16, 8, 3, e.o16, e.o16 + 64, e.o16 + 128); }},
    // Lens-shading estimate.
    {"Lsc_NullInput", TAV_E_NULL_POINTER, 598,
     [](Env& e) { return tavGetLSCParameter(nullptr, e.table); }},
    {"Lsc_NullDark", TAV_E_NULL_POINTER, 598,
     [](Env& e) { return e.lsc.dark = nullptr, e.lsc.mode = 5, tavGetLSCParameter(&e.lsc, e.table); }},
    {"Lsc_NullGrey", TAV_E_NULL_POINTER, 598,
     [](Env& e) { return e.lsc.grey = nullptr, tavGetLSCParameter(&e.lsc, e.table); }},
    {"Lsc_NullOutput", TAV_E_NULL_POINTER, 598,
     [](Env& e) { return tavGetLSCParameter(&e.lsc, nullptr); }},
    {"Lsc_Mode2", TAV_E_PARAMETER, 599,
     [](Env& e) { return e.lsc.mode = 2, e.lsc.height = 3, tavGetLSCParameter(&e.lsc, e.table); }},
    {"Lsc_Height31", TAV_E_IMAGE_SIZE, 600,
     [](Env& e) { return e.lsc.height = 31, tavGetLSCParameter(&e.lsc, e.table); }},
    {"Lsc_Width31", TAV_E_IMAGE_SIZE, 600,
     [](Env& e) { return e.lsc.width = 31, tavGetLSCParameter(&e.lsc, e.table); }},
    {"Lsc_NegativeWidth", TAV_E_IMAGE_SIZE, 600,
     [](Env& e) { return e.lsc.width = -40, tavGetLSCParameter(&e.lsc, e.table); }},
    {"Lsc_OddWidth", TAV_E_IMAGE_SIZE, 601,
     [](Env& e) { return e.lsc.width = 33, tavGetLSCParameter(&e.lsc, e.table); }},
    {"Lsc_OddHeightPerPixel", TAV_E_IMAGE_SIZE, 601,
     [](Env& e) { return e.lsc.height = 33, e.lsc.mode = 1, tavGetLSCParameter(&e.lsc, e.table); }},
    {"Basic_NullInput", TAV_E_NULL_POINTER, 501,
     [](Env& e) { return tavGetBasicLSCParameter(nullptr, e.o); }},
    {"Basic_NullTable", TAV_E_NULL_POINTER, 501,
     [](Env& e) { return tavGetBasicLSCParameter(&e.basic, nullptr); }},
    {"Basic_NullGrey", TAV_E_NULL_POINTER, 501, [](Env& e) {
         return e.basic.grey = nullptr, e.basic.mode = 3, tavGetBasicLSCParameter(&e.basic, e.o);
     }},
    {"Basic_Mode2", TAV_E_PARAMETER, 502,
     [](Env& e) { return e.basic.mode = 2, e.basic.width = 8, tavGetBasicLSCParameter(&e.basic, e.o); }},
    {"Basic_Height31", TAV_E_IMAGE_SIZE, 503,
     [](Env& e) { return e.basic.height = 31, e.basic.bits = 9, tavGetBasicLSCParameter(&e.basic, e.o); }},
    {"Basic_Width16", TAV_E_IMAGE_SIZE, 503,
     [](Env& e) { return e.basic.width = 16, tavGetBasicLSCParameter(&e.basic, e.o); }},
    {"Basic_Bits9", TAV_E_PARAMETER, 504, [](Env& e) {
         return e.basic.bits = 9, e.basic.blockWidth = 8, tavGetBasicLSCParameter(&e.basic, e.o);
     }},
    {"Basic_Bits16", TAV_E_PARAMETER, 504,
     [](Env& e) { return e.basic.bits = 16, tavGetBasicLSCParameter(&e.basic, e.o); }},
    {"Basic_BlockWidth24", TAV_E_IMAGE_SIZE, 505,
     [](Env& e) { return e.basic.blockWidth = 24, tavGetBasicLSCParameter(&e.basic, e.o); }},
    {"Basic_BlockHeight32", TAV_E_IMAGE_SIZE, 505, [](Env& e) {
         return e.basic.blockHeight = 32, e.basic.regionCount = 9, tavGetBasicLSCParameter(&e.basic, e.o);
     }},
    // Refused late, after averaging, without a message.
    {"Basic_RegionCount1", TAV_E_PARAMETER, 0,
     [](Env& e) { return e.basic.regionCount = 1, tavGetBasicLSCParameter(&e.basic, e.o); }},
    {"Basic_RegionCount5", TAV_E_PARAMETER, 0,
     [](Env& e) { return e.basic.regionCount = 5, tavGetBasicLSCParameter(&e.basic, e.o); }},
    {"Basic_Mode1", TAV_E_PARAMETER, 0,
     [](Env& e) { return e.basic.mode = 1, tavGetBasicLSCParameter(&e.basic, e.o); }},
    // Lens-shading correction; a bad mode reports a null pointer.
    {"Correct_NullSource", TAV_E_NULL_POINTER, 692,
     [](Env& e) { return tavLSCorrection(nullptr, &e.dst, e.unity); }},
    {"Correct_NullDestination", TAV_E_NULL_POINTER, 692,
     [](Env& e) { return tavLSCorrection(&e.src, nullptr, e.unity); }},
    {"Correct_NullParameter", TAV_E_NULL_POINTER, 692,
     [](Env& e) { return e.src.data = nullptr, tavLSCorrection(&e.src, &e.dst, nullptr); }},
    {"Correct_NullSourceData", TAV_E_NULL_POINTER, 693,
     [](Env& e) { return e.src.data = nullptr, e.unity->mode = 2, e.correct(); }},
    {"Correct_NullDestinationData", TAV_E_NULL_POINTER, 693,
     [](Env& e) { return e.dst.data = nullptr, e.correct(); }},
    {"Correct_Mode2", TAV_E_NULL_POINTER, 694,
     [](Env& e) { return e.unity->mode = 2, e.unity->height = 6, e.correct(); }},
    {"Correct_ParameterHeight", TAV_E_IMAGE_SIZE, 695,
     [](Env& e) { return e.unity->height = 6, e.dst = {6, 8, 0, e.o, 0}, e.correct(); }},
    {"Correct_ParameterWidth", TAV_E_IMAGE_SIZE, 695,
     [](Env& e) { return e.unity->width = 10, e.dst = {8, 8, 0, e.o, 0}, e.correct(); }},
    {"Correct_DestinationHeight", TAV_E_IMAGE_SIZE, 696,
     [](Env& e) { return e.dst = {10, 8, 0, e.o, 0}, e.correct(); }},
    {"Correct_DestinationWidth", TAV_E_IMAGE_SIZE, 696,
     [](Env& e) { return e.dst = {8, 6, 0, e.o, 0}, e.correct(); }},
    // Conversion: nulls, data before format, size rules of sources and targets.
    {"Convert_NullSource", TAV_E_NULL_POINTER, 17,
     [](Env& e) { return tavImageTypeConvert(nullptr, &e.dst, TAV_PF_RGB8); }},
    {"Convert_NullDestination", TAV_E_NULL_POINTER, 17,
     [](Env& e) { return tavImageTypeConvert(&e.src, nullptr, TAV_PF_RGB8); }},
    {"Convert_NullSourceData", TAV_E_NULL_POINTER, 18, [](Env& e) {
         return e.src.data = nullptr, e.src.pixelFormat = 0x1234, tavImageTypeConvert(&e.src, &e.dst, TAV_PF_RGB8);
     }},
    {"Convert_NullDestinationData", TAV_E_NULL_POINTER, 18,
     [](Env& e) { return e.dst.data = nullptr, tavImageTypeConvert(&e.src, &e.dst, TAV_PF_RGB8); }},
    {"Convert_UnknownSource", TAV_E_PIXEL_FORMAT, 0,
     [](Env& e) { return tavImageTypeConvert(&e.src, &e.dst, TAV_PF_RGB8); }},
    {"Convert_SignExtendedTarget", TAV_E_PIXEL_FORMAT, 0, [](Env& e) {
         return e.src.pixelFormat = TAV_PF_BGR8, tavImageTypeConvert(&e.src, &e.dst, 0xFFFFFFFF800C0002ull);
     }},
};

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
