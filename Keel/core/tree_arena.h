// One block of memory that a reader fills with the containers of a value tree,
// and the allocator through which the tree's arrays and dictionaries use it.
//
// A large document becomes hundreds of thousands of small arrays and
// dictionaries. Giving each its own heap block costs a malloc and a free per
// container and spreads the tree over fresh pages; bumping a pointer through
// one block (backed by huge pages where the system has them) costs neither.
//
// The containers stay ordinary std::vectors: the allocator only decides
// where their buffers live. Arena memory is never freed piece by piece; the
// block goes when the last container built in it is destroyed (each holds a
// reference). Once the reader seals the arena, growth and copies go to the
// heap, so a tree shared between threads never writes to the block again.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <type_traits>

namespace Keel {

class TreeArena {
 public:
  // An arena of `capacity` bytes, holding one reference for the caller; null
  // when no memory could be had (the caller then builds on the heap).
  static TreeArena* create(std::size_t capacity) noexcept;

  TreeArena(const TreeArena&) = delete;
  TreeArena& operator=(const TreeArena&) = delete;

  // `bytes` aligned to `alignment` (a power of two no larger than 64), or
  // null when the arena is sealed or has no room left.
  void* allocate(std::size_t bytes, std::size_t alignment) noexcept {
    if (sealed_) return nullptr;
    const std::size_t at = (used_ + alignment - 1) & ~(alignment - 1);
    if (at > capacity_ || bytes > capacity_ - at) return nullptr;
    used_ = at + bytes;
    return begin_ + at;
  }
  [[nodiscard]] bool owns(const void* p) const noexcept {
    const auto* c = static_cast<const char*>(p);
    return c >= begin_ && c < begin_ + capacity_;
  }
  // No allocation from the arena after this; called by the building thread
  // before the tree is handed to anyone.
  void seal() noexcept;
  [[nodiscard]] std::size_t used() const noexcept { return used_; }

  void retain() noexcept { references_.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept {
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) destroy();
  }

  // Bytes handed out by all arenas alive in the process (for measurements).
  [[nodiscard]] static std::size_t bytesInUse() noexcept;

 private:
  TreeArena(char* begin, std::size_t capacity, std::size_t mapped) noexcept
      : begin_(begin), capacity_(capacity), mapped_(mapped) {}
  ~TreeArena() = default;
  void destroy() noexcept;

  std::atomic<std::size_t> references_{1};
  char* begin_;
  std::size_t capacity_;
  std::size_t mapped_;  // bytes mapped from the system; 0 when from the heap
  std::size_t used_ = 0;
  bool sealed_ = false;
};

// The allocator of the value tree's arrays and dictionaries. Default built it
// is the heap; built from an arena it takes memory there while the arena is
// open and falls back to the heap after. A copy of a container goes to the
// heap, so copying never extends or pins an arena.
template <class T>
class TreeAllocator {
 public:
  // The names the standard containers look for.
  using value_type = T;
  using propagate_on_container_move_assignment = std::true_type;  // NOLINT(readability-identifier-naming)
  using propagate_on_container_swap = std::true_type;             // NOLINT(readability-identifier-naming)
  using is_always_equal = std::false_type;                        // NOLINT(readability-identifier-naming)

  TreeAllocator() noexcept = default;
  explicit TreeAllocator(TreeArena* arena) noexcept : arena_(arena) {
    if (arena_ != nullptr) arena_->retain();
  }
  TreeAllocator(const TreeAllocator& other) noexcept : TreeAllocator(other.arena_) {}
  template <class U>
  TreeAllocator(const TreeAllocator<U>& other) noexcept : TreeAllocator(other.arena()) {}  // NOLINT: rebinding
  TreeAllocator& operator=(const TreeAllocator& other) noexcept {
    if (this == &other) return *this;
    if (other.arena_ != nullptr) other.arena_->retain();
    if (arena_ != nullptr) arena_->release();
    arena_ = other.arena_;
    return *this;
  }
  ~TreeAllocator() {
    if (arena_ != nullptr) arena_->release();
  }

  T* allocate(std::size_t n) {
    if (arena_ != nullptr && n <= static_cast<std::size_t>(-1) / sizeof(T)) {
      if (void* p = arena_->allocate(n * sizeof(T), alignof(T))) return static_cast<T*>(p);
    }
    return std::allocator<T>().allocate(n);
  }
  void deallocate(T* p, std::size_t n) noexcept {
    if (arena_ != nullptr && arena_->owns(p)) return;
    std::allocator<T>().deallocate(p, n);
  }

  // NOLINTNEXTLINE(readability-identifier-naming): the standard's name
  [[nodiscard]] TreeAllocator select_on_container_copy_construction() const noexcept { return TreeAllocator(); }
  [[nodiscard]] TreeArena* arena() const noexcept { return arena_; }

  template <class U>
  friend bool operator==(const TreeAllocator& a, const TreeAllocator<U>& b) noexcept {
    return a.arena() == b.arena();
  }

 private:
  TreeArena* arena_ = nullptr;
};

}  // namespace Keel
