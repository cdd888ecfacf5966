#include "platform/inlined_vector.h"

#include <gtest/gtest.h>

#include <QString>
#include <bit>
#include <vector>

#include "test_util.h"

namespace vistara {
namespace {

// Random operations against std::vector; after each, the contents and the capacity (N inline, then
// the smallest power of two at least the size that grew it) must agree. The elements own heap
// text, so that ASan sees a lost or doubled destruction.
template <size_t N>
void RunAgainstShadow(testing::SeededRandom& rng) {
  InlinedVector<QString, N> v;
  std::vector<QString> shadow;
  size_t capacity = N;
  for (int step = 0; step < 3000; ++step) {
    const int op = rng.Int(0, 7);
    const size_t n = op <= 3 ? shadow.size() + 1 : static_cast<size_t>(rng.Int(0, 40));
    if (op <= 5 && n > capacity) capacity = std::bit_ceil(n);
    if (op <= 2 || (op == 3 && shadow.empty())) {
      shadow.push_back(QString::number(rng.Int(0, 1000)) + " on the heap");
      v.push_back(shadow.back());
    } else if (op == 3) {
      shadow.push_back(shadow[0]);
      v.push_back(v[0]);  // an element of the vector itself, which the growth moves
    } else if (op == 4 && !shadow.empty()) {
      shadow.resize(n, shadow.back());
      v.resize(n, v.back());  // again an element that the growth moves
    } else if (op == 4) {
      shadow.resize(n);
      v.resize(n);
    } else if (op == 5) {
      v.reserve(n);
      if (rng.Int(0, 20) == 0) {
        v.clear();  // back to the inline storage
        shadow.clear();
        capacity = N;
      }
    } else if (op == 6 && !shadow.empty()) {
      shadow.pop_back();
      v.pop_back();
    } else if (op == 7) {
      InlinedVector<QString, N> copy(v);
      InlinedVector<QString, N> moved(std::move(copy));
      ASSERT_TRUE(copy.empty() && !copy.on_heap() && moved == v);
      moved.swap(v);
      capacity = shadow.size() <= N ? N : std::bit_ceil(shadow.size());  // a copy is as small as allowed
    }
    ASSERT_EQ(shadow, std::vector<QString>(v.begin(), v.end()));
    ASSERT_EQ(capacity, v.capacity());
  }
}

TEST(InlinedVectorTest, BehavesLikeAVectorWithTheGrowthRule) {
  testing::SeededRandom rng;
  RunAgainstShadow<1>(rng);
  RunAgainstShadow<10>(rng);
}

}  // namespace
}  // namespace vistara
