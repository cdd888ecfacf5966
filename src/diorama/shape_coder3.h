// The default shape stream (version 3): variable-length counts, attribute pools renumbered by
// first use and written only as far as the index sets use them, and each index written as the
// distance back to its last use (0 for a value not seen before).
//
// Stream, no alignment between fields (codes of binary_coder.h):
//   header (version 3)
//   VarUInt(material count, 4), material records
//   VarUInt(index set count, 4), index set records
//   value blocks of points, normals, texture coordinates, each in order of first use
//   Flush
// Material record: five ColorRGB888 (ambient, diffuse, specular, emissive, transparent),
//   FloatURange(shininess, 128, 8), FloatURange(transparency, 1, 8), VarString(texture, 1),
//   1 bit double sided.
// Index set record: VarUInt(format, 4), VarInt(material, 4), three offset lists (points,
//   normals, texture coordinates): VarUInt(count, 4), then VarUInt(offset, 1) each.
// Offsets count slots back over all of an attribute's slots in the shape, delimiters included;
//   0 is the next new value, and the first delimiter of a list is one beyond the whole history.
// Value block: VarUInt(count, 4) (0 ends it), 6-bit signed exponent `bits`, VarInt(min, 4) per
//   axis, 5-bit width per axis, then per entry each axis as round(v * 2^bits) - min.
#ifndef VISTARA_DIORAMA_SHAPE_CODER3_H_
#define VISTARA_DIORAMA_SHAPE_CODER3_H_

#include <vector>

#include "diorama/shape_coder.h"
#include "util/geometry3d/mesh/shape.h"
#include "util/geometry3d/vector.h"

namespace loupe {

class ShapeEncoder3 : public ShapeEncoder {
 public:
  ShapeEncoder3() = default;
  ~ShapeEncoder3() override = default;
  bool EncodeShape(const geometry3d::Shape& shape) override;

  // Pool indices in order of first use: entry k of the decoded pool is entry order[k] here.
  const std::vector<int>& point_order() const { return attributes_[kPoints].order; }
  const std::vector<int>& normal_order() const { return attributes_[kNormals].order; }
  const std::vector<int>& tex_coord_order() const { return attributes_[kTexCoords].order; }

  // Sizes the maps to the pools. An encoder serves one shape: used map entries stay.
  bool InitMaps(const geometry3d::Shape& shape);
  bool EncodeMaterial(const geometry3d::Material& material);
  bool EncodeIndexSet(const geometry3d::IndexSet& index_set);
  // False for an index below -1 or beyond the map.
  bool EncodeOffsetIndices(const std::vector<int>& indices, std::vector<int>* index_map,
                           int* position, std::vector<int>* order);
  // False for more than 0xFFFFFF entries, an exponent outside -32..31 or an axis wider than
  // 30 bits.
  template <class Value, class IntValue>
  bool EncodeValues(const std::vector<Value>& values, int quantization_bits,
                    const std::vector<int>& order);

 private:
  // What the offsets of one attribute's index lists need over the whole shape.
  struct Attribute {
    std::vector<int> index_map;  // per pool entry the slot of its last use, -1 before
    int position = 0;            // slots written so far over all index sets
    std::vector<int> order;      // pool indices in order of first use
  };
  Attribute attributes_[kNumShapeAttributes];
};

class ShapeDecoder3 : public ShapeDecoder {
 public:
  ShapeDecoder3() = default;
  ~ShapeDecoder3() override = default;
  // Adds to *shape without clearing it. A truncated stream reads zeros and may succeed with
  // indices beyond the pools: Shape::Validate finds those.
  bool DecodeShape(geometry3d::Shape* shape) override;

  bool InitMaps();
  bool DecodeMaterial(geometry3d::Material* material);
  bool DecodeIndexSet(geometry3d::IndexSet* index_set);
  // False for an offset more than one beyond the history.
  bool DecodeOffsetIndices(std::vector<int>* index_map, int* next_index,
                           std::vector<int>* indices);
  // *quantization_bits is left alone for an empty block.
  template <class Value, class IntValue>
  bool DecodeValues(std::vector<Value>* values, int* quantization_bits);

 private:
  // What the offsets of one attribute's index lists refer to over the whole shape.
  struct Attribute {
    std::vector<int> history;  // every index decoded so far, delimiters included
    int next_index = 0;        // the number the next new value gets
  };
  Attribute attributes_[kNumShapeAttributes];
};

}  // namespace loupe

#endif  // VISTARA_DIORAMA_SHAPE_CODER3_H_
