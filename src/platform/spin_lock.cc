#include "platform/spin_lock.h"

namespace vistara {

bool SpinLock::TryLock() {
  const std::thread::id self = std::this_thread::get_id();
  if (owner_.load(std::memory_order_relaxed) == self) {
    ++depth_;
    return true;
  }
  std::thread::id none{};
  if (owner_.compare_exchange_strong(none, self, std::memory_order_acquire, std::memory_order_relaxed)) {
    depth_ = 1;
    return true;
  }
  return false;
}

void SpinLock::Lock() {
  // Spin briefly, then give the processor away: holders may be preempted on a busy machine.
  for (int spins = 0; !TryLock(); ++spins) {
    if (spins >= 64) std::this_thread::yield();
  }
}

void SpinLock::Unlock() {
  if (--depth_ == 0) owner_.store(std::thread::id{}, std::memory_order_release);
}

bool SpinLock::IsHeldByCurrentThread() const {
  return owner_.load(std::memory_order_relaxed) == std::this_thread::get_id();
}

}  // namespace vistara
