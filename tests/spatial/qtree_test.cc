#include "spatial/qtree.h"

#include <gtest/gtest.h>

#include <QString>
#include <algorithm>
#include <cmath>
#include <vector>

#include "test_util.h"

namespace vistara::spatial {
namespace {

using Tree = QTree<QString, double>;
using Result = Tree::DistanceResult;

std::vector<QString> Keys(const mmvector<Result>& results) {
  std::vector<QString> keys;
  for (const Result& r : results) keys.push_back(r.entry->key);
  return keys;
}

TEST(QTreeTest, RadiusTiesAndOutOfBounds) {
  Tree tree(Vec2<double>(-1, -1), Vec2<double>(1, 1), 5, nullptr);
  mmvector<Result> results;
  EXPECT_EQ(nullptr, tree.FindNearest(Vec2<double>(0, 0), 1, 8.0, &results).node);
  tree.Insert(Vec2<double>(0.5, 0), "east");
  tree.Insert(Vec2<double>(-0.5, 0), "west");
  tree.Insert(Vec2<double>(3, 3), "far");  // outside the bounds: kept, and found
  // The radius is inclusive; equal distances keep the order of arrival.
  tree.FindNearest(Vec2<double>(0, 0), 5, 0.25, &results);
  EXPECT_EQ((std::vector<QString>{"east", "west"}), Keys(results));
  results.clear();
  tree.FindNearest(Vec2<double>(2.9, 2.9), 1, 100.0, &results);
  EXPECT_EQ(std::vector<QString>{"far"}, Keys(results));
  // After a split the tie goes by visiting order: (0, 0), on both centre lines, lies in the low
  // child 0, which holds west.
  for (int i = 0; i < 20; ++i) tree.Insert(Vec2<double>(-0.9 + 0.01 * i, -0.9), "sw");
  results.clear();
  tree.FindNearest(Vec2<double>(0, 0), 1, 8.0, &results);
  EXPECT_EQ(std::vector<QString>{"west"}, Keys(results));
  // A second search into the same list replaces only on strictly nearer: another tree's tie
  // stays behind.
  Tree other(Vec2<double>(-1, -1), Vec2<double>(1, 1), 5, nullptr);
  other.Insert(Vec2<double>(0, 0.5), "north");
  other.FindNearest(Vec2<double>(0, 0), 1, 8.0, &results);
  EXPECT_EQ(std::vector<QString>{"west"}, Keys(results));

  // Seven entries at one spot, and NaN positions: the splitting stops where the rectangle can't
  // be halved any more, and all are found in order.
  Tree same(Vec2<double>(-1, -1), Vec2<double>(1, 1), 5, nullptr);
  for (int i = 0; i < 7; ++i) same.Insert(Vec2<double>(0.3, 0.3), QString::number(i));
  for (int i = 0; i < 6; ++i) same.Insert(Vec2<double>(NAN, NAN), "nan");
  results.clear();
  same.FindNearest(Vec2<double>(0.3, 0.3), 10, 0.0, &results);
  EXPECT_EQ((std::vector<QString>{"0", "1", "2", "3", "4", "5", "6"}), Keys(results));
}

// Brute force: the `count` nearest within the radius, ties in insertion order.
std::vector<int> BruteForce(const std::vector<Vec2<double>>& pts, Vec2<double> q, int count, double radius_sq) {
  std::vector<std::pair<double, int>> all;
  for (int i = 0; i < static_cast<int>(pts.size()); ++i) {
    const double dx = q.x - pts[i].x, dy = q.y - pts[i].y;
    if (dx * dx + dy * dy <= radius_sq) all.push_back({dx * dx + dy * dy, i});
  }
  std::stable_sort(all.begin(), all.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<int> out;
  for (int i = 0; i < count && i < static_cast<int>(all.size()); ++i) out.push_back(all[i].second);
  return out;
}

TEST(QTreeTest, FindNearestMatchesBruteForce) {
  vistara::testing::SeededRandom rng;
  std::vector<Vec2<double>> pts;
  Tree tree(Vec2<double>(-1, -1), Vec2<double>(1, 1), 5, nullptr);
  auto add = [&](Vec2<double> p) {
    if (std::count(pts.begin(), pts.end(), p) >= 5) return;  // more than five at one spot would split forever
    tree.Insert(p, QString::number(pts.size()));
    pts.push_back(p);
  };
  for (int i = 0; i < 1500; ++i) add(Vec2<double>(rng.Double(-1, 1), rng.Double(-1, 1)));
  std::normal_distribution<double> cluster(0.0, 0.001);
  for (int c = 0; c < 10; ++c) {
    const Vec2<double> centre(rng.Double(-0.9, 0.9), rng.Double(-0.9, 0.9));
    for (int i = 0; i < 150; ++i) add(Vec2<double>(centre.x + cluster(rng.engine()), centre.y + cluster(rng.engine())));
  }
  // Centre lines of the first levels, and duplicates.
  const double lines[] = {0.0, 0.5, -0.5, 0.25, -0.75};
  for (int i = 0; i < 200; ++i) {
    const double a = lines[rng.Int(0, 4)];
    add(i % 2 ? Vec2<double>(a, rng.Double(-1, 1)) : Vec2<double>(rng.Double(-1, 1), a));
  }
  for (int i = 0; i < 300; ++i) add(pts[rng.Int(0, static_cast<int>(pts.size()) - 1)]);

  for (int trial = 0; trial < 3000; ++trial) {
    Vec2<double> q = trial % 3 == 0 ? pts[rng.Int(0, static_cast<int>(pts.size()) - 1)]
                                    : Vec2<double>(rng.Double(-1.1, 1.1), rng.Double(-1.1, 1.1));
    if (trial % 7 == 0) q.x = lines[rng.Int(0, 4)];
    const int count = trial % 2 ? 1 : 5;
    const double radius_sq = std::vector<double>{8.0, 0.01, 1e-5, 0.0}[trial % 4];
    mmvector<Result> results;
    tree.FindNearest(q, count, radius_sq, &results);
    const std::vector<int> want = BruteForce(pts, q, count, radius_sq);
    ASSERT_EQ(want.size(), results.size()) << "trial " << trial;
    for (size_t k = 0; k < want.size(); ++k) {
      // Distances must agree exactly (entries that tie may come in either order).
      const double dx = q.x - pts[want[k]].x, dy = q.y - pts[want[k]].y;
      ASSERT_EQ(dx * dx + dy * dy, results[k].distance_sq) << "trial " << trial;
    }
  }
}

}  // namespace
}  // namespace vistara::spatial
