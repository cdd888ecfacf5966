// DepthMapFetcher: gets the depth and pano maps of a panorama whose metadata came without them
// (a record of a tile reply, say).
//
// The host derives from it and implements DepthMapProcessed. It calls FetchDepthMap, polls
// ready() on its own thread, then calls ProcessDepthMap, which parses the reply into the record
// and calls DepthMapProcessed with the outcome. A failed request leaves ready() false for good,
// and no call comes; Clear() gives up on it.
//
// URL: the setting metaDataFetchServer (not depthMapFetchServer, which nothing reads) with the
// query items output=xml&v=4&panoid=ID&dm=1&pm=1&ml_client=vistara, in that order, after any the
// setting already has.
//
// Ownership: the panorama and the record are not owned and must outlive the fetch (or a Clear).
// Threads: every member runs on the host's one thread, except DepthMapFinished, which runs on the
// network thread and only sets ready(). ProcessDepthMap writes the record without a lock: the
// caller must be its only writer.
#ifndef VISTARA_SPATIAL_DEPTH_MAP_FETCHER_H_
#define VISTARA_SPATIAL_DEPTH_MAP_FETCHER_H_

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <atomic>

#include "platform/net/fetcher.h"
#include "platform/panorama.h"
#include "platform/referent.h"
#include "spatial/panorama_data.h"

namespace vistara::spatial {

class DepthMapFetcher {
 public:
  DepthMapFetcher() = default;
  // Cancels a request still in flight (its callback has run when this returns).
  virtual ~DepthMapFetcher();
  DepthMapFetcher(const DepthMapFetcher&) = delete;
  DepthMapFetcher& operator=(const DepthMapFetcher&) = delete;

  // The outcome of ProcessDepthMap, on the caller's thread: true if the record now has a depth map.
  virtual void DepthMapProcessed(vistara::Panorama* panorama, bool has_depth_map) = 0;

  // Nothing for a null record. A record with a depth map already is ready() at once, with no
  // request; one without an id starts nothing. Otherwise a request starts, and a request still in
  // flight from an earlier call is cancelled.
  void FetchDepthMap(vistara::Panorama* panorama, PanoramaData* data);
  // The completion callback: ready() becomes true for a reply that counts (status 2, or any
  // other but 3, 5 to 11 and 400 to 505), false otherwise.
  static void DepthMapFinished(net::Fetcher& fetcher);
  // Parses the reply into the record (unless parse_replies() is false), calls DepthMapProcessed,
  // then Clear(). Without a record, DepthMapProcessed gets false.
  void ProcessDepthMap();
  // Cancels a request still in flight, lets go of it, and clears ready().
  void Clear();
  QUrl CreateUrl(const QString& id) const;

  // Attaches to `data` the depth map and the pano map of the reply `xml` (a document whose root is
  // `panorama`), each only where `data` has none yet; maps already there stay. A map that fails
  // to decode leaves the field null. The caller must be the record's only writer.
  static void ParseDepthAndPano(const QByteArray& xml, PanoramaData* data);

  // A reply is waiting for ProcessDepthMap. Safe to read from any thread.
  bool ready() const { return ready_.load(std::memory_order_acquire); }
  bool parse_replies() const { return parse_replies_; }
  void set_parse_replies(bool parse) { parse_replies_ = parse; }
  const RefPtr<net::Fetcher>& net_fetcher() const { return net_fetcher_; }
  vistara::Panorama* panorama() const { return panorama_; }
  PanoramaData* data() const { return data_; }

 private:
  RefPtr<net::Fetcher> net_fetcher_;
  vistara::Panorama* panorama_ = nullptr;
  PanoramaData* data_ = nullptr;  // no reference held
  // Written by the network thread, read by the host's: atomic, so that the reply's body, stored
  // before the callback, is complete once ready() is seen true.
  std::atomic<bool> ready_{false};
  bool parse_replies_ = true;
};

}  // namespace vistara::spatial

#endif  // VISTARA_SPATIAL_DEPTH_MAP_FETCHER_H_
