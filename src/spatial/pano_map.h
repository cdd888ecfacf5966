// The decoded pano map of a panorama: for each cell of a raster over the panorama's image, the
// neighbouring panorama seen there.
//
// Entry 0 stands for the cells with no neighbour: its id is empty and its vector (0, 0). The map
// lies on the dynamic heap (it is a MemoryObject placed there by the decoder, see
// pano_map_xml_parser.h), and so do its arrays; PanoramaData owns it once attached.
#ifndef VISTARA_SPATIAL_PANO_MAP_H_
#define VISTARA_SPATIAL_PANO_MAP_H_

#include <QString>
#include <cstdint>

#include "platform/memory.h"
#include "platform/vec.h"

namespace vistara::spatial {

class PanoMap : public MemoryObject {
 public:
  // Takes `indices` (width x height entry numbers, row after row, the first row the top of the
  // image, allocated with AllocFrom(HeapManager::GetDynamicHeap(), ...)) and copies both vectors.
  PanoMap(uint8_t* indices, int width, int height, const mmvector<QString>& ids,
          const mmvector<Vec2<float>>& positions);
  ~PanoMap();
  PanoMap(const PanoMap&) = delete;
  PanoMap& operator=(const PanoMap&) = delete;

  // The entry at (x, y), both in [0, 1] across the map, y from the bottom upwards; values outside
  // are pulled to the nearest edge cell. Either out pointer may be null. Returns false, with the
  // outputs untouched, for a map without entries and when an output asked for names an entry the
  // map doesn't have (an entry number isn't checked otherwise: with both outputs null every cell
  // answers true). Entry 0 is a valid answer: the empty id and (0, 0).
  bool GetPano(float x, float y, QString* id, Vec2<float>* position) const;

  uint8_t* indices;
  int32_t width;
  int32_t height;
  mmvector<QString> ids;               // ids[0] empty
  mmvector<Vec2<float>> positions;     // positions[0] = (0, 0); meaning left to the caller
};

}  // namespace vistara::spatial

#endif  // VISTARA_SPATIAL_PANO_MAP_H_
