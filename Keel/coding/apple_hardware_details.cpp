// Coding of the hardware-details record and its lookup in the localised
// machine-attributes property list.
#include "Keel/coding/apple_hardware_details.h"

#include <cstdlib>

#include "Keel/coding/property_list.h"
#include "Keel/coding/system.h"
#include "Keel/core/file_contents.h"

namespace Keel {

std::string_view AppleHardwareDetails::stringValue(CodingKeys key) {
  switch (key) {
    case CodingKeys::processor:
      return "processor";
    case CodingKeys::description:
      return "description";
    case CodingKeys::marketingModel:
      return "marketingModel";
    case CodingKeys::model:
      return "model";
  }
  return {};
}

std::optional<AppleHardwareDetails::CodingKeys> AppleHardwareDetails::codingKey(std::string_view text) {
  for (const CodingKeys key :
       {CodingKeys::processor, CodingKeys::description, CodingKeys::marketingModel, CodingKeys::model}) {
    if (stringValue(key) == text) return key;
  }
  return std::nullopt;
}

std::optional<AppleHardwareDetails::CodingKeys> AppleHardwareDetails::codingKey(int) { return std::nullopt; }

std::optional<int> AppleHardwareDetails::intValue(CodingKeys) { return std::nullopt; }

CodingResult<AppleHardwareDetails> AppleHardwareDetails::decode(Decoder& decoder) {
  auto container = decoder.container();
  if (!container) return container.error();
  AppleHardwareDetails details;
  for (auto [key, field] :
       {std::pair{CodingKeys::processor, &details.processor}, std::pair{CodingKeys::description, &details.description},
        std::pair{CodingKeys::marketingModel, &details.marketingModel}, std::pair{CodingKeys::model, &details.model}}) {
    auto value = container->decodeIfPresent<std::string>(stringValue(key));
    if (!value) return value.error();
    *field = std::move(value).value();
  }
  return details;
}

CodingStatus AppleHardwareDetails::encode(Encoder& encoder) const {
  auto container = encoder.container();
  for (auto [key, field] :
       {std::pair{CodingKeys::processor, &processor}, std::pair{CodingKeys::description, &description},
        std::pair{CodingKeys::marketingModel, &marketingModel}, std::pair{CodingKeys::model, &model}}) {
    if (CodingStatus s = container.encodeIfPresent(stringValue(key), *field); !s) return s;
  }
  return {};
}

std::filesystem::path AppleHardwareDetails::attributesPath(const std::filesystem::path& root,
                                                           std::string_view languageCode) {
  return root / "System/Library/PrivateFrameworks/ServerInformation.framework/Versions/A/Resources" /
         (std::string(languageCode) + ".lproj") / "SIMachineAttributes.plist";
}

std::optional<AppleHardwareDetails> AppleHardwareDetails::detailsFromList(const AnyValue& list,
                                                                          std::string_view modelIdentifier) {
  const auto* top = list.getIf<TextDictionary>();
  if (top == nullptr) return std::nullopt;
  const AnyValue* entry = top->find(modelIdentifier);
  if (entry == nullptr || entry->getIf<TextDictionary>() == nullptr) return std::nullopt;
  const AnyValue* localizable = entry->as<TextDictionary>().find("_LOCALIZABLE_");
  if (localizable == nullptr || localizable->getIf<TextDictionary>() == nullptr) return std::nullopt;
  const auto& texts = localizable->as<TextDictionary>();
  for (const auto& item : texts) {
    if (item.second.getIf<Text>() == nullptr) return std::nullopt;
  }
  auto text = [&](std::string_view key) -> std::optional<std::string> {
    const AnyValue* v = texts.find(key);
    return v != nullptr ? std::optional(v->as<Text>().str()) : std::nullopt;
  };
  AppleHardwareDetails details;
  details.processor = text("processor");
  // The description carries the processor text as well; a "description"
  // entry in the list is never read.
  details.description = text("processor");
  details.marketingModel = text("marketingModel");
  details.model = text("model");
  return details;
}

std::optional<AppleHardwareDetails> AppleHardwareDetails::currentDetails(const Sources& sources) {
  const auto language = sources.languageCode ? sources.languageCode() : languageCodeFromEnvironment();
  if (!language || language->empty()) return std::nullopt;
  const std::string modelIdentifier = sources.modelIdentifier ? sources.modelIdentifier() : System::model();
  const auto bytes = readFileBytes(attributesPath(sources.root, *language));
  if (!bytes) return std::nullopt;
  const auto list = PropertyList::parse(*bytes);
  if (!list) return std::nullopt;
  return detailsFromList(list.value(), modelIdentifier);
}

std::optional<AppleHardwareDetails> AppleHardwareDetails::currentDetails() { return currentDetails(Sources{}); }

std::optional<std::string> languageCodeFromEnvironment(
    const std::function<std::optional<std::string>(const char*)>& getEnvironment) {
  std::optional<std::string> locale;
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    locale = getEnvironment(name);
    if (locale && !locale->empty()) break;
    locale.reset();
  }
  if (!locale) return std::nullopt;
  const std::string code = locale->substr(0, locale->find_first_of("_.@"));
  if (code.size() < 2 || code.size() > 3) return std::nullopt;  // also "C"
  for (const char c : code) {
    if (c < 'a' || c > 'z') return std::nullopt;  // also "POSIX"
  }
  return code;
}

std::optional<std::string> languageCodeFromEnvironment() {
  return languageCodeFromEnvironment([](const char* name) -> std::optional<std::string> {
    const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): read-only use
    return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
  });
}

}  // namespace Keel
