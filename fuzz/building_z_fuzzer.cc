// Decodes the input as a building stream and extrudes what came out as a caller would.
#include <cstddef>
#include <cstdint>
#include <string>

#include "diorama/building_z_coder.h"
#include "util/geometry3d/mesh/building_z.h"
#include "util/geometry3d/mesh/building_z_shape.h"
#include "util/geometry3d/mesh/shape.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  loupe::BuildingZDecoder decoder;
  decoder.Init(reinterpret_cast<const char*>(data), static_cast<int>(size));
  geometry3d::BuildingZ building;
  if (!decoder.DecodeBuildingZ(&building)) return 0;
  geometry3d::Shape shape;
  geometry3d::BuildingZShape::CreateShapeWithDefaults(building, &shape);
  return 0;
}
