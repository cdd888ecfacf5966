#include "graph_source.h"

#include <QUrl>
#include <algorithm>
#include <boost/graph/adjacency_list.hpp>
#include <chrono>
#include <mutex>

#include "platform/net/backend.h"
#include "platform/xml/xml_reader.h"
#include "spatial/panorama_fetch_manager.h"
#include "spatial/panorama_xml_parser.h"
#include "spatial/wayfare_spatial_options.h"

namespace vistara::cli {

using spatial::PanoGraph;

bool ReadReplies(Io& io, const std::vector<std::string>& files, std::vector<Records>* replies, std::string* error) {
  for (const std::string& name : files) {
    std::string bytes;
    if (!io.Read(name, &bytes, error)) return false;
    const QByteArray xml = QByteArray::fromStdString(bytes);
    if (XmlReader(xml).GetErrorsOccurred()) {
      *error = "'" + name + "' is not well-formed XML";
      return false;
    }
    replies->emplace_back();
    spatial::PanoramaXMLParser::Parse(xml, &replies->back());
  }
  return true;
}

void BuildGraph(const std::vector<Records>& replies, PanoGraph* graph) {
  for (const Records& records : replies) {
    for (const auto& r : records) graph->AddPano(r->id, r.get());
    graph->PostProcessBatch();
  }
}

// Relays every request to the backend installed before it and counts how each one ends. The
// library tells nobody of a failed fetch, so this is where the command learns of failures and
// their reasons. Each relayed request is one Request of this backend, delivered from inside the
// inner request's callback (so on the inner backend's network thread) and cancelled through it.
class CountingBackend : public net::Backend {
 public:
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

  FetchCounts counts() const {
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
  FetchCounts counts_;                        // guarded by mutex_
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

std::string FailureText(const FetchCounts& c) {
  const int failed = c.ended - c.ok;
  if (failed == 0) return "no request failed";
  std::string kinds;
  for (const auto& [name, n] : c.failures) kinds += (kinds.empty() ? "" : ", ") + name + ": " + std::to_string(n);
  return std::to_string(failed) + (failed == 1 ? " request" : " requests") + " failed (" + kinds + ")";
}

namespace {

// The panoramas with a record. Takes the graph's lock: the fetch worker may be writing.
size_t CountRecords(const PanoGraph& graph) {
  SpinLock::ScopedLock hold(graph.lock());
  size_t n = 0;
  for (auto [v, end] = boost::vertices(graph.graph().graph()); v != end; ++v) n += graph.graph()[*v].data ? 1 : 0;
  return n;
}

double Now() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }
}  // namespace

GraphFetch::GraphFetch(Io& io, const std::string& server, double timeout_seconds, PanoGraph* graph)
    : io_(io),
      server_(server),
      timeout_(timeout_seconds),
      graph_(graph),
      setting_(std::make_unique<ServerSetting>(server)),
      counter_(std::make_unique<CountingBackend>(net::CurrentBackend())),
      installed_(std::make_unique<InstalledBackend>(counter_.get())),
      manager_(std::make_unique<spatial::PanoramaFetchManager>(graph)),
      progress_(std::in_place, io.err(), true),
      started_(Now()) {}

GraphFetch::~GraphFetch() = default;

double GraphFetch::seconds() const { return Now() - started_; }

FetchCounts GraphFetch::counts() const { return counter_->counts(); }

bool GraphFetch::WaitUntilQuiet() {
  while (quiet_) {
    const double left = timeout_ - seconds();
    if (manager_->WaitUntilIdle(static_cast<int>(std::clamp(left * 1000, 0.0, 200.0)))) break;
    if (left <= 0) quiet_ = false;
    const FetchCounts c = counts();
    const size_t records = CountRecords(*graph_);
    progress_->Update("panoramas " + std::to_string(records) + ", in flight " + std::to_string(c.started - c.ended) +
                      ", failures " + std::to_string(c.ended - c.ok) + ", " +
                      std::to_string(static_cast<long>(records / seconds())) + "/s");
  }
  return quiet_;
}

QString GraphFetch::FetchNearest(double lat, double lon, double radius) {
  if (quiet_) {
    manager_->FetchNearestMetaData(lat, lon, radius);
    WaitUntilQuiet();
  }
  SpinLock::ScopedLock hold(graph_->lock());
  const QString id = graph_->GetClosestPanoToPoint(Vec3<double>(lon / 180.0, lat / 180.0, 0));
  asked_.insert(id);
  return id;
}

void GraphFetch::FetchTiles(double lat, double lon, double radius) {
  if (quiet_) manager_->FetchAllMetaData(lat, lon, radius);
}

size_t GraphFetch::FetchAround(const std::vector<QString>& roots, int depth) {
  if (!quiet_) return 0;
  std::vector<QString> wanted;
  {
    SpinLock::ScopedLock hold(graph_->lock());
    mmvector<PanoGraph::ConnectedPanoInfo> around;
    for (const QString& root : roots) {
      if (root.isNull()) continue;
      around.clear();
      graph_->GetConnectedPanos(root, depth, false, &around);
      for (const auto& a : around) {
        if (!graph_->GetPanoramaData(a.id) && asked_.insert(a.id).second) wanted.push_back(a.id);
      }
    }
  }
  for (const QString& id : wanted) manager_->fetcher()->FetchMetaData(id, manager_.get());
  WaitUntilQuiet();
  return wanted.size();
}

void GraphFetch::FetchNeighbours(const QString& id) {
  if (!quiet_) return;
  manager_->EnsureNeighborsFetched(id);
  WaitUntilQuiet();
}

bool GraphFetch::Finish(std::string* error) {
  manager_.reset();
  progress_.reset();
  installed_.reset();
  setting_.reset();
  const FetchCounts c = counts();
  const std::string timed_out = "timed out after " + ShownNumber(timeout_) + " s";
  if (c.ok == 0) {
    *error = "nothing fetched from " + server_ + ": " + FailureText(c) + (quiet_ ? "" : "; " + timed_out);
    return false;
  }
  if (!quiet_) io_.Warn(timed_out + "; the requests still open were cancelled");
  graph_->PostProcessBatch();
  return true;
}

CLI::Option* AddServer(CLI::App* command, std::string* url, const std::string& help) {
  return AddParsed(command, "--server", "URL", help, [url](const std::string& text, std::string* error) {
    const QUrl parsed(QString::fromStdString(text), QUrl::StrictMode);
    if (!parsed.isValid() || (parsed.scheme() != "http" && parsed.scheme() != "https") || parsed.host().isEmpty()) {
      *error = "'" + text + "' is not an http or https URL";
      return false;
    }
    *url = text;
    return true;
  });
}

void AddGraphSource(CLI::App* command, GraphSourceOptions* o) {
  CLI::Option* graph = AddParsed(command, "--graph", "FILE",
                                 "a metadata reply to build the graph from (repeat for several; - for standard input)",
                                 [o](const std::string& text, std::string*) {
                                   o->files.push_back(text);
                                   return true;
                                 });
  graph->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  CLI::Option* server = AddServer(command, &o->server,
                                  "fetch the graph from the panorama service whose metadata requests start with URL, "
                                  "as http://127.0.0.1:8080/mlk");
  graph->excludes(server);
  AddDuration(command, "--timeout", &o->timeout, "with --server: how long fetching may take in all (default 30s)");
}

}  // namespace vistara::cli
