// vistara-spatial fetch: fills a panorama graph from a panorama service as a host does, through
// PanoramaFetchManager, then prints the graph's summary and can save the records it got.
#include <QUrl>
#include <algorithm>
#include <boost/graph/adjacency_list.hpp>
#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <sstream>
#include <vector>

#include "cli.h"
#include "graph_summary.h"
#include "panorama_xml_writer.h"
#include "platform/net/backend.h"
#include "spatial/panorama_fetch_manager.h"
#include "spatial/wayfare_spatial_options.h"

namespace vistara::cli {
namespace {

using spatial::PanoGraph;

constexpr double kDefaultTimeoutSeconds = 30;

// Relays every request to the backend installed before it and counts how each one ends. The
// library tells nobody of a failed fetch, so this is where the command learns of failures and
// their reasons. Each relayed request is one Request of this backend, delivered from inside the
// inner request's callback (so on the inner backend's network thread) and cancelled through it.
class CountingBackend : public net::Backend {
 public:
  struct Counts {
    int started = 0;
    int ended = 0;
    int ok = 0;                           // ended with status 2
    std::map<std::string, int> failures;  // the others, by status name
  };

  explicit CountingBackend(net::Backend* inner) : inner_(inner) {}

  RefPtr<net::Fetcher> Start(const net::FetchParams& params) override {
    auto* open = new Open{this, RefPtr<net::Request>(new net::Request(this, params)), nullptr};
    const RefPtr<net::Request> outer = open->outer;
    net::FetchParams relayed = params;
    relayed.callback = &Relay;
    relayed.context = open;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      ++counts_.started;
      open_[outer.get()] = open;
    }
    RefPtr<net::Fetcher> inner = inner_->Start(relayed);
    // The relayed callback may have run already, and freed `open`.
    std::lock_guard<std::mutex> lock(mutex_);
    if (auto it = open_.find(outer.get()); it != open_.end()) it->second->inner = inner;
    return outer;
  }

  Counts counts() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return counts_;
  }

 protected:
  void Cancel(net::Request* request) override {
    RefPtr<net::Fetcher> inner;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (auto it = open_.find(request); it != open_.end()) inner = it->second->inner;
    }
    // Ends the inner request, whose callback delivers the outer one.
    if (inner) inner->cancel();
  }

 private:
  struct Open {
    CountingBackend* backend;
    RefPtr<net::Request> outer;  // what the caller holds
    RefPtr<net::Fetcher> inner;  // guarded by the backend's mutex_; null until the inner Start returns
  };

  static void Relay(net::Fetcher& inner) {
    Open* open = static_cast<Open*>(inner.context());
    const int status = inner.status();
    {
      CountingBackend* self = open->backend;
      std::lock_guard<std::mutex> lock(self->mutex_);
      self->open_.erase(open->outer.get());
      ++self->counts_.ended;
      if (status == net::kStatusOk) ++self->counts_.ok;
      else ++self->counts_.failures[net::StatusName(status)];
    }
    open->outer->Deliver(status, inner.body());
    delete open;
  }

  net::Backend* const inner_;
  mutable std::mutex mutex_;
  std::map<net::Request*, Open*> open_;  // guarded by mutex_: the requests not yet ended
  Counts counts_;                        // guarded by mutex_
};

// Installs a backend for its lifetime.
class InstalledBackend {
 public:
  explicit InstalledBackend(net::Backend* backend) : previous_(net::SetBackend(backend)) {}
  ~InstalledBackend() { net::SetBackend(previous_); }
  InstalledBackend(const InstalledBackend&) = delete;
  InstalledBackend& operator=(const InstalledBackend&) = delete;

 private:
  net::Backend* const previous_;
};

// Points the library's metadata requests at `url` for its lifetime; the setting is put back
// afterwards, as the command may run inside a longer-lived process.
class ServerSetting {
 public:
  explicit ServerSetting(const std::string& url) {
    setting().PushSetting();
    setting() = QString::fromStdString(url);
  }
  ~ServerSetting() { setting().PopSetting(); }
  ServerSetting(const ServerSetting&) = delete;
  ServerSetting& operator=(const ServerSetting&) = delete;

 private:
  static StringSetting& setting() { return spatial::WayfareSpatialOptions::s_settings_.metaDataFetchServer; }
};

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

// The panoramas with a record. Takes the graph's lock: the worker may be writing.
size_t Records(const PanoGraph& graph) {
  SpinLock::ScopedLock hold(graph.lock());
  size_t n = 0;
  for (auto [v, end] = boost::vertices(graph.graph().graph()); v != end; ++v) n += graph.graph()[*v].data ? 1 : 0;
  return n;
}

// "3 requests failed (http 503: 2, connection refused: 1)", or "no request failed".
std::string FailureText(const CountingBackend::Counts& c) {
  const int failed = c.ended - c.ok;
  if (failed == 0) return "no request failed";
  std::string kinds;
  for (const auto& [name, n] : c.failures) kinds += (kinds.empty() ? "" : ", ") + name + ": " + std::to_string(n);
  return std::to_string(failed) + (failed == 1 ? " request" : " requests") + " failed (" + kinds + ")";
}

