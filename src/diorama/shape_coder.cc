#include "diorama/shape_coder.h"

#include <cmath>
#include <cstdint>

#include "base/logging.h"
#include "base/stringprintf.h"
#include "diorama/shape_coder1.h"
#include "diorama/shape_coder3.h"

namespace loupe {

namespace {

// The format classes of each version. Versions 1 and 2 share one format, 3 has its own; a
// version without a format gives null.
ShapeEncoder* NewEncoder(int codec_version) {
  if (codec_version == 1 || codec_version == 2) return new ShapeEncoder1;
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
  ShapeEncoder* encoder = NewEncoder(codec_version);
  VS_CHECK(encoder);
  if (encoder == nullptr) return nullptr;  // nothing to set up
  if (codec_version == 1 || codec_version == 2) encoder->set_codec_version(codec_version);
  VS_CHECK_EQ(encoder->codec_version(), codec_version);
  return encoder;
}

bool ShapeEncoder::EncodeToBuffer(const geometry3d::Shape& shape, std::string* buffer) {
  ShapeEncoder* encoder = CreateEncoder(kDefaultCodecVersion);
  if (encoder == nullptr) return false;
  const bool ok = encoder->EncodeShape(shape);
  encoder->get_buffer(buffer);
  delete encoder;
  return ok;
}

void ShapeEncoder::get_buffer(std::string* buffer) const {
  VS_CHECK(buffer);
  if (buffer == nullptr) return;  // nowhere to put the bytes
  buffer->clear();
  AppendBytes(buffer);
}

void ShapeEncoder::set_codec_version(int codec_version) {
  VS_CHECK_GT(codec_version, 0);
  VS_CHECK_LE(codec_version, kMaxCodecVersion);
  codec_version_ = codec_version;
}

void ShapeEncoder::WriteHeader() {
  WriteBits(kMagicSignature, 16);
  WriteBits(codec_version_, 16);
}

void ShapeEncoder::RegisterStat(int* stat) {
  VS_CHECK(stat);
  if (stat == nullptr) return;  // no statistic to charge
  const int size = buffer_size();
  *stat += size - stats_.total_bytes;
  stats_.total_bytes = size;
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

int ShapeDecoder::GetCodecVersionFromBuffer(const std::string& buffer) {
  return GetVersionFromHeader(buffer, ShapeEncoder::kMagicSignature);
}

bool ShapeDecoder::DecodeFromBuffer(const std::string& buffer, geometry3d::Shape* shape) {
  const int codec_version = GetCodecVersionFromBuffer(buffer);
  if (codec_version < 0) return false;
  ShapeDecoder* decoder = CreateDecoder(codec_version);
  if (decoder == nullptr) return false;
  decoder->set_buffer(buffer);
  const bool ok = decoder->DecodeShape(shape);
  delete decoder;
  return ok;
}

void ShapeDecoder::set_buffer(const std::string& buffer) {
  Init(buffer);
}

void ShapeDecoder::set_codec_version(int codec_version) {
  VS_CHECK_GT(codec_version, 0);
  VS_CHECK_LE(codec_version, ShapeEncoder::kMaxCodecVersion);
  codec_version_ = codec_version;
}

bool ShapeDecoder::ReadHeader() {
  if (ReadBits(16) == static_cast<uint32_t>(ShapeEncoder::kMagicSignature)) {
    set_codec_version(static_cast<int>(ReadBits(16)));
  } else {
    set_codec_version(-1);
  }
  return codec_version_ >= 1 && codec_version_ <= ShapeEncoder::kMaxCodecVersion;
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
