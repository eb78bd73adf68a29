#include "Plinth/inventory/file_walk.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Keel/core/descriptor_linux.h"
#include "Plinth/inventory/io_utilities.h"

namespace Plinth {
namespace {

using Keel::Descriptor;

// Folders waiting to be entered keep their parent's descriptor, so that they
// open with one openat instead of a lookup of the whole path. Only this many
// descriptors are kept at once (a wide, deep tree would otherwise hold one per
// level); past it, a pending folder is opened by its path.
constexpr long maximumKeptDescriptors = 64;

class SharedDescriptor {
 public:
  SharedDescriptor(Descriptor fd, std::atomic<long>& count) : fd_(std::move(fd)), count_(count) { ++count_; }
  ~SharedDescriptor() { --count_; }
  SharedDescriptor(const SharedDescriptor&) = delete;
  SharedDescriptor& operator=(const SharedDescriptor&) = delete;
  [[nodiscard]] int get() const { return fd_.get(); }

 private:
  Descriptor fd_;
  std::atomic<long>& count_;
};

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

// Opens a folder by a path of any length: a path of PATH_MAX or more is
// opened piece by piece, each piece relative to the folder before it.
Descriptor openLongPath(const std::string& path, int lastFlags) {
  if (path.size() < PATH_MAX) return Descriptor(::open(path.c_str(), lastFlags));
  Descriptor at;  // none: the current folder
  const auto base = [&] { return at.valid() ? at.get() : AT_FDCWD; };
  std::size_t start = 0;
  while (path.size() - start >= PATH_MAX) {
    const std::size_t cut = path.rfind('/', start + PATH_MAX - 2);
    if (cut == std::string::npos || cut < start) {
      errno = ENAMETOOLONG;
      return Descriptor();
    }
    if (cut == start && start > 0) {  // a doubled "/"
      start = cut + 1;
      continue;
    }
    const std::string piece = cut == start ? std::string("/") : path.substr(start, cut - start);
    at = Descriptor(::openat(base(), piece.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!at.valid()) return Descriptor();
    start = cut + 1;
  }
  return Descriptor(::openat(base(), path.c_str() + start, lastFlags));
}

struct Pending {
  std::string path;
  std::size_t nameStart;
  std::shared_ptr<SharedDescriptor> parent;  // may be empty
};

struct Child {
  std::string name;
  bool isDirectory;
  std::uint64_t size;
};

bool hidden(std::string_view name) { return !name.empty() && name.front() == '.'; }

}  // namespace

bool walkFolder(const std::string& root, const WalkOptions& options,
                const std::function<WalkStep(const WalkEntry&)>& visit, const WalkErrorHandler& onError) {
  std::atomic<long> kept{0};
  auto report = [&](const std::string& path, int error) { return onError ? onError(path, error) : WalkStep::proceed; };
  auto cancelled = [&] { return options.cancel != nullptr && options.cancel->load(std::memory_order_relaxed); };

  std::vector<Pending> pending;
  std::vector<Child> children;
  std::string scratch;
  bool isRoot = true;
  pending.push_back(Pending{root, root.size(), nullptr});

  while (!pending.empty()) {
    if (cancelled()) return false;
    Pending folder = std::move(pending.back());
    pending.pop_back();

    if (!isRoot) {
      const std::string_view name = std::string_view(folder.path).substr(folder.nameStart);
      const WalkStep step = visit(WalkEntry{folder.path, name, true, 0});
      if (step == WalkStep::stop) return false;
      if (step == WalkStep::skipDescendants || (options.skipPackageContents && isPackageName(name))) continue;
    }
    Descriptor opened;
    if (isRoot) {
      opened = openLongPath(folder.path, folderFlags);
    } else if (folder.parent) {
      opened.reset(::openat(folder.parent->get(), folder.path.c_str() + folder.nameStart, folderFlags | O_NOFOLLOW));
    } else {
      opened = openLongPath(folder.path, folderFlags | O_NOFOLLOW);
    }
    folder.parent.reset();
    if (!opened.valid()) {
      const int error = errno;
      if (isRoot) {
        report(folder.path, error);
        return false;
      }
      if (report(folder.path, error) == WalkStep::stop) return false;
      continue;
    }
    isRoot = false;
    const int fd = opened.get();
    auto descriptor = std::make_shared<SharedDescriptor>(std::move(opened), kept);

    // Read the whole listing first, so that only pending folders, never open
    // listings, accumulate as the walk goes deeper.
    children.clear();
    Keel::Listing listing = Keel::listingOf(fd);
    if (!listing) {
      if (report(folder.path, errno) == WalkStep::stop) return false;
      continue;
    }
    while (const dirent* entry = ::readdir(listing.get())) {
      const std::string_view name(entry->d_name);
      if (name == "." || name == "..") continue;
      if (options.skipHidden && hidden(name)) continue;
      const unsigned char type = entry->d_type;
      Child child{std::string(name), type == DT_DIR, 0};
      if (type == DT_UNKNOWN || (type != DT_DIR && options.wantSizes)) {
        struct stat status {};
        if (::fstatat(fd, entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
          // Gone since the listing was read, or not examinable.
          const int error = errno;
          if (report(folder.path + "/" + child.name, error) == WalkStep::stop) return false;
          continue;
        }
        child.isDirectory = S_ISDIR(status.st_mode);
        child.size = child.isDirectory ? 0 : static_cast<std::uint64_t>(status.st_size);
        if (!options.wantSizes) child.size = 0;
      }
      children.push_back(std::move(child));
    }
    listing.reset();
    if (options.progress != nullptr) {
      options.progress->foldersDone.fetch_add(1, std::memory_order_relaxed);
      options.progress->entriesSeen.fetch_add(children.size(), std::memory_order_relaxed);
    }

    // Files first, in listing order; then the folders, pushed in reverse so
    // that they come off the pending list in listing order.
    const std::size_t firstFolder = pending.size();
    for (Child& child : children) {
      scratch.assign(folder.path);
      if (!scratch.ends_with('/')) scratch.push_back('/');
      const std::size_t nameStart = scratch.size();
      scratch.append(child.name);
      if (child.isDirectory) {
        pending.push_back(Pending{scratch, nameStart, nullptr});
        continue;
      }
      const WalkEntry entry{scratch, std::string_view(scratch).substr(nameStart), false, child.size};
      if (visit(entry) == WalkStep::stop) return false;
    }
    for (std::size_t i = firstFolder; i < pending.size(); ++i) {
      if (kept < maximumKeptDescriptors) pending[i].parent = descriptor;
    }
    std::reverse(pending.begin() + static_cast<std::ptrdiff_t>(firstFolder), pending.end());
  }
  return true;
}

namespace {

// The shared state of a two-thread size sum: a stack of pending folders that
// either thread takes from and gives to.
class SizeSum {
 public:
  SizeSum(const WalkOptions& options, const WalkErrorHandler& onError) : options_(options), onError_(onError) {}

  std::uint64_t run(const std::string& root) {
    Descriptor fd = openLongPath(root, folderFlags);
    if (!fd.valid()) {
      report(root, errno);
      return 0;
    }
    pending_.push_back(Pending{root, root.size(), std::make_shared<SharedDescriptor>(std::move(fd), kept_)});
    std::thread helper;
    work(&helper);
    if (helper.joinable()) helper.join();
    return total_;
  }

 private:
  // Takes folders until none is pending and no thread is reading one (which
  // could give more). The first thread starts the helper once there is work
  // enough for two.
  void work(std::thread* helper) {
    std::uint64_t sum = 0;
    std::vector<Pending> found;
    std::unique_lock lock(mutex_);
    while (true) {
      changed_.wait(lock, [&] { return !pending_.empty() || busy_ == 0 || cancelled(); });
      if (pending_.empty() || cancelled()) break;
      Pending folder = std::move(pending_.back());
      pending_.pop_back();
      ++busy_;
      lock.unlock();
      found.clear();
      sum = addSizes(sum, readFolder(folder, found));
      lock.lock();
      --busy_;
      for (Pending& next : found) pending_.push_back(std::move(next));
      if (helper != nullptr && !helper->joinable() && pending_.size() >= 16) {
        *helper = std::thread([this] { work(nullptr); });
      }
      changed_.notify_all();
    }
    total_ = addSizes(total_, sum);
    changed_.notify_all();
  }

  // Tells the handler of a folder that cannot be read, one call at a time;
  // one that vanished meanwhile is no error.
  void report(const std::string& path, int error) {
    if (!onError_ || error == ENOENT) return;
    const std::lock_guard lock(reportMutex_);
    (void)onError_(path, error);
  }

  [[nodiscard]] bool cancelled() const {
    return options_.cancel != nullptr && options_.cancel->load(std::memory_order_relaxed);
  }

  // The sizes of the folder's non-folders; its folders go to `found`.
  std::uint64_t readFolder(Pending& folder, std::vector<Pending>& found) {
    std::shared_ptr<SharedDescriptor> descriptor;
    if (folder.nameStart == folder.path.size()) {
      descriptor = std::move(folder.parent);  // the root, opened already
    } else {
      Descriptor fd = folder.parent ? Descriptor(::openat(folder.parent->get(), folder.path.c_str() + folder.nameStart,
                                                          folderFlags | O_NOFOLLOW))
                                    : openLongPath(folder.path, folderFlags | O_NOFOLLOW);
      const int error = errno;
      folder.parent.reset();
      if (!fd.valid()) {
        report(folder.path, error);
        return 0;
      }
      descriptor = std::make_shared<SharedDescriptor>(std::move(fd), kept_);
    }
    const int fd = descriptor->get();
    const Keel::Listing listing = Keel::listingOf(fd);
    if (!listing) {
      report(folder.path, errno);
      return 0;
    }
    std::uint64_t sum = 0;
    std::uint64_t entries = 0;
    const bool keep = kept_.load(std::memory_order_relaxed) < maximumKeptDescriptors;
    while (const dirent* entry = ::readdir(listing.get())) {
      const std::string_view name(entry->d_name);
      if (name == "." || name == "..") continue;
      bool isFolder = entry->d_type == DT_DIR;
      if (!isFolder) {
        struct stat status {};
        if (::fstatat(fd, entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) continue;  // gone meanwhile
        isFolder = S_ISDIR(status.st_mode);
        if (!isFolder) sum = addSizes(sum, static_cast<std::uint64_t>(status.st_size));
      }
      ++entries;
      if (isFolder) {
        std::string path = folder.path;
        if (!path.ends_with('/')) path.push_back('/');
        const std::size_t nameStart = path.size();
        path.append(name);
        found.push_back(Pending{std::move(path), nameStart, keep ? descriptor : nullptr});
      }
    }
    if (options_.progress != nullptr) {
      options_.progress->foldersDone.fetch_add(1, std::memory_order_relaxed);
      options_.progress->entriesSeen.fetch_add(entries, std::memory_order_relaxed);
    }
    return sum;
  }

  const WalkOptions& options_;
  const WalkErrorHandler& onError_;
  std::mutex reportMutex_;
  std::atomic<long> kept_{0};
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Pending> pending_;
  int busy_ = 0;
  std::uint64_t total_ = 0;
};

}  // namespace

std::uint64_t sumSizesBelow(const std::string& root, const WalkOptions& options, const WalkErrorHandler& onError) {
  SizeSum sum(options, onError);
  return sum.run(root);
}

}  // namespace Plinth
