// Prefaulting on Linux: madvise(MADV_POPULATE_WRITE), Linux 5.14 and later.
#include "Keel/core/byte_coding_memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace Keel::detail {

void prefaultForWrite(void* begin, std::size_t length) noexcept {
  static const auto pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  const auto start = reinterpret_cast<std::uintptr_t>(begin);
  const std::uintptr_t first = (start + pageSize - 1) & ~(pageSize - 1);
  const std::uintptr_t last = (start + length) & ~(pageSize - 1);
  if (last <= first) return;
  // Older kernels answer EINVAL; the pages then fault in as they are written.
  (void)madvise(reinterpret_cast<void*>(first), last - first, MADV_POPULATE_WRITE);
}

}  // namespace Keel::detail
