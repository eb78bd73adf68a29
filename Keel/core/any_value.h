// The untyped value tree: one tagged value of any of the kinds the coding
// framework moves (null, booleans, integers of each width, floating point,
// text, arrays, dictionaries, boxed numbers, dates, URLs, data).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "Keel/core/date.h"
#include "Keel/core/tree_arena.h"
#include "Keel/core/tree_storage.h"
#include "Keel/core/url.h"

namespace Keel {

class AnyValue;

// Trees nested deeper than this are refused by every reader, writer and
// decoder, so that none of them recurses without bound.
inline constexpr std::size_t maxValueDepth = 512;

// A number that arrived boxed, with the one-character type code of its boxed
// storage ("c", "s", "i", "q", "d", ...). Integers are kept as they were
// stored; encoding reads them through the width the type code names.
struct BoxedNumber {
  std::string typeCode;
  std::variant<std::int64_t, std::uint64_t, double> number;
  friend bool operator==(const BoxedNumber&, const BoxedNumber&) = default;
};

using Data = std::vector<std::uint8_t>;

// A dictionary from text to values: unique keys, kept in insertion order
// (documents read back in the order they were written). Lookup is linear,
// which is the fast choice for the small objects documents are made of.
class TextDictionary {
 public:
  struct Entry;  // a key and its value, defined below AnyValue
  using Entries = TreeVector<Entry>;
  TextDictionary() = default;
  TextDictionary(std::initializer_list<Entry> entries);
  // An empty dictionary with room for `capacity` entries, in `arena` when
  // not null (see TreeVector).
  TextDictionary(TreeArena* arena, std::size_t capacity) : entries_(arena, capacity) {}
  TextDictionary(TextDictionary&& other, SameTree /*unused*/) noexcept : TextDictionary(std::move(other)) {}
  TextDictionary(const TextDictionary&) = default;
  TextDictionary(TextDictionary&&) noexcept = default;
  TextDictionary& operator=(const TextDictionary&) = default;
  TextDictionary& operator=(TextDictionary&&) noexcept = default;
  ~TextDictionary() = default;

  // The value under `key`, or null when absent. Never throws.
  [[nodiscard]] const AnyValue* find(std::string_view key) const;
  [[nodiscard]] AnyValue* find(std::string_view key);
  // Sets `key` to `value`, replacing an earlier value under the same key.
  void insertOrAssign(Text key, AnyValue value);
  // Appends without looking for an earlier equal key; the caller guarantees
  // uniqueness (used by readers that have checked it themselves).
  void appendUnchecked(Text key, AnyValue value);
  // Appends `key` with a null value to be filled in place, unchecked as above;
  // the key goes in the dictionary's arena when it has one.
  AnyValue& appendUnchecked(std::string_view key);
  // The same with a key built in this dictionary's arena and a value of type
  // T built in place from `args`.
  template <class T, class... Args>
  AnyValue& appendUnchecked(Text&& key, SameTree tree, std::in_place_type_t<T> type, Args&&... args);
  // The arena this dictionary's entries live in, or null.
  [[nodiscard]] TreeArena* arena() const noexcept { return entries_.arena(); }
  // Removes `key` and its value; false when it was absent.
  bool erase(std::string_view key);
  // Makes the keys unique again after unchecked appends: a later entry under
  // an earlier key replaces its value, keeping the first position (how readers
  // of JSON and property lists treat repeated keys). Linear in the size.
  void keepLastOfRepeatedKeys();
  void reserve(std::size_t n) { entries_.reserve(n); }
  // A dictionary of `entries`, repeated keys resolved as by
  // keepLastOfRepeatedKeys.
  static TextDictionary fromEntries(Entries entries);
  [[nodiscard]] std::size_t size() const { return entries_.size(); }
  [[nodiscard]] bool empty() const { return entries_.empty(); }
  [[nodiscard]] const Entry* begin() const;
  [[nodiscard]] const Entry* end() const;
  [[nodiscard]] Entry* begin();
  [[nodiscard]] Entry* end();
  // Same keys with equal values, in any order.
  friend bool operator==(const TextDictionary& a, const TextDictionary& b);

 private:
  Entries entries_;
};

// A dictionary keyed by any hashable value (what a dictionary literal builds);
// kept as a list of unique pairs.
using HashedDictionary = std::vector<std::pair<AnyValue, AnyValue>>;

class AnyValue {
 public:
  enum class Kind : std::uint8_t {
    null,
    boolean,
    int8,
    int16,
    int32,
    int64,
    uint8,
    uint16,
    uint32,
    uint64,
    float32,
    float64,
    text,
    array,
    dictionary,
    hashedDictionary,
    boxedNumber,
    date,
    url,
    data,
  };
  // A tree reader may place arrays and texts in its arena (see
  // TreeVector); built anywhere else they live on the heap.
  using Array = TreeVector<AnyValue>;
  using Dictionary = TextDictionary;

