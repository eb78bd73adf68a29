// Property-list reading on libplist and XML property-list writing.
#include "Keel/coding/property_list.h"

#include <plist/plist.h>

#include <algorithm>
#include <charconv>
#include <cctype>
#include <cstring>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace Keel::PropertyList {
namespace {

struct PlistFree {
  void operator()(plist_t node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<void, PlistFree>;

struct FreeText {
  void operator()(void* p) const { std::free(p); }
};
using OwnedText = std::unique_ptr<char, FreeText>;

CodingError corrupted(std::string reason) {
  return {CodingError::Kind::dataCorrupted, {}, "The given data was not a valid property list: " + std::move(reason)};
}

// Converts libplist's tree; `depth` counts enclosing containers.
CodingResult<AnyValue> build(plist_t node, std::size_t depth) {
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      std::uint8_t b = 0;
      plist_get_bool_val(node, &b);
      return AnyValue(b != 0);
    }
    case PLIST_UINT: {
      std::uint64_t u = 0;
      plist_get_uint_val(node, &u);
      // Two's complement: the reader's unsigned 64-bit value is the stored
      // signed one.
      return AnyValue(static_cast<std::int64_t>(u));
    }
    case PLIST_UID: {
      std::uint64_t u = 0;
      plist_get_uid_val(node, &u);
      return AnyValue(static_cast<std::int64_t>(u));
    }
    case PLIST_REAL: {
      double d = 0;
      plist_get_real_val(node, &d);
      return AnyValue(d);
    }
    case PLIST_STRING:
    case PLIST_KEY: {
      char* raw = nullptr;
      if (plist_get_node_type(node) == PLIST_STRING) {
        plist_get_string_val(node, &raw);
      } else {
        plist_get_key_val(node, &raw);
      }
      const OwnedText text(raw);
      return AnyValue(std::string(raw != nullptr ? raw : ""));
    }
    case PLIST_DATE: {
      std::int32_t seconds = 0;
      std::int32_t microseconds = 0;
      plist_get_date_val(node, &seconds, &microseconds);
      return AnyValue(Date::withTimeIntervalSinceReferenceDate(static_cast<double>(seconds) + static_cast<double>(microseconds) / 1e6));
    }
    case PLIST_DATA: {
      char* raw = nullptr;
      std::uint64_t length = 0;
      plist_get_data_val(node, &raw, &length);
      const OwnedText bytes(raw);
      const auto* begin = reinterpret_cast<const std::uint8_t*>(raw);
      return AnyValue(raw != nullptr ? Data(begin, begin + length) : Data());
    }
    case PLIST_ARRAY: {
      if (depth >= maxCodingDepth) return corrupted("nested deeper than " + std::to_string(maxCodingDepth) + " levels");
      const std::uint32_t n = plist_array_get_size(node);
      AnyValue::Array out;
      out.reserve(n);
      for (std::uint32_t i = 0; i < n; ++i) {
        auto child = build(plist_array_get_item(node, i), depth + 1);
        if (!child) return child;
        out.push_back(std::move(child).value());
      }
      return AnyValue(std::move(out));
    }
    case PLIST_DICT: {
      if (depth >= maxCodingDepth) return corrupted("nested deeper than " + std::to_string(maxCodingDepth) + " levels");
      std::vector<TextDictionary::Entry> entries;
      entries.reserve(plist_dict_get_size(node));
      plist_dict_iter it = nullptr;
      plist_dict_new_iter(node, &it);
      const std::unique_ptr<void, FreeText> iterator(it);
      for (;;) {
        char* rawKey = nullptr;
        plist_t child = nullptr;
        plist_dict_next_item(node, it, &rawKey, &child);
        const OwnedText key(rawKey);
        if (child == nullptr) break;
        auto value = build(child, depth + 1);
        if (!value) return value;
        entries.emplace_back(std::string(rawKey != nullptr ? rawKey : ""), std::move(value).value());
      }
      return AnyValue(TextDictionary::fromEntries(std::move(entries)));
    }
    default: return corrupted("unsupported node");
  }
}

std::uint64_t bigEndian(const std::uint8_t* p, std::size_t n) {
  std::uint64_t v = 0;
  for (std::size_t i = 0; i < n; ++i) v = (v << 8) | p[i];
  return v;
}

// libplist 2.2 aborts (a failed assertion in its text getter) on a binary
// property-list string holding a NUL character. Such lists are refused before
// libplist sees them: every object the offset table names is checked, which
// is linear in the size of the input (a well-formed list's strings do not
// overlap, so more string bytes than the input holds means a malformed list,
// refused as well). True when the input may be passed on.
bool binaryStringsAreSafe(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view magic = "bplist00";
  const std::size_t size = bytes.size();
  if (size < magic.size() + 32 || std::memcmp(bytes.data(), magic.data(), magic.size()) != 0) return true;
  const std::uint8_t* trailer = bytes.data() + size - 32;
  const std::size_t offsetSize = trailer[6];
  const std::uint64_t count = bigEndian(trailer + 8, 8);
  const std::uint64_t table = bigEndian(trailer + 24, 8);
  if (offsetSize == 0 || offsetSize > 8 || table >= size) return true;  // libplist refuses these itself
  const std::uint64_t entries = std::min<std::uint64_t>(count, (size - table) / offsetSize);
  std::uint64_t scanned = 0;
  for (std::uint64_t i = 0; i < entries; ++i) {
    const std::uint64_t offset = bigEndian(bytes.data() + table + i * offsetSize, offsetSize);
    if (offset >= size) continue;
    const std::uint8_t marker = bytes[offset];
    const unsigned type = marker >> 4;
    if (type != 0x5 && type != 0x6) continue;
    std::uint64_t length = marker & 0xF;
    std::uint64_t start = offset + 1;
    if (length == 0xF) {
      if (start >= size || (bytes[start] >> 4) != 0x1) continue;
      const std::size_t lengthBytes = std::size_t{1} << (bytes[start] & 0x3);
      if (start + 1 + lengthBytes > size) continue;
      length = bigEndian(bytes.data() + start + 1, lengthBytes);
      start += 1 + lengthBytes;
    }
    const std::uint64_t unit = type == 0x6 ? 2 : 1;
    const std::uint64_t end = length > (size - std::min<std::uint64_t>(start, size)) / unit ? size : start + length * unit;
    if (end > start) scanned += end - start;
    if (scanned > size) return false;
    for (std::uint64_t at = start; at + unit <= end; at += unit) {
      if (bytes[at] == 0 && (unit == 1 || bytes[at + 1] == 0)) return false;
    }
  }
  return true;
}

// The same defect through XML: a raw NUL byte or a character reference to
// NUL ("&#0;", "&#x00;") in a text. A text-format list has no business
// holding either anywhere, so the whole input is refused.
bool xmlTextIsSafe(std::span<const std::uint8_t> bytes) {
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (text.starts_with("bplist")) return true;
  if (text.find('\0') != std::string_view::npos) return false;
  for (std::size_t at = text.find("&#"); at != std::string_view::npos; at = text.find("&#", at + 2)) {
    std::size_t i = at + 2;
    const bool hex = i < text.size() && (text[i] == 'x' || text[i] == 'X');
    if (hex) ++i;
    const std::size_t digits = i;
    while (i < text.size() && text[i] == '0') ++i;
    if (i > digits && (i == text.size() || text[i] == ';' || !(hex ? std::isxdigit(static_cast<unsigned char>(text[i]))
                                                                   : std::isdigit(static_cast<unsigned char>(text[i]))))) {
      return false;
    }
  }
  return true;
}

}  // namespace

