#include "street_panoramas.h"

#include <algorithm>
#include <boost/geometry.hpp>
#include <boost/geometry/index/rtree.hpp>
#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>
#include <unordered_set>

#include "panorama_xml_writer.h"
#include "platform/memory.h"

namespace vistara::cli::serve {

namespace bg = boost::geometry;
namespace bgi = boost::geometry::index;

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kDegree = kPi / 180;

// Per highway class: metres between the façades, and the road colour (alpha-red-green-blue).
// `_link` roads take their class's row; any other value takes the last row.
struct HighwayClass {
  const char* highway;
  double width;
  uint32_t argb;
};
constexpr HighwayClass kClasses[] = {
    {"motorway", 28, 0xFFE8743Bu},    {"trunk", 24, 0xFFF08A4Bu},       {"primary", 20, 0xFFF2B34Cu},
    {"secondary", 18, 0xFFF5D35Eu},   {"tertiary", 16, 0xFFF7EB8Fu},    {"unclassified", 12, 0xFFFFFFFFu},
    {"residential", 12, 0xFFFFFFFFu}, {"living_street", 10, 0xFFEDEDEDu}, {"service", 8, 0xFFD9D9D9u},
    {"pedestrian", 10, 0xFFDDDDE8u},  {"track", 6, 0xFFB58A5Au},        {"footway", 5, 0xFFF29A8Cu},
    {"cycleway", 5, 0xFF6E8EF2u},     {"path", 4, 0xFFE0A080u},         {"steps", 4, 0xFFF2766Cu},
    {"bridleway", 4, 0xFF6FBF73u},    {"", 10, 0xFFC8C8C8u},
};
constexpr size_t kClassCount = sizeof kClasses / sizeof kClasses[0];

uint8_t ClassOf(const std::string& highway) {
  std::string_view name = highway;
  if (name.ends_with("_link")) name.remove_suffix(5);
  for (size_t i = 0; i + 1 < kClassCount; ++i) {
    if (name == kClasses[i].highway) return static_cast<uint8_t>(i);
  }
  return static_cast<uint8_t>(kClassCount - 1);
}

// Great-circle distance in metres and initial heading in degrees clockwise from north, [0, 360).
double Distance(double lat1, double lon1, double lat2, double lon2) {
  const double a = std::sin((lat2 - lat1) * kDegree / 2), b = std::sin((lon2 - lon1) * kDegree / 2);
  const double h = a * a + std::cos(lat1 * kDegree) * std::cos(lat2 * kDegree) * b * b;
  return 2 * StreetPanoramas::kPlanetRadius * std::asin(std::min(1.0, std::sqrt(h)));
}

double Heading(double lat1, double lon1, double lat2, double lon2) {
  const double p1 = lat1 * kDegree, p2 = lat2 * kDegree, dl = (lon2 - lon1) * kDegree;
  const double y = std::sin(dl) * std::cos(p2);
  const double x = std::cos(p1) * std::sin(p2) - std::sin(p1) * std::cos(p2) * std::cos(dl);
  const double degrees = std::atan2(y, x) / kDegree;
  return degrees < 0 ? degrees + 360 : degrees;
}

// 22 characters from a hash of the position rounded to 1e-7 degrees (the extract's own grid),
// and `salt`, which tells apart panoramas that share a position.
std::string MakeId(double lat, double lon, uint32_t salt) {
  static const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
  // splitmix64's finaliser: every input bit moves about half the output bits.
  auto mix = [](uint64_t z) {
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  };
  const uint64_t la = static_cast<uint64_t>(std::llround(lat * 1e7));
  const uint64_t lo = static_cast<uint64_t>(std::llround(lon * 1e7));
  uint64_t h = mix(la * 0x9E3779B97F4A7C15ull ^ mix(lo + 0x632BE59BD9B4E019ull) ^ (static_cast<uint64_t>(salt) << 32));
  std::string id;
  // 22 characters of 6 bits: 132 bits from three hashes of 60 bits (ten characters) each.
  for (int i = 0; i < 22; ++i) {
    if (i % 10 == 0 && i > 0) h = mix(h + 0x9E3779B97F4A7C15ull);
    id.push_back(kAlphabet[(h >> (6 * (i % 10))) & 63]);
  }
  return id;
}

// The tile arithmetic before and after the zoom: x = lon / 360 and the Mercator y, then scaled by
// n = 2^zoom and offset by n / 2 (y grows towards the south).
double UnscaledTileX(double lon) { return lon / 360; }
double UnscaledTileY(double lat) {
  const double s = std::sin(kPi * lat / 180);
  return std::log((s + 1) / (1 - s)) / -12.566370614359172;
}
// The tile ordinate of an unscaled value at zoom (0 to 30); -1, which names no tile, where the
// value is not finite or beyond the range of int64_t.
int64_t TileOrdinate(double unscaled, int zoom) {
  if (zoom < 0 || zoom > 30) return -1;
  const int32_t n = int32_t{1} << zoom;
  const double scaled = unscaled * n + n / 2;
  if (!(std::fabs(scaled) < 9e18)) return -1;
  return static_cast<int64_t>(scaled);
}

// Ordinates of the indexed zoom stay far below 2^32, whatever the latitude.
uint64_t TileKey(int64_t x, int64_t y) { return (static_cast<uint64_t>(x) << 32) | static_cast<uint64_t>(y); }

using Point = bg::model::point<double, 3, bg::cs::cartesian>;
using Box = bg::model::box<Point>;
using Entry = std::pair<Point, uint32_t>;

std::array<double, 3> UnitVector(double lat, double lon) {
  const double p = lat * kDegree, l = lon * kDegree;
  return {std::cos(p) * std::cos(l), std::cos(p) * std::sin(l), std::sin(p)};
}

// The chord of the unit sphere that spans `metres` of great circle.
double Chord(double metres) {
  const double half_angle = std::min(metres / (2 * StreetPanoramas::kPlanetRadius), kPi / 2);
  return 2 * std::sin(half_angle);
}

double ChordBetween(const std::array<double, 3>& a, const Point& b) {
  const double dx = a[0] - bg::get<0>(b), dy = a[1] - bg::get<1>(b), dz = a[2] - bg::get<2>(b);
  return std::sqrt(dx * dx + dy * dy + dz * dz);
}

// The centre of each map cell as a ray in the panorama's frame (x right, y ahead, z up): the
// ray of cell (row, col) is (sin h cos p, cos h cos p, sin p) with h the column's heading from
// the image centre and p the row's pitch. Below the horizon, a row's rays meet the ground
// `ground` metres out (horizontally); above it, never (infinity).
struct CellRays {
  double sin_heading[StreetPanoramas::kMapWidth], cos_heading[StreetPanoramas::kMapWidth];
  double sin_pitch[StreetPanoramas::kMapHeight], cos_pitch[StreetPanoramas::kMapHeight];
  double ground[StreetPanoramas::kMapHeight];
};

const CellRays& Rays() {
  static const CellRays rays = [] {
    CellRays r;
    for (int row = 0; row < StreetPanoramas::kMapHeight; ++row) {
      const double pitch = kPi / 2 - kPi * (row + 0.5) / StreetPanoramas::kMapHeight;
      r.sin_pitch[row] = std::sin(pitch);
      r.cos_pitch[row] = std::cos(pitch);
      r.ground[row] = pitch < 0 ? StreetPanoramas::kCameraHeight * r.cos_pitch[row] / -r.sin_pitch[row]
                                : std::numeric_limits<double>::infinity();
    }
    for (int col = 0; col < StreetPanoramas::kMapWidth; ++col) {
      const double heading = 2 * kPi * (col + 0.5) / StreetPanoramas::kMapWidth - kPi;
      r.sin_heading[col] = std::sin(heading);
      r.cos_heading[col] = std::cos(heading);
    }
    return r;
  }();
  return rays;
}

// Whether the ray of a cell meets the ground before a façade `half_width` metres to either side,
// and where (x right, y ahead, metres).
bool GroundPoint(int row, int col, double half_width, double* x, double* y) {
  const CellRays& rays = Rays();
  if (!std::isfinite(rays.ground[row])) return false;
  *x = rays.ground[row] * rays.sin_heading[col];
  *y = rays.ground[row] * rays.cos_heading[col];
  return std::fabs(*x) <= half_width;
}

// The plane numbers of the depth map, and what a cell's ray meets first in a canyon of façades
// `half_width` metres either side.
enum Surface : uint8_t { kSky = 0, kGround = 1, kLeftFacade = 2, kRightFacade = 3 };

Surface Hit(int row, int col, double half_width) {
  double x, y;
  if (GroundPoint(row, col, half_width, &x, &y)) return kGround;
  const CellRays& rays = Rays();
  const double across = rays.sin_heading[col] * rays.cos_pitch[row];  // the ray's x
  if (across == 0) return kSky;  // along the street, between the façades
  const double height = half_width / std::fabs(across) * rays.sin_pitch[row];  // above the camera
  if (height > StreetPanoramas::kFacadeHeight - StreetPanoramas::kCameraHeight) return kSky;
  return across < 0 ? kLeftFacade : kRightFacade;
}

DepthMap* MakeCanyon(double width) {
  constexpr int kW = StreetPanoramas::kMapWidth, kH = StreetPanoramas::kMapHeight;
  auto* map = new (HeapManager::GetDynamicHeap()) DepthMap;
  map->width = kW;
  map->height = kH;
  map->indices = new uint8_t[kW * kH];
  for (int row = 0; row < kH; ++row) {
    for (int col = 0; col < kW; ++col) map->indices[row * kW + col] = Hit(row, col, width / 2);
  }
  map->num_planes = 4;
  map->planes = new Plane<double>[4];
  map->planes[kGround] = Plane<double>(Vec3<double>(0, 0, 1), StreetPanoramas::kCameraHeight);
  map->planes[kLeftFacade] = Plane<double>(Vec3<double>(1, 0, 0), width / 2);
  map->planes[kRightFacade] = Plane<double>(Vec3<double>(-1, 0, 0), width / 2);
  return map;
}

}  // namespace

