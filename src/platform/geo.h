// AzimuthToPoint: the initial great-circle bearing from one point to another on the sphere.
//
// Latitudes and longitudes are in the units of a panorama position: degrees divided by 180
// (so 1.0 is 180 degrees). The result is in radians, clockwise from north, in [-pi, pi]: 0 north,
// pi/2 east, -pi/2 west; due south is pi or -pi (the seam). Coincident points give 0.
#ifndef VISTARA_PLATFORM_GEO_H_
#define VISTARA_PLATFORM_GEO_H_

#include <cmath>
#include <numbers>

namespace vistara {

inline double AzimuthToPoint(double lat1, double lon1, double lat2, double lon2) {
  const double pi = std::numbers::pi;
  const double phi1 = lat1 * pi, phi2 = lat2 * pi;
  const double dlambda = (lon2 - lon1) * pi;
  const double y = std::sin(dlambda) * std::cos(phi2);
  const double x = std::cos(phi1) * std::sin(phi2) - std::sin(phi1) * std::cos(phi2) * std::cos(dlambda);
  return std::atan2(y, x);
}

}  // namespace vistara

#endif  // VISTARA_PLATFORM_GEO_H_
