// QTree<K, T>: a point quad tree from a 2-D position to a key, with a k-nearest query bounded by
// a radius. Used with K = QString (panorama id) and T = double (position units of the graph).
//
// A leaf holds at most max_entries_per_node entries; the entry that would exceed it splits the
// leaf into four children (one allocation), again and again while all entries fall into one
// child. More than max_entries_per_node entries at one position would thus split without end;
// the splitting stops where floating point can no longer halve the rectangle (some 1100 levels
// down), and that leaf keeps them all. There is no removal.
//
// Children are numbered against the centre `max * 0.5 + min * 0.5`: bit 0 is x > centre.x, bit
// 1 is y > centre.y, so a point on a centre line goes to the low side, on insertion and query
// alike. Positions outside the root's rectangle still go into a child by that rule and are found,
// since the rectangle distance is only a lower bound.
//
// Not locked: the owner (PanoGraph) serialises all use.
#ifndef VISTARA_SPATIAL_QTREE_H_
#define VISTARA_SPATIAL_QTREE_H_

#include <cstddef>
#include <limits>
#include <new>
#include <utility>

#include "platform/memory.h"
#include "platform/vec.h"

namespace vistara::spatial {

template <class K, class T>
class QTree {
 public:
  struct Entry {
    K key;
    Vec2<T> position;
  };

  struct DistanceResult {
    const Entry* entry = nullptr;
    T distance_sq = std::numeric_limits<T>::max();
  };

  class Node {
   public:
    Node(const Vec2<T>& min, const Vec2<T>& max, Node* parent, MemoryManager* heap)
        : entries(heap), parent(parent), min(min), max(max), heap(heap) {}
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;
    // Children depth-first, then the entries.
    ~Node() {
      DestroyChildren();
      entries.clear();
    }

    // Gives the node four children over the quarters of its rectangle, in one allocation.
    void MakeChildren() {
      DestroyChildren();
      Vec2<T> c = centre();
      void* block = AllocFrom(heap, 4 * sizeof(Node));
      Node* kids = static_cast<Node*>(block);
      new (&kids[0]) Node(min, c, this, heap);
      new (&kids[1]) Node(Vec2<T>(c.x, min.y), Vec2<T>(max.x, c.y), this, heap);
      new (&kids[2]) Node(Vec2<T>(min.x, c.y), Vec2<T>(c.x, max.y), this, heap);
      new (&kids[3]) Node(c, max, this, heap);
      children = kids;
    }

    Vec2<T> centre() const { return max * T(0.5) + min * T(0.5); }
    // The child holding `p`; a coordinate on the centre line goes low.
    int ChildIndex(const Vec2<T>& p) const {
      Vec2<T> c = centre();
      return (p.x > c.x ? 1 : 0) + (p.y > c.y ? 2 : 0);
    }
    bool is_leaf() const { return children == nullptr; }
    // False once the rectangle is too small for its centre to lie strictly inside on either axis.
    bool CanSplit() const {
      Vec2<T> c = centre();
      return (min.x < c.x && c.x < max.x) || (min.y < c.y && c.y < max.y);
    }

    mmvector<Entry> entries;     // only in a leaf
    Node* children = nullptr;    // owned array of four, null for a leaf
    Node* parent;                // null at the root
    Vec2<T> min, max;
    MemoryManager* heap;

   private:
    void DestroyChildren() {
      if (!children) return;
      for (int i = 0; i < 4; ++i) children[i].~Node();
      FreeTo(heap, children);
      children = nullptr;
    }
  };

  // The deepest node that holds all results a search added; null if it changed nothing.
  struct FindResult {
    const Node* node = nullptr;
  };

  QTree(const Vec2<T>& min, const Vec2<T>& max, int max_entries_per_node, MemoryManager* heap)
      // A capacity below 1 would split forever on the first insertion; it acts as 1.
      : max_entries_per_node_(max_entries_per_node < 1 ? 1 : max_entries_per_node), heap_(heap) {
    root_ = doNew<Node>(heap_, min, max, nullptr, heap_);
  }
  ~QTree() { doDelete(root_, heap_); }
  QTree(const QTree&) = delete;
  QTree& operator=(const QTree&) = delete;

