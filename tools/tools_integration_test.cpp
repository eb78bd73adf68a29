// The built tools run as a user would: arguments, environment, output, exit status.
#include <gtest/gtest.h>

#include <csignal>

#include "Keel/coding/json.h"
#include "Keel/core/bundle.h"
#include "testing/bundle_builder.h"
#include "testing/child_process.h"
#include "testing/file_text.h"
#include "testing/private_session_bus.h"
#include "testing/temp_dir.h"

namespace Vantor::Tools {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Environment = std::map<std::string, std::optional<std::string>>;

using Testing::fileText;
using Testing::writeText;

struct ToolRun {
  int status = -1;
  std::string out;
  std::string err;
};

// A tool started with `argv` and its output captured in `dir`.
class Started {
 public:
  Started(const fs::path& dir, std::vector<std::string> argv, const Environment& environment)
      : out_(dir / ("out-" + std::to_string(++count_))),
        err_(dir / ("err-" + std::to_string(count_))),
        child_({std::move(argv), environment, out_, err_}) {}
  std::string out() const { return fileText(out_); }
  std::string err() const { return fileText(err_); }
  Testing::ChildProcess& child() { return child_; }
  ToolRun finish() {
    const auto status = child_.waitForExit(30s);
    return {status.value_or(-1), out(), err()};
  }

