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
#include "Keel/core/message_bus_linux.h"
#include "Keel/services/user_defaults.h"

namespace Keel {
namespace {

constexpr const char* notificationsName = "org.freedesktop.Notifications";
constexpr const char* notificationsPath = "/org/freedesktop/Notifications";
constexpr const char* notificationsInterface = "org.freedesktop.Notifications";
constexpr std::size_t rememberedIdentifiers = 1024;

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
  std::unique_ptr<detail::BusConnection> bus;  // on `queue` only
  detail::BusClock::time_point retryAfter;     // on `queue` only: a failed bus is not asked again before

  mutable std::mutex idsMutex;
  std::map<std::string, std::uint32_t> ids;  // guarded by idsMutex
  std::deque<std::string> idOrder;           // guarded by idsMutex

  explicit State(DesktopNotificationOptions o) : options(std::move(o)) {}

  // The bus connection, made again after the bus went away, or why there is
  // none. A bus that did not answer is not asked again for one response
  // time-out, so that the work queued behind a silent bus fails at once
  // instead of waiting its turn for a deadline each. On `queue` only.
  Result<detail::GObjectPtr<GDBusConnection>, NotificationError> connect() {
    const auto now = detail::BusClock::now();
    if (bus && (bus->get() || now < retryAfter)) {
      if (auto connection = bus->get()) return connection;
      return NotificationError{bus->status().error()};
    }
    bus = std::make_unique<detail::BusConnection>(detail::BusType::session, options.busAddress,
                                                  options.responseTimeout);
    if (auto connection = bus->wait()) return connection;
    retryAfter = detail::BusClock::now() + options.responseTimeout;
    return NotificationError{bus->status().errorOr("There is no session bus.")};
  }

  // Nothing when a notification server answers; otherwise why not.
  std::optional<NotificationError> serverProblem() {
    const auto deadline = detail::BusClock::now() + options.responseTimeout;
    const auto connection = connect();
    if (!connection) return connection.error();
    detail::GErrorSlot error;
    if (!detail::callSync(connection->get(),
                          {notificationsName, notificationsPath, notificationsInterface, "GetServerInformation",
                           nullptr, G_VARIANT_TYPE("(ssss)")},
                          deadline, error)) {
      return NotificationError{error.message("No notification server answers.")};
    }
    return std::nullopt;
  }

  bool turnedOff() const {
    return options.turnedOffByUser ? options.turnedOffByUser() : gnomeTurnedOff(options.applicationId);
  }

  std::optional<NotificationError> show(const NotificationRequest& request) {
    const auto deadline = detail::BusClock::now() + options.responseTimeout;
    const auto connection = connect();
    if (!connection) return connection.error();
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
    detail::GErrorSlot error;
    const auto reply = detail::callSync(
        connection->get(),
        {notificationsName, notificationsPath, notificationsInterface, "Notify", parameters, G_VARIANT_TYPE("(u)")},
        deadline, error);
    if (!reply) return NotificationError{error.message("The notification server did not answer.")};
    guint32 id = 0;
    g_variant_get(reply.get(), "(u)", &id);
    std::lock_guard lock(idsMutex);
    ids[request.identifier] = id;
    idOrder.push_back(request.identifier);
    if (idOrder.size() > rememberedIdentifiers) {
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
