// The machine's marketing name and processor description, looked up by model
// identifier in the operating system's localised machine-attributes list.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "Keel/coding/coder.h"
#include "Keel/coding/coding_error.h"
#include "Keel/core/any_value.h"

namespace Keel {

struct AppleHardwareDetails {
  std::optional<std::string> processor;
  std::optional<std::string> description;
  std::optional<std::string> marketingModel;
  std::optional<std::string> model;

  // The coding keys, in field order; each key's text is its field's name.
  enum class CodingKeys { processor, description, marketingModel, model };
  [[nodiscard]] static std::string_view stringValue(CodingKeys key);
  // The key named `text`, or nothing for any other text.
  [[nodiscard]] static std::optional<CodingKeys> codingKey(std::string_view text);
  // Keys have no integer form: always nothing.
  [[nodiscard]] static std::optional<CodingKeys> codingKey(int intValue);
  [[nodiscard]] static std::optional<int> intValue(CodingKeys key);

  // Reads each field as optional text (an absent key or null leaves it
  // absent); a present value that is not text is a typeMismatch error, a
  // value that is not a dictionary too.
  static CodingResult<AppleHardwareDetails> decode(Decoder& decoder);
  // Writes the present fields only.
  CodingStatus encode(Encoder& encoder) const;

  // Where the lookup reads from; every part can be replaced by tests.
  struct Sources {
    // Root under which the fixed system folder is found.
    std::filesystem::path root = "/";
    // The locale's language code ("en", "de"), or nothing. Default: from
    // the environment (see languageCodeFromEnvironment).
    std::function<std::optional<std::string>()> languageCode;
    // The machine's model identifier ("MacBookPro16,1"). Default:
    // System::model().
    std::function<std::string()> modelIdentifier;
  };

  // The record for the running machine, or nothing when any step fails: no
  // language code, no list for that language (no fallback to another), an
  // unreadable or unparsable list, a top level that is not a dictionary, the
  // model not listed or its entry not a dictionary, or an entry without a
  // "_LOCALIZABLE_" dictionary of texts only. Never throws, logs nothing.
  [[nodiscard]] static std::optional<AppleHardwareDetails> currentDetails(const Sources& sources);
  // The same with the default sources.
  [[nodiscard]] static std::optional<AppleHardwareDetails> currentDetails();

  // The same lookup (steps after reading the file) on a parsed list.
  [[nodiscard]] static std::optional<AppleHardwareDetails> detailsFromList(const AnyValue& list,
                                                                           std::string_view modelIdentifier);

  // The list's path for `languageCode` under `root`.
  [[nodiscard]] static std::filesystem::path attributesPath(const std::filesystem::path& root,
                                                            std::string_view languageCode);

  friend bool operator==(const AppleHardwareDetails&, const AppleHardwareDetails&) = default;
};

// The language code of the locale named by LC_ALL, else LC_MESSAGES, else
// LANG (the first that is set and not empty): the letters before "_", "."
// or "@" ("de_DE.UTF-8" gives "de"). The "C" and "POSIX" locales (with any
// encoding suffix) have no language, nor does anything that is not two or
// three ASCII letters; then nothing. `getEnvironment` returns a variable's
// value or nothing.
[[nodiscard]] std::optional<std::string> languageCodeFromEnvironment(
    const std::function<std::optional<std::string>(const char*)>& getEnvironment);
// The same on the process environment.
[[nodiscard]] std::optional<std::string> languageCodeFromEnvironment();

}  // namespace Keel
