// The record of one installed application: what an inventory or cleaning
// screen lists, with the file entries that belong to the application and
// their sizes.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Keel/core/date.h"
#include "Keel/core/url.h"
#include "Plinth/desktop/image.h"
#include "Plinth/inventory/file_url.h"
#include "Plinth/inventory/io_utilities.h"

namespace Plinth {

class FileIconManager;

// What records are built against. The defaults are the real folders and the
// shared icon manager; tests and tools give their own roots.
struct AppEnvironment {
  std::string applicationsRoot = "/Applications";
  FileIconManager* icons = nullptr;  // nullptr: FileIconManager::shared()
  SizeWalk sizeWalk = {};            // watches and stops bundle measurements
  ErrorLine errorLine = writeLineToStandardOutput;
};

// Records are shared by reference: hold them as std::shared_ptr<App>.
class App {
 public:
  // A record with the initial values: `baseUrl` is <applications root>/<name>.app
  // and `icon` what the icon manager finds for `name`.
  App(std::string name, std::string identifier);
  App(std::string name, std::string identifier, const AppEnvironment& environment);

  // The record of the bundle at `bundleUrl`, or nothing when its
  // Contents/Info.plist is not a readable dictionary, holds no text
  // "CFBundleIdentifier", or (with `skipApple`) the identifier starts with
  // "com.apple.". The name is the bundle's file name with every ".app"
  // removed, and `baseUrl` is derived from it, wherever the bundle lies.
  // `binaryFile` measures the whole bundle. With `loadContained`, the
  // applications and extensions inside (not inside those) are records too.
  [[nodiscard]] static std::shared_ptr<App> make(const Keel::URL& bundleUrl, bool loadContained, bool skipApple);
  [[nodiscard]] static std::shared_ptr<App> make(const Keel::URL& bundleUrl, bool loadContained, bool skipApple,
                                                 const AppEnvironment& environment);

  // "CFBundleIdentifier" of the bundle's Info.plist, when that is a
  // dictionary holding it as text.
  [[nodiscard]] static std::optional<std::string> bundleIdentifier(const Keel::URL& bundleUrl);

  std::string name;
  std::optional<Image> icon;
  std::string identifier;
  std::optional<Keel::Date> installed;
  std::optional<Keel::Date> lastOpened;
  bool selected = false;
  std::optional<std::string> version;
  std::optional<Keel::URL> baseUrl;
  std::optional<std::string> copyright;
  std::shared_ptr<FileURL> binaryFile;  // null when absent, as the other entries
  std::shared_ptr<FileURL> container;
  std::shared_ptr<FileURL> preferences;
  std::shared_ptr<FileURL> savedState;
  FileURLs caches;
  std::vector<std::shared_ptr<App>> containedApps;

  // The selected entries' sizes (the record's own `selected` is not
  // consulted), the caches' total, and each entry's size (0 when absent).
  // Every sum is checked: overflow stops the process.
  [[nodiscard]] std::uint64_t selectedSize() const;
  [[nodiscard]] std::uint64_t cachesSize() const;
  [[nodiscard]] std::uint64_t binaryFileSize() const { return binaryFile ? binaryFile->size : 0; }
  [[nodiscard]] std::uint64_t containerSize() const { return container ? container->size : 0; }
  [[nodiscard]] std::uint64_t preferencesSize() const { return preferences ? preferences->size : 0; }
  [[nodiscard]] std::uint64_t savedStateSize() const { return savedState ? savedState->size : 0; }
};

using AppList = std::vector<std::shared_ptr<App>>;

}  // namespace Plinth
