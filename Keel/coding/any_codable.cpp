// The decoding order and the encoding rules of untyped coding values.
#include "Keel/coding/any_codable.h"

#include <cmath>

#include "Keel/core/fatal_error.h"

namespace Keel {
namespace {

CodingError cannotDecode(const Decoder& decoder) {
  return {CodingError::Kind::dataCorrupted, decoder.codingPath(), "AnyDecodable value cannot be decoded"};
}

// The decoding order applied in place to a tree the decoder owns: the kind of
// each node decides which attempt of the order succeeds first, so the node is
// rewritten to that result (null, boolean, int64 and float64 and text stay;
// other integer widths become int64 when they fit, else uint64; float32
// becomes float64; containers recurse), reusing the tree's storage instead of
// building a second one. False when some node fits none of the kinds (dates,
// data, ...) or nesting passes maxCodingDepth; the caller then reports the
// failure at its own path, as the order does.
bool normalizeOwned(AnyValue& node, std::size_t depth) {
  using K = AnyValue::Kind;
  switch (node.kind()) {
    case K::null:
    case K::boolean:
    case K::int64:
    case K::float64:
    case K::text:
      return true;
    case K::int8:
    case K::int16:
    case K::int32:
    case K::uint8:
    case K::uint16:
    case K::uint32:
    case K::uint64: {
      AnyValue tree = node;  // small: a scalar
      Decoder decoder(tree);
      const auto single = decoder.singleValueContainer();
      if (auto i = single.tryInt64()) {
        node = *i;
      } else if (auto u = single.tryUInt64()) {
        node = *u;
      }
      return true;
    }
    case K::float32:
      node = static_cast<double>(node.as<float>());
      return true;
    case K::array:
      if (depth >= maxCodingDepth) return false;
      for (AnyValue& element : node.as<AnyValue::Array>()) {
        if (!normalizeOwned(element, depth + 1)) return false;
      }
      return true;
    case K::dictionary:
      if (depth >= maxCodingDepth) return false;
      for (auto& entry : node.as<TextDictionary>()) {
        if (!normalizeOwned(entry.second, depth + 1)) return false;
      }
      return true;
    default:
      return false;
  }
}

// Encodes a value of a tree without copying it into an AnyEncodable.
struct ValueRef {
  const AnyValue* value;
  CodingStatus encode(Encoder& encoder) const { return encodeAnyValue(*value, encoder); }
};

CodingError cannotEncode(const AnyValue& value, const Encoder& encoder, std::string description) {
  return {CodingError::Kind::invalidValue, encoder.codingPath(), std::move(description), value};
}

CodingStatus encodeBoxed(const BoxedNumber& boxed, const AnyValue& value, Encoder& encoder) {
  const auto container = encoder.singleValueContainer();
  // The integer as stored; the type code then decides through which width it
  // is read, so out-of-range values wrap as a narrowing read would.
  const std::int64_t bits = std::visit(
      [](auto n) -> std::int64_t {
        if constexpr (std::is_same_v<decltype(n), double>) {
          return std::isfinite(n) && std::fabs(n) < 9.2e18 ? static_cast<std::int64_t>(n) : 0;
        } else {
          return static_cast<std::int64_t>(n);
        }
      },
      boxed.number);
  const double real = std::visit([](auto n) { return static_cast<double>(n); }, boxed.number);
  const std::string& code = boxed.typeCode;
  if (code == "c" || code == "C") {
    const bool nonZero = std::holds_alternative<double>(boxed.number) ? real != 0 : bits != 0;
    return container.encode(nonZero);
  }
  if (code == "s") return container.encode(static_cast<std::int8_t>(bits));
  if (code == "i") return container.encode(static_cast<std::int16_t>(bits));
  if (code == "l") return container.encode(static_cast<std::int32_t>(bits));
  if (code == "q") return container.encode(bits);
  if (code == "S") return container.encode(static_cast<std::uint8_t>(bits));
  if (code == "I") return container.encode(static_cast<std::uint16_t>(bits));
  if (code == "L") return container.encode(static_cast<std::uint32_t>(bits));
  if (code == "Q") {
    const auto* u = std::get_if<std::uint64_t>(&boxed.number);
    return container.encode(u != nullptr ? *u : static_cast<std::uint64_t>(bits));
  }
  if (code == "f") return container.encode(static_cast<float>(real));
  if (code == "d") return container.encode(real);
  return cannotEncode(value, encoder, "NSNumber cannot be encoded because its type is not handled");
}

}  // namespace

CodingResult<AnyValue> decodeAnyValue(Decoder& decoder) {
  const SingleValueDecodingContainer single = decoder.singleValueContainer();
  if (single.decodeNil()) return AnyValue();
  if (auto b = single.tryBool()) return AnyValue(*b);
  if (auto i = single.tryInt64()) return AnyValue(*i);
  if (auto u = single.tryUInt64()) return AnyValue(*u);
  if (auto d = single.tryDouble()) return AnyValue(*d);
  if (auto s = single.tryString()) return AnyValue(std::move(*s));

  if (AnyValue* owned = decoder.ownedNode()) {
    if (owned->kind() == AnyValue::Kind::array || owned->kind() == AnyValue::Kind::dictionary) {
      if (decoder.hasCanonicalTree() || normalizeOwned(*owned, decoder.depth())) return std::move(*owned);
    }
    return cannotDecode(decoder);
  }

  if (auto unkeyed = decoder.unkeyedContainer()) {
    AnyValue::Array array;
    array.reserve(unkeyed->count());
    bool failed = false;
    while (!unkeyed->isAtEnd()) {
      auto element = unkeyed->decode<AnyDecodable>();
      if (!element) {
        failed = true;
        break;
      }
      array.push_back(std::move(element->value));
    }
    if (!failed) return AnyValue(std::move(array));
  }
  if (auto keyed = decoder.container()) {
    TextDictionary::Entries entries;
    bool failed = false;
    for (auto& key : keyed->allKeys()) {
      auto element = keyed->decode<AnyDecodable>(key);
      if (!element) {
        failed = true;
        break;
      }
      entries.emplace_back(std::move(key), std::move(element->value));
    }
    if (!failed) return AnyValue(TextDictionary::fromEntries(std::move(entries)));
  }
  return cannotDecode(decoder);
}

CodingStatus encodeAnyValue(const AnyValue& value, Encoder& encoder) {
  using K = AnyValue::Kind;
  const auto single = encoder.singleValueContainer();
  switch (value.kind()) {
    case K::boxedNumber:
      if (const BoxedNumber* boxed = value.boxedNumber()) return encodeBoxed(*boxed, value, encoder);
      break;
    case K::null:
      return single.encodeNil();
    case K::boolean:
      return single.encode(value.as<bool>());
    case K::int8:
      return single.encode(value.as<std::int8_t>());
    case K::int16:
      return single.encode(value.as<std::int16_t>());
    case K::int32:
      return single.encode(value.as<std::int32_t>());
    case K::int64:
      return single.encode(value.as<std::int64_t>());
    case K::uint8:
      return single.encode(value.as<std::uint8_t>());
    case K::uint16:
      return single.encode(value.as<std::uint16_t>());
    case K::uint32:
      return single.encode(value.as<std::uint32_t>());
    case K::uint64:
      return single.encode(value.as<std::uint64_t>());
    case K::float32:
      return single.encode(value.as<float>());
    case K::float64:
      return single.encode(value.as<double>());
    case K::text:
      return single.encode(value.as<Text>());
    case K::date:
      return single.encode(value.as<Date>());
    case K::url:
      if (const URL* url = value.url()) return single.encode(*url);
      break;
    case K::array: {
      const auto& array = value.as<AnyValue::Array>();
      auto container = encoder.unkeyedContainer();
      container.reserve(array.size());
      for (const AnyValue& element : array) {
        if (CodingStatus s = container.encode(ValueRef{&element}); !s) return s;
      }
      return {};
    }
    case K::dictionary: {
      const auto& dictionary = value.as<TextDictionary>();
      auto container = encoder.container();
      container.reserve(dictionary.size());
      for (const auto& [key, element] : dictionary) {
        if (CodingStatus s = container.encode(key, ValueRef{&element}); !s) return s;
      }
      return {};
    }
    case K::hashedDictionary: {
      const HashedDictionary* hashed = value.hashedDictionary();
      if (hashed == nullptr) break;
      const HashedDictionary& dictionary = *hashed;
      for (const auto& entry : dictionary) {
        if (entry.first.getIf<Text>() == nullptr) {
          return cannotEncode(value, encoder, "AnyEncodable value cannot be encoded");
        }
      }
      auto container = encoder.container();
      container.reserve(dictionary.size());
      for (const auto& [key, element] : dictionary) {
        if (CodingStatus s = container.encode(key.as<Text>(), ValueRef{&element}); !s) return s;
      }
      return {};
    }
    case K::data:
      break;
  }
  return cannotEncode(value, encoder, "AnyEncodable value cannot be encoded");
}

CodingResult<AnyDecodable> AnyDecodable::decode(Decoder& decoder) {
  auto value = decodeAnyValue(decoder);
  if (!value) return value.error();
  return AnyDecodable(std::move(value).value());
}

CodingResult<AnyCodable> AnyCodable::decode(Decoder& decoder) {
  auto value = decodeAnyValue(decoder);
  if (!value) return value.error();
  return AnyCodable(std::move(value).value());
}

detail::AnyLiteral::AnyLiteral(std::initializer_list<std::pair<AnyValue, AnyValue>> entries) {
  HashedDictionary dictionary;
  dictionary.reserve(entries.size());
  for (const auto& entry : entries) {
    for (const auto& earlier : dictionary) {
      if (earlier.first == entry.first) fatalError("Duplicate values for key: '" + describe(entry.first) + "'");
    }
    dictionary.push_back(entry);
  }
  value = AnyValue(std::move(dictionary));
}

}  // namespace Keel
