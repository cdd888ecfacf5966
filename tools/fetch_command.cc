// vistara-spatial fetch: fills a panorama graph from a panorama service as a host does, through
// PanoramaFetchManager, then prints the graph's summary and can save the records it got.
#include <algorithm>
#include <boost/graph/adjacency_list.hpp>
#include <cstdio>
#include <memory>
#include <optional>
#include <sstream>
#include <vector>

#include "cli.h"
#include "graph_source.h"
#include "graph_summary.h"
#include "panorama_xml_writer.h"
#include "spatial/wayfare_spatial_options.h"

namespace vistara::cli {
namespace {

using spatial::PanoGraph;

struct FetchOptions {
  std::string server;
  std::optional<LatLon> near;
  std::optional<double> radius;  // metres; default: the setting "defaultSearchRadius(m)"
  int neighbours = 0;
  bool tiles = false;
  std::string save;
  std::optional<double> timeout;  // seconds
};

std::string Fixed(double v, int decimals) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", decimals, v);
  return text;
}

int Run(Io& io, const FetchOptions& o) {
  auto& settings = spatial::WayfareSpatialOptions::s_settings_;
  const double lat = o.near->lat, lon = o.near->lon;
  const double radius = o.radius.value_or(settings.defaultSearchRadiusMeters);
  const double timeout = o.timeout.value_or(kDefaultFetchSeconds);

  PanoGraph graph;  // outlives the fetch
  GraphFetch fetch(io, o.server, timeout, &graph);
  // The nearest panorama first, alone, so that it is known which one the service called nearest:
  // the start of --neighbours.
  const QString nearest = fetch.FetchNearest(lat, lon, radius);
  if (o.tiles) fetch.FetchTiles(lat, lon, radius);
  // The neighbours in rounds, the first of which also waits for the tiles. The manager's
  // EnsureNeighborsFetched reaches a fixed two links; this reaches any depth, one link further each
  // round, as the records of the last round name their neighbours.
  while (fetch.FetchAround({nearest}, o.neighbours) > 0) {
  }
  const bool quiet = fetch.quiet();
  const double seconds = fetch.seconds();
  const FetchCounts counts = fetch.counts();
  std::string error;
  if (!fetch.Finish(&error)) return io.Fail(error);

  std::vector<const spatial::PanoramaData*> records;
  for (auto [v, end] = boost::vertices(graph.graph().graph()); v != end; ++v) {
    if (const auto& data = graph.graph()[*v].data) records.push_back(data.get());
  }
  if (!o.save.empty()) {
    // By id, so that a file does not depend on the order replies arrived in.
    std::sort(records.begin(), records.end(), [](const auto* a, const auto* b) { return a->id < b->id; });
    if (!io.Write(o.save, serve::WriteMetadataReply(records), &error)) return io.Fail(error);
  }

  Json::Value root(Json::objectValue);
  std::ostringstream out;
  const double rate = records.size() / seconds;
  root["server"] = o.server;
  root["panoramas"] = static_cast<Json::UInt64>(records.size());
  root["requests"] = counts.started;
  root["failed"] = counts.ended - counts.ok;
  Json::Value& failures = root["failures"] = Json::Value(Json::objectValue);
  for (const auto& [name, n] : counts.failures) failures[name] = n;
  root["seconds"] = JsonNumber(seconds);
  root["panoramas_per_second"] = JsonNumber(rate);
  root["timed_out"] = !quiet;
  root["nearest"] = nearest.isNull() ? Json::Value() : Json::Value(nearest.toStdString());
  out << "fetched " << records.size() << (records.size() == 1 ? " panorama" : " panoramas") << " with "
      << counts.started << (counts.started == 1 ? " request" : " requests") << " in " << Fixed(seconds, 2) << " s ("
      << Fixed(rate, 0) << " panoramas/s); " << FailureText(counts) << "\n";
  out << "nearest to " << ShownNumber(lat) << "," << ShownNumber(lon) << ": " << (nearest.isNull() ? "(none)" : nearest.toStdString())
      << "\n";
  SummarizeGraph(graph, &root, out);
  io.Print(root, out.str());
  return 0;
}

void Declare(CLI::App* command) {
  auto o = std::make_shared<FetchOptions>();
  AddServer(command, &o->server, "the base URL of metadata requests, as http://127.0.0.1:8080/mlk")
      ->required();
  AddLatLon(command, "--near", &o->near, "the point to fetch around (degrees)")->required();
  AddNumber(command, "--radius", &o->radius, {0, 1e7},
            "metres around --near to look for the nearest panorama and for tiles (default: the setting "
            "defaultSearchRadius(m), 50)");
  AddInt(command, "--neighbours", &o->neighbours, {0, 1000},
         "also fetch every panorama within N links of the nearest (default 0)");
  command->add_flag("--tiles", o->tiles, "also fetch the metadata tiles around --near");
  AddParsed(command, "--save", "FILE", "write the fetched records to FILE as one metadata reply",
            [o](const std::string& text, std::string* error) {
              if (text == "-") {
                *error = "the summary goes to standard output: name a file";
                return false;
              }
              o->save = text;
              return true;
            });
  AddDuration(command, "--timeout", &o->timeout, "how long to wait for fetching to go quiet (default 30s)");
  SetRun(command, [o](Io& io) { return Run(io, *o); });
}

const Registrar kRegistrar(
    "fetch", "fills a panorama graph from a panorama service, as a host does, and prints its summary",
    "Asks the service at --server for the panorama nearest --near, as a host's viewer does\n"
    "(FetchNearestMetaData), then with --tiles for the metadata tiles around it (FetchAllMetaData),\n"
    "and with --neighbours for every panorama within that many links of the nearest, a link\n"
    "further each round, until fetching has gone quiet or --timeout has passed. Every record goes\n"
    "into one graph, whose single-link dead ends are then joined as after a tile. On a terminal a\n"
    "progress line on standard error shows panoramas, requests in flight, failures and the rate.\n\n"
    "Prints the panoramas fetched, requests, time and rate, the failed requests by reason, the\n"
    "nearest panorama, then the graph's summary as graph prints it. A failed request is counted and\n"
    "the run goes on; it fails only when no request succeeded. --save writes the records, sorted by\n"
    "id and without their maps, as one metadata reply that graph and pano read.\n",
    Declare);

}  // namespace
}  // namespace vistara::cli
