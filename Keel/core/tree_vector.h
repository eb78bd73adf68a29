// The value tree's growable array, one pointer wide, with its buffers in the
// tree's arena while it is open.
#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <new>
#include <type_traits>
#include <utility>

#include "Keel/core/tree_arena.h"
#include "Keel/core/tree_text.h"

namespace Keel {

// Moves *from into the raw memory at `to` and ends *from; the SameTree
// constructor where the type has one.
template <class T>
void relocateElement(T* to, T& from) noexcept {
  if constexpr (std::is_constructible_v<T, T&&, SameTree>) {
    new (to) T(std::move(from), SameTree{});
  } else {
    static_assert(std::is_nothrow_move_constructible_v<T>);
    new (to) T(std::move(from));
  }
  from.~T();  // NOLINT(bugprone-use-after-move): relocation ends the moved-from element
}

// A growable array of T, one pointer wide. Built for an arena it takes its
// buffers there while the arena is open and from the heap after; it keeps
// its reference on the arena for life, since its elements may live there.
template <class T>
class TreeVector {
 public:
  // The names generic code looks for.
  // NOLINTBEGIN(readability-identifier-naming)
  using value_type = T;
  using size_type = std::size_t;
  using reference = T&;
  using const_reference = const T&;
  using iterator = T*;
  using const_iterator = const T*;
  // NOLINTEND(readability-identifier-naming)

  TreeVector() noexcept = default;
  // Empty, with room for `capacity` elements, in `arena` when not null.
  TreeVector(TreeArena* arena, std::size_t capacity) {
    if (capacity == 0) return;  // nothing will live in the arena
    if (arena != nullptr) arena->retain();
    moveTo(allocate(arena, capacity));
  }
  TreeVector(std::initializer_list<T> elements) : TreeVector(elements.begin(), elements.end()) {}
  template <class It>
  TreeVector(It first, It last) {
    reserve(static_cast<std::size_t>(std::distance(first, last)));
    for (; first != last; ++first) emplace_back(*first);
  }
  TreeVector(const TreeVector& other) : TreeVector(other.begin(), other.end()) {}
  TreeVector(TreeVector&& other) noexcept : header_(std::exchange(other.header_, nullptr)) {}
  TreeVector(TreeVector&& other, SameTree /*unused*/) noexcept : TreeVector(std::move(other)) {}
  TreeVector& operator=(const TreeVector& other) {
    if (this != &other) *this = TreeVector(other);
    return *this;
  }
  TreeVector& operator=(TreeVector&& other) noexcept {
    if (this != &other) {
      destroy();
      header_ = std::exchange(other.header_, nullptr);
    }
    return *this;
  }
  ~TreeVector() { destroy(); }

  [[nodiscard]] std::size_t size() const noexcept { return header_ == nullptr ? 0 : header_->size; }
  [[nodiscard]] std::size_t capacity() const noexcept { return header_ == nullptr ? 0 : header_->capacity; }
  [[nodiscard]] bool empty() const noexcept { return size() == 0; }
  [[nodiscard]] T* data() noexcept { return header_ == nullptr ? nullptr : elements(header_); }
  [[nodiscard]] const T* data() const noexcept { return header_ == nullptr ? nullptr : elements(header_); }
  [[nodiscard]] iterator begin() noexcept { return data(); }
  [[nodiscard]] iterator end() noexcept { return data() + size(); }
  [[nodiscard]] const_iterator begin() const noexcept { return data(); }
  [[nodiscard]] const_iterator end() const noexcept { return data() + size(); }
  [[nodiscard]] T& operator[](std::size_t i) noexcept { return data()[i]; }
  [[nodiscard]] const T& operator[](std::size_t i) const noexcept { return data()[i]; }
  [[nodiscard]] T& front() noexcept { return data()[0]; }
  [[nodiscard]] const T& front() const noexcept { return data()[0]; }
  [[nodiscard]] T& back() noexcept { return data()[size() - 1]; }
  [[nodiscard]] const T& back() const noexcept { return data()[size() - 1]; }

  // The arena this vector holds a reference on, or null.
  [[nodiscard]] TreeArena* arena() const noexcept { return header_ == nullptr ? nullptr : header_->arena; }

