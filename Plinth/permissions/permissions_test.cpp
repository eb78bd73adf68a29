#include "Plinth/permissions/permissions.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <set>
#include <vector>

namespace Plinth {
namespace {

TEST(PrivacyPage, EveryPageRoundTripsThroughItsOwnRawValueAndNothingElseParses) {
  std::set<std::string_view> seen;
  for (const auto page : allPrivacyPages) {
    EXPECT_TRUE(seen.insert(rawValue(page)).second) << rawValue(page);
    EXPECT_EQ(privacyPage(rawValue(page)), page);
  }
  EXPECT_EQ(privacyPage("Privacy_AllFiles"), PrivacyPage::allFiles);
  EXPECT_FALSE(privacyPage("privacy_allfiles"));
  EXPECT_FALSE(privacyPage("Privacy_AllFiles "));
  EXPECT_FALSE(privacyPage(""));
}

TEST(Permissions, OpensTheSettingsURLsExactly) {
  std::vector<std::string> opened;
  const URLOpener opener = [&](const Keel::URL& url) { opened.push_back(url.absoluteString); };
  Permissions::open(PrivacyPage::privacy, opener);
  Permissions::openNotificationSettings(opener);
  EXPECT_EQ(opened, (std::vector<std::string>{"x-apple.systempreferences:com.apple.preference.security?Privacy",
                                              "x-apple.systempreferences:com.apple.preference.notifications"}));
}

// Directories by expanded path, listing failures by the literal path asked for.
struct FakeHome final : ProtectedFileAccess {
  std::set<std::string> directories, files, readable;
  std::map<std::string, int> failures;
  mutable std::vector<std::string> listed;
  bool canReadContents(const std::string& path) const override { return readable.count(path) != 0; }
  std::optional<bool> isDirectory(const std::string& path) const override {
    if (directories.count(path) + files.count(path) == 0) return std::nullopt;
    return directories.count(path) != 0;
  }
  std::optional<int> listingFailure(const std::string& path) const override {
    listed.push_back(path);
    const auto failure = failures.find(path);
    return failure == failures.end() ? std::nullopt : std::optional<int>(failure->second);
  }
  std::string homeDirectory() const override { return "/home/anna/"; }
};

TEST(Permissions, ProtectedFoldersAnswerByWhatTheirListingsSay) {
  FakeHome home;
  EXPECT_FALSE(Permissions::canListProtectedFolders(home));  // none exists
  home.files = {"/home/anna/Library/Cookies"};
  EXPECT_FALSE(Permissions::canListProtectedFolders(home));  // a file is no folder
  EXPECT_TRUE(home.listed.empty());

  home.directories = {"/home/anna/Library/Mail", "/home/anna/Library/Safari"};
  home.failures = {{"~/Library/Mail/", ENOENT}, {"~/Library/Safari/", 0}};
  EXPECT_TRUE(Permissions::canListProtectedFolders(home));
  EXPECT_EQ(home.listed, (std::vector<std::string>{"~/Library/Mail/", "~/Library/Safari/"}));  // tilde kept

  home.failures["~/Library/Mail/"] = EPERM;
  home.listed.clear();
  EXPECT_FALSE(Permissions::canListProtectedFolders(home));
  EXPECT_EQ(home.listed, std::vector<std::string>{"~/Library/Mail/"});  // stops at the objection

  EXPECT_FALSE(Permissions::canReadPrivacyDatabase(home));
  home.readable = {"/Library/Application Support/com.apple.TCC/TCC.db"};
  EXPECT_TRUE(Permissions::canReadPrivacyDatabase(home));
}

TEST(Permissions, ExpandsTildeAndStandardises) {
  EXPECT_EQ(Permissions::expandingTilde("~/Library/Cookies/", "/home/anna"), "/home/anna/Library/Cookies");
  EXPECT_EQ(Permissions::expandingTilde("~", "/home/anna/"), "/home/anna");
  EXPECT_EQ(Permissions::expandingTilde("~/a/../b//c/./", "/h"), "/h/b/c");
  EXPECT_EQ(Permissions::expandingTilde("/x/~/y", "/h"), "/x/~/y");
  EXPECT_EQ(Permissions::expandingTilde("~", "/"), "/");
}

}  // namespace
}  // namespace Plinth
