#include "common/internal/jpeg_comment_date.h"

#include <cstdio>
#include <cstring>
#include <ostream>

#include "base/logging.h"
#include "base/strutil.h"

namespace loupe {

const char* const Month::name[13] = {nullptr,  "January", "February", "March",     "April",   "May",      "June",
                                     "July",   "August",  "September", "October", "November", "December"};
const char* const Month::shortName[13] = {nullptr, "Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                          "Jul",   "Aug", "Sep", "Oct", "Nov", "Dec"};
const int Month::normalSize[13] = {0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
const int Month::leapSize[13] = {0, 31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
const int Month::normalOffset[13] = {0, 0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
const int Month::leapOffset[13] = {0, 0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335};

bool Month::IsLeapYear(int year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

int Month::Size(int year) const {
  if (month_ < 1 || month_ > 12) return 0;  // keeps the table read inside its 13 entries
  return IsLeapYear(year) ? leapSize[month_] : normalSize[month_];
}

int Month::Offset(int year) const {
  if (month_ < 1 || month_ > 12) return 0;  // keeps the table read inside its 13 entries
  return IsLeapYear(year) ? leapOffset[month_] : normalOffset[month_];
}

void Month::Normalize() {
  // In 64 bits, so that month_ - 1 can't overflow at INT_MIN.
  long long m = (static_cast<long long>(month_) - 1) % 12;
  if (m < 0) m += 12;
  month_ = static_cast<int>(m) + 1;
}

std::ostream& operator<<(std::ostream& os, const Month& month) {
  if (month.month() >= 1 && month.month() <= 12) return os << Month::shortName[month.month()];
  return os << month.month();
}

JpegCommentDate::JpegCommentDate(const std::string& text) {
  if (text.size() < 10 || text[4] != ':' || text[7] != ':') {
    VS_LOG(ERROR) << "Unable to parse a JpegCommentDate: setting it to Unknown.";
    return;
  }
  const int year = vistara::base::ParseLeadingDec32Value(text.c_str(), -1);
  const int month = vistara::base::ParseLeadingDec32Value(text.c_str() + 5, -1);
  const int day = vistara::base::ParseLeadingDec32Value(text.c_str() + 8, -1);
  if (static_cast<unsigned>(year) < 4096 && static_cast<unsigned>(month) < 13 && static_cast<unsigned>(day) < 32) {
    year_ = year;
    if (year != kYearUnknown && month != kMonthUnknown) {
      month_ = month;
      day_ = day;
    }
  } else {
    VS_LOG(ERROR) << "Unable to parse a JpegCommentDate: setting it to Unknown.";
  }
}

void JpegCommentDate::AppendToString(std::string* out) const {
  char text[11];
  const int n = std::snprintf(text, sizeof(text), "%04d:%02d:%02d", year_, month_, day_);
  if (n < 0) return;
  out->append(text, std::strlen(text));
}

bool JpegCommentDate::AreYearMonthDayValid(int year, int month, int day) {
  return static_cast<unsigned>(year) <= static_cast<unsigned>(kMaximumYear) && static_cast<unsigned>(month) <= 12u &&
         static_cast<unsigned>(day) <= 31u;
}

void JpegCommentDate::PropagateUnknowns(int year, int* month, int* day) {
  if (year == kYearUnknown) {
    *month = kMonthUnknown;
    *day = kDayUnknown;
  } else if (*month == kMonthUnknown) {
    *day = kDayUnknown;
  }
}

bool JpegCommentDate::YearMonthDayKeyFromInts(int year, int month, int day, unsigned int* date) {
  VS_CHECK(date);
  if (!date) return false;  // nothing to write to
  if (!AreYearMonthDayValid(year, month, day)) {
    *date = 0;
    return false;
  }
  if (year != kYearUnknown && month != kMonthUnknown) {
    *date = (static_cast<unsigned>(year) << 9) | (static_cast<unsigned>(month) << 5) | static_cast<unsigned>(day);
  } else {
    *date = static_cast<unsigned>(year) << 9;
  }
  return true;
}

void JpegCommentDate::YearMonthDayKeyAsInts(unsigned int date, int* year, int* month, int* day) {
  VS_CHECK(year);
  VS_CHECK(month);
  VS_CHECK(day);
  if (day) *day = static_cast<int>(date & 31);
  if (month) *month = static_cast<int>((date >> 5) & 15);
  if (year) *year = static_cast<int>(date >> 9);
}

void JpegCommentDate::AdjustUnknownDatePeriodsToEnd(unsigned int* date) {
  VS_CHECK(date);
  if (!date) return;  // nothing to adjust
  VS_CHECK(*date);
  int year, month, day;
  YearMonthDayKeyAsInts(*date, &year, &month, &day);
  if (year == kYearUnknown) {
    year = month = day = 1;
  } else if (month == kMonthUnknown) {
    month = 12;
    day = 31;
  } else if (day == kDayUnknown) {
    Month m(month);
    m.Normalize();
    day = m.Size(year);
  } else {
    return;
  }
  VS_CHECK(year);
  VS_CHECK(month);
  VS_CHECK(day);
  // Packed bit by bit as the key lays them out; the fields came from a key, so each fits its bits.
  *date = (static_cast<unsigned>(year) << 9) | (static_cast<unsigned>(month) << 5) | static_cast<unsigned>(day);
  VS_CHECK(*date);
}

}  // namespace loupe
