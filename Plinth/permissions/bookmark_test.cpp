#include "Plinth/permissions/bookmark.h"

#include <gtest/gtest.h>

#include <string>

namespace Plinth {
namespace {

TEST(Bookmark, WritesTheDocumentedLayoutAndReadsItBack) {
  const BookmarkRecord record{0x0102030405060708, 0x1112131415161718, "/home/anna/Fotos"};
  const auto data = encodeBookmark(record);
  ASSERT_TRUE(data);
  const Keel::Data header = {'V',  'F',  'B',  'M',  1,    0,    0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02,
                             0x01, 0x18, 0x17, 0x16, 0x15, 0x14, 0x13, 0x12, 0x11, 16,   0,    0,    0};
  EXPECT_EQ(Keel::Data(data->begin(), data->begin() + 26), header);
  EXPECT_EQ(std::string(data->begin() + 26, data->end()), record.path);
  EXPECT_EQ(decodeBookmark(*data), record);
}

TEST(Bookmark, RefusesPathsItCannotKeepAndDataThatIsNoBookmark) {
  EXPECT_FALSE(encodeBookmark({1, 2, ""}));
  EXPECT_FALSE(encodeBookmark({1, 2, "relative"}));
  EXPECT_FALSE(encodeBookmark({1, 2, std::string("/a\0b", 4)}));
  EXPECT_FALSE(encodeBookmark({1, 2, "/" + std::string(bookmarkMaxPathLength, 'x')}));
  EXPECT_TRUE(encodeBookmark({1, 2, "/" + std::string(bookmarkMaxPathLength - 1, 'x')}));

  const auto good = *encodeBookmark({1, 2, "/a"});
  const auto refused = [](Keel::Data data) { return decodeBookmark(data).error(); };
  EXPECT_EQ(refused({}), "it does not start like a folder bookmark");
  EXPECT_EQ(refused(Keel::Data(good.begin(), good.end() - 1)), "its path length does not match its size");
  auto longer = good;
  longer.push_back('x');
  EXPECT_EQ(refused(longer), "its path length does not match its size");
  auto version = good;
  version[4] = 2;
  EXPECT_EQ(refused(version), "its format version 2 is unknown");
  auto relative = good;
  relative[26] = 'a';
  EXPECT_EQ(refused(relative), "its path is not an absolute path");
  auto huge = good;
  huge[25] = 0xFF;                            // a length of gigabytes in a short buffer
  EXPECT_FALSE(decodeBookmark(huge));         // random bytes are the fuzzer's
}

}  // namespace
}  // namespace Plinth
