// The graph under one writer (as the fetch worker) and several readers; also run under TSan.
// Records and ids are made before the threads start, so that few QString copies cross threads.
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include "spatial/pano_graph.h"

namespace vistara::spatial {
namespace {

TEST(PanoGraphStressTest, OneWriterSeveralReaders) {
  constexpr int kStreets = 40;
  constexpr int kPerStreet = 50;
  std::vector<QString> ids;
  for (int i = 0; i < kStreets * kPerStreet; ++i) ids.push_back(QString::number(i));
  std::vector<RefPtr<PanoramaData>> records;
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> uni(-0.5, 0.5);
  for (int s = 0; s < kStreets; ++s) {
    const double x0 = uni(rng), y0 = uni(rng);
    for (int k = 0; k < kPerStreet; ++k) {
      const int i = s * kPerStreet + k;
      RefPtr<PanoramaData> d(new PanoramaData(ids[i]));
      d->position = Vec3<double>(x0 + 1e-6 * k, y0 + 1e-6 * k, 0);
      d->scene = s % 3;
      // Every fifth record is a dead end with only its predecessor.
      if (k > 0) d->connected_panos.push_back(ConnectedPano{ids[i - 1]});
      if (k + 1 < kPerStreet && k % 5 != 4) d->connected_panos.push_back(ConnectedPano{ids[i + 1]});
      records.push_back(d);
    }
  }

  PanoGraph graph;
  std::atomic<bool> done{false};
  std::thread writer([&] {
    for (int round = 0; round < 2; ++round) {
      for (size_t i = 0; i < records.size(); ++i) {
        graph.AddPano(records[i]->id, records[i].get());
        if (i % kPerStreet == kPerStreet - 1) graph.PostProcessBatch();  // a tile's end
      }
      if (round == 0) {
        for (size_t i = 0; i < records.size(); i += 7) graph.ClearPanoData(records[i]->id);
      }
    }
    graph.PostProcessBatch();
    done = true;
  });

  std::vector<std::thread> readers;
  std::atomic<long> answers{0};
  for (int t = 0; t < 3; ++t) {
    readers.emplace_back([&, t] {
      std::mt19937 r(100 + t);
      std::uniform_int_distribution<size_t> pick(0, ids.size() - 1);
      mmvector<PanoGraph::ConnectedPanoInfo> around;
      mmvector<PanoGraph::link> links;
      mmvector<const PanoramaData*> nearest;
      while (!done) {
        const QString& id = ids[pick(r)];
        SpinLock::ScopedLock hold(graph.lock());  // the records stay put while we read them
        const PanoramaData* d = graph.GetPanoramaData(id);
        if (d) {
          const QString& near = graph.GetClosestPanoToPoint(d->position);
          EXPECT_FALSE(near.isEmpty());
          graph.GetConnectedPanos(id, 3, t == 0, &around);
          graph.GetLinks(id, 2, &links);
          nearest.clear();
          graph.GetClosestPanosToPoint(d->position, 5, &nearest);
          PanoGraph::link best;
          graph.GetClosestLink(id, d->position + Vec3<double>(1e-6, 1e-6, 0), &best);
          graph.UpdateConnectionLookupMap(id);
          ++answers;
        }
      }
    });
  }
  writer.join();
  for (auto& t : readers) t.join();
  EXPECT_EQ(boost::num_vertices(graph.graph().graph()), ids.size());
  EXPECT_TRUE(graph.pending().empty());
  // Dead ends got their inferred link to the next panorama of the street (1.4e-6 apart, well
  // within 15 m).
  mmvector<PanoGraph::link> links;
  graph.GetLinks(ids[4], &links);
  EXPECT_EQ(links.size(), 2u);
  RecordProperty("answers", static_cast<int>(answers.load()));
}

}  // namespace
}  // namespace vistara::spatial
