// PanoramaFetcher: the URLs byte for byte, the duplicate rule and the status classes over the
// scripted backend, and a real server's faults ending once, silently, with the URL free again.
// DepthMapFetcher: its URL, when it asks at all, and the ready rules. Tile numbers and
// surroundings, and the fetch manager's choices of what to ask for.
#include "spatial/panorama_fetcher.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <QStringList>
#include <QUrlQuery>
#include <cmath>
#include <mutex>

#include "platform/net/curl_backend.h"
#include "platform/net/loopback_server.h"
#include "platform/net/scripted_backend.h"
#include "spatial/depth_map_fetcher.h"
#include "spatial/panorama_fetch_manager.h"
#include "test_util.h"

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
  EXPECT_EQ(f.CreateUrl(MapTile(51.5, -0.1, 16)).query(),
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
  const std::vector<std::pair<int, bool>> statuses = {{2, true},  {4, true},  {302, true}, {506, true},  {3, false},
                                                      {5, false}, {11, false}, {400, false}, {505, false}};
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

struct RecordingDepthMapFetcher : DepthMapFetcher {
  void DepthMapProcessed(vistara::Panorama*, bool has_depth_map) override { outcomes.push_back(has_depth_map); }
  std::vector<bool> outcomes;
};

// A reply of one panorama with both maps.
QByteArray ReplyWithMaps() {
  return QByteArray::fromStdString(testing::ReadFile(VISTARA_TEST_DATA_DIR "/panorama_single.xml"));
}

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

TEST(MapTileTest, TileNumbersAndSurroundings) {
  EXPECT_EQ(MapTile(0, 0, 16), MapTile::FromXYZ(32768, 32768, 16));
  EXPECT_EQ(MapTile(0, 0, 0), MapTile::FromXYZ(0, 0, 0));
  const MapTile london(51.5, -0.1, 16);  // its URL shows its numbers
  EXPECT_TRUE(london.Contains(51.5, -0.1));
  EXPECT_FALSE(london.Contains(51.5, -0.1 + 360.0 / 65536));
  // A pole's infinity and NaN fit no tile number: 0 rather than an undefined conversion.
  EXPECT_EQ(MapTile(90, 0, 16), MapTile::FromXYZ(32768, 0, 16));
  EXPECT_EQ(MapTile(NAN, NAN, 3), MapTile::FromXYZ(0, 0, 3));

  mmvector<MapTile> tiles;
  MapTile::CollectSurroundingTiles(51.5, -0.1, 16, 0, &tiles);
  EXPECT_EQ(tiles, mmvector<MapTile>{london});
  // Just north-east of the corner of four tiles, 50 m reach the other three. Only the centre is
  // compared with, so tiles come twice; south-west first, row by row.
  tiles.clear();
  MapTile::CollectSurroundingTiles(1e-6, 1e-6, 16, 50, &tiles);
  const auto t = [](int x, int y) { return MapTile::FromXYZ(x, y, 16); };
  EXPECT_EQ(tiles, (mmvector<MapTile>{t(32768, 32767), t(32767, 32768), t(32768, 32768), t(32768, 32768),
                                      t(32767, 32767), t(32767, 32767)}));
}

// The open requests, as "tile X,Y", "id ID" or "ll".
QStringList Asked(const net::ScriptedBackend& net) {
  QStringList out;
  for (const QString& url : net.PendingUrls()) {
    const QUrlQuery q{QUrl(url)};
    out << (q.hasQueryItem("x")        ? "tile " + q.queryItemValue("x") + "," + q.queryItemValue("y")
            : q.hasQueryItem("panoid") ? "id " + q.queryItemValue("panoid")
                                       : QStringLiteral("ll"));
  }
  return out;
}

TEST(PanoramaFetchManagerTest, SeventhCallInATileFetchesTheTileUntilItArrives) {
  net::ScriptedBackend net;
  PanoGraph graph;
  PanoramaFetchManager m(&graph);
  const MapTile home(51.5, -0.1, 16);
  const QString home_tile = QStringLiteral("tile %1,%2").arg(home.x).arg(home.y);
  const auto call = [&](int i) { m.FetchNearestMetaData(51.5 + i * 1e-7, -0.1, 1); };  // one URL each
  const auto answer_all = [&] { while (net.ReplyNext(404)) {} };
  for (int i = 1; i <= 6; ++i) call(i);
  EXPECT_EQ(Asked(net), QStringList(6, "ll"));
  call(7);  // the tile goes before the position
  EXPECT_EQ(Asked(net), QStringList(6, "ll") + QStringList({home_tile, "ll"}));
  call(8);  // asks again; the duplicate test absorbs it
  EXPECT_EQ(Asked(net).count(home_tile), 1);
  answer_all();

  // Away and back: the count starts again.
  m.FetchNearestMetaData(48.85, 2.35, 1);
  for (int i = 1; i <= 6; ++i) call(i);
  EXPECT_FALSE(Asked(net).contains(home_tile));
  call(7);
  ASSERT_TRUE(Asked(net).contains(home_tile));

  // The tile arrives, empty: nothing more is asked for inside it until Reset.
  ASSERT_TRUE(net.Reply(static_cast<PanoramaFetcher*>(m.fetcher())->CreateUrl(home).toString(), 2, "<panoramas/>"));
  answer_all();
  ASSERT_TRUE(m.WaitUntilIdle(10000));
  EXPECT_TRUE(m.IsMetaDataTileFetched(home));
  call(9);
  m.FetchAllMetaData(51.5, -0.1, 1);
  EXPECT_TRUE(Asked(net).isEmpty());
  m.Reset();
  call(10);
  EXPECT_EQ(Asked(net), QStringList{"ll"});
  answer_all();

  // With tiles off, positions only.
  Settings().fetchMetadataTiles.PushSetting();
  Settings().fetchMetadataTiles = false;
  for (int i = 11; i <= 18; ++i) call(i);
  m.FetchAllMetaData(51.5, -0.1, 100);
  EXPECT_EQ(Asked(net), QStringList(8, "ll"));
  Settings().fetchMetadataTiles.PopSetting();
}

TEST(PanoramaFetchManagerTest, RecordsEnterTheGraphOnceAndNeighboursAreFetchedOverLevels) {
  net::ScriptedBackend net;
  PanoGraph graph;
  PanoramaFetchManager m(&graph);
  const auto record = [](const QString& id, const QStringList& links) {
    RefPtr<PanoramaData> d(new PanoramaData(id));
    for (const QString& link : links) d->connected_panos.push_back(ConnectedPano{link});
    return d;
  };
  const int processed = Settings().numMetaDataPanosProcessed;
  // The first record of an id wins, a later one and a null one are dropped, and a record fills
  // its placeholder.
  const RefPtr<PanoramaData> a = record("A", {"B"});
  a->connected_levels.resize(2);
  a->connected_levels[0].pano_id = "L";
  a->connected_levels[1].pano_id = "A";
  m.OnMetaDataFetched("A", a);
  m.OnMetaDataFetched("A", record("A", {}));
  m.OnMetaDataFetched("Z", RefPtr<PanoramaData>());
  EXPECT_EQ(graph.GetPanoramaData("A"), a.get());
  m.OnMetaDataFetched("B", record("B", {"A", "C"}));
  EXPECT_NE(graph.GetPanoramaData("B"), nullptr);
  EXPECT_EQ(Settings().numMetaDataPanosProcessed, processed + 2);

  // Within two links of A only C lacks a record; of A's levels, L does (A is A itself).
  m.EnsureNeighborsFetched("A");
  EXPECT_EQ(Asked(net), (QStringList{"id C", "id L"}));
  while (net.ReplyNext(404)) {}
  m.EnsureNeighborsFetched("C");  // a placeholder
  m.EnsureNeighborsFetched("nobody");
  EXPECT_TRUE(Asked(net).isEmpty());
}

}  // namespace
}  // namespace vistara::spatial
