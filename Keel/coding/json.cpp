// JSON reading on simdjson's DOM parser and JSON writing.
//
// The DOM parser validates the whole document (structure, UTF-8, numbers,
// depth) before any tree is built, so a bad document costs no allocation of
// ours, and it knows each container's size, so the tree reserves exactly.
#include "Keel/coding/json.h"

#include <simdjson.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>
#include <variant>

#include "Keel/core/byte_coding_memory.h"

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

// Builds the tree straight from the parser's tape, each node written once in
// its final place (no temporaries to move and destroy), with the containers
// and texts in `arena` when there is one.
//
// The tape is simdjson's documented DOM layout: one 64-bit word per value,
// the type character in the top byte and a 56-bit payload below. Containers
// ('[' and '{') hold the index just past their closing word in the low 32
// bits and their element count (saturating at 0xFFFFFF) in the next 24;
// numbers ('l' int64, 'u' uint64, 'd' double) keep their bits in the word
// after; texts ('"') hold an offset into the string buffer, where a 32-bit
// length precedes the bytes. Reading the words directly lets one loop per
// container handle its scalars inline instead of going through an element
// object and a call per value, which is most of what building costs.
class TapeBuilder {
 public:
  TapeBuilder(const simdjson::dom::document& document, TreeArena* arena)
      : tape_(document.tape.get()), strings_(document.string_buf.get()), arena_(arena) {}

  // The root value (the word after the tape's own root word).
  void buildRoot(AnyValue& into) { build(1, IntoNode{&into}); }

 private:
  // Where build() places a node: over a null node, at the end of an array,
  // or under a key at the end of a dictionary.
  struct IntoNode {
    AnyValue* node;
    template <class T, class... Args>
    AnyValue& operator()(std::in_place_type_t<T> /*unused*/, Args&&... args) const {
      node->emplace<T>(std::forward<Args>(args)...);
      return *node;
    }
  };
  struct IntoArray {
    AnyValue::Array* array;
    template <class T, class... Args>
    AnyValue& operator()(std::in_place_type_t<T> type, Args&&... args) const {
      return array->emplace_back(type, std::forward<Args>(args)...);
    }
  };
  struct IntoDictionary {
    TextDictionary* dictionary;
    std::string_view key;
    template <class T, class... Args>
    AnyValue& operator()(std::in_place_type_t<T> type, Args&&... args) const {
      return dictionary->appendUnchecked(Text(key, dictionary->arena(), Text::readableAfter), SameTree{}, type,
                                         std::forward<Args>(args)...);
    }
  };

  static constexpr std::uint64_t payloadMask = 0x00FFFFFFFFFFFFFF;

  [[nodiscard]] std::string_view text(std::uint64_t word) const {
    const std::uint8_t* at = strings_ + (word & payloadMask);
    std::uint32_t length = 0;
    std::memcpy(&length, at, sizeof length);
    return {reinterpret_cast<const char*>(at + sizeof length), length};  // NOLINT: bytes of text
  }
  template <class T>
  [[nodiscard]] T number(std::size_t at) const {
    T value;
    std::memcpy(&value, tape_ + at, sizeof value);
    return value;
  }
  static std::size_t end(std::uint64_t word) { return static_cast<std::uint32_t>(word); }
  static std::size_t count(std::uint64_t word) { return (word >> 32) & 0xFFFFFF; }  // a capacity hint

  // Builds the value at tape index `at` through `place` (called once, with
  // the node's type and constructor arguments, returning the node), and
  // returns the index just past it. Inlined into the container loops, so a
  // scalar costs no call; a container fills itself in a call of its own.
  template <class Place>
  [[gnu::always_inline]] std::size_t build(std::size_t at, Place place) {
    const std::uint64_t word = tape_[at];
    switch (static_cast<char>(word >> 56)) {
      case 'l':
        place(std::in_place_type<std::int64_t>, number<std::int64_t>(at + 1));
        return at + 2;
      case 'u':
        place(std::in_place_type<std::uint64_t>, number<std::uint64_t>(at + 1));
        return at + 2;
      case 'd':
        place(std::in_place_type<double>, number<double>(at + 1));
        return at + 2;
      case '"':
        place(std::in_place_type<Text>, text(word), arena_, Text::readableAfter);
        return at + 1;
      case 't':
        place(std::in_place_type<bool>, true);
        return at + 1;
      case 'f':
        place(std::in_place_type<bool>, false);
        return at + 1;
      case '[':
        fillArray(at, place(std::in_place_type<AnyValue::Array>, arena_, count(word)).template as<AnyValue::Array>());
        return end(word);
      case '{':
        fillDictionary(at,
                       place(std::in_place_type<TextDictionary>, arena_, count(word)).template as<TextDictionary>());
        return end(word);
      default:  // 'n'
        place(std::in_place_type<std::monostate>);
        return at + 1;
    }
  }

