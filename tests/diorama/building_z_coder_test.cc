#include "diorama/building_z_coder.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "test_util.h"

namespace loupe {
namespace {

using geometry3d::BuildingZ;
using geometry3d::PolygonZ;
using vistara::testing::FromHex;
using vistara::testing::ScopedLogCapture;
using vistara::testing::SeededRandom;
using vistara::testing::ToHex;

constexpr char kUnitSquareHex[] = "5A 42 01 00 88 40 00 A4 04 00 00 40 00 00 01 02 00 38 78 11 88 09 12 07";

PolygonZ* AddUnitSquare(BuildingZ* building) {
  PolygonZ* p = building->AddNewPolygon();
  *p->mutable_points() = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
  *p->mutable_contour_sizes() = {4};
  *p->mutable_triangle_indices() = {0, 1, 2, 0, 2, 3};
  p->set_z(2);
  return p;
}

std::string Bytes(const BuildingZEncoder& e) { return std::string(e.buffer(), e.buffer_size()); }

bool Decode(const std::string& bytes, BuildingZ* building, BuildingZDecoder* decoder = nullptr) {
  BuildingZDecoder local;
  if (decoder == nullptr) decoder = &local;
  decoder->Init(bytes.data(), static_cast<int>(bytes.size()));
  return decoder->DecodeBuildingZ(building);
}

TEST(BuildingZCoderTest, GoldenStreams) {
  BuildingZ building;
  AddUnitSquare(&building);
  BuildingZEncoder encoder;
  ASSERT_TRUE(encoder.EncodeBuildingZ(building));
  EXPECT_EQ(ToHex(Bytes(encoder)), kUnitSquareHex);
  // The mark starts at byte 6 (43 bits); the points end at bit 140, byte 18. The z field goes
  // to no statistic but the total.
  EXPECT_EQ(encoder.stats().AsString(), "24 12 1 3 4 1 6");

  BuildingZ decoded;
  ASSERT_TRUE(Decode(Bytes(encoder), &decoded));
  EXPECT_TRUE(decoded.IsEqual(building));

  BuildingZEncoder empty;
  ASSERT_TRUE(empty.EncodeBuildingZ(BuildingZ()));
  EXPECT_EQ(ToHex(Bytes(empty)), "5A 42 01 00 08 00");
  EXPECT_EQ(empty.num_bits(), 48u);  // 43 bits and the flush
}

TEST(BuildingZCoderTest, RandomRoundTrips) {
  SeededRandom rng;
  for (int round = 0; round < 100; ++round) {
    BuildingZ building;
    const int num_polygons = rng.Int(0, 4);
    for (int k = 0; k < num_polygons; ++k) {
      PolygonZ* p = building.AddNewPolygon();
      const double scale = rng.Int(0, 1) ? 1000 : 1;
      for (int i = rng.Int(0, 12); i > 0; --i) {
        p->mutable_points()->push_back({rng.Double(-scale, scale), rng.Double(-scale, scale)});
      }
      for (int i = rng.Int(0, 3); i > 0; --i) p->mutable_contour_sizes()->push_back(rng.Int(0, 40));
      for (int i = 3 * rng.Int(0, 5); i > 0; --i) {
        p->mutable_triangle_indices()->push_back(rng.Int(0, 20));
      }
      p->set_z(rng.Double(-50, 200));
    }
    const int bits = rng.Int(-2, 12);
    BuildingZEncoder encoder;
    encoder.set_point_bits(bits);
    ASSERT_TRUE(encoder.EncodeBuildingZ(building)) << round;
    EXPECT_EQ(encoder.stats().total_bytes, encoder.buffer_size());

    BuildingZ decoded;
    BuildingZDecoder decoder;
    ASSERT_TRUE(Decode(Bytes(encoder), &decoded, &decoder));
    EXPECT_EQ(decoder.point_bits(), bits);
    ASSERT_EQ(decoded.polygons().size(), building.polygons().size());
    const double step = 1.0 / decoder.point_factor();
    for (int k = 0; k < num_polygons; ++k) {
      const PolygonZ& a = *building.polygons()[k];
      const PolygonZ& b = *decoded.polygons()[k];
      ASSERT_EQ(a.points().size(), b.points().size());
      for (size_t i = 0; i < a.points().size(); ++i) {
        EXPECT_NEAR(a.points()[i].x, b.points()[i].x, step / 2 + 1e-9);
        EXPECT_NEAR(a.points()[i].y, b.points()[i].y, step / 2 + 1e-9);
      }
      EXPECT_NEAR(a.z(), b.z(), step / 2 + 1e-9);
      EXPECT_EQ(a.contour_sizes(), b.contour_sizes());
      EXPECT_EQ(a.triangle_indices(), b.triangle_indices());
    }
  }
}

TEST(BuildingZCoderTest, LimitsAndFieldValues) {
  // The exponent must lie in -32..31; out of it the stream stops after the header.
  for (const int bits : {32, -33, 31, -32}) {
    BuildingZEncoder encoder;
    encoder.set_point_bits(bits);
    EXPECT_EQ(encoder.EncodeBuildingZ(BuildingZ()), bits < 32 && bits > -33) << bits;
    if (bits == 32 || bits == -33) {
      EXPECT_EQ(encoder.buffer_size(), 4);
    }
  }

  // A polygon without points has no minimums or widths but its other fields; z -0.5 is -128,
  // the VarInt 255; indices all 0 have a width of 1.
  BuildingZ building;
  PolygonZ* p = building.AddNewPolygon();
  p->set_z(-0.5);
  *p->mutable_triangle_indices() = {0, 0, 0};
  BuildingZEncoder encoder;
  ASSERT_TRUE(encoder.EncodeBuildingZ(building));
  const std::string bytes = Bytes(encoder);
  BinaryDecoder fields;
  fields.Init(bytes.data(), static_cast<int>(bytes.size()));
  fields.ReadBits(32);
  EXPECT_EQ(fields.ReadInt(6), 8);
  EXPECT_EQ(fields.ReadVarUInt(4), 1u);
  EXPECT_EQ(fields.ReadVarUInt(4), 0u);    // points
  EXPECT_EQ(fields.ReadVarUInt(4), 255u);  // z, zigzag of -128
  EXPECT_EQ(fields.ReadVarUInt(4), 0u);    // contours
  EXPECT_EQ(fields.ReadVarUInt(4), 3u);
  EXPECT_EQ(fields.ReadBits(5), 1u);
  EXPECT_EQ(fields.ReadBits(3), 0u);

  // Negative contour sizes or indices, minimums above 0x3FFFFFFF and wide ranges fail.
  const auto fails = [](void (*damage)(PolygonZ*)) {
    BuildingZ b;
    damage(AddUnitSquare(&b));
    BuildingZEncoder e;
    return !e.EncodeBuildingZ(b);
  };
  EXPECT_TRUE(fails([](PolygonZ* q) { (*q->mutable_contour_sizes())[0] = -1; }));
  EXPECT_TRUE(fails([](PolygonZ* q) { (*q->mutable_triangle_indices())[4] = -1; }));
  EXPECT_TRUE(fails([](PolygonZ* q) {
    for (auto& v : *q->mutable_points()) v.x += 0x40000000 / 256.0;
  }));
  EXPECT_TRUE(fails([](PolygonZ* q) { (*q->mutable_points())[0].y = -0x7FFFFFF0 / 256.0; }));
  EXPECT_FALSE(fails([](PolygonZ* q) {
    for (auto& v : *q->mutable_points()) v.x += 0x3FFFFFFF / 256.0;
  }));

  // Another version is refused before anything is added.
  std::string v2 = FromHex(kUnitSquareHex);
  v2[2] = 2;
  BuildingZ untouched;
  AddUnitSquare(&untouched);
  BuildingZDecoder decoder;
  decoder.Init(v2.data(), static_cast<int>(v2.size()));
  EXPECT_EQ(decoder.ReadHeader(), 2);
  EXPECT_FALSE(Decode(v2, &untouched));
  EXPECT_EQ(untouched.polygons().size(), 1u);
  v2[0] = 0;
  EXPECT_FALSE(Decode(v2, &untouched));
}

TEST(BuildingZCoderTest, TruncatedAndDamagedStreams) {
  const std::string golden = FromHex(kUnitSquareHex);
  BuildingZ full;
  AddUnitSquare(&full);
  for (size_t n = 0; n <= golden.size(); ++n) {
    SCOPED_TRACE(n);
    auto bytes = std::make_unique<char[]>(n);  // exact size: ASan sees any read beyond
    golden.copy(bytes.get(), n);
    BuildingZDecoder decoder;
    decoder.Init(bytes.get(), static_cast<int>(n));
    BuildingZ building;
    // Past the header a cut reads zeros: fewer, shorter or zero-filled polygons, never false.
    EXPECT_EQ(decoder.DecodeBuildingZ(&building), n >= 4);
    EXPECT_EQ(building.IsEqual(full), n == golden.size());
  }

  // A polygon count beyond the input reads as 0.
  BuildingZEncoder encoder;
  encoder.WriteHeader(1);
  encoder.EncodeQuantization();
  encoder.WriteVarUInt(50000000, 4);
  encoder.Flush();
  BuildingZ building;
  EXPECT_TRUE(Decode(Bytes(encoder) + std::string(8, '\0'), &building));
  EXPECT_TRUE(building.polygons().empty());

  ScopedLogCapture capture;
  BuildingZDecoder decoder;
  EXPECT_FALSE(decoder.DecodeBuildingZ(nullptr));
  EXPECT_EQ(capture.texts(), std::vector<std::string>{"Check failed: building"});
}

}  // namespace
}  // namespace loupe
