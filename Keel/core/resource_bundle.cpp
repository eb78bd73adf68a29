#include "Keel/core/resource_bundle.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <system_error>
#include <utility>

#include "Keel/core/fatal_error.h"
#include "Keel/core/file_contents.h"
#include "Keel/core/property_list_reader.h"

namespace Keel {

namespace {

// String tables hold a few kilobytes; anything far larger is not one.
constexpr std::size_t maximumTableBytes = std::size_t{4} << 20;

bool isFolder(const std::filesystem::path& path) {
  std::error_code error;
  return std::filesystem::is_directory(path, error);
}

// "de_DE.UTF-8@euro" -> "de_DE"; "C" and "POSIX" -> "en".
std::string languageOfLocale(std::string_view locale) {
  locale = locale.substr(0, locale.find_first_of(".@"));
  if (locale == "C" || locale == "POSIX") return "en";
  return std::string(locale);
}

}  // namespace

ResourceBundle::ResourceBundle(std::filesystem::path path) : state_(std::make_shared<State>()) {
  state_->path = std::move(path);
}

std::optional<ResourceBundle> ResourceBundle::find(std::string_view name,
                                                   const std::vector<std::filesystem::path>& folders) {
  const std::string folderName = std::string(name) + ".bundle";
  for (const auto& folder : folders) {
    if (folder.empty()) continue;
    const std::filesystem::path candidate = folder / folderName;
    if (isFolder(candidate)) return ResourceBundle(candidate);
  }
  return std::nullopt;
}

ResourceBundle ResourceBundle::findOrDie(std::string_view name, const std::vector<std::filesystem::path>& folders) {
  if (auto bundle = find(name, folders)) return std::move(*bundle);
  fatalError("unable to find bundle named " + std::string(name));
}

std::filesystem::path ResourceBundle::resourcePath() const {
  std::filesystem::path resources = state_->path / "Contents" / "Resources";
  return isFolder(resources) ? resources : state_->path;
}

std::vector<std::string> ResourceBundle::localizations() const {
  {
    std::lock_guard lock(state_->mutex);
    if (state_->localizations) return *state_->localizations;
  }
  std::vector<std::string> languages;
  std::error_code error;
  for (std::filesystem::directory_iterator it(resourcePath(), error), end; !error && it != end; it.increment(error)) {
    const std::filesystem::path& entry = it->path();
    if (entry.extension() == ".lproj" && isFolder(entry)) languages.push_back(entry.stem().string());
  }
  std::sort(languages.begin(), languages.end());
  std::lock_guard lock(state_->mutex);
  if (!state_->localizations) state_->localizations = std::move(languages);
  return *state_->localizations;
}

std::shared_ptr<const ResourceBundle::Table> ResourceBundle::table(const std::string& language,
                                                                   std::string_view name) const {
  const std::string cacheKey = language + "/" + std::string(name);
  {
    std::lock_guard lock(state_->mutex);
    if (auto it = state_->tables.find(cacheKey); it != state_->tables.end()) return it->second;
  }
  auto table = std::make_shared<Table>();
  const auto path = resourcePath() / (language + ".lproj") / (std::string(name) + ".strings");
  if (auto bytes = readRegularFile(path, maximumTableBytes)) {
    if (auto tree = PropertyList::read(*bytes)) {
      if (const auto* dictionary = tree->getIf<AnyValue::Dictionary>()) {
        for (const auto& [key, value] : *dictionary) {
          if (const auto* text = value.getIf<Text>()) table->emplace(key.str(), text->str());
        }
      }
    }
  }
  std::lock_guard lock(state_->mutex);
  return state_->tables.try_emplace(cacheKey, std::move(table)).first->second;
}

std::string ResourceBundle::localizedString(std::string_view key, const std::vector<std::string>& languages,
                                            std::string_view tableName) const {
  const std::vector<std::string> available = localizations();
  const auto has = [&](const std::string& language) {
    return std::binary_search(available.begin(), available.end(), language);
  };
  std::string chosen = "en";
  for (const auto& language : languages) {
    if (has(language)) {
      chosen = language;
      break;
    }
    const std::string base = language.substr(0, language.find('_'));
    if (has(base)) {
      chosen = base;
      break;
    }
  }
  const auto strings = table(chosen, tableName);
  if (auto it = strings->find(key); it != strings->end()) return it->second;
  return std::string(key);
}

std::string ResourceBundle::localizedString(std::string_view key) const {
  return localizedString(key, preferredLanguages());
}

std::vector<std::string> ResourceBundle::preferredLanguages(const char* (*getVariable)(const char*)) {
  std::vector<std::string> languages;
  const auto add = [&](std::string language) {
    if (!language.empty() && std::find(languages.begin(), languages.end(), language) == languages.end()) {
      languages.push_back(std::move(language));
    }
  };
  // LANGUAGE is only honoured with a locale other than C, as gettext does.
  std::string locale;
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = getVariable(name);
    if (value != nullptr && *value != '\0') {
      locale = value;
      break;
    }
  }
  const std::string_view localeName = std::string_view(locale).substr(0, locale.find_first_of(".@"));
  const bool isCLocale = localeName.empty() || localeName == "C" || localeName == "POSIX";
  if (const char* list = getVariable("LANGUAGE"); list != nullptr && !isCLocale) {
    std::string_view rest(list);
    while (!rest.empty()) {
      const auto colon = rest.find(':');
      add(languageOfLocale(rest.substr(0, colon)));
      rest = colon == std::string_view::npos ? std::string_view() : rest.substr(colon + 1);
    }
  }
  add(isCLocale ? std::string("en") : languageOfLocale(locale));
  return languages;
}

std::vector<std::string> ResourceBundle::preferredLanguages() {
  return preferredLanguages(
      [](const char* name) -> const char* { return std::getenv(name); });  // NOLINT(concurrency-mt-unsafe)
}

const ResourceBundle& keelBundle() {
  static const ResourceBundle bundle =
      ResourceBundle::findOrDie("Keel_Keel", ResourceBundle::searchFolders(reinterpret_cast<const void*>(&keelBundle)));
  return bundle;
}

std::string localizedString(std::string_view key) { return keelBundle().localizedString(key); }

}  // namespace Keel