  AnyValue() = default;
  AnyValue(std::nullptr_t) {}        // NOLINT: the null literal is a value
  AnyValue(bool v) : storage_(v) {}  // NOLINT
  template <class T>
  requires(std::is_integral_v<T> && !std::is_same_v<T, bool> && !std::is_same_v<T, char> &&
           !std::is_same_v<T, char8_t> && !std::is_same_v<T, char16_t> && !std::is_same_v<T, char32_t> &&
           !std::is_same_v<T, wchar_t>) AnyValue(T v)
      : storage_(widen(v)) {}  // NOLINT: each width keeps its own kind
  // A character literal is text ('a' is "a"; U'\u00e9' is its UTF-8 form);
  // signed char and unsigned char are the 8-bit integers.
  AnyValue(char v) : storage_(Text(std::string_view(&v, 1))) {}                       // NOLINT
  AnyValue(char32_t v);                                                               // NOLINT
  AnyValue(float v) : storage_(v) {}                                                  // NOLINT
  AnyValue(double v) : storage_(v) {}                                                 // NOLINT
  AnyValue(const char* v) : storage_(Text(v)) {}                                      // NOLINT
  AnyValue(std::string_view v) : storage_(Text(v)) {}                                 // NOLINT
  AnyValue(const std::string& v) : storage_(Text(v)) {}                               // NOLINT
  AnyValue(Text v) : storage_(std::move(v)) {}                                        // NOLINT
  AnyValue(Array v) : storage_(std::move(v)) {}                                       // NOLINT
  AnyValue(Dictionary v) : storage_(std::move(v)) {}                                  // NOLINT
  AnyValue(HashedDictionary v) : storage_(Shared<HashedDictionary>(std::move(v))) {}  // NOLINT
  AnyValue(BoxedNumber v) : storage_(Shared<BoxedNumber>(std::move(v))) {}            // NOLINT
  AnyValue(Date v) : storage_(v) {}                                                   // NOLINT
  AnyValue(URL v) : storage_(Shared<URL>(std::move(v))) {}                            // NOLINT
  AnyValue(Data v) : storage_(Boxed<Data>(std::move(v))) {}                           // NOLINT
  // A T built in place from `args` (Text from a view and an arena, an Array
  // or Dictionary from an arena and a capacity, ...): what a reader uses to
  // write each node once, where it will stay.
  template <class T, class... Args>
  explicit AnyValue(std::in_place_type_t<T> type, Args&&... args) : storage_(type, std::forward<Args>(args)...) {}
  AnyValue(const AnyValue&) = default;
  AnyValue(AnyValue&&) noexcept = default;
  // Moves within one tree: a text in the tree's arena stays there.
  AnyValue(AnyValue&& other, SameTree /*unused*/) noexcept;
  AnyValue& operator=(const AnyValue&) = default;
  AnyValue& operator=(AnyValue&&) noexcept = default;
  ~AnyValue() = default;

  // Replaces the value with a T built in place from `args`; returns it.
  template <class T, class... Args>
  T& emplace(Args&&... args) {
    if (isNull()) {
      // Nothing to end: build over the null in place, without the variant's
      // dispatch on the old kind (the path a reader takes for every node).
      try {
        new (&storage_) Storage(std::in_place_type<T>, std::forward<Args>(args)...);
      } catch (...) {
        new (&storage_) Storage();  // null again, as before the call
        throw;
      }
      return *std::get_if<T>(&storage_);
    }
    return storage_.template emplace<T>(std::forward<Args>(args)...);
  }

  [[nodiscard]] Kind kind() const { return static_cast<Kind>(storage_.index()); }
  [[nodiscard]] bool isNull() const { return kind() == Kind::null; }

  // The stored value when it is of exactly type T (bool, std::int8_t, ...,
  // float, double, Text, Array, Dictionary, Date, Data), else null.
  template <class T>
  [[nodiscard]] const T* getIf() const {
    if constexpr (std::is_same_v<T, Data>) {
      const auto* box = std::get_if<Boxed<Data>>(&storage_);
      return box != nullptr ? &**box : nullptr;
    } else {
      return std::get_if<T>(&storage_);
    }
  }
  template <class T>
  [[nodiscard]] T* getIf() {
    if constexpr (std::is_same_v<T, Data>) {
      auto* box = std::get_if<Boxed<Data>>(&storage_);
      return box != nullptr ? &**box : nullptr;
    } else {
      return std::get_if<T>(&storage_);
    }
  }
  // The stored value of type T; a value of another kind is a programming
  // error that stops the process (check kind() or getIf first).
  template <class T>
  [[nodiscard]] const T& as() const {
    if (const T* p = getIf<T>()) return *p;
    wrongKind();
  }
  template <class T>
  [[nodiscard]] T& as() {
    if (T* p = getIf<T>()) return *p;
    wrongKind();
  }
  [[nodiscard]] const HashedDictionary* hashedDictionary() const;
  [[nodiscard]] const BoxedNumber* boxedNumber() const;
  [[nodiscard]] const URL* url() const;

