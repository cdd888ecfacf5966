#include "platform/undirected_graph.h"

#include <gtest/gtest.h>

#include <functional>

namespace vistara {
namespace {

TEST(UndirectedGraphTest, OneEdgePerPairAndOutEdgesByAddress) {
  using G = UndirectedGraph<int, int>;
  G g;
  void* a = g.AddVertex(1);
  void* b = g.AddVertex(2);
  void* c = g.AddVertex(3);
  G::edge_descriptor e1, e2;
  EXPECT_TRUE(g.AddEdge(a, b, &e1));
  EXPECT_FALSE(g.AddEdge(b, a, &e2));  // the same undirected edge
  EXPECT_EQ(e1.m_eproperty, e2.m_eproperty);
  EXPECT_EQ(e2.m_source, b);
  EXPECT_EQ(e2.m_target, a);
  EXPECT_TRUE(g.AddEdge(c, a, nullptr));
  EXPECT_EQ((boost::num_edges(g.graph())), 2u);
  *G::edge_data(e1) = 7;
  EXPECT_EQ(*G::edge_data(e2), 7);
  // a's out-edges come in order of the far vertex's address.
  auto [it, end] = boost::out_edges(a, g.graph());
  void* first = boost::target(*it++, g.graph());
  void* second = boost::target(*it++, g.graph());
  EXPECT_EQ(it, end);
  EXPECT_TRUE(std::less<void*>()(first, second));
  EXPECT_EQ(g[first] + g[second], 5);
  g.Clear();
  EXPECT_EQ(boost::num_vertices(g.graph()), 0u);
}

}  // namespace
}  // namespace vistara
