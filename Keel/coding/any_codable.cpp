// The decoding order and the encoding rules of untyped coding values.
#include "Keel/coding/any_codable.h"

#include <cmath>

#include "Keel/core/fatal_error.h"

namespace Keel {
namespace {

CodingError cannotDecode(const Decoder& decoder) {
  return {CodingError::Kind::dataCorrupted, decoder.codingPath(), "AnyDecodable value cannot be decoded"};
}

// Decodes the elements of an array the decoder owns in place, reusing the
// tree's storage. False when an element fails.
bool decodeOwnedArray(AnyValue::Array& array, const Decoder& decoder) {
  for (std::size_t i = 0; i < array.size(); ++i) {
    const CodingPathLink link = detail::childLink(decoder.codingPathLink(), i);
    if (link.depth > maxCodingDepth) return false;
    Decoder child(array[i], &link, true);
    auto element = decodeAnyValue(child);
    if (!element) return false;
    array[i] = std::move(element).value();
  }
  return true;
}

bool decodeOwnedDictionary(TextDictionary& dictionary, const Decoder& decoder) {
  for (auto& [key, value] : dictionary) {
    const CodingPathLink link = detail::childLink(decoder.codingPathLink(), key);
    if (link.depth > maxCodingDepth) return false;
    Decoder child(value, &link, true);
    auto element = decodeAnyValue(child);
    if (!element) return false;
    value = std::move(element).value();
  }
  return true;
}

// Encodes a value of a tree without copying it into an AnyEncodable.
struct ValueRef {
  const AnyValue* value;
  Status encode(Encoder& encoder) const { return encodeAnyValue(*value, encoder); }
};

CodingError cannotEncode(const AnyValue& value, const Encoder& encoder, std::string description) {
  return {CodingError::Kind::invalidValue, encoder.codingPath(), std::move(description), value};
}

Status encodeBoxed(const BoxedNumber& boxed, const AnyValue& value, Encoder& encoder) {
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

Result<AnyValue> decodeAnyValue(Decoder& decoder) {
  const SingleValueDecodingContainer single = decoder.singleValueContainer();
  if (single.decodeNil()) return AnyValue();
  if (auto b = single.tryBool()) return AnyValue(*b);
  if (auto i = single.tryInt64()) return AnyValue(*i);
  if (auto u = single.tryUInt64()) return AnyValue(*u);
  if (auto d = single.tryDouble()) return AnyValue(*d);
  if (auto s = single.tryString()) return AnyValue(std::move(*s));

  if (AnyValue* owned = decoder.ownedNode()) {
    if (auto* array = owned->getIf<AnyValue::Array>()) {
      if (decodeOwnedArray(*array, decoder)) return AnyValue(std::move(*array));
    } else if (auto* dictionary = owned->getIf<TextDictionary>()) {
      if (decodeOwnedDictionary(*dictionary, decoder)) return AnyValue(std::move(*dictionary));
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
    std::vector<TextDictionary::Entry> entries;
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

Status encodeAnyValue(const AnyValue& value, Encoder& encoder) {
  using K = AnyValue::Kind;
  const auto single = encoder.singleValueContainer();
  switch (value.kind()) {
    case K::boxedNumber: return encodeBoxed(*value.boxedNumber(), value, encoder);
    case K::null: return single.encodeNil();
    case K::boolean: return single.encode(*value.getIf<bool>());
    case K::int8: return single.encode(*value.getIf<std::int8_t>());
    case K::int16: return single.encode(*value.getIf<std::int16_t>());
    case K::int32: return single.encode(*value.getIf<std::int32_t>());
    case K::int64: return single.encode(*value.getIf<std::int64_t>());
    case K::uint8: return single.encode(*value.getIf<std::uint8_t>());
    case K::uint16: return single.encode(*value.getIf<std::uint16_t>());
    case K::uint32: return single.encode(*value.getIf<std::uint32_t>());
    case K::uint64: return single.encode(*value.getIf<std::uint64_t>());
    case K::float32: return single.encode(*value.getIf<float>());
    case K::float64: return single.encode(*value.getIf<double>());
    case K::text: return single.encode(*value.getIf<std::string>());
    case K::date: return single.encode(*value.getIf<Date>());
    case K::url: return single.encode(*value.url());
    case K::array: {
      const auto& array = *value.getIf<AnyValue::Array>();
      auto container = encoder.unkeyedContainer();
      container.reserve(array.size());
      for (const AnyValue& element : array) {
        if (Status s = container.encode(ValueRef{&element}); !s) return s;
      }
      return {};
    }
    case K::dictionary: {
      const auto& dictionary = *value.getIf<TextDictionary>();
      auto container = encoder.container();
      container.reserve(dictionary.size());
      for (const auto& [key, element] : dictionary) {
        if (Status s = container.encode(key, ValueRef{&element}); !s) return s;
      }
      return {};
    }
    case K::hashedDictionary: {
      const HashedDictionary& dictionary = *value.hashedDictionary();
      for (const auto& entry : dictionary) {
        if (entry.first.getIf<std::string>() == nullptr) {
          return cannotEncode(value, encoder, "AnyEncodable value cannot be encoded");
        }
      }
      auto container = encoder.container();
      container.reserve(dictionary.size());
      for (const auto& [key, element] : dictionary) {
        if (Status s = container.encode(*key.getIf<std::string>(), ValueRef{&element}); !s) return s;
      }
      return {};
    }
    case K::data: break;
  }
  return cannotEncode(value, encoder, "AnyEncodable value cannot be encoded");
}

Result<AnyDecodable> AnyDecodable::decode(Decoder& decoder) {
  auto value = decodeAnyValue(decoder);
  if (!value) return value.error();
  return AnyDecodable(std::move(value).value());
}

Result<AnyCodable> AnyCodable::decode(Decoder& decoder) {
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
