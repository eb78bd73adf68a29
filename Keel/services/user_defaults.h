// User defaults: small per-user settings kept by domain (the application's own
// and named suites shared between applications), read from memory and kept on
// disk as property lists.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "Keel/core/any_value.h"

namespace Keel {

// A store of values by text key. Values are property-list values: booleans,
// integers (kept as signed 64-bit), reals (kept as double), texts, data, dates
// (of the years 0001 to 9999, kept exactly), arrays and text-keyed
// dictionaries of these.
// Every operation is safe from any thread and never throws.
class UserDefaults {
 public:
  virtual ~UserDefaults() = default;

  // The store of the standard domain: the main bundle's identifier, or the
  // executable's name outside a bundle. Created on first use; lives until the
  // process ends, and writes what is pending when the process exits normally.
  [[nodiscard]] static UserDefaults& standard();

  // The store of a named suite such as "com.brenwick.appreviews", shared by
  // every caller in the process that names the same suite (the standard
  // domain's own name gives the standard store). Nothing when the name cannot
  // name a domain: empty, ".", "..", holding "/" or NUL, or too long for a
  // file name.
  [[nodiscard]] static std::shared_ptr<UserDefaults> suite(std::string_view name);

  // The value under `key`, or nothing.
  [[nodiscard]] virtual std::optional<AnyValue> object(std::string_view key) const = 0;

  // Stores `value` under `key`, or removes the key when `value` is absent or
  // null. The value is kept in the form a later read of the file gives back
  // (integers widened, dates cut to the second, URLs as their text). A value
  // with no property-list form (nested nulls, integers above the signed 64-bit
  // range, texts that are not UTF-8 or hold control characters XML cannot
  // carry, dates out of range, non-text dictionary keys, nesting deeper than
  // maxValueDepth) is refused: nothing changes and the answer is false.
  virtual bool set(const std::optional<AnyValue>& value, std::string_view key) = 0;

  // Every key and value of the domain, keys in ascending byte order.
  [[nodiscard]] virtual TextDictionary dictionaryRepresentation() const = 0;

  // Writes pending changes now and picks up changes made by other processes.
  // False when something pending could not be written (it stays in memory and
  // is tried again with the next write).
  virtual bool synchronize() = 0;

  void removeObject(std::string_view key) { set(std::nullopt, key); }

  // Typed reads. Absent when the key is missing or holds another kind.
  [[nodiscard]] std::optional<std::string> string(std::string_view key) const;
  [[nodiscard]] std::optional<AnyValue::Array> array(std::string_view key) const;
  [[nodiscard]] std::optional<TextDictionary> dictionary(std::string_view key) const;
  [[nodiscard]] std::optional<Data> data(std::string_view key) const;
  // Numbers as they convert (booleans as 0 and 1, reals truncated for
  // integer()); texts holding a number are read as that number. A missing key
  // or any other value reads as 0.
  [[nodiscard]] double doubleValue(std::string_view key) const;
  [[nodiscard]] std::int64_t integer(std::string_view key) const;
  // True for true, non-zero numbers and the texts "YES", "yes", "true", "1"
  // (as the macOS store reads them); false for everything else and for a
  // missing key.
  [[nodiscard]] bool boolValue(std::string_view key) const;
};

// The form `value` takes in a user-defaults store, or nothing when it has no
// property-list form (see UserDefaults::set).
[[nodiscard]] std::optional<AnyValue> userDefaultsValue(const AnyValue& value);

// True when `text` is UTF-8 without the characters an XML property list
// cannot carry (controls below U+0020 but tab and line feed, and U+FFFE and
// U+FFFF): what keys and texts of a store must be.
[[nodiscard]] bool isPropertyListText(std::string_view text);

// True when `name` can name a domain (see UserDefaults::suite).
[[nodiscard]] bool isValidDomainName(std::string_view name);

// Where domains live: `$XDG_CONFIG_HOME/keel/defaults`, with `~/.config`
// standing in for an unset, empty or relative XDG_CONFIG_HOME. Nothing when
// neither gives an absolute folder.
[[nodiscard]] std::optional<std::filesystem::path> defaultsFolder(const char* xdgConfigHome, const char* home);

// The name of the standard domain for this process (see standard()); "Keel"
// when even the executable's name cannot be read.
[[nodiscard]] std::string standardDomainName();

// A store that lives in memory only, for tests and for processes with no
// place to keep files.
class MemoryUserDefaults final : public UserDefaults {
 public:
  MemoryUserDefaults() = default;
  explicit MemoryUserDefaults(const TextDictionary& initial);

  [[nodiscard]] std::optional<AnyValue> object(std::string_view key) const override;
  bool set(const std::optional<AnyValue>& value, std::string_view key) override;
  [[nodiscard]] TextDictionary dictionaryRepresentation() const override;
  bool synchronize() override { return true; }

 private:
  mutable std::mutex mutex_;
  std::map<std::string, AnyValue, std::less<>> values_;
};

}  // namespace Keel
