// The untyped value tree as indented text for people: one line per value,
// naming its kind, with containers' members indented below them.
#pragma once

#include <string>

#include "Keel/core/any_value.h"

namespace Vantor::Tools {

// For example
//   dictionary (2 entries)
//     "name": text "Vantor"
//     "sizes": array (2 elements)
//       [0]: int64 1
//       [1]: float64 2.5
// Texts and keys are quoted with JSON's escapes, so that every value stays on
// one line; dates print in UTC (ISO 8601), data as its size and leading bytes
// in hexadecimal. Nesting is bounded by the readers' depth limit.
[[nodiscard]] std::string printTree(const Keel::AnyValue& tree);

// `text` in double quotes with JSON's escapes for quotes, backslashes and
// control characters.
[[nodiscard]] std::string quotedText(std::string_view text);

// The date as "2001-01-01T00:00:00Z" (fractions of a second kept, up to
// microseconds), or as seconds since 2001 when it lies outside years 1-9999.
[[nodiscard]] std::string dateText(const Keel::Date& date);

}  // namespace Vantor::Tools
