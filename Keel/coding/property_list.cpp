// The coding framework's property lists: reading through the core reader, and
// XML property-list writing.
#include "Keel/coding/property_list.h"

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

CodingResult<AnyValue> parse(std::span<const std::uint8_t> bytes) {
  ReadResult tree = read(bytes);
  if (!tree) {
    return CodingError{CodingError::Kind::dataCorrupted, {},
                       "The given data was not a valid property list: " + std::move(tree.error)};
  }
  return std::move(*tree.value);
}

CodingResult<AnyValue> parse(std::string_view bytes) {
  return parse(std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
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
