// Yes-or-no questions to the user, as a modal dialog or as a sheet on a
// window. The rules (titles, order, default, answer) live here; a toolkit
// shows the dialog through the AlertPresenter seam.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Plinth/desktop/window.h"

namespace Plinth {

// What the user did: the first button added answers 1000, the second 1001,
// and so on; a dialog closed without a button answers alertClosedResponse.
inline constexpr int alertFirstButtonReturn = 1000;
inline constexpr int alertSecondButtonReturn = 1001;
inline constexpr int alertClosedResponse = -1000;

enum class AlertStyle { warning, informational, critical };

// One dialog as a toolkit shows it.
struct AlertContent {
  std::string messageText;      // the headline
  std::string informativeText;  // the explanation below it
  AlertStyle style = AlertStyle::warning;
  // Titles in the order they were added. The first is the default button
  // (the one Return presses), and it is also what Escape presses.
  std::vector<std::string> buttonTitles;
};

using AlertCompletion = std::function<void(int response)>;

// Shows dialogs. Called on the main thread only.
class AlertPresenter {
 public:
  virtual ~AlertPresenter() = default;
  // Shows `content` modally and returns the response once the user answered.
  virtual int runModal(const AlertContent& content) = 0;
  // Shows `content` as a sheet on `window` (free-standing when null) and
  // returns at once; calls `completion` with the response later.
  virtual void beginSheet(const AlertContent& content, Window* window, AlertCompletion completion) = 0;

  // The presenter of the process's user interface; none until a toolkit
  // installs one (plinth_qt's installQtUserInterface does).
  [[nodiscard]] static std::shared_ptr<AlertPresenter> shared();
  static void setShared(std::shared_ptr<AlertPresenter> presenter);
};

class Alert {
 public:
  // The question as a modal warning with "NO" then "YES" (localized), "NO"
  // the default. True exactly when the user chose "YES". With no user
  // interface installed nobody can answer, and the answer is false.
  [[nodiscard]] static bool confirm(std::string_view message, std::string_view information);
  // The question as an informational sheet on `window`; returns at once and
  // calls `completion` exactly once with true exactly when the user chose
  // "YES" (at once with false when no user interface is installed).
  static void confirm(Window* window, std::string_view message, std::string_view information,
                      std::function<void(bool)> completion);

  // The same through a given presenter.
  [[nodiscard]] static bool confirm(AlertPresenter& presenter, std::string_view message, std::string_view information);
  static void confirm(AlertPresenter& presenter, Window* window, std::string_view message, std::string_view information,
                      std::function<void(bool)> completion);

  // The dialog both forms show, in the given style.
  [[nodiscard]] static AlertContent confirmation(std::string_view message, std::string_view information,
                                                 AlertStyle style);
};

}  // namespace Plinth
