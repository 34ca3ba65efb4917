// Dispatch table of the edge-directed method. Kernels exist for the RG and GB
// phases only; BG and GR frames run them with red and blue exchanged (kernel
// argument inverted, first and third planes exchanged).
#include "dispatch8.h"

namespace tav {

// Columns: Mono8, RGB8, BGR8, RGB8 planar, BGR8 planar, RGBa8, BGRa8.
const RouteTable8 kEdgeRoutes = {
    /* RG */ {withWork(rg8ToMono8_edge, 0), withWork(rg8ToBgr8_edge, 1),
              withWork(rg8ToBgr8_edge, 0), withWork(rg8ToBgr8P_edge, 0),
              withWork(rg8ToBgr8P_edge, 1), withWork(rg8ToBgra8_edge, 1),
              withWork(rg8ToBgra8_edge, 0)},
    /* GR */
    {withWork(gb8ToMono8_edge, 1), withWork(gb8ToBgr8_edge, 0), withWork(gb8ToBgr8_edge, 1),
     withWork(gb8ToBgr8P_edge, 1), withWork(gb8ToBgr8P_edge, 0), withWork(gb8ToBgra8_edge, 0),
     withWork(gb8ToBgra8_edge, 1)},
    /* GB */
    {withWork(gb8ToMono8_edge, 0), withWork(gb8ToBgr8_edge, 1), withWork(gb8ToBgr8_edge, 0),
     withWork(gb8ToBgr8P_edge, 0), withWork(gb8ToBgr8P_edge, 1), withWork(gb8ToBgra8_edge, 1),
     withWork(gb8ToBgra8_edge, 0)},
    /* BG */
    {withWork(rg8ToMono8_edge, 1), withWork(rg8ToBgr8_edge, 0), withWork(rg8ToBgr8_edge, 1),
     withWork(rg8ToBgr8P_edge, 1), withWork(rg8ToBgr8P_edge, 0), withWork(rg8ToBgra8_edge, 0),
     withWork(rg8ToBgra8_edge, 1)},
};

}  // namespace tav
