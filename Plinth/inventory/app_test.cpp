// Application records and the installed-application listing on trees in
// temporary folders, with icons from a fake platform.
#include "Plinth/inventory/app.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <limits>

#include "Plinth/inventory/apps.h"
#include "Plinth/inventory/file_icon_manager.h"
#include "testing/bundle_builder.h"
#include "testing/file_text.h"
#include "testing/temp_dir.h"

namespace Plinth {
namespace {

namespace fs = std::filesystem;
using Vantor::Testing::writeText;

class NoIcons final : public IconPlatform {
 public:
  std::optional<Image> workspaceIcon(const std::string&) const override { return std::nullopt; }
  std::optional<std::vector<std::string>> enumerate(const std::string&) const override { return std::nullopt; }
  std::optional<Image> imageFromFile(const std::string&) const override { return std::nullopt; }
};

class AppTest : public ::testing::Test {
 protected:
  void bundle(const fs::path& relativePath, const std::string& identifier,
              std::map<std::string, std::string> extra = {}) {
    extra["CFBundleIdentifier"] = identifier;
    writeText(root() / relativePath / "Contents/Info.plist", Vantor::Testing::infoPlist(extra, false));
  }
  [[nodiscard]] fs::path root() const { return temp.path() / "Applications"; }
  [[nodiscard]] AppEnvironment environment() {
    AppEnvironment result;
    result.applicationsRoot = root().string();
    result.icons = &icons;
    return result;
  }
  std::shared_ptr<App> make(const fs::path& relativePath, bool loadContained = true, bool skipApple = false) {
    return App::make(Keel::URL::fileURL((root() / relativePath).string(), true), loadContained, skipApple,
                     environment());
  }

