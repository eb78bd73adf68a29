#include "testing/launcher_tree.h"

#include <time.h>

#include <fstream>

#include "testing/bundle_builder.h"

namespace Vantor::Testing {

LauncherTree::LauncherTree(const std::filesystem::path& root, const LauncherTreeOptions& options)
    : mainBundle_(root / "Vantor.app"), startedFile_(root / "main-started") {
  std::map<std::string, std::string> info{{"VantorSampleStartedFile", startedFile_.string()},
                                          {"VantorSampleLifetimeMs", std::to_string(options.lifetimeMs)},
                                          {"CFBundleShortVersionString", "1.0"}};
  if (options.killmeDelayMs) info["VantorSampleKillmeDelayMs"] = std::to_string(*options.killmeDelayMs);
  mainExecutable_ = makeBundle({mainBundle_, options.mainIdentifier, options.sampleBinary, info, false});
  launcherExecutable_ = makeBundle({mainBundle_ / "Contents" / "Library" / "LoginItems" / "VantorLauncher.app",
                                    options.mainIdentifier + ".launcher",
                                    options.launcherBinary,
                                    {},
                                    true});
}

std::optional<LauncherTree::Started> LauncherTree::started() const {
  std::ifstream in(startedFile_);
  Started s{};
  if (in >> s.pid >> s.monotonicNs) return s;
  return std::nullopt;
}

long long monotonicNowNs() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<long long>(now.tv_sec) * 1000000000LL + now.tv_nsec;
}

}  // namespace Vantor::Testing
