// Brief spins for handovers between dispatch-queue threads that usually
// complete within microseconds.
#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

namespace Keel::detail {

// Tells the core that this thread is spinning (saves power, frees shared
// execution resources).
inline void cpuRelax() noexcept {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  asm volatile("yield");
#endif
}

// Waits a moment for `ready`, for handovers that usually complete within
// microseconds, where a sleep and its wake-up would cost more than the wait.
// Looks a few times with a pause between looks (the other side may be running
// on another core), then mostly yields: on a busy machine the other side is
// often waiting for this very core, and pausing would only keep it waiting.
// Returns whether `ready` came true; the caller sleeps otherwise.
template <typename Ready>
bool spinBriefly(Ready ready) {
  constexpr int pauseRounds = 4;
  constexpr int yieldRounds = 32;
  for (int i = 0; i < pauseRounds; ++i) {
    if (ready()) return true;
    cpuRelax();
  }
  for (int i = 0; i < yieldRounds; ++i) {
    if (ready()) return true;
    std::this_thread::yield();
  }
  return ready();
}

// Whether `state` moves away from `idle` within a short spin and one yield.
// Shorter than spinBriefly: the queue stays claimed meanwhile.
inline bool linger(const std::atomic<std::uint64_t>& state, std::uint64_t idle) {
  constexpr int pauseRounds = 8;
  for (int i = 0; i < pauseRounds; ++i) {
    if (state.load(std::memory_order_relaxed) != idle) return true;
    cpuRelax();
  }
  std::this_thread::yield();
  return state.load(std::memory_order_relaxed) != idle;
}

}  // namespace Keel::detail
