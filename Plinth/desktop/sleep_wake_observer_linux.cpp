// logind's sleep signal over GDBus, served by the main run loop.
#include "Plinth/desktop/sleep_wake_observer_linux.h"

#include <atomic>
#include <mutex>
#include <utility>

#include "Keel/core/message_bus_linux.h"
#include "Keel/core/run_loop.h"

namespace Plinth {
namespace {

namespace bus = Keel::detail;

constexpr const char* logindName = "org.freedesktop.login1";
constexpr const char* logindPath = "/org/freedesktop/login1";
constexpr const char* logindInterface = "org.freedesktop.login1.Manager";
constexpr const char* sleepSignal = "PrepareForSleep";
// Connecting, then confirming the subscription, each within this.
constexpr std::chrono::milliseconds responseTimeout{3000};

}  // namespace

struct LogindSleepEvents::State {
  std::optional<std::string> busAddress;
  std::function<void(bool)> onListening;
  Handler handler;  // set once by start(), before any callback can run
  std::atomic<bool> stopped{false};

  std::mutex mutex;  // guards the two below
  std::unique_ptr<bus::BusConnection> bus;
  bus::SignalSubscription subscription;

  void listening(bool confirmed) const {
    if (onListening && !stopped) onListening(confirmed);
  }

  // On the main run loop, whose context then serves the signals.
  static void connect(const std::shared_ptr<State>& state) {
    auto made = std::make_unique<bus::BusConnection>(bus::BusType::system, state->busAddress, responseTimeout);
    made->whenSettled([state] { subscribe(state); });
    {
      std::lock_guard lock(state->mutex);
      if (!state->stopped) state->bus = std::move(made);
    }
    // Stopped meanwhile: `made` closes here.
  }

  static void subscribe(const std::shared_ptr<State>& state) {
    bus::GObjectPtr<GDBusConnection> connection;
    {
      std::lock_guard lock(state->mutex);
      if (state->stopped) return;
      connection = state->bus->get();
    }
    if (!connection) return state->listening(false);
    // Only logind's name may tell of sleep, so no other client can fake one.
    bus::SignalSubscription subscription(
        connection.get(), {logindName, logindInterface, sleepSignal, logindPath},
        [weak = std::weak_ptr<State>(state)](GVariant* parameters) {
          const auto held = weak.lock();
          // Anything but one boolean is not the signal we know.
          if (!held || held->stopped || !g_variant_is_of_type(parameters, G_VARIANT_TYPE("(b)"))) return;
          gboolean goingToSleep = FALSE;
          g_variant_get(parameters, "(b)", &goingToSleep);
          held->handler(goingToSleep != FALSE);
        });
    {
      std::lock_guard lock(state->mutex);
      if (state->stopped) return;
      state->subscription = std::move(subscription);
    }
    // The bus handles our messages in order: once it answers this, it has
    // installed the match rule the subscription sent before.
    bus::call(connection.get(),
              {"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId", nullptr,
               G_VARIANT_TYPE("(s)")},
              bus::BusClock::now() + responseTimeout,
              [state](bus::VariantPtr reply, const bus::GErrorSlot&) { state->listening(reply != nullptr); });
  }
};

LogindSleepEvents::LogindSleepEvents() : LogindSleepEvents(Options{}) {}

LogindSleepEvents::LogindSleepEvents(Options options) : state_(std::make_shared<State>()) {
  state_->busAddress = std::move(options.busAddress);
  state_->onListening = std::move(options.onListening);
}

LogindSleepEvents::~LogindSleepEvents() {
  state_->stopped = true;
  std::unique_ptr<bus::BusConnection> connection;
  bus::SignalSubscription subscription;
  {
    std::lock_guard lock(state_->mutex);
    connection = std::move(state_->bus);
    subscription = std::move(state_->subscription);
  }
  subscription.reset();
}

void LogindSleepEvents::start(Handler handler) {
  state_->handler = std::move(handler);
  Keel::RunLoop::main().perform([state = state_] {
    if (!state->stopped) State::connect(state);
  });
}

std::unique_ptr<SleepEventSource> SleepEventSource::system() { return std::make_unique<LogindSleepEvents>(); }

}  // namespace Plinth
