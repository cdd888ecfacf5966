#include "util/geometry3d/mesh/shape_animation.h"

#include <cstddef>

#include "base/logging.h"

namespace geometry3d {

Keyframe::Keyframe(double time, ITransformModifier* value) : time_(time), modifier_(value) {
  VS_CHECK(value != NULL);
}

}  // namespace geometry3d
