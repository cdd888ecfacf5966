// Panorama records placed by hand, for the navigation tests.
#ifndef VISTARA_TESTS_SPATIAL_NAVIGATION_TEST_UTIL_H_
#define VISTARA_TESTS_SPATIAL_NAVIGATION_TEST_UTIL_H_

#include <QString>
#include <vector>

#include "spatial/pano_graph.h"
#include "spatial/panorama_data.h"

namespace vistara::testing {

// Adds a record at (x, y) naming `links`, with a corridor half-width of `width` (planet radii; the
// record's default if negative). The graph holds the only reference.
inline void AddRecord(spatial::PanoGraph* graph, const QString& id, double x, double y,
                      const std::vector<QString>& links = {}, double width = -1, int scene = 0) {
  RefPtr<spatial::PanoramaData> d(new (HeapManager::GetDynamicHeap()) spatial::PanoramaData(id));
  d->position = Vec3<double>(x, y, 0);
  d->scene = scene;
  if (width >= 0) d->corridor_width = width;
  for (const QString& l : links) d->connected_panos.push_back(spatial::ConnectedPano{l});
  graph->AddPano(id, d.get());
}

}  // namespace vistara::testing

#endif  // VISTARA_TESTS_SPATIAL_NAVIGATION_TEST_UTIL_H_
