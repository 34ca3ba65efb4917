// Lens-shading coefficient estimation from a flat-field and a dark capture.
#include <cstdio>
#include <cstdlib>

#include "lsc.h"
#include "report.h"
#include "tav.h"

namespace tav {
namespace {

// GBK: "创建blockGrey内存空间失败" / "创建blockDark内存空间失败" (creating the
// block buffer failed). Split so that the hex escapes stop before "block".
constexpr char kNoBlockGrey[] =
    "\xb4\xb4\xbd\xa8"
    "blockGrey"
    "\xc4\xda\xb4\xe6\xbf\xd5\xbc\xe4\xca\xa7\xb0\xdc";
constexpr char kNoBlockDark[] =
    "\xb4\xb4\xbd\xa8"
    "blockDark"
    "\xc4\xda\xb4\xe6\xbf\xd5\xbc\xe4\xca\xa7\xb0\xdc";

// The two temporary block buffers of one estimate, released on every path.
struct BlockBuffers {
    float* grey = nullptr;
    float* dark = nullptr;
    ~BlockBuffers() {
        std::free(dark);
        std::free(grey);
    }
    int32_t allocate(size_t n) {
        grey = static_cast<float*>(std::malloc(n * sizeof(float)));
        if (grey == nullptr) {
            std::puts(kNoBlockGrey);
            return TAV_E_NO_MEMORY;
        }
        dark = static_cast<float*>(std::malloc(n * sizeof(float)));
        if (dark == nullptr) {
            std::puts(kNoBlockDark);
            return TAV_E_NO_MEMORY;
        }
        return TAV_OK;
    }
};

int32_t estimateFailed(int32_t code) {
    std::printf("getLSCKB Failed.    Error = %d\n", code);
    return TAV_E_LSC_ESTIMATE;
}

}  // namespace

void dataInit2x2(const float* dark, const float* grey, int32_t height, int32_t width,
                 float* blockDark, float* blockGrey, bool wholeCell) {
    const int32_t cellRows = height / 2, cells = width / 2;
    for (int32_t j = 0; j < cellRows; ++j) {
        const float* d0 = dark + static_cast<ptrdiff_t>(2 * j) * width;
        const float* d1 = d0 + width;
        const float* g0 = grey + static_cast<ptrdiff_t>(2 * j) * width;
        const float* g1 = wholeCell ? g0 + width : g0;
        float* outDark = blockDark + static_cast<ptrdiff_t>(j) * cells;
        float* outGrey = blockGrey + static_cast<ptrdiff_t>(j) * cells;
        for (int32_t i = 0; i < cells; ++i) {
            const int32_t x = 2 * i;
            outDark[i] = (d0[x] + d0[x + 1] + d1[x] + d1[x + 1]) * 0.25f;
            outGrey[i] = (g0[x] + g0[x + 1] + g1[x] + g1[x + 1]) * 0.25f;
        }
    }
}

void grayDataInit(const float* grey, int32_t width, int32_t rows, int32_t columns,
                  int32_t blockWidth, int32_t blockHeight, float* blockGrey) {
    const int32_t area = blockWidth * 16;
    for (int32_t r = 0; r < rows; ++r) {
        for (int32_t c = 0; c < columns; ++c) {
            const float* block =
                grey + static_cast<ptrdiff_t>(r) * blockHeight * width + c * blockWidth;
            float sum = 0.0f;
            for (int32_t y = 0; y < blockHeight; ++y) {
                const float* row = block + static_cast<ptrdiff_t>(y) * width;
                for (int32_t x = 0; x < blockWidth; ++x) sum += row[x];
            }
            blockGrey[static_cast<ptrdiff_t>(r) * columns + c] = sum / area;
        }
    }
}

double getTargetLSCMono(const float* dark, const float* grey, size_t n) {
    double sumDark = 0.0, sumGrey = 0.0;
    for (size_t i = 0; i < n; ++i) {
        sumDark += dark[i];
        sumGrey += grey[i];
    }
    return (sumGrey - sumDark) / static_cast<double>(n);
}

int32_t getLSCKBMono(const float* dark, const float* grey, size_t n, uint32_t bits, double target,
                     uint32_t* coefficients) {
    const double scale = lsc::offsetScale(bits);
    for (size_t i = 0; i < n; ++i) {
        coefficients[i] = lsc::coefficientWord(dark[i], grey[i], scale, target);
    }
    return TAV_OK;
}

int32_t getLSCKBMono_REGION(const float* blockDark, const float* blockGrey, size_t n, int32_t bits,
                            uint8_t* table, double target, float darkLevel) {
    for (size_t i = 0; i < n; ++i) {
        lsc::regionEntry(blockDark[i], blockGrey[i], bits, target, darkLevel, table + 3 * i);
    }
    return TAV_OK;
}

}  // namespace tav

