// Dispatch table of the nearest-neighbour method.
#include "dispatch8.h"

namespace tav {

// No nearest-neighbour kernels yet: every cell is empty, so the family entries refuse the method.
const RouteTable8 kNearestRoutes = {};

}  // namespace tav
