// Memory for async work items, recycled between the threads that submit
// them and the workers that free them.
#include "Keel/core/work_item.h"

#include <atomic>

namespace Keel::detail {

namespace {

// Recycled small-item blocks. Each thread keeps the blocks it frees in a
// list of its own and hands them on to one shared stack in chains of
// blockChain, so the stack's cache line moves between threads once per chain
// rather than once per item. A thread that runs out takes the whole stack at
// once, which keeps the stack free of the ABA problem. Blocks are kept for
// reuse, never given back to the allocator.
struct FreeBlock {
  FreeBlock* next;
};
constexpr unsigned blockChain = 32;
constinit std::atomic<FreeBlock*> sharedBlocks{nullptr};

void shareBlocks(FreeBlock* first, FreeBlock* last) noexcept {
  last->next = sharedBlocks.load(std::memory_order_relaxed);
  while (!sharedBlocks.compare_exchange_weak(last->next, first, std::memory_order_release, std::memory_order_relaxed)) {
  }
}

struct LocalBlocks {
  FreeBlock* spare = nullptr;  // ready for allocation
  FreeBlock* freed = nullptr;  // freed here, not yet shared
  FreeBlock* freedLast = nullptr;
  unsigned freedCount = 0;

  LocalBlocks() = default;
  LocalBlocks(const LocalBlocks&) = delete;
  LocalBlocks& operator=(const LocalBlocks&) = delete;
  ~LocalBlocks() {  // a thread that ends hands its blocks on
    shareFreed();
    if (spare == nullptr) return;
    FreeBlock* last = spare;
    while (last->next != nullptr) last = last->next;
    shareBlocks(spare, last);
  }
  void shareFreed() noexcept {
    if (freed != nullptr) shareBlocks(freed, freedLast);
    freed = freedLast = nullptr;
    freedCount = 0;
  }
};
thread_local LocalBlocks localBlocks;

}  // namespace

void* allocateItem(std::size_t size) {
  if (size > smallItemSize) return ::operator new(size);
  LocalBlocks& local = localBlocks;
  if (local.spare == nullptr) {
    if (local.freed != nullptr) {
      local.spare = local.freed;
      local.freed = local.freedLast = nullptr;
      local.freedCount = 0;
    } else {
      local.spare = sharedBlocks.exchange(nullptr, std::memory_order_acquire);
      if (local.spare == nullptr) return ::operator new(smallItemSize);
    }
  }
  FreeBlock* block = local.spare;
  local.spare = block->next;
  return block;
}

void deallocateItem(void* memory, std::size_t size) noexcept {
  if (size > smallItemSize) {
    ::operator delete(memory);
    return;
  }
  LocalBlocks& local = localBlocks;
  auto* block = static_cast<FreeBlock*>(memory);
  block->next = local.freed;
  local.freed = block;
  if (local.freedLast == nullptr) local.freedLast = block;
  if (++local.freedCount == blockChain) local.shareFreed();
}

}  // namespace Keel::detail
