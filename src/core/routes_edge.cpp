// Dispatch table of the edge-directed method.
#include "dispatch8.h"

namespace tav {

// No edge-directed kernels yet: every cell is empty, so the family entries refuse the method.
const RouteTable8 kEdgeRoutes = {};

}  // namespace tav
