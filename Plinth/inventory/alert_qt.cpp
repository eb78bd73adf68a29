#include "Plinth/inventory/alert_qt.h"

#include <QAbstractButton>
#include <QGuiApplication>
#include <QMessageBox>
#include <QPushButton>
#include <memory>
#include <utility>

#include "Plinth/desktop/window_qt.h"

namespace Plinth {

namespace {

QMessageBox::Icon iconFor(AlertStyle style) {
  switch (style) {
    case AlertStyle::warning:
      return QMessageBox::Warning;
    case AlertStyle::critical:
      return QMessageBox::Critical;
    case AlertStyle::informational:
      break;
  }
  return QMessageBox::Information;
}

// Returns the buttons in the order they were added.
QList<QAbstractButton*> fill(QMessageBox& box, const AlertContent& content) {
  // The application's name, never whatever the window manager would make up.
  box.setWindowTitle(QGuiApplication::applicationDisplayName());
  box.setIcon(iconFor(content.style));
  box.setText(QString::fromStdString(content.messageText));
  box.setInformativeText(QString::fromStdString(content.informativeText));
  QList<QAbstractButton*> buttons;
  for (const auto& title : content.buttonTitles) {
    // One role for all, so the platform's button layout keeps them in order.
    buttons.append(box.addButton(QString::fromStdString(title), QMessageBox::ActionRole));
  }
  if (!buttons.isEmpty()) {
    // Qt would otherwise make a later button the default.
    auto* first = static_cast<QPushButton*>(buttons.first());
    box.setDefaultButton(first);
    box.setEscapeButton(first);
  }
  return buttons;
}

int responseOf(const QMessageBox& box, const QList<QAbstractButton*>& buttons) {
  QAbstractButton* clicked = box.clickedButton();
  if (clicked == nullptr) return alertClosedResponse;
  const auto index = buttons.indexOf(clicked);
  return index < 0 ? alertClosedResponse : alertFirstButtonReturn + static_cast<int>(index);
}

}  // namespace

int QtAlertPresenter::runModal(const AlertContent& content) {
  QMessageBox box;
  const auto buttons = fill(box, content);
  box.exec();
  return responseOf(box, buttons);
}

void QtAlertPresenter::beginSheet(const AlertContent& content, Window* window, AlertCompletion completion) {
  auto* box = new QMessageBox(QtWindow::widgetOf(window));
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->setWindowModality(box->parentWidget() != nullptr ? Qt::WindowModal : Qt::ApplicationModal);
  const auto buttons = fill(*box, content);
  QObject::connect(box, &QMessageBox::finished, box, [box, buttons, completion = std::move(completion)](int) {
    if (completion) completion(responseOf(*box, buttons));
  });
  box->open();
}

}  // namespace Plinth
