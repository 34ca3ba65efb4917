// tavBMPAdjust on random records; the buffer holds exactly the padded rows, and
// the result is checked against the rows it started from.
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz_input.h"
#include "tav.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tavfuzz::Input in(data, size);
    const int32_t height = in.dimension(), width = in.dimension();
    const uint8_t nulls = in.byte();

    const bool valid = height > 3 && width > 3;
    // No pixel-count check here: the buffer is the caller's, so any size it can hold is fine.
    if (valid && int64_t{height} * width > (int64_t{1} << 17)) return 0;
    const int64_t rowBytes = valid ? 3 * int64_t{width} : 0;
    const int64_t padded = (rowBytes + 3) / 4 * 4;
    tavfuzz::Buffer image(static_cast<size_t>(valid ? height * padded : 0));
    in.fill(image.data(), image.size);
    const std::vector<uint8_t> before(image.data(), image.data() + image.size);

    const int handle = 0;
    TavImage record{height, width, TAV_PF_BGR8, nulls == 1 ? nullptr : image.data(), 1};
    const int32_t result =
        tavBMPAdjust(nulls == 2 ? nullptr : &handle, nulls == 3 ? nullptr : &record);
    if (record.height != height || record.width != width || record.pixelFormat != TAV_PF_BGR8 ||
        record.pitch != 1)
        abort();
    if (result != TAV_OK) {
        if (image.size && std::memcmp(before.data(), image.data(), image.size) != 0) abort();
        return 0;
    }
    // Each compact row now starts a padded row and is followed by zero bytes.
    for (int64_t r = 0; r < height; ++r) {
        const uint8_t* row = image.data() + r * padded;
        if (std::memcmp(row, before.data() + r * rowBytes, static_cast<size_t>(rowBytes)) != 0)
            abort();
        for (int64_t k = rowBytes; k < padded; ++k) {
            if (row[k] != 0) abort();
        }
    }
    return 0;
}
