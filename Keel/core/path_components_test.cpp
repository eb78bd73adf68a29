#include "Keel/core/path_components.h"

#include <gtest/gtest.h>

namespace Keel {
namespace {

using Components = std::vector<std::string>;

TEST(PathComponents, RootIsAComponentOfItsOwn) {
  EXPECT_EQ(pathComponents("/a/b/c"), (Components{"/", "a", "b", "c"}));
  EXPECT_EQ(pathComponents("/"), (Components{"/"}));
  EXPECT_EQ(pathComponents("a/b"), (Components{"a", "b"}));
  EXPECT_EQ(pathComponents(""), Components{});
  // Repeated and trailing separators add nothing.
  EXPECT_EQ(pathComponents("//a///b/"), (Components{"/", "a", "b"}));
}

TEST(PathComponents, JoiningInvertsSplitting) {
  for (const char* path : {"/Applications/Vantor.app", "/", "a/b", "/a b/ü/.."}) {
    EXPECT_EQ(pathWithComponents(pathComponents(path)), path);
  }
  EXPECT_EQ(pathWithComponents({}), "");
  EXPECT_EQ(pathWithComponents({"/", "/", "a"}), "/a");
}

}  // namespace
}  // namespace Keel
