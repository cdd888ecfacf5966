#include "spatial/pano_quad_tree_set.h"

namespace vistara::spatial {

PanoQuadTreeSet::PanoQuadTreeSet(const Vec2<double>& min, const Vec2<double>& max,
                                 int max_entries_per_node, MemoryManager* heap)
    : min_(min), max_(max), max_entries_per_node_(max_entries_per_node), heap_(heap), trees_(11) {
  trees_.max_load_factor(1.0f);
}

PanoQuadTreeSet::~PanoQuadTreeSet() {
  for (auto& kv : trees_) doDelete(kv.second, heap_);
}

PanoQuadTreeSet::Tree* PanoQuadTreeSet::AddNewQuadTree(const QString& key) {
  Tree* tree = doNew<Tree>(heap_, min_, max_, max_entries_per_node_, heap_);
  Tree*& slot = trees_[key];
  doDelete(slot, heap_);  // replaced trees would otherwise leak
  slot = tree;
  return tree;
}

PanoQuadTreeSet::Tree* PanoQuadTreeSet::Find(const QString& key) const {
  auto it = trees_.find(key);
  return it == trees_.end() ? nullptr : it->second;
}

void PanoQuadTreeSet::ResetAll() {
  for (auto& kv : trees_) kv.second->Reset();
}

}  // namespace vistara::spatial
