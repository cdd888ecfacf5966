#include "common/internal/stratum_tools.h"

#include <gtest/gtest.h>

#include <cmath>

#include "test_util.h"

namespace vistara::testing {
namespace {

using loupe::R1Interval;
using loupe::StratumTools;

TEST(StratumToolsTest, TablesAndAltitudes) {
  // The level-31 entries are static_asserts of the tables.
  EXPECT_EQ(StratumTools::ThicknessOfStratumInNativeAltitude(3), 0.75);
  EXPECT_EQ(StratumTools::BaseAltitudeOfStratum(0, 0), -1.0);
  EXPECT_EQ(StratumTools::BaseAltitudeOfStratum(0, 4), -0.25);
  EXPECT_EQ(StratumTools::BaseAltitudeOfStratum(2, 3), 1.25);
  EXPECT_EQ(StratumTools::ThicknessOfStratumInMeters(3), 0.75 * 6371010.0);
  EXPECT_EQ(StratumTools::BaseKmlAltitudeOfStratum(0, 3), -0.25 * 6371010.0);
  EXPECT_EQ(StratumTools::NativeAltitudeToKmlAltitude(2.0), 12742020.0);
  EXPECT_EQ(StratumTools::KmlAltitudeToNativeAltitude(6371010.0), 1.0);

  for (int level = 0; level < 32; ++level) {
    EXPECT_EQ(StratumTools::StratumContainingAltitude(0.0, level), 0) << level;
    EXPECT_EQ(StratumTools::StratumContainingAltitude(-1.0, level), -StratumTools::ZeroStratumForLevel(level));
    // The ground lies inside stratum 0, which starts at or below it.
    EXPECT_LE(StratumTools::BaseAltitudeOfStratum(0, level), 0.0);
    EXPECT_GT(StratumTools::BaseAltitudeOfStratum(1, level), 0.0);
  }
  EXPECT_EQ(StratumTools::StratumContainingAltitude(-1.0, 3), -1);
  EXPECT_EQ(StratumTools::StratumContainingAltitude(4.999, 3), 6);
  EXPECT_EQ(StratumTools::StratumContainingKmlAltitude(8848.0, 10), 0);
  EXPECT_EQ(StratumTools::StratumContainingKmlAltitude(0.5 * 6371010.0, 3), 1);

  const R1Interval empty(5.0, 2.0);
  const R1Interval kml = StratumTools::NativeAltitudeRangeToKmlAltitudeRange(empty);
  EXPECT_EQ(std::pair(kml.lo, kml.hi), std::pair(5.0, 2.0));
  const R1Interval back = StratumTools::KmlAltitudeRangeToNativeAltitudeRange(empty);
  EXPECT_EQ(std::pair(back.lo, back.hi), std::pair(5.0, 2.0));
  const R1Interval full = StratumTools::NativeAltitudeRangeToKmlAltitudeRange(R1Interval(-1.0, 0.5));
  EXPECT_EQ(std::pair(full.lo, full.hi), std::pair(-6371010.0, 3185505.0));
}

TEST(StratumToolsTest, StrataArithmeticAndChecks) {
  EXPECT_TRUE(StratumTools::ValidStratum(-1, 3));
  EXPECT_FALSE(StratumTools::ValidStratum(-2, 3));
  EXPECT_TRUE(StratumTools::ValidStratum(6, 3));
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
  ScopedLogCapture capture;
  EXPECT_EQ(StratumTools::ZeroStratumForLevel(32), 0);
  EXPECT_FALSE(StratumTools::ValidStratum(0, 32));  // no table entry, whatever the stratum
  EXPECT_EQ(StratumTools::ThicknessOfStratumInNativeAltitude(-1), 0.0);
  StratumTools::StratumContainingAltitude(5.0, 3);
  StratumTools::StratumContainingAltitude(NAN, 3);
  EXPECT_EQ(capture.texts(), (std::vector<std::string>{"Check failed: level<32 32<32", "Check failed: level<32 32<32",
                                                       "Check failed: level>=0 -1>=0",
                                                       "Check failed: altitude<5.0 5<5",
                                                       "Check failed: altitude>=-1.0 nan>=-1",
                                                       "Check failed: altitude<5.0 nan<5"}));
}

TEST(StratumToolsTest, TraversalPaths) {
  int level, row, column, stratum;
  ASSERT_TRUE(loupe::TraversalPathToLevelRowColumnStratum("", &level, &row, &column, &stratum));
  EXPECT_EQ(std::tie(level, row, column, stratum), std::make_tuple(0, 0, 0, 0));
  // "7": column 1, north row (so row 0 from the south), upper stratum: 1 - zero(1) = 1.
  ASSERT_TRUE(loupe::TraversalPathToLevelRowColumnStratum("7", &level, &row, &column, &stratum));
  EXPECT_EQ(std::tie(level, row, column, stratum), std::make_tuple(1, 0, 1, 1));
  ASSERT_TRUE(loupe::TraversalPathToLevelRowColumnStratum("012", &level, &row, &column, &stratum));
  EXPECT_EQ(std::tie(level, row, column, stratum), std::make_tuple(3, 6, 2, -1));
  EXPECT_FALSE(loupe::TraversalPathToLevelRowColumnStratum("0182", &level, &row, &column, &stratum));
  EXPECT_EQ(std::tie(level, row, column), std::make_tuple(4, 0, 1));  // as far as the walk got, unflipped
  EXPECT_FALSE(loupe::TraversalPathToLevelRowColumnStratum("0/", &level, &row, &column, &stratum));

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
  EXPECT_EQ(reports[0].severity, 2);

  // No way back for a row, column or stratum outside the level, nor for a level without paths.
  std::string path;
  for (const auto& [l, r, c, s] :
       {std::tuple{3, 8, 0, 0}, {3, 0, -1, 0}, {3, 0, 0, -2}, {3, 0, 0, 7}, {31, 0, 0, 0}, {-1, 0, 0, 0}}) {
    EXPECT_FALSE(loupe::LevelRowColumnStratumToTraversalPath(l, r, c, s, &path))
        << l << " " << r << " " << c << " " << s;
  }
}

TEST(StratumToolsTest, PathsRoundTrip) {
  auto round_trip = [](const std::string& p) {
    int level, row, column, stratum;
    if (!loupe::TraversalPathToLevelRowColumnStratum(p, &level, &row, &column, &stratum)) return false;
    std::string back;
    if (!loupe::LevelRowColumnStratumToTraversalPath(level, row, column, stratum, &back)) return false;
    return back == p && StratumTools::ValidStratum(stratum, level);
  };
  // Random paths up to 30 digits; 31 digits read, but level 31 has no way back.
  SeededRandom rng;
  std::string p;
  for (int i = 0; i < 20000; ++i) {
    const int length = rng.Int(0, 31);
    p.clear();
    for (int j = 0; j < length; ++j) p.push_back(static_cast<char>('0' + rng.Int(0, 7)));
    int level, row, column, stratum;
    ASSERT_TRUE(loupe::TraversalPathToLevelRowColumnStratum(p, &level, &row, &column, &stratum)) << p;
    ASSERT_EQ(round_trip(p), length < 31) << p;
  }
}

}  // namespace
}  // namespace vistara::testing
