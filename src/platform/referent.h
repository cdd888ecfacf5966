// Intrusive reference counting for the library's shared objects.
//
// A Referent starts with a count of 0. RefPtr<T> adds one reference while it holds the object and
// drops it when it lets go; when the count falls to 0 the virtual orphaned() runs, and its default
// deletes the object. The count is atomic, so references may be taken and dropped on any thread;
// the object itself is not made thread-safe by this.
#ifndef VISTARA_PLATFORM_REFERENT_H_
#define VISTARA_PLATFORM_REFERENT_H_

#include <atomic>
#include <cstdint>
#include <utility>

namespace vistara {

// Adds `delta` to `*value` atomically (wrapping, never overflowing) and returns the new value.
inline int32_t AtomicAdd32(int32_t* value, int32_t delta) {
  return __atomic_add_fetch(value, delta, __ATOMIC_SEQ_CST);
}

class Referent {
 public:
  Referent() = default;
  // A copy is a new object: it starts with no references of its own.
  Referent(const Referent&) : count_(0) {}
  Referent& operator=(const Referent&) { return *this; }

  void ref() const { count_.fetch_add(1, std::memory_order_relaxed); }
  // Drops one reference; the last one calls orphaned().
  void unref() const {
    if (count_.fetch_sub(1, std::memory_order_acq_rel) == 1) orphaned();
  }
  int ref_count() const { return count_.load(std::memory_order_acquire); }

 protected:
  virtual ~Referent() = default;
  // Called once, when the last reference goes. Deletes the object unless a subclass says otherwise.
  virtual void orphaned() const { delete this; }

 private:
  mutable std::atomic<int32_t> count_{0};
};

// Holds one reference to a T (a Referent). A null RefPtr holds nothing.
template <class T>
class RefPtr {
 public:
  RefPtr() = default;
  RefPtr(T* p) : p_(p) { if (p_) p_->ref(); }  // NOLINT: implicit by design, like a raw pointer
  RefPtr(const RefPtr& o) : RefPtr(o.p_) {}
  RefPtr(RefPtr&& o) noexcept : p_(std::exchange(o.p_, nullptr)) {}
  template <class U>
  RefPtr(const RefPtr<U>& o) : RefPtr(o.get()) {}  // NOLINT
  ~RefPtr() { if (p_) p_->unref(); }

  RefPtr& operator=(const RefPtr& o) { reset(o.p_); return *this; }
  RefPtr& operator=(RefPtr&& o) noexcept {
    if (this != &o) { T* old = std::exchange(p_, std::exchange(o.p_, nullptr)); if (old) old->unref(); }
    return *this;
  }
  RefPtr& operator=(T* p) { reset(p); return *this; }

  // Holds `p` instead (null lets go). Safe when `p` is the object already held.
  void reset(T* p = nullptr) {
    if (p) p->ref();
    T* old = std::exchange(p_, p);
    if (old) old->unref();
  }

  T* get() const { return p_; }
  T* operator->() const { return p_; }
  T& operator*() const { return *p_; }
  explicit operator bool() const { return p_ != nullptr; }

  friend bool operator==(const RefPtr& a, const RefPtr& b) { return a.p_ == b.p_; }

 private:
  T* p_ = nullptr;
};

}  // namespace vistara

#endif  // VISTARA_PLATFORM_REFERENT_H_
