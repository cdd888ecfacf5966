#include "util/geometry3d/bbox.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "util/geometry3d/vector.h"

namespace geometry3d {
namespace {

TEST(VectorTest, RoundingDivisionAndNormalize) {
  // Ties to even in the default mode, for float and double.
  EXPECT_EQ(Vector3<double>(0.5, 1.5, -2.5).IRound(), Vector3<int>(0, 2, -2));
  EXPECT_EQ(Vector3<float>(2.5f, 3.5f, -0.6f).IRound(), Vector3<int>(2, 4, -1));
  EXPECT_EQ(Vector2<double>(-1.5, 7.49).IRound(), Vector2<int>(-2, 7));
  const Vector3<float> n = Vector3<float>(3, 0, 4).Normalize();
  EXPECT_FLOAT_EQ(n.x, 0.6f);
  EXPECT_FLOAT_EQ(n.z, 0.8f);
  EXPECT_EQ(Vector3<float>().Normalize(), Vector3<float>());
}

TEST(BBoxTest, EmptyBoxRulesAndOperations) {
  // Nothing inside: no size, a centre of NaN (the largest int for int boxes).
  EXPECT_EQ(BBox3<int>().GetCenter(), Vector3<int>(2147483647, 2147483647, 2147483647));
  EXPECT_TRUE(std::isnan(BBox3<float>().GetCenter().x));
  // Expand and Translate leave it alone; every empty box equals every other.
  BBox3<double> bd;
  bd.Expand(1.0);
  EXPECT_TRUE(bd.IsEmpty());
  EXPECT_TRUE(bd.Translate(Vector3<double>(1, 1, 1)).IsEmpty());
  EXPECT_EQ(bd, BBox3<double>(Vector3<double>(1, 0, 0), Vector3<double>(0, 5, 5)));
  // Extending by an empty box does nothing; by a point gives that point.
  bd.ExtendToContainBBox(BBox3<double>());
  EXPECT_TRUE(bd.IsEmpty());
  bd.ExtendToContainPoint(Vector3<double>(1, 2, 3));
  EXPECT_EQ(bd, BBox3<double>(Vector3<double>(1, 2, 3), Vector3<double>(1, 2, 3)));

  using V = Vector3<double>;
  BBox3<double> a(V(0, 0, 0), V(2, 4, 6));
  BBox3<double> b(V(1, 1, 1), V(3, 3, 3));
  EXPECT_EQ(a.Union(b), BBox3<double>(V(0, 0, 0), V(3, 4, 6)));
  EXPECT_EQ(a.Intersection(b), BBox3<double>(V(1, 1, 1), V(2, 3, 3)));
  BBox3<double> far(V(5, 5, 5), V(6, 6, 6));
  EXPECT_TRUE(a.Intersection(far).IsEmpty());
  EXPECT_TRUE(a.IsOutsideBBox(far));
  EXPECT_FALSE(a.IsOutsideBBox(b));
  EXPECT_TRUE(a.ContainsPoint(V(2, 4, 6)));  // the surface is inside
  EXPECT_FALSE(a.ContainsPoint(V(2, 4, 6.01)));
  EXPECT_TRUE(a.Contains(BBox3<double>(V(0, 1, 2), V(2, 2, 2))));
  EXPECT_FALSE(a.Contains(b));
  EXPECT_EQ(a.ClosestPointInBox(V(-1, 5, 3)), V(0, 4, 3));
  BBox3<double> e = a;
  e.Expand(1);
  EXPECT_EQ(e, a.Translate(V(-1, -1, -1)).Union(a.Translate(V(1, 1, 1))));
  // Per axis: corners within tol; where one box is empty, the other's extent within 2 * tol.
  EXPECT_TRUE(a.ApproxEquals(BBox3<double>(V(0.1, -0.1, 0), V(2.1, 4, 5.9)), 0.11));
  EXPECT_FALSE(a.ApproxEquals(BBox3<double>(V(0.2, 0, 0), V(2, 4, 6)), 0.11));
  BBox3<double> flat(V(0, 0, 0), V(0.2, 4, 6));
  BBox3<double> half_empty(V(1, 0, 0), V(0, 4, 6));  // empty on x only
  EXPECT_TRUE(flat.ApproxEquals(half_empty, 0.1));
  EXPECT_FALSE(flat.ApproxEquals(half_empty, 0.09));
  BBox3<int> ib(BBox2<int>(1, 2, 3, 5), 0, 7);
  EXPECT_EQ(ib.GetCenter(), Vector3<int>(2, 3, 3));  // (1 + 3) / 2, (2 + 5) / 2, 7 / 2
  std::ostringstream os;
  os << ib;
  EXPECT_EQ(os.str(), "[(1, 2, 0)..(3, 5, 7)]");
}

}  // namespace
}  // namespace geometry3d
