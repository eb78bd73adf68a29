// In-process notifications through the hub, and the delivery rule of user
// notifications on a centre whose settings and results the test chooses.
#include "Keel/services/notifications.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "Keel/services/user_notification_center_linux.h"

namespace Keel {
namespace {

struct Listener {
  std::vector<Notification> heard;
  std::thread::id thread;
  void onNotification(const Notification& n) {
    heard.push_back(n);
    thread = std::this_thread::get_id();
  }
  void listen(NotificationCenter& center, const std::string& name, const void* sender = nullptr) {
    center.addObserver(this, makeObserverSelector<Notification>(this, &Listener::onNotification), name, sender);
  }
};

TEST(NotificationHub, ObserversHearTheirNameFromTheSendersTheyChoseUntilRemovedByObserverAndName) {
  NotificationCenter center;
  int senderA = 0;
  int senderB = 0;
  Listener any, onlyA, other;
  any.listen(center, "changed");
  onlyA.listen(center, "changed", &senderA);
  other.listen(center, "other");
  any.listen(center, "other");
  center.post("changed", &senderA);
  center.post("changed", &senderB);
  center.post("changed");
  EXPECT_EQ(any.heard.size(), 3u);
  ASSERT_EQ(onlyA.heard.size(), 1u);
  EXPECT_EQ(onlyA.heard[0].object, &senderA);
  EXPECT_EQ(onlyA.heard[0].name, "changed");
  EXPECT_TRUE(other.heard.empty());

  center.removeObserver(&any, "changed");
  center.post("changed");
  center.post("other");
  EXPECT_EQ(any.heard.size(), 4u);
  EXPECT_EQ(other.heard.size(), 1u);
  center.removeObserver(&other);
  center.post("other");
  EXPECT_EQ(any.heard.size(), 5u);
  EXPECT_EQ(other.heard.size(), 1u);
}

TEST(NotificationHub, AnObserverRemovedDuringAPostIsNotCalledAfterwards) {
  NotificationCenter center;
  int calls = 0;
  int second = 0;
  center.addObserver(
      &calls,
      [&](const Notification&) {
        ++calls;
        center.removeObserver(&second, "n");
        center.post("unrelated");  // posting from inside an observer is fine
      },
      "n");
  center.addObserver(
      &second, [&](const Notification&) { ++second; }, "n");
  center.post("n");
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(second, 0);
}

TEST(NotificationHub, TheStaticFrontDeliversOnThePostingThread) {
  Listener listener;
  Notifications::addObserver(&listener, &Listener::onNotification, NotificationName("keel.test.front"));
  std::thread([] { Notifications::post("keel.test.front"); }).join();
  Notifications::removeObserver(&listener, NotificationName("keel.test.front"));
  Notifications::post("keel.test.front");
  ASSERT_EQ(listener.heard.size(), 1u);
  EXPECT_NE(listener.thread, std::this_thread::get_id());
}

TEST(NotificationHub, ConcurrentRegistrationAndPosting) {
  NotificationCenter center;
  std::atomic<int> heard{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      int identity = t;
      for (int i = 0; i < 500; ++i) {
        center.addObserver(
            &identity, [&](const Notification&) { heard.fetch_add(1); }, "n");
        center.post("n");
        center.removeObserver(&identity, "n");
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_GE(heard.load(), 2000);  // each post reaches at least its own poster's observer
}

// Runs every completion at once, with the settings and result the test set.
class FakeCenter final : public UserNotificationCenter {
 public:
  AuthorizationStatus status = AuthorizationStatus::authorized;
  std::optional<NotificationError> result;
  std::vector<NotificationRequest> added;

  void requestAuthorization(unsigned options, AuthorizationCompletion completion) override {
    askedOptions = options;
    completion(true, std::nullopt);
  }
  void getNotificationSettings(SettingsCompletion completion) override { completion({status}); }
  void add(NotificationRequest request, AddCompletion completion) override {
    added.push_back(std::move(request));
    if (completion) completion(result);
  }
  unsigned askedOptions = 0;
};

TEST(UserNotificationDelivery, OnlyWhileAllowedEachDeliveryIsANewRequestWithTheDefaultSound) {
  for (auto status : {AuthorizationStatus::denied, AuthorizationStatus::notDetermined, AuthorizationStatus::authorized,
                      AuthorizationStatus::provisional}) {
    const bool allowed = status == AuthorizationStatus::authorized || status == AuthorizationStatus::provisional;
    FakeCenter center;
    center.status = status;
    Notifications::deliver(center, "Title", "Body");
    center.result = NotificationError{"full"};
    std::optional<NotificationError> answer;
    Notifications::deliver(center, "Title", "Body", [&](std::optional<NotificationError> e) { answer = e; });
    if (!allowed) {
      EXPECT_TRUE(center.added.empty());
      EXPECT_FALSE(answer.has_value());  // never called
      continue;
    }
    ASSERT_EQ(center.added.size(), 2u);  // what each request holds is checked against a real server
    ASSERT_TRUE(answer.has_value());
    EXPECT_EQ(answer->description, "full");
  }
  // Authorization asks for badge, sound and alert.
  FakeCenter center;
  Notifications::requestAuthorization(center, [](bool, std::optional<NotificationError>) {});
  EXPECT_EQ(center.askedOptions, 7u);
}

TEST(RandomUUID, Version4InUpperCaseStandardForm) {
  const std::string uuid = randomUUIDString();
  EXPECT_THAT(uuid, testing::MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
  EXPECT_NE(uuid, randomUUIDString());
}

TEST(GnomeNotificationPolicy, PathOfTheApplicationsSwitch) {
  EXPECT_EQ(gnomeNotificationPolicyPath("com.Brenwick.vantor_2"),
            "/org/gnome/desktop/notifications/application/com-brenwick-vantor-2/");
}

}  // namespace
}  // namespace Keel
