// Diagnostics shared by every entry point.
#pragma once

#include <cstdint>
#include <cstdio>

namespace tav {

// Prints the check site's number (no newline; callers' logs rely on that) and
// hands back the result code, so a check reads `return fail(96, TAV_E_IMAGE_SIZE);`.
inline int32_t fail(int site, int32_t code) {
    std::printf("error line = [%d]", site);
    return code;
}

}  // namespace tav
