// Run loops on GLib main contexts. The main loop is the default GMainContext,
// so GDBus callbacks and other GLib sources of the main thread share it.
#include "Keel/core/run_loop.h"

#include <glib-unix.h>
#include <glib.h>

#include <atomic>
#include <csignal>
#include <deque>
#include <mutex>

namespace Keel {

struct RunLoop::Impl {
  GMainContext* context;
  GMainLoop* loop;
  bool ownsContext;
  std::atomic<int> running{0};

  std::mutex mutex;
  std::deque<std::function<void()>> queue;  // guarded by mutex
  GSource* drainSource = nullptr;           // guarded by mutex; set while a drain is pending

  std::function<void()> terminationHandler;  // touched on the loop's thread only
  guint signalSources[3] = {0, 0, 0};

  explicit Impl(GMainContext* ctx, bool owns) : context(ctx), loop(g_main_loop_new(ctx, FALSE)), ownsContext(owns) {}

  ~Impl() {
    {
      std::lock_guard lock(mutex);
      if (drainSource != nullptr) {
        g_source_destroy(drainSource);
        g_source_unref(drainSource);
      }
    }
    for (guint id : signalSources) {
      if (id != 0) {
        if (GSource* s = g_main_context_find_source_by_id(context, id)) g_source_destroy(s);
      }
    }
    g_main_loop_unref(loop);
    if (ownsContext) g_main_context_unref(context);
  }

  // Runs everything queued so far, in order. New work posted meanwhile
  // schedules another drain, so order is kept across drains.
  static gboolean drain(gpointer data) {
    auto* self = static_cast<Impl*>(data);
    std::deque<std::function<void()>> batch;
    {
      std::lock_guard lock(self->mutex);
      batch.swap(self->queue);
      g_source_unref(self->drainSource);
      self->drainSource = nullptr;
    }
    for (auto& work : batch) work();
    return G_SOURCE_REMOVE;
  }

  void post(std::function<void()> work) {
    std::lock_guard lock(mutex);
    queue.push_back(std::move(work));
    if (drainSource != nullptr) return;
    // The loop keeps its own reference; ours lets the destructor cancel it.
    drainSource = g_idle_source_new();
    g_source_set_priority(drainSource, G_PRIORITY_DEFAULT);
    g_source_set_callback(drainSource, &Impl::drain, this, nullptr);
    g_source_attach(drainSource, context);
  }

  static gboolean onSignal(gpointer data) {
    auto* self = static_cast<Impl*>(data);
    if (self->terminationHandler) self->terminationHandler();
    return G_SOURCE_CONTINUE;
  }
};

RunLoop::RunLoop() : impl_(std::make_unique<Impl>(g_main_context_new(), true)) {}

RunLoop::RunLoop(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

RunLoop::~RunLoop() = default;

RunLoop& RunLoop::main() {
  static auto* const mainLoop = new RunLoop(std::make_unique<Impl>(g_main_context_default(), false));
  return *mainLoop;
}

void RunLoop::run() {
  const bool pushed = impl_->ownsContext;
  if (pushed) g_main_context_push_thread_default(impl_->context);
  impl_->running.fetch_add(1);
  g_main_loop_run(impl_->loop);
  impl_->running.fetch_sub(1);
  if (pushed) g_main_context_pop_thread_default(impl_->context);
}

void RunLoop::stop() {
  GMainLoop* loop = impl_->loop;
  impl_->post([loop] { g_main_loop_quit(loop); });
}

void RunLoop::perform(std::function<void()> work) { impl_->post(std::move(work)); }

void RunLoop::setTerminationHandler(std::function<void()> handler) {
  Impl* impl = impl_.get();
  impl->post([impl, handler = std::move(handler)]() mutable {
    impl->terminationHandler = std::move(handler);
    const int signals[3] = {SIGTERM, SIGINT, SIGHUP};
    for (int i = 0; i < 3; ++i) {
      if (impl->signalSources[i] != 0) continue;
      GSource* source = g_unix_signal_source_new(signals[i]);
      g_source_set_callback(source, &Impl::onSignal, impl, nullptr);
      impl->signalSources[i] = g_source_attach(source, impl->context);
      g_source_unref(source);
    }
  });
}

bool RunLoop::isRunning() const { return impl_->running.load() > 0; }

}  // namespace Keel
