// route and walk, run in-process against the panorama service over West Oakland: a route between
// two street corners follows the dataset's streets and turns where they meet, its files are read
// back by independent readers (xmllint, rsvg-convert, jsoncpp, pugixml), and a walk down a street
// with a drifting heading stays inside the corridor and steps from panorama to panorama. Their
// options and failures are in route.cases and walk.cases.
#include <gtest/gtest.h>
#include <json/json.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <pugixml.hpp>
#include <numbers>
#include <sstream>

#include "cli.h"
#include "cli_run_test_util.h"
#include "panorama_service.h"
#include "street_panoramas_test_util.h"
#include "test_util.h"

namespace vistara::testing {
namespace {

using cli::serve::PanoramaService;
using cli::serve::StreetPanoramas;

// xmllint finds the file well-formed, and for SVG rsvg-convert draws it.
void ExpectReadable(const std::string& file, bool svg) {
  EXPECT_EQ(0, std::system(("xmllint --noout '" + file + "'").c_str())) << file;
  if (svg) {
    EXPECT_EQ(0, std::system(("rsvg-convert '" + file + "' > /dev/null").c_str())) << file;
  }
}

bool Intersection(const StreetPanoramas& set, size_t i) { return set.panorama(i).links.size() >= 3; }

// From the intersection `from` along its link `first` to the next intersection.
size_t Follow(const StreetPanoramas& set, size_t from, const cli::serve::StreetLink& first) {
  size_t previous = from, at = first.to;
  while (!Intersection(set, at) && set.panorama(at).links.size() == 2) {
    const auto& links = set.panorama(at).links;
    const size_t next = links[0].to == previous ? links[1].to : links[0].to;
    previous = at, at = next;
  }
  return at;
}

// Two corners an L apart: from an intersection along one street to the next intersection, there
// onto another street at 80 to 100 degrees, to the intersection after.
bool FindCorners(const StreetPanoramas& set, size_t* a, size_t* b) {
  for (size_t i = 0; i < set.size(); ++i) {
    if (!Intersection(set, i)) continue;
    for (const auto& in : set.panorama(i).links) {
      const size_t x = Follow(set, i, in);
      if (!Intersection(set, x)) continue;
      for (const auto& out : set.panorama(x).links) {
        const double turn = std::abs(std::remainder(out.yaw_deg - in.yaw_deg, 360.0));
        if (out.street == in.street || turn < 80 || turn > 100) continue;
        const size_t y = Follow(set, x, out);
        if (y != x && Intersection(set, y)) {
          *a = i, *b = y;
          return true;
        }
      }
    }
  }
  return false;
}

TEST(RouteCommandTest, RoutesBetweenCornersFollowTheStreetsAndWalksStayInTheirCorridors) {
  const auto set = WestOaklandPanoramas();
  ASSERT_TRUE(set);
  PanoramaService service(set, {.read_timeout_ms = 1000});
  std::string error;
  ASSERT_TRUE(service.Start(&error)) << error;
  size_t a = 0, b = 0;
  ASSERT_TRUE(FindCorners(*set, &a, &b));
  const auto& pa = set->panorama(a);
  const auto& pb = set->panorama(b);
  auto at = [](const auto& p) { return cli::ShownNumber(p.lat) + "," + cli::ShownNumber(p.lon); };

  const TempDir dir("vistara-route-");
  const std::string svg = dir / "route.svg", kml = dir / "route.kml", geojson = dir / "route.geojson";
  const Outcome route = Cli({"route", "--json", "--server", service.url(), at(pa), at(pb), "--svg", svg, "--kml", kml,
                             "--geojson", geojson});
  ASSERT_EQ(0, route.status) << route.err;
  const Json::Value& stops = route.json["panoramas"];
  ASSERT_GE(stops.size(), 3u);
  EXPECT_EQ(pa.id, stops[0]["id"].asString());
  EXPECT_EQ(pb.id, stops[stops.size() - 1]["id"].asString());
  std::vector<int> path;
  for (const Json::Value& s : stops) {
    path.push_back(set->Find(s["id"].asString()));
    ASSERT_GE(path.back(), 0) << s["id"];
    EXPECT_EQ(set->streets()[set->panorama(path.back()).street].name, s["street"].asString());
  }
  // Every consecutive pair is linked in the dataset.
  for (size_t i = 1; i < path.size(); ++i) {
    const auto& links = set->panorama(path[i - 1]).links;
    EXPECT_TRUE(std::any_of(links.begin(), links.end(), [&](const auto& l) { return int(l.to) == path[i]; }))
        << "step " << i;
  }
  // It turns, and only where streets meet: as few links as the L, it goes one way round the block
  // or the other.
  ASSERT_GE(route.json["turns"].size(), 1u);
  for (const Json::Value& t : route.json["turns"]) EXPECT_TRUE(Intersection(*set, path[t["index"].asInt()])) << t;

  // The files: the map draws, the KML and GeoJSON hold the route's positions in order.
  ExpectReadable(svg, true);
  ExpectReadable(kml, false);
  pugi::xml_document doc;
  ASSERT_TRUE(doc.load_file(kml.c_str()));
  std::istringstream coordinates(doc.select_node("//LineString/coordinates").node().text().get());
  Json::Value features;
  ASSERT_TRUE(Json::Reader().parse(ReadFile(geojson), features));
  EXPECT_EQ("FeatureCollection", features["type"].asString());
  const Json::Value& line = features["features"][0]["geometry"];
  EXPECT_EQ("LineString", line["type"].asString());
  ASSERT_EQ(stops.size(), line["coordinates"].size());
  EXPECT_EQ(route.json["turns"].size() + 1, features["features"].size());
  for (Json::ArrayIndex i = 0; i < stops.size(); ++i) {
    double lon = 0, lat = 0, z = 1;
    char c1 = 0, c2 = 0;
    ASSERT_TRUE(coordinates >> lon >> c1 >> lat >> c2 >> z) << i;
    EXPECT_NEAR(stops[i]["lon"].asDouble(), lon, 1e-12);
    EXPECT_NEAR(stops[i]["lat"].asDouble(), lat, 1e-12);
    EXPECT_EQ(0, z);
    EXPECT_EQ(stops[i]["lon"].asDouble(), line["coordinates"][i][0].asDouble());
    EXPECT_EQ(stops[i]["lat"].asDouble(), line["coordinates"][i][1].asDouble());
  }

  // Down the route's first street between its ends (the corners, where the cross street's corridor
  // may win), 2 m to the side, the heading drifting right by a degree a step.
  size_t leg = 1;  // the corner
  while (leg + 1 < path.size() && set->panorama(path[leg]).street == set->panorama(path[0]).street) ++leg;
  ASSERT_GE(leg, 4u);
  std::ostringstream steps;
  int n = 0;
  for (size_t i = 1; i + 2 < leg; ++i) {
    const auto& p = set->panorama(path[i]);
    const auto& q = set->panorama(path[i + 1]);
    const double heading = std::atan2((q.lon - p.lon) * std::cos(p.lat * std::numbers::pi / 180), q.lat - p.lat) * 180 / std::numbers::pi;
    const double side = 2 / StreetPanoramas::kPlanetRadius * 180 / std::numbers::pi;  // degrees
    for (double f = 0; f < 1; f += 0.25, ++n) {
      const double right = (heading + 90) * std::numbers::pi / 180;
      steps.precision(12);
      steps << p.lat + f * (q.lat - p.lat) + side * std::cos(right) << ' '
            << p.lon + f * (q.lon - p.lon) + side * std::sin(right) / std::cos(p.lat * std::numbers::pi / 180) << ' '
            << heading + n % 30 << '\n';
    }
  }
  const std::string walked = dir / "walk.svg";
  const Outcome walk = Cli({"walk", "--json", "--server", service.url(), "--svg", walked}, steps.str());
  ASSERT_EQ(0, walk.status) << walk.err;
  std::istringstream lines(walk.out);
  std::string text;
  size_t next = 2;
  for (int step = 0; std::getline(lines, text); ++step) {
    Json::Value s;
    ASSERT_TRUE(Json::Reader().parse(text, s)) << text;
    EXPECT_GT(s["depth"].asDouble(), 0) << text;
    // Drifted right, it is turned back left.
    if (step % 30 > 5) {
      EXPECT_LT(s["correction"].asDouble(), 0) << text;
    }
    // It steps to the route's panoramas in order, never back.
    if (!s["step_to"].isNull()) {
      ASSERT_LT(next, path.size());
      EXPECT_EQ(set->panorama(path[next++]).id, s["step_to"].asString()) << "step " << step;
    }
  }
  EXPECT_EQ(leg - 1, next);
  ExpectReadable(walked, true);
}

}  // namespace
}  // namespace vistara::testing
