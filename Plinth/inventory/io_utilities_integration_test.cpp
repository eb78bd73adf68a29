// The walk, the sizes and the listings on real folders, hostile ones included.
#include "Plinth/inventory/io_utilities.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "Plinth/inventory/file_url.h"
#include "testing/file_text.h"
#include "testing/temp_dir.h"

namespace Plinth {
namespace {

namespace fs = std::filesystem;

void writeFile(const fs::path& path, std::size_t bytes) { Vantor::Testing::writeText(path, std::string(bytes, 'x')); }

Keel::URL folderURL(const fs::path& path) { return Keel::URL::fileURL(path.string(), true); }

std::vector<std::string> relative(const std::vector<Keel::URL>& urls, const fs::path& root) {
  std::vector<std::string> names;
  for (const Keel::URL& url : urls) names.push_back(fs::path(url.path()).lexically_relative(root).string());
  std::sort(names.begin(), names.end());
  return names;
}

TEST(FolderSize, CountsEverythingBelowWithoutFollowingLinks) {
  const Vantor::Testing::TempDir temp;
  const fs::path root = temp.path();
  writeFile(root / "a.txt", 100);
  writeFile(root / ".hidden", 20);
  writeFile(root / "Tool.app/Contents/MacOS/tool", 3000);  // packages are measured inside
  writeFile(root / "sub/deeper/b.bin", 7);
  fs::create_symlink("a.txt", root / "link");             // counts its own 5 bytes, not the target's
  fs::create_directory_symlink(root, root / "sub/loop");  // a loop is just a link
  const std::uint64_t expected = 100 + 20 + 3000 + 7 + 5 + root.string().size();
  EXPECT_EQ(IOUtilities::folderSize(folderURL(root)), expected);

  const FileURL folder(folderURL(root));
  EXPECT_EQ(folder.size, expected);
  EXPECT_EQ(folder.name, root.filename().string());
  EXPECT_EQ(FileURL(Keel::URL::fileURL((root / "a.txt").string())).size, 100U);
  const FileURL missing(Keel::URL::fileURL((root / "gone.txt").string()));
  EXPECT_EQ(missing.size, 0U);
  EXPECT_EQ(missing.name, "gone.txt");

  EXPECT_EQ(IOUtilities::pathType((root / "sub").string()), PathType::directory);
  EXPECT_EQ(IOUtilities::pathType((root / "nothing").string()), PathType::invalid);
}

// The kind of a path follows links (the walks inside a tree still do not);
// what a link is measured as follows from it.
TEST(FileEntries, KindsFollowLinksDatesAreReadAndNothingIsBelowAFile) {
  const Vantor::Testing::TempDir temp;
  const fs::path root = temp.path();
  writeFile(root / "a.txt", 100);
  writeFile(root / "sub/b.bin", 7);
  fs::create_symlink("a.txt", root / "link");
  fs::create_directory_symlink(root / "sub", root / "folder-link");
  fs::create_symlink(root / "gone", root / "dangling");
  EXPECT_EQ(IOUtilities::pathType((root / "link").string()), PathType::file);
  EXPECT_EQ(IOUtilities::pathType((root / "folder-link").string()), PathType::directory);
  EXPECT_EQ(IOUtilities::pathType((root / "dangling").string()), PathType::invalid);
  EXPECT_EQ(FileURL(Keel::URL::fileURL((root / "folder-link").string())).size, 7U);
  EXPECT_EQ(FileURL(Keel::URL::fileURL((root / "dangling").string())).size, 0U);

  // A birth time where the file system keeps one, never another date instead.
  const auto born = IOUtilities::dateAttribute((root / "a.txt").string(), "NSFileCreationDate");
  if (born) {
    EXPECT_NEAR(born->timeIntervalSince1970(), Keel::Date::now().timeIntervalSince1970(), 3600);
  }
  const timespec times[2] = {{0, UTIME_OMIT}, {1'000'000'000, 500'000'000}};
  ASSERT_EQ(::utimensat(AT_FDCWD, (root / "a.txt").c_str(), times, 0), 0);
  const auto modified = IOUtilities::dateAttribute((root / "a.txt").string(), "NSFileModificationDate");
  ASSERT_TRUE(modified);
  EXPECT_DOUBLE_EQ(modified->timeIntervalSince1970(), 1'000'000'000.5);
  EXPECT_FALSE(IOUtilities::dateAttribute((root / "a.txt").string(), "NSFileSize"));
  EXPECT_FALSE(IOUtilities::dateAttribute((root / "nothing").string(), "NSFileCreationDate"));
  EXPECT_FALSE(IOUtilities::metadataDate((root / "a.txt").string(), "kMDItemLastUsedDate"));

  EXPECT_TRUE(IOUtilities::deleteItem(Keel::URL::fileURL((root / "a.txt/below").string())));
  EXPECT_TRUE(IOUtilities::deleteItem(Keel::URL::fileURL((root / "dangling").string())));
  EXPECT_FALSE(fs::is_symlink(root / "dangling"));
  EXPECT_TRUE(fs::exists(root / "a.txt"));
}

TEST(FolderSize, ProgressCountsAndCancellationStops) {
  const Vantor::Testing::TempDir temp;
  // Folders enough that a second thread shares the work.
  for (int i = 0; i < 40; ++i) writeFile(temp.path() / ("d" + std::to_string(i)) / "e" / "f", 10);
  WalkProgress progress;
  SizeWalk watched;
  watched.progress = &progress;
  EXPECT_EQ(IOUtilities::folderSize(folderURL(temp.path()), watched), 400U);
  EXPECT_EQ(progress.foldersDone.load(), 81U);
  EXPECT_EQ(progress.entriesSeen.load(), 120U);
  const std::atomic<bool> cancel{true};
  SizeWalk cancelled;
  cancelled.cancel = &cancel;
  EXPECT_EQ(IOUtilities::folderSize(folderURL(temp.path()), cancelled), 0U);
}

TEST(Listings, SkipHiddenEntriesAndNeverEnterPackages) {
  const Vantor::Testing::TempDir temp;
  const fs::path root = temp.path();
  writeFile(root / "Mail.app/Contents/Info.plist", 1);
  writeFile(root / "Mail.app/Contents/PlugIns/Inner.appex/x", 1);
  writeFile(root / "Utilities/Term.app/Contents/Info.plist", 1);
  writeFile(root / ".Hidden.app/Contents/Info.plist", 1);
  writeFile(root / "Utilities/readme.txt", 1);
  EXPECT_EQ(relative(IOUtilities::foldersBelow(folderURL(root)), root),
            (std::vector<std::string>{"Mail.app", "Utilities", "Utilities/Term.app"}));
  EXPECT_EQ(relative(IOUtilities::foldersBelowWithSuffix(folderURL(root), ".app"), root),
            (std::vector<std::string>{"Mail.app", "Utilities/Term.app"}));
  EXPECT_EQ(relative(IOUtilities::filesBelow(folderURL(root)), root),
            (std::vector<std::string>{"Utilities/readme.txt"}));
  EXPECT_EQ(relative(IOUtilities::contentsOfDirectory(folderURL(root), true), root),
            (std::vector<std::string>{".Hidden.app", "Mail.app", "Utilities"}));
  EXPECT_EQ(relative(IOUtilities::contentsOfDirectory(folderURL(root / "Utilities"), false), root),
            (std::vector<std::string>{"Utilities/readme.txt"}));

  std::vector<std::string> walked;
  EXPECT_TRUE(walkFolder(root.string() + "/", WalkOptions{}, [&](const WalkEntry& entry) {
    if (entry.name == "Utilities") walked.push_back(entry.path);
    return WalkStep::skipDescendants;
  }));
  EXPECT_EQ(walked, std::vector<std::string>{(root / "Utilities").string()});

  std::vector<std::string> lines;
  EXPECT_TRUE(IOUtilities::contentsOfDirectory(folderURL(root / "missing"), true, false, [&](std::string_view line) {
                lines.emplace_back(line);
              }).empty());
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_NE(lines[0].find("No such file or directory"), std::string::npos);

  EXPECT_TRUE(IOUtilities::isInUserLibrary("/Users/anna/Library"));
  EXPECT_TRUE(IOUtilities::isInUserLibrary("/Users/anna/Library/Caches"));
  EXPECT_FALSE(IOUtilities::isInUserLibrary("/Library/Caches"));
  EXPECT_FALSE(IOUtilities::isInUserLibrary("/Applications/Library"));
}

TEST(HostileTrees, FoldersThatVanishDuringTheWalkAreSkipped) {
  const Vantor::Testing::TempDir temp;
  const fs::path root = temp.path();
  for (const char* name : {"a", "b", "c"}) writeFile(root / name / "f", 10);
  // Whichever folder comes first removes the other two before they are read.
  bool first = true;
  std::uint64_t total = 0;
  WalkOptions options;
  options.wantSizes = true;
  EXPECT_TRUE(walkFolder(root.string(), options, [&](const WalkEntry& entry) {
    if (std::exchange(first, false) && entry.isDirectory) {
      for (const char* name : {"a", "b", "c"}) {
        if (entry.name != name) fs::remove_all(root / name);
      }
    }
    total += entry.size;
    return WalkStep::proceed;
  }));
  EXPECT_EQ(total, 10U);
}

// Runs `check` in a child process as the user nobody when the tests run as
// root (as CI does), since root reads every folder whatever its mode.
template <class Check>
bool asUnprivilegedUser(Check check) {
  if (::geteuid() != 0) return check();
  const pid_t child = ::fork();
  if (child == 0) {
    if (::setgroups(0, nullptr) != 0 || ::setresgid(65534, 65534, 65534) != 0 ||
        ::setresuid(65534, 65534, 65534) != 0) {
      ::_exit(2);
    }
    ::_exit(check() ? 0 : 1);
  }
  int status = 0;
  return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST(HostileTrees, AnUnreadableFolderAddsNothingAndIsReported) {
  const Vantor::Testing::TempDir temp;
  const fs::path root = temp.path();
  fs::permissions(root, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec | fs::perms::others_read |
                            fs::perms::others_exec);
  writeFile(root / "a/f", 10);
  writeFile(root / "locked/inner/f", 5);
  writeFile(root / "open/f", 3);
  fs::permissions(root / "locked", fs::perms::none);
  EXPECT_TRUE(asUnprivilegedUser([&] {
    std::vector<std::string> unreadable;
    SizeWalk walk;
    walk.unreadable = [&](const std::string& path, int error) {
      unreadable.push_back(path + (error == EACCES ? " EACCES" : " other"));
      return WalkStep::proceed;
    };
    return IOUtilities::folderSize(folderURL(root), walk) == 10U + 3U &&
           unreadable == std::vector<std::string>{(root / "locked").string() + " EACCES"};
  }));
  fs::permissions(root / "locked", fs::perms::owner_all);
  EXPECT_EQ(IOUtilities::folderSize(folderURL(root)), 10U + 5U + 3U);
}

// A chain of folders made relative to each other, so that paths far past
// PATH_MAX can be built; a file of `bytes` bytes at the bottom.
fs::path makeDeepChain(const fs::path& root, int depth, std::size_t bytes) {
  int fd = ::open(root.c_str(), O_RDONLY | O_DIRECTORY);
  std::string path = root.string();
  for (int i = 0; i < depth; ++i) {
    EXPECT_EQ(::mkdirat(fd, "d", 0755), 0);
    const int next = ::openat(fd, "d", O_RDONLY | O_DIRECTORY);
    ::close(fd);
    fd = next;
    path += "/d";
  }
  const int file = ::openat(fd, "bottom", O_WRONLY | O_CREAT, 0644);
  const std::string data(bytes, 'x');
  EXPECT_EQ(::write(file, data.data(), data.size()), static_cast<ssize_t>(data.size()));
  ::close(file);
  ::close(fd);
  return path;
}

TEST(HostileTrees, ATenThousandDeepTreeWithPathsPastPathMax) {
  const Vantor::Testing::TempDir temp;
  const fs::path tree = temp.path() / "deep";
  fs::create_directory(tree);
  const std::string bottom = makeDeepChain(tree, 10000, 42);
  ASSERT_GT(bottom.size(), 4096U * 4U);
  EXPECT_EQ(IOUtilities::folderSize(folderURL(tree)), 42U);
  std::size_t folders = 0;
  std::string deepest;
  EXPECT_TRUE(walkFolder(tree.string(), WalkOptions{}, [&](const WalkEntry& entry) {
    if (entry.isDirectory) ++folders;
    if (entry.isDirectory) deepest = entry.path;
    return WalkStep::proceed;
  }));
  EXPECT_EQ(folders, 10000U);
  EXPECT_EQ(deepest, bottom);
  // A path longer than PATH_MAX is itself a root a walk can start from.
  EXPECT_EQ(IOUtilities::folderSize(folderURL(bottom.substr(0, bottom.size() - 2))), 42U);
  EXPECT_TRUE(IOUtilities::deleteItem(folderURL(tree)));
  EXPECT_FALSE(fs::exists(tree));
  EXPECT_TRUE(IOUtilities::deleteItem(folderURL(tree)));  // nothing there: already done
}

}  // namespace
}  // namespace Plinth
