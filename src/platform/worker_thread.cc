#include "platform/worker_thread.h"

#include <pthread.h>

namespace vistara {

WorkerThread::Job::Job(const char* name, WorkerThread* worker) : name_(name ? name : ""), worker_(worker) {}

void WorkerThread::Job::AddToQueue() {
  if (worker_) worker_->AddToQueue(this);
}

WorkerThread::WorkerThread(const char* name, int /*priority*/)
    : name_(name ? name : ""), thread_([this] { Loop(); }) {
  // Linux limits thread names to 15 characters and a NUL.
  pthread_setname_np(thread_.native_handle(), name_.substr(0, 15).c_str());
}

WorkerThread::~WorkerThread() {
  std::deque<RefPtr<Job>> dropped;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
    dropped.swap(queue_);
  }
  wake_.notify_all();
  thread_.join();
  // `dropped` releases the unrun jobs here, outside the lock.
}

void WorkerThread::AddToQueue(Job* job) {
  if (!job) return;
  RefPtr<Job> held(job);
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (stopping_) return;
    queue_.push_back(std::move(held));
  }
  wake_.notify_one();
}

void WorkerThread::Loop() {
  for (;;) {
    RefPtr<Job> job;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      wake_.wait(lock, [this] { return stopping_ || !queue_.empty(); });
      if (stopping_) return;
      job = std::move(queue_.front());
      queue_.pop_front();
    }
    job->Run();
  }
}

}  // namespace vistara
