// Desktop entry files (the freedesktop.org key file format that application
// launchers and XDG autostart read): the [Desktop Entry] group's keys, the
// value escapes, and the quoting rules of the Exec key.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Keel/core/result.h"

namespace Vantor {

// The keys of a file's [Desktop Entry] group with their values still escaped.
// Localised keys ("Name[de]") and other groups are left out: nothing here
// needs them.
class DesktopEntry {
 public:
  // The unescaped text under `key`, or nothing when the key is absent.
  [[nodiscard]] std::optional<std::string> string(const std::string& key) const;
  // true for "true" (or "1"), false for "false" (or "0"); nothing when the key
  // is absent or holds anything else, which readers treat as the default.
  [[nodiscard]] std::optional<bool> boolean(const std::string& key) const;
  // The ";"-separated list under `key` ("\;" is a literal semicolon), empty
  // when the key is absent.
  [[nodiscard]] std::vector<std::string> list(const std::string& key) const;

  std::map<std::string, std::string> rawValues;
};

// Parses a desktop entry file's text. Comments and blank lines are skipped; a
// repeated key keeps its last value. Fails on a line that is neither a group
// header, a key, a comment nor blank, on a key before the first group, on a
// repeated [Desktop Entry] group, and when there is no such group.
[[nodiscard]] Keel::Result<DesktopEntry> parseDesktopEntry(std::string_view text);

// `value` with the escapes of the format's string values: "\\", "\n", "\t",
// "\r", and "\s" for a leading space.
[[nodiscard]] std::string escapeValue(std::string_view value);

// The inverse of escapeValue; in a list, "\;" also gives ";". Unknown escapes
// are kept as written.
[[nodiscard]] std::string unescapeValue(std::string_view value);

// One argument of an Exec command line, before the value escapes: an argument
// holding a reserved character (white space, quotes, backslash, and
// > < ~ | & ; $ * ? # ( ) `) is put in double quotes, where a backslash
// goes before each ", `, $ and backslash; "%" is doubled, as field codes
// begin with it.
[[nodiscard]] std::string quoteExecArgument(std::string_view argument);

// The arguments of an unescaped Exec value: quoting undone, "%%" turned into
// "%", other field codes kept as written. Fails on an unterminated quote.
[[nodiscard]] Keel::Result<std::vector<std::string>> splitExec(std::string_view exec);

// A file of one [Desktop Entry] group with `keys` in order; values are
// escaped here.
[[nodiscard]] std::string writeDesktopEntry(const std::vector<std::pair<std::string, std::string>>& keys);

}  // namespace Vantor
