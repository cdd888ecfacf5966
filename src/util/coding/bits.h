// Counting and measuring bits. All operations are static and take any input.
#ifndef VISTARA_UTIL_CODING_BITS_H_
#define VISTARA_UTIL_CODING_BITS_H_

#include <cstdint>

namespace loupe {

class Bits {
 public:
  // Entry v: the number of set bits of the byte v.
  static const uint8_t num_bits[256];

  // Set bits in `n` bytes at `m`; 0 for n < 1.
  static int Count(const void* m, int n);
  // Set bits of the XOR of `n` bytes at `m1` and `m2`; 0 for n < 1.
  static int Difference(const void* m1, const void* m2, int n);
  // As Difference, but stops as soon as the running total exceeds `cap` and returns that total;
  // 0 for a negative cap or n < 1.
  static int CappedDifference(const void* m1, const void* m2, int n, int cap);

  // Floor of log2(n); -1 for 0.
  static int Log2Floor_Portable(uint32_t n);
  // Index of the lowest set bit; `n` must not be 0 (0 gives 0 here).
  static int FindLSBSetNonZero_Portable(uint32_t n);
  // Ceiling of log2(n); -1 for 0.
  static int Log2Ceiling(uint32_t n);
  static int Log2Ceiling64(uint64_t n);
};

}  // namespace loupe

#endif  // VISTARA_UTIL_CODING_BITS_H_
