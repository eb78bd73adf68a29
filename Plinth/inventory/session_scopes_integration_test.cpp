// Moving an opened application into a scope of its own, against a stand-in
// systemd user manager on a private bus.
#include <gio/gio.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <mutex>
#include <stdexcept>
#include <thread>

#include "Plinth/inventory/session_scopes_linux.h"
#include "Plinth/inventory/workspace_linux.h"
#include "testing/bundle_builder.h"
#include "testing/child_process.h"
#include "testing/private_session_bus.h"
#include "testing/silent_bus.h"
#include "testing/temp_dir.h"

namespace Plinth {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr const char* kManagerXml =
    "<node><interface name='org.freedesktop.systemd1.Manager'>"
    "<method name='StartTransientUnit'>"
    "<arg type='s' direction='in'/><arg type='s' direction='in'/>"
    "<arg type='a(sv)' direction='in'/><arg type='a(sa(sv))' direction='in'/>"
    "<arg type='o' direction='out'/>"
    "</method></interface></node>";

struct TransientUnitCall {
  std::string name;
  std::string mode;
  std::vector<std::string> properties;
  std::vector<guint32> pids;
  std::size_t auxiliaryUnits = 0;
};

// Owns org.freedesktop.systemd1 and records every StartTransientUnit, served
// on a thread of its own.
class FakeSystemdManager {
 public:
  explicit FakeSystemdManager(const std::string& address) {
    g_main_context_push_thread_default(context_);
    GError* error = nullptr;
    connection_ = g_dbus_connection_new_for_address_sync(
        address.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error);
    GDBusNodeInfo* node = connection_ ? g_dbus_node_info_new_for_xml(kManagerXml, &error) : nullptr;
    static const GDBusInterfaceVTable vtable = {&FakeSystemdManager::onCall, nullptr, nullptr, {}};
    if (node != nullptr) {
      g_dbus_connection_register_object(connection_, "/org/freedesktop/systemd1", node->interfaces[0], &vtable, this,
                                        nullptr, &error);
      g_dbus_node_info_unref(node);
    }
    GVariant* owned = error == nullptr
                          ? g_dbus_connection_call_sync(
                                connection_, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                "RequestName", g_variant_new("(su)", "org.freedesktop.systemd1", 4u),
                                G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, &error)
                          : nullptr;
    g_main_context_pop_thread_default(context_);
    if (owned == nullptr) {
      const std::string message = error ? error->message : "unknown error";
      g_clear_error(&error);
      throw std::runtime_error("fake systemd manager: " + message);
    }
    g_variant_unref(owned);
    thread_ = std::thread([this] { g_main_loop_run(loop_); });
  }
  ~FakeSystemdManager() {
    if (thread_.joinable()) {
      // Quit from within the loop: quitting a loop not yet running is lost.
      GSource* quit = g_idle_source_new();
      g_source_set_callback(
          quit,
          [](gpointer loop) -> gboolean {
            g_main_loop_quit(static_cast<GMainLoop*>(loop));
            return G_SOURCE_REMOVE;
          },
          loop_, nullptr);
      g_source_attach(quit, context_);
      g_source_unref(quit);
      thread_.join();
    }
    if (connection_ != nullptr) {
      g_dbus_connection_close_sync(connection_, nullptr, nullptr);
      g_object_unref(connection_);
    }
    g_main_loop_unref(loop_);
    g_main_context_unref(context_);
  }
  FakeSystemdManager(const FakeSystemdManager&) = delete;
  FakeSystemdManager& operator=(const FakeSystemdManager&) = delete;

  std::vector<TransientUnitCall> calls() {
    std::lock_guard lock(mutex_);
    return calls_;
  }

