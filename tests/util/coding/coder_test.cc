#include "util/coding/coder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "test_util.h"
#include "util/coding/bits.h"

namespace loupe {
namespace {

using vistara::testing::FromHex;
using vistara::testing::ScopedLogCapture;
using vistara::testing::SeededRandom;

TEST(EncoderTest, GrowthAndAssertions) {
  Encoder e;
  EXPECT_EQ(e.length(), 0u);
  EXPECT_TRUE(e.ensure_allowed());
  // Doubling with len + N as the floor: 1, 2, 4, then 4 + 9 = 13 beats 8.
  e.EnsureSlowPath(1);
  EXPECT_EQ(e.avail(), 1u);
  e.put8(1);
  e.EnsureSlowPath(1);
  EXPECT_EQ(e.avail(), 1u);
  e.put8(2);
  e.EnsureSlowPath(1);
  EXPECT_EQ(e.avail(), 2u);
  e.put8(3);
  e.put8(4);
  e.EnsureSlowPath(9);
  EXPECT_EQ(e.avail(), 9u);
  EXPECT_EQ(std::string(e.buffer(), e.length()), FromHex("01 02 03 04"));
  e.put_varint32(300);
  e.put_varint64(uint64_t{1} << 40);
  EXPECT_EQ(e.length(), 4u + 2 + 6);

  ScopedLogCapture capture;
  e.RemoveLast(2);
  EXPECT_EQ(e.length(), 10u);
  e.RemoveLast(11);
  e.Resize(11);
  EXPECT_EQ(e.length(), 10u);
  e.Resize(3);
  EXPECT_EQ(e.length(), 3u);
  EXPECT_EQ(capture.texts(), (std::vector<std::string>{"Check failed: length() >= N",
                                                       "Check failed: length() >= N"}));

  // A caller's array may not grow: reported, and the bytes move rather than overflow it.
  capture.Clear();
  char fixed[2];
  Encoder f(fixed, sizeof fixed);
  EXPECT_FALSE(f.ensure_allowed());
  f.put8(0xAB);
  f.Ensure(4);
  EXPECT_EQ(capture.texts(), std::vector<std::string>{"Check failed: ensure_allowed()"});
  f.put32(0x01020304);
  EXPECT_EQ(std::string(f.buffer(), f.length()), FromHex("AB 04 03 02 01"));
}

TEST(DecoderTest, VarintPathsAndFailures) {
  // FF FF FF FF 10 with exactly five bytes left: the fallback drops the bit that lands on 32.
  std::string b = FromHex("FF FF FF FF 10");
  Decoder d(b.data(), b.size());
  uint32_t v = 0;
  EXPECT_TRUE(d.get_varint32(&v));
  EXPECT_EQ(v, 0x0FFFFFFFu);
  EXPECT_EQ(d.avail(), 0u);
  b = FromHex("FF FF FF FF 1F");
  d.reset(b.data(), b.size());
  EXPECT_TRUE(d.get_varint32(&v));
  EXPECT_EQ(v, 0xFFFFFFFFu);
  // One byte short: the short path fails and p_ stays.
  d.reset(b.data(), 4);
  EXPECT_FALSE(d.get_varint32(&v));
  EXPECT_EQ(d.pos(), 0u);
  // A short path value, then a failure at the limit.
  b = FromHex("AC 02 80");
  d.reset(b.data(), b.size());
  EXPECT_TRUE(d.get_varint32(&v));
  EXPECT_EQ(v, 300u);
  EXPECT_FALSE(d.get_varint32(&v));
  EXPECT_EQ(d.pos(), 2u);

  // 64 bits, ten bytes at the very end: the fallback path, tenth byte's high bits dropped.
  uint64_t w = 0;
  b = FromHex("FF FF FF FF FF FF FF FF FF 03");
  d.reset(b.data(), b.size());
  EXPECT_TRUE(d.get_varint64(&w));
  EXPECT_EQ(w, ~uint64_t{0});
  EXPECT_EQ(d.avail(), 0u);
  b[9] = '\x81';
  d.reset(b.data(), b.size());
  EXPECT_FALSE(d.get_varint64(&w));
  EXPECT_EQ(d.pos(), 0u);
  // Nine bytes all above 127: fails with p_ at the limit, *v untouched.
  w = 5;
  d.reset(b.data(), 9);
  EXPECT_FALSE(d.get_varint64(&w));
  EXPECT_EQ(d.pos(), 9u);
  EXPECT_EQ(w, 5u);
  Decoder empty(nullptr, 0);
  EXPECT_FALSE(empty.get_varint64(&w));
  EXPECT_FALSE(empty.get_varint32(&v));

  // Round trip through the encoder, with the decoder right at the end of an exact buffer.
  SeededRandom rng;
  Encoder e;
  std::vector<uint64_t> values;
  for (int i = 0; i < 3000; ++i) {
    uint64_t x = (uint64_t{rng.engine()()} << 32 | rng.engine()()) >> rng.Int(0, 63);
    values.push_back(x);
    e.put_varint64(x);
    e.put_varint32(static_cast<uint32_t>(x));
  }
  std::vector<char> exact(e.buffer(), e.buffer() + e.length());
  d.reset(exact.data(), exact.size());
  for (uint64_t x : values) {
    ASSERT_TRUE(d.get_varint64(&w));
    EXPECT_EQ(w, x);
    ASSERT_TRUE(d.get_varint32(&v));
    EXPECT_EQ(v, static_cast<uint32_t>(x));
  }
  EXPECT_EQ(d.avail(), 0u);
}

TEST(BitsTest, CountsAndLogarithms) {
  const std::string a = FromHex("FF 00 0F 81");
  const std::string b = FromHex("00 00 FF 81");
  EXPECT_EQ(Bits::Count(a.data(), 4), 14);
  EXPECT_EQ(Bits::Count(a.data(), 0), 0);
  EXPECT_EQ(Bits::Difference(a.data(), b.data(), 4), 12);
  EXPECT_EQ(Bits::CappedDifference(a.data(), b.data(), 4, 5), 8);  // stops after the first byte
  EXPECT_EQ(Bits::CappedDifference(a.data(), b.data(), 4, 100), 12);
  EXPECT_EQ(Bits::CappedDifference(a.data(), b.data(), 4, -1), 0);
  for (int v = 0; v < 256; ++v) EXPECT_EQ(Bits::num_bits[v], __builtin_popcount(v));
  EXPECT_EQ(Bits::Log2Floor_Portable(0), -1);
  EXPECT_EQ(Bits::Log2Ceiling(0), -1);
  EXPECT_EQ(Bits::Log2Ceiling64(0), -1);
  for (int s = 0; s < 32; ++s) {
    const uint32_t p = 1u << s;
    EXPECT_EQ(Bits::Log2Floor_Portable(p), s);
    EXPECT_EQ(Bits::Log2Floor_Portable(p | (p - 1)), s);
    EXPECT_EQ(Bits::FindLSBSetNonZero_Portable(p), s);
    EXPECT_EQ(Bits::FindLSBSetNonZero_Portable(p | 0x80000000u), s);
    EXPECT_EQ(Bits::Log2Ceiling(p), s);
    if (s > 0) {
      EXPECT_EQ(Bits::Log2Ceiling(p + 1), s + 1);
    }
  }
  EXPECT_EQ(Bits::Log2Ceiling64(uint64_t{1} << 40), 40);
  EXPECT_EQ(Bits::Log2Ceiling64((uint64_t{1} << 40) + 1), 41);
}

}  // namespace
}  // namespace loupe
