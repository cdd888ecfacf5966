// Memory managers: where the library's long-lived and short-lived heap memory comes from.
//
// A MemoryManager hands out raw blocks. HeapManager::GetDynamicHeap() (long-lived data) and
// GetTransientHeap() (short-lived data) are process-wide managers over the C++ heap that count
// their live blocks, so that tests can see a leak. A null MemoryManager* means "the default heap"
// everywhere (plain operator new/delete). mmallocator<T> carries a MemoryManager* into standard
// containers, and mmvector<T> is std::vector with it.
//
// Every manager here is thread-safe; counts are atomic.
#ifndef VISTARA_PLATFORM_MEMORY_H_
#define VISTARA_PLATFORM_MEMORY_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>
#include <vector>

namespace vistara {

class MemoryManager {
 public:
  virtual ~MemoryManager() = default;
  // Returns a block of at least `size` bytes, aligned for any fundamental type. Throws
  // std::bad_alloc as operator new does when the heap is exhausted.
  virtual void* Alloc(size_t size) = 0;
  // Frees a block from Alloc of this manager; null is ignored.
  virtual void Free(void* p) = 0;
};

// A heap manager over operator new that counts blocks and bytes still live.
class CountingMemoryManager : public MemoryManager {
 public:
  void* Alloc(size_t size) override;
  void Free(void* p) override;
  int64_t live_blocks() const { return live_blocks_.load(std::memory_order_relaxed); }
  int64_t live_bytes() const { return live_bytes_.load(std::memory_order_relaxed); }

 private:
  std::atomic<int64_t> live_blocks_{0};
  std::atomic<int64_t> live_bytes_{0};
};

class HeapManager {
 public:
  // Both live for the whole process and are never deleted.
  static CountingMemoryManager* GetDynamicHeap();
  static CountingMemoryManager* GetTransientHeap();
};

// Allocation from a manager, null meaning the default heap.
void* AllocFrom(MemoryManager* mm, size_t size);
void FreeTo(MemoryManager* mm, void* p);

// Builds a T in memory from `mm`; pair with doDelete on the same manager.
template <class T, class... Args>
T* doNew(MemoryManager* mm, Args&&... args) {
  void* p = AllocFrom(mm, sizeof(T));
  return new (p) T(std::forward<Args>(args)...);
}
template <class T>
void doDelete(T* p, MemoryManager* mm) {
  if (!p) return;
  p->~T();
  FreeTo(mm, p);
}

// Base for objects placed with `new (mm) T(...)`: the block remembers its manager, so plain
// `delete` gives it back to the right heap.
class MemoryObject {
 public:
  static void* operator new(size_t size, MemoryManager* mm);
  static void* operator new(size_t size) { return operator new(size, nullptr); }
  static void operator delete(void* p);
  // Matches the placement form, used only if a constructor throws.
  static void operator delete(void* p, MemoryManager*) { operator delete(p); }
};

namespace globalnew {
// The process's global heap, for code that must not depend on a manager.
void* GlobalNew(size_t size);
void GlobalDelete(void* p);
}  // namespace globalnew

template <class T>
class mmallocator {
 public:
  using value_type = T;
  mmallocator() noexcept = default;
  explicit mmallocator(MemoryManager* mm) noexcept : mm_(mm) {}
  template <class U>
  mmallocator(const mmallocator<U>& o) noexcept : mm_(o.memory_manager()) {}  // NOLINT

  T* allocate(size_t n) {
    if (n > static_cast<size_t>(-1) / sizeof(T)) throw std::bad_array_new_length();
    return static_cast<T*>(AllocFrom(mm_, n * sizeof(T)));
  }
  void deallocate(T* p, size_t) noexcept { FreeTo(mm_, p); }
  MemoryManager* memory_manager() const noexcept { return mm_; }

  template <class U>
  bool operator==(const mmallocator<U>& o) const noexcept { return mm_ == o.memory_manager(); }

 private:
  MemoryManager* mm_ = nullptr;
};

template <class T>
class mmvector : public std::vector<T, mmallocator<T>> {
  using Base = std::vector<T, mmallocator<T>>;

 public:
  using Base::Base;
  mmvector() = default;
  explicit mmvector(MemoryManager* mm) : Base(mmallocator<T>(mm)) {}
};

}  // namespace vistara

#endif  // VISTARA_PLATFORM_MEMORY_H_
