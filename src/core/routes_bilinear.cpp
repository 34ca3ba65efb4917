// Dispatch table of the bilinear method.
#include "dispatch8.h"

namespace tav {

// No bilinear kernels yet: every cell is empty, so the family entries refuse the method.
const RouteTable8 kBilinearRoutes = {};

}  // namespace tav
