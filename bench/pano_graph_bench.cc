// The panorama graph beside Boost's R*-tree on the same points.
//
//   AddPano/N                 building a graph of N records with two links each (a street chain)
//   Nearest/{uniform,streets}/N        GetClosestPanoToPoint (k = 1, full-map radius)
//   RtreeNearest/{uniform,streets}/N   boost::geometry::index::rtree (R*, packed) k = 1, same queries
//   Nearest5/..., RtreeNearest5/...    k = 5
//   Connected/depth/N          GetConnectedPanos from a random panorama at depth 2 and 3
// Uniform: points over a 0.2 x 0.2 square; streets: chains of 100 panoramas 1e-6 apart along
// random straight lines, as street imagery comes.
#include <benchmark/benchmark.h>

#include <boost/geometry.hpp>
#include <boost/geometry/index/rtree.hpp>
#include <map>
#include <memory>
#include <random>
#include <vector>

#include "spatial/pano_graph.h"

namespace {

namespace bg = boost::geometry;
namespace bgi = boost::geometry::index;
using vistara::RefPtr;
using vistara::Vec3;
using vistara::spatial::PanoGraph;
using vistara::spatial::PanoramaData;
using BPoint = bg::model::point<double, 2, bg::cs::cartesian>;
using BValue = std::pair<BPoint, int>;

struct Fixture {
  std::vector<RefPtr<PanoramaData>> records;
  std::unique_ptr<PanoGraph> graph;
  std::unique_ptr<bgi::rtree<BValue, bgi::rstar<16>>> rtree;
  std::vector<Vec3<double>> queries;
};

std::vector<RefPtr<PanoramaData>> MakeRecords(int n, bool streets) {
  std::mt19937 rng(42);
  std::uniform_real_distribution<double> uni(-0.1, 0.1);
  std::uniform_real_distribution<double> angle(0, 6.283185307179586);
  std::vector<RefPtr<PanoramaData>> out;
  out.reserve(n);
  double x = 0, y = 0, dx = 0, dy = 0;
  for (int i = 0; i < n; ++i) {
    RefPtr<PanoramaData> d(new PanoramaData(QString::number(i)));
    if (!streets) {
      x = uni(rng);
      y = uni(rng);
    } else if (i % 100 == 0) {
      x = uni(rng);
      y = uni(rng);
      const double a = angle(rng);
      dx = 1e-6 * std::cos(a);
      dy = 1e-6 * std::sin(a);
    } else {
      x += dx;
      y += dy;
    }
    d->position = Vec3<double>(x, y, 0);
    // A chain: each links its predecessor and successor (within its street of 100).
    if (i % 100 != 0) d->connected_panos.push_back({QString::number(i - 1)});
    if (i % 100 != 99 && i + 1 < n) d->connected_panos.push_back({QString::number(i + 1)});
    out.push_back(d);
  }
  return out;
}

Fixture& Get(int n, bool streets) {
  static std::map<std::pair<int, bool>, Fixture> cache;
  Fixture& f = cache[{n, streets}];
  if (f.graph) return f;
  f.records = MakeRecords(n, streets);
  f.graph = std::make_unique<PanoGraph>();
  std::vector<BValue> values;
  for (int i = 0; i < n; ++i) {
    f.graph->AddPano(f.records[i]->id, f.records[i].get());
    values.push_back({BPoint(f.records[i]->position.x, f.records[i]->position.y), i});
  }
  f.graph->PostProcessBatch();
  f.rtree = std::make_unique<bgi::rtree<BValue, bgi::rstar<16>>>(values);  // packed
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> uni(-0.1, 0.1);
  for (int i = 0; i < 4096; ++i) f.queries.emplace_back(uni(rng), uni(rng), 0);
  return f;
}

void BM_AddPano(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  auto records = MakeRecords(n, true);
  for (auto _ : state) {
    PanoGraph graph;
    for (const auto& r : records) graph.AddPano(r->id, r.get());
    benchmark::DoNotOptimize(&graph);
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_AddPano)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

void BM_Nearest(benchmark::State& state) {
  Fixture& f = Get(static_cast<int>(state.range(0)), state.range(1) != 0);
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(&f.graph->GetClosestPanoToPoint(f.queries[i++ & 4095]));
  }
}
void BM_RtreeNearest(benchmark::State& state) {
  Fixture& f = Get(static_cast<int>(state.range(0)), state.range(1) != 0);
  size_t i = 0;
  std::vector<BValue> out;
  for (auto _ : state) {
    out.clear();
    const auto& q = f.queries[i++ & 4095];
    f.rtree->query(bgi::nearest(BPoint(q.x, q.y), 1), std::back_inserter(out));
    benchmark::DoNotOptimize(out.data());
  }
}
void BM_Nearest5(benchmark::State& state) {
  Fixture& f = Get(static_cast<int>(state.range(0)), state.range(1) != 0);
  size_t i = 0;
  vistara::mmvector<const PanoramaData*> out;
  for (auto _ : state) {
    out.clear();
    f.graph->GetClosestPanosToPoint(f.queries[i++ & 4095], 5, &out);
    benchmark::DoNotOptimize(out.data());
  }
}
void BM_RtreeNearest5(benchmark::State& state) {
  Fixture& f = Get(static_cast<int>(state.range(0)), state.range(1) != 0);
  size_t i = 0;
  std::vector<BValue> out;
  for (auto _ : state) {
    out.clear();
    const auto& q = f.queries[i++ & 4095];
    f.rtree->query(bgi::nearest(BPoint(q.x, q.y), 5), std::back_inserter(out));
    benchmark::DoNotOptimize(out.data());
  }
}
void BM_Connected(benchmark::State& state) {
  Fixture& f = Get(100000, true);
  const int depth = static_cast<int>(state.range(0));
  std::mt19937 rng(3);
  std::vector<QString> starts;
  for (int i = 0; i < 1024; ++i) starts.push_back(f.records[rng() % f.records.size()]->id);
  vistara::mmvector<PanoGraph::ConnectedPanoInfo> out;
  size_t i = 0;
  for (auto _ : state) {
    f.graph->GetConnectedPanos(starts[i++ & 1023], depth, false, &out);
    benchmark::DoNotOptimize(out.data());
  }
}

void Sizes(benchmark::internal::Benchmark* b) {
  for (int streets : {0, 1}) {
    for (int n : {10000, 100000, 1000000}) b->Args({n, streets});
  }
}
BENCHMARK(BM_Nearest)->Apply(Sizes);
BENCHMARK(BM_RtreeNearest)->Apply(Sizes);
BENCHMARK(BM_Nearest5)->Apply(Sizes);
BENCHMARK(BM_RtreeNearest5)->Apply(Sizes);
BENCHMARK(BM_Connected)->Arg(2)->Arg(3);

}  // namespace

BENCHMARK_MAIN();
