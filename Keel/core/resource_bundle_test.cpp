#include "Keel/core/resource_bundle.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <map>
#include <string>
#include <thread>

#include "testing/temp_dir.h"

namespace Keel {
namespace {

namespace fs = std::filesystem;

void writeTable(const fs::path& lproj, const std::string& body) {
  fs::create_directories(lproj);
  std::ofstream(lproj / "Localizable.strings") << body;
}

std::string plist(const std::string& dict) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>" + dict + "</dict></plist>\n";
}

TEST(ResourceBundle, TakesTheFirstFolderThatHoldsTheBundle) {
  Vantor::Testing::TempDir dir;
  const fs::path a = dir.path() / "a";
  const fs::path b = dir.path() / "b";
  const fs::path c = dir.path() / "c";
  fs::create_directories(b / "X_X.bundle");
  fs::create_directories(c / "X_X.bundle");
  fs::create_directories(a);
  std::ofstream(a / "X_X.bundle") << "a file is no bundle";

  auto found = ResourceBundle::find("X_X", {fs::path(), dir.path() / "missing", a, b, c});
  ASSERT_TRUE(found);
  EXPECT_EQ(found->bundlePath(), b / "X_X.bundle");
  EXPECT_FALSE(ResourceBundle::find("Y_Y", {a, b, c}));
}

TEST(ResourceBundleDeathTest, AMissingBundleStopsTheProcessWithItsName) {
  Vantor::Testing::TempDir dir;
  EXPECT_DEATH((void)ResourceBundle::findOrDie("Plinth_Plinth", {dir.path()}),
               "unable to find bundle named Plinth_Plinth");
}

TEST(ResourceBundle, LooksUpTheFirstLanguageItHasAndShowsTheKeyWhenUntranslated) {
  Vantor::Testing::TempDir dir;
  const fs::path bundle = dir.path() / "X_X.bundle";
  writeTable(bundle / "en.lproj", plist("<key>NO</key><string>No</string><key>ONLY_EN</key><string>E</string>"));
  writeTable(bundle / "de.lproj", plist("<key>NO</key><string>Nein</string><key>N</key><integer>3</integer>"));
  writeTable(bundle / "fr.lproj", "not a property list");
  ResourceBundle strings(bundle);

  EXPECT_EQ(strings.localizations(), (std::vector<std::string>{"de", "en", "fr"}));
  EXPECT_EQ(strings.localizedString("NO", {"de_AT"}), "Nein");
  EXPECT_EQ(strings.localizedString("NO", {"it", "de"}), "Nein");
  EXPECT_EQ(strings.localizedString("NO", {"it"}), "No");  // English when none is there
  EXPECT_EQ(strings.localizedString("NO", {}), "No");
  // A key the chosen table lacks, or holds as something other than text.
  EXPECT_EQ(strings.localizedString("ONLY_EN", {"de"}), "ONLY_EN");
  EXPECT_EQ(strings.localizedString("N", {"de"}), "N");
  EXPECT_EQ(strings.localizedString("NO", {"fr"}), "NO");
  EXPECT_EQ(strings.localizedString("NO", {"de"}, "Missing"), "NO");
}

TEST(ResourceBundle, AnswersFromManyThreadsAtOnce) {
  Vantor::Testing::TempDir dir;
  const fs::path bundle = dir.path() / "X_X.bundle";
  writeTable(bundle / "de.lproj", plist("<key>YES</key><string>Ja</string>"));
  writeTable(bundle / "en.lproj", plist("<key>YES</key><string>Yes</string>"));
  const ResourceBundle strings(bundle);  // nothing read yet: the threads race to read it
  std::vector<std::thread> threads;
  std::atomic<int> right{0};
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      for (int n = 0; n < 50; ++n) {
        const bool german = (i + n) % 2 == 0;
        if (strings.localizedString("YES", {german ? "de" : "en"}) == (german ? "Ja" : "Yes")) ++right;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(right.load(), 200);
}

TEST(ResourceBundle, ApplicationShapedBundlesKeepTheirTablesInContentsResources) {
  Vantor::Testing::TempDir dir;
  const fs::path bundle = dir.path() / "X_X.bundle";
  writeTable(bundle / "Contents" / "Resources" / "de.lproj", plist("<key>YES</key><string>Ja</string>"));
  EXPECT_EQ(ResourceBundle(bundle).localizedString("YES", {"de_DE"}), "Ja");
}

std::map<std::string, std::string> environment;
const char* fakeGetenv(const char* name) {
  auto it = environment.find(name);
  return it == environment.end() ? nullptr : it->second.c_str();
}

TEST(ResourceBundle, PreferredLanguagesFollowTheLocaleVariables) {
  environment = {{"LANG", "de_DE.UTF-8"}};
  EXPECT_EQ(ResourceBundle::preferredLanguages(fakeGetenv), (std::vector<std::string>{"de_DE"}));
  environment = {{"LANG", "de_DE.UTF-8"}, {"LC_MESSAGES", "fr_FR@euro"}, {"LANGUAGE", "it:de_CH:"}};
  EXPECT_EQ(ResourceBundle::preferredLanguages(fakeGetenv), (std::vector<std::string>{"it", "de_CH", "fr_FR"}));
  // LANGUAGE means nothing under the C locale, which is English.
  environment = {{"LANG", "C.UTF-8"}, {"LANGUAGE", "de"}};
  EXPECT_EQ(ResourceBundle::preferredLanguages(fakeGetenv), (std::vector<std::string>{"en"}));
  environment = {};
  EXPECT_EQ(ResourceBundle::preferredLanguages(fakeGetenv), (std::vector<std::string>{"en"}));
}

TEST(ResourceBundle, KeelFindsItsOwnBundleFromTheBuildTree) {
  EXPECT_EQ(keelBundle().bundlePath().filename(), "Keel_Keel.bundle");
  EXPECT_EQ(keelBundle().localizations(), (std::vector<std::string>{"de", "en"}));
}

}  // namespace
}  // namespace Keel
