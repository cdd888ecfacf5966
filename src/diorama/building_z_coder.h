// The building stream: a BuildingZ with its own magic, one signed quantisation exponent for all
// lengths, and each polygon as quantised points, its height, contour sizes and tessellation.
//
// Stream, no alignment between fields (codes of binary_coder.h):
//   16 kMagicSignature 0x425A (bytes 5A 42), 16 version 1
//   6  point_bits, signed -32..31: lengths travel as IRound(v * 2^point_bits)
//   VarUInt(polygon count, 4), then per polygon:
//     VarUInt(point count, 4); when not 0: VarInt(min x, 4), VarInt(min y, 4), 5 width x,
//       5 width y, per point x - min x and y - min y in those widths
//     VarInt(z quantised, 4)
//     VarUInt(contour count, 4), VarUInt(size, 4) each
//     VarUInt(triangle index count, 4); when not 0: 5 width of the largest index, the indices
//   Flush
// Example: the unit square with one contour of 4, z 2 and triangles 0 1 2 0 2 3 under the
// default exponent 8 is 187 bits: 5A 42 01 00 88 40 00 A4 04 00 00 40 00 00 01 02 00 38 78 11
// 88 09 12 07. The empty building is 5A 42 01 00 08 00.
//
// Encoding fails (false, the stream so far kept) for an exponent outside -32..31, a null
// polygon, a minimum above 0x3FFFFFFF, a width above 31 or a negative contour size or triangle
// index. Decoding fails only on a wrong magic or version: a truncated stream reads zeros and
// gives fewer, shorter or zero-filled polygons. Objects are single-threaded.
#ifndef VISTARA_DIORAMA_BUILDING_Z_CODER_H_
#define VISTARA_DIORAMA_BUILDING_Z_CODER_H_

#include <string>
#include <vector>

#include "diorama/binary_coder.h"
#include "util/geometry3d/mesh/building_z.h"
#include "util/geometry3d/vector.h"

namespace loupe {

// Bytes and counts of the parts of a building stream. The header, exponent, polygon counts and
// heights are charged to none of the byte fields.
struct BuildingZEncoderStats {
  int total_bytes = 0;  // stream bytes so far: the mark RegisterStat measures from
  int point_bytes = 0;
  int contour_size_bytes = 0;
  int triangle_index_bytes = 0;
  int num_points = 0;
  int num_contour_sizes = 0;
  int num_triangle_indices = 0;

  // The seven numbers in the order above, separated by blanks.
  std::string AsString() const;
};

class BuildingZEncoder : public BinaryEncoder {
 public:
  static constexpr int kMagicSignature = 0x425A;
  static constexpr int kCodecVersion = 1;

  BuildingZEncoder() = default;

  // Appends the building's stream; read it through get_buffer, or buffer() and buffer_size().
  bool EncodeBuildingZ(const geometry3d::BuildingZ& building);

  // The quantisation exponent: the default 8 gives steps of 1/256.
  int point_bits() const { return point_bits_; }
  void set_point_bits(int bits) { point_bits_ = bits; }
  // 2^point_bits, reported ("factor>0") when it underflows to 0.
  double point_factor() const;
  const BuildingZEncoderStats& stats() const { return stats_; }

  // The parts of EncodeBuildingZ.
  void WriteHeader(int version) { WriteMagicAndVersion(kMagicSignature, version); }
  bool EncodeQuantization();
  bool EncodePolygonZ(const geometry3d::PolygonZ& polygon);
  bool EncodePoints(const std::vector<geometry3d::Vector2<double>>& points);
  bool EncodeContourSizes(const std::vector<int>& sizes);
  bool EncodeTriangleIndices(const std::vector<int>& indices);
  // Charges the bytes since the last mark to *stat and moves the mark to buffer_size().
  void RegisterStat(int* stat) { ChargeBytesSince(&stats_.total_bytes, stat); }

 private:
  int point_bits_ = 8;
  BuildingZEncoderStats stats_;
};

class BuildingZDecoder : public BinaryDecoder {
 public:
  BuildingZDecoder() = default;

  // Reads a whole stream (set by Init) and adds its polygons to those of *building.
  bool DecodeBuildingZ(geometry3d::BuildingZ* building);

  // The exponent of the last stream read (8 before any).
  int point_bits() const { return point_bits_; }
  double point_factor() const;

  // The parts of DecodeBuildingZ. ReadHeader gives the version, or -1 for a wrong magic.
  int ReadHeader() { return ReadMagicAndVersion(BuildingZEncoder::kMagicSignature); }
  bool DecodeQuantization();
  bool DecodePolygonZ(geometry3d::PolygonZ* polygon);
  bool DecodePoints(std::vector<geometry3d::Vector2<double>>* points);
  bool DecodeContourSizes(std::vector<int>* contour_sizes);
  bool DecodeTriangleIndices(std::vector<int>* triangle_indices);

 private:
  int point_bits_ = 8;
};

}  // namespace loupe

#endif  // VISTARA_DIORAMA_BUILDING_Z_CODER_H_
