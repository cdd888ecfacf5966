#include "platform/units.h"

#include <gtest/gtest.h>

namespace vistara {
namespace {

TEST(UnitsTest, AstronomicalUnitsToTheSceneUnitAndBack) {
  // The orbit code's step from AU to the scene unit (one radius of "earth", 6 371 010 m), so that
  // the solar table's body radii and its positions agree.
  EXPECT_EQ(149597870700.0 / 6371010.0,
            Units::ConvertLength(1.0, Units::kAstronomicalUnits, Units::kPlanetRadii));
  EXPECT_EQ(6371010.0 / 149597870700.0,
            Units::ConvertLength(1.0, Units::kPlanetRadii, Units::kAstronomicalUnits));
  EXPECT_NEAR(1.0, Units::ConvertLength(Units::ConvertLength(1.0, Units::kAstronomicalUnits, Units::kPlanetRadii),
                                        Units::kPlanetRadii, Units::kAstronomicalUnits), 1e-15);
  EXPECT_EQ(6371.01, Units::ConvertLength(1.0, Units::kPlanetRadii, Units::kKilometers));
  EXPECT_EQ(1.0 / 6371010.0, Units::s_inv_planet_radius);
  EXPECT_EQ(2.5, Units::ConvertLength(2.5, Units::kAstronomicalUnits, Units::kAstronomicalUnits));
  EXPECT_EQ(0.0, Units::ConvertLength(1.0, static_cast<Units::LType>(14), Units::kMeters));
}

}  // namespace
}  // namespace vistara
