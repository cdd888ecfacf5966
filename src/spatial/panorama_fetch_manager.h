// PanoramaFetchManager: decides what metadata to ask for as the viewer moves, and feeds every
// record it gets into a PanoGraph.
//
// It asks for the nearest panorama by position first; if the viewer stays in one metadata tile
// (zoom "MetaDataTileZoomLevel") for seven calls, it also fetches that tile and its surroundings
// as a whole. A tile whose reply has been processed is never asked for again until Reset, and
// positions inside it ask for nothing. Neighbours, and the panoramas of other levels, are fetched
// on request (EnsureNeighborsFetched).
//
// Ownership: the graph is not owned and must outlive the manager; the manager owns its
// PanoramaFetcher, and with it the worker thread.
//
// Threads: FetchNearestMetaData, FetchAllMetaData, Reset and the destructor come from one host
// thread (FetchNearestMetaData keeps its repeat count without a lock). EnsureNeighborsFetched and
// IsMetaDataTileFetched may come from any thread. The On... calls come on the fetch worker. Locks:
// the manager's own guards only the set of fetched tiles and is never held while another is
// taken; EnsureNeighborsFetched holds the graph's while it takes the fetcher's.
#ifndef VISTARA_SPATIAL_PANORAMA_FETCH_MANAGER_H_
#define VISTARA_SPATIAL_PANORAMA_FETCH_MANAGER_H_

#include <QString>
#include <boost/unordered_map.hpp>
#include <cstdint>

#include "platform/hash.h"
#include "platform/spin_lock.h"
#include "spatial/map_tile.h"
#include "spatial/pano_graph.h"
#include "spatial/panorama_fetcher.h"
#include "spatial/wayfare_spatial_options.h"

namespace vistara::spatial {

class IPanoramaFetchManager {
 public:
  virtual ~IPanoramaFetchManager() = default;
  virtual void Reset() {}
  // Degrees; `radius` in metres.
  virtual void FetchNearestMetaData(double lat, double lon, double radius) = 0;
  virtual void FetchAllMetaData(double lat, double lon, double radius) = 0;
  virtual void EnsureNeighborsFetched(const QString& id) = 0;
  virtual IPanoramaFetcher* fetcher() = 0;
};

class PanoramaFetchManager : public IPanoramaFetchManager, public IPanoramaFetchObserver {
 public:
  // Makes the fetcher (and its worker thread) and starts with no tile fetched.
  explicit PanoramaFetchManager(PanoGraph* graph);
  // Ends the fetcher first (every request cancelled, the worker gone), so that no observer call
  // runs into a half-destroyed manager; then forgets its tiles. Don't hold the graph's lock here.
  ~PanoramaFetchManager() override;
  PanoramaFetchManager(const PanoramaFetchManager&) = delete;
  PanoramaFetchManager& operator=(const PanoramaFetchManager&) = delete;

  // Forgets the fetched tiles and the repeat count. Requests in flight and the graph stay.
  void Reset() override;
  // Nothing for a position in a fetched tile. Otherwise asks by position (radius rounded to
  // whole metres), and, with "fetch metadata tiles" on, counts calls that stay in one tile: the
  // seventh and every later one also call FetchAllMetaData.
  void FetchNearestMetaData(double lat, double lon, double radius) override;
  // With "fetch metadata tiles" on, asks for every tile of CollectSurroundingTiles not yet fetched.
  void FetchAllMetaData(double lat, double lon, double radius) override;
  // For a panorama with a record: asks by id for every panorama within two links, and every
  // level's panorama, that has no record yet. Nothing for an unknown id or a placeholder.
  void EnsureNeighborsFetched(const QString& id) override;
  IPanoramaFetcher* fetcher() override { return fetcher_; }

  // On the worker. The first record of an id goes into the graph (counting
  // numMetaDataPanosProcessed); a later one, or a null record, is dropped.
  void OnMetaDataFetched(const QString& id, RefPtr<PanoramaData> data) override;
  // On the worker: infers the batch's missing links, then marks the tile fetched.
  void OnMapTileFetched(const MapTile& tile) override;

  bool IsMetaDataTileFetched(const MapTile& tile) const;
  // The fetcher's WaitUntilIdle: true once every request has failed or been delivered into the
  // graph, within `timeout_ms`.
  bool WaitUntilIdle(int timeout_ms) { return fetcher_->WaitUntilIdle(timeout_ms); }

 private:
  PanoGraph* graph_;
  WayfareSpatialOptions* settings_;
  PanoramaFetcher* fetcher_;  // owned
  boost::unordered_map<MapTile, bool, vistara::hash<MapTile>> fetched_tiles_;  // guarded by lock_
  mutable SpinLock lock_;
  MapTile* last_tile_ = nullptr;  // owned; the host thread's alone
  int32_t last_tile_count_ = 0;   // the host thread's alone
};

}  // namespace vistara::spatial

#endif  // VISTARA_SPATIAL_PANORAMA_FETCH_MANAGER_H_
