#include "spatial/path_planner.h"

#include <algorithm>

#include "platform/fast_math.h"
#include "platform/geo.h"
#include "platform/memory.h"
#include "platform/spin_lock.h"
#include "platform/units.h"

namespace vistara::spatial {
namespace {

// The farthest the route's end may lie from the target: 100 metres, as a chord of the unit sphere.
constexpr double kReach = 100 * Units::s_inv_planet_radius;
// A turn sharper than 75 degrees makes an intersection.
constexpr double kMinTurn = 1.3089969389957472;

}  // namespace

bool PathPlanner::FindPath(const Vec3<double>& from, const Vec3<double>& to, int max_links,
                           bool same_scene_only, Path* path) const {
  SpinLock::ScopedLock lock(graph_->lock());
  const QString start = graph_->GetClosestPanoToPoint(from);
  if (start.isEmpty() || !graph_->GetPanoramaData(start)) return false;
  path->clear();

  // The start goes last, so that any other candidate at the same distance wins over it.
  mmvector<PanoGraph::ConnectedPanoInfo> list(HeapManager::GetTransientHeap());
  // max_links - 1 would overflow for the lowest int; any count below 2 means the start alone.
  graph_->GetConnectedPanos(start, max_links < 2 ? 0 : max_links - 1, same_scene_only, &list);
  list.push_back(PanoGraph::ConnectedPanoInfo{start, 0, -1});

  const Vec3<double> target = MapToCartesian(Vec3<double>(to.x, to.y, 0));
  const PanoGraph::ConnectedPanoInfo* best = nullptr;
  double best_distance = 0;
  for (const PanoGraph::ConnectedPanoInfo& entry : list) {
    const PanoramaData* data = graph_->GetPanoramaData(entry.id);
    if (!data) continue;
    const double distance = (MapToCartesian(data->position).GetNormalized() - target).Length();
    if (!best || distance < best_distance) {
      best = &entry;
      best_distance = distance;
    }
  }
  if (!best || best_distance > kReach) return false;
  if (best->id == start) {
    path->push_back(start);
    return true;
  }
  // Back along parent_index: each step is one link nearer the start, whose direct neighbours have
  // the depth 1 (their parent index, -1, is never followed).
  for (int n = best->depth; n > 0; --n) {
    path->push_back(best->id);
    if (n == 1) break;
    best = &list[static_cast<size_t>(best->parent_index)];
  }
  path->push_back(start);
  std::reverse(path->begin(), path->end());
  return true;
}

bool PathPlanner::IsIntersection(const Path& path, int index, Vec3<double>* turn_point) const {
  // An index outside the path is treated as an end: there is no corner to measure.
  if (index <= 0 || static_cast<size_t>(index) + 1 >= path.size()) return false;
  SpinLock::ScopedLock lock(graph_->lock());
  const size_t i = static_cast<size_t>(index);
  const PanoramaData* previous = graph_->GetPanoramaData(path[i - 1]);
  const PanoramaData* current = graph_->GetPanoramaData(path[i]);
  const PanoramaData* next = graph_->GetPanoramaData(path[i + 1]);
  // A path may pass through a panorama known only as a link, whose record has not arrived.
  if (!previous || !current || !next) return false;
  const Vec3<double> p = MapToCartesian(previous->position);
  const Vec3<double> c = MapToCartesian(current->position);
  const Vec3<double> n = MapToCartesian(next->position);
  const Vec3<double> in = (c - p).GetNormalized();
  const Vec3<double> out = (n - c).GetNormalized();
  const double turn = FastMath::fabs(FastMath::acos(in.Dot(out)));
  if (!(turn > kMinTurn)) return false;
  // Half the difference of the two directions points into the corner; for a u-turn it is the way
  // back, of length 1 already. The turn point stands 5 metres along it.
  const Vec3<double> bisector = ((out - in) * 0.5).GetNormalized();
  *turn_point = CartesianToMap(c + bisector * 5 * Units::s_inv_planet_radius);
  return true;
}

}  // namespace vistara::spatial
