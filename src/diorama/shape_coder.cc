#include "diorama/shape_coder.h"

#include <cmath>
#include <cstdint>

#include "base/logging.h"
#include "base/stringprintf.h"
#include "diorama/shape_coder1.h"
#include "diorama/shape_coder3.h"

namespace loupe {

namespace {

// The format classes of each version. Versions 1 and 2 share one format, which writes the
// version it is given; 3 has its own. A version without a format gives null.
ShapeEncoder* NewEncoder(int codec_version) {
  if (codec_version == 1 || codec_version == 2) {
    ShapeEncoder* encoder = new ShapeEncoder1;
    encoder->set_codec_version(codec_version);
    return encoder;
  }
  if (codec_version == 3) return new ShapeEncoder3;
  return nullptr;
}
ShapeDecoder* NewDecoder(int codec_version) {
  if (codec_version == 1 || codec_version == 2) return new ShapeDecoder1;
  if (codec_version == 3) return new ShapeDecoder3;
  return nullptr;
}

}  // namespace

std::string ShapeEncoderStats::AsString() const {
  return vistara::base::StringPrintf(
      "%d %d %d %d %d %d %d %d %d %d %d %d %d %d %d", total_bytes, material_bytes, point_bytes,
      normal_bytes, tex_coord_bytes, point_index_bytes, normal_index_bytes, tex_coord_index_bytes,
      num_materials, num_points, num_normals, num_tex_coords, num_point_indices,
      num_normal_indices, num_tex_coord_indices);
}

// ---- ShapeEncoder ----

ShapeEncoder* ShapeEncoder::CreateEncoder(int codec_version) {
  return CheckCreated(NewEncoder(codec_version), codec_version);
}

void ShapeEncoder::RegisterIndexStat(ShapeAttribute attribute, size_t size) {
  static constexpr int ShapeEncoderStats::*kBytes[] = {&ShapeEncoderStats::point_index_bytes,
                                                       &ShapeEncoderStats::normal_index_bytes,
                                                       &ShapeEncoderStats::tex_coord_index_bytes};
  static constexpr int ShapeEncoderStats::*kCounts[] = {&ShapeEncoderStats::num_point_indices,
                                                        &ShapeEncoderStats::num_normal_indices,
                                                        &ShapeEncoderStats::num_tex_coord_indices};
  RegisterStat(&(stats_.*kBytes[attribute]));
  stats_.*kCounts[attribute] += static_cast<int>(size);
}

void ShapeEncoder::WriteFloatUnit(float v, int bits) {
  // The product is rounded to single precision before lrintf (ties to even); the long result
  // converts to int modulo 2^32 and WriteBits keeps the low bits: no clamping.
  const float product = static_cast<float>(MaxQuantised(bits)) * v;
  WriteBits(static_cast<int>(std::lrintf(product)), bits);
}

void ShapeEncoder::WriteFloatURange(float value, float max, int bits) {
  if (max == 0.0f) VS_LOG(FATAL) << "Check failed: ";
  const float product = static_cast<float>(MaxQuantised(bits)) * value;
  WriteBits(static_cast<int>(std::lrintf(product / max)), bits);
}

void ShapeEncoder::WriteColorRGB888(const geometry3d::Vector3<float>& c) {
  WriteFloatUnit(c.x, 8);
  WriteFloatUnit(c.y, 8);
  WriteFloatUnit(c.z, 8);
}

// ---- ShapeDecoder ----

ShapeDecoder* ShapeDecoder::CreateDecoder(int codec_version) {
  ShapeDecoder* decoder = NewDecoder(codec_version);
  VS_CHECK(decoder);
  return decoder;
}

float ShapeDecoder::ReadFloatUnit(int bits) {
  return static_cast<float>(ReadBits(bits)) / static_cast<float>(MaxQuantised(bits));
}

float ShapeDecoder::ReadFloatURange(float max, int bits) {
  if (max == 0.0f) VS_LOG(FATAL) << "Check failed: ";
  return static_cast<float>(ReadBits(bits)) * max / static_cast<float>(MaxQuantised(bits));
}

geometry3d::Vector3<float> ShapeDecoder::ReadColorRGB888() {
  // One statement per component: red, green, blue in stream order.
  const float r = ReadFloatUnit(8);
  const float g = ReadFloatUnit(8);
  const float b = ReadFloatUnit(8);
  return geometry3d::Vector3<float>(r, g, b);
}

}  // namespace loupe
