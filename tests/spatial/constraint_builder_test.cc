#include "spatial/constraint_builder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "spatial/navigation_test_util.h"
#include "test_util.h"

namespace vistara::spatial {
namespace {

using testing::AddRecord;
using testing::LinkBetween;

constexpr double kMax = std::numeric_limits<double>::max();

// The nearest point of a segment found the textbook way (parameter of the foot, clamped), as the
// shadow of the builder's projection; and the depth relation that holds for every scale and offset.
TEST(ConstraintBuilderTest, RandomLinksAndViewsAgainstTheTextbookProjection) {
  testing::SeededRandom rng;
  for (int i = 0; i < 500; ++i) {
    PanoGraph graph;
    const Vec2<double> a(rng.Double(-1e-3, 1e-3), rng.Double(-1e-3, 1e-3));
    const Vec2<double> b = a + Vec2<double>(rng.Double(-1e-4, 1e-4), rng.Double(-1e-4, 1e-4));
    const double wa = rng.Double(1e-7, 5e-6), wb = rng.Double(1e-7, 5e-6);
    AddRecord(&graph, "a", a.x, a.y, {"b"}, 0, wa);
    AddRecord(&graph, "b", b.x, b.y, {}, 0, wb);
    ConstraintBuilder builder(&graph);
    const Vec2<double> view = a + Vec2<double>(rng.Double(-2e-4, 2e-4), rng.Double(-2e-4, 2e-4));
    builder.set_view(view);
    builder.SetLink(LinkBetween(graph, "a", "b"));
    ASSERT_TRUE(builder.geometry_valid());

    const Vec2<double> ab = b - a;
    const double t = (view - a).Dot(ab) / ab.LengthSquared();
    const double tc = std::clamp(t, 0.0, 1.0);
    const Vec2<double> foot = a + ab * tc;
    ASSERT_NEAR(t, builder.fraction(), 1e-9);
    ASSERT_NEAR(0, (foot - builder.closest_point()).Length(), 1e-15);
    ASSERT_NEAR((view - foot).Length(), builder.distance(), 1e-15);
    ASSERT_NEAR(wa + (wb - wa) * tc, builder.width(), 1e-15);
    ASSERT_NEAR(builder.width() - builder.distance(), builder.GetCollisionDepth(), 1e-15);

    const double scale = rng.Double(0.5, 2), offset = rng.Double(-1e-6, 1e-6);
    const double depth = builder.GetCollisionDepth(scale, offset);
    const Vec2<double> point = builder.GetCollisionPoint(scale, offset);
    ASSERT_NEAR(offset + scale * builder.width() - builder.distance(), depth, 1e-15);
    const Vec2<double> rebuilt = point + builder.normal() * depth;
    ASSERT_NEAR(view.x, rebuilt.x, 1e-15) << "view == collision point + normal * depth";
    ASSERT_NEAR(view.y, rebuilt.y, 1e-15);
    ASSERT_NEAR(1, builder.normal().Length(), 1e-12);
  }
}

TEST(ConstraintBuilderTest, EndsOnTheLinkAndBothDirections) {
  PanoGraph graph;
  AddRecord(&graph, "a", 0, 0, {"b"}, 0, 1.0);
  AddRecord(&graph, "b", 10, 0, {}, 0, 3.0);
  ConstraintBuilder builder(&graph);

  // Beyond the end: the end is the closest point with its own width, the fraction above 1.
  builder.set_view({12, 4});
  builder.SetLink(LinkBetween(graph, "a", "b"));
  EXPECT_EQ(Vec2<double>(10, 0), builder.closest_point());
  EXPECT_EQ(1.2, builder.fraction());
  EXPECT_EQ(3.0, builder.width());
  EXPECT_DOUBLE_EQ(-2 / std::sqrt(20.0), builder.normal().x);
  EXPECT_DOUBLE_EQ(-4 / std::sqrt(20.0), builder.normal().y);

  // Before the start: a negative fraction.
  builder.set_view({-5, 1});
  builder.OnUpdate();
  EXPECT_EQ(Vec2<double>(0, 0), builder.closest_point());
  EXPECT_EQ(-0.5, builder.fraction());
  EXPECT_EQ(1.0, builder.width());

  // A quarter of the way along: a quarter of the way from one width to the other.
  builder.set_view({2.5, -2});
  builder.OnUpdate();
  EXPECT_EQ(1.5, builder.width());
  EXPECT_EQ(2.0, builder.distance());
  EXPECT_EQ(Vec2<double>(0, 1), builder.normal());
  EXPECT_EQ(Vec2<double>(2.5, -1.5), builder.GetCollisionPoint());
  EXPECT_EQ(-0.5, builder.GetCollisionDepth());

  // On the link: no normal, so the collision point is the closest point whatever the width.
  builder.set_view({5, 0});
  builder.OnUpdate();
  EXPECT_EQ(0.0, builder.distance());
  EXPECT_EQ(Vec2<double>(0, 0), builder.normal());
  EXPECT_EQ(Vec2<double>(5, 0), builder.GetCollisionPoint(3, 7));
  EXPECT_EQ(2.0, builder.GetCollisionDepth());

  // The same link from the other end is held already: nothing changes, not even the direction.
  builder.SetLink(LinkBetween(graph, "b", "a"));
  EXPECT_EQ(Vec2<double>(0, 0), builder.start());
  EXPECT_EQ(Vec2<double>(1, 0), builder.direction());

  // A copy lives on its own.
  ConstraintBuilder copy = builder;
  copy.set_view({5, 1});
  copy.OnUpdate();
  EXPECT_EQ(1.0, copy.distance());
  EXPECT_EQ(0.0, builder.distance());
}

TEST(ConstraintBuilderTest, MissingRecordAndZeroLength) {
  PanoGraph graph;
  AddRecord(&graph, "a", 0, 0, {"b", "c"});
  ConstraintBuilder builder(&graph);
  EXPECT_EQ(kMax, builder.GetCollisionDepth()) << "no link yet";
  builder.set_view({1, 1});
  builder.SetLink(LinkBetween(graph, "a", "b"));
  EXPECT_TRUE(builder.has_link());
  EXPECT_FALSE(builder.geometry_valid());
  EXPECT_EQ(kMax, builder.GetCollisionDepth());
  EXPECT_EQ(kMax, builder.GetCollisionDepth(2, 1));
  EXPECT_EQ(Vec2<double>(0, 0), builder.closest_point());

  // The far record arrives: the next update brings the builder to life.
  AddRecord(&graph, "b", 2, 0);
  builder.OnUpdate();
  ASSERT_TRUE(builder.geometry_valid());
  EXPECT_EQ(Vec2<double>(1, 0), builder.closest_point());
  EXPECT_EQ(0.5, builder.fraction());

  // A link of length 0: no fraction, no width, the start as closest point, a depth that is no
  // number.
  AddRecord(&graph, "c", 0, 0);
  ConstraintBuilder zero(&graph);
  zero.set_view({0, 3});
  zero.SetLink(LinkBetween(graph, "a", "c"));
  ASSERT_TRUE(zero.geometry_valid());
  EXPECT_EQ(0.0, zero.length());
  EXPECT_EQ(Vec2<double>(0, 0), zero.direction());
  EXPECT_TRUE(std::isnan(zero.fraction()));
  EXPECT_TRUE(std::isnan(zero.width()));
  EXPECT_EQ(Vec2<double>(0, 0), zero.closest_point());
  EXPECT_EQ(3.0, zero.distance());
  EXPECT_TRUE(std::isnan(zero.GetCollisionDepth(1, 1)));
}

}  // namespace
}  // namespace vistara::spatial
