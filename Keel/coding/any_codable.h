// Untyped coding values: AnyDecodable decodes any value into an untyped tree,
// AnyEncodable encodes an untyped tree, AnyCodable does both.
#pragma once

#include <concepts>
#include <initializer_list>
#include <utility>

#include "Keel/coding/coder.h"
#include "Keel/coding/coding_error.h"
#include "Keel/core/any_value.h"

namespace Keel {

// The untyped tree of the value `decoder` holds, trying in this order and
// keeping the first that succeeds: null, boolean, signed 64-bit integer,
// unsigned 64-bit integer, 64-bit floating point, text, array (elements by
// these rules), text-keyed dictionary (values by these rules). Anything else
// (including a nested element that fails) is a dataCorrupted error at the
// decoder's path, "AnyDecodable value cannot be decoded".
[[nodiscard]] CodingResult<AnyValue> decodeAnyValue(Decoder& decoder);

// Encodes `value`, testing its kind in this order: boxed number (by its type
// code, see BoxedNumber), null, boolean / integers / floating point / text
// (each keeping its width), date, URL, array, dictionary with text keys (also
// a hashed dictionary whose keys are all texts). Anything else is an
// invalidValue error at the encoder's path, "AnyEncodable value cannot be
// encoded"; a boxed number with an unknown type code gives "NSNumber cannot be
// encoded because its type is not handled". Nested errors come back unchanged.
[[nodiscard]] CodingStatus encodeAnyValue(const AnyValue& value, Encoder& encoder);

namespace detail {
// Construction shared by AnyEncodable and AnyCodable: from any value, and
// from array and dictionary literals.
struct AnyLiteral {
  AnyValue value;

  AnyLiteral() = default;
  // The constraint keeps copies and moves of AnyLiteral away from this one.
  template <class T>
  // NOLINTNEXTLINE(bugprone-forwarding-reference-overload)
  requires std::constructible_from<AnyValue, T&&> AnyLiteral(T&& v)
      : value(std::forward<T>(v)) {}  // NOLINT: literals convert implicitly
  // An array literal: {1, "a", nullptr}.
  AnyLiteral(std::initializer_list<AnyValue> elements) : value(AnyValue::Array(elements)) {}
  // A dictionary literal: {{"a", 1}, {2, "b"}}, keyed by any value. A key
  // given twice stops the process ("Duplicate values for key: 'a'").
  AnyLiteral(std::initializer_list<std::pair<AnyValue, AnyValue>> entries);
};
}  // namespace detail

class AnyDecodable {
 public:
  AnyValue value;

  AnyDecodable() = default;
  explicit AnyDecodable(AnyValue v) : value(std::move(v)) {}
  // See decodeAnyValue.
  static CodingResult<AnyDecodable> decode(Decoder& decoder);
  friend bool operator==(const AnyDecodable&, const AnyDecodable&) = default;
};

class AnyEncodable : public detail::AnyLiteral {
 public:
  using AnyLiteral::AnyLiteral;
  // See encodeAnyValue.
  CodingStatus encode(Encoder& encoder) const { return encodeAnyValue(value, encoder); }
  friend bool operator==(const AnyEncodable& a, const AnyEncodable& b) { return a.value == b.value; }
};

class AnyCodable : public detail::AnyLiteral {
 public:
  using AnyLiteral::AnyLiteral;
  static CodingResult<AnyCodable> decode(Decoder& decoder);
  CodingStatus encode(Encoder& encoder) const { return encodeAnyValue(value, encoder); }
  friend bool operator==(const AnyCodable& a, const AnyCodable& b) { return a.value == b.value; }
};

template <>
inline constexpr bool detail::encodesUntypedTree<AnyEncodable> = true;
template <>
inline constexpr bool detail::encodesUntypedTree<AnyCodable> = true;

}  // namespace Keel
