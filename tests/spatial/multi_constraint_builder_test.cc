#include "spatial/multi_constraint_builder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "platform/units.h"
#include "spatial/navigation_test_util.h"
#include "spatial/wayfare_spatial_options.h"
#include "test_util.h"

namespace vistara::spatial {
namespace {

using testing::AddRecord;

constexpr double kPi = std::numbers::pi;

double SegmentDistance(const Vec2<double>& p, const Vec2<double>& a, const Vec2<double>& b) {
  const double t = std::clamp((p - a).Dot(b - a) / (b - a).LengthSquared(), 0.0, 1.0);
  return (p - (a + (b - a) * t)).Length();
}

// Corners from a right angle to 170 degrees (the widest with a fillet) and one just beyond, against the
// area drawn by hand: the corridors and, within t = 2r of the corner in the sector, all but the disc
// tangent to both corridors' edges, on the bisector t / cos(half) away, of radius t tan(half) - r. On
// the first view the fillet would still win at 170.01 degrees.
TEST(MultiConstraintBuilderTest, FilletsAgainstTheDrawnArea) {
  const double r = 12 * Units::s_inv_planet_radius;
  testing::SeededRandom rng;
  int fillet_wins = 0;
  for (const double sector_deg : {90.0, 120.0, 169.99, 170.01}) {
    const double half = sector_deg / 2 * kPi / 180;
    const Vec2<double> b(50 * r * std::sin(half), 50 * r * std::cos(half)), c(-b.x, b.y);
    PanoGraph graph;
    AddRecord(&graph, "a", 0, 0, {"b", "c"}, r);
    AddRecord(&graph, "b", b.x, b.y, {"a"}, r);
    AddRecord(&graph, "c", c.x, c.y, {"a"}, r);
    MultiConstraintBuilder m(graph);
    m.SetActivePano("a", 1, 0);
    const Vec2<double> centre(0, 2 * r / std::cos(half));
    const double rho = 2 * r * std::tan(half) - r;
    for (int i = 0; i < 2000; ++i) {
      const Vec2<double> view =
          i == 0 ? Vec2<double>(0, 1.5 * r) : Vec2<double>(rng.Double(-3, 3) * r, rng.Double(-1, 3) * r);
      m.SetView(view, 0);
      const double corridors = r - std::min(SegmentDistance(view, {0, 0}, b), SegmentDistance(view, {0, 0}, c));
      const bool in_corner =
          sector_deg < 170 && view.LengthSquared() <= 4 * r * r && std::fabs(std::atan2(view.x, view.y)) < half;
      const double fillet = (view - centre).Length() - rho;
      const double depth = m.GetCollisionDepth();
      ASSERT_NEAR(in_corner ? std::max(corridors, fillet) : corridors, depth, 1e-12 * r)
          << sector_deg << " degrees, view " << view.x / r << ", " << view.y / r;
      ASSERT_NEAR(0, (m.GetCollisionPoint() + m.GetCollisionNormal() * depth - view).Length(), 1e-12 * r)
          << "view == collision point + normal * depth";
      fillet_wins += in_corner && fillet > corridors;
    }
  }
  EXPECT_GT(fillet_wins, 100);
}

// The correction on a link due north, worked out by hand in degrees: the difference to the nearer
// direction, clamped to the smooth step between the rates, under settings walk.cases can't change.
TEST(MultiConstraintBuilderTest, HeadingRestoreSmoothStep) {
  PanoGraph graph;
  AddRecord(&graph, "a", 0, 0, {"b"}, 1.0);
  AddRecord(&graph, "b", 0, 10, {}, 1.0);
  MultiConstraintBuilder m(graph);
  m.SetActivePano("b", 1, 0);  // the link is met first from a: it runs north
  WayfareSpatialOptions& options = WayfareSpatialOptions::s_settings_;
  FloatSetting* settings[] = {&options.angleOfMinCorrection, &options.angleOfMaxCorrection,
                              &options.minAngularCorrectionPerSec, &options.maxAngularCorrectionPerSec};
  const struct {
    float values[4];  // the two angles, then the two rates: degrees, degrees per second
    double heading, expected;
  } rows[] = {
      {{35, 5, 2, 90}, 90, -2},           // exactly a right angle: no flip, the sign stays
      {{60, 20, 10, 30}, 50, -13.125},    // f = 1/4, s = 5/32
      {{20, 20, 10, 30}, 15, -10},        // equal angles: f is minus infinite, the minimum rate
      {{20, 20, 10, 30}, 20, -20},        // or no number at exactly that angle: no clamp
  };
  for (FloatSetting* s : settings) s->PushSetting();
  for (const auto& row : rows) {
    for (int i = 0; i < 4; ++i) *settings[i] = row.values[i];
    m.SetView({0, 1}, row.heading * kPi / 180);
    EXPECT_NEAR(row.expected * kPi / 180, m.CalculateHeadingRestoreDelta(), 1e-14) << "heading " << row.heading;
  }
  for (FloatSetting* s : settings) s->PopSetting();
}

}  // namespace
}  // namespace vistara::spatial
