// route and walk, run in-process against the panorama service over West Oakland: a route between
// two street corners follows the streets and turns where they meet, and a walk down a street stays
// inside the corridor and steps from panorama to panorama. Options, failures and file formats are
// in route.cases and walk.cases.
#include <gtest/gtest.h>
#include <json/json.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <sstream>
#include <utility>

#include "cli.h"
#include "cli_run_test_util.h"
#include "panorama_service.h"
#include "street_panoramas_test_util.h"
#include "test_util.h"

namespace vistara::testing {
namespace {

using cli::serve::PanoramaService;
using cli::serve::StreetPanoramas;

// xmllint finds the map well-formed and rsvg-convert draws it.
void ExpectDrawn(const std::string& svg) {
  ASSERT_EQ(0, std::system(("xmllint --noout '" + svg + "' && rsvg-convert -o '" + svg + ".png' '" + svg + "'").c_str()))
      << svg;
  EXPECT_GT(std::filesystem::file_size(svg + ".png"), 1000u) << "an empty picture";
}

bool Intersection(const StreetPanoramas& set, size_t i) { return set.panorama(i).links.size() >= 3; }

// From the intersection `from` along its link `first` to the next intersection or dead end.
size_t Follow(const StreetPanoramas& set, size_t from, const cli::serve::StreetLink& first) {
  size_t at = first.to;
  while (set.panorama(at).links.size() == 2) {
    const auto& links = set.panorama(at).links;
    from = std::exchange(at, links[0].to == from ? links[1].to : links[0].to);
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
  auto at = [&](size_t i) {
    return cli::ShownNumber(set->panorama(i).lat) + "," + cli::ShownNumber(set->panorama(i).lon);
  };

  const TempDir dir("vistara-route-");
  const std::string svg = dir / "route.svg";
  const Outcome route = Cli({"route", "--json", "--server", service.url(), at(a), at(b), "--svg", svg});
  ASSERT_EQ(0, route.status) << route.err;
  ExpectDrawn(svg);
  const Json::Value& stops = route.json["panoramas"];
  ASSERT_GE(stops.size(), 3u);
  EXPECT_EQ(set->panorama(a).id, stops[0]["id"].asString());
  EXPECT_EQ(set->panorama(b).id, stops[stops.size() - 1]["id"].asString());
  std::vector<int> path;
  for (const Json::Value& s : stops) {
    path.push_back(set->Find(s["id"].asString()));
    ASSERT_GE(path.back(), 0) << s["id"];
    if (path.size() < 2) continue;
    const auto& links = set->panorama(path[path.size() - 2]).links;
    EXPECT_TRUE(std::any_of(links.begin(), links.end(), [&](const auto& l) { return int(l.to) == path.back(); }))
        << "not linked: " << s["id"];
  }
  // As few links as the L, it goes one way round the block or the other, turning where streets meet.
  ASSERT_GE(route.json["turns"].size(), 1u);
  for (const Json::Value& t : route.json["turns"]) EXPECT_TRUE(Intersection(*set, path[t["index"].asInt()])) << t;

  // Down the first street, short of its corners (where the cross street's corridor may win), 2 m aside,
  // the heading drifting up to 25 degrees either way from the street's.
  size_t leg = 1;  // the corner
  while (leg + 1 < path.size() && set->panorama(path[leg]).street == set->panorama(path[0]).street) ++leg;
  ASSERT_GE(leg, 4u);
  constexpr double kDeg = std::numbers::pi / 180;
  const double side = 2 / StreetPanoramas::kPlanetRadius / kDeg;  // degrees
  std::ostringstream steps;
  steps.precision(12);
  std::vector<double> drifts;
  for (size_t i = 1; i + 2 < leg; ++i) {
    const auto& p = set->panorama(path[i]);
    const auto& q = set->panorama(path[i + 1]);
    const double heading = std::atan2((q.lon - p.lon) * std::cos(p.lat * kDeg), q.lat - p.lat) / kDeg;
    const double right = (heading + 90) * kDeg;
    for (double f = 0; f < 1; f += 0.25) {
      drifts.push_back(25 * std::sin(0.7 * static_cast<double>(drifts.size())));
      steps << p.lat + f * (q.lat - p.lat) + side * std::cos(right) << ' '
            << p.lon + f * (q.lon - p.lon) + side * std::sin(right) / std::cos(p.lat * kDeg) << ' '
            << heading + drifts.back() << '\n';
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
    // The correction turns the heading back towards the street.
    EXPECT_TRUE(std::fabs(drifts.at(step)) < 1 || s["correction"].asDouble() * drifts[step] < 0) << text;
    // It steps to the route's panoramas in order, never back.
    if (!s["step_to"].isNull()) {
      ASSERT_LT(next, path.size());
      EXPECT_EQ(set->panorama(path[next++]).id, s["step_to"].asString()) << "step " << step;
    }
  }
  EXPECT_EQ(leg - 1, next);
  ExpectDrawn(walked);
}

}  // namespace
}  // namespace vistara::testing
