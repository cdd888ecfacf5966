// Dates, the tolerant arc cosine, bearings and headings, the sphere's axes and the map hash.
#include <GeographicLib/Geocentric.hpp>
#include <GeographicLib/Geodesic.hpp>
#include <gtest/gtest.h>

#include <numbers>
#include <set>
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

  const auto f = DateTime::FromJulianDate(DateTime(2026, 11, 22, 18, 30, 15.5).GetJulianDate()).GetFields();
  EXPECT_EQ(std::make_tuple(2026, 11, 22, 18, 30, 15.5),
            std::make_tuple(f.year, f.month, f.day, f.hour, f.minute, f.second));
  // A time that rounds up to the next midnight is that day's 00:00.
  const auto m = DateTime::FromJulianDate(2451545.5 - 1e-11).GetFields();
  EXPECT_EQ(std::make_tuple(2000, 1, 2, 0, 0, 0.0),
            std::make_tuple(m.year, m.month, m.day, m.hour, m.minute, m.second));
}

TEST(FastMathTest, TolerantAcosAndRandomRange) {
  EXPECT_EQ(0.0, FastMath::acos(1.0000000001));
  EXPECT_DOUBLE_EQ(M_PI, FastMath::acos(-1.0000000001));
  EXPECT_TRUE(std::isnan(FastMath::acos(NAN)));

  std::set<int> seen;  // 400 draws see all of [10, 14) and nothing else
  for (int i = 0; i < 400; ++i) seen.insert(System::Random(10, 14));
  EXPECT_EQ(seen, (std::set<int>{10, 11, 12, 13}));
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
    ASSERT_NEAR(0, std::remainder(ComputeFlatMapCompassHeading(from, to) - azi1, 360), 1e-3) << from.x << "," << from.y;

    const Vec3<double> p(rng.Double(-1, 1), rng.Double(-0.499, 0.499), rng.Double(-1e-3, 1e-3));
    double ex, ey, ez;
    unit_sphere.Forward(p.y * 180, p.x * 180, p.z, ex, ey, ez);
    const Vec3<double> c = MapToCartesian(p), back = CartesianToMap(c);
    ASSERT_NEAR(0, (c - Vec3<double>(-ey, ez, -ex)).Length(), 1e-12);
    ASSERT_NEAR(0, (back - p).Length(), 1e-12);
  }
  EXPECT_DOUBLE_EQ(45, ComputeFlatMapCompassHeading({0.1, 0.5}, {0.2, 0.6})) << "no cos(latitude)";
  EXPECT_LE(std::fabs(CartesianToMap(MapToCartesian(Vec3<double>(1, 0, 0))).x), 1.0) << "the antimeridian";
}

// Values a byte-by-byte rendering of the mix gave; code units above 0xFF put a byte in
// every lane of the word.
TEST(HashTest, MatchesTheDescribedMixForEveryTailLength) {
  const std::pair<const char*, size_t> cases[] = {
      {"", 0xE370EF86},      {"a", 0x64C28595},    {"ab", 0x296BA33C}, {"abc", 0x71F2778D}, {"abcd", 0x48086551},
      {"abcde", 0x85C5CF8C}, {"pano_0123456789", 0x48278AEA},
      {"\xc3\xa9t\xc3\xa9\xe2\x82\xac\xe4\xb8\xad", 0xD2554878}};
  for (const auto& [s, h] : cases) EXPECT_EQ(h, hash<QString>()(QString::fromUtf8(s))) << s;
  // Hashing once turned a null string into an empty one.
  const QString null;
  EXPECT_EQ(hash<QString>()(QString("")), hash<QString>()(null));
  EXPECT_TRUE(null.isNull());
}

}  // namespace
}  // namespace vistara
