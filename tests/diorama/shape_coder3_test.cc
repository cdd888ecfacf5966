#include "diorama/shape_coder3.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "diorama/stream_test_util.h"
#include "test_util.h"

namespace loupe {
namespace {

using geometry3d::Shape;
using test_streams::MakeTriangle;
using vistara::testing::FromHex;

// The bytes `encoder` writes for `shape`; *ok tells whether it encoded.
std::string Encode(ShapeEncoder3* encoder, const Shape& shape, bool* ok) {
  *ok = encoder->EncodeShape(shape);
  return test_streams::Buffer(*encoder);
}

// The offsets EncodeOffsetIndices writes for `indices` from a fresh map of `pool` entries, and
// in *decoded the list DecodeOffsetIndices reads back from them.
std::vector<int> Offsets(const std::vector<int>& indices, int pool, std::vector<int>* order,
                         std::vector<int>* decoded) {
  ShapeEncoder3 encoder;
  std::vector<int> map(pool, -1);
  int position = 0;
  EXPECT_TRUE(encoder.EncodeOffsetIndices(indices, &map, &position, order));
  const std::string bytes = test_streams::Buffer(encoder);
  BinaryDecoder d;
  d.Init(bytes);
  std::vector<int> offsets(d.ReadVarUInt(4));
  for (int& o : offsets) o = static_cast<int>(d.ReadVarUInt(1));
  ShapeDecoder3 decoder;
  decoder.set_buffer(bytes);
  std::vector<int> history;
  int next = 0;
  EXPECT_TRUE(decoder.DecodeOffsetIndices(&history, &next, decoded));
  return offsets;
}

TEST(ShapeCoder3Test, Offsets) {
  std::vector<int> order, decoded;
  EXPECT_EQ(Offsets({5, 6, 5, 7, -1, 6, -1, 7}, 8, &order, &decoded),
            (std::vector<int>{0, 0, 2, 0, 5, 4, 2, 4}));
  EXPECT_EQ(order, (std::vector<int>{5, 6, 7}));
  EXPECT_EQ(decoded, (std::vector<int>{0, 1, 0, 2, -1, 1, -1, 2}));

  // An index below -1 or beyond the pool fails the encode; an offset two beyond the history
  // fails the decode.
  std::vector<int> map(2, -1);
  int position = 0;
  ShapeEncoder3 encoder;
  EXPECT_FALSE(encoder.EncodeOffsetIndices({0, -2}, &map, &position, &order));
  EXPECT_FALSE(encoder.EncodeOffsetIndices({2}, &map, &position, &order));
  const std::string far = FromHex("22 00");  // one offset, 2: 1 would be a delimiter
  ShapeDecoder3 d;
  d.set_buffer(far);
  std::vector<int> history;
  int next = 0;
  EXPECT_FALSE(d.DecodeOffsetIndices(&history, &next, &decoded));
}

TEST(ShapeCoder3Test, ExponentsAndWidths) {
  Shape shape;
  MakeTriangle(&shape);
  (*shape.mutable_points())[1].x = 800;
  // The exponent lies in -32..31; out of it the stream ends after the value count.
  Shape origin;
  origin.mutable_points()->push_back({0, 0, 0});
  *origin.AddNewIndexSet()->mutable_point_indices() = {0};
  bool ok = true;
  for (int bits : {31, -32, 32, -33}) {
    ShapeEncoder3 encoder;
    encoder.set_point_bits(bits);
    const size_t size = Encode(&encoder, origin, &ok).size();
    EXPECT_EQ(ok, bits == 31 || bits == -32) << bits;
    if (!ok) {
      EXPECT_EQ(size, 10u) << bits;
    }
  }
  ShapeEncoder3 coarse;
  coarse.set_point_bits(-3);  // steps of 8
  const std::string buffer = Encode(&coarse, shape, &ok);
  ASSERT_TRUE(ok);
  ShapeDecoder3 decoder;
  decoder.set_buffer(buffer);
  Shape decoded;
  ASSERT_TRUE(decoder.DecodeShape(&decoded));
  EXPECT_EQ(decoder.point_bits(), -3);
  EXPECT_EQ(decoded.points()[1].x, 800);
  // 2^21 * 800 needs 31 bits: wider than 30.
  ShapeEncoder3 fine;
  fine.set_point_bits(21);
  Encode(&fine, shape, &ok);
  EXPECT_FALSE(ok);
}

}  // namespace
}  // namespace loupe
