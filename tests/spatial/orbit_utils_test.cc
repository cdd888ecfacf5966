#include "spatial/orbit_utils.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "test_util.h"
#include "spatial/solar_system_data.h"

namespace vistara::spatial {
namespace {

using Matrix = OrbitUtils::Matrix;
constexpr double kTurn = OrbitUtils::kTurn;
constexpr double kEpochJd = 2451543.5;  // day number 0

// Plain 3x3 products of the three axis rotations, row-major, by the right-hand rule: an independent
// route to the matrix the code writes column by column.
using M3 = std::array<std::array<double, 3>, 3>;
M3 Mul(const M3& a, const M3& b) {
  M3 c{};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      for (int k = 0; k < 3; ++k) c[i][j] += a[i][k] * b[k][j];
  return c;
}
M3 Rx(double t) { return {{{1, 0, 0}, {0, std::cos(t), -std::sin(t)}, {0, std::sin(t), std::cos(t)}}}; }
M3 Ry(double t) { return {{{std::cos(t), 0, std::sin(t)}, {0, 1, 0}, {-std::sin(t), 0, std::cos(t)}}}; }
M3 Rz(double t) { return {{{std::cos(t), -std::sin(t), 0}, {std::sin(t), std::cos(t), 0}, {0, 0, 1}}}; }

Vec3<double> Apply(const Matrix& m, const Vec3<double>& p) {
  return {m[0] * p.x + m[4] * p.y + m[8] * p.z + m[12], m[1] * p.x + m[5] * p.y + m[9] * p.z + m[13],
          m[2] * p.x + m[6] * p.y + m[10] * p.z + m[14]};
}

Matrix Mul4(const Matrix& a, const Matrix& b) {
  Matrix c{};
  for (int col = 0; col < 4; ++col)
    for (int row = 0; row < 4; ++row)
      for (int k = 0; k < 4; ++k) c[4 * col + row] += a[4 * k + row] * b[4 * col + k];
  return c;
}

TEST(OrbitUtilsTest, WrapKeepsBothEndsAndCountsWholeTurns) {
  // A full turn stays a full turn; below 0, ceil(1) = 1 turn is added; above, ceil(14.9) = 15 go.
  const double kCases[][2] = {{0, 0}, {kTurn, kTurn}, {2 * kTurn, kTurn}, {-kTurn, 0}, {100, 100 - 15 * kTurn},
                              {-100, -100 + 16 * kTurn}};
  for (const auto& [in, out] : kCases) EXPECT_EQ(out, OrbitUtils::WrapAngle(in)) << in;
  // Beyond the range of int the count stays a double instead of an undefined conversion.
  EXPECT_NEAR(std::fmod(1e12, kTurn), OrbitUtils::WrapAngle(1e12), 1e-3);
  EXPECT_TRUE(std::isnan(OrbitUtils::WrapAngle(INFINITY)));
  // Day 0 is Julian date 2451543.5.
  EXPECT_EQ(0.0, OrbitUtils::DayNumber(DateTime::FromJulianDate(kEpochJd)));
}

// The position as a plain transcription would write it: seven full Newton steps, then fresh
// sines. The library stops at a bit-exact fixed point instead, which must change no bit.
Vec3<double> PlainPosition(double d, const OrbitalParameters& p) {
  const double a = p.semi_major_axis + p.semi_major_axis_rate * d;
  const double e = p.eccentricity + p.eccentricity_rate * d;
  const double m = OrbitUtils::WrapAngle(p.mean_anomaly + p.mean_anomaly_rate * d);
  double ea = m + e * std::sin(m) * (1.0 + e * std::cos(m));
  for (int step = 0; step < 7; ++step) ea = ea - (ea - e * std::sin(ea) - m) / (1.0 - e * std::cos(ea));
  const double xv = a * (std::cos(ea) - e), yv = a * std::sin(ea) * std::sqrt(1.0 - e * e);
  const double v = OrbitUtils::WrapAngle(std::atan2(yv, xv)), r = std::sqrt(xv * xv + yv * yv);
  const double i = p.inclination + p.inclination_rate * d, n = p.node + p.node_rate * d;
  const double u = v + (p.perihelion + p.perihelion_rate * d);
  const double x = r * (std::cos(n) * std::cos(u) - std::sin(n) * std::sin(u) * std::cos(i));
  const double y = r * (std::sin(n) * std::cos(u) + std::cos(n) * std::sin(u) * std::cos(i));
  const double z = r * std::sin(u) * std::sin(i);
  const double k = 149597870700.0 / 6371010.0;
  return {x * k, y * k, z * k};
}

TEST(OrbitUtilsTest, SameBitsAsSevenFullNewtonSteps) {
  vistara::testing::SeededRandom rng;
  for (int n = 0; n < 20000; ++n) {
    OrbitalParameters p = solarsystemdata::orbital_parameters[n % solarsystemdata::kNumOrbitNames];
    if (n % 3 == 0) {  // random ellipses, some very eccentric (up to 0.97) where 7 steps fall short
      p.eccentricity = 0.97 * rng.Double(0, 1) * rng.Double(0, 1);
      p.mean_anomaly = rng.Double(-10, 10);
    }
    const double jd = kEpochJd + (n == 1 ? 0.0 : rng.Double(-40000, 40000));
    const Vec3<double> ours = OrbitUtils::CalcRelativePosition(DateTime::FromJulianDate(jd), p);
    const Vec3<double> plain = PlainPosition(OrbitUtils::DayNumber(DateTime::FromJulianDate(jd)), p);
    ASSERT_EQ(plain.x, ours.x) << n;
    ASSERT_EQ(plain.y, ours.y) << n;
    ASSERT_EQ(plain.z, ours.z) << n;
  }
}

TEST(OrbitUtilsTest, YawPitchRollSpinsTheMiddleAngleOnly) {
  OrbitalParameters p;
  p.yaw = -9.0;  // constant angles are not wrapped
  p.pitch = 7.0;  // outside the turn: wrapped
  p.roll = 11.0;
  p.rotation_period = 2.0;
  EXPECT_EQ(Vec3<double>(-9.0, 7.0 - kTurn, 11.0), OrbitUtils::CalcYawPitchRoll(DateTime::FromJulianDate(kEpochJd), p));
  p.pitch = 0.25;
  // Half a day with a two-day period: a quarter turn of spin.
  EXPECT_DOUBLE_EQ(0.25 + kTurn / 4, OrbitUtils::CalcYawPitchRoll(DateTime::FromJulianDate(kEpochJd + 0.5), p).y);
}

TEST(OrbitUtilsTest, RotationsMatchTheAxisProductAndInvert) {
  const Matrix identity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
  vistara::testing::SeededRandom rng;
  for (int n = 0; n < 200; ++n) {
    const Vec3<double> v(rng.Double(-10, 10), rng.Double(-10, 10), rng.Double(-10, 10));
    const Matrix to_solar = OrbitUtils::ComputeOrbitToSolarRotation(v);
    const Matrix to_orbit = OrbitUtils::ComputeSolarToOrbitRotation(v);
    const M3 expected = Mul(Rx(v.z), Mul(Ry(v.y), Rz(v.x)));
    for (int row = 0; row < 3; ++row)
      for (int col = 0; col < 3; ++col) EXPECT_NEAR(expected[row][col], to_solar[4 * col + row], 1e-14) << n;
    const Matrix product = Mul4(to_orbit, to_solar);
    for (int k = 0; k < 16; ++k) EXPECT_NEAR(identity[k], product[k], 1e-14) << n << " " << k;
  }
}

TEST(OrbitUtilsTest, DirectionToBodyAndTransform) {
  EXPECT_EQ(Vec3<double>(0, 0, 0), OrbitUtils::CalcDirectionToBody({0, 0, 0}, {0.3, 0.2, 0.1}));
  // The direction written in the body's frame maps back through the rotation to the unit vector
  // towards the origin.
  const Vec3<double> ypr(0.4, -1.1, 2.5), position(-5, 2, 7);
  const Vec3<double> solar = Apply(OrbitUtils::ComputeOrbitToSolarRotation(ypr), OrbitUtils::CalcDirectionToBody(position, ypr));
  EXPECT_NEAR(0, (solar - (-position).GetNormalized()).Length(), 1e-15);

  // Scale 2: the rotation block doubles, the translation is minus the position.
  const Matrix t = OrbitUtils::ComputeOrbitToSolarTransform(2.0, ypr, position);
  const Matrix r = OrbitUtils::ComputeOrbitToSolarRotation(ypr);
  for (int k = 0; k < 12; ++k) EXPECT_EQ(2.0 * r[k], t[k]);
  EXPECT_EQ((std::array<double, 4>{5, -2, -7, 1}), (std::array<double, 4>{t[12], t[13], t[14], t[15]}));
}

}  // namespace
}  // namespace vistara::spatial
