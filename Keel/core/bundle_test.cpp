#include "Keel/core/bundle.h"

#include <gtest/gtest.h>
#include <plist/plist.h>

#include <cstdlib>
#include <fstream>

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

class BundleInfoTest : public ::testing::TestWithParam<bool> {
 protected:
  fs::path root = fs::temp_directory_path() / ("keel-bundle-" + std::to_string(::getpid()));
  fs::path app = root / "Sample.app";

  void SetUp() override { fs::create_directories(app / "Contents"); }
  void TearDown() override { fs::remove_all(root); }

  void writeInfo(plist_t dict) {
    char* out = nullptr;
    uint32_t length = 0;
    if (GetParam()) {
      plist_to_bin(dict, &out, &length);
    } else {
      plist_to_xml(dict, &out, &length);
    }
    std::ofstream(app / "Contents" / "Info.plist", std::ios::binary).write(out, length);
    std::free(out);
    plist_free(dict);
  }
};

TEST_P(BundleInfoTest, ReadsTextValuesOnly) {
  plist_t dict = plist_new_dict();
  plist_dict_set_item(dict, "CFBundleIdentifier", plist_new_string("com.brenwick.vantor"));
  plist_dict_set_item(dict, "CFBundleShortVersionString", plist_new_uint(3));
  plist_dict_set_item(dict, "CFBundleExecutable", plist_new_string("Runner"));
  writeInfo(dict);
  const Bundle bundle(app);
  EXPECT_EQ(bundle.bundleIdentifier(), "com.brenwick.vantor");
  EXPECT_FALSE(bundle.infoString("CFBundleShortVersionString"));
  EXPECT_FALSE(bundle.infoString("Missing"));
  EXPECT_EQ(bundle.executablePath(), app / "Contents" / "MacOS" / "Runner");
}

TEST_P(BundleInfoTest, ARootThatIsNotADictionaryHasNoValues) {
  plist_t array = plist_new_array();
  plist_array_append_item(array, plist_new_string("CFBundleIdentifier"));
  writeInfo(array);
  EXPECT_FALSE(Bundle(app).bundleIdentifier());
  EXPECT_EQ(Bundle(app).executablePath(), app / "Contents" / "MacOS" / "Sample");
}

INSTANTIATE_TEST_SUITE_P(XmlAndBinary, BundleInfoTest, ::testing::Bool());

TEST(BundleInfo, MissingOrGarbledInfoPlistHasNoValues) {
  const fs::path root = fs::temp_directory_path() / ("keel-garbled-" + std::to_string(::getpid()));
  fs::create_directories(root / "A.app" / "Contents");
  EXPECT_FALSE(Bundle(root / "A.app").bundleIdentifier());
  std::ofstream(root / "A.app" / "Contents" / "Info.plist") << "bplist00\xff\xff garbage";
  EXPECT_FALSE(Bundle(root / "A.app").bundleIdentifier());
  fs::create_directories(root / "B.app" / "Contents" / "Info.plist");  // a folder, not a file
  EXPECT_FALSE(Bundle(root / "B.app").bundleIdentifier());
  fs::remove_all(root);
}

// The names that lead out of the bundle are refused end to end, by the
// launcher's tests; here, the names close to them that are fine.
TEST(BundleExecutable, NamesThatOnlyLookOddAndLinksWithinTheFolderAreKept) {
  const fs::path root = fs::temp_directory_path() / ("keel-exec-" + std::to_string(::getpid()));
  const fs::path macos = root / "A.app" / "Contents" / "MacOS";
  fs::create_directories(macos);
  fs::create_symlink("Runner-2", macos / "Runner");
  for (const char* name : {"Runner", "a..b", ".hidden"}) {
    plist_t dict = plist_new_dict();
    plist_dict_set_item(dict, "CFBundleExecutable", plist_new_string(name));
    char* xml = nullptr;
    uint32_t length = 0;
    plist_to_xml(dict, &xml, &length);
    std::ofstream(root / "A.app" / "Contents" / "Info.plist", std::ios::binary).write(xml, length);
    std::free(xml);
    plist_free(dict);
    EXPECT_EQ(Bundle(root / "A.app").executablePath(), macos / name);
  }
  fs::remove_all(root);
}

TEST(BundleMain, IsTheFolderOfThisTestBinary) {
  const auto main = Bundle::main();
  ASSERT_TRUE(main.has_value());
  EXPECT_EQ(main->bundlePath(), fs::read_symlink("/proc/self/exe").parent_path());
}

}  // namespace
}  // namespace Keel