CodingResult<AnyValue> parse(std::span<const std::uint8_t> bytes) {
  if (bytes.empty() || bytes.size() >= UINT32_MAX) return corrupted("empty or too large");
  if (!binaryStringsAreSafe(bytes) || !xmlTextIsSafe(bytes)) return corrupted("text holds a NUL character");
  plist_t root = nullptr;
  plist_from_memory(reinterpret_cast<const char*>(bytes.data()), static_cast<std::uint32_t>(bytes.size()), &root);
  const PlistPtr owned(root);
  if (root == nullptr) return corrupted("unreadable");
  return build(root, 0);
}

CodingResult<AnyValue> parse(std::string_view bytes) {
  return parse(std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
}

std::optional<std::string> topLevelString(std::span<const std::uint8_t> bytes, std::string_view key) {
  auto tree = parse(bytes);
  if (!tree) return std::nullopt;
  const auto* dictionary = tree->getIf<TextDictionary>();
  if (dictionary == nullptr) return std::nullopt;
  AnyValue* value = tree->as<TextDictionary>().find(key);
  if (value == nullptr) return std::nullopt;
  if (auto* text = value->getIf<std::string>()) return std::move(*text);
  return std::nullopt;
}

namespace {

std::string_view urlText(const AnyValue& v) {
  const URL* url = v.url();
  return url != nullptr ? std::string_view(url->absoluteString) : std::string_view();
}

// Civil date from days since 1970-01-01 (Howard Hinnant's algorithm).
void civilFromDays(std::int64_t z, std::int64_t& y, unsigned& m, unsigned& d) {
  z += 719468;
  const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const auto doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  y = static_cast<std::int64_t>(yoe) + era * 400;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  d = doy - (153 * mp + 2) / 5 + 1;
  m = mp < 10 ? mp + 3 : mp - 9;
  if (m <= 2) ++y;
}

class XMLWriter {
 public:
  CodingStatus value(const AnyValue& v, const CodingPathLink* path) {
    using K = AnyValue::Kind;
    if (path != nullptr && path->depth > maxCodingDepth) return detail::tooDeep(path, false);
    switch (v.kind()) {
      case K::null: return invalid(path, "Property lists have no null value.");
      case K::boolean: out_ += v.as<bool>() ? "<true/>" : "<false/>"; return {};
      case K::int8: return integer(v.as<std::int8_t>());
      case K::int16: return integer(v.as<std::int16_t>());
      case K::int32: return integer(v.as<std::int32_t>());
      case K::int64: return integer(v.as<std::int64_t>());
      case K::uint8: return integer(v.as<std::uint8_t>());
      case K::uint16: return integer(v.as<std::uint16_t>());
      case K::uint32: return integer(v.as<std::uint32_t>());
      case K::uint64: {
        const std::uint64_t u = v.as<std::uint64_t>();
        if (u > static_cast<std::uint64_t>(INT64_MAX)) {
          return invalid(path, "Property lists store signed 64-bit integers; the value is too large.");
        }
        return integer(u);
      }
      case K::float32: return real(static_cast<double>(v.as<float>()));
      case K::float64: return real(v.as<double>());
      case K::text: return text("string", v.as<std::string>(), path);
      case K::url: return text("string", urlText(v), path);
      case K::date: return date(v.as<Date>().timeIntervalSinceReferenceDate(), path);
      case K::data: data(v.as<Data>()); return {};
      case K::array: {
        const auto& array = v.as<AnyValue::Array>();
        if (array.empty()) {
          out_ += "<array/>";
          return {};
        }
        out_ += "<array>";
        for (std::size_t i = 0; i < array.size(); ++i) {
          const CodingPathLink link = detail::childLink(path, i);
          if (CodingStatus s = value(array[i], &link); !s) return s;
        }
        out_ += "</array>";
        return {};
      }
      case K::dictionary: {
        const auto& dictionary = v.as<TextDictionary>();
        if (dictionary.empty()) {
          out_ += "<dict/>";
          return {};
        }
        out_ += "<dict>";
        for (const auto& [key, child] : dictionary) {
          const CodingPathLink link = detail::childLink(path, key);
          if (CodingStatus s = text("key", key, &link); !s) return s;
          if (CodingStatus s = value(child, &link); !s) return s;
        }
        out_ += "</dict>";
        return {};
      }
      case K::hashedDictionary: return invalid(path, "Dictionary keys must be texts in a property list.");
      case K::boxedNumber: return invalid(path, "Boxed numbers are written through their encoding.");
    }
    return invalid(path, "Value has no property-list form.");
  }

  std::string take() { return std::move(out_); }
  void append(std::string_view s) { out_ += s; }

 private:
  static CodingError invalid(const CodingPathLink* path, std::string description) {
    return {CodingError::Kind::invalidValue, materialize(path), std::move(description)};
  }

  template <class I>
  CodingStatus integer(I v) {
    char buffer[24];
    const auto r = std::to_chars(buffer, buffer + sizeof buffer, v);
    out_ += "<integer>";
    out_.append(buffer, r.ptr);
    out_ += "</integer>";
    return {};
  }

  CodingStatus real(double v) {
    out_ += "<real>";
    if (std::isnan(v)) {
      out_ += "nan";
    } else if (std::isinf(v)) {
      out_ += v > 0 ? "inf" : "-inf";
    } else {
      char buffer[40];
      const auto r = std::to_chars(buffer, buffer + sizeof buffer, v);
      out_.append(buffer, r.ptr);
    }
    out_ += "</real>";
    return {};
  }

  CodingStatus text(const char* tag, std::string_view s, const CodingPathLink* path) {
    out_ += '<';
    out_ += tag;
    out_ += '>';
    for (const char ch : s) {
      const auto c = static_cast<unsigned char>(ch);
      if (c < 0x20 && c != '\t' && c != '\n') {
        return invalid(path, "Text holds a control character that XML cannot hold.");
      }
      switch (ch) {
        case '&': out_ += "&amp;"; break;
        case '<': out_ += "&lt;"; break;
        case '>': out_ += "&gt;"; break;
        default: out_ += ch;
      }
    }
    out_ += "</";
    out_ += tag;
    out_ += '>';
    return {};
  }

  CodingStatus date(double seconds, const CodingPathLink* path) {
    if (!std::isfinite(seconds) || std::fabs(seconds) > 1e15) return invalid(path, "Date is out of range.");
    const auto whole = static_cast<std::int64_t>(std::floor(seconds)) + 978307200;  // to 1970-based
    std::int64_t days = whole / 86400;
    std::int64_t rest = whole % 86400;
    if (rest < 0) {
      rest += 86400;
      --days;
    }
    std::int64_t year = 0;
    unsigned month = 0;
    unsigned day = 0;
    civilFromDays(days, year, month, day);
    char buffer[64];
    const int n = std::snprintf(buffer, sizeof buffer, "<date>%04lld-%02u-%02uT%02lld:%02lld:%02lldZ</date>",
                                static_cast<long long>(year), month, day, static_cast<long long>(rest / 3600),
                                static_cast<long long>(rest / 60 % 60), static_cast<long long>(rest % 60));
    out_.append(buffer, static_cast<std::size_t>(n));
    return {};
  }

  void data(const Data& bytes) {
    static constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    out_ += "<data>";
    std::size_t i = 0;
    for (; i + 2 < bytes.size(); i += 3) {
      const unsigned v = (unsigned{bytes[i]} << 16) | (unsigned{bytes[i + 1]} << 8) | bytes[i + 2];
      const char quad[] = {alphabet[v >> 18], alphabet[(v >> 12) & 63], alphabet[(v >> 6) & 63], alphabet[v & 63]};
      out_.append(quad, 4);
    }
    if (i + 1 == bytes.size()) {
      const unsigned v = unsigned{bytes[i]} << 16;
      const char quad[] = {alphabet[v >> 18], alphabet[(v >> 12) & 63], '=', '='};
      out_.append(quad, 4);
    } else if (i + 2 == bytes.size()) {
      const unsigned v = (unsigned{bytes[i]} << 16) | (unsigned{bytes[i + 1]} << 8);
      const char quad[] = {alphabet[v >> 18], alphabet[(v >> 12) & 63], alphabet[(v >> 6) & 63], '='};
      out_.append(quad, 4);
    }
    out_ += "</data>";
  }

  std::string out_;
};

}  // namespace

CodingResult<std::string> writeXML(const AnyValue& tree) {
  XMLWriter writer;
  writer.append(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
      "<plist version=\"1.0\">\n");
  if (CodingStatus s = writer.value(tree, nullptr); !s) return s.error();
  writer.append("\n</plist>\n");
  return writer.take();
}

}  // namespace Keel::PropertyList
