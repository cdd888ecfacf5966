// Metadata requests to the panorama service, and the delivery of their records.
//
// PanoramaFetcher turns a wish for metadata (by panorama id, by map tile, or by position) into
// one HTTP request, refuses a request whose URL is already in flight, and hands each reply to its
// worker thread "PanoramFetcher", which parses it (PanoramaXMLParser) and calls the observer.
// One PanoramaFetch (PanoramaTileFetch for a tile) lives from the request to the end of its
// reply's processing; a FetchProcessor job carries the reply to the worker.
//
// Threads:
// - FetchMetaData may be called from any thread. The form by position holds the fetcher's lock
//   across its duplicate test and start; the other two test and start under separate holds, so
//   that two threads may start one URL twice (accepted).
// - The network layer's thread runs PanoramaFinished, which only classifies the status and
//   queues the job, or deletes the fetch of a failed request.
// - The worker makes every observer call, one at a time, so it is the only writer downstream.
// Lock order: a caller may hold the graph's lock when calling in (EnsureNeighborsFetched does);
// the fetcher's lock is never held while an observer runs or while a request is cancelled.
//
// Failure is silent: a request that fails (status 3, 5 to 11, 400 to 505) reaches no observer
// and is not retried; its URL may be asked for again as soon as its fetch has gone. A reply that
// doesn't parse counts as empty (OnEmptyResponse).
//
// URLs start from the setting metaDataFetchServer; query items are appended after any the setting
// already has, in this order:
//   by id:       output=xml&panoid=ID&ml_client=vistara&dm=1&pm=1&v=4
//   by tile:     output=metatile&x=X&y=Y&zoom=Z&ml_client=vistara&v=4
//   by position: output=xml&ll=LAT,LON[&radius=R][&level_id=L]&dm=1&pm=1&ml_client=vistara&v=4
// LAT and LON carry 18 decimals each; R = floor(radius + 0.5), only for a radius above 0; L only
// if not empty. The whole URL is the key for duplicates.
#ifndef VISTARA_SPATIAL_PANORAMA_FETCHER_H_
#define VISTARA_SPATIAL_PANORAMA_FETCHER_H_

#include <QString>
#include <QUrl>
#include <condition_variable>
#include <initializer_list>
#include <mutex>
#include <utility>

#include "platform/memory.h"
#include "platform/net/fetcher.h"
#include "platform/referent.h"
#include "platform/spin_lock.h"
#include "platform/worker_thread.h"
#include "spatial/map_tile.h"
#include "spatial/panorama_data.h"
#include "spatial/wayfare_spatial_options.h"

namespace vistara::spatial {

// Receives the records of replies. All calls come on the fetch worker thread, one at a time. Not
// deleted through this interface.
class IPanoramaFetchObserver {
 public:
  // One call for each record of a reply, in document order.
  virtual void OnMetaDataFetched(const QString& id, RefPtr<PanoramaData> data) = 0;
  // Once for a reply that held no record (or didn't parse).
  virtual void OnEmptyResponse() {}
  // After the records of a tile reply, also when the tile held none.
  virtual void OnMapTileFetched(const MapTile& tile) = 0;

 protected:
  ~IPanoramaFetchObserver() = default;
};

class IPanoramaFetcher {
 public:
  virtual ~IPanoramaFetcher() = default;
  // Each returns true if a new request was started. The observer must outlive the request.
  virtual bool FetchMetaData(const QString& id, IPanoramaFetchObserver* observer) = 0;
  virtual bool FetchMetaData(const MapTile& tile, IPanoramaFetchObserver* observer) = 0;
  // Degrees; `radius` in metres.
  virtual bool FetchMetaData(double lat, double lon, double radius, const QString& level_id,
                             IPanoramaFetchObserver* observer) = 0;
};

class PanoramaFetch;

class PanoramaFetcher : public IPanoramaFetcher {
 public:
  static const char kLoggingVersion[];  // "4"
  static const char kMLClient[];        // "vistara"

  // Starts the worker thread. Reads the process-wide settings (WayfareSpatialOptions::s_settings_).
  PanoramaFetcher();
  // Cancels every request in flight, ends the worker (a job that is running finishes; queued ones
  // are dropped unprocessed), then deletes what is left. After it returns no observer is called.
  // Must not run on the worker or the network thread, nor with the graph's lock held.
  ~PanoramaFetcher() override;
  PanoramaFetcher(const PanoramaFetcher&) = delete;
  PanoramaFetcher& operator=(const PanoramaFetcher&) = delete;

  // False for an empty id, or if the URL is in flight; true once the request is started. Counts
  // numMetaDataPanoIdFetches.
  bool FetchMetaData(const QString& id, IPanoramaFetchObserver* observer) override;
  // False if the URL is in flight. Counts numMetaDataPanoTileFetches.
  bool FetchMetaData(const MapTile& tile, IPanoramaFetchObserver* observer) override;
  // False if the URL is in flight. Counts numMetaDataPanoLatLonFetches.
  bool FetchMetaData(double lat, double lon, double radius, const QString& level_id,
                     IPanoramaFetchObserver* observer) override;

  QUrl CreateUrl(const QString& id) const;
  QUrl CreateUrl(const MapTile& tile) const;
  QUrl CreateUrl(double lat, double lon, double radius, const QString& level_id) const;

