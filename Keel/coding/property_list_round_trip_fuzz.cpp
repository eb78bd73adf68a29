// Builds a value tree from the input bytes, writes it as an XML property list
// and reads it back. The writer must refuse exactly the trees property lists
// cannot hold (null, texts XML cannot carry, dates that are not finite or lie
// outside the years 1 to 9999, nesting past maxValueDepth), and whatever it
// writes must read back as the same tree in the reader's normal forms
// (integers as int64, or uint64 above the int64 range; float32 as double;
// URLs as texts).
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string>

#include "Keel/coding/property_list.h"

namespace {

using Keel::AnyValue;
using Keel::Date;
using Keel::TextDictionary;

class Source {
 public:
  Source(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
  std::uint8_t byte() { return at_ < size_ ? data_[at_++] : 0; }
  std::uint64_t bits(std::size_t n) {
    std::uint64_t v = 0;
    for (std::size_t i = 0; i < n; ++i) v = (v << 8) | byte();
    return v;
  }
  std::string bytes(std::size_t n) {
    std::string out;
    for (std::size_t i = 0; i < n && at_ < size_; ++i) out += static_cast<char>(byte());
    return out;
  }
  // Text from pieces that matter to XML, or raw bytes.
  std::string text() {
    static const char* const pieces[] = {"a",
                                         " ",
                                         "\t",
                                         "\n",
                                         "\r",
                                         "&",
                                         "<",
                                         ">",
                                         "]]>",
                                         "\"",
                                         "'",
                                         "\xC3\xA9",
                                         "\xF0\x9F\x98\x80",
                                         "\xEF\xBF\xBD",
                                         "\xEF\xBF\xBE",
                                         "\x7F",
                                         "\x01",
                                         "&amp;"};
    const std::uint8_t n = byte();
    if (n & 0x80) return bytes(n & 0x7F);
    std::string out;
    for (std::uint8_t i = 0; i < (n & 0x0F); ++i) out += pieces[byte() % std::size(pieces)];
    return out;
  }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
  std::size_t at_ = 0;
};

AnyValue build(Source& s, std::size_t depth) {
  const std::uint8_t op = s.byte();
  switch (op % 17) {
    case 0:
      return (op & 0x10) != 0;
    case 1:
      return static_cast<std::int64_t>(s.bits(8));
    case 2:
      return s.bits(8);
    case 3:
      return static_cast<std::int8_t>(s.byte());
    case 4:
      return static_cast<std::uint32_t>(s.bits(4));
    case 5:
      return std::bit_cast<double>(s.bits(8));
    case 6:
      return std::bit_cast<float>(static_cast<std::uint32_t>(s.bits(4)));
    case 7:
      return s.text();
    case 8:
      return Date::withTimeIntervalSinceReferenceDate(std::bit_cast<double>(s.bits(8)));
    // Mostly within the years the XML form holds, with a fraction.
    case 9:
      return Date::withTimeIntervalSinceReferenceDate(
          static_cast<double>(static_cast<std::int64_t>(s.bits(5)) - (std::int64_t{1} << 39)) +
          static_cast<double>(s.bits(2)) / 65536.0);
    case 10: {
      const std::string raw = s.bytes(s.byte());
      return Keel::Data(raw.begin(), raw.end());
    }
    case 11:
      return Keel::URL{s.text()};
    case 12:
      return nullptr;
    case 13: {
      // A chain of single-element arrays, up to a little past the limit.
      const std::size_t levels =
          std::min<std::size_t>(s.bits(2) % 600, Keel::maxValueDepth + 8 - std::min(depth, Keel::maxValueDepth));
      AnyValue v = build(s, depth + levels);
      for (std::size_t i = 0; i < levels; ++i) {
        AnyValue::Array wrapper;  // not Array{v}: an initializer list copies
        wrapper.push_back(std::move(v));
        v = std::move(wrapper);
      }
      return v;
    }
    case 14:
    case 15: {
      AnyValue::Array items;
      if (depth < 8) {
        for (std::uint8_t n = s.byte() % 6; n > 0; --n) items.push_back(build(s, depth + 1));
      }
      return items;
    }
    default: {
      TextDictionary dictionary;
      if (depth < 8) {
        for (std::uint8_t n = s.byte() % 6; n > 0; --n) {
          std::string key = s.text();
          dictionary.insertOrAssign(std::move(key), build(s, depth + 1));
        }
      }
      return dictionary;
    }
  }
}

bool xmlText(std::string_view s) {
  for (std::size_t i = 0; i < s.size();) {
    const auto b = static_cast<unsigned char>(s[i]);
    const std::size_t n = b < 0x80                 ? 1
                          : b >= 0xC2 && b <= 0xDF ? 2
                          : b >= 0xE0 && b <= 0xEF ? 3
                          : b >= 0xF0 && b <= 0xF4 ? 4
                                                   : 0;
    if (n == 0 || i + n > s.size()) return false;
    std::uint32_t c = n == 1 ? b : b & (0x7F >> n);
    for (std::size_t k = 1; k < n; ++k) {
      const auto t = static_cast<unsigned char>(s[i + k]);
      if ((t & 0xC0) != 0x80) return false;
      c = (c << 6) | (t & 0x3F);
    }
    const std::uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    if (c < least[n] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) return false;
    if ((c < 0x20 && c != '\t' && c != '\n' && c != '\r') || c == 0xFFFE || c == 0xFFFF) return false;
    i += n;
  }
  return true;
}

// The tree as the reader gives it back, or nothing when the XML form cannot
// hold it; `levels` counts the containers around `v`.
std::optional<AnyValue> expected(const AnyValue& v, std::size_t levels) {
  using K = AnyValue::Kind;
  switch (v.kind()) {
    case K::null:
      return std::nullopt;
    case K::text:
      return xmlText(v.as<Keel::Text>()) ? std::optional(v) : std::nullopt;
    case K::url:
      return xmlText(v.url()->absoluteString) ? std::optional<AnyValue>(v.url()->absoluteString) : std::nullopt;
    case K::date: {
      // 0001-01-01T00:00:00Z and 10000-01-01T00:00:00Z.
      const double t = v.as<Date>().timeIntervalSinceReferenceDate();
      return t >= -63113904000.0 && t < 252423993600.0 ? std::optional(v) : std::nullopt;
    }
    case K::int8:
      return std::int64_t{v.as<std::int8_t>()};
    case K::uint32:
      return std::int64_t{v.as<std::uint32_t>()};
    case K::uint64: {
      const std::uint64_t u = v.as<std::uint64_t>();
      return u > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())
                 ? AnyValue(u)
                 : AnyValue(static_cast<std::int64_t>(u));
    }
    case K::float32:
      return static_cast<double>(v.as<float>());
    case K::array: {
      if (levels + 1 > Keel::maxValueDepth) return std::nullopt;
      AnyValue::Array out;
      for (const AnyValue& child : v.as<AnyValue::Array>()) {
        auto back = expected(child, levels + 1);
        if (!back) return std::nullopt;
        out.push_back(std::move(*back));
      }
      return out;
    }
    case K::dictionary: {
      if (levels + 1 > Keel::maxValueDepth) return std::nullopt;
      TextDictionary out;
      for (const auto& [key, child] : v.as<TextDictionary>()) {
        auto back = expected(child, levels + 1);
        if (!xmlText(key) || !back) return std::nullopt;
        out.insertOrAssign(key, std::move(*back));
      }
      return out;
    }
    default:
      return v;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Source source(data, size);
  const AnyValue tree = build(source, 0);
  const auto xml = Keel::PropertyList::writeXML(tree);
  const auto want = expected(tree, 0);
  if (xml.ok() != want.has_value()) {
    std::fprintf(stderr, "writer %s a tree it should %s: %s\n", xml.ok() ? "wrote" : "refused",
                 xml.ok() ? "refuse" : "write", xml.ok() ? xml.value().c_str() : xml.error().text().c_str());
    std::abort();
  }
  if (!xml.ok()) return 0;
  const auto back = Keel::PropertyList::read(xml.value());
  if (!back) {
    std::fprintf(stderr, "written list does not read: %s\n%s\n", back.error().c_str(), xml.value().c_str());
    std::abort();
  }
  if (!(*back == *want)) {
    std::fprintf(stderr, "round trip changed the tree:\n%s\n", xml.value().c_str());
    std::abort();
  }
  return 0;
}
