// Dispatch table of the bilinear method. RGB-ordered outputs of a phase come
// from the BGR-ordered kernel of the phase with red and blue exchanged; planar
// and Mono8 kernels exist for RG and GR only and serve BG and GB with
// exchanged planes or weights.
#include "dispatch8.h"

namespace tav {

namespace {
constexpr uint32_t kNative = 0, kExchanged = 1;
}  // namespace

// Columns: Mono8, RGB8, BGR8, RGB8_Planar, BGR8 planar (blue first), RGBa8, BGRa8.
const RouteTable8 kBilinearRoutes = {
    // RG
    {weighted(rg8ToMono8_bilinear, kNative), plain(bg8ToBgr8_bilinear), plain(rg8ToBgr8_bilinear),
     planar(rg8ToBgr8P_bilinear, kNative), planar(rg8ToBgr8P_bilinear, kExchanged),
     plain(bg8ToBgra8_bilinear), plain(rg8ToBgra8_bilinear)},
    // GR
    {weighted(gr8ToMono8_bilinear, kNative), plain(gb8ToBgr8_bilinear), plain(gr8ToBgr8_bilinear),
     planar(gr8ToBgr8P_bilinear, kNative), planar(gr8ToBgr8P_bilinear, kExchanged),
     plain(gb8ToBgra8_bilinear), plain(gr8ToBgra8_bilinear)},
    // GB
    {weighted(gr8ToMono8_bilinear, kExchanged), plain(gr8ToBgr8_bilinear),
     plain(gb8ToBgr8_bilinear), planar(gr8ToBgr8P_bilinear, kExchanged),
     planar(gr8ToBgr8P_bilinear, kNative), plain(gr8ToBgra8_bilinear), plain(gb8ToBgra8_bilinear)},
    // BG
    {weighted(rg8ToMono8_bilinear, kExchanged), plain(rg8ToBgr8_bilinear),
     plain(bg8ToBgr8_bilinear), planar(rg8ToBgr8P_bilinear, kExchanged),
     planar(rg8ToBgr8P_bilinear, kNative), plain(rg8ToBgra8_bilinear), plain(bg8ToBgra8_bilinear)},
};

}  // namespace tav
