// Dispatch table of the nearest-neighbour method. Kernels exist for the RG and
// GB phases; BG uses the RG kernels and GR the GB kernels with red and blue
// exchanged (flag, plane order, or red and blue luma weights swapped).
#include "dispatch8.h"

namespace tav {

const RouteTable8 kNearestRoutes = {
    // RG
    {flagged(rg8ToMono8_nearest, 0), flagged(rg8ToBgr8_nearest, 1), flagged(rg8ToBgr8_nearest, 0),
     planar(rg8ToBgr8P_nearest, false), planar(rg8ToBgr8P_nearest, true),
     flagged(rg8ToBgra8_nearest, 1), flagged(rg8ToBgra8_nearest, 0)},
    // GR
    {flagged(gb8ToMono8_nearest, 1), flagged(gb8ToBgr8_nearest, 0), flagged(gb8ToBgr8_nearest, 1),
     planar(gb8ToBgr8P_nearest, true), planar(gb8ToBgr8P_nearest, false),
     flagged(gb8ToBgra8_nearest, 0), flagged(gb8ToBgra8_nearest, 1)},
    // GB
    {flagged(gb8ToMono8_nearest, 0), flagged(gb8ToBgr8_nearest, 1), flagged(gb8ToBgr8_nearest, 0),
     planar(gb8ToBgr8P_nearest, false), planar(gb8ToBgr8P_nearest, true),
     flagged(gb8ToBgra8_nearest, 1), flagged(gb8ToBgra8_nearest, 0)},
    // BG
    {flagged(rg8ToMono8_nearest, 1), flagged(rg8ToBgr8_nearest, 0), flagged(rg8ToBgr8_nearest, 1),
     planar(rg8ToBgr8P_nearest, true), planar(rg8ToBgr8P_nearest, false),
     flagged(rg8ToBgra8_nearest, 0), flagged(rg8ToBgra8_nearest, 1)},
};

}  // namespace tav
