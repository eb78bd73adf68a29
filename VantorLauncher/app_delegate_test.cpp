// The launcher's start-up rules, against fake platform services.
#include "VantorLauncher/app_delegate.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace VantorLauncher {
namespace {

// What the fakes were asked to do, in order.
using Log = std::vector<std::string>;

struct FakeWorkspace : Plinth::Workspace {
  explicit FakeWorkspace(Log& l) : log(l) {}
  Log& log;
  std::vector<Plinth::RunningApplication> running;
  std::vector<std::filesystem::path> opened;
  std::optional<int> startedPid;
  std::vector<Plinth::RunningApplication> runningApplications() const override { return running; }
  void openApplication(const std::filesystem::path& url) override {
    log.push_back("open");
    opened.push_back(url);
  }
  std::optional<int> launchApplication(const std::filesystem::path& url) override {
    openApplication(url);
    return startedPid;
  }
};

struct FakeScopes : Plinth::SessionScopes {
  explicit FakeScopes(Log& l) : log(l) {}
  Log& log;
  void moveToScope(int pid, const std::string& id) override {
    log.push_back("scope " + id + " " + std::to_string(pid));
  }
  void waitForPendingMoves() override { log.push_back("wait"); }
};

// Registrations are confirmed only when the test says the bus has answered.
struct FakeCenter : Plinth::DistributedNotificationCenter {
  explicit FakeCenter(Log& l) : log(l) {}
  struct Observer {
    const void* observer;
    Selector selector;
    std::string name;
    std::optional<std::string> object;
  };
  Log& log;
  std::vector<Observer> observers;
  std::vector<Registered> unconfirmed;
  std::function<void(const std::string&)> lost;

  void addObserver(const void* o, Selector s, const std::string& n, const std::optional<std::string>& obj) override {
    observers.push_back({o, std::move(s), n, obj});
  }
  void addObserver(const void* o, Selector s, const std::string& n, const std::optional<std::string>& obj,
                   Registered registered) override {
    log.push_back("observe " + n);
    addObserver(o, std::move(s), n, obj);
    unconfirmed.push_back(std::move(registered));
  }
  void removeObserver(const void* o, const std::string& n) override {
    std::erase_if(observers, [&](const Observer& x) { return x.observer == o && x.name == n; });
  }
  void post(const std::string& /*name*/, const std::optional<std::string>& /*object*/) override {}
  // What each observer registered for arrives; which posts match is the real centre's rule.
  void deliver() {
    for (auto& x : std::vector(observers)) x.selector({x.name, x.object});
  }
  Keel::Result<void> availability() override { return Keel::success(); }
  void setConnectionLostHandler(std::function<void(const std::string&)> h) override { lost = std::move(h); }

  // The bus answers every registration so far (with a reason: it cannot).
  void answer(const Keel::Result<void>& registration = Keel::success()) {
    for (auto& registered : std::exchange(unconfirmed, {})) registered(registration);
  }
};

struct FakeApplication : Plinth::Application {
  std::vector<int> terminations;
  void terminate(int status) override { terminations.push_back(status); }
};

Plinth::RunningApplication app(int pid, std::optional<std::string> id) { return {pid, std::move(id), std::nullopt}; }

class AppDelegateTest : public ::testing::Test {
 protected:
  Log log;
  FakeWorkspace workspace{log};
  FakeCenter center{log};
  FakeApplication application;
  FakeScopes scopes{log};
  std::vector<std::string> errorLines;
  std::optional<std::string> bundlePath = "/Applications/Vantor.app/Contents/Library/LoginItems/VantorLauncher.app";
  std::optional<AppDelegate> delegate;

