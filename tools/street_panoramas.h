// A made-up panorama service over real streets: panoramas every few metres along the streets of an
// OpenStreetMap extract (osm_streets.h), linked along the streets and across the nodes they share,
// with the reply pieces the panorama service (panorama_service.h) answers from.
//
// How the panoramas are placed. The nodes used by two or more streets (intersections) and the ends
// of every street are anchors; each anchor gets exactly one panorama, which all its streets share.
// Between two anchors a street gets n - 1 more panoramas, evenly spread along its line, n being the
// length over the spacing rounded (at least 1), so that neighbours stand between 2/3 and 3/2 of the
// spacing apart along the line (closer only where anchors are closer). Each panorama links to its
// neighbours along the line; an anchor so links to every street through it. Links are symmetric,
// never to the panorama itself, never twice.
//
// What a panorama says (PanoramaData, see Record):
// - its id: 22 characters of A-Z a-z 0-9 - _, a hash of its position rounded to 1e-7 degrees, so the
//   same extract gives the same ids in every run (two panoramas at one position get different ids,
//   in build order);
// - `pano_yaw_deg`: the heading of its street there, in the street's node order, degrees clockwise
//   from north; a link's `yaw_deg` is the heading from the panorama to the neighbour;
// - `text` and each link's text: the street's name; a link's `road_argb`: a colour per highway class;
// - `scene`: one number per OSM way (1, 2, ... in way id order); an anchor takes its first street's;
// - `image_date`: the month of the way's last edit; the image is 13312 x 6656 pixels in tiles of 512.
//
// The depth map (kMapWidth x kMapHeight cells over the panorama's image, first row at the top,
// column c at heading pano_yaw_deg - 180 + 360 (c + 0.5) / kMapWidth) is a street canyon seen
// from kCameraHeight: plane 1 the ground, planes 2 and 3 the left and right façades, kFacadeHeight
// high and a street's width apart (the width follows the highway class), plane 0 the sky (zero
// normal). Planes are in the panorama's frame, metres, x to the right of the image centre, y ahead
// (along pano_yaw_deg), z up, the camera at the origin; their normals face the camera, and a point
// p on a plane satisfies normal . p + distance == 0. The pano map has the same grid: a ground cell
// names the panorama nearest the ground point it sees, if that is another panorama within
// kPanoMapReach metres; every other cell is entry 0. Its vectors are the neighbours' positions in
// the same frame (x right, y ahead, metres).
//
// Thread safety: Build makes an immutable object, except for the map texts, made on first use under
// a once-flag each; every member function may be called from any thread.
#ifndef VISTARA_TOOLS_STREET_PANORAMAS_H_
#define VISTARA_TOOLS_STREET_PANORAMAS_H_

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "osm_streets.h"
#include "platform/panorama.h"
#include "platform/referent.h"
#include "spatial/pano_map.h"
#include "spatial/panorama_data.h"

namespace vistara::cli::serve {

struct StreetPanoramasOptions {
  double spacing = 10;             // metres between neighbours along a street, 1 to 1000
  size_t max_panoramas = 1000000;  // Build fails rather than make more
};

struct StreetLink {
  uint32_t to = 0;      // the neighbour's index
  uint32_t street = 0;  // the street it runs along (index into streets())
  float yaw_deg = 0;    // heading to the neighbour, degrees clockwise from north, [0, 360)
};

struct StreetPanorama {
  std::string id;
  double lat = 0, lon = 0;  // degrees
  double yaw_deg = 0;       // heading of the street here, degrees clockwise from north, [0, 360)
  uint32_t street = 0;      // the street that placed it (an anchor's first street)
  int64_t node_id = 0;      // the OSM node of an anchor; 0 between nodes
  std::vector<StreetLink> links;
};

class StreetPanoramas {
 public:
  static constexpr int kImageWidth = 13312;  // pixels
  static constexpr int kImageHeight = 6656;
  static constexpr int kTileSize = 512;
  static constexpr int kMapWidth = 512;  // cells of the depth and pano maps
  static constexpr int kMapHeight = 256;
  static constexpr double kCameraHeight = 2.5;  // metres above the ground
  static constexpr double kFacadeHeight = 12;   // metres above the ground
  static constexpr double kPanoMapReach = 30;   // metres
  static constexpr double kPlanetRadius = 6371010;  // metres, the library's planet
  // The zoom of the library's metadata tiles, whose replies are indexed ahead.
  static constexpr int kIndexedZoom = 16;

