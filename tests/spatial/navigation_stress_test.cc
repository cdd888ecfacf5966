// West Oakland's panoramas arrive in random order (as from the fetch worker) while a viewer walks
// on one thread and routes are planned on another; run under TSan too.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include "spatial/multi_constraint_builder.h"
#include "spatial/path_planner.h"
#include "tools/street_panoramas_test_util.h"

namespace vistara::spatial {
namespace {

TEST(NavigationStressTest, ViewerAndPlannerWhileTheGraphGrows) {
  const auto panoramas = testing::WestOaklandPanoramas();
  std::vector<RefPtr<PanoramaData>> records;
  std::vector<QString> ids;  // made before the threads start, so that the records are only the graph's
  std::vector<Vec3<double>> at;
  for (size_t i = 0; i < panoramas->size(); ++i) {
    records.push_back(panoramas->Record(i));
    ids.push_back(records.back()->id);
    at.push_back(records.back()->position);
  }
  std::shuffle(records.begin(), records.end(), std::mt19937(11));

  PanoGraph graph;
  std::atomic<bool> done{false};
  std::atomic<int> steps{0}, routes{0};
  std::thread writer([&] {
    for (const RefPtr<PanoramaData>& d : records) graph.AddPano(d->id, d.get());
    done = true;
  });
  std::thread viewer([&] {
    MultiConstraintBuilder builder(graph);
    std::mt19937 r(3);
    std::uniform_real_distribution<double> jitter(-2e-8, 2e-8);  // about 1 m
    Vec2<double> view;
    while (!done || steps < 2000) {
      if (++steps % 100 == 0 || !builder.active_pano()) {  // (again) from a random panorama
        builder.SetActivePano(ids[r() % ids.size()], 1, 0);
        if (builder.active_pano()) view = builder.active_pano_position();
        continue;
      }
      view = view + Vec2<double>(jitter(r), jitter(r));
      builder.SetView(view, 1.0);
      if (builder.GetCollisionDepth() < 0) view = builder.GetCollisionPoint();
      const QString best = builder.GetBestPano();
      if (!best.isEmpty()) builder.SetActivePano(best, 1, 0);
    }
  });
  std::thread planner_thread([&] {
    const PathPlanner planner(&graph);
    std::mt19937 r(5);
    PathPlanner::Path path;
    Vec3<double> turn_point;
    while (!done || routes < 200) {
      if (planner.FindPath(at[r() % at.size()], at[r() % at.size()], 50, false, &path)) {
        for (int i = 0; i < static_cast<int>(path.size()); ++i) planner.IsIntersection(path, i, &turn_point);
      }
      ++routes;
    }
  });
  writer.join();
  viewer.join();
  planner_thread.join();
}

}  // namespace
}  // namespace vistara::spatial
