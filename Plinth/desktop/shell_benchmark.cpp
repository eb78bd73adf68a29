// The round trip of Shell::run({"true"}) beside its floors: posix_spawn and
// waitpid of /bin/bash -c true (the same shell, with no pipes) and of
// /bin/true (no shell either).
#include "Plinth/desktop/shell.h"

#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/wait.h>

#include <string>
#include <vector>

extern char** environ;

namespace {

void shellRunTrue(benchmark::State& state) {
  for (auto _ : state) {
    auto output = Plinth::Shell::run({"true"});
    if (!output) state.SkipWithError("bash did not run");
    benchmark::DoNotOptimize(output);
  }
}
BENCHMARK(shellRunTrue)->Unit(benchmark::kMicrosecond)->UseRealTime();

void spawnAndWait(benchmark::State& state, std::vector<std::string> arguments) {
  std::vector<char*> argv;
  for (auto& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  for (auto _ : state) {
    pid_t pid = 0;
    if (posix_spawn(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0) state.SkipWithError("no program");
    int status = 0;
    waitpid(pid, &status, 0);
    benchmark::DoNotOptimize(status);
  }
}
BENCHMARK_CAPTURE(spawnAndWait, bashTrue, {"/bin/bash", "-c", "true"})->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK_CAPTURE(spawnAndWait, binTrue, {"/bin/true"})->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace
