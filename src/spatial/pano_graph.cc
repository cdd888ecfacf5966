#include "spatial/pano_graph.h"

#include <boost/unordered_set.hpp>
#include <cmath>
#include <limits>
#include <numbers>
#include <set>
#include <utility>

#include "platform/fast_math.h"
#include "platform/geo.h"
#include "platform/units.h"

namespace vistara::spatial {
namespace {

using Lock = SpinLock::ScopedLock;
using DistanceResult = QTree<QString, double>::DistanceResult;

const QString& NullString() {
  static const QString kNull;
  return kNull;
}

// The diagonal of the whole [-1, 1] square, so nothing on the map is out of reach.
constexpr double kFullMapRadius = 2.828427;
constexpr double kFullMapRadiusSq = 8.0;
// Panoramas nearer than this (metres) in one scene are joined by InferMissingLinks.
constexpr double kInferredLinkMetres = 15.0;

double DistanceSq3(const Vec3<double>& a, const Vec3<double>& b) {
  return (a - b).LengthSquared();
}

}  // namespace

PanoGraph::PanoGraph()
    : quad_trees_(Vec2<double>(-1, -1), Vec2<double>(1, 1), 5, HeapManager::GetDynamicHeap()),
      id_map_(11) {
  id_map_.max_load_factor(1.0f);
  quad_trees_.AddNewQuadTree(QString());
}

PanoGraph::~PanoGraph() = default;

void PanoGraph::Clear() {
  Lock l(&lock_);
  graph_.Clear();
  quad_trees_.ResetAll();
  id_map_.clear();  // keeps its buckets
}

bool PanoGraph::AddPano(const QString& id, PanoramaData* data) {
  Lock l(&lock_);
  bool created = false;
  void* handle;
  auto it = id_map_.find(id);
  if (it != id_map_.end()) {
    handle = it->second;
  } else {
    handle = graph_.AddVertex(VertexData{id, nullptr});
    id_map_.emplace(id, handle);
    created = true;
  }
  UpdatePanoData(handle, data);
  return created;
}

void PanoGraph::UpdatePanoData(void* handle, PanoramaData* data) {
  Lock l(&lock_);
  VertexData& vertex = graph_[handle];
  // Only whether there was a record matters below; the old one may be gone after the swap.
  const bool had_data = vertex.data != nullptr;
  vertex.data = data;
  if (!data) return;
  if (!had_data) {
    auto* tree = quad_trees_.Find(data->level_id);
    if (!tree) tree = quad_trees_.AddNewQuadTree(data->level_id);
    tree->Insert(Vec2<double>(data->position.x, data->position.y), data->id);
  }
  int count = 0;
  for (const ConnectedPano& c : data->connected_panos) {
    auto it = id_map_.find(c.id);
    if (it == id_map_.end()) {
      AddPano(c.id, nullptr);
      it = id_map_.find(c.id);
    }
    graph_.AddEdge(handle, it->second, nullptr);
    ++count;
  }
  if (count == 1) pending_.push_back(data);
}

void PanoGraph::ClearPanoData(const QString& id) {
  Lock l(&lock_);
  auto it = id_map_.find(id);
  if (it != id_map_.end()) UpdatePanoData(it->second, nullptr);
}

void PanoGraph::UpdateConnectionLookupMap(const QString& id) const {
  PanoramaData* data = GetPanoramaData(id);
  if (!data) return;
  if (data->connection_lookup.size() == data->connected_panos.size()) return;
  data->connection_lookup.clear();
  const double x = data->position.x, y = data->position.y;
  const double pi = std::numbers::pi;
  for (const ConnectedPano& c : data->connected_panos) {
    const PanoramaData* n = GetPanoramaData(c.id);
    if (!n) continue;
    const double dx = n->position.x - x, dy = n->position.y - y;
    double heading;
    if (dx * dx + dy * dy < 1e-18) {
      heading = pi / 2;
    } else {
      double a = std::atan2(dy, dx);
      if (a < 0) a += 2 * pi;
      heading = pi / 2 - a;
      if (heading > pi) heading -= 2 * pi * std::ceil((heading - pi) / (2 * pi));
      if (heading < -pi) heading += 2 * pi * std::ceil((-pi - heading) / (2 * pi));
    }
    data->connection_lookup[heading] = n->id;
  }
}

bool PanoGraph::GetHandle(const QString& id, void** handle) const {
  Lock l(&lock_);
  auto it = id_map_.find(id);
  if (it == id_map_.end()) return false;
  if (handle) *handle = it->second;
  return true;
}

PanoramaData* PanoGraph::GetPanoramaData(const QString& id) const {
  Lock l(&lock_);
  auto it = id_map_.find(id);
  return it == id_map_.end() ? nullptr : graph_[it->second].data.get();
}

bool PanoGraph::SameScene(const QString& a, const QString& b) const {
  Lock l(&lock_);
  const PanoramaData* da = GetPanoramaData(a);
  const PanoramaData* db = GetPanoramaData(b);
  return da && db && da->scene == db->scene;
}

const QString& PanoGraph::GetClosestPanoToPoint(const Vec3<double>& point, double radius) const {
  Lock l(&lock_);
  const double radius_sq = radius * radius;
  mmvector<DistanceResult> results;
  for (const auto& kv : quad_trees_.trees()) {
    kv.second->FindNearest(Vec2<double>(point.x, point.y), 1, radius_sq, &results);
  }
  return results.empty() ? NullString() : results.front().entry->key;
}

const QString& PanoGraph::GetClosestPanoToPoint(const Vec3<double>& point) const {
  return GetClosestPanoToPoint(point, kFullMapRadius);
}

void PanoGraph::GetClosestPanosToPoint(const Vec3<double>& point, int count,
                                       mmvector<const PanoramaData*>* out) const {
  Lock l(&lock_);
  mmvector<DistanceResult> results;
  for (const auto& kv : quad_trees_.trees()) {
    kv.second->FindNearest(Vec2<double>(point.x, point.y), count, kFullMapRadiusSq, &results);
  }
  for (const DistanceResult& r : results) out->push_back(GetPanoramaData(r.entry->key));
}

const QString& PanoGraph::GetClosestNeighboringPanoToPoint(const Vec3<double>& point,
                                                           const QString& id, int depth) const {
  Lock l(&lock_);
  mmvector<ConnectedPanoInfo> around;
  GetConnectedPanos(id, depth, false, &around);
  const QString* best = &id;
  const PanoramaData* start = GetPanoramaData(id);
  double best_sq = start ? DistanceSq3(start->position, point) : std::numeric_limits<double>::max();
  for (const ConnectedPanoInfo& info : around) {
    const PanoramaData* d = GetPanoramaData(info.id);
    if (!d) continue;
    const double sq = DistanceSq3(d->position, point);
    if (sq < best_sq) {
      best_sq = sq;
      best = &d->id;  // lives in the record, not in the local vector
    }
  }
  return *best;
}

bool PanoGraph::GetClosestLink(const QString& id, Vec3<double> point, link* out) const {
  Lock l(&lock_);
  const PanoramaData* data = GetPanoramaData(id);
  if (!data) return false;
  void* handle;
  if (!GetHandle(id, &handle)) return false;
  const double lat = data->position.y, lon = data->position.x;
  const double target = AzimuthToPoint(lat, lon, point.y, point.x);
  double best = std::numeric_limits<double>::infinity();
  bool found = false;
  link chosen;
  for (auto [e, end] = boost::out_edges(handle, graph_.graph()); e != end; ++e) {
    const PanoramaData* far = graph_[boost::target(*e, graph_.graph())].data.get();
    if (!far) continue;
    // No wrap at the seam: directions either side of it count as far apart, by design.
    const double diff = std::fabs(AzimuthToPoint(lat, lon, far->position.y, far->position.x) - target);
    if (diff < best) {
      best = diff;
      chosen = *e;
      found = true;
    }
  }
  if (out) *out = chosen;
  return found;
}

bool PanoGraph::GetClosestLink(Vec3<double> point, link* out) const {
  Lock l(&lock_);
  const QString& id = GetClosestPanoToPoint(point);
  if (id.isEmpty()) return false;
  return GetClosestLink(QString(id), point, out);
}

void PanoGraph::GetConnectedPanosHelper(const QString& id, int depth, int parent_index,
                                        mmvector<ConnectedPanoInfo>* out) const {
  Lock l(&lock_);
  out->clear();
  mmvector<link> links;
  GetLinks(id, &links);
  out->reserve(links.size());
  for (const link& e : links) {
    out->push_back(ConnectedPanoInfo{graph_[e.m_target].id, depth + 1, parent_index});
  }
}

void PanoGraph::GetConnectedPanos(const QString& id, int depth, bool same_scene_only,
                                  mmvector<ConnectedPanoInfo>* out) const {
  Lock l(&lock_);
  if (depth < 1) return;  // leaves `out` as it was; callers rely on that
  out->clear();
  mmvector<ConnectedPanoInfo> current(HeapManager::GetTransientHeap());
  mmvector<ConnectedPanoInfo> next(HeapManager::GetTransientHeap());
  mmvector<ConnectedPanoInfo> scratch(HeapManager::GetTransientHeap());
  GetConnectedPanosHelper(id, 0, -1, &current);
  boost::unordered_set<QString, vistara::hash<QString>> visited(11);
  visited.max_load_factor(1.0f);
  visited.insert(id);
  int level = 1;
  int index = 0;
  for (;;) {
    next.clear();
    for (ConnectedPanoInfo& entry : current) {
      if (same_scene_only && !SameScene(id, entry.id)) continue;
      if (!visited.insert(entry.id).second) continue;
      out->push_back(entry);
      GetConnectedPanosHelper(entry.id, level, index, &scratch);
      next.insert(next.end(), scratch.begin(), scratch.end());
      ++index;
    }
    ++level;
    std::swap(current, next);
    // An empty frontier can only give empty levels, so stopping here changes no result; it keeps
    // a huge depth from spinning through them under the lock.
    if (depth < level || current.empty()) break;
  }
}

void PanoGraph::GetLinks(const QString& id, mmvector<link>* out) const {
  Lock l(&lock_);
  out->clear();
  auto it = id_map_.find(id);
  if (it == id_map_.end()) return;
  for (auto [e, end] = boost::out_edges(it->second, graph_.graph()); e != end; ++e) {
    out->push_back(*e);
  }
}

void PanoGraph::GetLinks(const QString& id, int depth, mmvector<link>* out) const {
  Lock l(&lock_);
  out->clear();
  if (depth < 1) return;
  mmvector<ConnectedPanoInfo> around;
  GetConnectedPanos(id, depth - 1, false, &around);
  around.push_back(ConnectedPanoInfo{id, 0, -1});
  // Ordered by the EdgeData pointer, the identity of an undirected link: first direction met wins.
  auto by_edge = [](const link& a, const link& b) {
    return std::less<void*>()(a.m_eproperty, b.m_eproperty);
  };
  std::set<link, decltype(by_edge)> unique(by_edge);
  mmvector<link> links;
  for (const ConnectedPanoInfo& info : around) {
    GetLinks(info.id, &links);
    unique.insert(links.begin(), links.end());
  }
  out->assign(unique.begin(), unique.end());
}

Referent* PanoGraph::GetLinkData(const QString& from, const QString& to) const {
  Lock l(&lock_);
  mmvector<link> links;
  GetLinks(from, &links);
  for (const link& e : links) {
    if (graph_[e.m_target].id == to) return Graph::edge_data(e)->data.get();
  }
  return nullptr;
}

void PanoGraph::GetLinkedPanos(const QString& id, mmvector<ConnectedPano>* out) const {
  Lock l(&lock_);
  out->clear();
  mmvector<link> links;
  GetLinks(id, &links);
  out->resize(links.size());
  for (size_t i = 0; i < links.size(); ++i) (*out)[i].id = graph_[links[i].m_target].id;
}

void PanoGraph::GetConnectionData(const QString& id, mmvector<ConnectedPano>* out) const {
  Lock l(&lock_);
  out->clear();
  const PanoramaData* data = GetPanoramaData(id);
  if (data) out->assign(data->connected_panos.begin(), data->connected_panos.end());
}

void PanoGraph::InferMissingLinks(const PanoramaData* data) {
  Lock l(&lock_);
  if (!data) return;
  mmvector<link> links;
  GetLinks(data->id, &links);
  if (links.size() != 1) return;
  const QString neighbour = graph_[links[0].m_target].id;
  void* handle = links[0].m_source;
  mmvector<const PanoramaData*> nearest;
  GetClosestPanosToPoint(data->position, 5, &nearest);
  for (const PanoramaData* p : nearest) {
    if (!p || p == data || p->id == neighbour) continue;
    if (p->scene != data->scene) continue;
    // Straight in position units against metres over the planet radius: a loose test, as meant.
    const double d = FastMath::sqrt(DistanceSq3(p->position, data->position));
    if (d < kInferredLinkMetres * Units::s_inv_planet_radius) {
      void* other;
      if (GetHandle(p->id, &other)) graph_.AddEdge(handle, other, nullptr);
    }
  }
}

void PanoGraph::PostProcessBatch() {
  Lock l(&lock_);
  for (size_t i = 0; i < pending_.size(); ++i) InferMissingLinks(pending_[i]);
  pending_.resize(0);
}

}  // namespace vistara::spatial