 private:
  static inline int count_ = 0;
  fs::path out_;
  fs::path err_;
  Testing::ChildProcess child_;
};

class ToolsTest : public ::testing::Test {
 protected:
  Testing::TempDir dir;
  ToolRun run(std::vector<std::string> argv, const Environment& environment = {}) {
    return Started(dir.path(), std::move(argv), environment).finish();
  }
};

// One line on stderr, starting with the tool's name.
void expectOneErrorLine(const ToolRun& run, int status, const std::string& start) {
  EXPECT_EQ(run.status, status) << run.err;
  EXPECT_EQ(run.err.rfind(start, 0), 0u) << run.err;
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
}

TEST_F(ToolsTest, EveryToolHasHelpAndAVersionAndRefusesBadUsage) {
  for (const char* tool : {VANTOR_DECODE_BINARY, VANTOR_FACTS_BINARY, VANTOR_NOTIFY_BINARY, VANTOR_LOGIN_ITEM_BINARY,
                           VANTOR_DEVICES_BINARY, VANTOR_INVENTORY_BINARY}) {
    const ToolRun help = run({tool, "--help"});
    EXPECT_EQ(help.status, 0) << tool;
    EXPECT_EQ(help.out.rfind("Usage: ", 0), 0u) << tool;
    // The first line help2man and scripts read; it wins over other arguments.
    const ToolRun version = run({tool, "--version", "--no-such-option"});
    EXPECT_EQ(version.status, 2) << tool;
    const ToolRun versionAlone = run({tool, "x", "--version"});
    EXPECT_EQ(versionAlone.status, 0) << tool;
    EXPECT_EQ(versionAlone.out, fs::path(tool).filename().string() + " (Vantor) " VANTOR_VERSION "\n");
    const ToolRun bad = run({tool, "--no-such-option"});
    expectOneErrorLine(bad, 2, fs::path(tool).filename().string() + ": unknown option '--no-such-option'");
  }
  expectOneErrorLine(run({VANTOR_DECODE_BINARY}), 2, "vantor-decode: expected one FILE");
  expectOneErrorLine(run({VANTOR_DECODE_BINARY, "--to", "yaml", "x"}), 2, "vantor-decode: --to takes json or plist");
  expectOneErrorLine(run({VANTOR_FACTS_BINARY, "extra"}), 2, "vantor-facts: unexpected argument 'extra'");
  expectOneErrorLine(run({VANTOR_NOTIFY_BINARY, "shout", "x"}), 2, "vantor-notify: unknown command 'shout'");
  expectOneErrorLine(run({VANTOR_NOTIFY_BINARY, "post"}), 2, "vantor-notify: post takes NAME");
  expectOneErrorLine(run({VANTOR_LOGIN_ITEM_BINARY, "status"}), 2, "vantor-login-item: status takes one BUNDLE");
}

TEST_F(ToolsTest, DecodePrintsTheTreeOfAFileOrStandardInputAndConvertsBothWays) {
  const fs::path json = dir.path() / "doc.json";
  writeText(json, R"({"name": "Vantor", "list": [1, 2.5]})");
  const ToolRun fromJSON = run({VANTOR_DECODE_BINARY, json});
  EXPECT_EQ(fromJSON.status, 0) << fromJSON.err;
  EXPECT_EQ(fromJSON.out,
            "dictionary (2 entries)\n  \"name\": text \"Vantor\"\n  \"list\": array (2 elements)\n"
            "    [0]: int64 1\n    [1]: float64 2.5\n");
  const ToolRun fromStdin = run({"/bin/sh", "-c", std::string(VANTOR_DECODE_BINARY) + " - < \"$0\"", json});
  EXPECT_EQ(fromStdin.status, 0) << fromStdin.err;
  EXPECT_EQ(fromStdin.out, fromJSON.out);

  const std::string compact = R"({"name":"Vantor","ok":true,"list":[1,-2,2.5,"x"],"nested":{"a":{}}})";
  writeText(json, compact);
  const ToolRun toPlist = run({VANTOR_DECODE_BINARY, "--to", "plist", json});
  ASSERT_EQ(toPlist.status, 0) << toPlist.err;
  EXPECT_NE(toPlist.out.find("<plist version=\"1.0\">"), std::string::npos) << toPlist.out;
  const fs::path plist = dir.path() / "doc.plist";
  writeText(plist, toPlist.out);
  const ToolRun back = run({VANTOR_DECODE_BINARY, "--to=json", plist});
  EXPECT_EQ(back.status, 0) << back.err;
  EXPECT_EQ(back.out, compact + "\n");

  writeText(json, R"({"list": [1, null]})");
  expectOneErrorLine(run({VANTOR_DECODE_BINARY, "--to", "plist", json}), 1,
                     "vantor-decode: " + json.string() + ": cannot be written as a property list: list[1]: ");
}

// Which parse errors exist is decode_test.cpp's; here, how the tool reports them.
TEST_F(ToolsTest, DecodeRefusesBadInputWithOneLine) {
  const fs::path bad = dir.path() / "bad.json";
  const auto refused = [&](const fs::path& path, const std::string& reason) {
    expectOneErrorLine(run({VANTOR_DECODE_BINARY, path}), 1, "vantor-decode: " + path.string() + ": " + reason);
  };
  writeText(bad, "{\"a\": [1, 2}");
  refused(bad, "");
  writeText(bad, "");
  refused(bad, "empty document");
  refused(dir.path(), "is a folder, not a file");
  refused("/dev/zero", "not a regular file");
  refused(dir.path() / "missing", "");
  // Deeper than the readers allow: refused, not a stack overflow.
  writeText(bad, std::string(100000, '[') + std::string(100000, ']'));
  refused(bad, "");
  // A sparse file reports its size without taking the disk.
  writeText(bad, "[");
  fs::resize_file(bad, (std::uintmax_t{256} << 20) + 1);
  refused(bad, "larger than 256 MiB");
}

TEST_F(ToolsTest, FactsPrintAsTextAndAsJSON) {
  const ToolRun text = run({VANTOR_FACTS_BINARY});
  EXPECT_EQ(text.status, 0) << text.err;
  EXPECT_NE(text.out.find("\nprocessorCount "), std::string::npos) << text.out;
  EXPECT_NE(text.out.find("\nhostBasicInfo.logicalCpu "), std::string::npos) << text.out;

  const ToolRun json = run({VANTOR_FACTS_BINARY, "--json"});
  ASSERT_EQ(json.status, 0) << json.err;
  auto tree = Keel::JSON::parse(json.out);
  ASSERT_TRUE(tree) << json.out;
  const auto& facts = tree.value().as<Keel::AnyValue::Dictionary>();
  EXPECT_GE(facts.find("processorCount")->as<std::int64_t>(), 1);
  EXPECT_NE(facts.find("hostBasicInfo")->getIf<Keel::AnyValue::Dictionary>(), nullptr);
  // The distribution's own name, where the library's name says "macOS".
  if (std::filesystem::exists("/etc/os-release")) {
    EXPECT_NE(facts.find("distributionName")->as<Keel::Text>(), "");
    EXPECT_NE(text.out.find("\ndistributionName "), std::string::npos) << text.out;
  }
}

class NotifyTest : public ToolsTest {
 protected:
  Testing::PrivateSessionBus bus;
  Environment onBus() { return {{"DBUS_SESSION_BUS_ADDRESS", bus.address()}}; }

