// The coding framework: decoders and encoders with keyed, unkeyed and
// single-value containers, working on untyped value trees (AnyValue). Formats
// (JSON, property lists) only turn bytes into trees and trees into bytes.
//
// A type takes part by providing
//   static Keel::CodingResult<T> decode(Keel::Decoder&);
//   Keel::CodingStatus encode(Keel::Encoder&) const;
// Booleans, integers, floating point, std::string, Date, URL and Data are
// built in.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "Keel/coding/coding_error.h"
#include "Keel/core/any_value.h"

namespace Keel {

// Trees nested deeper than this are refused (decoding: dataCorrupted,
// encoding: invalidValue) so that no reader, writer or decoder recurses
// without bound.
inline constexpr std::size_t maxCodingDepth = maxValueDepth;

// One link of the path to the value being coded; lives on the stack of the
// code that descends, so descending costs no allocation. Materialised into a
// CodingPath only when needed.
struct CodingPathLink {
  const CodingPathLink* parent = nullptr;
  std::string_view key;
  std::size_t index = 0;
  bool isIndex = false;
  std::size_t depth = 0;  // 0 for the root
};
[[nodiscard]] CodingPath materialize(const CodingPathLink* link);

class Decoder;
class Encoder;

template <class T>
struct Decoding;  // Decoding<T>::decode(Decoder&) -> CodingResult<T>
template <class T>
struct Encoding;  // Encoding<T>::encode(const T&, Encoder&) -> CodingStatus

// Reads one value of a tree.
class SingleValueDecodingContainer {
 public:
  // True when the value is null.
  [[nodiscard]] bool decodeNil() const;
  // Each gives the value when it is of that kind (integers: of any integer
  // kind whose value fits; floating point: also integers), else a
  // typeMismatch error at this container's path. Integers written with a
  // fraction or exponent (3.0) are floating point, never integers.
  CodingResult<bool> decodeBool() const;
  CodingResult<std::int64_t> decodeInt64() const;
  CodingResult<std::uint64_t> decodeUInt64() const;
  CodingResult<double> decodeDouble() const;
  // Texts are moved out of a decoder that owns its tree (see Decoder).
  CodingResult<std::string> decodeString() const;
  CodingResult<Date> decodeDate() const;  // dates, or numbers as seconds since 2001
  // The dataCorrupted error for a number that does not fit in `bits` bits of
  // `kind` ("a signed integer", ...), at this container's path.
  [[nodiscard]] CodingError doesNotFit(const char* kind, std::size_t bits) const;
  // The same as the decode operations above, without building an error, for
  // callers that try several kinds in turn.
  [[nodiscard]] std::optional<bool> tryBool() const;
  [[nodiscard]] std::optional<std::int64_t> tryInt64() const;
  [[nodiscard]] std::optional<std::uint64_t> tryUInt64() const;
  [[nodiscard]] std::optional<double> tryDouble() const;
  [[nodiscard]] std::optional<std::string> tryString() const;
  CodingResult<Data> decodeData() const;
  template <class T>
  CodingResult<T> decode() const;
  [[nodiscard]] CodingPath codingPath() const { return materialize(path_); }

 private:
  friend class Decoder;
  SingleValueDecodingContainer(AnyValue* node, const CodingPathLink* path, bool owns)
      : node_(node), path_(path), owns_(owns) {}
  CodingError mismatch(const char* expected) const;
  AnyValue* node_;
  const CodingPathLink* path_;
  bool owns_;
};

// Reads a value's entries by text key.
class KeyedDecodingContainer {
 public:
  [[nodiscard]] bool contains(std::string_view key) const;
  [[nodiscard]] std::vector<std::string> allKeys() const;
  // The value under `key`; keyNotFound when absent, other errors as T's.
  template <class T>
  CodingResult<T> decode(std::string_view key) const;
  // Nothing when the key is absent or its value null; errors as T's.
  template <class T>
  CodingResult<std::optional<T>> decodeIfPresent(std::string_view key) const;
  [[nodiscard]] CodingPath codingPath() const { return materialize(path_); }

