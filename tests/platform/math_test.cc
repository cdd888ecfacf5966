// Dates, units, the tolerant arc cosine and the map hash.
#include <gtest/gtest.h>

#include <tuple>

#include "platform/date_time.h"
#include "platform/fast_math.h"
#include "platform/hash.h"
#include "platform/system.h"
#include "platform/units.h"

namespace vistara {
namespace {

TEST(DateTimeTest, JulianDates) {
  EXPECT_EQ(2451545.0, DateTime(2000, 1, 1, 12).GetJulianDate());
  EXPECT_EQ(2451543.5, DateTime(1999, 12, 31).GetJulianDate());
  EXPECT_EQ(2440587.5, DateTime(1970, 1, 1).GetJulianDate());
  EXPECT_EQ(2299160.5, DateTime(1582, 10, 15).GetJulianDate()) << "first Gregorian day";
  EXPECT_EQ(DateTime(2001, 1, 1).GetJulianDate(), DateTime(2000, 13, 1).GetJulianDate()) << "months carry";
  EXPECT_EQ(DateTime(2000, 3, 1).GetJulianDate(), DateTime(2000, 2, 30).GetJulianDate()) << "2000 is a leap year";

  const auto f = DateTime::FromJulianDate(DateTime(2026, 11, 22, 18, 30, 15.5).GetJulianDate()).GetFields();
  EXPECT_EQ(std::make_tuple(2026, 11, 22, 18, 30), std::make_tuple(f.year, f.month, f.day, f.hour, f.minute));
  EXPECT_NEAR(15.5, f.second, 1e-3);
  // A time that rounds up to the next midnight is that day's 00:00.
  const auto midnight = DateTime::FromJulianDate(2451545.5 - 1e-11).GetFields();
  EXPECT_EQ(std::make_tuple(2000, 1, 2, 0, 0), std::make_tuple(midnight.year, midnight.month, midnight.day, midnight.hour, midnight.minute));

  const double now = DateTime().GetJulianDate();
  EXPECT_GT(now, DateTime(2020, 1, 1).GetJulianDate());
  EXPECT_LT(now, DateTime(2200, 1, 1).GetJulianDate());
}

TEST(UnitsTest, LengthsAndTolerantMath) {
  EXPECT_DOUBLE_EQ(149597870700.0 / 6371010.0,
                   Units::ConvertLength(1.0, Units::kAstronomicalUnits, Units::kPlanetRadii));
  EXPECT_DOUBLE_EQ(1609.344, Units::ConvertLength(1.0, Units::kMiles, Units::kMeters));
  EXPECT_EQ(0.0, Units::ConvertLength(1.0, static_cast<Units::LType>(99), Units::kMeters));

  EXPECT_EQ(0.0, FastMath::acos(1.0000000001));
  EXPECT_DOUBLE_EQ(M_PI, FastMath::acos(-1.0000000001));
  EXPECT_DOUBLE_EQ(M_PI / 2, FastMath::acos(0.0));
  EXPECT_TRUE(std::isnan(FastMath::acos(NAN)));

  std::vector<int> seen(4, 0);
  for (int i = 0; i < 400; ++i) {
    const int r = System::Random(10, 14);
    ASSERT_GE(r, 10);
    ASSERT_LT(r, 14);
    ++seen[static_cast<size_t>(r - 10)];
  }
  for (int n : seen) EXPECT_GT(n, 0) << "every value of [10, 14) turns up in 400 draws";
  EXPECT_EQ(7, System::Random(7, 7));
  EXPECT_EQ(INT_MAX - 1, System::Random(INT_MAX - 1, INT_MAX));
}

// The mix written out byte by byte, independently of the word-at-a-time code.
uint32_t ReferenceHash(const QString& s) {
  std::vector<uint8_t> b;
  for (QChar c : s) {
    b.push_back(static_cast<uint8_t>(c.unicode() & 0xFF));
    b.push_back(static_cast<uint8_t>(c.unicode() >> 8));
  }
  auto word = [&](size_t i, size_t n) {
    uint32_t w = 0;
    for (size_t k = 0; k < n; ++k) w += static_cast<uint32_t>(b[i + k]) * (1u << (8 * k));
    return w;
  };
  uint32_t h = 0x12345678;
  if (b.size() <= 4) return HashFinish(HashMix(h, word(0, b.size())));
  h = HashFinish(HashMix(h, word(0, 2)));
  size_t i = 2, left = b.size() - 2;
  for (; left >= 4; i += 4, left -= 4) h = HashMix(h, word(i, 4));
  if (left) {
    h ^= word(i, left);
    h *= 0x5BD1E995u;
  }
  return HashFinish(h);
}

TEST(HashTest, MatchesTheDescribedMixForEveryTailLength) {
  for (const char* s : {"", "a", "ab", "abc", "abcd", "abcde", "pano_0123456789", "\xc3\xa9t\xc3\xa9"}) {
    const QString q = QString::fromUtf8(s);
    EXPECT_EQ(ReferenceHash(q), hash<QString>()(q)) << s;
  }
  // Hashing once turned a null string into an empty one.
  const QString null;
  EXPECT_EQ(hash<QString>()(QString("")), hash<QString>()(null));
  EXPECT_TRUE(null.isNull());
}

}  // namespace
}  // namespace vistara
