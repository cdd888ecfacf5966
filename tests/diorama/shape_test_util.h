// Shapes for the shape stream tests: the three-point triangle of the golden streams and random
// shapes with every primitive format, delimiters, materials with and without textures and
// empty pools.
#ifndef VISTARA_TESTS_DIORAMA_SHAPE_TEST_UTIL_H_
#define VISTARA_TESTS_DIORAMA_SHAPE_TEST_UTIL_H_

#include <string>
#include <vector>

#include "diorama/shape_coder.h"
#include "test_util.h"
#include "util/geometry3d/mesh/shape.h"

namespace loupe::test_shapes {

// (0,0,0), (1,0,0), (0,1,0) and one kTriangles set 0 1 2 without material.
inline void MakeTriangle(geometry3d::Shape* shape) {
  *shape->mutable_points() = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
  geometry3d::IndexSet* s = shape->AddNewIndexSet();
  s->set_material_index(-1);
  *s->mutable_point_indices() = {0, 1, 2};
}

inline std::vector<int> RandomList(vistara::testing::SeededRandom* rng, int pool, bool delimited) {
  std::vector<int> list(rng->Int(0, 12));
  for (int& i : list) i = (delimited && rng->Int(0, 4) == 0) || pool == 0 ? -1 : rng->Int(0, pool - 1);
  return list;
}

inline geometry3d::Vector3<float> RandomColor(vistara::testing::SeededRandom* rng) {
  return {float(rng->Double(0, 1)), float(rng->Double(0, 1)), float(rng->Double(0, 1))};
}

// Points in +-100 (z in +-1), unit normals' components and texture coordinates in small ranges;
// up to 3 materials and 4 index sets of any format, some lists delimited, some pools empty.
inline void MakeRandomShape(vistara::testing::SeededRandom* rng, geometry3d::Shape* shape) {
  const int num_points = rng->Int(0, 20), num_normals = rng->Int(0, 10), num_tex = rng->Int(0, 10);
  for (int i = 0; i < num_points; ++i) {
    shape->mutable_points()->push_back(
        {rng->Double(-100, 100), rng->Double(-100, 100), rng->Double(-1, 1)});
  }
  for (int i = 0; i < num_normals; ++i) {
    shape->mutable_normals()->push_back(
        {float(rng->Double(-1, 1)), float(rng->Double(-1, 1)), float(rng->Double(-1, 1))});
  }
  for (int i = 0; i < num_tex; ++i) {
    shape->mutable_tex_coords()->push_back({float(rng->Double(0, 1)), float(rng->Double(-2, 2))});
  }
  const int num_materials = rng->Int(0, 3);
  for (int i = 0; i < num_materials; ++i) {
    geometry3d::Material* m = shape->AddNewMaterial();
    m->set_ambient_color(RandomColor(rng));
    m->set_diffuse_color(RandomColor(rng));
    m->set_specular_color(RandomColor(rng));
    m->set_emissive_color(RandomColor(rng));
    m->set_transparent_color(RandomColor(rng));
    m->set_shininess(float(rng->Double(0, 128)));
    m->set_transparency(float(rng->Double(0, 1)));
    if (rng->Int(0, 1)) m->set_texture_uri("tex/" + std::to_string(rng->Int(0, 999)) + ".jpg");
    m->set_double_sided(rng->Int(0, 1));
  }
  const int num_sets = rng->Int(0, 4);
  for (int i = 0; i < num_sets; ++i) {
    geometry3d::IndexSet* s = shape->AddNewIndexSet();
    s->set_format(rng->Int(0, 5));
    s->set_material_index(rng->Int(-1, num_materials - 1));
    const bool delimited = rng->Int(0, 1);
    *s->mutable_point_indices() = RandomList(rng, num_points, delimited);
    *s->mutable_normal_indices() = RandomList(rng, num_normals, delimited);
    *s->mutable_tex_coord_indices() = RandomList(rng, num_tex, delimited);
  }
}

// The bytes `encoder` gives for `shape`, and in *ok whether EncodeShape succeeded.
inline std::string EncodeWith(ShapeEncoder* encoder, const geometry3d::Shape& shape, bool* ok) {
  *ok = encoder->EncodeShape(shape);
  std::string out;
  encoder->get_buffer(&out);
  return out;
}

}  // namespace loupe::test_shapes

#endif  // VISTARA_TESTS_DIORAMA_SHAPE_TEST_UTIL_H_
