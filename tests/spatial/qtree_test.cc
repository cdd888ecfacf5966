#include "spatial/qtree.h"

#include <gtest/gtest.h>

#include <QString>
#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "spatial/pano_quad_tree_set.h"

namespace vistara::spatial {
namespace {

using Tree = QTree<QString, double>;
using Result = Tree::DistanceResult;

int Depth(const Tree::Node* n) {
  int d = 0;
  for (; n->parent; n = n->parent) ++d;
  return d;
}

TEST(QTreeTest, SplitsAtTheSixthEntryAndPlacesCentreLinesLow) {
  Tree tree(Vec2<double>(-1, -1), Vec2<double>(1, 1), 5, nullptr);
  mmvector<Result> results;
  EXPECT_EQ(tree.FindNearest(Vec2<double>(0, 0), 1, 8.0, &results).node, nullptr);
  EXPECT_TRUE(results.empty());

  for (int i = 0; i < 5; ++i) tree.Insert(Vec2<double>(0.1 * i - 0.9, -0.5), QString::number(i));
  EXPECT_TRUE(tree.root()->is_leaf());
  EXPECT_EQ(tree.root()->entries.size(), 5u);
  // The sixth entry splits the root; all five are low-low, so child 0 holds them, the new one
  // (exactly on both centre lines) goes low as well and splits child 0 again.
  tree.Insert(Vec2<double>(0, 0), "c");
  ASSERT_FALSE(tree.root()->is_leaf());
  EXPECT_TRUE(tree.root()->entries.empty());
  const Tree::Node* c0 = &tree.root()->children[0];
  EXPECT_FALSE(c0->is_leaf());
  EXPECT_EQ(c0->min, Vec2<double>(-1, -1));
  EXPECT_EQ(c0->max, Vec2<double>(0, 0));
  EXPECT_EQ(tree.root()->children[3].min, Vec2<double>(0, 0));
  EXPECT_EQ(tree.root()->children[1].min, Vec2<double>(0, -1));
  EXPECT_EQ(tree.root()->children[2].min, Vec2<double>(-1, 0));
  // (0, 0) is in c0's high-high quarter (-0.5, -0.5)..(0, 0).
  EXPECT_EQ(c0->children[3].entries.size(), 1u);
  EXPECT_EQ(c0->children[3].entries[0].key, "c");

  // The query agrees: the centre point is found in that leaf.
  auto r = tree.FindNearest(Vec2<double>(0, 0), 1, 0.0, &results);
  ASSERT_EQ(results.size(), 1u);
  EXPECT_EQ(results[0].entry->key, "c");
  EXPECT_EQ(r.node, &c0->children[3]);
  EXPECT_EQ(Depth(r.node), 2);
}

TEST(QTreeTest, RadiusTiesAndOutOfBounds) {
  Tree tree(Vec2<double>(-1, -1), Vec2<double>(1, 1), 5, nullptr);
  tree.Insert(Vec2<double>(0.5, 0), "east");
  tree.Insert(Vec2<double>(-0.5, 0), "west");
  tree.Insert(Vec2<double>(3, 3), "far");  // outside the bounds
  mmvector<Result> results;
  // Inclusive radius: exactly 0.25 away squared.
  tree.FindNearest(Vec2<double>(0, 0), 5, 0.25, &results);
  ASSERT_EQ(results.size(), 2u);
  // Equal distances keep the order of arrival.
  EXPECT_EQ(results[0].entry->key, "east");
  EXPECT_EQ(results[1].entry->key, "west");
  results.clear();
  tree.FindNearest(Vec2<double>(0, 0), 1, 0.2499, &results);
  EXPECT_TRUE(results.empty());
  tree.FindNearest(Vec2<double>(0, 0), 1, 8.0, &results);
  ASSERT_EQ(results.size(), 1u);
  EXPECT_EQ(results[0].entry->key, "east");
  results.clear();
  tree.FindNearest(Vec2<double>(2.9, 2.9), 1, 100.0, &results);
  ASSERT_EQ(results.size(), 1u);
  EXPECT_EQ(results[0].entry->key, "far");

  // Out of bounds after splits too.
  for (int i = 0; i < 20; ++i) tree.Insert(Vec2<double>(-0.9 + 0.01 * i, -0.9), "sw");
  tree.Insert(Vec2<double>(-5, 4), "way out");
  results.clear();
  tree.FindNearest(Vec2<double>(-4, 4), 1, 100.0, &results);
  ASSERT_EQ(results.size(), 1u);
  EXPECT_EQ(results[0].entry->key, "way out");

  // After the split the tie goes by visiting order: (0, 0) lies in child 0 (centre lines go
  // low), which holds west, so west is met first.
  results.clear();
  tree.FindNearest(Vec2<double>(0, 0), 1, 8.0, &results);
  EXPECT_EQ(results[0].entry->key, "west");
  // A second search with a shared list replaces only on strictly nearer (another tree's tie
  // stays behind).
  Tree other(Vec2<double>(-1, -1), Vec2<double>(1, 1), 5, nullptr);
  other.Insert(Vec2<double>(0, 0.5), "north");
  EXPECT_EQ(other.FindNearest(Vec2<double>(0, 0), 1, 8.0, &results).node, nullptr);
  EXPECT_EQ(results[0].entry->key, "west");

  // Seven entries at one spot, and NaN positions: the splitting stops where the rectangle can't
  // be halved any more, and all are found.
  Tree same(Vec2<double>(-1, -1), Vec2<double>(1, 1), 5, nullptr);
  for (int i = 0; i < 7; ++i) same.Insert(Vec2<double>(0.3, 0.3), QString::number(i));
  for (int i = 0; i < 6; ++i) same.Insert(Vec2<double>(NAN, NAN), "nan");
  results.clear();
  same.FindNearest(Vec2<double>(0.3, 0.3), 10, 0.0, &results);
  ASSERT_EQ(results.size(), 7u);
  EXPECT_EQ(results[0].entry->key, "0");
  EXPECT_EQ(results[6].entry->key, "6");

  mmvector<Result> list(3);
  Tree::RemoveLast(&list, 2);
  EXPECT_EQ(list.size(), 1u);
}

TEST(QTreeTest, QuadTreeSetKeepsTreesAcrossReset) {
  PanoQuadTreeSet set(Vec2<double>(-1, -1), Vec2<double>(1, 1), 5, nullptr);
  EXPECT_EQ(set.Find("L1"), nullptr);
  auto* t = set.AddNewQuadTree("L1");
  EXPECT_EQ(set.Find("L1"), t);
  for (int i = 0; i < 7; ++i) t->Insert(Vec2<double>(0.01 * i, 0), "x");
  set.ResetAll();
  EXPECT_EQ(set.Find("L1"), t);
  EXPECT_TRUE(t->root()->is_leaf());
  EXPECT_TRUE(t->root()->entries.empty());
  EXPECT_EQ(t->root()->max, Vec2<double>(1, 1));
}

// Brute force: the `count` nearest within the radius, ties in insertion order.
std::vector<int> BruteForce(const std::vector<Vec2<double>>& pts, Vec2<double> q, int count,
                            double radius_sq) {
  std::vector<std::pair<double, int>> all;
  for (int i = 0; i < static_cast<int>(pts.size()); ++i) {
    double dx = q.x - pts[i].x, dy = q.y - pts[i].y;
    double d = dx * dx + dy * dy;
    if (d <= radius_sq) all.push_back({d, i});
  }
  std::stable_sort(all.begin(), all.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<int> out;
  for (int i = 0; i < count && i < static_cast<int>(all.size()); ++i) out.push_back(all[i].second);
  return out;
}

TEST(QTreeTest, FindNearestMatchesBruteForce) {
  const unsigned seed = std::random_device{}();
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> uni(-1.0, 1.0);
  std::normal_distribution<double> cluster(0.0, 0.001);
  std::vector<Vec2<double>> pts;
  Tree tree(Vec2<double>(-1, -1), Vec2<double>(1, 1), 5, nullptr);
  std::vector<int> copies;  // how many times each position already stands (at most 5 allowed)
  auto add = [&](Vec2<double> p) {
    int n = 0;
    for (const auto& q : pts) n += q == p;
    if (n >= 5) return;  // more than five at one spot would split forever
    tree.Insert(p, QString::number(pts.size()));
    pts.push_back(p);
  };
  for (int i = 0; i < 1500; ++i) add(Vec2<double>(uni(rng), uni(rng)));
  for (int c = 0; c < 10; ++c) {
    Vec2<double> centre(uni(rng) * 0.9, uni(rng) * 0.9);
    for (int i = 0; i < 150; ++i) add(Vec2<double>(centre.x + cluster(rng), centre.y + cluster(rng)));
  }
  // Centre lines of the first levels, and duplicates.
  const double lines[] = {0.0, 0.5, -0.5, 0.25, -0.75};
  for (int i = 0; i < 200; ++i) {
    double a = lines[rng() % 5];
    add(i % 2 ? Vec2<double>(a, uni(rng)) : Vec2<double>(uni(rng), a));
  }
  for (int i = 0; i < 300; ++i) add(pts[rng() % pts.size()]);

  for (int trial = 0; trial < 3000; ++trial) {
    Vec2<double> q = trial % 3 == 0 ? pts[rng() % pts.size()]
                                    : Vec2<double>(uni(rng) * 1.1, uni(rng) * 1.1);
    if (trial % 7 == 0) q.x = lines[rng() % 5];
    const int count = trial % 2 ? 1 : 5;
    const double radii[] = {8.0, 0.01, 1e-5, 0.0};
    const double radius_sq = radii[trial % 4];
    mmvector<Result> results;
    tree.FindNearest(q, count, radius_sq, &results);
    std::vector<int> want = BruteForce(pts, q, count, radius_sq);
    ASSERT_EQ(results.size(), want.size()) << "seed " << seed << " trial " << trial;
    for (size_t k = 0; k < want.size(); ++k) {
      // Distances must agree exactly; keys too unless two entries tie at that distance.
      double dx = q.x - pts[want[k]].x, dy = q.y - pts[want[k]].y;
      ASSERT_EQ(results[k].distance_sq, dx * dx + dy * dy) << "seed " << seed << " trial " << trial;
    }
  }
}

}  // namespace
}  // namespace vistara::spatial
