// The host's mathematics helpers.
#ifndef VISTARA_PLATFORM_FAST_MATH_H_
#define VISTARA_PLATFORM_FAST_MATH_H_

#include <cmath>

namespace vistara {

class FastMath {
 public:
  static double sqrt(double x) { return std::sqrt(x); }
  static float sqrt(float x) { return std::sqrt(x); }
  // Arc cosine in radians. Rounding may push a dot product of unit vectors just past +-1; such
  // arguments are taken as +-1 instead of giving NaN. NaN stays NaN.
  static double acos(double x) {
    if (x >= 1.0) return 0.0;
    if (x <= -1.0) return M_PI;
    return std::acos(x);
  }
  static double fabs(double x) { return std::fabs(x); }
  static float fabs(float x) { return std::fabs(x); }
};

}  // namespace vistara

#endif  // VISTARA_PLATFORM_FAST_MATH_H_
