#include "spatial/pano_graph.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <numbers>
#include <tuple>
#include <vector>

#include "platform/units.h"
#include "spatial/pano_map.h"

namespace vistara::spatial {
namespace {

constexpr double kPi = std::numbers::pi;

// A graph and the records it was given (the pending list holds no references).
class GraphFixture : public ::testing::Test {
 protected:
  PanoramaData* Make(const QString& id, double x, double y, std::vector<QString> links = {}, int scene = 0,
                     const QString& level = QString()) {
    RefPtr<PanoramaData> d(new PanoramaData(id));
    d->position = Vec3<double>(x, y, 0);
    d->scene = scene;
    d->level_id = level;
    for (const QString& l : links) d->connected_panos.push_back(ConnectedPano{l});
    keep_.push_back(d);
    return d.get();
  }
  bool Add(const QString& id, double x, double y, std::vector<QString> links = {}, int scene = 0,
           const QString& level = QString()) {
    return graph_.AddPano(id, Make(id, x, y, std::move(links), scene, level));
  }
  size_t Edges() const { return boost::num_edges(graph_.graph().graph()); }
  std::vector<QString> Linked(const QString& id) const {
    mmvector<ConnectedPano> linked;
    graph_.GetLinkedPanos(id, &linked);
    std::vector<QString> ids;
    for (const ConnectedPano& c : linked) ids.push_back(c.id);
    std::sort(ids.begin(), ids.end());
    return ids;
  }

