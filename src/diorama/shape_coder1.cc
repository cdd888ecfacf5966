#include "diorama/shape_coder1.h"

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "base/logging.h"

namespace loupe {

using geometry3d::IndexSet;
using geometry3d::Material;
using geometry3d::Shape;
using geometry3d::Vector2;
using geometry3d::Vector3;

namespace {

constexpr int kMaxIndexWidth = 31;
constexpr int kMaxIndexMinimum = 0x3FFFFFFF;

}  // namespace

bool ShapeEncoder1::EncodeShape(const Shape& shape) {
  ShapeEncoderStats* stats = mutable_stats();
  WriteHeader();
  RegisterStat(&stats->total_bytes);

  if (!EncodePoints(shape.points())) return false;
  RegisterStat(&stats->point_bytes);
  stats->num_points = static_cast<int>(shape.points().size());
  if (!EncodeNormals(shape.normals())) return false;
  RegisterStat(&stats->normal_bytes);
  stats->num_normals = static_cast<int>(shape.normals().size());
  if (!EncodeTexCoords(shape.tex_coords())) return false;
  RegisterStat(&stats->tex_coord_bytes);
  stats->num_tex_coords = static_cast<int>(shape.tex_coords().size());

  WriteBits(static_cast<int>(shape.materials().size()), 32);
  for (const Material* m : shape.materials()) {
    if (m == nullptr || !EncodeMaterial(*m)) return false;
  }
  RegisterStat(&stats->material_bytes);
  stats->num_materials = static_cast<int>(shape.materials().size());

  WriteBits(static_cast<int>(shape.index_sets().size()), 32);
  for (const IndexSet* s : shape.index_sets()) {
    if (s == nullptr || !EncodeIndexSet(*s)) return false;
  }
  Flush();
  RegisterStat(&stats->total_bytes);
  return true;
}

bool ShapeEncoder1::EncodePoints(const std::vector<Vector3<double>>& points) {
  return EncodeValues(points, point_bits(), point_unit());
}

bool ShapeEncoder1::EncodeNormals(const std::vector<Vector3<float>>& normals) {
  return EncodeValues(normals, normal_bits(), 1.0f);
}

bool ShapeEncoder1::EncodeTexCoords(const std::vector<Vector2<float>>& tex_coords) {
  return EncodeValues(tex_coords, tex_coord_bits(), 1.0f);
}

template <class Value>
bool ShapeEncoder1::EncodeValues(const std::vector<Value>& values, int bits,
                                 decltype(Value::x) unit) {
  using Scalar = decltype(Value::x);
  constexpr int kAxes = Value::kDimension;
  const int n = static_cast<int>(values.size());
  WriteBits(n, 32);
  if (n == 0) return true;
  if (unit <= 0) return false;  // only the point unit is the caller's

  // Points scale in double, normals and texture coordinates in single precision. Each value is
  // quantised twice, for the range and for writing, rather than kept as a quantised copy.
  const Scalar factor = static_cast<Scalar>(MaxQuantised(bits)) / unit;
  int64_t lo[3] = {0, 0, 0};
  int64_t hi[3] = {0, 0, 0};
  for (int a = 0; a < kAxes; ++a) lo[a] = hi[a] = (values[0] * factor).IRound()[a];
  for (const Value& v : values) {
    const auto q = (v * factor).IRound();
    for (int a = 0; a < kAxes; ++a) {
      lo[a] = std::min<int64_t>(lo[a], q[a]);
      hi[a] = std::max<int64_t>(hi[a], q[a]);
    }
  }
  int widths[3] = {0, 0, 0};
  int total_width = 0;
  for (int a = 0; a < kAxes; ++a) {
    widths[a] = RangeBitsRequired(hi[a] - lo[a]);
    total_width += widths[a];
  }

  if (bits > 31) return false;
  WriteBits(bits, 5);
  if constexpr (std::is_same_v<Scalar, double>) {
    WriteDouble(unit);
  } else {
    WriteFloat(unit);
  }
  for (int a = 0; a < kAxes; ++a) WriteBits(static_cast<int>(lo[a]), 32);
  for (int a = 0; a < kAxes; ++a) {
    if (widths[a] > kMaxAxisWidth) return false;
  }
  for (int a = 0; a < kAxes; ++a) WriteBits(widths[a], 5);

  Reserve(int64_t{n} * total_width);
  for (const Value& v : values) {
    const auto q = (v * factor).IRound();
    for (int a = 0; a < kAxes; ++a) WriteBits(static_cast<int>(q[a] - lo[a]), widths[a]);
  }
  return true;
}

bool ShapeEncoder1::EncodeMaterial(const Material& m) {
  WriteColorRGB888(m.ambient_color());
  WriteColorRGB888(m.diffuse_color());
  WriteColorRGB888(m.specular_color());
  WriteFloatURange(m.shininess(), 128.0f, 8);
  WriteString(m.texture_uri(), 16);
  if (codec_version() < 2) return true;
  WriteColorRGB888(m.emissive_color());
  WriteColorRGB888(m.transparent_color());
  WriteFloatURange(m.transparency(), 1.0f, 8);
  WriteBits(m.double_sided() ? 1 : 0, 1);
  return true;
}

bool ShapeEncoder1::EncodeIndexSet(const IndexSet& s) {
  WriteBits(s.format(), 8);
  WriteBits(s.material_index(), 16);
  for (const ShapeAttribute a : kShapeAttributes) {
    const std::vector<int>& indices = AttributeIndices(s, a);
    if (!EncodeIndices(indices)) return false;
    RegisterIndexStat(a, indices.size());
  }
  return true;
}

bool ShapeEncoder1::EncodeIndices(const std::vector<int>& indices) {
  const int n = static_cast<int>(indices.size());
  WriteBits(n, 32);
  if (n == 0) return true;
  const auto [lo, hi] = std::minmax_element(indices.begin(), indices.end());
  const int min = *lo;
  if (min > kMaxIndexMinimum) return false;
  WriteBits(min, 32);
  const int width = RangeBitsRequired(int64_t{*hi} - min);
  if (width > kMaxIndexWidth) return false;
  WriteBits(width, 5);
  Reserve(int64_t{n} * width);
  // The difference fits the width, so it is taken modulo 2^32 without overflow.
  for (const int i : indices) {
    WriteBits(static_cast<int>(static_cast<uint32_t>(i) - static_cast<uint32_t>(min)), width);
  }
  return true;
}

bool ShapeDecoder1::DecodeShape(Shape* shape) {
  VS_CHECK(shape);
  if (shape == nullptr) return false;
  if (!ReadHeader()) return false;
  if (codec_version() != 1 && codec_version() != 2) return false;

  if (!DecodePoints(shape->mutable_points()) || !DecodeNormals(shape->mutable_normals()) ||
      !DecodeTexCoords(shape->mutable_tex_coords())) {
    return false;
  }
  const uint32_t num_materials = BoundedCount(ReadBits(32));
  for (uint32_t i = 0; i < num_materials; ++i) DecodeMaterial(shape->AddNewMaterial());
  const uint32_t num_sets = BoundedCount(ReadBits(32));
  for (uint32_t i = 0; i < num_sets; ++i) DecodeIndexSet(shape->AddNewIndexSet());
  return true;
}

bool ShapeDecoder1::DecodePoints(std::vector<Vector3<double>>* points) {
  VS_CHECK(points);
  if (points == nullptr) return false;
  int bits = point_bits();
  double unit = point_unit();
  const bool ok = DecodeValues(points, &bits, &unit);
  set_point_bits(bits);
  set_point_unit(unit);
  return ok;
}

bool ShapeDecoder1::DecodeNormals(std::vector<Vector3<float>>* normals) {
  VS_CHECK(normals);
  if (normals == nullptr) return false;
  int bits = normal_bits();
  float unit = 1.0f;
  const bool ok = DecodeValues(normals, &bits, &unit);
  set_normal_bits(bits);
  return ok;
}

bool ShapeDecoder1::DecodeTexCoords(std::vector<Vector2<float>>* tex_coords) {
  VS_CHECK(tex_coords);
  if (tex_coords == nullptr) return false;
  int bits = tex_coord_bits();
  float unit = 1.0f;
  const bool ok = DecodeValues(tex_coords, &bits, &unit);
  set_tex_coord_bits(bits);
  return ok;
}

template <class Value>
bool ShapeDecoder1::DecodeValues(std::vector<Value>* values, int* bits,
                                 decltype(Value::x)* unit) {
  using Scalar = decltype(Value::x);
  constexpr int kAxes = Value::kDimension;
  const uint32_t n = BoundedCount(ReadBits(32));
  values->resize(n);
  if (n == 0) return true;
  *bits = static_cast<int>(ReadBits(5));
  if constexpr (std::is_same_v<Scalar, double>) {
    *unit = ReadDouble();
  } else {
    *unit = ReadFloat();
  }
  if (*unit <= 0) return false;
  const Scalar factor = static_cast<Scalar>(MaxQuantised(*bits)) / *unit;
  uint32_t lo[3] = {0, 0, 0};
  int widths[3] = {0, 0, 0};
  for (int a = 0; a < kAxes; ++a) lo[a] = ReadBits(32);
  for (int a = 0; a < kAxes; ++a) widths[a] = static_cast<int>(ReadBits(5));
  for (Value& v : *values) {
    for (int a = 0; a < kAxes; ++a) {
      // The minimum is added as a 32-bit integer, modulo 2^32 as the encoder subtracted it.
      const int q = static_cast<int>(ReadBits(widths[a]) + lo[a]);
      v[a] = static_cast<Scalar>(q) / factor;
    }
  }
  return true;
}

bool ShapeDecoder1::DecodeMaterial(Material* material) {
  VS_CHECK(material);
  if (material == nullptr) return false;
  material->set_ambient_color(ReadColorRGB888());
  material->set_diffuse_color(ReadColorRGB888());
  material->set_specular_color(ReadColorRGB888());
  material->set_shininess(ReadFloatURange(128.0f, 8));
  material->set_texture_uri(ReadString(16));
  if (codec_version() < 2) return true;
  material->set_emissive_color(ReadColorRGB888());
  material->set_transparent_color(ReadColorRGB888());
  material->set_transparency(ReadFloatURange(1.0f, 8));
  material->set_double_sided(ReadBits(1) != 0);
  return true;
}

bool ShapeDecoder1::DecodeIndexSet(IndexSet* index_set) {
  VS_CHECK(index_set);
  if (index_set == nullptr) return false;
  index_set->set_format(static_cast<int>(ReadBits(8)));
  index_set->set_material_index(ReadInt(16));
  for (const ShapeAttribute a : kShapeAttributes) {
    if (!DecodeIndices(MutableAttributeIndices(index_set, a))) return false;
  }
  return true;
}

bool ShapeDecoder1::DecodeIndices(std::vector<int>* indices) {
  VS_CHECK(indices);
  if (indices == nullptr) return false;
  const uint32_t n = BoundedCount(ReadBits(32));
  indices->resize(n);
  // The count is signed for the loop: one of 2^31 or more reads no values.
  if (static_cast<int32_t>(n) < 1) return true;
  const uint32_t min = ReadBits(32);
  const int width = static_cast<int>(ReadBits(5));
  for (int& i : *indices) i = static_cast<int>(ReadBits(width) + min);
  return true;
}

}  // namespace loupe
