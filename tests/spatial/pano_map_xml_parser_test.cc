#include "spatial/pano_map_xml_parser.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>

#include "spatial/depth_map_fetcher.h"
#include "spatial/map_blob_test_util.h"
#include "test_util.h"

namespace vistara::testing {
namespace {

using spatial::PanoMap;
using spatial::PanoMapXMLParser;
using MapPtr = std::unique_ptr<PanoMap>;

MapPtr Read(const std::string& blob) { return MapPtr(PanoMapXMLParser::ReadPanoMapData(QByteArray::fromStdString(blob))); }
MapPtr ReadPacked(const QByteArray& text) { return MapPtr(PanoMapXMLParser::ReadCompressedPanoMapData(text)); }

// 2 x 1 cells, entries 0 and 1; entry 1 is "Abcdefghijklmnopqrstuv" with the vector (1.5, -2).
const char kGoldenBlob[] =
    "08 02 00 02 00 01 00 08  00 01  41 62 63 64 65 66 67 68 69 6A 6B 6C 6D 6E 6F 70 71 72 73 74 75 76"
    "  00 00 C0 3F 00 00 00 C0";
const char kGoldenText[] = "eAEBKADX/wgCAAIAAQAIAAFBYmNkZWZnaGlqa2xtbm9wcXJzdHV2AADAPwAAAMC2tQrz";

TEST(PanoMapXmlParserTest, GoldenAndPrefixes) {
  const std::string golden = FromHex(kGoldenBlob);
  for (const auto& map : {Read(golden), ReadPacked(kGoldenText), ReadPacked(Pack(golden)),
                          MapPtr(PanoMapXMLParser::ParsePanoMap(SinglePanoramaXml({}, kGoldenText)))}) {
    ASSERT_NE(nullptr, map);
    EXPECT_EQ(std::make_tuple(2, 1), std::make_tuple(map->width, map->height));
    EXPECT_EQ(1, map->indices[1]);
    ASSERT_EQ(2u, map->ids.size());
    EXPECT_TRUE(map->ids[0].isNull());
    EXPECT_EQ("Abcdefghijklmnopqrstuv", map->ids[1]);
    EXPECT_EQ(Vec2<float>(0, 0), map->positions[0]);
    EXPECT_EQ(Vec2<float>(1.5f, -2.0f), map->positions[1]);
  }
  ForEachPrefix(golden, [](const char* data, size_t size) {
    EXPECT_EQ(nullptr, PanoMapXMLParser::ReadPanoMapData(QByteArray::fromRawData(data, static_cast<qsizetype>(size))));
  });
  // N = 1: no ids or vectors after the cells.
  const auto alone = Read(PanoBlob(2, 1, {0, 0}, {}, {}));
  ASSERT_NE(nullptr, alone);
  EXPECT_EQ(1u, alone->positions.size());
}

TEST(PanoMapXmlParserTest, BadBlobs) {
  const std::string golden = FromHex(kGoldenBlob);
  for (const auto& [at, bytes] : std::vector<std::pair<size_t, std::string>>{{0, std::string(1, '\0')},
                                                                            {7, "\x07"},
                                                                            {1, std::string(2, '\0')},
                                                                            {1, "\x01\x01"},  // 257 entries
                                                                            {3, std::string(2, '\0')},
                                                                            {5, std::string(2, '\0')}}) {
    EXPECT_EQ(nullptr, Read(SetBytes(golden, at, bytes))) << at;
  }
  // 256 entries of ids and vectors past the cells: in the buffer, read as zeros.
  const auto zeros = ReadPacked(Pack(MapHeader(256, 10, 10)));
  ASSERT_NE(nullptr, zeros);
  EXPECT_EQ(256u, zeros->ids.size());
  EXPECT_EQ(QString(22, QChar(0)), zeros->ids[255]);
  // Promises past the buffer are refused, and so is a stream that inflates past it.
  EXPECT_EQ(nullptr, ReadPacked(Pack(MapHeader(256, 512, 270))));
  EXPECT_EQ(nullptr, ReadPacked(Pack(std::string(PanoMapXMLParser::kBufferSize + 1, '\x08'))));
  EXPECT_EQ(nullptr, ReadPacked(""));
  EXPECT_EQ(nullptr, ReadPacked("@@@@"));
  EXPECT_EQ(nullptr, PanoMapXMLParser::ParsePanoMap("<panorama><model><pano_map/></model></panorama>"));
  EXPECT_EQ(nullptr, PanoMapXMLParser::ParsePanoMap("<<"));
}

TEST(PanoMapTest, LookUpForcesPositionsIntoTheMap) {
  // 4 x 2 cells, top row first: 0 1 1 2 / 2 2 0 1.
  const auto map = Read(PanoBlob(4, 2, {0, 1, 1, 2, 2, 2, 0, 1}, {std::string(22, 'a'), std::string(22, 'b')},
                                 {{1, -1}, {2, -2}}));
  ASSERT_NE(nullptr, map);
  const float kNaN = std::numeric_limits<float>::quiet_NaN();
  const struct {
    float x, y;
    size_t entry;
  } kCases[] = {
      {0.3f, 1.0f, 1},    // y = 1 reads the top row
      {0.3f, 0.0f, 2},    // y = 0 computes row 2, forced to the last
      {1.0f, 0.9f, 2},    // x = 1 forced to the last column
      {-0.5f, 0.2f, 2},   // x < 0 forced to the first
      {0.6f, 0.2f, 0},    // entry 0: true, the empty id, (0, 0)
      {0.26f, 0.51f, 1},  // truncation, not rounding
      {1e30f, -1e30f, 1},
      {kNaN, kNaN, 0},  // NaN takes the first cell
  };
  for (const auto& c : kCases) {
    QString id = "unset";
    Vec2<float> position(9, 9);
    ASSERT_TRUE(map->GetPano(c.x, c.y, &id, &position)) << c.x << " " << c.y;
    EXPECT_EQ(map->ids[c.entry], id) << c.x << " " << c.y;
    EXPECT_EQ(map->positions[c.entry], position) << c.x << " " << c.y;
  }
  map->ids.clear();  // without entries nothing is answered
  EXPECT_FALSE(map->GetPano(0.5f, 0.5f, nullptr, nullptr));
}

TEST(PanoMapTest, EntryPastTheEntriesAnswersWhenNothingIsRead) {
  // Regression: a cell naming an entry the map lacks answered false even with both outputs null.
  const auto map = Read(PanoBlob(2, 1, {1, 7}, {std::string(22, 'a')}, {{1, -1}}));
  ASSERT_NE(nullptr, map);
  EXPECT_TRUE(map->GetPano(0.9f, 0.5f, nullptr, nullptr));
  // Reading that entry would leave the vectors: false, and the outputs stay as they were.
  QString id = "unset";
  Vec2<float> position(9, 9);
  EXPECT_FALSE(map->GetPano(0.9f, 0.5f, &id, nullptr));
  EXPECT_FALSE(map->GetPano(0.9f, 0.5f, nullptr, &position));
  EXPECT_EQ(std::make_pair(QString("unset"), Vec2<float>(9, 9)), std::make_pair(id, position));
}

TEST(DepthMapFetcherTest, ParseDepthAndPanoKeepsMapsThere) {
  const QByteArray xml = SinglePanoramaXml(Pack(DepthBlob(1, 1, {0}, {{0, 0, 1, 0}})), kGoldenText);
  RefPtr<spatial::PanoramaData> data(new spatial::PanoramaData("p"));
  spatial::DepthMapFetcher::ParseDepthAndPano(xml, data.get());
  ASSERT_NE(nullptr, data->depth_map);
  ASSERT_NE(nullptr, data->pano_map);
  const vistara::DepthMap* depth = data->depth_map;
  const PanoMap* pano = data->pano_map;
  spatial::DepthMapFetcher::ParseDepthAndPano(xml, data.get());
  EXPECT_EQ(depth, data->depth_map);
  EXPECT_EQ(pano, data->pano_map);

  // A damaged depth map leaves that field null and still reads the pano map.
  RefPtr<spatial::PanoramaData> other(new spatial::PanoramaData("q"));
  spatial::DepthMapFetcher::ParseDepthAndPano(SinglePanoramaXml("AAAA", kGoldenText), other.get());
  EXPECT_EQ(nullptr, other->depth_map);
  EXPECT_NE(nullptr, other->pano_map);
}

}  // namespace
}  // namespace vistara::testing
