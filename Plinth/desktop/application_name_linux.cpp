// Desktop entries through GLib's key files and desktop-app lookup.
#include <gio/gdesktopappinfo.h>

#include <cstdlib>
#include <memory>

#include "Plinth/desktop/application_name.h"

namespace Plinth {

namespace {

std::optional<std::string> nonBlank(std::optional<std::string> text) {
  if (!text || text->find_first_not_of(" \t\r\n") == std::string::npos) return std::nullopt;
  return text;
}

std::optional<std::string> desktopEntryName(const std::filesystem::path& file) {
  std::unique_ptr<GKeyFile, decltype(&g_key_file_free)> keys(g_key_file_new(), g_key_file_free);
  if (!g_key_file_load_from_file(keys.get(), file.c_str(), G_KEY_FILE_NONE, nullptr)) return std::nullopt;
  gchar* name = g_key_file_get_locale_string(keys.get(), G_KEY_FILE_DESKTOP_GROUP, G_KEY_FILE_DESKTOP_KEY_NAME,
                                             nullptr, nullptr);
  if (name == nullptr) return std::nullopt;
  std::string text = name;
  g_free(name);
  return nonBlank(text);
}

}  // namespace

std::optional<std::string> applicationDisplayName(const std::optional<Keel::Bundle>& bundle,
                                                  const std::optional<std::filesystem::path>& desktopEntry) {
  if (bundle) {
    if (auto name = nonBlank(bundle->infoString("CFBundleDisplayName"))) return name;
    if (auto name = nonBlank(bundle->infoString("CFBundleName"))) return name;
  }
  if (desktopEntry) return desktopEntryName(*desktopEntry);
  return std::nullopt;
}

std::optional<std::string> applicationDisplayName() {
  const auto bundle = Keel::Bundle::main();
  std::optional<std::filesystem::path> entry;
  if (const char* launched = std::getenv("GIO_LAUNCHED_DESKTOP_FILE"); launched != nullptr && *launched != '\0') {  // NOLINT(concurrency-mt-unsafe)
    entry = launched;
  } else if (auto identifier = bundle ? bundle->bundleIdentifier() : std::nullopt) {
    const std::string id = *identifier + ".desktop";
    if (GDesktopAppInfo* info = g_desktop_app_info_new(id.c_str())) {
      if (const char* file = g_desktop_app_info_get_filename(info)) entry = file;
      g_object_unref(info);
    }
  }
  return applicationDisplayName(bundle, entry);
}

}  // namespace Plinth
