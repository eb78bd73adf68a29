#include "Plinth/inventory/app.h"

#include <utility>

#include "Keel/core/bundle.h"
#include "Keel/core/file_contents.h"
#include "Keel/core/property_list_reader.h"
#include "Plinth/inventory/apps.h"
#include "Plinth/inventory/file_icon_manager.h"

namespace Plinth {
namespace {

const AppEnvironment& defaultEnvironment() {
  static const AppEnvironment environment;
  return environment;
}

std::optional<Keel::AnyValue> infoDictionary(const Keel::URL& bundleUrl) {
  const std::string path = bundleUrl.path() + "/Contents/Info.plist";
  const auto bytes = Keel::readRegularFile(path, Keel::maximumInfoPlistBytes);
  if (!bytes) return std::nullopt;
  auto result = Keel::PropertyList::read(*bytes);
  if (!result || result->getIf<Keel::TextDictionary>() == nullptr) return std::nullopt;
  return std::move(result).value();
}

std::optional<std::string> text(const Keel::AnyValue& dictionary, std::string_view key) {
  const Keel::AnyValue* value = dictionary.as<Keel::TextDictionary>().find(key);
  if (value == nullptr) return std::nullopt;
  if (const auto* string = value->getIf<Keel::Text>()) return string->str();
  return std::nullopt;
}

// Applications and extensions inside the bundle, not inside those.
AppList containedApplications(const Keel::URL& bundleUrl, bool skipApple, const AppEnvironment& environment) {
  AppList apps;
  WalkOptions options;
  options.skipHidden = true;
  options.skipPackageContents = true;
  walkFolder(bundleUrl.path(), options, [&](const WalkEntry& entry) {
    if (entry.name.ends_with(".app") || entry.name.ends_with(".appex")) {
      if (auto app = App::make(Keel::URL::fileURL(entry.path, entry.isDirectory), false, skipApple, environment)) {
        apps.push_back(std::move(app));
      }
    }
    return WalkStep::proceed;
  });
  return apps;
}

}  // namespace

App::App(std::string appName, std::string appIdentifier)
    : App(std::move(appName), std::move(appIdentifier), defaultEnvironment()) {}

App::App(std::string appName, std::string appIdentifier, const AppEnvironment& environment)
    : name(std::move(appName)),
      identifier(std::move(appIdentifier)),
      baseUrl(Keel::URL::fileURL(environment.applicationsRoot + "/" + name + ".app")) {
  FileIconManager& icons = environment.icons != nullptr ? *environment.icons : FileIconManager::shared();
  icon = icons.icon(name);
}

std::shared_ptr<App> App::make(const Keel::URL& bundleUrl, bool loadContained, bool skipApple) {
  return make(bundleUrl, loadContained, skipApple, defaultEnvironment());
}

std::shared_ptr<App> App::make(const Keel::URL& bundleUrl, bool loadContained, bool skipApple,
                               const AppEnvironment& environment) {
  const auto info = infoDictionary(bundleUrl);
  if (!info) return nullptr;
  auto identifier = text(*info, "CFBundleIdentifier");
  if (!identifier) return nullptr;
  if (skipApple && identifier->starts_with("com.apple.")) return nullptr;

  auto app =
      std::make_shared<App>(removingAppExtensions(bundleUrl.lastPathComponent()), std::move(*identifier), environment);
  app->binaryFile = FileURL::make(bundleUrl, environment.sizeWalk);
  app->version = text(*info, "CFBundleShortVersionString");
  app->copyright = text(*info, "NSHumanReadableCopyright");
  app->installed = IOUtilities::dateAttribute(bundleUrl.path(), "NSFileCreationDate");
  if (loadContained) app->containedApps = containedApplications(bundleUrl, skipApple, environment);
  return app;
}

std::optional<std::string> App::bundleIdentifier(const Keel::URL& bundleUrl) {
  const auto info = infoDictionary(bundleUrl);
  if (!info) return std::nullopt;
  return text(*info, "CFBundleIdentifier");
}

std::uint64_t App::selectedSize() const {
  std::uint64_t total = 0;
  for (const auto* entry : {binaryFile.get(), container.get(), preferences.get(), savedState.get()}) {
    if (entry != nullptr && entry->isSelected) total = addSizes(total, entry->size);
  }
  for (const auto& entry : caches) {
    if (entry && entry->isSelected) total = addSizes(total, entry->size);
  }
  return total;
}

std::uint64_t App::cachesSize() const {
  std::uint64_t total = 0;
  for (const auto& entry : caches) {
    if (entry) total = addSizes(total, entry->size);
  }
  return total;
}

AppList Apps::installedApplications(bool skipApple) { return installedApplications(skipApple, AppEnvironment{}); }

AppList Apps::installedApplications(bool skipApple, const AppEnvironment& environment) {
  AppList apps;
  const Keel::URL root = Keel::URL::fileURL(environment.applicationsRoot, true);
  for (const Keel::URL& folder : IOUtilities::foldersBelow(root, true, environment.errorLine)) {
    if (environment.sizeWalk.cancel != nullptr && environment.sizeWalk.cancel->load()) break;
    if (auto app = App::make(folder, true, skipApple, environment)) apps.push_back(std::move(app));
  }
  return apps;
}

}  // namespace Plinth
