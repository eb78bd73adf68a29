// The machine facts as vantor-facts reports them: a value tree (for JSON) and
// aligned text, both built from any SystemFacts so that tests can fake one.
#pragma once

#include <string>

#include "Keel/coding/system.h"
#include "Keel/core/any_value.h"

namespace Vantor::Tools {

// A dictionary of every fact under its operation's name (model,
// processorName, processorCount, physicalMemory, thermalState, uptime,
// architecture, isAppleSilicon, operatingSystemVersionText,
// operatingSystemVersionNumber, operatingSystemName) and hostBasicInfo as a
// nested dictionary of its fields. Texts stay empty where a fact is unknown.
[[nodiscard]] Keel::AnyValue factsTree(const Keel::SystemFacts& facts);

// The tree as "name  value" lines with the values aligned; nested
// dictionaries' fields are named "outer.inner", and empty texts print as
// "(unknown)".
[[nodiscard]] std::string factsText(const Keel::AnyValue& tree);

}  // namespace Vantor::Tools
