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
  EXPECT_EQ(3, reached);
  // 8-bit integers print as numbers, a char as its character; sizes compare with ints by value.
  const uint8_t zone = 61;
  const int8_t offset = -3;
  const char letter = 'a';
  VS_CHECK_LE(zone, 60);
  VS_CHECK_GE(offset, 0);
  VS_CHECK_GE(letter, 'b');
  VS_CHECK_GE(std::string("ab").size(), -1);  // holds

  const auto reports = capture.reports();
  EXPECT_EQ(capture.texts(), (std::vector<std::string>{"Check failed: date", "Check failed: coverage_lower_bound>0.0 0>0",
                                                       "Check failed: reached + 1<3 3<3 and a note",
                                                       "Check failed: zone<=60 61<=60", "Check failed: offset>=0 -3>=0",
                                                       "Check failed: letter>='b' a>=b"}));
  for (const auto& r : reports) EXPECT_EQ(kLogFatal, r.severity);
  EXPECT_EQ(first_line, reports[0].line);
}

TEST(LoggingTest, ChecksEvaluateOperandsOnceAndBindElseCorrectly) {
  ScopedLogCapture capture;
  int calls = 0;
  auto next = [&] { return ++calls; };
  VS_CHECK_EQ(next(), 5);
  EXPECT_EQ(1, calls);
  EXPECT_EQ(std::vector<std::string>{"Check failed: next()==5 1==5"}, capture.texts());

  bool took_else = false;
  if (calls == 0)
    VS_CHECK_EQ(calls, 0);
  else
    took_else = true;
  EXPECT_TRUE(took_else);
}

TEST(LoggingTest, SeveritiesAndSinks) {
  ScopedLogCapture outer;
  {
    ScopedLogCapture inner;
    VS_LOG(ERROR) << "Impossible: " << 42;
    VS_LOG(FATAL) << "Fatal: but we go on";
    LogMessage("/home/src/vistara/src/base/utmzone.cc", 7, kLogError);  // named by its path below src/
    ASSERT_EQ(3u, inner.reports().size());
    EXPECT_EQ(kLogError, inner.reports()[0].severity);
    EXPECT_EQ("Impossible: 42", inner.reports()[0].text);
    EXPECT_EQ(kLogFatal, inner.reports()[1].severity);
    EXPECT_EQ("base/utmzone.cc", inner.reports()[2].file);
  }
  EXPECT_TRUE(outer.reports().empty()) << "the inner capture restores the outer sink";
  // With no sink installed, reports are dropped.
  LogSink* previous = SetLogSink(nullptr);
  VS_LOG(ERROR) << "nowhere";
  SetLogSink(previous);
  EXPECT_TRUE(outer.reports().empty());
}

TEST(LoggingTest, MessageWithAVectorLeavesItAlone) {
  // Regression: the form with a vector of messages appended its text to that vector; no form writes anywhere.
  ScopedLogCapture capture;
  std::vector<std::string> collected{"kept"};
  LogMessage(__FILE__, __LINE__, kLogError, &collected).stream() << "report";
  LogMessage(__FILE__, __LINE__, kLogError, nullptr).stream() << "another";
  EXPECT_EQ(std::vector<std::string>{"kept"}, collected);
  EXPECT_EQ((std::vector<std::string>{"report", "another"}), capture.texts());
}

}  // namespace
}  // namespace vistara::base
