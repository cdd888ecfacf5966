// PathPlanner: routes of panoramas between two points, and the turn points along them.
//
// FindPath starts at the panorama nearest `from` and searches the graph breadth-first, so a route has
// the fewest links, not the shortest length. It ends at the panorama nearest `to` among those
// reached within `max_links` links, which may fall short of `to` by up to 100 metres; farther than
// that, there is no route. IsIntersection says whether a panorama of a route turns by more than 75
// degrees and gives a point 5 metres inside the corner, where a turn arrow or a label can stand.
//
// Positions are those of the panorama side: x = longitude / 180, y = latitude / 180, z = altitude in
// planet radii. Distances to the target are chords of the unit sphere (MapToCartesian, platform/
// geo.h), so they hold at every latitude.
//
// Ownership: the planner keeps only the pointer to the graph, which must outlive it; it has no state
// between calls and is cheap to make. A path is a caller's InlinedVector of panorama ids (copies).
//
// Threads: the planner may be used from any thread, several at once. Each call holds the graph's
// lock (PanoGraph::lock()) for its whole length, since it reads records between the graph's
// queries; a route so reflects one state of the graph. A long search holds the fetch worker up for
// its length: `max_links` bounds it.
//
// Failure: false, as told at each operation; nothing is logged.
#ifndef VISTARA_SPATIAL_PATH_PLANNER_H_
#define VISTARA_SPATIAL_PATH_PLANNER_H_

#include <QString>

#include "platform/inlined_vector.h"
#include "platform/vec.h"
#include "spatial/pano_graph.h"

namespace vistara::spatial {

class PathPlanner {
 public:
  using Path = InlinedVector<QString, 10>;

  explicit PathPlanner(const PanoGraph* graph) : graph_(graph) {}
  virtual ~PathPlanner() = default;

  // Fills `path` with the ids of a route, start first, each consecutive pair linked in the graph:
  // from the panorama nearest `from` (in the x-y plane, over the whole map) to the panorama nearest
  // `to` (by chord; the first of equal ones in breadth-first order, the start last) among those
  // within max_links - 1 links of the start (just the start for max_links of 1 or less). With
  // `same_scene_only`, panoramas of a scene other than the start's are left out, and with them all
  // that can only be reached through them. The z of `to` is not used.
  // Returns false, with `path` untouched, if there is no panorama or no record near `from`; false,
  // with `path` emptied, if no panorama reached lies within 100 metres of `to` (exactly 100 counts
  // as reached).
  bool FindPath(const Vec3<double>& from, const Vec3<double>& to, int max_links, bool same_scene_only,
                Path* path) const;

  // True if the `index`-th panorama of `path` turns the route by strictly more than 75 degrees
  // between its predecessor and its successor; `turn_point` then receives the map position 5 metres
  // from it towards the inside of the turn (near the panorama's altitude). False, `turn_point`
  // untouched, at the first or last index, at an index outside the path, at a smaller turn, or if a
  // record of the three is missing.
  bool IsIntersection(const Path& path, int index, Vec3<double>* turn_point) const;

  const PanoGraph* graph() const { return graph_; }

 private:
  const PanoGraph* graph_;
};

}  // namespace vistara::spatial

#endif  // VISTARA_SPATIAL_PATH_PLANNER_H_
