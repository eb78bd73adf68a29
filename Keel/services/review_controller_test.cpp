// The review-prompt rules with a memory store, a clock the test moves and a
// prompt that counts.
#include "Keel/services/review_controller.h"

#include <gtest/gtest.h>

namespace Keel {
namespace {

constexpr double T = 1700000000;

class ReviewControllerTest : public ::testing::Test {
 protected:
  std::shared_ptr<MemoryUserDefaults> store = std::make_shared<MemoryUserDefaults>();
  double now = T;
  int prompts = 0;
  ReviewController controller{store, [this] { return Date(now); }, [this] { ++prompts; }};

  void requestAt(double time, const std::string& key) {
    now = time;
    controller.requestReview(key);
  }
};

TEST_F(ReviewControllerTest, AnOccasionPromptsOnceThreeDaysAfterItWasFirstSeen) {
  requestAt(T, "K");
  EXPECT_EQ(prompts, 0);
  EXPECT_EQ(store->object("init_K"), AnyValue(T));
  EXPECT_EQ(store->object("K"), std::nullopt);

  requestAt(T + 259199, "K");
  EXPECT_EQ(prompts, 0);
  EXPECT_FALSE(store->boolValue("K"));

  requestAt(T + 259200, "K");  // exactly three days counts as elapsed
  EXPECT_EQ(prompts, 1);
  EXPECT_EQ(store->object("K"), AnyValue(true));
  EXPECT_EQ(store->doubleValue("init_K"), T);  // the first sighting is never moved

  requestAt(T + 259201, "K");
  requestAt(T + 100 * 259200, "K");
  EXPECT_EQ(prompts, 1);
}

TEST_F(ReviewControllerTest, OccasionsAreDueIndependentlyAndAnAbsentKeyIsNone) {
  controller.requestReview(std::nullopt);
  EXPECT_TRUE(store->dictionaryRepresentation().empty());
  requestAt(T, "A");
  requestAt(T + 1000, "B");
  requestAt(T + 259200, "A");
  requestAt(T + 259200, "B");
  EXPECT_EQ(prompts, 1);
  EXPECT_TRUE(store->boolValue("A"));
  EXPECT_FALSE(store->boolValue("B"));
  requestAt(T + 260200, "B");
  EXPECT_EQ(prompts, 2);
}

TEST_F(ReviewControllerTest, AClockSetBackWaitsUntilItPassesThreeDaysAgain) {
  requestAt(T, "K");
  requestAt(T - 1000000, "K");
  requestAt(T + 259199, "K");
  EXPECT_EQ(prompts, 0);
  now = T + 259200;
  EXPECT_TRUE(controller.shouldRequestReview("K"));
  EXPECT_EQ(prompts, 0);  // asking whether is not prompting
}

TEST(ReviewControllerWithoutStore, NeverPromptsAndAnswersFalse) {
  int prompts = 0;
  double now = T;
  ReviewController controller(
      nullptr, [&] { return Date(now); }, [&] { ++prompts; });
  controller.requestReview("K");
  now = T + 10 * 259200;
  controller.requestReview("K");
  EXPECT_FALSE(controller.shouldRequestReview("K"));
  EXPECT_EQ(prompts, 0);
}

}  // namespace
}  // namespace Keel
