// The 8-bit demosaicing entry as the subcommands use it.
#pragma once

#include <cstdint>
#include <string>

#include "tav.h"

namespace tavcli {

// One context for a run of frames.
class Context8 {
  public:
    Context8();
    ~Context8();
    Context8(const Context8&) = delete;
    Context8& operator=(const Context8&) = delete;
    // Sets the output format and runs one frame; the library's diagnostic,
    // if it printed one, lands in `printed`.
    int32_t run(TavImage& src, uint32_t method, uint64_t output, uint8_t* dst,
                std::string& printed);
    TavContext* get() { return ctx_; }

  private:
    TavContext* ctx_ = nullptr;
};

// "nearest", "bilinear", "edge", "hq" (or 0, 1, 2, 3) to the method number.
uint32_t parseMethod(const std::string& text);
const char* methodName(uint32_t method);

}  // namespace tavcli
