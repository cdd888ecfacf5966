#include "platform/referent.h"

#include <gtest/gtest.h>

#include "platform/memory.h"

namespace vistara {
namespace {

class Tracked : public Referent {
 public:
  explicit Tracked(int* orphaned_count) : orphaned_count_(orphaned_count) {}

 protected:
  void orphaned() const override {
    ++*orphaned_count_;
    Referent::orphaned();
  }

 private:
  int* orphaned_count_;
};

TEST(RefPtrTest, CountsReachZeroExactlyOnce) {
  int orphaned = 0;
  {
    RefPtr<Tracked> a(new Tracked(&orphaned));
    EXPECT_EQ(1, a->ref_count());
    RefPtr<Tracked> b = a;
    RefPtr<Tracked> c(std::move(b));
    EXPECT_FALSE(b);
    EXPECT_EQ(2, a->ref_count());
    c = c;  // self-assignment keeps the object
    a = a.get();
    EXPECT_EQ(2, a->ref_count());
    c.reset();
    EXPECT_EQ(1, a->ref_count());
    RefPtr<Referent> base = a;
    EXPECT_EQ(2, a->ref_count());
  }
  EXPECT_EQ(1, orphaned);
}

TEST(MemoryTest, ContainersAndObjectsGiveBackWhatTheyTake) {
  CountingMemoryManager heap;
  {
    mmvector<int> v(&heap);
    for (int i = 0; i < 1000; ++i) v.push_back(i);
    EXPECT_GT(heap.live_blocks(), 0);
    EXPECT_GE(heap.live_bytes(), static_cast<int64_t>(1000 * sizeof(int)));
    mmvector<int> copy = v;
    EXPECT_EQ(&heap, copy.get_allocator().memory_manager());
  }
  EXPECT_EQ(0, heap.live_blocks());
  EXPECT_EQ(0, heap.live_bytes());

  struct Placed : MemoryObject {
    double payload[4];
  };
  Placed* p = new (&heap) Placed;
  EXPECT_EQ(1, heap.live_blocks());
  delete p;
  EXPECT_EQ(0, heap.live_blocks());

  auto* d = doNew<std::string>(&heap, 40, 'x');
  EXPECT_EQ(std::string(40, 'x'), *d);
  doDelete(d, &heap);
  EXPECT_EQ(0, heap.live_blocks());

  int32_t n = 5;
  EXPECT_EQ(8, AtomicAdd32(&n, 3));
  int32_t top = INT32_MAX;
  EXPECT_EQ(INT32_MIN, AtomicAdd32(&top, 1));
}

}  // namespace
}  // namespace vistara
