// SpinLock: a lock that its owning thread may take again (recursive), for short critical sections.
//
// Lock() spins, yielding the processor, until the lock is free or already this thread's; each
// Lock() needs one Unlock() on the same thread. lock()/unlock() make it usable with
// std::lock_guard and std::unique_lock; SpinLock::ScopedLock is the short form.
#ifndef VISTARA_PLATFORM_SPIN_LOCK_H_
#define VISTARA_PLATFORM_SPIN_LOCK_H_

#include <atomic>
#include <thread>

namespace vistara {

class SpinLock {
 public:
  SpinLock() = default;
  SpinLock(const SpinLock&) = delete;
  SpinLock& operator=(const SpinLock&) = delete;

  void Lock();
  // Takes the lock if it is free or this thread's; never waits.
  bool TryLock();
  void Unlock();
  // True if the calling thread holds the lock.
  bool IsHeldByCurrentThread() const;

  void lock() { Lock(); }
  bool try_lock() { return TryLock(); }
  void unlock() { Unlock(); }

  class ScopedLock {
   public:
    explicit ScopedLock(SpinLock* lock) : lock_(lock) { lock_->Lock(); }
    ~ScopedLock() { lock_->Unlock(); }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

   private:
    SpinLock* lock_;
  };

 private:
  std::atomic<std::thread::id> owner_{};
  int depth_ = 0;  // guarded by owner_: only the owning thread reads or writes it
};

}  // namespace vistara

#endif  // VISTARA_PLATFORM_SPIN_LOCK_H_
