#include "platform/referent.h"

#include <gtest/gtest.h>

#include "platform/memory.h"

namespace vistara {
namespace {

struct Tracked : Referent {
  explicit Tracked(int* deleted) : deleted_(deleted) {}
  ~Tracked() override { ++*deleted_; }
  int* deleted_;
};

TEST(RefPtrTest, CountsReachZeroExactlyOnce) {
  int deleted = 0;
  {
    RefPtr<Tracked> a(new Tracked(&deleted));
    RefPtr<Tracked> b = a;
    RefPtr<Tracked> c(std::move(b));
    EXPECT_FALSE(b);
    c = c;  // self-assignment keeps the object
    a = a.get();
    EXPECT_EQ(2, a->ref_count());
    c.reset();
    RefPtr<Referent> base = a;
    EXPECT_EQ(2, a->ref_count());
  }
  EXPECT_EQ(1, deleted);
  int32_t top = INT32_MAX;
  EXPECT_EQ(INT32_MIN, AtomicAdd32(&top, 1)) << "wraps instead of overflowing";
}

TEST(MemoryTest, ContainersAndObjectsGiveBackWhatTheyTake) {
  CountingMemoryManager heap;
  {
    mmvector<int> v(&heap);
    for (int i = 0; i < 1000; ++i) v.push_back(i);
    EXPECT_GE(heap.live_bytes(), static_cast<int64_t>(1000 * sizeof(int)));
    mmvector<int> copy = v;
    EXPECT_EQ(&heap, copy.get_allocator().memory_manager());
  }
  struct Placed : MemoryObject {
    double payload[4];
  };
  Placed* p = new (&heap) Placed;
  auto* d = doNew<std::string>(&heap, 40, 'x');
  EXPECT_EQ(2, heap.live_blocks());
  delete p;
  doDelete(d, &heap);
  EXPECT_EQ((std::pair<int64_t, int64_t>(0, 0)), std::pair(heap.live_blocks(), heap.live_bytes()));
}

}  // namespace
}  // namespace vistara