 private:
  friend class Decoder;
  KeyedDecodingContainer(AnyValue* node, const CodingPathLink* path, bool owns)
      : node_(node), path_(path), owns_(owns) {}
  AnyValue* node_;
  const CodingPathLink* path_;
  bool owns_;
};

// Reads an array's elements in order.
class UnkeyedDecodingContainer {
 public:
  [[nodiscard]] std::size_t count() const;
  [[nodiscard]] bool isAtEnd() const { return currentIndex_ >= count(); }
  [[nodiscard]] std::size_t currentIndex() const { return currentIndex_; }
  // The next element; a failure does not advance. Past the end: a
  // dataCorrupted error ("Unkeyed container is at end.").
  template <class T>
  CodingResult<T> decode();
  [[nodiscard]] CodingPath codingPath() const { return materialize(path_); }

 private:
  friend class Decoder;
  UnkeyedDecodingContainer(AnyValue* node, const CodingPathLink* path, bool owns)
      : node_(node), path_(path), owns_(owns) {}
  AnyValue* node_;
  const CodingPathLink* path_;
  bool owns_;
  std::size_t currentIndex_ = 0;
};

// Gives the containers for one value of a tree. A decoder that owns its tree
// (the format decoders' top-level decoders) may move texts and containers out
// as they are decoded, so each value is meant to be decoded once.
class Decoder {
 public:
  // Reads `node` (which must outlive the decoder) at `path` (may be null for
  // the root). `ownsTree` allows moving values out.
  Decoder(AnyValue& node, const CodingPathLink* path = nullptr, bool ownsTree = false)
      : node_(&node), path_(path), owns_(ownsTree) {}

  // Declares that the tree holds only null, booleans, int64, uint64 above
  // the int64 range, float64, texts, arrays and text-keyed dictionaries: the
  // kinds untyped decoding keeps as they are (the JSON reader builds such
  // trees), so decoding an owned tree untyped can hand it over whole.
  Decoder& assumeCanonicalTree() {
    canonical_ = true;
    return *this;
  }
  [[nodiscard]] bool hasCanonicalTree() const { return canonical_; }

  [[nodiscard]] SingleValueDecodingContainer singleValueContainer() const { return {node_, path_, owns_}; }
  // typeMismatch when the value is not a text-keyed dictionary.
  CodingResult<KeyedDecodingContainer> container() const;
  // typeMismatch when the value is not an array.
  CodingResult<UnkeyedDecodingContainer> unkeyedContainer() const;
  [[nodiscard]] CodingPath codingPath() const { return materialize(path_); }
  [[nodiscard]] const CodingPathLink* codingPathLink() const { return path_; }
  // The node itself when this decoder owns it (for decoders of untyped
  // values that reuse the tree's storage), else null.
  [[nodiscard]] AnyValue* ownedNode() const { return owns_ ? node_ : nullptr; }
  [[nodiscard]] std::size_t depth() const { return path_ != nullptr ? path_->depth : 0; }

 private:
  AnyValue* node_;
  const CodingPathLink* path_;
  bool owns_;
  bool canonical_ = false;
};

// Writes one value.
class SingleValueEncodingContainer {
 public:
  CodingStatus encodeNil() const;
  // Writes `value`: a built-in scalar keeps its exact width; other types
  // write themselves through their encode operation.
  template <class T>
  CodingStatus encode(const T& value) const;
  [[nodiscard]] CodingPath codingPath() const { return materialize(path_); }

 private:
  friend class Encoder;
  SingleValueEncodingContainer(AnyValue* slot, const CodingPathLink* path) : slot_(slot), path_(path) {}
  AnyValue* slot_;
  const CodingPathLink* path_;
};

// Writes a dictionary's entries by text key; a repeated key replaces.
class KeyedEncodingContainer {
 public:
  template <class T>
  CodingStatus encode(std::string_view key, const T& value);
  // Writes nothing when `value` is absent.
  template <class T>
  CodingStatus encodeIfPresent(std::string_view key, const std::optional<T>& value) {
    return value ? encode(key, *value) : CodingStatus();
  }
  CodingStatus encodeNil(std::string_view key);
  void reserve(std::size_t n);
  [[nodiscard]] CodingPath codingPath() const { return materialize(path_); }

 private:
  friend class Encoder;
  KeyedEncodingContainer(AnyValue* slot, const CodingPathLink* path) : slot_(slot), path_(path) {}
  AnyValue* slot_;
  const CodingPathLink* path_;
};

// Appends an array's elements.
class UnkeyedEncodingContainer {
 public:
  template <class T>
  CodingStatus encode(const T& value);
  CodingStatus encodeNil();
  void reserve(std::size_t n);
  [[nodiscard]] std::size_t count() const;
  [[nodiscard]] CodingPath codingPath() const { return materialize(path_); }

