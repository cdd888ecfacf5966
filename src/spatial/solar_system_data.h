// The built-in solar system: ten bodies, their names and their elements.
//
// Both arrays are filled while the library loads, in index order, and live until it unloads.
// Lengths are in the units of OrbitalParameters (AU for the orbit, radii of "earth" for the body),
// times in days, angles in radians. The "sun" row is the root: it carries the apparent solar orbit
// with a mean distance of 1e-20 AU, so its own motion is nil in any sum. The roll column is a
// quarter turn plus the body's axial tilt: a body's own frame has its pole on its y axis, and the
// roll brings that axis up to the solar frame's z axis.
#ifndef VISTARA_SPATIAL_SOLAR_SYSTEM_DATA_H_
#define VISTARA_SPATIAL_SOLAR_SYSTEM_DATA_H_

#include <QString>

#include "spatial/orbit_utils.h"

namespace vistara::spatial::solarsystemdata {

// Indexes both arrays. The order puts every parent before its children.
enum OrbitName {
  kSun = 0,
  kMercury = 1,
  kVenus = 2,
  kEarth = 3,
  kMars = 4,
  kJupiter = 5,
  kSaturn = 6,
  kUranus = 7,
  kNeptune = 8,
  kMoon = 9,
  kNumOrbitNames = 10,
};

extern const QString orbit_names_[kNumOrbitNames];
extern const OrbitalParameters orbital_parameters[kNumOrbitNames];

// orbit_names_[name]; a value outside 0..9 gives the null QString.
const QString& GetOrbitName(OrbitName name);

}  // namespace vistara::spatial::solarsystemdata

#endif  // VISTARA_SPATIAL_SOLAR_SYSTEM_DATA_H_
