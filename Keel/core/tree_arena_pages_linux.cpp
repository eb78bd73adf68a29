// Arena pages on Linux: an anonymous mapping that reserves no swap, aligned
// to 2 MiB and marked for transparent huge pages, so that filling a tree of
// 100 MB takes about fifty page faults instead of twenty-five thousand. Where
// huge pages are off the advice is ignored and pages fault in 4 KiB at a time.
//
// A released block is kept for the next large tree with MADV_FREE on what was
// written: the kernel takes those pages back whenever it is short of memory,
// and until it does the next tree reuses them without faulting or zeroing
// them again. Only one block is kept, and only if at most keptTouched bytes of
// it were written.
#include "Keel/core/tree_arena_pages.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <utility>

namespace Keel::detail {
namespace {

constexpr std::size_t hugePage = std::size_t{2} << 20;
constexpr std::size_t keptTouched = std::size_t{256} << 20;

struct KeptBlock {
  std::mutex mutex;
  char* begin = nullptr;
  std::size_t mapped = 0;
};

KeptBlock& kept() {
  static auto* block = new KeptBlock();  // never destroyed: used until exit
  return *block;
}

std::size_t roundUp(std::size_t n) { return (n + hugePage - 1) & ~(hugePage - 1); }

}  // namespace

char* mapArenaPages(std::size_t capacity, std::size_t& mapped) noexcept {
  if (capacity > SIZE_MAX - 2 * hugePage) return nullptr;
  const std::size_t length = roundUp(capacity);
  {
    KeptBlock& block = kept();
    const std::lock_guard lock(block.mutex);
    if (block.begin != nullptr && block.mapped >= length) {
      mapped = block.mapped;
      return std::exchange(block.begin, nullptr);
    }
  }
  // One huge page more than needed, so that an aligned start always fits.
  void* raw =
      mmap(nullptr, length + hugePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (raw == MAP_FAILED) return nullptr;
  auto* start = static_cast<char*>(raw);
  const auto address = reinterpret_cast<std::uintptr_t>(start);
  const std::size_t head = roundUp(address) - address;
  if (head != 0) munmap(start, head);
  if (hugePage - head != 0) munmap(start + head + length, hugePage - head);
  start += head;
  madvise(start, length, MADV_HUGEPAGE);
  mapped = length;
  return start;
}

void releaseArenaPages(char* begin, std::size_t mapped, std::size_t touched) noexcept {
  if (touched <= keptTouched) {
    KeptBlock& block = kept();
    const std::lock_guard lock(block.mutex);
    if (block.begin == nullptr) {
      madvise(begin, std::min(roundUp(touched), mapped), MADV_FREE);
      block.begin = begin;
      block.mapped = mapped;
      return;
    }
  }
  munmap(begin, mapped);
}

}  // namespace Keel::detail
