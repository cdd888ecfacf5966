#include "util/coding/varint.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "test_util.h"

namespace loupe {
namespace {

using vistara::testing::FromHex;
using vistara::testing::SeededRandom;
using vistara::testing::ToHex;

std::string Enc32(uint32_t v) {
  char buf[Varint::kMax32];
  return std::string(buf, Varint::Encode32(buf, v));
}
std::string Enc64(uint64_t v) {
  char buf[Varint::kMax64];
  return std::string(buf, Varint::Encode64(buf, v));
}

TEST(VarintTest, GoldenBytesAndLengths) {
  // 127, 128, 300, 2^35 - 1, 2^35 and 2^64 - 1 in a row.
  std::string golden;
  for (uint64_t v : {127ull, 128ull, 300ull, 0x7FFFFFFFFull, 0x800000000ull, ~0ull}) golden += Enc64(v);
  EXPECT_EQ(ToHex(golden), "7F 80 01 AC 02 FF FF FF FF 7F 80 80 80 80 80 01 FF FF FF FF FF FF FF FF FF 01");
  // Lengths: the table by significant bits, the threshold form and both encoders all agree.
  for (int b = 0; b < 64; ++b) {
    for (uint64_t v : {uint64_t{1} << b, (uint64_t{1} << b) - 1, (uint64_t{1} << b) + 1}) {
      EXPECT_EQ(Varint::Length64(v), static_cast<int>(Enc64(v).size())) << v;
      if (v <= 0xFFFFFFFF) {
        const auto v32 = static_cast<uint32_t>(v);
        EXPECT_EQ(Varint::Length32(v32), static_cast<int>(Enc32(v32).size())) << v;
        EXPECT_EQ(Varint::Length32NonInline(v32), Varint::Length32(v32)) << v;
        EXPECT_EQ(Enc64(v), Enc32(v32));
      }
    }
  }
}

TEST(VarintTest, ParsersRoundTripForwardAndBackward) {
  SeededRandom rng;
  std::vector<uint64_t> values = {0, 1, 127, 128, 16383, 16384, 0xFFFFFFFF, ~uint64_t{0}};
  for (int i = 0; i < 5000; ++i) values.push_back((uint64_t{rng.engine()()} << 32 | rng.engine()()) >> rng.Int(0, 63));
  // One stream of all the values as 64-bit varints and one of their low halves as 32-bit ones. The
  // other forward parsers are Decoder's slow paths, which its tests round-trip.
  std::string s64, s32;
  for (uint64_t v : values) {
    Varint::Append64(&s64, v);
    Varint::Append32(&s32, static_cast<uint32_t>(v));
  }
  const char* p = s64.data();
  for (uint64_t v : values) {
    uint64_t got = 0;
    p = Varint::Parse64WithLimit(p, s64.data() + s64.size(), &got);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(got, v);
  }
  // Backward, from the end where the forward pass stopped to the start.
  const char* q = s32.data() + s32.size();
  for (size_t i = values.size(); i-- > 0;) {
    uint64_t got = 0;
    const char* start = Varint::Parse64BackwardSlow(p, s64.data(), &got);
    ASSERT_NE(start, nullptr);
    EXPECT_EQ(got, values[i]);
    EXPECT_EQ(Varint::Skip64BackwardSlow(p, s64.data()), start);
    p = start;
    uint32_t got32 = 0;
    start = Varint::Parse32BackwardSlow(q, s32.data(), &got32);
    ASSERT_NE(start, nullptr);
    EXPECT_EQ(got32, static_cast<uint32_t>(values[i]));
    EXPECT_EQ(Varint::Skip32BackwardSlow(q, s32.data()), start);
    q = start;
  }
  EXPECT_EQ(p, s64.data());
  EXPECT_EQ(q, s32.data());
}

TEST(VarintTest, OverlongAndTruncatedInputs) {
  uint32_t v32 = 7;
  uint64_t v64 = 7;
  // A fifth byte above 127 fails (Decoder's tests take the paths that succeed).
  std::string b = FromHex("FF FF FF FF 80");
  EXPECT_EQ(Varint::Parse32Fallback(b.data(), &v32), nullptr);
  EXPECT_EQ(v32, 7u);
  // Ten bytes: the tenth keeps only its lowest bit, and fails above 127.
  b = FromHex("FF FF FF FF FF FF FF FF FF 02");
  EXPECT_EQ(Varint::Parse64WithLimit(b.data(), b.data() + 10, &v64), b.data() + 10);
  EXPECT_EQ(v64, 0x7FFFFFFFFFFFFFFFu);
  b[9] = '\x80';
  EXPECT_EQ(Varint::Parse64Fallback(b.data(), &v64), nullptr);
  // Every truncation of a long varint fails under a limit.
  const std::string full = Enc64(~uint64_t{0});
  for (size_t n = 0; n < full.size(); ++n) {
    std::vector<char> exact(full.begin(), full.begin() + static_cast<long>(n));
    EXPECT_EQ(Varint::Parse64WithLimit(exact.data(), exact.data() + n, &v64), nullptr) << n;
  }
  // Backward: nothing before p, a last byte with its top bit set, too many continuation bytes.
  b = FromHex("FF FF FF FF FF 01");
  EXPECT_EQ(Varint::Parse32BackwardSlow(b.data(), b.data(), &v32), nullptr);
  EXPECT_EQ(Varint::Parse32BackwardSlow(b.data() + 5, b.data(), &v32), nullptr);
  EXPECT_EQ(Varint::Parse32BackwardSlow(b.data() + 6, b.data(), &v32), nullptr);
  EXPECT_EQ(Varint::Parse32BackwardSlow(b.data() + 6, b.data() + 1, &v32), b.data() + 1);
  EXPECT_EQ(v32, 0x1FFFFFFFu);
  EXPECT_EQ(Varint::Parse64BackwardSlow(b.data() + 6, b.data(), &v64), b.data());
  b = FromHex("7F FF FF FF FF FF FF FF FF FF FF 01");
  EXPECT_EQ(Varint::Skip64BackwardSlow(b.data() + 12, b.data()), nullptr);
  EXPECT_EQ(Varint::Skip64BackwardSlow(b.data() + 12, b.data() + 2), b.data() + 2);
}

TEST(VarintTest, TwoValues) {
  std::string s;
  Varint::EncodeTwo32Values(&s, 0x12, 0x34);
  EXPECT_EQ(ToHex(s), "C2 62");
  SeededRandom rng;
  std::vector<std::pair<uint32_t, uint32_t>> pairs = {
      {0, 0}, {0xFFFFFFFF, 0}, {0, 0xFFFFFFFF}, {0xFFFFFFFF, 0xFFFFFFFF}};
  const auto random = [&rng] { return static_cast<uint32_t>(rng.engine()() >> rng.Int(0, 31)); };
  for (int i = 0; i < 1000; ++i) pairs.push_back({random(), random()});
  for (auto [a, b] : pairs) {
    s.clear();
    Varint::EncodeTwo32Values(&s, a, b);
    s.append(Varint::kMax64, '\0');  // the fallback parser needs ten readable bytes
    uint32_t ga = 1, gb = 1;
    EXPECT_NE(Varint::DecodeTwo32ValuesSlow(s.data(), &ga, &gb), nullptr);
    EXPECT_EQ(std::make_pair(ga, gb), std::make_pair(a, b));
  }
}

}  // namespace
}  // namespace loupe
