// The field vocabulary of the mesh stream formats, over the bit stream of util/coding/bitcoding.h.
//
// Fields follow one another with no alignment, each least significant bit first; a format pads
// to a whole byte only by calling Flush() at its end. The fields:
//
//   WriteBits/WriteUInt/WriteInt(v, n)  the low n bits of v (0 <= n <= 32), two's complement
//   WriteVarUInt(v, k)                  c - 1 one bits, a zero bit, then v - base(c) in c * k bits,
//                                       c the smallest group count whose range holds v:
//                                       base(1) = 0, base(c) = base(c - 1) + 2^(k * (c - 1))
//   WriteVarInt(v, k)                   zigzag (0, -1, 1, -2 -> 0, 1, 2, 3), then WriteVarUInt
//   WriteFloat(f)                       the 32 bits of the IEEE single
//   WriteDouble(d)                      the 64 bits of the IEEE double, low 32-bit half first
//   WriteString(s, n) / WriteVarString  the length (n bits / WriteVarUInt), then 8 bits a byte
//
// Example: WriteVarUInt(5, 4) is the bits 0, then 1 0 1 0: the byte 0A after Flush.
//
// BinaryDecoder reads the same fields from bytes it doesn't own (they must outlive the reads).
// It keeps no error state: any bytes are safe input, and a read past the end gives 0, 0.0 or an
// empty string, so a truncated stream usually decodes to a shorter object. Counts read from the
// stream go through BoundedCount (see there). Objects are single-threaded.
#ifndef VISTARA_DIORAMA_BINARY_CODER_H_
#define VISTARA_DIORAMA_BINARY_CODER_H_

#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "util/coding/bitcoding.h"

namespace loupe {

class BinaryEncoder {
 public:
  BinaryEncoder() { Init(); }
  BinaryEncoder(const BinaryEncoder&) = delete;
  BinaryEncoder& operator=(const BinaryEncoder&) = delete;

  // Starts a new, empty stream.
  void Init() { encoder_ = std::make_unique<BitEncoder>(); }
  // Room for `bits` more bits, so that a run of fields writes without growing. Beyond what an
  // int can count nothing is reserved: each stored word makes its own room anyway.
  void Reserve(int64_t bits) {
    if (bits >= 0 && bits <= INT32_MAX - 64) encoder_->EnsureBits(static_cast<int>(bits));
  }
  // Pads to a whole byte with zero bits and stores everything.
  void Flush() { encoder_->FlushToByte(); }

  // The stored bytes; pending bits appear only after Flush().
  const char* buffer() const { return encoder_->encoder().buffer(); }
  // Appends the buffer_size() bytes of the stream to *out, a pending partial byte included as
  // Flush would write it.
  void AppendBytes(std::string* out) const;
  // Whole bytes the stream takes, a partial byte not yet stored included.
  int buffer_size() const { return static_cast<int>((num_bits() + 7) / 8); }
  size_t num_bits() const { return encoder_->num_bits(); }

  // Each stored word makes its own room, so a field needs no Reserve first.
  void WriteBits(int value, int n) { encoder_->PutBits(static_cast<uint32_t>(value), n); }
  void WriteUInt(int value, int n) { WriteBits(value, n); }
  void WriteInt(int value, int n) { WriteBits(value, n); }
  // `value` is taken as unsigned; group_bits 1 and 4 are the ones the formats use.
  void WriteVarUInt(int value, int group_bits) {
    if (group_bits == 1) {
      // The offsets of the shape stream: base(c) = 2^c - 2, and a code of up to 32 bits
      // (c <= 16) is one field, prefix and payload together.
      const uint64_t v = static_cast<uint32_t>(value);
      const int c = std::bit_width(v + 2) - 1;
      if (c <= 16) {
        const uint64_t payload = v - ((uint64_t{1} << c) - 2);
        encoder_->PutBits(static_cast<uint32_t>(BitEncoder::mask_[c - 1] | payload << c), 2 * c);
        return;
      }
    }
    WriteVarUIntSlow(value, group_bits);
  }
  void WriteVarInt(int value, int group_bits) {
    const uint32_t u = static_cast<uint32_t>(value);
    // (~v) * 2 + 1 for negatives, v * 2 otherwise, in unsigned arithmetic (no overflow).
    WriteVarUInt(static_cast<int>(value < 0 ? (~u << 1) | 1u : u << 1), group_bits);
  }
  void WriteFloat(float f);
  void WriteDouble(double d);
  // Reports "str_size<max_size" when the length doesn't fit below 2^n - 1, then writes the
  // length cut to n bits and every byte anyway.
  void WriteString(const std::string& s, int n);
  void WriteVarString(const std::string& s, int group_bits);

  // Bits of `i` taken as unsigned, at least 1: 0 and 1 give 1, 256 gives 9, negatives 32.
  static int BitsRequired(int i);
  // BitsRequired of a span max - min of quantised values, computed in 64 bits; a span beyond
  // int gives 32, more than any field width allows (BitsRequired would see it wrapped).
  static int RangeBitsRequired(int64_t range) {
    return range > INT32_MAX ? 32 : BitsRequired(static_cast<int>(range));
  }
  // Bits for `i` as a two's-complement field: 0, 1 and -1 give 2, 127 and -128 give 8.
  static int SignedBitsRequired(int i);

 protected:
  BitEncoder* bit_encoder() { return encoder_.get(); }
  const BitEncoder* bit_encoder() const { return encoder_.get(); }

