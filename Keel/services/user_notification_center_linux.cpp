// The freedesktop notification service over GDBus, with GNOME's
// per-application switch as the user's "off".
#include "Keel/services/user_notification_center_linux.h"

#include <gio/gio.h>

#include <deque>
#include <map>
#include <mutex>
#include <utility>

#include "Keel/core/bundle.h"
#include "Keel/core/dispatch_queue.h"
#include "Keel/services/user_defaults.h"

namespace Keel {
namespace {

constexpr const char* kService = "org.freedesktop.Notifications";
constexpr const char* kPath = "/org/freedesktop/Notifications";
constexpr const char* kInterface = "org.freedesktop.Notifications";
constexpr int kCallTimeoutMs = 5000;
constexpr std::size_t kRememberedIdentifiers = 1024;

NotificationError errorOf(GError* error, const char* fallback) {
  NotificationError result{error != nullptr ? error->message : fallback};
  g_clear_error(&error);
  return result;
}

// GVariant texts must be UTF-8; anything else is repaired rather than lost.
std::string validUtf8(const std::string& text) {
  gchar* valid = g_utf8_make_valid(text.c_str(), static_cast<gssize>(text.size()));
  std::string result(valid);
  g_free(valid);
  return result;
}

bool gnomeTurnedOff(const std::string& applicationId) {
  GSettingsSchemaSource* source = g_settings_schema_source_get_default();
  if (source == nullptr) return false;
  GSettingsSchema* schema =
      g_settings_schema_source_lookup(source, "org.gnome.desktop.notifications.application", TRUE);
  if (schema == nullptr) return false;  // not a GNOME desktop: no switch to read
  GSettings* settings = g_settings_new_full(schema, nullptr, gnomeNotificationPolicyPath(applicationId).c_str());
  const bool enabled = g_settings_get_boolean(settings, "enable") != FALSE;
  g_object_unref(settings);
  g_settings_schema_unref(schema);
  return !enabled;
}

}  // namespace

std::string gnomeNotificationPolicyPath(std::string_view applicationId) {
  std::string canonical;
  for (const char c : applicationId) {
    const char lower = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
    canonical += ((lower >= 'a' && lower <= 'z') || (lower >= '0' && lower <= '9') || lower == '-') ? lower : '-';
  }
  return "/org/gnome/desktop/notifications/application/" + canonical + "/";
}

struct DesktopNotificationCenter::State {
  DesktopNotificationOptions options;
  DispatchQueue queue{"com.keel.usernotifications"};
  GDBusConnection* connection = nullptr;  // used on `queue` only

  mutable std::mutex idsMutex;
  std::map<std::string, std::uint32_t> ids;  // guarded by idsMutex
  std::deque<std::string> idOrder;           // guarded by idsMutex

  explicit State(DesktopNotificationOptions o) : options(std::move(o)) {}

  ~State() {
    if (connection != nullptr) {
      g_dbus_connection_close_sync(connection, nullptr, nullptr);
      g_object_unref(connection);
    }
  }

  // The bus connection, made again after the bus went away; nullptr when
  // there is no bus. On `queue` only.
  GDBusConnection* connect(GError** error) {
    if (connection != nullptr && g_dbus_connection_is_closed(connection) == FALSE) return connection;
    if (connection != nullptr) g_clear_object(&connection);
    gchar* address = options.busAddress ? g_strdup(options.busAddress->c_str())
                                        : g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, error);
    if (address == nullptr) return nullptr;
    connection = g_dbus_connection_new_for_address_sync(
        address,
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, error);
    g_free(address);
    // The default would send this process SIGTERM when the bus dies.
    if (connection != nullptr) g_dbus_connection_set_exit_on_close(connection, FALSE);
    return connection;
  }

  // Nothing when a notification server answers; otherwise why not.
  std::optional<NotificationError> serverProblem() {
    GError* error = nullptr;
    GDBusConnection* bus = connect(&error);
    if (bus == nullptr) return errorOf(error, "There is no session bus.");
    GVariant* reply =
        g_dbus_connection_call_sync(bus, kService, kPath, kInterface, "GetServerInformation", nullptr,
                                    G_VARIANT_TYPE("(ssss)"), G_DBUS_CALL_FLAGS_NONE, kCallTimeoutMs, nullptr, &error);
    if (reply == nullptr) return errorOf(error, "No notification server answers.");
    g_variant_unref(reply);
    return std::nullopt;
  }

