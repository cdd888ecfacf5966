// The acquisition date of an imagery tile, and a small calendar of months.
//
// JpegCommentDate is a calendar date of which the day, the month and day, or all of it may be
// unknown (0). It has two forms:
//   text  "%04d:%02d:%02d" of year, month, day, unknown parts as zeros: "2008:05:17",
//         "2008:05:00", "0000:00:00". This is what an imagery tile's comment carries.
//   key   an unsigned 32-bit year-month-day key that sorts chronologically:
//           bits 0..4   day   (0 = unknown)
//           bits 5..8   month (0 = unknown)
//           bits 9..20  year  (0 = unknown)
//         Key 0 is the entirely unknown date; a year with unknown month is just year << 9.
//
// Parsing never fails hard: text it can't read gives the unknown date and one report at severity
// 2. Null output pointers fail a check (which reports and goes on) and are then left alone.
// Everything here is plain data: any thread may use its own objects.
#ifndef VISTARA_COMMON_INTERNAL_JPEG_COMMENT_DATE_H_
#define VISTARA_COMMON_INTERNAL_JPEG_COMMENT_DATE_H_

#include <iosfwd>
#include <string>

namespace loupe {

class JpegCommentDate {
 public:
  static constexpr int kMinimumYear = 1;
  static constexpr int kMaximumYear = 4095;
  static constexpr int kYearUnknown = 0;
  static constexpr int kMonthUnknown = 0;
  static constexpr int kDayUnknown = 0;

  // The unknown date.
  JpegCommentDate() = default;
  // The fields as given; no check.
  JpegCommentDate(int year, int month, int day) : year_(year), month_(month), day_(day) {}
  // Parses the text form. Only the leading digits of each field count, so text after the day is
  // ignored. A day with unknown month, or a month with unknown year, is dropped.
  explicit JpegCommentDate(const std::string& text);

  int year() const { return year_; }
  int month() const { return month_; }
  int day() const { return day_; }

  // Appends the text form: at most 10 characters (the fields are formatted into 11 bytes).
  void AppendToString(std::string* out) const;

  // True when year <= 4095, month <= 12 and day <= 31, all compared as unsigned, so a negative
  // field fails. The day is not checked against the month.
  static bool AreYearMonthDayValid(int year, int month, int day);
  // An unknown year makes month and day unknown; an unknown month makes the day unknown.
  static void PropagateUnknowns(int year, int* month, int* day);
  // Packs the fields into `*date`. Invalid fields give key 0 and false. If year or month is
  // unknown, only the year is kept.
  static bool YearMonthDayKeyFromInts(int year, int month, int day, unsigned int* date);
  static void YearMonthDayKeyAsInts(unsigned int date, int* year, int* month, int* day);
  // Turns a key with unknown parts into the last day of the period it names: an unknown day
  // becomes the month's last day, an unknown month December 31. An unknown year (a key below
  // 512) becomes 0001-01-01. Key 0 fails a check.
  static void AdjustUnknownDatePeriodsToEnd(unsigned int* date);

 private:
  int year_ = kYearUnknown;
  int month_ = kMonthUnknown;
  int day_ = kDayUnknown;
};

// A month of the Gregorian calendar, 1 (January) to 12 (December). The tables have 13 entries;
// entry 0 is 0 or null.
class Month {
 public:
  explicit Month(int month) : month_(month) {}

  int month() const { return month_; }
  // The number of days of this month in `year`, or 0 when the month is outside 1 to 12.
  int Size(int year) const;
  // The number of days in `year` before this month starts, or 0 when outside 1 to 12.
  int Offset(int year) const;
  // Brings any number into 1 to 12 by modular arithmetic: 0 -> 12, 13 -> 1, -11 -> 1.
  void Normalize();

  // Divisible by 4, and not by 100 unless by 400.
  static bool IsLeapYear(int year);

  static const char* const name[13];
  static const char* const shortName[13];
  static const int normalSize[13];
  static const int leapSize[13];
  static const int normalOffset[13];
  static const int leapOffset[13];

 private:
  int month_;
};

// Writes the short name ("Jan"); a month outside 1 to 12 is written as its number.
std::ostream& operator<<(std::ostream& os, const Month& month);

}  // namespace loupe

#endif  // VISTARA_COMMON_INTERNAL_JPEG_COMMENT_DATE_H_
