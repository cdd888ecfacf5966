// The frame of the shape stream: header, factories by version, quantisation settings, the
// quantised fields shared by the versions, and what each part of a stream cost.
//
// Header, the first 32 bits of every shape stream (fields of binary_coder.h, low byte first):
//
//   byte 0..1  16 bits  kMagicSignature 0x4553: the bytes 53 45
//   byte 2..3  16 bits  codec version (1..3): version 3 is 03 00
//
// Quantised fields, M = 2^bits - 1 and no clamping (WriteBits keeps the low bits, so a colour
// component of 2.0 travels as 510 & 255 = 254):
//   FloatUnit(v, bits)        lrintf(float(M) * v) in `bits` bits; read back as n / M
//   FloatURange(v, max, bits) lrintf(float(M) * v / max); read back as n * max / M
//   ColorRGB888(c)            FloatUnit of red, green, blue with 8 bits each
//
// ShapeEncoder and ShapeDecoder are abstract; the formats derive from them. The header, the
// version and the whole-buffer operations are the stream frame's (binary_coder.h). CreateEncoder
// and CreateDecoder return a new object the caller deletes, or null for a version without a
// format.
// Failure is by result (false, null, -1); checks report "Check failed: ..." and go on. Coder
// objects are single-threaded.
#ifndef VISTARA_DIORAMA_SHAPE_CODER_H_
#define VISTARA_DIORAMA_SHAPE_CODER_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "diorama/binary_coder.h"
#include "util/geometry3d/mesh/shape.h"
#include "util/geometry3d/vector.h"

namespace loupe {

// 2^bits - 1, the largest value of a `bits`-bit field: the M of the quantised fields. Bits
// outside 0..32 are clamped so that the shift stays defined.
constexpr uint64_t MaxQuantised(int bits) {
  return (uint64_t{1} << (bits < 0 ? 0 : bits > 32 ? 32 : bits)) - 1;
}

// The widest per-axis field a stream may declare; wider ones are refused.
constexpr int kMaxAxisWidth = 30;

// The three attributes an index set refers to, in the order the streams write their lists.
enum ShapeAttribute { kPoints, kNormals, kTexCoords, kNumShapeAttributes };
constexpr ShapeAttribute kShapeAttributes[] = {kPoints, kNormals, kTexCoords};

// The index list of `attribute` in `index_set`.
inline const std::vector<int>& AttributeIndices(const geometry3d::IndexSet& index_set,
                                                ShapeAttribute attribute) {
  return attribute == kPoints    ? index_set.point_indices()
         : attribute == kNormals ? index_set.normal_indices()
                                 : index_set.tex_coord_indices();
}
inline std::vector<int>* MutableAttributeIndices(geometry3d::IndexSet* index_set,
                                                 ShapeAttribute attribute) {
  return attribute == kPoints    ? index_set->mutable_point_indices()
         : attribute == kNormals ? index_set->mutable_normal_indices()
                                 : index_set->mutable_tex_coord_indices();
}

// Bytes and counts of each part of an encoded stream.
struct ShapeEncoderStats {
  int total_bytes = 0;  // stream bytes so far: the mark RegisterStat measures from
  int material_bytes = 0;
  int point_bytes = 0;
  int normal_bytes = 0;
  int tex_coord_bytes = 0;
  int point_index_bytes = 0;
  int normal_index_bytes = 0;
  int tex_coord_index_bytes = 0;
  int num_materials = 0;
  int num_points = 0;  // all points of the shape, also where a format writes only the used ones
  int num_normals = 0;
  int num_tex_coords = 0;
  int num_point_indices = 0;
  int num_normal_indices = 0;
  int num_tex_coord_indices = 0;