int Run(Io& io, const FetchOptions& o) {
  auto& settings = spatial::WayfareSpatialOptions::s_settings_;
  const double lat = o.near->lat, lon = o.near->lon;
  const double radius = o.radius.value_or(settings.defaultSearchRadiusMeters);
  const double timeout = o.timeout.value_or(kDefaultTimeoutSeconds);

  // Declared first, so that they outlive the manager, which ends every request it started.
  const ServerSetting server(o.server);
  CountingBackend counter(net::CurrentBackend());
  const InstalledBackend installed(&counter);
  PanoGraph graph;
  auto manager = std::make_unique<spatial::PanoramaFetchManager>(&graph);

  const auto started = std::chrono::steady_clock::now();
  auto elapsed = [&started] {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  };
  std::optional<Progress> progress(std::in_place, io.err(), true);  // gone before anything else is printed
  // Waits until fetching has gone quiet (true) or the time is up (false), redrawing the progress.
  auto wait_until_quiet = [&] {
    for (;;) {
      const double left = timeout - elapsed();
      if (manager->WaitUntilIdle(static_cast<int>(std::clamp(left * 1000, 0.0, 200.0)))) return true;
      if (left <= 0) return false;
      const CountingBackend::Counts c = counter.counts();
      const size_t records = Records(graph);
      progress->Update("panoramas " + std::to_string(records) + ", in flight " + std::to_string(c.started - c.ended) +
                      ", failures " + std::to_string(c.ended - c.ok) + ", " + Fixed(records / elapsed(), 0) + "/s");
    }
  };

  // The nearest panorama first, alone, so that it is known which one the service called nearest:
  // the start of --neighbours.
  manager->FetchNearestMetaData(lat, lon, radius);
  bool quiet = wait_until_quiet();
  QString nearest;
  {
    SpinLock::ScopedLock hold(graph.lock());
    nearest = graph.GetClosestPanoToPoint(Vec3<double>(lon / 180.0, lat / 180.0, 0));
  }
  if (quiet && o.tiles) manager->FetchAllMetaData(lat, lon, radius);
  // The neighbours in rounds, the first of which also waits for the tiles. The manager's
  // EnsureNeighborsFetched reaches a fixed two links; this reaches any depth, one link further each
  // round, as the records of the last round name their neighbours. An id is asked for once, so that
  // one failing again and again ends the rounds all the same.
  std::set<QString> asked{nearest};
  while (quiet) {
    std::vector<QString> wanted;
    if (o.neighbours > 0 && !nearest.isNull()) {
      SpinLock::ScopedLock hold(graph.lock());
      mmvector<PanoGraph::ConnectedPanoInfo> around;
      graph.GetConnectedPanos(nearest, o.neighbours, false, &around);
      for (const auto& a : around) {
        if (!graph.GetPanoramaData(a.id) && asked.insert(a.id).second) wanted.push_back(a.id);
      }
    }
    for (const QString& id : wanted) manager->fetcher()->FetchMetaData(id, manager.get());
    quiet = wait_until_quiet();
    if (wanted.empty()) break;
  }
  // Ends (cancels) what is still in flight after a timeout; the graph is the command's alone then.
  manager.reset();
  progress.reset();
  const double seconds = elapsed();
  const CountingBackend::Counts counts = counter.counts();
  if (counts.ok == 0) {
    return io.Fail("nothing fetched from " + o.server + ": " + FailureText(counts) +
                   (quiet ? "" : "; timed out after " + ShownNumber(timeout) + " s"));
  }
  if (!quiet) io.Warn("timed out after " + ShownNumber(timeout) + " s; the requests still open were cancelled");
  // Joins the dead ends that replies outside a tile left pending, as graph does after each reply.
  graph.PostProcessBatch();

  std::vector<const spatial::PanoramaData*> records;
  for (auto [v, end] = boost::vertices(graph.graph().graph()); v != end; ++v) {
    if (const auto& data = graph.graph()[*v].data) records.push_back(data.get());
  }
  if (!o.save.empty()) {
    // By id, so that a file does not depend on the order replies arrived in.
    std::sort(records.begin(), records.end(), [](const auto* a, const auto* b) { return a->id < b->id; });
    std::string error;
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
  AddParsed(command, "--server", "URL", "the base URL of metadata requests, as http://127.0.0.1:8080/mlk",
            [o](const std::string& text, std::string* error) {
              const QUrl url(QString::fromStdString(text), QUrl::StrictMode);
              if (!url.isValid() || (url.scheme() != "http" && url.scheme() != "https") || url.host().isEmpty()) {
                *error = "'" + text + "' is not an http or https URL";
                return false;
              }
              o->server = text;
              return true;
            })
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
