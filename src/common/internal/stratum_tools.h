// The vertical axis of the globe's octree: altitude strata.
//
// Native altitude is in planet radii above the surface (0 is the surface); KML altitude is in
// metres, 6371010.0 metres to the native unit. At level L (0 to 31) the native range -1.0 to 5.0
// is cut into 2^L strata of equal thickness 6.0 / 2^L. A stratum is numbered so that 0 is the one
// holding the surface: the absolute index from the bottom is stratum + ZeroStratumForLevel(L),
// and strata below the ground are negative.
//
// An octree path is a text of octal digits, one per level from the root; each digit holds a
// column bit (1), a row bit (2, rows counted from the north) and a stratum bit (4).
//
// Failure: functions taking a level check 0 <= level < 32, report and go on; outside that range
// they answer 0 rather than read past their tables. The traversal functions return false.
// The tables are constant, so any thread may call these.
#ifndef VISTARA_COMMON_INTERNAL_STRATUM_TOOLS_H_
#define VISTARA_COMMON_INTERNAL_STRATUM_TOOLS_H_

#include <string>
#include <utility>

namespace loupe {

// A closed interval of doubles, low then high; empty when low is above high.
struct R1Interval {
  double lo = 1.0;
  double hi = 0.0;
  R1Interval() = default;
  R1Interval(double lo_value, double hi_value) : lo(lo_value), hi(hi_value) {}
  bool is_empty() const { return lo > hi; }
};

class StratumTools {
 public:
  static constexpr int kNumLevels = 32;
  static constexpr double kMetersPerNativeUnit = 6371010.0;

  static double NativeAltitudeToKmlAltitude(double altitude);  // radii -> metres
  static double KmlAltitudeToNativeAltitude(double altitude);  // metres -> radii
  // Both ends converted; an empty interval comes back as it was.
  static R1Interval NativeAltitudeRangeToKmlAltitudeRange(R1Interval range);
  static R1Interval KmlAltitudeRangeToNativeAltitudeRange(R1Interval range);

  static double ThicknessOfStratumInNativeAltitude(int level);  // 6.0 / 2^level
  static double ThicknessOfStratumInMeters(int level);
  // The native (or KML) altitude of the bottom of `stratum`.
  static double BaseAltitudeOfStratum(int stratum, int level);
  static double BaseKmlAltitudeOfStratum(int stratum, int level);
  // The absolute index of stratum 0: the integer part of 2^level / 6.
  static int ZeroStratumForLevel(int level);
  // True when the stratum lies in -1.0 to 5.0 at the level (never at level 31, whose size
  // overflows a signed 32-bit int).
  static bool ValidStratum(int stratum, int level);
  // The two strata of level + 1 inside `stratum`, lower first.
  static std::pair<int, int> ChildStrataForStratum(int stratum, int level);
  // The stratum of level - 1 holding `stratum` of `level`.
  static int ParentStratumForStratum(int stratum, int level);
  // The stratum holding a native altitude in -1.0 to 5.0 (or a KML altitude in metres).
  static int StratumContainingAltitude(double altitude, int level);
  static int StratumContainingKmlAltitude(double altitude, int level);
};

// The level (the path's length), row (from the south), column and stratum of an octree path; the
// empty path is all zeros. False for a path of 32 digits or more (reported, rate-limited) or with
// a character outside 0 to 7 (outputs as far as they got).
bool TraversalPathToLevelRowColumnStratum(const std::string& path, int* level, int* row, int* column, int* stratum);
// The inverse, for level 0 to 30 and row, column and stratum inside the level; false otherwise.
bool LevelRowColumnStratumToTraversalPath(int level, int row, int column, int stratum, std::string* path);

}  // namespace loupe

#endif  // VISTARA_COMMON_INTERNAL_STRATUM_TOOLS_H_
