// The observer's delegate rules, with a source the test fires by hand.
#include "Plinth/desktop/sleep_wake_observer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Plinth {
namespace {

struct HandFiredSource final : SleepEventSource {
  Handler* handler;  // where the test finds the handler
  explicit HandFiredSource(Handler* h) : handler(h) {}
  void start(Handler h) override { *handler = std::move(h); }
};

struct Recorder final : SleepWakeObserverDelegate {
  std::vector<std::string>* heard;
  explicit Recorder(std::vector<std::string>* h) : heard(h) {}
  void systemWillSleep() override { heard->push_back("will sleep"); }
  void systemDidWake() override { heard->push_back("did wake"); }
};

TEST(SleepWakeObserver, TellsTheLivingDelegateOnly) {
  SleepEventSource::Handler fire;
  std::vector<std::string> heard;
  auto observer = std::make_unique<SleepWakeObserver>(std::make_unique<HandFiredSource>(&fire));
  ASSERT_TRUE(fire);
  fire(true);  // no delegate yet: dropped
  auto delegate = std::make_shared<Recorder>(&heard);
  observer->setDelegate(delegate);
  EXPECT_EQ(observer->delegate().lock(), delegate);
  fire(true);
  fire(false);
  EXPECT_EQ(heard, (std::vector<std::string>{"will sleep", "did wake"}));

  delegate.reset();  // held weakly: gone
  fire(true);
  observer->didWake();
  EXPECT_EQ(heard.size(), 2U);
  EXPECT_TRUE(observer->delegate().expired());

  // A source that calls once more after its observer is gone does no harm.
  observer.reset();
  fire(false);
}

}  // namespace
}  // namespace Plinth
