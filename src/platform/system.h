// Process services of the host: thread identity, random numbers, a clock, and a plain mutex.
#ifndef VISTARA_PLATFORM_SYSTEM_H_
#define VISTARA_PLATFORM_SYSTEM_H_

#include <mutex>
#include <thread>

namespace vistara {

class System {
 public:
  using ThreadId = std::thread::id;
  static ThreadId GetCurrentThread() { return std::this_thread::get_id(); }
  // A uniformly drawn integer with low <= r < high; `low` itself when high <= low.
  // Thread-safe: each thread draws from its own generator, seeded from the system's entropy.
  static int Random(int low, int high);
};

// A source of the current time.
class ITimingSource {
 public:
  virtual ~ITimingSource() = default;
  // Seconds since an arbitrary fixed origin; never decreases.
  virtual double GetTime() const = 0;
  // A process-wide source over the steady clock, never deleted.
  static ITimingSource* GetDefault();
};

namespace port {
// The host's plain (non-recursive) mutex.
class MutexPosix {
 public:
  void Lock() { mutex_.lock(); }
  void Unlock() { mutex_.unlock(); }
  bool TryLock() { return mutex_.try_lock(); }
  void lock() { Lock(); }
  void unlock() { Unlock(); }

 private:
  std::mutex mutex_;
};
}  // namespace port

}  // namespace vistara

#endif  // VISTARA_PLATFORM_SYSTEM_H_
