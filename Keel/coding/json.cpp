// JSON reading on simdjson's DOM parser and JSON writing.
//
// The DOM parser validates the whole document (structure, UTF-8, numbers,
// depth) before any tree is built, so a bad document costs no allocation of
// ours, and it knows each container's size, so the tree reserves exactly.
#include "Keel/coding/json.h"

#include <simdjson.h>

#include <algorithm>
#include <charconv>
#include <cmath>

namespace Keel::JSON {
namespace {

simdjson::dom::parser makeParser() {
  simdjson::dom::parser parser;
  // On failure the parser allocates on first use instead, with simdjson's
  // own depth limit (1024), which still bounds the tree builder.
  if (parser.allocate(4096, maxCodingDepth) != simdjson::SUCCESS) return simdjson::dom::parser();
  return parser;
}

// Buffers grown beyond this are released after the parse rather than kept
// for the thread's next document.
constexpr std::size_t keptParserCapacity = std::size_t{64} << 20;

simdjson::dom::parser& threadParser() {
  // One parser per thread keeps its buffers between documents (the parser is
  // not thread-safe and its allocation is the costly part of a small parse).
  thread_local simdjson::dom::parser parser = makeParser();
  return parser;
}

// Builds each node in its final place (no temporaries to move and destroy),
// with the containers and texts in `arena` when there is one.
class TreeBuilder {
 public:
  explicit TreeBuilder(TreeArena* arena) : arena_(arena) {}

  void build(simdjson::dom::element element, AnyValue& into) {
    using T = simdjson::dom::element_type;
    switch (element.type()) {
      case T::NULL_VALUE:
        return;
      case T::BOOL:
        into.emplace<bool>(element.get_bool().value_unsafe());
        return;
      case T::INT64:
        into.emplace<std::int64_t>(element.get_int64().value_unsafe());
        return;
      case T::UINT64:
        into.emplace<std::uint64_t>(element.get_uint64().value_unsafe());
        return;
      case T::DOUBLE:
        into.emplace<double>(element.get_double().value_unsafe());
        return;
      case T::STRING:
        into.emplace<Text>(element.get_string().value_unsafe(), arena_);
        return;
      case T::ARRAY: {
        const simdjson::dom::array array = element.get_array().value_unsafe();
        auto& out = into.emplace<AnyValue::Array>(arena_, array.size());
        for (simdjson::dom::element child : array) build(child, out.emplace_back());
        return;
      }
      case T::OBJECT: {
        const simdjson::dom::object object = element.get_object().value_unsafe();
        auto& out = into.emplace<TextDictionary>(arena_, object.size());
        for (simdjson::dom::key_value_pair field : object) build(field.value, out.appendUnchecked(field.key));
        out.keepLastOfRepeatedKeys();
        return;
      }
    }
  }

 private:
  TreeArena* arena_;
};

// Documents from this size on get an arena; a smaller tree is built on the
// heap, where its few nodes cost less than mapping a block.
constexpr std::size_t arenaFrom = std::size_t{64} << 10;

// An upper bound on the tree bytes of a document of `length` bytes. The
// densest forms are short containers and texts: `["a"],` is 6 bytes of JSON
// and 56 of tree (a 24-byte container header, a 16-byte node, a 16-byte
// text), `{"a":1},` is 8 and 64; no form comes near 16 bytes per byte. Should
// the bound ever fall short, the rest goes to the heap.
std::size_t arenaCapacity(std::size_t length) {
  constexpr std::size_t perByte = 16;
  return length > (std::size_t{1} << 40) / perByte ? 0 : length * perByte + 64;
}

}  // namespace

CodingResult<AnyValue> parse(std::string_view bytes) {
  simdjson::dom::parser& parser = threadParser();
  simdjson::dom::element root;
  const simdjson::error_code error = parser.parse(bytes.data(), bytes.size()).get(root);
  if (error != simdjson::SUCCESS) {
    if (parser.capacity() > keptParserCapacity) parser = makeParser();
    std::string reason = error == simdjson::DEPTH_ERROR
                             ? "document nested deeper than " + std::to_string(maxCodingDepth) + " levels"
                             : simdjson::error_message(error);
    return CodingError{CodingError::Kind::dataCorrupted, {}, "The given data was not valid JSON: " + reason};
  }
  CodingResult<AnyValue> tree{AnyValue()};
  // Only containers hold the arena, so a lone text at the root stays off it.
  const bool container =
      root.type() == simdjson::dom::element_type::ARRAY || root.type() == simdjson::dom::element_type::OBJECT;
  TreeArena* arena = container && bytes.size() >= arenaFrom ? TreeArena::create(arenaCapacity(bytes.size())) : nullptr;
  TreeBuilder(arena).build(root, tree.value());
  if (arena != nullptr) {
    // The containers hold the arena now; from here on it only gives back.
    arena->seal();
    arena->release();
  }
  if (parser.capacity() > keptParserCapacity) parser = makeParser();
  return tree;
}

namespace {

std::string_view urlText(const AnyValue& v) {
  const URL* url = v.url();
  return url != nullptr ? std::string_view(url->absoluteString) : std::string_view();
}

class Writer {
 public:
  explicit Writer(const WriteOptions& options) : options_(options) {}

