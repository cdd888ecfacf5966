// MapTile: one tile of the Web Mercator square grid (x to the east, y to the south, at `zoom`),
// the unit in which the panorama service hands out metadata by area.
//
// Angles are degrees, radii metres, and latitude always comes before longitude. At zoom z the
// grid has 2^z tiles a side, tile (0, 0) in the north-west corner. Nothing is clamped: a position
// beyond the Mercator range (a latitude of +-85.05 degrees or more) gives a tile outside the grid.
#ifndef VISTARA_SPATIAL_MAP_TILE_H_
#define VISTARA_SPATIAL_MAP_TILE_H_

#include <cstddef>
#include <cstdint>

#include "platform/hash.h"
#include "platform/memory.h"

namespace vistara::spatial {

struct MapTile {
  int32_t x = 0;
  int32_t y = 0;
  int32_t zoom = 0;

  MapTile() = default;
  // The tile at `zoom` that holds the position.
  MapTile(double lat, double lon, int zoom);
  // The tile of these numbers.
  static MapTile FromXYZ(int32_t x, int32_t y, int32_t zoom);

  // The position's place in the grid at `zoom`, in tiles: the tile's numbers are the integer
  // parts, truncated towards zero.
  static void DeriveTileParams(double lat, double lon, int zoom, double* x, double* y);
  // True if the position lies in this tile.
  bool Contains(double lat, double lon) const;
  // Appends the tile of the position, then the tiles `radius` away in the eight directions (south-
  // west first, row by row to the north-east) that differ from it; none of those for a radius of
  // 0 or below. A tile may come more than once: only the centre tile is compared with.
  static void CollectSurroundingTiles(double lat, double lon, int zoom, double radius, mmvector<MapTile>* out);

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