  bool turnedOff() const {
    return options.turnedOffByUser ? options.turnedOffByUser() : gnomeTurnedOff(options.applicationId);
  }

  std::optional<NotificationError> show(const NotificationRequest& request) {
    GError* error = nullptr;
    GDBusConnection* bus = connect(&error);
    if (bus == nullptr) return errorOf(error, "There is no session bus.");
    GVariantBuilder hints;
    g_variant_builder_init(&hints, G_VARIANT_TYPE("a{sv}"));
    if (request.content.defaultSound) {
      g_variant_builder_add(&hints, "{sv}", "sound-name", g_variant_new_string("message-new-instant"));
    }
    g_variant_builder_add(&hints, "{sv}", "desktop-entry",
                          g_variant_new_string(validUtf8(options.applicationId).c_str()));
    g_variant_builder_add(&hints, "{sv}", "x-keel-request-identifier",
                          g_variant_new_string(validUtf8(request.identifier).c_str()));
    GVariant* parameters =
        g_variant_new("(susssas@a{sv}i)", validUtf8(options.applicationName).c_str(), 0u, "",
                      validUtf8(request.content.title).c_str(), validUtf8(request.content.body).c_str(), nullptr,
                      g_variant_builder_end(&hints), -1);
    GVariant* reply =
        g_dbus_connection_call_sync(bus, kService, kPath, kInterface, "Notify", parameters, G_VARIANT_TYPE("(u)"),
                                    G_DBUS_CALL_FLAGS_NONE, kCallTimeoutMs, nullptr, &error);
    if (reply == nullptr) return errorOf(error, "The notification server did not answer.");
    guint32 id = 0;
    g_variant_get(reply, "(u)", &id);
    g_variant_unref(reply);
    std::lock_guard lock(idsMutex);
    ids[request.identifier] = id;
    idOrder.push_back(request.identifier);
    if (idOrder.size() > kRememberedIdentifiers) {
      ids.erase(idOrder.front());
      idOrder.pop_front();
    }
    return std::nullopt;
  }
};

DesktopNotificationCenter::DesktopNotificationCenter(DesktopNotificationOptions options)
    : state_(std::make_shared<State>(std::move(options))) {}

DesktopNotificationCenter::~DesktopNotificationCenter() = default;

void DesktopNotificationCenter::requestAuthorization(unsigned, AuthorizationCompletion completion) {
  state_->queue.async([state = state_, completion = std::move(completion)] {
    auto problem = state->serverProblem();
    if (!problem && state->turnedOff()) problem = NotificationError{"The user turned notifications off."};
    const bool granted = !problem;
    if (completion) completion(granted, std::move(problem));
  });
}

void DesktopNotificationCenter::getNotificationSettings(SettingsCompletion completion) {
  state_->queue.async([state = state_, completion = std::move(completion)] {
    NotificationSettings settings;
    if (state->turnedOff()) {
      settings.authorizationStatus = AuthorizationStatus::denied;
    } else if (!state->serverProblem()) {
      settings.authorizationStatus = AuthorizationStatus::authorized;
    }
    if (completion) completion(settings);
  });
}

void DesktopNotificationCenter::add(NotificationRequest request, AddCompletion completion) {
  state_->queue.async([state = state_, request = std::move(request), completion = std::move(completion)] {
    auto error = state->show(request);
    if (completion) completion(std::move(error));
  });
}

std::optional<std::uint32_t> DesktopNotificationCenter::serverIdentifier(const std::string& identifier) const {
  std::lock_guard lock(state_->idsMutex);
  auto found = state_->ids.find(identifier);
  if (found == state_->ids.end()) return std::nullopt;
  return found->second;
}

UserNotificationCenter& UserNotificationCenter::current() {
  static DesktopNotificationCenter* const center = [] {
    DesktopNotificationOptions options;
    options.applicationId = standardDomainName();
    const auto bundle = Bundle::main();
    options.applicationName =
        bundle ? bundle->infoString("CFBundleName").value_or(options.applicationId) : options.applicationId;
    return new DesktopNotificationCenter(std::move(options));
  }();
  return *center;
}

}  // namespace Keel
