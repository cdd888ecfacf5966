// UndirectedGraph<VertexData, EdgeData>: a thin layer over boost::adjacency_list.
//
// Out-edges are kept in a std::set ordered by the far vertex's address (so a second edge between
// the same two vertices costs a look-up and is refused), vertices and edges in lists, so a vertex
// descriptor is a stable void* until the graph is cleared. Link order, wherever it matters, is the
// order of that set.
#ifndef VISTARA_PLATFORM_UNDIRECTED_GRAPH_H_
#define VISTARA_PLATFORM_UNDIRECTED_GRAPH_H_

#include <boost/graph/adjacency_list.hpp>

namespace vistara {

template <class VertexData, class EdgeData>
class UndirectedGraph {
 public:
  struct Vertex {
    VertexData data{};
  };
  struct Edge {
    EdgeData data{};
  };
  using Graph = boost::adjacency_list<boost::setS, boost::listS, boost::undirectedS, Vertex, Edge,
                                      boost::no_property, boost::listS>;
  using vertex_descriptor = void*;
  using edge_descriptor = boost::detail::edge_desc_impl<boost::undirected_tag, void*>;

  // Adds an edge u-v with a default EdgeData unless one exists; returns true if it was made.
  // `out`, if not null, receives (u, v, the edge's property) for the new or the existing edge.
  bool AddEdge(void* const& u, void* const& v, edge_descriptor* out) {
    auto [e, added] = boost::add_edge(u, v, graph_);
    if (out) *out = edge_descriptor(u, v, e.get_property());
    return added;
  }

  void* AddVertex(const VertexData& data) { return boost::add_vertex(Vertex{data}, graph_); }
  VertexData& operator[](void* v) { return graph_[v].data; }
  const VertexData& operator[](void* v) const { return graph_[v].data; }
  // The EdgeData of a descriptor handed out by this graph.
  static EdgeData* edge_data(const edge_descriptor& e) {
    return &static_cast<Edge*>(e.m_eproperty)->data;
  }
  void Clear() { graph_.clear(); }

  Graph& graph() { return graph_; }
  const Graph& graph() const { return graph_; }

 private:
  Graph graph_;
};

}  // namespace vistara

#endif  // VISTARA_PLATFORM_UNDIRECTED_GRAPH_H_
