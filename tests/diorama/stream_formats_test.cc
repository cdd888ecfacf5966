// One decoder kit over every stream format: the golden bytes and statistics of the encoder, the
// golden decoded and encoded again, every prefix decoded from an exact-size allocation with the
// outcome the format documents, a wrong magic, an unknown version, a count past the input and a
// trailing byte.
#include <gtest/gtest.h>

#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "diorama/animated_shape_coder.h"
#include "diorama/building_z_coder.h"
#include "diorama/shape_coder.h"
#include "diorama/stream_test_util.h"
#include "test_util.h"

namespace loupe {
namespace {

using geometry3d::AnimationSet;
using geometry3d::BuildingZ;
using geometry3d::Shape;
using vistara::testing::FlipByte;
using vistara::testing::ForEachPrefix;
using vistara::testing::FromHex;
using vistara::testing::SetBytes;
using vistara::testing::ToHex;

// The triangle, version 1: the quantised axes x 0 255 0, y 0 0 255, z 0 0 0 give the widths
// 8 8 1; three 32-bit index list counts, one of them with a 32-bit minimum.
constexpr char kTriangleV1Hex[] =
    "53 45 01 00 03 00 00 00 08 00 00 00 00 00 00 FE 07 00 00 00 00 00 00 00 00 00 00 00 00 A1 "
    "00 00 E0 1F 00 C0 3F 00 00 00 00 00 00 00 00 00 00 00 80 00 00 00 00 80 FF FF 01 00 00 00 "
    "00 00 00 00 41 02 00 00 00 00 00 00 00 00";
// The textured strip, version 2: every field of the version-2 material record, three value
// blocks, a delimited list of each attribute (minimum -1).
constexpr char kStripV2Hex[] =
    "53 45 02 00 04 00 00 00 08 00 00 00 00 00 00 FE 07 00 00 00 00 00 00 00 00 00 00 00 00 21 "
    "04 00 00 F0 0F 00 00 F0 FF FF FF 0F 10 00 00 00 80 00 00 00 7F 00 00 00 00 00 00 00 00 FE "
    "01 00 00 42 08 10 00 00 00 40 00 00 80 3F 00 00 00 00 00 00 00 00 08 01 00 FC FF 07 00 00 "
    "00 FC 03 00 00 FC 03 00 00 FC FF 07 00 D0 FD FF 03 00 FC FF FF 0F 00 00 00 08 00 00 38 00 "
    "00 00 F8 FF FF FF 1F D1 A0 F1 00 00 00 E0 FF FF FF 3F DC 0F 00 00 00 FE FF FF FF 45 86 09";
// The triangle, version 3: 181 bits, offsets 0 0 0, widths 9 9 1.
constexpr char kTriangleV3Hex[] = "53 45 03 00 40 00 61 00 00 0C 02 00 48 29 00 00 00 20 00 00 00 02 00";
// The textured strip, version 3: the material record, first delimiters one beyond the history,
// back references, three value blocks.
constexpr char kStripV3Hex[] =
    "53 45 03 00 E2 1F 00 00 E0 1F 00 00 E0 FF FF 1F 00 E0 FF FF FF 5F BA 42 00 07 64 15 0E CD "
    "50 07 91 55 81 10 00 40 4A 09 00 00 00 00 01 00 00 00 10 20 40 80 00 04 02 C0 E0 21 84 00 "
    "82 00 90 12 00 00 00 01 02";
// The unit square with one contour of 4, z 2 and triangles 0 1 2 0 2 3: 187 bits.
constexpr char kUnitSquareHex[] = "5A 42 01 00 88 40 00 A4 04 00 00 40 00 00 01 02 00 38 78 11 88 09 12 07";
// No transforms; animation "a" with one channel: target 0, translation (0,0,0), one keyframe at
// time 1 translating by (1,0,0); 525 bits, then the version-3 triangle at byte 66.
constexpr char kOneKeyframeHex[] =
    "41 45 01 00 40 18 26 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
    "00 00 10 04 00 00 00 00 00 00 FE 07 00 00 00 00 00 00 FE 07 00 00 00 00 00 00 00 00 00 00 "
    "00 00 00 00 00 00 53 45 03 00 40 00 61 00 00 0C 02 00 48 29 00 00 00 20 00 00 00 02 00";

// Four points on the unit square as a strip 0 1 2, 1 2 3 with a delimiter, one normal, two
// texture coordinates and a textured, double-sided material; all values exact at 8 bits.
void MakeTexturedStrip(Shape* shape) {
  *shape->mutable_points() = {{0, 0, 0}, {1, 0, 0}, {0, 1, 1}, {1, 1, 0}};
  *shape->mutable_normals() = {{0, 0, 1}};
  *shape->mutable_tex_coords() = {{0, 0}, {1, 1}};
  geometry3d::Material* m = shape->AddNewMaterial();
  m->set_ambient_color({1, 0, 0});
  m->set_diffuse_color({0, 1, 0});
  m->set_specular_color({0, 0, 1});
  m->set_emissive_color({1, 1, 0});
  m->set_transparent_color({0, 1, 1});
  m->set_shininess(128);
  m->set_transparency(1);
  m->set_texture_uri("t");
  m->set_double_sided(true);
  geometry3d::IndexSet* s = shape->AddNewIndexSet();
  s->set_format(geometry3d::IndexSet::kTriangleStrip);
  s->set_material_index(0);
  *s->mutable_point_indices() = {0, 1, 2, -1, 1, 2, 3};
  *s->mutable_normal_indices() = {0, 0, 0, -1, 0, 0, 0};
  *s->mutable_tex_coord_indices() = {0, 1, 0, -1, 1, 0, 1};
}

struct StreamFormat {
  std::string golden_hex;
  std::string encoded;  // what the encoder writes for the source object
  std::string stats;    // the statistics it keeps of that, as text
  std::function<bool(std::string_view bytes, std::string* out)> reencode;  // decoded, encoded again
  std::vector<std::pair<size_t, size_t>> failing_cuts;  // prefix sizes, first to last, past 4
  char unknown_version;
  // What precedes the first count, how that count is written, and what follows it.
  std::function<void(BinaryEncoder&)> head;
  bool var_count;
  std::string tail;
};

// `failing_cuts`: the prefixes that end in a version-1 block's float or double unit, which then
// reads as 0 and fails the decode.
StreamFormat ShapeFormat(int version, const char* hex, void (*make)(Shape*),
                         std::vector<std::pair<size_t, size_t>> failing_cuts = {}) {
  Shape source;
  make(&source);
  const std::unique_ptr<ShapeEncoder> encoder(ShapeEncoder::CreateEncoder(version));
  EXPECT_TRUE(encoder->EncodeShape(source));
  return {hex, test_streams::Buffer(*encoder),
          encoder->stats().AsString(),
          [version](std::string_view bytes, std::string* out) {
            const std::unique_ptr<ShapeDecoder> decoder(ShapeDecoder::CreateDecoder(version));
            decoder->Init(bytes.data(), static_cast<int>(bytes.size()));
            Shape shape;
            const bool ok = decoder->DecodeShape(&shape);
            *out = test_streams::EncodeShape(version, shape);
            return ok;
          },
          failing_cuts, 4,
          [version](BinaryEncoder& e) {
            e.WriteBits(ShapeEncoder::kMagicSignature, 16);
            e.WriteBits(version, 16);
          },
          version == 3, std::string(16, '\0')};
}

StreamFormat BuildingFormat() {
  const auto encode = [](const BuildingZ& building) {
    BuildingZEncoder encoder;
    EXPECT_TRUE(encoder.EncodeBuildingZ(building));
    return std::make_pair(test_streams::Buffer(encoder), encoder.stats().AsString());
  };
  BuildingZ source;
  geometry3d::PolygonZ* p = source.AddNewPolygon();
  *p->mutable_points() = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
  *p->mutable_contour_sizes() = {4};
  *p->mutable_triangle_indices() = {0, 1, 2, 0, 2, 3};
  p->set_z(2);
  return {kUnitSquareHex, encode(source).first, encode(source).second,
          [encode](std::string_view bytes, std::string* out) {
            BuildingZDecoder decoder;
            decoder.Init(bytes.data(), static_cast<int>(bytes.size()));
            BuildingZ building;
            const bool ok = decoder.DecodeBuildingZ(&building);
            *out = encode(building).first;
            return ok;
          },
          {}, 2,
          [](BinaryEncoder& e) {
            e.WriteBits(BuildingZEncoder::kMagicSignature, 16);
            e.WriteBits(1, 16);
            e.WriteBits(8, 6);
          },
          true, std::string(16, '\0')};
}

StreamFormat AnimatedFormat() {
  AnimationSet set;
  auto* animation = new geometry3d::Animation;
  animation->set_name("a");
  auto* channel = new geometry3d::AnimationChannel;
  channel->set_value(new geometry3d::TranslationTransformValue({0, 0, 0}));
  channel->mutable_keyframes()->push_back(
      new geometry3d::Keyframe(1.0, new geometry3d::TranslationTransformModifier({1, 0, 0})));
  animation->mutable_channels()->push_back(channel);
  set.mutable_animations()->push_back(animation);
  Shape triangle;
  test_streams::MakeTriangle(&triangle);
  std::string encoded;
  EXPECT_TRUE(AnimatedShapeEncoder::EncodeToBuffer(triangle, set, 3, &encoded));
  return {kOneKeyframeHex, encoded, "",
          [](std::string_view view, std::string* out) {
            const std::string bytes(view);  // the decoder looks for the shape in it
            AnimatedShapeDecoder1 decoder;
            decoder.set_buffer(bytes);
            AnimationSet set;
            Shape shape;
            const bool ok = decoder.DecodeShape(&shape, &set);
            AnimatedShapeEncoder::EncodeToBuffer(shape, set, 3, out);
            return ok;
          },
          // Cut in the animation stream, no shape starts where it should; a shape stream
          // with its whole header decodes.
          {{4, 66 + 3}}, 2,
          [](BinaryEncoder& e) {
            e.WriteBits(AnimatedShapeEncoder::kMagicSignature, 16);
            e.WriteBits(1, 16);
            e.WriteVarUInt(0, 4);  // transforms; the animation count follows
          },
          true, FromHex(kTriangleV3Hex)};
}

TEST(StreamFormatsTest, DecoderKit) {
  const StreamFormat formats[] = {
      ShapeFormat(1, kTriangleV1Hex, test_streams::MakeTriangle, {{8, 16}}),
      ShapeFormat(2, kStripV2Hex, MakeTexturedStrip, {{8, 16}, {47, 51}, {70, 73}}),
      ShapeFormat(3, kTriangleV3Hex, test_streams::MakeTriangle),
      ShapeFormat(3, kStripV3Hex, MakeTexturedStrip), BuildingFormat(), AnimatedFormat()};
  // Each part of a stream is charged to the statistic named right after it. Version 1: header
  // 4; points 33 (count, bits, unit, minimums, widths, 51 bits of records); three 4-byte counts;
  // the index set count and head go with the point list. The building: the mark starts at byte
  // 6 (43 bits), the points end at bit 140, byte 18; the z field goes to the total only.
  const char* const stats[] = {"74 4 33 4 4 17 4 4 0 3 0 0 3 0 0",
                               "150 24 39 23 22 18 10 10 1 4 1 2 7 7 7",
                               "23 1 12 0 1 3 1 1 0 3 0 0 3 0 0",
                               "69 19 19 6 9 5 3 4 1 4 1 2 7 7 7", "24 12 1 3 4 1 6", ""};
  for (size_t i = 0; i < std::size(formats); ++i) {
    const StreamFormat& f = formats[i];
    SCOPED_TRACE(f.golden_hex);
    EXPECT_EQ(ToHex(f.encoded), f.golden_hex);
    EXPECT_EQ(f.stats, stats[i]);
    const std::string golden = FromHex(f.golden_hex);
    std::string out, expected;
    EXPECT_TRUE(f.reencode(golden, &out));
    EXPECT_EQ(out, golden);
    // A cut that loses more than trailing zero bytes changes the object.
    const size_t significant = golden.find_last_not_of('\0') + 1;
    ForEachPrefix(golden, [&](const char* data, size_t size) {
      bool decodes = size >= 4;
      for (const auto& [first, last] : f.failing_cuts) decodes &= size < first || size > last;
      EXPECT_EQ(f.reencode({data, size}, &out), decodes);
      if (decodes) {
        EXPECT_EQ(out == golden, size >= significant);
      }
    });
    EXPECT_FALSE(f.reencode(FlipByte(golden, 0, 0x01), &out));
    EXPECT_FALSE(f.reencode(SetBytes(golden, 2, std::string(1, f.unknown_version)), &out));
    // A first count of 2^16 claims more than the rest could hold at one bit each plus the slack
    // of the count rule: it reads as 0.
    for (const int count : {1 << 16, 0}) {
      BinaryEncoder e;
      f.head(e);
      if (f.var_count) {
        e.WriteVarUInt(count, 4);
      } else {
        e.WriteBits(count, 32);
      }
      EXPECT_TRUE(f.reencode(test_streams::Buffer(e) + f.tail, count == 0 ? &expected : &out));
    }
    EXPECT_EQ(out, expected);
    EXPECT_TRUE(f.reencode(golden + '\x5A', &out));
    EXPECT_EQ(out, golden);
  }
}

}  // namespace
}  // namespace loupe
