#include "Plinth/inventory/directory.h"

#include <initializer_list>
#include <string>
#include <string_view>

namespace Plinth {
namespace {

Keel::URL folder(std::string_view path) { return Keel::URL::fileURL(path, true); }

Keel::URL appending(Keel::URL url, std::initializer_list<std::string_view> components) {
  for (const std::string_view component : components) url = url.appendingPathComponent(component, true);
  return url;
}

Keel::URL userFolder(const UserEnvironment& environment) {
  const std::string home = environment.homeDirectory();
  std::string first;
  std::string second;
  std::size_t pieces = 0;
  std::size_t start = 0;
  while (start <= home.size() && pieces < 2) {
    std::size_t end = home.find('/', start);
    if (end == std::string::npos) end = home.size();
    if (end > start) {
      (pieces == 0 ? first : second) = home.substr(start, end - start);
      ++pieces;
    }
    start = end + 1;
  }
  if (pieces == 2) return folder("/" + first + "/" + second);
  return folder("/Users/" + environment.userName());
}

}  // namespace

Keel::URL Directory::url() const { return url(currentUser()); }

Keel::URL Directory::url(const UserEnvironment& environment) const {
  switch (value_) {
    case applications:
      return folder("/Applications");
    case user:
      return userFolder(environment);
    case library:
      return appending(userFolder(environment), {"Library"});
    case preferences:
      return appending(Directory(library).url(environment), {"Preferences"});
    case caches:
      return appending(Directory(library).url(environment), {"Caches"});
    case applicationSupport:
      return appending(Directory(library).url(environment), {"Application Support"});
    case containers:
      return appending(Directory(library).url(environment), {"Containers"});
    case savedState:
      return appending(Directory(library).url(environment), {"Saved Application State"});
    case trash:
      return appending(Directory(library).url(environment), {".Trash"});
    case appleMusicCache:
      return appending(Directory(caches).url(environment), {"com.apple.Music"});
    case safariCache:
      return appending(Directory(caches).url(environment), {"com.apple.safari"});
    case spotifyCache:
      return appending(Directory(caches).url(environment), {"com.spotify.client"});
    case mailAttachments:
      return appending(Directory(library).url(environment),
                       {"Containers", "com.apple.mail", "Data", "Library", "Mail Downloads"});
    case userLaunchAgents:
      return appending(Directory(library).url(environment), {"LaunchAgents"});
    case userLaunchDaemons:
      return appending(Directory(library).url(environment), {"LaunchDaemons"});
    case xcode:
      return appending(Directory(library).url(environment), {"Developer", "Xcode"});
    case volumes:
      return folder("/Volumes");
    case documents:
      return folder("/Users/" + environment.userName() + "/Documents");
    case downloads:
      return folder("/Users/" + environment.userName() + "/Downloads");
  }
  return folder("/");
}

}  // namespace Plinth
