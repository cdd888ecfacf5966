// Geometry of map positions: bearings, flat-map headings and the conversion between map positions
// and Cartesian vectors.
//
// Map positions are those of the panorama side: x = longitude / 180, y = latitude / 180 (so 1.0 is
// 180 degrees), z = altitude in planet radii.
#ifndef VISTARA_PLATFORM_GEO_H_
#define VISTARA_PLATFORM_GEO_H_

#include <cmath>
#include <numbers>

#include "platform/vec.h"

namespace vistara {

// The initial great-circle bearing from (lat1, lon1) to (lat2, lon2), map units. The result is in
// radians, clockwise from north, in [-pi, pi]: 0 north, pi/2 east, -pi/2 west; due south is pi or
// -pi (the seam). Coincident points give 0.
inline double AzimuthToPoint(double lat1, double lon1, double lat2, double lon2) {
  const double pi = std::numbers::pi;
  const double phi1 = lat1 * pi, phi2 = lat2 * pi;
  const double dlambda = (lon2 - lon1) * pi;
  const double y = std::sin(dlambda) * std::cos(phi2);
  const double x = std::cos(phi1) * std::sin(phi2) - std::sin(phi1) * std::cos(phi2) * std::cos(dlambda);
  return std::atan2(y, x);
}

// The compass heading from `from` to `to` on the flat map, that is, in the plane of the positions'
// x and y with no correction for latitude (the frame of PanoGraph's connection headings). Degrees,
// clockwise from north (+y): 0 north, 90 east, -90 west, in [-180, 180], due south being 180 or
// -180 by the sign of the x difference. Coincident points give 0.
inline double ComputeFlatMapCompassHeading(const Vec2<double>& from, const Vec2<double>& to) {
  return std::atan2(to.x - from.x, to.y - from.y) * (180.0 / std::numbers::pi);
}

// A map position as a Cartesian vector of length 1 + z (planet radii): with a = pi (x + 0.5) and
// b = pi y, (cos a cos b, sin b, -sin a cos b) times 1 + z. Y points to the north pole; longitude
// -90 degrees lies on +X.
inline Vec3<double> MapToCartesian(const Vec3<double>& p) {
  const double a = std::numbers::pi * (p.x + 0.5), b = std::numbers::pi * p.y, r = 1 + p.z;
  return Vec3<double>(std::cos(a) * std::cos(b) * r, std::sin(b) * r, -std::sin(a) * std::cos(b) * r);
}

// The inverse of MapToCartesian: z is the length less 1, x comes back in [-1, 1]. The origin gives
// (-0.5, 0, -1).
inline Vec3<double> CartesianToMap(const Vec3<double>& v) {
  constexpr double kInvPi = 0.3183098861837907;
  const double latitude = std::atan2(v.y, std::sqrt(v.x * v.x + v.z * v.z));
  double x = std::atan2(v.z, v.x) * -kInvPi - 0.5;
  if (x < -1) x += 2;
  if (x > 1) x -= 2;
  return Vec3<double>(x, latitude * kInvPi, v.Length() - 1);
}

}  // namespace vistara

#endif  // VISTARA_PLATFORM_GEO_H_
