// Privacy panes and the full-disk-access tests, over injected openers and
// file access.
#include "Plinth/permissions/permissions.h"

#include <cerrno>
#include <filesystem>

namespace Plinth {
namespace {

constexpr std::array<std::string_view, 13> rawValues = {"Privacy",
                                                        "Privacy_Accessibility",
                                                        "Privacy_AllFiles",
                                                        "Privacy_Assistive",
                                                        "Privacy_Calendars",
                                                        "Privacy_Camera",
                                                        "Privacy_Contacts",
                                                        "Privacy_Diagnostics",
                                                        "Privacy_LinkedIn",
                                                        "Privacy_LocationServices",
                                                        "Privacy_Microphone",
                                                        "Privacy_Reminders",
                                                        "Privacy_SystemServices"};

}  // namespace

std::string_view rawValue(PrivacyPage page) { return rawValues.at(static_cast<std::size_t>(page)); }

std::optional<PrivacyPage> privacyPage(std::string_view raw) {
  for (const auto page : allPrivacyPages) {
    if (rawValue(page) == raw) return page;
  }
  return std::nullopt;
}

Keel::URL Permissions::privacyPaneURL(PrivacyPage page) {
  return {"x-apple.systempreferences:com.apple.preference.security?" + std::string(rawValue(page))};
}

Keel::URL Permissions::notificationSettingsURL() {
  return {"x-apple.systempreferences:com.apple.preference.notifications"};
}

void Permissions::open(PrivacyPage page, const URLOpener& opener) {
  (opener ? opener : defaultURLOpener())(privacyPaneURL(page));
}

void Permissions::openNotificationSettings(const URLOpener& opener) {
  (opener ? opener : defaultURLOpener())(notificationSettingsURL());
}

bool Permissions::canReadPrivacyDatabase(const ProtectedFileAccess& files) {
  return files.canReadContents(std::string(privacyDatabasePath));
}

bool Permissions::canReadPrivacyDatabase() { return canReadPrivacyDatabase(defaultFileAccess()); }

std::string Permissions::expandingTilde(std::string_view path, const std::string& home) {
  std::string expanded(path);
  if (path == "~" || path.starts_with("~/")) expanded = home + std::string(path.substr(1));
  if (expanded.empty()) return expanded;
  auto normal = std::filesystem::path(expanded).lexically_normal().string();
  while (normal.size() > 1 && normal.back() == '/') normal.pop_back();
  return normal;
}

bool Permissions::canListProtectedFolders(const ProtectedFileAccess& files) {
  bool examined = false;
  const auto home = files.homeDirectory();
  for (const auto folder : protectedFolders) {
    const auto isDirectory = files.isDirectory(expandingTilde(folder, home));
    if (!isDirectory || !*isDirectory) continue;
    if (const auto failure = files.listingFailure(std::string(folder)); failure && *failure == EPERM) return false;
    examined = true;
  }
  return examined;
}

bool Permissions::canListProtectedFolders() { return canListProtectedFolders(defaultFileAccess()); }

}  // namespace Plinth
