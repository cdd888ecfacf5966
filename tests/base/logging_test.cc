#include "base/logging.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "test_util.h"

namespace vistara::base {
namespace {

using vistara::testing::ScopedLogCapture;

TEST(LoggingTest, ChecksReportTheirSourceTextAndNeverStop) {
  ScopedLogCapture capture;
  const double coverage_lower_bound = 0;
  const char* date = nullptr;
  int reached = 0;
  const int first_line = __LINE__ + 1;
  VS_CHECK(date);
  ++reached;
  VS_CHECK_GT(coverage_lower_bound, 0.0);
  ++reached;
  VS_CHECK_EQ(reached, 2);  // holds: no report
  VS_CHECK_LT(reached + 1, 3) << " and a note";
  ++reached;
  VS_CHECK(reached == 3);  // holds
  // 8-bit integers print as numbers, a char as its character; sizes compare with ints by value.
  const uint8_t zone = 61;
  const int8_t offset = -3;
  const char letter = 'a';
  VS_CHECK_LE(zone, 60);
  VS_CHECK_GE(offset, 0);
  VS_CHECK_GE(letter, 'b');
  VS_CHECK_GE(std::string("ab").size(), -1);  // holds
  // Operands are evaluated once, and a check takes no else of the caller's.
  int calls = 0;
  VS_CHECK_EQ(++calls, 5);
  if (calls == 0)
    VS_CHECK_EQ(calls, 0);
  else
    ++reached;
  EXPECT_EQ(std::make_pair(1, 4), std::make_pair(calls, reached));

  const auto reports = capture.reports();
  EXPECT_EQ(capture.texts(),
            (std::vector<std::string>{"Check failed: date", "Check failed: coverage_lower_bound>0.0 0>0",
                                      "Check failed: reached + 1<3 3<3 and a note", "Check failed: zone<=60 61<=60",
                                      "Check failed: offset>=0 -3>=0", "Check failed: letter>='b' a>=b",
                                      "Check failed: ++calls==5 1==5"}));
  for (const auto& r : reports) EXPECT_EQ(kLogFatal, r.severity);
  EXPECT_EQ(first_line, reports[0].line);
}

TEST(LoggingTest, SeveritiesAndSinks) {
  ScopedLogCapture outer;
  {
    ScopedLogCapture inner;
    VS_LOG(ERROR) << "Impossible: " << 42;
    VS_LOG(FATAL) << "Fatal: but we go on";
    LogMessage("/home/src/vistara/src/base/utmzone.cc", 7, kLogError);  // named by its path below src/
    // Regression: the form with a vector of messages appended its text to that vector.
    std::vector<std::string> collected{"kept"};
    LogMessage(__FILE__, __LINE__, kLogError, &collected).stream() << "report";
    EXPECT_EQ(std::vector<std::string>{"kept"}, collected);
    ASSERT_EQ((std::vector<std::string>{"Impossible: 42", "Fatal: but we go on", "", "report"}), inner.texts());
    const auto reports = inner.reports();
    EXPECT_EQ(std::make_pair(kLogError, kLogFatal), std::make_pair(reports[0].severity, reports[1].severity));
    EXPECT_EQ("base/utmzone.cc", reports[2].file);
  }
  EXPECT_TRUE(outer.reports().empty()) << "the inner capture restores the outer sink";
  // With no sink installed, reports are dropped.
  LogSink* previous = SetLogSink(nullptr);
  VS_LOG(ERROR) << "nowhere";
  SetLogSink(previous);
  EXPECT_TRUE(outer.reports().empty());
}

}  // namespace
}  // namespace vistara::base
