#include "base/logging.h"

#include <gtest/gtest.h>

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

  const auto reports = capture.reports();
  ASSERT_EQ(3u, reports.size());
  EXPECT_EQ("Check failed: date", reports[0].text);
  EXPECT_EQ("Check failed: coverage_lower_bound>0.0 0>0", reports[1].text);
  EXPECT_EQ("Check failed: reached + 1<3 3<3 and a note", reports[2].text);
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

TEST(LoggingTest, LogSeveritiesSinksAndCollectedMessages) {
  ScopedLogCapture outer;
  {
    ScopedLogCapture inner;
    VS_LOG(ERROR) << "Impossible: " << 42;
    VS_LOG(FATAL) << "Fatal: but we go on";
    ASSERT_EQ(2u, inner.reports().size());
    EXPECT_EQ(kLogError, inner.reports()[0].severity);
    EXPECT_EQ("Impossible: 42", inner.reports()[0].text);
    EXPECT_EQ(kLogFatal, inner.reports()[1].severity);
  }
  EXPECT_TRUE(outer.reports().empty()) << "the inner capture restores the outer sink";

  std::vector<std::string> collected;
  LogMessage(__FILE__, __LINE__, kLogError, &collected).stream() << "kept";
  EXPECT_EQ(std::vector<std::string>{"kept"}, collected);
  EXPECT_EQ(std::vector<std::string>{"kept"}, outer.texts());

  // With no sink installed, reports are dropped.
  LogSink* previous = SetLogSink(nullptr);
  VS_LOG(ERROR) << "nowhere";
  SetLogSink(previous);
  EXPECT_EQ(1u, outer.reports().size());
}

}  // namespace
}  // namespace vistara::base
