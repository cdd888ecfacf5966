#include "util/geometry3d/mesh/building_z_shape.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

#include "test_util.h"
#include "util/geometry3d/mesh/building_z.h"

namespace geometry3d {
namespace {

using vistara::testing::ScopedLogCapture;

// A counter-clockwise contour appended to `polygon`.
void AddContour(PolygonZ* polygon, const std::vector<Vector2<double>>& contour) {
  polygon->mutable_points()->insert(polygon->mutable_points()->end(), contour.begin(), contour.end());
  polygon->mutable_contour_sizes()->push_back(static_cast<int>(contour.size()));
}

PolygonZ* AddUnitSquare(BuildingZ* building) {
  PolygonZ* p = building->AddNewPolygon();
  AddContour(p, {{0, 0}, {1, 0}, {1, 1}, {0, 1}});
  *p->mutable_triangle_indices() = {0, 1, 2, 0, 2, 3};
  p->set_z(2);
  return p;
}

// A regular polygon of n corners and radius r round the origin, counter-clockwise unless cw.
std::vector<Vector2<double>> Regular(int n, double r, bool cw = false) {
  std::vector<Vector2<double>> out;
  for (int i = 0; i < n; ++i) {
    const double a = (cw ? -1 : 1) * 2 * M_PI * i / n;
    out.push_back({r * std::cos(a), r * std::sin(a)});
  }
  return out;
}

// A fan tessellation of the first `n` points: enough for the extrusion, which doesn't check it.
std::vector<int> Fan(int n) {
  std::vector<int> t;
  for (int i = 1; i + 1 < n; ++i) t.insert(t.end(), {0, i, i + 1});
  return t;
}

TEST(BuildingZShapeTest, UnitSquareWithDefaults) {
  BuildingZ building;
  AddUnitSquare(&building);
  Shape shape;
  ASSERT_TRUE(BuildingZShape::CreateShapeWithDefaults(building, &shape));

  ASSERT_EQ(shape.points().size(), 8u);
  EXPECT_EQ(shape.points()[2], Vector3<double>(1, 1, 2));  // top ring at z
  EXPECT_EQ(shape.points()[6], Vector3<double>(1, 1, 0));  // bottom ring at the base
  // Every corner is square: a crease, so one flat normal per wall.
  EXPECT_EQ(shape.normals(), (std::vector<Vector3<float>>{{0, 0, 1}, {0, -1, 0}, {1, 0, 0}, {0, 1, 0}, {-1, 0, 0}}));
  ASSERT_EQ(shape.materials().size(), 2u);

  // Roof, then each wall: top i, bottom i, bottom i + 1, top i, bottom i + 1, top i + 1.
  ASSERT_EQ(shape.index_sets().size(), 2u);
  const IndexSet& faces = *shape.index_sets()[0];
  EXPECT_EQ(faces.material_index(), 0);
  EXPECT_EQ(faces.point_indices(), (std::vector<int>{0, 1, 2, 0, 2, 3, 0, 4, 5, 0, 5, 1, 1, 5, 6,
                                                     1, 6, 2, 2, 6, 7, 2, 7, 3, 3, 7, 4, 3, 4, 0}));
  EXPECT_EQ(faces.normal_indices(), (std::vector<int>{0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 2, 2, 2,
                                                      2, 2, 2, 3, 3, 3, 3, 3, 3, 4, 4, 4, 4, 4, 4}));
  const IndexSet& lines = *shape.index_sets()[1];
  EXPECT_EQ(lines.format(), IndexSet::kLines);
  EXPECT_EQ(lines.material_index(), 1);
  ASSERT_EQ(lines.point_indices().size(), 24u);
  EXPECT_EQ(std::vector<int>(lines.point_indices().begin(), lines.point_indices().begin() + 6),
            (std::vector<int>{0, 1, 4, 5, 0, 4}));
  std::string error;
  EXPECT_TRUE(shape.Validate(&error)) << error;
}

TEST(BuildingZShapeTest, SmoothRunsAndCreases) {
  // A 20-gon: neighbouring walls at a dot product of about 0.95, no crease. Two normals from the
  // first wall, one from each of the next eighteen, none from the last: its end reuses the first.
  BuildingZ round;
  PolygonZ* p = round.AddNewPolygon();
  AddContour(p, Regular(20, 5));
  *p->mutable_triangle_indices() = Fan(20);
  p->set_z(3);
  Shape shape;
  ASSERT_TRUE(BuildingZShape::CreateShapeWithDefaults(round, &shape));
  ASSERT_EQ(shape.normals().size(), 21u);
  for (const Vector3<float>& n : shape.normals()) EXPECT_NEAR(n.Length(), 1.0f, 1e-6f);
  const std::vector<int>& normals = shape.index_sets()[0]->normal_indices();
  EXPECT_EQ(normals.back(), 1);
  EXPECT_EQ(shape.index_sets()[1]->point_indices().size(), 80u);  // only the two rings

  // Two contours, a square hole inside (clockwise): each contour its own smooth run under a
  // threshold of -2, and each wrap ends on its own first normal.
  BuildingZ holed;
  p = holed.AddNewPolygon();
  AddContour(p, Regular(6, 10));
  AddContour(p, Regular(4, 2, true));
  *p->mutable_triangle_indices() = Fan(6);
  Shape two;
  ASSERT_TRUE(BuildingZShape::CreateShape(holed, nullptr, nullptr, -1.0, false, -2.0f, &two));
  EXPECT_EQ(two.normals().size(), 1u + 6 + 4);
  ASSERT_EQ(two.index_sets().size(), 1u);
  EXPECT_EQ(two.index_sets()[0]->material_index(), -1);
  const std::vector<int>& walls = two.index_sets()[0]->normal_indices();
  ASSERT_EQ(walls.size(), 12u + 6 * 10);
  EXPECT_EQ(walls[12 + 6 * 5 + 5], 1);                      // the outer contour's last wall ends on normal 1
  EXPECT_EQ(walls.back(), 7);                               // the hole's on normal 7
  EXPECT_EQ(two.points()[10], Vector3<double>(10, 0, -1));  // bottom ring at the base

  // A threshold of 2 makes every corner a crease: one flat normal per wall, lines at each.
  Shape sharp;
  ASSERT_TRUE(BuildingZShape::CreateShape(round, nullptr, nullptr, 0.0, true, 2.0f, &sharp));
  EXPECT_EQ(sharp.normals().size(), 21u);
  EXPECT_EQ(sharp.index_sets()[1]->point_indices().size(), 120u);

  // A repeated point: a wall of no length has a zero normal, so both its corners are creases.
  BuildingZ repeated;
  p = repeated.AddNewPolygon();
  AddContour(p, Regular(20, 5));
  p->mutable_points()->insert(p->mutable_points()->begin() + 5, (*p->mutable_points())[5]);
  (*p->mutable_contour_sizes())[0] = 21;
  *p->mutable_triangle_indices() = Fan(21);
  Shape kinked;
  ASSERT_TRUE(BuildingZShape::CreateShapeWithDefaults(repeated, &kinked));
  EXPECT_EQ(kinked.index_sets()[1]->point_indices().size(), 84u + 2 * 2);
  EXPECT_NE(std::find(kinked.normals().begin(), kinked.normals().end(), Vector3<float>()), kinked.normals().end());
}

TEST(BuildingZShapeTest, ErrorsAndSkippedPolygons) {
  ScopedLogCapture capture;
  BuildingZ empty;
  Shape shape;
  Material m;
  ASSERT_TRUE(BuildingZShape::CreateShape(empty, &m, &m, 0.0, false, 0.8f, &shape));
  EXPECT_EQ(shape.materials().size(), 2u);  // appended all the same
  EXPECT_EQ(capture.texts(), std::vector<std::string>{"Check failed: add_crease_edges"});

  // Polygons with too few points, no contours or a broken tessellation are skipped silently;
  // one without a tessellation ends the run, the polygons before it built.
  capture.Clear();
  BuildingZ building;
  AddUnitSquare(&building);
  AddUnitSquare(&building)->mutable_points()->resize(2);
  AddUnitSquare(&building)->mutable_contour_sizes()->clear();
  AddUnitSquare(&building)->mutable_triangle_indices()->pop_back();
  AddUnitSquare(&building)->mutable_triangle_indices()->clear();
  AddUnitSquare(&building);
  Shape partial;
  EXPECT_FALSE(BuildingZShape::CreateShapeWithDefaults(building, &partial));
  EXPECT_EQ(capture.texts(), std::vector<std::string>{"Polygon 4 has not been tessellated."});
  EXPECT_EQ(capture.reports()[0].severity, 2);
  EXPECT_EQ(partial.points().size(), 8u);
  EXPECT_EQ(partial.index_sets().size(), 2u);
  // Copies compare equal until a coordinate differs; a removal shifts the rest down.
  BuildingZ copy;
  copy.CopyFrom(building);
  EXPECT_TRUE(copy.IsEqual(building));
  (*copy.polygons()[5]->mutable_points())[0].y = 1e-9;
  EXPECT_FALSE(copy.IsEqual(building));
  copy.RemovePolygon(0);
  EXPECT_EQ(copy.polygons()[0]->points().size(), 2u);
  EXPECT_THROW(copy.RemovePolygon(5), std::out_of_range);

  // Contour sizes that add up to fewer points than there are, or to more.
  for (const std::vector<int>& sizes : {std::vector<int>{3}, {2, 3}, {0, 4}, {-1, 5}}) {
    capture.Clear();
    BuildingZ bad;
    *AddUnitSquare(&bad)->mutable_contour_sizes() = sizes;
    Shape s;
    EXPECT_FALSE(BuildingZShape::CreateShapeWithDefaults(bad, &s));
    EXPECT_EQ(capture.texts(), std::vector<std::string>{"PolygonZ contour size mismatch"});
    EXPECT_EQ(s.points().size(), 8u);  // the current polygon's points stay
  }
}

}  // namespace
}  // namespace geometry3d
