// The 16-bit demosaicing entry: checks, then one converter per source format,
// which picks a kernel by method and output format from the tables below.
#include <cstring>

#include "dispatch8.h"
#include "frame16.h"
#include "hq16.h"
#include "luma.h"
#include "report.h"
#include "tav.h"
#include "threads.h"
#include "words.h"

namespace {

using BilinearKernel = int32_t (*)(const uint16_t* src, int32_t height, int32_t width,
                                   uint16_t* dst, uint32_t exchange);
using EdgeKernel = int32_t (*)(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                               uint32_t exchange, uint32_t bitDepth);

// Colour outputs of the Bayer converters. The 10 and 12 of the names are
// labels: samples keep the source's depth unless the format moves them up.
struct ColourOutput {
    int64_t format;
    bool rgbOrder;  // red in the first word
    bool toTop;     // shifted to the top of the word afterwards
};

constexpr ColourOutput kColourOutputs[] = {
    {TAV_PF_RGB10, true, false},  {TAV_PF_BGR10, false, false}, {TAV_PF_RGB12, true, false},
    {TAV_PF_BGR12, false, false}, {TAV_PF_RGB16, true, true},
};

// Kernels and exchange arguments of one Bayer phase, indexed by rgbOrder.
// The compatible entry gives BG the bilinear exchanges of RG (`bilinearAsRg`):
// BG output keeps the colours the RG kernel assigns, as it always has. Method
// 3 takes the red site's row and column parity instead and writes the colours
// in the output's own order.
struct BayerConverter {
    EdgeKernel edge;
    BilinearKernel bilinear;
    uint32_t edgeExchange[2];
    uint32_t bilinearExchange[2];
    int32_t redY, redX;
    bool bilinearAsRg;
};

constexpr BayerConverter kRG{rg16ToBgr16_edge, rg16ToBgr16_bilinear, {0, 1}, {0, 1}, 0, 0, false};
constexpr BayerConverter kBG{rg16ToBgr16_edge, rg16ToBgr16_bilinear, {1, 0}, {1, 0}, 1, 1, true};
constexpr BayerConverter kGR{gb16ToBgr16_edge, gr16ToBgr16_bilinear, {1, 0}, {0, 1}, 0, 1, false};
constexpr BayerConverter kGB{gb16ToBgr16_edge, gr16ToBgr16_bilinear, {0, 1}, {1, 0}, 1, 0, false};

// By dispatch8.h's Phase.
constexpr const BayerConverter* kPhases[] = {&kRG, &kGR, &kGB, &kBG};

const ColourOutput* findColourOutput(int64_t format) {
    for (const ColourOutput& o : kColourOutputs) {
        if (o.format == format) return &o;
    }
    return nullptr;
}

int32_t bayerConvert(const BayerConverter& c, const uint16_t* src, uint16_t* dst, int32_t height,
                     int32_t width, int64_t outputFormat, uint32_t method, uint32_t bitDepth) {
    const ColourOutput* out = findColourOutput(outputFormat);
    if (out == nullptr) return TAV_E_PARAMETER;
    const int order = out->rgbOrder ? 1 : 0;
    int32_t result;
    if (method == TAV_METHOD_EDGE) {
        result = c.edge(src, height, width, dst, c.edgeExchange[order], bitDepth);
    } else if (method == TAV_METHOD_BILINEAR) {
        const BayerConverter& exchanges = c.bilinearAsRg ? kRG : c;
        result = c.bilinear(src, height, width, dst, exchanges.bilinearExchange[order]);
    } else if (method == TAV_METHOD_HQ) {
        // A refused depth stands, whatever the output.
        result = tav::hq16ToRgb16(src, height, width, dst, c.redY, c.redX, out->rgbOrder, bitDepth);
        if (result != TAV_OK) return result;
    } else {
        return TAV_E_PARAMETER;
    }
    // The shift's result stands for the whole call, the kernel's is dropped.
    if (out->toTop) return shiftTo16(dst, height, width, bitDepth, 3);
    return result;
}

// Outputs of the Mono converter: copies (1 channel) or replicas (3).
struct MonoOutput {
    int64_t format;
    int32_t channels;
    bool toTop;
};

constexpr MonoOutput kMonoOutputs[] = {
    {TAV_PF_MONO10, 1, false}, {TAV_PF_MONO12, 1, false}, {TAV_PF_MONO14, 1, false},
    {TAV_PF_MONO16, 1, true},  {TAV_PF_RGB10, 3, false},  {TAV_PF_BGR10, 3, false},
    {TAV_PF_RGB12, 3, false},  {TAV_PF_BGR12, 3, false},  {TAV_PF_RGB16, 3, true},
};

void replicate3(const uint16_t* src, uint16_t* dst, size_t count) {
    size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        const __m128i v = tav::d16::loadWords(src + i);
        tav::d16::interleave3(v, v, v, dst + 3 * i);
    }
    for (; i < count; ++i) dst[3 * i] = dst[3 * i + 1] = dst[3 * i + 2] = src[i];
}

