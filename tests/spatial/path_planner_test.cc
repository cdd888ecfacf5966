#include "spatial/path_planner.h"

#include <gtest/gtest.h>

#include <boost/graph/adjacency_list.hpp>
#include <boost/graph/breadth_first_search.hpp>
#include <boost/graph/filtered_graph.hpp>
#include <boost/property_map/property_map.hpp>
#include <boost/graph/visitors.hpp>
#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <numbers>
#include <vector>

#include "platform/geo.h"
#include "platform/units.h"
#include "spatial/navigation_test_util.h"
#include "test_util.h"

namespace vistara::spatial {
namespace {

using testing::AddRecord;

constexpr double kMetre = Units::s_inv_planet_radius / std::numbers::pi;  // latitude units
constexpr double kReach = 100 * Units::s_inv_planet_radius;

double Chord(const Vec3<double>& p, const Vec3<double>& to) {
  return (MapToCartesian(p).GetNormalized() - MapToCartesian(Vec3<double>(to.x, to.y, 0))).Length();
}

bool Linked(const PanoGraph& graph, const QString& a, const QString& b) {
  mmvector<ConnectedPano> linked;
  graph.GetLinkedPanos(a, &linked);
  return std::any_of(linked.begin(), linked.end(), [&](const ConnectedPano& c) { return c.id == b; });
}

// The graph's links copied into a Boost graph, whose breadth-first search is the shadow: the route
// must start at a flat nearest panorama to `from`, end at a nearest (by chord) of all panoramas
// within max_links - 1 links, and be as many links long as the search's distance to its end.
class Shadow {
 public:
  Shadow(const PanoGraph& graph, const std::vector<QString>& ids) : graph_(graph), ids_(ids), g_(ids.size()) {
    for (size_t i = 0; i < ids.size(); ++i) index_[ids[i]] = i;
    for (size_t i = 0; i < ids.size(); ++i) {
      mmvector<ConnectedPano> linked;
      graph.GetLinkedPanos(ids[i], &linked);
      for (const ConnectedPano& c : linked) {
        if (i < index_.at(c.id)) boost::add_edge(i, index_.at(c.id), g_);
      }
    }
  }

  void Check(const PathPlanner& planner, const Vec3<double>& from, const Vec3<double>& to, int max_links,
             bool same_scene_only) const {
    SCOPED_TRACE("max_links " + std::to_string(max_links) + (same_scene_only ? ", one scene" : ""));
    PathPlanner::Path path{"stale"};
    const bool found = planner.FindPath(from, to, max_links, same_scene_only, &path);

    // The start: the flat nearest record to `from`, the planner's own choice among equals.
    auto flat = [&](size_t i) {
      const PanoramaData* d = graph_.GetPanoramaData(ids_[i]);
      return d ? Vec2<double>(d->position.x - from.x, d->position.y - from.y).LengthSquared()
               : std::numeric_limits<double>::max();
    };
    size_t start = 0;
    for (size_t i = 1; i < ids_.size(); ++i) {
      if (flat(i) < flat(start)) start = i;
    }
    if (found) {
      ASSERT_EQ(flat(start), flat(index_.at(path.front())));
      start = index_.at(path.front());
    }
    // Breadth-first distances, through panoramas of the start's scene only if asked.
    const PanoramaData* start_data = graph_.GetPanoramaData(ids_[start]);
    const std::function<bool(size_t)> keep = [&](size_t v) {
      const PanoramaData* d = graph_.GetPanoramaData(ids_[v]);
      return !same_scene_only || (d && d->scene == start_data->scene);
    };
    const boost::filtered_graph<Graph, boost::keep_all, std::function<bool(size_t)>> sub(g_, {}, keep);
    std::vector<int> dist(ids_.size(), -1);
    std::vector<boost::default_color_type> colors(ids_.size());
    dist[start] = 0;
    boost::breadth_first_search(
        sub, start,
        boost::visitor(boost::make_bfs_visitor(boost::record_distances(dist.data(), boost::on_tree_edge())))
            .color_map(boost::make_iterator_property_map(colors.begin(), boost::get(boost::vertex_index, g_))));
    double best_chord = std::numeric_limits<double>::max();
    for (size_t i = 0; i < ids_.size(); ++i) {
      const PanoramaData* d = graph_.GetPanoramaData(ids_[i]);
      if (d && dist[i] >= 0 && dist[i] <= std::max(max_links - 1, 0)) best_chord = std::min(best_chord, Chord(d->position, to));
    }

    ASSERT_EQ(best_chord <= kReach, found);
    if (!found) {
      EXPECT_TRUE(path.empty());
      return;
    }
    const size_t end = index_.at(path.back());
    ASSERT_EQ(best_chord, Chord(graph_.GetPanoramaData(ids_[end])->position, to)) << "the nearest reached";
    ASSERT_EQ(static_cast<size_t>(dist[end]) + 1, path.size()) << "as many links as the breadth-first distance";
    for (size_t i = 1; i < path.size(); ++i) ASSERT_TRUE(Linked(graph_, path[i - 1], path[i])) << "step " << i;
  }

