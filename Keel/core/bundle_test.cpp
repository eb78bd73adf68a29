#include "Keel/core/bundle.h"

#include <gtest/gtest.h>

#include <fstream>

#include "testing/plist_bytes.h"
#include "testing/temp_dir.h"

namespace Keel {
namespace {

namespace fs = std::filesystem;

TEST(BundlePathForExecutable, FindsTheAppFolderOfContentsMacOS) {
  EXPECT_EQ(Bundle::bundlePathForExecutable("/Applications/Vantor.app/Contents/MacOS/Vantor"),
            fs::path("/Applications/Vantor.app"));
  // The name of the folder does not have to end in .app.
  EXPECT_EQ(Bundle::bundlePathForExecutable("/x/Tool/Contents/MacOS/t"), fs::path("/x/Tool"));
  EXPECT_FALSE(Bundle::bundlePathForExecutable("/usr/bin/sleep"));
  EXPECT_FALSE(Bundle::bundlePathForExecutable("/Contents/MacOS/x"));
  EXPECT_FALSE(Bundle::bundlePathForExecutable("Contents/MacOS/x"));
  EXPECT_FALSE(Bundle::bundlePathForExecutable("/A.app/Contents/MacOS/"));
  EXPECT_FALSE(Bundle::bundlePathForExecutable("/A.app/Contents/Resources/MacOS/x"));
}

// A bundle whose Info.plist libplist writes. Both formats, and text values
// only, are the property-list reader's to test.
class BundleInfoTest : public ::testing::Test {
 protected:
  Vantor::Testing::TempDir dir;
  fs::path app = dir.path() / "Sample.app";

  void SetUp() override { fs::create_directories(app / "Contents"); }
  void writeInfo(plist_t root) {
    std::ofstream(app / "Contents" / "Info.plist", std::ios::binary) << Vantor::Testing::plistBytes(root, true);
  }
};

TEST_F(BundleInfoTest, IdentifierAndExecutableComeFromInfoPlistOrTheBundlesName) {
  plist_t dict = plist_new_dict();
  plist_dict_set_item(dict, "CFBundleIdentifier", plist_new_string("com.brenwick.vantor"));
  plist_dict_set_item(dict, "CFBundleExecutable", plist_new_string("Runner"));
  writeInfo(dict);
  EXPECT_EQ(Bundle(app).bundleIdentifier(), "com.brenwick.vantor");
  EXPECT_EQ(Bundle(app).executablePath(), app / "Contents" / "MacOS" / "Runner");

  plist_t array = plist_new_array();
  plist_array_append_item(array, plist_new_string("CFBundleIdentifier"));
  writeInfo(array);
  EXPECT_FALSE(Bundle(app).bundleIdentifier());
  EXPECT_EQ(Bundle(app).executablePath(), app / "Contents" / "MacOS" / "Sample");
}

TEST_F(BundleInfoTest, MissingOrGarbledInfoPlistHasNoValues) {
  EXPECT_FALSE(Bundle(app).bundleIdentifier());
  std::ofstream(app / "Contents" / "Info.plist") << "bplist00\xff\xff garbage";
  EXPECT_FALSE(Bundle(app).bundleIdentifier());
  fs::remove(app / "Contents" / "Info.plist");
  fs::create_directories(app / "Contents" / "Info.plist");  // a folder, not a file
  EXPECT_FALSE(Bundle(app).bundleIdentifier());
}

// The names that lead out of the bundle are refused end to end, by the
// launcher's tests; here, the names close to them that are fine.
TEST_F(BundleInfoTest, ExecutableNamesThatOnlyLookOddAndLinksWithinTheFolderAreKept) {
  const fs::path macos = app / "Contents" / "MacOS";
  fs::create_directories(macos);
  fs::create_symlink("Runner-2", macos / "Runner");
  for (const char* name : {"Runner", "a..b", ".hidden"}) {
    plist_t dict = plist_new_dict();
    plist_dict_set_item(dict, "CFBundleExecutable", plist_new_string(name));
    writeInfo(dict);
    EXPECT_EQ(Bundle(app).executablePath(), macos / name);
  }
}

TEST(BundleMain, IsTheFolderOfThisTestBinary) {
  const auto main = Bundle::main();
  ASSERT_TRUE(main.has_value());
  EXPECT_EQ(main->bundlePath(), fs::read_symlink("/proc/self/exe").parent_path());
}

}  // namespace
}  // namespace Keel
