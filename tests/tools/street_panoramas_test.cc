// Panoramas along real streets, checked against the extract read independently (bzip2 and pugixml
// rather than libosmium), their queries against brute force, and their maps as the library decodes
// them.
#include "street_panoramas.h"

#include <bzlib.h>
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <numbers>
#include <pugixml.hpp>
#include <regex>
#include <set>

#include "spatial/depth_map_xml_parser.h"
#include "spatial/pano_map_xml_parser.h"
#include "test_util.h"
#include "street_panoramas_test_util.h"

namespace vistara::testing {
namespace {

using cli::serve::Street;
using cli::serve::StreetPanorama;
using cli::serve::StreetPanoramas;
using Way = std::vector<std::tuple<int64_t, double, double>>;  // node id, lat, lon

constexpr double kDegree = std::numbers::pi / 180;
constexpr double kMetresPerDegree = StreetPanoramas::kPlanetRadius * kDegree;

// The extract's highway ways as pugixml reads them.
std::map<int64_t, Way> ReadWaysIndependently() {
  const std::string compressed = ReadFile(kWestOaklandOsm);
  std::string xml(1 << 22, '\0');
  unsigned size = static_cast<unsigned>(xml.size());
  EXPECT_EQ(BZ_OK, BZ2_bzBuffToBuffDecompress(xml.data(), &size, const_cast<char*>(compressed.data()),
                                              static_cast<unsigned>(compressed.size()), 0, 0));
  pugi::xml_document doc;
  EXPECT_TRUE(doc.load_buffer(xml.data(), size));
  std::map<int64_t, pugi::xml_node> nodes;
  for (pugi::xml_node n : doc.child("osm").children("node")) nodes[n.attribute("id").as_llong()] = n;
  std::map<int64_t, Way> ways;
  for (pugi::xml_node w : doc.child("osm").children("way")) {
    if (!w.find_child_by_attribute("tag", "k", "highway")) continue;
    for (pugi::xml_node nd : w.children("nd")) {
      const pugi::xml_node n = nodes.at(nd.attribute("ref").as_llong());
      ways[w.attribute("id").as_llong()].emplace_back(nd.attribute("ref").as_llong(), n.attribute("lat").as_double(),
                                                      n.attribute("lon").as_double());
    }
  }
  return ways;
}

// Metres between two panoramas, and from a position to a way's line, on the plane tangent there.
double Metres(const StreetPanorama& a, const StreetPanorama& b) {
  return std::hypot((b.lon - a.lon) * std::cos(a.lat * kDegree) * kMetresPerDegree, (b.lat - a.lat) * kMetresPerDegree);
}

double ToWay(const Way& way, double lat, double lon) {
  double best = INFINITY;
  const double k = std::cos(lat * kDegree) * kMetresPerDegree;
  for (size_t i = 0; i + 1 < way.size(); ++i) {
    const double ax = (std::get<2>(way[i]) - lon) * k, ay = (std::get<1>(way[i]) - lat) * kMetresPerDegree;
    const double dx = (std::get<2>(way[i + 1]) - lon) * k - ax, dy = (std::get<1>(way[i + 1]) - lat) * kMetresPerDegree - ay;
    const double t = std::clamp(-(ax * dx + ay * dy) / std::max(dx * dx + dy * dy, 1e-18), 0.0, 1.0);
    best = std::min(best, std::hypot(ax + t * dx, ay + t * dy));
  }
  return best;
}

TEST(StreetPanoramasTest, WestOaklandLiesOnItsStreets) {
  const auto set = WestOaklandPanoramas();
  ASSERT_TRUE(set);
  const auto ways = ReadWaysIndependently();
  ASSERT_EQ(31u, ways.size());
  // This extract at 10 m; the first id stays a golden, so that ids stay what earlier runs gave.
  EXPECT_EQ(864u, set->size());
  EXPECT_EQ("qWXsUBGe1iiEOBD8HER9lO", set->panorama(0).id);
  // Every node of two or more ways is one panorama there, linked along each of them.
  std::map<int64_t, int> uses, degree;
  for (const auto& [way, nodes] : ways) {
    for (size_t k = 0; k < nodes.size(); ++k) {
      ++uses[std::get<0>(nodes[k])];
      degree[std::get<0>(nodes[k])] += (k > 0) + (k + 1 < nodes.size());
    }
  }
  std::set<int64_t> junctions;
  std::set<std::string> ids;
  size_t links = 0;
  for (size_t i = 0; i < set->size(); ++i) {
    const StreetPanorama& p = set->panorama(i);
    SCOPED_TRACE("panorama " + std::to_string(i));
    if (p.node_id != 0 && uses[p.node_id] > 1) {
      EXPECT_TRUE(junctions.insert(p.node_id).second);
      EXPECT_EQ(static_cast<size_t>(degree[p.node_id]), p.links.size());
    }
    EXPECT_TRUE(std::regex_match(p.id, std::regex("[A-Za-z0-9_-]{22}")) && ids.insert(p.id).second);
    EXPECT_EQ(static_cast<int>(i), set->Find(p.id));
    EXPECT_LT(ToWay(ways.at(set->streets()[p.street].way_id), p.lat, p.lon), 0.01);
    for (const cli::serve::StreetLink& l : p.links) {
      // Once each way, both ends on the street it runs along, 2/3 to 3/2 of the spacing apart
      // (nearer only between two anchors), heading to the neighbour.
      const StreetPanorama& q = set->panorama(l.to);
      EXPECT_EQ(1, std::count_if(p.links.begin(), p.links.end(), [&](const auto& m) { return m.to == l.to; }));
      EXPECT_EQ(1, std::count_if(q.links.begin(), q.links.end(), [&](const auto& m) { return m.to == i && m.street == l.street; }));
      EXPECT_LT(ToWay(ways.at(set->streets()[l.street].way_id), q.lat, q.lon), 0.01);
      EXPECT_LE(Metres(p, q), 15.01);
      EXPECT_GE(Metres(p, q), p.node_id && q.node_id ? 0.0 : 6.5);
      const double yaw = std::atan2((q.lon - p.lon) * std::cos(p.lat * kDegree), q.lat - p.lat) / kDegree;
      EXPECT_NEAR(0, std::remainder(l.yaw_deg - yaw, 360), 0.05);
      links += i < l.to;
    }
  }
  EXPECT_EQ(876u, links);
  EXPECT_EQ(static_cast<size_t>(std::count_if(uses.begin(), uses.end(), [](const auto& u) { return u.second > 1; })),
            junctions.size());
  EXPECT_EQ(36u, junctions.size());
}

TEST(StreetPanoramasTest, Limits) {
  const std::vector<Street> main = {{10, "residential", "Main", "", {{1, 0, 0}, {2, 0, 0.001}, {3, 0, 0.002}}}};
  std::string error;
  EXPECT_FALSE(StreetPanoramas::Build(main, {.spacing = 10, .max_panoramas = 20}, &error));
  EXPECT_EQ("the streets would make more than 20 panoramas", error);
  // A street across the globe is refused before a panorama is made.
  EXPECT_FALSE(StreetPanoramas::Build({{1, "path", "", "", {{1, -80, 0}, {2, 80, 0}}}}, {.spacing = 1}, &error));
  EXPECT_FALSE(StreetPanoramas::Build(main, {.spacing = 0.5}, &error));
  EXPECT_EQ("the spacing must be 1 to 1000 metres", error);
  EXPECT_TRUE(StreetPanoramas::Build(main, {.spacing = 1}, &error));
  EXPECT_EQ(-1, StreetPanoramas::Build({}, {}, &error)->Nearest(0, 0, 1e9));
}

TEST(StreetPanoramasTest, NearestAndTilesAgainstBruteForce) {
  int64_t x, y;
  cli::serve::TileOf(51.5, -0.1, 16, &x, &y);  // the library's own example
  EXPECT_EQ(std::make_pair(int64_t{32749}, int64_t{21794}), std::make_pair(x, y));

  const auto set = WestOaklandPanoramas();
  ASSERT_TRUE(set);
  SeededRandom random;
  for (int round = 0; round < 300; ++round) {
    const double lat = random.Double(37.800, 37.815), lon = random.Double(-122.310, -122.290), radius = random.Double(0, 300);
    std::pair<double, int> best{INFINITY, -1};
    for (size_t i = 0; i < set->size(); ++i) {
      const auto& p = set->panorama(i);
      const double a = std::sin((p.lat - lat) * kDegree / 2), b = std::sin((p.lon - lon) * kDegree / 2);
      const double h = a * a + std::cos(lat * kDegree) * std::cos(p.lat * kDegree) * b * b;
      best = std::min(best, std::make_pair(2 * StreetPanoramas::kPlanetRadius * std::asin(std::sqrt(h)), static_cast<int>(i)));
    }
    EXPECT_EQ(best.first <= radius ? best.second : -1, set->Nearest(lat, lon, radius)) << lat << "," << lon << " " << radius;
  }
  // Tiles from zoom 12 to 19 that hold a panorama, and their eastern neighbours, answer exactly the
  // panoramas whose own tile they are.
  for (int zoom = 12; zoom <= 19; ++zoom) {
    for (int k = 0; k < 10; ++k) {
      const auto& p = set->panorama(random.Int(0, static_cast<int>(set->size()) - 1));
      cli::serve::TileOf(p.lat, p.lon, zoom, &x, &y);
      for (int64_t tx : {x, x + 1}) {
        std::vector<uint32_t> expected;
        for (uint32_t i = 0; i < set->size(); ++i) {
          int64_t ix, iy;
          cli::serve::TileOf(set->panorama(i).lat, set->panorama(i).lon, zoom, &ix, &iy);
          if (ix == tx && iy == y) expected.push_back(i);
        }
        EXPECT_EQ(expected, set->InTile(static_cast<int>(tx), static_cast<int>(y), zoom)) << zoom;
      }
    }
  }
}

TEST(StreetPanoramasTest, MapsDecodedByTheLibrary) {
  const auto set = WestOaklandPanoramas();
  ASSERT_TRUE(set);
  constexpr int kW = StreetPanoramas::kMapWidth, kH = StreetPanoramas::kMapHeight;
  for (size_t i = 0; i < set->size(); i += 43) {
    const StreetPanorama& p = set->panorama(i);
    SCOPED_TRACE("panorama " + std::to_string(i));
    const std::unique_ptr<DepthMap> depth(
        spatial::DepthMapXMLParser::ReadCompressedDepthMapData(QByteArray::fromStdString(set->depth_map_text(i))));
    ASSERT_TRUE(depth);
    ASSERT_EQ(std::make_pair(kW * kH, 4), std::make_pair(depth->width * depth->height, depth->num_planes));
    // Sky (no normal), ground 2.5 m below, façades half the street's width left and right.
    const double half = set->street_width(p.street) / 2;
    EXPECT_EQ(std::vector<Vec3<double>>({{0, 0, 0}, {0, 0, 2.5}, {half, 0, 0}, {-half, 0, 0}}),
              std::vector<Vec3<double>>({depth->planes[0].normal * depth->planes[0].distance, depth->planes[1].normal * depth->planes[1].distance,
                                         depth->planes[2].normal * depth->planes[2].distance, depth->planes[3].normal * depth->planes[3].distance}));
    // Straight down the ground, up the sky; at eye level right and left the façades, and halfway
    // up along the street the sky between them.
    const uint8_t* c = depth->indices;
    EXPECT_EQ(std::vector<int>({1, 0, 3, 2, 0}), std::vector<int>({c[(kH - 1) * kW + kW / 2], c[kW / 2], c[(kH / 2 - 1) * kW + 3 * kW / 4],
                                                                   c[(kH / 2 - 1) * kW + kW / 4], c[kH / 4 * kW + kW / 2]}));

    const std::unique_ptr<spatial::PanoMap> pano(
        spatial::PanoMapXMLParser::ReadCompressedPanoMapData(QByteArray::fromStdString(set->pano_map_text(i))));
    ASSERT_TRUE(pano);
    for (size_t e = 1; e < pano->ids.size(); ++e) {
      const int j = set->Find(pano->ids[e].toStdString());
      ASSERT_GE(j, 0);
      EXPECT_LE(Metres(p, set->panorama(j)), StreetPanoramas::kPanoMapReach + 0.01);
    }
    QString id = "unset";
    EXPECT_TRUE(pano->GetPano(0.5f, 0.0f, &id, nullptr) && id.isEmpty());  // at the camera's feet: itself
    // The ground where the neighbour ahead stands shows it, at its place in the panorama's frame.
    for (const auto& l : p.links) {
      if (std::fabs(std::remainder(l.yaw_deg - p.yaw_deg, 360)) > 2) continue;
      const double metres = Metres(p, set->panorama(l.to));
      Vec2<float> at;
      ASSERT_TRUE(pano->GetPano(0.5f, static_cast<float>(0.5 - std::atan(2.5 / metres) / kDegree / 180), &id, &at));
      EXPECT_EQ(QString::fromStdString(set->panorama(l.to).id), id);
      EXPECT_NEAR(0, at.x, 0.5);
      EXPECT_NEAR(metres, at.y, 0.05);
    }
  }
}

}  // namespace
}  // namespace vistara::testing
