// The machine facts that are the same on every platform: texts derived from
// the platform's answers.
#include "Keel/coding/system.h"

#include "Keel/coding/system_parsing.h"

namespace Keel {

bool SystemFacts::isAppleSilicon() const { return isAppleSiliconArchitecture(architecture()); }

std::string SystemFacts::operatingSystemVersionNumber() const {
  return SystemParsing::replacingAll(operatingSystemVersionText(), "Version", "");
}

std::string SystemFacts::operatingSystemName() const {
  return SystemParsing::replacingAll(operatingSystemVersionText(), "Version", "macOS");
}

}  // namespace Keel
