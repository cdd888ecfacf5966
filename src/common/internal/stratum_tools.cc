#include "common/internal/stratum_tools.h"

#include <array>
#include <atomic>
#include <climits>
#include <cmath>
#include <cstdint>

#include "base/logging.h"

namespace loupe {
namespace {

constexpr double kMetersPerUnit = StratumTools::kMetersPerNativeUnit;

// The three tables, built at compile time. Every value is exact in double: 6 / 2^L is 3 * 2^(1-L),
// and the base -1 + zero * thickness is an integer below 2^31 over a power of two.
struct Tables {
  std::array<double, 32> thickness{};
  std::array<int, 32> zero{};
  std::array<double, 32> base{};
};

constexpr Tables MakeTables() {
  Tables t;
  for (int level = 0; level < 32; ++level) {
    const long long size = 1LL << level;
    t.thickness[level] = 6.0 / static_cast<double>(size);
    t.zero[level] = static_cast<int>(size / 6);
    t.base[level] = -1.0 + t.zero[level] * t.thickness[level];
  }
  return t;
}

constexpr Tables kTables = MakeTables();
static_assert(kTables.thickness[31] == 2.7939677238464355e-09);
static_assert(kTables.zero[31] == 357913941);
static_assert(kTables.base[31] == -9.313225746154785e-10);

// Reports a level outside the tables; true when it is inside.
bool CheckLevel(int level) {
  VS_CHECK_GE(level, 0);
  VS_CHECK_LT(level, 32);
  return level >= 0 && level < 32;
}

// 1 << level as a signed 32-bit int: negative at level 31, as the callers rely on.
int32_t SignedSize(int level) { return static_cast<int32_t>(1u << level); }

}  // namespace

double StratumTools::NativeAltitudeToKmlAltitude(double altitude) { return altitude * kMetersPerUnit; }

double StratumTools::KmlAltitudeToNativeAltitude(double altitude) { return altitude / kMetersPerUnit; }

R1Interval StratumTools::NativeAltitudeRangeToKmlAltitudeRange(R1Interval range) {
  if (range.is_empty()) return range;
  return R1Interval(NativeAltitudeToKmlAltitude(range.lo), NativeAltitudeToKmlAltitude(range.hi));
}

R1Interval StratumTools::KmlAltitudeRangeToNativeAltitudeRange(R1Interval range) {
  if (range.is_empty()) return range;
  return R1Interval(KmlAltitudeToNativeAltitude(range.lo), KmlAltitudeToNativeAltitude(range.hi));
}

double StratumTools::ThicknessOfStratumInNativeAltitude(int level) {
  if (!CheckLevel(level)) return 0.0;  // outside the table
  return kTables.thickness[level];
}

double StratumTools::ThicknessOfStratumInMeters(int level) {
  return ThicknessOfStratumInNativeAltitude(level) * kMetersPerUnit;
}

double StratumTools::BaseAltitudeOfStratum(int stratum, int level) {
  if (!CheckLevel(level)) return 0.0;  // outside the table
  return stratum * kTables.thickness[level] + kTables.base[level];
}

double StratumTools::BaseKmlAltitudeOfStratum(int stratum, int level) {
  return BaseAltitudeOfStratum(stratum, level) * kMetersPerUnit;
}

int StratumTools::ZeroStratumForLevel(int level) {
  if (!CheckLevel(level)) return 0;  // outside the table
  return kTables.zero[level];
}

bool StratumTools::ValidStratum(int stratum, int level) {
  const long long a = static_cast<long long>(stratum) + ZeroStratumForLevel(level);
  if (level < 0 || level > 31) return false;  // no size to compare with
  return a >= 0 && a < SignedSize(level);
}

std::pair<int, int> StratumTools::ChildStrataForStratum(int stratum, int level) {
  if (!CheckLevel(level)) return {0, 0};
  if (level + 1 >= kNumLevels) return {0, 0};  // level 32 has no zero stratum in the table
  // In 64 bits, then wrapped to int as the 32-bit arithmetic of the level below would.
  const long long c = 2 * (static_cast<long long>(stratum) + kTables.zero[level]) - kTables.zero[level + 1];
  return {static_cast<int>(c), static_cast<int>(c + 1)};
}

int StratumTools::ParentStratumForStratum(int stratum, int level) {
  if (!CheckLevel(level)) return 0;
  if (level == 0) return 0;  // the root stratum has no parent, and level -1 no table entry
  const long long a = static_cast<long long>(stratum) + kTables.zero[level];
  return static_cast<int>((a >> 1) - kTables.zero[level - 1]);
}

int StratumTools::StratumContainingAltitude(double altitude, int level) {
  VS_CHECK_GE(altitude, -1.0);
  VS_CHECK_LT(altitude, 5.0);
  if (!CheckLevel(level)) return 0;
  const double s = std::floor((altitude - kTables.base[level]) / kTables.thickness[level]);
  // Far outside -1 to 5 (or NaN) the quotient leaves the int range; converting it would be
  // undefined.
  if (!(s >= static_cast<double>(INT_MIN) && s <= static_cast<double>(INT_MAX))) return 0;
  return static_cast<int>(s);
}

int StratumTools::StratumContainingKmlAltitude(double altitude, int level) {
  return StratumContainingAltitude(altitude / kMetersPerUnit, level);
}

bool TraversalPathToLevelRowColumnStratum(const std::string& path, int* level, int* row, int* column, int* stratum) {
  // Clamped so that a path longer than INT_MAX still reads as too deep.
  *level = path.length() > static_cast<size_t>(INT_MAX) ? INT_MAX : static_cast<int>(path.length());
  *row = *column = *stratum = 0;
  if (*level >= 32) {
    // The first report and then every hundredth. Relaxed: only the count matters, not its order.
    static std::atomic<unsigned> reports{0};
    if (reports.fetch_add(1, std::memory_order_relaxed) % 100 == 0) {
      VS_LOG(ERROR) << "Level (" << *level << ") out of range.";
    }
    return false;
  }
  int s = 0;
  for (const char c : path) {
    const unsigned d = static_cast<unsigned>(c - '0');
    if (d > 7) return false;
    // At most 31 digits, so each value stays below 2^31.
    *column = 2 * *column + static_cast<int>(d & 1);
    *row = 2 * *row + static_cast<int>((d >> 1) & 1);
    s = 2 * s + static_cast<int>((d >> 2) & 1);
  }
  *stratum = s - StratumTools::ZeroStratumForLevel(*level);
  *row = static_cast<int>((1LL << *level) - 1 - *row);
  return true;
}

bool LevelRowColumnStratumToTraversalPath(int level, int row, int column, int stratum, std::string* path) {
  if (static_cast<unsigned>(level) > 31) return false;
  const int32_t size = SignedSize(level);
  const long long a = static_cast<long long>(stratum) + StratumTools::ZeroStratumForLevel(level);
  if (row < 0 || column < 0 || a < 0) return false;
  if (size <= row || size <= column || size <= a) return false;
  path->clear();
  const int flipped_row = size - 1 - row;
  for (int bit = level - 1; bit >= 0; --bit) {
    path->push_back(static_cast<char>('0' + ((flipped_row >> bit) & 1) * 2 + ((a >> bit) & 1) * 4 + ((column >> bit) & 1)));
  }
  return true;
}

}  // namespace loupe
