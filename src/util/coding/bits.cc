#include "util/coding/bits.h"

#include <bit>

namespace loupe {

const uint8_t Bits::num_bits[256] = {
#define B2(n) n, n + 1, n + 1, n + 2
#define B4(n) B2(n), B2(n + 1), B2(n + 1), B2(n + 2)
#define B6(n) B4(n), B4(n + 1), B4(n + 1), B4(n + 2)
    B6(0), B6(1), B6(1), B6(2)
#undef B6
#undef B4
#undef B2
};

int Bits::Count(const void* m, int n) {
  const auto* s = static_cast<const uint8_t*>(m);
  int total = 0;
  for (int i = 0; i < n; ++i) total += num_bits[s[i]];
  return total;
}

int Bits::Difference(const void* m1, const void* m2, int n) {
  const auto* s1 = static_cast<const uint8_t*>(m1);
  const auto* s2 = static_cast<const uint8_t*>(m2);
  int total = 0;
  for (int i = 0; i < n; ++i) total += num_bits[s1[i] ^ s2[i]];
  return total;
}

int Bits::CappedDifference(const void* m1, const void* m2, int n, int cap) {
  if (cap < 0 || n < 1) return 0;
  const auto* s1 = static_cast<const uint8_t*>(m1);
  const auto* s2 = static_cast<const uint8_t*>(m2);
  int total = 0;
  for (int i = 0; i < n && total <= cap; ++i) total += num_bits[s1[i] ^ s2[i]];
  return total;
}

int Bits::Log2Floor_Portable(uint32_t n) {
  if (n == 0) return -1;
  int log = 0;
  uint32_t value = n;
  for (int i = 4; i >= 0; --i) {
    const int shift = 1 << i;  // 16, 8, 4, 2, 1
    const uint32_t x = value >> shift;
    if (x != 0) {
      value = x;
      log += shift;
    }
  }
  return log;
}

int Bits::FindLSBSetNonZero_Portable(uint32_t n) {
  if (n == 0) return 0;  // not a valid argument; 0 rather than a search that never ends
  int rc = 31;
  for (int i = 4, shift = 1 << 4; i >= 0; --i) {
    const uint32_t x = n << shift;
    if (x != 0) {
      n = x;
      rc -= shift;
    }
    shift >>= 1;
  }
  return rc;
}

int Bits::Log2Ceiling(uint32_t n) {
  const int floor = Log2Floor_Portable(n);
  if (floor < 0) return -1;
  return (n & (n - 1)) == 0 ? floor : floor + 1;
}

int Bits::Log2Ceiling64(uint64_t n) {
  if (n == 0) return -1;
  const int floor = 63 - std::countl_zero(n);
  return (n & (n - 1)) == 0 ? floor : floor + 1;
}

}  // namespace loupe
