// vistara::hash<T>: the hash of the library's unordered maps (panorama ids, orbit names, tiles).
//
// A MurmurHash2-style mix with m = 0x5BD1E995 and the starting value 0x12345678, all arithmetic
// modulo 2^32. hash<QString> reads the string's UTF-16 data of L bytes:
//   L <= 4: the bytes, zero-padded to four, as one little-endian word, mixed in; then finished.
//   L > 4:  the first UTF-16 unit as a word, mixed in and finished; then the other L - 2 bytes four
//           at a time as little-endian words; a tail of 1 to 3 bytes XORed into h (third byte << 16,
//           second << 8, first) and h times m; then finished again.
// The values are part of the interface: they fix the iteration order of the maps.
#ifndef VISTARA_PLATFORM_HASH_H_
#define VISTARA_PLATFORM_HASH_H_

#include <QString>
#include <cstddef>
#include <cstdint>

namespace vistara {

inline constexpr uint32_t kHashMultiplier = 0x5BD1E995u;
inline constexpr uint32_t kHashSeed = 0x12345678u;

// Mixes the word `k` into `h`.
constexpr uint32_t HashMix(uint32_t h, uint32_t k) {
  k *= kHashMultiplier;
  k ^= k >> 24;
  k *= kHashMultiplier;
  return (h * kHashMultiplier) ^ k;
}

constexpr uint32_t HashFinish(uint32_t h) {
  h ^= h >> 13;
  h *= kHashMultiplier;
  return h ^ (h >> 15);
}

// The hash of `units` UTF-16 code units (L = 2 * units bytes), as described above.
uint32_t HashUtf16(const char16_t* data, size_t units);

template <class T>
struct hash;

template <>
struct hash<QString> {
  size_t operator()(const QString& s) const {
    // constData, not utf16(): utf16() gives a null string a terminator, turning it into an empty
    // one behind the const (a record's null level_id, hashed as a quad tree key, would change).
    return HashUtf16(reinterpret_cast<const char16_t*>(s.constData()), static_cast<size_t>(s.size()));
  }
};

}  // namespace vistara

#endif  // VISTARA_PLATFORM_HASH_H_
