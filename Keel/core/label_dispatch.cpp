// The process-wide queue-label counter.
#include "Keel/core/label_dispatch.h"

#include <limits>

#include "Keel/core/fatal_error.h"

namespace Keel {

LabelDispatch& LabelDispatch::shared() noexcept {
  static LabelDispatch labels;
  return labels;
}

std::string LabelDispatch::nextLabel() noexcept {
  // Deliberately not a read-modify-write: the scheme only promises distinct
  // labels for containers created one after another.
  const std::uint64_t n = counter_.load(std::memory_order_relaxed);
  if (n == std::numeric_limits<std::uint64_t>::max()) {
    fatalError("LabelDispatch: queue label counter overflowed");
  }
  counter_.store(n + 1, std::memory_order_relaxed);
  return "com.threading.dispatchqueue_" + std::to_string(n);
}

}  // namespace Keel
