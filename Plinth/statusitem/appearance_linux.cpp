// The desktop portal's colour scheme over GDBus, asynchronously on the
// constructing thread's main context.
#include "Plinth/statusitem/appearance.h"

#include <string>
#include <utility>

#include "Keel/core/message_bus_linux.h"

namespace Plinth {

namespace {

namespace bus = Keel::detail;

constexpr const char* portalName = "org.freedesktop.portal.Desktop";
constexpr const char* portalPath = "/org/freedesktop/portal/desktop";
constexpr const char* settingsInterface = "org.freedesktop.portal.Settings";
constexpr const char* appearanceNamespace = "org.freedesktop.appearance";
constexpr const char* schemeKey = "color-scheme";
// A bus answers at once; the portal may first have to be started.
constexpr std::chrono::milliseconds connectTimeout{3000};
constexpr std::chrono::milliseconds readTimeout{5000};

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
    state_->bus = std::make_unique<bus::BusConnection>(bus::BusType::session, std::move(busAddress), connectTimeout);
    state_->bus->whenSettled([state = state_] { connected(state); });
  }

  ~PortalAppearance() override {
    state_->handler = nullptr;
    state_->ended = true;
    state_->subscription.reset();
    state_->bus->close();
  }
  PortalAppearance(const PortalAppearance&) = delete;
  PortalAppearance& operator=(const PortalAppearance&) = delete;

  [[nodiscard]] std::string appearanceName() const override { return state_->name; }
  void setChangeHandler(std::function<void()> handler) override { state_->handler = std::move(handler); }

 private:
  // Shared with the callbacks of work under way, so that destroying the
  // source while the bus answers is safe. Everything runs on the
  // constructing thread.
  struct State {
    std::unique_ptr<bus::BusConnection> bus;
    bus::SignalSubscription subscription;
    std::string name = "light";
    std::function<void()> handler;
    bool ended = false;

    void set(std::uint32_t scheme) {
      std::string next = appearanceNameForColorScheme(scheme);
      if (ended || next == name) return;
      name = std::move(next);
      if (handler) handler();
    }
  };
  using Shared = std::shared_ptr<State>;

  static void connected(const Shared& state) {
    const auto connection = state->bus->get();
    if (state->ended || !connection) return;  // no bus: stays light
    // Subscribed before reading, so no change falls between the two.
    state->subscription = bus::SignalSubscription(
        connection.get(), {portalName, settingsInterface, "SettingChanged", portalPath, appearanceNamespace},
        [weak = std::weak_ptr<State>(state)](GVariant* parameters) {
          const auto held = weak.lock();
          if (held) changed(*held, parameters);
        });
    bus::call(connection.get(),
              {portalName, portalPath, settingsInterface, "Read", g_variant_new("(ss)", appearanceNamespace, schemeKey),
               G_VARIANT_TYPE("(v)")},
              bus::BusClock::now() + readTimeout, [state](bus::VariantPtr reply, const bus::GErrorSlot&) {
                if (!reply) return;  // no portal, or no such setting: stays light
                const bus::VariantPtr value(g_variant_get_child_value(reply.get(), 0));
                if (auto scheme = colorSchemeOf(value.get())) state->set(*scheme);
              });
  }

  static void changed(State& state, GVariant* parameters) {
    if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ssv)"))) return;
    const gchar* ns = nullptr;
    const gchar* key = nullptr;
    GVariant* value = nullptr;
    g_variant_get(parameters, "(&s&sv)", &ns, &key, &value);
    const bus::VariantPtr owned(value);
    if (std::string_view(ns) == appearanceNamespace && std::string_view(key) == schemeKey) {
      if (auto scheme = colorSchemeOf(value)) state.set(*scheme);
    }
  }

  Shared state_;
};

}  // namespace

std::shared_ptr<AppearanceSource> makeDesktopAppearance(std::optional<std::string> busAddress) {
  return std::make_shared<PortalAppearance>(std::move(busAddress));
}

}  // namespace Plinth
