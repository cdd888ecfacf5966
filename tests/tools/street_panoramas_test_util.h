// The real street graph of the tests: West Oakland, California, a small OpenStreetMap extract (31
// highway ways) shipped by Debian's python-osmnx-doc, and the panoramas the service makes of it;
// and the reading and comparing of metadata replies that the service's tests share.
#ifndef VISTARA_TESTS_TOOLS_STREET_PANORAMAS_TEST_UTIL_H_
#define VISTARA_TESTS_TOOLS_STREET_PANORAMAS_TEST_UTIL_H_

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

#include "osm_streets.h"
#include "spatial/panorama_xml_parser.h"
#include "street_panoramas.h"

namespace vistara::testing {

inline const std::string kWestOaklandOsm = VISTARA_WEST_OAKLAND_OSM;

// The panoramas of the extract every 10 m, built once per test program and shared read-only.
inline std::shared_ptr<const cli::serve::StreetPanoramas> WestOaklandPanoramas() {
  static const std::shared_ptr<const cli::serve::StreetPanoramas> panoramas = [] {
    std::vector<cli::serve::Street> streets;
    std::string error;
    EXPECT_TRUE(cli::serve::ReadStreets(kWestOaklandOsm, &streets, &error)) << error;
    return std::shared_ptr<const cli::serve::StreetPanoramas>(cli::serve::StreetPanoramas::Build(streets, {}, &error));
  }();
  return panoramas;
}

// The records of a reply, as the library reads them.
inline std::vector<RefPtr<spatial::PanoramaData>> ParseReply(const std::string& xml) {
  mmvector<RefPtr<spatial::PanoramaData>> out;
  spatial::PanoramaXMLParser::Parse(QByteArray::fromStdString(xml), &out);
  return std::vector<RefPtr<spatial::PanoramaData>>(out.begin(), out.end());
}

// Every field the metadata XML carries (the maps aside) as one text, to compare records whole.
inline std::string Fields(const spatial::PanoramaData& r) {
  std::ostringstream s;
  s.precision(17);
  s << r.id.toStdString() << ' ' << r.position.x << ' ' << r.position.y << ' ' << r.pano_yaw_deg << ' '
    << r.tilt_yaw_deg << ' ' << r.tilt_pitch_deg << ' ' << r.scene << ' ' << r.image_width << ' ' << r.image_height
    << ' ' << r.tile_width << ' ' << r.tile_height << ' ' << r.info_flags << ' ' << r.info_value;
  for (const QString& t : {r.image_date, r.street_range, r.text, r.copyright, r.level_id}) {
    s << " | " << (t.isNull() ? "(null)" : t.toStdString());
  }
  for (const auto& l : r.connected_panos) s << " | link " << l.id.toStdString() << ' ' << l.road_color << ' ' << l.yaw_deg;
  for (const auto& l : r.connected_levels) {
    s << " | level " << l.level_id.toStdString() << ' ' << l.pano_id.toStdString() << ' ' << l.ordinal << ' ' << l.text.toStdString();
  }
  return s.str();
}

}  // namespace vistara::testing

#endif  // VISTARA_TESTS_TOOLS_STREET_PANORAMAS_TEST_UTIL_H_
