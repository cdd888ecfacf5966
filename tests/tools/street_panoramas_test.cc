// Panoramas along real streets, checked against the extract read independently (bzip2 and pugixml
// rather than libosmium), their queries against brute force, and their maps as the library decodes
// them.
#include "street_panoramas.h"

#include <bzlib.h>
#include <gtest/gtest.h>

#include <QString>
#include <cmath>
#include <map>
#include <numbers>
#include <numeric>
#include <pugixml.hpp>
#include <set>

#include "spatial/depth_map_xml_parser.h"
#include "spatial/pano_map_xml_parser.h"
#include "test_util.h"
#include "west_oakland.h"

namespace vistara::testing {
namespace {

using cli::serve::Street;
using cli::serve::StreetNode;
using cli::serve::StreetPanoramas;

constexpr double kDegree = std::numbers::pi / 180;
constexpr double kMetresPerDegree = StreetPanoramas::kPlanetRadius * kDegree;

std::string Bunzip(const std::string& compressed) {
  bz_stream s{};
  BZ2_bzDecompressInit(&s, 0, 0);
  s.next_in = const_cast<char*>(compressed.data());
  s.avail_in = static_cast<unsigned>(compressed.size());
  std::string out;
  char buffer[1 << 16];
  int result;
  do {
    s.next_out = buffer;
    s.avail_out = sizeof buffer;
    result = BZ2_bzDecompress(&s);
    out.append(buffer, sizeof buffer - s.avail_out);
  } while (result == BZ_OK);
  BZ2_bzDecompressEnd(&s);
  return out;
}

// The extract's streets as pugixml reads them: node positions, and each highway way's nodes.
struct Extract {
  std::map<int64_t, std::pair<double, double>> nodes;  // lat, lon
  std::map<int64_t, std::vector<int64_t>> ways;
};

Extract ReadIndependently() {
  pugi::xml_document doc;
  EXPECT_TRUE(doc.load_string(Bunzip(ReadFile(kWestOaklandOsm)).c_str()));
  Extract extract;
  for (pugi::xml_node n : doc.child("osm").children("node")) {
    extract.nodes[n.attribute("id").as_llong()] = {n.attribute("lat").as_double(), n.attribute("lon").as_double()};
  }
  for (pugi::xml_node w : doc.child("osm").children("way")) {
    if (!w.find_child_by_attribute("tag", "k", "highway")) continue;
    for (pugi::xml_node nd : w.children("nd")) extract.ways[w.attribute("id").as_llong()].push_back(nd.attribute("ref").as_llong());
  }
  return extract;
}

// Metres from (lat, lon) to the segment a-b, on a plane tangent at (lat, lon).
double ToSegment(double lat, double lon, std::pair<double, double> a, std::pair<double, double> b) {
  const double k = std::cos(lat * kDegree) * kMetresPerDegree;
  const double ax = (a.second - lon) * k, ay = (a.first - lat) * kMetresPerDegree;
  const double bx = (b.second - lon) * k, by = (b.first - lat) * kMetresPerDegree;
  const double dx = bx - ax, dy = by - ay, length2 = dx * dx + dy * dy;
  const double t = length2 > 0 ? std::clamp(-(ax * dx + ay * dy) / length2, 0.0, 1.0) : 0;
  return std::hypot(ax + t * dx, ay + t * dy);
}

double ToWay(const Extract& extract, int64_t way, double lat, double lon) {
  double best = INFINITY;
  const std::vector<int64_t>& refs = extract.ways.at(way);
  for (size_t k = 0; k + 1 < refs.size(); ++k) {
    best = std::min(best, ToSegment(lat, lon, extract.nodes.at(refs[k]), extract.nodes.at(refs[k + 1])));
  }
  return best;
}

double Metres(const cli::serve::StreetPanorama& a, const cli::serve::StreetPanorama& b) {
  return std::hypot((b.lon - a.lon) * std::cos(a.lat * kDegree) * kMetresPerDegree, (b.lat - a.lat) * kMetresPerDegree);
}

// Connected parts of a graph given as (a, b) pairs over n vertices.
size_t Components(size_t n, const std::vector<std::pair<size_t, size_t>>& edges) {
  std::vector<size_t> parent(n);
  std::iota(parent.begin(), parent.end(), 0);
  auto root = [&](size_t v) {
    while (parent[v] != v) v = parent[v] = parent[parent[v]];
    return v;
  };
  for (const auto& [a, b] : edges) parent[root(a)] = root(b);
  size_t count = 0;
  for (size_t v = 0; v < n; ++v) count += root(v) == v;
  return count;
}

TEST(StreetPanoramasTest, WestOaklandLiesOnItsStreets) {
  const auto set = WestOaklandPanoramas();
  ASSERT_TRUE(set);
  const Extract extract = ReadIndependently();
  ASSERT_EQ(31u, extract.ways.size());
  // This extract at 10 m; the first id is kept as a golden so that ids stay what earlier runs gave.
  EXPECT_EQ(864u, set->size());
  EXPECT_EQ("qWXsUBGe1iiEOBD8HER9lO", set->panorama(0).id);

  std::set<std::string> ids;
  std::vector<std::pair<size_t, size_t>> links;
  for (size_t i = 0; i < set->size(); ++i) {
    const cli::serve::StreetPanorama& p = set->panorama(i);
    SCOPED_TRACE("panorama " + std::to_string(i) + " " + p.id);
    ASSERT_EQ(22u, p.id.size());
    EXPECT_EQ(std::string::npos, p.id.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"));
    EXPECT_TRUE(ids.insert(p.id).second);
    EXPECT_EQ(static_cast<int>(i), set->Find(p.id));
    EXPECT_LT(ToWay(extract, set->streets()[p.street].way_id, p.lat, p.lon), 0.01);
    for (const cli::serve::StreetLink& l : p.links) {
      const cli::serve::StreetPanorama& q = set->panorama(l.to);
      ASSERT_NE(i, l.to);
      EXPECT_EQ(1, std::count_if(p.links.begin(), p.links.end(), [&](const auto& m) { return m.to == l.to; }));
      EXPECT_EQ(1, std::count_if(q.links.begin(), q.links.end(), [&](const auto& m) { return m.to == i && m.street == l.street; }));
      // Both ends on the street the link runs along, no further apart than 3/2 of the spacing;
      // neighbours between two anchors no nearer than half of it.
      const int64_t way = set->streets()[l.street].way_id;
      EXPECT_LT(ToWay(extract, way, q.lat, q.lon), 0.01);
      const double metres = Metres(p, q);
      EXPECT_LE(metres, 15.01);
      if (p.node_id == 0 && q.node_id == 0) {
        EXPECT_GE(metres, 5.0);
      }
      const double yaw = std::atan2((q.lon - p.lon) * std::cos(p.lat * kDegree), q.lat - p.lat) / kDegree;
      EXPECT_NEAR(0, std::remainder(l.yaw_deg - yaw, 360), 0.05);
      if (i < l.to) links.emplace_back(i, l.to);
    }
  }

  // Every node of two or more ways is one panorama, linked along each of them.
  std::map<int64_t, int> uses, degree;
  std::vector<std::pair<size_t, size_t>> edges;
  std::map<int64_t, size_t> vertex;
  for (const auto& [way, refs] : extract.ways) {
    for (size_t k = 0; k < refs.size(); ++k) {
      ++uses[refs[k]];
      degree[refs[k]] += (k > 0) + (k + 1 < refs.size());
      vertex.emplace(refs[k], vertex.size());
      if (k > 0) edges.emplace_back(vertex[refs[k - 1]], vertex[refs[k]]);
    }
  }
  size_t junctions = 0;
  for (const auto& [node, count] : uses) {
    if (count < 2) continue;
    ++junctions;
    std::vector<size_t> at;
    for (size_t i = 0; i < set->size(); ++i) {
      if (set->panorama(i).node_id == node) at.push_back(i);
    }
    ASSERT_EQ(1u, at.size()) << "node " << node;
    const cli::serve::StreetPanorama& p = set->panorama(at[0]);
    EXPECT_EQ(extract.nodes.at(node), std::make_pair(p.lat, p.lon));
    EXPECT_EQ(static_cast<size_t>(degree[node]), p.links.size()) << "node " << node;
  }
  EXPECT_EQ(36u, junctions);
  EXPECT_EQ(876u, links.size());
  // The panoramas fall apart into as many pieces as the street network.
  EXPECT_EQ(Components(vertex.size(), edges), Components(set->size(), links));

  // The same extract gives the same ids; a wider spacing keeps its neighbours within its bounds.
  std::vector<Street> streets;
  std::string error;
  ASSERT_TRUE(cli::serve::ReadStreets(kWestOaklandOsm, &streets, &error)) << error;
  const auto again = StreetPanoramas::Build(streets, {}, &error);
  ASSERT_TRUE(again);
  for (size_t i = 0; i < set->size(); ++i) EXPECT_EQ(set->panorama(i).id, again->panorama(i).id);
  const auto wide = StreetPanoramas::Build(streets, {.spacing = 25}, &error);
  ASSERT_TRUE(wide);
  EXPECT_LT(wide->size(), set->size() / 2);
  for (size_t i = 0; i < wide->size(); ++i) {
    for (const cli::serve::StreetLink& l : wide->panorama(i).links) {
      EXPECT_LE(Metres(wide->panorama(i), wide->panorama(l.to)), 37.51);
    }
  }
}

Street MakeStreet(int64_t way, const char* highway, const char* name, std::vector<StreetNode> nodes) {
  return Street{way, highway, name, "2024-01", std::move(nodes)};
}

TEST(StreetPanoramasTest, CrossingsBridgesLoopsAndLimits) {
  // Main (east) and Cross (north) share node 2; Bridge passes over Main without a shared node; a
  // ring far away; Twin starts where Bridge does.
  const std::vector<Street> streets = {
      MakeStreet(10, "residential", "Main", {{1, 0, 0}, {2, 0, 0.001}, {3, 0, 0.002}}),
      MakeStreet(20, "footway", "Cross", {{4, -0.001, 0.001}, {2, 0, 0.001}, {5, 0.001, 0.001}}),
      MakeStreet(30, "primary_link", "Bridge", {{6, -0.001, 0.0015}, {7, 0.001, 0.0015}}),
      MakeStreet(40, "service", "", {{8, 1, 1}, {9, 1, 1.0004}, {10, 1.0004, 1}, {8, 1, 1}}),
      MakeStreet(50, "unknown_kind", "Twin", {{11, -0.001, 0.0015}, {12, -0.002, 0.0015}}),
  };
  std::string error;
  const auto set = StreetPanoramas::Build(streets, {}, &error);
  ASSERT_TRUE(set) << error;
  std::vector<std::vector<size_t>> by_street(streets.size());
  int crossing = -1;
  for (size_t i = 0; i < set->size(); ++i) {
    by_street[set->panorama(i).street].push_back(i);
    if (set->panorama(i).node_id == 2) crossing = static_cast<int>(i);
  }
  ASSERT_GE(crossing, 0);
  std::map<int, std::string> around;  // heading in whole degrees to the street the link runs along
  for (const auto& l : set->panorama(crossing).links) around[std::lround(l.yaw_deg) % 360] = streets[l.street].name;
  EXPECT_EQ((std::map<int, std::string>{{0, "Cross"}, {90, "Main"}, {180, "Cross"}, {270, "Main"}}), around);
  // Cross is a footway drawn in its own colour and narrower than Main.
  EXPECT_NE(set->road_argb(0), set->road_argb(1));
  EXPECT_LT(set->street_width(1), set->street_width(0));
  const auto primary = StreetPanoramas::Build({MakeStreet(1, "primary", "", {{1, 0, 0}, {2, 0, 1e-4}})}, {}, &error);
  EXPECT_EQ(primary->road_argb(0), set->road_argb(2));  // a _link road is drawn as its class

  // Bridge keeps to itself; the ring's panoramas each have two links; Twin's first panorama
  // stands where Bridge's does, under another id.
  for (size_t i : by_street[2]) {
    for (const auto& l : set->panorama(i).links) EXPECT_EQ(2u, set->panorama(l.to).street);
  }
  ASSERT_GE(by_street[3].size(), 8u);
  for (size_t i : by_street[3]) EXPECT_EQ(2u, set->panorama(i).links.size());
  const auto& bridge = set->panorama(by_street[2][0]);
  const auto& twin = set->panorama(by_street[4][0]);
  EXPECT_EQ(std::make_pair(bridge.lat, bridge.lon), std::make_pair(twin.lat, twin.lon));
  EXPECT_NE(bridge.id, twin.id);
  for (uint32_t s = 0; s < streets.size(); ++s) EXPECT_EQ(static_cast<int32_t>(s + 1), set->scene(s));

  // Limits.
  EXPECT_FALSE(StreetPanoramas::Build(streets, {.spacing = 10, .max_panoramas = 20}, &error));
  EXPECT_EQ("the streets would make more than 20 panoramas", error);
  EXPECT_FALSE(StreetPanoramas::Build({MakeStreet(1, "path", "", {{1, -80, 0}, {2, 80, 0}})}, {.spacing = 1}, &error));
  EXPECT_FALSE(StreetPanoramas::Build(streets, {.spacing = 0.5}, &error));
  EXPECT_EQ("the spacing must be 1 to 1000 metres", error);
  EXPECT_EQ(0u, StreetPanoramas::Build({}, {}, &error)->size());
}

TEST(StreetPanoramasTest, NearestAndTilesAgainstBruteForce) {
  // The library's tile arithmetic on known tiles.
  int64_t x, y;
  cli::serve::TileOf(51.5, -0.1, 16, &x, &y);
  EXPECT_EQ(std::make_pair(int64_t{32749}, int64_t{21794}), std::make_pair(x, y));
  cli::serve::TileOf(0, 0, 16, &x, &y);
  EXPECT_EQ(std::make_pair(int64_t{32768}, int64_t{32768}), std::make_pair(x, y));
  cli::serve::TileOf(90, 0, 16, &x, &y);
  EXPECT_EQ(-1, y);

  const auto set = WestOaklandPanoramas();
  ASSERT_TRUE(set);
  SeededRandom random;
  for (int round = 0; round < 300; ++round) {
    const double lat = random.Double(37.800, 37.815), lon = random.Double(-122.310, -122.290);
    const double radius = random.Double(0, 300);
    double best = INFINITY;
    int expected = -1;
    for (size_t i = 0; i < set->size(); ++i) {
      const auto& p = set->panorama(i);
      const double a = std::sin((p.lat - lat) * kDegree / 2), b = std::sin((p.lon - lon) * kDegree / 2);
      const double d = 2 * StreetPanoramas::kPlanetRadius *
                       std::asin(std::sqrt(a * a + std::cos(lat * kDegree) * std::cos(p.lat * kDegree) * b * b));
      if (d < best) best = d, expected = static_cast<int>(i);
    }
    EXPECT_EQ(best <= radius ? expected : -1, set->Nearest(lat, lon, radius)) << lat << "," << lon << " " << radius;
  }
  // Each tile from zoom 12 to 19 that holds a panorama (and the one east of it) answers exactly the
  // panoramas whose own tile it is.
  for (int zoom = 12; zoom <= 19; ++zoom) {
    for (int k = 0; k < 20; ++k) {
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
    const auto& p = set->panorama(i);
    SCOPED_TRACE("panorama " + std::to_string(i));
    const std::unique_ptr<DepthMap> depth(
        spatial::DepthMapXMLParser::ReadCompressedDepthMapData(QByteArray::fromStdString(set->depth_map_text(i))));
    ASSERT_TRUE(depth);
    ASSERT_EQ(kW, depth->width);
    ASSERT_EQ(kH, depth->height);
    ASSERT_EQ(4, depth->num_planes);
    const double half = set->street_width(p.street) / 2;
    const Plane<double> planes[] = {{{0, 0, 0}, 0}, {{0, 0, 1}, 2.5}, {{1, 0, 0}, half}, {{-1, 0, 0}, half}};
    for (int k = 0; k < 4; ++k) {
      EXPECT_EQ(planes[k].normal, depth->planes[k].normal) << k;  // the sky's -0 equals 0
      EXPECT_EQ(planes[k].distance, depth->planes[k].distance) << k;
    }
    // Straight down the ground, up the sky; at eye level to the right and left the façades, and
    // halfway up along the street the sky between them.
    auto cell = [&](int row, int col) { return depth->indices[row * kW + col]; };
    EXPECT_EQ(1, cell(kH - 1, kW / 2));
    EXPECT_EQ(0, cell(0, kW / 2));
    EXPECT_EQ(3, cell(kH / 2 - 1, 3 * kW / 4));
    EXPECT_EQ(2, cell(kH / 2 - 1, kW / 4));
    EXPECT_EQ(0, cell(kH / 4, kW / 2));

    const std::unique_ptr<spatial::PanoMap> pano(
        spatial::PanoMapXMLParser::ReadCompressedPanoMapData(QByteArray::fromStdString(set->pano_map_text(i))));
    ASSERT_TRUE(pano);
    for (size_t e = 1; e < pano->ids.size(); ++e) {
      const int j = set->Find(pano->ids[e].toStdString());
      ASSERT_GE(j, 0);
      EXPECT_LE(Metres(p, set->panorama(j)), StreetPanoramas::kPanoMapReach + 0.01);
    }
    QString id = "unset";
    EXPECT_TRUE(pano->GetPano(0.5f, 0.0f, &id, nullptr));  // at the camera's feet: itself, entry 0
    EXPECT_TRUE(id.isEmpty());
    // The ground 10 m ahead shows the neighbour ahead, at its place in the panorama's frame.
    for (const auto& l : p.links) {
      if (std::fabs(std::remainder(l.yaw_deg - p.yaw_deg, 360)) > 2) continue;
      const double metres = Metres(p, set->panorama(l.to));
      const double pitch = -std::atan(StreetPanoramas::kCameraHeight / metres) / kDegree;
      Vec2<float> at;
      ASSERT_TRUE(pano->GetPano(0.5f, static_cast<float>(0.5 + pitch / 180), &id, &at));
      EXPECT_EQ(QString::fromStdString(set->panorama(l.to).id), id);
      EXPECT_NEAR(0, at.x, 0.5);
      EXPECT_NEAR(metres, at.y, 0.05);
    }
  }
}

}  // namespace
}  // namespace vistara::testing
