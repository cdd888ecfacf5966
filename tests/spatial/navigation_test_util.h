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
inline spatial::PanoramaData* AddRecord(spatial::PanoGraph* graph, const QString& id, double x, double y,
                                        const std::vector<QString>& links = {}, int scene = 0,
                                        double width = -1) {
  RefPtr<spatial::PanoramaData> d(new (HeapManager::GetDynamicHeap()) spatial::PanoramaData(id));
  d->position = Vec3<double>(x, y, 0);
  d->scene = scene;
  if (width >= 0) d->corridor_width = width;
  for (const QString& l : links) d->connected_panos.push_back(spatial::ConnectedPano{l});
  graph->AddPano(id, d.get());
  return d.get();
}

// The link from `from` to `to`, as the graph hands it out from `from`.
inline spatial::PanoGraph::link LinkBetween(const spatial::PanoGraph& graph, const QString& from, const QString& to) {
  mmvector<spatial::PanoGraph::link> links;
  graph.GetLinks(from, &links);
  for (const auto& l : links) {
    if (graph.IdOf(l.m_target) == to) return l;
  }
  ADD_FAILURE() << "no link " << from.toStdString() << " - " << to.toStdString();
  return {};
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

}  // namespace vistara::testing

#endif  // VISTARA_TESTS_SPATIAL_NAVIGATION_TEST_UTIL_H_
