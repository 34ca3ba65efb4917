// Context lifecycle, scratch buffer and output-format configuration.
#include <cstdlib>

#include "report.h"
#include "tav.h"

namespace {

bool acceptedOutput(uint64_t format) {
    switch (format) {
        case TAV_PF_RGB8:
        case TAV_PF_BGR8:
        case TAV_PF_BGRA8:
        case TAV_PF_RGBA8:
        case TAV_PF_BGR8_PLANAR:
        case TAV_PF_RGB8_PLANAR:
        case TAV_PF_MONO8:
            return true;
        default:
            return false;
    }
}

}  // namespace

extern "C" {

int32_t tavCreate(TavContext** handle) {
    if (handle == nullptr) return tav::fail(tav::Site::kCreateNull, TAV_E_NULL_POINTER);
    *handle = nullptr;
    *handle = static_cast<TavContext*>(std::malloc(sizeof(TavContext)));
    if (*handle == nullptr) return tav::fail(tav::Site::kCreateNoMemory, TAV_E_NO_MEMORY);
    (*handle)->reserved32 = 0;
    (*handle)->reserved64 = 0;
    tavInit(*handle);
    return TAV_OK;
}

// Resets to defaults. Deliberately does not free a scratch buffer already held:
// a reset context starts empty, and callers who want the memory back release it.
void tavInit(TavContext* context) {
    static constexpr int32_t kTuning[8] = {12, 1, 0, 8, 1, 0, 8, 1};
    context->outputFormat = TAV_PF_BGR8;
    for (int i = 0; i < 8; ++i) context->tuning[i] = kTuning[i];
    context->scratch.buffer = nullptr;
    context->scratch.capacity = 0;
}

int32_t tavRelease(TavContext** handle) {
    if (handle == nullptr) return tav::fail(tav::Site::kReleaseNull, TAV_E_NULL_POINTER);
    TavContext* context = *handle;
    std::free(context->scratch.buffer);
    context->scratch.buffer = nullptr;
    context->scratch.capacity = 0;
    std::free(context);
    *handle = nullptr;
    return TAV_OK;
}

// Grows only; the old contents are not kept.
int32_t tavMemRealloc(TavScratch* scratch, int32_t size) {
    if (scratch->capacity >= size) return TAV_OK;
    std::free(scratch->buffer);
    scratch->capacity = 0;
    scratch->buffer = static_cast<uint8_t*>(std::malloc(static_cast<size_t>(size)));
    if (scratch->buffer == nullptr) return tav::fail(tav::Site::kScratchNoMemory, TAV_E_NO_MEMORY);
    scratch->capacity = size;
    return TAV_OK;
}

int32_t tavDemosaicSetConfig(TavContext* context, const uint64_t* outputFormat) {
    if (outputFormat == nullptr || context == nullptr)
        return tav::fail(tav::Site::kSetConfigNull, TAV_E_NULL_POINTER);
    if (!acceptedOutput(*outputFormat))
        return tav::fail(tav::Site::kSetConfigFormat, TAV_E_PARAMETER);
    context->outputFormat = *outputFormat;
    return TAV_OK;
}

int32_t tavDemosaicGetConfig(const TavContext* context, uint64_t* outputFormat) {
    if (context == nullptr || outputFormat == nullptr)
        return tav::fail(tav::Site::kGetConfigNull, TAV_E_NULL_POINTER);
    *outputFormat = context->outputFormat;
    return TAV_OK;
}

}  // extern "C"
