// The desktop portal's file chooser as the folder picker, over GDBus.
#include "Plinth/permissions/portal_folder_picker_linux.h"

#include <atomic>
#include <memory>
#include <string>
#include <utility>

#include "Keel/core/message_bus_linux.h"

namespace Plinth {
namespace {

namespace bus = Keel::detail;

constexpr const char* portalName = "org.freedesktop.portal.Desktop";
constexpr const char* portalPath = "/org/freedesktop/portal/desktop";
// A bus answers a connection at once; the portal may first have to be
// started, which takes longer. A bus or portal that has not answered by then
// counts as no portal. The user's choice itself has no time limit.
constexpr std::chrono::milliseconds connectTimeout{3000};
constexpr std::chrono::milliseconds callTimeout{30000};

// One open request, shared by the callbacks that may still come for it; all
// of them run on the context of the thread that began it.
struct Request {
  OpenPanelOptions options;
  Window* window = nullptr;
  std::shared_ptr<FolderPicker> fallback;
  FolderPickerCompletion completion;
  std::unique_ptr<bus::BusConnection> bus;
  bus::SignalSubscription response;
  std::string requestPath;
  bool finished = false;
};
using Shared = std::shared_ptr<Request>;

void finish(Request& request, ModalResponse response, std::optional<Keel::URL> url) {
  if (request.finished) return;
  request.finished = true;
  request.response.reset();
  request.bus->close();
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

void onResponse(Request& request, GVariant* parameters) {
  if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ua{sv})"))) return;
  guint32 response = 2;
  GVariant* results = nullptr;
  g_variant_get(parameters, "(u@a{sv})", &response, &results);
  const bus::VariantPtr owned(results);
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
  finish(request, response == 0 ? ModalResponse::OK : ModalResponse::cancel, std::move(url));
}

void subscribe(const Shared& request, GDBusConnection* connection, const std::string& path) {
  request->requestPath = path;
  request->response = bus::SignalSubscription(
      connection, {portalName, "org.freedesktop.portal.Request", "Response", path.c_str()},
      [weak = std::weak_ptr<Request>(request)](GVariant* parameters) {
        if (const auto held = weak.lock()) onResponse(*held, parameters);
      });
}

std::string nextToken() {
  static std::atomic<unsigned> counter{0};
  return "vantor_folder_" + std::to_string(counter.fetch_add(1) + 1);
}

// On the caller's context once connecting has ended.
void ask(const Shared& request, bus::BusClock::time_point deadline) {
  if (request->finished) return;
  const auto connection = request->bus->get();
  if (!connection) {
    unavailable(*request);
    return;
  }
  // Holds the request until it finishes, which closes the connection.
  request->bus->setClosedHandler(
      [request](const std::string&) { finish(*request, ModalResponse::cancel, std::nullopt); });

  // The portal answers on /org/freedesktop/portal/desktop/request/SENDER/TOKEN,
  // SENDER being our unique name without ":" and with "_" for ".". Listening
  // there before the call means the answer cannot be missed.
  const gchar* unique = g_dbus_connection_get_unique_name(connection.get());
  std::string sender = unique != nullptr ? unique : "";
  if (!sender.empty() && sender.front() == ':') sender.erase(0, 1);
  for (char& c : sender) {
    if (c == '.') c = '_';
  }
  const std::string token = nextToken();
  subscribe(request, connection.get(), std::string(portalPath) + "/request/" + sender + "/" + token);

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
  bus::call(connection.get(),
            {portalName, portalPath, "org.freedesktop.portal.FileChooser", "OpenFile",
             g_variant_new("(ssa{sv})", "", "", &builder), G_VARIANT_TYPE("(o)")},
            deadline, [request](bus::VariantPtr reply, const bus::GErrorSlot&) {
              if (!reply) {
                unavailable(*request);
                return;
              }
              const gchar* handle = nullptr;
              g_variant_get(reply.get(), "(&o)", &handle);
              // Portals older than the handle_token convention pick their own path.
              if (request->finished || request->requestPath == handle) return;
              if (const auto current = request->bus->get()) subscribe(request, current.get(), handle);
            });
}

}  // namespace

void PortalFolderPicker::beginSheet(const OpenPanelOptions& options, Window* window,
                                    FolderPickerCompletion completion) {
  auto request = std::make_shared<Request>();
  request->options = options;
  request->window = window;
  request->fallback = fallback_;
  request->completion = std::move(completion);
  const auto deadline = bus::BusClock::now() + callTimeout;
  // No bus at all settles at once, but still answers from the caller's loop,
  // as a panel does.
  request->bus = std::make_unique<bus::BusConnection>(bus::BusType::session, busAddress_, connectTimeout);
  request->bus->whenSettled([request, deadline] { ask(request, deadline); });
}

}  // namespace Plinth
