// Desktop icons through GIO's content types and a theme folder of our own,
// and revealing through a file manager on a private bus.
#include <gio/gio.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "Plinth/inventory/file_revealer_linux.h"
#include "Plinth/inventory/io_utilities.h"
#include "Plinth/inventory/workspace_icons_linux.h"
#include "testing/bundle_builder.h"
#include "testing/dbus_mock.h"
#include "testing/file_text.h"
#include "testing/private_session_bus.h"
#include "testing/silent_bus.h"
#include "testing/temp_dir.h"

namespace Plinth {
namespace {

namespace fs = std::filesystem;

std::string textOf(const std::optional<Image>& image) {
  return image ? std::string(image->data().begin(), image->data().end()) : "(none)";
}

class ThemeTest : public ::testing::Test {
 protected:
  void icon(const std::string& relative, const std::string& contents) {
    Vantor::Testing::writeText(temp.path() / "share" / relative, contents);
  }
  [[nodiscard]] IconThemeFolders folders() const { return {{(temp.path() / "share").string()}, "Fake"}; }
  Vantor::Testing::TempDir temp;
};

TEST_F(ThemeTest, FindsTheBestFileOfTheFirstNameThatHasOne) {
  icon("icons/Fake/48x48/mimetypes/text-plain.png", "png48");
  icon("icons/Fake/scalable/mimetypes/text-plain.svg", "svg");
  icon("icons/Fake/16x16/mimetypes/text-x-generic.png", "generic");
  icon("icons/hicolor/256x256/apps/editor.png", "hicolor");
  icon("pixmaps/oldtool.xpm", "pixmap");
  const IconThemeFolders theme = folders();
  EXPECT_EQ(theme.iconFile({"text-plain", "text-x-generic"}),
            (temp.path() / "share/icons/Fake/scalable/mimetypes/text-plain.svg").string());
  EXPECT_EQ(theme.iconFile({"missing", "text-x-generic"}),
            (temp.path() / "share/icons/Fake/16x16/mimetypes/text-x-generic.png").string());
  EXPECT_EQ(theme.iconFile({"editor"}), (temp.path() / "share/icons/hicolor/256x256/apps/editor.png").string());
  EXPECT_EQ(theme.iconFile({"oldtool"}), (temp.path() / "share/pixmaps/oldtool.xpm").string());
  EXPECT_FALSE(theme.iconFile({"missing", "../pixmaps/oldtool"}));
}

TEST_F(ThemeTest, ContentTypesAndBundlesGiveTheirIcons) {
  icon("icons/Fake/scalable/mimetypes/text-plain.svg", "text icon");
  icon("icons/Fake/48x48/places/folder.png", "folder icon");
  icon("icons/Fake/48x48/mimetypes/application-x-executable.png", "program icon");
  const ThemeWorkspaceIcons icons(folders());
  EXPECT_EQ(textOf(icons.iconForExtension("txt")), "text icon");
  EXPECT_EQ(textOf(IOUtilities::icon(Keel::URL::fileURL("/anywhere/notes.txt"), icons)), "text icon");
  EXPECT_EQ(textOf(icons.iconForFile(temp.path().string())), "folder icon");
  EXPECT_EQ(textOf(icons.iconForFile("/nowhere/Missing.app")), "program icon");

  // A bundle's own icon file, as its Info.plist names it.
  const fs::path bundle = temp.path() / "Paint.app";
  fs::create_directories(bundle / "Contents/Resources");
  std::ofstream(bundle / "Contents/Info.plist") << Vantor::Testing::infoPlist(
      {{"CFBundleIdentifier", "com.example.paint"}, {"CFBundleIconFile", "Paint"}}, false);
  std::ofstream(bundle / "Contents/Resources/Paint.icns") << "icns bytes";
  EXPECT_EQ(textOf(icons.iconForFile(bundle.string())), "icns bytes");
  const fs::path plain = temp.path() / "Plain.app";
  fs::create_directories(plain / "Contents");
  EXPECT_EQ(textOf(icons.iconForFile(plain.string())), "program icon");
}

TEST(BusFileRevealer, AsksTheFileManagerOrSaysThereIsNone) {
  const Vantor::Testing::PrivateSessionBus bus;
  const BusFileRevealer revealer(bus.address(), std::chrono::milliseconds(2000));
  const auto none = revealer.showItems({Keel::URL::fileURL("/tmp/a b.txt")});
  EXPECT_NE(none.errorOr("").find("no file manager answered"), std::string::npos) << none.errorOr("");

  // A file manager that records what it is asked to show.
  Vantor::Testing::DBusMock manager(bus.address(), "org.freedesktop.FileManager1", "/org/freedesktop/FileManager1",
                                    "org.freedesktop.FileManager1");
  ASSERT_TRUE(manager.addMethod("org.freedesktop.FileManager1", "ShowItems", "ass", "", ""));
  const auto shown = revealer.showItems({Keel::URL::fileURL("/tmp/a b.txt")});
  EXPECT_TRUE(shown) << shown.error();
  IOUtilities::reveal(Keel::URL::fileURL("/srv/x/", true), revealer);
  const auto calls = manager.calls("ShowItems");
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_EQ(calls[0].rfind("[<['file:///tmp/a%20b.txt']>, <", 0), 0U) << calls[0];
  EXPECT_EQ(calls[1].rfind("[<['file:///srv/x']>, <", 0), 0U) << calls[1];

  const BusFileRevealer nowhere(std::string("unix:path=/nonexistent/bus"));
  EXPECT_NE(nowhere.showItems({}).errorOr("").find("no D-Bus session bus"), std::string::npos);
  Vantor::Testing::TempDir dir;
  Vantor::Testing::SilentBus silent(dir.path() / "bus");
  const BusFileRevealer wedged(silent.address(), std::chrono::milliseconds(300));
  EXPECT_NE(wedged.showItems({}).errorOr("").find("did not answer within 0.3 s"), std::string::npos);
}

}  // namespace
}  // namespace Plinth
