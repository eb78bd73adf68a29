// The signal set that child processes started with posix_spawn reset to
// their defaults.
#pragma once

#include <signal.h>

namespace Plinth {

// Every signal for POSIX_SPAWN_SETSIGDEF. sigfillset and sigaddset leave out
// the two that glibc keeps for itself (32 and 33: thread cancellation and
// set*id), and glibc's posix_spawn starts a child with any signal it is not
// told to reset to the default as this process has it, so those two would stay
// ignored in the child. glibc's sigset_t is the kernel's mask (signal n is
// bit n - 1): that is checked on a signal sigaddset does accept before the two
// are set the same way.
[[nodiscard]] sigset_t everySignal();

}  // namespace Plinth
