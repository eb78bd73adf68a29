#include "Plinth/inventory/directory.h"

#include <gtest/gtest.h>

#include <string>
#include <unordered_set>

namespace Plinth {
namespace {

std::string path(Directory directory, const UserEnvironment& environment) { return directory.url(environment).path(); }

TEST(Directory, EveryFolderOfAPlainHome) {
  const FixedUserEnvironment anna("/Users/anna", "anna");
  EXPECT_EQ(path(Directory::applications, anna), "/Applications");
  EXPECT_EQ(path(Directory::user, anna), "/Users/anna");
  EXPECT_EQ(path(Directory::library, anna), "/Users/anna/Library");
  EXPECT_EQ(path(Directory::preferences, anna), "/Users/anna/Library/Preferences");
  EXPECT_EQ(path(Directory::caches, anna), "/Users/anna/Library/Caches");
  EXPECT_EQ(path(Directory::applicationSupport, anna), "/Users/anna/Library/Application Support");
  EXPECT_EQ(path(Directory::containers, anna), "/Users/anna/Library/Containers");
  EXPECT_EQ(path(Directory::savedState, anna), "/Users/anna/Library/Saved Application State");
  EXPECT_EQ(path(Directory::trash, anna), "/Users/anna/Library/.Trash");
  EXPECT_EQ(path(Directory::appleMusicCache, anna), "/Users/anna/Library/Caches/com.apple.Music");
  EXPECT_EQ(path(Directory::safariCache, anna), "/Users/anna/Library/Caches/com.apple.safari");
  EXPECT_EQ(path(Directory::spotifyCache, anna), "/Users/anna/Library/Caches/com.spotify.client");
  EXPECT_EQ(path(Directory::mailAttachments, anna),
            "/Users/anna/Library/Containers/com.apple.mail/Data/Library/Mail Downloads");
  EXPECT_EQ(path(Directory::userLaunchAgents, anna), "/Users/anna/Library/LaunchAgents");
  EXPECT_EQ(path(Directory::userLaunchDaemons, anna), "/Users/anna/Library/LaunchDaemons");
  EXPECT_EQ(path(Directory::xcode, anna), "/Users/anna/Library/Developer/Xcode");
  EXPECT_EQ(path(Directory::volumes, anna), "/Volumes");
  EXPECT_EQ(path(Directory::documents, anna), "/Users/anna/Documents");
  EXPECT_EQ(path(Directory::downloads, anna), "/Users/anna/Downloads");
  for (const Directory directory : Directory::allCases) EXPECT_TRUE(directory.url(anna).hasDirectoryPath());
}

TEST(Directory, TheUserFolderIsDerivedFromTheHomePath) {
  const FixedUserEnvironment sandboxed("/Users/anna/Library/Containers/com.example.app/Data", "anna");
  EXPECT_EQ(path(Directory::user, sandboxed), "/Users/anna");
  EXPECT_EQ(path(Directory::user, FixedUserEnvironment("//Users//anna/", "x")), "/Users/anna");
  EXPECT_EQ(path(Directory::user, FixedUserEnvironment("/var", "bob")), "/Users/bob");
  EXPECT_EQ(path(Directory::user, FixedUserEnvironment("", "bob")), "/Users/bob");

  const FixedUserEnvironment elsewhere("/home/anna", "anna");
  EXPECT_EQ(path(Directory::preferences, elsewhere), "/home/anna/Library/Preferences");
  EXPECT_EQ(path(Directory::documents, elsewhere), "/Users/anna/Documents");
  EXPECT_EQ(path(Directory::downloads, elsewhere), "/Users/anna/Downloads");
}

TEST(Directory, CasesCompareAndHashByTheCaseAlone) {
  const std::unordered_set<Directory> all(Directory::allCases.begin(), Directory::allCases.end());
  EXPECT_EQ(all.size(), 19U);
  EXPECT_EQ(Directory(Directory::trash), Directory::trash);
  EXPECT_NE(Directory(Directory::trash), Directory::caches);
}

TEST(Directory, TheProcessUserHasAHome) {
  EXPECT_TRUE(currentUser().homeDirectory().starts_with('/'));
  EXPECT_TRUE(Directory(Directory::user).url().path().starts_with('/'));
}

}  // namespace
}  // namespace Plinth
