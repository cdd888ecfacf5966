// PanoramaFetcher: the URLs byte for byte, the duplicate rule and the status classes over the
// scripted backend, and a real server's faults ending once, silently, with the URL free again.
#include "spatial/panorama_fetcher.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <QStringList>
#include <mutex>

#include "platform/net/curl_backend.h"
#include "platform/net/loopback_server.h"
#include "platform/net/scripted_backend.h"

namespace vistara::spatial {
namespace {

WayfareSpatialOptions& Settings() { return WayfareSpatialOptions::s_settings_; }

// Every observer call as a line: "record ID", "empty", "tile X,Y,Z"; and whether all came on the
// worker.
class Recorder : public IPanoramaFetchObserver {
 public:
  void OnMetaDataFetched(const QString& id, RefPtr<PanoramaData>) override { Add("record " + id); }
  void OnEmptyResponse() override { Add("empty"); }
  void OnMapTileFetched(const MapTile& t) override { Add(QStringLiteral("tile %1,%2,%3").arg(t.x).arg(t.y).arg(t.zoom)); }
  QStringList Take() {
    std::lock_guard<std::mutex> lock(mutex_);
    EXPECT_TRUE(on_worker_);
    return std::exchange(calls_, {});
  }

 private:
  void Add(const QString& call) {
    char name[16] = {};
    pthread_getname_np(pthread_self(), name, sizeof name);
    std::lock_guard<std::mutex> lock(mutex_);
    on_worker_ = on_worker_ && std::string(name) == "PanoramFetcher";
    calls_ << call;
  }
  std::mutex mutex_;
  QStringList calls_;
  bool on_worker_ = true;
};

QByteArray OnePanorama(const QString& id) {
  return "<panorama><data_properties pano_id=\"" + id.toUtf8() + "\" lat=\"1\" lng=\"2\"/></panorama>";
}

TEST(PanoramaFetcherTest, UrlsCarryTheirItemsInOrder) {
  net::ScriptedBackend net;
  PanoramaFetcher f;
  EXPECT_EQ(f.CreateUrl(QStringLiteral("abc")).toString(),
            "http://panoramas.vistara.example/mlk?output=xml&panoid=abc&ml_client=vistara&dm=1&pm=1&v=4");
  EXPECT_EQ(f.CreateUrl(MapTile::FromXYZ(32749, 21794, 16)).query(),
            "output=metatile&x=32749&y=21794&zoom=16&ml_client=vistara&v=4");
  EXPECT_EQ(f.CreateUrl(1.5, 2.25, 49.5, QStringLiteral("L")).query(),
            "output=xml&ll=1.500000000000000000,2.250000000000000000&radius=50&level_id=L&dm=1&pm=1&ml_client=vistara&v=4");
  EXPECT_EQ(f.CreateUrl(-0.1, 51.5, 0, QString()).query(),
            "output=xml&ll=-0.100000000000000006,51.500000000000000000&dm=1&pm=1&ml_client=vistara&v=4");

  // Items of the server setting stay first; delimiters inside a value are escaped.
  Settings().metaDataFetchServer.PushSetting();
  Settings().metaDataFetchServer = QStringLiteral("https://h.example:8443/p/mlk?key=k1&hl=en");
  EXPECT_EQ(f.CreateUrl(QStringLiteral("a b&c=d+\u00e9")).toEncoded(),
            "https://h.example:8443/p/mlk?key=k1&hl=en&output=xml&panoid=a%20b%26c%3Dd+%C3%A9&ml_client=vistara&dm=1&pm=1&v=4");
  Settings().metaDataFetchServer.PopSetting();

  // The request carries the URL's text, and 1 / maxMetadataDepthmapQps seconds of spacing.
  Settings().maxMetadataDepthmapQps.PushSetting();
  Settings().maxMetadataDepthmapQps = 4.0f;
  Recorder rec;
  ASSERT_TRUE(f.FetchMetaData(QStringLiteral("abc"), &rec));
  Settings().maxMetadataDepthmapQps.PopSetting();
  EXPECT_EQ(net.Started()[0].url, f.CreateUrl(QStringLiteral("abc")).toString());
  EXPECT_EQ(net.Started()[0].seconds_between_requests, 0.25);
}

TEST(PanoramaFetcherTest, DuplicatesStatusClassesAndWhatTheObserverGets) {
  net::ScriptedBackend net;
  Recorder rec;
  PanoramaFetcher f;
  const int by_id = Settings().numMetaDataPanoIdFetches;
  EXPECT_FALSE(f.FetchMetaData(QString(), &rec));
  const QUrl url = f.CreateUrl(QStringLiteral("P"));
  const std::vector<std::pair<int, bool>> statuses = {{2, true},  {4, true},  {200, true},  {302, true},
                                                      {506, true}, {3, false}, {5, false},   {11, false},
                                                      {400, false}, {404, false}, {505, false}};
  for (const auto& [status, processed] : statuses) {
    SCOPED_TRACE(status);
    EXPECT_TRUE(f.FetchMetaData(QStringLiteral("P"), &rec));
    EXPECT_FALSE(f.FetchMetaData(QStringLiteral("P"), &rec));  // in flight: dropped, observer forgotten
    ASSERT_TRUE(net.Reply(url.toString(), status, OnePanorama("P")));
    ASSERT_TRUE(f.WaitUntilIdle(10000));
    EXPECT_FALSE(f.IsFetching(url));
    EXPECT_EQ(rec.Take(), processed ? QStringList{"record P"} : QStringList());
  }
  EXPECT_EQ(Settings().numMetaDataPanoIdFetches, by_id + static_cast<int>(statuses.size()));

  // A tile reply gives its records, then the tile, also when it has none; a reply that doesn't
  // parse counts as empty. Jobs run in the order of their replies.
  ASSERT_TRUE(f.FetchMetaData(MapTile::FromXYZ(7, 8, 16), &rec) && f.FetchMetaData(1.0, 2.0, 50, QString(), &rec));
  ASSERT_TRUE(net.ReplyNext(2, "<panoramas>" + OnePanorama("T1") + OnePanorama("T2") + "</panoramas>"));
  ASSERT_TRUE(net.ReplyNext(2, "<<< not xml") && f.FetchMetaData(MapTile::FromXYZ(9, 8, 16), &rec));
  ASSERT_TRUE(net.ReplyNext(2, "<panoramas/>") && f.WaitUntilIdle(10000));
  EXPECT_EQ(rec.Take(), (QStringList{"record T1", "record T2", "tile 7,8,16", "empty", "empty", "tile 9,8,16"}));
}

TEST(PanoramaFetcherTest, RealServerFaultsEndOnceAndFreeTheirUrl) {
  testing::LoopbackServer server;
  server.ServeFaults(OnePanorama("P").toStdString());
  net::CurlBackend::Options options;
  // Long enough for the trickle on a loaded machine, short of the stall's ten seconds.
  options.timeout_ms = 4000;
  net::CurlBackend backend(options);
  net::Backend* previous = net::SetBackend(&backend);
  Settings().metaDataFetchServer.PushSetting();
  Settings().metaDataFetchServer = QString::fromStdString(server.Url("/mlk"));
  Recorder rec;
  {
    PanoramaFetcher f;
    const QStringList ids = {"ok", "404", "503", "cut", "garbage", "trickle", "stall", "big-header"};
    for (int round = 0; round < 2; ++round) {
      for (const QString& id : ids) EXPECT_TRUE(f.FetchMetaData(id, &rec)) << id.toStdString();
      ASSERT_TRUE(f.FetchMetaData(MapTile::FromXYZ(1, 2, 3), &rec));  // answered with the panorama
      ASSERT_TRUE(f.WaitUntilIdle(20000));
      QStringList calls = rec.Take();
      calls.sort();
      EXPECT_EQ(calls, (QStringList{"empty", "record P", "record P", "record P", "tile 1,2,3"}));
    }
    Settings().metaDataFetchServer = QString::fromStdString(testing::LoopbackServer::RefusedUrl());
    EXPECT_TRUE(f.FetchMetaData(QStringLiteral("ok"), &rec));
    ASSERT_TRUE(f.WaitUntilIdle(20000));
    EXPECT_TRUE(rec.Take().isEmpty());

    // A reply that comes after its fetcher has gone reaches nobody.
    Settings().metaDataFetchServer = QString::fromStdString(server.Url("/mlk"));
    PanoramaFetcher short_lived;
    EXPECT_TRUE(short_lived.FetchMetaData(QStringLiteral("late"), &rec));
  }
  EXPECT_TRUE(rec.Take().isEmpty());
  Settings().metaDataFetchServer.PopSetting();
  net::SetBackend(previous);
}

}  // namespace
}  // namespace vistara::spatial
