#include "platform/geo.h"

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

}  // namespace
}  // namespace vistara
