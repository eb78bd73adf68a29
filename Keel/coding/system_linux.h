// Machine facts on Linux: /proc, /sys and /etc (under replaceable roots, so
// that tests read fake trees), uname and the process's affinity mask.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "Keel/coding/system.h"

namespace Keel {

// The raw machine and release fields of the kernel's identity (uname), each
// with its full fixed size and zero padding as the kernel filled it.
struct KernelIdentity {
  std::string machine;
  std::string release;
};

// Counts of logical processors come from the kernel's CPU lists (present =
// installed, online = in use), physical cores are the distinct (package,
// core) pairs of those processors' topology, memory is meminfo's MemTotal,
// the model is DMI's product_name or the device tree's model, and the thermal
// state compares the thermal zones' temperatures with their trip points.
class LinuxSystemFacts final : public SystemFacts {
 public:
  // Where the facts come from. The roots default to the real ones; the
  // functions are empty by default, which reads as "unknown". real() fills
  // everything for the running machine.
  struct Sources {
    std::filesystem::path procRoot = "/proc";
    std::filesystem::path sysRoot = "/sys";
    std::filesystem::path etcRoot = "/etc";
    std::filesystem::path usrLibRoot = "/usr/lib";  // os-release's fallback location
    std::function<KernelIdentity()> kernelIdentity;
    // How many processors this process may run on; nothing when unknown.
    std::function<std::optional<int>()> schedulableProcessorCount;

    [[nodiscard]] static Sources real();
  };

  explicit LinuxSystemFacts(Sources sources) : sources_(std::move(sources)) {}

  [[nodiscard]] std::string model() const override;
  [[nodiscard]] std::string processorName() const override;
  [[nodiscard]] int processorCount() const override;
  [[nodiscard]] std::uint64_t physicalMemory() const override;
  [[nodiscard]] int thermalState() const override;
  [[nodiscard]] std::string uptime() const override;
  [[nodiscard]] HostBasicInfo hostBasicInfo() const override;
  [[nodiscard]] std::string architecture() const override;
  [[nodiscard]] std::string operatingSystemVersionText() const override;

 private:
  Sources sources_;
};

}  // namespace Keel
