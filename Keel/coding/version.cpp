#include "Keel/coding/version.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "Keel/core/bundle.h"

namespace Keel {
namespace {

constexpr bool isDigit(unsigned char c) noexcept { return c >= '0' && c <= '9'; }

// Texts are UTF-8, whose byte order is code-point order. Code-unit order of
// UTF-16 differs in one place: characters from U+E000 to U+FFFF (UTF-8 lead
// bytes 0xEE and 0xEF) sort after the supplementary characters (lead bytes
// 0xF0 to 0xF4), whose surrogates lie below U+E000. Lifting those two lead
// bytes above every other byte gives UTF-16 order. The first differing byte is
// always at a character start or inside characters that share a lead byte,
// because everything before it was equal and digit runs end on ASCII.
constexpr unsigned codeUnitKey(unsigned char c) noexcept { return (c == 0xEE || c == 0xEF) ? c + 0x100u : c; }

VersionOrder fromDifference(int difference) noexcept {
  if (difference < 0) return VersionOrder::ascending;
  if (difference > 0) return VersionOrder::descending;
  return VersionOrder::same;
}

}  // namespace

VersionOrder compareVersionTexts(std::string_view left, std::string_view right) noexcept {
  const auto* l = reinterpret_cast<const unsigned char*>(left.data());
  const auto* r = reinterpret_cast<const unsigned char*>(right.data());
  const std::size_t ln = left.size();
  const std::size_t rn = right.size();
  // Identical leading bytes are identical tokens, except that the first
  // difference may fall inside a digit run: resume at that run's start.
  const std::size_t common = std::min(ln, rn);
  std::size_t start = 0;
  while (start < common && l[start] == r[start]) ++start;
  if (start == ln && start == rn) return VersionOrder::same;
  while (start > 0 && isDigit(l[start - 1])) --start;
  std::size_t i = start;
  std::size_t j = start;
  while (i < ln && j < rn) {
    if (isDigit(l[i]) && isDigit(r[j])) {
      // Compare the runs by value: drop leading zeros, then the longer run is
      // the larger number, and runs of one length compare digit by digit.
      // Works for runs of any length without converting to an integer.
      while (i < ln && l[i] == '0') ++i;
      while (j < rn && r[j] == '0') ++j;
      const std::size_t lStart = i;
      const std::size_t rStart = j;
      while (i < ln && isDigit(l[i])) ++i;
      while (j < rn && isDigit(r[j])) ++j;
      const std::size_t lLength = i - lStart;
      const std::size_t rLength = j - rStart;
      if (lLength != rLength) return lLength < rLength ? VersionOrder::ascending : VersionOrder::descending;
      if (lLength != 0) {
        const int difference = std::memcmp(l + lStart, r + rStart, lLength);
        if (difference != 0) return fromDifference(difference);
      }
      continue;
    }
    if (l[i] != r[j]) return codeUnitKey(l[i]) < codeUnitKey(r[j]) ? VersionOrder::ascending : VersionOrder::descending;
    ++i;
    ++j;
  }
  const bool leftDone = i == ln;
  const bool rightDone = j == rn;
  if (leftDone && rightDone) return VersionOrder::same;
  return leftDone ? VersionOrder::ascending : VersionOrder::descending;
}

std::string applicationVersion(const Bundle& bundle) {
  return bundle.infoString("CFBundleShortVersionString").value_or("Unknown Version");
}

std::string applicationVersion() {
  const std::optional<Bundle> bundle = Bundle::main();
  if (!bundle) return "Unknown Version";
  return applicationVersion(*bundle);
}

}  // namespace Keel
