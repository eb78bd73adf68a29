#include "Plinth/desktop/application_name.h"

#include <gtest/gtest.h>

#include <fstream>

#include "testing/bundle_builder.h"
#include "testing/temp_dir.h"

namespace Plinth {
namespace {

TEST(ApplicationDisplayName, PrefersTheBundlesNamesThenTheDesktopEntrys) {
  Vantor::Testing::TempDir dir;
  const auto entry = dir.path() / "com.brenwick.vantor.desktop";
  std::ofstream(entry) << "[Desktop Entry]\nType=Application\nName=Vantor from the entry\nExec=vantor\n";
  const auto bundle = [&](const char* name, std::map<std::string, std::string> info) {
    const auto path = dir.path() / name;
    std::filesystem::create_directories(path / "Contents");
    info["CFBundleIdentifier"] = "com.brenwick.vantor";
    std::ofstream(path / "Contents" / "Info.plist") << Vantor::Testing::infoPlist(info, false);
    return Keel::Bundle(path);
  };
  const auto both = bundle("Both.app", {{"CFBundleDisplayName", "Vantor"}, {"CFBundleName", "VantorApp"}});
  const auto named = bundle("Named.app", {{"CFBundleDisplayName", "  "}, {"CFBundleName", "VantorApp"}});
  const auto bare = bundle("Bare.app", {});
  EXPECT_EQ(applicationDisplayName(both, entry), "Vantor");
  EXPECT_EQ(applicationDisplayName(named, entry), "VantorApp");  // a blank name counts as none
  EXPECT_EQ(applicationDisplayName(bare, entry), "Vantor from the entry");
  EXPECT_EQ(applicationDisplayName(std::nullopt, entry), "Vantor from the entry");
  EXPECT_EQ(applicationDisplayName(bare, dir.path() / "missing.desktop"), std::nullopt);
  EXPECT_EQ(applicationDisplayName(bare, std::nullopt), std::nullopt);
}

}  // namespace
}  // namespace Plinth
