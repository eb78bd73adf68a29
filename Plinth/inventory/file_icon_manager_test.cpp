// The icon search order, on a scripted platform.
#include "Plinth/inventory/file_icon_manager.h"

#include <gtest/gtest.h>

#include <map>

#include "Plinth/desktop/photo_effect.h"

namespace Plinth {
namespace {

Image imageOf(const std::string& text) { return Image::fromData({text.begin(), text.end()}, text); }

class ScriptedIcons final : public IconPlatform {
 public:
  std::optional<Image> workspaceIcon(const std::string& path) const override {
    asked.push_back("workspace " + path);
    return imageOf("workspace:" + path);
  }
  std::optional<std::vector<std::string>> enumerate(const std::string& folder) const override {
    asked.push_back("enumerate " + folder);
    const auto it = folders.find(folder);
    if (it == folders.end()) return std::nullopt;
    return it->second;
  }
  std::optional<Image> imageFromFile(const std::string& path) const override {
    asked.push_back("file " + path);
    return imageOf("file:" + path);
  }
  std::map<std::string, std::vector<std::string>> folders;
  mutable std::vector<std::string> asked;
};

std::string textOf(const std::optional<Image>& image) {
  return image ? std::string(image->data().begin(), image->data().end()) : "(none)";
}

TEST(FileIconManager, SearchesTheSystemBundleThenTheLiteralFolderThenAsksTheWorkspace) {
  ScriptedIcons platform;
  const std::string resources = "/System/Applications/Notes.app/Contents/Resources";
  platform.folders[resources] = {resources + "/Base.lproj", resources + "/Base.lproj/a.icns", resources + "/b.icns"};
  FileIconManager manager(platform);
  EXPECT_EQ(textOf(manager.icon(std::string("Notes"))), "file:" + resources + "/Base.lproj/a.icns");
  EXPECT_EQ(platform.asked,
            (std::vector<std::string>{"enumerate " + resources, "file " + resources + "/Base.lproj/a.icns"}));

  // Answered from the cache without a search.
  platform.asked.clear();
  EXPECT_EQ(textOf(manager.icon(std::string("Notes"))), "file:" + resources + "/Base.lproj/a.icns");
  EXPECT_TRUE(platform.asked.empty());

  // Not a system application: the placeholder path is searched as it stands,
  // then the workspace is asked for the bundle.
  EXPECT_EQ(textOf(manager.icon(std::string("Editor"))), "workspace:/Applications/Editor.app");
  EXPECT_EQ(platform.asked, (std::vector<std::string>{"enumerate /System/Applications/Editor.app/Contents/Resources",
                                                      "enumerate /Applications/%@.app/Contents/Resources/",
                                                      "workspace /Applications/Editor.app"}));

  // Should that literal folder exist, its icon file goes to the workspace.
  platform.folders["/Applications/%@.app/Contents/Resources/"] = {"/Applications/%@.app/Contents/Resources/x.icns"};
  EXPECT_EQ(textOf(manager.icon(std::string("Other"))), "workspace:/Applications/%@.app/Contents/Resources/x.icns");
}

TEST(FileIconManager, AURLUsesTheBundleItLiesIn) {
  ScriptedIcons platform;
  FileIconManager manager(platform, "/sys", "/apps");
  EXPECT_EQ(textOf(manager.icon(Keel::URL::fileURL("/apps/Foo.app", true))), "workspace:/apps/Foo.app");
  EXPECT_EQ(textOf(manager.icon(Keel::URL::fileURL("/apps/My.app Tool.app/Contents/Info.plist"))),
            "workspace:/apps/My Tool.app");
  EXPECT_EQ(textOf(manager.icon(Keel::URL::fileURL("/apps/plain/readme.txt"))), "(none)");
  EXPECT_EQ(textOf(manager.icon(Keel::URL::fileURL("/"))), "(none)");
  manager.setCachedIcon("Foo", imageOf("cached"));
  EXPECT_EQ(textOf(manager.icon(Keel::URL::fileURL("/apps/Foo.app/Contents/MacOS/foo"))), "cached");
}

TEST(PhotoEffect, RawValuesRoundTripAndMonochromePixels) {
  for (const auto effect : {PhotoEffect::mono, PhotoEffect::tonal, PhotoEffect::noir}) {
    EXPECT_EQ(photoEffect(rawValue(effect)), effect);
  }
  EXPECT_EQ(photoEffect("CIPhotoEffectNoir"), PhotoEffect::noir);
  EXPECT_FALSE(photoEffect("CIPhotoEffectChrome"));
  EXPECT_FALSE(photoEffect("ciphotoeffectmono"));

  const Pixels colours{2, 1, {255, 0, 0, 255, 40, 200, 40, 128}};
  EXPECT_EQ(applying(PhotoEffect::mono, colours).rgba,
            (std::vector<std::uint8_t>{54, 54, 54, 255, 154, 154, 154, 128}));
  EXPECT_EQ(applying(PhotoEffect::tonal, colours).rgba,
            (std::vector<std::uint8_t>{89, 89, 89, 255, 132, 132, 132, 128}));
  EXPECT_EQ(applying(PhotoEffect::noir, colours).rgba,
            (std::vector<std::uint8_t>{51, 51, 51, 255, 137, 137, 137, 128}));
  const Pixels wrong{3, 3, {1, 2, 3}};
  EXPECT_EQ(applying(PhotoEffect::noir, wrong), wrong);
}

}  // namespace
}  // namespace Plinth
