// Containers of the coding framework: kind checks, number conversions and
// the errors they report.
#include "Keel/coding/coder.h"

#include <cmath>

namespace Keel {

CodingPath materialize(const CodingPathLink* link) {
  CodingPath path;
  for (const CodingPathLink* l = link; l != nullptr; l = l->parent) {
    path.push_back(l->isIndex ? CodingPathElement::ofIndex(l->index) : CodingPathElement::ofKey(std::string(l->key)));
  }
  return CodingPath(path.rbegin(), path.rend());
}

namespace detail {
CodingError tooDeep(const CodingPathLink* link, bool decoding) {
  return {decoding ? CodingError::Kind::dataCorrupted : CodingError::Kind::invalidValue, materialize(link),
          "Value is nested deeper than " + std::to_string(maxCodingDepth) + " levels."};
}
CodingError atEnd(const CodingPathLink* link) {
  return {CodingError::Kind::dataCorrupted, materialize(link), "Unkeyed container is at end."};
}
CodingError keyNotFound(const CodingPathLink* link, std::string_view key) {
  CodingPath path = materialize(link);
  path.push_back(CodingPathElement::ofKey(std::string(key)));
  return {CodingError::Kind::keyNotFound, std::move(path),
          "No value associated with key \"" + std::string(key) + "\"."};
}
}  // namespace detail

namespace {

const char* kindName(const AnyValue& v) {
  using K = AnyValue::Kind;
  switch (v.kind()) {
    case K::null:
      return "null";
    case K::boolean:
      return "a boolean";
    case K::int8:
    case K::int16:
    case K::int32:
    case K::int64:
    case K::uint8:
    case K::uint16:
    case K::uint32:
    case K::uint64:
      return "an integer";
    case K::float32:
    case K::float64:
      return "a floating-point number";
    case K::text:
      return "a text";
    case K::array:
      return "an array";
    case K::dictionary:
      return "a dictionary";
    case K::hashedDictionary:
      return "a dictionary with non-text keys";
    case K::boxedNumber:
      return "a boxed number";
    case K::date:
      return "a date";
    case K::url:
      return "a URL";
    case K::data:
      return "data";
  }
  return "a value";
}

// The integer held by `v` as a signed and unsigned pair: `negative` tells
// which one is meaningful. Nothing for non-integers.
struct IntegerValue {
  bool negative;
  std::int64_t s;
  std::uint64_t u;
};
std::optional<IntegerValue> integerOf(const AnyValue& v) {
  using K = AnyValue::Kind;
  auto sv = [](std::int64_t x) { return IntegerValue{x < 0, x, static_cast<std::uint64_t>(x)}; };
  auto uv = [](std::uint64_t x) { return IntegerValue{false, static_cast<std::int64_t>(x), x}; };
  switch (v.kind()) {
    case K::int8:
      return sv(v.as<std::int8_t>());
    case K::int16:
      return sv(v.as<std::int16_t>());
    case K::int32:
      return sv(v.as<std::int32_t>());
    case K::int64:
      return sv(v.as<std::int64_t>());
    case K::uint8:
      return uv(v.as<std::uint8_t>());
    case K::uint16:
      return uv(v.as<std::uint16_t>());
    case K::uint32:
      return uv(v.as<std::uint32_t>());
    case K::uint64:
      return uv(v.as<std::uint64_t>());
    default:
      return std::nullopt;
  }
}

}  // namespace

CodingError SingleValueDecodingContainer::mismatch(const char* expected) const {
  return {CodingError::Kind::typeMismatch, materialize(path_),
          std::string("Expected to decode ") + expected + " but found " + kindName(*node_) + " instead."};
}

CodingError SingleValueDecodingContainer::doesNotFit(const char* kind, std::size_t bits) const {
  return {CodingError::Kind::dataCorrupted, materialize(path_),
          "Number " + describe(*node_) + " does not fit in " + kind + " of " + std::to_string(bits) + " bits."};
}

bool SingleValueDecodingContainer::decodeNil() const { return node_->isNull(); }

std::optional<bool> SingleValueDecodingContainer::tryBool() const {
  if (const bool* b = node_->getIf<bool>()) return *b;
  return std::nullopt;
}

std::optional<std::int64_t> SingleValueDecodingContainer::tryInt64() const {
  if (const auto* i = node_->getIf<std::int64_t>()) return *i;  // the common case first
  const auto n = integerOf(*node_);
  if (n && (n->negative || n->u <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))) {
    return n->s;
  }
  return std::nullopt;
}

