#include "util/geometry3d/mesh/shape.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

#include "test_util.h"

namespace geometry3d {
namespace {

using vistara::testing::ScopedLogCapture;

// A shape with `points` points, two normals, two texture coordinates and two materials, the
// second textured.
void Fill(Shape* shape, int points) {
  for (int i = 0; i < points; ++i) shape->mutable_points()->push_back(Vector3<double>(i, 0, 0));
  shape->mutable_normals()->assign(2, Vector3<float>(0, 0, 1));
  shape->mutable_tex_coords()->assign(2, Vector2<float>(0.5f, 0.5f));
  shape->AddNewMaterial()->set_shininess(5);
  shape->AddNewMaterial()->set_texture_uri("brick.jpg");
}

IndexSet* AddSet(Shape* shape, int format, int material, std::vector<int> points) {
  IndexSet* set = shape->AddNewIndexSet();
  set->set_format(format);
  set->set_material_index(material);
  *set->mutable_point_indices() = std::move(points);
  return set;
}

std::string Invalid(const Shape& shape) {
  std::string error;
  return shape.Validate(&error) ? "valid" : error;
}

TEST(ShapeTest, ValidationTexts) {
  Shape shape;
  Fill(&shape, 7);
  IndexSet* set = AddSet(&shape, IndexSet::kTriangles, -1, {0, 1, 2, 3, 4, 5});
  EXPECT_EQ(Invalid(shape), "valid");
  set->set_material_index(2);
  EXPECT_EQ(Invalid(shape), "Invalid material index");
  set->set_material_index(-2);
  EXPECT_EQ(Invalid(shape), "Invalid material index");
  set->set_material_index(-1);
  set->set_format(-1);
  EXPECT_EQ(Invalid(shape), "Invalid format");
  // Seven indices: wrong for triangles, fine for a fan.
  set->set_format(IndexSet::kTriangles);
  set->mutable_point_indices()->push_back(6);
  EXPECT_EQ(Invalid(shape), "Invalid point_indices size");
  set->set_format(IndexSet::kTriangleFan);
  EXPECT_EQ(Invalid(shape), "valid");
  set->mutable_normal_indices()->assign(6, 0);
  EXPECT_EQ(Invalid(shape), "Invalid normal_indices size");
  set->mutable_normal_indices()->assign(7, 0);
  set->mutable_tex_coord_indices()->assign(3, 0);
  EXPECT_EQ(Invalid(shape), "Invalid tex_coord_indices size");
  set->mutable_tex_coord_indices()->assign(7, 2);
  EXPECT_EQ(Invalid(shape), "TexCoord index out of range");
  set->mutable_tex_coord_indices()->assign(7, 1);
  (*set->mutable_normal_indices())[3] = 2;
  EXPECT_EQ(Invalid(shape), "Normal index out of range");
  (*set->mutable_normal_indices())[3] = 1;
  (*set->mutable_point_indices())[3] = 7;
  EXPECT_EQ(Invalid(shape), "Point index out of range");
  // A delimiter: out of range for triangles, allowed in a strip, even where the normals have
  // none (the delimiter agreement step is never reached).
  *set->mutable_point_indices() = {0, 1, 2, -1, 3, 4};
  set->mutable_normal_indices()->assign(6, 0);
  set->mutable_tex_coord_indices()->clear();
  set->set_format(IndexSet::kTriangles);
  EXPECT_EQ(Invalid(shape), "Point index out of range");
  set->set_format(IndexSet::kTriangleStrip);
  EXPECT_EQ(Invalid(shape), "valid");
  // Materials come first; a set without a shape has the material's words.
  shape.materials()[0]->set_shape(nullptr);
  EXPECT_EQ(Invalid(shape), "Invalid Material, has no shape");
  shape.materials()[0]->set_shape(&shape);
  IndexSet orphan;
  std::string error;
  EXPECT_FALSE(orphan.Validate(&error));
  EXPECT_EQ(error, "Invalid Material, has no shape");
}

TEST(ShapeTest, AppendRemoveCopyAndCompare) {
  Shape base;
  Fill(&base, 3);
  AddSet(&base, IndexSet::kTriangles, 1, {0, 1, 2});
  Shape other;
  other.mutable_points()->assign(4, Vector3<double>(9, 9, 9));
  other.mutable_normals()->assign(1, Vector3<float>(1, 0, 0));
  other.AddNewMaterial()->set_double_sided(true);
  IndexSet* strip = AddSet(&other, IndexSet::kTriangleStrip, -1, {0, 1, 2, -1, 1, 2, 3});
  *strip->mutable_normal_indices() = {0, 0, 0, -1, 0, 0, 0};
  other.mutable_tex_coords()->assign(1, Vector2<float>(0.25f, 0.75f));
  *strip->mutable_tex_coord_indices() = {0, 0, 0, -1, 0, 0, 0};
  AddSet(&other, IndexSet::kTriangles, 0, {3, 2, 1});

  base.AppendShape(other);
  ASSERT_EQ(base.index_sets().size(), 3u);
  ASSERT_EQ(base.materials().size(), 3u);
  // -1 becomes material_base - 1 = 1: the last material the shape had before.
  EXPECT_EQ(base.index_sets()[1]->material_index(), 1);
  EXPECT_EQ(base.index_sets()[2]->material_index(), 2);
  EXPECT_EQ(base.index_sets()[1]->point_indices(), (std::vector<int>{3, 4, 5, -1, 4, 5, 6}));
  EXPECT_EQ(base.index_sets()[1]->normal_indices(), (std::vector<int>{2, 2, 2, -1, 2, 2, 2}));
  EXPECT_EQ(base.index_sets()[1]->GetPoint(0), Vector3<double>(9, 9, 9));
  EXPECT_EQ(base.index_sets()[1]->tex_coord_indices()[0], 2);
  EXPECT_EQ(base.index_sets()[1]->GetTexCoord(0), Vector2<float>(0.25f, 0.75f));
  EXPECT_THROW(base.index_sets()[1]->GetNormal(3), std::out_of_range);  // the delimiter
  Shape empty;
  empty.AppendShape(other);
  EXPECT_EQ(empty.index_sets()[0]->material_index(), -1);  // no materials before: stays -1
  EXPECT_TRUE(empty.IsEqual(other));

  // RemoveMaterial(0) of two: sets of 0 lose it, sets of 1 move to 0.
  Shape two;
  Fill(&two, 3);
  AddSet(&two, IndexSet::kTriangles, 0, {0, 1, 2});
  AddSet(&two, IndexSet::kTriangles, 1, {0, 1, 2});
  two.RemoveMaterial(0);
  EXPECT_EQ(two.index_sets()[0]->material_index(), -1);
  EXPECT_EQ(two.index_sets()[1]->material_index(), 0);
  EXPECT_EQ(two.index_sets()[1]->GetMaterial(), two.materials()[0]);
  EXPECT_THROW(two.RemoveMaterial(1), std::out_of_range);

  // Copies compare equal; index sets differing only in their indices still do.
  Shape copy;
  copy.CopyFrom(base);
  EXPECT_TRUE(copy.IsEqual(base));
  EXPECT_EQ(copy.materials()[0]->shape(), &copy);
  (*copy.index_sets()[0]->mutable_point_indices())[0] = 2;
  EXPECT_TRUE(copy.IsEqual(base));
  copy.index_sets()[0]->set_material_index(0);
  EXPECT_FALSE(copy.IsEqual(base));
  copy.CopyFrom(base);
  (*copy.mutable_normals())[0].x = NAN;
  (*base.mutable_normals())[0].x = NAN;
  EXPECT_FALSE(copy.IsEqual(base));  // NaN never equals itself

  // AppendIndexSet checks the format and adds no delimiter.
  ScopedLogCapture capture;
  IndexSet a, b;
  *a.mutable_point_indices() = {0, 1};
  *b.mutable_point_indices() = {2};
  b.set_format(IndexSet::kLines);
  a.AppendIndexSet(b);
  EXPECT_EQ(a.point_indices(), (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(capture.texts(), std::vector<std::string>{"Check failed: format_==index_set.format() 0==5"});
  EXPECT_FALSE(a.IsCompatible(b));
  b.set_format(0);
  EXPECT_TRUE(a.IsCompatible(b));
  b.mutable_normal_indices()->push_back(0);
  EXPECT_FALSE(a.IsCompatible(b));
}

}  // namespace
}  // namespace geometry3d
