#include "spatial/panorama_fetch_manager.h"

namespace vistara::spatial {

PanoramaFetchManager::PanoramaFetchManager(PanoGraph* graph)
    : graph_(graph), settings_(&WayfareSpatialOptions::s_settings_), fetcher_(new PanoramaFetcher), fetched_tiles_(11) {
  Reset();
}

PanoramaFetchManager::~PanoramaFetchManager() {
  // The fetcher goes first: until its worker has ended, a job may still write fetched_tiles_.
  delete fetcher_;
  fetcher_ = nullptr;
  Reset();
}

void PanoramaFetchManager::Reset() {
  SpinLock::ScopedLock hold(&lock_);
  fetched_tiles_.clear();
  last_tile_count_ = 0;
  delete last_tile_;
  last_tile_ = nullptr;
}

void PanoramaFetchManager::FetchNearestMetaData(double lat, double lon, double radius) {
  const MapTile tile(lat, lon, settings_->metaDataTileZoomLevel);
  if (IsMetaDataTileFetched(tile)) return;
  if (settings_->fetchMetadataTiles) {
    if (last_tile_ && *last_tile_ == tile) {
      if (++last_tile_count_ >= 6) FetchAllMetaData(lat, lon, radius);
    } else {
      delete last_tile_;
      last_tile_ = new MapTile(tile);
      last_tile_count_ = 0;
    }
  }
  fetcher_->FetchMetaData(lat, lon, radius, QString(), this);
}

void PanoramaFetchManager::FetchAllMetaData(double lat, double lon, double radius) {
  if (!settings_->fetchMetadataTiles) return;
  mmvector<MapTile> tiles(HeapManager::GetTransientHeap());
  MapTile::CollectSurroundingTiles(lat, lon, settings_->metaDataTileZoomLevel, radius, &tiles);
  for (const MapTile& tile : tiles) {
    if (!IsMetaDataTileFetched(tile)) fetcher_->FetchMetaData(tile, this);
  }
}

void PanoramaFetchManager::EnsureNeighborsFetched(const QString& id) {
  SpinLock::ScopedLock hold(graph_->lock());
  const PanoramaData* data = graph_->GetPanoramaData(id);
  if (!data) return;
  mmvector<PanoGraph::ConnectedPanoInfo> infos(HeapManager::GetTransientHeap());
  graph_->GetConnectedPanos(id, 2, false, &infos);
  for (const PanoGraph::ConnectedPanoInfo& info : infos) {
    if (!graph_->GetPanoramaData(info.id)) fetcher_->FetchMetaData(info.id, this);
  }
  for (const ConnectedLevel& level : data->connected_levels) {
    if (!graph_->GetPanoramaData(level.pano_id)) fetcher_->FetchMetaData(level.pano_id, this);
  }
}

void PanoramaFetchManager::OnMetaDataFetched(const QString& id, RefPtr<PanoramaData> data) {
  SpinLock::ScopedLock hold(graph_->lock());
  if (!data || graph_->GetPanoramaData(id)) return;
  settings_->numMetaDataPanosProcessed.Increment();
  graph_->AddPano(id, data.get());
}

void PanoramaFetchManager::OnMapTileFetched(const MapTile& tile) {
  graph_->PostProcessBatch();
  SpinLock::ScopedLock hold(&lock_);
  fetched_tiles_[tile] = true;
}

bool PanoramaFetchManager::IsMetaDataTileFetched(const MapTile& tile) const {
  SpinLock::ScopedLock hold(&lock_);
  return fetched_tiles_.count(tile) != 0;
}

}  // namespace vistara::spatial
