// The desktop portal's file chooser as the folder picker, over GDBus.
#include "Plinth/permissions/portal_folder_picker_linux.h"

#include <gio/gio.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

namespace Plinth {
namespace {

constexpr const char* portalName = "org.freedesktop.portal.Desktop";
constexpr const char* portalPath = "/org/freedesktop/portal/desktop";
// Reaching the bus and the portal's answer to the call (not the user's) must
// not take longer than this; a wedged bus then counts as no portal.
constexpr guint callTimeoutSeconds = 30;

std::optional<std::string> sessionBusAddress() {
  const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  if (address != nullptr && *address != '\0') return std::string(address);
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime == nullptr || *runtime == '\0') return std::nullopt;
  const std::string socket = std::string(runtime) + "/bus";
  struct stat info {};
  if (stat(socket.c_str(), &info) != 0 || !S_ISSOCK(info.st_mode)) return std::nullopt;
  gchar* escaped = g_dbus_address_escape_value(socket.c_str());
  std::string result = std::string("unix:path=") + escaped;
  g_free(escaped);
  return result;
}

// One open request. Every GLib callback holds a shared reference through a
// heap-allocated Holder that its destroy-notify (or the callback) frees.
struct Request {
  OpenPanelOptions options;
  Window* window = nullptr;
  std::shared_ptr<FolderPicker> fallback;
  FolderPickerCompletion completion;
  GMainContext* context = nullptr;
  GCancellable* cancellable = g_cancellable_new();
  GDBusConnection* connection = nullptr;
  GSource* timeout = nullptr;
  guint subscription = 0;
  gulong closedHandler = 0;
  std::string requestPath;
  bool answered = false;  // the call returned (the user may still be choosing)
  bool finished = false;

  ~Request() {
    if (connection != nullptr) g_object_unref(connection);
    g_object_unref(cancellable);
    if (context != nullptr) g_main_context_unref(context);
  }
};
using Holder = std::shared_ptr<Request>;

gpointer hold(const Holder& request) { return new Holder(request); }
void release(gpointer data) { delete static_cast<Holder*>(data); }
Request& requestOf(gpointer data) { return **static_cast<Holder*>(data); }

void finish(Request& request, ModalResponse response, std::optional<Keel::URL> url) {
  if (request.finished) return;
  request.finished = true;
  if (request.timeout != nullptr) {
    g_source_destroy(request.timeout);
    g_source_unref(request.timeout);
    request.timeout = nullptr;
  }
  if (request.connection != nullptr) {
    if (request.subscription != 0) g_dbus_connection_signal_unsubscribe(request.connection, request.subscription);
    if (request.closedHandler != 0) g_signal_handler_disconnect(request.connection, request.closedHandler);
    request.subscription = 0;
    request.closedHandler = 0;
    g_dbus_connection_close(request.connection, nullptr, nullptr, nullptr);
  }
  auto completion = std::move(request.completion);
  if (completion) completion(response, std::move(url));
}

// No portal to ask: the fallback picker takes the request over, else cancel.
void unavailable(Request& request) {
  if (request.finished) return;
  if (!request.fallback) {
    finish(request, ModalResponse::cancel, std::nullopt);
    return;
  }
  auto completion = std::move(request.completion);
  request.completion = nullptr;
  finish(request, ModalResponse::cancel, std::nullopt);  // only releases the bus
  request.fallback->beginSheet(request.options, request.window, std::move(completion));
}

void onResponse(GDBusConnection* /*connection*/, const gchar* /*sender*/, const gchar* /*path*/,
                const gchar* /*interface*/, const gchar* /*signal*/, GVariant* parameters, gpointer data) {
  Request& request = requestOf(data);
  if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ua{sv})"))) return;
  guint32 response = 2;
  GVariant* results = nullptr;
  g_variant_get(parameters, "(u@a{sv})", &response, &results);
  std::optional<Keel::URL> url;
  if (response == 0) {
    const gchar** uris = nullptr;
    if (g_variant_lookup(results, "uris", "^a&s", &uris)) {
      if (uris != nullptr && uris[0] != nullptr) {
        if (gchar* path = g_filename_from_uri(uris[0], nullptr, nullptr)) {
          url = Keel::URL::fileURL(path, true);
          g_free(path);
        }
      }
      g_free(static_cast<gpointer>(uris));
    }
  }
  g_variant_unref(results);
  finish(request, response == 0 ? ModalResponse::OK : ModalResponse::cancel, std::move(url));
}

void subscribe(const Holder& request, const std::string& path) {
  if (request->subscription != 0) g_dbus_connection_signal_unsubscribe(request->connection, request->subscription);
  request->requestPath = path;
  request->subscription = g_dbus_connection_signal_subscribe(
      request->connection, portalName, "org.freedesktop.portal.Request", "Response", path.c_str(), nullptr,
      G_DBUS_SIGNAL_FLAGS_NONE, onResponse, hold(request), release);
}

