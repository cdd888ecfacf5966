#include "util/coding/bitcoding.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "test_util.h"

namespace loupe {
namespace {

using vistara::testing::FromHex;
using vistara::testing::SeededRandom;
using vistara::testing::ToHex;

std::string Bytes(BitEncoder& be) {
  be.FlushToByte();
  return std::string(be.encoder().buffer(), be.encoder().length());
}

TEST(BitEncoderTest, GammaCodesAndHelpers) {
  // Entries of the check table: length << 24 | code.
  const uint32_t rows[][2] = {{0, 0}, {1, 0x01000000}, {3, 0x03000005}, {5, 0x0500000B}, {255, 0x0F007F7F}};
  for (const auto& [i, entry] : rows) EXPECT_EQ(BitEncoder::gamma_[i], entry) << i;
  // Every code decodes to its value, in one stream; PutGamma(0) writes nothing.
  BitEncoder be;
  for (uint32_t i = 0; i < 256; ++i) be.PutGamma(i);
  const std::string s = Bytes(be);
  BitDecoder bd(s.data(), s.size());
  for (uint32_t i = 1; i < 256; ++i) {
    uint32_t v = 0;
    ASSERT_TRUE(bd.GetGamma(&v));
    EXPECT_EQ(v, i);
  }

  EXPECT_EQ(BitEncoder::ReverseBits(0, 0xFFFFFFFF), 0u);
  EXPECT_EQ(BitEncoder::ReverseBits(3, 0b110), 0b011u);
  EXPECT_EQ(BitEncoder::ReverseBits(32, 0x12345678), 0x1E6A2C48u);
  EXPECT_EQ(BitEncoder::ReverseBits(8, 0x1234), 0x2Cu);
  char buf[8];
  EXPECT_STREQ(BitEncoder::UnparseLSBFirst(buf, 6, 5), "01100");
  EXPECT_STREQ(BitEncoder::UnparseLSBFirst(buf, 6, 0), "");
}

TEST(BitEncoderTest, WordStoresOnesAndFlush) {
  // Least significant bit first. 32 bits at once go out as a word and leave nothing pending; after
  // 5 bits, 5 of the next 32 remain. No bits, nothing written.
  BitEncoder a;
  a.PutBits(0xFFFFFFFF, 32);
  a.PutBits(0b10110, 5);
  a.PutBits(0x1FF, 0);
  a.PutBits(0xFFFFFFFF, 32);
  EXPECT_EQ(a.pending_bits(), 5);
  EXPECT_EQ(ToHex(Bytes(a)), "FF FF FF FF F6 FF FF FF 1F");
  // PutOnes against PutBits of ones, across word boundaries, at every starting offset.
  for (int offset = 0; offset < 32; ++offset) {
    for (int n : {0, 1, 7, 31, 32, 33, 64, 65, 100}) {
      BitEncoder x, y;
      x.PutBits(0, offset);
      y.PutBits(0, offset);
      x.PutOnes(n);
      for (int left = n; left > 0; left -= 32) y.PutBits(0xFFFFFFFF, left < 32 ? left : 32);
      x.PutBits(0, 3);
      y.PutBits(0, 3);
      EXPECT_EQ(x.pending_bits(), y.pending_bits());
      EXPECT_EQ(Bytes(x), Bytes(y)) << offset << " " << n;
    }
  }
  // A flush that rounds up to a whole word stores it.
  BitEncoder c;
  c.PutBits(0x123456, 25);
  c.FlushToByte();
  EXPECT_EQ(ToHex(std::string(c.encoder().buffer(), c.encoder().length())), "56 34 12 00");
  EXPECT_EQ(c.pending_bits(), 0);
}

TEST(BitDecoderTest, RefillsAndFailures) {
  // GetBits(32) with 8 valid bits and 2 bytes left fails and leaves the 16 refilled bits.
  std::string s = FromHex("AB CD EF");
  BitDecoder d(s.data(), s.size());
  uint32_t v = 1;
  EXPECT_TRUE(d.GetBits(0, &v));
  EXPECT_EQ(std::make_pair(0u, size_t{0}), std::make_pair(v, d.bytes_fetched()));
  EXPECT_TRUE(d.GetBits(16, &v));  // refills 24 bits
  EXPECT_EQ(std::make_pair(0xCDABu, 8), std::make_pair(v, d.pending_bits()));
  // After 24 bits 8 are pending: GetBits(32) with 3 bytes left fails (0) and keeps the 16 bits it
  // refilled; with 4 left it succeeds and leaves 8.
  for (const bool four_left : {false, true}) {
    s = FromHex(four_left ? "AB CD EF 01 02 03 04 05" : "AB CD EF 01 02 03");
    d = BitDecoder(s.data(), s.size());
    EXPECT_TRUE(d.GetBits(24, &v));
    EXPECT_EQ(four_left, d.GetBits(32, &v));
    EXPECT_EQ(std::make_pair(four_left ? 0x04030201u : 0u, four_left ? 8 : 16), std::make_pair(v, d.pending_bits()));
  }
  EXPECT_FALSE(d.GetBits(33, &v));

  // A unary run across a word boundary: 40 ones, a zero, then 1.
  BitEncoder be;
  be.PutBits(0, 20);
  be.PutOnes(40);
  be.PutBits(0b10, 2);
  const std::string u = Bytes(be);
  d = BitDecoder(u.data(), u.size());
  int count = -1;
  EXPECT_TRUE(d.GetUnary(&count));
  EXPECT_EQ(count, 0);
  EXPECT_TRUE(d.GetBits(19, &v));
  EXPECT_TRUE(d.GetUnary(&count));
  EXPECT_EQ(count, 40);
  EXPECT_TRUE(d.GetBits(1, &v));
  EXPECT_EQ(v, 1u);
  // Only ones to the end: fails with 0.
  s = FromHex("FF FF FF FF FF");
  d = BitDecoder(s.data(), s.size());
  EXPECT_FALSE(d.GetUnary(&count));
  EXPECT_EQ(count, 0);
  EXPECT_FALSE(d.GetGamma(&v));
  EXPECT_EQ(v, 0u);
}

TEST(BitCodingTest, RandomFieldsRoundTrip) {
  SeededRandom rng;
  std::vector<std::pair<uint32_t, int>> fields;
  BitEncoder be;
  for (int i = 0; i < 20000; ++i) {
    const int n = rng.Int(0, 32);
    const uint32_t v = rng.engine()() & BitEncoder::mask_[n];
    fields.push_back({v, n});
    if (i % 7 == 0) be.EnsureBits(n);
    be.PutBits(v | ~BitEncoder::mask_[n], n);  // bits above n are ignored
  }
  const std::string s = Bytes(be);
  std::vector<char> exact(s.begin(), s.end());
  BitDecoder d(exact.data(), exact.size());
  for (auto [v, n] : fields) {
    uint32_t got = 0;
    ASSERT_TRUE(d.GetBits(n, &got));
    ASSERT_EQ(got, v);
  }
}

}  // namespace
}  // namespace loupe
