// Graphs for the navigation tests: records placed by hand, and West Oakland's streets as the graph
// of a viewer who has fetched them all.
#ifndef VISTARA_TESTS_SPATIAL_NAVIGATION_TEST_UTIL_H_
#define VISTARA_TESTS_SPATIAL_NAVIGATION_TEST_UTIL_H_

#include <QString>
#include <vector>

#include "spatial/pano_graph.h"
#include "spatial/panorama_data.h"
#include "tools/street_panoramas_test_util.h"

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

// Every West Oakland panorama (every 10 m along the streets) in the graph, in index order.
inline void AddWestOakland(spatial::PanoGraph* graph) {
  const auto panoramas = WestOaklandPanoramas();
  ASSERT_TRUE(panoramas);
  for (size_t i = 0; i < panoramas->size(); ++i) {
    const RefPtr<spatial::PanoramaData> record = panoramas->Record(i);
    graph->AddPano(record->id, record.get());
  }
}

// The map position of West Oakland panorama i.
inline Vec3<double> WestOaklandPosition(size_t i) {
  const auto& p = WestOaklandPanoramas()->panorama(i);
  return Vec3<double>(p.lon / 180, p.lat / 180, 0);
}

}  // namespace vistara::testing

#endif  // VISTARA_TESTS_SPATIAL_NAVIGATION_TEST_UTIL_H_
