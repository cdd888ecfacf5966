#include "spatial/panorama_fetcher.h"

#include <QUrlQuery>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <vector>

#include "spatial/panorama_xml_parser.h"

namespace vistara::spatial {

const char PanoramaFetcher::kLoggingVersion[] = "4";
const char PanoramaFetcher::kMLClient[] = "vistara";

double MetadataRequestSpacing(const WayfareSpatialOptions& settings) {
  const float qps = settings.maxMetadataDepthmapQps;
  return qps > 0 ? 1.0 / qps : 0.0;
}

QUrl WithQueryItems(const QString& base, std::initializer_list<std::pair<QString, QString>> items) {
  QUrl url(base);
  QUrlQuery query(url);
  for (const auto& [key, value] : items) query.addQueryItem(key, value);
  url.setQuery(query);
  return url;
}

// ---- PanoramaFetcher ---------------------------------------------------------------------------

PanoramaFetcher::PanoramaFetcher()
    : worker_(new WorkerThread("PanoramFetcher", 1)), settings_(&WayfareSpatialOptions::s_settings_) {}

PanoramaFetcher::~PanoramaFetcher() {
  // First end every request still in flight. Its callback, which deletes the fetch of a cancelled
  // request, has then run; otherwise it could reach a fetch deleted below, or read worker_ while
  // it changes. Cancelling waits for callbacks, and they take lock_, so lock_ is not held.
  std::vector<RefPtr<net::Fetcher>> in_flight;
  {
    SpinLock::ScopedLock hold(&lock_);
    for (PanoramaFetch* fetch : fetches_) in_flight.push_back(fetch->net_fetcher());
  }
  for (const RefPtr<net::Fetcher>& request : in_flight) {
    if (request) request->cancel();
  }
  // A job that is running finishes; queued jobs are dropped, and each deletes its fetch.
  delete worker_;
  worker_ = nullptr;
  // What is left has no request object, or was processed without a worker. Each is taken off
  // the list before it is deleted: a fetch without a request object doesn't remove itself.
  for (;;) {
    PanoramaFetch* last;
    {
      SpinLock::ScopedLock hold(&lock_);
      if (fetches_.empty()) break;
      last = fetches_.back();
      fetches_.pop_back();
    }
    delete last;
  }
  // A fetch whose failed request was deleted on the network thread has left the list already but
  // may still be inside RemoveFetch.
  std::lock_guard<std::mutex> wait(idle_mutex_);
}

QUrl PanoramaFetcher::CreateUrl(const QString& id) const {
  return WithQueryItems(settings_->metaDataFetchServer, {{"output", "xml"},
                                                         {"panoid", id},
                                                         {"ml_client", kMLClient},
                                                         {"dm", "1"},
                                                         {"pm", "1"},
                                                         {"v", kLoggingVersion}});
}

QUrl PanoramaFetcher::CreateUrl(const MapTile& tile) const {
  return WithQueryItems(settings_->metaDataFetchServer, {{"output", "metatile"},
                                                         {"x", QString::number(tile.x)},
                                                         {"y", QString::number(tile.y)},
                                                         {"zoom", QString::number(tile.zoom)},
                                                         {"ml_client", kMLClient},
                                                         {"v", kLoggingVersion}});
}

QUrl PanoramaFetcher::CreateUrl(double lat, double lon, double radius, const QString& level_id) const {
  QUrl url(settings_->metaDataFetchServer);
  QUrlQuery query(url);
  query.addQueryItem("output", "xml");
  query.addQueryItem("ll", QString::number(lat, 'f', 18) + "," + QString::number(lon, 'f', 18));
  // Printed from the double, so that no radius overflows an integer on the way.
  if (radius > 0) query.addQueryItem("radius", QString::number(std::floor(radius + 0.5), 'f', 0));
  if (!level_id.isEmpty()) query.addQueryItem("level_id", level_id);
  query.addQueryItem("dm", "1");
  query.addQueryItem("pm", "1");
  query.addQueryItem("ml_client", kMLClient);
  query.addQueryItem("v", kLoggingVersion);
  url.setQuery(query);
  return url;
}

bool PanoramaFetcher::FetchMetaData(const QString& id, IPanoramaFetchObserver* observer) {
  if (id.isEmpty()) return false;
  const QUrl url = CreateUrl(id);
  if (IsFetching(url)) return false;
  SpinLock::ScopedLock hold(&lock_);
  new PanoramaFetch(this, url, observer);
  settings_->numMetaDataPanoIdFetches.Increment();
  return true;
}

bool PanoramaFetcher::FetchMetaData(const MapTile& tile, IPanoramaFetchObserver* observer) {
  const QUrl url = CreateUrl(tile);
  if (IsFetching(url)) return false;
  SpinLock::ScopedLock hold(&lock_);
  new PanoramaTileFetch(this, url, tile, observer);
  settings_->numMetaDataPanoTileFetches.Increment();
  return true;
}

bool PanoramaFetcher::FetchMetaData(double lat, double lon, double radius, const QString& level_id,
                                    IPanoramaFetchObserver* observer) {
  SpinLock::ScopedLock hold(&lock_);
  const QUrl url = CreateUrl(lat, lon, radius, level_id);
  if (IsFetching(url)) return false;
  new PanoramaFetch(this, url, observer);
  settings_->numMetaDataPanoLatLonFetches.Increment();
  return true;
}

void PanoramaFetcher::AddFetch(PanoramaFetch* fetch) {
  SpinLock::ScopedLock hold(&lock_);
  fetches_.push_back(fetch);
}

void PanoramaFetcher::RemoveFetch(PanoramaFetch* fetch) {
  // All of it under idle_mutex_: a waiter sees the list empty only once this is done with the
  // fetcher, and the destructor waits for that mutex last.
  std::lock_guard<std::mutex> lock(idle_mutex_);
  bool idle;
  {
    SpinLock::ScopedLock hold(&lock_);
    fetches_.erase(std::remove(fetches_.begin(), fetches_.end(), fetch), fetches_.end());
    idle = fetches_.empty();
  }
  if (idle) idle_cv_.notify_all();
}

bool PanoramaFetcher::IsFetching(const QUrl& url) {
  SpinLock::ScopedLock hold(&lock_);
  return std::any_of(fetches_.begin(), fetches_.end(), [&](const PanoramaFetch* f) { return f->url() == url; });
}

bool PanoramaFetcher::WaitUntilIdle(int timeout_ms) {
  const auto idle = [this] {
    SpinLock::ScopedLock hold(&lock_);
    return fetches_.empty();
  };
  std::unique_lock<std::mutex> lock(idle_mutex_);
  return idle_cv_.wait_for(lock, std::chrono::milliseconds(std::max(timeout_ms, 0)), idle);
}

// ---- PanoramaFetch -----------------------------------------------------------------------------

PanoramaFetch::PanoramaFetch(PanoramaFetcher* fetcher, const QUrl& url, IPanoramaFetchObserver* observer)
    : fetcher_(fetcher), url_(url), observer_(observer) {
  fetcher_->AddFetch(this);
  net::FetchParams params;
  params.url = url_.toString();
  params.callback = &PanoramaFinished;
  params.context = this;
  params.seconds_between_requests = MetadataRequestSpacing(*fetcher_->settings());
  net_fetcher_ = net::Fetcher::fetch(params, nullptr);
}

PanoramaFetch::~PanoramaFetch() {
  if (net_fetcher_) {
    fetcher_->RemoveFetch(this);
    net_fetcher_.reset();
  }
}

void PanoramaFetch::StartProcessJob(net::Fetcher& /*fetcher*/) {
  FetchProcessor::CreateAndQueue(fetcher_->worker(), this);
}

void PanoramaFetch::PanoramaFinished(net::Fetcher& fetcher) {
  PanoramaFetch* c = static_cast<PanoramaFetch*>(fetcher.context());
  if (!c) return;  // nothing to delete, and nothing to process a reply for
  // A fast reply can arrive before the constructor has stored net_fetcher_ (and a tile fetch its
  // tile). Whoever makes a fetch holds the fetcher's lock until it is complete: wait for that.
  { SpinLock::ScopedLock made(c->fetcher_->lock()); }
  const int s = fetcher.status();
  if (s == net::kStatusCancelled || (s >= net::kStatusHostNotFound && s <= net::kStatusFailed) ||
      (s >= 400 && s <= 505)) {
    delete c;
    return;
  }
  c->StartProcessJob(fetcher);
}

PanoramaFetch::FetchProcessor::FetchProcessor(WorkerThread* worker, PanoramaFetch* fetch)
    : Job("PanoramaFetchProcessor", worker), fetch_(fetch) {}

PanoramaFetch::FetchProcessor::~FetchProcessor() { delete fetch_; }

void PanoramaFetch::FetchProcessor::CreateAndQueue(WorkerThread* worker, PanoramaFetch* fetch) {
  if (!worker) {
    ProcessImmediately(fetch, fetch->observer());
    return;
  }
  // The worker's queue holds the job's one reference from here until the job has run. A worker
  // that is deleted with the job still queued drops that reference, and the fetch goes with the
  // job instead of leaking.
  const RefPtr<FetchProcessor> job(new FetchProcessor(worker, fetch));
  job->AddToQueue();
}

void PanoramaFetch::FetchProcessor::ProcessImmediately(PanoramaFetch* fetch, IPanoramaFetchObserver* observer) {
  mmvector<RefPtr<PanoramaData>> records(HeapManager::GetTransientHeap());
  PanoramaXMLParser::Parse(fetch->net_fetcher()->body(), &records);
  if (records.empty()) {
    observer->OnEmptyResponse();
    return;
  }
  for (const RefPtr<PanoramaData>& record : records) observer->OnMetaDataFetched(record->id, record);
}

void PanoramaFetch::FetchProcessor::Run() { ProcessImmediately(fetch_, fetch_->observer()); }

// ---- PanoramaTileFetch -------------------------------------------------------------------------

PanoramaTileFetch::PanoramaTileFetch(PanoramaFetcher* fetcher, const QUrl& url, const MapTile& tile,
                                     IPanoramaFetchObserver* observer)
    : PanoramaFetch(fetcher, url, observer), tile_(tile) {}

void PanoramaTileFetch::StartProcessJob(net::Fetcher& /*fetcher*/) {
  TileFetchProcessor::CreateAndQueue(fetcher()->worker(), this);
}

PanoramaTileFetch::TileFetchProcessor::TileFetchProcessor(WorkerThread* worker, PanoramaTileFetch* fetch)
    : FetchProcessor(worker, fetch), tile_fetch_(fetch) {}

void PanoramaTileFetch::TileFetchProcessor::CreateAndQueue(WorkerThread* worker, PanoramaTileFetch* fetch) {
  if (!worker) {
    ProcessImmediately(fetch, fetch->observer());
    return;
  }
  const RefPtr<TileFetchProcessor> job(new TileFetchProcessor(worker, fetch));
  job->AddToQueue();
}

void PanoramaTileFetch::TileFetchProcessor::ProcessImmediately(PanoramaTileFetch* fetch,
                                                               IPanoramaFetchObserver* observer) {
  FetchProcessor::ProcessImmediately(fetch, observer);
  observer->OnMapTileFetched(fetch->tile());
}

void PanoramaTileFetch::TileFetchProcessor::Run() { ProcessImmediately(tile_fetch_, tile_fetch_->observer()); }

}  // namespace vistara::spatial
