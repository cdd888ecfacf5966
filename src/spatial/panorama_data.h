// The record of one street-level panorama, and the small records it holds.
//
// A PanoramaData is filled once by PanoramaXMLParser (panorama_xml_parser.h) and then shared by
// reference count (RefPtr<PanoramaData>) between the graph, the fetch layer and the readers, who
// use its public fields directly. Only its depth and pano maps may be attached later (by
// DepthMapFetcher) and `connection_lookup` rebuilt by the graph; everything else stays as parsed.
// The record has no lock: reference traffic and those late writes happen under the graph's lock
// or on one thread.
//
// Ownership: the record owns `depth_map` and `pano_map` (set_depthmap / set_panomap replace and
// destroy) and holds one reference to the host's `panorama`, taken by the host and released here.
// Positions: x = longitude / 180, y = latitude / 180 (degrees before the division), z = altitude
// in planet radii.
#ifndef VISTARA_SPATIAL_PANORAMA_DATA_H_
#define VISTARA_SPATIAL_PANORAMA_DATA_H_

#include <QString>
#include <cstdint>
#include <iterator>
#include <map>

#include "platform/memory.h"
#include "platform/panorama.h"
#include "platform/referent.h"
#include "platform/vec.h"

namespace vistara::spatial {

class PanoMap;

// A label in a panorama. Nothing in the library interprets the three numbers.
struct Annotation {
  QString title;
  QString id;
  float yaw = 0;
  float pitch = 0;
  float d = 0;
};

// One link as the service gives it.
struct ConnectedPano {
  QString id;  // the panorama at the far end
  // Alpha-blue-green-red: the service's alpha-red-green-blue with red and blue exchanged; all
  // ones when the service gave none.
  uint32_t road_color = 0xFFFFFFFFu;
  float yaw_deg = 0;  // heading of the link, degrees
};

// One level reachable at a panorama.
struct ConnectedLevel {
  QString level_id;
  QString pano_id;  // the panorama that represents the level
  int32_t ordinal = 0;
  QString text;          // full name
  QString abbreviation;  // short name
};

// An ordered map from an angle to a value that also answers "which entries lie either side of
// this angle, round the circle".
template <class K, class V>
class CircularMap : public std::map<K, V> {
 public:
  // Puts into *below and *above the values of the entries either side of `key`: `above` gets the
  // first entry whose key is not less than `key` (an exact match counts as above) and `below` its
  // predecessor. Where that crosses the seam (no such entry, or it is the first) `below` gets the
  // last entry and `above` the first. The map must not be empty; the caller tests that.
  void GetCircularNearest(const K& key, V* below, V* above) const {
    auto it = this->lower_bound(key);
    if (it != this->end() && it != this->begin()) {
      *above = it->second;
      *below = std::prev(it)->second;
    } else {
      *below = this->rbegin()->second;
      *above = this->begin()->second;
    }
  }
};

class PanoramaData : public Referent, public MemoryObject {
 public:
  // A record with every field at its default. The two link vectors use the dynamic heap.
  explicit PanoramaData(const QString& id);
  PanoramaData(const PanoramaData&) = delete;
  PanoramaData& operator=(const PanoramaData&) = delete;

  // The place in `connected_levels` of the first level whose level_id is this record's
  // `level_id`; 0 if there is none (which can't be told from the first level) or if empty.
  unsigned GetLevel() const;

  // Takes ownership of `map`. A different pointer destroys the present map first; the present
  // pointer again does nothing; null destroys the present map.
  void set_depthmap(vistara::DepthMap* map);
  void set_panomap(PanoMap* map);

  Vec3<double> position;
  double pano_yaw_deg = 0;  // degrees
  QString id;
  QString image_date;    // as the service gives it
  QString street_range;  // optional range of the street address
  QString text;          // street name
  QString address;       // composed by the parser from street_range and text
  QString copyright;
  QString level_id;  // may be empty; also the key of the graph's quad tree for this panorama
  int32_t scene = 0;
  int32_t image_width = 0;  // pixels
  int32_t image_height = 0;
  int32_t tile_width = 0;
  int32_t tile_height = 0;
  double tilt_yaw_deg = 0;    // degrees
  double tilt_pitch_deg = 0;  // degrees
  uint32_t info_flags = 0;    // bit 0: bit 1 of "info_level"; bit 1: bit 6 of it
  int32_t info_value = 2000;
  vistara::Panorama* panorama = nullptr;  // the host's; one reference held, released on destruction
  double corridor_width;                  // half-width of the walkable corridor, planet radii
  mmvector<Annotation> annotations;
  PanoMap* pano_map = nullptr;              // owned
  vistara::DepthMap* depth_map = nullptr;  // owned
  mmvector<ConnectedPano> connected_panos;  // document order
  mmvector<ConnectedLevel> connected_levels;
  CircularMap<double, QString> connection_lookup;  // heading (radians) to linked id; built lazily

 protected:
  // The last reference deletes the record, through this class so that its block goes back to the
  // heap it came from.
  void orphaned() const override { delete this; }
  // Releases, in this order: the lookup map, the levels, the links, the depth map, the pano map,
  // the annotations, the host's panorama; the strings go last.
  ~PanoramaData() override;
};

}  // namespace vistara::spatial

#endif  // VISTARA_SPATIAL_PANORAMA_DATA_H_
