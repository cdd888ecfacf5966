#include "common/internal/stratum_tools.h"

#include <gtest/gtest.h>

#include <cmath>

#include "test_util.h"

namespace vistara::testing {
namespace {

using loupe::R1Interval;
using loupe::StratumTools;

// Metres at levels 0, 3 and 4 are checked through the strata command's cases.
TEST(StratumToolsTest, AltitudesAndRanges) {
  for (int level = 0; level < 32; ++level) {
    EXPECT_EQ(StratumTools::StratumContainingAltitude(0.0, level), 0) << level;
    EXPECT_EQ(StratumTools::StratumContainingAltitude(-1.0, level), -StratumTools::ZeroStratumForLevel(level));
    // The ground lies inside stratum 0, which starts at or below it.
    EXPECT_LE(StratumTools::BaseAltitudeOfStratum(0, level), 0.0);
    EXPECT_GT(StratumTools::BaseAltitudeOfStratum(1, level), 0.0);
  }
  EXPECT_EQ(StratumTools::StratumContainingAltitude(4.999, 3), 6);

  const R1Interval kml = StratumTools::NativeAltitudeRangeToKmlAltitudeRange(R1Interval(5.0, 2.0));  // empty
  EXPECT_EQ(std::pair(kml.lo, kml.hi), std::pair(5.0, 2.0));
  const R1Interval full = StratumTools::NativeAltitudeRangeToKmlAltitudeRange(R1Interval(-1.0, 0.5));
  EXPECT_EQ(std::pair(full.lo, full.hi), std::pair(-6371010.0, 3185505.0));
  const R1Interval back = StratumTools::KmlAltitudeRangeToNativeAltitudeRange(full);
  EXPECT_EQ(std::pair(back.lo, back.hi), std::pair(-1.0, 0.5));
}

TEST(StratumToolsTest, StrataArithmeticAndChecks) {
  EXPECT_FALSE(StratumTools::ValidStratum(-2, 3));
  EXPECT_FALSE(StratumTools::ValidStratum(7, 3));
  EXPECT_FALSE(StratumTools::ValidStratum(0, 31));
  // Every valid stratum's children are valid, lie inside it, and name it as their parent.
  for (int level = 0; level < 12; ++level) {
    const int zero = StratumTools::ZeroStratumForLevel(level);
    for (int s = -zero; s < (1 << level) - zero; ++s) {
      ASSERT_TRUE(StratumTools::ValidStratum(s, level));
      const auto [lo, hi] = StratumTools::ChildStrataForStratum(s, level);
      EXPECT_EQ(hi, lo + 1);
      EXPECT_EQ(StratumTools::BaseAltitudeOfStratum(lo, level + 1), StratumTools::BaseAltitudeOfStratum(s, level));
      EXPECT_EQ(StratumTools::ParentStratumForStratum(lo, level + 1), s);
      EXPECT_EQ(StratumTools::ParentStratumForStratum(hi, level + 1), s);
    }
  }
  // Outside the tables: reported, and 0.
  EXPECT_EQ(StratumTools::ZeroStratumForLevel(32), 0);
  EXPECT_FALSE(StratumTools::ValidStratum(0, 32));
  EXPECT_EQ(StratumTools::ThicknessOfStratumInNativeAltitude(-1), 0.0);
  EXPECT_EQ(StratumTools::StratumContainingAltitude(NAN, 3), 0);
}

TEST(StratumToolsTest, TraversalPaths) {
  // "012", "7", "0/" and the paths of levels or places outside the tables are in strata.cases.
  int level, row, column, stratum;
  EXPECT_FALSE(loupe::TraversalPathToLevelRowColumnStratum("0182", &level, &row, &column, &stratum));
  EXPECT_EQ(std::tie(level, row, column), std::make_tuple(4, 0, 1));  // as far as the walk got, unflipped

  ScopedLogCapture capture;
  for (int i = 0; i < 201; ++i) {
    EXPECT_FALSE(loupe::TraversalPathToLevelRowColumnStratum(std::string(32, '0'), &level, &row, &column, &stratum));
    EXPECT_EQ(level, 32);
  }
  const auto reports = capture.reports();
  // The first report of this process and every hundredth after it; another test may have counted.
  ASSERT_GE(reports.size(), 2u);
  ASSERT_LE(reports.size(), 3u);
  EXPECT_EQ(reports[0].text, "Level (32) out of range.");
}

TEST(StratumToolsTest, PathsRoundTrip) {
  // Random paths of up to 31 digits read; all but those of 31 convert back to themselves.
  SeededRandom rng;
  for (int i = 0; i < 20000; ++i) {
    std::string p;
    for (int j = rng.Int(0, 31); j > 0; --j) p.push_back(static_cast<char>('0' + rng.Int(0, 7)));
    int level, row, column, stratum;
    ASSERT_TRUE(loupe::TraversalPathToLevelRowColumnStratum(p, &level, &row, &column, &stratum)) << p;
    std::string back;
    ASSERT_EQ(loupe::LevelRowColumnStratumToTraversalPath(level, row, column, stratum, &back), level < 31) << p;
    ASSERT_TRUE(level == 31 || back == p) << p << " came back as " << back;
  }
}

}  // namespace
}  // namespace vistara::testing