struct StreetPanoramas::SpatialIndex {
  bgi::rtree<Entry, bgi::rstar<16>> tree;
};

std::unique_ptr<StreetPanoramas> StreetPanoramas::Build(std::vector<Street> streets,
                                                        const StreetPanoramasOptions& options, std::string* error) {
  if (!(options.spacing >= 1 && options.spacing <= 1000)) {
    *error = "the spacing must be 1 to 1000 metres";
    return nullptr;
  }
  std::unique_ptr<StreetPanoramas> set(new StreetPanoramas);
  set->streets_ = std::move(streets);
  std::vector<Street>& all = set->streets_;
  std::vector<StreetPanorama>& panoramas = set->panoramas_;

  // A node repeated in a row is one point of the line.
  for (Street& street : all) {
    street.nodes.erase(std::unique(street.nodes.begin(), street.nodes.end(),
                                   [](const StreetNode& a, const StreetNode& b) { return a.id == b.id; }),
                       street.nodes.end());
  }
  std::vector<int64_t> way_ids;
  std::unordered_map<int64_t, int> uses;
  for (const Street& street : all) {
    way_ids.push_back(street.way_id);
    set->classes_.push_back(ClassOf(street.highway));
    for (const StreetNode& node : street.nodes) ++uses[node.id];
  }
  std::sort(way_ids.begin(), way_ids.end());
  way_ids.erase(std::unique(way_ids.begin(), way_ids.end()), way_ids.end());
  for (const Street& street : all) {
    set->scenes_.push_back(
        static_cast<int32_t>(std::lower_bound(way_ids.begin(), way_ids.end(), street.way_id) - way_ids.begin() + 1));
  }

  bool full = false;
  auto add = [&](StreetPanorama p) -> uint32_t {
    if (panoramas.size() >= options.max_panoramas) {
      full = true;
      return 0;
    }
    panoramas.push_back(std::move(p));
    return static_cast<uint32_t>(panoramas.size() - 1);
  };
  auto link = [&](uint32_t a, uint32_t b, uint32_t street) {
    if (full || a == b) return;
    for (const StreetLink& l : panoramas[a].links) {
      if (l.to == b) return;
    }
    const StreetPanorama &pa = panoramas[a], &pb = panoramas[b];
    panoramas[a].links.push_back({b, street, static_cast<float>(Heading(pa.lat, pa.lon, pb.lat, pb.lon))});
    panoramas[b].links.push_back({a, street, static_cast<float>(Heading(pb.lat, pb.lon, pa.lat, pa.lon))});
  };
  std::unordered_map<int64_t, uint32_t> anchors;  // node id to its panorama
  auto anchor = [&](uint32_t s, size_t k) -> uint32_t {
    const std::vector<StreetNode>& nodes = all[s].nodes;
    const auto found = anchors.find(nodes[k].id);
    if (found != anchors.end()) return found->second;
    StreetPanorama p;
    p.lat = nodes[k].lat;
    p.lon = nodes[k].lon;
    const StreetNode& from = nodes[k + 1 < nodes.size() ? k : k - 1];
    const StreetNode& to = nodes[k + 1 < nodes.size() ? k + 1 : k];
    p.yaw_deg = Heading(from.lat, from.lon, to.lat, to.lon);
    p.street = s;
    p.node_id = nodes[k].id;
    const uint32_t index = add(std::move(p));
    if (!full) anchors.emplace(nodes[k].id, index);
    return index;
  };

  for (uint32_t s = 0; s < all.size() && !full; ++s) {
    const std::vector<StreetNode>& nodes = all[s].nodes;
    if (nodes.size() < 2) continue;
    uint32_t previous = anchor(s, 0);
    size_t start = 0;
    for (size_t k = 1; k < nodes.size() && !full; ++k) {
      if (k + 1 < nodes.size() && uses[nodes[k].id] < 2) continue;
      // The line from anchor `start` to anchor `k`: its length, then n - 1 panoramas inside it.
      std::vector<double> along{0};
      for (size_t e = start; e < k; ++e) {
        along.push_back(along.back() + Distance(nodes[e].lat, nodes[e].lon, nodes[e + 1].lat, nodes[e + 1].lon));
      }
      const double length = along.back();
      const double steps = std::round(length / options.spacing);
      if (steps > static_cast<double>(options.max_panoramas)) {
        full = true;
        break;
      }
      const size_t n = std::max<size_t>(1, static_cast<size_t>(steps));
      size_t e = 0;  // the edge from nodes[start + e] to nodes[start + e + 1]
      for (size_t j = 1; j < n && !full; ++j) {
        const double d = length * static_cast<double>(j) / static_cast<double>(n);
        while (e + 2 < along.size() && along[e + 1] < d) ++e;
        const StreetNode &a = nodes[start + e], &b = nodes[start + e + 1];
        const double edge = along[e + 1] - along[e];
        const double f = edge > 0 ? (d - along[e]) / edge : 0;
        StreetPanorama p;
        p.lat = a.lat + f * (b.lat - a.lat);
        p.lon = a.lon + f * (b.lon - a.lon);
        p.yaw_deg = Heading(a.lat, a.lon, b.lat, b.lon);
        p.street = s;
        const uint32_t index = add(std::move(p));
        link(previous, index, s);
        previous = index;
      }
      const uint32_t end = anchor(s, k);
      link(previous, end, s);
      previous = end;
      start = k;
    }
  }
  if (full) {
    *error = "the streets would make more than " + std::to_string(options.max_panoramas) + " panoramas";
    return nullptr;
  }

  std::unordered_set<std::string> taken;
  for (StreetPanorama& p : panoramas) {
    uint32_t salt = 0;
    do {
      p.id = MakeId(p.lat, p.lon, salt++);
    } while (!taken.insert(p.id).second);
  }
  set->BuildIndexes();
  return set;
}

