// Moving an opened application into a scope of its own, against a stand-in
// systemd user manager on a private bus.
#include <gio/gio.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <stdexcept>

#include "Plinth/inventory/session_scopes_linux.h"
#include "Plinth/inventory/workspace_linux.h"
#include "testing/bundle_builder.h"
#include "testing/bus_client.h"
#include "testing/child_process.h"
#include "testing/private_session_bus.h"
#include "testing/silent_bus.h"
#include "testing/temp_dir.h"

namespace Plinth {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

struct TransientUnitCall {
  std::string name;
  std::string mode;
  std::vector<std::string> properties;
  std::vector<guint32> pids;
  std::size_t auxiliaryUnits = 0;
};

// Owns org.freedesktop.systemd1 (python3-dbusmock, which records every call)
// and answers StartTransientUnit with a job.
class FakeSystemdManager {
 public:
  explicit FakeSystemdManager(const std::string& address)
      : mock_({{"/usr/bin/python3", "-m", "dbusmock", "org.freedesktop.systemd1", "/org/freedesktop/systemd1",
                "org.freedesktop.systemd1.Manager"},
               {{"DBUS_SESSION_BUS_ADDRESS", address}}}) {
    connection_ = Vantor::Testing::connectToBus(address);
    if (connection_ == nullptr) throw std::runtime_error("fake systemd manager: no bus connection");
    // Fails until the mock owns its name.
    const bool added = Vantor::Testing::waitUntil([this] { return addMethod(); }, 30s);
    if (!added) throw std::runtime_error("fake systemd manager: the mock never came up");
  }
  ~FakeSystemdManager() { g_object_unref(connection_); }
  FakeSystemdManager(const FakeSystemdManager&) = delete;
  FakeSystemdManager& operator=(const FakeSystemdManager&) = delete;

  std::vector<TransientUnitCall> calls() {
    std::vector<TransientUnitCall> result;
    GVariant* reply = call("GetCalls", nullptr, G_VARIANT_TYPE("(a(tsav))"));
    if (reply == nullptr) return result;
    GVariantIter* calls = nullptr;
    g_variant_get(reply, "(a(tsav))", &calls);
    guint64 time = 0;
    const gchar* method = nullptr;
    GVariantIter* args = nullptr;
    while (g_variant_iter_loop(calls, "(t&sav)", &time, &method, &args)) {
      GVariant *name = nullptr, *mode = nullptr, *properties = nullptr, *aux = nullptr;
      if (std::string(method) != "StartTransientUnit" || !g_variant_iter_next(args, "v", &name) ||
          !g_variant_iter_next(args, "v", &mode) || !g_variant_iter_next(args, "v", &properties) ||
          !g_variant_iter_next(args, "v", &aux)) {
        continue;
      }
      TransientUnitCall unit{g_variant_get_string(name, nullptr), g_variant_get_string(mode, nullptr), {}, {}, 0};
      for (gsize i = 0; i < g_variant_n_children(properties); ++i) {
        const gchar* key = nullptr;
        GVariant* value = nullptr;
        g_variant_get_child(properties, i, "(&sv)", &key, &value);
        unit.properties.emplace_back(key);
        if (std::string(key) == "PIDs" && g_variant_is_of_type(value, G_VARIANT_TYPE("au"))) {
          gsize n = 0;
          const auto* pids = static_cast<const guint32*>(g_variant_get_fixed_array(value, &n, sizeof(guint32)));
          unit.pids.assign(pids, pids + n);
        }
        g_variant_unref(value);
      }
      unit.auxiliaryUnits = g_variant_n_children(aux);
      for (GVariant* v : {name, mode, properties, aux}) g_variant_unref(v);
      result.push_back(std::move(unit));
    }
    g_variant_iter_free(calls);
    g_variant_unref(reply);
    return result;
  }

 private:
  GVariant* call(const char* method, GVariant* parameters, const GVariantType* replyType) {
    return g_dbus_connection_call_sync(connection_, "org.freedesktop.systemd1", "/org/freedesktop/systemd1",
                                       "org.freedesktop.DBus.Mock", method, parameters, replyType,
                                       G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr);
  }
  bool addMethod() {
    GVariant* reply = call("AddMethod",
                           g_variant_new("(sssss)", "org.freedesktop.systemd1.Manager", "StartTransientUnit",
                                         "ssa(sv)a(sa(sv))", "o", "ret = '/org/freedesktop/systemd1/job/1'"),
                           nullptr);
    if (reply != nullptr) g_variant_unref(reply);
    return reply != nullptr;
  }

  Vantor::Testing::ChildProcess mock_;
  GDBusConnection* connection_ = nullptr;
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