  // An observer that has told us it listens.
  std::unique_ptr<Started> observe(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {VANTOR_NOTIFY_BINARY, "observe"});
    auto observer = std::make_unique<Started>(dir.path(), arguments, onBus());
    EXPECT_TRUE(Testing::waitUntil([&] { return observer->err().find("interrupt to stop") != std::string::npos; }, 10s))
        << observer->err();
    return observer;
  }
  void post(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {VANTOR_NOTIFY_BINARY, "post"});
    const ToolRun posted = run(arguments, onBus());
    EXPECT_EQ(posted.status, 0) << posted.err;
    EXPECT_EQ(posted.err, "");
  }
};

TEST_F(NotifyTest, ObserversHearPostsOfTheirNameAndObject) {
  auto all = observe({"com.example.changed"});
  auto filtered = observe({"com.example.changed", "doc-1"});
  post({"com.example.changed", "doc-1"});
  post({"com.example.other", "doc-1"});
  post({"com.example.changed"});
  post({"com.example.changed", "doc-2"});
  post({"com.example.changed", "doc-1"});
  const auto heard = [](const Started& observer, long lines) {
    const std::string out = observer.out();
    return std::count(out.begin(), out.end(), '\n') >= lines;
  };
  ASSERT_TRUE(Testing::waitUntil([&] { return heard(*filtered, 2) && heard(*all, 4); }, 10s)) << all->out();

  filtered->child().kill(SIGINT);
  all->child().kill(SIGTERM);
  const ToolRun filteredRun = filtered->finish();
  const ToolRun allRun = all->finish();
  EXPECT_EQ(filteredRun.status, 0);
  EXPECT_EQ(allRun.status, 0);
  EXPECT_EQ(filteredRun.out, "com.example.changed\tdoc-1\ncom.example.changed\tdoc-1\n");
  EXPECT_EQ(
      allRun.out,
      "com.example.changed\tdoc-1\ncom.example.changed\ncom.example.changed\tdoc-2\ncom.example.changed\tdoc-1\n");
}

