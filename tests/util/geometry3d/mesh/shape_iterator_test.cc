#include "util/geometry3d/mesh/shape_iterator.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "test_util.h"

namespace geometry3d {
namespace {

using vistara::testing::ScopedLogCapture;

IndexSet MakeSet(int format, std::vector<int> points) {
  IndexSet set;
  set.set_format(format);
  *set.mutable_point_indices() = std::move(points);
  return set;
}

// Every triangle as "i0,i1,i2" positions.
std::vector<std::string> Triangles(const IndexSet& set) {
  std::vector<std::string> out;
  for (ShapeTriangleIterator it(&set); !it.Done(); it.Next()) {
    out.push_back(std::to_string(it.GetIndex(0)) + "," + std::to_string(it.GetIndex(1)) + "," +
                  std::to_string(it.GetIndex(2)));
  }
  return out;
}

using Strings = std::vector<std::string>;

TEST(ShapeTriangleIteratorTest, Walks) {
  EXPECT_EQ(Triangles(MakeSet(IndexSet::kTriangles, {0, 1, 2, 3, 4, 5})), (Strings{"0,1,2", "3,4,5"}));
  EXPECT_EQ(Triangles(MakeSet(IndexSet::kQuads, {0, 1, 2, 3, 4, 5, 6, 7})),
            (Strings{"0,1,2", "0,2,3", "4,5,6", "4,6,7"}));
  EXPECT_EQ(Triangles(MakeSet(IndexSet::kTriangleStrip, {0, 1, 2, 3, 4, -1, 6, 7, 8})),
            (Strings{"0,1,2", "2,1,3", "2,3,4", "6,7,8"}));
  EXPECT_EQ(Triangles(MakeSet(IndexSet::kTriangleFan, {0, 1, 2, 3, -1, 5, 6, 7})),
            (Strings{"0,1,2", "0,2,3", "5,6,7"}));
  EXPECT_EQ(Triangles(MakeSet(IndexSet::kPolygon, {0, 1, 2, 3, 4})), (Strings{"0,1,2", "0,2,3", "0,3,4"}));
  // Lines are degenerate triangles; the step to 4,5,4 ends the walk.
  EXPECT_EQ(Triangles(MakeSet(IndexSet::kLines, {0, 1, 2, 3})), (Strings{"0,1,0", "2,3,2"}));

  ScopedLogCapture capture;
  IndexSet odd = MakeSet(9, {0, 1, 2, 3});
  ShapeTriangleIterator it(&odd);
  EXPECT_FALSE(it.Done());
  EXPECT_TRUE(it.Next());
  EXPECT_TRUE(it.Done());
  EXPECT_FALSE(it.Next());
  EXPECT_EQ(capture.texts(), Strings{"Unknown Format."});
  EXPECT_EQ(capture.reports()[0].severity, 2);
}

TEST(ShapePrimitiveIteratorTest, WalksSeeksAndRotation) {
  // A strip of 4 and 3 corners. Without Seek the rotation counts from position 0, so the second
  // primitive (5..7) starts at corner (0 - 5) mod 3 = 1: position 6.
  IndexSet strip = MakeSet(IndexSet::kTriangleStrip, {10, 11, 12, 13, -1, 14, 15, 16});
  ShapePrimitiveIterator it(&strip);
  EXPECT_EQ(it.GetSize(), 4);
  EXPECT_EQ(it.GetPointIndex(0), 10);
  EXPECT_TRUE(it.Next());
  EXPECT_EQ(it.GetSize(), 3);
  EXPECT_EQ(it.GetIndex(0), 6);
  EXPECT_EQ(it.GetPointIndex(2), 14);
  EXPECT_TRUE(it.Next());  // true at the end as well
  EXPECT_TRUE(it.Done());
  EXPECT_FALSE(it.Next());
  // Seek back into the first primitive: it is found by walking back to the delimiter.
  it.Seek(2);
  EXPECT_EQ(it.GetSize(), 4);
  EXPECT_EQ(it.GetPointIndex(0), 12);
  EXPECT_EQ(it.GetPointIndex(3), 11);
  it.Seek(7);
  EXPECT_EQ(it.GetIndex(0), 7);
  EXPECT_EQ(it.GetIndex(1), 5);

  // Seek(5) on quads selects 4..7 with corner 0 at 5 and corner 3 at 4; seeking inside the
  // present primitive keeps it.
  IndexSet quads = MakeSet(IndexSet::kQuads, {0, 1, 2, 3, 4, 5, 6, 7});
  ShapePrimitiveIterator q(&quads);
  q.Seek(5);
  EXPECT_EQ(q.GetIndex(0), 5);
  EXPECT_EQ(q.GetIndex(3), 4);
  q.Seek(7);
  EXPECT_EQ(q.GetIndex(0), 7);
  EXPECT_EQ(q.GetIndex(1), 4);
  EXPECT_EQ(q.GetSize(), 4);
  EXPECT_TRUE(q.Next());
  EXPECT_TRUE(q.Done());

  ScopedLogCapture capture;
  q.Seek(8);
  IndexSet odd = MakeSet(7, {0, 1});
  ShapePrimitiveIterator u(&odd);
  EXPECT_TRUE(u.Done());
  EXPECT_EQ(capture.texts(),
            (Strings{"Check failed: first >= 0 && first < index_set_->point_indices().size()", "Unknown Format."}));
}

}  // namespace
}  // namespace geometry3d