void StreetPanoramas::BuildIndexes() {
  const size_t count = panoramas_.size();
  // Keys are views into the ids, which stay put from here on.
  for (uint32_t i = 0; i < count; ++i) by_id_.emplace(panoramas_[i].id, i);

  std::vector<Entry> entries;
  for (uint32_t i = 0; i < count; ++i) {
    const StreetPanorama& p = panoramas_[i];
    tile_x_.push_back(UnscaledTileX(p.lon));
    tile_y_.push_back(UnscaledTileY(p.lat));
    const int64_t x = TileOrdinate(tile_x_[i], kIndexedZoom), y = TileOrdinate(tile_y_[i], kIndexedZoom);
    if (x >= 0 && y >= 0) indexed_tiles_[TileKey(x, y)].push_back(i);
    unit_.push_back(UnitVector(p.lat, p.lon));
    entries.emplace_back(Point(unit_[i][0], unit_[i][1], unit_[i][2]), i);
  }
  auto index = std::make_shared<SpatialIndex>();
  index->tree = bgi::rtree<Entry, bgi::rstar<16>>(entries.begin(), entries.end());  // packed
  spatial_index_ = std::move(index);

  depth_map_once_.reset(new std::once_flag[kClassCount]);
  depth_map_texts_.resize(kClassCount);
  pano_map_once_.reset(new std::once_flag[count]);
  pano_map_texts_.resize(count);
  bodies_.resize(count);
  for (size_t i = 0; i < count; ++i) {
    std::vector<std::string> link_texts;
    for (const StreetLink& l : panoramas_[i].links) link_texts.push_back(streets_[l.street].name);
    AppendPanoramaBody(*Record(i), &link_texts, &bodies_[i]);
  }
}

