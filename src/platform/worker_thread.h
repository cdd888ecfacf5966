// WorkerThread: one named thread that runs queued jobs one at a time, in the order queued.
//
// Jobs are reference counted: the queue holds a reference from AddToQueue until the job has run
// (or has been dropped), so a caller may let go of its own reference at once. AddToQueue may be
// called from any thread, also from inside a running job. The destructor lets the running job
// finish, drops the jobs still queued without running them, and joins the thread; it must not be
// called from a job of the same worker.
#ifndef VISTARA_PLATFORM_WORKER_THREAD_H_
#define VISTARA_PLATFORM_WORKER_THREAD_H_

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

#include "platform/referent.h"

namespace vistara {

class WorkerThread {
 public:
  class Job : public Referent {
   public:
    // `name` is kept for diagnostics; `worker` is where AddToQueue() sends the job.
    Job(const char* name, WorkerThread* worker);
    const std::string& name() const { return name_; }
    WorkerThread* worker() const { return worker_; }
    // Queues this job on its worker.
    void AddToQueue();
    // Runs on the worker thread.
    virtual void Run() = 0;

   protected:
    ~Job() override = default;

   private:
    std::string name_;
    WorkerThread* worker_;
  };

  // `priority` is the host's scheduling hint; threads here all run at the default priority.
  WorkerThread(const char* name, int priority);
  ~WorkerThread();
  WorkerThread(const WorkerThread&) = delete;
  WorkerThread& operator=(const WorkerThread&) = delete;

  void AddToQueue(Job* job);
  const std::string& name() const { return name_; }
  // True when called from this worker's own thread.
  bool IsCurrentThread() const { return std::this_thread::get_id() == thread_.get_id(); }

 private:
  void Loop();

  std::string name_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<RefPtr<Job>> queue_;  // guarded by mutex_
  bool stopping_ = false;          // guarded by mutex_
  std::thread thread_;             // last: started once the members above exist
};

}  // namespace vistara

#endif  // VISTARA_PLATFORM_WORKER_THREAD_H_
