// Orbital elements of one body and the mathematics that turns them into positions, orientations
// and the rotations between a body's own frame and the solar frame.
//
// The model is a Kepler ellipse per body whose elements drift linearly with time (a value at the
// epoch plus a rate per day), with no perturbation terms. A position is relative to the body's
// parent. The solar frame is the frame of the elements: origin at the root body, z axis the pole of
// the reference plane (the ecliptic of date, since the node and perihelion rates carry the
// precession). Angles are radians, times days, lengths in the scene unit (Units::kPlanetRadii).
//
// Time: the day number of a date is d = JD - 2451545.0 + 1.5 (day 0 is Julian date 2451543.5).
//
// Matrices are 16 doubles, column by column: a point (x, y, z) maps to
//   x' = m[0]x + m[4]y + m[8]z + m[12],  y' = m[1]x + m[5]y + m[9]z + m[13],
//   z' = m[2]x + m[6]y + m[10]z + m[14];  m[3] = m[7] = m[11] = 0, m[15] = 1.
//
// Nothing here reports an error or allocates. A rotation_period of 0 gives an infinite (then NaN)
// spin angle, and an eccentricity of 1 a division by 0 in Kepler's iteration: neither is guarded,
// both only give non-finite numbers. Every function is safe on any thread.
#ifndef VISTARA_SPATIAL_ORBIT_UTILS_H_
#define VISTARA_SPATIAL_ORBIT_UTILS_H_

#include <QString>
#include <array>

#include "platform/date_time.h"
#include "platform/vec.h"

namespace vistara::spatial {

// One body's elements: a plain value, copied with its two strings.
struct OrbitalParameters {
  QString name;              // the body's name, its key in the orbit map
  QString parent_name;       // the body it circles; empty for the root
  double radius = 0.0;           // the body's radius (radii of "earth")
  double rotation_period = 0.0;  // days per turn about its own axis
  double orbital_period = 0.0;   // days per orbit (informative: no formula reads it)
  double yaw = 0.0;              // constant first angle of the orientation (radians)
  double pitch = 0.0;            // spin angle at the epoch (radians)
  double roll = 0.0;             // constant third angle of the orientation (radians)
  double node = 0.0, node_rate = 0.0;                          // ascending node (rad, rad/day)
  double inclination = 0.0, inclination_rate = 0.0;            // (rad, rad/day)
  double perihelion = 0.0, perihelion_rate = 0.0;              // argument of perihelion (rad, rad/day)
  double semi_major_axis = 0.0, semi_major_axis_rate = 0.0;    // mean distance (AU, AU/day)
  double eccentricity = 0.0, eccentricity_rate = 0.0;          // (1, 1/day)
  double mean_anomaly = 0.0, mean_anomaly_rate = 0.0;          // (rad, rad/day)
};

class OrbitUtils {
 public:
  using Matrix = std::array<double, 16>;

  // One turn, 2 pi.
  static constexpr double kTurn = 6.283185307179586;

  // The day number of `date`: JD - 2451545.0 + 1.5, in that order.
  static double DayNumber(const DateTime& date) { return date.GetJulianDate() - 2451545.0 + 1.5; }

  // `x` brought into [0, turn]. Both ends are inside, so a full turn stays a full turn; outside,
  // a whole number of turns (the int truncation of a ceiling) is added or taken away.
  static double WrapAngle(double x);

  // The body's position relative to its parent at `date`, in scene units.
  static Vec3<double> CalcRelativePosition(const DateTime& date, const OrbitalParameters& p);
  // (yaw, wrapped spin angle, roll) at `date`; only the middle angle moves.
  static Vec3<double> CalcYawPitchRoll(const DateTime& date, const OrbitalParameters& p);

  // Rx(roll) Ry(pitch) Rz(yaw), each by the right-hand rule: a point in the body's frame is turned
  // about z by yaw, then about y by pitch, then about x by roll, into the solar frame.
  static Matrix ComputeOrbitToSolarRotation(const Vec3<double>& yaw_pitch_roll);
  // The transpose of the above, its inverse.
  static Matrix ComputeSolarToOrbitRotation(const Vec3<double>& yaw_pitch_roll);
  // The unit vector from a body at `position` with orientation `yaw_pitch_roll` towards the solar
  // origin, in the body's own frame. A zero (or NaN) length leaves the vector unnormalised.
  static Vec3<double> CalcDirectionToBody(const Vec3<double>& position, const Vec3<double>& yaw_pitch_roll);
  // The map x -> scale * (R x) - position, R the orbit-to-solar rotation. The translation is not
  // scaled and carries the negated position.
  static Matrix ComputeOrbitToSolarTransform(double scale, const Vec3<double>& yaw_pitch_roll,
                                             const Vec3<double>& position);
};

}  // namespace vistara::spatial

#endif  // VISTARA_SPATIAL_ORBIT_UTILS_H_
