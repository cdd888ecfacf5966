#include "spatial/constraint_builder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "spatial/navigation_test_util.h"
#include "test_util.h"

namespace vistara::spatial {
namespace {

// The nearest point of the link the textbook way (the foot's parameter, clamped), views before, along
// and beyond it: the collision point is where the stretched corridor's edge faces the viewer, the depth
// the viewer's distance inside it. A link of length 0 has no direction: its depth is no number.
TEST(ConstraintBuilderTest, RandomLinksAndViewsAgainstTheTextbookProjection) {
  testing::SeededRandom rng;
  for (int i = 0; i < 500; ++i) {
    PanoGraph graph;
    const Vec2<double> a(rng.Double(-1e-3, 1e-3), rng.Double(-1e-3, 1e-3));
    const Vec2<double> b = i % 50 ? a + Vec2<double>(rng.Double(-1e-4, 1e-4), rng.Double(-1e-4, 1e-4)) : a;
    const double wa = rng.Double(1e-7, 5e-6), wb = rng.Double(1e-7, 5e-6);
    testing::AddRecord(&graph, "a", a.x, a.y, {"b"}, wa);
    testing::AddRecord(&graph, "b", b.x, b.y, {}, wb);
    const Vec2<double> view = a + Vec2<double>(rng.Double(-2e-4, 2e-4), rng.Double(-2e-4, 2e-4));
    mmvector<PanoGraph::link> links;
    graph.GetLinks("a", &links);
    ConstraintBuilder builder(&graph);
    builder.set_view(view);
    builder.SetLink(links.at(0));
    const double scale = rng.Double(0.5, 2), offset = rng.Double(-1e-6, 1e-6);
    if (a == b) {
      ASSERT_EQ(a, builder.closest_point());
      ASSERT_TRUE(std::isnan(builder.GetCollisionDepth(scale, offset)));
      continue;
    }
    const double t = std::clamp((view - a).Dot(b - a) / (b - a).LengthSquared(), 0.0, 1.0);
    const Vec2<double> foot = a + (b - a) * t;
    const double width = wa + (wb - wa) * t, distance = (view - foot).Length();
    const Vec2<double> edge = foot + (view - foot) * ((scale * width + offset) / distance);
    ASSERT_NEAR(0, (edge - builder.GetCollisionPoint(scale, offset)).Length(), 1e-15);
    ASSERT_NEAR(offset + scale * width - distance, builder.GetCollisionDepth(scale, offset), 1e-15);
  }
}

}  // namespace
}  // namespace vistara::spatial
