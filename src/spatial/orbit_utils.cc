#include "spatial/orbit_utils.h"

#include <bit>
#include <climits>
#include <cstdint>
#include <cmath>

#include "platform/fast_math.h"
#include "platform/units.h"

namespace vistara::spatial {

namespace {

// A whole number of turns as the angle code counts them: the ceiling taken as an int. Beyond the
// range of int (|x| above 1.3e10 radians, or NaN and infinities) the conversion would be undefined,
// so the ceiling stays a double there: the same count wherever an int could hold it.
double WholeTurns(double quotient) {
  const double c = std::ceil(quotient);
  if (c >= static_cast<double>(INT_MIN) && c <= static_cast<double>(INT_MAX)) return static_cast<int>(c);
  return c;
}

// WrapAngle, called directly inside this file rather than through the exported symbol.
inline double Wrap(double x) {
  constexpr double kTurn = OrbitUtils::kTurn;
  if (x >= 0.0 && x <= kTurn) return x;
  if (x < 0.0) return x + WholeTurns(-x / kTurn) * kTurn;
  return x - WholeTurns((x - kTurn) / kTurn) * kTurn;
}

// The point mapping of a matrix (translation included).
Vec3<double> Rotate(const OrbitUtils::Matrix& m, const Vec3<double>& v) {
  return {m[0] * v.x + m[4] * v.y + m[8] * v.z + m[12], m[1] * v.x + m[5] * v.y + m[9] * v.z + m[13],
          m[2] * v.x + m[6] * v.y + m[10] * v.z + m[14]};
}

}  // namespace

double OrbitUtils::WrapAngle(double x) { return Wrap(x); }

Vec3<double> OrbitUtils::CalcRelativePosition(const DateTime& date, const OrbitalParameters& p) {
  const double d = DayNumber(date);
  const double a = p.semi_major_axis + p.semi_major_axis_rate * d;
  const double e = p.eccentricity + p.eccentricity_rate * d;
  const double m = Wrap(p.mean_anomaly + p.mean_anomaly_rate * d);

  // Kepler's equation M = E - e sin E, by Newton's method from a second-order start: exactly 7
  // steps, with no tolerance. A step is a pure function of E (e and M fixed), so once a step gives
  // back E bit for bit, every later step would too: stopping there yields the very bits of the
  // seventh step, and the sine and cosine of that E are already at hand. Most bodies reach that
  // fixed point by the third step; the speed-up is the saved trigonometry.
  double ea = m + e * std::sin(m) * (1.0 + e * std::cos(m));
  double sin_ea = 0.0, cos_ea = 0.0;
  bool fixed_point = false;
  for (int step = 0; step < 7; ++step) {
    sin_ea = std::sin(ea);
    cos_ea = std::cos(ea);
    const double next = ea - (ea - e * sin_ea - m) / (1.0 - e * cos_ea);
    if (std::bit_cast<uint64_t>(next) == std::bit_cast<uint64_t>(ea)) {
      fixed_point = true;
      break;
    }
    ea = next;
  }
  if (!fixed_point) {
    sin_ea = std::sin(ea);
    cos_ea = std::cos(ea);
  }

  const double xv = a * (cos_ea - e);
  const double yv = a * sin_ea * FastMath::sqrt(1.0 - e * e);
  const double v = Wrap(std::atan2(yv, xv));
  const double r = FastMath::sqrt(xv * xv + yv * yv);

  // Node, inclination and perihelion are used as they drift, unwrapped.
  const double i = p.inclination + p.inclination_rate * d;
  const double n = p.node + p.node_rate * d;
  const double w = p.perihelion + p.perihelion_rate * d;
  const double u = v + w;
  const double cos_n = std::cos(n), sin_n = std::sin(n);
  const double cos_u = std::cos(u), sin_u = std::sin(u);
  const double cos_i = std::cos(i), sin_i = std::sin(i);
  const double x = r * (cos_n * cos_u - sin_n * sin_u * cos_i);
  const double y = r * (sin_n * cos_u + cos_n * sin_u * cos_i);
  const double z = r * sin_u * sin_i;

  return {Units::ConvertLength(x, Units::kAstronomicalUnits, Units::kPlanetRadii),
          Units::ConvertLength(y, Units::kAstronomicalUnits, Units::kPlanetRadii),
          Units::ConvertLength(z, Units::kAstronomicalUnits, Units::kPlanetRadii)};
}

Vec3<double> OrbitUtils::CalcYawPitchRoll(const DateTime& date, const OrbitalParameters& p) {
  const double d = DayNumber(date);
  return {p.yaw, Wrap(kTurn * d / p.rotation_period + p.pitch), p.roll};
}

OrbitUtils::Matrix OrbitUtils::ComputeOrbitToSolarRotation(const Vec3<double>& yaw_pitch_roll) {
  const double cy = std::cos(yaw_pitch_roll.x), sy = std::sin(yaw_pitch_roll.x);
  const double cp = std::cos(yaw_pitch_roll.y), sp = std::sin(yaw_pitch_roll.y);
  const double cr = std::cos(yaw_pitch_roll.z), sr = std::sin(yaw_pitch_roll.z);
  // Rx(roll) * Ry(pitch) * Rz(yaw), multiplied out; column c, row r sits at m[4c + r].
  Matrix m{};
  m[0] = cp * cy;
  m[1] = cr * sy + sr * sp * cy;
  m[2] = sr * sy - cr * sp * cy;
  m[4] = -cp * sy;
  m[5] = cr * cy - sr * sp * sy;
  m[6] = sr * cy + cr * sp * sy;
  m[8] = sp;
  m[9] = -sr * cp;
  m[10] = cr * cp;
  m[15] = 1.0;
  return m;
}

OrbitUtils::Matrix OrbitUtils::ComputeSolarToOrbitRotation(const Vec3<double>& yaw_pitch_roll) {
  Matrix m = ComputeOrbitToSolarRotation(yaw_pitch_roll);
  // The whole 4x4 array transposed; its translation and bottom row are 0 0 0 1, so they stay.
  for (int c = 0; c < 4; ++c) {
    for (int r = c + 1; r < 4; ++r) std::swap(m[4 * c + r], m[4 * r + c]);
  }
  return m;
}

Vec3<double> OrbitUtils::CalcDirectionToBody(const Vec3<double>& position, const Vec3<double>& yaw_pitch_roll) {
  const Vec3<double> v = Rotate(ComputeSolarToOrbitRotation(yaw_pitch_roll), -position);
  const double length = FastMath::sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
  if (!(length > 0.0)) return v;
  return {v.x / length, v.y / length, v.z / length};
}

OrbitUtils::Matrix OrbitUtils::ComputeOrbitToSolarTransform(double scale, const Vec3<double>& yaw_pitch_roll,
                                                             const Vec3<double>& position) {
  // translate(-position) * R: R's translation is 0, so the product keeps R's 3x3 block and takes
  // -position as its translation. The scale then touches m[0]..m[11] only.
  Matrix m = ComputeOrbitToSolarRotation(yaw_pitch_roll);
  m[12] = -position.x;
  m[13] = -position.y;
  m[14] = -position.z;
  for (int k = 0; k < 12; ++k) m[k] *= scale;
  return m;
}

}  // namespace vistara::spatial
