#include "VantorLauncher/login_item/login_item.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>

#include "testing/bundle_builder.h"
#include "testing/temp_dir.h"

namespace Vantor {
namespace {

namespace fs = std::filesystem;

Keel::Result<LoginItemEnvironment> environmentOf(std::map<std::string, std::string> variables) {
  return LoginItemEnvironment::fromVariables([&](const std::string& name) -> std::optional<std::string> {
    const auto found = variables.find(name);
    return found == variables.end() ? std::nullopt : std::optional<std::string>(found->second);
  });
}

TEST(LoginItemEnvironmentTest, FollowsTheBaseDirectoryDefaults) {
  auto defaults = environmentOf({{"HOME", "/home/u"}});
  ASSERT_TRUE(defaults) << defaults.error();
  EXPECT_EQ(defaults.value().configHome, "/home/u/.config");
  EXPECT_EQ(defaults.value().configDirs, (std::vector<fs::path>{"/etc/xdg"}));
  EXPECT_TRUE(defaults.value().session.currentDesktops.empty());

  auto given = environmentOf({{"HOME", "/home/u"},
                              {"XDG_CONFIG_HOME", "/cfg"},
                              {"XDG_CONFIG_DIRS", "/a:relative::/b"},
                              {"XDG_CURRENT_DESKTOP", "ubuntu:GNOME"}});
  ASSERT_TRUE(given);
  EXPECT_EQ(given.value().configHome, "/cfg");
  EXPECT_EQ(given.value().configDirs, (std::vector<fs::path>{"/a", "/b"}));
  EXPECT_EQ(given.value().session.currentDesktops, (std::vector<std::string>{"ubuntu", "GNOME"}));

  // Relative paths are not to be used; only relative ones left is a failure.
  EXPECT_EQ(environmentOf({{"HOME", "/home/u"}, {"XDG_CONFIG_HOME", "cfg"}}).value().configHome, "/home/u/.config");
  EXPECT_FALSE(environmentOf({{"HOME", "home"}}));
  EXPECT_EQ(environmentOf({}).error(),
            "cannot find the configuration folder: neither XDG_CONFIG_HOME nor HOME is an absolute path");
}

TEST(ProgramInPathTest, LooksForExecutableFiles) {
  Testing::TempDir dir;
  const fs::path tool = dir.path() / "tool";
  std::ofstream(tool) << "#!/bin/sh\n";
  EXPECT_FALSE(programInPath(tool.string(), ""));  // not executable yet
  fs::permissions(tool, fs::perms::owner_exec, fs::perm_options::add);
  EXPECT_TRUE(programInPath(tool.string(), ""));
  EXPECT_TRUE(programInPath("tool", "/nowhere:" + dir.path().string()));
  EXPECT_FALSE(programInPath("tool", "/nowhere"));
  EXPECT_FALSE(programInPath(dir.path().string(), ""));  // a folder
  EXPECT_FALSE(programInPath("", dir.path().string()));
}

TEST(LoginItemTest, ComesFromTheBundlesIdentifier) {
  Testing::TempDir dir;
  const fs::path bundle = dir.path() / "My App.app";
  Testing::makeBundle({bundle, "com.brenwick.vantor", "/bin/true"});
  auto item = LoginItem::forBundle(bundle.string() + "/");
  ASSERT_TRUE(item) << item.error();
  EXPECT_EQ(item.value().bundle, bundle);
  EXPECT_EQ(item.value().fileName(), "com.brenwick.vantor.launcher.desktop");
  EXPECT_EQ(item.value().name, "My App Launcher");
  EXPECT_EQ(item.value().launcher,
            bundle / "Contents/Library/LoginItems/VantorLauncher.app/Contents/MacOS/VantorLauncher");

  EXPECT_EQ(LoginItem::forBundle(dir.path() / "missing.app").error(), "not a bundle folder");
  fs::create_directories(dir.path() / "Empty.app");
  EXPECT_NE(LoginItem::forBundle(dir.path() / "Empty.app").error().find("no CFBundleIdentifier"), std::string::npos);
  Testing::makeBundle({dir.path() / "Bad.app", "../escape", "/bin/true"});
  EXPECT_NE(LoginItem::forBundle(dir.path() / "Bad.app").error().find("cannot name a file"), std::string::npos);
}

TEST(LoginItemEntryTest, StartsTheLauncherAndCanHideItself) {
  LoginItem item{"/opt/My \"100%\" App.app", "com.brenwick.vantor", "/opt/My \"100%\" App.app/Contents/x/Launcher",
                 "My \"100%\" App Launcher"};
  for (const bool hidden : {false, true}) {
    auto text = loginItemEntry(item, hidden);
    ASSERT_TRUE(text) << text.error();
    auto entry = parseDesktopEntry(text.value());
    ASSERT_TRUE(entry) << text.value();
    EXPECT_EQ(splitExec(*entry.value().string("Exec")).value(), (std::vector<std::string>{item.launcher.string()}));
    EXPECT_EQ(entry.value().string("TryExec"), item.launcher.string());
    EXPECT_EQ(entry.value().boolean("Hidden"), hidden ? std::optional<bool>(true) : std::nullopt);
    const AutostartSession session{{}, [&](const std::string& p) { return p == item.launcher.string(); }};
    EXPECT_EQ(whyNotStarted(entry.value(), session), hidden ? std::optional<std::string>("Hidden=true") : std::nullopt);
  }
  item.launcher = "/opt/line\nbreak/Launcher";
  EXPECT_FALSE(loginItemEntry(item, false));
  item.launcher = "/opt/caf\xE9/Launcher";
  EXPECT_FALSE(loginItemEntry(item, false));
}

}  // namespace
}  // namespace Vantor