uint32_t StreetPanoramas::road_argb(uint32_t street) const { return kClasses[classes_[street]].argb; }

double StreetPanoramas::street_width(uint32_t street) const { return kClasses[classes_[street]].width; }

int StreetPanoramas::Find(std::string_view id) const {
  const auto found = by_id_.find(id);
  return found == by_id_.end() ? -1 : static_cast<int>(found->second);
}

int StreetPanoramas::Nearest(double lat, double lon, double radius) const {
  if (panoramas_.empty() || !(radius >= 0) || !std::isfinite(lat) || !std::isfinite(lon)) return -1;
  const std::array<double, 3> u = UnitVector(lat, lon);
  std::vector<Entry> found;
  spatial_index_->tree.query(bgi::nearest(Point(u[0], u[1], u[2]), 1), std::back_inserter(found));
  if (found.empty() || ChordBetween(u, found[0].first) > Chord(radius)) return -1;
  return static_cast<int>(found[0].second);
}

std::vector<uint32_t> StreetPanoramas::InTile(int x, int y, int zoom) const {
  std::vector<uint32_t> out;
  if (zoom < 0 || zoom > 30) return out;
  if (zoom == kIndexedZoom) {
    if (x < 0 || y < 0) return out;
    const auto found = indexed_tiles_.find(TileKey(x, y));
    if (found != indexed_tiles_.end()) out = found->second;
    return out;
  }
  for (uint32_t i = 0; i < panoramas_.size(); ++i) {
    if (TileOrdinate(tile_x_[i], zoom) == x && TileOrdinate(tile_y_[i], zoom) == y) out.push_back(i);
  }
  return out;
}

