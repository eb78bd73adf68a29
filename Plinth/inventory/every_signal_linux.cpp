#include "Plinth/inventory/every_signal_linux.h"

#include <cstddef>
#include <cstring>

namespace Plinth {

sigset_t everySignal() {
  sigset_t all;
  sigfillset(&all);
  const auto setBit = [](sigset_t& set, int signal) {
    constexpr std::size_t bits = 8 * sizeof(unsigned long);
    const auto index = static_cast<std::size_t>(signal - 1);
    auto* word = reinterpret_cast<unsigned char*>(&set) + index / bits * sizeof(unsigned long);
    unsigned long value = 0;
    std::memcpy(&value, word, sizeof value);
    value |= 1UL << (index % bits);
    std::memcpy(word, &value, sizeof value);
  };
  sigset_t probe;
  sigemptyset(&probe);
  setBit(probe, SIGRTMAX);
  if (sigismember(&probe, SIGRTMAX) != 1) return all;
  for (int signal = 1; signal <= SIGRTMAX; ++signal) setBit(all, signal);
  return all;
}

}  // namespace Plinth
