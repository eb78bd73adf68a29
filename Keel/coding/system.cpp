// The machine facts that are the same on every platform: texts derived from
// the platform's answers.
#include "Keel/coding/system.h"

#include "Keel/coding/system_parsing.h"

namespace Keel {

ProcessorTypeCodes processorTypeCodes(std::string_view architecture) {
  constexpr std::int32_t abi64Flag = 0x01000000;
  constexpr std::int32_t x86CpuType = 7;
  constexpr std::int32_t armCpuType = 12;
  constexpr std::int32_t powerPCCpuType = 18;
  if (architecture == "x86_64") return {x86CpuType | abi64Flag, 3};
  if (architecture == "i386" || architecture == "i486" || architecture == "i586" || architecture == "i686") {
    return {x86CpuType, 3};
  }
  if (architecture == "aarch64" || architecture == "arm64") return {armCpuType | abi64Flag, 0};
  if (architecture.starts_with("armv6")) return {armCpuType, 6};
  if (architecture.starts_with("armv7")) return {armCpuType, 9};
  if (architecture == "ppc64" || architecture == "ppc64le") return {powerPCCpuType | abi64Flag, 0};
  if (architecture == "ppc") return {powerPCCpuType, 0};
  return {};
}

bool SystemFacts::isAppleSilicon() const { return isAppleSiliconArchitecture(architecture()); }

std::string SystemFacts::operatingSystemVersionNumber() const {
  return SystemParsing::replacingAll(operatingSystemVersionText(), "Version", "");
}

std::string SystemFacts::operatingSystemName() const {
  return SystemParsing::replacingAll(operatingSystemVersionText(), "Version", "macOS");
}

}  // namespace Keel