using Converter = int32_t (*)(const uint16_t* src, uint16_t* dst, int32_t height, int32_t width,
                              int64_t outputFormat, uint32_t method, uint32_t bitDepth);

int32_t monoIgnoringMethod(const uint16_t* src, uint16_t* dst, int32_t height, int32_t width,
                           int64_t outputFormat, uint32_t /*method*/, uint32_t bitDepth) {
    return mono16Convert(src, dst, height, width, outputFormat, bitDepth);
}

struct Source16 {
    uint32_t format;
    Converter convert;
};

constexpr Source16 kSources[] = {
    {TAV_PF_MONO10, monoIgnoringMethod}, {TAV_PF_MONO12, monoIgnoringMethod},
    {TAV_PF_MONO16, monoIgnoringMethod}, {TAV_PF_MONO14, monoIgnoringMethod},
    {TAV_PF_BAYER_GR10, gr16Convert},    {TAV_PF_BAYER_GR12, gr16Convert},
    {TAV_PF_BAYER_GR16, gr16Convert},    {TAV_PF_BAYER_RG10, rg16Convert},
    {TAV_PF_BAYER_RG12, rg16Convert},    {TAV_PF_BAYER_RG16, rg16Convert},
    {TAV_PF_BAYER_GB10, gb16Convert},    {TAV_PF_BAYER_GB12, gb16Convert},
    {TAV_PF_BAYER_GB16, gb16Convert},    {TAV_PF_BAYER_BG10, bg16Convert},
    {TAV_PF_BAYER_BG12, bg16Convert},    {TAV_PF_BAYER_BG16, bg16Convert},
};

}  // namespace

namespace tav {

int32_t bilinear16Deep(int phase, const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                       bool rgb, bool mono, uint32_t bitDepth, uint32_t toDepth) {
    const BayerConverter& c = *kPhases[phase];
    const int32_t phaseCol = c.bilinear == gr16ToBgr16_bilinear ? 1 : 0;
    // The exchange that puts red first also says which colour the kernel's r is.
    const uint32_t exchange = c.bilinearExchange[rgb || mono ? 1 : 0];
    const uint32_t* weights = mono ? kLumaWeights[exchange != 0 ? 0 : 1] : nullptr;
    return bilinear16Frame(src, height, width, dst, phaseCol, exchange, weights,
                           depthShift(bitDepth, toDepth));
}

int32_t demosaic16Frame(int phase, uint32_t method, const uint16_t* src, int32_t height,
                        int32_t width, uint16_t* dst, bool rgb, uint32_t bitDepth,
                        const RowsDone* done) {
    const BayerConverter& c = *kPhases[phase];
    const int order = rgb ? 1 : 0;
    // The red-first rows of the edge kernels: even for the RG kernel, odd for GB's.
    const int32_t edgeRedRow = c.edge == rg16ToBgr16_edge ? 0 : 1;
    int32_t result;
    switch (method) {
        case TAV_METHOD_BILINEAR:
            if (c.bilinear == gr16ToBgr16_bilinear) {
                result =
                    gr16BilinearFrame(src, height, width, dst, c.bilinearExchange[order], true);
            } else {
                result = c.bilinear(src, height, width, dst, c.bilinearExchange[order]);
            }
            break;
        case TAV_METHOD_EDGE:
            return edge16Frame(src, height, width, dst, c.edgeExchange[order] != 0, bitDepth,
                               edgeRedRow, done);
        case TAV_METHOD_HQ:
            result = hq16ToRgb16(src, height, width, dst, c.redY, c.redX, rgb, bitDepth);
            break;
        default:
            return TAV_E_PARAMETER;
    }
    if (result == TAV_OK && done != nullptr) {
        parallelRows(height, minBandUnits(width),
                     [&](int32_t r0, int32_t r1) { done->run(done->context, r0, r1); });
    }
    return result;
}

}  // namespace tav

