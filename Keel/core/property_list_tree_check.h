// What every tree the property-list reader gives must satisfy, for the
// fuzzers: only the kinds the formats hold, unsigned integers only above the
// signed range, finite dates, texts and keys in valid UTF-8 without NUL,
// unique keys, at most maxValueDepth levels. Stops the process on the first
// violation.
#pragma once

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <set>
#include <string_view>

#include "Keel/core/property_list_reader.h"

namespace Keel::PropertyListFuzzing {

[[noreturn]] inline void violated(const char* what) {
  std::fprintf(stderr, "property-list tree check failed: %s\n", what);
  std::abort();
}

inline void checkText(std::string_view s) {
  for (std::size_t i = 0; i < s.size();) {
    const auto b = static_cast<unsigned char>(s[i]);
    if (b == 0) violated("text holds NUL");
    const std::size_t n = b < 0x80                 ? 1
                          : b >= 0xC2 && b <= 0xDF ? 2
                          : b >= 0xE0 && b <= 0xEF ? 3
                          : b >= 0xF0 && b <= 0xF4 ? 4
                                                   : 0;
    if (n == 0 || i + n > s.size()) violated("text is not UTF-8");
    std::uint32_t c = n == 1 ? b : b & (0x7F >> n);
    for (std::size_t k = 1; k < n; ++k) {
      const auto t = static_cast<unsigned char>(s[i + k]);
      if ((t & 0xC0) != 0x80) violated("text is not UTF-8");
      c = (c << 6) | (t & 0x3F);
    }
    const std::uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    if (c < least[n] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) violated("text is not UTF-8");
    i += n;
  }
}

inline void checkTree(const AnyValue& v, std::size_t depth = 0) {
  using K = AnyValue::Kind;
  switch (v.kind()) {
    case K::boolean:
    case K::int64:
    case K::float64:
    case K::data:
      return;
    case K::uint64:
      if (v.as<std::uint64_t>() <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        violated("unsigned integer within the signed range");
      }
      return;
    case K::date:
      if (!std::isfinite(v.as<Date>().timeIntervalSinceReferenceDate())) violated("date is not finite");
      return;
    case K::text:
      return checkText(v.as<Text>());
    case K::array:
      if (depth >= maxValueDepth) violated("nested too deep");
      for (const AnyValue& child : v.as<AnyValue::Array>()) checkTree(child, depth + 1);
      return;
    case K::dictionary: {
      if (depth >= maxValueDepth) violated("nested too deep");
      std::set<std::string_view> keys;
      for (const auto& [key, child] : v.as<TextDictionary>()) {
        checkText(key);
        if (!keys.insert(key).second) violated("repeated key");
        checkTree(child, depth + 1);
      }
      return;
    }
    default:
      violated("a kind property lists do not hold");
  }
}

inline void checkResult(const PropertyList::ReadResult& result) {
  if (!result) {
    if (result.error().empty()) violated("a failure needs a reason");
  } else {
    checkTree(*result);
  }
}

}  // namespace Keel::PropertyListFuzzing
