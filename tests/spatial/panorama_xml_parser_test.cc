#include "spatial/panorama_xml_parser.h"

#include <gtest/gtest.h>

#include <cmath>

#include "platform/xml/xml_reader.h"
#include "spatial/depth_map_xml_parser.h"
#include "spatial/map_blob_test_util.h"
#include "spatial/pano_map.h"
#include "test_util.h"

namespace vistara::spatial {
namespace {

using vistara::testing::ReadTestData;

mmvector<RefPtr<PanoramaData>> ParseText(const QByteArray& xml) {
  mmvector<RefPtr<PanoramaData>> out;
  PanoramaXMLParser::Parse(xml, &out);
  return out;
}

// A one-panorama reply whose data_properties carry `attributes`.
RefPtr<PanoramaData> ParseProperties(const QByteArray& attributes, const QByteArray& inner = "") {
  const auto out = ParseText("<panorama><data_properties " + attributes + ">" + inner + "</data_properties></panorama>");
  return out.size() == 1 ? out[0] : RefPtr<PanoramaData>();
}

TEST(PanoramaXmlParserTest, TileReply) {
  const auto records = ParseText(QByteArray::fromStdString(ReadTestData("panorama_tile.xml")));
  // The second panorama has no data_properties and the trailing <note> isn't a panorama.
  ASSERT_EQ(2u, records.size());

  const PanoramaData& a = *records[0];
  EXPECT_EQ("First_xxxxxxxxxxxxxxxx", a.id);
  EXPECT_EQ(1u, a.info_flags);  // info_level 2
  EXPECT_EQ(12, a.info_value);
  EXPECT_EQ(Vec3<double>(-1.0, 0.5, 0), a.position);
  EXPECT_EQ(13312, a.image_width);
  EXPECT_EQ(6656, a.image_height);
  EXPECT_EQ(512, a.tile_width);
  EXPECT_EQ(512, a.tile_height);
  EXPECT_EQ("2023-11", a.image_date);
  EXPECT_EQ(3, a.scene);
  EXPECT_EQ("G", a.level_id);
  EXPECT_EQ("Elm Road", a.text);
  EXPECT_TRUE(a.street_range.isEmpty());
  EXPECT_EQ("Elm Road", a.address);  // no range, no spacer
  EXPECT_EQ("\u00a9 2023 Vistara", a.copyright);
  EXPECT_EQ(180.25, a.pano_yaw_deg);
  EXPECT_EQ(3.0, a.tilt_yaw_deg);
  EXPECT_EQ(0.0, a.tilt_pitch_deg);  // "bad"

  // Links: the one without pano_id is dropped; <road> is walked (no name test) and kept.
  ASSERT_EQ(3u, a.connected_panos.size());
  EXPECT_EQ("Second_xxxxxxxxxxxxxxx", a.connected_panos[0].id);
  EXPECT_EQ(0xFF332211u, a.connected_panos[0].road_color);
  EXPECT_EQ(45.0f, a.connected_panos[0].yaw_deg);
  EXPECT_EQ(0xFFFFFFFFu, a.connected_panos[1].road_color);  // "zz"
  EXPECT_EQ(135.5f, a.connected_panos[1].yaw_deg);
  EXPECT_EQ("Fourth_xxxxxxxxxxxxxxx", a.connected_panos[2].id);
  EXPECT_EQ(0xFFFFFFFFu, a.connected_panos[2].road_color);  // missing
  EXPECT_EQ(0.0f, a.connected_panos[2].yaw_deg);

  // Levels without level_id or pano_id are dropped; missing texts are null.
  ASSERT_EQ(2u, a.connected_levels.size());
  EXPECT_EQ("B1", a.connected_levels[0].level_id);
  EXPECT_EQ("Lower_xxxxxxxxxxxxxxxx", a.connected_levels[0].pano_id);
  EXPECT_EQ(-1, a.connected_levels[0].ordinal);
  EXPECT_EQ("Basement", a.connected_levels[0].text);
  EXPECT_EQ("B", a.connected_levels[0].abbreviation);
  EXPECT_TRUE(a.connected_levels[1].abbreviation.isNull());
  EXPECT_EQ(1u, a.GetLevel());
  // A tile reply's records never get maps, though this one's element holds them.
  EXPECT_EQ(nullptr, a.depth_map);
  EXPECT_EQ(nullptr, a.pano_map);

  const PanoramaData& c = *records[1];
  EXPECT_EQ("Third_xxxxxxxxxxxxxxxx", c.id);
  EXPECT_EQ(0u, c.info_flags);
  EXPECT_EQ(2000, c.info_value);
  EXPECT_DOUBLE_EQ(-33.75 / 180, c.position.y);
  EXPECT_DOUBLE_EQ(151.5 / 180, c.position.x);
  EXPECT_EQ(0, c.scene);
  EXPECT_TRUE(c.level_id.isNull());
  EXPECT_TRUE(c.text.isNull() && c.copyright.isNull() && c.image_date.isNull());
  EXPECT_TRUE(c.address.isEmpty());
  EXPECT_TRUE(c.connected_panos.empty());
  EXPECT_EQ(0.0, c.pano_yaw_deg);
}

TEST(PanoramaXmlParserTest, SingleReplyWithMapsAndAnnotations) {
  const QByteArray xml = QByteArray::fromStdString(ReadTestData("panorama_single.xml"));
  const auto records = ParseText(xml);
  ASSERT_EQ(1u, records.size());
  const PanoramaData& p = *records[0];
  EXPECT_EQ(3u, p.info_flags);  // info_level 66
  EXPECT_EQ("221b Baker Street", p.address);
  ASSERT_EQ(1u, p.connected_panos.size());
  EXPECT_EQ(0x80332211u, p.connected_panos[0].road_color);  // 0x80112233 with its prefix
  ASSERT_NE(nullptr, p.depth_map);
  EXPECT_EQ(4, p.depth_map->width);
  EXPECT_EQ(2, p.depth_map->num_planes);
  EXPECT_EQ(2.0, p.depth_map->planes[1].distance);
  ASSERT_NE(nullptr, p.pano_map);
  QString id;
  EXPECT_TRUE(p.pano_map->GetPano(0.9f, 0.9f, &id, nullptr));
  EXPECT_EQ("Nbor2_bbbbbbbbbbbbbbbb", id);
  EXPECT_TRUE(p.annotations.empty());  // the caller decides where annotations go

  const auto annotations = DepthMapXMLParser::ParseAnnotations(xml);
  ASSERT_EQ(3u, annotations.size());  // <label> is walked too
  EXPECT_EQ(nullptr, annotations.get_allocator().memory_manager());
  EXPECT_EQ("a1", annotations[0].id);
  EXPECT_EQ("Museum", annotations[0].title);
  EXPECT_EQ(12.5f, annotations[0].yaw);
  EXPECT_EQ(-3.0f, annotations[0].pitch);
  EXPECT_EQ(40.0f, annotations[0].d);
  EXPECT_EQ("Caf\u00e9", annotations[1].title);
  EXPECT_EQ(0.0f, annotations[1].yaw);
  EXPECT_EQ(1.5f, annotations[1].pitch);
  EXPECT_EQ("a3", annotations[2].id);
  EXPECT_TRUE(annotations[2].title.isNull());
  EXPECT_TRUE(DepthMapXMLParser::ParseAnnotations("<panorama>").empty());
  EXPECT_TRUE(DepthMapXMLParser::ParseAnnotations("<panoramas><panorama><annotations><annotation id=\"x\"/>"
                                                  "</annotations></panorama></panoramas>").empty());

  // A pano map is read only where a depth map element exists.
  const auto without_depth = ParseText(vistara::testing::SinglePanoramaXml(QByteArray(), "AAAA"));
  ASSERT_EQ(1u, without_depth.size());
  EXPECT_EQ(nullptr, without_depth[0]->pano_map);
}

TEST(PanoramaXmlParserTest, AttributeConversions) {
  const struct {
    const char* level;
    uint32_t flags;
  } kLevels[] = {{"66", 3}, {"2", 1}, {"64", 2}, {"1", 0}, {"", 0}, {"x", 0}, {"18446744073709551615", 3}, {" 2", 1}};
  for (const auto& c : kLevels) {
    EXPECT_EQ(c.flags, ParseProperties(QByteArray("info_level=\"") + c.level + "\"")->info_flags) << c.level;
  }
  EXPECT_EQ(2000, ParseProperties("info_value=\"\"")->info_value);
  EXPECT_EQ(0, ParseProperties("info_value=\"x\"")->info_value);
  EXPECT_EQ(-5, ParseProperties("info_value=\"-5\"")->info_value);
  EXPECT_EQ(0, ParseProperties("image_width=\"99999999999\"")->image_width);  // overflow fails to 0
  const auto p = ParseProperties("lat=\"1e3\" lng=\"abc\"");
  EXPECT_DOUBLE_EQ(1000.0 / 180, p->position.y);
  EXPECT_EQ(0.0, p->position.x);
  EXPECT_TRUE(ParseProperties("")->id.isEmpty());

  // The address: range, blank, name; placeholders in the range are filled in turn, as Qt does.
  EXPECT_EQ("12 ", ParseProperties("", "<street_range>12</street_range>")->address);
  EXPECT_EQ("1-3 High St", ParseProperties("", "<text>High St</text><street_range>1-3</street_range>")->address);
  EXPECT_EQ(" x Main", ParseProperties("", "<text>Main</text><street_range>%2x</street_range>")->address);

  // Links: the colour exchange and the failures of base-16 reading.
  const auto links = ParseText(
      "<panorama><data_properties/><annotation_properties><link pano_id=\"a\" road_argb=\"80112233\" yaw_deg=\"1e400\"/>"
      "<link pano_id=\"b\" road_argb=\"\"/><link pano_id=\"\" road_argb=\"1\"/><link pano_id=\"c\" road_argb=\"1ffffffff\"/>"
      "</annotation_properties></panorama>");
  ASSERT_EQ(1u, links.size());
  ASSERT_EQ(3u, links[0]->connected_panos.size());
  EXPECT_EQ(0x80332211u, links[0]->connected_panos[0].road_color);
  EXPECT_EQ(0.0f, links[0]->connected_panos[0].yaw_deg);  // out of range reads as 0
  EXPECT_EQ(0xFFFFFFFFu, links[0]->connected_panos[1].road_color);
  EXPECT_EQ(0xFFFFFFFFu, links[0]->connected_panos[2].road_color);
}

TEST(PanoramaXmlParserTest, NumbersReadAsQtReadsThem) {
  // Plain numbers take a short cut past Qt's conversions; the values must not differ.
  vistara::testing::SeededRandom rng;
  SCOPED_TRACE(rng.seed_text());
  std::vector<std::string> texts = {"0", "-0", "1.", ".5", "-.5", "+1", "1e3", " 7", "7 ", "0x1A", "1,5", "inf", "-nan",
                                    "-", "00012.50", "179.99999999999999999999", "-0.000000000000000000001",
                                    "2147483647", "2147483648", "-2147483648", "999999999", "-999999999",
                                    "4294967295", "ffffffff", "FFFFFFFF", "100000000", "0xff", "18446744073709551615",
                                    "18446744073709551616", "123456789012345678", "1234567890123456789",
                                    "123456789012345678901234567890123456789", "1234567890123456789012345678901234567890.5"};
  const char kHex[] = "0123456789abcdefABCDEF";
  for (int i = 0; i < 3000; ++i) {
    std::string t = rng.Int(0, 3) == 0 ? "-" : "";
    const bool hex = rng.Int(0, 3) == 0;
    for (int k = rng.Int(1, 20); k > 0; --k) t += hex ? kHex[rng.Int(0, 21)] : static_cast<char>('0' + rng.Int(0, 9));
    if (rng.Int(0, 2) == 0) {
      t += '.';
      for (int k = rng.Int(1, 20); k > 0; --k) t += static_cast<char>('0' + rng.Int(0, 9));
    }
    texts.push_back(t);
  }
  for (const std::string& t : texts) {
    const QString text = QString::fromStdString(t);
    bool ok = false;
    double expected = text.toDouble(&ok);
    if (!ok) expected = 0;
    const auto p = ParseText(QByteArray("<panorama><data_properties lat=\"") + t.c_str() + "\" image_width=\"" +
                             t.c_str() + "\" info_level=\"" + t.c_str() + "\" info_value=\"" + t.c_str() +
                             "\"/><annotation_properties><link pano_id=\"a\" road_argb=\"" + t.c_str() +
                             "\"/></annotation_properties></panorama>");
    ASSERT_EQ(1u, p.size());
    const double got = p[0]->position.y;
    if (std::isnan(expected)) {
      EXPECT_TRUE(std::isnan(got)) << t;
    } else {
      EXPECT_EQ(expected / 180.0, got) << t;
      EXPECT_EQ(std::signbit(expected), std::signbit(got)) << t;
    }
    EXPECT_EQ(text.toInt(), p[0]->image_width) << t;
    EXPECT_EQ(text.toInt(), p[0]->info_value) << t;
    const unsigned long long level = text.toULongLong();
    EXPECT_EQ(((level >> 1) & 1) | (((level >> 6) & 1) << 1), p[0]->info_flags) << t;
    uint32_t argb = text.toUInt(&ok, 16);
    if (!ok) argb = 0xFFFFFFFFu;
    EXPECT_EQ((argb & 0xFF00FF00u) | ((argb >> 16) & 0xFF) | ((argb & 0xFF) << 16), p[0]->connected_panos[0].road_color)
        << t;
  }
}

TEST(PanoramaXmlParserTest, DocumentsThatGiveNothing) {
  for (const char* xml : {"", "<panoramas>", "not xml", "<other><panorama><data_properties/></panorama></other>",
                          "<panoramas/>", "<panorama/>", "<panoramas><x/><panorama/></panoramas>"}) {
    EXPECT_TRUE(ParseText(xml).empty()) << xml;
  }
  // A `panoramas` root whose first child isn't a panorama: the walk starts at the first panorama.
  EXPECT_EQ(1u, ParseText("<panoramas><x/><panorama><data_properties/></panorama></panoramas>").size());
  // Records are appended.
  mmvector<RefPtr<PanoramaData>> out;
  PanoramaXMLParser::Parse("<panorama><data_properties pano_id=\"a\"/></panorama>", &out);
  PanoramaXMLParser::Parse("<panorama><data_properties pano_id=\"b\"/></panorama>", &out);
  ASSERT_EQ(2u, out.size());
  EXPECT_EQ("b", out[1]->id);
  // ParsePanorama asks for a node named panorama.
  XmlReader reader("<panoramas><data_properties/></panoramas>");
  EXPECT_FALSE(PanoramaXMLParser::ParsePanorama(reader.GetRoot(), QByteArray()));
}

}  // namespace
}  // namespace vistara::spatial
