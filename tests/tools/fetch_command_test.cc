// The fetch command, run in-process against the panorama service over West Oakland: what it saves
// is the dataset's own records with the dataset's links, and the failures a user meets are
// reported. Its options are in fetch.cases.
#include <gtest/gtest.h>
#include <json/json.h>

#include <algorithm>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "cli.h"
#include "cli_run_test_util.h"
#include "panorama_service.h"
#include "spatial/map_tile.h"
#include "street_panoramas_test_util.h"
#include "test_util.h"

namespace vistara::testing {
namespace {

using cli::serve::PanoramaService;

TEST(FetchCommandTest, FillsAGraphOfTheExtractsStreets) {
  const auto set = WestOaklandPanoramas();
  ASSERT_TRUE(set);
  PanoramaService service(set, {.read_timeout_ms = 1000});  // idle connections closed soon
  std::string error;
  ASSERT_TRUE(service.Start(&error)) << error;
  const TempDir dir("vistara-fetch-");
  const std::string saved = dir / "fetched.xml";
  const double lat = 37.8076, lon = -122.3005;
  const Outcome fetch = Cli({"fetch", "--json", "--server", service.url(), "--near", "37.8076,-122.3005", "--radius",
                             "100", "--neighbours", "3", "--tiles", "--save", saved});
  ASSERT_EQ(0, fetch.status) << fetch.err;

  // Every record saved is one of the dataset's, field for field: position and links included.
  auto read = [&](const std::string& file) {
    std::set<uint32_t> got;
    for (const auto& r : ParseReply(ReadFile(file))) {
      const int i = set->Find(r->id.toStdString());
      EXPECT_GE(i, 0) << r->id.toStdString();
      if (i < 0) continue;
      EXPECT_EQ(Fields(*set->Record(i)), Fields(*r));
      got.insert(static_cast<uint32_t>(i));
    }
    return got;
  };
  const std::set<uint32_t> got = read(saved);
  // The panoramas within three links of the service's nearest, breadth-first over the dataset's
  // links, are all there, and so is every panorama of the tiles round the point.
  const int nearest = set->Nearest(lat, lon, 100);
  ASSERT_GE(nearest, 0);
  EXPECT_EQ(set->panorama(nearest).id, fetch.json["nearest"].asString());
  std::map<uint32_t, int> depth{{nearest, 0}};
  std::vector<uint32_t> queue{static_cast<uint32_t>(nearest)};
  for (size_t k = 0; k < queue.size(); ++k) {
    const uint32_t i = queue[k];
    if (depth[i] == 3) continue;
    for (const auto& l : set->panorama(i).links) {
      if (depth.emplace(l.to, depth[i] + 1).second) queue.push_back(l.to);
    }
  }
  std::set<uint32_t> wanted(queue.begin(), queue.end());
  const std::string near_only = dir / "near.xml";
  ASSERT_EQ(0, Cli({"fetch", "--server", service.url(), "--near", "37.8076,-122.3005", "--radius", "100",
                    "--neighbours", "3", "--save", near_only})
                   .status);
  EXPECT_EQ(wanted, read(near_only));  // without tiles, exactly those
  mmvector<spatial::MapTile> tiles;
  spatial::MapTile::CollectSurroundingTiles(lat, lon, 16, 100, &tiles);
  for (const auto& t : tiles) {
    for (uint32_t i : set->InTile(t.x, t.y, t.zoom)) wanted.insert(i);
  }
  EXPECT_TRUE(std::includes(got.begin(), got.end(), wanted.begin(), wanted.end()));
  EXPECT_EQ(got.size(), fetch.json["panoramas"].asUInt64());
  EXPECT_EQ(0, fetch.json["failed"].asInt());

  // The graph fetch built: the records fetched, placeholders for the ends not fetched, and the
  // dataset's links with a fetched end.
  std::set<std::pair<uint32_t, uint32_t>> links;
  std::set<uint32_t> placeholders;
  for (uint32_t i : got) {
    for (const auto& l : set->panorama(i).links) {
      links.insert(std::minmax(i, l.to));
      if (!got.count(l.to)) placeholders.insert(l.to);
    }
  }
  EXPECT_EQ(got.size() + placeholders.size(), fetch.json["vertices"].asUInt64());
  EXPECT_EQ(placeholders.size(), fetch.json["placeholders"].asUInt64());
  EXPECT_EQ(links.size(), fetch.json["edges"].asUInt64() - fetch.json["inferred_edges"].asUInt64());
}

TEST(FetchCommandTest, CountsFailuresAndFailsOnlyWhenNothingCame) {
  const auto set = WestOaklandPanoramas();
  ASSERT_TRUE(set);
  auto fetch = [&](const std::string& server, std::vector<std::string> more) {
    more.insert(more.begin(),
                {"fetch", "--json", "--server", server, "--near", "37.8076,-122.3005", "--radius", "100"});
    return Cli(more);
  };

  // A service that answers 503 to everything; then to every second request, which is counted.
  PanoramaService failing(set, {.read_timeout_ms = 1000, .fail_every = 1});
  std::string error;
  ASSERT_TRUE(failing.Start(&error)) << error;
  Outcome o = fetch(failing.url(), {"--tiles"});
  EXPECT_EQ(1, o.status);
  EXPECT_TRUE(std::regex_match(o.json["error"].asString(),
                               std::regex("nothing fetched from .*: (\\d+) requests failed \\(http 503: \\1\\)")))
      << o.json["error"];
  PanoramaService flaky(set, {.read_timeout_ms = 1000, .fail_every = 2});
  ASSERT_TRUE(flaky.Start(&error)) << error;
  o = fetch(flaky.url(), {"--tiles", "--neighbours", "2"});
  ASSERT_EQ(0, o.status) << o.err;
  const int requests = o.json["requests"].asInt(), failed = requests / 2;
  EXPECT_EQ(failed, o.json["failed"].asInt());
  EXPECT_EQ(failed, o.json["failures"]["http 503"].asInt());
  EXPECT_GT(o.json["panoramas"].asInt(), 0);

  // A service slower than the timeout: the request is cancelled, and nothing came.
  PanoramaService slow(set, {.read_timeout_ms = 1000, .delay_ms = 1000});
  ASSERT_TRUE(slow.Start(&error)) << error;
  o = fetch(slow.url(), {"--timeout", "0.2s"});
  EXPECT_EQ(1, o.status);
  EXPECT_EQ("nothing fetched from " + slow.url() + ": 1 request failed (cancelled: 1); timed out after 0.2 s",
            o.json["error"].asString());
}

}  // namespace
}  // namespace vistara::testing
