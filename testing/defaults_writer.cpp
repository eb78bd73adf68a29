// A second process for the user-defaults tests: writes a domain file the way
// an application would, in one of three ways chosen by its arguments.
//   defaults_writer FILE forever           rewrite a 100-key value in a loop,
//                                          each round one generation, until killed
//   defaults_writer FILE keys PREFIX N GO  wait for the file GO, set N keys
//                                          PREFIXi = i, then exit normally
//   defaults_writer FILE readonly          set a key where writes fail; exit 0
//                                          when memory still answers
//   defaults_writer - suite NAME KEY VALUE set KEY in the shared store of suite
//                                          NAME and return from main at once
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include "Keel/services/persistent_user_defaults.h"

namespace {

int forever(const std::filesystem::path& file) {
  Keel::PersistentUserDefaults defaults(file);
  for (std::int64_t generation = 1;; ++generation) {
    // One value per round, so that memory, and any file written from it, holds
    // whole rounds only; values of every round differ, so a mix would show.
    Keel::TextDictionary round{{"generation", generation}};
    for (std::size_t key = 0; key < 100; ++key) {
      round.insertOrAssign("key" + std::to_string(key), std::to_string(generation) + std::string(100 + key, 'x'));
    }
    defaults.set(Keel::AnyValue(std::move(round)), "round");
    defaults.synchronize();
  }
}

int keys(const std::filesystem::path& file, const std::string& prefix, int count, const std::filesystem::path& go) {
  Keel::PersistentUserDefaults defaults(file);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!std::filesystem::exists(go)) {
    if (std::chrono::steady_clock::now() > deadline) return 2;
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
  for (int i = 0; i < count; ++i) {
    defaults.set(i, prefix + std::to_string(i));
    if (i % 1000 == 999) defaults.synchronize();
  }
  return 0;  // the rest reaches the file on the way out
}

int readonly(const std::filesystem::path& file) {
  Keel::PersistentUserDefaults defaults(file);
  const bool stored = defaults.set("value", "key");
  const bool written = defaults.synchronize();
  const bool answers = defaults.string("key") == "value";
  std::printf("stored=%d written=%d answers=%d\n", stored, written, answers);
  return stored && !written && answers ? 0 : 1;
}

// Leaves the write to the exit handler: no synchronize, no destructor.
int suite(const std::string& name, const std::string& key, const std::string& value) {
  auto defaults = Keel::UserDefaults::suite(name);
  return defaults && defaults->set(value, key) ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc >= 3 && std::string(argv[2]) == "forever") return forever(argv[1]);
  if (argc >= 6 && std::string(argv[2]) == "keys") return keys(argv[1], argv[3], std::atoi(argv[4]), argv[5]);
  if (argc >= 3 && std::string(argv[2]) == "readonly") return readonly(argv[1]);
  if (argc >= 6 && std::string(argv[2]) == "suite") return suite(argv[3], argv[4], argv[5]);
  std::fputs("usage: defaults_writer FILE forever | keys PREFIX N GO | readonly | - suite NAME KEY VALUE\n", stderr);
  return 2;
}
