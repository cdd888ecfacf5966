// DateTime: an instant in UTC on the proleptic Gregorian calendar, and its Julian date.
//
// The instant is kept as a Julian date (days since noon UTC of 4713 BC, January 1 of the proleptic
// Julian calendar), a double: the resolution near today is about 40 microseconds.
#ifndef VISTARA_PLATFORM_DATE_TIME_H_
#define VISTARA_PLATFORM_DATE_TIME_H_

#include <cstdint>

namespace vistara {

class DateTime {
 public:
  // The current instant.
  DateTime();
  // A calendar date and time of day in UTC. Fields outside their usual range carry over
  // (month 13 is January of the next year, second 60 the next minute).
  DateTime(int year, int month, int day, int hour = 0, int minute = 0, double second = 0.0);

  static DateTime FromJulianDate(double jd);
  static DateTime Now() { return DateTime(); }

  double GetJulianDate() const { return jd_; }

  // The calendar fields of the instant, in UTC.
  struct Fields {
    int64_t year;
    int month, day, hour, minute;
    double second;
  };
  Fields GetFields() const;

 private:
  struct FromJd {};
  DateTime(FromJd, double jd) : jd_(jd) {}
  double jd_;
};

}  // namespace vistara

#endif  // VISTARA_PLATFORM_DATE_TIME_H_