TEST_F(NotifyTest, WithoutABusEachCommandFailsWithOneLine) {
  const Environment noBus{{"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + (dir.path() / "no-bus").string()},
                          {"DISPLAY", std::nullopt}};
  expectOneErrorLine(run({VANTOR_NOTIFY_BINARY, "post", "x"}, noBus), 1, "vantor-notify: no D-Bus session bus: ");
  expectOneErrorLine(run({VANTOR_NOTIFY_BINARY, "observe", "x"}, noBus), 1, "vantor-notify: no D-Bus session bus: ");
}

TEST_F(NotifyTest, AnObserverWhoseBusGoesAwayFails) {
  auto observer = observe({"x"});
  bus.stop();
  const ToolRun ended = observer->finish();
  EXPECT_EQ(ended.status, 1);
  EXPECT_NE(ended.err.find("vantor-notify: the D-Bus session bus went away"), std::string::npos) << ended.err;
}

// A bundle with its launcher, and the autostart folders of a user and two system layers.
class LoginItemTest : public ToolsTest {
 protected:
  fs::path bundle = dir.path() / "Apps" / "Vantor.app";
  fs::path launcher = bundle / "Contents/Library/LoginItems/VantorLauncher.app/Contents/MacOS/VantorLauncher";
  fs::path userEntry = dir.path() / "config/autostart/com.brenwick.vantor.launcher.desktop";
  fs::path systemEntry = dir.path() / "xdg-low/autostart/com.brenwick.vantor.launcher.desktop";
  Environment environment{
      {"XDG_CONFIG_HOME", (dir.path() / "config").string()},
      {"XDG_CONFIG_DIRS", (dir.path() / "xdg-high").string() + ":" + (dir.path() / "xdg-low").string()},
      {"XDG_CURRENT_DESKTOP", "ubuntu:GNOME"}};

  void SetUp() override { makeBundleAt(bundle); }
  void makeBundleAt(const fs::path& path) {
    Testing::makeBundle({path, "com.brenwick.vantor", "/bin/true"});
    const fs::path inside = path / "Contents/Library/LoginItems/VantorLauncher.app/Contents/MacOS/VantorLauncher";
    fs::create_directories(inside.parent_path());
    fs::copy_file("/bin/true", inside);
  }
  ToolRun loginItem(const std::string& command, const fs::path& which) {
    return run({VANTOR_LOGIN_ITEM_BINARY, command, which.string()}, environment);
  }
  // The output of a command that must succeed.
  std::string ok(const std::string& command, const fs::path& which) {
    const ToolRun done = loginItem(command, which);
    EXPECT_EQ(done.status, 0) << done.err;
    return done.out;
  }
  std::string ok(const std::string& command) { return ok(command, bundle); }
  // status answers 0 when enabled, 1 when not, like `systemctl is-enabled`.
  std::string status() {
    const ToolRun done = loginItem("status", bundle);
    EXPECT_EQ(done.status, done.out.rfind("enabled", 0) == 0 ? 0 : 1) << done.out << done.err;
    EXPECT_EQ(done.err, "");
    return done.out;
  }
  void expectValid(const fs::path& entry) {
    const ToolRun validated = run({"desktop-file-validate", entry.string()});
    EXPECT_EQ(validated.status, 0) << fileText(entry) << validated.out << validated.err;
    EXPECT_EQ(validated.out, "") << fileText(entry);  // not even a hint
  }
  void writeSystemEntry(const std::string& extra) {
    writeText(systemEntry, "[Desktop Entry]\nType=Application\nName=Vantor\nExec=" + launcher.string() + "\n" + extra);
  }
};

TEST_F(LoginItemTest, EnableWritesAValidEntryAndDisableRemovesIt) {
  EXPECT_EQ(status(), "disabled: there is neither a user nor a system autostart entry\n");
  EXPECT_EQ(ok("enable"), "enabled: wrote " + userEntry.string() + "\n");
  expectValid(userEntry);
  EXPECT_EQ(status(), "enabled by the user entry " + userEntry.string() + "\n");
  // The autostart folder holds nothing but the entry: no temporary file left.
  EXPECT_EQ(std::distance(fs::directory_iterator(userEntry.parent_path()), fs::directory_iterator()), 1);

  EXPECT_EQ(ok("disable"), "disabled: removed " + userEntry.string() + "\n");
  EXPECT_FALSE(fs::exists(userEntry));
  EXPECT_EQ(status(), "disabled: there is neither a user nor a system autostart entry\n");
  EXPECT_EQ(ok("disable"), "disabled: there was no autostart entry\n");
}

// The sample bundles have no launcher of their own: install places one.
TEST_F(LoginItemTest, InstallPlacesTheLauncherInASampleBundleAndEnablesIt) {
  const fs::path samples = dir.path() / "Applications";
  ASSERT_EQ(run({VANTOR_SAMPLE_TREE_SCRIPT, samples.string()}).status, 0);
  const fs::path sample = samples / "Sketchbook.app";
  const fs::path placed = sample / "Contents/Library/LoginItems/VantorLauncher.app/Contents/MacOS/VantorLauncher";
  expectOneErrorLine(loginItem("enable", sample), 1, "vantor-login-item: the bundle has no launcher executable");
  EXPECT_FALSE(fs::exists(dir.path() / "config/autostart"));

  const auto install = [&] {
    return run({VANTOR_LOGIN_ITEM_BINARY, "install", "--launcher", VANTOR_LAUNCHER_BINARY, sample.string()},
               environment);
  };
  const ToolRun installed = install();
  ASSERT_EQ(installed.status, 0) << installed.err;
  const fs::path entry = dir.path() / "config/autostart/com.example.sketchbook.launcher.desktop";
  EXPECT_EQ(installed.out, "installed: copied " VANTOR_LAUNCHER_BINARY " to " + placed.string() + "\nenabled: wrote " +
                               entry.string() + "\n");
  EXPECT_EQ(fileText(placed), fileText(VANTOR_LAUNCHER_BINARY));
  EXPECT_EQ(Keel::Bundle(placed.parent_path().parent_path().parent_path()).bundleIdentifier(),
            "com.example.sketchbook.launcher");
  expectValid(entry);
  const ToolRun enabled = loginItem("status", sample);
  EXPECT_EQ(enabled.status, 0) << enabled.out << enabled.err;

  // systemd sessions start entries through its generator, a plain program that can run here.
  const fs::path generator = "/usr/lib/systemd/user-generators/systemd-xdg-autostart-generator";
  if (fs::exists(generator)) {
    const fs::path units = dir.path() / "units";
    fs::create_directories(units);
    const ToolRun generated = run({generator.string(), units.string(), units.string(), units.string()}, environment);
    EXPECT_EQ(generated.status, 0) << generated.err;
    const std::string unit = fileText(units / "app-com.example.sketchbook.launcher@autostart.service");
    EXPECT_NE(unit.find("\nExecStart=:" + placed.string() + "\n"), std::string::npos) << unit;
  }

  // Again, over a launcher that may be running: replaced, not written into, nothing left beside it.
  const fs::path running = dir.path() / "running-copy";
  fs::create_hard_link(placed, running);
  ASSERT_EQ(install().status, 0);
  EXPECT_FALSE(fs::equivalent(placed, running));
  EXPECT_EQ(std::distance(fs::directory_iterator(placed.parent_path()), fs::directory_iterator()), 1);

  expectOneErrorLine(
      run({VANTOR_LOGIN_ITEM_BINARY, "install", "--launcher", (dir.path() / "none").string(), sample.string()},
          environment),
      1, "vantor-login-item: no launcher executable at ");
}

TEST_F(LoginItemTest, ASystemEntryIsOverriddenNotRemoved) {
  writeSystemEntry("");
  EXPECT_EQ(status(), "enabled by the system entry " + systemEntry.string() + "\n");

  ok("disable");
  EXPECT_TRUE(fs::exists(systemEntry));
  expectValid(userEntry);
  const std::string disabled = "disabled by the user entry " + userEntry.string() +
                               " (Hidden=true), which overrides the system entry " + systemEntry.string();
  EXPECT_EQ(status(), disabled + "\n");
  const ToolRun json = run({VANTOR_LOGIN_ITEM_BINARY, "status", "--json", bundle.string()}, environment);
  EXPECT_EQ(json.status, 1) << json.err;
  auto tree = Keel::JSON::parse(json.out);
  ASSERT_TRUE(tree) << json.out;
  EXPECT_EQ(tree.value(), Keel::AnyValue(Keel::AnyValue::Dictionary{{"enabled", false},
                                                                    {"entry", userEntry.string()},
                                                                    {"userEntry", true},
                                                                    {"overriddenSystemEntry", systemEntry.string()},
                                                                    {"program", launcher.string()},
                                                                    {"launcher", launcher.string()},
                                                                    {"explanation", disabled}}))
      << json.out;
  expectOneErrorLine(run({VANTOR_LOGIN_ITEM_BINARY, "enable", "--json", bundle.string()}, environment), 2,
                     "vantor-login-item: --json is for status");

  ok("enable");
  EXPECT_EQ(status(), "enabled by the user entry " + userEntry.string() + ", which overrides the system entry " +
                          systemEntry.string() + "\n");

  // The more important system folder's entry is the one in effect.
  const fs::path higher = dir.path() / "xdg-high/autostart/com.brenwick.vantor.launcher.desktop";
  writeText(higher, "[Desktop Entry]\nType=Application\nExec=/bin/true\nHidden=true\n");
  fs::remove(userEntry);
  EXPECT_EQ(status(), "disabled by the system entry " + higher.string() + " (Hidden=true)\n");
}

// Each rule's text is autostart_test.cpp's; here, that the session's desktop comes from the environment.
TEST_F(LoginItemTest, StatusAppliesTheSessionsRules) {
  writeSystemEntry("OnlyShowIn=KDE;\n");
  EXPECT_EQ(status(), "disabled by the system entry " + systemEntry.string() +
                          " (OnlyShowIn=KDE, and the current desktop is ubuntu, GNOME)\n");
  environment["XDG_CURRENT_DESKTOP"] = "KDE";
  EXPECT_EQ(status(), "enabled by the system entry " + systemEntry.string() + "\n");

  // An entry that starts something else is reported as such.
  writeText(userEntry, "[Desktop Entry]\nType=Application\nName=Old\nExec=\"/old place/VantorLauncher\" %U\n");
  EXPECT_EQ(status(), "enabled by the user entry " + userEntry.string() + ", which overrides the system entry " +
                          systemEntry.string() +
                          "\nnote: that entry starts /old place/VantorLauncher, not this bundle's launcher " +
                          launcher.string() + "\n");
}

// GLib's desktop-entry reader, as sessions and "gio launch" use it, undoes
// our quoting independently: the launcher must start from its own path.
TEST_F(LoginItemTest, ASessionStartsTheLauncherAtAPathThatNeedsQuoting) {
  const fs::path odd = dir.path() / "Apps \"quoted\" $HOME \\ `x` it's" / "Vantor.app";
  makeBundleAt(odd);
  const fs::path oddLauncher = odd / "Contents/Library/LoginItems/VantorLauncher.app/Contents/MacOS/VantorLauncher";
  const fs::path ran = dir.path() / "ran";
  fs::remove(oddLauncher);
  writeText(oddLauncher, "#!/bin/sh\nprintf '%s' \"$0\" > '" + ran.string() + "'\n");
  fs::permissions(oddLauncher, fs::perms::owner_all);
  ok("enable", odd);
  expectValid(userEntry);
  EXPECT_EQ(ok("status", odd), "enabled by the user entry " + userEntry.string() + "\n");  // no note
  const ToolRun launched = run({"gio", "launch", userEntry.string()}, {{"DBUS_SESSION_BUS_ADDRESS", std::nullopt}});
  EXPECT_EQ(launched.status, 0) << launched.err;
  ASSERT_TRUE(Testing::waitUntil([&] { return fileText(ran) == oddLauncher.string(); }, 10s)) << fileText(ran);
}

TEST_F(LoginItemTest, APercentInThePathIsWrittenAsTheFormatSaysAndNoted) {
  const fs::path odd = dir.path() / "100% Apps" / "Vantor.app";
  makeBundleAt(odd);
  const std::string enabled = ok("enable", odd);
  EXPECT_NE(enabled.find("\nnote: the launcher's path holds \"%\""), std::string::npos) << enabled;
  expectValid(userEntry);
  EXPECT_NE(fileText(userEntry).find("Exec=\"" + (dir.path() / "100%% Apps").string()), std::string::npos);
}

}  // namespace
}  // namespace Vantor::Tools
