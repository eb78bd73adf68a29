// Facts about the machine the process runs on: model, processor, memory,
// thermal state, uptime, architecture and operating-system version. Read
// afresh on every call from the kernel's and the distribution's files, whose
// locations can be replaced so that tests read fake trees.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace Keel {

// The machine's processor and memory totals, zero-filled wherever a source is
// missing. Counts of logical processors come from the kernel's CPU lists
// (present = installed, online = in use), physical cores are the distinct
// (package, core) pairs of those processors' topology, and memory is the
// kernel's MemTotal. There are no processor type codes: Linux has no
// counterpart of them, and the architecture text names the processor family.
struct HostBasicInfo {
  std::int32_t maxCpus = 0;         // logical processors present
  std::int32_t availCpus = 0;       // logical processors online
  std::uint64_t memorySize = 0;     // bytes of physical memory
  std::int32_t physicalCpu = 0;     // cores among the online processors
  std::int32_t physicalCpuMax = 0;  // cores among the present processors
  std::int32_t logicalCpu = 0;      // logical processors online
  std::int32_t logicalCpuMax = 0;   // logical processors present
  std::uint64_t maxMem = 0;         // bytes of physical memory

  friend bool operator==(const HostBasicInfo&, const HostBasicInfo&) = default;
};

// The raw machine and release fields of the kernel's identity (uname), each
// with its full fixed size and zero padding as the kernel filled it.
struct KernelIdentity {
  std::string machine;
  std::string release;
};

// The facts read from one set of sources. Holds no state besides them, caches
// nothing, and may be used from any thread at once.
class SystemFacts {
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

  explicit SystemFacts(Sources sources) : sources_(std::move(sources)) {}

  // The firmware's product name (DMI product_name; on device-tree machines
  // the model), such as "MacBookPro16,1" or "20KHCTO1WW". Empty when missing
  // or a vendor placeholder.
  [[nodiscard]] std::string model() const;

  // The processor's brand name from cpuinfo, such as
  // "Intel(R) Core(TM) i7-8650U CPU @ 1.90GHz". Empty when not given.
  [[nodiscard]] std::string processorName() const;

  // Processors this process may run on (its affinity mask, which containers
  // and cpusets narrow); when unknown, the processors online; 0 when neither
  // is known.
  [[nodiscard]] int processorCount() const;

  // Bytes of physical memory (MemTotal); 0 when unknown.
  [[nodiscard]] std::uint64_t physicalMemory() const;

  // 0 nominal, 1 fair, 2 serious, 3 critical, from the thermal zones' current
  // temperatures against their trip points (see SystemParsing::thermalState).
  // 0 when the machine has no readable zones.
  [[nodiscard]] int thermalState() const;

  // Time since boot in whole seconds (truncated) as the library's duration
  // text, such as "00: 1: 2:05". Empty when the kernel's uptime cannot be
  // read. Stops the process when it is not a finite number of seconds that
  // fits 64 bits.
  [[nodiscard]] std::string uptime() const;

  // Processor and memory totals; zero in every field whose source is missing.
  [[nodiscard]] HostBasicInfo hostBasicInfo() const;

  // The kernel's machine name, such as "x86_64" or "aarch64"; empty when
  // unknown.
  [[nodiscard]] std::string architecture() const;

  // True exactly when architecture() is "arm64". Linux calls 64-bit ARM
  // "aarch64", so this is false on every Linux machine; it stays the literal
  // test so that callers see one meaning on every platform.
  [[nodiscard]] bool isAppleSilicon() const;

  // "Version <distribution VERSION_ID> (Build <kernel release>)", such as
  // "Version 12 (Build 6.1.0-18-amd64)"; a missing part is left out, and the
  // text is empty when both are.
  [[nodiscard]] std::string operatingSystemVersionText() const;

  // operatingSystemVersionText() with every "Version" removed (the blank after
  // it stays): " 12 (Build 6.1.0-18-amd64)".
  [[nodiscard]] std::string operatingSystemVersionNumber() const;

  // operatingSystemVersionText() with every "Version" replaced by "macOS".
  [[nodiscard]] std::string operatingSystemName() const;

 private:
  Sources sources_;
};

// The literal architecture test behind isAppleSilicon.
[[nodiscard]] inline bool isAppleSiliconArchitecture(const std::string& architecture) {
  return architecture == "arm64";
}

// The running machine's facts, as stateless type-level queries over one
// SystemFacts built from the real sources. Each call reads afresh.
class System {
 public:
  System() = delete;

  [[nodiscard]] static const SystemFacts& facts();

  [[nodiscard]] static std::string model() { return facts().model(); }
  [[nodiscard]] static std::string processorName() { return facts().processorName(); }
  [[nodiscard]] static int processorCount() { return facts().processorCount(); }
  [[nodiscard]] static std::uint64_t physicalMemory() { return facts().physicalMemory(); }
  [[nodiscard]] static int thermalState() { return facts().thermalState(); }
  [[nodiscard]] static std::string uptime() { return facts().uptime(); }
  [[nodiscard]] static HostBasicInfo hostBasicInfo() { return facts().hostBasicInfo(); }
  [[nodiscard]] static std::string architecture() { return facts().architecture(); }
  [[nodiscard]] static bool isAppleSilicon() { return facts().isAppleSilicon(); }
  [[nodiscard]] static std::string operatingSystemVersionText() { return facts().operatingSystemVersionText(); }
  [[nodiscard]] static std::string operatingSystemVersionNumber() { return facts().operatingSystemVersionNumber(); }
  [[nodiscard]] static std::string operatingSystemName() { return facts().operatingSystemName(); }
};

}  // namespace Keel
