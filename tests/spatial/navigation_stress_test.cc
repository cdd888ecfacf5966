// The navigation classes read the graph while a writer (as the fetch worker) fills it; run under
// TSan too. A viewer walks the streets with a MultiConstraintBuilder on one thread, routes are
// planned on another.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include "spatial/multi_constraint_builder.h"
#include "spatial/path_planner.h"

namespace vistara::spatial {
namespace {

TEST(NavigationStressTest, ViewerAndPlannerWhileTheGraphGrows) {
  // A grid of 30 x 30 crossings, 1e-6 apart, each linked to its four neighbours, arriving in
  // random order.
  constexpr int kSide = 30;
  std::vector<QString> ids;
  for (int i = 0; i < kSide * kSide; ++i) ids.push_back(QString::number(i));
  std::vector<RefPtr<PanoramaData>> records;
  for (int r = 0; r < kSide; ++r) {
    for (int c = 0; c < kSide; ++c) {
      RefPtr<PanoramaData> d(new PanoramaData(ids[r * kSide + c]));
      d->position = Vec3<double>(1e-6 * c, 1e-6 * r, 0);
      d->corridor_width = 2e-7;
      if (r > 0) d->connected_panos.push_back(ConnectedPano{ids[(r - 1) * kSide + c]});
      if (c > 0) d->connected_panos.push_back(ConnectedPano{ids[r * kSide + c - 1]});
      if (r + 1 < kSide) d->connected_panos.push_back(ConnectedPano{ids[(r + 1) * kSide + c]});
      if (c + 1 < kSide) d->connected_panos.push_back(ConnectedPano{ids[r * kSide + c + 1]});
      records.push_back(d);
    }
  }
  std::mt19937 rng(11);
  std::shuffle(records.begin(), records.end(), rng);

  PanoGraph graph;
  std::atomic<bool> done{false};
  std::thread writer([&] {
    for (const RefPtr<PanoramaData>& d : records) graph.AddPano(d->id, d.get());
    done = true;
  });

  std::atomic<long> steps{0}, routes{0};
  std::thread viewer([&] {
    MultiConstraintBuilder builder(graph);
    std::mt19937 r(3);
    std::uniform_real_distribution<double> jitter(-3e-7, 3e-7);
    std::uniform_int_distribution<size_t> pick(0, ids.size() - 1);
    Vec2<double> view(0, 0);
    while (!done || steps < 2000) {
      if (!builder.active_pano()) {
        builder.SetActivePano(ids[pick(r)], 1, 0);
        if (builder.active_pano()) view = builder.active_pano_position();
        continue;
      }
      view = view + Vec2<double>(jitter(r) + 1e-7, jitter(r));
      builder.SetView(view, 1.0);
      if (builder.GetCollisionDepth() < 0) view = builder.GetCollisionPoint();
      const QString best = builder.GetBestPano();
      if (!best.isEmpty()) builder.SetActivePano(best, 1, 0);
      if (view.x > 1e-6 * kSide) builder.SetActivePano(QString(), 1, 0);  // start again elsewhere
      ++steps;
    }
  });
  std::thread planner_thread([&] {
    const PathPlanner planner(&graph);
    std::mt19937 r(5);
    std::uniform_real_distribution<double> at(0, 1e-6 * kSide);
    PathPlanner::Path path;
    Vec3<double> turn_point;
    while (!done || routes < 200) {
      if (planner.FindPath({at(r), at(r), 0}, {at(r), at(r), 0}, 100, false, &path)) {
        for (int i = 0; i < static_cast<int>(path.size()); ++i) planner.IsIntersection(path, i, &turn_point);
      }
      ++routes;
    }
  });
  writer.join();
  viewer.join();
  planner_thread.join();
  EXPECT_GE(steps.load(), 2000);
  EXPECT_GE(routes.load(), 200);
}

}  // namespace
}  // namespace vistara::spatial