  std::vector<RefPtr<PanoramaData>> keep_;
  PanoGraph graph_;
};

TEST_F(GraphFixture, PlaceholdersEdgesAndTheFirstPosition) {
  // Three links to unknown panoramas: three placeholders, in no tree, and three edges.
  EXPECT_TRUE(Add("a", 0.1, 0.1, {"b", "c", "d"}));
  EXPECT_EQ(4u, boost::num_vertices(graph_.graph().graph()));
  EXPECT_EQ(3u, Edges());
  void* h = nullptr;
  EXPECT_TRUE(graph_.GetHandle("b", &h) && h && !graph_.GetPanoramaData("b"));
  EXPECT_EQ("a", graph_.GetClosestPanoToPoint(Vec3<double>(0.5, 0.5, 0)));
  // b arrives naming a back: still three edges, and b enters the tree.
  EXPECT_FALSE(Add("b", 0.5, 0.5, {"a"}));
  EXPECT_EQ(3u, Edges());
  EXPECT_EQ("b", graph_.GetClosestPanoToPoint(Vec3<double>(0.5, 0.5, 0)));

  // A second record for a: the tree keeps the first position, the data is the new one.
  PanoramaData* a2 = Make("a", -0.7, -0.7, {"b", "c", "d"});
  EXPECT_FALSE(graph_.AddPano("a", a2));
  EXPECT_EQ(a2, graph_.GetPanoramaData("a"));
  EXPECT_EQ("a", graph_.GetClosestPanoToPoint(Vec3<double>(0.1, 0.1, 0), 1e-9));
  EXPECT_TRUE(graph_.GetClosestPanoToPoint(Vec3<double>(-0.7, -0.7, 0), 1e-3).isNull());
  // ClearPanoData ignores unknown ids and keeps vertex and links; a new record enters the tree
  // a second time.
  graph_.ClearPanoData("nope");
  graph_.ClearPanoData("b");
  EXPECT_EQ(nullptr, graph_.GetPanoramaData("b"));
  EXPECT_EQ(3u, Edges());
  Add("b", 0.5, 0.5, {"a"});
  mmvector<QTree<QString, double>::DistanceResult> r;
  graph_.quad_trees().Find(QString())->FindNearest(Vec2<double>(0.5, 0.5), 5, 0.0, &r);
  EXPECT_EQ(2u, r.size());

  // Single-link records queue on every update, repeated ones too; a, with three links, never.
  ASSERT_EQ(2u, graph_.pending().size());
  graph_.AddPano("b", keep_.back().get());
  ASSERT_EQ(3u, graph_.pending().size());
  EXPECT_EQ(keep_.back().get(), graph_.pending()[2]);

  // Clear keeps the level trees, empty and unsplit with their bounds; new records go in.
  for (int i = 0; i < 6; ++i) Add(QString::number(i), 0.01 * i, 0, {}, 0, "L1");
  const auto* l1 = graph_.quad_trees().Find("L1");
  ASSERT_FALSE(l1->root()->is_leaf());
  graph_.Clear();
  EXPECT_FALSE(graph_.GetHandle("a", nullptr));
  EXPECT_TRUE(graph_.GetClosestPanoToPoint(Vec3<double>(0, 0, 0)).isNull());
  ASSERT_EQ(l1, graph_.quad_trees().Find("L1"));
  EXPECT_TRUE(l1->root()->is_leaf() && l1->root()->entries.empty());
  Add("y", 0.2, 0, {}, 0, "L1");
  EXPECT_EQ("y", graph_.GetClosestPanoToPoint(Vec3<double>(0, 0, 0)));
}

TEST_F(GraphFixture, ConnectionLookupHeadings) {
  Add("o", 0, 0, {"e", "n", "w", "s", "se", "same1", "same2", "missing"});
  Add("e", 0.001, 0);
  Add("se", 0.001, -0.001);
  Add("n", 0, 0.001);
  Add("w", -0.001, 0);
  Add("s", 0, -0.001);
  Add("same1", 0.002, 0.002);
  Add("same2", 0.002, 0.002);
  graph_.UpdateConnectionLookupMap("unknown");  // ignored
  graph_.UpdateConnectionLookupMap("o");
  // The missing neighbour is skipped and same2 overwrites same1; south is pi/2 - 3pi/2, and
  // south-east, pi/2 - 7pi/4, comes back by one turn.
  const auto& map = graph_.GetPanoramaData("o")->connection_lookup;
  const std::map<double, QString> expected = {{-kPi, "s"}, {-kPi / 2, "w"}, {0.0, "n"}, {kPi / 4, "same2"}, {kPi / 2, "e"}, {3 * kPi / 4, "se"}};
  using HeadingMap = std::map<double, QString>;
  EXPECT_EQ(expected, static_cast<const HeadingMap&>(map));
  // Six entries for eight links: the next call builds again. A neighbour on the very spot is at pi/2.
  Add("missing", 0, 0);
  graph_.UpdateConnectionLookupMap("o");
  EXPECT_EQ("missing", map.at(kPi / 2));
}

TEST_F(GraphFixture, NearestAcrossLevels) {
  // Equal distance in two trees: the tree visited first stands.
  Add("ground", 0.1, 0);
  Add("upper", -0.1, 0, {}, 0, "L2");
  const bool l2_first = graph_.quad_trees().trees().begin()->second == graph_.quad_trees().Find("L2");
  EXPECT_EQ(l2_first ? "upper" : "ground", graph_.GetClosestPanoToPoint(Vec3<double>(0, 0, 0)));
  mmvector<const PanoramaData*> out;
  out.push_back(nullptr);  // appended to
  graph_.GetClosestPanosToPoint(Vec3<double>(0.09, 0, 0), 5, &out);
  ASSERT_EQ(3u, out.size());
  EXPECT_EQ("ground", out[1]->id);
  EXPECT_EQ("upper", out[2]->id);
  // No links: the start is the nearest of its neighbourhood.
  EXPECT_EQ("ground", graph_.GetClosestNeighboringPanoToPoint(Vec3<double>(-0.1, 0, 0), "ground", 3));
  EXPECT_FALSE(PanoGraph().GetClosestLink(Vec3<double>(0, 0, 0), nullptr));
}

TEST_F(GraphFixture, BreadthFirstScenesAndLinksByDepth) {
  // A diamond A-B-D, A-C-D, and a tail D-E.
  Add("A", 0, 0, {"B", "C"});
  Add("B", 0.01, 0.01, {"D"});
  Add("C", -0.01, 0.01, {"D"});
  Add("D", 0, 0.02, {"E"});
  Add("E", 0, 0.03);
  mmvector<PanoGraph::ConnectedPanoInfo> out;
  out.push_back({"stale", 9, 9});
  graph_.GetConnectedPanos("A", 0, false, &out);
  ASSERT_EQ(1u, out.size());  // depth 0 leaves it alone
  const auto summary = [&out] {
    std::vector<std::tuple<QString, int, int>> s;
    for (const auto& info : out) s.emplace_back(info.id, info.depth, info.parent_index);
    return s;
  };
  graph_.GetConnectedPanos("A", 3, false, &out);
  // B and C in link order; D is reached through the first of them.
  ASSERT_EQ(4u, out.size());
  const QString first = out[0].id;
  EXPECT_EQ(first == "B" ? "C" : "B", out[1].id);
  EXPECT_EQ((std::vector<std::tuple<QString, int, int>>{
                {first, 1, -1}, {out[1].id, 1, -1}, {"D", 2, 0}, {"E", 3, 2}}),
            summary());

  // Nearest in the neighbourhood: E within 3 links, A itself within 1.
  EXPECT_EQ("E", graph_.GetClosestNeighboringPanoToPoint(Vec3<double>(0, 0.05, 0), "A", 3));
  EXPECT_EQ("A", graph_.GetClosestNeighboringPanoToPoint(Vec3<double>(0, -0.05, 0), "A", 1));

  // Links by depth: A's two; then also B-D and C-D, each once; then D-E.
  mmvector<PanoGraph::link> links;
  for (int depth = 1; depth <= 3; ++depth) {
    graph_.GetLinks("A", depth, &links);
    EXPECT_EQ(std::vector<size_t>({2, 4, 5})[depth - 1], links.size()) << depth;
  }
  graph_.GetLinks("nobody", 2, &links);
  EXPECT_TRUE(links.empty());

  // Another scene stops the walk: without C, D is still reached through B; without B too, nothing.
  graph_.AddPano("C", Make("C", -0.01, 0.01, {"D"}, 7));
  graph_.GetConnectedPanos("A", 3, true, &out);
  EXPECT_EQ((std::vector<std::tuple<QString, int, int>>{{"B", 1, -1}, {"D", 2, 0}, {"E", 3, 1}}), summary());
  graph_.AddPano("B", Make("B", 0.01, 0.01, {"D"}, 7));
  graph_.GetConnectedPanos("A", 3, true, &out);
  EXPECT_TRUE(out.empty());
  EXPECT_TRUE(graph_.SameScene("B", "C"));
  EXPECT_FALSE(graph_.SameScene("A", "C") || graph_.SameScene("A", "nobody"));
  EXPECT_EQ((std::vector<QString>{"B", "C", "E"}), Linked("D"));
}

TEST_F(GraphFixture, ClosestLinkHasNoWrapAtTheSeam) {
  // Neighbours just either side of due south; the point lies a hair west of south, so its
  // azimuth is near -pi. "sw" (azimuth near -pi) wins; "se" (near +pi) would be a tiny turn away
  // across the seam but counts as far.
  Add("o", 0, 0, {"se", "sw", "n"});
  Add("se", 1e-4, -0.01);
  Add("sw", -3e-4, -0.01);
  PanoGraph::link out;
  const auto far = [&] { return graph_.IdOf(out.m_target); };
  ASSERT_TRUE(graph_.GetClosestLink("o", Vec3<double>(-1e-5, -0.02, 0), &out));
  EXPECT_EQ("sw", far());
  ASSERT_TRUE(graph_.GetClosestLink("o", Vec3<double>(1e-5, -0.02, 0), &out));
  EXPECT_EQ("se", far());
  // Without an id: from the nearest panorama.
  ASSERT_TRUE(graph_.GetClosestLink(Vec3<double>(1e-6, 1e-6, 0), &out));
  EXPECT_EQ("o", graph_.IdOf(out.m_source));
  EXPECT_FALSE(graph_.GetClosestLink("unknown", Vec3<double>(0, 0, 0), &out));
}

TEST_F(GraphFixture, InferredLinks) {
  const double m = Units::s_inv_planet_radius;
  Add("a", 0, 0, {"b"});
  Add("b", 10 * m, 0, {"a", "z"});          // a's own neighbour
  Add("near", 0, 14.9 * m, {"q"});          // same scene, within 15 m
  Add("other", 0, 10 * m, {"q", "r"}, 3);   // nearer, other scene
  Add("far", 0, -15.1 * m, {"q", "r"});     // same scene, beyond 15 m
  ASSERT_EQ(2u, graph_.pending().size());
  graph_.InferMissingLinks(nullptr);
  graph_.PostProcessBatch();
  EXPECT_TRUE(graph_.pending().empty());
  // a and near had one link each and lie within reach: one edge between them.
  EXPECT_EQ((std::vector<QString>{"b", "near"}), Linked("a"));
  EXPECT_EQ((std::vector<QString>{"a", "q"}), Linked("near"));
  // A record that has gained a second link since changes nothing.
  const size_t edges = Edges();
  graph_.InferMissingLinks(graph_.GetPanoramaData("a"));
  graph_.PostProcessBatch();
  EXPECT_EQ(edges, Edges());
}

// A host panorama that tells when its last reference goes.
class CountedPanorama : public vistara::Panorama {
 public:
  explicit CountedPanorama(int* deleted) : deleted_(deleted) {}
  ~CountedPanorama() override { ++*deleted_; }

