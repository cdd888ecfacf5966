// The test programs' main: GoogleTest, plus a check that each test gives back every block it took
// from the library's process-wide heaps.
#include <gtest/gtest.h>

#include "platform/memory.h"

namespace {

class HeapLeakListener : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo&) override {
    dynamic_ = vistara::HeapManager::GetDynamicHeap()->live_blocks();
    transient_ = vistara::HeapManager::GetTransientHeap()->live_blocks();
  }
  void OnTestEnd(const testing::TestInfo&) override {
    EXPECT_EQ(dynamic_, vistara::HeapManager::GetDynamicHeap()->live_blocks()) << "blocks leaked on the dynamic heap";
    EXPECT_EQ(transient_, vistara::HeapManager::GetTransientHeap()->live_blocks())
        << "blocks leaked on the transient heap";
  }
  int64_t dynamic_ = 0, transient_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  testing::UnitTest::GetInstance()->listeners().Append(new HeapLeakListener);
  return RUN_ALL_TESTS();
}