void onCalled(GObject* source, GAsyncResult* result, gpointer data) {
  Holder request = *static_cast<Holder*>(data);
  release(data);
  GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, nullptr);
  request->answered = true;
  if (reply == nullptr) {
    unavailable(*request);
    return;
  }
  const gchar* handle = nullptr;
  g_variant_get(reply, "(&o)", &handle);
  // Portals older than the handle_token convention pick their own path.
  if (!request->finished && request->requestPath != handle) subscribe(request, handle);
  g_variant_unref(reply);
}

std::string nextToken() {
  static std::atomic<unsigned> counter{0};
  return "vantor_folder_" + std::to_string(counter.fetch_add(1) + 1);
}

void onClosed(GDBusConnection* /*connection*/, gboolean /*remotePeerVanished*/, GError* /*error*/, gpointer data) {
  finish(requestOf(data), ModalResponse::cancel, std::nullopt);
}

void onConnected(GObject* /*source*/, GAsyncResult* result, gpointer data) {
  Holder request = *static_cast<Holder*>(data);
  release(data);
  GDBusConnection* connection = g_dbus_connection_new_for_address_finish(result, nullptr);
  if (connection == nullptr) {
    unavailable(*request);
    return;
  }
  request->connection = connection;
  g_dbus_connection_set_exit_on_close(connection, FALSE);
  if (request->finished) {
    g_dbus_connection_close(connection, nullptr, nullptr, nullptr);
    return;
  }
  request->closedHandler = g_signal_connect_data(
      connection, "closed", G_CALLBACK(onClosed), hold(request), [](gpointer held, GClosure*) { release(held); },
      GConnectFlags{});

  // The portal answers on /org/freedesktop/portal/desktop/request/SENDER/TOKEN,
  // SENDER being our unique name without ":" and with "_" for ".". Listening
  // there before the call means the answer cannot be missed.
  const gchar* unique = g_dbus_connection_get_unique_name(connection);
  std::string sender = unique != nullptr ? unique : "";
  if (!sender.empty() && sender.front() == ':') sender.erase(0, 1);
  for (char& c : sender) {
    if (c == '.') c = '_';
  }
  const std::string token = nextToken();
  subscribe(request, std::string(portalPath) + "/request/" + sender + "/" + token);

  const OpenPanelOptions& options = request->options;
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
  g_variant_builder_add(&builder, "{sv}", "handle_token", g_variant_new_string(token.c_str()));
  g_variant_builder_add(&builder, "{sv}", "multiple", g_variant_new_boolean(options.allowsMultipleSelection));
  g_variant_builder_add(&builder, "{sv}", "directory", g_variant_new_boolean(options.canChooseDirectories));
  g_variant_builder_add(&builder, "{sv}", "modal", g_variant_new_boolean(TRUE));
  if (!options.prompt.empty()) {
    g_variant_builder_add(&builder, "{sv}", "accept_label", g_variant_new_string(options.prompt.c_str()));
  }
  const auto folder = options.directory.path();
  if (options.directory.isFileURL() && !folder.empty()) {
    // A byte string: the NUL terminator is part of the value, as the portal wants.
    g_variant_builder_add(&builder, "{sv}", "current_folder", g_variant_new_bytestring(folder.c_str()));
  }
  g_dbus_connection_call(connection, portalName, portalPath, "org.freedesktop.portal.FileChooser", "OpenFile",
                         g_variant_new("(ssa{sv})", "", "", &builder), G_VARIANT_TYPE("(o)"), G_DBUS_CALL_FLAGS_NONE,
                         static_cast<gint>(callTimeoutSeconds * 1000), request->cancellable, onCalled, hold(request));
}

gboolean onTimeout(gpointer data) {
  Request& request = requestOf(data);
  if (!request.answered) g_cancellable_cancel(request.cancellable);
  return G_SOURCE_REMOVE;
}

gboolean onNoBus(gpointer data) {
  unavailable(requestOf(data));
  return G_SOURCE_REMOVE;
}

}  // namespace

void PortalFolderPicker::beginSheet(const OpenPanelOptions& options, Window* window,
                                    FolderPickerCompletion completion) {
  auto request = std::make_shared<Request>();
  request->options = options;
  request->window = window;
  request->fallback = fallback_;
  request->completion = std::move(completion);
  request->context = g_main_context_ref_thread_default();

  const auto address = busAddress_ ? busAddress_ : sessionBusAddress();
  if (!address) {
    // Still asynchronous, as a panel is: the caller hears the answer from its loop.
    GSource* idle = g_idle_source_new();
    g_source_set_callback(idle, onNoBus, hold(request), release);
    g_source_attach(idle, request->context);
    g_source_unref(idle);
    return;
  }
  request->timeout = g_timeout_source_new_seconds(callTimeoutSeconds);
  g_source_set_callback(request->timeout, onTimeout, hold(request), release);
  g_source_attach(request->timeout, request->context);
  g_dbus_connection_new_for_address(address->c_str(),
                                    static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                                      G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
                                    nullptr, request->cancellable, onConnected, hold(request));
}

}  // namespace Plinth
