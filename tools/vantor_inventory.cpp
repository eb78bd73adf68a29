// vantor-inventory: the installed applications under a folder, or the sizes
// of folders, as a table or as JSON.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "Keel/coding/json.h"
#include "Plinth/inventory/apps.h"
#include "Plinth/inventory/directory.h"
#include "Plinth/inventory/file_icon_manager.h"
#include "Plinth/inventory/file_url.h"
#include "tools/command_line.h"
#include "tools/inventory_report.h"
#include "tools/terminal.h"

namespace {

constexpr const char* toolName = "vantor-inventory";
constexpr int exitInterrupted = 130;

constexpr const char* helpText =
    "Usage: vantor-inventory [--root DIR] [--skip-apple] [--json]\n"
    "  or:  vantor-inventory --size [--json] PATH...\n"
    "\n"
    "Lists the applications installed in /Applications (or DIR) and the plain\n"
    "folders below it, by name: name, identifier, version, bundle size and the\n"
    "applications contained in each bundle. Bundles are measured whole, hidden\n"
    "files and nested helpers included; links are counted, never followed.\n"
    "\n"
    "When stdout and stderr are a terminal, progress (folders done, entries\n"
    "seen) is shown on stderr while the tool measures. Ctrl-C stops at once and\n"
    "prints nothing more.\n"
    "\n"
    "Options:\n"
    "  --root DIR     list the applications under DIR instead\n"
    "  --skip-apple   leave out bundles whose identifier starts with com.apple.\n"
    "  --size         print the size of each PATH instead (files, folders)\n"
    "  --json         print JSON: every field of each record, sizes in bytes\n"
    "  -h, --help     show this help\n"
    "  --version      print the version\n"
    "\n"
    "A PATH or folder that is missing or cannot be read is an error. When some\n"
    "entries could not be read, what could be measured is printed and one line\n"
    "on stderr names the entries left out; the exit status is then 1.\n"
    "\n"
    "Exit status: 0 printed, 1 could not print or printed a partial result,\n"
    "2 usage error, 130 interrupted.\n";

std::atomic<bool> interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "the signal handler stores into it");

extern "C" void onInterrupt(int /*signal*/) { interrupted.store(true); }

// Redraws "N folders, M entries" on stderr until stopped, then clears it.
class ProgressLine {
 public:
  explicit ProgressLine(const Plinth::WalkProgress& progress)
      : thread_([this, &progress] {
          std::unique_lock lock(mutex_);
          while (!done_.wait_for(lock, std::chrono::milliseconds(100), [this] { return stopped_; })) {
            std::fprintf(stderr, "\r\033[K%llu folders, %llu entries",
                         static_cast<unsigned long long>(progress.foldersDone.load(std::memory_order_relaxed)),
                         static_cast<unsigned long long>(progress.entriesSeen.load(std::memory_order_relaxed)));
            std::fflush(stderr);
          }
          std::fputs("\r\033[K", stderr);
          std::fflush(stderr);
        }) {}
  ~ProgressLine() {
    {
      const std::lock_guard lock(mutex_);
      stopped_ = true;
    }
    done_.notify_one();
    thread_.join();
  }
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

 private:
  std::mutex mutex_;
  std::condition_variable done_;
  bool stopped_ = false;
  std::thread thread_;
};

// The entries that could not be read, from any walking thread, told in one
// line at the end.
class Unreadable {
 public:
  void add(std::string what) {
    const std::lock_guard lock(mutex_);
    entries_.push_back(std::move(what));
  }
  void add(const std::string& path, int error) { add(path + " (" + std::generic_category().message(error) + ")"); }
  [[nodiscard]] Plinth::WalkErrorHandler handler() {
    return [this](const std::string& path, int error) {
      add(path, error);
      return Plinth::WalkStep::proceed;
    };
  }
  // "could not read P (why)" or "could not read N entries: P (why), ...";
  // empty when every entry was read.
  [[nodiscard]] std::string line() {
    const std::lock_guard lock(mutex_);
    if (entries_.empty()) return {};
    std::string text = "could not read ";
    if (entries_.size() > 1) text += std::to_string(entries_.size()) + " entries: ";
    for (std::size_t i = 0; i < entries_.size(); ++i) text += (i > 0 ? ", " : "") + entries_[i];
    return text;
  }

 private:
  std::mutex mutex_;
  std::vector<std::string> entries_;
};

// Why nothing can be read at `path` (links followed), if so.
std::optional<std::error_code> missing(const std::string& path) {
  std::error_code error;
  (void)std::filesystem::status(path, error);
  if (error) return error;
  return std::nullopt;
}

