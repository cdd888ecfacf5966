#include "graph_summary.h"

#include <boost/graph/adjacency_list.hpp>
#include <map>
#include <string>
#include <vector>

#include "cli.h"

namespace vistara::cli {

void SummarizeGraph(const spatial::PanoGraph& graph, Json::Value* root, std::ostream& out) {
  const auto& g = graph.graph().graph();
  size_t placeholders = 0;
  for (auto [v, end] = boost::vertices(g); v != end; ++v) {
    if (!graph.graph()[*v].data) ++placeholders;
  }
  // Edges the service gave (from either end or both) versus all; the rest are inferred.
  auto lists = [](const auto& from, const auto& to) {
    if (!from.data) return false;
    for (const auto& c : from.data->connected_panos) {
      if (c.id == to.id) return true;
    }
    return false;
  };
  size_t given = 0;
  for (auto [e, end] = boost::edges(g); e != end; ++e) {
    const auto& a = graph.graph()[boost::source(*e, g)];
    const auto& b = graph.graph()[boost::target(*e, g)];
    if (lists(a, b) || lists(b, a)) ++given;
  }
  const size_t vertices = boost::num_vertices(g), edges = boost::num_edges(g);
  (*root)["vertices"] = static_cast<Json::UInt64>(vertices);
  (*root)["placeholders"] = static_cast<Json::UInt64>(placeholders);
  (*root)["edges"] = static_cast<Json::UInt64>(edges);
  (*root)["inferred_edges"] = static_cast<Json::UInt64>(edges - given);
  out << "vertices " << vertices << ", placeholders " << placeholders << ", edges " << edges << ", inferred edges "
      << edges - given << "\n";

  std::map<std::string, size_t> tree_sizes;
  for (const auto& kv : graph.quad_trees().trees()) {
    size_t n = 0;
    std::vector<const spatial::QTree<QString, double>::Node*> stack{kv.second->root()};
    while (!stack.empty()) {
      const auto* node = stack.back();
      stack.pop_back();
      n += node->entries.size();
      if (node->children) {
        for (int i = 0; i < 4; ++i) stack.push_back(&node->children[i]);
      }
    }
    tree_sizes[kv.first.toStdString()] = n;
  }
  Json::Value& trees = (*root)["trees"] = Json::Value(Json::objectValue);
  for (const auto& [level, n] : tree_sizes) {
    trees[level] = static_cast<Json::UInt64>(n);
    out << "tree " << (level.empty() ? "(default level)" : "\"" + level + "\"") << ": "
        << Counted(n, "entry", "entries") << "\n";
  }
}

}  // namespace vistara::cli
