#include "Plinth/inventory/alert.h"

#include <mutex>
#include <utility>

#include "Plinth/desktop/resource_bundle.h"

namespace Plinth {

namespace {

std::mutex sharedMutex;
std::shared_ptr<AlertPresenter>& sharedPresenter() {
  static std::shared_ptr<AlertPresenter> presenter;
  return presenter;
}

}  // namespace

std::shared_ptr<AlertPresenter> AlertPresenter::shared() {
  std::lock_guard lock(sharedMutex);
  return sharedPresenter();
}

void AlertPresenter::setShared(std::shared_ptr<AlertPresenter> presenter) {
  std::lock_guard lock(sharedMutex);
  sharedPresenter() = std::move(presenter);
}

AlertContent Alert::confirmation(std::string_view message, std::string_view information, AlertStyle style) {
  // "NO" is added first so that it is the default: Return gives the safe answer.
  return AlertContent{
      std::string(message), std::string(information), style, {localizedString("NO"), localizedString("YES")}};
}

bool Alert::confirm(AlertPresenter& presenter, std::string_view message, std::string_view information) {
  return presenter.runModal(confirmation(message, information, AlertStyle::warning)) == alertSecondButtonReturn;
}

void Alert::confirm(AlertPresenter& presenter, Window* window, std::string_view message, std::string_view information,
                    std::function<void(bool)> completion) {
  // A presenter that reports twice (a toolkit that signals both a click and
  // the close that follows) still answers once.
  auto pending = std::make_shared<std::function<void(bool)>>(std::move(completion));
  presenter.beginSheet(confirmation(message, information, AlertStyle::informational), window, [pending](int response) {
    auto handler = std::exchange(*pending, nullptr);
    if (handler) handler(response == alertSecondButtonReturn);
  });
}

bool Alert::confirm(std::string_view message, std::string_view information) {
  auto presenter = AlertPresenter::shared();
  return presenter && confirm(*presenter, message, information);
}

void Alert::confirm(Window* window, std::string_view message, std::string_view information,
                    std::function<void(bool)> completion) {
  if (auto presenter = AlertPresenter::shared()) {
    confirm(*presenter, window, message, information, std::move(completion));
  } else if (completion) {
    completion(false);
  }
}

}  // namespace Plinth
