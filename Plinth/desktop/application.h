// The application object and its main loop: the process hands control to
// applicationMain, which creates the delegate, tells it that launching has
// finished and serves the main run loop until the application terminates.
#pragma once

#include <functional>
#include <memory>

namespace Plinth {

class ApplicationDelegate {
 public:
  virtual ~ApplicationDelegate() = default;
  // Called once, on the main thread, from the main run loop.
  virtual void applicationDidFinishLaunching() = 0;
};

class Application {
 public:
  virtual ~Application() = default;
  // Ends the main loop once the current work is done; applicationMain then
  // returns `exitStatus`. Any thread.
  virtual void terminate(int exitStatus) = 0;
};

using ApplicationDelegateFactory = std::function<std::unique_ptr<ApplicationDelegate>(Application&)>;

// Runs the application on the calling (main) thread: makes the delegate,
// calls its end-of-launch handler from the main run loop, and serves the loop
// until terminate() or a request from the system to end (SIGTERM, SIGINT,
// SIGHUP, as at logout: status 0). Returns the exit status.
int applicationMain(int argc, char** argv, const ApplicationDelegateFactory& makeDelegate);

}  // namespace Plinth
