#include "spatial/panorama_data.h"

#include <gtest/gtest.h>

#include "spatial/pano_map.h"

namespace vistara::spatial {
namespace {

// A host panorama that tells when its last reference goes.
class CountedPanorama : public vistara::Panorama {
 public:
  explicit CountedPanorama(int* deleted) : deleted_(deleted) {}
  ~CountedPanorama() override { ++*deleted_; }

 private:
  int* deleted_;
};

TEST(PanoramaDataTest, LevelsAndOwnership) {
  int deleted = 0;
  {
    RefPtr<PanoramaData> data(new PanoramaData(""));
    // GetLevel is a place in the vector, 0 when nothing matches.
    EXPECT_EQ(0u, data->GetLevel());
    data->level_id = "c";
    for (const char* level : {"a", "b", "c", "c"}) data->connected_levels.push_back({level, "p", 0, {}, {}});
    EXPECT_EQ(2u, data->GetLevel());
    data->level_id = "z";
    EXPECT_EQ(0u, data->GetLevel());

    // One map, set twice, stays alive; another replaces it; null destroys (the leak check and
    // ASan see any slip).
    auto* map = new (HeapManager::GetDynamicHeap()) vistara::DepthMap;
    data->set_depthmap(map);
    data->set_depthmap(map);
    EXPECT_EQ(map, data->depth_map);
    data->set_depthmap(new (HeapManager::GetDynamicHeap()) vistara::DepthMap);
    auto* indices = static_cast<uint8_t*>(AllocFrom(HeapManager::GetDynamicHeap(), 1));
    data->set_panomap(new (HeapManager::GetDynamicHeap()) PanoMap(indices, 1, 1, {}, {}));
    data->set_panomap(nullptr);
    EXPECT_EQ(nullptr, data->pano_map);

    auto* panorama = new CountedPanorama(&deleted);
    panorama->AddRef();
    data->panorama = panorama;
  }
  // The record let go of its depth map and its reference to the host's panorama.
  EXPECT_EQ(1, deleted);
}

TEST(PanoramaDataTest, CircularNearest) {
  CircularMap<double, QString> map;
  map[0] = "0";
  QString below, above;
  map.GetCircularNearest(5, &below, &above);
  EXPECT_EQ(std::make_pair(QString("0"), QString("0")), std::make_pair(below, above));

  map[-3] = "-3";
  map[3] = "3";
  const struct {
    double key;
    const char* below;
    const char* above;
  } kCases[] = {{1, "0", "3"}, {3, "0", "3"}, {3.1, "3", "-3"}, {-3, "3", "-3"}, {-3.1, "3", "-3"}, {0, "-3", "0"}};
  for (const auto& c : kCases) {
    map.GetCircularNearest(c.key, &below, &above);
    EXPECT_EQ(c.below, below) << c.key;
    EXPECT_EQ(c.above, above) << c.key;
  }
}

}  // namespace
}  // namespace vistara::spatial
