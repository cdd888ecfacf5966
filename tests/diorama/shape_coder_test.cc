#include "diorama/shape_coder.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "diorama/animated_shape_coder.h"
#include "diorama/shape_coder1.h"
#include "diorama/shape_coder3.h"
#include "diorama/stream_test_util.h"
#include "test_util.h"

namespace loupe {
namespace {

using geometry3d::IndexSet;
using geometry3d::Shape;
using geometry3d::Vector3;
using test_streams::EncodeShape;
using test_streams::MakeTriangle;
using vistara::testing::FromHex;
using vistara::testing::ScopedLogCapture;
using vistara::testing::SeededRandom;
using vistara::testing::ToHex;

// Every version: the decoded shape encodes to the same bytes, so it kept all the stream holds;
// for version 3 those are also the bytes of the source with its pools cut to the used entries in
// order of first use.
TEST(ShapeCoderTest, RandomRoundTripsEveryVersion) {
  SeededRandom rng;
  for (int round = 0; round < 300; ++round) {
    SCOPED_TRACE(round);
    const int version = 1 + round % 3;
    Shape shape;
    test_streams::MakeRandomShape(&rng, &shape);
    std::unique_ptr<ShapeEncoder> encoder(ShapeEncoder::CreateEncoder(version));
    ASSERT_TRUE(encoder->EncodeShape(shape));
    const std::string bytes = test_streams::Buffer(*encoder);
    EXPECT_EQ(encoder->stats().total_bytes, static_cast<int>(bytes.size()));
    Shape decoded;
    ASSERT_TRUE(ShapeDecoder::DecodeFromBuffer(bytes, &decoded));
    EXPECT_EQ(EncodeShape(version, decoded), bytes);
    if (version == 3) {
      const auto* v3 = static_cast<const ShapeEncoder3*>(encoder.get());
      Shape renumbered;
      test_streams::Renumber(shape, {v3->point_order(), v3->normal_order(), v3->tex_coord_order()}, &renumbered);
      EXPECT_EQ(EncodeShape(3, renumbered), bytes);
    }
  }
}

TEST(ShapeCoderTest, VersionsHeadersAndFactories) {
  const std::string header = FromHex("53 45 03 00");
  EXPECT_EQ(ShapeDecoder::GetCodecVersionFromBuffer(header), -1);  // 4 bytes: too short
  EXPECT_EQ(ShapeDecoder::GetCodecVersionFromBuffer(header + '\0'), 3);
  EXPECT_EQ(ShapeDecoder::GetCodecVersionFromBuffer(FromHex("53 45 FF FF 00")), -257);
  EXPECT_EQ(AnimatedShapeDecoder::GetCodecVersionFromBuffer(FromHex("41 45 02 00 00")), 2);
  Shape shape;
  ScopedLogCapture capture;
  EXPECT_FALSE(ShapeDecoder::DecodeFromBuffer(header, &shape));
  EXPECT_FALSE(ShapeDecoder::DecodeFromBuffer(FromHex("53 45 FF FF 00"), &shape));
  EXPECT_TRUE(capture.texts().empty());
  // Versions without a format give null, with the factories' reports, as animated decoders do.
  EXPECT_FALSE(ShapeDecoder::DecodeFromBuffer(FromHex("53 45 04 00 00"), &shape));
  EXPECT_EQ(ShapeEncoder::CreateEncoder(7), nullptr);
  EXPECT_EQ(AnimatedShapeDecoder::CreateDecoder(2), nullptr);
  EXPECT_EQ(capture.texts(), (std::vector<std::string>{"Check failed: decoder", "Check failed: encoder"}));

  // A wrong magic sets the version to -1; versions are reported, with each family's limit
  // named as its code names it, and stored all the same.
  capture.Clear();
  ShapeDecoder3 d;
  const std::string bad = FromHex("53 46 03 00 00");
  d.set_buffer(bad);
  EXPECT_FALSE(d.DecodeShape(&shape));
  EXPECT_EQ(d.codec_version(), -1);
  std::unique_ptr<ShapeEncoder> e(ShapeEncoder::CreateEncoder(3));
  e->set_codec_version(4);
  d.set_codec_version(4);
  AnimatedShapeDecoder1 animated;
  animated.set_codec_version(2);
  EXPECT_EQ(capture.texts(),
            (std::vector<std::string>{"Check failed: codec_version>0 -1>0",
                                      "Check failed: codec_version<=kMaxCodecVersion 4<=3",
                                      "Check failed: codec_version<=ShapeEncoder::kMaxCodecVersion 4<=3",
                                      "Check failed: codec_version<=AnimatedShapeEncoder::kMaxCodecVersion 2<=1"}));
}

TEST(ShapeCoder1Test, QuantisationAndFieldLimits) {
  // 0.5 -> 127.5 -> 128 (ties to even); no clamping: 2.0 -> 510 -> 254, -0.1 -> -25.5 -> -26
  // -> 230; 64 of 128 -> 127.5 -> 128.
  ShapeEncoder3 e;
  e.WriteColorRGB888(Vector3<float>(1.0f, 0.5f, 0.0f));
  e.WriteColorRGB888(Vector3<float>(2.0f, -0.1f, 0.2f));
  e.WriteFloatURange(64.0f, 128.0f, 8);
  EXPECT_EQ(ToHex(test_streams::Buffer(e)), "FF 80 00 FE E6 33 80");

  // The empty shape: the header and five zero counts. A bare encoder keeps version 3 in its
  // header in front of this body.
  bool ok = false;
  EXPECT_EQ(EncodeShape(1, Shape(), &ok), FromHex("53 45 01 00") + std::string(20, '\0'));
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
  std::string buffer = EncodeShape(2, one, &ok);
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
  buffer = EncodeShape(1, wide, &ok, 16, 1000.0);
  ASSERT_TRUE(ok);
  Shape back;
  ASSERT_TRUE(ShapeDecoder::DecodeFromBuffer(buffer, &back));
  EXPECT_DOUBLE_EQ(back.points()[1].x, 1000.0);
  EXPECT_NEAR(back.points()[1].y, 0.25, 0.5 * 1000.0 / 65535);

  // Failures after the count: 32 bits, a unit of 0; with 31 bits the widths pass 30, with 30
  // they reach it.
  Shape tri;
  MakeTriangle(&tri);
  EncodeShape(1, tri, &ok, 30);
  EXPECT_TRUE(ok);
  EXPECT_EQ(EncodeShape(1, tri, &ok, 32).size(), 8u);
  EXPECT_FALSE(ok);
  EXPECT_EQ(EncodeShape(1, tri, &ok, 8, 0).size(), 8u);
  EXPECT_FALSE(ok);
  buffer = EncodeShape(1, tri, &ok, 31);
  EXPECT_FALSE(ok);
  EXPECT_EQ(buffer.size(), 4u + 4 + 9 + 12);  // bits, unit and minimums written, no widths

  // Index limits: a minimum above 0x3FFFFFFF, a range wider than 31 bits.
  ShapeEncoder1 indices;
  EXPECT_FALSE(indices.EncodeIndices({0x40000000}));
  EXPECT_TRUE(indices.EncodeIndices({0x3FFFFFFF}));
  EXPECT_FALSE(indices.EncodeIndices({-2, 0x7FFFFFFF}));
  EXPECT_TRUE(indices.EncodeIndices({-1, 0x7FFFFFFE}));

  // The decoder adds to the shape it is given; a version-3 stream isn't its own.
  ASSERT_TRUE(ShapeDecoder::DecodeFromBuffer(EncodeShape(1, tri, &ok), &tri));
  EXPECT_EQ(tri.index_sets().size(), 2u);
  const std::string v3 = FromHex("53 45 03 00 00 00");
  decoder.set_buffer(v3);
  EXPECT_FALSE(decoder.DecodeShape(&decoded));
}

TEST(ShapeCoder3Test, OffsetsExponentsAndWidths) {
  // The count 8, then offsets 0 0 2 0 5 4 2 4 by VarUInt(.., 1): new entries at 0, back
  // references, delimiters one beyond the history.
  ShapeEncoder3 encoder;
  std::vector<int> map(8, -1), order, decoded, history;
  int position = 0, next = 0;
  ASSERT_TRUE(encoder.EncodeOffsetIndices({5, 6, 5, 7, -1, 6, -1, 7}, &map, &position, &order));
  const std::string bytes = test_streams::Buffer(encoder);
  EXPECT_EQ(ToHex(bytes), "10 82 CE 48");
  EXPECT_EQ(order, (std::vector<int>{5, 6, 7}));
  ShapeDecoder3 d;
  d.set_buffer(bytes);
  ASSERT_TRUE(d.DecodeOffsetIndices(&history, &next, &decoded));
  EXPECT_EQ(decoded, (std::vector<int>{0, 1, 0, 2, -1, 1, -1, 2}));

  // An index below -1 or beyond the pool fails the encode; an offset two beyond the history
  // fails the decode.
  EXPECT_FALSE(encoder.EncodeOffsetIndices({0, -2}, &map, &position, &order));
  EXPECT_FALSE(encoder.EncodeOffsetIndices({8}, &map, &position, &order));
  const std::string far = FromHex("22 00");  // one offset, 2: 1 would be a delimiter
  d.set_buffer(far);
  history.clear();
  next = 0;
  EXPECT_FALSE(d.DecodeOffsetIndices(&history, &next, &decoded));
  EXPECT_TRUE(history.empty());  // the map keeps only what decoded
  // A value order pointing past the pool fails before reading it.
  EXPECT_FALSE((encoder.EncodeValues<Vector3<double>, Vector3<int>>({{1, 2, 3}}, 0, {1})));

  // The exponent lies in -32..31; out of it the stream ends after the value count.
  Shape shape;
  MakeTriangle(&shape);
  (*shape.mutable_points())[1].x = 800;
  Shape origin;
  origin.mutable_points()->push_back({0, 0, 0});
  *origin.AddNewIndexSet()->mutable_point_indices() = {0};
  bool ok = true;
  for (int bits : {31, -32, 32, -33}) {
    const size_t size = EncodeShape(3, origin, &ok, bits).size();
    EXPECT_EQ(ok, bits == 31 || bits == -32) << bits;
    EXPECT_TRUE(ok || size == 10u) << bits;
  }
  const std::string buffer = EncodeShape(3, shape, &ok, -3);  // steps of 8
  ASSERT_TRUE(ok);
  d.set_buffer(buffer);
  Shape coarse;
  ASSERT_TRUE(d.DecodeShape(&coarse));
  EXPECT_EQ(d.point_bits(), -3);
  EXPECT_EQ(coarse.points()[1].x, 800);
  // 2^21 * 800 needs 31 bits: wider than 30.
  EncodeShape(3, shape, &ok, 21);
  EXPECT_FALSE(ok);
}

}  // namespace
}  // namespace loupe
