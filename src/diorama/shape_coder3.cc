#include "diorama/shape_coder3.h"

#include <cmath>
#include <cstdint>
#include <string>

#include "base/logging.h"

namespace loupe {

using geometry3d::IndexSet;
using geometry3d::Material;
using geometry3d::Shape;
using geometry3d::Vector2;
using geometry3d::Vector3;

namespace {

constexpr int kMaxValueCount = 0xFFFFFF;

template <class Value>
auto Quantise(const Value& v, double factor) {
  using Scalar = decltype(v.x);
  return (v * static_cast<Scalar>(factor)).IRound();
}

}  // namespace

bool ShapeEncoder3::EncodeShape(const Shape& shape) {
  ShapeEncoderStats* stats = mutable_stats();
  WriteHeader();
  RegisterStat(&stats->total_bytes);

  WriteVarUInt(static_cast<int>(shape.materials().size()), 4);
  for (const Material* m : shape.materials()) {
    if (m == nullptr || !EncodeMaterial(*m)) return false;
  }
  RegisterStat(&stats->material_bytes);
  stats->num_materials = static_cast<int>(shape.materials().size());

  InitMaps(shape);
  WriteVarUInt(static_cast<int>(shape.index_sets().size()), 4);
  for (const IndexSet* s : shape.index_sets()) {
    if (s == nullptr || !EncodeIndexSet(*s)) return false;
  }
  RegisterStat(&stats->total_bytes);

  if (!EncodeValues<Vector3<double>, Vector3<int>>(shape.points(), point_bits(),
                                                   point_order())) {
    return false;
  }
  RegisterStat(&stats->point_bytes);
  stats->num_points = static_cast<int>(shape.points().size());
  if (!EncodeValues<Vector3<float>, Vector3<int>>(shape.normals(), normal_bits(),
                                                  normal_order())) {
    return false;
  }
  RegisterStat(&stats->normal_bytes);
  stats->num_normals = static_cast<int>(shape.normals().size());
  if (!EncodeValues<Vector2<float>, Vector2<int>>(shape.tex_coords(), tex_coord_bits(),
                                                  tex_coord_order())) {
    return false;
  }
  RegisterStat(&stats->tex_coord_bytes);
  stats->num_tex_coords = static_cast<int>(shape.tex_coords().size());

  Flush();
  RegisterStat(&stats->total_bytes);
  return true;
}

bool ShapeEncoder3::InitMaps(const Shape& shape) {
  const size_t pool_sizes[] = {shape.points().size(), shape.normals().size(),
                               shape.tex_coords().size()};
  for (const ShapeAttribute a : kShapeAttributes) {
    Attribute& attribute = attributes_[a];
    attribute.index_map.resize(pool_sizes[a], -1);
    attribute.position = 0;
    attribute.order.clear();
    attribute.order.reserve(pool_sizes[a]);
  }
  return true;
}

bool ShapeEncoder3::EncodeMaterial(const Material& m) {
  WriteColorRGB888(m.ambient_color());
  WriteColorRGB888(m.diffuse_color());
  WriteColorRGB888(m.specular_color());
  WriteColorRGB888(m.emissive_color());
  WriteColorRGB888(m.transparent_color());
  WriteFloatURange(m.shininess(), 128.0f, 8);
  WriteFloatURange(m.transparency(), 1.0f, 8);
  WriteVarString(m.texture_uri(), 1);
  WriteBits(m.double_sided() ? 1 : 0, 1);
  return true;
}

bool ShapeEncoder3::EncodeIndexSet(const IndexSet& s) {
  WriteVarUInt(s.format(), 4);
  WriteVarInt(s.material_index(), 4);
  for (const ShapeAttribute a : kShapeAttributes) {
    const std::vector<int>& indices = AttributeIndices(s, a);
    Attribute& attribute = attributes_[a];
    if (!EncodeOffsetIndices(indices, &attribute.index_map, &attribute.position,
                             &attribute.order)) {
      return false;
    }
    RegisterIndexStat(a, indices.size());
  }
  return true;
}

bool ShapeEncoder3::EncodeOffsetIndices(const std::vector<int>& indices,
                                        std::vector<int>* index_map, int* position,
                                        std::vector<int>* order) {
  VS_CHECK(index_map);
  if (index_map == nullptr || position == nullptr || order == nullptr) return false;
  const int count = static_cast<int>(indices.size());
  WriteVarUInt(count, 4);
  if (count < 1) return true;
  int last_delimiter = -1;  // per list, so a list's first delimiter points past all history
  for (const int i : indices) {
    int offset;
    if (i < -1) return false;
    if (i == -1) {
      offset = *position - last_delimiter;
      last_delimiter = *position;
    } else {
      if (i >= static_cast<int>(index_map->size())) return false;
      int& last_use = (*index_map)[i];
      if (last_use < 0) {
        order->push_back(i);
        offset = 0;
      } else {
        offset = *position - last_use;
      }
      last_use = *position;
    }
    VS_CHECK_GE(offset, 0);
    WriteVarUInt(offset, 1);
    ++*position;
  }
  return true;
}

template <class Value, class IntValue>
bool ShapeEncoder3::EncodeValues(const std::vector<Value>& values, int quantization_bits,
                                 const std::vector<int>& order) {
  const int n = static_cast<int>(order.size());
  if (order.size() > static_cast<size_t>(kMaxValueCount)) return false;
  WriteVarUInt(n, 4);
  if (n == 0) return true;
  if (quantization_bits < -32 || quantization_bits > 31) return false;
  WriteBits(quantization_bits, 6);
  const double factor = std::pow(2.0, quantization_bits);
  VS_CHECK_GT(factor, 0);

  constexpr int kAxes = Value::kDimension;
  int64_t lo[3] = {0, 0, 0};
  int64_t hi[3] = {0, 0, 0};
  bool first = true;
  for (const int index : order) {
    VS_CHECK_LT(index, static_cast<int>(values.size()));
    VS_CHECK_GE(index, 0);
    // An order entry outside the pool would read out of bounds.
    if (index < 0 || index >= static_cast<int>(values.size())) return false;
    const IntValue q = Quantise(values[index], factor);
    for (int a = 0; a < kAxes; ++a) {
      const int64_t c = q[a];
      if (first || c < lo[a]) lo[a] = c;
      if (first || c > hi[a]) hi[a] = c;
    }
    first = false;
  }
  for (int a = 0; a < kAxes; ++a) WriteVarInt(static_cast<int>(lo[a]), 4);
  int widths[3] = {0, 0, 0};
  int total_width = 0;
  for (int a = 0; a < kAxes; ++a) {
    widths[a] = RangeBitsRequired(hi[a] - lo[a]);
    if (widths[a] > kMaxAxisWidth) return false;
    WriteBits(widths[a], 5);
    total_width += widths[a];
  }
  Reserve(int64_t{n} * total_width);
  for (const int index : order) {
    const IntValue q = Quantise(values[index], factor);
    for (int a = 0; a < kAxes; ++a) {
      WriteBits(static_cast<int>(q[a] - lo[a]), widths[a]);
    }
  }
  return true;
}

template bool ShapeEncoder3::EncodeValues<Vector3<double>, Vector3<int>>(
    const std::vector<Vector3<double>>&, int, const std::vector<int>&);
template bool ShapeEncoder3::EncodeValues<Vector3<float>, Vector3<int>>(
    const std::vector<Vector3<float>>&, int, const std::vector<int>&);
template bool ShapeEncoder3::EncodeValues<Vector2<float>, Vector2<int>>(
    const std::vector<Vector2<float>>&, int, const std::vector<int>&);

bool ShapeDecoder3::DecodeShape(Shape* shape) {
  VS_CHECK(shape);
  if (shape == nullptr) return false;
  if (!ReadHeader() || codec_version() != 3) return false;

  const uint32_t num_materials = BoundedCount(ReadVarUInt(4));
  for (uint32_t i = 0; i < num_materials; ++i) DecodeMaterial(shape->AddNewMaterial());

  InitMaps();
  const uint32_t num_sets = BoundedCount(ReadVarUInt(4));
  for (uint32_t i = 0; i < num_sets; ++i) {
    if (!DecodeIndexSet(shape->AddNewIndexSet())) return false;
  }

  int bits = point_bits();
  if (!DecodeValues<Vector3<double>, Vector3<int>>(shape->mutable_points(), &bits)) return false;
  set_point_bits(bits);
  bits = normal_bits();
  if (!DecodeValues<Vector3<float>, Vector3<int>>(shape->mutable_normals(), &bits)) return false;
  set_normal_bits(bits);
  bits = tex_coord_bits();
  if (!DecodeValues<Vector2<float>, Vector2<int>>(shape->mutable_tex_coords(), &bits)) {
    return false;
  }
  set_tex_coord_bits(bits);
  return true;
}

bool ShapeDecoder3::InitMaps() {
  for (Attribute& attribute : attributes_) {
    attribute.history.clear();
    attribute.next_index = 0;
  }
  return true;
}

bool ShapeDecoder3::DecodeMaterial(Material* material) {
  VS_CHECK(material);
  if (material == nullptr) return false;
  material->set_ambient_color(ReadColorRGB888());
  material->set_diffuse_color(ReadColorRGB888());
  material->set_specular_color(ReadColorRGB888());
  material->set_emissive_color(ReadColorRGB888());
  material->set_transparent_color(ReadColorRGB888());
  material->set_shininess(ReadFloatURange(128.0f, 8));
  material->set_transparency(ReadFloatURange(1.0f, 8));
  material->set_texture_uri(ReadVarString(1));
  material->set_double_sided(ReadBits(1) != 0);
  return true;
}

bool ShapeDecoder3::DecodeIndexSet(IndexSet* index_set) {
  VS_CHECK(index_set);
  if (index_set == nullptr) return false;
  index_set->set_format(static_cast<int>(ReadVarUInt(4)));
  index_set->set_material_index(ReadVarInt(4));
  for (const ShapeAttribute a : kShapeAttributes) {
    Attribute& attribute = attributes_[a];
    if (!DecodeOffsetIndices(&attribute.history, &attribute.next_index,
                             MutableAttributeIndices(index_set, a))) {
      return false;
    }
  }
  return true;
}

bool ShapeDecoder3::DecodeOffsetIndices(std::vector<int>* index_map, int* next_index,
                                        std::vector<int>* indices) {
  VS_CHECK(index_map);
  VS_CHECK(indices);
  if (index_map == nullptr || next_index == nullptr || indices == nullptr) return false;
  const uint32_t n = BoundedCount(ReadVarUInt(4));
  indices->resize(n);
  // The history gets its n slots at once and both arrays are written through plain pointers:
  // this loop runs once per index of the shape.
  const size_t base = index_map->size();
  index_map->resize(base + n);
  int* history = index_map->data();
  int* out = indices->data();
  int next = *next_index;
  uint64_t h = base;  // history so far
  bool ok = true;
  ReadVarUInts(1, n, [&](uint64_t offset) {
    int value;
    if (offset == 0) {
      value = next++;
    } else if (offset <= h) {
      value = history[h - offset];
    } else if (offset == h + 1) {
      value = -1;
    } else {
      return ok = false;
    }
    history[h] = value;
    out[h++ - base] = value;
    return true;
  });
  *next_index = next;
  if (!ok) index_map->resize(h);
  return ok;
}

template <class Value, class IntValue>
bool ShapeDecoder3::DecodeValues(std::vector<Value>* values, int* quantization_bits) {
  VS_CHECK(values);
  VS_CHECK(quantization_bits);
  if (values == nullptr || quantization_bits == nullptr) return false;
  const uint32_t n = BoundedCount(ReadVarUInt(4));
  values->resize(n);
  if (n == 0) return true;
  *quantization_bits = ReadInt(6);
  const double factor = std::pow(2.0, *quantization_bits);
  VS_CHECK_GT(factor, 0);
  constexpr int kAxes = Value::kDimension;
  int64_t lo[3] = {0, 0, 0};
  int widths[3] = {0, 0, 0};
  for (int a = 0; a < kAxes; ++a) lo[a] = ReadVarInt(4);
  for (int a = 0; a < kAxes; ++a) widths[a] = static_cast<int>(ReadBits(5));
  using Scalar = decltype(Value{}.x);
  // Dividing by a power of two is multiplying by its exact reciprocal: the same result, faster.
  const double inverse = 1.0 / factor;
  for (Value& v : *values) {
    for (int a = 0; a < kAxes; ++a) {
      // In 64 bits: a 31-bit field plus a large minimum would overflow int.
      const int64_t q = static_cast<int64_t>(ReadBits(widths[a])) + lo[a];
      v[a] = static_cast<Scalar>(static_cast<double>(q) * inverse);
    }
  }
  return true;
}

template bool ShapeDecoder3::DecodeValues<Vector3<double>, Vector3<int>>(
    std::vector<Vector3<double>>*, int*);
template bool ShapeDecoder3::DecodeValues<Vector3<float>, Vector3<int>>(
    std::vector<Vector3<float>>*, int*);
template bool ShapeDecoder3::DecodeValues<Vector2<float>, Vector2<int>>(
    std::vector<Vector2<float>>*, int*);

}  // namespace loupe
