// Tile numbers and surroundings, and the manager's choices of what to ask for, over the scripted
// backend.
#include "spatial/panorama_fetch_manager.h"

#include <gtest/gtest.h>

#include <QStringList>
#include <QUrlQuery>
#include <cmath>

#include "platform/net/scripted_backend.h"

namespace vistara::spatial {
namespace {

WayfareSpatialOptions& Settings() { return WayfareSpatialOptions::s_settings_; }

TEST(MapTileTest, TileNumbersAndSurroundings) {
  EXPECT_EQ(MapTile(0, 0, 16), MapTile::FromXYZ(32768, 32768, 16));
  EXPECT_EQ(MapTile(0, 0, 0), MapTile::FromXYZ(0, 0, 0));
  const MapTile london(51.5, -0.1, 16);
  EXPECT_EQ(london, MapTile::FromXYZ(32749, 21794, 16));
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
  const auto record = [](const QString& id, const QStringList& links, const QString& level_pano = QString()) {
    RefPtr<PanoramaData> d(new PanoramaData(id));
    for (const QString& link : links) d->connected_panos.push_back(ConnectedPano{link});
    if (!level_pano.isNull()) {
      d->connected_levels.resize(2);
      d->connected_levels[0].pano_id = level_pano;
      d->connected_levels[1].pano_id = id;
    }
    return d;
  };
  const int processed = Settings().numMetaDataPanosProcessed;
  // The first record of an id wins, a later one and a null one are dropped, and a record fills
  // its placeholder.
  const RefPtr<PanoramaData> a = record("A", {"B"}, "L");
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
