// Dispatch table of method 3: red-first and green-first kernels, BG and GR
// frames with red and blue exchanged, as the edge-directed method does.
#include "hq.h"

namespace tav {

// Columns: Mono8, RGB8, BGR8, RGB8 planar, BGR8 planar, RGBa8, BGRa8.
const RouteTable8 kHqRoutes = {
    /* RG */ {withWork(rg8ToMono8Hq, 0), withWork(rg8ToBgr8Hq, 1), withWork(rg8ToBgr8Hq, 0),
              withWork(rg8ToBgr8PHq, false), withWork(rg8ToBgr8PHq, true),
              withWork(rg8ToBgra8Hq, 1), withWork(rg8ToBgra8Hq, 0)},
    /* GR */
    {withWork(gb8ToMono8Hq, 1), withWork(gb8ToBgr8Hq, 0), withWork(gb8ToBgr8Hq, 1),
     withWork(gb8ToBgr8PHq, true), withWork(gb8ToBgr8PHq, false), withWork(gb8ToBgra8Hq, 0),
     withWork(gb8ToBgra8Hq, 1)},
    /* GB */
    {withWork(gb8ToMono8Hq, 0), withWork(gb8ToBgr8Hq, 1), withWork(gb8ToBgr8Hq, 0),
     withWork(gb8ToBgr8PHq, false), withWork(gb8ToBgr8PHq, true), withWork(gb8ToBgra8Hq, 1),
     withWork(gb8ToBgra8Hq, 0)},
    /* BG */
    {withWork(rg8ToMono8Hq, 1), withWork(rg8ToBgr8Hq, 0), withWork(rg8ToBgr8Hq, 1),
     withWork(rg8ToBgr8PHq, true), withWork(rg8ToBgr8PHq, false), withWork(rg8ToBgra8Hq, 0),
     withWork(rg8ToBgra8Hq, 1)},
};

}  // namespace tav
