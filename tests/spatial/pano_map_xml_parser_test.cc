#include "spatial/pano_map_xml_parser.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>

#include "spatial/depth_map_fetcher.h"
#include "spatial/map_blob_test_util.h"
#include "test_util.h"

namespace vistara::spatial {
namespace {

using vistara::testing::FromHex;
using vistara::testing::Pack;
using vistara::testing::PanoBlob;

using MapPtr = std::unique_ptr<PanoMap>;

MapPtr Read(const std::string& blob) { return MapPtr(PanoMapXMLParser::ReadPanoMapData(QByteArray::fromStdString(blob))); }
MapPtr ReadPacked(const QByteArray& text) { return MapPtr(PanoMapXMLParser::ReadCompressedPanoMapData(text)); }

// 2 x 1 cells, entries 0 and 1; entry 1 is "Abcdefghijklmnopqrstuv" with the vector (1.5, -2).
const char kGoldenBlob[] =
    "08 02 00 02 00 01 00 08  00 01  41 62 63 64 65 66 67 68 69 6A 6B 6C 6D 6E 6F 70 71 72 73 74 75 76"
    "  00 00 C0 3F 00 00 00 C0";
const char kGoldenText[] = "eAEBKADX/wgCAAIAAQAIAAFBYmNkZWZnaGlqa2xtbm9wcXJzdHV2AADAPwAAAMC2tQrz";

TEST(PanoMapXmlParserTest, GoldenAndLookUp) {
  for (const auto& map : {Read(FromHex(kGoldenBlob)), ReadPacked(kGoldenText), ReadPacked(Pack(FromHex(kGoldenBlob)))}) {
    ASSERT_NE(nullptr, map);
    ASSERT_EQ(2u, map->ids.size());
    EXPECT_TRUE(map->ids[0].isNull());
    EXPECT_EQ("Abcdefghijklmnopqrstuv", map->ids[1]);
    EXPECT_EQ(Vec2<float>(0, 0), map->positions[0]);
    EXPECT_EQ(Vec2<float>(1.5f, -2.0f), map->positions[1]);
    EXPECT_EQ(HeapManager::GetDynamicHeap(), map->ids.get_allocator().memory_manager());
  }
  const std::string golden = FromHex(kGoldenBlob);
  for (size_t n = 0; n < golden.size(); ++n) EXPECT_EQ(nullptr, Read(golden.substr(0, n))) << n;

  // 4 x 2 cells, top row first: 0 1 1 2 / 2 2 0 1.
  const auto map = Read(PanoBlob(4, 2, {0, 1, 1, 2, 2, 2, 0, 1}, {std::string(22, 'a'), std::string(22, 'b')},
                                 {{1, 2}, {3, 4}}));
  ASSERT_NE(nullptr, map);
  const float kNaN = std::numeric_limits<float>::quiet_NaN();
  const struct {
    float x, y;
    char id;  // 0 for entry 0
    float px;
  } kCases[] = {
      {0.3f, 1.0f, 'a', 1},   // y = 1 reads the top row
      {0.3f, 0.0f, 'b', 3},   // y = 0 computes row 2, forced to the last
      {1.0f, 0.9f, 'b', 3},   // x = 1 forced to the last column
      {-0.5f, 0.2f, 'b', 3},  // x < 0 forced to the first
      {0.6f, 0.2f, 0, 0},     // entry 0: true, empty id, (0, 0)
      {0.0f, 1.0f, 0, 0},
      {1e30f, -1e30f, 'a', 1},
      {kNaN, kNaN, 0, 0},  // NaN takes the first cell
  };
  for (const auto& c : kCases) {
    QString id = "unset";
    Vec2<float> position(9, 9);
    ASSERT_TRUE(map->GetPano(c.x, c.y, &id, &position)) << c.x << " " << c.y;
    EXPECT_EQ(c.id ? QString(22, QLatin1Char(c.id)) : QString(), id) << c.x << " " << c.y;
    EXPECT_EQ(c.px, position.x);
  }
  EXPECT_TRUE(map->GetPano(0.5f, 0.5f, nullptr, nullptr));

  // N = 1: no ids, every cell is entry 0; a cell naming a missing entry answers false.
  const auto empty = Read(PanoBlob(2, 1, {0, 7}, {}, {}));
  ASSERT_NE(nullptr, empty);
  EXPECT_EQ(1u, empty->ids.size());
  EXPECT_TRUE(empty->GetPano(0.1f, 0.5f, nullptr, nullptr));
  EXPECT_FALSE(empty->GetPano(0.9f, 0.5f, nullptr, nullptr));
}

TEST(PanoMapXmlParserTest, BadBlobs) {
  const std::string golden = FromHex(kGoldenBlob);
  EXPECT_EQ(nullptr, Read(vistara::testing::SetBytes(golden, 0, std::string(1, '\0'))));
  EXPECT_EQ(nullptr, Read(vistara::testing::SetBytes(golden, 7, "\x07")));
  EXPECT_EQ(nullptr, Read(vistara::testing::SetBytes(golden, 1, std::string("\0\0", 2))));
  EXPECT_EQ(nullptr, Read(vistara::testing::SetBytes(golden, 1, std::string("\x01\x01", 2))));  // 257
  EXPECT_EQ(nullptr, Read(vistara::testing::SetBytes(golden, 3, std::string("\0\0", 2))));
  EXPECT_EQ(nullptr, Read(vistara::testing::SetBytes(golden, 5, std::string("\0\0", 2))));
  // 256 entries of ids and vectors past the cells: in the buffer, read as zeros.
  const auto zeros = ReadPacked(Pack(vistara::testing::MapHeader(256, 10, 10)));
  ASSERT_NE(nullptr, zeros);
  EXPECT_EQ(256u, zeros->ids.size());
  EXPECT_EQ(QString(22, QChar(0)), zeros->ids[255]);
  // Promises past the buffer are refused.
  EXPECT_EQ(nullptr, ReadPacked(Pack(vistara::testing::MapHeader(256, 512, 270))));
  EXPECT_EQ(nullptr, ReadPacked(Pack(std::string(PanoMapXMLParser::kBufferSize + 1, '\x08'))));
  EXPECT_EQ(nullptr, ReadPacked(""));
  EXPECT_EQ(nullptr, ReadPacked("@@@@"));
  EXPECT_EQ(nullptr, PanoMapXMLParser::ParsePanoMap("<panorama><model><pano_map/></model></panorama>"));
  EXPECT_EQ(nullptr, PanoMapXMLParser::ParsePanoMap("<<"));
}

TEST(DepthMapFetcherTest, ParseDepthAndPanoKeepsMapsThere) {
  const QByteArray xml = vistara::testing::SinglePanoramaXml(Pack(vistara::testing::DepthBlob(1, 1, {0}, {{0, 0, 1, 0}})),
                                                             kGoldenText);
  RefPtr<PanoramaData> data(new PanoramaData("p"));
  DepthMapFetcher::ParseDepthAndPano(xml, data.get());
  ASSERT_NE(nullptr, data->depth_map);
  ASSERT_NE(nullptr, data->pano_map);
  const vistara::DepthMap* depth = data->depth_map;
  const PanoMap* pano = data->pano_map;
  DepthMapFetcher::ParseDepthAndPano(xml, data.get());
  EXPECT_EQ(depth, data->depth_map);
  EXPECT_EQ(pano, data->pano_map);

  // A damaged depth map leaves that field null and still reads the pano map.
  RefPtr<PanoramaData> other(new PanoramaData("q"));
  DepthMapFetcher::ParseDepthAndPano(vistara::testing::SinglePanoramaXml("AAAA", kGoldenText), other.get());
  EXPECT_EQ(nullptr, other->depth_map);
  EXPECT_NE(nullptr, other->pano_map);
}

}  // namespace
}  // namespace vistara::spatial
