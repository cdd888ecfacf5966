#include "spatial/depth_map_xml_parser.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "spatial/map_blob_test_util.h"
#include "test_util.h"

namespace vistara::testing {
namespace {

using spatial::DepthMapXMLParser;
using MapPtr = std::unique_ptr<vistara::DepthMap>;

MapPtr Read(const std::string& blob) { return MapPtr(DepthMapXMLParser::ReadDepthMapData(QByteArray::fromStdString(blob))); }
MapPtr ReadPacked(const QByteArray& text) { return MapPtr(DepthMapXMLParser::ReadCompressedDepthMapData(text)); }

// The worked example of docs/panorama-metadata.md: 2 x 1 cells on one plane stored as (0, 0, -1, 5).
const char kGoldenBlob[] = "08 01 00 02 00 01 00 08  00 00  00 00 00 00  00 00 00 00  00 00 80 BF  00 00 A0 40";
// The same blob as the element text: a zlib stream of one stored block, in base64.
const char kGoldenText[] = "eAEBGgDl/wgBAAIAAQAIAAAAAAAAAAAAAAAAgL8AAKBAChkCNA==";

void ExpectGolden(const vistara::DepthMap* map) {
  ASSERT_NE(nullptr, map);
  EXPECT_EQ(std::make_tuple(2, 1, 1, 0), std::make_tuple(map->width, map->height, map->num_planes, map->reserved));
  EXPECT_EQ(0, map->indices[0] | map->indices[1]);
  EXPECT_EQ(Vec3<double>(0, 0, 1), map->planes[0].normal);
  EXPECT_EQ(5.0, map->planes[0].distance);
}

TEST(DepthMapXmlParserTest, GoldenPrefixesAndPlanes) {
  const std::string golden = FromHex(kGoldenBlob);
  ExpectGolden(Read(golden).get());
  ExpectGolden(Read(golden + "x").get());  // a trailing byte is ignored
  ExpectGolden(ReadPacked(kGoldenText).get());
  ExpectGolden(ReadPacked(Pack(golden)).get());  // zlib's own deflate as a cross-check
  ExpectGolden(MapPtr(DepthMapXMLParser::ParseDepthMap(SinglePanoramaXml(kGoldenText, {}))).get());
  EXPECT_EQ(nullptr, DepthMapXMLParser::ParseDepthMap("<panoramas><panorama><model><depth_map>" +
                                                      QByteArray(kGoldenText) + "</depth_map></model></panorama></panoramas>"));
  EXPECT_EQ(nullptr, DepthMapXMLParser::ParseDepthMap("<panorama><model>"));
  ForEachPrefix(golden, [](const char* data, size_t size) {
    EXPECT_EQ(nullptr, DepthMapXMLParser::ReadDepthMapData(QByteArray::fromRawData(data, static_cast<qsizetype>(size))));
  });

  // Negation, then scaling to unit length unless already unit or too short to scale.
  const auto map = Read(DepthBlob(4, 1, {0, 1, 2, 3}, {{0, 0, -2, 4}, {0, 0, 0, 3}, {3, 4, 0, 10}, {0, -1, 0, 7}}));
  ASSERT_NE(nullptr, map);
  EXPECT_EQ(Vec3<double>(0, 0, 1), map->planes[0].normal);
  EXPECT_EQ(2.0, map->planes[0].distance);
  EXPECT_EQ(Vec3<double>(0, 0, 0), map->planes[1].normal);
  EXPECT_TRUE(std::signbit(map->planes[1].normal.z));  // the zero is negated, not rebuilt
  EXPECT_EQ(3.0, map->planes[1].distance);
  EXPECT_DOUBLE_EQ(-0.6, map->planes[2].normal.x);
  EXPECT_DOUBLE_EQ(-0.8, map->planes[2].normal.y);
  EXPECT_DOUBLE_EQ(2.0, map->planes[2].distance);
  EXPECT_EQ(Vec3<double>(0, 1, 0), map->planes[3].normal);
  EXPECT_EQ(7.0, map->planes[3].distance);
}

TEST(DepthMapXmlParserTest, HeaderLimits) {
  const std::string one_plane = DepthBlob(1, 1, {0}, {{0, 0, 1, 0}});
  EXPECT_NE(nullptr, Read(one_plane));
  for (const auto& [at, bytes] : std::vector<std::pair<size_t, std::string>>{
           {0, "\x07"}, {7, "\x09"}, {1, std::string(2, '\0')}, {3, std::string(2, '\0')}, {5, std::string(2, '\0')}}) {
    EXPECT_EQ(nullptr, Read(SetBytes(one_plane, at, bytes))) << at;
  }
  std::vector<std::array<float, 4>> planes(257, {0, 0, 1, 0});
  EXPECT_EQ(nullptr, ReadPacked(Pack(DepthBlob(1, 1, {0}, planes))));
  planes.pop_back();
  const auto full = ReadPacked(Pack(DepthBlob(1, 1, {255}, planes)));
  ASSERT_NE(nullptr, full);
  EXPECT_EQ(256, full->num_planes);

  // A header promising more than was inflated reads the zeros of the buffer, as long as the
  // buffer holds it: 512 x 1024 cells and 256 planes exactly fill it; one row more is refused.
  const auto largest = ReadPacked(Pack(MapHeader(256, 512, 1024)));
  ASSERT_NE(nullptr, largest);
  EXPECT_EQ(0, largest->planes[255].distance);
  EXPECT_EQ(nullptr, ReadPacked(Pack(MapHeader(256, 512, 1025))));
  EXPECT_EQ(nullptr, ReadPacked(Pack(MapHeader(1, 65535, 65535))));
}

TEST(DepthMapXmlParserTest, DamagedText) {
  const std::string stream = Compress(FromHex(kGoldenBlob));
  EXPECT_EQ(nullptr, ReadPacked(""));
  EXPECT_EQ(nullptr, ReadPacked("!!!!"));
  EXPECT_EQ(nullptr, ReadPacked("AAAA"));
  EXPECT_EQ(nullptr, ReadPacked(Base64(FlipByte(stream, stream.size() - 1))));  // checksum
  for (size_t n = 0; n < stream.size(); ++n) EXPECT_EQ(nullptr, ReadPacked(Base64(stream.substr(0, n)))) << n;

  // Exactly the buffer inflates; one byte more fails, and so does a 1000:1 bomb of 16 MB.
  std::string exact = DepthBlob(1, 1, {0}, {{0, 0, 1, 0}});
  exact.resize(DepthMapXMLParser::kBufferSize);
  EXPECT_NE(nullptr, ReadPacked(Pack(exact)));
  EXPECT_EQ(nullptr, ReadPacked(Pack(exact + '\0')));
  exact.resize(16 << 20);
  const QByteArray bomb = Pack(exact);
  EXPECT_LT(bomb.size(), 32 << 10);
  EXPECT_EQ(nullptr, ReadPacked(bomb));
}

}  // namespace
}  // namespace vistara::testing
