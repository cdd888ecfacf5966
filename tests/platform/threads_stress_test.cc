// The lock, the worker thread and reference counts under contention; these also run under TSan.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <utility>
#include <thread>
#include <vector>

#include "platform/referent.h"
#include "platform/spin_lock.h"
#include "platform/worker_thread.h"

namespace vistara {
namespace {

TEST(SpinLockStressTest, RecursiveLockUnderContention) {
  SpinLock lock;
  long counter = 0;  // guarded by lock
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 20000; ++i) {
        SpinLock::ScopedLock outer(&lock);
        ++counter;
        {
          SpinLock::ScopedLock inner(&lock);  // the owner takes it again
          ++counter;
        }
        // One unlock of two leaves it held.
        EXPECT_TRUE(lock.IsHeldByCurrentThread());
      }
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(4 * 20000 * 2, counter);
  EXPECT_FALSE(lock.IsHeldByCurrentThread());
}

// A job that runs `fn`; `alive` counts the jobs not yet released.
struct FnJob : WorkerThread::Job {
  FnJob(WorkerThread* worker, std::atomic<int>* alive, std::function<void()> fn)
      : Job("FnJob", worker), alive(alive), fn(std::move(fn)) {
    ++*alive;
  }
  ~FnJob() override { --*alive; }
  void Run() override { fn(); }
  std::atomic<int>* alive;
  std::function<void()> fn;
};

TEST(WorkerThreadStressTest, RunsJobsInOrderFromManyThreadsAndDropsTheRestOnShutdown) {
  std::atomic<int> alive{0};
  std::vector<int> order;  // only the worker thread touches it while jobs run
  const auto record = [&](WorkerThread* worker, int id) {
    (new FnJob(worker, &alive, [&order, id] { order.push_back(id); }))->AddToQueue();
  };
  // Queues a job that holds the worker until `release`, and returns once it runs: everything
  // queued before it has run then, and nothing else runs.
  const auto barrier = [&](WorkerThread* worker, std::atomic<bool>* release) {
    std::atomic<bool> started{false};
    (new FnJob(worker, &alive, [&started, release] {
      started = true;
      while (!*release) std::this_thread::yield();
    }))->AddToQueue();
    while (!started) std::this_thread::yield();
  };
  {
    WorkerThread worker("StressWorker", 1);
    std::vector<std::thread> producers;
    for (int p = 0; p < 3; ++p) {
      producers.emplace_back([&, p] {
        for (int i = 0; i < 200; ++i) record(&worker, p * 1000 + i + 1);
      });
    }
    for (auto& t : producers) t.join();
    std::atomic<bool> release{false};
    barrier(&worker, &release);
    // Orders within each producer are kept.
    EXPECT_EQ(600u, order.size());  // not ASSERT: returning now would leave the worker blocked
    std::vector<int> last(3, 0);
    for (int id : order) EXPECT_GT(id, std::exchange(last[(id - 1) / 1000], id));
    release = true;

    // A job queued by a job runs after it.
    std::atomic<bool> queued{false};
    (new FnJob(&worker, &alive, [&] {
      order.push_back(0);
      record(&worker, 1000);
      queued = true;
    }))->AddToQueue();
    while (!queued) std::this_thread::yield();
    barrier(&worker, &release);
    EXPECT_EQ(std::vector<int>(order.begin() + 600, order.end()), (std::vector<int>{0, 1000}));
  }
  EXPECT_EQ(0, alive.load()) << "every job released exactly once";

  // Shutdown with a job running and more queued: the running one finishes, the rest are dropped.
  std::atomic<bool> release{false};
  std::thread releaser;
  order.clear();
  {
    WorkerThread worker("ShutdownWorker", 1);
    barrier(&worker, &release);
    for (int i = 0; i < 10; ++i) record(&worker, i);
    releaser = std::thread([&] {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      release = true;
    });
  }
  releaser.join();
  EXPECT_EQ(0, alive.load());
  EXPECT_LE(order.size(), 10u);
}

TEST(ReferentStressTest, ConcurrentReleaseDeletesOnce) {
  struct Counted : Referent {
    explicit Counted(std::atomic<int>* n) : n_(n) {}
    ~Counted() override { ++*n_; }
    std::atomic<int>* n_;
  };
  for (int round = 0; round < 200; ++round) {
    std::atomic<int> orphaned{0};
    RefPtr<Counted> shared(new Counted(&orphaned));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([copy = shared]() mutable {
        for (int i = 0; i < 50; ++i) {
          RefPtr<Counted> extra = copy;
        }
        copy.reset();
      });
    }
    shared.reset();
    for (auto& t : threads) t.join();
    EXPECT_EQ(1, orphaned.load());
  }
}

}  // namespace
}  // namespace vistara