std::optional<std::uint64_t> SingleValueDecodingContainer::tryUInt64() const {
  const auto n = integerOf(*node_);
  if (n && !n->negative) return n->u;
  return std::nullopt;
}

std::optional<double> SingleValueDecodingContainer::tryDouble() const {
  if (const double* d = node_->getIf<double>()) return *d;
  if (const float* f = node_->getIf<float>()) return static_cast<double>(*f);
  if (const auto n = integerOf(*node_)) {
    return n->negative ? static_cast<double>(n->s) : static_cast<double>(n->u);
  }
  return std::nullopt;
}

std::optional<std::string> SingleValueDecodingContainer::tryString() const {
  if (const auto* s = node_->getIf<Text>()) return s->str();
  return std::nullopt;
}

CodingResult<bool> SingleValueDecodingContainer::decodeBool() const {
  if (auto v = tryBool()) return *v;
  return mismatch("a boolean");
}

CodingResult<std::int64_t> SingleValueDecodingContainer::decodeInt64() const {
  if (auto v = tryInt64()) return *v;
  return mismatch("a signed 64-bit integer");
}

CodingResult<std::uint64_t> SingleValueDecodingContainer::decodeUInt64() const {
  if (auto v = tryUInt64()) return *v;
  return mismatch("an unsigned 64-bit integer");
}

CodingResult<double> SingleValueDecodingContainer::decodeDouble() const {
  if (auto v = tryDouble()) return *v;
  return mismatch("a floating-point number");
}

CodingResult<std::string> SingleValueDecodingContainer::decodeString() const {
  if (auto v = tryString()) return std::move(*v);
  return mismatch("a text");
}

CodingResult<Date> SingleValueDecodingContainer::decodeDate() const {
  if (const Date* d = node_->getIf<Date>()) return *d;
  if (node_->getIf<double>() != nullptr || integerOf(*node_)) {
    return Date::withTimeIntervalSinceReferenceDate(decodeDouble().value());
  }
  return mismatch("a date");
}

CodingResult<Data> SingleValueDecodingContainer::decodeData() const {
  if (auto* d = node_->getIf<Data>()) {
    if (owns_) return std::move(*d);
    return *d;
  }
  return mismatch("data");
}

CodingResult<KeyedDecodingContainer> Decoder::container() const {
  if (node_->getIf<TextDictionary>() == nullptr) {
    return SingleValueDecodingContainer(node_, path_, owns_).mismatch("a dictionary");
  }
  return KeyedDecodingContainer(node_, path_, owns_);
}

CodingResult<UnkeyedDecodingContainer> Decoder::unkeyedContainer() const {
  if (node_->getIf<AnyValue::Array>() == nullptr) {
    return SingleValueDecodingContainer(node_, path_, owns_).mismatch("an array");
  }
  return UnkeyedDecodingContainer(node_, path_, owns_);
}

bool KeyedDecodingContainer::contains(std::string_view key) const {
  return node_->as<TextDictionary>().find(key) != nullptr;
}

std::vector<std::string> KeyedDecodingContainer::allKeys() const {
  std::vector<std::string> keys;
  for (const auto& entry : node_->as<TextDictionary>()) keys.push_back(entry.first.str());
  return keys;
}

std::size_t UnkeyedDecodingContainer::count() const { return node_->as<AnyValue::Array>().size(); }

CodingStatus SingleValueEncodingContainer::encodeNil() const {
  *slot_ = AnyValue();
  return {};
}

KeyedEncodingContainer Encoder::container() const {
  if (slot_->getIf<TextDictionary>() == nullptr) *slot_ = TextDictionary();
  return {slot_, path_};
}

UnkeyedEncodingContainer Encoder::unkeyedContainer() const {
  if (slot_->getIf<AnyValue::Array>() == nullptr) *slot_ = AnyValue::Array();
  return {slot_, path_};
}

CodingStatus KeyedEncodingContainer::encodeNil(std::string_view key) {
  slot_->as<TextDictionary>().insertOrAssign(Text(key), AnyValue());
  return {};
}

void KeyedEncodingContainer::reserve(std::size_t n) { slot_->as<TextDictionary>().reserve(n); }

CodingStatus UnkeyedEncodingContainer::encodeNil() {
  slot_->as<AnyValue::Array>().emplace_back();
  return {};
}

void UnkeyedEncodingContainer::reserve(std::size_t n) { slot_->as<AnyValue::Array>().reserve(n); }

std::size_t UnkeyedEncodingContainer::count() const { return slot_->as<AnyValue::Array>().size(); }

}  // namespace Keel
