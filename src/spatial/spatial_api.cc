#include "spatial/spatial_api.h"

namespace vistara {

void InitializeSpatialAPI() {}

const char* SpatialVersion() { return VISTARA_SPATIAL_VERSION; }

}  // namespace vistara