 private:
  static void onCall(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*, GVariant* parameters,
                     GDBusMethodInvocation* invocation, gpointer data) {
    auto* self = static_cast<FakeSystemdManager*>(data);
    TransientUnitCall call;
    const gchar* name = nullptr;
    const gchar* mode = nullptr;
    GVariantIter* properties = nullptr;
    GVariantIter* aux = nullptr;
    g_variant_get(parameters, "(&s&sa(sv)a(sa(sv)))", &name, &mode, &properties, &aux);
    call.name = name;
    call.mode = mode;
    const gchar* key = nullptr;
    GVariant* value = nullptr;
    while (g_variant_iter_loop(properties, "(&sv)", &key, &value)) {
      call.properties.emplace_back(key);
      if (std::string(key) == "PIDs" && g_variant_is_of_type(value, G_VARIANT_TYPE("au"))) {
        gsize n = 0;
        const auto* pids = static_cast<const guint32*>(g_variant_get_fixed_array(value, &n, sizeof(guint32)));
        call.pids.assign(pids, pids + n);
      }
    }
    call.auxiliaryUnits = g_variant_iter_n_children(aux);
    g_variant_iter_free(properties);
    g_variant_iter_free(aux);
    {
      std::lock_guard lock(self->mutex_);
      self->calls_.push_back(std::move(call));
    }
    g_dbus_method_invocation_return_value(invocation, g_variant_new("(o)", "/org/freedesktop/systemd1/job/1"));
  }

  GMainContext* context_ = g_main_context_new();
  GMainLoop* loop_ = g_main_loop_new(context_, FALSE);
  GDBusConnection* connection_ = nullptr;
  std::mutex mutex_;
  std::vector<TransientUnitCall> calls_;
  std::thread thread_;
};

class SessionScopesTest : public ::testing::Test {
 protected:
  Vantor::Testing::PrivateSessionBus bus;
};

TEST_F(SessionScopesTest, TheStartedApplicationIsAskedIntoAScopeNamedAfterItAndItsPid) {
  FakeSystemdManager manager(bus.address());
  Vantor::Testing::TempDir dir;
  const auto app = dir.path() / "Sample.app";
  const auto executable = Vantor::Testing::makeBundle({.path = app,
                                                       .identifier = "org.example.sample",
                                                       .executable = VANTOR_SAMPLE_BINARY,
                                                       .extraInfo = {{"VantorSampleLifetimeMs", "30000"}}});
  LinuxWorkspace workspace;
  const auto pid = workspace.launchApplication(app);
  ASSERT_TRUE(pid.has_value());

  SystemdSessionScopes scopes(bus.address());
  scopes.moveToScope(*pid, "org.example.sample");
  scopes.waitForPendingMoves();
  kill(*pid, SIGKILL);

  const auto calls = manager.calls();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].name, "app-org.example.sample-" + std::to_string(*pid) + ".scope");
  EXPECT_EQ(calls[0].mode, "fail");
  EXPECT_EQ(calls[0].properties, std::vector<std::string>{"PIDs"});
  EXPECT_EQ(calls[0].pids, std::vector<guint32>{static_cast<guint32>(*pid)});
  EXPECT_EQ(calls[0].auxiliaryUnits, 0u);
}

TEST_F(SessionScopesTest, WithoutAManagerNothingIsAskedOfAnyoneAndNothingWaits) {
  const auto started = Clock::now();
  {
    SystemdSessionScopes scopes(bus.address(), 5s);
    scopes.moveToScope(static_cast<int>(getpid()), "org.example.sample");
    scopes.waitForPendingMoves();
  }
  // The bus answers for the missing manager at once; the time-out is not
  // what ended the move.
  EXPECT_LT(Clock::now() - started, 3s);
  // A manager arriving later hears nothing of it.
  FakeSystemdManager manager(bus.address());
  EXPECT_TRUE(manager.calls().empty());
}

TEST(SessionScopesWithoutABus, AMissingOrSilentBusNeitherDelaysTheCallerNorOutlastsTheTimeOut) {
  Vantor::Testing::TempDir dir;
  Vantor::Testing::SilentBus silent(dir.path() / "silent");
  for (const std::string& address : {silent.address(), "unix:path=" + (dir.path() / "none").string()}) {
    SystemdSessionScopes scopes(address, 300ms);
    const auto started = Clock::now();
    scopes.moveToScope(static_cast<int>(getpid()), "org.example.sample");
    EXPECT_LT(Clock::now() - started, 100ms) << address;
    scopes.waitForPendingMoves();
    EXPECT_LT(Clock::now() - started, 3s) << address;
  }
  EXPECT_TRUE(silent.waitForClient(0ms));
}

}  // namespace
}  // namespace Plinth
