// VantorLauncher: the login item of the main application.
#include <memory>

#include "Keel/core/bundle.h"
#include "Plinth/desktop/application.h"
#include "VantorLauncher/app_delegate.h"

int main(int argc, char** argv) {
  return Plinth::applicationMain(argc, argv, [](Plinth::Application& application) {
    return std::make_unique<VantorLauncher::AppDelegate>(VantorLauncher::AppDelegate::Environment{
        &application, Plinth::Workspace::shared(), Plinth::DistributedNotificationCenter::defaultCenter(),
        []() -> std::optional<std::string> {
          if (auto bundle = Keel::Bundle::main()) return bundle->bundlePath().string();
          return std::nullopt;
        },
        VantorLauncher::writeToStandardError, &Plinth::SessionScopes::shared()});
  });
}
