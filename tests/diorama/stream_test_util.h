// Helpers of the stream tests: an encoder's bytes, the triangle of the golden streams, random
// shapes and the shape a version-3 decode gives back. Decoded objects are compared by encoding
// them again: a decode that keeps all the encoder wrote gives the same bytes.
#ifndef VISTARA_TESTS_DIORAMA_STREAM_TEST_UTIL_H_
#define VISTARA_TESTS_DIORAMA_STREAM_TEST_UTIL_H_

#include <memory>
#include <string>
#include <vector>

#include "diorama/binary_coder.h"
#include "diorama/shape_coder.h"
#include "test_util.h"
#include "util/geometry3d/mesh/shape.h"

namespace loupe::test_streams {

// (0,0,0), (1,0,0), (0,1,0) and one kTriangles set 0 1 2 without material.
inline void MakeTriangle(geometry3d::Shape* shape) {
  *shape->mutable_points() = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
  *shape->AddNewIndexSet()->mutable_point_indices() = {0, 1, 2};
}

// Up to 20 points in +-100 (z in +-1), 10 normals, 10 texture coordinates, 3 materials with and
// without textures, and 4 index sets of any format, some lists delimited, some pools empty.
inline void MakeRandomShape(vistara::testing::SeededRandom* rng, geometry3d::Shape* shape) {
  const auto unit = [rng] { return static_cast<float>(rng->Double(0, 1)); };
  const auto color = [&unit] { return geometry3d::Vector3<float>(unit(), unit(), unit()); };
  const int pools[] = {rng->Int(0, 20), rng->Int(0, 10), rng->Int(0, 10)};
  for (int i = 0; i < pools[kPoints]; ++i) {
    shape->mutable_points()->push_back({rng->Double(-100, 100), rng->Double(-100, 100), rng->Double(-1, 1)});
  }
  for (int i = 0; i < pools[kNormals]; ++i) {
    shape->mutable_normals()->push_back({2 * unit() - 1, 2 * unit() - 1, 2 * unit() - 1});
  }
  for (int i = 0; i < pools[kTexCoords]; ++i) shape->mutable_tex_coords()->push_back({unit(), 4 * unit() - 2});
  const int num_materials = rng->Int(0, 3);
  for (int i = 0; i < num_materials; ++i) {
    geometry3d::Material* m = shape->AddNewMaterial();
    m->set_ambient_color(color());
    m->set_diffuse_color(color());
    m->set_specular_color(color());
    m->set_emissive_color(color());
    m->set_transparent_color(color());
    m->set_shininess(128 * unit());
    m->set_transparency(unit());
    if (rng->Int(0, 1)) m->set_texture_uri("tex/" + std::to_string(rng->Int(0, 999)) + ".jpg");
    m->set_double_sided(rng->Int(0, 1));
  }
  for (int i = rng->Int(0, 4); i > 0; --i) {
    geometry3d::IndexSet* s = shape->AddNewIndexSet();
    s->set_format(rng->Int(0, 5));
    s->set_material_index(rng->Int(-1, num_materials - 1));
    const bool delimited = rng->Int(0, 1);
    for (const ShapeAttribute a : kShapeAttributes) {
      std::vector<int>* list = MutableAttributeIndices(s, a);
      list->resize(rng->Int(0, 12));
      for (int& k : *list) k = (delimited && rng->Int(0, 4) == 0) || pools[a] == 0 ? -1 : rng->Int(0, pools[a] - 1);
    }
  }
}

// What `encoder` has written so far.
template <class Encoder>
std::string Buffer(const Encoder& encoder) {
  std::string bytes;
  encoder.get_buffer(&bytes);
  return bytes;
}

// The stream of `shape` by a new encoder of `version` under the given settings; *ok (when
// given) tells whether it encoded.
inline std::string EncodeShape(int version, const geometry3d::Shape& shape, bool* ok = nullptr, int point_bits = 8,
                               double point_unit = 1.0) {
  const std::unique_ptr<ShapeEncoder> encoder(ShapeEncoder::CreateEncoder(version));
  encoder->set_point_bits(point_bits);
  encoder->set_point_unit(point_unit);
  const bool encoded = encoder->EncodeShape(shape);
  if (ok != nullptr) *ok = encoded;
  return Buffer(*encoder);
}

// `source` as a version-3 decode gives it back: the pools cut to the used entries in order of
// first use (orders[attribute], the encoder's point_order() and its fellows), the indices
// renumbered to match, delimiters staying -1.
inline void Renumber(const geometry3d::Shape& source, const std::vector<int> (&orders)[3], geometry3d::Shape* out) {
  out->CopyFrom(source);
  out->mutable_points()->clear();
  out->mutable_normals()->clear();
  out->mutable_tex_coords()->clear();
  for (const int i : orders[kPoints]) out->mutable_points()->push_back(source.points()[i]);
  for (const int i : orders[kNormals]) out->mutable_normals()->push_back(source.normals()[i]);
  for (const int i : orders[kTexCoords]) out->mutable_tex_coords()->push_back(source.tex_coords()[i]);
  const size_t pools[] = {source.points().size(), source.normals().size(), source.tex_coords().size()};
  for (const ShapeAttribute a : kShapeAttributes) {
    std::vector<int> renumbered(pools[a], -1);
    for (size_t k = 0; k < orders[a].size(); ++k) renumbered[orders[a][k]] = static_cast<int>(k);
    for (geometry3d::IndexSet* s : out->index_sets()) {
      for (int& i : *MutableAttributeIndices(s, a)) i = i < 0 ? i : renumbered.at(i);
    }
  }
}

}  // namespace loupe::test_streams

#endif  // VISTARA_TESTS_DIORAMA_STREAM_TEST_UTIL_H_
