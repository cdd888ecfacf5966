// The fetch manager over the libcurl backend and a loopback service: four caller threads ask for
// ids, positions and neighbours while replies arrive and the worker fills the graph; every other
// round the manager is destroyed with requests in flight. Also run under TSan.
#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include "platform/net/curl_backend.h"
#include "platform/net/loopback_server.h"
#include "spatial/panorama_fetch_manager.h"

namespace vistara::spatial {
namespace {

TEST(PanoramaFetchStressTest, CallersRepliesAndADestructionMidFlight) {
  testing::LoopbackServer server;
  // The record of the id asked for (or "near"), linked to the id with a "+" appended.
  server.server().Get("/mlk", [&](const httplib::Request& req, httplib::Response& res) {
    server.Stall(static_cast<int>(req.target.size() % 4));
    const std::string id = req.has_param("panoid") ? req.get_param_value("panoid") : "near";
    res.set_content("<panorama><data_properties pano_id=\"" + id + "\" lat=\"1\" lng=\"2\"/><annotation_properties>" +
                        "<link pano_id=\"" + id + "+\"/></annotation_properties></panorama>",
                    "text/xml");
  });
  net::CurlBackend backend;
  net::Backend* previous = net::SetBackend(&backend);
  WayfareSpatialOptions& settings = WayfareSpatialOptions::s_settings_;
  settings.metaDataFetchServer.PushSetting();
  settings.metaDataFetchServer = QString::fromStdString(server.Url("/mlk"));
  for (int round = 0; round < 4; ++round) {
    PanoGraph graph;
    auto manager = std::make_unique<PanoramaFetchManager>(&graph);
    std::mutex mutex;
    std::set<QString> asked;
    std::vector<std::thread> callers;
    for (int t = 0; t < 4; ++t) {
      callers.emplace_back([&, t] {
        std::mt19937 rng(round * 10 + t);
        for (int i = 0; i < 40; ++i) {
          const QString id = QString::number(rng() % 100);
          if (manager->fetcher()->FetchMetaData(id, manager.get())) {
            std::lock_guard<std::mutex> lock(mutex);
            asked.insert(id);
          }
          manager->fetcher()->FetchMetaData(rng() % 100 * 1e-4, 0.0, 30, QString(), manager.get());
          if (i % 8 == 0) manager->fetcher()->FetchMetaData(MapTile(rng() % 100 * 1e-4, 0.0, 16), manager.get());
          manager->EnsureNeighborsFetched(id);
          manager->IsMetaDataTileFetched(MapTile(0, 0, 16));
        }
      });
    }
    for (std::thread& c : callers) c.join();
    if (round % 2 == 0) continue;  // the manager goes with replies still arriving
    ASSERT_TRUE(manager->WaitUntilIdle(60000));
    SpinLock::ScopedLock hold(graph.lock());
    for (const QString& id : asked) EXPECT_NE(graph.GetPanoramaData(id), nullptr) << id.toStdString();
    EXPECT_NE(graph.GetPanoramaData("near"), nullptr);
  }
  settings.metaDataFetchServer.PopSetting();
  net::SetBackend(previous);
}

}  // namespace
}  // namespace vistara::spatial
