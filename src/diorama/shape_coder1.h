// The shape stream of versions 1 and 2, which differ only in the material record. The shape's
// structure travels as it is: the three pools in pool order, the materials, then the index sets,
// every pool and index list stored as a minimum plus fixed-width differences.
//
// Stream, no alignment between fields (codes of binary_coder.h, widths in bits):
//   header (version 1 or 2)
//   point block, normal block, texture coordinate block
//   32 material count, material records
//   32 index set count, index set records
//   Flush
// Value block: 32 count (0 ends it), 5 bits, the unit (points: 64-bit double point_unit;
//   normals and texture coordinates: 32-bit float 1.0), 32 minimum per axis (two's complement),
//   5 width per axis, then per value each axis as its quantised value minus the minimum.
//   Quantised: IRound(v * M / unit), M = 2^bits - 1 (normals and texture coordinates in single
//   precision). A width is BitsRequired(max - min): 1 when all values are equal.
// Material record: ColorRGB888 ambient, diffuse, specular, FloatURange(shininess, 128, 8),
//   String(texture, 16); version 2 adds ColorRGB888 emissive, transparent,
//   FloatURange(transparency, 1, 8) and 1 bit double sided.
// Index set record: 8 format, 16 material (-1 as FFFF, read back sign-extended), then the point,
//   normal and texture coordinate lists: 32 count (0 ends it), 32 minimum (-1 with delimiters),
//   5 width, each index minus the minimum.
//
// A truncated stream reads zeros: the decode succeeds with shorter or zero-filled parts, except
// where the cut falls in a block's unit, which then reads as 0 and fails the decode.
#ifndef VISTARA_DIORAMA_SHAPE_CODER1_H_
#define VISTARA_DIORAMA_SHAPE_CODER1_H_

#include <vector>

#include "diorama/shape_coder.h"
#include "util/geometry3d/mesh/shape.h"
#include "util/geometry3d/vector.h"

namespace loupe {

// Writes the codec version it is given by ShapeEncoder::CreateEncoder(1 or 2); a bare object
// keeps the default version 3 in its header (and writes the version-2 materials).
class ShapeEncoder1 : public ShapeEncoder {
 public:
  ShapeEncoder1() = default;
  ~ShapeEncoder1() override = default;
  bool EncodeShape(const geometry3d::Shape& shape) override;

  // False for a point unit of 0 or below, bits above 31 or an axis wider than 30 bits; the
  // fields written before the failure stay.
  bool EncodePoints(const std::vector<geometry3d::Vector3<double>>& points);
  bool EncodeNormals(const std::vector<geometry3d::Vector3<float>>& normals);
  bool EncodeTexCoords(const std::vector<geometry3d::Vector2<float>>& tex_coords);
  bool EncodeMaterial(const geometry3d::Material& material);
  bool EncodeIndexSet(const geometry3d::IndexSet& index_set);
  // False for a minimum above 0x3FFFFFFF or a range wider than 31 bits.
  bool EncodeIndices(const std::vector<int>& indices);

 private:
  template <class Value>
  bool EncodeValues(const std::vector<Value>& values, int bits, decltype(Value::x) unit);
};

class ShapeDecoder1 : public ShapeDecoder {
 public:
  ShapeDecoder1() = default;
  ~ShapeDecoder1() override = default;
  // Resizes the pools to the stream's and adds its materials and index sets to those present.
  // Indices aren't validated: Shape::Validate is the caller's.
  bool DecodeShape(geometry3d::Shape* shape) override;

  // False for a unit of 0 or below.
  bool DecodePoints(std::vector<geometry3d::Vector3<double>>* points);
  bool DecodeNormals(std::vector<geometry3d::Vector3<float>>* normals);
  bool DecodeTexCoords(std::vector<geometry3d::Vector2<float>>* tex_coords);
  bool DecodeMaterial(geometry3d::Material* material);
  bool DecodeIndexSet(geometry3d::IndexSet* index_set);
  bool DecodeIndices(std::vector<int>* indices);

 private:
  // Reads a block into *values, its bits into *bits and its unit into *unit.
  template <class Value>
  bool DecodeValues(std::vector<Value>* values, int* bits, decltype(Value::x)* unit);
};

}  // namespace loupe

#endif  // VISTARA_DIORAMA_SHAPE_CODER1_H_