  // Equal kinds and equal contents (NaN equals NaN so that trees read back
  // compare equal; dates compare as instants, so -0 and +0 seconds are equal
  // while the reals -0.0 and 0.0 are not); a 32-bit 1 is not equal to a
  // 64-bit 1.
  friend bool operator==(const AnyValue& a, const AnyValue& b);

 private:
  [[noreturn]] static void wrongKind();

  template <class T>
  static auto widen(T v) {
    if constexpr (std::is_signed_v<T>) {
      if constexpr (sizeof(T) == 1)
        return static_cast<std::int8_t>(v);
      else if constexpr (sizeof(T) == 2)
        return static_cast<std::int16_t>(v);
      else if constexpr (sizeof(T) == 4)
        return static_cast<std::int32_t>(v);
      else
        return static_cast<std::int64_t>(v);
    } else {
      if constexpr (sizeof(T) == 1)
        return static_cast<std::uint8_t>(v);
      else if constexpr (sizeof(T) == 2)
        return static_cast<std::uint16_t>(v);
      else if constexpr (sizeof(T) == 4)
        return static_cast<std::uint32_t>(v);
      else
        return static_cast<std::uint64_t>(v);
    }
  }

  // Every kind is at most one word, so a node is two (see tree_storage.h).
  using Storage =
      std::variant<std::monostate, bool, std::int8_t, std::int16_t, std::int32_t, std::int64_t, std::uint8_t,
                   std::uint16_t, std::uint32_t, std::uint64_t, float, double, Text, Array, Dictionary,
                   Shared<HashedDictionary>, Shared<BoxedNumber>, Date, Shared<URL>, Boxed<Data>>;
  Storage storage_;
};

struct TextDictionary::Entry {
  Text first;
  AnyValue second;

  Entry(Text key, AnyValue value) : first(std::move(key)), second(std::move(value)) {}
  Entry(std::string_view key, TreeArena* arena) : first(key, arena) {}
  template <class T, class... Args>
  Entry(Text&& key, SameTree tree, std::in_place_type_t<T> type, Args&&... args)
      : first(std::move(key), tree), second(type, std::forward<Args>(args)...) {}
  Entry(Entry&& other, SameTree tree) noexcept
      : first(std::move(other.first), tree), second(std::move(other.second), tree) {}
  Entry(const Entry&) = default;
  Entry(Entry&&) noexcept = default;
  Entry& operator=(const Entry&) = default;
  Entry& operator=(Entry&&) noexcept = default;
  ~Entry() = default;
  friend bool operator==(const Entry&, const Entry&) = default;
};

static_assert(sizeof(AnyValue) == 16 && sizeof(TextDictionary::Entry) == 24);

inline AnyValue& TextDictionary::appendUnchecked(std::string_view key) {
  return entries_.emplace_back(key, entries_.arena()).second;
}
template <class T, class... Args>
AnyValue& TextDictionary::appendUnchecked(Text&& key, SameTree tree, std::in_place_type_t<T> type, Args&&... args) {
  return entries_.emplace_back(std::move(key), tree, type, std::forward<Args>(args)...).second;
}
inline const TextDictionary::Entry* TextDictionary::begin() const { return entries_.begin(); }
inline const TextDictionary::Entry* TextDictionary::end() const { return entries_.end(); }
inline TextDictionary::Entry* TextDictionary::begin() { return entries_.begin(); }
inline TextDictionary::Entry* TextDictionary::end() { return entries_.end(); }

inline AnyValue::AnyValue(AnyValue&& other, SameTree tree) noexcept {
  if (Text* text = other.getIf<Text>()) {
    storage_.emplace<Text>(std::move(*text), tree);
  } else {
    storage_ = std::move(other.storage_);
  }
}

// A short human-readable form of a scalar value (texts as they are, numbers in
// decimal, "true"/"false", "nil"); containers print as "[...]" / "{...}".
[[nodiscard]] std::string describe(const AnyValue& value);

}  // namespace Keel