  [[gnu::noinline]] void fillArray(std::size_t at, AnyValue::Array& array) {
    const std::size_t close = end(tape_[at]) - 1;
    for (std::size_t i = at + 1; i < close;) i = build(i, IntoArray{&array});
  }

  [[gnu::noinline]] void fillDictionary(std::size_t at, TextDictionary& dictionary) {
    const std::size_t close = end(tape_[at]) - 1;
    for (std::size_t i = at + 1; i < close;) i = build(i + 1, IntoDictionary{&dictionary, text(tape_[i])});
    dictionary.keepLastOfRepeatedKeys();
  }

  const std::uint64_t* tape_;
  const std::uint8_t* strings_;
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
  TapeBuilder(parser.doc, arena).buildRoot(tree.value());
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

// The bytes of a document being written: one buffer that grows by realloc
// and is kept by the thread for its next document (a fresh buffer would take
// a page fault for every page it fills). The result is copied out once.
class Output {
 public:
  Output() {
    Kept& kept = keptBuffer();
    if (kept.inUse) return;  // a write inside a write (none today) gets a buffer of its own
    kept.inUse = true;
    ownsKept_ = true;
    begin_ = std::exchange(kept.data, nullptr);
    at_ = begin_;
    end_ = begin_ + std::exchange(kept.capacity, 0);
  }
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  ~Output() {
    const auto capacity = static_cast<std::size_t>(end_ - begin_);
    if (ownsKept_ && capacity <= keptCapacity) {
      Kept& kept = keptBuffer();
      kept.data = begin_;
      kept.capacity = capacity;
      kept.inUse = false;
      return;
    }
    if (ownsKept_) keptBuffer().inUse = false;
    std::free(begin_);
  }

  // Room for `n` more bytes at the returned position.
  [[gnu::always_inline]] char* reserve(std::size_t n) {
    if (static_cast<std::size_t>(end_ - at_) < n) grow(n);
    return at_;
  }
  void advanceTo(char* to) { at_ = to; }
  void put(char c) {
    *reserve(1) = c;
    ++at_;
  }
  void put(std::string_view s) {
    std::memcpy(reserve(s.size()), s.data(), s.size());
    at_ += s.size();
  }
  [[nodiscard]] std::string take() const {
    const auto size = static_cast<std::size_t>(at_ - begin_);
    std::string text;
    text.reserve(size);
    // A large text lands on fresh pages: map them in one request rather than
    // one page fault each as the copy reaches them.
    if (size >= prefaultFrom) detail::prefaultForWrite(text.data(), size);
    text.append(begin_, size);
    return text;
  }

 private:
  struct Kept {
    char* data = nullptr;
    std::size_t capacity = 0;
    bool inUse = false;
    Kept() = default;
    Kept(const Kept&) = delete;
    Kept& operator=(const Kept&) = delete;
    ~Kept() { std::free(data); }
  };
  static Kept& keptBuffer() {
    thread_local Kept kept;
    return kept;
  }
  // Buffers grown beyond this are freed after the document rather than kept.
  static constexpr std::size_t keptCapacity = std::size_t{64} << 20;
  static constexpr std::size_t prefaultFrom = std::size_t{1} << 20;

  [[gnu::noinline]] void grow(std::size_t n) {
    const auto used = static_cast<std::size_t>(at_ - begin_);
    const auto capacity = static_cast<std::size_t>(end_ - begin_);
    const std::size_t wanted = std::max({capacity * 2, used + n, std::size_t{4096}});
    auto* grown = static_cast<char*>(std::realloc(begin_, wanted));
    if (grown == nullptr) throw std::bad_alloc();
    begin_ = grown;
    at_ = grown + used;
    end_ = grown + wanted;
  }

