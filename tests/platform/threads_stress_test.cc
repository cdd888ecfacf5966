// The lock, the worker thread and reference counts under contention; these also run under TSan.
#include <gtest/gtest.h>

#include <atomic>
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
        EXPECT_TRUE(lock.IsHeldByCurrentThread());
      }
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(4 * 20000 * 2, counter);
  EXPECT_FALSE(lock.IsHeldByCurrentThread());

  lock.Lock();
  lock.Lock();
  lock.Unlock();
  bool other_got_it = true;
  std::thread([&] { other_got_it = lock.TryLock(); }).join();
  EXPECT_FALSE(other_got_it) << "one Unlock of two leaves the lock held";
  lock.Unlock();
  std::thread([&] {
    other_got_it = lock.TryLock();
    if (other_got_it) lock.Unlock();
  }).join();
  EXPECT_TRUE(other_got_it);
}

class RecordingJob : public WorkerThread::Job {
 public:
  RecordingJob(WorkerThread* worker, int id, std::vector<int>* order, std::atomic<int>* alive,
               std::atomic<bool>* follow_up_queued = nullptr)
      : Job("RecordingJob", worker), id_(id), order_(order), alive_(alive), follow_up_queued_(follow_up_queued) {
    ++*alive_;
  }
  ~RecordingJob() override { --*alive_; }
  void Run() override {
    order_->push_back(id_);  // only the worker thread touches order_ while jobs run
    if (follow_up_queued_) {  // queues a job from inside a job
      (new RecordingJob(worker(), 1000, order_, alive_))->AddToQueue();
      *follow_up_queued_ = true;
    }
  }

 private:
  int id_;
  std::vector<int>* order_;
  std::atomic<int>* alive_;
  std::atomic<bool>* follow_up_queued_;
};

class BlockingJob : public WorkerThread::Job {
 public:
  BlockingJob(WorkerThread* worker, std::atomic<bool>* started, std::atomic<bool>* release)
      : Job("BlockingJob", worker), started_(started), release_(release) {}
  void Run() override {
    *started_ = true;
    while (!*release_) std::this_thread::yield();
  }

 private:
  std::atomic<bool>* started_;
  std::atomic<bool>* release_;
};

TEST(WorkerThreadStressTest, RunsJobsInOrderFromManyThreadsAndDropsTheRestOnShutdown) {
  std::atomic<int> alive{0};
  std::vector<int> order;
  {
    WorkerThread worker("StressWorker", 1);
    std::vector<std::thread> producers;
    for (int p = 0; p < 3; ++p) {
      producers.emplace_back([&, p] {
        for (int i = 0; i < 200; ++i) (new RecordingJob(&worker, p * 1000 + i + 1, &order, &alive))->AddToQueue();
      });
    }
    for (auto& t : producers) t.join();
    // A barrier job: while it runs, everything queued before it has run and nothing else runs.
    std::atomic<bool> started{false}, release{false};
    worker.AddToQueue(new BlockingJob(&worker, &started, &release));
    while (!started) std::this_thread::yield();
    // Orders within each producer are kept.
    std::vector<int> last(3, 0);
    EXPECT_EQ(600u, order.size());  // not ASSERT: returning now would leave the worker blocked
    for (int id : order) {
      const int p = (id - 1) / 1000;
      EXPECT_GT(id, last[p]);
      last[p] = id;
    }
    release = true;

    std::atomic<bool> follow_up_queued{false};
    RefPtr<RecordingJob> first(new RecordingJob(&worker, 0, &order, &alive, &follow_up_queued));
    worker.AddToQueue(first.get());
    while (!follow_up_queued) std::this_thread::yield();
    std::atomic<bool> started2{false}, release2{true};
    worker.AddToQueue(new BlockingJob(&worker, &started2, &release2));
    while (!started2) std::this_thread::yield();
    ASSERT_EQ(602u, order.size());
    EXPECT_EQ(0, order[600]);
    EXPECT_EQ(1000, order[601]) << "a job queued by a job runs after it";
  }
  EXPECT_EQ(0, alive.load()) << "every job released exactly once";

  // Shutdown with a job running and more queued: the running one finishes, the rest are dropped.
  std::atomic<bool> started{false}, release{false};
  std::vector<int> late;
  std::thread releaser;
  {
    WorkerThread worker("ShutdownWorker", 1);
    worker.AddToQueue(new BlockingJob(&worker, &started, &release));
    for (int i = 0; i < 10; ++i) (new RecordingJob(&worker, i + 1, &late, &alive))->AddToQueue();
    while (!started) std::this_thread::yield();
    releaser = std::thread([&] {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      release = true;
    });
  }
  releaser.join();
  EXPECT_EQ(0, alive.load());
  EXPECT_LE(late.size(), 10u);
}

TEST(ReferentStressTest, ConcurrentReleaseOrphansOnce) {
  struct Counted : Referent {
    explicit Counted(std::atomic<int>* n) : n_(n) {}
    void orphaned() const override {
      ++*n_;
      Referent::orphaned();
    }
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
