#include "diorama/shape_coder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "test_util.h"

namespace loupe {
namespace {

using geometry3d::Shape;
using geometry3d::Vector3;
using vistara::testing::FromHex;
using vistara::testing::ScopedLogCapture;
using vistara::testing::ToHex;

// A minimal format on the frame: header, the material colours, the point count; fails for a
// shape without points after writing the header.
class FrameEncoder : public ShapeEncoder {
 public:
  bool EncodeShape(const Shape& shape) override {
    WriteHeader();
    RegisterStat(&mutable_stats()->total_bytes);
    for (const auto* m : shape.materials()) WriteColorRGB888(m->diffuse_color());
    RegisterStat(&mutable_stats()->material_bytes);
    if (shape.points().empty()) return false;
    WriteVarUInt(static_cast<int>(shape.points().size()), 4);
    RegisterStat(&mutable_stats()->point_bytes);
    Flush();
    return true;
  }
};

class FrameDecoder : public ShapeDecoder {
 public:
  bool DecodeShape(Shape* shape) override {
    if (!ReadHeader()) return false;
    shape->AddNewMaterial()->set_diffuse_color(ReadColorRGB888());
    return true;
  }
};

TEST(ShapeCoderTest, HeaderStatsAndQuantisedFields) {
  Shape shape;
  shape.AddNewMaterial()->set_diffuse_color(Vector3<float>(1.0f, 0.5f, 0.0f));
  shape.AddNewMaterial()->set_diffuse_color(Vector3<float>(2.0f, -0.1f, 0.2f));
  shape.mutable_points()->resize(20);
  FrameEncoder e;
  EXPECT_EQ(e.codec_version(), 3);
  EXPECT_EQ(e.point_bits(), 8);
  EXPECT_EQ(e.point_unit(), 1.0);
  EXPECT_TRUE(e.EncodeShape(shape));
  std::string bytes;
  e.get_buffer(&bytes);
  // 0.5 -> 127.5 -> 128 (ties to even); 2.0 -> 510 -> 254; -0.1 -> -25.5 -> -26 -> 230;
  // 0.2 -> 51. Then 20 by the variable code (k = 4): 1 0, then 4 in 8 bits.
  EXPECT_EQ(ToHex(bytes), "53 45 03 00 FF 80 00 FE E6 33 11 00");
  EXPECT_EQ(e.stats().AsString(), "12 6 2 0 0 0 0 0 0 0 0 0 0 0 0");
  EXPECT_EQ(e.stats().total_bytes, static_cast<int>(bytes.size()));

  // Reading back: 128 / 255, not 0.5.
  FrameDecoder d;
  EXPECT_EQ(d.codec_version(), -1);
  d.set_buffer(bytes);
  Shape decoded;
  EXPECT_TRUE(d.DecodeShape(&decoded));
  EXPECT_EQ(d.codec_version(), 3);
  EXPECT_EQ(decoded.materials()[0]->diffuse_color(), Vector3<float>(1.0f, 128.0f / 255.0f, 0.0f));
  EXPECT_EQ(d.ReadColorRGB888(), Vector3<float>(254.0f / 255.0f, 230.0f / 255.0f, 51.0f / 255.0f));

  // A failed encode keeps the partial stream; a pending partial byte counts in the buffer.
  FrameEncoder partial;
  Shape empty;
  EXPECT_FALSE(partial.EncodeShape(empty));
  partial.WriteBits(5, 3);
  partial.get_buffer(&bytes);
  EXPECT_EQ(ToHex(bytes), "53 45 03 00 05");
  EXPECT_EQ(partial.buffer_size(), 5);

  // Ranges, and a bad magic: "codec_version>0" with the value.
  ScopedLogCapture capture;
  FrameEncoder r;
  r.WriteFloatURange(64.0f, 128.0f, 8);  // 255 * 64 / 128 = 127.5 -> 128
  r.WriteFloatURange(1.0f, 0.0f, 8);
  r.Flush();
  r.get_buffer(&bytes);
  EXPECT_EQ(bytes.substr(0, 1), FromHex("80"));
  FrameDecoder rd;
  rd.set_buffer(bytes);
  EXPECT_EQ(rd.ReadFloatURange(128.0f, 8), 128.0f * 128.0f / 255.0f);
  const std::string bad = FromHex("53 46 03 00 00");
  rd.set_buffer(bad);
  EXPECT_FALSE(rd.DecodeShape(&decoded));
  EXPECT_EQ(rd.codec_version(), -1);
  r.set_codec_version(4);
  EXPECT_EQ(r.codec_version(), 4);
  rd.set_codec_version(4);
  EXPECT_EQ(capture.texts(), (std::vector<std::string>{
                                 "Check failed: ", "Check failed: codec_version>0 -1>0",
                                 "Check failed: codec_version<=kMaxCodecVersion 4<=3",
                                 "Check failed: codec_version<=ShapeEncoder::kMaxCodecVersion 4<=3"}));
  capture.Clear();
  r.RegisterStat(nullptr);
  EXPECT_EQ(capture.texts(), std::vector<std::string>{"Check failed: stat"});
}

TEST(ShapeCoderTest, VersionFromBufferAndFactories) {
  const std::string header = FromHex("53 45 03 00");
  EXPECT_EQ(ShapeDecoder::GetCodecVersionFromBuffer(header), -1);  // 4 bytes: too short
  EXPECT_EQ(ShapeDecoder::GetCodecVersionFromBuffer(header + '\0'), 3);
  EXPECT_EQ(ShapeDecoder::GetCodecVersionFromBuffer(FromHex("53 45 04 00 00")), 4);
  EXPECT_EQ(ShapeDecoder::GetCodecVersionFromBuffer(FromHex("53 45 FF FF 00")), -257);
  EXPECT_EQ(ShapeDecoder::GetCodecVersionFromBuffer(FromHex("53 45 80 00 00")), -128);
  EXPECT_EQ(ShapeDecoder::GetCodecVersionFromBuffer(FromHex("45 53 03 00 00")), -1);
  EXPECT_EQ(ShapeDecoder::GetCodecVersionFromBuffer(""), -1);

  Shape shape;
  ScopedLogCapture capture;
  EXPECT_FALSE(ShapeDecoder::DecodeFromBuffer(header, &shape));
  EXPECT_FALSE(ShapeDecoder::DecodeFromBuffer(FromHex("53 45 FF FF 00"), &shape));
  EXPECT_TRUE(capture.texts().empty());
  EXPECT_FALSE(ShapeDecoder::DecodeFromBuffer(FromHex("53 45 04 00 00"), &shape));
  EXPECT_EQ(capture.texts(), std::vector<std::string>{"Check failed: decoder"});
  // Versions without a format give null, with the factory's report.
  capture.Clear();
  EXPECT_EQ(ShapeEncoder::CreateEncoder(7), nullptr);
  EXPECT_EQ(ShapeDecoder::CreateDecoder(0), nullptr);
  EXPECT_EQ(capture.texts(), (std::vector<std::string>{"Check failed: encoder", "Check failed: decoder"}));
}

}  // namespace
}  // namespace loupe
