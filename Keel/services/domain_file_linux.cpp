// Domain files on Linux: atomic replacement (temporary file, fsync, rename,
// fsync of the folder), flock on a sidecar lock file, and a watch on the
// folder (through the process's shared inotify watcher) that tells stores
// when their file changed.
#include "Keel/services/domain_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "Keel/core/atomic_file_linux.h"
#include "Keel/core/descriptor_linux.h"
#include "Keel/services/inotify_watcher.h"

namespace Keel {
namespace {

// A file larger than this is not a settings file; it reads as unreadable
// rather than filling memory.
constexpr std::size_t largestFile = std::size_t{256} << 20;

FileStamp stampOf(const struct stat& st) {
  return FileStamp{true, static_cast<std::uint64_t>(st.st_dev), static_cast<std::uint64_t>(st.st_ino),
                   static_cast<std::int64_t>(st.st_size),
                   static_cast<std::int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec};
}

// Creates `folder` and its missing parents, private to the user. Folders
// that exist keep their permissions.
void makeFolders(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> missing;
  std::error_code error;
  for (auto f = folder; !f.empty() && !std::filesystem::exists(f, error); f = f.parent_path()) {
    missing.push_back(f);
    if (f == f.parent_path()) break;
  }
  std::reverse(missing.begin(), missing.end());
  for (const auto& f : missing) ::mkdir(f.c_str(), 0700);
}

// What the folder watch reports to one domain file.
struct WatchState {
  std::atomic<bool> changed{false};
  std::atomic<bool> alive{true};  // false once the watch has ended
};

class LinuxDomainFile final : public DomainFile {
 public:
  explicit LinuxDomainFile(const std::filesystem::path& path)
      : path_(path), folder_(path.parent_path()), lockPath_(path.string() + ".lock") {
    makeFolders(folder_);
    const std::string name = path_.filename().string();
    watchId_ = detail::InotifyWatcher::shared().add(
        folder_,
        IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE | IN_DELETE | IN_ATTRIB | IN_DELETE_SELF |
            IN_MOVE_SELF | IN_ONLYDIR,
        [state = watch_, name](std::uint32_t mask, std::string_view entry) {
          // The folder itself went away or moved: its watch is over, and the
          // files are compared on every read from now on.
          if ((mask & (IN_IGNORED | IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT)) != 0) {
            state->alive.store(false);
            state->changed.store(true);
          } else if ((mask & IN_Q_OVERFLOW) != 0 || entry == name) {  // lost events may have been ours
            state->changed.store(true);
          }
        });
  }

  ~LinuxDomainFile() override { detail::InotifyWatcher::shared().remove(watchId_); }

  FileStamp stamp() override {
    struct stat st {};
    if (::stat(path_.c_str(), &st) != 0) return {};
    return stampOf(st);
  }

  FileRead read() override {
    FileRead result;
    // Anyone may put a FIFO or a device where the file belongs; neither is
    // ever opened for reading, so the store never waits on one.
    struct stat st {};
    Descriptor fd = openRegularFile(path_.c_str(), st);
    if (!fd.valid()) {
      switch (errno) {
        case ENOENT:
          result.status = FileRead::Status::missing;
          break;
        case EACCES:
        case EPERM:
        case ELOOP:
        case ENOTDIR:
        case EISDIR:
        case ENXIO:
          result.status = FileRead::Status::unreadable;
          result.stamp = stamp();
          break;
        default:
          result.status = FileRead::Status::failed;
      }
      return result;
    }
    result.stamp = stampOf(st);
    if (static_cast<std::uintmax_t>(st.st_size) > largestFile) {
      result.status = FileRead::Status::unreadable;
      return result;
    }
    // A file that grew past the limit since fstat is no settings file either.
    auto bytes = readAll<std::string>(fd.get(), largestFile, static_cast<std::size_t>(st.st_size));
    if (!bytes) {
      result.status = (errno == EISDIR || errno == EFBIG) ? FileRead::Status::unreadable : FileRead::Status::failed;
      return result;
    }
    result.bytes = std::move(*bytes);
    result.status = FileRead::Status::read;
    hold(std::move(fd));
    return result;
  }

  bool withLock(const std::function<void()>& body) override {
    if (!lockFd_.valid()) {
      makeFolders(folder_);
      lockFd_.reset(::open(lockPath_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
      if (!lockFd_.valid()) return false;
    }
    // A writer holds the lock for one file write; a peer that keeps it far
    // longer is stuck, and waiting for it forever would stop this process too.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    auto pause = std::chrono::microseconds(50);
    while (retryOnInterrupt([&] { return ::flock(lockFd_.get(), LOCK_EX | LOCK_NB); }) != 0) {
      if (errno != EWOULDBLOCK || std::chrono::steady_clock::now() > deadline) return false;
      std::this_thread::sleep_for(pause);
      pause = std::min(pause * 2, std::chrono::microseconds(20000));
    }
    struct Unlock {
      int fd;
      ~Unlock() { ::flock(fd, LOCK_UN); }
    } unlock{lockFd_.get()};
    if (!cleaned_) {
      removeAbandonedTemporaries();
      cleaned_ = true;
    }
    body();
    return true;
  }

  bool setAside() override {
    static std::atomic<unsigned> counter{0};
    const std::string aside = path_.string() + ".corrupt-" + std::to_string(std::time(nullptr)) + "-" +
                              std::to_string(::getpid()) + "-" + std::to_string(counter.fetch_add(1));
    return ::rename(path_.c_str(), aside.c_str()) == 0;
  }

  std::optional<FileStamp> replace(std::string_view bytes) override {
    Descriptor fd = replaceFileAtomically(path_, temporaryPrefix(), 0600, bytes);
    struct stat st {};
    if (!fd.valid() || ::fstat(fd.get(), &st) != 0) return std::nullopt;
    hold(std::move(fd));
    return stampOf(st);
  }

  bool takeChangeNotice() override {
    if (watchId_ == 0 || !watch_->alive.load(std::memory_order_relaxed)) return true;
    return watch_->changed.exchange(false);
  }

 private:
  // Keeps the version last read or written open, so that its inode cannot be
  // reused by a later version: equal stamps then always mean the same file.
  void hold(Descriptor fd) {
    std::lock_guard lock(heldMutex_);  // a read and a write may finish at once
    held_ = std::move(fd);
  }

  [[nodiscard]] std::string temporaryPrefix() const { return path_.string() + ".tmp-"; }

  // Temporary files are made only under the lock, so any found while holding
  // it belong to a writer that died mid-write.
  void removeAbandonedTemporaries() const {
    const std::string prefix = path_.filename().string() + ".tmp-";
    std::error_code error;
    for (std::filesystem::directory_iterator it(folder_, error), end; !error && it != end; it.increment(error)) {
      const std::string name = it->path().filename().string();
      if (name.size() == prefix.size() + 6 && name.starts_with(prefix)) ::unlink(it->path().c_str());
    }
  }

  const std::filesystem::path path_;
  const std::filesystem::path folder_;
  const std::string lockPath_;
  const std::shared_ptr<WatchState> watch_ = std::make_shared<WatchState>();
  std::uint64_t watchId_ = 0;
  Descriptor lockFd_;
  std::mutex heldMutex_;
  Descriptor held_;
  bool cleaned_ = false;
};

}  // namespace

std::unique_ptr<DomainFile> openDomainFile(const std::filesystem::path& path) {
  return std::make_unique<LinuxDomainFile>(path);
}

}  // namespace Keel