  void Insert(const Vec2<T>& position, K key) {
    Node* node = root_;
    while (!node->is_leaf()) node = &node->children[node->ChildIndex(position)];
    while (static_cast<int64_t>(node->entries.size()) >= max_entries_per_node_) {
      // Entries at one spot (or NaN, which always goes low) would split forever; once halving
      // can no longer separate anything, the leaf takes them beyond its capacity instead.
      if (!node->CanSplit()) break;
      node->MakeChildren();
      for (Entry& e : node->entries) {
        node->children[node->ChildIndex(e.position)].entries.push_back(std::move(e));
      }
      node->entries.clear();
      node = &node->children[node->ChildIndex(position)];
    }
    node->entries.push_back(Entry{std::move(key), position});
  }

  // Merges the `count` nearest entries with a squared distance of at most `radius_sq` into
  // `results`, which stays sorted nearest first and at most `count` long; `results` may hold
  // those of an earlier search (another tree): a new entry displaces an old one only if it is
  // strictly nearer.
  FindResult FindNearest(const Vec2<T>& point, int count, T radius_sq,
                         mmvector<DistanceResult>* results) const {
    // A negative count would make reserve ask for an absurd size; it finds nothing.
    if (count < 0) return {};
    results->reserve(static_cast<size_t>(count));
    return {FindNearestDownwards(root_, false, point, count, radius_sq, results)};
  }

  const Node* FindNearestDownwards(const Node* node, bool skip_own_child, const Vec2<T>& point,
                                   int count, T radius_sq,
                                   mmvector<DistanceResult>* results) const {
    T dx = node->min.x - point.x;
    if (!(dx > 0)) dx = point.x - node->max.x;
    if (dx < 0) dx = 0;
    T dy = node->min.y - point.y;
    if (!(dy > 0)) dy = point.y - node->max.y;
    if (dy < 0) dy = 0;
    T limit = radius_sq;
    if (static_cast<int64_t>(results->size()) == count && count > 0 &&
        !(results->back().distance_sq > radius_sq)) {
      limit = results->back().distance_sq;
    }
    if (dx * dx + dy * dy > limit) return nullptr;
    if (node->is_leaf()) {
      return AddToSortedListWithinRadius(node->entries, point, count, limit, results) ? node
                                                                                     : nullptr;
    }
    int i = node->ChildIndex(point);
    const Node* found = nullptr;
    int contributed = 0;
    auto visit = [&](int child) {
      const Node* r =
          FindNearestDownwards(&node->children[child], false, point, count, limit, results);
      if (r) {
        found = r;
        ++contributed;
      }
    };
    if (!skip_own_child) visit(i);
    visit((i + 3) % 4);
    visit((i + 1) % 4);
    visit((i + 2) % 4);
    if (contributed == 0) return nullptr;
    return contributed == 1 ? found : node;
  }

  bool AddToSortedListWithinRadius(const mmvector<Entry>& entries, const Vec2<T>& point, int count,
                                   T radius_sq, mmvector<DistanceResult>* results) const {
    const size_t old_size = results->size();
    const T old_last = results->empty() ? std::numeric_limits<T>::max()
                                        : results->back().distance_sq;
    for (const Entry& e : entries) {
      T ex = point.x - e.position.x;
      T ey = point.y - e.position.y;
      T distance_sq = ex * ex + ey * ey;
      if (!(distance_sq <= radius_sq)) continue;
      auto it = results->begin();
      while (it != results->end() && !(it->distance_sq > distance_sq)) ++it;
      results->insert(it, DistanceResult{&e, distance_sq});
    }
    if (count >= 0 && results->size() > static_cast<size_t>(count)) {
      RemoveLast(results, static_cast<int>(results->size() - static_cast<size_t>(count)));
    }
    if (results->empty()) return false;
    if (results->size() > old_size) return true;
    return results->back().distance_sq < old_last;
  }

  static void RemoveLast(mmvector<DistanceResult>* results, int count) {
    if (count <= 0) return;
    size_t n = static_cast<size_t>(count) < results->size() ? static_cast<size_t>(count)
                                                             : results->size();
    results->resize(results->size() - n);
  }

  // Replaces the root with an empty one over the same rectangle (the graph's Clear).
  void Reset() {
    Node* fresh = doNew<Node>(heap_, root_->min, root_->max, nullptr, heap_);
    doDelete(root_, heap_);
    root_ = fresh;
  }

  const Node* root() const { return root_; }
  int max_entries_per_node() const { return max_entries_per_node_; }

 private:
  int max_entries_per_node_;
  Node* root_;
  MemoryManager* heap_;
};

}  // namespace vistara::spatial

#endif  // VISTARA_SPATIAL_QTREE_H_
