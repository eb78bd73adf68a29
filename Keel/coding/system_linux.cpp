// The machine-fact sources of a Linux machine: the real /proc, /sys and /etc,
// the kernel's identity from uname and the process's affinity mask.
#include <sched.h>
#include <sys/utsname.h>

#include <cerrno>
#include <cstring>

#include "Keel/coding/system.h"

namespace Keel {
namespace {

KernelIdentity realKernelIdentity() {
  // Zero-filled so that a failed call reads as empty fields.
  struct utsname name;
  std::memset(&name, 0, sizeof name);
  (void)uname(&name);
  return {std::string(name.machine, sizeof name.machine), std::string(name.release, sizeof name.release)};
}

std::optional<int> realSchedulableProcessorCount() {
  // The mask must cover every processor number the kernel knows; start at
  // the usual size and grow while the kernel says it is too small.
  for (int slots = 1024; slots <= (1 << 20); slots *= 2) {
    cpu_set_t* set = CPU_ALLOC(slots);
    if (set == nullptr) return std::nullopt;
    const std::size_t size = CPU_ALLOC_SIZE(slots);
    CPU_ZERO_S(size, set);
    const bool ok = sched_getaffinity(0, size, set) == 0;
    const int count = ok ? CPU_COUNT_S(size, set) : 0;
    const bool tooSmall = !ok && errno == EINVAL;
    CPU_FREE(set);
    if (ok) return count;
    if (!tooSmall) return std::nullopt;
  }
  return std::nullopt;
}

}  // namespace

SystemFacts::Sources SystemFacts::Sources::real() {
  Sources sources;
  sources.kernelIdentity = realKernelIdentity;
  sources.schedulableProcessorCount = realSchedulableProcessorCount;
  return sources;
}

}  // namespace Keel