 private:
  void WriteVarUIntSlow(int value, int group_bits);
  std::unique_ptr<BitEncoder> encoder_;
};

class BinaryDecoder {
 public:
  // No reads before Init.
  BinaryDecoder() = default;
  BinaryDecoder(const BinaryDecoder&) = delete;
  BinaryDecoder& operator=(const BinaryDecoder&) = delete;

  // Reads `size` bytes at `data`, from the start.
  void Init(const char* data, int size) {
    decoder_ = std::make_unique<BitDecoder>(data, size > 0 ? static_cast<size_t>(size) : 0);
  }
  // Reads the bytes of `buffer`, which must outlive the reads: beyond 2 GiB as far as an int
  // reaches.
  void Init(const std::string& buffer) {
    Init(buffer.data(), buffer.size() > INT32_MAX ? INT32_MAX : static_cast<int>(buffer.size()));
  }

  // Bits consumed, rounded up to whole bytes.
  int BytesDecoded() const;

  // `n` bits (0..32) as an unsigned value; 0 when the data runs out.
  uint32_t ReadBits(int n) {
    uint32_t v = 0;
    if (decoder_) decoder_->GetBits(n, &v);  // v is 0 on failure
    return v;
  }
  uint32_t ReadUInt(int n) { return ReadBits(n); }
  // `n` bits sign-extended from bit n - 1.
  int ReadInt(int n);
  uint32_t ReadVarUInt(int group_bits) {
    uint32_t v;
    if (decoder_ && ReadVarUIntFast(decoder_.get(), group_bits, &v)) return v;
    return ReadVarUIntSlow(group_bits);
  }
  // Up to `n` codes as ReadVarUInt reads them, each handed to `sink` (a bool(uint32_t)) until it
  // returns false. The bit state lives in a local copy for the run: in a loop of ReadVarUInt
  // calls it goes back to memory after every store the caller makes through an int pointer.
  template <class Sink>
  void ReadVarUInts(int group_bits, uint32_t n, Sink&& sink) {
    if (!decoder_) {  // as ReadVarUInt: zeros
      for (uint32_t i = 0; i < n; ++i) {
        if (!sink(uint32_t{0})) return;
      }
      return;
    }
    BitDecoder bits = *decoder_;
    for (uint32_t i = 0; i < n; ++i) {
      uint32_t v;
      if (!ReadVarUIntFast(&bits, group_bits, &v)) {
        *decoder_ = bits;
        v = ReadVarUIntSlow(group_bits);
        bits = *decoder_;
      }
      if (!sink(v)) break;
    }
    *decoder_ = bits;
  }
  int ReadVarInt(int group_bits) {
    // Arithmetic shifts of the signed value, as written: ~(u >> 1) for odd u, u >> 1 otherwise.
    const int32_t u = static_cast<int32_t>(ReadVarUInt(group_bits));
    return (u & 1) ? ~(u >> 1) : (u >> 1);
  }
  float ReadFloat();
  double ReadDouble();
  // Reports "decoder_.get()" before Init and returns "". A length promising more bytes than are
  // left gives a string of that length with a zero tail, within BoundedCount.
  std::string ReadString(int n);
  std::string ReadVarString(int group_bits);

  // The version in a stream header of the 16-bit `magic` and a 16-bit version: -1 for fewer than
  // 5 bytes (no stream is as short as its header) or another magic. The bytes are taken as
  // signed chars, so version bytes of 128 and up give odd numbers (FF FF is -257).
  static int GetVersionFromHeader(const std::string& buffer, int magic);

  // The count rule shared by every stream decoder. A count that claims more elements than the
  // rest of the input could hold even at one bit each, plus 2^20, is treated as a count read past
  // the end: 0. Smaller over-promises stay as they are and decode with a zero tail. This keeps a
  // damaged count from allocating gigabytes.
  uint32_t BoundedCount(uint64_t count) const;
  // Bits not yet consumed: in the accumulator and still in the input.
  uint64_t BitsLeft() const;

 private:
  std::string ReadStringOfLength(uint32_t length);
  // The usual case of a variable code, one wholly in the next 64 bits (c - 1 ones, a zero, c
  // groups), read in place. False, with nothing consumed, for everything else (the end of the
  // data included), which takes ReadVarUIntSlow's field-by-field path.
  static bool ReadVarUIntFast(BitDecoder* bits, int k, uint32_t* v) {
    if (k < 1 || k > 32) return false;
    int valid = 0;
    const uint64_t window = bits->Window(&valid);
    const int c = std::countr_one(window) + 1;  // 1..65
    const int length = c * (k + 1);
    if (length > valid || c * k > 32) return false;  // valid <= 64, so c <= 32
    const uint64_t payload = (window >> c) & ((uint64_t{1} << (c * k)) - 1);
    bits->SkipWindow(length);
    // The bases 2^k + 2^2k + ... + 2^((c - 1) k): (2^ck - 2^k) / (2^k - 1).
    const uint64_t bases =
        ((uint64_t{1} << (c * k)) - (uint64_t{1} << k)) / ((uint64_t{1} << k) - 1);
    *v = static_cast<uint32_t>(payload + bases);
    return true;
  }
  uint32_t ReadVarUIntSlow(int group_bits);

  std::unique_ptr<BitDecoder> decoder_;
};

}  // namespace loupe

#endif  // VISTARA_DIORAMA_BINARY_CODER_H_
