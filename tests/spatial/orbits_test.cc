#include "spatial/orbit_utils.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <set>

#include "spatial/orbit_manager.h"
#include "spatial/solar_system_data.h"
#include "test_util.h"

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

TEST(OrbitUtilsTest, WrapKeepsBothEndsAndCountsWholeTurns) {
  // A full turn stays a full turn; below 0, ceil(1) = 1 turn is added; above, ceil(14.9) = 15 go.
  const double kCases[][2] = {{0, 0}, {kTurn, kTurn}, {2 * kTurn, kTurn}, {-kTurn, 0}, {100, 100 - 15 * kTurn},
                              {-100, -100 + 16 * kTurn}};
  for (const auto& [in, out] : kCases) EXPECT_EQ(out, OrbitUtils::WrapAngle(in)) << in;
  // Beyond the range of int the count stays a double instead of an undefined conversion.
  EXPECT_NEAR(std::fmod(1e12, kTurn), OrbitUtils::WrapAngle(1e12), 1e-3);
  EXPECT_TRUE(std::isnan(OrbitUtils::WrapAngle(INFINITY)));
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
  // Half a day with a two-day period: a quarter turn of spin.
  const Vec3<double> ypr = OrbitUtils::CalcYawPitchRoll(DateTime::FromJulianDate(kEpochJd + 0.5), p);
  EXPECT_EQ(std::make_pair(-9.0, 11.0), std::make_pair(ypr.x, ypr.z));
  EXPECT_DOUBLE_EQ(7.0 + kTurn / 4 - kTurn, ypr.y);
}

