#include "common/internal/jpeg_comments_dates.h"

#include <gtest/gtest.h>

#include "common/internal/jpeg_comment_test_util.h"

namespace vistara::testing {
namespace {

using loupe::JpegCommentDate;
using Dominant = loupe::JpegCommentMessageDominantTileAcquisitionDate;
using Percentile = loupe::JpegCommentMessagePercentileTileAcquisitionDate;
using DateMap = std::map<unsigned int, float>;

// Takes the date a function returned.
std::string Text(const JpegCommentDate* d) {
  std::unique_ptr<const JpegCommentDate> owned(d);
  return d ? DateText(*d) : "null";
}

const unsigned kOld = DateKey(2006, 1, 1), kMid = DateKey(2007, 1, 1), kNew = DateKey(2008, 5, 17);

template <class Message>
std::unique_ptr<Message> Finalized(float bound, const DateMap& dates) {
  auto m = std::make_unique<Message>(bound);
  *m->mutable_dates_with_weights() = dates;
  m->Finalize();
  return m;
}

TEST(JpegCommentsDatesTest, FinalizeFillsOrScalesToFullCoverage) {
  ScopedLogCapture capture;
  auto short_map = Finalized<Dominant>(0.5f, {{kOld, 0.5f}, {kMid, 0.25f}});
  EXPECT_EQ(short_map->dates_with_weights(), (DateMap{{0, 0.25f}, {kOld, 0.5f}, {kMid, 0.25f}}));

  auto double_map = Finalized<Dominant>(0.5f, {{kOld, 1.5f}, {kMid, 0.5f}});
  EXPECT_EQ(double_map->dates_with_weights(), (DateMap{{kOld, 0.75f}, {kMid, 0.25f}}));

  auto empty = Finalized<Dominant>(0.5f, {});
  EXPECT_EQ(empty->dates_with_weights(), (DateMap{{0, 1.0f}}));

  // The iterator walks from the newest date back.
  std::unique_ptr<loupe::JpegCommentTileAcquisitionDatesIterator> it(short_map->CreateIterator());
  std::vector<unsigned> order;
  unsigned date;
  while (it->Previous(&date, nullptr)) order.push_back(date);
  EXPECT_EQ(order, (std::vector<unsigned>{kMid, kOld, 0}));

  EXPECT_EQ(capture.texts(), std::vector<std::string>{});
}

TEST(JpegCommentsDatesTest, DominantAndPercentileDates) {
  ScopedLogCapture capture;
  // Equal shares: the older date wins at a bound of 0.5; at 0.6 neither is enough.
  const DateMap halves = {{kOld, 0.5f}, {kNew, 0.5f}};
  EXPECT_EQ(Text(Finalized<Dominant>(0.5f, halves)->AggregatedDate()), "2006:01:01");
  EXPECT_EQ(Text(Finalized<Dominant>(0.6f, halves)->AggregatedDate()), "0000:00:00");
  // The unknown share can dominate.
  EXPECT_EQ(Text(Finalized<Dominant>(0.1f, {{kNew, 0.3f}})->AggregatedDate()), "0000:00:00");
  EXPECT_EQ(Finalized<Dominant>(0.5f, {{kNew, 0.7f}})->BodyLengthInChars(), 10);  // the date as its body

  auto p = Finalized<Percentile>(0.5f, {{kOld, 0.4f}, {kMid, 0.3f}, {kNew, 0.3f}});
  float coverage = 0;
  EXPECT_EQ(Text(p->PercentileMostRecentDate(0.5f, &coverage)), "2007:01:01");
  EXPECT_FLOAT_EQ(coverage, 0.6f);
  EXPECT_EQ(Text(p->PercentileMostRecentDate(0.3f, &coverage)), "2008:05:17");
  EXPECT_FLOAT_EQ(coverage, 0.3f);
  EXPECT_EQ(Text(p->PercentileMostRecentDate(1.0f, &coverage)), "2006:01:01");
  EXPECT_FLOAT_EQ(coverage, 1.0f);
  auto with_unknown = Finalized<Percentile>(0.5f, {{kNew, 0.5f}});
  EXPECT_EQ(Text(with_unknown->PercentileMostRecentDate(1.0f, nullptr)), "0000:00:00");

  EXPECT_EQ(capture.texts(), std::vector<std::string>{});
}

TEST(JpegCommentsDatesTest, SectionsOutAndIn) {
  RegisterTestFamiliesOnce();  // "AD" with a bound of 0.6

  std::unique_ptr<loupe::JpegCommentOutputBuffer> out(
      loupe::JpegCommentTileAcquisitionDatesOut(new DateMap{{kNew, 0.7f}, {kOld, 0.3f}}));
  ASSERT_TRUE(out);
  // The worked example of docs/imagery-comments.md.
  EXPECT_EQ(ToHex(out->buffer()), "2A 23 4B 30 23 2A 30 2A 41 44 2A 32 30 30 38 3A 30 35 3A 31 37 2A 23 30 4B 23 2A");
  EXPECT_EQ(Text(loupe::JpegCommentAggregatedTileDateIn(("tile 12 " + out->buffer() + " end").c_str())), "2008:05:17");
  EXPECT_EQ(loupe::JpegCommentAggregatedTileDateIn("*#K0#*0*TX*2008:05:17*#0K#*"), nullptr);
  // A year-only body reads back as that year.
  EXPECT_EQ(Text(loupe::JpegCommentAggregatedTileDateIn("*#K0#*0*AD*2008:00:00*#0K#*")), "2008:00:00");
  // A bad body is still taken: the unknown date, with the parser's report.
  ScopedLogCapture capture;
  EXPECT_EQ(Text(loupe::JpegCommentAggregatedTileDateIn("*#K0#*0*AD*May 2008*#0K#*")), "0000:00:00");
  EXPECT_EQ(Text(loupe::JpegCommentAggregatedTileDateIn(nullptr)), "null");
  EXPECT_EQ(loupe::JpegCommentTileAcquisitionDatesOut(nullptr), nullptr);
  EXPECT_EQ(capture.texts(), (std::vector<std::string>{"Unable to parse a JpegCommentDate: setting it to Unknown.",
                                                       "Check failed: encoded_sequence", "Check failed: date_map"}));
}

}  // namespace
}  // namespace vistara::testing