 private:
  int* deleted_;
};

TEST(PanoramaDataTest, LevelsAndOwnership) {
  int deleted = 0;
  {
    RefPtr<PanoramaData> data(new PanoramaData(""));
    // GetLevel is the first place of the level in the vector, 0 when nothing matches.
    data->level_id = "c";
    for (const char* level : {"a", "b", "c", "c"}) data->connected_levels.push_back({level, "p", 0, {}, {}});
    EXPECT_EQ(2u, data->GetLevel());
    data->level_id = "z";
    EXPECT_EQ(0u, data->GetLevel());

    // One map, set twice, stays alive; another replaces it; null destroys (the leak check and
    // ASan see any slip).
    auto* map = new (HeapManager::GetDynamicHeap()) vistara::DepthMap;
    data->set_depthmap(map);
    data->set_depthmap(map);
    data->set_depthmap(new (HeapManager::GetDynamicHeap()) vistara::DepthMap);
    auto* indices = static_cast<uint8_t*>(AllocFrom(HeapManager::GetDynamicHeap(), 1));
    data->set_panomap(new (HeapManager::GetDynamicHeap()) PanoMap(indices, 1, 1, {}, {}));
    data->set_panomap(nullptr);
    EXPECT_EQ(nullptr, data->pano_map);

    auto* panorama = new CountedPanorama(&deleted);
    panorama->AddRef();
    data->panorama = panorama;
  }
  // The record let go of its depth map and its reference to the host's panorama.
  EXPECT_EQ(1, deleted);
}

TEST(PanoramaDataTest, CircularNearest) {
  CircularMap<double, QString> map;
  map[0] = "0";
  map[-3] = "-3";
  map[3] = "3";
  // Past either end the search wraps to the other; a key that is present is "above" itself.
  const struct {
    double key;
    const char* below;
    const char* above;
  } kCases[] = {{1, "0", "3"}, {3, "0", "3"}, {3.1, "3", "-3"}, {-3.1, "3", "-3"}, {0, "-3", "0"}};
  QString below, above;
  for (const auto& c : kCases) {
    map.GetCircularNearest(c.key, &below, &above);
    EXPECT_EQ(c.below, below) << c.key;
    EXPECT_EQ(c.above, above) << c.key;
  }
}

}  // namespace
}  // namespace vistara::spatial