  // The panoramas of `streets` (as ReadStreets gives them). Null, with a one-line reason, if the
  // spacing is out of range or more than max_panoramas panoramas would be made.
  static std::unique_ptr<StreetPanoramas> Build(std::vector<Street> streets, const StreetPanoramasOptions& options,
                                                std::string* error);

  size_t size() const { return panoramas_.size(); }
  const StreetPanorama& panorama(size_t i) const { return panoramas_[i]; }
  const std::vector<Street>& streets() const { return streets_; }
  // The street's scene number.
  int32_t scene(uint32_t street) const { return scenes_[street]; }
  // The road colour of the street's highway class, alpha-red-green-blue as the service sends it.
  uint32_t road_argb(uint32_t street) const;
  // Metres between the street's façades.
  double street_width(uint32_t street) const;

  // The index of the panorama with this id; -1 if none.
  int Find(std::string_view id) const;
  // The panorama nearest the position (degrees) within `radius` metres on the sphere; -1 if none
  // (or if an argument isn't a number).
  int Nearest(double lat, double lon, double radius) const;
  // The panoramas of the Web Mercator tile (x east, y south, at `zoom`, 0 to 30), in index order,
  // by the library's tile arithmetic.
  std::vector<uint32_t> InTile(int x, int y, int zoom) const;

  // The library's record of panorama i, without maps; new, on the dynamic heap.
  RefPtr<spatial::PanoramaData> Record(size_t i) const;
  // Panorama i's maps; new, owned by the caller.
  DepthMap* MakeDepthMap(size_t i) const;
  spatial::PanoMap* MakePanoMap(size_t i) const;

  // Reply pieces: the children of panorama i's element (all but the maps), and its maps' element
  // texts.
  const std::string& body(size_t i) const { return bodies_[i]; }
  const std::string& depth_map_text(size_t i) const;
  const std::string& pano_map_text(size_t i) const;

 private:
  StreetPanoramas() = default;
  void BuildIndexes();

  std::vector<Street> streets_;
  std::vector<int32_t> scenes_;       // per street
  std::vector<uint8_t> classes_;      // per street: row of the highway class table
  std::vector<StreetPanorama> panoramas_;
  std::unordered_map<std::string_view, uint32_t> by_id_;  // views into panoramas_[i].id
  // Per panorama, the tile arithmetic's x and y before the zoom is applied (lon / 360 and the
  // Mercator ordinate), and its unit vector on the sphere.
  std::vector<double> tile_x_, tile_y_;
  std::vector<std::array<double, 3>> unit_;
  std::unordered_map<uint64_t, std::vector<uint32_t>> indexed_tiles_;  // at kIndexedZoom
  struct SpatialIndex;
  std::shared_ptr<const SpatialIndex> spatial_index_;
  std::vector<std::string> bodies_;
  // The map texts, each written once, under its flag: depth maps per highway class, pano maps per
  // panorama.
  mutable std::unique_ptr<std::once_flag[]> depth_map_once_, pano_map_once_;
  mutable std::vector<std::string> depth_map_texts_, pano_map_texts_;
};

// The library's tile arithmetic: the tile (x east, y south) holding the position (degrees) at
// `zoom` (0 to 30), truncated towards zero, no clamping; -1 for an ordinate that isn't finite or
// for a zoom out of range.
void TileOf(double lat, double lon, int zoom, int64_t* x, int64_t* y);

}  // namespace vistara::cli::serve

#endif  // VISTARA_TOOLS_STREET_PANORAMAS_H_
