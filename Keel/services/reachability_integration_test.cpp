// Reachability against the kernel's real routing state, in a network
// namespace of its own so that no traffic leaves it and the host's own
// routes do not matter.
#include "Keel/services/reachability.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "testing/child_process.h"
#include "testing/file_text.h"
#include "testing/temp_dir.h"

namespace Keel {
namespace {

using namespace std::chrono_literals;
using Vantor::Testing::ChildOptions;
using Vantor::Testing::ChildProcess;
using Vantor::Testing::fileText;
using Vantor::Testing::TempDir;

constexpr const char* probeVariable = "VANTOR_REACHABILITY_PROBE";

// Started again as a probe inside the namespace, this binary prints the
// answer and exits before any test runs.
const bool probed = [] {
  if (std::getenv(probeVariable) != nullptr) {
    std::printf("%d", Reachability::isConnectedToNetwork() ? 1 : 0);
    std::fflush(stdout);
    std::_Exit(0);
  }
  return false;
}();

// Runs `script` under `unshare -n`; its exit status and standard output.
std::pair<int, std::string> inFreshNamespace(const std::string& script) {
  TempDir dir;
  int status = -1;
  try {
    ChildProcess child(
        ChildOptions{{"unshare", "-n", "/bin/sh", "-c", script}, {}, dir.path() / "out", dir.path() / "err"});
    status = child.waitForExit(30s).value_or(-1);
  } catch (const std::exception&) {
    return {-1, {}};
  }
  return {status, fileText(dir.path() / "out") + fileText(dir.path() / "err")};
}

TEST(Reachability, FollowsTheDefaultRouteOfAFreshNetworkNamespace) {
  (void)probed;
  const auto [canUnshare, why] = inFreshNamespace("command -v ip >/dev/null || echo 'no ip command'");
  if (canUnshare != 0 || !why.empty()) {
    GTEST_SKIP() << "cannot create a network namespace with `unshare -n` and `ip` (needs root): " << why;
  }
  const std::string probe = std::filesystem::read_symlink("/proc/self/exe").string();
  const std::string script = std::string("export ") + probeVariable + "=1; P=" + probe +
                             "; \"$P\"; ip link set lo up && ip route add default dev lo && \"$P\";"
                             " ip route del default && ip route add blackhole default && \"$P\"";
  const auto [status, output] = inFreshNamespace(script);
  ASSERT_EQ(status, 0) << output;
  // No route; a route through the loopback interface, which is up; a route that drops everything.
  EXPECT_EQ(output, "010");
}

}  // namespace
}  // namespace Keel
