// Large byte-buffer memory on Linux: anonymous mappings grown with mremap,
// and MADV_POPULATE_WRITE (Linux 5.14 and later) to map pages ahead of a
// writer.
//
// Kept blocks stay as they are, resident. Marking them MADV_FREE would let
// the system take them back, but every page written again afterwards then
// costs a trap to set its dirty bit, which on virtual machines with shadowed
// page tables made reusing a 64 MiB block slower than mapping a fresh one.
#include "Keel/core/byte_coding_memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <mutex>
#include <utility>

namespace Keel::detail {
namespace {

std::size_t pageSize() {
  static const auto size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  return size;
}

std::size_t roundUpToPages(std::size_t n) { return (n + pageSize() - 1) & ~(pageSize() - 1); }

constexpr std::size_t keptLimit = std::size_t{128} << 20;

struct Kept {
  std::mutex mutex;
  std::array<LargeBlock, 2> blocks{};
};

Kept& kept() {
  static auto* blocks = new Kept();  // never destroyed: used until exit
  return *blocks;
}

}  // namespace

void prefaultForWrite(void* begin, std::size_t length) noexcept {
  const std::uintptr_t size = pageSize();
  const auto start = reinterpret_cast<std::uintptr_t>(begin);
  const std::uintptr_t first = (start + size - 1) & ~(size - 1);
  const std::uintptr_t last = (start + length) & ~(size - 1);
  if (last <= first) return;
  // Older kernels answer EINVAL; the pages then fault in as they are written.
  (void)madvise(reinterpret_cast<void*>(first), last - first, MADV_POPULATE_WRITE);
}

LargeBlock takeLargeBlock(std::size_t bytes) noexcept {
  if (bytes > SIZE_MAX - pageSize()) return {};
  {
    Kept& k = kept();
    const std::lock_guard lock(k.mutex);
    LargeBlock* best = nullptr;
    for (LargeBlock& block : k.blocks) {
      if (block.data != nullptr && block.bytes >= bytes && (best == nullptr || block.bytes < best->bytes))
        best = &block;
    }
    if (best != nullptr) {
      const LargeBlock found = *best;
      *best = {};
      return found;
    }
  }
  const std::size_t length = roundUpToPages(bytes);
  void* memory = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return {};
  return {static_cast<std::uint8_t*>(memory), length};
}

LargeBlock growLargeBlock(LargeBlock block, std::size_t bytes) noexcept {
  if (bytes <= block.bytes) return block;
  if (bytes > SIZE_MAX - pageSize()) return {};
  const std::size_t length = roundUpToPages(bytes);
  void* moved = mremap(block.data, block.bytes, length, MREMAP_MAYMOVE);
  if (moved == MAP_FAILED) return {};
  return {static_cast<std::uint8_t*>(moved), length};
}

void giveBackLargeBlock(LargeBlock block) noexcept {
  if (block.data == nullptr) return;
  if (block.bytes <= keptLimit) {
    Kept& k = kept();
    const std::lock_guard lock(k.mutex);
    // Keep it in an empty slot, or in place of a smaller block.
    LargeBlock* slot = nullptr;
    for (LargeBlock& held : k.blocks) {
      if (held.data == nullptr) {
        slot = &held;
        break;
      }
      if (held.bytes < block.bytes && (slot == nullptr || held.bytes < slot->bytes)) slot = &held;
    }
    if (slot != nullptr) {
      std::swap(*slot, block);
      if (block.data == nullptr) return;  // the slot was empty
    }
  }
  munmap(block.data, block.bytes);
}

}  // namespace Keel::detail
