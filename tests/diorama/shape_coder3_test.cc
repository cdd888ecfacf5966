#include "diorama/shape_coder3.h"

#include <gtest/gtest.h>

#include <cmath>
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
using geometry3d::Vector2;
using geometry3d::Vector3;
using test_shapes::EncodeWith;
using test_shapes::MakeRandomShape;
using test_shapes::MakeTriangle;
using vistara::testing::FromHex;
using vistara::testing::ScopedLogCapture;
using vistara::testing::SeededRandom;
using vistara::testing::ToHex;

// Three points, one triangle, no material: 181 bits.
constexpr char kTriangleHex[] =
    "53 45 03 00 40 00 61 00 00 0C 02 00 48 29 00 00 00 20 00 00 00 02 00";

TEST(ShapeCoder3Test, TriangleGolden) {
  Shape shape;
  MakeTriangle(&shape);
  std::string buffer;
  ASSERT_TRUE(ShapeEncoder::EncodeToBuffer(shape, &buffer));
  EXPECT_EQ(ToHex(buffer), kTriangleHex);
  EXPECT_EQ(buffer.size(), 23u);

  ShapeEncoder3 encoder;
  bool ok = false;
  EXPECT_EQ(EncodeWith(&encoder, shape, &ok), buffer);
  EXPECT_TRUE(ok);
  EXPECT_EQ(encoder.stats().total_bytes, 23);
  EXPECT_EQ(encoder.stats().num_points, 3);
  EXPECT_EQ(encoder.stats().num_point_indices, 3);

  Shape decoded;
  ASSERT_TRUE(ShapeDecoder::DecodeFromBuffer(buffer, &decoded));
  EXPECT_TRUE(decoded.IsEqual(shape));
}

// Offsets as written by EncodeOffsetIndices, read back field by field.
std::vector<int> Offsets(const std::vector<int>& indices, int pool, std::vector<int>* order) {
  ShapeEncoder3 encoder;
  std::vector<int> map(pool, -1);
  int position = 0;
  EXPECT_TRUE(encoder.EncodeOffsetIndices(indices, &map, &position, order));
  encoder.Flush();
  std::string bytes;
  encoder.get_buffer(&bytes);
  BinaryDecoder d;
  d.Init(bytes.data(), static_cast<int>(bytes.size()));
  std::vector<int> offsets(d.ReadVarUInt(4));
  for (int& o : offsets) o = static_cast<int>(d.ReadVarUInt(1));
  return offsets;
}

TEST(ShapeCoder3Test, OffsetExamples) {
  std::vector<int> order;
  EXPECT_EQ(Offsets({0, 1, 2, -1, 2, 1, 3}, 4, &order), (std::vector<int>{0, 0, 0, 4, 2, 4, 0}));
  order.clear();
  const std::vector<int> list = {5, 6, 5, 7, -1, 6, -1, 7};
  EXPECT_EQ(Offsets(list, 8, &order), (std::vector<int>{0, 0, 2, 0, 5, 4, 2, 4}));
  EXPECT_EQ(order, (std::vector<int>{5, 6, 7}));

  // Through a whole shape: renumbered by first use, unused points dropped.
  Shape shape;
  for (int i = 0; i < 8; ++i) shape.mutable_points()->push_back({double(i), 0, 0});
  IndexSet* s = shape.AddNewIndexSet();
  *s->mutable_point_indices() = list;
  IndexSet* second = shape.AddNewIndexSet();
  *second->mutable_point_indices() = {-1, 7};  // first delimiter: one past the history
  ShapeEncoder3 encoder;
  bool ok = false;
  const std::string buffer = EncodeWith(&encoder, shape, &ok);
  ASSERT_TRUE(ok);
  EXPECT_EQ(encoder.point_order(), (std::vector<int>{5, 6, 7}));
  Shape decoded;
  ASSERT_TRUE(ShapeDecoder::DecodeFromBuffer(buffer, &decoded));
  EXPECT_EQ(decoded.index_sets()[0]->point_indices(),
            (std::vector<int>{0, 1, 0, 2, -1, 1, -1, 2}));
  EXPECT_EQ(decoded.index_sets()[1]->point_indices(), (std::vector<int>{-1, 2}));
  EXPECT_EQ(decoded.points(),
            (std::vector<Vector3<double>>{{5, 0, 0}, {6, 0, 0}, {7, 0, 0}}));
  EXPECT_FALSE(decoded.IsEqual(shape));

  // An index below -1 or beyond the pool fails the encode.
  std::vector<int> map(2, -1);
  int position = 0;
  EXPECT_FALSE(encoder.EncodeOffsetIndices({0, -2}, &map, &position, &order));
  EXPECT_FALSE(encoder.EncodeOffsetIndices({2}, &map, &position, &order));
}

