// DepthMapFetcher over the scripted backend: its URL, when it asks at all, and the ready rules.
#include "spatial/depth_map_fetcher.h"

#include <gtest/gtest.h>

#include <vector>

#include "platform/net/scripted_backend.h"
#include "test_util.h"

namespace vistara::spatial {
namespace {

struct RecordingDepthMapFetcher : DepthMapFetcher {
  void DepthMapProcessed(vistara::Panorama*, bool has_depth_map) override { outcomes.push_back(has_depth_map); }
  std::vector<bool> outcomes;
};

// A reply of one panorama with both maps.
QByteArray ReplyWithMaps() { return QByteArray::fromStdString(testing::ReadTestData("panorama_single.xml")); }

TEST(DepthMapFetcherTest, UrlWhenItAsksAndTheReadyRules) {
  net::ScriptedBackend net;
  RecordingDepthMapFetcher f;
  EXPECT_EQ(f.CreateUrl(QStringLiteral("abc")).toString(),
            "http://panoramas.vistara.example/mlk?output=xml&v=4&panoid=abc&dm=1&pm=1&ml_client=vistara");
  f.FetchDepthMap(nullptr, nullptr);
  const RefPtr<PanoramaData> unnamed(new PanoramaData(QString()));
  f.FetchDepthMap(nullptr, unnamed.get());
  EXPECT_TRUE(net.Started().empty());
  EXPECT_FALSE(f.ready());

  // A record with a depth map is ready at once, with no request.
  const RefPtr<PanoramaData> mapped(new PanoramaData(QStringLiteral("m")));
  DepthMapFetcher::ParseDepthAndPano(ReplyWithMaps(), mapped.get());
  f.FetchDepthMap(nullptr, mapped.get());
  EXPECT_TRUE(f.ready());
  EXPECT_TRUE(net.Started().empty());
  f.ProcessDepthMap();
  EXPECT_EQ(f.outcomes, std::vector<bool>{true});

  // A second fetch cancels the first; the destructor cancels what is still open.
  {
    RecordingDepthMapFetcher twice;
    const RefPtr<PanoramaData> record(new PanoramaData(QStringLiteral("abc")));
    twice.FetchDepthMap(nullptr, record.get());
    twice.FetchDepthMap(nullptr, record.get());
    EXPECT_EQ(net.Started().size(), 2u);
    EXPECT_EQ(net.PendingUrls(), QStringList{f.CreateUrl(QStringLiteral("abc")).toString()});
  }
  EXPECT_TRUE(net.PendingUrls().isEmpty());

  const std::vector<std::pair<int, bool>> statuses = {{2, true},  {4, true},  {302, true},  {506, true},
                                                      {0, false}, {1, false}, {3, false},   {5, false},
                                                      {11, false}, {400, false}, {505, false}};
  for (const auto& [status, ready] : statuses) {
    SCOPED_TRACE(status);
    RecordingDepthMapFetcher f;
    const RefPtr<PanoramaData> record(new PanoramaData(QStringLiteral("abc")));
    f.FetchDepthMap(nullptr, record.get());
    ASSERT_TRUE(net.ReplyNext(status, ReplyWithMaps()));
    EXPECT_EQ(f.ready(), ready);
    if (!ready) continue;
    f.ProcessDepthMap();
    EXPECT_EQ(f.outcomes, std::vector<bool>{true});
    EXPECT_NE(record->pano_map, nullptr);
    EXPECT_FALSE(f.ready());
  }
  // Without parsing, or with a reply that holds no map, the record stays without one.
  for (bool parse : {false, true}) {
    RecordingDepthMapFetcher f;
    f.set_parse_replies(parse);
    const RefPtr<PanoramaData> record(new PanoramaData(QStringLiteral("abc")));
    f.FetchDepthMap(nullptr, record.get());
    ASSERT_TRUE(net.ReplyNext(2, parse ? QByteArray("<panorama/>") : ReplyWithMaps()));
    f.ProcessDepthMap();
    EXPECT_EQ(f.outcomes, std::vector<bool>{false});
  }
}

}  // namespace
}  // namespace vistara::spatial