extern "C" {

int32_t rg16Convert(const uint16_t* src, uint16_t* dst, int32_t height, int32_t width,
                    int64_t outputFormat, uint32_t method, uint32_t bitDepth) {
    return bayerConvert(kRG, src, dst, height, width, outputFormat, method, bitDepth);
}
int32_t gr16Convert(const uint16_t* src, uint16_t* dst, int32_t height, int32_t width,
                    int64_t outputFormat, uint32_t method, uint32_t bitDepth) {
    return bayerConvert(kGR, src, dst, height, width, outputFormat, method, bitDepth);
}
int32_t gb16Convert(const uint16_t* src, uint16_t* dst, int32_t height, int32_t width,
                    int64_t outputFormat, uint32_t method, uint32_t bitDepth) {
    return bayerConvert(kGB, src, dst, height, width, outputFormat, method, bitDepth);
}
int32_t bg16Convert(const uint16_t* src, uint16_t* dst, int32_t height, int32_t width,
                    int64_t outputFormat, uint32_t method, uint32_t bitDepth) {
    return bayerConvert(kBG, src, dst, height, width, outputFormat, method, bitDepth);
}

int32_t mono16Convert(const uint16_t* src, uint16_t* dst, int32_t height, int32_t width,
                      int64_t outputFormat, uint32_t bitDepth) {
    for (const MonoOutput& o : kMonoOutputs) {
        if (o.format != outputFormat) continue;
        const size_t count = size_t(uint32_t(height) * uint32_t(width));
        if (o.channels == 1) {
            std::memcpy(dst, src, count * sizeof(uint16_t));
        } else {
            replicate3(src, dst, count);
        }
        // A depth the shift refuses (14) leaves the copy as it is and still succeeds.
        if (o.toTop) shiftTo16(dst, height, width, bitDepth, o.channels);
        return TAV_OK;
    }
    return TAV_E_PARAMETER;
}

int32_t shiftTo16(uint16_t* words, int32_t height, int32_t width, uint32_t bitDepth,
                  int32_t channels) {
    if (bitDepth == 16) return TAV_OK;
    if (bitDepth != 10 && bitDepth != 12) return TAV_E_PIXEL_FORMAT;
    const int32_t count =
        static_cast<int32_t>(uint32_t(height) * uint32_t(width) * uint32_t(channels));
    const int shift = static_cast<int>(16 - bitDepth);
    const __m128i by = _mm_cvtsi32_si128(shift);
    int32_t i = 0;
    for (; i + 8 <= count; i += 8) {
        tav::d16::storeWords(words + i, _mm_sll_epi16(tav::d16::loadWords(words + i), by));
    }
    for (; i < count; ++i) words[i] = static_cast<uint16_t>(words[i] << shift);
    return TAV_OK;
}

int32_t tavDemosaicingU16(const TavDemosaicU16Config* config, const TavImage* src,
                          const TavImage* dst) {
    using tav::fail;
    using tav::Site;
    if (config == nullptr || src == nullptr || dst == nullptr)
        return fail(Site::kU16Null, TAV_E_NULL_POINTER);
    if (src->data == nullptr || dst->data == nullptr)
        return fail(Site::kU16NullData, TAV_E_NULL_POINTER);
    const int32_t height = src->height, width = src->width;
    if (height <= 3 || src->pitch <= 3 || width <= 3) return fail(Site::kU16Size, TAV_E_IMAGE_SIZE);
    if (static_cast<int32_t>(uint32_t(width) * uint32_t(height)) < 0) {
        return fail(Site::kU16Pixels, TAV_E_IMAGE_SIZE);
    }
    // Only the low 32 bits of the configured format count, sign-extended.
    const int64_t output = static_cast<int32_t>(static_cast<uint32_t>(config->outputFormat));
    for (const Source16& s : kSources) {
        if (s.format != src->pixelFormat) continue;
        return s.convert(reinterpret_cast<const uint16_t*>(src->data),
                         reinterpret_cast<uint16_t*>(dst->data), height, width, output,
                         config->method, config->bitDepth);
    }
    return TAV_E_PIXEL_FORMAT;
}

}  // extern "C"
