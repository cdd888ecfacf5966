#include "spatial/path_planner.h"

#include <gtest/gtest.h>

#include <boost/graph/adjacency_list.hpp>
#include <boost/graph/breadth_first_search.hpp>
#include <cmath>
#include <limits>
#include <map>
#include <numbers>
#include <string>
#include <vector>

#include "platform/geo.h"
#include "platform/units.h"
#include "spatial/navigation_test_util.h"
#include "test_util.h"
#include "tools/street_panoramas_test_util.h"

namespace vistara::spatial {
namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kMetre = Units::s_inv_planet_radius / kPi;  // map units of latitude

double Chord(const Vec3<double>& p, const Vec3<double>& to) {
  return (MapToCartesian(p).GetNormalized() - MapToCartesian(Vec3<double>(to.x, to.y, 0))).Length();
}

// The shadow: the graph's links among `ids` (all its vertices; in the start's scene only if asked) in
// a Boost graph. The route runs from the panorama nearest `from` to the one nearest `to` by chord of
// those within max_links - 1 links, if within 100 m, by as few links as breadth-first search finds.
PathPlanner::Path FindPathAgainstBoost(const PanoGraph& graph, const std::vector<QString>& ids,
                                       const Vec3<double>& from, const Vec3<double>& to, int max_links,
                                       bool same_scene_only) {
  SCOPED_TRACE("max_links " + std::to_string(max_links) + (same_scene_only ? ", one scene" : ""));
  std::map<QString, size_t> index;
  for (size_t i = 0; i < ids.size(); ++i) index[ids[i]] = i;
  const QString start = graph.GetClosestPanoToPoint(from);
  const int start_scene = graph.GetPanoramaData(start)->scene;
  auto keep = [&](const QString& id) {
    const PanoramaData* d = graph.GetPanoramaData(id);
    return !same_scene_only || (d && d->scene == start_scene);
  };
  boost::adjacency_list<boost::vecS, boost::vecS, boost::undirectedS> g(ids.size());
  for (size_t i = 0; i < ids.size(); ++i) {
    mmvector<ConnectedPano> linked;
    graph.GetLinkedPanos(ids[i], &linked);
    for (const ConnectedPano& c : linked) {
      if (i < index.at(c.id) && keep(ids[i]) && keep(c.id)) boost::add_edge(i, index.at(c.id), g);
    }
  }
  std::vector<int> dist(ids.size(), -1);
  dist[index.at(start)] = 0;
  const auto record_distances = boost::record_distances(dist.data(), boost::on_tree_edge());
  boost::breadth_first_search(g, index.at(start), boost::visitor(boost::make_bfs_visitor(record_distances)));
  double best = std::numeric_limits<double>::max();
  for (size_t i = 0; i < ids.size(); ++i) {
    const PanoramaData* d = graph.GetPanoramaData(ids[i]);
    if (d && dist[i] >= 0 && dist[i] < std::max(max_links, 1)) best = std::min(best, Chord(d->position, to));
  }

  PathPlanner::Path path{"stale"};
  const bool found = PathPlanner(&graph).FindPath(from, to, max_links, same_scene_only, &path);
  EXPECT_EQ(best <= 100 * Units::s_inv_planet_radius, found);
  EXPECT_EQ(found, !path.empty());
  if (!found) return path;
  EXPECT_EQ(start, path.front());
  EXPECT_EQ(best, Chord(graph.GetPanoramaData(path.back())->position, to)) << "the nearest reached";
  EXPECT_EQ(static_cast<size_t>(dist[index.at(path.back())]) + 1, path.size()) << "the fewest links";
  for (size_t i = 1; i < path.size(); ++i) {
    EXPECT_TRUE(boost::edge(index.at(path[i - 1]), index.at(path[i]), g).second) << "step " << i;
  }
  return path;
}

// Random nets of 300 panoramas over 600 m, one in ten in a second scene, some only named by a link.
TEST(PathPlannerTest, RandomGraphsAgainstBoostBreadthFirstSearch) {
  testing::SeededRandom rng;
  for (int round = 0; round < 10; ++round) {
    PanoGraph graph;
    std::vector<Vec3<double>> at;
    std::vector<QString> ids;
    for (int i = 0; i < 300; ++i) {
      at.emplace_back(0.3 + rng.Double(0, 600) * kMetre, 0.2 + rng.Double(0, 600) * kMetre, 0);
      ids.push_back(QString::number(i));
      std::vector<QString> links;
      for (int k = rng.Int(0, 3); k > 0; --k) links.push_back(QString::number((i + rng.Int(1, 299)) % 300));
      if (i % 29 != 0) testing::AddRecord(&graph, ids[i], at[i].x, at[i].y, links, -1, rng.Int(0, 9) == 0 ? 1 : 0);
    }
    for (int q = 0; q < 30; ++q) {
      const Vec3<double> from = at[static_cast<size_t>(rng.Int(0, 299))];
      const Vec3<double> to = at[static_cast<size_t>(rng.Int(0, 299))] +
                              Vec3<double>(rng.Double(-150, 150) * kMetre, 0, rng.Double(-1, 1));
      FindPathAgainstBoost(graph, ids, from, to, rng.Int(-1, 40), rng.Int(0, 1) == 1);
    }
  }
}

// Routes between West Oakland's corners against the shadow. They turn by over 75 degrees (by the
// bearings, up to a degree's doubt) where IsIntersection says, at intersections, 5 m from the panorama.
TEST(PathPlannerTest, WestOaklandRoutesBetweenCorners) {
  PanoGraph graph;
  const auto panoramas = testing::WestOaklandPanoramas();
  std::vector<QString> ids;
  std::vector<size_t> corners;
  for (size_t i = 0; i < panoramas->size(); ++i) {
    const RefPtr<PanoramaData> record = panoramas->Record(i);
    graph.AddPano(record->id, record.get());
    ids.push_back(record->id);
    if (panoramas->panorama(i).links.size() >= 3) corners.push_back(i);
  }
  const PathPlanner planner(&graph);
  testing::SeededRandom rng;
  int turns = 0;
  for (int q = 0; q < 40; ++q) {
    const size_t a = corners[static_cast<size_t>(rng.Int(0, static_cast<int>(corners.size()) - 1))];
    const size_t b = corners[static_cast<size_t>(rng.Int(0, static_cast<int>(corners.size()) - 1))];
    // The largest max_links also shows that the search ends with the graph, not at the depth.
    const int max_links = q % 4 == 0 ? rng.Int(1, 30) : std::numeric_limits<int>::max();
    const PathPlanner::Path path = FindPathAgainstBoost(graph, ids, panoramas->Record(a)->position,
                                                        panoramas->Record(b)->position, max_links, q % 2 == 1);
    for (int i = 1; i + 1 < static_cast<int>(path.size()); ++i) {
      Vec3<double> p[3];
      for (int k = 0; k < 3; ++k) p[k] = graph.GetPanoramaData(path[static_cast<size_t>(i - 1 + k)])->position;
      const double turn = std::fabs(std::remainder(
          AzimuthToPoint(p[1].y, p[1].x, p[2].y, p[2].x) - AzimuthToPoint(p[0].y, p[0].x, p[1].y, p[1].x), 2 * kPi));
      Vec3<double> turn_point;
      const bool sharp = planner.IsIntersection(path, i, &turn_point);
      if (std::fabs(turn - 75 * kPi / 180) > kPi / 180) {
        EXPECT_EQ(turn > 75 * kPi / 180, sharp) << "turn of " << turn * 180 / kPi << " degrees";
      }
      if (!sharp) continue;
      ++turns;
      EXPECT_GE(panoramas->panorama(panoramas->Find(path[static_cast<size_t>(i)].toStdString())).links.size(), 3u);
      EXPECT_NEAR(5, (MapToCartesian(turn_point) - MapToCartesian(p[1])).Length() / Units::s_inv_planet_radius, 1e-6);
    }
  }
  EXPECT_GT(turns, 0);
}

}  // namespace
}  // namespace vistara::spatial
