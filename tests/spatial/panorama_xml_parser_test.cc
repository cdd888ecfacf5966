#include "spatial/panorama_xml_parser.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <tuple>

#include "platform/xml/xml_reader.h"
#include "spatial/depth_map_xml_parser.h"
#include "spatial/pano_map.h"
#include "test_util.h"

namespace vistara::spatial {
namespace {

mmvector<RefPtr<PanoramaData>> ParseText(const QByteArray& xml) {
  mmvector<RefPtr<PanoramaData>> out;
  PanoramaXMLParser::Parse(xml, &out);
  return out;
}

// Every parsed field of a record on one line; a null string shows as "~".
std::string Describe(const PanoramaData& p) {
  const auto q = [](const QString& s) { return (s.isNull() ? QStringLiteral("~") : "'" + s + "'").toStdString(); };
  std::ostringstream s;
  s << q(p.id) << " flags " << p.info_flags << " value " << p.info_value << " at " << p.position.x * 180 << ","
    << p.position.y * 180 << " image " << p.image_width << "x" << p.image_height << " tiles " << p.tile_width << "x"
    << p.tile_height << " date " << q(p.image_date) << " scene " << p.scene << " level " << q(p.level_id) << " text "
    << q(p.text) << " range " << q(p.street_range) << " address " << q(p.address) << " copyright " << q(p.copyright)
    << " yaw " << p.pano_yaw_deg << " tilt " << p.tilt_yaw_deg << "," << p.tilt_pitch_deg << " links";
  for (const ConnectedPano& c : p.connected_panos) s << " " << q(c.id) << ":" << std::hex << c.road_color << std::dec << ":" << c.yaw_deg;
  s << " levels";
  for (const ConnectedLevel& l : p.connected_levels) {
    s << " " << q(l.level_id) << ":" << q(l.pano_id) << ":" << l.ordinal << ":" << q(l.text) << ":" << q(l.abbreviation);
  }
  s << " maps " << (p.depth_map != nullptr) << (p.pano_map != nullptr);
  return s.str();
}

TEST(PanoramaXmlParserTest, TileReply) {
  // The second panorama has no data_properties and the trailing <note> isn't a panorama. Links
  // without pano_id and levels without level_id or pano_id are dropped; <road> is walked too (no
  // name test). A tile reply's records never get maps, though this element holds them.
  const auto records =
      ParseText(QByteArray::fromStdString(testing::ReadFile(VISTARA_TEST_DATA_DIR "/panorama_tile.xml")));
  ASSERT_EQ(2u, records.size());
  EXPECT_EQ("'First_xxxxxxxxxxxxxxxx' flags 1 value 12 at -180,90 image 13312x6656 tiles 512x512 date '2023-11' "
            "scene 3 level 'G' text 'Elm Road' range '' address 'Elm Road' copyright '\u00a9 2023 Vistara' yaw 180.25 "
            "tilt 3,0 links 'Second_xxxxxxxxxxxxxxx':ff332211:45 'Third_xxxxxxxxxxxxxxxx':ffffffff:135.5 "
            "'Fourth_xxxxxxxxxxxxxxx':ffffffff:0 levels 'B1':'Lower_xxxxxxxxxxxxxxxx':-1:'Basement':'B' "
            "'G':'First_xxxxxxxxxxxxxxxx':0:'Ground':~ maps 00",
            Describe(*records[0]));
  EXPECT_EQ(1u, records[0]->GetLevel());
  EXPECT_EQ("'Third_xxxxxxxxxxxxxxxx' flags 0 value 2000 at 151.5,-33.75 image 0x0 tiles 0x0 date ~ scene 0 level ~ "
            "text ~ range ~ address '' copyright ~ yaw 0 tilt 0,0 links levels maps 00",
            Describe(*records[1]));
}

TEST(PanoramaXmlParserTest, SingleReplyMapsAndAnnotations) {
  const QByteArray xml = QByteArray::fromStdString(testing::ReadFile(VISTARA_TEST_DATA_DIR "/panorama_single.xml"));
  const auto records = ParseText(xml);
  ASSERT_EQ(1u, records.size());
  const PanoramaData& p = *records[0];
  EXPECT_TRUE(p.depth_map && p.pano_map);
  EXPECT_TRUE(p.annotations.empty());  // the caller decides where annotations go

  // <label> is walked too; a missing number is 0, a missing title null.
  const auto annotations = DepthMapXMLParser::ParseAnnotations(xml);
  ASSERT_EQ(3u, annotations.size());
  const auto a = [&](size_t i) {
    const Annotation& n = annotations[i];
    return std::make_tuple(n.id, n.title, n.yaw, n.pitch, n.d);
  };
  EXPECT_EQ(std::make_tuple(QString("a1"), QString("Museum"), 12.5f, -3.0f, 40.0f), a(0));
  EXPECT_EQ(std::make_tuple(QString("a2"), QString("Caf\u00e9"), 0.0f, 1.5f, 0.0f), a(1));
  EXPECT_TRUE(annotations[2].title.isNull());
  // The path starts at the root.
  EXPECT_TRUE(DepthMapXMLParser::ParseAnnotations("<panoramas><panorama><annotations><annotation id=\"x\"/>"
                                                  "</annotations></panorama></panoramas>").empty());
}

TEST(PanoramaXmlParserTest, NumbersReadAsQtReadsThem) {
  // Plain numbers take a short cut past Qt's conversions; the values must not differ.
  vistara::testing::SeededRandom rng;
  // Forms the short cut must leave to Qt, and the digit counts where it stops; random numbers
  // follow.
  std::vector<std::string> texts = {"-0", "1.", ".5", "-.5", "+1", "1e3", " 7", "7 ", "0x1A", "1,5", "inf", "-nan",
                                    "-", "2147483648", "999999999", "ffffffff", "100000000", "1234567890123456789",
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

TEST(PanoramaXmlParserTest, WhereTheWalkStarts) {
  // Records are appended (where the walk starts is in pano.cases).
  mmvector<RefPtr<PanoramaData>> out(1);
  PanoramaXMLParser::Parse("<panoramas><x/><panorama><data_properties pano_id=\"b\"/></panorama></panoramas>", &out);
  ASSERT_EQ(2u, out.size());
  EXPECT_EQ("b", out[1]->id);
  // ParsePanorama asks for a node named panorama.
  XmlReader reader("<panoramas><data_properties/></panoramas>");
  EXPECT_FALSE(PanoramaXMLParser::ParsePanorama(reader.GetRoot(), QByteArray()));
}

}  // namespace
}  // namespace vistara::spatial
