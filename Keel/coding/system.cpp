// The machine facts that are the same on every platform: texts derived from
// the platform's answers.
#include "Keel/coding/system.h"

#include "Keel/coding/system_parsing.h"

namespace Keel {

ProcessorTypeCodes processorTypeCodes(std::string_view architecture) {
  constexpr std::int32_t kABI64 = 0x01000000;
  constexpr std::int32_t kX86 = 7;
  constexpr std::int32_t kARM = 12;
  constexpr std::int32_t kPowerPC = 18;
  if (architecture == "x86_64") return {kX86 | kABI64, 3};
  if (architecture == "i386" || architecture == "i486" || architecture == "i586" || architecture == "i686") {
    return {kX86, 3};
  }
  if (architecture == "aarch64" || architecture == "arm64") return {kARM | kABI64, 0};
  if (architecture.starts_with("armv6")) return {kARM, 6};
  if (architecture.starts_with("armv7")) return {kARM, 9};
  if (architecture == "ppc64" || architecture == "ppc64le") return {kPowerPC | kABI64, 0};
  if (architecture == "ppc") return {kPowerPC, 0};
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