  char* begin_ = nullptr;
  char* at_ = nullptr;
  char* end_ = nullptr;
  bool ownsKept_ = false;
};

constexpr std::uint64_t everyByte = 0x0101010101010101ULL;
constexpr std::uint64_t highBits = everyByte * 0x80;

// The high bit of each byte of `w` that JSON must escape (a control
// character, '"' or '\'); a byte above one that must be escaped may be
// flagged too, never one below, so the lowest flag is always exact.
constexpr std::uint64_t escapeFlags(std::uint64_t w) {
  const std::uint64_t controls = (w - everyByte * 0x20) & ~w;
  const std::uint64_t quote = w ^ (everyByte * '"');  // zero bytes where w has '"'
  const std::uint64_t backslash = w ^ (everyByte * '\\');
  const std::uint64_t quotes = (quote - everyByte) & ~quote;
  const std::uint64_t backslashes = (backslash - everyByte) & ~backslash;
  return (controls | quotes | backslashes) & highBits;
}

// Up to 7 bytes as the low bytes of a word, the rest zero, with fixed-size
// loads that overlap as needed.
inline std::uint64_t loadShort(const char* p, std::size_t n) {
  if (n >= 4) {
    std::uint32_t low = 0;
    std::uint32_t high = 0;
    std::memcpy(&low, p, 4);
    std::memcpy(&high, p + n - 4, 4);
    return low | (std::uint64_t{high} << (8 * (n - 4)));
  }
  if (n >= 2) {
    std::uint16_t low = 0;
    std::uint16_t high = 0;
    std::memcpy(&low, p, 2);
    std::memcpy(&high, p + n - 2, 2);
    return low | (std::uint64_t{high} << (8 * (n - 2)));
  }
  return n == 1 ? static_cast<unsigned char>(*p) : 0;
}

// Writes `v` (finite) as std::to_chars writes its shortest round-trip form,
// followed by ".0" when that has neither a point nor an exponent. Values of
// 0.1 up to 4e9 with at most six decimals, the usual run of measurements and
// prices, take a short path that gives the same text several times faster:
// there the spacing of doubles is finer than 1e-6, so at most one decimal
// with six places reads back as `v`, the shortest form is that decimal with
// its trailing zeros dropped, and the fixed form is never longer than the
// exponent form. Everything else goes to std::to_chars. `out` has room for
// 40 bytes.
char* writeDouble(char* out, double v) {
  const double magnitude = std::fabs(v);
  if (magnitude >= 0.1 && magnitude < 4e9) {
    // NOLINTNEXTLINE(bugprone-incorrect-roundings): a unit off either way is corrected below
    auto units = static_cast<std::uint64_t>(magnitude * 1e6 + 0.5);
    // The division rounds correctly, as a reader of the decimal does. The
    // product above may have rounded across a half: try the neighbours too.
    bool exact = static_cast<double>(units) / 1e6 == magnitude;
    if (!exact && static_cast<double>(units + 1) / 1e6 == magnitude) {
      ++units;
      exact = true;
    } else if (!exact && static_cast<double>(units - 1) / 1e6 == magnitude) {
      --units;
      exact = true;
    }
    const std::uint64_t whole = units / 1000000;
    std::uint64_t fraction = units % 1000000;
    // Whole numbers from 1e5 up may be shorter with an exponent.
    if (exact && (fraction != 0 || whole < 100000)) {
      int places = 0;
      if (fraction != 0) {
        places = 6;
        if (fraction % 1000 == 0) {
          fraction /= 1000;
          places = 3;
        }
        if (fraction % 100 == 0) {
          fraction /= 100;
          places -= 2;
        }
        if (fraction % 10 == 0) {
          fraction /= 10;
          places -= 1;
        }
      }
      if (v < 0) *out++ = '-';
      out = std::to_chars(out, out + 20, whole).ptr;
      *out++ = '.';
      if (places == 0) {
        *out++ = '0';
        return out;
      }
      for (int i = places - 1; i >= 0; --i) {
        out[i] = static_cast<char>('0' + fraction % 10);
        fraction /= 10;
      }
      return out + places;
    }
  }
  const auto result = std::to_chars(out, out + 32, v);
  // Keep it floating point when read back: "3" would come back as an integer.
  if (std::find_if(out, result.ptr, [](char c) { return c == '.' || c == 'e'; }) == result.ptr) {
    std::memcpy(result.ptr, ".0", 2);
    return result.ptr + 2;
  }
  return result.ptr;
}

// Writes a tree as compact JSON. Without paths (the usual case) it only
// tells whether it succeeded; the caller then writes again with paths to
// report where it failed, so that descending costs nothing in the common
// case.
template <bool withPaths>
class Writer {
 public:
  explicit Writer(const WriteOptions& options) : options_(options) {}

