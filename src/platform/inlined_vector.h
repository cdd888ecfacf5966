// InlinedVector<T, N>: a vector that keeps up to N elements inside the object and moves them to the
// heap only when it outgrows them.
//
// The navigation code keeps its per-panorama lists here (ten link constraints, a path of ten ids) so
// that the common case costs no allocation. The layout:
//
//   size word (size_t):  bit 0       1 if the elements live on the heap, 0 if inline
//                        bits 1..63  the element count
//   storage (union):     inline:  N slots of T
//                        heap:    T* data, size_t capacity
//
// Growth: when an element must be added to a full vector, or reserve() asks for more than the
// capacity, the capacity becomes the smallest power of two that is at least max(N, needed), needed
// being size() + 1 for an append. The elements move to the new block; the inline slots are never
// used again until clear(), which destroys the elements, frees the heap block and goes back to the
// inline storage (so a cleared vector holds no memory of its own). Shrinking never reallocates.
//
// Iterators are plain pointers. Like std::vector's, they stay valid until the vector grows, is
// cleared, moved from or destroyed. A vector with inline elements moves them one by one, so a move
// invalidates iterators in both cases.
//
// Failure: the heap comes from operator new, whose std::bad_alloc passes through, and a size
// beyond max_size() raises std::length_error, as std::vector does; the vector is unchanged then.
// T must be nothrow-movable (QString, pointers and the library's records are).
//
// Not thread-safe: one thread at a time, as with any standard container.
#ifndef VISTARA_PLATFORM_INLINED_VECTOR_H_
#define VISTARA_PLATFORM_INLINED_VECTOR_H_

#include <algorithm>
#include <bit>
#include <cstddef>
#include <initializer_list>
#include <memory>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace vistara {

template <class T, size_t N>
class InlinedVector {
  static_assert(N > 0, "an InlinedVector keeps at least one element inline");
  static_assert(std::is_nothrow_move_constructible_v<T>, "elements move between blocks without a fallback");

 public:
  using value_type = T;
  using size_type = size_t;
  using reference = T&;
  using const_reference = const T&;
  using pointer = T*;
  using const_pointer = const T*;
  using iterator = T*;
  using const_iterator = const T*;

  InlinedVector() noexcept {}
  InlinedVector(size_t count, const T& value) { assign(count, value); }
  InlinedVector(std::initializer_list<T> values) { assign(values.begin(), values.end()); }
  InlinedVector(const InlinedVector& other) { assign(other.begin(), other.end()); }
  InlinedVector(InlinedVector&& other) noexcept { TakeFrom(&other); }
  ~InlinedVector() { clear(); }

  InlinedVector& operator=(const InlinedVector& other) {
    if (this != &other) assign(other.begin(), other.end());
    return *this;
  }
  InlinedVector& operator=(InlinedVector&& other) noexcept {
    if (this != &other) {
      clear();
      TakeFrom(&other);
    }
    return *this;
  }

  size_t size() const noexcept { return size_word_ >> 1; }
  bool empty() const noexcept { return size() == 0; }
  size_t capacity() const noexcept { return on_heap() ? storage_.heap.capacity : N; }
  static constexpr size_t max_size() noexcept { return (~size_t{0} >> 1) / sizeof(T); }
  // True once the elements have moved to the heap (until clear()).
  bool on_heap() const noexcept { return (size_word_ & 1) != 0; }

  T* data() noexcept { return on_heap() ? storage_.heap.data : InlineData(); }
  const T* data() const noexcept { return on_heap() ? storage_.heap.data : InlineData(); }
  iterator begin() noexcept { return data(); }
  iterator end() noexcept { return data() + size(); }
  const_iterator begin() const noexcept { return data(); }
  const_iterator end() const noexcept { return data() + size(); }
  const_iterator cbegin() const noexcept { return begin(); }
  const_iterator cend() const noexcept { return end(); }

  // Unchecked, as std::vector's: the index must be below size(), and the vector not empty for
  // front() and back().
  T& operator[](size_t i) noexcept { return data()[i]; }
  const T& operator[](size_t i) const noexcept { return data()[i]; }
  T& front() noexcept { return data()[0]; }
  const T& front() const noexcept { return data()[0]; }
  T& back() noexcept { return data()[size() - 1]; }
  const T& back() const noexcept { return data()[size() - 1]; }

