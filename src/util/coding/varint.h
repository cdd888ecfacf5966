// Base-128 integers ("varints"): seven bits a byte, lowest group first, the top bit of a byte set
// when another byte follows. 300 is AC 02, 127 is 7F, 128 is 80 01.
//
// All operations are static. Encoders write at most kMax32 / kMax64 bytes and return the pointer
// past the last byte written. Parsers return the pointer past the last byte read, or null when the
// bytes don't hold a complete varint; on failure the output is left alone. The Fallback parsers
// have no limit: the caller guarantees kMax32 / kMax64 readable bytes. The Backward parsers find
// the varint that ends just before `p` and never look before `base`.
#ifndef VISTARA_UTIL_CODING_VARINT_H_
#define VISTARA_UTIL_CODING_VARINT_H_

#include <bit>
#include <cstdint>
#include <string>

namespace loupe {

class Varint {
 public:
  static constexpr int kMax32 = 5;
  static constexpr int kMax64 = 10;
  static constexpr int kSlopBytes = 0;

  // Entry b: the encoded length of a value with b significant bits.
  static const uint8_t length32_bytes_required[33];

  static int Length32(uint32_t v) { return length32_bytes_required[std::bit_width(v)]; }
  static int Length32NonInline(uint32_t v);
  static int Length64(uint64_t v);

  static char* Encode32(char* sptr, uint32_t v) {
    auto* p = reinterpret_cast<unsigned char*>(sptr);
    if (v < (1u << 7)) {
      p[0] = static_cast<unsigned char>(v);
      return sptr + 1;
    }
    if (v < (1u << 14)) {
      p[0] = static_cast<unsigned char>(v | 0x80);
      p[1] = static_cast<unsigned char>(v >> 7);
      return sptr + 2;
    }
    return Encode32Long(sptr, v);
  }
  // The same bytes as branching on 2^28 and 2^35 with the rest (v >> 35) through Encode32;
  // the plain loop is the faster form.
  static char* Encode64(char* sptr, uint64_t v) {
    auto* p = reinterpret_cast<unsigned char*>(sptr);
    while (v >= 128) {
      *p++ = static_cast<unsigned char>(v | 128);
      v >>= 7;
    }
    *p++ = static_cast<unsigned char>(v);
    return reinterpret_cast<char*>(p);
  }

  static void Append32(std::string* s, uint32_t v);
  static void Append64(std::string* s, uint64_t v);
  static void Append32Slow(std::string* s, uint32_t v);
  static void Append64Slow(std::string* s, uint64_t v);

  static const char* Parse32Fallback(const char* p, uint32_t* out);
  static const char* Parse64Fallback(const char* p, uint64_t* out);
  // With a limit: null as soon as another byte is needed at `limit`.
  static const char* Parse32WithLimit(const char* p, const char* limit, uint32_t* out);
  static const char* Parse64WithLimit(const char* p, const char* limit, uint64_t* out);

  static const char* Parse32BackwardSlow(const char* p, const char* base, uint32_t* out);
  static const char* Parse64BackwardSlow(const char* p, const char* base, uint64_t* out);
  static const char* Skip32BackwardSlow(const char* p, const char* base);
  static const char* Skip64BackwardSlow(const char* p, const char* base);

  // Two values in one 64-bit varint, nibbles interleaved (byte i = b's nibble i << 4 | a's).
  static void EncodeTwo32Values(std::string* s, uint32_t a, uint32_t b);
  static const char* DecodeTwo32ValuesSlow(const char* p, uint32_t* a, uint32_t* b);

 private:
  static char* Encode32Long(char* sptr, uint32_t v);
};

}  // namespace loupe

#endif  // VISTARA_UTIL_CODING_VARINT_H_
