#include "util/coding/varint.h"

namespace loupe {

const uint8_t Varint::length32_bytes_required[33] = {
    1,                    // 0 bits: the value 0 still takes a byte
    1, 1, 1, 1, 1, 1, 1,  // 1..7
    2, 2, 2, 2, 2, 2, 2,  // 8..14
    3, 3, 3, 3, 3, 3, 3,  // 15..21
    4, 4, 4, 4, 4, 4, 4,  // 22..28
    5, 5, 5, 5,           // 29..32
};

int Varint::Length32NonInline(uint32_t v) {
  if (v < (1u << 7)) return 1;
  if (v < (1u << 14)) return 2;
  if (v < (1u << 21)) return 3;
  if (v < (1u << 28)) return 4;
  return 5;
}

int Varint::Length64(uint64_t v) {
  if (v < (uint64_t{1} << 28)) return length32_bytes_required[std::bit_width(v)];
  if (v < (uint64_t{1} << 35)) return 5;
  return 5 + length32_bytes_required[std::bit_width(v >> 35)];
}

char* Varint::Encode32Long(char* sptr, uint32_t v) {
  auto* p = reinterpret_cast<unsigned char*>(sptr);
  constexpr uint32_t B = 128;
  if (v < (1u << 7)) {
    p[0] = static_cast<unsigned char>(v);
    return sptr + 1;
  }
  if (v < (1u << 14)) {
    p[0] = static_cast<unsigned char>(v | B);
    p[1] = static_cast<unsigned char>(v >> 7);
    return sptr + 2;
  }
  if (v < (1u << 21)) {
    p[0] = static_cast<unsigned char>(v | B);
    p[1] = static_cast<unsigned char>((v >> 7) | B);
    p[2] = static_cast<unsigned char>(v >> 14);
    return sptr + 3;
  }
  if (v < (1u << 28)) {
    p[0] = static_cast<unsigned char>(v | B);
    p[1] = static_cast<unsigned char>((v >> 7) | B);
    p[2] = static_cast<unsigned char>((v >> 14) | B);
    p[3] = static_cast<unsigned char>(v >> 21);
    return sptr + 4;
  }
  p[0] = static_cast<unsigned char>(v | B);
  p[1] = static_cast<unsigned char>((v >> 7) | B);
  p[2] = static_cast<unsigned char>((v >> 14) | B);
  p[3] = static_cast<unsigned char>((v >> 21) | B);
  p[4] = static_cast<unsigned char>(v >> 28);
  return sptr + 5;
}

void Varint::Append32(std::string* s, uint32_t v) {
  if (v < 128) {
    s->push_back(static_cast<char>(v));
  } else {
    Append32Slow(s, v);
  }
}

void Varint::Append64(std::string* s, uint64_t v) {
  if (v < 128) {
    s->push_back(static_cast<char>(v));
  } else {
    Append64Slow(s, v);
  }
}

void Varint::Append32Slow(std::string* s, uint32_t v) {
  char buf[kMax32];
  const char* end = Encode32(buf, v);
  s->append(buf, static_cast<size_t>(end - buf));
}

void Varint::Append64Slow(std::string* s, uint64_t v) {
  char buf[kMax64];
  const char* end = Encode64(buf, v);
  s->append(buf, static_cast<size_t>(end - buf));
}

const char* Varint::Parse32Fallback(const char* p, uint32_t* out) {
  const auto* ptr = reinterpret_cast<const unsigned char*>(p);
  uint32_t b = *ptr++;
  uint32_t result = b & 127;
  if (b < 128) goto done;
  b = *ptr++;
  result |= (b & 127) << 7;
  if (b < 128) goto done;
  b = *ptr++;
  result |= (b & 127) << 14;
  if (b < 128) goto done;
  b = *ptr++;
  result |= (b & 127) << 21;
  if (b < 128) goto done;
  b = *ptr++;
  // Bits of the fifth byte above the 32nd are dropped (unsigned shift).
  result |= b << 28;
  if (b < 128) goto done;
  return nullptr;
done:
  *out = result;
  return reinterpret_cast<const char*>(ptr);
}

const char* Varint::Parse64Fallback(const char* p, uint64_t* out) {
  const auto* ptr = reinterpret_cast<const unsigned char*>(p);
  // The first four bytes fit in 32 bits.
  uint32_t b = *ptr++;
  uint32_t lo = b & 127;
  if (b < 128) {
    *out = lo;
    return reinterpret_cast<const char*>(ptr);
  }
  b = *ptr++;
  lo |= (b & 127) << 7;
  if (b < 128) {
    *out = lo;
    return reinterpret_cast<const char*>(ptr);
  }
  b = *ptr++;
  lo |= (b & 127) << 14;
  if (b < 128) {
    *out = lo;
    return reinterpret_cast<const char*>(ptr);
  }
  b = *ptr++;
  lo |= (b & 127) << 21;
  if (b < 128) {
    *out = lo;
    return reinterpret_cast<const char*>(ptr);
  }
  uint64_t result = lo;
  for (int shift = 28; shift <= 63; shift += 7) {
    const uint64_t c = *ptr++;
    // At shift 63 only the lowest bit of the tenth byte fits.
    result |= (c & 127) << shift;
    if (c < 128) {
      *out = result;
      return reinterpret_cast<const char*>(ptr);
    }
  }
  return nullptr;
}

const char* Varint::Parse32WithLimit(const char* p, const char* limit, uint32_t* out) {
  if (limit - p >= kMax32) return Parse32Fallback(p, out);
  uint32_t result = 0;
  for (int shift = 0; p < limit; shift += 7) {
    const uint32_t b = static_cast<unsigned char>(*p++);
    result |= (b & 127) << shift;
    if (b < 128) {
      *out = result;
      return p;
    }
  }
  return nullptr;
}

const char* Varint::Parse64WithLimit(const char* p, const char* limit, uint64_t* out) {
  if (limit - p < kMax64) {
    // Nine bytes or fewer: at most shift 56, always in range.
    uint64_t result = 0;
    for (int shift = 0; p < limit; shift += 7) {
      const uint64_t b = static_cast<unsigned char>(*p++);
      result |= (b & 127) << shift;
      if (b < 128) {
        *out = result;
        return p;
      }
    }
    return nullptr;
  }
  if (static_cast<unsigned char>(*p) < 128) {
    *out = static_cast<unsigned char>(*p);
    return p + 1;
  }
  return Parse64Fallback(p, out);
}

namespace {

// The first byte of the varint whose last byte is p[-1], or null (see the header of Varint).
template <int kMax>
const char* FindStartBackward(const char* p, const char* base) {
  if (p <= base) return nullptr;
  // The last byte of a varint never has its top bit set.
  if (static_cast<unsigned char>(p[-1]) & 128) return nullptr;
  const char* q = p - 1;
  while (q > base && (static_cast<unsigned char>(q[-1]) & 128)) {
    --q;
    if (p - q > kMax) return nullptr;
  }
  return q;
}

}  // namespace

const char* Varint::Parse32BackwardSlow(const char* p, const char* base, uint32_t* out) {
  const char* start = FindStartBackward<kMax32>(p, base);
  if (start == nullptr) return nullptr;
  if (static_cast<unsigned char>(*start) < 128) {
    *out = static_cast<unsigned char>(*start);
  } else if (Parse32Fallback(start, out) == nullptr) {
    return nullptr;
  }
  return start;
}

const char* Varint::Parse64BackwardSlow(const char* p, const char* base, uint64_t* out) {
  const char* start = FindStartBackward<kMax64>(p, base);
  if (start == nullptr) return nullptr;
  if (static_cast<unsigned char>(*start) < 128) {
    *out = static_cast<unsigned char>(*start);
  } else if (Parse64Fallback(start, out) == nullptr) {
    return nullptr;
  }
  return start;
}

const char* Varint::Skip32BackwardSlow(const char* p, const char* base) {
  return FindStartBackward<kMax32>(p, base);
}

const char* Varint::Skip64BackwardSlow(const char* p, const char* base) {
  return FindStartBackward<kMax64>(p, base);
}

void Varint::EncodeTwo32Values(std::string* s, uint32_t a, uint32_t b) {
  uint64_t v = 0;
  for (int shift = 0; (a | b) != 0; shift += 8) {
    v |= uint64_t{(b & 15) << 4 | (a & 15)} << shift;
    a >>= 4;
    b >>= 4;
  }
  if (v <= 127) {
    s->push_back(static_cast<char>(v));
  } else {
    Append64Slow(s, v);
  }
}

const char* Varint::DecodeTwo32ValuesSlow(const char* p, uint32_t* a, uint32_t* b) {
  uint64_t v = 0;  // stays 0 when the parse fails
  const char* r = Parse64Fallback(p, &v);
  *a = 0;
  *b = 0;
  for (int shift = 0; v != 0; shift += 4) {
    *a |= static_cast<uint32_t>(v & 15) << shift;
    *b |= static_cast<uint32_t>((v >> 4) & 15) << shift;
    v >>= 8;
  }
  return r;
}

}  // namespace loupe
