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

namespace Keel::PropertyList {

// A tree, or the reason there is none.
struct ReadResult {
  std::optional<AnyValue> value;
  std::string error;  // empty when `value` is present
  explicit operator bool() const { return value.has_value(); }
};

// The tree of an XML or binary property list: booleans, int64 integers,
// float64 reals, texts, arrays, dictionaries, dates (Date) and data (Data).
// Unparsable bytes, empty input and nesting deeper than maxValueDepth give no
// tree. Never throws.
[[nodiscard]] ReadResult read(std::span<const std::uint8_t> bytes);
[[nodiscard]] ReadResult read(std::string_view bytes);

// The text stored under `key` at the top level of a property list whose root
// is a dictionary. Nothing when the bytes are not a property list, the root is
// not a dictionary, the key is missing or its value is not text.
[[nodiscard]] std::optional<std::string> topLevelString(std::span<const std::uint8_t> bytes,
                                                        std::string_view key);

}  // namespace Keel::PropertyList
