#include "platform/memory.h"

#include <cstdlib>

namespace vistara {

namespace {
// Each counted block carries its size in front, so Free can uncount it. The header is as large
// as the strictest fundamental alignment, which keeps the block behind it aligned.
constexpr size_t kHeader = alignof(std::max_align_t);
}  // namespace

void* CountingMemoryManager::Alloc(size_t size) {
  if (size > static_cast<size_t>(-1) - kHeader) throw std::bad_alloc();
  char* block = static_cast<char*>(::operator new(size + kHeader));
  *reinterpret_cast<size_t*>(block) = size;
  live_blocks_.fetch_add(1, std::memory_order_relaxed);
  live_bytes_.fetch_add(static_cast<int64_t>(size), std::memory_order_relaxed);
  return block + kHeader;
}

void CountingMemoryManager::Free(void* p) {
  if (!p) return;
  char* block = static_cast<char*>(p) - kHeader;
  live_blocks_.fetch_sub(1, std::memory_order_relaxed);
  live_bytes_.fetch_sub(static_cast<int64_t>(*reinterpret_cast<size_t*>(block)), std::memory_order_relaxed);
  ::operator delete(block);
}

// Never destroyed: objects that outlive static destruction may still give memory back.
CountingMemoryManager* HeapManager::GetDynamicHeap() {
  static CountingMemoryManager* heap = new CountingMemoryManager;
  return heap;
}

CountingMemoryManager* HeapManager::GetTransientHeap() {
  static CountingMemoryManager* heap = new CountingMemoryManager;
  return heap;
}

void* AllocFrom(MemoryManager* mm, size_t size) { return mm ? mm->Alloc(size) : ::operator new(size); }

void FreeTo(MemoryManager* mm, void* p) {
  if (mm) mm->Free(p);
  else ::operator delete(p);
}

void* MemoryObject::operator new(size_t size, MemoryManager* mm) {
  // The manager rides in front of the object so that delete finds it.
  char* block = static_cast<char*>(AllocFrom(mm, size + kHeader));
  *reinterpret_cast<MemoryManager**>(block) = mm;
  return block + kHeader;
}

void MemoryObject::operator delete(void* p) {
  if (!p) return;
  char* block = static_cast<char*>(p) - kHeader;
  FreeTo(*reinterpret_cast<MemoryManager**>(block), block);
}

namespace globalnew {
void* GlobalNew(size_t size) { return ::operator new(size); }
void GlobalDelete(void* p) { ::operator delete(p); }
}  // namespace globalnew

}  // namespace vistara
