// The file-backed user defaults against real processes: writers killed at
// random moments, two processes writing at once, a folder mounted read-only.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <thread>

#include "Keel/services/domain_file.h"
#include "Keel/services/persistent_user_defaults.h"
#include "testing/child_process.h"
#include "testing/domain_text.h"
#include "testing/temp_dir.h"

namespace Keel {
namespace {

using namespace std::chrono_literals;
using Vantor::Testing::ChildOptions;
using Vantor::Testing::ChildProcess;
using Vantor::Testing::fileDomain;
using Vantor::Testing::TempDir;
using Vantor::Testing::waitUntil;

// Every key of the "forever" writer's round carries that round's number.
bool isOneWholeRound(const TextDictionary& domain) {
  const AnyValue* found = domain.find("round");
  const auto* round = found != nullptr ? found->getIf<TextDictionary>() : nullptr;
  if (round == nullptr || domain.size() != 1) return false;
  const AnyValue* generation = round->find("generation");
  const auto* number = generation != nullptr ? generation->getIf<std::int64_t>() : nullptr;
  if (number == nullptr || round->size() != 101) return false;
  const std::string prefix = std::to_string(*number);
  for (std::size_t key = 0; key < 100; ++key) {
    const AnyValue* value = round->find("key" + std::to_string(key));
    const auto* text = value != nullptr ? value->getIf<Text>() : nullptr;
    if (text == nullptr || *text != prefix + std::string(100 + key, 'x')) return false;
  }
  return true;
}

TEST(UserDefaultsCrashes, AWriterKilledAtRandomMomentsAlwaysLeavesAWholeFile) {
  TempDir dir;
  const auto file = dir.path() / "com.example.killed.plist";
  auto domainFile = openDomainFile(file);
  std::mt19937 random(20240601);
  int killedMidWrite = 0;
  constexpr int rounds = 1000;
  for (int round = 0; round < rounds; ++round) {
    const FileStamp before = domainFile->stamp();
    ChildProcess writer(ChildOptions{{VANTOR_DEFAULTS_WRITER, file.string(), "forever"}});
    // Let it write at least once, then kill it somewhere in its next writes.
    ASSERT_TRUE(waitUntil([&] { return domainFile->stamp() != before; }, 10s)) << "round " << round;
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
    writer.kill(SIGKILL);
    ASSERT_TRUE(writer.waitForExit(10s).has_value());
    for (const auto& e : std::filesystem::directory_iterator(dir.path())) {
      if (e.path().filename().string().starts_with(file.filename().string() + ".tmp-")) ++killedMidWrite;
    }
    const auto domain = fileDomain(file);
    ASSERT_TRUE(domain.has_value()) << "round " << round << ": the file does not read";
    ASSERT_TRUE(isOneWholeRound(*domain)) << "round " << round;
  }
  // The random moments must really fall inside writes, or the test proves little.
  EXPECT_GT(killedMidWrite, rounds / 20) << "kills during a write (temporary file left)";
}

TEST(UserDefaultsSharing, TwoProcessesWritingDifferentKeysLoseNothing) {
  TempDir dir;
  const auto file = dir.path() / "com.example.shared.plist";
  const auto go = dir.path() / "go";
  constexpr int keyCount = 10000;
  ChildProcess a(ChildOptions{{VANTOR_DEFAULTS_WRITER, file.string(), "keys", "a", std::to_string(keyCount), go}});
  ChildProcess b(ChildOptions{{VANTOR_DEFAULTS_WRITER, file.string(), "keys", "b", std::to_string(keyCount), go}});
  std::ofstream(go) << "go";
  EXPECT_EQ(a.waitForExit(60s), 0);
  EXPECT_EQ(b.waitForExit(60s), 0);
  const auto domain = fileDomain(file);
  ASSERT_TRUE(domain.has_value());
  EXPECT_EQ(domain->size(), 2u * keyCount);
  for (const char* prefix : {"a", "b"}) {
    for (int i = 0; i < keyCount; i += 997) {
      const AnyValue* value = domain->find(prefix + std::to_string(i));
      ASSERT_NE(value, nullptr) << prefix << i;
      EXPECT_EQ(*value, AnyValue(std::int64_t{i}));
    }
  }
}

TEST(UserDefaultsFolders, ASuiteLivesUnderXdgConfigHomeAndIsWrittenOnExit) {
  TempDir dir;
  ChildProcess writer(ChildOptions{{VANTOR_DEFAULTS_WRITER, "-", "suite", "com.brenwick.appreviews", "k", "v"},
                                   {{"XDG_CONFIG_HOME", dir.path().string()}}});
  EXPECT_EQ(writer.waitForExit(30s), 0);
  EXPECT_EQ(fileDomain(dir.path() / "keel" / "defaults" / "com.brenwick.appreviews.plist"),
            (TextDictionary{{"k", "v"}}));
}

TEST(UserDefaultsFolders, AReadOnlyFolderFailsWritesQuietlyAndMemoryAnswers) {
  TempDir dir;
  const auto folder = dir.path() / "defaults";
  std::filesystem::create_directories(folder);
  const auto file = folder / "com.example.readonly.plist";
  // Root writes through permission bits, so make the folder read-only with a
  // read-only bind mount in a mount namespace of the writer's own.
  const std::string unshare = geteuid() == 0 ? "-m" : "-rm";
  const auto output = dir.path() / "output";
  const std::string script = "mount --bind -o ro \"$1\" \"$1\" && exec \"$2\" \"$3\" readonly";
  ChildProcess writer(ChildOptions{
      {"unshare", unshare, "sh", "-c", script, "sh", folder.string(), VANTOR_DEFAULTS_WRITER, file.string()},
      {},
      output,
      output});
  const auto status = writer.waitForExit(30s);
  const std::string said = Vantor::Testing::fileText(output);
  if (said.find("stored=") == std::string::npos) GTEST_SKIP() << "no read-only mount in a namespace here: " << said;
  EXPECT_EQ(status, 0) << said;
  EXPECT_FALSE(std::filesystem::exists(file));
}

}  // namespace
}  // namespace Keel