 private:
  using Graph = boost::adjacency_list<boost::vecS, boost::vecS, boost::undirectedS>;
  const PanoGraph& graph_;
  std::vector<QString> ids_;
  std::map<QString, size_t> index_;
  Graph g_;
};

// Random street nets of 300 panoramas over a square of 600 m, some in a second scene, some only
// named by a neighbour (placeholders), each linked to a few of its nearest.
TEST(PathPlannerTest, RandomGraphsAgainstBoostBreadthFirstSearch) {
  testing::SeededRandom rng;
  for (int round = 0; round < 10; ++round) {
    PanoGraph graph;
    const int n = 300;
    std::vector<Vec3<double>> at(n);
    std::vector<QString> ids;
    for (int i = 0; i < n; ++i) {
      at[i] = Vec3<double>(0.3 + rng.Double(0, 600) * kMetre, 0.2 + rng.Double(0, 600) * kMetre, 0);
      ids.push_back(QString::number(i));
    }
    for (int i = 0; i < n; ++i) {
      std::vector<std::pair<double, int>> near;
      for (int j = 0; j < n; ++j) {
        if (j != i) near.emplace_back((at[j] - at[i]).LengthSquared(), j);
      }
      std::partial_sort(near.begin(), near.begin() + 4, near.end());
      std::vector<QString> links;
      const int count = rng.Int(0, 4);
      for (int k = 0; k < count; ++k) links.push_back(ids[static_cast<size_t>(near[static_cast<size_t>(k)].second)]);
      if (i % 29 == 0) continue;  // a placeholder
      AddRecord(&graph, ids[i], at[i].x, at[i].y, links, rng.Int(0, 9) == 0 ? 1 : 0);
    }
    const Shadow shadow(graph, ids);
    const PathPlanner planner(&graph);
    for (int q = 0; q < 30; ++q) {
      const Vec3<double> from = at[rng.Int(0, n - 1)] + Vec3<double>(rng.Double(-5, 5) * kMetre, 0, 0);
      const Vec3<double> to =
          at[rng.Int(0, n - 1)] + Vec3<double>(rng.Double(-150, 150) * kMetre, 0, rng.Double(-1, 1));
      shadow.Check(planner, from, to, rng.Int(-1, 40), rng.Int(0, 1) == 1);
    }
  }
}

TEST(PathPlannerTest, WestOaklandAgainstBoostBreadthFirstSearch) {
  PanoGraph graph;
  testing::AddWestOakland(&graph);
  const auto panoramas = testing::WestOaklandPanoramas();
  std::vector<QString> ids;
  for (size_t i = 0; i < panoramas->size(); ++i) ids.push_back(QString::fromStdString(panoramas->panorama(i).id));
  const Shadow shadow(graph, ids);
  const PathPlanner planner(&graph);
  testing::SeededRandom rng;
  auto position = [&](size_t i) {
    return Vec3<double>(panoramas->panorama(i).lon / 180, panoramas->panorama(i).lat / 180, 0);
  };
  for (int q = 0; q < 40; ++q) {
    const size_t a = static_cast<size_t>(rng.Int(0, static_cast<int>(ids.size()) - 1));
    const size_t b = static_cast<size_t>(rng.Int(0, static_cast<int>(ids.size()) - 1));
    shadow.Check(planner, position(a), position(b) + Vec3<double>(rng.Double(-20, 20) * kMetre, 0, 0),
                 q % 4 == 0 ? rng.Int(1, 30) : 10000, q % 2 == 1);
  }
}

// A route between two street corners follows the streets, and it turns only at intersections, where
// the turn point stands 5 m inside the corner.
TEST(PathPlannerTest, RouteBetweenStreetCorners) {
  PanoGraph graph;
  testing::AddWestOakland(&graph);
  const auto panoramas = testing::WestOaklandPanoramas();
  std::vector<size_t> corners;
  for (size_t i = 0; i < panoramas->size(); ++i) {
    if (panoramas->panorama(i).links.size() >= 3) corners.push_back(i);
  }
  ASSERT_GE(corners.size(), 10u);
  const PathPlanner planner(&graph);
  testing::SeededRandom rng;
  int turns = 0;
  for (int q = 0; q < 20; ++q) {
    const auto& a = panoramas->panorama(corners[static_cast<size_t>(rng.Int(0, static_cast<int>(corners.size()) - 1))]);
    const QString a_id = QString::fromStdString(a.id);
    // The far corner: one of those connected to a.
    mmvector<PanoGraph::ConnectedPanoInfo> reachable;
    graph.GetConnectedPanos(a_id, 1 << 20, false, &reachable);
    std::vector<size_t> far;
    for (const auto& r : reachable) {
      const size_t i = static_cast<size_t>(panoramas->Find(r.id.toStdString()));
      if (panoramas->panorama(i).links.size() >= 3) far.push_back(i);
    }
    if (far.empty()) continue;
    const auto& b = panoramas->panorama(far[static_cast<size_t>(rng.Int(0, static_cast<int>(far.size()) - 1))]);
    PathPlanner::Path path;
    ASSERT_TRUE(planner.FindPath({a.lon / 180, a.lat / 180, 0}, {b.lon / 180, b.lat / 180, 0}, 1 << 20, false, &path));
    EXPECT_EQ(a_id, path.front());
    EXPECT_EQ(QString::fromStdString(b.id), path.back());
    for (int i = 0; i < static_cast<int>(path.size()); ++i) {
      if (i > 0) {
        ASSERT_TRUE(Linked(graph, path[i - 1], path[i]));
      }
      Vec3<double> turn_point(7, 7, 7);
      if (!planner.IsIntersection(path, i, &turn_point)) {
        EXPECT_EQ(Vec3<double>(7, 7, 7), turn_point);
        continue;
      }
      ++turns;
      const auto& p = panoramas->panorama(static_cast<size_t>(panoramas->Find(path[i].toStdString())));
      EXPECT_GE(p.links.size(), 3u) << "a turn of more than 75 degrees is at an intersection";
      const double metres = (MapToCartesian(turn_point) - MapToCartesian({p.lon / 180, p.lat / 180, 0})).Length() /
                            Units::s_inv_planet_radius;
      EXPECT_NEAR(5, metres, 1e-6);
    }
  }
  EXPECT_GT(turns, 0);
}

TEST(PathPlannerTest, SmallCases) {
  PanoGraph graph;
  const PathPlanner planner(&graph);
  PathPlanner::Path path{"stale"};
  EXPECT_FALSE(planner.FindPath({0, 0, 0}, {0, 0, 0}, 5, false, &path)) << "empty graph";
  EXPECT_EQ(PathPlanner::Path{"stale"}, path) << "untouched";

  // A chain a - b - c going north, 20 m apart.
  const double d = 20 * kMetre;
  AddRecord(&graph, "a", 0.1, 0.1, {"b"});
  AddRecord(&graph, "b", 0.1, 0.1 + d, {"a", "c"});
  AddRecord(&graph, "c", 0.1, 0.1 + 2 * d, {"b"});
  EXPECT_TRUE(planner.FindPath({0.1, 0.1, 0}, {0.1, 0.1 + d / 4, 0}, 5, false, &path));
  EXPECT_EQ(PathPlanner::Path{"a"}, path) << "the start is nearest";
  EXPECT_TRUE(planner.FindPath({0.1, 0.1, 0}, {0.1, 0.1 + 2 * d, 0}, 1, false, &path));
  EXPECT_EQ(PathPlanner::Path{"a"}, path) << "max_links 1: only the start, 40 m short";
  EXPECT_TRUE(planner.FindPath({0.1, 0.1, 0}, {0.1, 0.1 + 2 * d, 0}, 3, false, &path));
  EXPECT_EQ((PathPlanner::Path{"a", "b", "c"}), path);
  EXPECT_FALSE(planner.FindPath({0.1, 0.1, 0}, {0.1, 0.1 + 2 * d + 120 * kMetre, 0}, 3, false, &path));
  EXPECT_TRUE(path.empty()) << "emptied on failure after the start was found";

  // The reach: the target is moved north of c until the chord passes 100 m, to the last bit. At
  // 100 m or less it is reached.
  double lo = 0.1 + 2 * d, hi = lo + 200 * kMetre;  // chord(lo) <= 100 m < chord(hi)
  for (double mid = lo + (hi - lo) / 2; mid > lo && mid < hi; mid = lo + (hi - lo) / 2) {
    (Chord({0.1, 0.1 + 2 * d, 0}, {0.1, mid, 0}) <= kReach ? lo : hi) = mid;
  }
  EXPECT_TRUE(planner.FindPath({0.1, 0.1, 0}, {0.1, lo, 0}, 3, false, &path));
  EXPECT_FALSE(planner.FindPath({0.1, 0.1, 0}, {0.1, hi, 0}, 3, false, &path));

  // Corners: ends and indexes outside the path are none.
  Vec3<double> turn_point(7, 7, 7);
  const PathPlanner::Path straight{"a", "b", "c"};
  for (int i : {-1, 0, 1, 2, 3}) EXPECT_FALSE(planner.IsIntersection(straight, i, &turn_point)) << i;
  EXPECT_FALSE(planner.IsIntersection(PathPlanner::Path{"a"}, 0, &turn_point));
  EXPECT_EQ(Vec3<double>(7, 7, 7), turn_point);

  // From b, east or west by angles either side of 75 degrees; and the u-turn back to a.
  const double pi = std::numbers::pi;
  for (const double turn_deg : {74.9, 75.1, 180.0}) {
    const double angle = turn_deg * pi / 180;
    const double east = std::sin(angle) * d / std::cos(0.1 * pi), north = std::cos(angle) * d;
    AddRecord(&graph, "t", 0.1 + east, 0.1 + d + north, {"b"});
    const bool sharp = planner.IsIntersection(PathPlanner::Path{"a", "b", "t"}, 1, &turn_point);
    EXPECT_EQ(turn_deg > 75, sharp) << turn_deg;
    if (!sharp) continue;
    // 5 m into the corner: half-way between the way back (south) and the way on.
    const double half = (angle + pi) / 2;
    EXPECT_NEAR(0.1 + 5 * kMetre * std::sin(half) / std::cos(0.1 * pi), turn_point.x, 1e-12) << turn_deg;
    EXPECT_NEAR(0.1 + d + 5 * kMetre * std::cos(half), turn_point.y, 1e-12) << turn_deg;
    EXPECT_NEAR(0, turn_point.z, 1e-11) << "the bisector of two chords dips a little";
  }
}

}  // namespace
}  // namespace vistara::spatial
