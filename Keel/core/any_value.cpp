// Equality, lookup and descriptions of untyped values.
#include "Keel/core/any_value.h"

#include <array>
#include <charconv>
#include <cmath>
#include <ostream>
#include <unordered_map>
#include <vector>

#include "Keel/core/fatal_error.h"

namespace Keel {

TextDictionary::TextDictionary(std::initializer_list<Entry> entries) {
  entries_.reserve(entries.size());
  for (const auto& [key, value] : entries) insertOrAssign(key, value);
}

const AnyValue* TextDictionary::find(std::string_view key) const {
  for (const auto& entry : entries_) {
    if (entry.first == key) return &entry.second;
  }
  return nullptr;
}

AnyValue* TextDictionary::find(std::string_view key) {
  for (auto& entry : entries_) {
    if (entry.first == key) return &entry.second;
  }
  return nullptr;
}

void TextDictionary::insertOrAssign(Text key, AnyValue value) {
  if (AnyValue* existing = find(key)) {
    *existing = std::move(value);
    return;
  }
  entries_.emplace_back(std::move(key), std::move(value));
}

void TextDictionary::appendUnchecked(Text key, AnyValue value) {
  entries_.emplace_back(std::move(key), std::move(value));
}

bool TextDictionary::erase(std::string_view key) {
  for (const Entry& entry : entries_) {
    if (entry.first == key) {
      entries_.erase(&entry);
      return true;
    }
  }
  return false;
}

TextDictionary TextDictionary::fromEntries(Entries entries) {
  TextDictionary dictionary;
  dictionary.entries_ = std::move(entries);
  dictionary.keepLastOfRepeatedKeys();
  return dictionary;
}

namespace {

// Whether any key appears twice. Up to 32 keys go through a 64-slot table on
// the stack, keyed by each text's word (its contents when short): a handful of
// instructions a key for the small objects that documents are made of.
bool hasRepeatedKeys(const TextDictionary& dictionary) {
  const std::size_t n = dictionary.size();
  if (n < 2) return false;
  const TextDictionary::Entry* entries = dictionary.begin();
  if (n <= 32) {
    std::array<std::uint8_t, 64> slots{};  // entry index + 1; 0 is empty
    for (std::size_t i = 0; i < n; ++i) {
      const Text& key = entries[i].first;
      std::size_t slot = (key.hashWord() * 0x9E3779B97F4A7C15ULL) >> 58;
      for (; slots[slot] != 0; slot = (slot + 1) & 63) {
        if (entries[slots[slot] - 1].first.sameAs(key)) return true;
      }
      slots[slot] = static_cast<std::uint8_t>(i + 1);
    }
    return false;
  }
  std::unordered_map<std::string_view, std::size_t> seen;
  seen.reserve(n);
  for (std::size_t i = 0; i < n; ++i) {
    if (!seen.emplace(entries[i].first, i).second) return true;
  }
  return false;
}

}  // namespace

void TextDictionary::keepLastOfRepeatedKeys() {
  if (!hasRepeatedKeys(*this)) return;
  const std::size_t n = entries_.size();
  // Each later value moves into its key's first entry (within the tree, so
  // arena texts stay put); then the later entries go.
  std::unordered_map<std::string_view, std::size_t> first;
  std::vector<bool> repeated(n);
  for (std::size_t i = 0; i < n; ++i) {
    auto [it, inserted] = first.emplace(entries_[i].first.view(), i);
    if (inserted) continue;
    AnyValue& into = entries_[it->second].second;
    into.~AnyValue();
    new (&into) AnyValue(std::move(entries_[i].second), SameTree{});
    repeated[i] = true;
  }
  entries_.keepOnly([&](std::size_t i) { return !repeated[i]; });
}

bool operator==(const TextDictionary& a, const TextDictionary& b) {
  if (a.size() != b.size()) return false;
  for (const auto& [key, value] : a) {
    const AnyValue* other = b.find(key);
    if (other == nullptr || !(*other == value)) return false;
  }
  return true;
}

std::ostream& operator<<(std::ostream& out, const Text& text) { return out << text.view(); }

void AnyValue::wrongKind() { fatalError("AnyValue read as a kind it does not hold"); }

AnyValue::AnyValue(char32_t v) {
  std::string text;
  const auto c = static_cast<std::uint32_t>(v);
  if (c < 0x80) {
    text += static_cast<char>(c);
  } else if (c < 0x800) {
    text += static_cast<char>(0xC0 | (c >> 6));
    text += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    text += static_cast<char>(0xE0 | (c >> 12));
    text += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    text += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    text += static_cast<char>(0xF0 | ((c >> 18) & 0x07));
    text += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    text += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    text += static_cast<char>(0x80 | (c & 0x3F));
  }
  storage_ = Text(text);
}

const HashedDictionary* AnyValue::hashedDictionary() const {
  const auto* p = std::get_if<Shared<HashedDictionary>>(&storage_);
  return p != nullptr ? p->get() : nullptr;
}

const BoxedNumber* AnyValue::boxedNumber() const {
  const auto* p = std::get_if<Shared<BoxedNumber>>(&storage_);
  return p != nullptr ? p->get() : nullptr;
}

const URL* AnyValue::url() const {
  const auto* p = std::get_if<Shared<URL>>(&storage_);
  return p != nullptr ? p->get() : nullptr;
}

namespace {
template <class F>
bool sameFloat(F a, F b) {
  return a == b ? std::signbit(a) == std::signbit(b) : (std::isnan(a) && std::isnan(b));
}
}  // namespace

bool operator==(const AnyValue& a, const AnyValue& b) {
  if (a.kind() != b.kind()) return false;
  switch (a.kind()) {
    case AnyValue::Kind::float32:
      return sameFloat(a.as<float>(), b.as<float>());
    case AnyValue::Kind::float64:
      return sameFloat(a.as<double>(), b.as<double>());
    case AnyValue::Kind::date: {
      // Dates are instants: -0 and +0 seconds are the same one.
      const double x = a.as<Date>().timeIntervalSinceReferenceDate();
      const double y = b.as<Date>().timeIntervalSinceReferenceDate();
      return x == y || (std::isnan(x) && std::isnan(y));
    }
    case AnyValue::Kind::hashedDictionary: {
      const HashedDictionary* px = a.hashedDictionary();
      const HashedDictionary* py = b.hashedDictionary();
      if (px == nullptr || py == nullptr) return false;
      const HashedDictionary& x = *px;
      const HashedDictionary& y = *py;
      if (x.size() != y.size()) return false;
      for (const auto& [key, value] : x) {
        bool found = false;
        for (const auto& [otherKey, otherValue] : y) {
          if (otherKey == key) {
            found = otherValue == value;
            break;
          }
        }
        if (!found) return false;
      }
      return true;
    }
    case AnyValue::Kind::boxedNumber: {
      const BoxedNumber* x = a.boxedNumber();
      const BoxedNumber* y = b.boxedNumber();
      return x != nullptr && y != nullptr && *x == *y;
    }
    case AnyValue::Kind::url: {
      const URL* x = a.url();
      const URL* y = b.url();
      return x != nullptr && y != nullptr && *x == *y;
    }
    default:
      return a.storage_ == b.storage_;
  }
}

namespace {
template <class T>
std::string numberText(T v) {
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, v);
  return std::string(buffer, result.ptr);
}
}  // namespace

