// The machine facts as vantor-facts reports them: a value tree (for JSON) and
// aligned text, both built from any SystemFacts so that tests can fake one.
#pragma once

#include <string>
#include <string_view>

#include "Keel/coding/system.h"
#include "Keel/core/any_value.h"

namespace Vantor::Tools {

// The distribution as it names itself. The library's operatingSystemName
// keeps the platform-neutral "macOS <version>" form its callers expect, so
// the tool shows this beside it.
struct Distribution {
  std::string name;     // os-release NAME, such as "Debian GNU/Linux"
  std::string version;  // os-release VERSION ("12 (bookworm)"), else VERSION_ID
};

// The distribution an os-release text describes; empty texts where it says
// nothing.
[[nodiscard]] Distribution distributionOf(std::string_view osReleaseText);

// The distribution of this machine: /etc/os-release, else
// /usr/lib/os-release; empty texts when neither can be read.
[[nodiscard]] Distribution currentDistribution();

// A dictionary of every fact under its operation's name (model,
// processorName, processorCount, physicalMemory, thermalState, uptime,
// architecture, isAppleSilicon, operatingSystemVersionText,
// operatingSystemVersionNumber, operatingSystemName), the distribution's
// name and version (distributionName, distributionVersion) and hostBasicInfo
// as a nested dictionary of its fields. Texts stay empty where a fact is
// unknown.
[[nodiscard]] Keel::AnyValue factsTree(const Keel::SystemFacts& facts, const Distribution& distribution = {});

// The tree as "name  value" lines with the values aligned; nested
// dictionaries' fields are named "outer.inner", and empty texts print as
// "(unknown)".
[[nodiscard]] std::string factsText(const Keel::AnyValue& tree);

}  // namespace Vantor::Tools