TEST(OrbitUtilsTest, RotationsMatchTheAxisProductAndInvert) {
  vistara::testing::SeededRandom rng;
  for (int n = 0; n < 200; ++n) {
    const Vec3<double> v(rng.Double(-10, 10), rng.Double(-10, 10), rng.Double(-10, 10));
    const Matrix to_solar = OrbitUtils::ComputeOrbitToSolarRotation(v);
    const M3 expected = Mul(Rx(v.z), Mul(Ry(v.y), Rz(v.x)));
    for (int row = 0; row < 3; ++row)
      for (int col = 0; col < 3; ++col) EXPECT_NEAR(expected[row][col], to_solar[4 * col + row], 1e-14) << n;
    const Matrix to_orbit = OrbitUtils::ComputeSolarToOrbitRotation(v);
    const Vec3<double> p(rng.Double(-10, 10), rng.Double(-10, 10), rng.Double(-10, 10));
    EXPECT_NEAR(0, (Apply(to_orbit, Apply(to_solar, p)) - p).Length(), 1e-13) << n;
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

// The manager's destructor leaves the orbits alive; every test empties it first.
struct ClearedManager : OrbitManager {
  ~ClearedManager() override { Clear(); }
};

OrbitalParameters Body(const char* name, const char* parent, double a = 1.0) {
  OrbitalParameters p;
  p.name = QString::fromLatin1(name);
  p.parent_name = QString::fromLatin1(parent);
  p.semi_major_axis = a;
  p.mean_anomaly_rate = 0.01;
  p.rotation_period = 1.0;
  return p;
}

// The names of the orbits GetOrbit(index) reaches, which skips null entries.
std::set<QString> Names(const OrbitManager& m) {
  std::set<QString> names;
  for (int i = 0; m.GetOrbit(i); ++i) names.insert(m.GetOrbit(i)->orbital_parameters().name);
  return names;
}

TEST(OrbitManagerTest, LoadsTheSolarSystemAsATree) {
  ClearedManager m;
  m.LoadSolarSystem();
  const Orbit* moon = m.GetOrbit(QStringLiteral("moon"));
  const Orbit* earth = m.GetOrbit(QStringLiteral("earth"));
  const Orbit* sun = m.GetOrbit(QStringLiteral("sun"));
  ASSERT_TRUE(moon && earth && sun);
  EXPECT_EQ(earth, moon->parent());
  EXPECT_EQ(sun, earth->parent());
  EXPECT_EQ(8u, sun->children().size());

  // Relative to an unknown or empty name positions are absolute (relative ones are checked
  // against ERFA and through the command line).
  const DateTime date(2026, 11, 22, 18, 30);
  const Vec3<double> absolute = m.CalcOrbitPosition(QStringLiteral("moon"), QString(), date);
  EXPECT_EQ(moon->CalcPosition(date), absolute);
  EXPECT_EQ(absolute, m.CalcOrbitPosition(QStringLiteral("moon"), QStringLiteral("nothing"), date));
  EXPECT_EQ(Vec3<double>(0, 0, 0), m.CalcOrbitPosition(QStringLiteral("nothing"), QString(), date));
  EXPECT_EQ(OrbitUtils::CalcYawPitchRoll(date, solarsystemdata::orbital_parameters[solarsystemdata::kMoon]),
            m.CalcOrbitYawPitchRoll(QStringLiteral("moon"), date));

  // Loading again replaces everything: ten orbits, none freed twice (ASan), none leaked.
  m.LoadSolarSystem();
  EXPECT_EQ(10, m.GetOrbitCount());
}

TEST(OrbitManagerTest, DeleteAndRename) {
  ClearedManager m;
  m.LoadSolarSystem();
  EXPECT_FALSE(m.DeleteOrbit(QStringLiteral("pluto")));
  EXPECT_TRUE(m.DeleteOrbit(QStringLiteral("earth")));  // the moon goes with it
  EXPECT_EQ(nullptr, m.GetOrbit(QStringLiteral("moon")));
  EXPECT_EQ(7u, m.GetOrbit(QStringLiteral("sun"))->children().size());
  EXPECT_TRUE(m.DeleteOrbit(QStringLiteral("sun")));  // a root takes its whole tree out of the map
  EXPECT_EQ(0, m.GetOrbitCount());

  m.LoadSolarSystem();
  OrbitalParameters renamed = m.GetOrbit(QStringLiteral("earth"))->orbital_parameters();
  renamed.name = QStringLiteral("terra");
  renamed.parent_name = QStringLiteral("ignored");
  m.SetOrbitalParameters(QStringLiteral("earth"), renamed);
  EXPECT_EQ(10, m.GetOrbitCount());
  EXPECT_EQ(nullptr, m.GetOrbit(QStringLiteral("earth")));
  const Orbit* terra = m.GetOrbit(QStringLiteral("terra"));
  ASSERT_NE(nullptr, terra);
  // The record is copied as given, children follow the new name; the feature keeps its first name.
  EXPECT_EQ(QStringLiteral("ignored"), terra->orbital_parameters().parent_name);
  EXPECT_EQ(QStringLiteral("earth"), terra->planet()->name());
  EXPECT_EQ(QStringLiteral("terra"), m.GetOrbit(QStringLiteral("moon"))->orbital_parameters().parent_name);

  // An unknown name leaves a null entry under the record's name: counted, but no orbit.
  m.SetOrbitalParameters(QStringLiteral("vulcan"), Body("vulcan", "sun"));
  EXPECT_EQ(11, m.GetOrbitCount());
  EXPECT_EQ(nullptr, m.GetOrbit(QStringLiteral("vulcan")));
  EXPECT_EQ(10u, Names(m).size());
  EXPECT_FALSE(m.DeleteOrbit(QStringLiteral("vulcan")));
}

TEST(OrbitManagerTest, TreeRulesKeptOnPurpose) {
  ClearedManager m;
  // A parent that isn't there yet: a root, with its parent name kept.
  m.AddOrbit(Body("moon", "earth", 0.01));
  EXPECT_EQ(nullptr, m.GetOrbit(QStringLiteral("moon"))->parent());
  m.AddOrbit(Body("sun", ""));
  m.AddOrbit(Body("earth", "mars"));  // not there: a root too
  const Orbit* lost_root = m.GetOrbit(QStringLiteral("earth"));
  m.AddOrbit(Body("earth", "sun"));   // replaces the entry; the first "earth" lives on as a root
  const Orbit* sun = m.GetOrbit(QStringLiteral("sun"));
  const Orbit* earth = m.GetOrbit(QStringLiteral("earth"));
  EXPECT_EQ(sun, earth->parent());
  m.AddOrbit(Body("earth", "sun", 2.0));  // the second "earth" stays under "sun", out of reach
  EXPECT_EQ(2u, sun->children().size());
  EXPECT_EQ(earth, sun->GetChild(QStringLiteral("earth")));  // the first in list order
  EXPECT_EQ(3, m.GetOrbitCount());
  // RemoveChild keeps the child's parent pointer and takes every equal entry; the caller owns
  // the child then.
  Orbit* mars = new (HeapManager::GetDynamicHeap()) Orbit(Body("mars", ""), nullptr);
  Orbit* phobos = new (HeapManager::GetDynamicHeap()) Orbit(Body("phobos", "mars"), mars);
  mars->AddChild(phobos);
  mars->RemoveChild(phobos);
  EXPECT_TRUE(mars->children().empty());
  EXPECT_EQ(mars, phobos->parent());
  mars->AddChild(phobos);
  mars->DeleteChild(phobos);  // or deleting mars would free phobos again
  delete mars;
  // Out of the map's reach and under no orbit of it: nothing but its owner can free it.
  EXPECT_EQ(nullptr, lost_root->parent());
  delete lost_root;
  // Clear (in the destructor) must free the older "earth" orbits exactly once each; the test main
  // and ASan check it.
}

TEST(OrbitManagerTest, ClearAfterRemoveChildFreesEachOrbitOnce) {
  // A child taken out of its parent's list but still in the map: Clear must not reach it through
  // the stale parent pointer, and must still free it.
  ClearedManager m;
  m.LoadSolarSystem();
  m.GetOrbitNonConst(QStringLiteral("sun"))->RemoveChild(m.GetOrbitNonConst(QStringLiteral("earth")));
}

}  // namespace
}  // namespace vistara::spatial
