// vistara-spatial graph: builds the panorama graph from metadata replies and answers queries.
#include <algorithm>
#include <memory>
#include <sstream>

#include "cli.h"
#include "graph_source.h"
#include "graph_summary.h"
#include "spatial/pano_graph.h"

namespace vistara::cli {
namespace {

using spatial::PanoGraph;

std::string Text(const QString& s) { return s.toStdString(); }

struct GraphOptions {
  std::vector<std::string> files{"-"};
  std::optional<LatLon> near;
  std::optional<std::string> links, around;
  int depth = 2;
};

// Reporting: the queries asked for into `root` and `out`. False and the reason for an unknown id.
bool Answer(const PanoGraph& graph, const GraphOptions& o, Json::Value* root, std::ostream& out, std::string* error) {
  for (const auto& id : {o.links, o.around}) {
    if (id && !graph.GetHandle(QString::fromStdString(*id), nullptr)) {
      *error = "unknown panorama '" + *id + "'";
      return false;
    }
  }
  if (o.near) {
    const QString id = graph.GetClosestPanoToPoint(Vec3<double>(o.near->lon / 180.0, o.near->lat / 180.0, 0));
    (*root)["nearest"] = id.isNull() ? Json::Value() : Json::Value(Text(id));
    out << "nearest to " << ShownNumber(o.near->lat) << "," << ShownNumber(o.near->lon) << ": " << (id.isNull() ? "(none)" : Text(id))
        << "\n";
  }
  if (o.links) {
    mmvector<PanoGraph::link> links;
    graph.GetLinks(QString::fromStdString(*o.links), &links);
    // Link order follows vertex addresses, which vary from run to run: shown sorted by id.
    std::vector<std::string> ids;
    for (const auto& e : links) ids.push_back(Text(graph.IdOf(e.m_target)));
    std::sort(ids.begin(), ids.end());
    Json::Value& list = (*root)["links"] = Json::Value(Json::arrayValue);
    out << "links of " << *o.links << ":";
    for (const auto& s : ids) {
      list.append(s);
      out << " " << s;
    }
    out << "\n";
  }
  if (o.around) {
    mmvector<PanoGraph::ConnectedPanoInfo> around;
    graph.GetConnectedPanos(QString::fromStdString(*o.around), o.depth, false, &around);
    Json::Value& list = (*root)["around"] = Json::Value(Json::arrayValue);
    out << "within " << o.depth << " links of " << *o.around << ":\n";
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
  return true;
}

int Run(Io& io, const GraphOptions& o) {
  std::vector<Records> replies;  // outlives the graph, which points into it
  std::string error;
  if (!ReadReplies(io, o.files, &replies, &error)) return io.Fail(error);
  PanoGraph graph;
  BuildGraph(replies, &graph);
  Json::Value root(Json::objectValue);
  std::ostringstream out;
  SummarizeGraph(graph, &root, out);
  if (!Answer(graph, o, &root, out, &error)) return io.Fail(error);
  io.Print(root, out.str());
  return 0;
}

CLI::Option* AddId(CLI::App* app, const std::string& name, std::optional<std::string>* id, const std::string& help) {
  return AddParsed(app, name, "ID", help, [id](const std::string& text, std::string*) {
    *id = text;
    return true;
  });
}

void Declare(CLI::App* command) {
  auto o = std::make_shared<GraphOptions>();
  AddFiles(command, "FILE", &o->files, "metadata replies, read in order; - or none: standard input");
  AddLatLon(command, "--near", &o->near, "the panorama nearest to a point (degrees), over all levels");
  AddId(command, "--links", &o->links, "the panoramas linked to ID, sorted by id");
  AddId(command, "--around", &o->around,
        "the breadth-first neighbourhood of ID: index, id, depth and the index of the entry it was reached "
        "through (-1: from ID)");
  AddInt(command, "--depth", &o->depth, {0, 1000}, "how many links --around follows (default 2)");
  SetRun(command, [o](Io& io) { return Run(io, *o); });
}

const Registrar kRegistrar(
    "graph", "the panorama graph of metadata replies: its size, nearest panoramas, links, neighbourhoods",
    "Reads metadata replies of the panorama service (tile replies or single panoramas) and adds every\n"
    "record to one graph, repairing single-link dead ends after each reply as a finished tile does.\n"
    "Prints the number of vertices (panoramas, and placeholders: ids known only as somebody's link),\n"
    "edges (inferred: joined by proximity, not given by the service) and quad tree entries per level,\n"
    "then the answers asked for. Within one depth, --around lists panoramas in the graph's link\n"
    "order, which follows memory addresses and may differ from run to run.\n",
    Declare);

}  // namespace
}  // namespace vistara::cli
