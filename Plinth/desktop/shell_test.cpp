// Shell's command line, environment and results, against a fake launcher.
#include "Plinth/desktop/shell.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Plinth {
namespace {

using ::testing::ElementsAre;

class FakeLauncher final : public ChildProcessLauncher {
 public:
  std::vector<std::string> environment{"HOME=/root", "LC_ALL=C", "PATH=/bin", "LC_ALL=POSIX"};
  std::optional<ChildOutcome> outcome = ChildOutcome{};
  std::string executable;
  std::vector<std::string> arguments, childEnvironment;

  std::optional<ChildOutcome> run(const std::string& e, const std::vector<std::string>& a,
                                  const std::vector<std::string>& env) override {
    executable = e;
    arguments = a;
    childEnvironment = env;
    return outcome;
  }
  std::vector<std::string> currentEnvironment() const override { return environment; }
};

std::vector<std::uint8_t> bytes(std::string_view text) { return {text.begin(), text.end()}; }

TEST(Shell, RunsBashWithTheArgumentsAndOneReplacedLocale) {
  FakeLauncher launcher;
  launcher.outcome = ChildOutcome{bytes("out"), true};
  EXPECT_EQ(Shell::run(launcher, {"echo \"$1\"", "zero", "one"}), bytes("out"));
  EXPECT_EQ(launcher.executable, "/bin/bash");
  EXPECT_THAT(launcher.arguments, ElementsAre("/bin/bash", "-c", "echo \"$1\"", "zero", "one"));
  EXPECT_THAT(launcher.childEnvironment, ElementsAre("HOME=/root", "LC_ALL=en_US.UTF-8", "PATH=/bin"));

  EXPECT_THAT(Shell::childEnvironment({"A=1"}), ElementsAre("A=1", "LC_ALL=en_US.UTF-8"));
  // A name that merely begins like it is another variable.
  EXPECT_THAT(Shell::childEnvironment({"LC_ALLX=1"}), ElementsAre("LC_ALLX=1", "LC_ALL=en_US.UTF-8"));
}

TEST(Shell, OutputCountsOnlyAfterAZeroExitAndRunStringNeedsUtf8) {
  FakeLauncher launcher;
  launcher.outcome = ChildOutcome{bytes("printed before failing"), false};
  EXPECT_EQ(Shell::runString(launcher, {"x"}), std::nullopt);
  launcher.outcome = std::nullopt;  // could not start
  EXPECT_EQ(Shell::run(launcher, {"x"}), std::nullopt);
  launcher.outcome = ChildOutcome{bytes("caf\xC3\xA9 \xF0\x9F\x98\x80"), true};
  EXPECT_EQ(Shell::runString(launcher, {"x"}), "caf\xC3\xA9 \xF0\x9F\x98\x80");
  // Which byte sequences are UTF-8 is the core validator's own test.
  launcher.outcome = ChildOutcome{bytes("caf\xC3"), true};
  EXPECT_EQ(Shell::runString(launcher, {"x"}), std::nullopt);
}

}  // namespace
}  // namespace Plinth
