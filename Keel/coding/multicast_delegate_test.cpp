// Weakly held listeners: who is called, in which order, and what happens when
// listeners die or change the set during a call.
#include "Keel/coding/multicast_delegate.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Keel {
namespace {

struct Listener {
  explicit Listener(std::string listenerName) : name(std::move(listenerName)) {}
  // Equal names must not make two listeners one: membership is identity.
  bool operator==(const Listener&) const { return true; }
  std::string name;
};

std::vector<std::string> callOrder(MulticastDelegate<Listener>& delegate) {
  std::vector<std::string> called;
  delegate.invoke([&](Listener& l) { called.push_back(l.name); });
  return called;
}

TEST(MulticastDelegate, CallsFromLastAddedToFirstOnceEachAndRemovesByIdentityOnly) {
  MulticastDelegate<Listener> delegate;
  auto a = std::make_shared<Listener>("A");
  auto b = std::make_shared<Listener>("B");
  auto c = std::make_shared<Listener>("C");
  delegate.add(a);
  delegate.add(b);
  delegate.add(c);
  delegate.add(a);  // already there: keeps one entry and its place
  delegate.add(nullptr);
  EXPECT_EQ(callOrder(delegate), (std::vector<std::string>{"C", "B", "A"}));
  EXPECT_EQ(delegate.count(), 3u);

  auto twin = std::make_shared<Listener>("A");  // equal by ==, another object
  delegate.remove(twin);                        // never added: nothing happens
  delegate.remove(nullptr);
  delegate.remove(b);
  delegate.remove(c);
  EXPECT_EQ(callOrder(delegate), std::vector<std::string>{"A"});
  delegate.remove(a);
  EXPECT_TRUE(callOrder(delegate).empty());  // an empty set calls nothing
  EXPECT_EQ(delegate.count(), 0u);
  delegate.remove(a);  // twice is fine
}

TEST(MulticastDelegate, DestroyedListenersDropOut) {
  MulticastDelegate<Listener> delegate;
  // Allocated apart from their control blocks, so that a dead listener's
  // memory can be reused while the delegate still holds its weak reference.
  std::shared_ptr<Listener> a(new Listener("A"));
  auto b = std::make_shared<Listener>("B");
  delegate.add(a);
  delegate.add(b);
  b.reset();
  EXPECT_EQ(callOrder(delegate), std::vector<std::string>{"A"});
  EXPECT_EQ(delegate.count(), 1u);

  // A new listener at a dead one's address is a new member, not a duplicate.
  a.reset();
  std::shared_ptr<Listener> reborn(new Listener("R"));
  delegate.add(reborn);
  EXPECT_EQ(callOrder(delegate), std::vector<std::string>{"R"});
}

TEST(MulticastDelegate, ChangesDuringInvokeAffectOnlyLaterCalls) {
  MulticastDelegate<Listener> delegate;
  auto a = std::make_shared<Listener>("A");
  auto b = std::make_shared<Listener>("B");
  auto c = std::make_shared<Listener>("C");
  auto late = std::make_shared<Listener>("late");
  delegate.add(a);
  delegate.add(b);
  delegate.add(c);
  std::vector<std::string> called;
  delegate.invoke([&](Listener& l) {
    called.push_back(l.name);
    if (l.name == "C") {
      delegate.remove(*a);  // later in this walk: still called now
      delegate.remove(l);   // removing oneself is fine
      delegate.add(late);   // not part of this walk
      b.reset();            // the walk keeps B alive until it ends
    }
  });
  EXPECT_EQ(called, (std::vector<std::string>{"C", "B", "A"}));
  EXPECT_EQ(callOrder(delegate), std::vector<std::string>{"late"});
}

}  // namespace
}  // namespace Keel
