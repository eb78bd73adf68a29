// The Linux opener (GIO's default handler) and file access of the privacy
// tests.
#include "Plinth/permissions/permissions.h"

#include <dirent.h>
#include <fcntl.h>
#include <gio/gio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "Keel/core/descriptor_linux.h"
#include "Plinth/inventory/directory.h"

namespace Plinth {
namespace {

class PosixProtectedFileAccess final : public ProtectedFileAccess {
 public:
  [[nodiscard]] bool canReadContents(const std::string& path) const override {
    // Reading one byte proves the contents can be had; a directory fails
    // here with EISDIR, as it has no contents.
    const Keel::Descriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    if (!fd.valid()) return false;
    char byte = 0;
    return Keel::readSome(fd.get(), &byte, 1) >= 0;
  }
  [[nodiscard]] std::optional<bool> isDirectory(const std::string& path) const override {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) return std::nullopt;
    return S_ISDIR(info.st_mode);
  }
  [[nodiscard]] std::optional<int> listingFailure(const std::string& path) const override {
    const Keel::Listing directory(::opendir(path.c_str()));
    if (!directory) return errno;
    errno = 0;
    while (::readdir(directory.get()) != nullptr) {
    }
    if (errno != 0) return errno;
    return std::nullopt;
  }
  [[nodiscard]] std::string homeDirectory() const override { return currentUser().homeDirectory(); }
};

}  // namespace

URLOpener Permissions::defaultURLOpener() {
  return [](const Keel::URL& url) {
    // Most desktops have no handler for these URLs: the failure is ignored.
    GError* error = nullptr;
    g_app_info_launch_default_for_uri(url.absoluteString.c_str(), nullptr, &error);
    if (error != nullptr) g_error_free(error);
  };
}

const ProtectedFileAccess& Permissions::defaultFileAccess() {
  static const PosixProtectedFileAccess access;
  return access;
}

}  // namespace Plinth