  // The in-flight list, under the lock. A fetch is in it from its start until its reply has been
  // delivered, or until its request failed.
  void AddFetch(PanoramaFetch* fetch);
  // Removes every entry equal to `fetch`, keeping the order of the rest.
  void RemoveFetch(PanoramaFetch* fetch);
  bool IsFetching(const QUrl& url);

  // Waits until nothing is in flight: every request started has failed or been delivered, and the
  // worker has made all the observer calls it will make for them. True if that happened within
  // `timeout_ms`; at once, with the answer, for 0. Not from an observer: it would wait for itself.
  bool WaitUntilIdle(int timeout_ms);

  // Null once the destructor has ended the worker; a reply would then be processed on the
  // calling (network) thread.
  WorkerThread* worker() const { return worker_; }
  const WayfareSpatialOptions* settings() const { return settings_; }
  // Guards the in-flight list. FetchMetaData holds it while it makes a fetch.
  SpinLock* lock() { return &lock_; }

 private:
  SpinLock lock_;
  mmvector<PanoramaFetch*> fetches_;  // guarded by lock_; in start order
  WorkerThread* worker_;
  WayfareSpatialOptions* settings_;
  std::mutex idle_mutex_;  // pairs with idle_cv_; taken before lock_
  std::condition_variable idle_cv_;
};

// One request in flight. It owns itself: the failure path of PanoramaFinished or the job that
// delivered its reply deletes it, and the deletion takes it off the fetcher's list.
class PanoramaFetch {
 public:
  // The worker's job for one reply. Owns the fetch: its destruction deletes it.
  class FetchProcessor : public WorkerThread::Job {
   public:
    FetchProcessor(WorkerThread* worker, PanoramaFetch* fetch);
    // With a worker: queues a new job, which the worker's queue keeps until it has run (or been
    // dropped). With a null worker: processes the reply right here; the fetch stays alive and
    // in the list.
    static void CreateAndQueue(WorkerThread* worker, PanoramaFetch* fetch);
    // Parses the reply and calls OnEmptyResponse, or OnMetaDataFetched for each record.
    static void ProcessImmediately(PanoramaFetch* fetch, IPanoramaFetchObserver* observer);
    void Run() override;

   protected:
    ~FetchProcessor() override;

   private:
    PanoramaFetch* fetch_;
  };

  // Adds itself to `fetcher`'s list and starts the request. The caller holds fetcher->lock(), so
  // that the callback (which waits for that lock) finds the fetch complete.
  PanoramaFetch(PanoramaFetcher* fetcher, const QUrl& url, IPanoramaFetchObserver* observer);
  virtual ~PanoramaFetch();
  PanoramaFetch(const PanoramaFetch&) = delete;
  PanoramaFetch& operator=(const PanoramaFetch&) = delete;

  // Hands the reply to the worker (see FetchProcessor::CreateAndQueue).
  virtual void StartProcessJob(net::Fetcher& fetcher);
  // The completion callback, on the network thread.
  static void PanoramaFinished(net::Fetcher& fetcher);

  PanoramaFetcher* fetcher() const { return fetcher_; }
  const QUrl& url() const { return url_; }
  IPanoramaFetchObserver* observer() const { return observer_; }
  const RefPtr<net::Fetcher>& net_fetcher() const { return net_fetcher_; }

 private:
  PanoramaFetcher* fetcher_;
  QUrl url_;
  IPanoramaFetchObserver* observer_;  // not owned; never null
  RefPtr<net::Fetcher> net_fetcher_;
};

class PanoramaTileFetch : public PanoramaFetch {
 public:
  // FetchProcessor that also calls OnMapTileFetched after the records.
  class TileFetchProcessor : public FetchProcessor {
   public:
    TileFetchProcessor(WorkerThread* worker, PanoramaTileFetch* fetch);
    static void CreateAndQueue(WorkerThread* worker, PanoramaTileFetch* fetch);
    static void ProcessImmediately(PanoramaTileFetch* fetch, IPanoramaFetchObserver* observer);
    void Run() override;

   private:
    PanoramaTileFetch* tile_fetch_;  // the same object as the base's fetch
  };

  // As PanoramaFetch; the tile is stored after the request has started, which the caller's hold
  // of fetcher->lock() covers as well.
  PanoramaTileFetch(PanoramaFetcher* fetcher, const QUrl& url, const MapTile& tile,
                    IPanoramaFetchObserver* observer);
  void StartProcessJob(net::Fetcher& fetcher) override;
  const MapTile& tile() const { return tile_; }

 private:
  MapTile tile_;
};

// Seconds between the starts of metadata and depth-map requests: 1 / maxMetadataDepthmapQps if
// that is above 0, else 0 (no spacing). The network backend enforces it, per host.
double MetadataRequestSpacing(const WayfareSpatialOptions& settings);

// The URL of the text `base` with `items` appended to its query, in order, after the items
// `base` already has.
QUrl WithQueryItems(const QString& base, std::initializer_list<std::pair<QString, QString>> items);

}  // namespace vistara::spatial

#endif  // VISTARA_SPATIAL_PANORAMA_FETCHER_H_