  CodingStatus value(const AnyValue& v, const CodingPathLink* path) {
    using K = AnyValue::Kind;
    // The reader refuses a value below maxCodingDepth containers (an empty
    // one at the deepest level is the most it takes), so the writer stops
    // there too and every document it writes reads back.
    if (path != nullptr && path->depth >= maxCodingDepth) return detail::tooDeep(path, false);
    switch (v.kind()) {
      case K::null:
        out_ += "null";
        return {};
      case K::boolean:
        out_ += v.as<bool>() ? "true" : "false";
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
        return floating(v.as<float>(), path);
      case K::float64:
        return floating(v.as<double>(), path);
      case K::text:
        return text(v.as<Text>(), path);
      case K::url:
        return text(urlText(v), path);
      case K::date: {
        const Date& date = v.as<Date>();
        return floating(options_.dateStrategy == DateStrategy::secondsSince1970 ? date.timeIntervalSince1970()
                                                                                : date.timeIntervalSinceReferenceDate(),
                        path);
      }
      case K::array: {
        const auto& array = v.as<AnyValue::Array>();
        out_ += '[';
        for (std::size_t i = 0; i < array.size(); ++i) {
          if (i != 0) out_ += ',';
          const CodingPathLink link = detail::childLink(path, i);
          if (CodingStatus s = value(array[i], &link); !s) return s;
        }
        out_ += ']';
        return {};
      }
      case K::dictionary: {
        out_ += '{';
        bool first = true;
        for (const auto& [key, child] : v.as<TextDictionary>()) {
          if (!first) out_ += ',';
          first = false;
          const CodingPathLink link = detail::childLink(path, key);
          if (CodingStatus s = text(key, &link); !s) return s;
          out_ += ':';
          if (CodingStatus s = value(child, &link); !s) return s;
        }
        out_ += '}';
        return {};
      }
      case K::hashedDictionary:
        return invalid(path, "Dictionary keys must be texts to be written as JSON.");
      case K::boxedNumber:
        return invalid(path, "Boxed numbers are written through their encoding.");
      case K::data:
        return invalid(path, "Data has no JSON form.");
    }
    return invalid(path, "Value has no JSON form.");
  }

  std::string take() { return std::move(out_); }
  void reserve(std::size_t n) { out_.reserve(n); }

 private:
  static CodingError invalid(const CodingPathLink* path, std::string description) {
    return {CodingError::Kind::invalidValue, materialize(path), std::move(description)};
  }

  template <class I>
  CodingStatus integer(I v) {
    char buffer[24];
    const auto r = std::to_chars(buffer, buffer + sizeof buffer, v);
    out_.append(buffer, r.ptr);
    return {};
  }

  template <class F>
  CodingStatus floating(F v, const CodingPathLink* path) {
    if (!std::isfinite(v)) return invalid(path, "Non-finite number has no JSON form.");
    char buffer[40];
    const auto r = std::to_chars(buffer, buffer + sizeof buffer, v);
    const std::string_view digits(buffer, static_cast<std::size_t>(r.ptr - buffer));
    out_ += digits;
    // Keep it floating point when read back: "3" would come back as an integer.
    if (digits.find_first_of(".e") == std::string_view::npos) out_ += ".0";
    return {};
  }

  CodingStatus text(std::string_view s, const CodingPathLink* path) {
    if (!simdjson::validate_utf8(s.data(), s.size())) return invalid(path, "Text is not valid UTF-8.");
    static constexpr char hex[] = "0123456789abcdef";
    out_ += '"';
    std::size_t start = 0;
    for (std::size_t i = 0; i < s.size(); ++i) {
      const auto c = static_cast<unsigned char>(s[i]);
      if (c >= 0x20 && c != '"' && c != '\\') continue;
      out_.append(s.data() + start, i - start);
      start = i + 1;
      switch (c) {
        case '"':
          out_ += "\\\"";
          break;
        case '\\':
          out_ += "\\\\";
          break;
        case '\n':
          out_ += "\\n";
          break;
        case '\r':
          out_ += "\\r";
          break;
        case '\t':
          out_ += "\\t";
          break;
        case '\b':
          out_ += "\\b";
          break;
        case '\f':
          out_ += "\\f";
          break;
        default: {
          const char escape[] = {'\\', 'u', '0', '0', hex[c >> 4], hex[c & 15]};
          out_.append(escape, sizeof escape);
        }
      }
    }
    out_.append(s.data() + start, s.size() - start);
    out_ += '"';
    return {};
  }

  const WriteOptions& options_;
  std::string out_;
};

}  // namespace

CodingResult<std::string> write(const AnyValue& tree, const WriteOptions& options) {
  Writer writer(options);
  writer.reserve(256);
  if (CodingStatus s = writer.value(tree, nullptr); !s) return s.error();
  return writer.take();
}

}  // namespace Keel::JSON
