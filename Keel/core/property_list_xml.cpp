// XML property lists on expat. Expat checks the XML (well-formedness, the
// encoding, characters XML does not allow such as NUL); this file checks the
// property-list grammar as elements open and close:
//
//   <plist> holds exactly one value; a value is <dict>, <array>, <string>,
//   <integer>, <real>, <date>, <data>, <true/> or <false/>; a <dict> holds
//   <key>/value pairs; nothing else may hold a <key>; scalars hold text only;
//   containers hold whitespace between their elements.
//
// Containers are built on an explicit stack, and opening one more than
// maxValueDepth deep stops the parser at once, so a document nested a million
// levels is refused after reading its first few kilobytes. Expat itself keeps
// its element stack on the heap.
//
// No entity is ever expanded beyond the five predefined ones and character
// references: a document whose DOCTYPE declares entities is refused (the
// classic amplification and external-file attacks both need a declaration),
// parameter entities are never parsed, and a reference to an entity the
// parser has not seen declared is refused instead of being skipped.
#include <expat.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <limits>
#include <vector>

#include "Keel/core/property_list_date.h"
#include "Keel/core/property_list_formats.h"

namespace Keel::PropertyList::detail {
namespace {

enum class Tag : std::uint8_t { plist, array, dict, key, string, integer, real, date, data, yes, no };

std::optional<Tag> tagNamed(std::string_view name) {
  static constexpr std::pair<std::string_view, Tag> tags[] = {
      {"plist", Tag::plist},   {"array", Tag::array},     {"dict", Tag::dict}, {"key", Tag::key},
      {"string", Tag::string}, {"integer", Tag::integer}, {"real", Tag::real}, {"date", Tag::date},
      {"data", Tag::data},     {"true", Tag::yes},        {"false", Tag::no},
  };
  for (const auto& [n, tag] : tags) {
    if (n == name) return tag;
  }
  return std::nullopt;
}

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

std::string_view trimmed(std::string_view s) {
  while (!s.empty() && isSpace(s.front())) s.remove_prefix(1);
  while (!s.empty() && isSpace(s.back())) s.remove_suffix(1);
  return s;
}

// Decimal, or hexadecimal after "0x"; an optional sign. Leading zeros are
// decimal, never octal. Values from INT64_MIN to UINT64_MAX; those above
// INT64_MAX are unsigned.
std::optional<AnyValue> parseInteger(std::string_view s) {
  s = trimmed(s);
  bool negative = false;
  if (!s.empty() && (s.front() == '-' || s.front() == '+')) {
    negative = s.front() == '-';
    s.remove_prefix(1);
  }
  int base = 10;
  if (s.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X')) {
    base = 16;
    s.remove_prefix(2);
  }
  // from_chars would take a second sign; the digits must come first.
  if (s.empty() || s.front() == '-' || s.front() == '+') return std::nullopt;
  std::uint64_t magnitude = 0;
  const auto r = std::from_chars(s.data(), s.data() + s.size(), magnitude, base);
  if (r.ec != std::errc() || r.ptr != s.data() + s.size()) return std::nullopt;
  constexpr auto maxSigned = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (negative) {
    if (magnitude > maxSigned + 1) return std::nullopt;
    return AnyValue(static_cast<std::int64_t>(0 - magnitude));  // two's complement: -2^63 included
  }
  if (magnitude > maxSigned) return AnyValue(magnitude);
  return AnyValue(static_cast<std::int64_t>(magnitude));
}

// A decimal real, or "nan", "inf", "infinity" (any case, infinities signed).
// Values beyond the double range, or so small they would round to zero, are
// refused rather than rounded to infinity or zero.
std::optional<double> parseReal(std::string_view s) {
  s = trimmed(s);
  if (s.size() > 1 && s.front() == '+' && s[1] != '-' && s[1] != '+') s.remove_prefix(1);
  double value = 0;
  const auto r = std::from_chars(s.data(), s.data() + s.size(), value, std::chars_format::general);
  if (s.empty() || r.ec != std::errc() || r.ptr != s.data() + s.size()) return std::nullopt;
  return value;
}

// Base64 with whitespace anywhere and optional padding.
std::optional<Data> parseData(std::string_view s) {
  Data out;
  out.reserve(s.size() / 4 * 3 + 3);
  std::uint32_t group = 0;
  int digits = 0;
  int padding = 0;
  for (const char c : s) {
    int v = 0;
    if (c >= 'A' && c <= 'Z') {
      v = c - 'A';
    } else if (c >= 'a' && c <= 'z') {
      v = c - 'a' + 26;
    } else if (c >= '0' && c <= '9') {
      v = c - '0' + 52;
    } else if (c == '+') {
      v = 62;
    } else if (c == '/') {
      v = 63;
    } else if (isSpace(c)) {
      continue;
    } else if (c == '=') {
      ++padding;
      continue;
    } else {
      return std::nullopt;
    }
    if (padding != 0) return std::nullopt;  // digits after padding
    group = (group << 6) | static_cast<std::uint32_t>(v);
    if (++digits == 4) {
      out.push_back(static_cast<std::uint8_t>(group >> 16));
      out.push_back(static_cast<std::uint8_t>(group >> 8));
      out.push_back(static_cast<std::uint8_t>(group));
      digits = 0;
      group = 0;
    }
  }
  // Two digits make one byte (padding "=="), three make two ("=").
  if (digits == 1 || (padding != 0 && padding != 4 - digits) || (digits == 0 && padding != 0)) return std::nullopt;
  if (digits == 2) out.push_back(static_cast<std::uint8_t>(group >> 4));
  if (digits == 3) {
    out.push_back(static_cast<std::uint8_t>(group >> 10));
    out.push_back(static_cast<std::uint8_t>(group >> 2));
  }
  return out;
}

class XMLReader {
 public:
  XMLReader() : parser_(XML_ParserCreate(nullptr)) {}
  ~XMLReader() {
    if (parser_ != nullptr) XML_ParserFree(parser_);
  }
  XMLReader(const XMLReader&) = delete;
  XMLReader& operator=(const XMLReader&) = delete;

