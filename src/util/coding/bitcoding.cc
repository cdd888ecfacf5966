#include "util/coding/bitcoding.h"

#include "base/logging.h"

namespace loupe {

uint32_t BitEncoder::gamma_[256];

void BitEncoder::PutOnes(int n) {
  if (n <= 0) return;
  const int room = 32 - num_bits_;
  if (n < room) {
    PutBits(mask_[n], n);
    return;
  }
  // The current word fills up with ones and goes out; mask_[room] << num_bits_ is a shift by
  // 0..31.
  StoreWord(acc_ | mask_[room] << num_bits_);
  n -= room;
  acc_ = 0;
  num_bits_ = 0;
  while (n > 32) {
    StoreWord(0xFFFFFFFFu);
    n -= 32;
  }
  if (n == 32) {
    StoreWord(0xFFFFFFFFu);  // exactly full: stored at once
  } else {
    acc_ = mask_[n];
    num_bits_ = n;
  }
}

void BitEncoder::FlushToByte() {
  num_bits_ = (num_bits_ + 7) & ~7;
  if (num_bits_ == 32) {
    StoreWord(acc_);
    acc_ = 0;
    num_bits_ = 0;
  }
  if (num_bits_ > 0) encoder_.Ensure(static_cast<size_t>(num_bits_ / 8));
  while (num_bits_ >= 8) {
    encoder_.put8(static_cast<uint8_t>(acc_));
    acc_ >>= 8;
    num_bits_ -= 8;
  }
}

void BitEncoder::Initialize() {
  for (uint32_t i = 1; i < 256; ++i) {
    char local[8];
    BitEncoder be(local, sizeof local);
    // The direct rule: n ones, a zero, the low n bits.
    const int n = log2_table_[i];
    be.PutOnes(n);
    be.PutBits(0, 1);
    be.PutBits(i - (1u << n), n);
    const uint32_t length = static_cast<uint32_t>(be.num_bits());
    be.PutBits(0, 32);  // forces the first word out
    Decoder d(be.encoder().buffer(), be.encoder().length());
    const uint32_t value = d.get32() & mask_[length];
    VS_CHECK((value & 0xffffff) == value);
    gamma_[i] = length << 24 | value;
  }

  // Self-test: every code, written from the table and read back by the decoder.
  char local[2048];
  BitEncoder be(local, sizeof local);
  for (int i = 1; i < 256; ++i) {
    const uint32_t entry = gamma_[i];
    be.PutBits(entry & mask_[entry >> 24], static_cast<int>(entry >> 24));
  }
  be.FlushToByte();
  BitDecoder bd(be.encoder().buffer(), be.encoder().length());
  for (uint32_t i = 1; i < 256; ++i) {
    uint32_t v = 0;
    VS_CHECK(bd.GetGamma(&v));
    VS_CHECK(v == i);
  }
}

uint32_t BitEncoder::ReverseBits(int n, uint32_t v) {
  if (n <= 0) return 0;
  if (n > 32) n = 32;  // a shift by 32 - n must stay in 0..31
  v = ((v >> 1) & 0x55555555u) | ((v & 0x55555555u) << 1);
  v = ((v >> 2) & 0x33333333u) | ((v & 0x33333333u) << 2);
  v = ((v >> 4) & 0x0F0F0F0Fu) | ((v & 0x0F0F0F0Fu) << 4);
  v = ((v >> 8) & 0x00FF00FFu) | ((v & 0x00FF00FFu) << 8);
  v = (v >> 16) | (v << 16);
  return v >> (32 - n);
}

char* BitEncoder::UnparseLSBFirst(char* buf, uint32_t v, int n) {
  int i = 0;
  for (; i < n; ++i) buf[i] = (i < 32 && ((v >> i) & 1)) ? '1' : '0';
  buf[i > 0 ? i : 0] = '\0';
  return buf;
}

void BitDecoder::Refill() {
  const size_t left = decoder_.avail();
  if (left >= 4) {
    acc_ = decoder_.get32();
    num_bits_ = 32;
    return;
  }
  acc_ = 0;
  num_bits_ = static_cast<int>(8 * left);
  for (size_t i = 0; i < left; ++i) acc_ |= uint32_t{decoder_.get8()} << (8 * i);
}

bool BitDecoder::GetBitsSlow(int n, uint32_t* v) {
  if (n < 0 || n > 32) {  // mask_ has 33 entries
    *v = 0;
    return false;
  }
  const int have = num_bits_;
  const int need = n - have;
  const uint32_t old = acc_;
  Refill();
  if (need > num_bits_) {
    *v = 0;
    return false;
  }
  // have < n <= 32 and need >= 1, so both shifts stay below 32.
  *v = old | (acc_ & mask(need)) << have;
  acc_ = need == num_bits_ ? 0 : acc_ >> need;
  num_bits_ -= need;
  return true;
}

bool BitDecoder::GetUnarySlow(int* count) {
  int total = 0;
  int ones = std::countr_one(acc_);  // 32 for a word of ones
  while (ones >= num_bits_) {
    total += ones;
    Refill();
    if (num_bits_ == 0) {
      *count = 0;
      return false;
    }
    // A run longer than any int could count comes only from a huge input; stop it there.
    if (total > (1 << 30)) {
      acc_ = 0;
      num_bits_ = 0;
      *count = 0;
      return false;
    }
    ones = std::countr_one(acc_);
  }
  // ones < num_bits_ <= 32: two shifts, neither by 32.
  acc_ = (acc_ >> ones) >> 1;
  num_bits_ -= ones + 1;
  *count = total + ones;
  return true;
}

bool BitDecoder::GetGamma(uint32_t* v) {
  int n = 0;
  uint32_t bits = 0;
  // Codes from the table have n <= 7; a longer run can't make a 32-bit value (1 << n).
  if (!GetUnary(&n) || n > 31 || !GetBits(n, &bits)) {
    *v = 0;
    return false;
  }
  *v = (1u << n) + bits;
  return true;
}

namespace {
// The gamma table is built before any coder in the library can be used.
struct GammaTableInit {
  GammaTableInit() { BitEncoder::Initialize(); }
} gamma_table_init;
}  // namespace

}  // namespace loupe
