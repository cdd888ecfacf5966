// Where commands get a panorama graph from: metadata replies read from files, as graph does, or a
// panorama service asked through PanoramaFetchManager, as a host does. fetch, graph, route and walk
// share it.
#ifndef VISTARA_TOOLS_GRAPH_SOURCE_H_
#define VISTARA_TOOLS_GRAPH_SOURCE_H_

#include <QString>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "cli.h"
#include "spatial/pano_graph.h"
#include "spatial/panorama_data.h"

namespace vistara::spatial {
class PanoramaFetchManager;
}

namespace vistara::cli {

// ---- from files --------------------------------------------------------------------------------

using Records = mmvector<RefPtr<spatial::PanoramaData>>;

// The records of each reply, in the order given ("-" is standard input). False and the reason for a
// file that can't be read or is not well-formed XML.
bool ReadReplies(Io& io, const std::vector<std::string>& files, std::vector<Records>* replies, std::string* error);
// Adds every record, repairing the single-link dead ends after each reply as after a finished
// tile. The graph keeps pointers to the records, which the caller keeps alive.
void BuildGraph(const std::vector<Records>& replies, spatial::PanoGraph* graph);

// ---- from a panorama service -------------------------------------------------------------------

// How the requests of a GraphFetch ended.
struct FetchCounts {
  int started = 0;
  int ended = 0;
  int ok = 0;                           // ended with status 2
  std::map<std::string, int> failures;  // the others, by status name
};
// "3 requests failed (http 503: 2, connection refused: 1)", or "no request failed".
std::string FailureText(const FetchCounts& c);

class CountingBackend;
class InstalledBackend;
class ServerSetting;

// Fills `graph` from the panorama service at `server` for its lifetime: the library's metadata
// requests point there, every request is counted, and on a terminal a progress line shows
// panoramas, requests in flight, failures and the rate. Each call asks, then waits until fetching
// has gone quiet or the time given to the whole fetch has run out; after that nothing more is
// asked for. One at a time per process: the server setting and the backend are global.
class GraphFetch {
 public:
  // `graph` must outlive this object.
  GraphFetch(Io& io, const std::string& server, double timeout_seconds, spatial::PanoGraph* graph);
  ~GraphFetch();
  GraphFetch(const GraphFetch&) = delete;
  GraphFetch& operator=(const GraphFetch&) = delete;

  // Asks for the panorama nearest (lat, lon) within `radius` metres; returns the id nearest that
  // point in the graph then, the null string if there is none.
  QString FetchNearest(double lat, double lon, double radius);
  // Asks for the metadata tiles around (lat, lon) and goes on at once: the next call waits for them.
  void FetchTiles(double lat, double lon, double radius);
  // One round: asks by id for every panorama within `depth` links of each of `roots` that has no
  // record and was not asked for before, so that one failing again and again ends the rounds all
  // the same. Returns how many it asked for.
  size_t FetchAround(const std::vector<QString>& roots, int depth);
  // What a host does on arriving at a panorama: its neighbours within two links.
  void FetchNeighbours(const QString& id);

  // False once a wait ran out of time.
  bool quiet() const { return quiet_; }
  double seconds() const;
  FetchCounts counts() const;
  // Ends (cancels) what is still in flight, clears the progress line and joins the dead ends that
  // replies outside a tile left pending; the graph is the caller's alone then, and the calls above
  // must not follow. False and the reason when no request succeeded; a timeout with some success
  // is a warning.
  bool Finish(std::string* error);

 private:
  bool WaitUntilQuiet();

  Io& io_;
  const std::string server_;
  const double timeout_;
  spatial::PanoGraph* const graph_;
  // In this order, so that the manager, which ends every request it started, goes first.
  std::unique_ptr<ServerSetting> setting_;
  std::unique_ptr<CountingBackend> counter_;
  std::unique_ptr<InstalledBackend> installed_;
  std::unique_ptr<spatial::PanoramaFetchManager> manager_;
  std::optional<Progress> progress_;
  std::set<QString> asked_;
  double started_;  // steady clock, seconds
  bool quiet_ = true;
};

// ---- options -----------------------------------------------------------------------------------

// --graph FILE (repeated) or --server URL, and --timeout, as route and walk take them.
struct GraphSourceOptions {
  std::vector<std::string> files;
  std::string server;
  std::optional<double> timeout;  // seconds
};
// Adds --server alone: an http or https URL.
CLI::Option* AddServer(CLI::App* command, std::string* url, const std::string& help);
void AddGraphSource(CLI::App* command, GraphSourceOptions* o);
// The time a fetch is given unless --timeout says otherwise.
inline constexpr double kDefaultFetchSeconds = 30;

}  // namespace vistara::cli

#endif  // VISTARA_TOOLS_GRAPH_SOURCE_H_
