// Byte-level output and input buffers under the bit coder.
//
// Encoder is a growable output buffer: `Ensure(n)` is one comparison while there is room and falls
// back to EnsureSlowPath, which reallocates to the larger of `length() + n` and twice the length.
// An Encoder built over a caller's array writes there and may not grow (`ensure_allowed()` false);
// asking it to grow reports "Check failed: ensure_allowed()" and, rather than write past the
// caller's array, moves the bytes to an array of its own.
//
// Decoder is a bounded cursor over bytes it doesn't own; the bytes must outlive it. Any bytes are
// safe input: the varint readers fail (false) instead of reading past the end.
//
// Multi-byte fixed-width values are little-endian. Objects are single-threaded.
#ifndef VISTARA_UTIL_CODING_CODER_H_
#define VISTARA_UTIL_CODING_CODER_H_

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "util/coding/varint.h"

namespace loupe {

class Encoder {
 public:
  // An empty buffer that grows on demand.
  Encoder();
  // Writes into `buffer` (not owned, `size` bytes), which must outlive the encoder.
  Encoder(void* buffer, size_t size);
  ~Encoder();
  Encoder(const Encoder&) = delete;
  Encoder& operator=(const Encoder&) = delete;

  // The bytes written so far.
  const char* buffer() const { return buf_; }
  size_t buffer_size() const { return length(); }
  char* base() const { return buf_; }
  char* ptr() const { return p_; }

  size_t length() const { return static_cast<size_t>(p_ - buf_); }
  size_t avail() const { return static_cast<size_t>(limit_ - p_); }
  bool ensure_allowed() const { return underlying_buffer_ != nullptr; }

  // Room for `n` more bytes.
  void Ensure(size_t n) {
    if (avail() < n) EnsureSlowPath(static_cast<unsigned>(n));
  }
  void EnsureSlowPath(unsigned n);
  // Drops the last `n` bytes; `n` above length() reports "length() >= N" and drops nothing.
  void RemoveLast(unsigned n);
  // Shrinks to `n` bytes; growing reports "length() >= N" and leaves the length alone.
  void Resize(unsigned n);

  // The puts assume room (Ensure first).
  void put8(uint8_t v) { *p_++ = static_cast<char>(v); }
  void put32(uint32_t v) {
    char b[4] = {static_cast<char>(v), static_cast<char>(v >> 8), static_cast<char>(v >> 16),
                 static_cast<char>(v >> 24)};
    std::memcpy(p_, b, 4);
    p_ += 4;
  }
  void putn(const void* src, size_t n) {
    if (n == 0) return;
    std::memcpy(p_, src, n);
    p_ += n;
  }
  // Room for kMax32 / kMax64 bytes first.
  void put_varint32(uint32_t v) {
    Ensure(Varint::kMax32);
    p_ = Varint::Encode32(p_, v);
  }
  void put_varint64(uint64_t v) {
    Ensure(Varint::kMax64);
    p_ = Varint::Encode64(p_, v);
  }

  static int varint32_length(uint32_t v) { return Varint::Length32(v); }
  static int varint64_length(uint64_t v) { return Varint::Length64(v); }

  // Marks "nothing allocated yet"; its address is never written through.
  static char kEmptyBuffer;

 private:
  char* buf_;
  char* p_;
  char* limit_;
  // Owned array; &kEmptyBuffer while none; null for a caller's array.
  char* underlying_buffer_;
};

class Decoder {
 public:
  Decoder() : buf_(nullptr), p_(nullptr), limit_(nullptr) {}
  // Reads `size` bytes at `data` (not owned).
  Decoder(const void* data, size_t size) { reset(data, size); }
  void reset(const void* data, size_t size) {
    buf_ = static_cast<const char*>(data);
    p_ = buf_;
    limit_ = size == 0 ? buf_ : buf_ + size;
  }

  size_t avail() const { return static_cast<size_t>(limit_ - p_); }
  size_t pos() const { return static_cast<size_t>(p_ - buf_); }
  const char* ptr() const { return p_; }
  const char* limit() const { return limit_; }

  // The gets assume enough bytes (check avail() first).
  uint8_t get8() { return static_cast<uint8_t>(*p_++); }
  uint32_t get32() {
    const auto* b = reinterpret_cast<const unsigned char*>(p_);
    p_ += 4;
    return uint32_t{b[0]} | uint32_t{b[1]} << 8 | uint32_t{b[2]} << 16 | uint32_t{b[3]} << 24;
  }
  void skip(size_t n) { p_ += n; }

  // A base-128 value. False when the bytes end inside it (or a 32-bit value would need a fifth
  // byte with fewer than five left); `p_` moves only on success. See the .cc for the 64-bit rule.
  bool get_varint32(uint32_t* v) {
    // A one-byte value reads the same on the short and the long path.
    if (p_ < limit_ && static_cast<unsigned char>(*p_) < 128) {
      *v = static_cast<unsigned char>(*p_++);
      return true;
    }
    // Two bytes, also the same on both paths.
    if (limit_ - p_ >= 2 && static_cast<unsigned char>(p_[1]) < 128) {
      *v = (static_cast<unsigned char>(p_[0]) & 127u) | uint32_t{static_cast<unsigned char>(p_[1])} << 7;
      p_ += 2;
      return true;
    }
    const char* r = GetVarint32Slow(p_, limit_, v);
    if (r == nullptr) return false;
    p_ = r;
    return true;
  }
  bool get_varint64(uint64_t* v) {
    if (p_ < limit_ && static_cast<unsigned char>(*p_) < 128) {
      *v = static_cast<unsigned char>(*p_++);
      return true;
    }
    if (limit_ - p_ >= 2 && static_cast<unsigned char>(p_[1]) < 128) {
      *v = (static_cast<unsigned char>(p_[0]) & 127u) | uint64_t{static_cast<unsigned char>(p_[1])} << 7;
      p_ += 2;
      return true;
    }
    const char* p = p_;
    const bool ok = GetVarint64Slow(&p, limit_, v);
    p_ = p;
    return ok;
  }

 private:
  // Out of line and free of `this`, so that the cursor can stay in a register in callers' loops.
  // The new position, or null on failure.
  static const char* GetVarint32Slow(const char* p, const char* limit, uint32_t* v);
  // Moves *p as get_varint64 moves p_ (also on a failure of the short path).
  static bool GetVarint64Slow(const char** p, const char* limit, uint64_t* v);

  const char* buf_;
  const char* p_;
  const char* limit_;
};

}  // namespace loupe

#endif  // VISTARA_UTIL_CODING_CODER_H_
