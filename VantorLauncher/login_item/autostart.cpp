#include "VantorLauncher/login_item/autostart.h"

#include <algorithm>

namespace Vantor {
namespace {

std::string joined(const std::vector<std::string>& items) {
  std::string out;
  for (const auto& item : items) out += (out.empty() ? "" : ", ") + item;
  return out;
}

bool anyCurrent(const std::vector<std::string>& desktops, const std::vector<std::string>& current) {
  return std::any_of(desktops.begin(), desktops.end(), [&](const std::string& desktop) {
    return std::find(current.begin(), current.end(), desktop) != current.end();
  });
}

std::string currentDesktopText(const AutostartSession& session) {
  if (session.currentDesktops.empty()) return "XDG_CURRENT_DESKTOP is not set";
  return "the current desktop is " + joined(session.currentDesktops);
}

}  // namespace

std::optional<std::string> whyNotStarted(const DesktopEntry& entry, const AutostartSession& session) {
  if (const auto type = entry.string("Type"); type != "Application") {
    return type ? "Type is " + *type + ", not Application" : std::string("no Type");
  }
  if (entry.boolean("Hidden") == true) return "Hidden=true";
  if (entry.boolean("X-GNOME-Autostart-enabled") == false) return "X-GNOME-Autostart-enabled=false";
  if (const auto onlyIn = entry.list("OnlyShowIn");
      entry.rawValues.contains("OnlyShowIn") && !anyCurrent(onlyIn, session.currentDesktops)) {
    return "OnlyShowIn=" + joined(onlyIn) + ", and " + currentDesktopText(session);
  }
  if (const auto notIn = entry.list("NotShowIn"); anyCurrent(notIn, session.currentDesktops)) {
    return "NotShowIn=" + joined(notIn) + ", and " + currentDesktopText(session);
  }
  const auto exec = entry.string("Exec");
  if (!exec || exec->find_first_not_of(" \t") == std::string::npos) return "no Exec";
  if (const auto tryExec = entry.string("TryExec");
      tryExec && !tryExec->empty() && !(session.programExists && session.programExists(*tryExec))) {
    return "its TryExec program " + *tryExec + " is not installed";
  }
  return std::nullopt;
}

AutostartState autostartState(const std::optional<AutostartFile>& user, const std::optional<AutostartFile>& system,
                              const AutostartSession& session) {
  AutostartState state;
  if (!user && !system) {
    state.explanation = "disabled: there is neither a user nor a system autostart entry";
    return state;
  }
  const AutostartFile& file = user ? *user : *system;
  state.entryInEffect = file.path;
  state.userEntryInEffect = user.has_value();
  if (user && system) state.overriddenSystemEntry = system->path;

  std::optional<std::string> reason;
  auto entry = parseDesktopEntry(file.text);
  if (!entry) {
    reason = "not a valid desktop entry: " + entry.error();
  } else {
    reason = whyNotStarted(entry.value(), session);
    if (const auto exec = entry.value().string("Exec")) {
      if (auto arguments = splitExec(*exec); arguments && !arguments.value().empty()) {
        state.program = arguments.value().front();
      }
    }
  }
  state.enabled = !reason;
  state.explanation = std::string(state.enabled ? "enabled" : "disabled") + " by the " + (user ? "user" : "system") +
                      " entry " + file.path.string();
  if (reason) state.explanation += " (" + *reason + ")";
  if (state.overriddenSystemEntry) {
    state.explanation += ", which overrides the system entry " + state.overriddenSystemEntry->string();
  }
  return state;
}

}  // namespace Vantor
