// The well-known per-user and system folders the inventory looks into. Each
// folder is computed on every request from the current user: nothing is cached
// and nothing is checked for existence.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "Keel/core/url.h"

namespace Plinth {

// Where the current user's home folder and login name come from. Tests give
// their own; programs use currentUser().
class UserEnvironment {
 public:
  virtual ~UserEnvironment() = default;
  [[nodiscard]] virtual std::string homeDirectory() const = 0;
  [[nodiscard]] virtual std::string userName() const = 0;
};

// The process's user: the home folder is $HOME when it is set and not empty,
// else the password database's entry of the real user id; the login name is
// that entry's name, else $USER, else $LOGNAME, else "".
[[nodiscard]] const UserEnvironment& currentUser();

// A fixed home folder and login name.
class FixedUserEnvironment final : public UserEnvironment {
 public:
  FixedUserEnvironment(std::string home, std::string name) : home_(std::move(home)), name_(std::move(name)) {}
  [[nodiscard]] std::string homeDirectory() const override { return home_; }
  [[nodiscard]] std::string userName() const override { return name_; }

 private:
  std::string home_;
  std::string name_;
};

// Usage: Directory(Directory::preferences).url(), or pass a Directory::Case
// wherever a Directory is expected.
class Directory {
 public:
  enum Case : std::uint8_t {
    applications,
    user,
    library,
    preferences,
    caches,
    applicationSupport,
    containers,
    savedState,
    trash,
    appleMusicCache,
    safariCache,
    spotifyCache,
    mailAttachments,
    userLaunchAgents,
    userLaunchDaemons,
    xcode,
    volumes,
    documents,
    downloads,
  };
  static constexpr std::array<Case, 19> allCases = {
      applications,    user,           library,         preferences,  caches,      applicationSupport, containers,
      savedState,      trash,          appleMusicCache, safariCache,  spotifyCache, mailAttachments,   userLaunchAgents,
      userLaunchDaemons, xcode,        volumes,         documents,    downloads};

  constexpr Directory(Case value) : value_(value) {}  // NOLINT(google-explicit-constructor): a case is a Directory
  [[nodiscard]] constexpr Case value() const { return value_; }

  // The folder as a directory URL (every appended component is a folder).
  // The user folder is derived from the home folder, so that a sandboxed
  // home deep inside the library still names the real user folder: the first
  // two non-empty pieces of the home path, or "/Users/<login name>" when
  // there are fewer. `trash` lies inside the library, the Safari cache is
  // spelled "com.apple.safari", and `documents` and `downloads` are always
  // "/Users/<login name>/...", whatever the home folder: these are kept on
  // purpose, as the folders other tools expect.
  [[nodiscard]] Keel::URL url() const;
  [[nodiscard]] Keel::URL url(const UserEnvironment& environment) const;

  friend constexpr bool operator==(Directory, Directory) = default;

 private:
  Case value_;
};

}  // namespace Plinth

template <>
struct std::hash<Plinth::Directory> {
  std::size_t operator()(Plinth::Directory directory) const noexcept {
    return std::hash<int>()(static_cast<int>(directory.value()));
  }
};
