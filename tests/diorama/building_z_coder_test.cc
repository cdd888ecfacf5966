#include "diorama/building_z_coder.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "diorama/stream_test_util.h"
#include "test_util.h"

namespace loupe {
namespace {

using geometry3d::BuildingZ;
using geometry3d::PolygonZ;
using geometry3d::Vector2;
using vistara::testing::SeededRandom;
using vistara::testing::ToHex;

// The stream of `building` under `point_bits`, or "false" when it can't be encoded.
std::string Encode(const BuildingZ& building, int point_bits = 8) {
  BuildingZEncoder encoder;
  encoder.set_point_bits(point_bits);
  if (!encoder.EncodeBuildingZ(building)) return "false";
  EXPECT_EQ(encoder.stats().total_bytes, encoder.buffer_size());
  return test_streams::Buffer(encoder);
}

// What is decoded encodes to the same bytes, under the exponent the stream carries.
TEST(BuildingZCoderTest, RandomRoundTrips) {
  SeededRandom rng;
  for (int round = 0; round < 100; ++round) {
    SCOPED_TRACE(round);
    const int bits = rng.Int(-2, 12);
    const auto length = [&rng] { return rng.Double(-1000, 1000); };
    BuildingZ building;
    for (int k = rng.Int(0, 4); k > 0; --k) {
      PolygonZ* p = building.AddNewPolygon();
      for (int i = rng.Int(0, 12); i > 0; --i) p->mutable_points()->push_back({length(), length()});
      for (int i = rng.Int(0, 3); i > 0; --i) p->mutable_contour_sizes()->push_back(rng.Int(0, 40));
      for (int i = 3 * rng.Int(0, 5); i > 0; --i) p->mutable_triangle_indices()->push_back(rng.Int(0, 20));
      p->set_z(length());
    }
    const std::string bytes = Encode(building, bits);
    BuildingZDecoder decoder;
    decoder.Init(bytes);
    BuildingZ decoded;
    ASSERT_TRUE(decoder.DecodeBuildingZ(&decoded));
    EXPECT_EQ(decoder.point_bits(), bits);
    EXPECT_EQ(Encode(decoded, bits), bytes);
  }
}

TEST(BuildingZCoderTest, LimitsAndFieldValues) {
  // The exponent must lie in -32..31.
  for (const int bits : {31, -32, 32, -33}) {
    EXPECT_EQ(Encode(BuildingZ(), bits) != "false", bits == 31 || bits == -32) << bits;
  }
  // A polygon without points has no minimums or widths but its other fields: z -0.5 as the
  // VarInt 255 (15 bits), no contours, 3 indices all 0 of width 1.
  BuildingZ building;
  PolygonZ* p = building.AddNewPolygon();
  p->set_z(-0.5);
  *p->mutable_triangle_indices() = {0, 0, 0};
  EXPECT_EQ(ToHex(Encode(building)), "5A 42 01 00 88 00 BD 03 13 00");

  // Refused: a negative contour size or index, a minimum above 0x3FFFFFFF, a width above 31.
  const auto encodes = [](std::vector<Vector2<double>> points, int size, int index) {
    BuildingZ b;
    PolygonZ* q = b.AddNewPolygon();
    *q->mutable_points() = std::move(points);
    *q->mutable_contour_sizes() = {size};
    *q->mutable_triangle_indices() = {index};
    return Encode(b) != "false";
  };
  EXPECT_TRUE(encodes({{0x3FFFFFFF / 256.0, 0}}, 1, 0));
  EXPECT_FALSE(encodes({{0x40000000 / 256.0, 0}}, 1, 0));
  EXPECT_FALSE(encodes({{0, 1000}, {0, -0x7FFFFFF0 / 256.0}}, 1, 0));
  EXPECT_FALSE(encodes({{0, 0}}, -1, 0));
  EXPECT_FALSE(encodes({{0, 0}}, 1, -1));

  BuildingZDecoder decoder;
  EXPECT_FALSE(decoder.DecodeTriangleIndices(nullptr));
}

}  // namespace
}  // namespace loupe
