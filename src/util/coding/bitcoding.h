// Bit streams: BitEncoder packs bit fields into an Encoder, BitDecoder unpacks them from a Decoder.
//
// Stream layout: fields follow each other with no padding, each least significant bit first.
// Byte 0 holds the first eight bits of the stream, the first bit in its lowest position:
//
//   PutBits(5, 3); PutBits(1, 2)   ->  bits 1 0 1 | 1 0   ->  byte 0x0D
//
// Whole 32-bit words are stored least significant byte first, so the bytes don't depend on the
// processor. FlushToByte pads the last byte with zero bits.
//
// A decoder over any bytes is safe: reads past the end fail (false) with a result of 0. One
// GetBits refills its accumulator at most once, so a request can fail near the end of the data
// although fewer bits were asked than a word holds. Objects are single-threaded; the static
// tables are constant after static initialisation.
#ifndef VISTARA_UTIL_CODING_BITCODING_H_
#define VISTARA_UTIL_CODING_BITCODING_H_

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "util/coding/coder.h"

namespace loupe {

namespace bitcoding_internal {
constexpr std::array<uint32_t, 33> MakeMasks() {
  std::array<uint32_t, 33> t{};
  for (int n = 1; n <= 32; ++n) t[n] = 0xFFFFFFFFu >> (32 - n);
  return t;
}
constexpr std::array<uint8_t, 256> MakeLog2Table() {
  std::array<uint8_t, 256> t{};
  for (int v = 2; v < 256; ++v) t[v] = static_cast<uint8_t>(std::bit_width(static_cast<unsigned>(v)) - 1);
  return t;
}
constexpr std::array<uint8_t, 256> MakeUnaryTable() {
  std::array<uint8_t, 256> t{};
  for (int v = 0; v < 256; ++v) t[v] = static_cast<uint8_t>(1 + std::countr_one(static_cast<unsigned>(v)));
  return t;
}
}  // namespace bitcoding_internal

class BitEncoder {
 public:
  // A growable stream.
  BitEncoder() = default;
  // A stream in the caller's fixed array of `size` bytes (see Encoder).
  BitEncoder(void* buffer, size_t size) : encoder_(buffer, size) {}
  BitEncoder(const BitEncoder&) = delete;
  BitEncoder& operator=(const BitEncoder&) = delete;

  // Room for `n` more bits: a word that may be stored plus rounding.
  void EnsureBits(int n) {
    const size_t bytes = static_cast<size_t>((n + 39) / 8);
    if (encoder_.avail() < bytes) encoder_.EnsureSlowPath(static_cast<unsigned>(bytes));
  }

  // Room for `bytes` more bytes.
  void EnsureBytes(size_t bytes) {
    if (encoder_.avail() < bytes) encoder_.EnsureSlowPath(static_cast<unsigned>(bytes));
  }

  // The low `n` bits of `value`, `n` from 0 to 32 (others write nothing).
  void PutBits(uint32_t value, int n) {
    if (static_cast<unsigned>(n) > 32) return;  // mask_ has 33 entries
    const uint32_t v = value & mask_[n];
    acc_ |= v << num_bits_;  // num_bits_ is 0..31 here
    num_bits_ += n;
    if (num_bits_ >= 32) {
      StoreWord(acc_);
      num_bits_ -= 32;
      // The bits of v that didn't fit; n - num_bits_ is 1..31, never a shift by 32.
      acc_ = num_bits_ == 0 ? 0 : v >> (n - num_bits_);
    }
  }
  void PutOnes(int n);
  // The gamma code of `v` from 1 to 255; 0 (and anything above 255) writes nothing.
  void PutGamma(uint32_t v) {
    const uint32_t entry = v < 256 ? gamma_[v] : 0;
    const int length = static_cast<int>(entry >> 24);
    PutBits(entry & mask_[length], length);
  }
  // Pads to a whole byte with zero bits and stores everything.
  void FlushToByte();

  const Encoder& encoder() const { return encoder_; }
  // Bits pending in the accumulator (0..31), first bit lowest in pending_value().
  int pending_bits() const { return num_bits_; }
  uint32_t pending_value() const { return acc_; }
  // Bytes stored * 8 + pending bits.
  size_t num_bits() const { return 8 * encoder_.length() + static_cast<size_t>(num_bits_); }

  static void Initialize();
  // The low `n` bits of `v` in reverse order; 0 for n == 0.
  static uint32_t ReverseBits(int n, uint32_t v);
  // "1"/"0" for bits 0..n-1 of `v`, then a NUL; `buf` holds n + 1 chars. Returns `buf`.
  static char* UnparseLSBFirst(char* buf, uint32_t v, int n);

