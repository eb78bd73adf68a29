// Checks the version ordering on arbitrary texts: it must be a consistent
// strict weak order and agree with a simple token-by-token reference.
#include "Keel/coding/version.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Keel::VersionOrder;

// A text as tokens: a digit run becomes its value's digits (leading zeros
// dropped) marked as a number; every other byte is one token by itself.
struct Token {
  bool number;
  std::string digits;
  unsigned key;
};

std::vector<Token> tokens(std::string_view text) {
  std::vector<Token> out;
  for (std::size_t i = 0; i < text.size();) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c >= '0' && c <= '9') {
      std::size_t end = i;
      while (end < text.size() && text[end] >= '0' && text[end] <= '9') ++end;
      std::string_view run = text.substr(i, end - i);
      while (!run.empty() && run.front() == '0') run.remove_prefix(1);
      out.push_back({true, std::string(run), '0'});
      i = end;
    } else {
      out.push_back({false, {}, (c == 0xEE || c == 0xEF) ? c + 0x100u : c});
      ++i;
    }
  }
  return out;
}

int compareTokens(const Token& a, const Token& b) {
  if (a.number && b.number) {
    if (a.digits.size() != b.digits.size()) return a.digits.size() < b.digits.size() ? -1 : 1;
    return a.digits.compare(b.digits) < 0 ? -1 : (a.digits == b.digits ? 0 : 1);
  }
  return a.key < b.key ? -1 : (a.key == b.key ? 0 : 1);
}

VersionOrder reference(std::string_view left, std::string_view right) {
  const auto l = tokens(left);
  const auto r = tokens(right);
  for (std::size_t i = 0; i < l.size() && i < r.size(); ++i) {
    const int c = compareTokens(l[i], r[i]);
    if (c != 0) return c < 0 ? VersionOrder::ascending : VersionOrder::descending;
  }
  if (l.size() == r.size()) return VersionOrder::same;
  return l.size() < r.size() ? VersionOrder::ascending : VersionOrder::descending;
}

VersionOrder reversed(VersionOrder o) { return static_cast<VersionOrder>(-static_cast<int>(o)); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Three texts separated by newlines.
  std::string_view input(reinterpret_cast<const char*>(data), size);
  std::string_view parts[3];
  for (auto& part : parts) {
    const std::size_t end = input.find('\n');
    part = input.substr(0, end);
    input = end == std::string_view::npos ? std::string_view() : input.substr(end + 1);
  }
  const auto& [a, b, c] = parts;
  const VersionOrder ab = Keel::compareVersionTexts(a, b);
  const VersionOrder bc = Keel::compareVersionTexts(b, c);
  const VersionOrder ac = Keel::compareVersionTexts(a, c);
  if (Keel::compareVersionTexts(a, a) != VersionOrder::same) std::abort();
  if (Keel::compareVersionTexts(b, a) != reversed(ab)) std::abort();
  if (ab != reference(a, b) || bc != reference(b, c)) std::abort();
  // Transitivity of both the order and the equivalence.
  if (ab == bc && ab != VersionOrder::same && ac != ab) std::abort();
  if (ab == VersionOrder::same && ac != bc) std::abort();
  return 0;
}
