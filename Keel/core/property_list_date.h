// The text form of property-list dates in XML: "2001-01-01T00:00:00Z", UTC,
// with an optional decimal fraction of a second ("...:59.25Z"). The reader and
// the writer share it so that every written date reads back bit for bit.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Keel::PropertyList {

// Seconds since 2001-01-01T00:00:00Z of "YYYY-MM-DDTHH:MM:SS[.fff...]Z",
// rounded once to the nearest double (the fraction may have any number of
// digits). Years run from 0001 to 9999 (four digits, no sign); fields out of
// range (month 13, February 30, hour 24, second 60), missing or extra
// characters give nothing.
[[nodiscard]] std::optional<double> parseDateText(std::string_view text);

// The text of a date given as seconds since 2001: whole seconds when the value
// is whole, else the shortest fraction that reads back as the same double.
// Nothing when the value is not finite or its year lies outside 0001...9999,
// which the text form cannot hold. -0 is written as 0: both are the same
// instant.
[[nodiscard]] std::optional<std::string> dateText(double secondsSinceReferenceDate);

}  // namespace Keel::PropertyList
