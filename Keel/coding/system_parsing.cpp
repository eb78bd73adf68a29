#include "Keel/coding/system_parsing.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

#include "Keel/core/date_utilities.h"
#include "Keel/core/fatal_error.h"

namespace Keel::SystemParsing {
namespace {

constexpr bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; }
constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }
constexpr char lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

std::string_view trim(std::string_view text) {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return lower(x) == lower(y); });
}

// Calls `visit(line)` for each line of `text`, without its line break.
template <typename Visit>
void forEachLine(std::string_view text, Visit visit) {
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    visit(text.substr(0, end));
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
}

template <typename Integer>
std::optional<Integer> parseInteger(std::string_view text) {
  Integer value{};
  const char* end = text.data() + text.size();
  const auto [ptr, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || ptr != end || text.empty()) return std::nullopt;
  return value;
}

// Texts vendors leave in firmware fields they never filled in.
constexpr std::array<std::string_view, 20> placeholders{"To Be Filled By O.E.M.",
                                                        "To Be Filled By OEM",
                                                        "Default string",
                                                        "System Product Name",
                                                        "System Serial Number",
                                                        "System Version",
                                                        "System Name",
                                                        "Not Specified",
                                                        "Not Applicable",
                                                        "None",
                                                        "O.E.M.",
                                                        "OEM",
                                                        "Unknown",
                                                        "Undefined",
                                                        "Invalid",
                                                        "N/A",
                                                        "x.x",
                                                        "0123456789",
                                                        "123456789",
                                                        "Type1ProductConfigId"};

bool isZeros(std::string_view text) {
  bool sawZero = false;
  for (const char c : text) {
    if (c == '0') {
      sawZero = true;
    } else if (c != ' ' && c != '-' && c != '.' && c != ':') {
      return false;
    }
  }
  return sawZero;
}

}  // namespace

std::optional<std::string> firmwareText(std::string_view raw) {
  // Device-tree strings end in a zero byte; DMI ones in a line break.
  while (!raw.empty() && raw.back() == '\0') raw.remove_suffix(1);
  const std::string_view text = trim(raw);
  if (text.empty() || isZeros(text)) return std::nullopt;
  for (const std::string_view placeholder : placeholders) {
    if (equalsIgnoringCase(text, placeholder)) return std::nullopt;
  }
  return std::string(text);
}

std::string processorName(std::string_view cpuinfo) {
  static constexpr std::array<std::string_view, 6> modelKeys{"model name", "Processor", "cpu model",
                                                             "uarch",      "cpu",       "Hardware"};
  std::array<std::string_view, modelKeys.size()> found{};
  forEachLine(cpuinfo, [&](std::string_view line) {
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) return;
    const std::string_view key = trim(line.substr(0, colon));
    const std::string_view value = trim(line.substr(colon + 1));
    if (value.empty()) return;
    for (std::size_t k = 0; k < modelKeys.size(); ++k) {
      if (key == modelKeys[k] && found[k].empty()) found[k] = value;
    }
  });
  for (const std::string_view value : found) {
    if (!value.empty()) return std::string(value);
  }
  return {};
}

std::optional<std::uint64_t> memTotalBytes(std::string_view meminfo) {
  std::optional<std::uint64_t> result;
  forEachLine(meminfo, [&](std::string_view line) {
    if (result || !line.starts_with("MemTotal:")) return;
    std::string_view rest = trim(line.substr(9));
    if (!rest.ends_with("kB")) return;
    rest = trim(rest.substr(0, rest.size() - 2));
    const auto kilobytes = parseInteger<std::uint64_t>(rest);
    if (!kilobytes || *kilobytes > std::numeric_limits<std::uint64_t>::max() / 1024) return;
    result = *kilobytes * 1024;
  });
  return result;
}

std::optional<double> uptimeSeconds(std::string_view procUptime) {
  const std::string_view text = trim(procUptime);
  const std::string_view first = text.substr(0, std::min(text.size(), text.find_first_of(" \t")));
  // Only what the kernel writes: digits, optionally a dot and more digits.
  // from_chars alone would also take "inf", "nan" and exponents.
  const std::size_t dot = first.find('.');
  const std::string_view whole = first.substr(0, dot);
  const std::string_view fraction = dot == std::string_view::npos ? std::string_view() : first.substr(dot + 1);
  const auto allDigits = [](std::string_view s) { return std::all_of(s.begin(), s.end(), isDigit); };
  if (whole.empty() || !allDigits(whole) || !allDigits(fraction)) return std::nullopt;
  if (dot != std::string_view::npos && fraction.empty()) return std::nullopt;
  double seconds = 0;
  const auto [ptr, error] = std::from_chars(first.data(), first.data() + first.size(), seconds);
  if (error != std::errc() || ptr != first.data() + first.size()) return std::nullopt;
  return seconds;
}

