#include "VantorLauncher/login_item/login_item.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <system_error>

#include "Keel/coding/json.h"
#include "Keel/coding/property_list.h"
#include "Keel/core/any_value.h"
#include "Keel/core/bundle.h"
#include "Keel/core/utf8.h"

namespace Vantor {
namespace {

namespace fs = std::filesystem;

// Autostart entries are a few hundred bytes; anything far larger is not one.
constexpr std::size_t maxEntryBytes = std::size_t{1} << 20;

std::vector<std::string> splitColons(std::string_view text) {
  std::vector<std::string> parts;
  while (true) {
    const auto colon = text.find(':');
    if (!text.substr(0, colon).empty()) parts.emplace_back(text.substr(0, colon));
    if (colon == std::string_view::npos) return parts;
    text.remove_prefix(colon + 1);
  }
}

bool isExecutableFile(const fs::path& path) {
  std::error_code error;
  const auto status = fs::status(path, error);
  constexpr auto anyExec = fs::perms::owner_exec | fs::perms::group_exec | fs::perms::others_exec;
  return !error && fs::is_regular_file(status) && (status.permissions() & anyExec) != fs::perms::none;
}

// What a desktop entry's value can carry (escapes aside, which these texts
// never need): UTF-8 without control characters.
bool fitsDesktopEntry(std::string_view text) {
  for (const char c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == '\x7F') return false;
  }
  return Keel::isValidUtf8(text);
}

// The whole regular file at `path`, or why not: a folder, something else
// that is no regular file (never opened, as a FIFO or a device could block),
// unreadable, or larger than an entry can be.
Keel::Result<std::string> readEntryText(const fs::path& path) {
  std::error_code error;
  const auto status = fs::status(path, error);
  if (error) return Keel::failure(error.message());
  if (fs::is_directory(status)) return Keel::failure("is a folder, not a file");
  if (!fs::is_regular_file(status)) return Keel::failure("not a regular file");
  const std::string tooLarge = "larger than " + std::to_string(maxEntryBytes >> 20) + " MiB";
  if (fs::file_size(path, error) > maxEntryBytes && !error) return Keel::failure(tooLarge);
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
  if (!file) return Keel::failure(std::strerror(errno));
  std::string text;
  std::array<char, 4096> buffer{};
  std::size_t n = 0;
  while ((n = std::fread(buffer.data(), 1, buffer.size(), file.get())) > 0) {
    if (n > maxEntryBytes - text.size()) return Keel::failure(tooLarge);  // it grew while read
    text.append(buffer.data(), n);
  }
  if (std::ferror(file.get()) != 0) return Keel::failure(std::strerror(errno));
  return text;
}

// The file at `path`: nothing when there is none, a failure when it exists
// but cannot be read.
Keel::Result<std::optional<AutostartFile>> readAutostartFile(const fs::path& path) {
  std::error_code error;
  if (fs::symlink_status(path, error).type() == fs::file_type::not_found) return std::optional<AutostartFile>();
  auto text = readEntryText(path);
  if (!text) {
    // A link to nothing is no entry.
    if (!fs::exists(path, error)) return std::optional<AutostartFile>();
    return Keel::failure("cannot read " + path.string() + ": " + text.error());
  }
  return std::optional<AutostartFile>(AutostartFile{path, std::move(text.value())});
}

struct Entries {
  fs::path userPath;
  std::optional<AutostartFile> user;
  std::optional<AutostartFile> system;  // the most important system folder's
};

Keel::Result<Entries> findEntries(const LoginItem& item, const LoginItemEnvironment& environment) {
  Entries entries;
  entries.userPath = environment.configHome / "autostart" / item.fileName();
  auto user = readAutostartFile(entries.userPath);
  if (!user) return Keel::failure(user.error());
  entries.user = std::move(user.value());
  for (const auto& folder : environment.configDirs) {
    auto system = readAutostartFile(folder / "autostart" / item.fileName());
    if (!system) return Keel::failure(system.error());
    if (system.value()) {
      entries.system = std::move(system.value());
      break;
    }
  }
  return entries;
}

Keel::Result<void> writeEntry(const LoginItem& item, const fs::path& path, bool hidden, const FileWriter& write) {
  auto text = loginItemEntry(item, hidden);
  if (!text) return Keel::failure(text.error());
  std::error_code error;
  fs::create_directories(path.parent_path(), error);
  if (error) return Keel::failure("cannot create " + path.parent_path().string() + ": " + error.message());
  return write(path, text.value());
}

}  // namespace

