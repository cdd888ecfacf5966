#include "platform/date_time.h"

#include <chrono>
#include <cmath>

namespace vistara {

namespace {

constexpr double kUnixEpochJd = 2440587.5;

// Days from 1970-01-01 to the given proleptic Gregorian date (month 1..12).
int64_t DaysFromCivil(int64_t y, int m, int d) {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

void CivilFromDays(int64_t z, int64_t* y, int* m, int* d) {
  z += 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  *d = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  *m = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  *y = yoe + era * 400 + (*m <= 2);
}

int64_t FloorDiv(int64_t a, int64_t b) { return a / b - ((a % b != 0) && ((a < 0) != (b < 0))); }

}  // namespace

DateTime::DateTime() {
  const double unix_seconds =
      std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  jd_ = kUnixEpochJd + unix_seconds / 86400.0;
}

DateTime::DateTime(int year, int month, int day, int hour, int minute, double second) {
  // Normalise the month first so that DaysFromCivil sees 1..12; the rest carries through days.
  const int64_t months = static_cast<int64_t>(year) * 12 + (month - 1);
  const int64_t y = FloorDiv(months, 12);
  const int m = static_cast<int>(months - y * 12) + 1;
  const int64_t days = DaysFromCivil(y, m, 1) + (static_cast<int64_t>(day) - 1);
  const double seconds = static_cast<double>(hour) * 3600.0 + minute * 60.0 + second;
  jd_ = kUnixEpochJd + static_cast<double>(days) + seconds / 86400.0;
}

DateTime DateTime::FromJulianDate(double jd) { return DateTime(FromJd{}, jd); }

DateTime::Fields DateTime::GetFields() const {
  Fields f{};
  const double days_since_epoch = jd_ - kUnixEpochJd;
  const double whole = std::floor(days_since_epoch);
  if (!std::isfinite(whole) || std::fabs(whole) > 1e12) return f;  // no calendar for such a value
  // Round to the millisecond so that 12:00:00 does not print as 11:59:59.999999.
  int64_t ms = std::llround((days_since_epoch - whole) * 86400000.0);
  int64_t day = static_cast<int64_t>(whole);
  if (ms >= 86400000) { ms -= 86400000; ++day; }
  CivilFromDays(day, &f.year, &f.month, &f.day);
  f.hour = static_cast<int>(ms / 3600000);
  f.minute = static_cast<int>(ms / 60000 % 60);
  f.second = static_cast<double>(ms % 60000) / 1000.0;
  return f;
}

}  // namespace vistara
