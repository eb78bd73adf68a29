// The desktop portal's colour scheme over GDBus, asynchronously on the
// constructing thread's main context.
#include "Plinth/statusitem/appearance.h"

#include <gio/gio.h>

#include <cstdlib>
#include <string>
#include <utility>

namespace Plinth {

namespace {

constexpr const char* kPortalName = "org.freedesktop.portal.Desktop";
constexpr const char* kPortalPath = "/org/freedesktop/portal/desktop";
constexpr const char* kSettings = "org.freedesktop.portal.Settings";
constexpr const char* kNamespace = "org.freedesktop.appearance";
constexpr const char* kKey = "color-scheme";
constexpr int kReadTimeoutMs = 5000;

// Replies nest the value in one or more variants.
std::optional<std::uint32_t> colorSchemeOf(GVariant* value) {
  GVariant* current = g_variant_ref(value);
  while (g_variant_is_of_type(current, G_VARIANT_TYPE_VARIANT)) {
    GVariant* inner = g_variant_get_variant(current);
    g_variant_unref(current);
    current = inner;
  }
  std::optional<std::uint32_t> scheme;
  if (g_variant_is_of_type(current, G_VARIANT_TYPE_UINT32)) scheme = g_variant_get_uint32(current);
  if (g_variant_is_of_type(current, G_VARIANT_TYPE_INT32)) {
    scheme = static_cast<std::uint32_t>(g_variant_get_int32(current));
  }
  g_variant_unref(current);
  return scheme;
}

class PortalAppearance final : public AppearanceSource {
 public:
  explicit PortalAppearance(std::optional<std::string> busAddress) : state_(std::make_shared<State>()) {
    if (!busAddress) {
      const char* fromEnvironment = std::getenv("DBUS_SESSION_BUS_ADDRESS");  // NOLINT(concurrency-mt-unsafe)
      if (fromEnvironment == nullptr || *fromEnvironment == '\0') return;     // no bus: light
      busAddress = fromEnvironment;
    }
    g_dbus_connection_new_for_address(busAddress->c_str(),
                                      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
                                      nullptr, state_->cancellable, &PortalAppearance::connected,
                                      new std::shared_ptr<State>(state_));
  }

  ~PortalAppearance() override {
    state_->handler = nullptr;
    g_cancellable_cancel(state_->cancellable);
    if (state_->connection != nullptr && state_->subscription != 0) {
      g_dbus_connection_signal_unsubscribe(state_->connection, state_->subscription);
    }
  }
  PortalAppearance(const PortalAppearance&) = delete;
  PortalAppearance& operator=(const PortalAppearance&) = delete;

  [[nodiscard]] std::string appearanceName() const override { return state_->name; }
  void setChangeHandler(std::function<void()> handler) override { state_->handler = std::move(handler); }

 private:
  // Shared with the callbacks of work under way, so that destroying the
  // source while the bus answers is safe.
  struct State {
    GCancellable* cancellable = g_cancellable_new();
    GDBusConnection* connection = nullptr;
    guint subscription = 0;
    std::string name = "light";
    std::function<void()> handler;
    State() = default;
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() {
      if (connection != nullptr) g_object_unref(connection);
      g_object_unref(cancellable);
    }
    void set(std::uint32_t scheme) {
      std::string next = appearanceNameForColorScheme(scheme);
      if (next == name) return;
      name = std::move(next);
      if (handler) handler();
    }
  };
  using Shared = std::shared_ptr<State>;

  static void connected(GObject*, GAsyncResult* result, gpointer data) {
    Shared state = std::move(*static_cast<Shared*>(data));
    delete static_cast<Shared*>(data);
    GDBusConnection* connection = g_dbus_connection_new_for_address_finish(result, nullptr);
    if (connection == nullptr) return;  // no bus: stays light
    if (g_cancellable_is_cancelled(state->cancellable)) {
      g_object_unref(connection);
      return;
    }
    g_dbus_connection_set_exit_on_close(connection, FALSE);
    state->connection = connection;
    // Subscribed before reading, so no change falls between the two.
    state->subscription = g_dbus_connection_signal_subscribe(
        connection, kPortalName, kSettings, "SettingChanged", kPortalPath, kNamespace, G_DBUS_SIGNAL_FLAGS_NONE,
        &PortalAppearance::changed, new Shared(state), [](gpointer p) { delete static_cast<Shared*>(p); });
    g_dbus_connection_call(connection, kPortalName, kPortalPath, kSettings, "Read",
                           g_variant_new("(ss)", kNamespace, kKey), G_VARIANT_TYPE("(v)"), G_DBUS_CALL_FLAGS_NONE,
                           kReadTimeoutMs, state->cancellable, &PortalAppearance::read, new Shared(state));
  }

  static void read(GObject* source, GAsyncResult* result, gpointer data) {
    Shared state = std::move(*static_cast<Shared*>(data));
    delete static_cast<Shared*>(data);
    GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, nullptr);
    if (reply == nullptr) return;  // no portal, or no such setting: stays light
    GVariant* value = g_variant_get_child_value(reply, 0);
    if (auto scheme = colorSchemeOf(value); scheme && !g_cancellable_is_cancelled(state->cancellable)) {
      state->set(*scheme);
    }
    g_variant_unref(value);
    g_variant_unref(reply);
  }

  static void changed(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*, GVariant* parameters,
                      gpointer data) {
    const Shared& state = *static_cast<Shared*>(data);
    if (g_cancellable_is_cancelled(state->cancellable) || !g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ssv)"))) {
      return;
    }
    const gchar* ns = nullptr;
    const gchar* key = nullptr;
    GVariant* value = nullptr;
    g_variant_get(parameters, "(&s&sv)", &ns, &key, &value);
    if (std::string_view(ns) == kNamespace && std::string_view(key) == kKey) {
      if (auto scheme = colorSchemeOf(value)) state->set(*scheme);
    }
    g_variant_unref(value);
  }

  Shared state_;
};

}  // namespace

std::shared_ptr<AppearanceSource> makeDesktopAppearance(std::optional<std::string> busAddress) {
  return std::make_shared<PortalAppearance>(std::move(busAddress));
}

}  // namespace Plinth
