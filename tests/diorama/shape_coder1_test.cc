#include "diorama/shape_coder1.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "diorama/stream_test_util.h"
#include "test_util.h"

namespace loupe {
namespace {

using geometry3d::IndexSet;
using geometry3d::Shape;
using geometry3d::Vector3;
using test_streams::MakeTriangle;
using vistara::testing::FromHex;
using vistara::testing::ScopedLogCapture;

// The stream of `version` for `shape`, settings applied by `setup`; *ok tells whether it encoded.
template <class Setup>
std::string Encode(int version, const Shape& shape, bool* ok, Setup setup) {
  std::unique_ptr<ShapeEncoder> encoder(ShapeEncoder::CreateEncoder(version));
  setup(encoder.get());
  *ok = encoder->EncodeShape(shape);
  return test_streams::Buffer(*encoder);
}
std::string Encode(int version, const Shape& shape, bool* ok) {
  return Encode(version, shape, ok, [](ShapeEncoder*) {});
}

TEST(ShapeCoder1Test, QuantisationAndFieldLimits) {
  // The empty shape: the header and five zero counts. A bare encoder keeps version 3 in its
  // header in front of this body.
  bool ok = false;
  EXPECT_EQ(Encode(1, Shape(), &ok), FromHex("53 45 01 00") + std::string(20, '\0'));
  ShapeEncoder1 bare;
  bare.EncodeShape(Shape());
  EXPECT_EQ(std::string(bare.buffer(), 4), FromHex("53 45 03 00"));

  // One point at 0.5: 127.5 rounds to even, 128, and comes back as 128/255.
  Shape one;
  one.mutable_points()->push_back({0.5, -0.5, 2.0});
  IndexSet* s = one.AddNewIndexSet();
  s->set_format(300);            // cut to 8 bits: 44
  s->set_material_index(40000);  // 16 bits, read back sign-extended
  *s->mutable_point_indices() = {-1, 0, -1};
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
  // A point unit scales the steps: 1000 units over 2^16 - 1 steps.
  Shape wide;
  *wide.mutable_points() = {{-1000.0, 0.0, 1000.0}, {1000.0, 0.25, -1000.0}};
  buffer = Encode(1, wide, &ok, [](ShapeEncoder* e) {
    e->set_point_unit(1000.0);
    e->set_point_bits(16);
  });
  ASSERT_TRUE(ok);
  ShapeDecoder1 wide_decoder;
  wide_decoder.set_buffer(buffer);
  ASSERT_TRUE(wide_decoder.DecodeShape(&decoded));
  EXPECT_DOUBLE_EQ(decoded.points()[1].x, 1000.0);
  EXPECT_NEAR(decoded.points()[1].y, 0.25, 0.5 * 1000.0 / 65535);

  // Failures after the count: 32 bits, a unit of 0; with 31 bits the widths pass 30, with 30
  // they reach it.
  Shape tri;
  MakeTriangle(&tri);
  Encode(1, tri, &ok, [](ShapeEncoder* e) { e->set_point_bits(30); });
  EXPECT_TRUE(ok);
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
  EXPECT_EQ(capture.texts(),
            std::vector<std::string>{"Check failed: str_size<max_size 65535<65535"});

  // The decoder adds to the shape it is given; a version-3 stream isn't its own.
  ASSERT_TRUE(ShapeDecoder::DecodeFromBuffer(Encode(1, tri, &ok), &tri));
  EXPECT_EQ(tri.index_sets().size(), 2u);
  const std::string v3 = FromHex("53 45 03 00 00 00");
  decoder.set_buffer(v3);
  EXPECT_FALSE(decoder.DecodeShape(&decoded));
}

}  // namespace
}  // namespace loupe
