// Depth-map and pano-map blobs as the service sends them (zlib's compress, then base64): golden
// bytes and texts, damaged headers and streams, and look-ups in the decoded pano map.
#include <gtest/gtest.h>
#include <zlib.h>

#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "spatial/depth_map_fetcher.h"
#include "spatial/depth_map_xml_parser.h"
#include "spatial/pano_map_xml_parser.h"
#include "test_util.h"

namespace vistara::testing {
namespace {

using spatial::DepthMapXMLParser;
using spatial::PanoMap;
using spatial::PanoMapXMLParser;
using DepthPtr = std::unique_ptr<vistara::DepthMap>;
using PanoPtr = std::unique_ptr<PanoMap>;

void PutLE(std::string* s, uint32_t v, int bytes) {
  for (int i = 0; i < bytes; ++i) s->push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
}

// A blob header: size 8, count, width, height, offset 8.
std::string MapHeader(int count, int width, int height) {
  std::string s(1, '\x08');
  PutLE(&s, count, 2);
  PutLE(&s, width, 2);
  PutLE(&s, height, 2);
  return s + '\x08';
}

std::string DepthBlob(int width, int height, const std::vector<uint8_t>& indices,
                      const std::vector<std::array<float, 4>>& planes) {
  std::string s = MapHeader(static_cast<int>(planes.size()), width, height);
  s.append(indices.begin(), indices.end());
  for (const auto& p : planes)
    for (float f : p) PutLE(&s, std::bit_cast<uint32_t>(f), 4);
  return s;
}
std::string PanoBlob(int width, int height, const std::vector<uint8_t>& indices, const std::vector<std::string>& ids,
                     const std::vector<std::array<float, 2>>& positions) {
  std::string s = MapHeader(static_cast<int>(ids.size()) + 1, width, height);
  s.append(indices.begin(), indices.end());
  for (const std::string& id : ids) s += id;
  for (const auto& p : positions)
    for (float f : p) PutLE(&s, std::bit_cast<uint32_t>(f), 4);
  return s;
}

std::string Compress(const std::string& raw) {
  uLongf size = compressBound(static_cast<uLong>(raw.size()));
  std::string out(size, '\0');
  compress(reinterpret_cast<Bytef*>(out.data()), &size, reinterpret_cast<const Bytef*>(raw.data()),
           static_cast<uLong>(raw.size()));
  out.resize(size);
  return out;
}
QByteArray Base64(const std::string& bytes) { return QByteArray::fromStdString(bytes).toBase64(); }
QByteArray Pack(const std::string& raw) { return Base64(Compress(raw)); }

// A single-panorama reply carrying the element texts that aren't null.
QByteArray SinglePanoramaXml(const QByteArray& depth_text, const QByteArray& pano_text) {
  QByteArray xml = "<panorama><data_properties pano_id=\"P_xxxxxxxxxxxxxxxxxxxx\"/><model>";
  if (!depth_text.isNull()) xml += "<depth_map>" + depth_text + "</depth_map>";
  if (!pano_text.isNull()) xml += "<pano_map>" + pano_text + "</pano_map>";
  return xml + "</model></panorama>";
}

DepthPtr ReadDepth(const std::string& blob) {
  return DepthPtr(DepthMapXMLParser::ReadDepthMapData(QByteArray::fromStdString(blob)));
}
DepthPtr ReadPackedDepth(const QByteArray& text) {
  return DepthPtr(DepthMapXMLParser::ReadCompressedDepthMapData(text));
}
PanoPtr ReadPano(const std::string& blob) {
  return PanoPtr(PanoMapXMLParser::ReadPanoMapData(QByteArray::fromStdString(blob)));
}
PanoPtr ReadPackedPano(const QByteArray& text) { return PanoPtr(PanoMapXMLParser::ReadCompressedPanoMapData(text)); }

// The worked example of docs/panorama-metadata.md: 2 x 1 cells on one plane stored as (0, 0, -1, 5).
const char kDepthGoldenBlob[] = "08 01 00 02 00 01 00 08  00 00  00 00 00 00  00 00 00 00  00 00 80 BF  00 00 A0 40";
// The same blob as the element text: a zlib stream of one stored block, in base64.
const char kDepthGoldenText[] = "eAEBGgDl/wgBAAIAAQAIAAAAAAAAAAAAAAAAgL8AAKBAChkCNA==";

void ExpectGolden(const vistara::DepthMap* map) {
  ASSERT_NE(nullptr, map);
  EXPECT_EQ(std::make_tuple(2, 1, 1), std::make_tuple(map->width, map->height, map->num_planes));
  EXPECT_EQ(0, map->indices[0] | map->indices[1]);
  EXPECT_EQ(Vec3<double>(0, 0, 1), map->planes[0].normal);
  EXPECT_EQ(5.0, map->planes[0].distance);
}

TEST(DepthMapXmlParserTest, GoldenPrefixesAndPlanes) {
  const std::string golden = FromHex(kDepthGoldenBlob);
  ExpectGolden(ReadDepth(golden).get());
  ExpectGolden(ReadDepth(golden + "x").get());  // a trailing byte is ignored
  ExpectGolden(ReadPackedDepth(kDepthGoldenText).get());
  ExpectGolden(ReadPackedDepth(Pack(golden)).get());  // zlib's own deflate as a cross-check
  // The path starts at the root: a panoramas root holds no depth map.
  EXPECT_EQ(nullptr, DepthMapXMLParser::ParseDepthMap("<panoramas><panorama><model><depth_map>" +
                                                      QByteArray(kDepthGoldenText) + "</depth_map></model></panorama></panoramas>"));
  ForEachPrefix(golden, [](const char* data, size_t size) {
    EXPECT_EQ(nullptr, DepthMapXMLParser::ReadDepthMapData(QByteArray::fromRawData(data, static_cast<qsizetype>(size))));
  });

  // Negation, then scaling to unit length (the golden plane is already unit) unless too short to scale.
  const auto map = ReadDepth(DepthBlob(2, 1, {0, 1}, {{2, 4, 4, 12}, {0, 0, 0, 3}}));
  ASSERT_NE(nullptr, map);
  EXPECT_DOUBLE_EQ(-1.0 / 3, map->planes[0].normal.x);
  EXPECT_DOUBLE_EQ(-2.0 / 3, map->planes[0].normal.y);
  EXPECT_DOUBLE_EQ(-2.0 / 3, map->planes[0].normal.z);
  EXPECT_DOUBLE_EQ(2.0, map->planes[0].distance);
  EXPECT_EQ(Vec3<double>(0, 0, 0), map->planes[1].normal);
  EXPECT_TRUE(std::signbit(map->planes[1].normal.z));  // the zero is negated, not rebuilt
  EXPECT_EQ(3.0, map->planes[1].distance);
}

TEST(DepthMapXmlParserTest, HeaderLimits) {
  const std::string one_plane = DepthBlob(1, 1, {0}, {{0, 0, 1, 0}});
  EXPECT_NE(nullptr, ReadDepth(one_plane));
  for (const auto& [at, bytes] : std::vector<std::pair<size_t, std::string>>{
           {0, "\x07"}, {7, "\x09"}, {1, std::string(2, '\0')}, {3, std::string(2, '\0')}, {5, std::string(2, '\0')}}) {
    EXPECT_EQ(nullptr, ReadDepth(SetBytes(one_plane, at, bytes))) << at;
  }
  std::vector<std::array<float, 4>> planes(257, {0, 0, 1, 0});
  EXPECT_EQ(nullptr, ReadPackedDepth(Pack(DepthBlob(1, 1, {0}, planes))));
  planes.pop_back();
  const auto full = ReadPackedDepth(Pack(DepthBlob(1, 1, {255}, planes)));
  ASSERT_NE(nullptr, full);
  EXPECT_EQ(256, full->num_planes);

  // A header promising more than was inflated reads the zeros of the buffer, as long as the
  // buffer holds it: 512 x 1024 cells and 256 planes exactly fill it; one row more is refused.
  const auto largest = ReadPackedDepth(Pack(MapHeader(256, 512, 1024)));
  ASSERT_NE(nullptr, largest);
  EXPECT_EQ(0, largest->planes[255].distance);
  EXPECT_EQ(nullptr, ReadPackedDepth(Pack(MapHeader(256, 512, 1025))));
  EXPECT_EQ(nullptr, ReadPackedDepth(Pack(MapHeader(1, 65535, 65535))));
}

TEST(DepthMapXmlParserTest, DamagedText) {
  const std::string stream = Compress(FromHex(kDepthGoldenBlob));
  for (const char* text : {"", "!!!!", "AAAA"}) EXPECT_EQ(nullptr, ReadPackedDepth(text)) << text;
  EXPECT_EQ(nullptr, ReadPackedDepth(Base64(FlipByte(stream, stream.size() - 1))));  // checksum
  for (size_t n = 0; n < stream.size(); ++n) EXPECT_EQ(nullptr, ReadPackedDepth(Base64(stream.substr(0, n)))) << n;

  // Exactly the buffer inflates; one byte more fails, and so does a 1000:1 bomb of 16 MB.
  std::string exact = DepthBlob(1, 1, {0}, {{0, 0, 1, 0}});
  exact.resize(DepthMapXMLParser::kBufferSize);
  EXPECT_NE(nullptr, ReadPackedDepth(Pack(exact)));
  EXPECT_EQ(nullptr, ReadPackedDepth(Pack(exact + '\0')));
  exact.resize(16 << 20);
  const QByteArray bomb = Pack(exact);
  EXPECT_LT(bomb.size(), 32 << 10);
  EXPECT_EQ(nullptr, ReadPackedDepth(bomb));
}

// 2 x 1 cells, entries 0 and 1; entry 1 is "Abcdefghijklmnopqrstuv" with the vector (1.5, -2).
const char kPanoGoldenBlob[] =
    "08 02 00 02 00 01 00 08  00 01  41 62 63 64 65 66 67 68 69 6A 6B 6C 6D 6E 6F 70 71 72 73 74 75 76"
    "  00 00 C0 3F 00 00 00 C0";
const char kPanoGoldenText[] = "eAEBKADX/wgCAAIAAQAIAAFBYmNkZWZnaGlqa2xtbm9wcXJzdHV2AADAPwAAAMC2tQrz";

TEST(PanoMapXmlParserTest, GoldenAndPrefixes) {
  const std::string golden = FromHex(kPanoGoldenBlob);
  for (const auto& map : {ReadPano(golden), ReadPackedPano(kPanoGoldenText),
                          PanoPtr(PanoMapXMLParser::ParsePanoMap(SinglePanoramaXml({}, kPanoGoldenText)))}) {
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
  const auto alone = ReadPano(PanoBlob(2, 1, {0, 0}, {}, {}));
  ASSERT_NE(nullptr, alone);
  EXPECT_EQ(1u, alone->positions.size());
}

TEST(PanoMapXmlParserTest, BadBlobs) {
  // (The header and the inflating are shared with the depth map and tested there.)
  // 256 entries of ids and vectors past the cells: in the buffer, read as zeros.
  const auto zeros = ReadPackedPano(Pack(MapHeader(256, 10, 10)));
  ASSERT_NE(nullptr, zeros);
  EXPECT_EQ(256u, zeros->ids.size());
  EXPECT_EQ(QString(22, QChar(0)), zeros->ids[255]);
  // Promises past the buffer are refused, and so is a stream that inflates past it.
  EXPECT_EQ(nullptr, ReadPackedPano(Pack(MapHeader(256, 512, 270))));
  EXPECT_EQ(nullptr, ReadPackedPano(Pack(std::string(PanoMapXMLParser::kBufferSize + 1, '\x08'))));
  EXPECT_EQ(nullptr, PanoMapXMLParser::ParsePanoMap("<panorama><model><pano_map/></model></panorama>"));
}

TEST(PanoMapTest, LookUpForcesPositionsIntoTheMap) {
  // 4 x 2 cells, top row first: 0 1 1 2 / 2 2 0 1.
  const auto map = ReadPano(PanoBlob(4, 2, {0, 1, 1, 2, 2, 2, 0, 1}, {std::string(22, 'a'), std::string(22, 'b')},
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
  const auto map = ReadPano(PanoBlob(2, 1, {1, 7}, {std::string(22, 'a')}, {{1, -1}}));
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
  const QByteArray xml = SinglePanoramaXml(kDepthGoldenText, kPanoGoldenText);
  RefPtr<spatial::PanoramaData> data(new spatial::PanoramaData("p"));
  spatial::DepthMapFetcher::ParseDepthAndPano(xml, data.get());
  ASSERT_NE(nullptr, data->depth_map);
  ASSERT_NE(nullptr, data->pano_map);
  const vistara::DepthMap* depth = data->depth_map;
  const PanoMap* pano = data->pano_map;
  spatial::DepthMapFetcher::ParseDepthAndPano(xml, data.get());
  EXPECT_EQ(depth, data->depth_map);
  EXPECT_EQ(pano, data->pano_map);  // a damaged depth map beside a pano map: pano.cases
}

}  // namespace
}  // namespace vistara::testing
