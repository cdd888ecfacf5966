#include "spatial/map_tile.h"

#include <cmath>

#include "platform/fast_math.h"
#include "platform/units.h"

namespace vistara::spatial {
namespace {

// Truncation towards zero. A value that no int32_t holds (beyond the grid at high zoom, or the
// infinity of a pole, or NaN) gives 0 instead of an undefined conversion.
int32_t Truncate(double v) {
  return v > -2147483649.0 && v < 2147483648.0 ? static_cast<int32_t>(v) : 0;
}

}  // namespace

MapTile::MapTile(double lat, double lon, int zoom_) : zoom(zoom_) {
  double fx, fy;
  DeriveTileParams(lat, lon, zoom_, &fx, &fy);
  x = Truncate(fx);
  y = Truncate(fy);
}

MapTile MapTile::FromXYZ(int32_t x, int32_t y, int32_t zoom) {
  MapTile t;
  t.x = x;
  t.y = y;
  t.zoom = zoom;
  return t;
}

void MapTile::DeriveTileParams(double lat, double lon, int zoom, double* x, double* y) {
  const double s = std::sin(M_PI * lat / 180.0);
  // 1 << 31 wraps to INT32_MIN, as the signed 32-bit grid size of zoom 31 does.
  const int32_t n = static_cast<int32_t>(uint32_t{1} << (zoom & 31));
  const double fx = lon / 360.0;
  const double fy = std::log((s + 1.0) / (1.0 - s)) / -12.566370614359172;
  *x = fx * n + n / 2;
  *y = fy * n + n / 2;
}

bool MapTile::Contains(double lat, double lon) const { return MapTile(lat, lon, zoom) == *this; }

void MapTile::CollectSurroundingTiles(double lat, double lon, int zoom, double radius, mmvector<MapTile>* out) {
  const MapTile centre(lat, lon, zoom);
  out->push_back(centre);
  // Planet radii times 180, used as degrees: no division by pi, so the offset is larger than
  // `radius` in degrees of arc, on purpose.
  const double r = Units::s_inv_planet_radius * radius * 180.0;
  if (!(radius > 0)) return;
  for (int dy = -1; dy <= 1; ++dy) {
    for (int dx = -1; dx <= 1; ++dx) {
      if (dx == 0 && dy == 0) continue;
      const double len = FastMath::sqrt(static_cast<double>(dx * dx + dy * dy));
      const MapTile u(lat + (dy / len) * r, lon + (dx / len) * r, zoom);
      if (u != centre) out->push_back(u);
    }
  }
}

}  // namespace vistara::spatial
