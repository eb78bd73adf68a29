// The file behind one user-defaults domain: whole-file reads, atomic
// replacement under a lock shared with other processes, and notice of changes
// made by others. The store's logic sees the disk only through this seam.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace Keel {

// What identifies one version of the file. Files are replaced, never edited
// in place, so a new version has a new inode; size and modification time catch
// editors that write in place.
struct FileStamp {
  bool exists = false;
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::int64_t size = 0;
  std::int64_t modifiedNanoseconds = 0;
  friend bool operator==(const FileStamp&, const FileStamp&) = default;
};

struct FileRead {
  enum class Status {
    missing,     // no file: an empty domain
    read,        // `bytes` hold the whole file
    unreadable,  // something is there that will never read (a folder, no permission)
    failed,      // a passing failure (out of descriptors, I/O error): try again later
  };
  Status status = Status::missing;
  std::string bytes;
  FileStamp stamp;
};

class DomainFile {
 public:
  virtual ~DomainFile() = default;

  // The stamp of whatever is at the path now.
  [[nodiscard]] virtual FileStamp stamp() = 0;

  // The whole file and the stamp of the version read.
  [[nodiscard]] virtual FileRead read() = 0;

  // Runs `body` while holding the exclusive lock that writers of this domain
  // in every process take. False, without running `body`, when the lock
  // cannot be had within a few seconds.
  virtual bool withLock(const std::function<void()>& body) = 0;

  // Under the lock: moves whatever is at the path aside under a new name
  // (the path plus ".corrupt-" and a unique suffix). False when it cannot.
  virtual bool setAside() = 0;

  // Under the lock: replaces the file with `bytes` so that a crash at any
  // moment leaves either the old or the new file whole. The new stamp, or
  // nothing when the file could not be replaced (the old one is untouched).
  virtual std::optional<FileStamp> replace(std::string_view bytes) = 0;

  // True when the file may have changed since the last call. A file that can
  // be watched answers false until the watch reports a change; one that cannot
  // answers true every time, so that callers compare stamps on every read.
  virtual bool takeChangeNotice() = 0;
};

// The file at `path` (for example ~/.config/keel/defaults/<domain>.plist).
// Creates its folder when missing; the lock is `path` + ".lock".
[[nodiscard]] std::unique_ptr<DomainFile> openDomainFile(const std::filesystem::path& path);

}  // namespace Keel
