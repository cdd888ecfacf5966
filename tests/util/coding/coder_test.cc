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
  // Doubling with len + N as the floor: 2 bytes grow to 4, then 4 + 9 = 13 beats 8.
  e.EnsureSlowPath(2);
  e.put8(1);
  e.put8(2);
  e.EnsureSlowPath(1);
  EXPECT_EQ(e.avail(), 2u);
  e.put8(3);
  e.put8(4);
  e.EnsureSlowPath(9);
  EXPECT_EQ(e.avail(), 9u);
  EXPECT_EQ(std::string(e.buffer(), e.length()), FromHex("01 02 03 04"));
  e.put_varint32(300);
  e.put_varint64(uint64_t{1} << 40);  // 2 + 6 bytes

  ScopedLogCapture capture;
  e.RemoveLast(2);
  EXPECT_EQ(e.length(), 10u);
  e.RemoveLast(11);
  e.Resize(11);
  EXPECT_EQ(e.length(), 10u);
  e.Resize(3);
  EXPECT_EQ(e.length(), 3u);

  // A caller's array may not grow: reported, and the bytes move rather than overflow it.
  char fixed[2];
  Encoder f(fixed, sizeof fixed);
  f.put8(0xAB);
  f.Ensure(4);
  f.put32(0x01020304);
  EXPECT_EQ(std::string(f.buffer(), f.length()), FromHex("AB 04 03 02 01"));
  EXPECT_EQ(capture.texts(), (std::vector<std::string>{"Check failed: length() >= N", "Check failed: length() >= N",
                                                       "Check failed: ensure_allowed()"}));
}

TEST(DecoderTest, VarintPathsAndFailures) {
  // FF FF FF FF 10 with exactly five bytes left: the fallback drops the bit that lands on 32.
  std::string b = FromHex("FF FF FF FF 10");
  Decoder d(b.data(), b.size());
  uint32_t v = 0;
  EXPECT_TRUE(d.get_varint32(&v));
  EXPECT_EQ(std::make_pair(v, d.avail()), std::make_pair(0x0FFFFFFFu, size_t{0}));
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
  EXPECT_FALSE(d.get_varint32(&v));
  EXPECT_EQ(std::make_pair(v, d.pos()), std::make_pair(300u, size_t{2}));

  // 64 bits, ten bytes at the very end: the fallback path, tenth byte's high bits dropped.
  uint64_t w = 0;
  b = FromHex("FF FF FF FF FF FF FF FF FF 03");
  d.reset(b.data(), b.size());
  EXPECT_TRUE(d.get_varint64(&w));
  EXPECT_EQ(std::make_pair(w, d.avail()), std::make_pair(~uint64_t{0}, size_t{0}));
  b[9] = '\x81';
  d.reset(b.data(), b.size());
  EXPECT_FALSE(d.get_varint64(&w));
  EXPECT_EQ(d.pos(), 0u);
  // Nine bytes all above 127: fails with p_ at the limit, *v untouched.
  w = 5;
  d.reset(b.data(), 9);
  EXPECT_FALSE(d.get_varint64(&w));
  EXPECT_EQ(std::make_pair(w, d.pos()), std::make_pair(uint64_t{5}, size_t{9}));
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
    ASSERT_TRUE(d.get_varint64(&w) && d.get_varint32(&v));
    EXPECT_EQ(std::make_pair(w, v), std::make_pair(x, static_cast<uint32_t>(x)));
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
  EXPECT_EQ(std::make_tuple(-1, -1, -1),
            std::make_tuple(Bits::Log2Floor_Portable(0), Bits::Log2Ceiling(0), Bits::Log2Ceiling64(0)));
  // Powers of two, their neighbours and the top bit, against the compiler's bit scans.
  for (int s = 0; s < 32; ++s) {
    for (uint32_t v : {1u << s, (2u << s) - 1, (1u << s) + 1, (1u << s) | 0x80000000u}) {
      EXPECT_EQ(Bits::Log2Floor_Portable(v), 31 - __builtin_clz(v)) << v;
      EXPECT_EQ(Bits::FindLSBSetNonZero_Portable(v), __builtin_ctz(v)) << v;
      EXPECT_EQ(Bits::Log2Ceiling(v), v == 1 ? 0 : 32 - __builtin_clz(v - 1)) << v;
      EXPECT_EQ(Bits::Log2Ceiling64(uint64_t{v} << 20), Bits::Log2Ceiling(v) + 20) << v;
    }
  }
}

}  // namespace
}  // namespace loupe
