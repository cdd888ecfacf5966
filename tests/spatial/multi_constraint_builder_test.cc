#include "spatial/multi_constraint_builder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <set>

#include "platform/geo.h"
#include "platform/units.h"
#include "spatial/navigation_test_util.h"
#include "spatial/wayfare_spatial_options.h"
#include "test_util.h"

namespace vistara::spatial {
namespace {

using testing::AddRecord;

constexpr double kMax = std::numeric_limits<double>::max();
constexpr double kPi = std::numbers::pi;
constexpr double kDeg = kPi / 180;

double SegmentDistance(const Vec2<double>& p, const Vec2<double>& a, const Vec2<double>& b) {
  const Vec2<double> ab = b - a;
  const double t = std::clamp((p - a).Dot(ab) / ab.LengthSquared(), 0.0, 1.0);
  return (p - (a + ab * t)).Length();
}

void ExpectViewRebuilt(const MultiConstraintBuilder& m, const Vec2<double>& view) {
  const Vec2<double> rebuilt = m.GetCollisionPoint() + m.GetCollisionNormal() * m.GetCollisionDepth();
  EXPECT_NEAR(view.x, rebuilt.x, 1e-12) << "view == collision point + normal * depth";
  EXPECT_NEAR(view.y, rebuilt.y, 1e-12);
}

TEST(MultiConstraintBuilderTest, ActivationAndTheLargestDepth) {
  PanoGraph graph;
  AddRecord(&graph, "lone", 5, 5);
  AddRecord(&graph, "a", 0, 0, {"b", "c"}, 0, 1.0);
  AddRecord(&graph, "b", 0, 10, {"a"}, 0, 1.0);
  AddRecord(&graph, "c", 10, 0, {"a", "d"}, 0, 1.0);  // d has not arrived
  MultiConstraintBuilder m(graph);

  // Nothing active: the view is stored, the collision fields stay as built.
  m.SetView({3, 4}, 0.5);
  EXPECT_EQ(Vec2<double>(3, 4), m.position());
  EXPECT_EQ(0.5, m.heading());
  EXPECT_EQ(0.0, m.GetCollisionDepth());
  EXPECT_TRUE(m.GetBestPano().isNull());

  // No link at all: no constraint applies.
  m.SetActivePano("lone", 1, 0);
  EXPECT_EQ(kMax, m.GetCollisionDepth());
  EXPECT_EQ(nullptr, m.active_constraint());

  // Links within two of a: a-b, a-c and c-d, whose far record is missing and takes no part. The
  // viewer at (3, 4) is 3 from a-b and 4 from a-c: a-b wins with 1 + 1 - 3.
  m.SetActivePano("a", 1, 1);
  EXPECT_EQ(3u, m.constraints().size());
  EXPECT_EQ(-1.0, m.GetCollisionDepth());
  EXPECT_EQ(Vec2<double>(-1, 0), m.GetCollisionNormal());
  EXPECT_EQ(Vec2<double>(2, 4), m.GetCollisionPoint());
  EXPECT_EQ(Vec2<double>(0, 4), m.CalculateClosestPositionOnLink());
  EXPECT_EQ("a", m.GetBestPano()) << "4 from a, 6 from b";
  m.SetView({3, 6}, 0.5);
  EXPECT_EQ("b", m.GetBestPano());
  // a-b was first met from b (a's neighbours come before a): its target is a, which wins a tie.
  m.SetView({3, 5}, 0.5);
  EXPECT_EQ("a", m.GetBestPano()) << "a tie goes to the link's target";

  // The same id with other widths changes nothing.
  m.SetActivePano("a", 5, 5);
  EXPECT_EQ(1.0, m.width_scale());
  EXPECT_EQ(-1.0, m.GetCollisionDepth());

  // Equal depths: the first builder in order stays. Both links are 4 away.
  m.SetView({4, 4}, 0);
  const ConstraintBuilder* winner = m.active_constraint();
  ASSERT_NE(nullptr, winner);
  for (const ConstraintBuilder* c : m.constraints()) {
    if (c->geometry_valid() && c->GetCollisionDepth(1, 1) == -2.0) {
      EXPECT_EQ(c, winner);
      break;
    }
  }

  // A builder whose far record was missing comes to life when it arrives.
  AddRecord(&graph, "d", 20, 0, {"c"}, 0, 1.0);
  m.SetView({20, 1}, 0);
  EXPECT_EQ(1.0, m.GetCollisionDepth());
  EXPECT_EQ("d", m.GetBestPano());

  // Only neighbours whose record is missing: no constraint applies.
  AddRecord(&graph, "e", 30, 30, {"f"});
  m.SetActivePano("e", 1, 0);
  EXPECT_EQ(1u, m.constraints().size());
  EXPECT_EQ(kMax, m.GetCollisionDepth());
  EXPECT_EQ(0.0, m.CalculateHeadingRestoreDelta());
}

// A right-angle corner: a with b to the north and c to the east, half-width r, the default fillet
// multiplier 2. Every view near the corner is checked against the allowed area drawn independently:
// the two corridors, plus the quarter square within t = 2r of the corner, less the disc of radius r
// centred at (2r, 2r).
TEST(MultiConstraintBuilderTest, RightAngleFilletAgainstTheDrawnArea) {
  const double r = 12 * Units::s_inv_planet_radius;
  PanoGraph graph;
  AddRecord(&graph, "a", 0, 0, {"b", "c"}, 0, r);
  AddRecord(&graph, "b", 0, 50 * r, {"a"}, 0, r);
  AddRecord(&graph, "c", 50 * r, 0, {"a"}, 0, r);
  MultiConstraintBuilder m(graph);
  m.SetActivePano("a", 1, 0);

  // Inside the corner, outside both corridors, within t of the corner and outside the disc.
  m.SetView({1.2 * r, 1.2 * r}, 0);
  EXPECT_NEAR((0.8 * std::sqrt(2.0) - 1) * r, m.GetCollisionDepth(), 1e-18);
  EXPECT_NEAR(-std::sqrt(0.5), m.GetCollisionNormal().x, 1e-12);
  EXPECT_NEAR((2 - std::sqrt(0.5)) * r, m.GetCollisionPoint().x, 1e-18);
  ExpectViewRebuilt(m, {1.2 * r, 1.2 * r});
  EXPECT_EQ("a", m.GetBestPano()) << "the fillet leaves the winning link alone";

  testing::SeededRandom rng;
  int fillet_wins = 0;
  for (int i = 0; i < 4000; ++i) {
    const Vec2<double> view(rng.Double(-3 * r, 3 * r), rng.Double(-3 * r, 3 * r));
    m.SetView(view, 0);
    const double corridors = r - std::min(SegmentDistance(view, {0, 0}, {0, 50 * r}),
                                          SegmentDistance(view, {0, 0}, {50 * r, 0}));
    const bool in_corner = view.x > 0 && view.y > 0 && view.LengthSquared() <= 4 * r * r;
    const double fillet = (view - Vec2<double>(2 * r, 2 * r)).Length() - r;
    const double expected = in_corner ? std::max(corridors, fillet) : corridors;
    ASSERT_NEAR(expected, m.GetCollisionDepth(), 1e-12 * r) << view.x / r << ", " << view.y / r;
    ExpectViewRebuilt(m, view);
    fillet_wins += in_corner && fillet > corridors;
  }
  EXPECT_GT(fillet_wins, 50);

  // Disabled, the corridors alone decide.
  m.set_fillets_enabled(false);
  m.SetView({1.2 * r, 1.2 * r}, 0);
  EXPECT_NEAR(-0.2 * r, m.GetCollisionDepth(), 1e-18);
}

// The widest sector that takes a fillet is 170 degrees; the fillet then still beats the corridors
// near the corner.
TEST(MultiConstraintBuilderTest, SectorLimitAndCornersWithoutFillet) {
  const double r = 1.0;
  for (const double sector_deg : {169.99, 170.01}) {
    PanoGraph graph;
    const double half = sector_deg / 2 * kDeg;
    AddRecord(&graph, "a", 0, 0, {"b", "c"}, 0, r);
    AddRecord(&graph, "b", 50 * std::sin(half), 50 * std::cos(half), {"a"}, 0, r);
    AddRecord(&graph, "c", -50 * std::sin(half), 50 * std::cos(half), {"a"}, 0, r);
    MultiConstraintBuilder m(graph);
    m.SetActivePano("a", 1, 0);
    m.SetView({0, 1.5}, 0);
    const double corridor = r - 1.5 * std::sin(half);
    if (sector_deg < 170) {
      // The disc's centre lies on the bisector, t / cos(half) from the corner, its radius
      // t tan(half) - r, with t = 2r.
      const double fillet = (2 * r / std::cos(half) - 1.5) - (2 * r * std::tan(half) - r);
      ASSERT_GT(fillet, corridor + 0.05);
      EXPECT_NEAR(fillet, m.GetCollisionDepth(), 1e-9);
    } else {
      EXPECT_NEAR(corridor, m.GetCollisionDepth(), 1e-12);
    }
  }

  // Two neighbours in one direction share a heading key: one link for the map, so no corner.
  // A viewer exactly on the panorama takes the bearing east.
  PanoGraph graph;
  AddRecord(&graph, "a", 0, 0, {"b", "c"}, 0, r);
  AddRecord(&graph, "b", 0, 10, {"a"}, 0, r);
  AddRecord(&graph, "c", 0, 20, {"a"}, 0, r);
  MultiConstraintBuilder m(graph);
  m.SetActivePano("a", 1, 0);
  QString first, second;
  m.GetNearestAngleLinks(graph.GetPanoramaData("a"), &first, &second);
  EXPECT_EQ("c", first) << "the later id keeps the key";
  EXPECT_EQ(first, second);
  m.SetView({0.5, -0.5}, 0);
  EXPECT_NEAR(r - std::sqrt(0.5), m.GetCollisionDepth(), 1e-12) << "corridor only";

  // On the panorama, bearing pi/2: between north (0) and south (pi), clockwise.
  AddRecord(&graph, "x", 100, 100, {"n", "s", "w"});
  AddRecord(&graph, "n", 100, 110);
  AddRecord(&graph, "s", 100, 90);
  AddRecord(&graph, "w", 90, 100);
  m.SetView({100, 100}, 0);
  m.GetNearestAngleLinks(graph.GetPanoramaData("x"), &first, &second);
  EXPECT_EQ("n", first);
  EXPECT_EQ("s", second);
}

// The correction against the smooth step written in degrees, with the default settings and with
// both pairs changed.
TEST(MultiConstraintBuilderTest, HeadingRestoreSmoothStep) {
  PanoGraph graph;
  AddRecord(&graph, "a", 0, 0, {"b"}, 0, 1.0);
  AddRecord(&graph, "b", 0, 10, {}, 0, 1.0);
  MultiConstraintBuilder m(graph);
  // Activated at b, the link is met first from a: it runs due north.
  m.SetActivePano("b", 1, 0);
  WayfareSpatialOptions& options = WayfareSpatialOptions::s_settings_;

  auto expected = [&](double heading_deg) {
    double delta = -heading_deg;
    delta -= 360 * std::round(delta / 360);
    if (std::fabs(delta) > 90) delta += delta > 0 ? -180 : 180;
    const double lo = options.angleOfMinCorrection, hi = options.angleOfMaxCorrection;
    const double f = std::clamp((std::fabs(delta) - lo) / (hi - lo), 0.0, 1.0);
    const double s = f * f * (3 - 2 * f);
    const double limit = options.minAngularCorrectionPerSec + (options.maxAngularCorrectionPerSec -
                                                               options.minAngularCorrectionPerSec) * s;
    return std::clamp(delta, -limit, limit) * kDeg;
  };
  auto check_range = [&] {
    for (double h = -400; h <= 400; h += 0.75) {
      if (std::fabs(std::remainder(h, 90)) < 1e-9) continue;  // the right angle is checked alone
      m.SetView({0, 1}, h * kDeg);
      ASSERT_NEAR(expected(h), m.CalculateHeadingRestoreDelta(), 1e-12) << "heading " << h;
    }
  };
  check_range();
  // Looking along the road is snapped at up to 90 degrees a second; far aside, 2.
  m.SetView({0, 1}, 3 * kDeg);
  EXPECT_NEAR(-3 * kDeg, m.CalculateHeadingRestoreDelta(), 1e-15);
  m.SetView({0, 1}, 120 * kDeg);
  EXPECT_NEAR(2 * kDeg, m.CalculateHeadingRestoreDelta(), 1e-15) << "towards south, the nearer direction";
  // Exactly a right angle off: no flip, the sign stays.
  m.SetView({0, 1}, kPi / 2);
  EXPECT_NEAR(-2 * kDeg, m.CalculateHeadingRestoreDelta(), 1e-15);

  options.angleOfMinCorrection.PushSetting();
  options.angleOfMaxCorrection.PushSetting();
  options.minAngularCorrectionPerSec.PushSetting();
  options.maxAngularCorrectionPerSec.PushSetting();
  options.angleOfMinCorrection = 60.0f;
  options.angleOfMaxCorrection = 20.0f;
  options.minAngularCorrectionPerSec = 10.0f;
  options.maxAngularCorrectionPerSec = 30.0f;
  check_range();
  // Equal angles: f is infinite beyond them (the maximum rate) and below them (the minimum); at
  // exactly that angle it is no number, and the correction comes back unclamped.
  options.angleOfMinCorrection = 20.0f;
  m.SetView({0, 1}, 50 * kDeg);
  EXPECT_NEAR(-30 * kDeg, m.CalculateHeadingRestoreDelta(), 1e-15);
  m.SetView({0, 1}, 15 * kDeg);
  EXPECT_NEAR(-10 * kDeg, m.CalculateHeadingRestoreDelta(), 1e-15);
  m.SetView({0, 1}, 20.0 * kPi / 180);
  EXPECT_EQ(-20.0 * kPi / 180, m.CalculateHeadingRestoreDelta());
  for (Setting* s : std::initializer_list<Setting*>{&options.angleOfMinCorrection, &options.angleOfMaxCorrection,
                                                    &options.minAngularCorrectionPerSec,
                                                    &options.maxAngularCorrectionPerSec}) {
    s->PopSetting();
  }
}

// Down a West Oakland street with a heading that drifts: each step moves 1.5 m along the heading,
// turns by the drift and by the correction, is pulled back to the collision point when it left the
// area, and steps to the best panorama. The viewer must stay inside and walk the street's chain.
TEST(MultiConstraintBuilderTest, WalkDownARealStreet) {
  PanoGraph graph;
  testing::AddWestOakland(&graph);
  const auto panoramas = testing::WestOaklandPanoramas();
  // The start: a panorama with two links, on the street with the most panoramas.
  std::vector<int> per_street(panoramas->streets().size());
  for (size_t i = 0; i < panoramas->size(); ++i) ++per_street[panoramas->panorama(i).street];
  const uint32_t street =
      static_cast<uint32_t>(std::max_element(per_street.begin(), per_street.end()) - per_street.begin());
  size_t start = 0;
  while (panoramas->panorama(start).street != street || panoramas->panorama(start).links.size() != 2) ++start;
  const auto& p0 = panoramas->panorama(start);

  testing::SeededRandom rng;
  const double metre_y = 1 / (Units::kPlanetRadiusMeters * kPi);  // latitude units per metre
  const double metre_x = metre_y / std::cos(p0.lat * kDeg);
  MultiConstraintBuilder m(graph);
  Vec2<double> view(p0.lon / 180, p0.lat / 180);
  double heading = p0.yaw_deg * kDeg;
  m.SetActivePano(QString::fromStdString(p0.id), 1, 0);
  m.SetView(view, heading);
  std::vector<QString> visited{m.active_pano_id()};
  for (int step = 0; step < 200; ++step) {
    view = view + Vec2<double>(std::sin(heading) * metre_x, std::cos(heading) * metre_y) * 1.5;
    heading += rng.Double(-2, 4) * kDeg + m.CalculateHeadingRestoreDelta() * 0.1;
    m.SetView(view, heading);
    ASSERT_NE(kMax, m.GetCollisionDepth());
    if (m.GetCollisionDepth() < 0) {
      view = m.GetCollisionPoint();
      m.SetView(view, heading);
    }
    ASSERT_GE(m.GetCollisionDepth(), -1e-15) << "step " << step;
    // The winning link may be one of a neighbour's, so the best panorama is within two links.
    const QString best = m.GetBestPano();
    if (best != m.active_pano_id()) {
      mmvector<PanoGraph::ConnectedPanoInfo> near;
      graph.GetConnectedPanos(m.active_pano_id(), 2, false, &near);
      ASSERT_TRUE(std::any_of(near.begin(), near.end(), [&](const auto& c) { return c.id == best; }))
          << "steps go along links";
      m.SetActivePano(best, 1, 0);
      visited.push_back(best);
    }
  }
  EXPECT_GE(visited.size(), 10u) << "300 m pass many panoramas 10 m apart";
}

}  // namespace
}  // namespace vistara::spatial