extern "C" {

int32_t tavGetLSCParameter(const TavLscInput* input, TavLscParameter* parameter) {
    using tav::fail;
    if (input == nullptr || input->dark == nullptr || input->grey == nullptr ||
        parameter == nullptr) {
        return fail(tav::Site::kLscNull, TAV_E_NULL_POINTER);
    }
    if (input->mode > 1) return fail(tav::Site::kLscMode, TAV_E_PARAMETER);
    const int32_t height = input->height, width = input->width;
    if (height <= 31 || width <= 31) return fail(tav::Site::kLscSize, TAV_E_IMAGE_SIZE);
    if ((height & 1) || (width & 1)) return fail(tav::Site::kLscOdd, TAV_E_IMAGE_SIZE);

    int32_t rc;
    if (input->mode == 1) {
        const size_t n = static_cast<size_t>(height) * static_cast<size_t>(width);
        const double target = tav::getTargetLSCMono(input->dark, input->grey, n);
        parameter->mode = 1;
        parameter->height = static_cast<uint32_t>(height);
        parameter->width = static_cast<uint32_t>(width);
        rc = tav::getLSCKBMono(input->dark, input->grey, n, input->bits, target,
                               parameter->coefficients);
    } else {
        const size_t n = static_cast<size_t>(height / 2) * static_cast<size_t>(width / 2);
        tav::BlockBuffers blocks;
        if (const int32_t got = blocks.allocate(n); got != TAV_OK) return got;
        tav::dataInit2x2(input->dark, input->grey, height, width, blocks.dark, blocks.grey, false);
        const double target = tav::getTargetLSCMono(blocks.dark, blocks.grey, n);
        parameter->mode = 0;
        parameter->height = static_cast<uint32_t>(height);
        parameter->width = static_cast<uint32_t>(width);
        rc = tav::getLSCKBMono(blocks.dark, blocks.grey, n, input->bits, target,
                               parameter->coefficients);
    }
    if (rc != TAV_OK) return tav::estimateFailed(rc);
    return TAV_OK;
}

int32_t tavGetBasicLSCParameter(const TavBasicLscInput* input, uint8_t* table) {
    using tav::fail;
    if (input == nullptr || table == nullptr || input->grey == nullptr) {
        return fail(tav::Site::kBasicLscNull, TAV_E_NULL_POINTER);
    }
    if (input->mode > 1) return fail(tav::Site::kBasicLscMode, TAV_E_PARAMETER);
    const int32_t height = input->height, width = input->width;
    if (height <= 31 || width <= 31) return fail(tav::Site::kBasicLscSize, TAV_E_IMAGE_SIZE);
    const int32_t bits = input->bits;
    if (bits != 10 && bits != 8 && bits != 12)
        return fail(tav::Site::kBasicLscBits, TAV_E_PARAMETER);
    if (input->blockWidth != 32 && input->blockWidth != 16)
        return fail(tav::Site::kBasicLscBlockWidth, TAV_E_IMAGE_SIZE);
    if (input->blockHeight != 16) return fail(tav::Site::kBasicLscBlockHeight, TAV_E_IMAGE_SIZE);

    const int32_t rows = height >> 4, columns = width / input->blockWidth;
    const size_t n = static_cast<size_t>(rows) * static_cast<size_t>(columns);
    tav::BlockBuffers blocks;
    if (const int32_t got = blocks.allocate(n); got != TAV_OK) return got;
    for (size_t i = 0; i < n; ++i) blocks.dark[i] = input->darkLevel;
    tav::grayDataInit(input->grey, width, rows, columns, input->blockWidth, input->blockHeight,
                      blocks.grey);
    const double target = tav::getTargetLSCMono(blocks.dark, blocks.grey, n);
    // Refused only after averaging and without a message: that order is part of
    // the behaviour callers see, so it stays.
    if (input->regionCount < 2 || input->regionCount > 4 || input->mode != 0) {
        return TAV_E_PARAMETER;
    }
    const int32_t rc = tav::getLSCKBMono_REGION(blocks.dark, blocks.grey, n, bits, table, target,
                                                input->darkLevel);
    if (rc != TAV_OK) return tav::estimateFailed(rc);
    return TAV_OK;
}

}  // extern "C"
