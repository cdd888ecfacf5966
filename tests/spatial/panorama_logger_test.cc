// SceneStats: the two view tests at their edges and what each stores. PanoramaLogger over a
// scripted clock and the scripted backend: when reports go, their URLs to the byte, and the
// destructor's cancel without a flush.
#include "spatial/panorama_logger.h"

#include <gtest/gtest.h>

#include <QUrlQuery>
#include <numbers>
#include <regex>

#include "platform/net/scripted_backend.h"

namespace vistara::spatial {
namespace {

constexpr double kDegree = std::numbers::pi / 180;

class ScriptedClock : public ITimingSource {
 public:
  double GetTime() const override { return now; }
  double now = 0;
};

TEST(SceneStatsTest, CountsFieldOfViewChangesAtTwiceAndMovesAtHalfTheNewFieldOfView) {
  SceneStats s;
  // A third of a turn after the sixth it starts with is exactly twice, and counts.
  s.NewViewEvent(0, 0, std::numbers::pi * 2 / 3);
  EXPECT_EQ(1, s.fov_events());
  EXPECT_EQ(std::numbers::pi * 2 / 3, s.last_fov());
  // Back to a sixth of a turn is exactly half, and counts; just short of half doesn't.
  s.NewViewEvent(0, 0, std::numbers::pi / 3);
  EXPECT_EQ(2, s.fov_events());
  EXPECT_FALSE(s.IsNewFov(std::nextafter(std::numbers::pi * 2 / 3, 0.0)));
  EXPECT_TRUE(s.IsNewFov(std::numbers::pi / 6));
  EXPECT_FALSE(s.IsNewFov(std::nextafter(std::numbers::pi / 6, 1.0)));

  // The angle between directions is the great circle's, not the yaw's: at a pitch of 60 degrees a
  // quarter turn of yaw is acos(0.75) = 41.41 degrees, so it counts against a field of view of
  // 82 degrees and not of 83.
  SceneStats tilted;
  tilted.NewViewEvent(0, 60 * kDegree, std::numbers::pi / 3);  // from pitch 0: 60 > 30 degrees
  ASSERT_EQ(1, tilted.viewpoint_events());
  EXPECT_TRUE(tilted.IsNewViewpoint(90 * kDegree, 60 * kDegree, 82 * kDegree));
  EXPECT_FALSE(tilted.IsNewViewpoint(90 * kDegree, 60 * kDegree, 83 * kDegree));

  // A slow pan adds up from the last place counted: 20-degree steps against half of 60 degrees
  // count every second step, and the views between leave the last yaw where it was.
  SceneStats pan;
  for (int step = 1; step <= 4; ++step) pan.NewViewEvent(step * 20 * kDegree, 0, std::numbers::pi / 3);
  EXPECT_EQ(2, pan.viewpoint_events());
  EXPECT_DOUBLE_EQ(80 * kDegree, pan.last_yaw());
  // The move is measured against half the new field of view: 45 degrees of pitch pass half of
  // the old 60 but not of the new 130. Then one event counts both, the zoom in to 40 degrees and
  // the 60 degrees of pitch from the last place counted.
  pan.NewViewEvent(80 * kDegree, 45 * kDegree, 130 * kDegree);
  EXPECT_EQ(1, pan.fov_events());
  EXPECT_EQ(2, pan.viewpoint_events());
  pan.NewViewEvent(80 * kDegree, -60 * kDegree, 40 * kDegree);
  EXPECT_EQ(2, pan.fov_events());
  EXPECT_EQ(3, pan.viewpoint_events());

  pan.NewPanoramaEvent();
  EXPECT_EQ("0;3;1;2;2;1", pan.FormatEvents());
  pan.ResetCounts();
  EXPECT_EQ("", pan.FormatEvents());
  EXPECT_EQ(-60 * kDegree, pan.last_pitch());  // the last values stay
  pan.NewPanoramaEvent();
  EXPECT_EQ("2;1", pan.FormatEvents());  // the kinds without a count left out
}

// The query of a report, with its random `s` checked and replaced by "S".
std::string Query(const QString& url) {
  static const std::regex shape("http://panoramas\\.vistara\\.example/mlk\\?(output=mlrep&ed=[^&]*"
                                "&ml_client=vistara&v=4&s=)(0|[1-9][0-9]{0,3})");
  std::smatch m;
  const std::string text = url.toStdString();
  if (!std::regex_match(text, m, shape)) return "not a report: " + text;
  return m[1].str() + "S";
}

TEST(PanoramaLoggerTest, ReportsTheFirstEventAtOnceThenAbove20EventsOrAfter30Seconds) {
  net::ScriptedBackend net;
  ScriptedClock clock;
  clock.now = 1000;
  PanoramaLogger logger(&clock);
  auto started = [&net] { return net.Started().size(); };

  logger.NewPanoramaEvent(true);
  ASSERT_EQ(1u, started());
  const net::FetchParams first = net.Started()[0];
  EXPECT_EQ("output=mlrep&ed=68%3A2%3B1&ml_client=vistara&v=4&s=S", Query(first.url));
  EXPECT_EQ(nullptr, first.callback);
  EXPECT_EQ(&logger, first.context);

  // 20 counted events within 30 seconds wait; the 21st goes, both groups in it, "67:" first. The
  // panorama events of the false group are the kind that sits last.
  for (int i = 0; i < 10; ++i) {
    clock.now += 1;
    logger.NewPanoramaEvent(i % 2 == 0);
  }
  for (int i = 1; i <= 10; ++i) logger.NewViewEvent(i * 40 * kDegree, 0, std::numbers::pi / 3, false);
  EXPECT_EQ(1u, started());
  logger.NewViewEvent(0, 0, std::numbers::pi, true);  // a zoom without a move
  ASSERT_EQ(2u, started());
  const QString second = net.Started()[1].url;
  EXPECT_EQ("output=mlrep&ed=67%3A0%3B10%3B2%3B5%2C68%3A1%3B1%3B2%3B5&ml_client=vistara&v=4&s=S", Query(second));
  EXPECT_EQ("67:0;10;2;5,68:1;1;2;5", QUrlQuery(QUrl(second)).queryItemValue("ed", QUrl::FullyDecoded));

  // Nothing to send: ForceSendData starts nothing and leaves the time. Exactly 30 seconds after
  // the report is not more than 30; a view that counts nothing still lets the pending count go
  // once they are.
  clock.now = 1030;
  logger.ForceSendData();
  clock.now = 1040;
  logger.NewPanoramaEvent(false);
  EXPECT_EQ(2u, started());
  EXPECT_EQ(1010, logger.last_report_time());
  clock.now = 1040.5;
  logger.NewViewEvent(0, 0, std::numbers::pi, true);
  ASSERT_EQ(3u, started());
  EXPECT_EQ("output=mlrep&ed=67%3A2%3B1&ml_client=vistara&v=4&s=S", Query(net.Started()[2].url));
  EXPECT_EQ(1040.5, logger.last_report_time());
}

TEST(PanoramaLoggerTest, DestructorCancelsTheLastReportAndSendsNoMore) {
  net::ScriptedBackend net;
  ScriptedClock clock;
  RefPtr<net::Fetcher> last;
  {
    PanoramaLogger logger(&clock);
    logger.NewPanoramaEvent(false);
    clock.now = 31;
    logger.NewPanoramaEvent(false);
    ASSERT_EQ(2, net.PendingUrls().size());
    logger.NewViewEvent(1, 0, 1, true);
    logger.ForceSendData();
    last = logger.fetcher();
    logger.NewPanoramaEvent(true);  // counted, never sent
  }
  EXPECT_EQ(net::kStatusCancelled, last->status());
  EXPECT_EQ(3u, net.Started().size());
  EXPECT_EQ(2, net.PendingUrls().size());  // the earlier two, which were let go
}

}  // namespace
}  // namespace vistara::spatial
