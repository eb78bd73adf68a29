#include "Plinth/inventory/io_utilities.h"

#include <cstdio>
#include <string>
#include <system_error>

#include "Keel/core/fatal_error.h"
#include "Plinth/inventory/file_revealer.h"
#include "Plinth/inventory/workspace_icons.h"

namespace Plinth {
namespace {

std::string errorDescription(const std::string& path, int error) {
  return path + ": " + std::generic_category().message(error);
}

// A recursive listing: hidden entries skipped, packages yielded but not entered.
WalkOptions listingOptions() {
  WalkOptions options;
  options.skipHidden = true;
  options.skipPackageContents = true;
  return options;
}

}  // namespace

std::uint64_t addSizes(std::uint64_t a, std::uint64_t b) noexcept {
  std::uint64_t sum = 0;
  if (__builtin_add_overflow(a, b, &sum)) Keel::fatalError("Size sum overflows 64 bits.");
  return sum;
}

void writeLineToStandardOutput(std::string_view line) {
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fputc('\n', stdout);
}

std::uint64_t IOUtilities::folderSize(const Keel::URL& url, const SizeWalk& walk) {
  WalkOptions options;
  options.cancel = walk.cancel;
  options.progress = walk.progress;
  return sumSizesBelow(url.path(), options, walk.unreadable);
}

std::optional<Keel::Date> IOUtilities::metadataDate(const std::string& /*path*/, std::string_view /*key*/) {
  return std::nullopt;
}

std::optional<Image> IOUtilities::icon(const Keel::URL& url) { return icon(url, WorkspaceIcons::shared()); }

std::optional<Image> IOUtilities::icon(const Keel::URL& url, const WorkspaceIcons& icons) {
  return icons.iconForExtension(url.pathExtension());
}

void IOUtilities::reveal(const Keel::URL& url) { reveal(url, FileRevealer::shared()); }

void IOUtilities::reveal(const Keel::URL& url, const FileRevealer& revealer) {
  (void)revealer.showItems({Keel::URL::fileURL(url.path())});
}

std::vector<Keel::URL> IOUtilities::contentsOfDirectory(const Keel::URL& url, bool directories, bool skipUserLibrary,
                                                        const ErrorLine& errorLine) {
  std::vector<Keel::URL> found;
  bool unreadable = false;
  const bool listed = walkFolder(
      url.path(), WalkOptions{},
      [&](const WalkEntry& entry) {
        if (entry.isDirectory == directories && !(skipUserLibrary && isInUserLibrary(entry.path))) {
          found.push_back(Keel::URL::fileURL(entry.path, entry.isDirectory));
        }
        return WalkStep::skipDescendants;
      },
      [&](const std::string& path, int error) {
        if (path == url.path()) {
          unreadable = true;
          errorLine(errorDescription(path, error));
        }
        return WalkStep::proceed;
      });
  if (!listed && unreadable) return {};
  return found;
}

std::vector<Keel::URL> IOUtilities::foldersBelow(const Keel::URL& url, bool skipUserLibrary,
                                                 const ErrorLine& errorLine) {
  std::vector<Keel::URL> found;
  const std::string root = url.path();
  walkFolder(
      root, listingOptions(),
      [&](const WalkEntry& entry) {
        if (entry.isDirectory && !(skipUserLibrary && isInUserLibrary(entry.path))) {
          found.push_back(Keel::URL::fileURL(entry.path, true));
        }
        return WalkStep::proceed;
      },
      [&](const std::string& path, int error) {
        // A folder that cannot be opened is passed over, as listings without
        // an error handler do; an entry that cannot be examined ends the
        // listing with what it has.
        if (IOUtilities::pathType(path) == PathType::directory || path == root) return WalkStep::proceed;
        errorLine(errorDescription(path, error));
        return WalkStep::stop;
      });
  return found;
}

std::vector<Keel::URL> IOUtilities::filesBelow(const Keel::URL& url) {
  std::vector<Keel::URL> found;
  walkFolder(url.path(), listingOptions(), [&](const WalkEntry& entry) {
    if (!entry.isDirectory) found.push_back(Keel::URL::fileURL(entry.path));
    return WalkStep::proceed;
  });
  return found;
}

std::vector<Keel::URL> IOUtilities::foldersBelowWithSuffix(const Keel::URL& url, std::string_view suffix) {
  std::vector<Keel::URL> found;
  walkFolder(url.path(), listingOptions(), [&](const WalkEntry& entry) {
    if (entry.isDirectory && entry.name.ends_with(suffix)) found.push_back(Keel::URL::fileURL(entry.path, true));
    return WalkStep::proceed;
  });
  return found;
}

bool IOUtilities::isInUserLibrary(std::string_view path) {
  // Components counted as a path splitter does: "/" first, then each name.
  std::size_t count = 0;
  std::string_view fourth;
  if (path.starts_with('/')) ++count;
  std::size_t start = 0;
  while (start < path.size()) {
    std::size_t end = path.find('/', start);
    if (end == std::string_view::npos) end = path.size();
    if (end > start) {
      ++count;
      if (count == 4) fourth = path.substr(start, end - start);
    }
    start = end + 1;
  }
  return count > 3 && fourth == "Library";
}

}  // namespace Plinth
