// Atomic replacement with POSIX calls: mkstemp, fsync, rename.
#include "tools/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "Keel/core/descriptor_linux.h"

namespace Vantor::Tools {
namespace {

std::string failed(const std::filesystem::path& path, int error) {
  return "cannot write " + path.string() + ": " + std::strerror(error);
}

}  // namespace

std::optional<std::string> writeFileAtomically(const std::filesystem::path& path, std::string_view contents) {
  const std::filesystem::path folder = path.parent_path().empty() ? "." : path.parent_path();
  // Hidden, so that a reader listing the folder never takes it for an entry.
  std::string temp = (folder / ("." + path.filename().string() + ".XXXXXX")).string();
  Keel::Descriptor fd(::mkostemp(temp.data(), O_CLOEXEC));
  if (!fd.valid()) return failed(path, errno);
  int error = 0;
  if (::fchmod(fd.get(), 0644) != 0 || !Keel::writeAll(fd.get(), contents) || ::fsync(fd.get()) != 0) error = errno;
  if (!fd.close() && error == 0) error = errno;
  if (error == 0 && ::rename(temp.c_str(), path.c_str()) != 0) error = errno;
  if (error != 0) {
    ::unlink(temp.c_str());
    return failed(path, error);
  }
  // The rename itself is durable only once the folder is.
  const Keel::Descriptor folderFd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folderFd.valid()) ::fsync(folderFd.get());
  return std::nullopt;
}

}  // namespace Vantor::Tools
