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
  EXPECT_FALSE(g.AddEdge(b, a, &e2));  // the same undirected edge, seen from b
  EXPECT_EQ(std::pair(e2.m_source, e2.m_target), std::pair(b, a));
  EXPECT_TRUE(g.AddEdge(c, a, nullptr));
  *G::edge_data(e1) = 7;
  EXPECT_EQ(*G::edge_data(e2), 7);
  // a's out-edges come in order of the far vertex's address.
  auto [it, end] = boost::out_edges(a, g.graph());
  void* first = boost::target(*it++, g.graph());
  void* second = boost::target(*it++, g.graph());
  EXPECT_EQ(it, end);
  EXPECT_TRUE(std::less<void*>()(first, second));
  EXPECT_EQ(g[first] + g[second], 5);
}

}  // namespace
}  // namespace vistara
