#include "spatial/pano_map.h"

namespace vistara::spatial {

namespace {

// trunc(value) forced into [0, limit - 1], upper limit first; `limit` >= 1. NaN and values beyond
// int's range are placed without the undefined float-to-int conversion: NaN becomes 0.
int CellIndex(float value, int limit) {
  if (value >= static_cast<float>(limit)) return limit - 1;
  if (!(value > -1.0f)) return 0;
  const int cell = static_cast<int>(value);
  return cell < 0 ? 0 : cell;
}

}  // namespace

PanoMap::PanoMap(uint8_t* indices_in, int width_in, int height_in, const mmvector<QString>& ids_in,
                 const mmvector<Vec2<float>>& positions_in)
    : indices(indices_in),
      width(width_in),
      height(height_in),
      ids(ids_in.begin(), ids_in.end(), mmallocator<QString>(HeapManager::GetDynamicHeap())),
      positions(positions_in.begin(), positions_in.end(), mmallocator<Vec2<float>>(HeapManager::GetDynamicHeap())) {}

PanoMap::~PanoMap() {
  positions.clear();
  positions.shrink_to_fit();
  ids.clear();
  ids.shrink_to_fit();
  FreeTo(HeapManager::GetDynamicHeap(), indices);
}

bool PanoMap::GetPano(float x, float y, QString* id, Vec2<float>* position) const {
  if (ids.empty()) return false;
  if (width <= 0 || height <= 0 || !indices) return false;  // a map built by hand without cells
  const int row = CellIndex((1.0f - y) * static_cast<float>(height), height);
  const int col = CellIndex(x * static_cast<float>(width), width);
  const unsigned entry = indices[static_cast<size_t>(row) * static_cast<size_t>(width) + static_cast<size_t>(col)];
  // A cell may name an entry the map doesn't have. Only the reads are guarded, so that with both
  // outputs null any cell answers true.
  if ((id && entry >= ids.size()) || (position && entry >= positions.size())) return false;
  if (id) *id = ids[entry];
  if (position) *position = positions[entry];
  return true;
}

}  // namespace vistara::spatial
