#include "platform/hash.h"

namespace vistara {

namespace {
// Byte i of the UTF-16 data, in memory order (little-endian units).
inline uint32_t ByteAt(const char16_t* data, size_t i) {
  const uint32_t unit = data[i / 2];
  return (i % 2 == 0) ? (unit & 0xFF) : (unit >> 8);
}
}  // namespace

uint32_t HashUtf16(const char16_t* data, size_t units) {
  const size_t bytes = units * 2;
  uint32_t h = kHashSeed;
  if (bytes <= 4) {
    uint32_t word = 0;
    for (size_t i = 0; i < bytes; ++i) word |= ByteAt(data, i) << (8 * i);
    return HashFinish(HashMix(h, word));
  }
  h = HashFinish(HashMix(h, data[0]));
  size_t i = 2;
  for (; i + 4 <= bytes; i += 4) {
    h = HashMix(h, ByteAt(data, i) | ByteAt(data, i + 1) << 8 | ByteAt(data, i + 2) << 16 | ByteAt(data, i + 3) << 24);
  }
  const size_t tail = bytes - i;
  if (tail > 0) {
    if (tail >= 3) h ^= ByteAt(data, i + 2) << 16;
    if (tail >= 2) h ^= ByteAt(data, i + 1) << 8;
    h ^= ByteAt(data, i);
    h *= kHashMultiplier;
  }
  return HashFinish(h);
}

}  // namespace vistara
