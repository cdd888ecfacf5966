// Fetching of a panorama's depth and pano maps. For now the one static member that parses.
#ifndef VISTARA_SPATIAL_DEPTH_MAP_FETCHER_H_
#define VISTARA_SPATIAL_DEPTH_MAP_FETCHER_H_

#include <QByteArray>

#include "spatial/panorama_data.h"

namespace vistara::spatial {

class DepthMapFetcher {
 public:
  // Attaches to `data` the depth map and the pano map of the reply `xml` (a document whose root is
  // `panorama`), each only where `data` has none yet; maps already there stay. A map that fails
  // to decode leaves the field null. The caller must be the record's only writer.
  static void ParseDepthAndPano(const QByteArray& xml, PanoramaData* data);
};

}  // namespace vistara::spatial

#endif  // VISTARA_SPATIAL_DEPTH_MAP_FETCHER_H_
