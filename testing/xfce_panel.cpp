#include "testing/xfce_panel.h"

#include <gio/gio.h>

#include <csignal>
#include <cstdlib>
#include <map>
#include <stdexcept>
#include <utility>

#include "testing/bus_client.h"
#include "testing/child_process.h"
#include "testing/file_text.h"

namespace Vantor::Testing {

namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

constexpr const char* settingsDaemon = "/usr/lib/x86_64-linux-gnu/xfce4/xfconf/xfconfd";

bool onPath(const char* program) {
  gchar* found = g_find_program_in_path(program);
  const bool there = found != nullptr;
  g_free(found);
  return there;
}

std::string configuration(int height, int iconSize) {
  return R"(<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-panel" version="1.0">
  <property name="configver" type="int" value="2"/>
  <property name="panels" type="array">
    <value type="int" value="1"/>
    <property name="dark-mode" type="bool" value="false"/>
    <property name="panel-1" type="empty">
      <property name="position" type="string" value="p=6;x=0;y=0"/>
      <property name="length" type="uint" value="100"/>
      <property name="position-locked" type="bool" value="true"/>
      <property name="size" type="uint" value=")" +
         std::to_string(height) + R"("/>
      <property name="plugin-ids" type="array"><value type="int" value="1"/></property>
    </property>
  </property>
  <property name="plugins" type="empty">
    <property name="plugin-1" type="string" value="systray">
      <property name="icon-size" type="int" value=")" +
         std::to_string(iconSize) + R"("/>
      <property name="square-icons" type="bool" value="false"/>
    </property>
  </property>
</channel>
)";
}

}  // namespace

std::optional<std::string> XfcePanel::missing() {
  if (!onPath("xfce4-panel")) return "xfce4-panel";
  if (!fs::exists(settingsDaemon)) return "xfconfd (xfconf)";
  return std::nullopt;
}

XfcePanel::XfcePanel(fs::path folder, int height, int iconSize) : folder_(std::move(folder)) {
  const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");  // NOLINT(concurrency-mt-unsafe)
  if (address == nullptr) throw std::runtime_error("XfcePanel needs DBUS_SESSION_BUS_ADDRESS");
  busAddress_ = address;
  writeText(folder_ / "xfce4" / "xfconf" / "xfce-perchannel-xml" / "xfce4-panel.xml",
            configuration(height, iconSize));
  // Only these settings: none of the machine's, no session manager to join.
  const std::map<std::string, std::optional<std::string>> environment{{"XDG_CONFIG_HOME", folder_.string()},
                                                                      {"XDG_CONFIG_DIRS", folder_.string()},
                                                                      {"SESSION_MANAGER", std::nullopt}};
  const fs::path log = folder_ / "panel.log";
  settings_ = std::make_unique<ChildProcess>(ChildOptions{{settingsDaemon}, environment, log, log});
  GDBusConnection* bus = connectToBus(busAddress_);
  if (bus == nullptr) throw std::runtime_error("XfcePanel cannot reach the session bus");
  const bool ready = waitUntil([&] { return nameHasOwner(bus, "org.xfce.Xfconf"); }, 10s);
  g_object_unref(bus);
  if (!ready) throw std::runtime_error("xfconfd did not start:\n" + fileText(log));
  // A group of its own: the panel runs the tray plugin in a child process.
  panel_ = std::make_unique<ChildProcess>(
      ChildOptions{{"xfce4-panel", "--disable-wm-check"}, environment, log, log, true});
}

XfcePanel::~XfcePanel() {
  panel_->killGroup(SIGTERM);
  if (!panel_->waitForExit(10s)) panel_->killGroup(SIGKILL);
}

bool XfcePanel::waitForTray(std::chrono::milliseconds timeout) {
  GDBusConnection* bus = connectToBus(busAddress_);
  if (bus == nullptr) return false;
  const bool ready = waitUntil([&] { return nameHasOwner(bus, "org.kde.StatusNotifierWatcher"); }, timeout);
  g_object_unref(bus);
  return ready;
}

bool XfcePanel::set(const char* property, GVariant* value) {
  GDBusConnection* bus = connectToBus(busAddress_);
  if (bus == nullptr) {
    g_variant_unref(g_variant_ref_sink(value));
    return false;
  }
  GVariant* reply = g_dbus_connection_call_sync(
      bus, "org.xfce.Xfconf", "/org/xfce/Xfconf", "org.xfce.Xfconf", "SetProperty",
      g_variant_new("(ssv)", "xfce4-panel", property, value), nullptr,
      G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr);
  g_object_unref(bus);
  if (reply == nullptr) return false;
  g_variant_unref(reply);
  return true;
}

bool XfcePanel::setDarkMode(bool dark) { return set("/panels/dark-mode", g_variant_new_boolean(dark ? TRUE : FALSE)); }

bool XfcePanel::setIconSize(int pixels) { return set("/plugins/plugin-1/icon-size", g_variant_new_int32(pixels)); }

std::string XfcePanel::log() const { return fileText(folder_ / "panel.log"); }

}  // namespace Vantor::Testing