  // value() for an element of a container at `depth`: the common scalars
  // without a call.
  [[gnu::always_inline]] bool element(const AnyValue& v, const CodingPathLink* path, std::size_t depth) {
    using K = AnyValue::Kind;
    if (depth < maxCodingDepth) {
      switch (v.kind()) {
        case K::text:
          return text(v.as<Text>(), path);
        case K::int64:
          return integer(v.as<std::int64_t>());
        case K::float64:
          return floating(v.as<double>(), path);
        case K::boolean:
          output.put(v.as<bool>() ? std::string_view("true") : std::string_view("false"));
          return true;
        default:
          break;
      }
    }
    return value(v, path, depth);
  }

  bool value(const AnyValue& v, const CodingPathLink* path, std::size_t depth) {
    using K = AnyValue::Kind;
    // The reader refuses a value below maxCodingDepth containers (an empty
    // one at the deepest level is the most it takes), so the writer stops
    // there too and every document it writes reads back.
    if (depth >= maxCodingDepth) {
      if constexpr (withPaths) error = detail::tooDeep(path, false);
      return false;
    }
    switch (v.kind()) {
      case K::null:
        output.put("null");
        return true;
      case K::boolean:
        output.put(v.as<bool>() ? std::string_view("true") : std::string_view("false"));
        return true;
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
        if (v.url() == nullptr) return invalid(path, "A moved-from URL has no JSON form.");
        return text(urlText(v), path);
      case K::date: {
        const Date& date = v.as<Date>();
        return floating(options_.dateStrategy == DateStrategy::secondsSince1970 ? date.timeIntervalSince1970()
                                                                                : date.timeIntervalSinceReferenceDate(),
                        path);
      }
      case K::array: {
        const auto& array = v.as<AnyValue::Array>();
        output.put('[');
        for (std::size_t i = 0; i < array.size(); ++i) {
          if (i != 0) output.put(',');
          if constexpr (withPaths) {
            const CodingPathLink link = detail::childLink(path, i);
            if (!element(array[i], &link, depth + 1)) return false;
          } else {
            if (!element(array[i], nullptr, depth + 1)) return false;
          }
        }
        output.put(']');
        return true;
      }
      case K::dictionary: {
        output.put('{');
        char separator = 0;
        for (const auto& [key, child] : v.as<TextDictionary>()) {
          if constexpr (withPaths) {
            const CodingPathLink link = detail::childLink(path, key);
            if (!text(key, &link, separator, ':')) return false;
            if (!element(child, &link, depth + 1)) return false;
          } else {
            if (!text(key, nullptr, separator, ':')) return false;
            if (!element(child, nullptr, depth + 1)) return false;
          }
          separator = ',';
        }
        output.put('}');
        return true;
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

  CodingError error;  // why value() failed, when writing with paths

 private:
  bool invalid(const CodingPathLink* path, const char* description) {
    if constexpr (withPaths) error = {CodingError::Kind::invalidValue, materialize(path), description};
    return false;
  }

  template <class I>
  bool integer(I v) {
    char* at = output.reserve(24);
    output.advanceTo(std::to_chars(at, at + 24, v).ptr);
    return true;
  }

  bool floating(double v, const CodingPathLink* path) {
    if (!std::isfinite(v)) return invalid(path, "Non-finite number has no JSON form.");
    output.advanceTo(writeDouble(output.reserve(40), v));
    return true;
  }

  bool floating(float v, const CodingPathLink* path) {
    if (!std::isfinite(v)) return invalid(path, "Non-finite number has no JSON form.");
    char* at = output.reserve(40);
    char* end = std::to_chars(at, at + 32, v).ptr;
    if (std::find_if(at, end, [](char c) { return c == '.' || c == 'e'; }) == end) {
      std::memcpy(end, ".0", 2);  // NOLINT(bugprone-not-null-terminated-result): text, not a C string
      end += 2;
    }
    output.advanceTo(end);
    return true;
  }

  // A text in quotes, preceded by `before` (',' or nothing) and followed by
  // `after` (':' or nothing), with the short plain texts that most keys and
  // many values are written inline: one word, no escapes, ASCII.
  [[gnu::always_inline]] bool text(std::string_view s, const CodingPathLink* path, char before = 0, char after = 0) {
    if (s.size() <= 8) {
      std::uint64_t word = 0;
      if (s.size() == 8) {
        std::memcpy(&word, s.data(), 8);
      } else {
        word = loadShort(s.data(), s.size());
      }
      const std::uint64_t kept = s.size() == 8 ? ~std::uint64_t{0} : (std::uint64_t{1} << (8 * s.size())) - 1;
      if (((escapeFlags(word) & kept) | (word & highBits)) == 0) {
        char* o = output.reserve(8 + 4);
        if (before != 0) *o++ = before;
        *o++ = '"';
        std::memcpy(o, &word, 8);
        o += s.size();
        *o++ = '"';
        if (after != 0) *o++ = after;
        output.advanceTo(o);
        return true;
      }
    }
    if (before != 0) output.put(before);
    if (!anyText(s, path)) return false;
    if (after != 0) output.put(after);
    return true;
  }

  // Copies the text eight bytes at a time, checking each word for bytes to
  // escape as it goes, so a text without escapes is one run of word copies.
  [[gnu::noinline]] bool anyText(std::string_view s, const CodingPathLink* path) {
    static constexpr char hex[] = "0123456789abcdef";
    const char* p = s.data();
    const char* const end = p + s.size();
    // Quotes, and a word's worth of slack: every store below is a whole word.
    char* o = output.reserve(s.size() + 2 + 8);
    *o++ = '"';
    std::uint64_t seen = 0;  // every byte OR-ed together, to tell ASCII apart
    while (p < end) {
      const auto left = static_cast<std::size_t>(end - p);
      std::uint64_t word = 0;
      std::size_t taken = 8;
      if (left >= 8) {
        std::memcpy(&word, p, 8);
      } else {
        word = loadShort(p, left);
        taken = left;
      }
      std::memcpy(o, &word, 8);
      seen |= word;
      std::uint64_t flags = escapeFlags(word);
      if (taken < 8) flags &= (std::uint64_t{1} << (8 * taken)) - 1;  // not the padding
      if (flags == 0) {
        o += taken;
        p += taken;
        continue;
      }
      const auto skip = static_cast<std::size_t>(std::countr_zero(flags) / 8);
      o += skip;
      p += skip;
      output.advanceTo(o);
      o = output.reserve(6 + static_cast<std::size_t>(end - p) + 1 + 8);
      const auto c = static_cast<unsigned char>(*p++);
      switch (c) {
        case '"':
          std::memcpy(o, "\\\"", 2);
          o += 2;
          break;
        case '\\':
          std::memcpy(o, "\\\\", 2);
          o += 2;
          break;
        case '\n':
          std::memcpy(o, "\\n", 2);
          o += 2;
          break;
        case '\r':
          std::memcpy(o, "\\r", 2);
          o += 2;
          break;
        case '\t':
          std::memcpy(o, "\\t", 2);
          o += 2;
          break;
        case '\b':
          std::memcpy(o, "\\b", 2);
          o += 2;
          break;
        case '\f':
          std::memcpy(o, "\\f", 2);
          o += 2;
          break;
        default: {
          const char escape[] = {'\\', 'u', '0', '0', hex[c >> 4], hex[c & 15]};
          std::memcpy(o, escape, sizeof escape);
          o += sizeof escape;
        }
      }
    }
    *o++ = '"';
    output.advanceTo(o);
    if ((seen & highBits) != 0 && !simdjson::validate_utf8(s.data(), s.size())) {
      return invalid(path, "Text is not valid UTF-8.");
    }
    return true;
  }

  const WriteOptions& options_;

 public:
  Output output;  // what has been written
};

}  // namespace

std::optional<std::string> tryWrite(const AnyValue& tree, const WriteOptions& options) {
  Writer<false> writer(options);
  if (writer.value(tree, nullptr, 0)) return writer.output.take();
  return std::nullopt;
}

CodingResult<std::string> write(const AnyValue& tree, const WriteOptions& options) {
  if (auto text = tryWrite(tree, options)) return std::move(*text);
  // Write again, following the path, to say where it failed.
  Writer<true> writer(options);
  if (writer.value(tree, nullptr, 0)) return writer.output.take();  // not reached: both writers fail alike
  return std::move(writer.error);
}

}  // namespace Keel::JSON
