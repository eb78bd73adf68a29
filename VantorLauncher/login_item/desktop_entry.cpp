#include "VantorLauncher/login_item/desktop_entry.h"

#include <algorithm>

namespace Vantor {
namespace {

constexpr std::string_view entryGroup = "Desktop Entry";
constexpr std::string_view blankCharacters = " \t";

std::string_view trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(blankCharacters);
  if (first == std::string_view::npos) return {};
  const auto last = text.find_last_not_of(blankCharacters);
  return text.substr(first, last - first + 1);
}

// Undoes the value escapes; in list mode, also splits at unescaped ";".
std::vector<std::string> unescapeInto(std::string_view value, bool asList) {
  std::vector<std::string> items(1);
  for (std::size_t i = 0; i < value.size(); ++i) {
    const char c = value[i];
    if (c == ';' && asList) {
      items.emplace_back();
      continue;
    }
    if (c != '\\' || i + 1 == value.size()) {
      items.back() += c;
      continue;
    }
    switch (const char next = value[++i]) {
      case 's':
        items.back() += ' ';
        break;
      case 'n':
        items.back() += '\n';
        break;
      case 't':
        items.back() += '\t';
        break;
      case 'r':
        items.back() += '\r';
        break;
      case '\\':
        items.back() += '\\';
        break;
      case ';':
        items.back() += asList ? ";" : "\\;";
        break;
      default:
        items.back() += '\\';
        items.back() += next;
    }
  }
  // "a;b;" is the list a, b: the final separator ends the last item.
  if (asList && items.back().empty()) items.pop_back();
  return items;
}

bool isReservedInExec(char c) { return std::string_view(" \t\n\"'\\><~|&;$*?#()`").find(c) != std::string_view::npos; }

}  // namespace

std::optional<std::string> DesktopEntry::string(const std::string& key) const {
  const auto found = rawValues.find(key);
  if (found == rawValues.end()) return std::nullopt;
  return unescapeValue(found->second);
}

std::optional<bool> DesktopEntry::boolean(const std::string& key) const {
  const auto found = rawValues.find(key);
  if (found == rawValues.end()) return std::nullopt;
  if (found->second == "true" || found->second == "1") return true;
  if (found->second == "false" || found->second == "0") return false;
  return std::nullopt;
}

std::vector<std::string> DesktopEntry::list(const std::string& key) const {
  const auto found = rawValues.find(key);
  if (found == rawValues.end()) return {};
  return unescapeInto(found->second, true);
}

Keel::Result<DesktopEntry> parseDesktopEntry(std::string_view text) {
  DesktopEntry entry;
  bool inGroup = false;
  bool anyGroup = false;
  bool sawEntryGroup = false;
  std::size_t lineNumber = 0;
  while (!text.empty()) {
    const auto end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    ++lineNumber;
    if (line.ends_with('\r')) line.remove_suffix(1);
    const std::string_view content = trimmed(line);
    if (content.empty() || content.front() == '#') continue;
    const std::string where = "line " + std::to_string(lineNumber) + ": ";
    if (content.front() == '[') {
      if (content.back() != ']') return Keel::failure(where + "a group header without its ']'");
      const std::string_view group = content.substr(1, content.size() - 2);
      inGroup = group == entryGroup;
      if (inGroup && sawEntryGroup) return Keel::failure(where + "a second [Desktop Entry] group");
      sawEntryGroup = sawEntryGroup || inGroup;
      anyGroup = true;
      continue;
    }
    const auto equals = content.find('=');
    if (equals == std::string_view::npos || trimmed(content.substr(0, equals)).empty()) {
      return Keel::failure(where + "neither a group, a key nor a comment");
    }
    if (!anyGroup) return Keel::failure(where + "a key before the first group");
    const std::string_view key = trimmed(content.substr(0, equals));
    if (!inGroup || key.find('[') != std::string_view::npos) continue;
    // The value keeps trailing blanks (they may be meant), not leading ones.
    std::string_view value = line.substr(line.find('=') + 1);
    value.remove_prefix(std::min(value.size(), value.find_first_not_of(blankCharacters)));
    entry.rawValues[std::string(key)] = std::string(value);
  }
  if (!sawEntryGroup) return Keel::failure("no [Desktop Entry] group");
  return entry;
}

std::string escapeValue(std::string_view value) {
  std::string out;
  for (std::size_t i = 0; i < value.size(); ++i) {
    switch (const char c = value[i]) {
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\t':
        out += "\\t";
        break;
      case '\r':
        out += "\\r";
        break;
      case ' ':
        // Readers drop blanks after "=", so a leading one must be escaped.
        out += i == 0 ? "\\s" : " ";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string unescapeValue(std::string_view value) { return unescapeInto(value, false).front(); }

std::string quoteExecArgument(std::string_view argument) {
  bool reserved = argument.empty();
  for (const char c : argument) reserved = reserved || isReservedInExec(c);
  std::string out;
  if (reserved) out += '"';
  for (const char c : argument) {
    if (c == '%') {
      out += "%%";
      continue;
    }
    if (reserved && (c == '"' || c == '`' || c == '$' || c == '\\')) out += '\\';
    out += c;
  }
  if (reserved) out += '"';
  return out;
}

Keel::Result<std::vector<std::string>> splitExec(std::string_view exec) {
  std::vector<std::string> arguments;
  std::string current;
  bool inArgument = false;
  bool inQuotes = false;
  for (std::size_t i = 0; i < exec.size(); ++i) {
    const char c = exec[i];
    if (c == '%' && i + 1 < exec.size() && exec[i + 1] == '%') {
      current += '%';
      inArgument = true;
      ++i;
    } else if (inQuotes) {
      if (c == '"') {
        inQuotes = false;
      } else if (c == '\\' && i + 1 < exec.size() &&
                 std::string_view("\"`$\\").find(exec[i + 1]) != std::string_view::npos) {
        current += exec[++i];
      } else {
        current += c;
      }
    } else if (c == ' ' || c == '\t' || c == '\n') {
      if (inArgument) arguments.push_back(std::move(current));
      current.clear();
      inArgument = false;
    } else if (c == '"') {
      inQuotes = true;
      inArgument = true;
    } else {
      current += c;
      inArgument = true;
    }
  }
  if (inQuotes) return Keel::failure("a quoted argument without its closing quote");
  if (inArgument) arguments.push_back(std::move(current));
  return arguments;
}

std::string writeDesktopEntry(const std::vector<std::pair<std::string, std::string>>& keys) {
  std::string out = "[Desktop Entry]\n";
  for (const auto& [key, value] : keys) out += key + "=" + escapeValue(value) + "\n";
  return out;
}

}  // namespace Vantor
