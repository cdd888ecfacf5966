// The planets command's --json output, read back with jsoncpp and checked against the library.
#include <gtest/gtest.h>
#include <json/json.h>

#include <cmath>
#include <string>

#include "platform/units.h"
#include "spatial/orbit_manager.h"
#include "spatial/solar_system_data.h"
#include "test_util.h"

namespace {

std::string RunCli(const std::string& args) {
  std::string out;
  vistara::testing::RunShell(std::string(VISTARA_CLI_PATH) + " " + args, &out);
  return out;
}

TEST(PlanetsCommandTest, JsonIsValidAndMatchesTheLibrary) {
  namespace ssd = vistara::spatial::solarsystemdata;
  Json::Value fixed;
  ASSERT_TRUE(Json::Reader().parse(RunCli("planets --json --date 2026-11-22T18:30:00Z --relative-to sun"), fixed));
  EXPECT_EQ("2026-11-22T18:30:00Z", fixed["date"].asString());
  EXPECT_EQ("sun", fixed["relative_to"].asString());
  ASSERT_EQ(10u, fixed["bodies"].size());
  vistara::spatial::OrbitManager manager;
  manager.LoadSolarSystem();
  const vistara::DateTime date(2026, 11, 22, 18, 30);
  EXPECT_DOUBLE_EQ(date.GetJulianDate(), fixed["julian_date"].asDouble());
  const double k = vistara::Units::ConvertLength(1.0, vistara::Units::kPlanetRadii, vistara::Units::kAstronomicalUnits);
  for (int i = 0; i < 10; ++i) {
    const Json::Value& body = fixed["bodies"][i];
    EXPECT_EQ(ssd::orbit_names_[i].toStdString(), body["name"].asString());
    const vistara::Vec3<double> p = manager.CalcOrbitPosition(ssd::orbit_names_[i], QStringLiteral("sun"), date) * k;
    EXPECT_NEAR(p.x, body["position"][0].asDouble(), 1e-14) << i;
    EXPECT_NEAR(p.y, body["position"][1].asDouble(), 1e-14) << i;
    EXPECT_NEAR(p.z, body["position"][2].asDouble(), 1e-14) << i;
    EXPECT_NEAR(p.Length(), body["distance"].asDouble(), 1e-14) << i;
    if (i == 0) {
      EXPECT_TRUE(body["longitude"].isNull());  // the reference itself has no direction
      continue;
    }
    // Longitude and latitude give back the direction.
    const double lon = body["longitude"].asDouble() * M_PI / 180, lat = body["latitude"].asDouble() * M_PI / 180;
    EXPECT_NEAR(p.x, p.Length() * std::cos(lat) * std::cos(lon), 1e-12) << i;
    EXPECT_NEAR(p.z, p.Length() * std::sin(lat), 1e-12) << i;
  }
  manager.Clear();

  Json::Value series;
  ASSERT_TRUE(Json::Reader().parse(RunCli("planets --json --body mars --from 2026-01-01 --to 2027-01-01 --step 10d"), series));
  EXPECT_EQ(37u, series["rows"].size());  // days 0, 10, ..., 360 of 365
  EXPECT_EQ("2026-12-27T00:00:00Z", series["rows"][36]["date"].asString());
}

}  // namespace