  // The fifteen numbers in the order above, separated by blanks.
  std::string AsString() const;
};

// The shape stream's header and versions.
struct ShapeStreamFamily {
  static constexpr int kMagicSignature = 0x4553;
  static constexpr int kDefaultCodecVersion = 3;
  static constexpr int kMaxCodecVersion = 3;
  static constexpr const char* kMaxVersionName = "ShapeEncoder::kMaxCodecVersion";
};

class ShapeEncoder : public VersionedEncoder<ShapeStreamFamily> {
 public:
  ShapeEncoder() = default;
  virtual ~ShapeEncoder() = default;
  // Appends the shape's stream; false when the shape can't be encoded (the stream so far stays).
  virtual bool EncodeShape(const geometry3d::Shape& shape) = 0;

  // A new encoder for `codec_version` (1 and 2 share a format, 3 has its own), or null.
  static ShapeEncoder* CreateEncoder(int codec_version);
  // Encodes with the default settings into *buffer (also on failure: the partial stream).
  static bool EncodeToBuffer(const geometry3d::Shape& shape, std::string* buffer) {
    return EncodeToBufferWith(CreateEncoder(kDefaultCodecVersion), buffer, shape);
  }

  double point_unit() const { return point_unit_; }
  void set_point_unit(double v) { point_unit_ = v; }
  int point_bits() const { return point_bits_; }
  void set_point_bits(int v) { point_bits_ = v; }
  int normal_bits() const { return normal_bits_; }
  void set_normal_bits(int v) { normal_bits_ = v; }
  int tex_coord_bits() const { return tex_coord_bits_; }
  void set_tex_coord_bits(int v) { tex_coord_bits_ = v; }
  const ShapeEncoderStats& stats() const { return stats_; }
  ShapeEncoderStats* mutable_stats() { return &stats_; }

  // For the formats.
  // Charges the bytes since the last mark to *stat and moves the mark to buffer_size().
  void RegisterStat(int* stat) { ChargeBytesSince(&stats_.total_bytes, stat); }
  // After an index list of `attribute`: charges its bytes and counts its `size` indices.
  void RegisterIndexStat(ShapeAttribute attribute, size_t size);
  void WriteFloatUnit(float v, int bits);
  // A `max` of 0 reports "Check failed: " and goes on.
  void WriteFloatURange(float value, float max, int bits);
  void WriteColorRGB888(const geometry3d::Vector3<float>& c);

 private:
  double point_unit_ = 1.0;  // version 1: the point range
  int point_bits_ = 8;
  int normal_bits_ = 8;
  int tex_coord_bits_ = 8;
  ShapeEncoderStats stats_;
};

class ShapeDecoder : public VersionedDecoder<ShapeStreamFamily> {
 public:
  ShapeDecoder() = default;
  virtual ~ShapeDecoder() = default;
  // Reads a whole stream, header included, into *shape.
  virtual bool DecodeShape(geometry3d::Shape* shape) = 0;

  // A new decoder for `codec_version`, or null. The version is set by the header read.
  static ShapeDecoder* CreateDecoder(int codec_version);
  // False for a buffer GetCodecVersionFromBuffer refuses, a negative version or a version
  // without a decoder; otherwise what DecodeShape returns.
  static bool DecodeFromBuffer(const std::string& buffer, geometry3d::Shape* shape) {
    return DecodeFromBufferWith<ShapeDecoder>(buffer, shape);
  }

  double point_unit() const { return point_unit_; }
  void set_point_unit(double v) { point_unit_ = v; }
  int point_bits() const { return point_bits_; }
  void set_point_bits(int v) { point_bits_ = v; }
  int normal_bits() const { return normal_bits_; }
  void set_normal_bits(int v) { normal_bits_ = v; }
  int tex_coord_bits() const { return tex_coord_bits_; }
  void set_tex_coord_bits(int v) { tex_coord_bits_ = v; }

  // For the formats.
  float ReadFloatUnit(int bits);
  float ReadFloatURange(float max, int bits);
  geometry3d::Vector3<float> ReadColorRGB888();

 private:
  double point_unit_ = 1.0;
  int point_bits_ = 8;
  int normal_bits_ = 8;
  int tex_coord_bits_ = 8;
};

}  // namespace loupe

#endif  // VISTARA_DIORAMA_SHAPE_CODER_H_
