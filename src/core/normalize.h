// The frame API's reduction of 16-bit words to 8 bits (the compatible ones are
// the exported u16Tou8 and u16Tou8_old).
#pragma once

#include <cstddef>
#include <cstdint>

namespace tav {

// `height` rows of `width` words, `pitch` bytes apart, shifted right by
// `shift` into compact rows; samples above the depth saturate to 255 in every
// column, not only where a vector step runs.
void saturatedWords(const uint16_t* src, int32_t height, int32_t width, ptrdiff_t pitch,
                    int32_t shift, uint8_t* dst);

}  // namespace tav
