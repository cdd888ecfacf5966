// Dates, the tolerant arc cosine, bearings and headings, the sphere's axes and the map hash.
#include <GeographicLib/Geocentric.hpp>
#include <GeographicLib/Geodesic.hpp>
#include <gtest/gtest.h>

#include <ctime>
#include <numbers>
#include <tuple>

#include "platform/date_time.h"
#include "platform/fast_math.h"
#include "platform/geo.h"
#include "platform/hash.h"
#include "platform/system.h"
#include "test_util.h"

namespace vistara {
namespace {

TEST(DateTimeTest, JulianDates) {
  EXPECT_EQ(2451545.0, DateTime(2000, 1, 1, 12).GetJulianDate());
  EXPECT_EQ(2299160.5, DateTime(1582, 10, 15).GetJulianDate()) << "first Gregorian day";
  EXPECT_EQ(DateTime(2001, 1, 1).GetJulianDate(), DateTime(2000, 13, 1).GetJulianDate()) << "months carry";
  EXPECT_EQ(DateTime(2000, 3, 1).GetJulianDate(), DateTime(2000, 2, 30).GetJulianDate()) << "2000 is a leap year";

  const auto f = DateTime::FromJulianDate(DateTime(2026, 11, 22, 18, 30, 15.5).GetJulianDate()).GetFields();
  EXPECT_EQ(std::make_tuple(2026, 11, 22, 18, 30), std::make_tuple(f.year, f.month, f.day, f.hour, f.minute));
  EXPECT_NEAR(15.5, f.second, 1e-3);
  // A time that rounds up to the next midnight is that day's 00:00.
  const auto midnight = DateTime::FromJulianDate(2451545.5 - 1e-11).GetFields();
  EXPECT_EQ(std::make_tuple(2000, 1, 2, 0, 0), std::make_tuple(midnight.year, midnight.month, midnight.day, midnight.hour, midnight.minute));
  // Now: the clock's Unix epoch is Julian date 2440587.5.
  EXPECT_NEAR(DateTime().GetJulianDate(), 2440587.5 + std::time(nullptr) / 86400.0, 1e-3);
}

TEST(FastMathTest, TolerantAcosAndRandomRange) {
  EXPECT_EQ(0.0, FastMath::acos(1.0000000001));
  EXPECT_DOUBLE_EQ(M_PI, FastMath::acos(-1.0000000001));
  EXPECT_TRUE(std::isnan(FastMath::acos(NAN)));

  std::vector<int> seen(4, 0);
  for (int i = 0; i < 400; ++i) {
    const int r = System::Random(10, 14);
    ASSERT_TRUE(r >= 10 && r < 14) << r;
    ++seen[static_cast<size_t>(r - 10)];
  }
  for (int n : seen) EXPECT_GT(n, 0) << "every value of [10, 14) turns up in 400 draws";
  EXPECT_EQ(7, System::Random(7, 7));
  EXPECT_EQ(INT_MAX - 1, System::Random(INT_MAX - 1, INT_MAX));
}

// The initial bearing on a sphere, cross-checked against GeographicLib's geodesic with zero
// flattening (azimuth in degrees clockwise from north, in (-180, 180]).
TEST(GeoTest, AzimuthMatchesGeographicLibOnTheSphere) {
  const GeographicLib::Geodesic sphere(6371010.0, 0.0);
  vistara::testing::SeededRandom rng;
  for (int i = 0; i < 2000; ++i) {
    const double lat1 = rng.Double(-80, 80), lon1 = rng.Double(-180, 180);
    const double lat2 = i % 2 ? rng.Double(-80, 80) : lat1 + rng.Double(-2, 2);
    const double lon2 = i % 2 ? rng.Double(-180, 180) : lon1 + rng.Double(-2, 2);
    double s12, azi1, azi2;
    sphere.Inverse(lat1, lon1, lat2, lon2, s12, azi1, azi2);
    double diff = AzimuthToPoint(lat1 / 180, lon1 / 180, lat2 / 180, lon2 / 180) * 180 / std::numbers::pi - azi1;
    diff -= 360 * std::round(diff / 360);  // both sides of the seam due south are south
    ASSERT_NEAR(diff, 0, 1e-7) << lat1 << "," << lon1 << " -> " << lat2 << "," << lon2;
  }
  EXPECT_DOUBLE_EQ(AzimuthToPoint(0, 0, -0.1, 0), std::numbers::pi);
}

// Near the equator the flat map is the sphere, so over 50 m the flat heading agrees with
// GeographicLib's azimuth; our axes are its Earth-centred ones turned (X = -y, Y = z, Z = -x).
TEST(GeoTest, FlatHeadingAndCartesianAxesMatchGeographicLib) {
  const GeographicLib::Geodesic sphere(6371010.0, 0.0);
  const GeographicLib::Geocentric unit_sphere(1.0, 0.0);
  const double m = 1.0 / (6371010.0 * std::numbers::pi);  // one metre of arc in map units
  vistara::testing::SeededRandom rng;
  for (int i = 0; i < 1000; ++i) {
    const Vec2<double> from(rng.Double(-1, 1), rng.Double(-1e-6, 1e-6));
    const Vec2<double> to(from.x + rng.Double(-50, 50) * m, from.y + rng.Double(-50, 50) * m);
    double s12, azi1, azi2;
    sphere.Inverse(from.y * 180, from.x * 180, to.y * 180, to.x * 180, s12, azi1, azi2);
    double diff = ComputeFlatMapCompassHeading(from, to) - azi1;
    diff -= 360 * std::round(diff / 360);
    ASSERT_NEAR(diff, 0, 1e-3) << from.x << "," << from.y;

    const Vec3<double> p(rng.Double(-1, 1), rng.Double(-0.499, 0.499), rng.Double(-1e-3, 1e-3));
    double ex, ey, ez;
    unit_sphere.Forward(p.y * 180, p.x * 180, p.z, ex, ey, ez);
    const Vec3<double> c = MapToCartesian(p), back = CartesianToMap(c);
    ASSERT_NEAR(0, (c - Vec3<double>(-ey, ez, -ex)).Length(), 1e-12);
    ASSERT_NEAR(0, (back - p).Length(), 1e-12);
  }
  EXPECT_EQ(180, ComputeFlatMapCompassHeading({0.1, 0.2}, {0.1, 0.1}));
  EXPECT_DOUBLE_EQ(45, ComputeFlatMapCompassHeading({0.1, 0.5}, {0.2, 0.6})) << "no cos(latitude)";
  EXPECT_LE(std::fabs(CartesianToMap(MapToCartesian(Vec3<double>(1, 0, 0))).x), 1.0) << "the antimeridian";
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
  // Code units above 0xFF put a byte in every lane of the word.
  for (const char* s : {"", "a", "ab", "abc", "abcd", "abcde", "pano_0123456789", "\xc3\xa9t\xc3\xa9\xe2\x82\xac\xe4\xb8\xad"}) {
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
