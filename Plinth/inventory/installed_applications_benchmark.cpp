// Apps::installedApplications over 500 sample bundles, each with a contained
// helper application and an extension, plus a few files: time per bundle.
// Icons come from the real desktop lookup (a new icon manager per run, so
// nothing is cached between runs).
#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "Plinth/inventory/apps.h"
#include "Plinth/inventory/file_icon_manager.h"
#include "testing/bundle_builder.h"
#include "testing/temp_dir.h"

namespace {

namespace fs = std::filesystem;
constexpr int bundleCount = 500;

void bundle(const fs::path& path, const std::string& identifier) {
  fs::create_directories(path / "Contents/MacOS");
  fs::create_directories(path / "Contents/Resources");
  std::ofstream(path / "Contents/Info.plist")
      << Vantor::Testing::infoPlist({{"CFBundleIdentifier", identifier}, {"CFBundleShortVersionString", "1.0"}}, false);
  std::ofstream(path / "Contents/MacOS/main") << std::string(4096, 'x');
  for (int i = 0; i < 8; ++i) std::ofstream(path / "Contents/Resources" / ("r" + std::to_string(i))) << "resource";
}

const Vantor::Testing::TempDir& applications() {
  static const Vantor::Testing::TempDir* temp = [] {
    auto* dir = new Vantor::Testing::TempDir();
    for (int i = 0; i < bundleCount; ++i) {
      const fs::path app = dir->path() / ("App " + std::to_string(i) + ".app");
      bundle(app, "com.example.app" + std::to_string(i));
      bundle(app / "Contents/Library/LoginItems/Helper.app", "com.example.app" + std::to_string(i) + ".helper");
      bundle(app / "Contents/PlugIns/Share.appex", "com.example.app" + std::to_string(i) + ".share");
    }
    return dir;
  }();
  return *temp;
}

void InstalledApplications(benchmark::State& state) {
  Plinth::AppEnvironment environment;
  environment.applicationsRoot = applications().path().string();
  for (auto _ : state) {
    Plinth::FileIconManager icons(Plinth::systemIconPlatform(), "/System/Applications", environment.applicationsRoot);
    environment.icons = &icons;
    const auto apps = Plinth::Apps::installedApplications(false, environment);
    if (apps.size() != bundleCount) state.SkipWithError("not every bundle was listed");
  }
  // Seconds per bundle ("1.4m" is 1.4 ms).
  state.counters["per_bundle"] = benchmark::Counter(static_cast<double>(state.iterations()) * bundleCount,
                                                    benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

BENCHMARK(InstalledApplications)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

}  // namespace