int print(const std::string& output) {
  if (std::fwrite(output.data(), 1, output.size(), stdout) != output.size() || std::fflush(stdout) != 0) {
    return Vantor::Tools::failure(toolName, "cannot write to standard output");
  }
  return Vantor::Tools::exitSuccess;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace Vantor::Tools;
  auto arguments = parseArguments(std::span<const char* const>(argv + 1, static_cast<std::size_t>(argc - 1)),
                                  {{"--json", false}, {"--root", true}, {"--size", false}, {"--skip-apple", false}});
  if (!arguments) return usageError(toolName, arguments.error());
  const ParsedArguments& parsed = arguments.value();
  if (parsed.version) return Vantor::Tools::printVersion(toolName);
  if (parsed.help) return print(helpText);
  const bool json = parsed.flags.contains("--json");
  const bool sizes = parsed.flags.contains("--size");
  if (sizes && parsed.positional.empty()) return usageError(toolName, "--size needs at least one PATH");
  if (sizes && (parsed.values.contains("--root") || parsed.flags.contains("--skip-apple"))) {
    return usageError(toolName, "--size takes no --root or --skip-apple");
  }
  if (!sizes && !parsed.positional.empty()) {
    return usageError(toolName, "unexpected argument '" + parsed.positional.front() + "'");
  }

  std::signal(SIGINT, onInterrupt);
  Plinth::WalkProgress progress;
  Unreadable unreadable;
  const Plinth::SizeWalk walk{&interrupted, &progress, unreadable.handler()};
  std::optional<ProgressLine> progressLine;
  // Progress is for someone watching the table come: not when the output
  // goes to a file or a pipe, nor when stderr is no terminal.
  if (isTerminal(1) && isTerminal(2)) progressLine.emplace(progress);

  Keel::AnyValue tree;
  std::string text;
  if (sizes) {
    std::vector<std::pair<std::string, std::uint64_t>> measured;
    Keel::AnyValue::Array entries;
    for (const std::string& path : parsed.positional) {
      if (const auto error = missing(path)) {
        unreadable.add(path + " (" + error->message() + ")");
        continue;
      }
      const Plinth::FileURL entry(Keel::URL::fileURL(path), walk);
      measured.emplace_back(path, entry.size);
      entries.emplace_back(Keel::TextDictionary{{"path", path}, {"size", entry.size}});
    }
    tree = std::move(entries);
    text = sizesTable(measured);
  } else {
    Plinth::AppEnvironment environment;
    const auto root = parsed.values.find("--root");
    environment.applicationsRoot =
        root != parsed.values.end() ? root->second : Plinth::Directory(Plinth::Directory::applications).url().path();
    // An empty table would say "no applications", which a missing folder
    // does not.
    std::error_code error;
    if (!std::filesystem::is_directory(environment.applicationsRoot, error)) {
      return failure(toolName, "cannot read the folder '" + environment.applicationsRoot +
                                   "': " + (error ? error.message() : std::string("not a folder")));
    }
    Plinth::FileIconManager icons(Plinth::systemIconPlatform(), "/System/Applications", environment.applicationsRoot);
    environment.icons = &icons;
    environment.sizeWalk = walk;
    environment.errorLine = [&unreadable](std::string_view line) { unreadable.add(std::string(line)); };
    // Listing order is the file system's, which differs between machines; a
    // table for people reads better by name.
    Plinth::AppList apps = Plinth::Apps::installedApplications(parsed.flags.contains("--skip-apple"), environment);
    std::stable_sort(apps.begin(), apps.end(), [](const auto& a, const auto& b) { return a->name < b->name; });
    Keel::AnyValue::Array records;
    for (const auto& app : apps) records.push_back(appTree(*app));
    tree = std::move(records);
    text = applicationsTable(apps);
  }
  progressLine.reset();
  if (interrupted.load()) {
    std::fprintf(stderr, "%s: interrupted\n", toolName);
    return exitInterrupted;
  }
  const std::string partial = unreadable.line();
  // Nothing measured: the error alone, no empty table.
  if (sizes && tree.as<Keel::AnyValue::Array>().empty()) return failure(toolName, partial);
  int status = exitSuccess;
  if (!json) {
    status = print(text);
  } else if (auto written = Keel::JSON::write(tree)) {
    status = print(written.value() + "\n");
  } else {
    return failure(toolName, "cannot write JSON: " + written.error().text());
  }
  if (status != exitSuccess || partial.empty()) return status;
  return failure(toolName, partial);
}
