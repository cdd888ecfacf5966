// MapTile: one tile of the Web Mercator square grid (x to the east, y to the south, at `zoom`).
// Its tile mathematics lives with the fetch manager; here are the record and its hash.
#ifndef VISTARA_SPATIAL_MAP_TILE_H_
#define VISTARA_SPATIAL_MAP_TILE_H_

#include <cstddef>
#include <cstdint>

#include "platform/hash.h"

namespace vistara::spatial {

struct MapTile {
  int32_t x = 0;
  int32_t y = 0;
  int32_t zoom = 0;

  MapTile() = default;
  MapTile(int32_t x_, int32_t y_, int32_t zoom_) : x(x_), y(y_), zoom(zoom_) {}
  bool operator==(const MapTile& o) const { return x == o.x && y == o.y && zoom == o.zoom; }
  bool operator!=(const MapTile& o) const { return !(*this == o); }
};

}  // namespace vistara::spatial

namespace vistara {

// x, y and zoom mixed in that order from the usual seed, then finished once.
template <>
struct hash<spatial::MapTile> {
  size_t operator()(const spatial::MapTile& t) const {
    uint32_t h = kHashSeed;
    h = HashMix(h, static_cast<uint32_t>(t.x));
    h = HashMix(h, static_cast<uint32_t>(t.y));
    h = HashMix(h, static_cast<uint32_t>(t.zoom));
    return HashFinish(h);
  }
};

}  // namespace vistara

#endif  // VISTARA_SPATIAL_MAP_TILE_H_