std::string uptimeText(double seconds) {
  // 2^63 is exactly representable; every double below it (and at or above
  // -2^63) truncates into range.
  constexpr double int64Limit = 9223372036854775808.0;
  if (!std::isfinite(seconds)) fatalError("System uptime is not a finite number of seconds.");
  if (seconds >= int64Limit || seconds < -int64Limit)
    fatalError("System uptime does not fit a 64-bit count of seconds.");
  return DateUtilities::durationString(static_cast<std::int64_t>(seconds));
}

std::map<std::string, std::string> osRelease(std::string_view text) {
  std::map<std::string, std::string> values;
  forEachLine(text, [&](std::string_view rawLine) {
    const std::string_view line = trim(rawLine);
    if (line.empty() || line.front() == '#') return;
    const std::size_t equals = line.find('=');
    if (equals == 0 || equals == std::string_view::npos) return;
    const std::string_view key = line.substr(0, equals);
    const bool keyIsName = std::all_of(key.begin(), key.end(), [](char c) {
      return isDigit(c) || c == '_' || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    });
    if (!keyIsName) return;
    const std::string_view raw = line.substr(equals + 1);
    std::string value;
    if (!raw.empty() && (raw.front() == '"' || raw.front() == '\'')) {
      const char quote = raw.front();
      std::size_t i = 1;
      bool closed = false;
      for (; i < raw.size(); ++i) {
        const char c = raw[i];
        if (c == quote) {
          closed = true;
          break;
        }
        if (quote == '"' && c == '\\' && i + 1 < raw.size() &&
            std::string_view("\"\\$`").find(raw[i + 1]) != std::string_view::npos) {
          value += raw[++i];
        } else {
          value += c;
        }
      }
      // Anything after the closing quote would need a shell to make sense of.
      if (!closed || i + 1 != raw.size()) return;
    } else {
      value = std::string(raw);
    }
    values[std::string(key)] = std::move(value);
  });
  return values;
}

std::string operatingSystemVersionText(std::string_view distributionVersion, std::string_view kernelRelease) {
  if (distributionVersion.empty() && kernelRelease.empty()) return {};
  std::string text = "Version";
  if (!distributionVersion.empty()) (text += ' ') += distributionVersion;
  if (!kernelRelease.empty()) ((text += " (Build ") += kernelRelease) += ')';
  return text;
}

std::string replacingAll(std::string_view text, std::string_view from, std::string_view to) {
  if (from.empty()) return std::string(text);
  std::string result;
  result.reserve(text.size());
  std::size_t start = 0;
  for (std::size_t at = text.find(from); at != std::string_view::npos; at = text.find(from, start)) {
    (result += text.substr(start, at - start)) += to;
    start = at + from.size();
  }
  result += text.substr(start);
  return result;
}

std::string decodeUnameField(std::span<const unsigned char> field) {
  std::size_t length = field.size();
  while (length > 0 && field[length - 1] == 0) --length;
  std::string text;
  text.reserve(length);
  for (const unsigned char byte : field.first(length)) {
    if (byte < 0x80) {
      text += static_cast<char>(byte);
    } else {
      text += static_cast<char>(0xC0 | (byte >> 6));
      text += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return text;
}

std::optional<std::vector<unsigned>> cpuList(std::string_view text) {
  constexpr std::size_t maxProcessors = 65536;
  std::vector<unsigned> cpus;
  text = trim(text);
  if (text.empty()) return cpus;
  while (true) {
    const std::size_t comma = text.find(',');
    const std::string_view item = text.substr(0, comma);
    const std::size_t dash = item.find('-');
    const auto first = parseInteger<unsigned>(item.substr(0, dash));
    const auto last = dash == std::string_view::npos ? first : parseInteger<unsigned>(item.substr(dash + 1));
    if (!first || !last || *last < *first || *last - *first >= maxProcessors - cpus.size()) return std::nullopt;
    for (unsigned cpu = *first;; ++cpu) {
      cpus.push_back(cpu);
      if (cpu == *last) break;
    }
    if (comma == std::string_view::npos) break;
    text.remove_prefix(comma + 1);
  }
  std::sort(cpus.begin(), cpus.end());
  cpus.erase(std::unique(cpus.begin(), cpus.end()), cpus.end());
  return cpus;
}

std::optional<std::int64_t> sysfsInteger(std::string_view text) { return parseInteger<std::int64_t>(trim(text)); }

int thermalState(std::span<const ThermalZone> zones) {
  int state = 0;
  for (const ThermalZone& zone : zones) {
    if (!zone.enabled || !zone.milliCelsius) continue;
    for (const ThermalTrip& trip : zone.trips) {
      if (trip.milliCelsius <= 0 || *zone.milliCelsius < trip.milliCelsius) continue;
      int level = 0;
      if (trip.type == "active") {
        level = 1;
      } else if (trip.type == "passive") {
        level = 2;
      } else if (trip.type == "hot" || trip.type == "critical") {
        level = 3;
      }
      state = std::max(state, level);
    }
  }
  return state;
}

}  // namespace Keel::SystemParsing