// Decoded index k stands for pool entry order[k]; delimiters stay -1.
void ExpectSameIndices(const std::vector<int>& source, const std::vector<int>& decoded,
                       const std::vector<int>& order) {
  ASSERT_EQ(source.size(), decoded.size());
  for (size_t j = 0; j < source.size(); ++j) {
    if (source[j] == -1) {
      EXPECT_EQ(decoded[j], -1);
    } else {
      ASSERT_GE(decoded[j], 0);
      ASSERT_LT(decoded[j], static_cast<int>(order.size()));
      EXPECT_EQ(order[decoded[j]], source[j]);
    }
  }
}

TEST(ShapeCoder3Test, RandomRoundTrips) {
  SeededRandom rng;
  for (int round = 0; round < 200; ++round) {
    Shape shape;
    MakeRandomShape(&rng, &shape);
    ShapeEncoder3 encoder;
    bool ok = false;
    const std::string buffer = EncodeWith(&encoder, shape, &ok);
    ASSERT_TRUE(ok) << round;
    EXPECT_EQ(encoder.stats().total_bytes, static_cast<int>(buffer.size()));
    Shape decoded;
    ASSERT_TRUE(ShapeDecoder::DecodeFromBuffer(buffer, &decoded)) << round;

    ASSERT_EQ(decoded.materials().size(), shape.materials().size());
    for (size_t i = 0; i < shape.materials().size(); ++i) {
      const Material& a = *shape.materials()[i];
      const Material& b = *decoded.materials()[i];
      EXPECT_NEAR(a.diffuse_color().y, b.diffuse_color().y, 0.5 / 255 + 1e-6);
      EXPECT_NEAR(a.transparent_color().z, b.transparent_color().z, 0.5 / 255 + 1e-6);
      EXPECT_NEAR(a.shininess(), b.shininess(), 64.0 / 255 + 1e-4);
      EXPECT_EQ(a.texture_uri(), b.texture_uri());
      EXPECT_EQ(a.double_sided(), b.double_sided());
    }
    ASSERT_EQ(decoded.index_sets().size(), shape.index_sets().size());
    for (size_t i = 0; i < shape.index_sets().size(); ++i) {
      const IndexSet& a = *shape.index_sets()[i];
      const IndexSet& b = *decoded.index_sets()[i];
      EXPECT_EQ(a.format(), b.format());
      EXPECT_EQ(a.material_index(), b.material_index());
      ExpectSameIndices(a.point_indices(), b.point_indices(), encoder.point_order());
      ExpectSameIndices(a.normal_indices(), b.normal_indices(), encoder.normal_order());
      ExpectSameIndices(a.tex_coord_indices(), b.tex_coord_indices(), encoder.tex_coord_order());
    }
    // Only used values travel, in order of first use, within half a step of 1/256.
    ASSERT_EQ(decoded.points().size(), encoder.point_order().size());
    for (size_t k = 0; k < decoded.points().size(); ++k) {
      const Vector3<double>& p = shape.points()[encoder.point_order()[k]];
      EXPECT_NEAR(decoded.points()[k].x, p.x, 0.5 / 256);
      EXPECT_NEAR(decoded.points()[k].z, p.z, 0.5 / 256);
    }
    ASSERT_EQ(decoded.normals().size(), encoder.normal_order().size());
    for (size_t k = 0; k < decoded.normals().size(); ++k) {
      EXPECT_NEAR(decoded.normals()[k].y, shape.normals()[encoder.normal_order()[k]].y, 0.5 / 256);
    }
    ASSERT_EQ(decoded.tex_coords().size(), encoder.tex_coord_order().size());
    for (size_t k = 0; k < decoded.tex_coords().size(); ++k) {
      EXPECT_NEAR(decoded.tex_coords()[k].y, shape.tex_coords()[encoder.tex_coord_order()[k]].y,
                  0.5 / 256);
    }
  }
}

