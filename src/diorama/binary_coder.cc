#include "diorama/binary_coder.h"

#include <bit>

#include "base/logging.h"

namespace loupe {

void BinaryEncoder::WriteVarUIntSlow(int value, int group_bits) {
  const int k = group_bits;
  // A group of 0 bits never covers a value, and one of more than 32 can't be shifted by.
  if (k < 1 || k > 32) return;
  encoder_->EnsureBytes(static_cast<size_t>((32 / k + 71) / 8));
  const uint64_t v = static_cast<uint32_t>(value);
  const uint64_t range = uint64_t{1} << k;
  // The group count c and the first value with c groups, base.
  uint64_t base = 0;
  int c = 1;
  if (k == 1) {
    // base(c) = 2^c - 2, so c is one less than the bit width of v + 2 (at most 32).
    c = std::bit_width(v + 2) - 1;
    base = (uint64_t{1} << c) - 2;
  } else {
    uint64_t t = v;
    while (t >= range) {
      ++c;
      base += uint64_t{1} << (k * (c - 1));  // k * (c - 1) <= 31: t < 2^32
      t = (t - range) >> k;
    }
  }
  const uint64_t payload = v - base;
  const int bits = c * k;
  if (c + bits <= 32) {
    // Prefix (c - 1 ones and a zero) and payload in one field: the same bits, one store.
    encoder_->PutBits(static_cast<uint32_t>(BitEncoder::mask_[c - 1] | payload << c), c + bits);
    return;
  }
  encoder_->PutOnes(c - 1);
  encoder_->PutBits(0, 1);
  if (bits <= 32) {
    encoder_->PutBits(static_cast<uint32_t>(payload), bits);
  } else {
    // Only group sizes other than 1 and 4 get here; the payload still fits in 32 bits.
    encoder_->PutBits(static_cast<uint32_t>(payload), 32);
    encoder_->PutBits(static_cast<uint32_t>(payload >> 32), bits - 32);
  }
}

void BinaryEncoder::AppendBytes(std::string* out) const {
  const Encoder& stored = encoder_->encoder();
  if (stored.buffer() != nullptr) out->append(stored.buffer(), stored.length());
  // The pending partial word, as Flush would store it; buffer_size() counts it.
  uint32_t pending = encoder_->pending_value();
  for (int left = encoder_->pending_bits(); left > 0; left -= 8) {
    out->push_back(static_cast<char>(pending & 0xFF));
    pending >>= 8;
  }
}

void BinaryEncoder::get_buffer(std::string* buffer) const {
  VS_CHECK(buffer);
  if (buffer == nullptr) return;  // nowhere to put the bytes
  buffer->clear();
  AppendBytes(buffer);
}

void BinaryEncoder::ChargeBytesSince(int* mark, int* stat) {
  VS_CHECK(stat);
  if (stat == nullptr) return;  // no statistic to charge
  const int size = buffer_size();
  *stat += size - *mark;
  *mark = size;
}

void BinaryEncoder::WriteFloat(float f) {
  encoder_->EnsureBits(32);  // 8 bytes
  encoder_->PutBits(std::bit_cast<uint32_t>(f), 32);
}

void BinaryEncoder::WriteDouble(double d) {
  encoder_->EnsureBits(64);  // 12 bytes
  const uint64_t bits = std::bit_cast<uint64_t>(d);
  encoder_->PutBits(static_cast<uint32_t>(bits), 32);
  encoder_->PutBits(static_cast<uint32_t>(bits >> 32), 32);
}

void BinaryEncoder::WriteString(const std::string& s, int n) {
  const int64_t str_size = static_cast<int64_t>(s.size());
  // 2^n - 1, with n kept where the shift is defined.
  const int64_t max_size = n < 0 ? 0 : n > 62 ? INT64_MAX : (int64_t{1} << n) - 1;
  VS_CHECK_LT(str_size, max_size);
  WriteBits(static_cast<int>(s.size()), n);
  for (char ch : s) WriteBits(static_cast<unsigned char>(ch), 8);
}

void BinaryEncoder::WriteVarString(const std::string& s, int group_bits) {
  WriteVarUInt(static_cast<int>(s.size()), group_bits);
  for (char ch : s) WriteBits(static_cast<unsigned char>(ch), 8);
}

int BinaryEncoder::BitsRequired(int i) {
  uint32_t u = static_cast<uint32_t>(i);
  int bits = 0;
  while (u > 255) {
    u >>= 8;
    bits += 8;
  }
  return bits + BitEncoder::log2_table_[u] + 1;
}

int BinaryEncoder::SignedBitsRequired(int i) {
  return BitsRequired(i < 0 ? ~i : i) + 1;
}

int BinaryDecoder::GetVersionFromHeader(const std::string& buffer, int magic) {
  if (buffer.size() < 5) return -1;
  const auto byte = [&buffer](size_t i) {
    return static_cast<int>(static_cast<signed char>(buffer[i]));
  };
  if (byte(1) * 256 + byte(0) != magic) return -1;
  return byte(3) * 256 + byte(2);
}

int BinaryDecoder::BytesDecoded() const {
  if (!decoder_) return 0;
  const size_t b = 8 * decoder_->bytes_fetched() - static_cast<size_t>(decoder_->pending_bits());
  return static_cast<int>(b / 8 + (b % 8 != 0 ? 1 : 0));
}

int BinaryDecoder::ReadInt(int n) {
  const uint32_t v = ReadBits(n);
  if (n < 1 || n > 32) return 0;  // ~0 << (n - 1) needs n - 1 in 0..31; ReadBits gave 0
  const uint32_t m = ~uint32_t{0} << (n - 1);
  return static_cast<int>((v & m) != 0 ? v | m : v);
}

uint32_t BinaryDecoder::ReadVarUIntSlow(int group_bits) {
  const int k = group_bits;
  if (!decoder_ || k < 1 || k > 32) return 0;  // no encoder writes such groups
  int ones = 0;
  if (!decoder_->GetUnary(&ones)) return 0;
  const int64_t bits = (int64_t{ones} + 1) * k;
  // More than 64 payload bits never come from an encoder (values are 32-bit): damaged data.
  if (bits > 64) return 0;
  uint64_t payload = 0;
  if (bits <= 32) {
    uint32_t p = 0;
    if (!decoder_->GetBits(static_cast<int>(bits), &p)) return 0;
    payload = p;
  } else {
    uint32_t lo = 0, hi = 0;
    if (!decoder_->GetBits(32, &lo) || !decoder_->GetBits(static_cast<int>(bits - 32), &hi)) return 0;
    payload = uint64_t{hi} << 32 | lo;
  }
  // Add the bases: 2^(k * i) for i from 1 to c - 1; k * i <= bits - k < 64. For k = 1 (the
  // offsets of the shape stream, with long runs) their sum is 2^c - 2, modulo 2^64 as the loop.
  if (k == 1) {
    payload += (uint64_t{2} << ones) - 2;
  } else {
    for (int i = 1; i <= ones; ++i) payload += uint64_t{1} << (k * i);
  }
  return static_cast<uint32_t>(payload);
}

float BinaryDecoder::ReadFloat() {
  uint32_t v = 0;
  if (!decoder_ || !decoder_->GetBits(32, &v)) return 0.0f;
  return std::bit_cast<float>(v);
}

double BinaryDecoder::ReadDouble() {
  uint32_t lo = 0, hi = 0;
  if (!decoder_ || !decoder_->GetBits(32, &lo) || !decoder_->GetBits(32, &hi)) return 0.0;
  return std::bit_cast<double>(uint64_t{hi} << 32 | lo);
}

std::string BinaryDecoder::ReadString(int n) {
  VS_CHECK(decoder_.get());
  if (!decoder_) return std::string();  // nothing to read from
  return ReadStringOfLength(ReadBits(n));
}

std::string BinaryDecoder::ReadVarString(int group_bits) {
  VS_CHECK(decoder_.get());
  if (!decoder_) return std::string();
  return ReadStringOfLength(ReadVarUInt(group_bits));
}

std::string BinaryDecoder::ReadStringOfLength(uint32_t length) {
  // The length is a signed count in the stream's terms: 2^31 and up is below 1.
  if (static_cast<int32_t>(length) < 1) return std::string();
  std::string s(BoundedCount(length), '\0');
  // Once the input is used up every read gives 0 and leaves the state as it is, so the zero
  // tail is already in place.
  for (size_t i = 0; i < s.size() && BitsLeft() > 0; ++i) s[i] = static_cast<char>(ReadBits(8));
  return s;
}

uint64_t BinaryDecoder::BitsLeft() const {
  if (!decoder_) return 0;
  return 8 * uint64_t{decoder_->bytes_left()} + static_cast<uint64_t>(decoder_->pending_bits());
}

uint32_t BinaryDecoder::BoundedCount(uint64_t count) const {
  return count > BitsLeft() + (uint64_t{1} << 12) ? 0 : static_cast<uint32_t>(count);
}

void CheckCodecVersion(int codec_version, int max_version, const char* max_name) {
  VS_CHECK_GT(codec_version, 0);
  // As VS_CHECK_LE would report it, with the limit named as the caller's code spells it.
  if (codec_version > max_version) {
    VS_LOG(FATAL) << "Check failed: codec_version<=" << max_name << ' ' << codec_version << "<="
                  << max_version;
  }
}

}  // namespace loupe
