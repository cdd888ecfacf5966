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
//
// Every stream format opens with the same header, 32 bits:
//
//   16 bits  the magic of its family, low byte first (shapes 53 45, buildings 5A 42, ...)
//   16 bits  the version
//
// The two coders write and read it, hand out the finished bytes and keep the byte statistics'
// mark. VersionedEncoder and VersionedDecoder, below, add what the families with numbered
// versions share: the version with its checks, and encoding to and decoding from a whole buffer.
#ifndef VISTARA_DIORAMA_BINARY_CODER_H_
#define VISTARA_DIORAMA_BINARY_CODER_H_

#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "base/logging.h"
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
  // Replaces *buffer with those bytes; reports "buffer" when it is null.
  void get_buffer(std::string* buffer) const;
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
  // The header: `magic`, then `version`, 16 bits each.
  void WriteMagicAndVersion(int magic, int version) {
    WriteBits(magic, 16);
    WriteBits(version, 16);
  }
  // The byte statistics: charges the bytes written since *mark (a pending partial byte counting
  // as a whole one) to *stat and moves *mark to buffer_size(). So each part of a stream is
  // charged to the statistic named right after it, and a call with stat == mark only moves the
  // mark.
  void ChargeBytesSince(int* mark, int* stat);

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
  // rest of the input could hold even at one bit each, plus 2^12, is treated as a count read past
  // the end: 0. Smaller over-promises stay as they are and decode with a zero tail. So a few
  // damaged bytes can't ask for millions of objects, while a short stream whose count promises a
  // little more than it holds still decodes as written.
  uint32_t BoundedCount(uint64_t count) const;
  // Bits not yet consumed: in the accumulator and still in the input.
  uint64_t BitsLeft() const;

 protected:
  // Reads a header: the version after `magic`, or -1 when the first 16 bits are another magic
  // (and the version is left unread).
  int ReadMagicAndVersion(int magic) {
    if (ReadBits(16) != static_cast<uint32_t>(magic)) return -1;
    return static_cast<int>(ReadBits(16));
  }

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

// Reports a codec version outside 1..max_version, as the checks "codec_version>0" and
// "codec_version<=<max_name>" word it; `max_name` is the limit as the caller's code names it.
void CheckCodecVersion(int codec_version, int max_version, const char* max_name);

// The encoder side of a stream family with numbered versions. `Family` holds its
// kMagicSignature, kDefaultCodecVersion, kMaxCodecVersion and kMaxVersionName (the limit as the
// decoders' check names it).
template <class Family>
class VersionedEncoder : public BinaryEncoder {
 public:
  static constexpr int kMagicSignature = Family::kMagicSignature;
  static constexpr int kDefaultCodecVersion = Family::kDefaultCodecVersion;
  static constexpr int kMaxCodecVersion = Family::kMaxCodecVersion;

  int codec_version() const { return codec_version_; }
  // Reports a version outside 1..kMaxCodecVersion and stores it anyway.
  void set_codec_version(int codec_version) {
    CheckCodecVersion(codec_version, kMaxCodecVersion, "kMaxCodecVersion");
    codec_version_ = codec_version;
  }
  // The header with codec_version().
  void WriteHeader() { WriteMagicAndVersion(kMagicSignature, codec_version_); }

 protected:
  // The factories' checks on the `encoder` they made for `codec_version`: "encoder" when it is
  // null, else that it writes that version.
  template <class Encoder>
  static Encoder* CheckCreated(Encoder* encoder, int codec_version) {
    VS_CHECK(encoder);
    if (encoder != nullptr) {
      VS_CHECK_EQ(encoder->codec_version(), codec_version);
    }
    return encoder;
  }
  // The whole-buffer encode: `encoder`'s stream of `in...` into *buffer, the partial stream also
  // on failure, then `encoder` is deleted. False for a null encoder or a failed encode.
  template <class Encoder, class... In>
  static bool EncodeToBufferWith(Encoder* encoder, std::string* buffer, const In&... in) {
    const std::unique_ptr<Encoder> owned(encoder);
    if (owned == nullptr) return false;
    const bool ok = owned->EncodeShape(in...);
    owned->get_buffer(buffer);
    return ok;
  }

 private:
  int codec_version_ = kDefaultCodecVersion;
};

// The decoder side of a stream family with numbered versions; see VersionedEncoder.
template <class Family>
class VersionedDecoder : public BinaryDecoder {
 public:
  // The version in the header of `buffer`: -1 for fewer than 5 bytes or another magic. The bytes
  // are taken as signed chars, so version bytes of 128 and up give odd numbers (FF FF is -257).
  static int GetCodecVersionFromBuffer(const std::string& buffer) {
    return GetVersionFromHeader(buffer, Family::kMagicSignature);
  }

  // Decodes from `buffer`, which must outlive the decode.
  void set_buffer(const std::string& buffer) {
    buffer_ = &buffer;
    Init(buffer);
  }
  // The string given to set_buffer, null before.
  const std::string* buffer() const { return buffer_; }

  int codec_version() const { return codec_version_; }
  // Reports a version outside 1..kMaxCodecVersion and stores it anyway.
  void set_codec_version(int codec_version) {
    CheckCodecVersion(codec_version, Family::kMaxCodecVersion, Family::kMaxVersionName);
    codec_version_ = codec_version;
  }
  // Reads the header into codec_version(): -1 for another magic, reported as "codec_version>0".
  // True when it holds a version this family has.
  bool ReadHeader() {
    set_codec_version(ReadMagicAndVersion(Family::kMagicSignature));
    return codec_version_ >= 1 && codec_version_ <= Family::kMaxCodecVersion;
  }

 protected:
  // The whole-buffer decode: a `Decoder` made for the header's version, its DecodeShape(out...)
  // over `buffer`. False for a buffer GetCodecVersionFromBuffer refuses, a negative version or a
  // version without a decoder. The header is read twice, here and by the decode.
  template <class Decoder, class... Out>
  static bool DecodeFromBufferWith(const std::string& buffer, Out*... out) {
    const int codec_version = GetCodecVersionFromBuffer(buffer);
    if (codec_version < 0) return false;
    const std::unique_ptr<Decoder> decoder(Decoder::CreateDecoder(codec_version));
    if (decoder == nullptr) return false;
    decoder->set_buffer(buffer);
    return decoder->DecodeShape(out...);
  }

 private:
  const std::string* buffer_ = nullptr;
  int codec_version_ = -1;  // -1 until a header is read
};

}  // namespace loupe

#endif  // VISTARA_DIORAMA_BINARY_CODER_H_
