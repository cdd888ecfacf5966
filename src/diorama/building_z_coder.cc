#include "diorama/building_z_coder.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "base/logging.h"
#include "base/stringprintf.h"

namespace loupe {

using geometry3d::BuildingZ;
using geometry3d::PolygonZ;
using geometry3d::Vector2;

namespace {

constexpr int kMaxMinimum = 0x3FFFFFFF;
constexpr int kMaxWidth = 31;

double Factor(int point_bits) {
  const double factor = std::pow(2.0, point_bits);
  VS_CHECK_GT(factor, 0);
  return factor;
}

}  // namespace

std::string BuildingZEncoderStats::AsString() const {
  return vistara::base::StringPrintf("%d %d %d %d %d %d %d", total_bytes, point_bytes,
                                     contour_size_bytes, triangle_index_bytes, num_points,
                                     num_contour_sizes, num_triangle_indices);
}

// ---- BuildingZEncoder ----

double BuildingZEncoder::point_factor() const { return Factor(point_bits_); }

bool BuildingZEncoder::EncodeBuildingZ(const BuildingZ& building) {
  WriteHeader(kCodecVersion);
  if (!EncodeQuantization()) return false;
  WriteVarUInt(static_cast<int>(building.polygons().size()), 4);
  for (const PolygonZ* polygon : building.polygons()) {
    if (polygon == nullptr || !EncodePolygonZ(*polygon)) return false;
  }
  Flush();
  RegisterStat(&stats_.total_bytes);
  return true;
}

bool BuildingZEncoder::EncodeQuantization() {
  // -32..31 is 0..63 after adding 32, in unsigned arithmetic so that no int overflows.
  if (static_cast<unsigned>(point_bits_) + 32u > 63u) return false;
  WriteBits(point_bits_, 6);
  return true;
}

bool BuildingZEncoder::EncodePolygonZ(const PolygonZ& polygon) {
  if (!EncodePoints(polygon.points())) return false;
  WriteVarInt(static_cast<int>(std::lrint(polygon.z() * point_factor())), 4);
  return EncodeContourSizes(polygon.contour_sizes()) &&
         EncodeTriangleIndices(polygon.triangle_indices());
}

bool BuildingZEncoder::EncodePoints(const std::vector<Vector2<double>>& points) {
  RegisterStat(&stats_.total_bytes);
  const int n = static_cast<int>(points.size());
  WriteVarUInt(n, 4);
  if (n > 0) {
    // Each point is quantised twice, for the range and for writing, rather than kept.
    const double factor = point_factor();
    int64_t lo[2], hi[2];
    const Vector2<int> first = (points[0] * factor).IRound();
    for (int a = 0; a < 2; ++a) lo[a] = hi[a] = first[a];
    for (const Vector2<double>& p : points) {
      const Vector2<int> q = (p * factor).IRound();
      for (int a = 0; a < 2; ++a) {
        lo[a] = std::min<int64_t>(lo[a], q[a]);
        hi[a] = std::max<int64_t>(hi[a], q[a]);
      }
    }
    if (lo[0] > kMaxMinimum || lo[1] > kMaxMinimum) return false;
    WriteVarInt(static_cast<int>(lo[0]), 4);
    WriteVarInt(static_cast<int>(lo[1]), 4);
    const int widths[2] = {RangeBitsRequired(hi[0] - lo[0]), RangeBitsRequired(hi[1] - lo[1])};
    if (widths[0] > kMaxWidth || widths[1] > kMaxWidth) return false;
    WriteBits(widths[0], 5);
    WriteBits(widths[1], 5);
    Reserve(int64_t{n} * (widths[0] + widths[1]));
    for (const Vector2<double>& p : points) {
      const Vector2<int> q = (p * factor).IRound();
      for (int a = 0; a < 2; ++a) WriteBits(static_cast<int>(q[a] - lo[a]), widths[a]);
    }
  }
  RegisterStat(&stats_.point_bytes);
  stats_.num_points += n;
  return true;
}

bool BuildingZEncoder::EncodeContourSizes(const std::vector<int>& sizes) {
  RegisterStat(&stats_.total_bytes);
  const int n = static_cast<int>(sizes.size());
  WriteVarUInt(n, 4);
  for (const int size : sizes) {
    if (size < 0) return false;
    WriteVarUInt(size, 4);
  }
  RegisterStat(&stats_.contour_size_bytes);
  stats_.num_contour_sizes += n;
  return true;
}

bool BuildingZEncoder::EncodeTriangleIndices(const std::vector<int>& indices) {
  RegisterStat(&stats_.total_bytes);
  const int n = static_cast<int>(indices.size());
  WriteVarUInt(n, 4);
  if (n > 0) {
    const auto [lo, hi] = std::minmax_element(indices.begin(), indices.end());
    if (*lo < 0) return false;
    const int width = BitsRequired(*hi);
    if (width > kMaxWidth) return false;
    WriteBits(width, 5);
    Reserve(int64_t{n} * width);
    for (const int i : indices) WriteBits(i, width);
  }
  RegisterStat(&stats_.triangle_index_bytes);
  stats_.num_triangle_indices += n;
  return true;
}

// ---- BuildingZDecoder ----

double BuildingZDecoder::point_factor() const { return Factor(point_bits_); }

bool BuildingZDecoder::DecodeBuildingZ(BuildingZ* building) {
  VS_CHECK(building);
  if (building == nullptr) return false;
  if (ReadHeader() != BuildingZEncoder::kCodecVersion) return false;
  DecodeQuantization();
  // The count is signed: one of 2^31 or more reads no polygons.
  const int n = static_cast<int>(BoundedCount(ReadVarUInt(4)));
  for (int i = 0; i < n; ++i) DecodePolygonZ(building->AddNewPolygon());
  return true;
}

bool BuildingZDecoder::DecodeQuantization() {
  point_bits_ = ReadInt(6);
  return true;
}

bool BuildingZDecoder::DecodePolygonZ(PolygonZ* polygon) {
  VS_CHECK(polygon);
  if (polygon == nullptr) return false;
  DecodePoints(polygon->mutable_points());
  polygon->set_z(ReadVarInt(4) / point_factor());
  DecodeContourSizes(polygon->mutable_contour_sizes());
  DecodeTriangleIndices(polygon->mutable_triangle_indices());
  return true;
}

bool BuildingZDecoder::DecodePoints(std::vector<Vector2<double>>* points) {
  VS_CHECK(points);
  if (points == nullptr) return false;
  const uint32_t n = BoundedCount(ReadVarUInt(4));
  points->resize(n);
  if (static_cast<int32_t>(n) < 1) return true;
  const uint32_t min_x = static_cast<uint32_t>(ReadVarInt(4));
  const uint32_t min_y = static_cast<uint32_t>(ReadVarInt(4));
  const int width_x = static_cast<int>(ReadBits(5));
  const int width_y = static_cast<int>(ReadBits(5));
  const double factor = point_factor();
  for (Vector2<double>& p : *points) {
    // The minimum is added as a 32-bit integer, modulo 2^32 as the encoder subtracted it.
    p.x = static_cast<int>(ReadBits(width_x) + min_x) / factor;
    p.y = static_cast<int>(ReadBits(width_y) + min_y) / factor;
  }
  return true;
}

bool BuildingZDecoder::DecodeContourSizes(std::vector<int>* contour_sizes) {
  VS_CHECK(contour_sizes);
  if (contour_sizes == nullptr) return false;
  contour_sizes->resize(BoundedCount(ReadVarUInt(4)));
  for (int& size : *contour_sizes) size = static_cast<int>(ReadVarUInt(4));
  return true;
}

bool BuildingZDecoder::DecodeTriangleIndices(std::vector<int>* triangle_indices) {
  VS_CHECK(triangle_indices);
  if (triangle_indices == nullptr) return false;
  const uint32_t n = BoundedCount(ReadVarUInt(4));
  triangle_indices->resize(n);
  if (static_cast<int32_t>(n) < 1) return true;
  const int width = static_cast<int>(ReadBits(5));
  for (int& i : *triangle_indices) i = static_cast<int>(ReadBits(width));
  return true;
}

}  // namespace loupe
