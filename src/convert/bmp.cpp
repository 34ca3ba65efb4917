// Re-padding of compact three-byte rows to the 4-byte rows of a BMP file.
#include <cstring>

#include "report.h"
#include "tav.h"

extern "C" int32_t tavBMPAdjust(const void* handle, TavImage* image) {
    if (!handle || !image) return tav::fail(tav::Site::kBmpNull, TAV_E_NULL_POINTER);
    if (!image->data) return tav::fail(tav::Site::kBmpNullData, TAV_E_NULL_POINTER);
    if (image->height <= 3 || image->width <= 3)
        return tav::fail(tav::Site::kBmpSize, TAV_E_IMAGE_SIZE);
    const size_t rowBytes = 3 * static_cast<size_t>(image->width);
    const size_t padded = (rowBytes + 3) & ~size_t{3};
    const size_t pad = padded - rowBytes;
    if (pad == 0) return TAV_OK;
    // Bottom row first: a row only ever moves down, onto rows already moved.
    for (int32_t r = image->height - 1; r >= 0; --r) {
        uint8_t* to = image->data + r * padded;
        std::memmove(to, image->data + r * rowBytes, rowBytes);
        std::memset(to + rowBytes, 0, pad);
    }
    return TAV_OK;
}
