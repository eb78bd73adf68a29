// Unit names for the scopes of opened applications.
#include "Plinth/inventory/session_scopes_linux.h"

#include <gtest/gtest.h>

namespace Plinth {
namespace {

TEST(ScopeUnitName, KeepsUnitNameCharactersAndEscapesEveryOtherByte) {
  EXPECT_EQ(scopeUnitName("com.brenwick.vantor", 42), "app-com.brenwick.vantor-42.scope");
  EXPECT_EQ(scopeUnitName("A_b:9", 1), "app-A_b:9-1.scope");
  // "-" too, so that the last "-" always comes before the pid.
  EXPECT_EQ(scopeUnitName("org.ex-ample", 7), "app-org.ex\\x2dample-7.scope");
  EXPECT_EQ(scopeUnitName("a b/\\\xc3\xa9", 7), "app-a\\x20b\\x2f\\x5c\\xc3\\xa9-7.scope");
}

}  // namespace
}  // namespace Plinth
