// PanoQuadTreeSet: one QTree of panorama ids per level id, so that the floors of a building do
// not crowd one another. Every tree covers the set's bounds and uses its node capacity and heap.
// Not locked: the graph's lock covers all use.
#ifndef VISTARA_SPATIAL_PANO_QUAD_TREE_SET_H_
#define VISTARA_SPATIAL_PANO_QUAD_TREE_SET_H_

#include <QString>
#include <boost/unordered_map.hpp>

#include "platform/hash.h"
#include "platform/memory.h"
#include "platform/vec.h"
#include "spatial/qtree.h"

namespace vistara::spatial {

class PanoQuadTreeSet {
 public:
  using Tree = QTree<QString, double>;
  using TreeMap = boost::unordered_map<QString, Tree*, vistara::hash<QString>>;

  PanoQuadTreeSet(const Vec2<double>& min, const Vec2<double>& max, int max_entries_per_node,
                  MemoryManager* heap);
  ~PanoQuadTreeSet();
  PanoQuadTreeSet(const PanoQuadTreeSet&) = delete;
  PanoQuadTreeSet& operator=(const PanoQuadTreeSet&) = delete;

  // Makes an empty tree over the set's bounds and enters it under `key`, destroying a tree that
  // stood there. The caller looks the key up first.
  Tree* AddNewQuadTree(const QString& key);
  // The tree of `key`, or null.
  Tree* Find(const QString& key) const;
  // Gives every tree a new empty root; the trees and their keys stay.
  void ResetAll();

  // In the map's order (that of hash<QString>); the graph's searches visit the trees so.
  const TreeMap& trees() const { return trees_; }

 private:
  Vec2<double> min_, max_;
  int max_entries_per_node_;
  MemoryManager* heap_;
  TreeMap trees_;
};

}  // namespace vistara::spatial

#endif  // VISTARA_SPATIAL_PANO_QUAD_TREE_SET_H_
