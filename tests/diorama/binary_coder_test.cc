#include "diorama/binary_coder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "diorama/stream_test_util.h"
#include "test_util.h"

namespace loupe {
namespace {

using test_streams::Buffer;
using vistara::testing::FromHex;
using vistara::testing::ScopedLogCapture;
using vistara::testing::SeededRandom;
using vistara::testing::ToHex;

TEST(BinaryEncoderTest, WorkedExamplesAndCodeLengths) {
  // The example of docs/binary-stream.md: header 53 45 03 00, VarUInt(300, 4), VarInt(-3, 1),
  // a 3-bit field 5, the string "hi" by VarString(k = 1).
  BinaryEncoder example;
  example.WriteBits(0x4553, 16);
  example.WriteBits(3, 16);
  example.WriteVarUInt(300, 4);
  example.WriteVarInt(-3, 1);
  example.WriteBits(5, 3);
  example.WriteVarString("hi", 1);
  EXPECT_EQ(ToHex(Buffer(example)), "53 45 03 00 E3 80 6E A0 A5 01");

  // Group boundaries: k = 4 takes 5, 10, 15, 20 bits; k = 1 takes 2, 4, 6, 8 bits; the widest
  // codes go past one 32-bit field. A pending partial byte counts in buffer_size().
  const struct {
    int value, k;
    size_t bits;
  } sizes[] = {{15, 4, 5},  {16, 4, 10}, {271, 4, 10}, {272, 4, 15}, {4367, 4, 15}, {4368, 4, 20},
               {1, 1, 2},   {2, 1, 4},   {13, 1, 6},   {14, 1, 8},   {-1, 4, 40},   {-1, 1, 64}};
  for (const auto& row : sizes) {
    BinaryEncoder e;
    e.WriteVarUInt(row.value, row.k);
    EXPECT_EQ(e.num_bits(), row.bits) << row.value << " k=" << row.k;
    EXPECT_EQ(e.buffer_size(), static_cast<int>((row.bits + 7) / 8));
  }
  const int unsigned_rows[][2] = {{0, 1}, {255, 8}, {256, 9}, {65536, 17}, {-1, 32}};
  for (auto [i, bits] : unsigned_rows) EXPECT_EQ(BinaryEncoder::BitsRequired(i), bits) << i;
  const int signed_rows[][2] = {{0, 2}, {-1, 2}, {127, 8}, {-128, 8}, {128, 9}, {-129, 9}};
  for (auto [i, bits] : signed_rows) EXPECT_EQ(BinaryEncoder::SignedBitsRequired(i), bits) << i;

  // A string too long for its length field is reported and written with the length cut.
  ScopedLogCapture capture;
  BinaryEncoder cut;
  cut.WriteString("abc", 2);
  EXPECT_EQ(ToHex(Buffer(cut)), "87 89 8D 01");
  EXPECT_EQ(capture.texts(), std::vector<std::string>{"Check failed: str_size<max_size 3<3"});
}

TEST(BinaryDecoderTest, FieldsAtTheEnd) {
  // ReadDouble with 6 bytes left: 0.0, four bytes consumed, two fetched but not consumed.
  std::string s = FromHex("00 00 00 00 00 00");
  BinaryDecoder d;
  d.Init(s);
  EXPECT_EQ(d.ReadDouble(), 0.0);
  EXPECT_EQ(d.BytesDecoded(), 4);
  EXPECT_EQ(d.ReadBits(16), 0u);
  EXPECT_EQ(d.BytesDecoded(), 6);
  EXPECT_EQ(d.ReadVarUInt(4), 0u);

  // The count rule: a length within the 16 bits left plus 2^12 reads with a zero tail, one more
  // reads as 0, the empty string.
  for (const uint32_t length : {4096u + 16, 4096u + 17}) {
    BinaryEncoder e;
    e.WriteBits(static_cast<int>(length), 32);
    e.WriteBits('x', 8);
    s = Buffer(e) + '\0';
    d.Init(s);
    const std::string got = d.ReadString(32);
    EXPECT_EQ(got.size(), length == 4112 ? length : 0u);
    EXPECT_EQ(got.substr(0, 2), length == 4112 ? std::string("x\0", 2) : "");
  }

  // Zigzag at the extremes. The reader shifts the signed value arithmetically, so magnitudes of
  // 2^30 and more don't come back: INT32_MAX travels as 0xFFFFFFFE and reads as -1.
  BinaryEncoder e;
  for (int v : {(1 << 30) - 1, -(1 << 30), 1 << 30, INT32_MAX, INT32_MIN}) e.WriteVarInt(v, 4);
  s = Buffer(e);
  d.Init(s);
  for (int v : {(1 << 30) - 1, -(1 << 30), -(1 << 30), -1, 0}) EXPECT_EQ(d.ReadVarInt(4), v);
}

// A run read in one call must leave everything as the same codes read one by one: values, the
// place a stop leaves, and what follows. Every prefix of the stream is tried, so runs that end
// mid-code or mid-word and the switch to the field-by-field path are covered.
TEST(BinaryDecoderTest, VarUIntRunsReadAsSingleCodes) {
  SeededRandom rng;
  for (int k : {1, 4, 13}) {
    BinaryEncoder e;
    const int lead = rng.Int(0, 31);
    e.WriteBits(0, lead);
    std::vector<uint32_t> in;
    for (int i = 0; i < 40; ++i) {
      in.push_back(static_cast<uint32_t>(rng.engine()() >> rng.Int(0, 31)));
      e.WriteVarUInt(static_cast<int>(in.back()), k);
    }
    e.WriteBits(0x5A, 8);
    const std::string s = Buffer(e);
    for (size_t size = 0; size <= s.size(); ++size) {
      const uint32_t stop_at = static_cast<uint32_t>(rng.Int(0, 45));
      BinaryDecoder one, run;
      one.Init(s.data(), static_cast<int>(size));
      run.Init(s.data(), static_cast<int>(size));
      one.ReadBits(lead);
      run.ReadBits(lead);
      std::vector<uint32_t> expected, got;
      for (uint32_t i = 0; i < 42 && i <= stop_at; ++i) expected.push_back(one.ReadVarUInt(k));
      run.ReadVarUInts(k, 42, [&](uint32_t v) {
        got.push_back(v);
        return got.size() <= stop_at;
      });
      ASSERT_EQ(got, expected) << "k " << k << ", size " << size;
      if (size == s.size() && stop_at >= 40) {
        EXPECT_EQ(std::vector<uint32_t>(got.begin(), got.begin() + 40), in);
      }
      ASSERT_EQ(run.BytesDecoded(), one.BytesDecoded());
      ASSERT_EQ(run.ReadBits(8), one.ReadBits(8));
    }
  }
}

}  // namespace
}  // namespace loupe
