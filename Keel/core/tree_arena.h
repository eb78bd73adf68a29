// One block of memory that a reader fills with the containers and texts of a
// value tree (see tree_storage.h for the containers that use it).
//
// A large document becomes hundreds of thousands of small arrays,
// dictionaries and texts. Giving each its own heap block costs a malloc and a
// free per node and spreads the tree over fresh pages; bumping a pointer
// through one block (backed by huge pages where the system has them) costs
// neither.
//
// Arena memory is never freed piece by piece; the block goes when the last
// container built in it is destroyed (each holds a reference). Once the
// reader seals the arena, growth and copies go to the heap, so a tree shared
// between threads never writes to the block again.
#pragma once

#include <atomic>
#include <cstddef>

namespace Keel {

class TreeArena {
 public:
  // An arena of `capacity` bytes, holding one reference for the caller, who
  // seals it before releasing that reference; null when no memory could be
  // had (the caller then builds on the heap).
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

  // Until the seal, only the building thread uses the arena, and it takes
  // references in batches: one atomic add per thousand containers instead of
  // one each. The seal gives back what the batch has left.
  void retain() noexcept {
    if (!sealed_) {
      if (prepaid_ == 0) {
        references_.fetch_add(referenceBatch, std::memory_order_relaxed);
        prepaid_ = referenceBatch;
      }
      --prepaid_;
      return;
    }
    references_.fetch_add(1, std::memory_order_relaxed);
  }
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
  std::size_t prepaid_ = 0;  // references taken but not yet handed out
  bool sealed_ = false;
  static constexpr std::size_t referenceBatch = 1024;
};

}  // namespace Keel