  ReadResult read(std::span<const std::uint8_t> bytes) {
    if (parser_ == nullptr) return corrupted("out of memory");
    XML_SetUserData(parser_, this);
    XML_SetElementHandler(parser_, &XMLReader::started, &XMLReader::ended);
    XML_SetCharacterDataHandler(parser_, &XMLReader::characters);
    XML_SetEntityDeclHandler(parser_, &XMLReader::entityDeclared);
    XML_SetSkippedEntityHandler(parser_, &XMLReader::entitySkipped);
    XML_SetExternalEntityRefHandler(parser_, &XMLReader::externalEntity);
    XML_SetParamEntityParsing(parser_, XML_PARAM_ENTITY_PARSING_NEVER);

    const char* p = reinterpret_cast<const char*>(bytes.data());
    std::size_t remaining = bytes.size();
    do {
      const std::size_t chunk = std::min<std::size_t>(remaining, INT_MAX / 2);
      remaining -= chunk;
      if (XML_Parse(parser_, p, static_cast<int>(chunk), remaining == 0 ? XML_TRUE : XML_FALSE) != XML_STATUS_OK) {
        if (outOfMemory_) return corrupted("out of memory");
        if (error_.empty()) {
          error_ = std::string("XML: ") + XML_ErrorString(XML_GetErrorCode(parser_)) + " (line " +
                   std::to_string(XML_GetCurrentLineNumber(parser_)) + ")";
        }
        return corrupted(std::move(error_));
      }
      p += chunk;
    } while (remaining != 0);
    if (outOfMemory_) return corrupted("out of memory");
    if (!error_.empty()) return corrupted(std::move(error_));
    if (!root_) return corrupted("no <plist> value");
    return std::move(*root_);
  }

 private:
  struct Frame {
    Tag tag = Tag::plist;
    bool hasKey = false;  // a dictionary's key waits for its value
    AnyValue::Array items;
    TextDictionary::Entries entries;
  };

  static XMLReader& self(void* data) { return *static_cast<XMLReader*>(data); }

  void fail(std::string reason) {
    if (!error_.empty()) return;
    error_ = std::move(reason) + " (line " + std::to_string(XML_GetCurrentLineNumber(parser_)) + ")";
    XML_StopParser(parser_, XML_FALSE);
  }

  // Expat is C: nothing may unwind through it. Stopping allocates nothing, so
  // it cannot throw again.
  template <class F>
  void guarded(F&& f) noexcept {
    if (!error_.empty() || outOfMemory_) return;  // expat may deliver a few events after a stop
    try {
      f();
    } catch (...) {
      outOfMemory_ = true;
      XML_StopParser(parser_, XML_FALSE);
    }
  }

  static void XMLCALL started(void* data, const XML_Char* name, const XML_Char** /*attributes*/) {
    XMLReader& r = self(data);
    r.guarded([&] { r.open(name); });
  }
  static void XMLCALL ended(void* data, const XML_Char* /*name*/) {
    XMLReader& r = self(data);
    r.guarded([&] { r.close(); });
  }
  static void XMLCALL characters(void* data, const XML_Char* s, int length) {
    XMLReader& r = self(data);
    r.guarded([&] { r.text(std::string_view(s, static_cast<std::size_t>(length))); });
  }
  static void XMLCALL entityDeclared(void* data, const XML_Char*, int, const XML_Char*, int, const XML_Char*,
                                     const XML_Char*, const XML_Char*, const XML_Char*) {
    XMLReader& r = self(data);
    r.guarded([&] { r.fail("the document declares entities"); });
  }
  static void XMLCALL entitySkipped(void* data, const XML_Char* name, int /*isParameter*/) {
    XMLReader& r = self(data);
    r.guarded([&] { r.fail(std::string("reference to the undeclared entity ") + name); });
  }
  static int XMLCALL externalEntity(XML_Parser, const XML_Char*, const XML_Char*, const XML_Char*, const XML_Char*) {
    return XML_STATUS_ERROR;
  }

