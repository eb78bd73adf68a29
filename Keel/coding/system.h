// Facts about the machine the process runs on: model, processor, memory,
// thermal state, uptime, architecture and operating-system version.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Keel {

// The machine's processor and memory totals, zero-filled wherever a source is
// missing. Counts of logical processors come from the kernel's CPU lists
// (present = installed, online = in use), physical cores are the distinct
// (package, core) pairs of those processors' topology, and memory is the
// kernel's MemTotal.
//
// The processor type codes are the Mach ones, taken from the kernel's machine
// name (processorTypeCodes below):
//   machine name              cpuType                   cpuSubtype
//   x86_64                    0x01000007 (X86_64)       3 (X86_64_ALL)
//   i386, i486, i586, i686    7 (X86)                   3 (I386_ALL)
//   aarch64, arm64            0x0100000C (ARM64)        0 (ARM64_ALL)
//   armv6*                    12 (ARM)                  6 (ARM_V6)
//   armv7*                    12 (ARM)                  9 (ARM_V7)
//   ppc64, ppc64le            0x01000012 (POWERPC64)    0 (POWERPC_ALL)
//   ppc                       18 (POWERPC)              0 (POWERPC_ALL)
//   anything else, unknown    0                         0
// cpuThreadType is 1 (INTEL_HTT) on x86 when more logical processors than
// cores are online, else 0 (none), as the Mach kernel reports it.
struct HostBasicInfo {
  std::int32_t maxCpus = 0;         // logical processors present
  std::int32_t availCpus = 0;       // logical processors online
  std::uint64_t memorySize = 0;     // bytes of physical memory
  std::int32_t cpuType = 0;         // Mach processor type, see above
  std::int32_t cpuSubtype = 0;      // Mach processor subtype
  std::int32_t cpuThreadType = 0;   // 1 with hyper-threading on x86, else 0
  std::int32_t physicalCpu = 0;     // cores among the online processors
  std::int32_t physicalCpuMax = 0;  // cores among the present processors
  std::int32_t logicalCpu = 0;      // logical processors online
  std::int32_t logicalCpuMax = 0;   // logical processors present
  std::uint64_t maxMem = 0;         // bytes of physical memory

  friend bool operator==(const HostBasicInfo&, const HostBasicInfo&) = default;
};

// The running machine's facts, read afresh on every call and cached nowhere.
// Each platform supplies an implementation (on Linux, LinuxSystemFacts in
// system_linux.h, which reads /proc, /sys and /etc); the derived texts below
// are the same everywhere. Implementations may be used from any thread.
class SystemFacts {
 public:
  virtual ~SystemFacts() = default;

  // The firmware's product name, such as "MacBookPro16,1" or "20KHCTO1WW".
  // Empty when missing or a vendor placeholder.
  [[nodiscard]] virtual std::string model() const = 0;

  // The processor's brand name, such as
  // "Intel(R) Core(TM) i7-8650U CPU @ 1.90GHz". Empty when not given.
  [[nodiscard]] virtual std::string processorName() const = 0;

  // Processors this process may run on (containers and cpusets narrow
  // them); when unknown, the processors online; 0 when neither is known.
  [[nodiscard]] virtual int processorCount() const = 0;

  // Bytes of physical memory; 0 when unknown.
  [[nodiscard]] virtual std::uint64_t physicalMemory() const = 0;

  // 0 nominal, 1 fair, 2 serious, 3 critical (see SystemParsing::thermalState);
  // 0 when the machine reports no temperatures.
  [[nodiscard]] virtual int thermalState() const = 0;

  // Time since boot in whole seconds (truncated) as the library's duration
  // text, such as "00: 1: 2:05". Empty when unknown. Stops the process when
  // it is not a finite number of seconds that fits 64 bits.
  [[nodiscard]] virtual std::string uptime() const = 0;

  // Processor and memory totals; zero in every field whose source is missing.
  [[nodiscard]] virtual HostBasicInfo hostBasicInfo() const = 0;

  // The kernel's machine name, such as "x86_64" or "aarch64"; empty when
  // unknown.
  [[nodiscard]] virtual std::string architecture() const = 0;

  // "Version <distribution version> (Build <kernel release>)", such as
  // "Version 12 (Build 6.1.0-18-amd64)"; a missing part is left out, and the
  // text is empty when both are.
  [[nodiscard]] virtual std::string operatingSystemVersionText() const = 0;

  // True exactly when architecture() is "arm64". Linux calls 64-bit ARM
  // "aarch64", so this is false on every Linux machine; it stays the literal
  // test so that callers see one meaning on every platform.
  [[nodiscard]] bool isAppleSilicon() const;

  // operatingSystemVersionText() with every "Version" removed (the blank after
  // it stays): " 12 (Build 6.1.0-18-amd64)".
  [[nodiscard]] std::string operatingSystemVersionNumber() const;

  // operatingSystemVersionText() with every "Version" replaced by "macOS".
  [[nodiscard]] std::string operatingSystemName() const;
};

// The Mach processor type and subtype of a kernel machine name, as listed
// at HostBasicInfo; {0, 0} when the name is unknown.
struct ProcessorTypeCodes {
  std::int32_t type = 0;
  std::int32_t subtype = 0;
  friend bool operator==(const ProcessorTypeCodes&, const ProcessorTypeCodes&) = default;
};
[[nodiscard]] ProcessorTypeCodes processorTypeCodes(std::string_view architecture);

// The literal architecture test behind isAppleSilicon.
[[nodiscard]] inline bool isAppleSiliconArchitecture(const std::string& architecture) {
  return architecture == "arm64";
}

// The running machine's facts, as stateless type-level queries over the
// platform's SystemFacts. Each call reads afresh.
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
