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

TEST(BundleExecutable, OnlyAPlainNameThatStaysInsideContentsMacOS) {
  const fs::path root = fs::temp_directory_path() / ("keel-exec-" + std::to_string(::getpid()));
  const fs::path app = root / "A.app";
  fs::create_directories(app / "Contents" / "MacOS");
  std::ofstream(root / "outside.sh") << "#!/bin/sh\n";
  const auto withExecutable = [&](const char* name) {
    plist_t dict = plist_new_dict();
    plist_dict_set_item(dict, "CFBundleExecutable", plist_new_string(name));
    char* xml = nullptr;
    uint32_t length = 0;
    plist_to_xml(dict, &xml, &length);
    std::ofstream(app / "Contents" / "Info.plist", std::ios::binary).write(xml, length);
    std::free(xml);
    plist_free(dict);
    return Bundle(app).executablePath();
  };
  EXPECT_EQ(withExecutable("Runner"), app / "Contents" / "MacOS" / "Runner");
  EXPECT_EQ(withExecutable("a..b"), app / "Contents" / "MacOS" / "a..b");
  for (const char* escaping : {"../../../outside.sh", "../../../../bin/sh", "/bin/sh", "sub/x", "", ".", ".."}) {
    EXPECT_FALSE(withExecutable(escaping)) << escaping;
  }
  // A plain name whose link leads out of the folder, and one that stays in it.
  fs::create_symlink(root / "outside.sh", app / "Contents" / "MacOS" / "Out");
  fs::create_symlink("Runner", app / "Contents" / "MacOS" / "In");
  EXPECT_FALSE(withExecutable("Out"));
  EXPECT_EQ(withExecutable("In"), app / "Contents" / "MacOS" / "In");
  fs::remove_all(root);
}

TEST(BundleInfo, InfoPlistsThatAreNotSmallRegularFilesHaveNoValues) {
  const fs::path root = fs::temp_directory_path() / ("keel-oversize-" + std::to_string(::getpid()));
  fs::create_directories(root / "Big.app" / "Contents");
  fs::create_directories(root / "Zero.app" / "Contents");
  // A valid list naming an identifier, padded past the limit.
  std::ofstream(root / "Big.app" / "Contents" / "Info.plist")
      << "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>CFBundleIdentifier</key><string>big</string>"
      << std::string(kMaximumInfoPlistBytes, ' ') << "</dict></plist>";
  fs::create_symlink("/dev/zero", root / "Zero.app" / "Contents" / "Info.plist");
  EXPECT_FALSE(Bundle(root / "Big.app").bundleIdentifier());
  EXPECT_FALSE(Bundle(root / "Zero.app").bundleIdentifier());
  fs::remove_all(root);
}

TEST(BundleMain, IsTheFolderOfThisTestBinary) {
  const auto main = Bundle::main();
  ASSERT_TRUE(main.has_value());
  EXPECT_EQ(main->bundlePath(), fs::read_symlink("/proc/self/exe").parent_path());
}

}  // namespace
}  // namespace Keel