RefPtr<spatial::PanoramaData> StreetPanoramas::Record(size_t i) const {
  const StreetPanorama& p = panoramas_[i];
  const Street& street = streets_[p.street];
  RefPtr<spatial::PanoramaData> record(new (HeapManager::GetDynamicHeap())
                                           spatial::PanoramaData(QString::fromLatin1(p.id)));
  record->position = Vec3<double>(p.lon / 180, p.lat / 180, 0);
  record->pano_yaw_deg = p.yaw_deg;
  if (!street.date.empty()) record->image_date = QString::fromStdString(street.date);
  if (!street.name.empty()) record->text = QString::fromStdString(street.name);
  record->copyright = QStringLiteral("© OpenStreetMap contributors");
  record->scene = scenes_[p.street];
  record->image_width = kImageWidth;
  record->image_height = kImageHeight;
  record->tile_width = kTileSize;
  record->tile_height = kTileSize;
  for (const StreetLink& l : p.links) {
    spatial::ConnectedPano link;
    link.id = QString::fromLatin1(panoramas_[l.to].id);
    link.road_color = SwapRedBlue(road_argb(l.street));
    link.yaw_deg = l.yaw_deg;
    record->connected_panos.push_back(link);
  }
  return record;
}

DepthMap* StreetPanoramas::MakeDepthMap(size_t i) const { return MakeCanyon(street_width(panoramas_[i].street)); }