TEST(ShapeCoder3Test, ExponentsAndWidths) {
  Shape shape;
  MakeTriangle(&shape);
  (*shape.mutable_points())[1].x = 800;
  for (int bits : {32, -33}) {
    ShapeEncoder3 encoder;
    encoder.set_point_bits(bits);
    bool ok = true;
    EncodeWith(&encoder, shape, &ok);
    EXPECT_FALSE(ok) << bits;
  }
  ShapeEncoder3 coarse;
  coarse.set_point_bits(-3);  // steps of 8
  bool ok = false;
  const std::string buffer = EncodeWith(&coarse, shape, &ok);
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
  EncodeWith(&fine, shape, &ok);
  EXPECT_FALSE(ok);
}

TEST(ShapeCoder3Test, TruncatedAndDamagedStreams) {
  const std::string golden = FromHex(kTriangleHex);
  Shape full;
  MakeTriangle(&full);
  for (size_t n = 0; n <= golden.size(); ++n) {
    SCOPED_TRACE(n);
    auto bytes = std::make_unique<char[]>(n);  // exact size: ASan sees any read beyond
    golden.copy(bytes.get(), n);
    ScopedLogCapture capture;
    ShapeDecoder3 decoder;
    decoder.Init(bytes.get(), static_cast<int>(n));
    Shape shape;
    const bool ok = decoder.DecodeShape(&shape);
    // The header needs all four bytes; past it zeros read as empty fields.
    EXPECT_EQ(ok, n >= 4);
    if (n == golden.size()) {
      EXPECT_TRUE(shape.IsEqual(full));
    } else if (n < 20) {
      EXPECT_FALSE(shape.IsEqual(full));
    }
  }

  // A count more than the input could hold reads as 0.
  ShapeEncoder3 encoder;
  encoder.WriteHeader();
  encoder.WriteVarUInt(5000000, 4);
  encoder.Flush();
  std::string huge;
  encoder.get_buffer(&huge);
  huge += std::string(4, '\0');
  Shape shape;
  EXPECT_TRUE(ShapeDecoder::DecodeFromBuffer(huge, &shape));
  EXPECT_TRUE(shape.materials().empty());

  // Wrong magic; an offset two beyond the history.
  std::string bad = golden;
  bad[0] = 0x54;
  EXPECT_FALSE(ShapeDecoder::DecodeFromBuffer(bad, &shape));
  ScopedLogCapture capture;
  ShapeDecoder3 decoder;
  decoder.set_buffer(bad);
  EXPECT_FALSE(decoder.DecodeShape(&shape));
  ASSERT_FALSE(capture.texts().empty());
  EXPECT_NE(capture.texts()[0].find("codec_version>0"), std::string::npos);

  ShapeEncoder3 far;
  far.WriteVarUInt(1, 4);
  far.WriteVarUInt(2, 1);  // history empty: 1 is a delimiter, 2 too far
  far.Flush();
  std::string offsets;
  far.get_buffer(&offsets);
  ShapeDecoder3 d;
  d.set_buffer(offsets);
  std::vector<int> history, indices;
  int next = 0;
  EXPECT_FALSE(d.DecodeOffsetIndices(&history, &next, &indices));
}

}  // namespace
}  // namespace loupe