Keel::Result<LoginItemEnvironment> LoginItemEnvironment::fromVariables(
    const std::function<std::optional<std::string>(const std::string&)>& variable) {
  LoginItemEnvironment environment;
  const auto absolute = [&](const char* name) -> std::optional<fs::path> {
    auto value = variable(name);
    if (value && fs::path(*value).is_absolute()) return fs::path(*value);
    return std::nullopt;
  };
  if (auto configHome = absolute("XDG_CONFIG_HOME")) {
    environment.configHome = *configHome;
  } else if (auto home = absolute("HOME")) {
    environment.configHome = *home / ".config";
  } else {
    return Keel::failure("cannot find the configuration folder: neither XDG_CONFIG_HOME nor HOME is an absolute path");
  }
  for (const auto& folder : splitColons(variable("XDG_CONFIG_DIRS").value_or(""))) {
    if (fs::path(folder).is_absolute()) environment.configDirs.emplace_back(folder);
  }
  if (environment.configDirs.empty()) environment.configDirs.emplace_back("/etc/xdg");
  environment.session.currentDesktops = splitColons(variable("XDG_CURRENT_DESKTOP").value_or(""));
  environment.session.programExists = [searchPath = variable("PATH").value_or("")](const std::string& program) {
    return programInPath(program, searchPath);
  };
  return environment;
}

bool programInPath(const std::string& program, std::string_view searchPath) {
  if (program.empty()) return false;
  if (program.find('/') != std::string::npos) return isExecutableFile(program);
  for (const auto& folder : splitColons(searchPath)) {
    if (isExecutableFile(fs::path(folder) / program)) return true;
  }
  return false;
}

Keel::Result<LoginItem> LoginItem::forBundle(const fs::path& bundle) {
  std::error_code error;
  fs::path path = fs::absolute(bundle, error).lexically_normal();
  if (error) return Keel::failure(error.message());
  // "Vantor.app/" normalises to "Vantor.app/" with an empty last name.
  if (!path.has_filename() && path.has_parent_path()) path = path.parent_path();
  if (!fs::is_directory(path, error)) return Keel::failure("not a bundle folder");
  LoginItem item;
  item.bundle = path;
  const Keel::Bundle keelBundle(path);
  const auto identifier = keelBundle.bundleIdentifier();
  if (!identifier) {
    return Keel::failure("no CFBundleIdentifier in " + keelBundle.infoPlistPath().string());
  }
  if (identifier->empty() || *identifier == "." || *identifier == ".." || identifier->find('/') != std::string::npos ||
      !fitsDesktopEntry(*identifier)) {
    return Keel::failure("its CFBundleIdentifier \"" + *identifier + "\" cannot name a file");
  }
  item.identifier = *identifier;
  item.launcher =
      path / "Contents" / "Library" / "LoginItems" / "VantorLauncher.app" / "Contents" / "MacOS" / "VantorLauncher";
  item.name = path.stem().string() + " Launcher";
  return item;
}

Keel::Result<std::string> loginItemEntry(const LoginItem& item, bool hidden) {
  const std::string launcher = item.launcher.string();
  if (!fitsDesktopEntry(launcher) || !fitsDesktopEntry(item.name)) {
    return Keel::failure("the launcher's path " + launcher +
                         " is not UTF-8 or holds control characters, which an autostart entry cannot carry");
  }
  std::vector<std::pair<std::string, std::string>> keys = {
      {"Type", "Application"},
      {"Name", item.name},
      {"Comment", "Opens " + item.identifier + " at login unless it is running"},
      {"Exec", quoteExecArgument(launcher)},
      // The session skips the entry once the bundle is gone.
      {"TryExec", launcher},
      {"NoDisplay", "true"},
      {"X-GNOME-Autostart-enabled", "true"},
  };
  if (hidden) keys.emplace_back("Hidden", "true");
  return writeDesktopEntry(keys);
}

Keel::Result<std::string> enableLoginItem(const LoginItem& item, const LoginItemEnvironment& environment,
                                          const FileWriter& write) {
  if (!isExecutableFile(item.launcher)) {
    return Keel::failure("the bundle has no launcher executable at " + item.launcher.string());
  }
  const fs::path path = environment.configHome / "autostart" / item.fileName();
  if (auto written = writeEntry(item, path, false, write); !written) return Keel::failure(written.error());
  auto entries = findEntries(item, environment);
  if (!entries) return Keel::failure(entries.error());
  const auto state = autostartState(entries.value().user, entries.value().system, environment.session);
  // Our own entry cannot be refused by this session's rules; if it is, say so.
  if (!state.enabled) return Keel::failure("wrote " + path.string() + ", but it is " + state.explanation);
  std::string report = "enabled: wrote " + path.string() + "\n";
  // The entry is right ("%%" is a literal "%"), but GLib's desktop-entry reader
  // looks for the program before undoing "%%", finds none and drops the entry.
  if (item.launcher.string().find('%') != std::string::npos) {
    report +=
        "note: the launcher's path holds \"%\"; sessions that read autostart entries with GLib skip such "
        "entries (those run by systemd start them)\n";
  }
  return report;
}

