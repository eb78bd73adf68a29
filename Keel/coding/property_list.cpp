// The coding framework's property lists: reading through the core reader, and
// XML property-list writing.
#include "Keel/coding/property_list.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>

#include "Keel/core/property_list_date.h"

namespace Keel::PropertyList {

CodingResult<AnyValue> parse(std::span<const std::uint8_t> bytes) {
  ReadResult tree = read(bytes);
  if (!tree) {
    return CodingError{
        CodingError::Kind::dataCorrupted, {}, "The given data was not a valid property list: " + std::move(tree).error()};
  }
  return std::move(tree).value();
}

CodingResult<AnyValue> parse(std::string_view bytes) {
  return parse(std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
}

namespace {

std::string_view urlText(const AnyValue& v) {
  const URL* url = v.url();
  return url != nullptr ? std::string_view(url->absoluteString) : std::string_view();
}

// The length of the UTF-8 sequence at the start of `s` and its code point, or
// 0 when it is not a valid sequence (overlong, a surrogate, beyond U+10FFFF,
// truncated).
std::size_t decodeUTF8(std::string_view s, std::uint32_t& c) {
  const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(s[i]); };
  const std::uint8_t b = byte(0);
  std::size_t n = 0;
  std::uint32_t min = 0;
  if (b < 0x80) {
    c = b;
    return 1;
  }
  if (b >= 0xC2 && b <= 0xDF) {
    n = 2;
    c = b & 0x1F;
    min = 0x80;
  } else if (b >= 0xE0 && b <= 0xEF) {
    n = 3;
    c = b & 0x0F;
    min = 0x800;
  } else if (b >= 0xF0 && b <= 0xF4) {
    n = 4;
    c = b & 0x07;
    min = 0x10000;
  } else {
    return 0;
  }
  if (s.size() < n) return 0;
  for (std::size_t i = 1; i < n; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
    c = (c << 6) | (byte(i) & 0x3F);
  }
  if (c < min || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) return 0;
  return n;
}

class XMLWriter {
 public:
  CodingStatus value(const AnyValue& v, const CodingPathLink* path) {
    using K = AnyValue::Kind;
    // A value at depth d lies inside d containers; a container there is the
    // (d + 1)th level, and readers take at most maxCodingDepth levels.
    const std::size_t depth = path != nullptr ? path->depth : 0;
    const bool container = v.kind() == K::array || v.kind() == K::dictionary;
    if (depth + (container ? 1 : 0) > maxCodingDepth) return detail::tooDeep(path, false);
    switch (v.kind()) {
      case K::null:
        return invalid(path, "Property lists have no null value.");
      case K::boolean:
        out_ += v.as<bool>() ? "<true/>" : "<false/>";
        return {};
      case K::int8:
        return integer(v.as<std::int8_t>());
      case K::int16:
        return integer(v.as<std::int16_t>());
      case K::int32:
        return integer(v.as<std::int32_t>());
      case K::int64:
        return integer(v.as<std::int64_t>());
      case K::uint8:
        return integer(v.as<std::uint8_t>());
      case K::uint16:
        return integer(v.as<std::uint16_t>());
      case K::uint32:
        return integer(v.as<std::uint32_t>());
      case K::uint64:
        return integer(v.as<std::uint64_t>());
      case K::float32:
        return real(static_cast<double>(v.as<float>()));
      case K::float64:
        return real(v.as<double>());
      case K::text:
        return text("string", v.as<Text>(), path);
      case K::url:
        return text("string", urlText(v), path);
      case K::date:
        return date(v.as<Date>().timeIntervalSinceReferenceDate(), path);
      case K::data:
        data(v.as<Data>());
        return {};
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
      case K::hashedDictionary:
        return invalid(path, "Dictionary keys must be texts in a property list.");
      case K::boxedNumber:
        return invalid(path, "Boxed numbers are written through their encoding.");
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

  // XML holds tab, line feed and carriage return but no other control
  // character, and neither U+FFFE nor U+FFFF. A carriage return goes out as a
  // character reference: parsers turn a literal one into a line feed.
  CodingStatus text(const char* tag, std::string_view s, const CodingPathLink* path) {
    out_ += '<';
    out_ += tag;
    out_ += '>';
    while (!s.empty()) {
      std::uint32_t c = 0;
      const std::size_t n = decodeUTF8(s, c);
      if (n == 0) return invalid(path, "Text is not valid UTF-8.");
      if ((c < 0x20 && c != '\t' && c != '\n' && c != '\r') || c == 0xFFFE || c == 0xFFFF) {
        return invalid(path, "Text holds a character that XML cannot hold.");
      }
      switch (c) {
        case '&':
          out_ += "&amp;";
          break;
        case '<':
          out_ += "&lt;";
          break;
        case '>':
          out_ += "&gt;";
          break;
        case '\r':
          out_ += "&#13;";
          break;
        default:
          out_.append(s.data(), n);
      }
      s.remove_prefix(n);
    }
    out_ += "</";
    out_ += tag;
    out_ += '>';
    return {};
  }

  CodingStatus date(double seconds, const CodingPathLink* path) {
    const std::optional<std::string> text = dateText(seconds);
    if (!text)
      return invalid(path, "Date is not finite or lies outside the years 1 to 9999 that XML property lists hold.");
    out_ += "<date>";
    out_ += *text;
    out_ += "</date>";
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
