// The naming scheme of the private queues of thread-confined containers:
// "com.threading.dispatchqueue_" followed by a process-wide creation number.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace Keel {

class LabelDispatch {
 public:
  // A counter whose first label carries `first`. The process-wide scheme is
  // shared(); separate instances exist for tests.
  explicit LabelDispatch(std::uint64_t first = 0) noexcept : counter_(first) {}
  LabelDispatch(const LabelDispatch&) = delete;
  LabelDispatch& operator=(const LabelDispatch&) = delete;

  // The counter every container's queue label is drawn from; starts at 0.
  [[nodiscard]] static LabelDispatch& shared() noexcept;

  // "com.threading.dispatchqueue_" followed by the counter's value in decimal,
  // then advances the counter. The load and the store are separate: two
  // threads creating containers at the same moment may get the same label,
  // which is harmless because labels only name queues for diagnostics.
  // Stops the process with a fatal error when the counter would overflow.
  [[nodiscard]] std::string nextLabel() noexcept;

 private:
  std::atomic<std::uint64_t> counter_;
};

}  // namespace Keel