  Vantor::Testing::TempDir temp;
  NoIcons platform;
  FileIconManager icons{platform};
};

TEST_F(AppTest, BuildsTheRecordFromTheBundle) {
  bundle("Foo.app", "com.example.foo", {{"CFBundleShortVersionString", "2.1"}, {"NSHumanReadableCopyright", "(c) Us"}});
  std::ofstream(root() / "Foo.app" / "Contents" / "payload") << std::string(1000, 'p');
  const auto app = make("Foo.app");
  ASSERT_TRUE(app);
  EXPECT_EQ(app->name, "Foo");
  EXPECT_EQ(app->identifier, "com.example.foo");
  EXPECT_EQ(app->version, "2.1");
  EXPECT_EQ(app->copyright, "(c) Us");
  EXPECT_EQ(app->baseUrl->path(), (root() / "Foo.app").string());
  ASSERT_TRUE(app->binaryFile);
  EXPECT_EQ(app->binaryFile->size, 1000U + fs::file_size(root() / "Foo.app/Contents/Info.plist"));
  EXPECT_EQ(app->binaryFile->name, "Foo.app");
  EXPECT_FALSE(app->lastOpened);
  EXPECT_EQ(App::bundleIdentifier(Keel::URL::fileURL((root() / "Foo.app").string())), "com.example.foo");

  // The name loses every ".app"; the base URL comes from the name, not from
  // where the bundle lies.
  bundle("Elsewhere/My.app Helper.app", "com.example.helper", {{"CFBundleShortVersionString", "7"}});
  const auto helper = make("Elsewhere/My.app Helper.app");
  ASSERT_TRUE(helper);
  EXPECT_EQ(helper->name, "My Helper");
  EXPECT_EQ(helper->baseUrl->path(), (root() / "My Helper.app").string());
  EXPECT_FALSE(helper->copyright);
}

TEST_F(AppTest, RefusesBundlesWithoutATextIdentifierAndAppleOnesWhenAsked) {
  bundle("Safari.app", "com.apple.Safari");
  bundle("Sauce.app", "com.applesauce.x");
  bundle("Upper.app", "COM.APPLE.X");
  EXPECT_TRUE(make("Safari.app", false, false));
  EXPECT_FALSE(make("Safari.app", false, true));
  EXPECT_TRUE(make("Sauce.app", false, true));
  EXPECT_TRUE(make("Upper.app", false, true));

  writeText(root() / "Plain.app/Contents/Info.plist", "<plist><array/></plist>");
  EXPECT_FALSE(make("Plain.app"));
  EXPECT_FALSE(App::bundleIdentifier(Keel::URL::fileURL((root() / "Plain.app").string())));
  writeText(root() / "Number.app/Contents/Info.plist",
            "<plist><dict><key>CFBundleIdentifier</key><integer>3</integer></dict></plist>");
  EXPECT_FALSE(make("Number.app"));
  EXPECT_FALSE(make("Missing.app"));
}

TEST_F(AppTest, ListsInstalledApplicationsWithTheirContainedOnes) {
  bundle("Editor.app", "com.example.editor");
  bundle("Editor.app/Contents/Helpers/Helper.app", "com.example.editor.helper");
  bundle("Editor.app/Contents/PlugIns/Share.appex", "com.example.editor.share");
  bundle("Editor.app/Contents/Helpers/Helper.app/Contents/PlugIns/Deep.appex", "com.example.deep");
  bundle("Editor.app/Contents/Helpers/System.app", "com.apple.helper");
  bundle("Utilities/Terminal.app", "com.example.terminal");
  bundle("Utilities/.Secret.app", "com.example.secret");
  // A folder without Info.plist is no application, but what it holds is.
  bundle("Suite/Inner.app", "com.example.inner");
  fs::create_directories(root() / "Suite/Contents/Resources");

  const AppList apps = Apps::installedApplications(true, environment());
  std::map<std::string, std::shared_ptr<App>> byName;
  for (const auto& app : apps) byName[app->name] = app;
  EXPECT_EQ(byName.size(), 3U);
  ASSERT_TRUE(byName.contains("Editor"));
  ASSERT_TRUE(byName.contains("Terminal"));
  ASSERT_TRUE(byName.contains("Inner"));
  std::vector<std::string> contained;
  for (const auto& app : byName["Editor"]->containedApps) {
    contained.push_back(app->identifier);
    EXPECT_TRUE(app->containedApps.empty());
  }
  std::sort(contained.begin(), contained.end());
  EXPECT_EQ(contained, (std::vector<std::string>{"com.example.editor.helper", "com.example.editor.share"}));
  for (const auto& app : Apps::installedApplications(false, environment())) {
    if (app->name == "Editor") {
      EXPECT_EQ(app->containedApps.size(), 3U);
    }
  }
}

TEST(AppSizes, SumOnlySelectedEntriesWhateverTheRecordsOwnFlag) {
  NoIcons platform;
  FileIconManager icons(platform);
  AppEnvironment environment;
  environment.icons = &icons;
  App app("Foo", "com.example.foo", environment);
  EXPECT_EQ(app.baseUrl->path(), "/Applications/Foo.app");
  const auto entry = [](std::uint64_t size, bool selected) {
    auto file = std::make_shared<FileURL>(Keel::URL::fileURL("/x"), size);
    file->isSelected = selected;
    return file;
  };
  app.selected = true;
  app.binaryFile = entry(100, false);
  app.preferences = entry(20, false);
  app.caches = {entry(3, false), entry(4, false)};
  EXPECT_EQ(app.selectedSize(), 0U);
  EXPECT_EQ(app.cachesSize(), 7U);
  EXPECT_EQ(app.containerSize(), 0U);
  app.preferences->isSelected = true;
  app.caches[1]->isSelected = true;
  app.selected = false;
  EXPECT_EQ(app.selectedSize(), 24U);
  EXPECT_EQ(app.binaryFileSize(), 100U);

  app.caches.push_back(entry(std::numeric_limits<std::uint64_t>::max(), true));
  EXPECT_DEATH((void)app.cachesSize(), "Size sum overflows 64 bits.");
  EXPECT_DEATH((void)app.selectedSize(), "Size sum overflows 64 bits.");
}

}  // namespace
}  // namespace Plinth
