// The Linux pieces of folder permissions on real folders, a grant restored by
// a second process through the real store, and the privacy tests on made-up
// home folders.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Plinth/permissions/folder_access_linux.h"
#include "Plinth/permissions/permissions.h"
#include "testing/child_process.h"
#include "testing/file_text.h"
#include "testing/temp_dir.h"

namespace Plinth {
namespace {

namespace fs = std::filesystem;
using Keel::URL;
using Vantor::Testing::TempDir;

URL folderURL(const fs::path& path) { return URL::fileURL(path.string(), true); }

TEST(LinuxBookmarks, ResolveTheSameFolderReplacedOrGone) {
  TempDir dir;
  const auto folder = dir.path() / "Fotos 2026";
  fs::create_directory(folder);
  LinuxBookmarks bookmarks;
  const auto made = bookmarks.bookmarkData(folderURL(folder), BookmarkCreationOptions::withSecurityScope);
  ASSERT_TRUE(made.data) << made.error.localizedDescription;

  auto resolved = bookmarks.resolve(*made.data, BookmarkResolutionOptions::withSecurityScope);
  EXPECT_EQ(resolved.url, folderURL(folder));
  EXPECT_FALSE(resolved.isStale);

  fs::rename(folder, dir.path() / "old");
  fs::create_directory(folder);  // another folder of the same name
  resolved = bookmarks.resolve(*made.data, BookmarkResolutionOptions::withSecurityScope);
  EXPECT_EQ(resolved.url, folderURL(folder));
  EXPECT_TRUE(resolved.isStale);

  fs::remove(folder);
  resolved = bookmarks.resolve(*made.data, BookmarkResolutionOptions::withSecurityScope);
  EXPECT_FALSE(resolved.url);
  EXPECT_NE(resolved.error.localizedDescription.find(folder.string()), std::string::npos)
      << resolved.error.localizedDescription;

  std::ofstream(folder) << "a file now";
  resolved = bookmarks.resolve(*made.data, BookmarkResolutionOptions::withSecurityScope);
  EXPECT_FALSE(resolved.url);
  EXPECT_NE(resolved.error.localizedDescription.find("not a folder"), std::string::npos);

  for (const auto& url : {folderURL(folder), folderURL(dir.path() / "none"), URL{"https://example.org/"}}) {
    EXPECT_FALSE(bookmarks.bookmarkData(url, BookmarkCreationOptions::none).data) << url.absoluteString;
  }
  EXPECT_EQ(bookmarks.resolve(Keel::Data{1, 2, 3}, BookmarkResolutionOptions::none).error.localizedDescription,
            "The data is not a folder bookmark: it does not start like a folder bookmark.");
}

TEST(LinuxFolderAccess, StartsForFoldersThatCanBeReadAndEntered) {
  TempDir dir;
  const auto folder = dir.path() / "shared";
  fs::create_directory(folder);
  LinuxFolderAccess access(dir.path() / "no-flatpak-info");
  EXPECT_TRUE(access.startAccessing(folderURL(folder)));
  EXPECT_FALSE(access.startAccessing(folderURL(dir.path() / "missing")));

  std::ofstream(dir.path() / "flatpak-info") << "[Application]\nname=com.brenwick.vantor\n";
  const auto check = LinuxFolderAccess(dir.path() / "flatpak-info").checkAccess(folderURL(folder));
  EXPECT_NE(check.errorOr("").find("document portal"), std::string::npos);  // a closed folder: below, as nobody
}

struct Run {
  int status;
  std::string output;
};

// The grant tool on `folder` with `home` as its home, run through `prefix`.
Run folderGrant(const TempDir& home, const std::string& mode, const fs::path& folder,
                std::vector<std::string> prefix = {}) {
  prefix.insert(prefix.end(), {VANTOR_FOLDER_GRANT, mode, folder.string()});
  const auto out = home.path() / ("out-" + mode);
  Vantor::Testing::ChildProcess child(Vantor::Testing::ChildOptions{
      prefix, {{"HOME", home.path().string()}, {"XDG_CONFIG_HOME", (home.path() / "config").string()}}, out});
  const auto status = child.waitForExit(std::chrono::seconds(30));
  return {status.value_or(-1), Vantor::Testing::fileText(out)};
}

// Root may enter a folder of mode 000, so as root (as CI is) the grants run as nobody.
TEST(FolderPermissionsAcrossProcesses, AGrantIsRestoredByTheNextLaunchUntilReplacedAndAClosedFolderIsNone) {
  TempDir home;
  fs::permissions(home.path(), fs::perms::all);
  const auto folder = home.path() / "Projects";
  const auto closed = home.path() / "closed";
  fs::create_directory(folder);
  fs::create_directory(closed);
  fs::permissions(closed, fs::perms::none);
  std::vector<std::string> prefix;
  if (geteuid() == 0) {
    if (!fs::exists("/usr/bin/setpriv")) GTEST_SKIP() << "needs setpriv (util-linux) to leave root";
    prefix = {"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
  }
  EXPECT_EQ(folderGrant(home, "store", closed, prefix).status, 1);
  EXPECT_EQ(folderGrant(home, "store", folder, prefix).status, 0);
  const auto restored = folderGrant(home, "check", folder, prefix);
  EXPECT_EQ(restored.status, 0);
  EXPECT_EQ(restored.output, folder.string() + "\n");

  fs::rename(folder, home.path() / "Projects.old");
  fs::create_directory(folder);
  const auto replaced = folderGrant(home, "check", folder, prefix);
  EXPECT_EQ(replaced.status, 1);
  EXPECT_EQ(replaced.output, "");
  fs::permissions(closed, fs::perms::owner_all);
}

// The real file access, with $HOME pointing at a made-up home folder.
TEST(ProtectedFolders, ListingTakesTheLiteralTildePath) {
  TempDir home;
  const char* old = std::getenv("HOME");
  const std::string oldHome = old != nullptr ? old : "/";
  setenv("HOME", home.path().c_str(), 1);
  EXPECT_FALSE(Permissions::canListProtectedFolders());
  fs::create_directories(home.path() / "Library" / "Cookies");
  EXPECT_FALSE(fs::exists("~"));  // so listing "~/Library/Cookies/" fails with ENOENT: no objection
  EXPECT_TRUE(Permissions::canListProtectedFolders());
  EXPECT_EQ(Permissions::canReadPrivacyDatabase(), fs::exists(std::string(Permissions::privacyDatabasePath)));
  setenv("HOME", oldHome.c_str(), 1);
}

// The handler is the test's own, which GIO finds on its first look-up here.
TEST(PrivacyPanes, TheDefaultOpenerHandsTheURLToTheSchemesHandler) {
  TempDir dir;
  const auto opened = dir.path() / "opened";
  Vantor::Testing::writeText(dir.path() / "data/applications/settings.desktop",
                             "[Desktop Entry]\nType=Application\nName=Settings\nExec=/bin/sh -c 'printf %s \"$0\" > " +
                                 opened.string() + "' %u\nMimeType=x-scheme-handler/x-apple.systempreferences;\n");
  Vantor::Testing::writeText(dir.path() / "config/mimeapps.list",
                             "[Default Applications]\nx-scheme-handler/x-apple.systempreferences=settings.desktop\n");
  setenv("XDG_DATA_HOME", (dir.path() / "data").c_str(), 1);
  setenv("XDG_CONFIG_HOME", (dir.path() / "config").c_str(), 1);
  setenv("XDG_DATA_DIRS", (dir.path() / "none").c_str(), 1);

  Permissions::open(PrivacyPage::allFiles);
  const std::string url = "x-apple.systempreferences:com.apple.preference.security?Privacy_AllFiles";
  EXPECT_TRUE(
      Vantor::Testing::waitUntil([&] { return Vantor::Testing::fileText(opened) == url; }, std::chrono::seconds(10)))
      << Vantor::Testing::fileText(opened);
}

}  // namespace
}  // namespace Plinth