std::string describe(const AnyValue& value) {
  using K = AnyValue::Kind;
  switch (value.kind()) {
    case K::null:
      return "nil";
    case K::boolean:
      return value.as<bool>() ? "true" : "false";
    case K::int8:
      return numberText(value.as<std::int8_t>());
    case K::int16:
      return numberText(value.as<std::int16_t>());
    case K::int32:
      return numberText(value.as<std::int32_t>());
    case K::int64:
      return numberText(value.as<std::int64_t>());
    case K::uint8:
      return numberText(value.as<std::uint8_t>());
    case K::uint16:
      return numberText(value.as<std::uint16_t>());
    case K::uint32:
      return numberText(value.as<std::uint32_t>());
    case K::uint64:
      return numberText(value.as<std::uint64_t>());
    case K::float32:
      return numberText(value.as<float>());
    case K::float64:
      return numberText(value.as<double>());
    case K::text:
      return value.as<Text>().str();
    case K::array:
      return "[...]";
    case K::dictionary:
    case K::hashedDictionary:
      return "{...}";
    case K::boxedNumber:
      return std::visit([](auto n) { return numberText(n); }, value.boxedNumber()->number);
    case K::date:
      return numberText(value.as<Date>().timeIntervalSinceReferenceDate());
    case K::url:
      return value.url()->absoluteString;
    case K::data:
      return std::to_string(value.as<Data>().size()) + " bytes";
  }
  return {};
}

}  // namespace Keel