  // Entry n has the low n bits set.
  static constexpr std::array<uint32_t, 33> mask_ = bitcoding_internal::MakeMasks();
  // Entry v: floor(log2(v)); entry 0 is 0.
  static constexpr std::array<uint8_t, 256> log2_table_ = bitcoding_internal::MakeLog2Table();
  // Entry i (1..255): length << 24 | code of the gamma code of i; entry 0 is 0.
  static uint32_t gamma_[256];

 private:
  void StoreWord(uint32_t w) {
    encoder_.Ensure(4);
    encoder_.put32(w);
  }

  Encoder encoder_;
  uint32_t acc_ = 0;   // pending bits, first bit lowest
  int num_bits_ = 0;   // valid bits in acc_, 0..31 between calls
};

class BitDecoder {
 public:
  BitDecoder() = default;
  // Reads `size` bytes at `data` (not owned; must outlive the decoder).
  BitDecoder(const void* data, size_t size) : decoder_(data, size) {}

  // `n` bits (0..32) into *v. False and *v = 0 when the data runs out (or n is outside 0..32).
  bool GetBits(int n, uint32_t* v) {
    if (n <= num_bits_ && n >= 0) {
      *v = acc_ & mask(n);
      // Shifted in 64 bits: taking all 32 valid bits leaves 0 without a 32-bit shift by 32.
      acc_ = static_cast<uint32_t>(uint64_t{acc_} >> n);
      num_bits_ -= n;
      return true;
    }
    return GetBitsSlow(n, v);
  }
  // The number of one bits before the next zero bit, which is consumed too. False with
  // *count = 0 when the data ends inside the run.
  bool GetUnary(int* count) {
    const int ones = std::countr_one(acc_);  // 32 for a word of ones
    if (ones < num_bits_) {
      // The run and its zero lie in the accumulator: two shifts, neither by 32.
      acc_ = (acc_ >> ones) >> 1;
      num_bits_ -= ones + 1;
      *count = ones;
      return true;
    }
    return GetUnarySlow(count);
  }
  // A gamma code (see BitEncoder::PutGamma). False with *v = 0 at the end of the data.
  bool GetGamma(uint32_t* v);

  // Bytes taken from the input so far, and bits fetched but not consumed.
  size_t bytes_fetched() const { return decoder_.pos(); }
  int pending_bits() const { return num_bits_; }
  // The next bits without consuming them, next bit lowest: the pending ones and, when the input
  // still holds a whole word, that word above them; *valid tells how many (at most 64).
  // SkipWindow(n) consumes n of them, and leaves the state a field-by-field read would: the
  // word, once reached, is in the accumulator.
  uint64_t Window(int* valid) const {
    if (decoder_.avail() < 4) {
      *valid = num_bits_;
      return acc_;
    }
    const auto* b = reinterpret_cast<const unsigned char*>(decoder_.ptr());
    const uint32_t word =
        uint32_t{b[0]} | uint32_t{b[1]} << 8 | uint32_t{b[2]} << 16 | uint32_t{b[3]} << 24;
    *valid = num_bits_ + 32;
    return acc_ | uint64_t{word} << num_bits_;  // num_bits_ <= 32
  }
  void SkipWindow(int n) {
    if (n > num_bits_) {
      // Reaching past the pending bits means Window saw a whole word: take it in place, so that
      // a caller's copy of the decoder never has its address passed out of line.
      n -= num_bits_;
      acc_ = decoder_.get32();
      num_bits_ = 32;
    }
    acc_ = static_cast<uint32_t>(uint64_t{acc_} >> n);  // 64-bit shift: n may be 32
    num_bits_ -= n;
  }
  size_t bytes_left() const { return decoder_.avail(); }

  // Entry v: 1 + the number of trailing one bits of the byte v (the length of a unary code that
  // begins in that byte).
  static constexpr std::array<uint8_t, 256> unary_decode_table =
      bitcoding_internal::MakeUnaryTable();

 private:
  static uint32_t mask(int n) { return BitEncoder::mask_[n]; }
  bool GetBitsSlow(int n, uint32_t* v);
  bool GetUnarySlow(int* count);
  // Replaces the accumulator with up to 32 bits from decoder_.
  void Refill();

  Decoder decoder_;
  uint32_t acc_ = 0;  // next bit lowest; bits above the valid ones are 0
  int num_bits_ = 0;  // valid bits in acc_, 0..32
};

}  // namespace loupe

#endif  // VISTARA_UTIL_CODING_BITCODING_H_