spatial::PanoMap* StreetPanoramas::MakePanoMap(size_t i) const {
  const StreetPanorama& p = panoramas_[i];
  // The panoramas within reach, nearest first, as (right, ahead) metres in this one's frame.
  struct Candidate {
    double distance, x, y;
    uint32_t index;
  };
  std::vector<Candidate> candidates;
  const double chord = Chord(kPanoMapReach);
  const std::array<double, 3>& u = unit_[i];
  const Box box(Point(u[0] - chord, u[1] - chord, u[2] - chord), Point(u[0] + chord, u[1] + chord, u[2] + chord));
  std::vector<Entry> near;
  spatial_index_->tree.query(bgi::intersects(box), std::back_inserter(near));
  const double yaw = p.yaw_deg * kDegree;
  for (const Entry& e : near) {
    if (e.second == i || ChordBetween(u, e.first) > chord) continue;
    const StreetPanorama& q = panoramas_[e.second];
    const double east = kPlanetRadius * (q.lon - p.lon) * kDegree * std::cos(p.lat * kDegree);
    const double north = kPlanetRadius * (q.lat - p.lat) * kDegree;
    candidates.push_back({Distance(p.lat, p.lon, q.lat, q.lon), east * std::cos(yaw) - north * std::sin(yaw),
                          east * std::sin(yaw) + north * std::cos(yaw), e.second});
  }
  std::sort(candidates.begin(), candidates.end(), [](const Candidate& a, const Candidate& b) {
    return a.distance != b.distance ? a.distance < b.distance : a.index < b.index;
  });
  if (candidates.size() > 255) candidates.resize(255);  // entry numbers are bytes, 0 kept for none

  // Each ground cell takes the candidate nearest its ground point (none if this panorama is
  // nearer); entries are numbered as cells first take them, top row first.
  constexpr int kW = kMapWidth, kH = kMapHeight;
  const CellRays& rays = Rays();
  auto* indices = static_cast<uint8_t*>(AllocFrom(HeapManager::GetDynamicHeap(), kW * kH));
  std::memset(indices, 0, kW * kH);
  std::vector<int> entry_of(candidates.size() + 1, 0);  // candidate + 1 to its entry, once known
  int entries = 0;
  const double half_width = street_width(p.street) / 2;
  for (int row = 0; row < kH; ++row) {
    if (!(rays.ground[row] <= kPanoMapReach)) continue;
    for (int col = 0; col < kW; ++col) {
      double gx, gy;
      if (!GroundPoint(row, col, half_width, &gx, &gy)) continue;
      double best_d = gx * gx + gy * gy;  // to this panorama
      size_t best = 0;
      for (size_t c = 0; c < candidates.size(); ++c) {
        const double ex = gx - candidates[c].x, ey = gy - candidates[c].y;
        if (ex * ex + ey * ey < best_d) {
          best_d = ex * ex + ey * ey;
          best = c + 1;
        }
      }
      if (!best) continue;
      if (!entry_of[best]) entry_of[best] = ++entries;
      indices[row * kW + col] = static_cast<uint8_t>(entry_of[best]);
    }
  }
  mmvector<QString> ids(entries + 1);
  mmvector<Vec2<float>> positions(entries + 1, Vec2<float>(0, 0));
  for (size_t c = 0; c < candidates.size(); ++c) {
    if (const int e = entry_of[c + 1]) {
      ids[e] = QString::fromLatin1(panoramas_[candidates[c].index].id);
      positions[e] = Vec2<float>(static_cast<float>(candidates[c].x), static_cast<float>(candidates[c].y));
    }
  }
  return new (HeapManager::GetDynamicHeap()) spatial::PanoMap(indices, kW, kH, ids, positions);
}

const std::string& StreetPanoramas::depth_map_text(size_t i) const {
  // The depth map depends only on the street's width: one text per highway class.
  const uint8_t c = classes_[panoramas_[i].street];
  std::call_once(depth_map_once_[c], [&] {
    const std::unique_ptr<DepthMap> canyon(MakeCanyon(kClasses[c].width));
    depth_map_texts_[c] = PackDepthMap(*canyon);
  });
  return depth_map_texts_[c];
}

const std::string& StreetPanoramas::pano_map_text(size_t i) const {
  std::call_once(pano_map_once_[i], [&] {
    const std::unique_ptr<spatial::PanoMap> map(MakePanoMap(i));
    pano_map_texts_[i] = PackPanoMap(*map);
  });
  return pano_map_texts_[i];
}

void TileOf(double lat, double lon, int zoom, int64_t* x, int64_t* y) {
  *x = TileOrdinate(UnscaledTileX(lon), zoom);
  *y = TileOrdinate(UnscaledTileY(lat), zoom);
}

}  // namespace vistara::cli::serve
