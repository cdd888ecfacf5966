// Street-level navigation: the per-frame constraint update and routes, beside Boost Graph's
// breadth-first search over the same links.
//
//   SetView/links               MultiConstraintBuilder::SetView at a panorama with that many links
//                               within two, the viewer circling the corner (fillets tried each frame)
//   FindPath/{oakland,city}     PathPlanner::FindPath between random panoramas, max_links unbounded
//   BoostBfs/{oakland,city}     boost::breadth_first_search from the same starts over the same links
//                               (an adjacency_list of vecS), the floor of any breadth-first route
// oakland: West Oakland's streets, a panorama every 10 m; city: a grid of 317 x 317 streets
// crossings (100,489 panoramas), 10 m apart, each linked to its four neighbours.
#include <benchmark/benchmark.h>

#include <boost/graph/adjacency_list.hpp>
#include <boost/graph/breadth_first_search.hpp>
#include <boost/graph/visitors.hpp>
#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "osm_streets.h"
#include "platform/units.h"
#include "spatial/multi_constraint_builder.h"
#include "spatial/pano_graph.h"
#include "spatial/path_planner.h"
#include "street_panoramas.h"

namespace {

using vistara::RefPtr;
using vistara::Vec2;
using vistara::Vec3;
using vistara::spatial::MultiConstraintBuilder;
using vistara::spatial::PanoGraph;
using vistara::spatial::PanoramaData;
using vistara::spatial::PathPlanner;
using BoostGraph = boost::adjacency_list<boost::vecS, boost::vecS, boost::undirectedS>;

constexpr double kMetre = vistara::Units::s_inv_planet_radius / 3.141592653589793;  // latitude units

void Add(PanoGraph* graph, const QString& id, double x, double y, const std::vector<QString>& links) {
  RefPtr<PanoramaData> d(new PanoramaData(id));
  d->position = Vec3<double>(x, y, 0);
  for (const QString& l : links) d->connected_panos.push_back(vistara::spatial::ConnectedPano{l});
  graph->AddPano(id, d.get());
}

// A graph, its positions and the same links as a Boost graph.
struct Net {
  PanoGraph graph;
  std::vector<Vec3<double>> positions;
  BoostGraph boost_graph;
};

std::unique_ptr<Net> MakeOakland() {
  std::vector<vistara::cli::serve::Street> streets;
  std::string error;
  if (!vistara::cli::serve::ReadStreets(VISTARA_WEST_OAKLAND_OSM, &streets, &error)) return nullptr;
  const auto panoramas = vistara::cli::serve::StreetPanoramas::Build(streets, {}, &error);
  if (!panoramas) return nullptr;
  auto net = std::make_unique<Net>();
  net->boost_graph = BoostGraph(panoramas->size());
  for (size_t i = 0; i < panoramas->size(); ++i) {
    const RefPtr<PanoramaData> record = panoramas->Record(i);
    net->graph.AddPano(record->id, record.get());
    net->positions.push_back(record->position);
    for (const auto& l : panoramas->panorama(i).links) {
      if (i < l.to) boost::add_edge(i, l.to, net->boost_graph);
    }
  }
  return net;
}

std::unique_ptr<Net> MakeCity() {
  constexpr int kSide = 317;
  auto net = std::make_unique<Net>();
  net->boost_graph = BoostGraph(kSide * kSide);
  auto id = [](int r, int c) { return QString::number(r * kSide + c); };
  for (int r = 0; r < kSide; ++r) {
    for (int c = 0; c < kSide; ++c) {
      std::vector<QString> links;
      if (r > 0) links.push_back(id(r - 1, c));
      if (c > 0) links.push_back(id(r, c - 1));
      if (r + 1 < kSide) links.push_back(id(r + 1, c));
      if (c + 1 < kSide) links.push_back(id(r, c + 1));
      const Vec3<double> at(0.3 + c * 10 * kMetre * 1.2, 0.2 + r * 10 * kMetre, 0);
      Add(&net->graph, id(r, c), at.x, at.y, links);
      net->positions.push_back(at);
      if (r + 1 < kSide) boost::add_edge(r * kSide + c, (r + 1) * kSide + c, net->boost_graph);
      if (c + 1 < kSide) boost::add_edge(r * kSide + c, r * kSide + c + 1, net->boost_graph);
    }
  }
  return net;
}

Net* Get(int which) {
  static std::unique_ptr<Net> oakland = MakeOakland();
  static std::unique_ptr<Net> city;
  if (which == 0) return oakland.get();
  if (!city) city = MakeCity();
  return city.get();
}

// Start and end indexes of the routes, the same for both.
std::vector<std::pair<size_t, size_t>> Routes(size_t n) {
  std::mt19937 rng(7);
  std::uniform_int_distribution<size_t> pick(0, n - 1);
  std::vector<std::pair<size_t, size_t>> out;
  for (int i = 0; i < 64; ++i) out.emplace_back(pick(rng), pick(rng));
  return out;
}

void BM_FindPath(benchmark::State& state) {
  Net* net = Get(static_cast<int>(state.range(0)));
  if (!net) return state.SkipWithError("West Oakland extract not readable");
  const PathPlanner planner(&net->graph);
  const auto routes = Routes(net->positions.size());
  PathPlanner::Path path;
  size_t i = 0, links = 0;
  for (auto _ : state) {
    const auto& [from, to] = routes[i++ % routes.size()];
    planner.FindPath(net->positions[from], net->positions[to], 1 << 30, false, &path);
    links += path.size();
  }
  state.counters["path_ids"] = benchmark::Counter(static_cast<double>(links), benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_FindPath)->ArgName("city")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_BoostBfs(benchmark::State& state) {
  Net* net = Get(static_cast<int>(state.range(0)));
  if (!net) return state.SkipWithError("West Oakland extract not readable");
  const auto routes = Routes(net->positions.size());
  std::vector<int> dist(boost::num_vertices(net->boost_graph));
  size_t i = 0;
  for (auto _ : state) {
    const size_t from = routes[i++ % routes.size()].first;
    std::fill(dist.begin(), dist.end(), 0);
    boost::breadth_first_search(net->boost_graph, from,
                                boost::visitor(boost::make_bfs_visitor(
                                    boost::record_distances(dist.data(), boost::on_tree_edge()))));
    benchmark::DoNotOptimize(dist.data());
  }
}
BENCHMARK(BM_BoostBfs)->ArgName("city")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// A corner of `links / 2` streets, each with one more link beyond its first panorama: `links`
// constraints in all, the viewer circling 8 m from the corner.
void BM_SetView(benchmark::State& state) {
  const int streets = static_cast<int>(state.range(0)) / 2;
  PanoGraph graph;
  std::vector<QString> arms;
  for (int s = 0; s < streets; ++s) arms.push_back(QString("arm%1").arg(s));
  Add(&graph, "corner", 0.3, 0.2, arms);
  for (int s = 0; s < streets; ++s) {
    const double a = 6.283185307179586 * s / streets;
    const QString far = QString("far%1").arg(s);
    Add(&graph, arms[s], 0.3 + 10 * kMetre * std::sin(a), 0.2 + 10 * kMetre * std::cos(a), {"corner", far});
    Add(&graph, far, 0.3 + 20 * kMetre * std::sin(a), 0.2 + 20 * kMetre * std::cos(a), {arms[s]});
  }
  MultiConstraintBuilder builder(graph);
  builder.SetActivePano("corner", 1, 0);
  if (builder.constraints().size() != static_cast<size_t>(state.range(0))) {
    return state.SkipWithError("constraint count differs from the argument");
  }
  std::vector<Vec2<double>> views;
  for (int i = 0; i < 256; ++i) {
    const double a = 6.283185307179586 * i / 256;
    views.emplace_back(0.3 + 8 * kMetre * std::sin(a), 0.2 + 8 * kMetre * std::cos(a));
  }
  size_t i = 0;
  for (auto _ : state) {
    builder.SetView(views[i++ % views.size()], 0.1);
    benchmark::DoNotOptimize(builder.GetCollisionDepth());
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}
BENCHMARK(BM_SetView)->ArgName("links")->Arg(4)->Arg(10)->Arg(16);

}  // namespace

BENCHMARK_MAIN();