  void reserve(std::size_t n) {
    if (n > capacity()) moveTo(allocate(arena(), n));
  }
  template <class... Args>
  T& emplace_back(Args&&... args) {  // NOLINT(readability-identifier-naming): the standard's name
    if (size() < capacity()) {
      T* slot = new (elements(header_) + header_->size) T(std::forward<Args>(args)...);
      ++header_->size;
      return *slot;
    }
    // The new element is built before the old ones move: args may be one.
    Header* fresh = allocate(arena(), std::max<std::size_t>(4, 2 * capacity()));
    T* slot = nullptr;
    try {
      slot = new (elements(fresh) + size()) T(std::forward<Args>(args)...);
    } catch (...) {
      freeBlock(fresh);
      throw;
    }
    moveTo(fresh);
    ++header_->size;
    return *slot;
  }
  void push_back(const T& v) { emplace_back(v); }        // NOLINT(readability-identifier-naming)
  void push_back(T&& v) { emplace_back(std::move(v)); }  // NOLINT(readability-identifier-naming)
  void pop_back() noexcept {                             // NOLINT(readability-identifier-naming)
    --header_->size;
    elements(header_)[header_->size].~T();
  }
  void clear() noexcept {
    while (!empty()) pop_back();
  }
  // Removes the element at `at`, moving the later ones down within the tree.
  iterator erase(const_iterator at) noexcept {
    T* first = data();
    const auto i = static_cast<std::size_t>(at - first);
    first[i].~T();
    for (std::size_t j = i + 1; j < header_->size; ++j) relocateElement(first + j - 1, first[j]);
    --header_->size;
    return first + i;
  }
  // Keeps the elements whose index `keep` accepts, in order.
  template <class Keep>
  void keepOnly(Keep keep) noexcept {
    T* e = data();
    std::size_t kept = 0;
    for (std::size_t i = 0; i < size(); ++i) {
      if (keep(i)) {
        if (kept != i) relocateElement(e + kept, e[i]);
        ++kept;
      } else {
        e[i].~T();
      }
    }
    if (header_ != nullptr) header_->size = kept;
  }
  // Keeps the first `n` elements (n no more than size()).
  void truncate(std::size_t n) noexcept {
    while (size() > n) pop_back();
  }

  friend bool operator==(const TreeVector& a, const TreeVector& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin());
  }

 private:
  struct Header {
    TreeArena* arena;  // holds a reference when not null
    std::size_t size;
    std::size_t capacity;
  };
  static T* elements(Header* h) noexcept { return reinterpret_cast<T*>(h + 1); }  // NOLINT: elements follow
  static const T* elements(const Header* h) noexcept {
    return reinterpret_cast<const T*>(h + 1);  // NOLINT: elements follow
  }

  static Header* allocate(TreeArena* arena, std::size_t capacity) {
    static_assert(alignof(T) <= alignof(Header));
    if (capacity > (static_cast<std::size_t>(-1) - sizeof(Header)) / sizeof(T)) throw std::bad_alloc();
    const std::size_t bytes = sizeof(Header) + capacity * sizeof(T);
    void* memory = arena != nullptr ? arena->allocate(bytes, alignof(Header)) : nullptr;
    if (memory == nullptr) memory = ::operator new(bytes);
    return new (memory) Header{arena, 0, capacity};
  }
  // Relocates the elements into `fresh` and frees the old buffer.
  void moveTo(Header* fresh) noexcept {
    if (header_ != nullptr) {
      for (std::size_t i = 0; i < header_->size; ++i) relocateElement(elements(fresh) + i, elements(header_)[i]);
      fresh->size = header_->size;
      freeBlock(header_);
    }
    header_ = fresh;
  }
  static void freeBlock(Header* h) noexcept {
    if (h->arena == nullptr || !h->arena->owns(h)) ::operator delete(h);
  }
  void destroy() noexcept {
    if (header_ == nullptr) return;
    T* e = elements(header_);
    for (std::size_t i = header_->size; i > 0; --i) e[i - 1].~T();
    TreeArena* arena = header_->arena;
    freeBlock(header_);
    header_ = nullptr;
    if (arena != nullptr) arena->release();
  }

  Header* header_ = nullptr;
};

}  // namespace Keel
