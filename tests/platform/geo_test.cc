#include "platform/geo.h"

#include <GeographicLib/Geocentric.hpp>
#include <GeographicLib/Geodesic.hpp>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "test_util.h"

namespace vistara {
namespace {

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
    const double ours = AzimuthToPoint(lat1 / 180, lon1 / 180, lat2 / 180, lon2 / 180);
    double diff = ours * 180 / std::numbers::pi - azi1;
    diff -= 360 * std::round(diff / 360);  // both sides of the seam due south are south
    ASSERT_NEAR(diff, 0, 1e-7) << lat1 << "," << lon1 << " -> " << lat2 << "," << lon2;
  }
  EXPECT_DOUBLE_EQ(AzimuthToPoint(0, 0, 0, 0.5), std::numbers::pi / 2);
  EXPECT_DOUBLE_EQ(AzimuthToPoint(0, 0, -0.1, 0), std::numbers::pi);
}

// Near the equator the flat map is the sphere, so over a few metres the flat heading must agree with
// the great-circle bearing; away from it the flat heading ignores the shrinking of longitude.
TEST(GeoTest, FlatMapHeadingAgreesWithTheBearingAtTheEquator) {
  vistara::testing::SeededRandom rng;
  const double m = 1.0 / (6371010.0 * std::numbers::pi);  // one metre of arc in map units
  for (int i = 0; i < 1000; ++i) {
    const Vec2<double> from(rng.Double(-1, 1), rng.Double(-1e-6, 1e-6));
    const Vec2<double> to(from.x + rng.Double(-50, 50) * m, from.y + rng.Double(-50, 50) * m);
    const double flat = ComputeFlatMapCompassHeading(from, to);
    double diff = flat - AzimuthToPoint(from.y, from.x, to.y, to.x) * 180 / std::numbers::pi;
    diff -= 360 * std::round(diff / 360);
    ASSERT_NEAR(diff, 0, 1e-3) << from.x << "," << from.y;
    ASSERT_GE(flat, -180);
    ASSERT_LE(flat, 180);
  }
  EXPECT_EQ(0, ComputeFlatMapCompassHeading({0.1, 0.2}, {0.1, 0.2}));
  EXPECT_EQ(90, ComputeFlatMapCompassHeading({0.1, 0.2}, {0.3, 0.2}));
  EXPECT_EQ(-90, ComputeFlatMapCompassHeading({0.1, 0.2}, {-0.3, 0.2}));
  EXPECT_EQ(180, ComputeFlatMapCompassHeading({0.1, 0.2}, {0.1, 0.1}));
  EXPECT_DOUBLE_EQ(45, ComputeFlatMapCompassHeading({0.1, 0.5}, {0.2, 0.6})) << "no cos(latitude)";
}

// Our axes against GeographicLib's Earth-centred ones on a unit sphere: X = -ECEF y, Y = ECEF z,
// Z = -ECEF x; and back again.
TEST(GeoTest, CartesianConversionMatchesGeocentricAndRoundTrips) {
  const GeographicLib::Geocentric unit_sphere(1.0, 0.0);
  vistara::testing::SeededRandom rng;
  for (int i = 0; i < 2000; ++i) {
    const Vec3<double> p(rng.Double(-1, 1), rng.Double(-0.499, 0.499), rng.Double(-1e-3, 1e-3));
    double ex, ey, ez;
    unit_sphere.Forward(p.y * 180, p.x * 180, p.z, ex, ey, ez);
    const Vec3<double> c = MapToCartesian(p);
    ASSERT_NEAR(-ey, c.x, 1e-12);
    ASSERT_NEAR(ez, c.y, 1e-12);
    ASSERT_NEAR(-ex, c.z, 1e-12);
    const Vec3<double> back = CartesianToMap(c);
    ASSERT_NEAR(p.x, back.x, 1e-12);
    ASSERT_NEAR(p.y, back.y, 1e-12);
    ASSERT_NEAR(p.z, back.z, 1e-12);
  }
  EXPECT_EQ(Vec3<double>(-0.5, 0, -1), CartesianToMap(Vec3<double>()));
  EXPECT_LE(std::fabs(CartesianToMap(MapToCartesian(Vec3<double>(1, 0, 0))).x), 1.0) << "the antimeridian stays in range";
}

}  // namespace
}  // namespace vistara
