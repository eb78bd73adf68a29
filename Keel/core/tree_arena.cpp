// Where an arena's block comes from: the system's pages for large trees (so
// that untouched capacity costs nothing), the heap for small ones.
#include "Keel/core/tree_arena.h"

#include <new>
#include <utility>

#include "Keel/core/tree_arena_pages.h"

namespace Keel {
namespace {

// Below this a tree is small enough that a heap block of its whole capacity
// wastes little; above it the block is mapped and only touched pages count.
constexpr std::size_t mappedFrom = std::size_t{1} << 20;
constexpr std::size_t blockAlignment = 64;

std::atomic<std::size_t> liveBytes{0};

}  // namespace

TreeArena* TreeArena::create(std::size_t capacity) noexcept {
  if (capacity == 0) return nullptr;
  char* block = nullptr;
  std::size_t mapped = 0;
  if (capacity >= mappedFrom) {
    block = detail::mapArenaPages(capacity, mapped);
  } else {
    block = static_cast<char*>(::operator new (capacity, std::align_val_t{blockAlignment}, std::nothrow));
  }
  if (block == nullptr) return nullptr;
  auto* arena = new (std::nothrow) TreeArena(block, capacity, mapped);
  if (arena == nullptr) {
    if (mapped != 0) {
      detail::releaseArenaPages(block, mapped, 0);
    } else {
      ::operator delete (block, std::align_val_t{blockAlignment});
    }
  }
  return arena;
}

void TreeArena::seal() noexcept {
  if (sealed_) return;
  liveBytes.fetch_add(used_, std::memory_order_relaxed);
  sealed_ = true;
  // The caller still holds its own reference, so this never reaches zero.
  references_.fetch_sub(std::exchange(prepaid_, 0), std::memory_order_relaxed);
}

void TreeArena::destroy() noexcept {
  if (sealed_) liveBytes.fetch_sub(used_, std::memory_order_relaxed);
  if (mapped_ != 0) {
    detail::releaseArenaPages(begin_, mapped_, used_);
  } else {
    ::operator delete (begin_, std::align_val_t{blockAlignment});
  }
  delete this;
}

std::size_t TreeArena::bytesInUse() noexcept { return liveBytes.load(std::memory_order_relaxed); }

}  // namespace Keel
