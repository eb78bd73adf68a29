#include "Keel/core/url.h"

#include <gtest/gtest.h>

namespace Keel {
namespace {

TEST(FileURL, EncodesUnsafeBytesAndDecodesThemBackInPath) {
  const URL url = URL::fileURL("/Users/anna/Library/Application Support/100%/ä");
  EXPECT_EQ(url.absoluteString, "file:///Users/anna/Library/Application%20Support/100%25/%C3%A4");
  EXPECT_EQ(url.path(), "/Users/anna/Library/Application Support/100%/ä");
  EXPECT_TRUE(url.isFileURL());
  EXPECT_EQ(URL::fileURL("/a\nb").absoluteString, "file:///a%0Ab");
}

TEST(FileURL, DirectoryURLsEndWithASlashAndDifferFromFileURLs) {
  const URL folder = URL::fileURL("/tmp/a", true);
  EXPECT_EQ(folder.absoluteString, "file:///tmp/a/");
  EXPECT_TRUE(folder.hasDirectoryPath());
  EXPECT_EQ(folder.path(), "/tmp/a");
  EXPECT_NE(folder, URL::fileURL("/tmp/a"));
  EXPECT_EQ(URL::fileURL("/tmp/a/"), folder);
  EXPECT_EQ(URL::fileURL("/", true).path(), "/");
  EXPECT_EQ(URL::fileURL("/", true).lastPathComponent(), "/");
}

TEST(FileURL, ComponentsAndExtensions) {
  const URL app = URL::fileURL("/Applications/Vantor.app", true);
  EXPECT_EQ(app.lastPathComponent(), "Vantor.app");
  EXPECT_EQ(app.pathExtension(), "app");
  EXPECT_EQ(URL::fileURL("/home/.profile").pathExtension(), "");
  EXPECT_EQ(URL::fileURL("/a/archive.tar.gz").pathExtension(), "gz");
  EXPECT_EQ(URL::fileURL("/a/trailing.").pathExtension(), "");

  const URL plist = app.appendingPathComponent("Contents", true).appendingPathComponent("Info.plist");
  EXPECT_EQ(plist.absoluteString, "file:///Applications/Vantor.app/Contents/Info.plist");
  EXPECT_EQ(plist.deletingLastPathComponent().absoluteString, "file:///Applications/Vantor.app/Contents/");
  EXPECT_EQ(URL::fileURL("/Applications").appendingPathComponent("Saved State", true).path(),
            "/Applications/Saved State");
  EXPECT_EQ(URL::fileURL("/a", true).deletingLastPathComponent().path(), "/");
}

TEST(FileURL, RelativePathsStartAtTheCurrentFolder) {
  const URL url = URL::fileURL("x");
  EXPECT_TRUE(url.path().starts_with('/'));
  EXPECT_EQ(url.lastPathComponent(), "x");
}

TEST(WebURL, PathSkipsAuthorityQueryAndFragment) {
  const URL url{"https://example.com:8080/a%20b/c?q=1#top"};
  EXPECT_FALSE(url.isFileURL());
  EXPECT_EQ(url.path(), "/a b/c");
  EXPECT_EQ(url.appendingPathComponent("d").absoluteString, "https://example.com:8080/a%20b/c/d?q=1#top");
  EXPECT_EQ(URL{"https://example.com"}.path(), "");
  EXPECT_EQ(URL{"mailto:a@b.c"}.path(), "a@b.c");
  EXPECT_EQ(URL{"%4"}.path(), "%4");
}

}  // namespace
}  // namespace Keel
