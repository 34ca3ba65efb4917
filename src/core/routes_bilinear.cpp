// Dispatch table of the bilinear method. RGB-ordered outputs of a phase come
// from the BGR-ordered kernel of the opposite phase (red and blue exchanged);
// planar and Mono8 kernels exist for RG and GR only and serve the opposite
// phases with exchanged planes or reversed weights.
#include "dispatch8.h"

namespace tav {

namespace {
constexpr bool kNatural = false, kReversed = true;
}  // namespace

// Columns: Mono8, RGB8, BGR8, RGB8_Planar, BGR8 planar (blue first), RGBa8, BGRa8.
const RouteTable8 kBilinearRoutes = {
    // RG
    {weighted(rg8ToMono8_bilinear, kNatural), plain(bg8ToBgr8_bilinear), plain(rg8ToBgr8_bilinear),
     planar(rg8ToBgr8P_bilinear, kNatural), planar(rg8ToBgr8P_bilinear, kReversed),
     plain(bg8ToBgra8_bilinear), plain(rg8ToBgra8_bilinear)},
    // GR
    {weighted(gr8ToMono8_bilinear, kNatural), plain(gb8ToBgr8_bilinear), plain(gr8ToBgr8_bilinear),
     planar(gr8ToBgr8P_bilinear, kNatural), planar(gr8ToBgr8P_bilinear, kReversed),
     plain(gb8ToBgra8_bilinear), plain(gr8ToBgra8_bilinear)},
    // GB
    {weighted(gr8ToMono8_bilinear, kReversed), plain(gr8ToBgr8_bilinear), plain(gb8ToBgr8_bilinear),
     planar(gr8ToBgr8P_bilinear, kReversed), planar(gr8ToBgr8P_bilinear, kNatural),
     plain(gr8ToBgra8_bilinear), plain(gb8ToBgra8_bilinear)},
    // BG
    {weighted(rg8ToMono8_bilinear, kReversed), plain(rg8ToBgr8_bilinear), plain(bg8ToBgr8_bilinear),
     planar(rg8ToBgr8P_bilinear, kReversed), planar(rg8ToBgr8P_bilinear, kNatural),
     plain(rg8ToBgra8_bilinear), plain(bg8ToBgra8_bilinear)},
};

}  // namespace tav
