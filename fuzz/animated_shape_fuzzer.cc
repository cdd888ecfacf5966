// Decodes the input as an animated shape stream, then walks what came out as a caller would.
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
  // The set holds what was decoded also when the shape fails.
  if (loupe::AnimatedShapeDecoder::DecodeFromBuffer(buffer, &shape, &animations)) {
    std::string error;
    shape.Validate(&error);
  }
  for (const geometry3d::Animation* a : animations.animations()) {
    for (const geometry3d::AnimationChannel* c : a->channels()) {
      c->value()->GetType();
      for (const geometry3d::Keyframe* k : c->keyframes()) k->modifier()->GetType();
    }
  }
  return 0;
}
