// Reading XML and binary property lists into value trees. Property lists
// arrive from outside the process (bundles anyone can make, settings files),
// so every failure is an absent tree with a reason, never a crash.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "Keel/core/any_value.h"
#include "Keel/core/result.h"

namespace Keel::PropertyList {

// A tree, or the reason there is none (never empty).
using ReadResult = Result<AnyValue>;

// The tree of an XML or binary property list: booleans, int64 integers
// (uint64 for values above the int64 range), float64 reals, texts (UTF-8,
// never holding NUL), arrays, dictionaries (a repeated key keeps its last
// value), dates (Date, exactly the stored seconds) and data (Data). Anything
// the formats do not allow, nesting deeper than maxValueDepth, binary cycles
// and binary UIDs give no tree; so does a binary list whose shared objects
// would expand it far beyond its own size. Time and memory are linear in the
// input. Never throws.
[[nodiscard]] ReadResult read(std::span<const std::uint8_t> bytes);
[[nodiscard]] ReadResult read(std::string_view bytes);

// The text stored under `key` at the top level of a property list whose root
// is a dictionary. Nothing when the bytes are not a property list, the root is
// not a dictionary, the key is missing or its value is not text.
[[nodiscard]] std::optional<std::string> topLevelString(std::span<const std::uint8_t> bytes, std::string_view key);

}  // namespace Keel::PropertyList
