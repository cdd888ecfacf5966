// PanoGraph: everything known about the panoramas around the viewer.
//
// An undirected graph whose vertices are panoramas (named by an opaque void* handle, valid until
// Clear) and whose edges are links, with one quad tree of positions per level id and a map from
// panorama id to handle. The fetch worker writes it (AddPano for every record that arrives,
// PostProcessBatch after each tile); the host's threads read it.
//
// A reply names neighbours long before their records arrive, so a vertex may be a placeholder: an
// id with no record, linked to its neighbour, in no quad tree. Its record fills it later. A vertex
// enters its level's quad tree each time its record goes from absent to present, at that record's
// position; a second record leaves the tree alone.
//
// Positions: x = longitude / 180, y = latitude / 180, z = altitude in planet radii. Distances in
// the queries are taken directly in these units (no correction for latitude).
//
// Thread safety: one recursive SpinLock guards all of it. The writing and query operations take
// it for their whole length. UpdateConnectionLookupMap is the exception: it takes the lock only
// inside its look-ups and rewrites the record's map outside it, so a caller that may race another
// thread holds lock() around it. The accessors at the end take no lock. A reader that keeps a
// PanoramaData* over several calls takes lock() itself. Lock order: the graph's lock before the
// fetcher's lock, never the reverse.
#ifndef VISTARA_SPATIAL_PANO_GRAPH_H_
#define VISTARA_SPATIAL_PANO_GRAPH_H_

#include <QString>
#include <boost/unordered_map.hpp>
#include <cstdint>

#include "platform/hash.h"
#include "platform/memory.h"
#include "platform/referent.h"
#include "platform/spin_lock.h"
#include "platform/undirected_graph.h"
#include "platform/vec.h"
#include "spatial/pano_quad_tree_set.h"
#include "spatial/panorama_data.h"

namespace vistara::spatial {

class PanoGraph {
 public:
  struct VertexData {
    QString id;
    RefPtr<PanoramaData> data;  // null for a placeholder and after ClearPanoData
  };
  // One reference-counted word per link. The library never sets it; GetLinkData hands it out.
  struct EdgeData {
    RefPtr<Referent> data;
  };
  using Graph = UndirectedGraph<VertexData, EdgeData>;
  using link = Graph::edge_descriptor;  // source: the panorama asked about; target: the far one

  // An element of a breadth-first result.
  struct ConnectedPanoInfo {
    QString id;
    int32_t depth = 0;          // 1 for a direct neighbour of the start
    int32_t parent_index = -1;  // index in the same result of the entry it was reached through
  };

  PanoGraph();
  ~PanoGraph();
  PanoGraph(const PanoGraph&) = delete;
  PanoGraph& operator=(const PanoGraph&) = delete;

  // ---- Writing.
  // Removes all vertices, edges and id entries and empties every quad tree (the trees stay).
  // The pending list is left alone: run PostProcessBatch only while its records are alive.
  void Clear();
  // Makes the vertex if it is new and applies `data` (may be null); true if it was created here.
  bool AddPano(const QString& id, PanoramaData* data);
  // Replaces the vertex's record and applies its links (placeholders for unknown neighbours).
  void UpdatePanoData(void* handle, PanoramaData* data);
  // Drops the record of a known vertex; vertex, links and quad tree entry stay.
  void ClearPanoData(const QString& id);
  // Rebuilds the record's heading-to-neighbour map if its size differs from the link count.
  // Headings are radians clockwise from north on the flat (x, y) plane, in [-pi, pi]. Rewrites the
  // map outside the lock (see above).
  void UpdateConnectionLookupMap(const QString& id) const;

  // ---- Queries.
  bool GetHandle(const QString& id, void** handle) const;
  PanoramaData* GetPanoramaData(const QString& id) const;
  bool SameScene(const QString& a, const QString& b) const;
  // Nearest panorama of all levels in the (x, y) plane within `radius`; the shared null string
  // if none. On a tie between trees the tree visited first stands. The reference lives in the
  // tree: don't keep it across a change of the graph.
  const QString& GetClosestPanoToPoint(const Vec3<double>& point, double radius) const;
  const QString& GetClosestPanoToPoint(const Vec3<double>& point) const;
  // Appends up to `count` nearest records, nearest first (null for a vertex without data).
  void GetClosestPanosToPoint(const Vec3<double>& point, int count,
                              mmvector<const PanoramaData*>* out) const;
  // Of `id` and all panoramas within `depth` links, the one nearest `point` in 3-D; ties go to
  // the earlier (the start first).
  const QString& GetClosestNeighboringPanoToPoint(const Vec3<double>& point, const QString& id,
                                                  int depth) const;
  // The link of `id` whose azimuth is nearest the azimuth to `point` (no wrap at the seam).
  bool GetClosestLink(const QString& id, Vec3<double> point, link* out) const;
  bool GetClosestLink(Vec3<double> point, link* out) const;
  // Breadth-first neighbourhood without the start. A depth below 1 leaves `out` untouched.
  void GetConnectedPanos(const QString& id, int depth, bool same_scene_only,
                         mmvector<ConnectedPanoInfo>* out) const;
  void GetConnectedPanosHelper(const QString& id, int depth, int parent_index,
                               mmvector<ConnectedPanoInfo>* out) const;
  void GetLinks(const QString& id, mmvector<link>* out) const;
  // Every distinct link touching a panorama within depth - 1 links, ordered by EdgeData identity.
  void GetLinks(const QString& id, int depth, mmvector<link>* out) const;
  Referent* GetLinkData(const QString& from, const QString& to) const;
  void GetLinkedPanos(const QString& id, mmvector<ConnectedPano>* out) const;
  void GetConnectionData(const QString& id, mmvector<ConnectedPano>* out) const;

  // ---- Inferred links.
  // Joins a record that has exactly one link to same-scene panoramas nearer than 15 m.
  void InferMissingLinks(const PanoramaData* data);
  // InferMissingLinks over the pending list, then empties it.
  void PostProcessBatch();

  // ---- For readers and tools. No lock: hold lock() while using what they return.
  SpinLock* lock() const { return &lock_; }
  const Graph& graph() const { return graph_; }
  const PanoQuadTreeSet& quad_trees() const { return quad_trees_; }
  const mmvector<const PanoramaData*>& pending() const { return pending_; }
  // The id of a vertex handle.
  const QString& IdOf(void* handle) const { return graph_[handle].id; }

 private:
  Graph graph_;
  PanoQuadTreeSet quad_trees_;
  boost::unordered_map<QString, void*, vistara::hash<QString>> id_map_;
  mmvector<const PanoramaData*> pending_;
  mutable SpinLock lock_;
};

}  // namespace vistara::spatial

#endif  // VISTARA_SPATIAL_PANO_GRAPH_H_