Keel::Result<std::string> disableLoginItem(const LoginItem& item, const LoginItemEnvironment& environment,
                                           const FileWriter& write) {
  auto found = findEntries(item, environment);
  if (!found) return Keel::failure(found.error());
  const Entries& entries = found.value();
  std::string report;
  if (entries.system) {
    // A system entry can only be overridden, never removed, by the user.
    if (auto written = writeEntry(item, entries.userPath, true, write); !written) return Keel::failure(written.error());
    report = "disabled: wrote " + entries.userPath.string() + " with Hidden=true, which overrides the system entry " +
             entries.system->path.string() + "\n";
  } else if (entries.user) {
    std::error_code error;
    fs::remove(entries.userPath, error);
    if (error) return Keel::failure("cannot remove " + entries.userPath.string() + ": " + error.message());
    report = "disabled: removed " + entries.userPath.string() + "\n";
  } else {
    return std::string("disabled: there was no autostart entry\n");
  }
  auto after = findEntries(item, environment);
  if (!after) return Keel::failure(after.error());
  const auto state = autostartState(after.value().user, after.value().system, environment.session);
  if (state.enabled) return Keel::failure("still " + state.explanation);
  return report;
}

Keel::Result<std::string> installLoginItem(const LoginItem& item, const fs::path& launcher,
                                           const LoginItemEnvironment& environment, const FileWriter& write) {
  if (!isExecutableFile(launcher)) {
    return Keel::failure("no launcher executable at " + launcher.string() +
                         " (install vantor-launcher, or name one with --launcher)");
  }
  std::error_code error;
  const fs::path folder = item.launcher.parent_path();
  fs::create_directories(folder, error);
  if (error) return Keel::failure("cannot create " + folder.string() + ": " + error.message());
  const fs::path fresh = folder / ".VantorLauncher.new";
  constexpr auto executablePermissions = fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                                         fs::perms::others_read | fs::perms::others_exec;
  fs::copy_file(launcher, fresh, fs::copy_options::overwrite_existing, error);
  if (!error) fs::permissions(fresh, executablePermissions, error);
  if (!error) fs::rename(fresh, item.launcher, error);
  if (error) {
    std::error_code ignored;
    fs::remove(fresh, ignored);
    return Keel::failure("cannot place the launcher at " + item.launcher.string() + ": " + error.message());
  }
  std::string report = "installed: copied " + launcher.string() + " to " + item.launcher.string() + "\n";

  // The launcher's bundle names its own identifier, which must differ from
  // the main application's: a running launcher is no running main application.
  const fs::path info = folder.parent_path() / "Info.plist";
  if (!fs::exists(info, error)) {
    const auto plist = Keel::PropertyList::writeXML(Keel::AnyValue(Keel::AnyValue::Dictionary{
        {"CFBundleIdentifier", item.identifier + ".launcher"},
        {"CFBundleExecutable", "VantorLauncher"},
        {"CFBundleName", "VantorLauncher"},
        {"CFBundlePackageType", "APPL"},
        {"LSBackgroundOnly", true},
    }));
    if (!plist) return Keel::failure("cannot write " + info.string() + ": " + plist.error().text());
    if (auto written = write(info, plist.value()); !written) return Keel::failure(written.error());
  }
  auto enabled = enableLoginItem(item, environment, write);
  if (!enabled) return enabled;
  return report + enabled.value();
}

std::string LoginItemStatus::report(const LoginItem& item) const {
  std::string text = state.explanation + "\n";
  if (otherProgram) {
    text +=
        "note: that entry starts " + *otherProgram + ", not this bundle's launcher " + item.launcher.string() + "\n";
  }
  return text;
}

std::string LoginItemStatus::json(const LoginItem& item) const {
  const auto pathOrNull = [](const std::optional<fs::path>& path) {
    return path ? Keel::AnyValue(Keel::replacingInvalidUtf8(path->string())) : Keel::AnyValue(nullptr);
  };
  const Keel::AnyValue tree(Keel::AnyValue::Dictionary{
      {"enabled", state.enabled},
      {"entry", pathOrNull(state.entryInEffect)},
      {"userEntry", state.entryInEffect && state.userEntryInEffect},
      {"overriddenSystemEntry", pathOrNull(state.overriddenSystemEntry)},
      {"program", state.program ? Keel::AnyValue(Keel::replacingInvalidUtf8(*state.program)) : Keel::AnyValue(nullptr)},
      {"launcher", Keel::replacingInvalidUtf8(item.launcher.string())},
      {"explanation", Keel::replacingInvalidUtf8(state.explanation)},
  });
  // Every value is a valid UTF-8 text, a truth value or null.
  return Keel::JSON::write(tree).value() + "\n";
}

Keel::Result<LoginItemStatus> loginItemStatus(const LoginItem& item, const LoginItemEnvironment& environment) {
  auto entries = findEntries(item, environment);
  if (!entries) return Keel::failure(entries.error());
  LoginItemStatus status{autostartState(entries.value().user, entries.value().system, environment.session), {}};
  // A moved or copied bundle leaves entries that start another launcher.
  if (status.state.enabled && status.state.program && *status.state.program != item.launcher.string()) {
    status.otherProgram = status.state.program;
  }
  return status;
}

}  // namespace Vantor
