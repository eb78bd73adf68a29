// The decoding tables and the serial-number rules; the sources live in the
// platform files (mac_system_linux.cpp).
#include "Plinth/desktop/mac_system.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "Keel/coding/system.h"
#include "Keel/core/fatal_error.h"
#include "Keel/core/utf8.h"

namespace Plinth {
namespace {

struct LocationRow {
  std::array<std::string_view, 4> codes;  // unused slots are empty
  std::string_view location;
};

// First matching row wins. The E of rows 19 and 21 can never match (row 6
// takes it), and row 20's F sees only what FC, FK, F1, F2 and F7 leave;
// the rows are kept so that the table stays, row for row, the one Mac
// applications have always decoded with.
constexpr LocationRow locations[] = {
    {{"FC"}, "Fountain Colorado, USA"},
    {{"XA", "XB", "QP", "G8"}, "USA"},
    {{"RN"}, "Mexico"},
    {{"CK"}, "Cork, Ireland"},
    {{"VM"}, "Foxconn, Pardubice, Czech Republic"},
    {{"SG", "E"}, "Singapore"},
    {{"MB"}, "Malaysia"},
    {{"PT", "CY"}, "Korea"},
    {{"EE", "QT", "UV"}, "Taiwan"},
    {{"FK", "F1", "F2"}, "Foxconn \u2013 Zhengzhou, China"},
    {{"W8"}, "Shanghai China"},
    {{"DL", "DM"}, "Foxconn \u2013 China"},
    {{"DN"}, "Foxconn, Chengdu, China"},
    {{"YM", "7J"}, "Hon Hai/Foxconn, China"},
    {{"1C", "4H", "WQ", "F7"}, "China"},
    {{"C0"}, "Tech Com \u2013 Quanta Computer Subsidiary, China"},
    {{"C3"}, "Foxxcon, Shenzhen, China"},
    {{"C7"}, "Pentragon, Changhai, China"},
    {{"E", "RM"}, "Refurbished/remanufactured"},
    {{"F"}, "Fremont, California, USA"},
    {{"E"}, "Singapore"},
};

struct ModelRow {
  std::string_view prefix;
  std::string_view name;
};

// Row 6 repeats row 1 and never matches; kept for the same reason.
constexpr ModelRow modelRows[] = {
    {"iMacPro", "iMac Pro"},       {"iMac", "iMac"},        {"Macmini", "Mac Mini"},       {"MacPro", "Mac Pro"},
    {"MacBookPro", "MacBook Pro"}, {"iMacPro", "iMac Pro"}, {"MacBookAir", "MacBook Air"}, {"MacBook", "MacBook"},
    {"Xserve", "Xserve"},
};

// The code point of the well-formed UTF-8 sequence of `length` bytes at `p`.
// Anything longer than a sequence can be (malformed input) decodes to a value
// that is no code point.
char32_t decode(const unsigned char* p, std::size_t length) {
  if (length == 1) return p[0];
  if (length > 4) return 0xFFFFFFFF;
  char32_t value = p[0] & (0xFFU >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) value = (value << 6) | (p[i] & 0x3FU);
  return value;
}

bool isWhitespace(char32_t c) {
  return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680 ||
         (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F || c == 0x3000;
}

std::size_t sequenceLength(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xF0) return 4;
  if (lead >= 0xE0) return 3;
  return 2;
}

std::string asciiLower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return lower;
}

bool isPlaceholder(std::string_view serial) {
  static constexpr std::string_view placeholders[] = {
      "to be filled by o.e.m.",
      "default string",
      "system serial number",
      "chassis serial number",
      "not specified",
      "not applicable",
      "not available",
      "none",
      "n/a",
      "na",
      "unknown",
      "default",
      "oem",
      "o.e.m.",
      "serial",
      "123456789",
      "1234567890",
      "0123456789",
  };
  const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
  while (!serial.empty() && blank(serial.front())) serial.remove_prefix(1);
  while (!serial.empty() && blank(serial.back())) serial.remove_suffix(1);
  if (serial.empty()) return true;
  const std::string lower = asciiLower(serial);
  if (std::find(std::begin(placeholders), std::end(placeholders), lower) != std::end(placeholders)) return true;
  char repeated = 0;
  for (const char c : lower) {
    if (blank(c) || c == '-' || c == '.' || c == ':') continue;
    if (c != '0' && c != 'x' && c != 'f') return false;
    if (repeated != 0 && c != repeated) return false;
    repeated = c;
  }
  return true;  // only separators left also counts: there is no serial in it
}

}  // namespace

std::string trimmingWhitespace(std::string_view text) {
  const auto* begin = reinterpret_cast<const unsigned char*>(text.data());
  const auto* end = begin + text.size();
  while (begin < end) {
    const std::size_t length = std::min(sequenceLength(*begin), static_cast<std::size_t>(end - begin));
    if (!isWhitespace(decode(begin, length))) break;
    begin += length;
  }
  while (begin < end) {
    // Step back over continuation bytes to the lead of the last sequence.
    const auto* lead = end - 1;
    while (lead > begin && (*lead & 0xC0U) == 0x80U) --lead;
    if (!isWhitespace(decode(lead, static_cast<std::size_t>(end - lead)))) break;
    end = lead;
  }
  return {reinterpret_cast<const char*>(begin), static_cast<std::size_t>(end - begin)};
}

std::optional<std::string> firmwareSerialNumber(std::string_view contents) {
  while (!contents.empty() && contents.back() == '\0') contents.remove_suffix(1);
  if (contents.find('\0') != std::string_view::npos || !Keel::isValidUtf8(contents)) return std::nullopt;
  if (isPlaceholder(contents)) return std::nullopt;
  return std::string(contents);
}

std::optional<std::string> MacSystem::serialNumber(const SerialNumberSource& source) {
  auto lookup = source.lookUp();
  switch (lookup.kind) {
    case SerialNumberLookup::Kind::noService:
    case SerialNumberLookup::Kind::unusable:
      return std::nullopt;
    case SerialNumberLookup::Kind::noProperty:
      Keel::fatalError("The platform expert device has no IOPlatformSerialNumber property.");
    case SerialNumberLookup::Kind::text:
      // A source that hands over bytes that are not UTF-8 has no text.
      if (!Keel::isValidUtf8(lookup.text)) return std::nullopt;
      return trimmingWhitespace(lookup.text);
  }
  return std::nullopt;
}

std::optional<std::string> MacSystem::serialNumber() { return serialNumber(SerialNumberSource::system()); }

std::optional<std::string> MacSystem::factoryLocation(std::string_view serialNumber) {
  for (const auto& row : locations) {
    for (const auto code : row.codes) {
      if (!code.empty() && serialNumber.starts_with(code)) return std::string(row.location);
    }
  }
  return std::nullopt;
}

std::optional<std::string> MacSystem::factoryLocation(const SerialNumberSource& source) {
  const auto serial = serialNumber(source);
  if (!serial) return std::nullopt;
  return factoryLocation(std::string_view(*serial));
}

std::optional<std::string> MacSystem::factoryLocation() { return factoryLocation(SerialNumberSource::system()); }

std::string MacSystem::modelName(std::string_view modelIdentifier) {
  for (const auto& row : modelRows) {
    if (modelIdentifier.starts_with(row.prefix)) return std::string(row.name);
  }
  return {};
}

std::string MacSystem::modelName() { return modelName(Keel::System::model()); }

}  // namespace Plinth
