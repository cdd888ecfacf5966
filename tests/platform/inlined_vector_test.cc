#include "platform/inlined_vector.h"

#include <gtest/gtest.h>

#include <QString>
#include <algorithm>
#include <bit>
#include <vector>

#include "test_util.h"

namespace vistara {
namespace {

// An element that counts the live objects of its kind, so that a lost or doubled destruction shows.
struct Counted {
  static inline int live = 0;
  int value;
  Counted(int v = -1) : value(v) { ++live; }  // NOLINT: built from ints in the tests
  Counted(const Counted& o) : value(o.value) { ++live; }
  Counted(Counted&& o) noexcept : value(o.value) { ++live; }
  Counted& operator=(const Counted&) = default;
  ~Counted() { --live; }
  bool operator==(const Counted& o) const { return value == o.value; }
};

// Random operations against std::vector as the shadow; after each, the contents, the capacity rule
// (N inline, then the smallest power of two at least max(N, the size that grew it)) and the count
// of live elements must agree.
template <size_t N>
void RunAgainstShadow(testing::SeededRandom& rng) {
  {
    InlinedVector<Counted, N> v;
    std::vector<int> shadow;
    size_t expected_capacity = N;
    auto grow_to = [&](size_t needed) {
      if (needed > expected_capacity) expected_capacity = std::bit_ceil(std::max(N, needed));
    };
    for (int step = 0; step < 3000; ++step) {
      const int op = rng.Int(0, 9);
      if (op <= 3) {
        grow_to(shadow.size() + 1);
        const int value = rng.Int(0, 1000);
        v.push_back(Counted(value));
        shadow.push_back(value);
      } else if (op == 4 && !shadow.empty()) {
        // An element of the vector itself, appended while the vector grows.
        grow_to(shadow.size() + 1);
        v.push_back(v[0]);
        shadow.push_back(shadow[0]);
      } else if (op == 5 && !shadow.empty()) {
        v.pop_back();
        shadow.pop_back();
      } else if (op == 6) {
        const size_t n = static_cast<size_t>(rng.Int(0, 40));
        grow_to(n);
        if (!shadow.empty() && rng.Int(0, 1)) {
          v.resize(n, v.back());
          shadow.resize(n, shadow.back());
        } else {
          v.resize(n);
          shadow.resize(n, -1);
        }
      } else if (op == 7) {
        const size_t n = static_cast<size_t>(rng.Int(0, 70));
        grow_to(n);
        v.reserve(n);
      } else if (op == 8 && rng.Int(0, 20) == 0) {
        v.clear();
        shadow.clear();
        expected_capacity = N;
      } else if (op == 9) {
        InlinedVector<Counted, N> copy(v);
        InlinedVector<Counted, N> moved(std::move(copy));
        EXPECT_TRUE(copy.empty() && !copy.on_heap());
        v = moved;
        moved.swap(v);
        expected_capacity = v.capacity();  // a copy is as small as the rule allows
        ASSERT_EQ(expected_capacity, v.size() <= N ? N : std::bit_ceil(v.size()));
      }
      ASSERT_EQ(shadow.size(), v.size());
      ASSERT_EQ(expected_capacity, v.capacity());
      ASSERT_EQ(expected_capacity > N, v.on_heap());
      for (size_t i = 0; i < shadow.size(); ++i) ASSERT_EQ(shadow[i], v[i].value) << "at " << i;
      ASSERT_EQ(static_cast<int>(shadow.size()), Counted::live);
    }
  }
  EXPECT_EQ(0, Counted::live);
}

TEST(InlinedVectorTest, BehavesLikeAVectorWithTheGrowthRule) {
  testing::SeededRandom rng;
  RunAgainstShadow<1>(rng);
  RunAgainstShadow<10>(rng);
  RunAgainstShadow<16>(rng);
}

TEST(InlinedVectorTest, InlineUntilFullThenPowersOfTwo) {
  using Path = InlinedVector<QString, 10>;
  Path path;
  const QString* inline_start = path.begin();
  for (int i = 0; i < 10; ++i) path.push_back(QString::number(i));
  EXPECT_EQ(inline_start, path.begin()) << "ten fit inline";
  EXPECT_FALSE(path.on_heap());
  path.push_back("10");
  EXPECT_TRUE(path.on_heap());
  EXPECT_EQ(16u, path.capacity());
  for (int i = 11; i < 17; ++i) path.push_back(QString::number(i));
  EXPECT_EQ(32u, path.capacity());
  std::reverse(path.begin(), path.end());
  EXPECT_EQ("16", path.front());
  EXPECT_EQ("0", path.back());
  EXPECT_EQ(Path(path), path);

  path.clear();
  EXPECT_FALSE(path.on_heap()) << "clear frees the heap block";
  EXPECT_EQ(inline_start, path.begin());
  EXPECT_EQ(10u, path.capacity());

  const Path a{"x", "y"};
  EXPECT_EQ(a, (Path{"x", "y"}));
  EXPECT_FALSE(a == (Path{"x"}));
  EXPECT_EQ(Path(3, "z"), (Path{"z", "z", "z"}));
}

}  // namespace
}  // namespace vistara