  AppDelegate& make(Plinth::Application* a, Plinth::SessionScopes* s = nullptr) {
    return delegate.emplace(AppDelegate::Environment{a, workspace, center, [this] { return bundlePath; },
                                                     [this](const std::string& line) { errorLines.push_back(line); },
                                                     s});
  }
  // A delegate of the fixture's application, finished launching.
  AppDelegate& launch(Plinth::SessionScopes* s = nullptr) {
    make(&application, s).applicationDidFinishLaunching();
    return *delegate;
  }
};

TEST_F(AppDelegateTest, OpensOnlyOnceTheBusConfirmsAndQuitsOnKillmeFromTheMainApplication) {
  // Only the whole identifier, in its case, is the main application running.
  workspace.running = {app(1, std::nullopt), app(3, "com.brenwick.Vantor"), app(4, "com.brenwick.vantor.helper"),
                       app(5, " com.brenwick.vantor")};
  launch();
  EXPECT_EQ(log, Log{"observe killme"});
  ASSERT_EQ(center.observers.size(), 1u);
  EXPECT_EQ(center.observers[0].object, "com.brenwick.vantor");
  center.answer();
  EXPECT_EQ(log, (Log{"observe killme", "open"}));
  EXPECT_EQ(workspace.opened, std::vector<std::filesystem::path>{"/Applications/Vantor.app"});
  EXPECT_TRUE(application.terminations.empty());
  EXPECT_TRUE(errorLines.empty());

  center.deliver();
  EXPECT_EQ(application.terminations, std::vector<int>{0});
}

TEST_F(AppDelegateTest, KillmeHeardBeforeTheConfirmationStillOpensFirst) {
  launch();
  center.deliver();
  EXPECT_TRUE(application.terminations.empty());
  center.answer();
  EXPECT_EQ(log, (Log{"observe killme", "open"}));
  EXPECT_EQ(application.terminations, std::vector<int>{0});
}

// A bus lost before answering is reported once; an open without a pid asks no scope but still settles.
TEST_F(AppDelegateTest, AnAbsentOrSilentBusStillOpensThenFailsWithOneLine) {
  const std::string reason = "the D-Bus session bus at unix:path=/x did not answer within 3 s";
  launch(&scopes);
  center.lost("Underlying GIOStream returned 0 bytes");
  center.answer(Keel::failure(reason));
  EXPECT_EQ(log, (Log{"observe killme", "open", "wait"}));
  EXPECT_EQ(application.terminations, std::vector<int>{1});
  ASSERT_EQ(errorLines.size(), 1u);
  EXPECT_NE(errorLines[0].find(reason), std::string::npos) << errorLines[0];
  // The line never claims an open that started nothing.
  EXPECT_NE(errorLines[0].find("started nothing: no application could be started at \"/Applications/Vantor.app\""),
            std::string::npos)
      << errorLines[0];

  workspace.startedPid = 4242;
  launch();
  center.answer(Keel::failure(reason));
  ASSERT_EQ(errorLines.size(), 2u);
  EXPECT_NE(errorLines[1].find("opened the main application /Applications/Vantor.app,"), std::string::npos)
      << errorLines[1];
}

TEST_F(AppDelegateTest, TheStartedMainApplicationIsMovedToAScopeAndSettledBeforeQuitting) {
  workspace.startedPid = 4242;
  launch(&scopes);
  center.answer();
  // No Info.plist at the fake bundle path: the expected identifier names it.
  EXPECT_EQ(log, (Log{"observe killme", "open", "scope com.brenwick.vantor 4242"}));
  center.deliver();
  EXPECT_EQ(log.back(), "wait");
  EXPECT_EQ(application.terminations, std::vector<int>{0});
}

TEST(MainApplicationURLDeathTest, DropsTheLastFourComponentsAndStopsWithFewer) {
  EXPECT_EQ(AppDelegate::mainApplicationURL("/Applications/Vantor.app/Contents/Library/LoginItems/VantorLauncher.app"),
            "/Applications/Vantor.app");
  EXPECT_EQ(AppDelegate::mainApplicationURL("rel/a/b/c/d"), "rel");
  EXPECT_EQ(AppDelegate::mainApplicationURL("/a/b/c"), "");  // exactly four
  EXPECT_DEATH((void)AppDelegate::mainApplicationURL("/a/b"), "fewer than four components");
  EXPECT_DEATH((void)AppDelegate::mainApplicationURL(""), "fewer than four components");
}

// The short path reaches the same check as above; an absent one is its own.
TEST_F(AppDelegateTest, AnAbsentBundlePathOrApplicationObjectStopsTheProcess) {
  bundlePath = std::nullopt;
  EXPECT_DEATH(launch(), "bundle path is absent");
  bundlePath = "/a/b/c/d/e";
  workspace.running = {app(7, "com.brenwick.vantor")};
  EXPECT_DEATH(make(nullptr).applicationDidFinishLaunching(), "shared application object is absent");
}

}  // namespace
}  // namespace VantorLauncher
