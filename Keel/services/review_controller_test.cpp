// The review-prompt rules with a memory store, a clock the test moves and a
// prompt that counts.
#include "Keel/services/review_controller.h"

#include <gtest/gtest.h>

namespace Keel {
namespace {

constexpr double start = 1700000000;

class ReviewControllerTest : public ::testing::Test {
 protected:
  std::shared_ptr<MemoryUserDefaults> store = std::make_shared<MemoryUserDefaults>();
  double now = start;
  int prompts = 0;
  ReviewController controller{store, [this] { return Date(now); }, [this] { ++prompts; }};

  void requestAt(double time, const std::string& key) {
    now = time;
    controller.requestReview(key);
  }
};

TEST_F(ReviewControllerTest, AnOccasionPromptsOnceThreeDaysAfterItWasFirstSeen) {
  requestAt(start, "K");
  EXPECT_EQ(prompts, 0);
  EXPECT_EQ(store->object("init_K"), AnyValue(start));
  EXPECT_EQ(store->object("K"), std::nullopt);

  requestAt(start + 259199, "K");
  EXPECT_EQ(prompts, 0);
  EXPECT_FALSE(store->boolValue("K"));

  requestAt(start + 259200, "K");  // exactly three days counts as elapsed
  EXPECT_EQ(prompts, 1);
  EXPECT_EQ(store->object("K"), AnyValue(true));
  EXPECT_EQ(store->doubleValue("init_K"), start);  // the first sighting is never moved

  requestAt(start + 259201, "K");
  requestAt(start + 100 * 259200, "K");
  EXPECT_EQ(prompts, 1);
}

TEST_F(ReviewControllerTest, OccasionsAreDueIndependentlyAndAnAbsentKeyIsNone) {
  controller.requestReview(std::nullopt);
  EXPECT_TRUE(store->dictionaryRepresentation().empty());
  requestAt(start, "A");
  requestAt(start + 1000, "B");
  requestAt(start + 259200, "A");
  requestAt(start + 259200, "B");
  EXPECT_EQ(prompts, 1);
  EXPECT_TRUE(store->boolValue("A"));
  EXPECT_FALSE(store->boolValue("B"));
  requestAt(start + 260200, "B");
  EXPECT_EQ(prompts, 2);
}

TEST_F(ReviewControllerTest, AClockSetBackWaitsUntilItPassesThreeDaysAgain) {
  requestAt(start, "K");
  requestAt(start - 1000000, "K");
  requestAt(start + 259199, "K");
  EXPECT_EQ(prompts, 0);
  now = start + 259200;
  EXPECT_TRUE(controller.shouldRequestReview("K"));
  EXPECT_EQ(prompts, 0);  // asking whether is not prompting
}

TEST(ReviewControllerWithoutStore, NeverPromptsAndAnswersFalse) {
  int prompts = 0;
  double now = start;
  ReviewController controller(
      nullptr, [&] { return Date(now); }, [&] { ++prompts; });
  controller.requestReview("K");
  now = start + 10 * 259200;
  controller.requestReview("K");
  EXPECT_FALSE(controller.shouldRequestReview("K"));
  EXPECT_EQ(prompts, 0);
}

}  // namespace
}  // namespace Keel
