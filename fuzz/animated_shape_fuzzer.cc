// Decodes the input as an animated shape stream, then re-encodes what came out as a caller
// would.
#include <cstddef>
#include <cstdint>
#include <string>

#include "diorama/animated_shape_coder.h"
#include "util/geometry3d/mesh/shape.h"
#include "util/geometry3d/mesh/shape_animation.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string buffer(reinterpret_cast<const char*>(data), size);
  geometry3d::Shape shape;
  geometry3d::AnimationSet animations;
  loupe::AnimatedShapeDecoder::DecodeFromBuffer(buffer, &shape, &animations);
  std::string out;
  loupe::AnimatedShapeEncoder::EncodeToBuffer(shape, animations, 3, &out);
  return 0;
}
