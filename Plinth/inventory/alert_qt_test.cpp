#include "Plinth/inventory/alert_qt.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <functional>
#include <optional>

#include "Plinth/desktop/resource_bundle.h"
#include "Plinth/desktop/window_qt.h"

namespace Plinth {
namespace {

// Runs `act` on the modal message box once it shows (inside its exec()).
void whenModalShows(std::function<void(QMessageBox*)> act) {
  auto* timer = new QTimer;
  QObject::connect(timer, &QTimer::timeout, [timer, act = std::move(act)] {
    if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget()); box && box->isVisible()) {
      timer->stop();
      timer->deleteLater();
      act(box);
    }
  });
  timer->start(5);
}

QAbstractButton* buttonTitled(QMessageBox* box, std::string_view key) {
  for (auto* button : box->buttons()) {
    if (button->text() == QString::fromStdString(localizedString(key))) return button;
  }
  return nullptr;
}

TEST(QtAlert, TheModalFormShowsAWarningWhereReturnAnswersNo) {
  QtAlertPresenter presenter;
  whenModalShows([](QMessageBox* box) {
    EXPECT_EQ(box->icon(), QMessageBox::Warning);
    EXPECT_EQ(box->text(), "Remove the item?");
    EXPECT_EQ(box->informativeText(), "It goes to the trash.");
    ASSERT_EQ(box->buttons().size(), 2);
    EXPECT_EQ(box->defaultButton(), buttonTitled(box, "NO"));
    QTest::keyClick(box, Qt::Key_Return);
  });
  EXPECT_FALSE(Alert::confirm(presenter, "Remove the item?", "It goes to the trash."));

  whenModalShows([](QMessageBox* box) { buttonTitled(box, "YES")->click(); });
  EXPECT_TRUE(Alert::confirm(presenter, "m", "i"));

  whenModalShows([](QMessageBox* box) { box->close(); });
  EXPECT_FALSE(Alert::confirm(presenter, "m", "i"));
}

TEST(QtAlert, TheSheetIsWindowModalReturnsAtOnceAndAnswersOnce) {
  QtAlertPresenter presenter;
  QWidget widget;
  widget.show();
  QtWindow window(&widget);

  const auto ask = [&](const std::function<void(QMessageBox*)>& act) {
    int calls = 0;
    std::optional<bool> answer;
    Alert::confirm(presenter, &window, "m", "i", [&](bool yes) {
      ++calls;
      answer = yes;
    });
    EXPECT_EQ(calls, 0);  // returned before the user answered
    auto* box = widget.findChild<QMessageBox*>();
    EXPECT_NE(box, nullptr);
    if (box == nullptr) return answer;
    EXPECT_EQ(box->windowModality(), Qt::WindowModal);
    EXPECT_EQ(box->icon(), QMessageBox::Information);
    EXPECT_EQ(box->defaultButton(), buttonTitled(box, "NO"));
    act(box);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);  // the box deletes itself
    EXPECT_EQ(widget.findChild<QMessageBox*>(), nullptr);
    EXPECT_EQ(calls, 1);
    return answer;
  };
  EXPECT_EQ(ask([](QMessageBox* box) { QTest::keyClick(box, Qt::Key_Return); }), false);
  EXPECT_EQ(ask([](QMessageBox* box) { buttonTitled(box, "YES")->click(); }), true);
  EXPECT_EQ(ask([](QMessageBox* box) { box->close(); }), false);
  EXPECT_EQ(ask([](QMessageBox* box) { QTest::keyClick(box, Qt::Key_Escape); }), false);
}

}  // namespace
}  // namespace Plinth
