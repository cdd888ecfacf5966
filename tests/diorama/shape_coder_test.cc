#include "diorama/shape_coder.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "diorama/animated_shape_coder.h"
#include "diorama/shape_coder3.h"
#include "diorama/stream_test_util.h"
#include "test_util.h"

namespace loupe {
namespace {

using geometry3d::Shape;
using geometry3d::Vector3;
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
    EXPECT_EQ(encoder->stats().num_points, static_cast<int>(shape.points().size()));
    Shape decoded;
    ASSERT_TRUE(ShapeDecoder::DecodeFromBuffer(bytes, &decoded));
    EXPECT_EQ(test_streams::EncodeShape(version, decoded), bytes);
    if (version == 3) {
      const auto* v3 = static_cast<const ShapeEncoder3*>(encoder.get());
      Shape renumbered;
      test_streams::Renumber(shape, {v3->point_order(), v3->normal_order(), v3->tex_coord_order()},
                             &renumbered);
      EXPECT_EQ(test_streams::EncodeShape(3, renumbered), bytes);
    }
  }
}

TEST(ShapeCoderTest, QuantisedFields) {
  // 0.5 -> 127.5 -> 128 (ties to even); no clamping: 2.0 -> 510 -> 254, -0.1 -> -25.5 -> -26
  // -> 230; 64 of 128 -> 127.5 -> 128.
  ShapeEncoder3 e;
  e.WriteColorRGB888(Vector3<float>(1.0f, 0.5f, 0.0f));
  e.WriteColorRGB888(Vector3<float>(2.0f, -0.1f, 0.2f));
  e.WriteFloatURange(64.0f, 128.0f, 8);
  const std::string bytes = test_streams::Buffer(e);
  EXPECT_EQ(ToHex(bytes), "FF 80 00 FE E6 33 80");
  ShapeDecoder3 d;
  d.set_buffer(bytes);
  EXPECT_EQ(d.ReadColorRGB888(), Vector3<float>(1.0f, 128.0f / 255.0f, 0.0f));
  EXPECT_EQ(d.ReadColorRGB888(), Vector3<float>(254.0f / 255.0f, 230.0f / 255.0f, 51.0f / 255.0f));
  EXPECT_EQ(d.ReadFloatURange(128.0f, 8), 128.0f * 128.0f / 255.0f);
}

TEST(ShapeCoderTest, VersionsHeadersAndFactories) {
  const std::string header = FromHex("53 45 03 00");
  EXPECT_EQ(ShapeDecoder::GetCodecVersionFromBuffer(header), -1);  // 4 bytes: too short
  EXPECT_EQ(ShapeDecoder::GetCodecVersionFromBuffer(header + '\0'), 3);
  EXPECT_EQ(ShapeDecoder::GetCodecVersionFromBuffer(FromHex("53 45 04 00 00")), 4);
  EXPECT_EQ(ShapeDecoder::GetCodecVersionFromBuffer(FromHex("53 45 FF FF 00")), -257);
  EXPECT_EQ(AnimatedShapeDecoder::GetCodecVersionFromBuffer(FromHex("41 45 02 00 00")), 2);
  Shape shape;
  ScopedLogCapture capture;
  EXPECT_FALSE(ShapeDecoder::DecodeFromBuffer(header, &shape));
  EXPECT_FALSE(ShapeDecoder::DecodeFromBuffer(FromHex("53 45 FF FF 00"), &shape));
  EXPECT_TRUE(capture.texts().empty());
  // Versions without a format give null, with the factories' reports; the animated shape
  // decoder's factory makes none.
  EXPECT_FALSE(ShapeDecoder::DecodeFromBuffer(FromHex("53 45 04 00 00"), &shape));
  EXPECT_EQ(ShapeEncoder::CreateEncoder(7), nullptr);
  EXPECT_EQ(AnimatedShapeDecoder::CreateDecoder(2), nullptr);
  EXPECT_EQ(capture.texts(),
            (std::vector<std::string>{"Check failed: decoder", "Check failed: encoder"}));

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
  e->RegisterStat(nullptr);
  e->WriteFloatURange(1.0f, 0.0f, 8);
  EXPECT_EQ(capture.texts(),
            (std::vector<std::string>{
                "Check failed: codec_version>0 -1>0",
                "Check failed: codec_version<=kMaxCodecVersion 4<=3",
                "Check failed: codec_version<=ShapeEncoder::kMaxCodecVersion 4<=3",
                "Check failed: codec_version<=AnimatedShapeEncoder::kMaxCodecVersion 2<=1",
                "Check failed: stat", "Check failed: "}));
}

}  // namespace
}  // namespace loupe
