#include "diorama/shape_coder1.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "diorama/shape_test_util.h"
#include "test_util.h"

namespace loupe {
namespace {

using geometry3d::IndexSet;
using geometry3d::Material;
using geometry3d::Shape;
using geometry3d::Vector3;
using test_shapes::MakeRandomShape;
using test_shapes::MakeTriangle;
using vistara::testing::FromHex;
using vistara::testing::ScopedLogCapture;
using vistara::testing::SeededRandom;
using vistara::testing::ToHex;

// Three points, one triangle, no material, version 1: axes x 0 255 0, y 0 0 255, z 0 0 0.
constexpr char kTriangleHex[] =
    "53 45 01 00 03 00 00 00 08 00 00 00 00 00 00 FE 07 00 00 00 00 00 00 00 00 00 00 00 00 A1 "
    "00 00 E0 1F 00 C0 3F 00 00 00 00 00 00 00 00 00 00 00 80 00 00 00 00 80 FF FF 01 00 00 00 "
    "00 00 00 00 41 02 00 00 00 00 00 00 00 00";

// Encodes with a fresh encoder of `version`, settings applied by `setup`.
template <class Setup>
std::string Encode(int version, const Shape& shape, bool* ok, Setup setup) {
  std::unique_ptr<ShapeEncoder> encoder(ShapeEncoder::CreateEncoder(version));
  setup(encoder.get());
  return test_shapes::EncodeWith(encoder.get(), shape, ok);
}
std::string Encode(int version, const Shape& shape, bool* ok) {
  return Encode(version, shape, ok, [](ShapeEncoder*) {});
}

TEST(ShapeCoder1Test, GoldenStreams) {
  Shape shape;
  MakeTriangle(&shape);
  std::unique_ptr<ShapeEncoder> encoder(ShapeEncoder::CreateEncoder(1));
  ASSERT_TRUE(encoder->EncodeShape(shape));
  std::string buffer;
  encoder->get_buffer(&buffer);
  EXPECT_EQ(ToHex(buffer), kTriangleHex);
  EXPECT_EQ(buffer.size(), 74u);
  // Header 4; points 33 (263 bits: count, bits, unit, minimums, widths, 51 bits of records);
  // three 4-byte counts; the index set count and its head go with the point list.
  EXPECT_EQ(encoder->stats().AsString(), "74 4 33 4 4 17 4 4 0 3 0 0 3 0 0");

  Shape decoded;
  ASSERT_TRUE(ShapeDecoder::DecodeFromBuffer(buffer, &decoded));
  EXPECT_TRUE(decoded.IsEqual(shape));
  EXPECT_EQ(decoded.points(), shape.points());
  EXPECT_EQ(decoded.index_sets()[0]->point_indices(), (std::vector<int>{0, 1, 2}));

  // The empty shape: the header and five zero counts.
  bool ok = false;
  const std::string empty = Encode(1, Shape(), &ok);
  EXPECT_TRUE(ok);
  EXPECT_EQ(ToHex(empty), "53 45 01 00 " + ToHex(std::string(20, '\0')));
  EXPECT_TRUE(ShapeDecoder::DecodeFromBuffer(empty, &decoded));

  // A bare encoder keeps version 3 in its header in front of this body.
  ShapeEncoder1 bare;
  ASSERT_TRUE(bare.EncodeShape(shape));
  bare.get_buffer(&buffer);
  EXPECT_EQ(buffer.substr(0, 4), FromHex("53 45 03 00"));
}

TEST(ShapeCoder1Test, RandomRoundTripsKeepStructure) {
  SeededRandom rng;
  for (int round = 0; round < 200; ++round) {
    const int version = 1 + round % 2;
    Shape shape;
    MakeRandomShape(&rng, &shape);
    bool ok = false;
    std::unique_ptr<ShapeEncoder> encoder(ShapeEncoder::CreateEncoder(version));
    ASSERT_TRUE(encoder->EncodeShape(shape)) << round;
    std::string buffer;
    encoder->get_buffer(&buffer);
    EXPECT_EQ(encoder->stats().total_bytes, static_cast<int>(buffer.size()));
    EXPECT_EQ(Encode(version, shape, &ok), buffer);  // deterministic

    Shape decoded;
    ASSERT_TRUE(ShapeDecoder::DecodeFromBuffer(buffer, &decoded)) << round;
    // Pools keep their order and size; values come back within half a step of 1/255.
    ASSERT_EQ(decoded.points().size(), shape.points().size());
    for (size_t k = 0; k < shape.points().size(); ++k) {
      for (int a = 0; a < 3; ++a) {
        EXPECT_NEAR(decoded.points()[k][a], shape.points()[k][a], 0.5 / 255 + 1e-9);
      }
    }
    ASSERT_EQ(decoded.normals().size(), shape.normals().size());
    for (size_t k = 0; k < shape.normals().size(); ++k) {
      EXPECT_NEAR(decoded.normals()[k].z, shape.normals()[k].z, 0.5 / 255 + 1e-6);
    }
    ASSERT_EQ(decoded.tex_coords().size(), shape.tex_coords().size());
    for (size_t k = 0; k < shape.tex_coords().size(); ++k) {
      EXPECT_NEAR(decoded.tex_coords()[k].y, shape.tex_coords()[k].y, 0.5 / 255 + 1e-6);
    }
    // Version 1 carries three colours, shininess and the texture; version 2 all the rest.
    ASSERT_EQ(decoded.materials().size(), shape.materials().size());
    for (size_t i = 0; i < shape.materials().size(); ++i) {
      const Material& a = *shape.materials()[i];
      const Material& b = *decoded.materials()[i];
      EXPECT_NEAR(a.specular_color().x, b.specular_color().x, 0.5 / 255 + 1e-6);
      EXPECT_NEAR(a.shininess(), b.shininess(), 64.0 / 255 + 1e-4);
      EXPECT_EQ(a.texture_uri(), b.texture_uri());
      if (version == 1) {
        EXPECT_EQ(b.emissive_color(), Vector3<float>());
        EXPECT_EQ(b.transparency(), 0.0f);
        EXPECT_FALSE(b.double_sided());
      } else {
        EXPECT_NEAR(a.transparent_color().y, b.transparent_color().y, 0.5 / 255 + 1e-6);
        EXPECT_NEAR(a.transparency(), b.transparency(), 0.5 / 255 + 1e-6);
        EXPECT_EQ(a.double_sided(), b.double_sided());
      }
    }
    // Index sets come back exactly, delimiters and all.
    ASSERT_EQ(decoded.index_sets().size(), shape.index_sets().size());
    for (size_t i = 0; i < shape.index_sets().size(); ++i) {
      const IndexSet& a = *shape.index_sets()[i];
      const IndexSet& b = *decoded.index_sets()[i];
      EXPECT_EQ(a.format(), b.format());
      EXPECT_EQ(a.material_index(), b.material_index());
      EXPECT_EQ(a.point_indices(), b.point_indices());
      EXPECT_EQ(a.normal_indices(), b.normal_indices());
      EXPECT_EQ(a.tex_coord_indices(), b.tex_coord_indices());
    }
  }
}

TEST(ShapeCoder1Test, QuantisationAndFieldLimits) {
  // One point at 0.5: 127.5 rounds to even, 128, and comes back as 128/255; the widths are 1.
  Shape one;
  one.mutable_points()->push_back({0.5, -0.5, 2.0});
  IndexSet* s = one.AddNewIndexSet();
  s->set_format(300);            // cut to 8 bits: 44
  s->set_material_index(40000);  // 16 bits, read back sign-extended
  *s->mutable_point_indices() = {-1, 0, -1};
  bool ok = false;
  std::string buffer = Encode(2, one, &ok);
  ASSERT_TRUE(ok);
  ShapeDecoder1 decoder;
  decoder.set_buffer(buffer);
  Shape decoded;
  ASSERT_TRUE(decoder.DecodeShape(&decoded));
  EXPECT_EQ(decoder.codec_version(), 2);
  EXPECT_EQ(decoded.points()[0], Vector3<double>(128.0 / 255, -128.0 / 255, 2.0));
  EXPECT_EQ(decoded.index_sets()[0]->format(), 44);
  EXPECT_EQ(decoded.index_sets()[0]->material_index(), -25536);
  EXPECT_EQ(decoded.index_sets()[0]->point_indices(), (std::vector<int>{-1, 0, -1}));
  // The point block: 32 count, 5 bits, 64 unit, three 32-bit minimums, widths 1 1 1, and one
  // record of three zero bits.
  BinaryDecoder fields;
  fields.Init(buffer.data(), static_cast<int>(buffer.size()));
  fields.ReadBits(32);
  EXPECT_EQ(fields.ReadBits(32), 1u);
  EXPECT_EQ(fields.ReadBits(5), 8u);
  EXPECT_EQ(fields.ReadDouble(), 1.0);
  EXPECT_EQ(fields.ReadInt(32), 128);
  EXPECT_EQ(fields.ReadInt(32), -128);
  EXPECT_EQ(fields.ReadInt(32), 510);
  EXPECT_EQ(fields.ReadBits(15), 1u | 1u << 5 | 1u << 10);

  // A point unit scales the steps: 1000 units over 2^16 - 1 steps.
  Shape wide;
  wide.mutable_points()->push_back({-1000.0, 0.0, 1000.0});
  wide.mutable_points()->push_back({1000.0, 0.25, -1000.0});
  buffer = Encode(1, wide, &ok, [](ShapeEncoder* e) {
    e->set_point_unit(1000.0);
    e->set_point_bits(16);
  });
  ASSERT_TRUE(ok);
  ShapeDecoder1 wide_decoder;
  wide_decoder.set_buffer(buffer);
  ASSERT_TRUE(wide_decoder.DecodeShape(&decoded));
  EXPECT_EQ(wide_decoder.point_unit(), 1000.0);
  EXPECT_EQ(wide_decoder.point_bits(), 16);
  EXPECT_DOUBLE_EQ(decoded.points()[1].x, 1000.0);
  EXPECT_NEAR(decoded.points()[1].y, 0.25, 0.5 * 1000.0 / 65535);

  // Failures after the count: 32 bits, a unit of 0; with 31 bits the widths pass 30.
  Shape tri;
  MakeTriangle(&tri);
  EXPECT_EQ(Encode(1, tri, &ok, [](ShapeEncoder* e) { e->set_point_bits(32); }).size(), 8u);
  EXPECT_FALSE(ok);
  EXPECT_EQ(Encode(1, tri, &ok, [](ShapeEncoder* e) { e->set_point_unit(0); }).size(), 8u);
  EXPECT_FALSE(ok);
  buffer = Encode(1, tri, &ok, [](ShapeEncoder* e) { e->set_point_bits(31); });
  EXPECT_FALSE(ok);
  EXPECT_EQ(buffer.size(), 4u + 4 + 9 + 12);  // bits, unit and minimums written, no widths

  // Index limits: a minimum above 0x3FFFFFFF, a range wider than 31 bits.
  ShapeEncoder1 indices;
  EXPECT_FALSE(indices.EncodeIndices({0x40000000}));
  EXPECT_TRUE(indices.EncodeIndices({0x3FFFFFFF}));
  EXPECT_FALSE(indices.EncodeIndices({-2, 0x7FFFFFFF}));
  EXPECT_TRUE(indices.EncodeIndices({-1, 0x7FFFFFFE}));

  // A texture name longer than 16 bits can count is reported and cut.
  ScopedLogCapture capture;
  Shape textured;
  textured.AddNewMaterial()->set_texture_uri(std::string(65535, 'a'));
  Encode(1, textured, &ok);
  EXPECT_TRUE(ok);
  EXPECT_EQ(capture.texts(), std::vector<std::string>{"Check failed: str_size<max_size 65535<65535"});
}

TEST(ShapeCoder1Test, TruncatedAndDamagedStreams) {
  const std::string golden = FromHex(kTriangleHex);
  Shape full;
  MakeTriangle(&full);
  for (size_t n = 0; n <= golden.size(); ++n) {
    SCOPED_TRACE(n);
    auto bytes = std::make_unique<char[]>(n);  // exact size: ASan sees any read beyond
    golden.copy(bytes.get(), n);
    ShapeDecoder1 decoder;
    decoder.Init(bytes.get(), static_cast<int>(n));
    Shape shape;
    ScopedLogCapture capture;
    const bool ok = decoder.DecodeShape(&shape);
    // A cut header fails; a cut point count reads 0; a cut in the unit (bytes 8..16) reads it
    // as 0.0 and fails; past it missing fields read as 0.
    EXPECT_EQ(ok, n >= 4 && (n < 8 || n > 16));
    if (n > 16) {
      EXPECT_EQ(shape.points().size(), 3u);
    }
    if (n < 53) {
      EXPECT_FALSE(shape.IsEqual(full));  // the index set count ends at byte 53
    } else if (n == golden.size()) {
      EXPECT_TRUE(shape.IsEqual(full));
    }
  }

  // A count more than the input could hold reads as 0; so does a huge index list.
  std::string huge = FromHex("53 45 01 00 FF FF FF 7F");
  Shape shape;
  EXPECT_TRUE(ShapeDecoder::DecodeFromBuffer(huge + std::string(16, '\0'), &shape));
  EXPECT_TRUE(shape.points().empty());
  huge = FromHex("53 45 02 00") + std::string(16, '\0') + FromHex("01 00 00 00 00 00 00 FF FF FF");
  EXPECT_TRUE(ShapeDecoder::DecodeFromBuffer(huge + std::string(8, '\0'), &shape));
  ASSERT_EQ(shape.index_sets().size(), 1u);
  EXPECT_TRUE(shape.index_sets()[0]->point_indices().empty());

  // The shape isn't cleared: sets are added to those present.
  ASSERT_TRUE(ShapeDecoder::DecodeFromBuffer(golden, &shape));
  EXPECT_EQ(shape.index_sets().size(), 2u);

  // A version-3 stream isn't this decoder's.
  ShapeDecoder1 decoder;
  const std::string v3 = FromHex("53 45 03 00 00 00");
  decoder.set_buffer(v3);
  EXPECT_FALSE(decoder.DecodeShape(&shape));
}

}  // namespace
}  // namespace loupe