  void open(std::string_view name) {
    if (scalar_) return fail("<" + std::string(name) + "> inside a text value");
    const std::optional<Tag> tag = tagNamed(name);
    if (!tag) return fail("unknown element <" + std::string(name) + ">");
    if (*tag == Tag::plist) {
      if (!stack_.empty()) return fail("<plist> inside a value");
      stack_.emplace_back();
      return;
    }
    if (stack_.empty()) return fail("the document's root is not <plist>");
    const Frame& top = stack_.back();
    switch (top.tag) {
      case Tag::plist:
        if (!top.items.empty()) return fail("<plist> holds more than one value");
        [[fallthrough]];
      case Tag::array:
        if (*tag == Tag::key) return fail("<key> outside a dictionary");
        break;
      case Tag::dict:
        if (*tag == Tag::key && top.hasKey) return fail("two keys without a value between them");
        if (*tag != Tag::key && !top.hasKey) return fail("a dictionary value without a key");
        break;
      default:
        break;
    }
    if (*tag == Tag::array || *tag == Tag::dict) {
      if (stack_.size() > maxValueDepth) {  // the <plist> frame is not a level
        return fail("nested deeper than " + std::to_string(maxValueDepth) + " levels");
      }
      stack_.emplace_back().tag = *tag;
      return;
    }
    scalar_ = *tag;
    text_.clear();
  }

  void text(std::string_view s) {
    if (scalar_ == Tag::yes || scalar_ == Tag::no) return fail("<true/> and <false/> hold nothing");
    if (scalar_) {
      text_ += s;
      return;
    }
    for (const char c : s) {
      if (!isSpace(c)) return fail("text outside a value");
    }
  }

  void close() {
    if (scalar_) {
      const Tag tag = *scalar_;
      scalar_.reset();
      return closeScalar(tag);
    }
    Frame done = std::move(stack_.back());
    stack_.pop_back();
    switch (done.tag) {
      case Tag::plist:
        if (done.items.empty()) return fail("<plist> holds no value");
        root_ = std::move(done.items.front());
        return;
      case Tag::dict:
        if (done.hasKey) return fail("<key> without a value");
        return deliver(TextDictionary::fromEntries(std::move(done.entries)));
      default:
        return deliver(std::move(done.items));
    }
  }

  void closeScalar(Tag tag) {
    switch (tag) {
      case Tag::key: {
        Frame& top = stack_.back();
        top.entries.emplace_back(std::move(text_), AnyValue());
        top.hasKey = true;
        text_.clear();
        return;
      }
      case Tag::string: {
        std::string s = std::move(text_);
        text_.clear();
        return deliver(std::move(s));
      }
      case Tag::integer:
        if (auto v = parseInteger(text_)) return deliver(std::move(*v));
        return fail("<integer> does not hold a 64-bit integer");
      case Tag::real:
        if (auto v = parseReal(text_)) return deliver(*v);
        return fail("<real> does not hold a number in the range of doubles");
      case Tag::date:
        if (auto v = parseDateText(trimmed(text_))) return deliver(Date::withTimeIntervalSinceReferenceDate(*v));
        return fail("<date> does not hold a date of the form 2001-01-01T00:00:00Z");
      case Tag::data:
        if (auto v = parseData(text_)) return deliver(std::move(*v));
        return fail("<data> does not hold base64");
      case Tag::yes:
        return deliver(true);
      case Tag::no:
        return deliver(false);
      default:
        return;
    }
  }

  void deliver(AnyValue value) {
    Frame& top = stack_.back();
    if (top.tag == Tag::dict) {
      top.entries.back().second = std::move(value);
      top.hasKey = false;
    } else {
      top.items.push_back(std::move(value));
    }
  }

  XML_Parser parser_;
  std::vector<Frame> stack_;
  std::optional<Tag> scalar_;  // the text-holding element open now
  std::string text_;
  std::optional<AnyValue> root_;
  std::string error_;
  bool outOfMemory_ = false;
};

}  // namespace

ReadResult readXML(std::span<const std::uint8_t> bytes) { return XMLReader().read(bytes); }

}  // namespace Keel::PropertyList::detail