 private:
  friend class Encoder;
  UnkeyedEncodingContainer(AnyValue* slot, const CodingPathLink* path) : slot_(slot), path_(path) {}
  AnyValue* slot_;
  const CodingPathLink* path_;
};

// Writes one value into a slot of a tree being built.
class Encoder {
 public:
  explicit Encoder(AnyValue& slot, const CodingPathLink* path = nullptr) : slot_(&slot), path_(path) {}
  [[nodiscard]] SingleValueEncodingContainer singleValueContainer() const { return {slot_, path_}; }
  // Makes the slot a dictionary (keeping one already there).
  [[nodiscard]] KeyedEncodingContainer container() const;
  // Makes the slot an array (keeping one already there).
  [[nodiscard]] UnkeyedEncodingContainer unkeyedContainer() const;
  [[nodiscard]] CodingPath codingPath() const { return materialize(path_); }
  [[nodiscard]] std::size_t depth() const { return path_ != nullptr ? path_->depth : 0; }

 private:
  AnyValue* slot_;
  const CodingPathLink* path_;
};

namespace detail {
CodingError tooDeep(const CodingPathLink* link, bool decoding);
CodingError atEnd(const CodingPathLink* link);
CodingError keyNotFound(const CodingPathLink* link, std::string_view key);
inline CodingPathLink childLink(const CodingPathLink* parent, std::string_view key) {
  return {parent, key, 0, false, (parent != nullptr ? parent->depth : 0) + 1};
}
inline CodingPathLink childLink(const CodingPathLink* parent, std::size_t index) {
  return {parent, {}, index, true, (parent != nullptr ? parent->depth : 0) + 1};
}

// True for types whose encoding is the untyped encoding (encodeAnyValue) of
// the tree in their `value` member (see any_codable.h), so that a format may
// write that tree directly when doing so gives the same result.
template <class T>
inline constexpr bool encodesUntypedTree = false;

template <class T>
concept BuiltInScalar = std::is_arithmetic_v<T> || std::is_same_v<T, std::string> || std::is_same_v<T, Text> ||
    std::is_same_v<T, Date> || std::is_same_v<T, URL> || std::is_same_v<T, Data>;
}  // namespace detail

// Built-in decodings.
template <class T>
struct Decoding {
  static CodingResult<T> decode(Decoder& decoder) { return T::decode(decoder); }
};
template <>
struct Decoding<bool> {
  static CodingResult<bool> decode(Decoder& d) { return d.singleValueContainer().decodeBool(); }
};
template <>
struct Decoding<std::int64_t> {
  static CodingResult<std::int64_t> decode(Decoder& d) { return d.singleValueContainer().decodeInt64(); }
};
template <>
struct Decoding<std::uint64_t> {
  static CodingResult<std::uint64_t> decode(Decoder& d) { return d.singleValueContainer().decodeUInt64(); }
};
// Integers of every other width (and long long where std::int64_t is long)
// read through the 64-bit form of their signedness; a value that does not fit
// is a dataCorrupted error, never a silent truncation.
template <class T>
requires(std::is_integral_v<T> && !std::is_same_v<T, bool> && !std::is_same_v<T, std::int64_t> &&
         !std::is_same_v<T, std::uint64_t>) struct Decoding<T> {
  static CodingResult<T> decode(Decoder& d) {
    const SingleValueDecodingContainer single = d.singleValueContainer();
    auto wide = [&] {
      if constexpr (std::is_signed_v<T>)
        return single.decodeInt64();
      else
        return single.decodeUInt64();
    }();
    if (!wide) return wide.error();
    if (!std::in_range<T>(wide.value())) {
      return single.doesNotFit(std::is_signed_v<T> ? "a signed integer" : "an unsigned integer", sizeof(T) * 8);
    }
    return static_cast<T>(wide.value());
  }
};
template <>
struct Decoding<float> {
  static CodingResult<float> decode(Decoder& d) {
    const SingleValueDecodingContainer single = d.singleValueContainer();
    CodingResult<double> wide = single.decodeDouble();
    if (!wide) return wide.error();
    const double v = wide.value();
    if (std::isfinite(v) && std::fabs(v) > std::numeric_limits<float>::max()) {
      return single.doesNotFit("a floating-point number", 32);
    }
    return static_cast<float>(v);
  }
};
template <>
struct Decoding<double> {
  static CodingResult<double> decode(Decoder& d) { return d.singleValueContainer().decodeDouble(); }
};
template <>
struct Decoding<std::string> {
  static CodingResult<std::string> decode(Decoder& d) { return d.singleValueContainer().decodeString(); }
};
template <>
struct Decoding<Date> {
  static CodingResult<Date> decode(Decoder& d) { return d.singleValueContainer().decodeDate(); }
};
template <>
struct Decoding<Data> {
  static CodingResult<Data> decode(Decoder& d) { return d.singleValueContainer().decodeData(); }
};
template <class E>
struct Decoding<std::vector<E>> {
  static CodingResult<std::vector<E>> decode(Decoder& d) {
    auto container = d.unkeyedContainer();
    if (!container) return container.error();
    std::vector<E> out;
    out.reserve(container->count());
    while (!container->isAtEnd()) {
      auto element = container->template decode<E>();
      if (!element) return element.error();
      out.push_back(std::move(element).value());
    }
    return out;
  }
};

template <class T>
struct Encoding {
  static CodingStatus encode(const T& value, Encoder& encoder) {
    if constexpr (detail::BuiltInScalar<T>) {
      return encoder.singleValueContainer().encode(value);
    } else {
      return value.encode(encoder);
    }
  }
};
template <class E>
struct Encoding<std::vector<E>> {
  static CodingStatus encode(const std::vector<E>& values, Encoder& encoder) {
    auto container = encoder.unkeyedContainer();
    container.reserve(values.size());
    for (const auto& v : values) {
      if (CodingStatus s = container.encode(v); !s) return s;
    }
    return {};
  }
};

template <class T>
CodingResult<T> SingleValueDecodingContainer::decode() const {
  Decoder decoder(*node_, path_, owns_);
  return Decoding<T>::decode(decoder);
}

template <class T>
CodingResult<T> KeyedDecodingContainer::decode(std::string_view key) const {
  AnyValue* child = node_->as<TextDictionary>().find(key);
  if (child == nullptr) return detail::keyNotFound(path_, key);
  const CodingPathLink link = detail::childLink(path_, key);
  if (link.depth > maxCodingDepth) return detail::tooDeep(&link, true);
  Decoder decoder(*child, &link, owns_);
  return Decoding<T>::decode(decoder);
}

template <class T>
CodingResult<std::optional<T>> KeyedDecodingContainer::decodeIfPresent(std::string_view key) const {
  const AnyValue* child = node_->as<TextDictionary>().find(key);
  if (child == nullptr || child->isNull()) return std::optional<T>();
  auto value = decode<T>(key);
  if (!value) return value.error();
  return std::optional<T>(std::move(value).value());
}

template <class T>
CodingResult<T> UnkeyedDecodingContainer::decode() {
  auto& array = node_->as<AnyValue::Array>();
  if (currentIndex_ >= array.size()) return detail::atEnd(path_);
  const CodingPathLink link = detail::childLink(path_, currentIndex_);
  if (link.depth > maxCodingDepth) return detail::tooDeep(&link, true);
  Decoder decoder(array[currentIndex_], &link, owns_);
  auto result = Decoding<T>::decode(decoder);
  if (result) ++currentIndex_;
  return result;
}

template <class T>
CodingStatus SingleValueEncodingContainer::encode(const T& value) const {
  if constexpr (detail::BuiltInScalar<T>) {
    *slot_ = AnyValue(value);
    return {};
  } else {
    Encoder encoder(*slot_, path_);
    return Encoding<T>::encode(value, encoder);
  }
}

template <class T>
CodingStatus KeyedEncodingContainer::encode(std::string_view key, const T& value) {
  const CodingPathLink link = detail::childLink(path_, key);
  if (link.depth > maxCodingDepth) return detail::tooDeep(&link, false);
  auto& dictionary = slot_->as<TextDictionary>();
  AnyValue* child = dictionary.find(key);
  if (child == nullptr) {
    child = &dictionary.appendUnchecked(key);
  } else {
    *child = AnyValue();
  }
  Encoder encoder(*child, &link);
  return Encoding<T>::encode(value, encoder);
}

template <class T>
CodingStatus UnkeyedEncodingContainer::encode(const T& value) {
  auto& array = slot_->as<AnyValue::Array>();
  const CodingPathLink link = detail::childLink(path_, array.size());
  if (link.depth > maxCodingDepth) return detail::tooDeep(&link, false);
  array.emplace_back();
  Encoder encoder(array.back(), &link);
  CodingStatus status = Encoding<T>::encode(value, encoder);
  return status;
}

}  // namespace Keel
