// vistara-spatial graph: builds the panorama graph from metadata replies and answers queries.
#include <algorithm>
#include <boost/graph/adjacency_list.hpp>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>

#include "cli.h"
#include "platform/xml/xml_reader.h"
#include "spatial/pano_graph.h"
#include "spatial/panorama_xml_parser.h"

namespace vistara::cli {
namespace {

using spatial::PanoGraph;

std::string Text(const QString& s) { return s.toStdString(); }

std::string Num(double v) {
  std::ostringstream s;
  s.precision(15);
  s << v;
  return s.str();
}

// "LAT,LON" in degrees.
bool ParseLatLon(const std::string& text, double* lat, double* lon) {
  const size_t comma = text.find(',');
  if (comma == std::string::npos) return false;
  const std::string a = text.substr(0, comma), b = text.substr(comma + 1);
  char* end = nullptr;
  *lat = std::strtod(a.c_str(), &end);
  if (a.empty() || *end) return false;
  *lon = std::strtod(b.c_str(), &end);
  if (b.empty() || *end) return false;
  return std::isfinite(*lat) && std::isfinite(*lon);
}

int Run(Invocation& inv) {
  if (!inv.CheckFlags({"near", "links", "around", "depth"})) return 1;
  std::vector<std::string> inputs = inv.args();
  if (inputs.empty()) inputs.push_back("-");

  int depth = 2;
  if (auto d = inv.Option("depth")) {
    char* end = nullptr;
    const long v = std::strtol(d->c_str(), &end, 10);
    if (d->empty() || *end || v < 0 || v > 1000) return inv.Fail("--depth wants a whole number from 0 to 1000");
    depth = static_cast<int>(v);
  }
  double lat = 0, lon = 0;
  const auto near = inv.Option("near");
  if (near && !ParseLatLon(*near, &lat, &lon)) return inv.Fail("--near wants LAT,LON in degrees");

  // The records stay alive here: the graph's pending list holds no references.
  std::vector<mmvector<RefPtr<spatial::PanoramaData>>> replies;
  PanoGraph graph;
  bool stdin_used = false;
  for (const std::string& name : inputs) {
    std::string bytes;
    if (name == "-") {
      if (stdin_used) return inv.Fail("standard input named twice");
      stdin_used = true;
      bytes.assign(std::istreambuf_iterator<char>(inv.in()), std::istreambuf_iterator<char>());
    } else {
      std::ifstream file(name, std::ios::binary);
      if (!file) return inv.Fail("cannot read '" + name + "'");
      bytes.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    const QByteArray xml = QByteArray::fromStdString(bytes);
    if (XmlReader(xml).GetErrorsOccurred()) return inv.Fail("'" + name + "' is not well-formed XML");
    replies.emplace_back();
    spatial::PanoramaXMLParser::Parse(xml, &replies.back());
    for (const auto& r : replies.back()) graph.AddPano(r->id, r.get());
    graph.PostProcessBatch();  // as after each tile reply
  }

  // Summary.
  const auto& g = graph.graph().graph();
  size_t placeholders = 0;
  for (auto [v, end] = boost::vertices(g); v != end; ++v) {
    if (!graph.graph()[*v].data) ++placeholders;
  }
  // Edges the service gave (from either end or both) versus all; the rest are inferred.
  size_t given = 0;
  for (auto [e, end] = boost::edges(g); e != end; ++e) {
    const auto& a = graph.graph()[boost::source(*e, g)];
    const auto& b = graph.graph()[boost::target(*e, g)];
    auto lists = [](const auto& from, const auto& to) {
      if (!from.data) return false;
      for (const auto& c : from.data->connected_panos) {
        if (c.id == to.id) return true;
      }
      return false;
    };
    if (lists(a, b) || lists(b, a)) ++given;
  }
  const size_t vertices = boost::num_vertices(g), edges = boost::num_edges(g);
  std::map<std::string, size_t> tree_sizes;
  for (const auto& kv : graph.quad_trees().trees()) {
    size_t n = 0;
    std::vector<const spatial::QTree<QString, double>::Node*> stack{kv.second->root()};
    while (!stack.empty()) {
      const auto* node = stack.back();
      stack.pop_back();
      n += node->entries.size();
      if (node->children) for (int i = 0; i < 4; ++i) stack.push_back(&node->children[i]);
    }
    tree_sizes[Text(kv.first)] = n;
  }

  Json::Value root(Json::objectValue);
  std::ostringstream out;
  root["vertices"] = static_cast<Json::UInt64>(vertices);
  root["placeholders"] = static_cast<Json::UInt64>(placeholders);
  root["edges"] = static_cast<Json::UInt64>(edges);
  root["inferred_edges"] = static_cast<Json::UInt64>(edges - given);
  Json::Value& trees = root["trees"] = Json::Value(Json::objectValue);
  out << "vertices " << vertices << ", placeholders " << placeholders << ", edges " << edges
      << ", inferred edges " << edges - given << "\n";
  for (const auto& [level, n] : tree_sizes) {
    trees[level] = static_cast<Json::UInt64>(n);
    out << "tree " << (level.empty() ? "(default level)" : "\"" + level + "\"") << ": " << n
        << (n == 1 ? " entry\n" : " entries\n");
  }

  if (near) {
    const QString id =
        graph.GetClosestPanoToPoint(Vec3<double>(lon / 180.0, lat / 180.0, 0));
    root["nearest"] = id.isNull() ? Json::Value() : Json::Value(Text(id));
    out << "nearest to " << Num(lat) << "," << Num(lon) << ": " << (id.isNull() ? "(none)" : Text(id)) << "\n";
  }
  if (auto id = inv.Option("links")) {
    const QString qid = QString::fromStdString(*id);
    if (!graph.GetHandle(qid, nullptr)) return inv.Fail("unknown panorama '" + *id + "'");
    mmvector<PanoGraph::link> links;
    graph.GetLinks(qid, &links);
    // Link order follows vertex addresses, which vary from run to run: shown sorted by id.
    std::vector<std::string> ids;
    for (const auto& e : links) ids.push_back(Text(graph.IdOf(e.m_target)));
    std::sort(ids.begin(), ids.end());
    Json::Value& list = root["links"] = Json::Value(Json::arrayValue);
    out << "links of " << *id << ":";
    for (const auto& s : ids) {
      list.append(s);
      out << " " << s;
    }
    out << "\n";
  }
  if (auto id = inv.Option("around")) {
    const QString qid = QString::fromStdString(*id);
    if (!graph.GetHandle(qid, nullptr)) return inv.Fail("unknown panorama '" + *id + "'");
    mmvector<PanoGraph::ConnectedPanoInfo> around;
    graph.GetConnectedPanos(qid, depth, false, &around);
    Json::Value& list = root["around"] = Json::Value(Json::arrayValue);
    out << "within " << depth << " links of " << *id << ":\n";
    for (size_t i = 0; i < around.size(); ++i) {
      Json::Value a(Json::objectValue);
      a["id"] = Text(around[i].id);
      a["depth"] = around[i].depth;
      a["parent_index"] = around[i].parent_index;
      list.append(a);
      out << "  " << i << ": " << Text(around[i].id) << ", depth " << around[i].depth << ", parent "
          << around[i].parent_index << "\n";
    }
  }
  if (inv.json()) {
    inv.PrintJson(root);
  } else {
    inv.out() << out.str();
  }
  return 0;
}

const Command kCommand{
    "graph",
    "builds the panorama graph from metadata replies and answers nearest, links and neighbourhood",
    "Usage: vistara-spatial graph [FILE...|-] [--near LAT,LON] [--links ID] [--around ID [--depth N]] [--json]\n\n"
    "Reads metadata replies of the panorama service (tile replies or single panoramas) from the\n"
    "FILEs in order, or from standard input when FILE is - or absent, and adds every record to one\n"
    "graph, repairing single-link dead ends after each reply as a finished tile does. Prints the\n"
    "number of vertices (panoramas, and placeholders: ids known only as somebody's link), edges\n"
    "(inferred: joined by proximity, not given by the service) and quad tree entries per level.\n"
    "  --near LAT,LON  the nearest panorama to a point (degrees), over all levels\n"
    "  --links ID      the panoramas linked to ID, in link order\n"
    "  --around ID     breadth-first neighbourhood of ID to --depth links (default 2): index, id,\n"
    "                  depth and the index of the entry it was reached through (-1: from ID);\n"
    "                  with several links the order follows the graph's link order\n",
    {"near", "links", "around", "depth"},
    Run};
const CommandRegistrar kRegistrar(kCommand);

}  // namespace
}  // namespace vistara::cli
