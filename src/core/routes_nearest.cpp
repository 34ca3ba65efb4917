// Dispatch table of the nearest-neighbour method. Kernels exist for the RG and
// GB phases; BG uses the RG kernels and GR the GB kernels with red and blue
// exchanged (kernel argument, plane order, or red and blue luma weights).
#include "dispatch8.h"

namespace tav {

const RouteTable8 kNearestRoutes = {
    // RG
    {exchanging(rg8ToMono8_nearest, 0), exchanging(rg8ToBgr8_nearest, 1),
     exchanging(rg8ToBgr8_nearest, 0), planar(rg8ToBgr8P_nearest, 0), planar(rg8ToBgr8P_nearest, 1),
     exchanging(rg8ToBgra8_nearest, 1), exchanging(rg8ToBgra8_nearest, 0)},
    // GR
    {exchanging(gb8ToMono8_nearest, 1), exchanging(gb8ToBgr8_nearest, 0),
     exchanging(gb8ToBgr8_nearest, 1), planar(gb8ToBgr8P_nearest, 1), planar(gb8ToBgr8P_nearest, 0),
     exchanging(gb8ToBgra8_nearest, 0), exchanging(gb8ToBgra8_nearest, 1)},
    // GB
    {exchanging(gb8ToMono8_nearest, 0), exchanging(gb8ToBgr8_nearest, 1),
     exchanging(gb8ToBgr8_nearest, 0), planar(gb8ToBgr8P_nearest, 0), planar(gb8ToBgr8P_nearest, 1),
     exchanging(gb8ToBgra8_nearest, 1), exchanging(gb8ToBgra8_nearest, 0)},
    // BG
    {exchanging(rg8ToMono8_nearest, 1), exchanging(rg8ToBgr8_nearest, 0),
     exchanging(rg8ToBgr8_nearest, 1), planar(rg8ToBgr8P_nearest, 1), planar(rg8ToBgr8P_nearest, 0),
     exchanging(rg8ToBgra8_nearest, 0), exchanging(rg8ToBgra8_nearest, 1)},
};

}  // namespace tav