  void push_back(const T& value) { emplace_back(value); }
  void push_back(T&& value) { emplace_back(std::move(value)); }
  template <class... Args>
  T& emplace_back(Args&&... args) {
    const size_t n = size();
    if (n < capacity()) {
      T* slot = std::construct_at(data() + n, std::forward<Args>(args)...);
      SetSize(n + 1);
      return *slot;
    }
    // `args` may name an element of this vector, which the growth moves: make the value first.
    T value(std::forward<Args>(args)...);
    MoveTo(Allocate(n + 1));
    T* slot = std::construct_at(data() + n, std::move(value));
    SetSize(n + 1);
    return *slot;
  }
  void pop_back() noexcept {
    std::destroy_at(&back());
    SetSize(size() - 1);
  }

  void reserve(size_t count) {
    if (count > capacity()) MoveTo(Allocate(count));
  }
  void resize(size_t count) { Resize(count, [](T* p) { std::construct_at(p); }); }
  void resize(size_t count, const T& value) {
    if (count > size() && &value >= begin() && &value < end()) {
      const T copy(value);  // growth would move the element that `value` names
      Resize(count, [&copy](T* p) { std::construct_at(p, copy); });
    } else {
      Resize(count, [&value](T* p) { std::construct_at(p, value); });
    }
  }

  // Destroys the elements and frees the heap block: the vector is back on its inline storage.
  void clear() noexcept {
    std::destroy(begin(), end());
    if (on_heap()) std::allocator<T>().deallocate(storage_.heap.data, storage_.heap.capacity);
    size_word_ = 0;
  }
  void assign(size_t count, const T& value) {
    InlinedVector copy;
    copy.resize(count, value);
    *this = std::move(copy);
  }
  template <class It>
  void assign(It first, It last) {
    InlinedVector copy;
    copy.reserve(static_cast<size_t>(std::distance(first, last)));
    for (; first != last; ++first) copy.emplace_back(*first);
    *this = std::move(copy);
  }
  void swap(InlinedVector& other) noexcept {
    InlinedVector tmp(std::move(other));
    other = std::move(*this);
    *this = std::move(tmp);
  }

  friend bool operator==(const InlinedVector& a, const InlinedVector& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end());
  }

 private:
  struct Block {
    T* data;
    size_t capacity;
  };

  T* InlineData() noexcept { return std::launder(reinterpret_cast<T*>(storage_.inline_bytes)); }
  const T* InlineData() const noexcept {
    return std::launder(reinterpret_cast<const T*>(storage_.inline_bytes));
  }
  void SetSize(size_t n) noexcept { size_word_ = (n << 1) | (size_word_ & 1); }

  // A block for at least `needed` elements, sized by the growth rule.
  static Block Allocate(size_t needed) {
    if (needed > max_size()) throw std::length_error("InlinedVector");
    // bit_ceil of anything up to max_size() fits in size_t; the result may pass max_size() by
    // less than a factor of two, which the allocator refuses with bad_alloc or length_error.
    const size_t capacity = std::bit_ceil(std::max(N, needed));
    return Block{std::allocator<T>().allocate(capacity), capacity};
  }
  // Moves the elements into `block`, frees the old storage and makes the block current.
  void MoveTo(Block block) noexcept {
    const size_t n = size();
    std::uninitialized_move(begin(), end(), block.data);
    std::destroy(begin(), end());
    if (on_heap()) std::allocator<T>().deallocate(storage_.heap.data, storage_.heap.capacity);
    storage_.heap.data = block.data;
    storage_.heap.capacity = block.capacity;
    size_word_ = (n << 1) | 1;
  }
  template <class Make>
  void Resize(size_t count, Make make) {
    const size_t n = size();
    if (count <= n) {
      std::destroy(begin() + count, end());
      SetSize(count);
      return;
    }
    reserve(count);
    for (size_t i = n; i < count; ++i) {
      make(data() + i);
      SetSize(i + 1);  // counted one by one, so a throwing constructor leaves a whole vector
    }
  }
  // Takes over the elements of `other`, which must be cleared or new; `other` ends empty.
  void TakeFrom(InlinedVector* other) noexcept {
    if (other->on_heap()) {
      storage_.heap = other->storage_.heap;
      size_word_ = other->size_word_;
      other->size_word_ = 0;
      return;
    }
    std::uninitialized_move(other->begin(), other->end(), InlineData());
    size_word_ = other->size_word_;
    other->clear();
  }

  size_t size_word_ = 0;
  union Storage {
    Storage() {}
    ~Storage() {}
    alignas(T) unsigned char inline_bytes[N * sizeof(T)];
    Block heap;
  } storage_;
};

}  // namespace vistara

#endif  // VISTARA_PLATFORM_INLINED_VECTOR_H_
