#include "common/internal/jpeg_comment_date.h"

#include <gtest/gtest.h>

#include "common/internal/jpeg_comment_test_util.h"

namespace vistara::testing {
namespace {

using loupe::JpegCommentDate;
using loupe::Month;

TEST(JpegCommentDateTest, ParsesTextWithOneReportPerFailure) {
  const std::string kUnparsable = "Unable to parse a JpegCommentDate: setting it to Unknown.";
  struct Case {
    const char* text;
    int year, month, day;
    bool reported;
  } cases[] = {
      {"2008:05:17", 2008, 5, 17, false},
      {"2008:00:17", 2008, 0, 0, false},
      {"0000:05:17", 0, 0, 0, false},
      {"2008-05-17", 0, 0, 0, true},
      {"2008:05", 0, 0, 0, true},
      {"2008:13:01", 0, 0, 0, true},
      {"2008:05:32", 0, 0, 0, true},
      {"4096:01:01", 0, 0, 0, true},
      {"abcd:ef:gh", 0, 0, 0, true},  // no digits: the default -1 fails as a huge unsigned
  };
  for (const Case& c : cases) {
    ScopedLogCapture capture;
    const JpegCommentDate d{std::string(c.text)};
    EXPECT_EQ(d.year(), c.year) << c.text;
    EXPECT_EQ(d.month(), c.month) << c.text;
    EXPECT_EQ(d.day(), c.day) << c.text;
    EXPECT_EQ(capture.texts(), c.reported ? std::vector<std::string>{kUnparsable} : std::vector<std::string>{})
        << c.text;
  }
  EXPECT_EQ(DateText(JpegCommentDate(7, 1, 0)), "0007:01:00");
  // Never more than 10 characters, whatever the fields hold.
  EXPECT_EQ(DateText(JpegCommentDate(-2147483647 - 1, 12345, 99)), "-214748364");
}

TEST(JpegCommentDateTest, KeysPackAndSortByDate) {
  EXPECT_EQ(DateKey(2008, 5, 17), 1028273u);  // year << 9 | month << 5 | day
  EXPECT_EQ(DateKey(2008, 0, 17), 2008u << 9);  // an unknown month drops the day
  for (const auto& [y, m, d] : {std::tuple{-1, 1, 1}, {4096, 1, 1}, {2008, 13, 1}, {2008, 1, 32}, {2008, -1, 1}}) {
    unsigned key = 99;
    EXPECT_FALSE(JpegCommentDate::YearMonthDayKeyFromInts(y, m, d, &key)) << y << " " << m << " " << d;
    EXPECT_EQ(key, 0u);
  }
  // Every valid triple, 31 February too, round-trips through its key, and keys order as (year, month, day).
  unsigned previous = 0;
  for (int y = 1; y <= 4095; y += 97) {
    for (int m = 1; m <= 12; ++m) {
      for (int d = 0; d <= 31; ++d) {
        const unsigned key = DateKey(y, m, d);
        EXPECT_LT(previous, key);
        previous = key;
        int yy, mm, dd;
        JpegCommentDate::YearMonthDayKeyAsInts(key, &yy, &mm, &dd);
        ASSERT_EQ(std::tie(yy, mm, dd), std::tie(y, m, d));
      }
    }
  }
  int month = 0, day = 9;
  JpegCommentDate::PropagateUnknowns(2008, &month, &day);  // an unknown month makes the day unknown
  EXPECT_EQ(day, 0);
  month = 5;
  JpegCommentDate::PropagateUnknowns(0, &month, &day);
  EXPECT_EQ(month, 0);

  // Null outputs are reported and left alone.
  EXPECT_FALSE(JpegCommentDate::YearMonthDayKeyFromInts(1, 1, 1, nullptr));
  JpegCommentDate::YearMonthDayKeyAsInts(1, nullptr, nullptr, nullptr);
}

TEST(JpegCommentDateTest, AdjustsUnknownPeriodsToTheirEnd) {
  auto adjusted = [](unsigned key) {
    JpegCommentDate::AdjustUnknownDatePeriodsToEnd(&key);
    int y, m, d;
    JpegCommentDate::YearMonthDayKeyAsInts(key, &y, &m, &d);
    return DateText(JpegCommentDate(y, m, d));
  };
  EXPECT_EQ(adjusted(DateKey(2008, 0, 0)), "2008:12:31");
  EXPECT_EQ(adjusted(DateKey(2008, 2, 0)), "2008:02:29");
  EXPECT_EQ(adjusted(DateKey(2008, 5, 17)), "2008:05:17");
  EXPECT_EQ(adjusted(17), "0001:01:01");  // a key with unknown year
  JpegCommentDate::AdjustUnknownDatePeriodsToEnd(nullptr);  // reported and left alone
}

// The offset tables against sums of the size tables.
TEST(MonthTest, SizesOffsetsAndNormalize) {
  int offset = 0, leap_offset = 0;
  for (int m = 1; m <= 12; ++m) {
    EXPECT_EQ(Month(m).Offset(2007), offset);
    EXPECT_EQ(Month(m).Offset(2008), leap_offset);
    offset += Month(m).Size(2007);
    leap_offset += Month(m).Size(2008);
  }
  EXPECT_EQ(offset, 365);
  EXPECT_EQ(leap_offset, 366);
  EXPECT_EQ(Month(2).Size(2100), 28);
  EXPECT_EQ(Month(2).Size(2400), 29);
  EXPECT_EQ(Month(13).Size(2008), 0);
  for (const auto& [in, out] : {std::pair{0, 12}, {-11, 1}, {13, 1}, {12, 12}, {1, 1}, {-12, 12}, {25, 1},
                                {-2147483647 - 1, 4}, {2147483647, 7}}) {
    Month m(in);
    m.Normalize();
    EXPECT_EQ(m.month(), out) << in;
  }
}

}  // namespace
}  // namespace vistara::testing
