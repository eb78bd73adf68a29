// A value or why not, including when both are texts and when there is no value.
#include "Keel/core/result.h"

#include <gtest/gtest.h>

namespace Keel {
namespace {

TEST(ResultTest, TellsAValueFromAnErrorOfTheSameType) {
  const Result<std::string> value = std::string("text");
  const Result<std::string> failed = failure("why");
  ASSERT_TRUE(value);
  EXPECT_EQ(value, "text");
  ASSERT_FALSE(failed);
  EXPECT_EQ(failed.error(), "why");
  EXPECT_FALSE(failed == "why");
  EXPECT_DEATH((void)failed.value(), "value read from a failed result");
  EXPECT_DEATH((void)value.error(), "error read from a successful result");
}

TEST(ResultTest, NothingOrWhyNot) {
  const Result<void> done = success();
  const Result<void> failed = failure("why");
  EXPECT_TRUE(done.ok());
  EXPECT_EQ(done.errorOr("fallback"), "fallback");
  ASSERT_FALSE(failed);
  EXPECT_EQ(failed.error(), "why");
  EXPECT_EQ(failed.errorOr("fallback"), "why");
  EXPECT_DEATH((void)done.error(), "error read from a successful result");
}

}  // namespace
}  // namespace Keel
