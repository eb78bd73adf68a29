#include "Keel/core/utf8.h"

#include <gtest/gtest.h>

namespace Keel {
namespace {

TEST(Utf8Test, RejectsMalformedSequencesAndReplacesThem) {
  EXPECT_TRUE(isValidUtf8("caf\xC3\xA9 \xF0\x9F\x99\x82"));
  for (const std::string bad : {"\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xC3", "\x80"}) {
    EXPECT_FALSE(isValidUtf8(bad)) << bad;
  }
  EXPECT_EQ(replacingInvalidUtf8("a\xFF"
                                 "b\xC3"),
            "a\xEF\xBF\xBD"
            "b\xEF\xBF\xBD");
  EXPECT_EQ(replacingInvalidUtf8("caf\xC3\xA9"), "caf\xC3\xA9");
}

}  // namespace
}  // namespace Keel
