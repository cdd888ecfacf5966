#include "spatial/panorama_data.h"

#include "platform/units.h"
#include "spatial/pano_map.h"

namespace vistara::spatial {

PanoramaData::PanoramaData(const QString& id_in)
    : id(id_in),
      // 12 metres: a single-precision 12 times the inverse radius in extended precision.
      corridor_width(static_cast<double>(static_cast<long double>(12.0f) *
                                         static_cast<long double>(Units::s_inv_planet_radius))),
      connected_panos(HeapManager::GetDynamicHeap()),
      connected_levels(HeapManager::GetDynamicHeap()) {}

PanoramaData::~PanoramaData() {
  // Members would go in reverse order of declaration; the owners of these objects expect this one.
  connection_lookup.clear();
  connected_levels.clear();
  connected_levels.shrink_to_fit();
  connected_panos.clear();
  connected_panos.shrink_to_fit();
  delete depth_map;
  depth_map = nullptr;
  delete pano_map;
  pano_map = nullptr;
  annotations.clear();
  annotations.shrink_to_fit();
  if (panorama) panorama->Release();
  panorama = nullptr;
}

unsigned PanoramaData::GetLevel() const {
  for (size_t i = 0; i < connected_levels.size(); ++i) {
    if (connected_levels[i].level_id == level_id) return static_cast<unsigned>(i);
  }
  return 0;
}

void PanoramaData::set_depthmap(vistara::DepthMap* map) {
  if (map == depth_map) return;
  delete depth_map;
  depth_map = map;
}

void PanoramaData::set_panomap(PanoMap* map) {
  if (map == pano_map) return;
  delete pano_map;
  pano_map = map;
}

}  // namespace vistara::spatial
