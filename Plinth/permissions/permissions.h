// Privacy panes and full-disk-access tests: opening a pane of the system's
// privacy settings or its notification settings, and finding out whether this
// process may read what the system shields from applications.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Keel/core/url.h"

namespace Plinth {

// The privacy panes that can be opened; the raw values are the panes' own
// identifiers (the first three cases are lower camel case, the rest keep the
// panes' capitals, hence the naming check is off for them).
// NOLINTBEGIN(readability-identifier-naming)
enum class PrivacyPage : std::uint8_t {
  privacy,
  accessibility,
  allFiles,
  Assistive,
  Calendars,
  Camera,
  Contacts,
  Diagnostics,
  LinkedIn,
  LocationServices,
  Microphone,
  Reminders,
  SystemServices,
};
// NOLINTEND(readability-identifier-naming)

inline constexpr std::array<PrivacyPage, 13> allPrivacyPages = {
    PrivacyPage::privacy,       PrivacyPage::accessibility,    PrivacyPage::allFiles,   PrivacyPage::Assistive,
    PrivacyPage::Calendars,     PrivacyPage::Camera,           PrivacyPage::Contacts,   PrivacyPage::Diagnostics,
    PrivacyPage::LinkedIn,      PrivacyPage::LocationServices, PrivacyPage::Microphone, PrivacyPage::Reminders,
    PrivacyPage::SystemServices};

// "Privacy", "Privacy_Accessibility", "Privacy_AllFiles", ...
[[nodiscard]] std::string_view rawValue(PrivacyPage page);
// The page whose raw value is exactly `rawValue` (case-sensitive), or nothing.
[[nodiscard]] std::optional<PrivacyPage> privacyPage(std::string_view rawValue);

// Opens a URL with the desktop's handler for it; the outcome is not reported.
using URLOpener = std::function<void(const Keel::URL& url)>;

// What the full-disk-access tests ask of the file system.
class ProtectedFileAccess {
 public:
  virtual ~ProtectedFileAccess() = default;
  // Whether the file's contents can be read (an empty file counts).
  [[nodiscard]] virtual bool canReadContents(const std::string& path) const = 0;
  // Whether something is at `path` (links followed) and whether it is a
  // directory; nothing when nothing is there.
  [[nodiscard]] virtual std::optional<bool> isDirectory(const std::string& path) const = 0;
  // Lists the directory at `path` exactly as given (no tilde expansion).
  // Nothing when it could be listed, else the POSIX error code underlying the
  // failure (0 when there is none).
  [[nodiscard]] virtual std::optional<int> listingFailure(const std::string& path) const = 0;
  // The home folder a leading "~" stands for.
  [[nodiscard]] virtual std::string homeDirectory() const = 0;
};

class Permissions {
 public:
  Permissions() = delete;

  // Folders of the user's library that the system shields from applications
  // without full disk access, tilde and trailing slash included.
  static constexpr std::array<std::string_view, 8> protectedFolders = {
      "~/Library/Application Support/com.apple.TCC/",
      "~/Library/Containers/com.apple.mail/",
      "~/Library/Containers/com.apple.Safari/",
      "~/Library/Cookies/",
      "~/Library/Mail/",
      "~/Library/Messages/",
      "~/Library/Metadata/CoreSpotlight/",
      "~/Library/Safari/",
  };
  static constexpr std::string_view privacyDatabasePath = "/Library/Application Support/com.apple.TCC/TCC.db";

  // "x-apple.systempreferences:com.apple.preference.security?" followed by the
  // page's raw value.
  [[nodiscard]] static Keel::URL privacyPaneURL(PrivacyPage page);
  // "x-apple.systempreferences:com.apple.preference.notifications".
  [[nodiscard]] static Keel::URL notificationSettingsURL();

  // Hands the pane's URL to `opener` (the desktop's default handler when
  // none is given; no handler, or a failing one, is ignored).
  static void open(PrivacyPage page, const URLOpener& opener = {});
  static void openNotificationSettings(const URLOpener& opener = {});

  // True when the system-wide privacy database can be read (its bytes are
  // not looked at).
  [[nodiscard]] static bool canReadPrivacyDatabase(const ProtectedFileAccess& files);
  [[nodiscard]] static bool canReadPrivacyDatabase();

  // Walks protectedFolders: each whose tilde-expanded, standardised path is an
  // existing directory is listed by its literal path, tilde and all (on
  // purpose: the existence test and the listing look at different paths). A
  // listing refused with EPERM answers false at once; any other failure is no
  // objection. True when at least one folder was examined and none objected;
  // false when none exists.
  [[nodiscard]] static bool canListProtectedFolders(const ProtectedFileAccess& files);
  [[nodiscard]] static bool canListProtectedFolders();

  // The platform's default opener and file access.
  [[nodiscard]] static URLOpener defaultURLOpener();
  [[nodiscard]] static const ProtectedFileAccess& defaultFileAccess();

  // "~" or "~/..." with the home folder put in; the result standardised: "."
  // and ".." resolved, repeated and trailing slashes dropped.
  [[nodiscard]] static std::string expandingTilde(std::string_view path, const std::string& home);
};

}  // namespace Plinth
