// Typed reads, the property-list form of stored values, the in-memory store,
// and the process's shared stores by domain.
#include "Keel/services/user_defaults.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <mutex>
#include <utility>

#include "Keel/core/property_list_date.h"
#include "Keel/services/persistent_user_defaults.h"

namespace Keel {
namespace {

// A text of a number as the whole text ("3", "-2.5"), or nothing.
std::optional<double> numberInText(std::string_view text) {
  double value = 0;
  const char* end = text.data() + text.size();
  const auto [ptr, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || ptr != end) return std::nullopt;
  return value;
}

std::optional<double> numericValue(const AnyValue& value) {
  if (const auto* b = value.getIf<bool>()) return *b ? 1.0 : 0.0;
  if (const auto* i = value.getIf<std::int64_t>()) return static_cast<double>(*i);
  if (const auto* d = value.getIf<double>()) return *d;
  if (const auto* s = value.getIf<Text>()) return numberInText(*s);
  return std::nullopt;
}

std::optional<AnyValue> normalised(const AnyValue& value, std::size_t depth) {
  using K = AnyValue::Kind;
  if (depth > maxValueDepth) return std::nullopt;
  switch (value.kind()) {
    case K::null:
    case K::hashedDictionary:
      return std::nullopt;
    case K::boolean:
      return value;
    case K::int8:
      return AnyValue(std::int64_t{value.as<std::int8_t>()});
    case K::int16:
      return AnyValue(std::int64_t{value.as<std::int16_t>()});
    case K::int32:
      return AnyValue(std::int64_t{value.as<std::int32_t>()});
    case K::int64:
      return value;
    case K::uint8:
      return AnyValue(std::int64_t{value.as<std::uint8_t>()});
    case K::uint16:
      return AnyValue(std::int64_t{value.as<std::uint16_t>()});
    case K::uint32:
      return AnyValue(std::int64_t{value.as<std::uint32_t>()});
    case K::uint64: {
      const std::uint64_t u = value.as<std::uint64_t>();
      if (u > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) return std::nullopt;
      return AnyValue(static_cast<std::int64_t>(u));
    }
    case K::float32:
      return AnyValue(static_cast<double>(value.as<float>()));
    case K::float64:
      return value;
    case K::text:
      if (!isPropertyListText(value.as<Text>())) return std::nullopt;
      return value;
    case K::url:
      if (!isPropertyListText(value.url()->absoluteString)) return std::nullopt;
      return AnyValue(value.url()->absoluteString);
    case K::boxedNumber:
      return std::visit([](auto n) -> std::optional<AnyValue> { return normalised(AnyValue(n), 0); },
                        value.boxedNumber()->number);
    case K::date: {
      // Files hold dates of the years 0001 to 9999, to the bit; refuse others
      // rather than keep a value that could not be written.
      const double seconds = value.as<Date>().timeIntervalSinceReferenceDate();
      if (!PropertyList::dateText(seconds)) return std::nullopt;
      return value;
    }
    case K::data:
      return value;
    case K::array: {
      AnyValue::Array out;
      out.reserve(value.as<AnyValue::Array>().size());
      for (const AnyValue& element : value.as<AnyValue::Array>()) {
        auto converted = normalised(element, depth + 1);
        if (!converted) return std::nullopt;
        out.push_back(std::move(*converted));
      }
      return AnyValue(std::move(out));
    }
    case K::dictionary: {
      TextDictionary out;
      out.reserve(value.as<TextDictionary>().size());
      for (const auto& [key, element] : value.as<TextDictionary>()) {
        if (!isPropertyListText(key)) return std::nullopt;
        auto converted = normalised(element, depth + 1);
        if (!converted) return std::nullopt;
        out.appendUnchecked(key, std::move(*converted));
      }
      return AnyValue(std::move(out));
    }
  }
  return std::nullopt;
}

}  // namespace

bool isPropertyListText(std::string_view text) {
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const auto* end = p + text.size();
  while (p < end) {
    const unsigned char c = *p;
    if (c < 0x80) {
      if (c < 0x20 && c != '\t' && c != '\n') return false;
      ++p;
      continue;
    }
    // Well-formed UTF-8 only: no overlong forms, surrogates or code points
    // past U+10FFFF.
    int length = 0;
    std::uint32_t point = 0;
    if (c >= 0xC2 && c <= 0xDF) {
      length = 2;
      point = c & 0x1F;
    } else if (c >= 0xE0 && c <= 0xEF) {
      length = 3;
      point = c & 0x0F;
    } else if (c >= 0xF0 && c <= 0xF4) {
      length = 4;
      point = c & 0x07;
    } else {
      return false;
    }
    if (end - p < length) return false;
    for (int i = 1; i < length; ++i) {
      if ((p[i] & 0xC0) != 0x80) return false;
      point = (point << 6) | (p[i] & 0x3F);
    }
    // U+FFFE and U+FFFF are not XML characters, so the file could not hold them.
    if ((length == 3 && (point < 0x800 || (point >= 0xD800 && point <= 0xDFFF) || point >= 0xFFFE)) ||
        (length == 4 && (point < 0x10000 || point > 0x10FFFF))) {
      return false;
    }
    p += length;
  }
  return true;
}

std::optional<AnyValue> userDefaultsValue(const AnyValue& value) { return normalised(value, 0); }

bool isValidDomainName(std::string_view name) {
  // The name becomes a file name with ".plist.corrupt-..." or ".plist.lock"
  // appended, which must stay within the usual 255-byte limit.
  constexpr std::size_t longestName = 200;
  return !name.empty() && name.size() <= longestName && name != "." && name != ".." &&
         name.find('/') == std::string_view::npos && name.find('\0') == std::string_view::npos;
}

std::optional<std::filesystem::path> defaultsFolder(const char* xdgConfigHome, const char* home) {
  std::filesystem::path config;
  if (xdgConfigHome != nullptr && xdgConfigHome[0] == '/') {
    config = xdgConfigHome;
  } else if (home != nullptr && home[0] == '/') {
    config = std::filesystem::path(home) / ".config";
  } else {
    return std::nullopt;
  }
  return config / "keel" / "defaults";
}

std::optional<std::string> UserDefaults::string(std::string_view key) const {
  auto value = object(key);
  if (auto* text = value ? value->getIf<Text>() : nullptr) return text->str();
  return std::nullopt;
}

std::optional<AnyValue::Array> UserDefaults::array(std::string_view key) const {
  auto value = object(key);
  if (auto* array = value ? value->getIf<AnyValue::Array>() : nullptr) return std::move(*array);
  return std::nullopt;
}

std::optional<TextDictionary> UserDefaults::dictionary(std::string_view key) const {
  auto value = object(key);
  if (auto* dictionary = value ? value->getIf<TextDictionary>() : nullptr) return std::move(*dictionary);
  return std::nullopt;
}

std::optional<Data> UserDefaults::data(std::string_view key) const {
  auto value = object(key);
  if (auto* data = value ? value->getIf<Data>() : nullptr) return std::move(*data);
  return std::nullopt;
}

double UserDefaults::doubleValue(std::string_view key) const {
  const auto value = object(key);
  return value ? numericValue(*value).value_or(0.0) : 0.0;
}

std::int64_t UserDefaults::integer(std::string_view key) const {
  const auto value = object(key);
  if (!value) return 0;
  if (const auto* i = value->getIf<std::int64_t>()) return *i;
  const double d = numericValue(*value).value_or(0.0);
  // Out-of-range and non-finite reals have no integer: read them as 0 rather
  // than convert with undefined behaviour.
  if (!(d > -9.3e18 && d < 9.3e18)) return 0;
  return static_cast<std::int64_t>(d);
}

bool UserDefaults::boolValue(std::string_view key) const {
  const auto value = object(key);
  if (!value) return false;
  if (const auto* text = value->getIf<Text>()) {
    if (*text == "YES" || *text == "yes" || *text == "true") return true;
    return numberInText(*text).value_or(0.0) != 0.0;
  }
  const auto number = numericValue(*value);
  return number && *number != 0.0 && !std::isnan(*number);
}

MemoryUserDefaults::MemoryUserDefaults(const TextDictionary& initial) {
  for (const auto& [key, value] : initial) set(value, key);
}

std::optional<AnyValue> MemoryUserDefaults::object(std::string_view key) const {
  std::lock_guard lock(mutex_);
  if (auto found = values_.find(key); found != values_.end()) return found->second;
  return std::nullopt;
}

bool MemoryUserDefaults::set(const std::optional<AnyValue>& value, std::string_view key) {
  if (!isPropertyListText(key)) return false;
  if (!value || value->isNull()) {
    std::lock_guard lock(mutex_);
    if (auto found = values_.find(key); found != values_.end()) values_.erase(found);
    return true;
  }
  auto stored = userDefaultsValue(*value);
  if (!stored) return false;
  std::lock_guard lock(mutex_);
  values_.insert_or_assign(std::string(key), std::move(*stored));
  return true;
}

TextDictionary MemoryUserDefaults::dictionaryRepresentation() const {
  std::lock_guard lock(mutex_);
  TextDictionary dictionary;
  dictionary.reserve(values_.size());
  for (const auto& [key, value] : values_) dictionary.appendUnchecked(key, value);
  return dictionary;
}

namespace {

// The process's stores by domain name. Never destroyed: stores write their
// last changes from an exit handler, after static objects may be gone.
class DomainRegistry {
 public:
  static DomainRegistry& instance() {
    static auto* const registry = new DomainRegistry();
    return *registry;
  }

  std::shared_ptr<UserDefaults> store(const std::string& domain) {
    std::lock_guard lock(mutex_);
    auto& store = stores_[domain];
    if (!store) {
      if (folder_) {
        store = std::make_shared<PersistentUserDefaults>(*folder_ / (domain + ".plist"));
      } else {
        store = std::make_shared<MemoryUserDefaults>();  // nowhere to keep files
      }
    }
    return store;
  }

 private:
  DomainRegistry() : folder_(defaultsFolder(std::getenv("XDG_CONFIG_HOME"), std::getenv("HOME"))) {}

  std::mutex mutex_;
  const std::optional<std::filesystem::path> folder_;
  std::map<std::string, std::shared_ptr<UserDefaults>, std::less<>> stores_;
};

}  // namespace

UserDefaults& UserDefaults::standard() {
  static UserDefaults* const store = DomainRegistry::instance().store(standardDomainName()).get();
  return *store;
}

std::shared_ptr<UserDefaults> UserDefaults::suite(std::string_view name) {
  if (!isValidDomainName(name)) return nullptr;
  return DomainRegistry::instance().store(std::string(name));
}

}  // namespace Keel
