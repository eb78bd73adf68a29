// Screenshots of an alert and of a menu of host views, light and dark, into
// the build folder (screenshots/): the pixels show that the selection
// background is drawn behind the highlighted entry only.
#include <gtest/gtest.h>

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QTest>
#include <filesystem>

#include "Plinth/desktop/window_qt.h"
#include "Plinth/inventory/alert_qt.h"
#include "Plinth/statusitem/menu_bar_host_view_qt.h"
#include "Plinth/statusitem/status_bar_qt.h"

namespace Plinth {
namespace {

namespace fs = std::filesystem;

QtMenuBarHostView* entry(const QString& text) {
  auto* view = new QtMenuBarHostView;
  auto* layout = new QHBoxLayout(view);
  layout->setContentsMargins(10, 4, 10, 4);
  layout->addWidget(new QLabel(text));
  view->setMinimumSize(180, 28);
  return view;
}

bool near(const QColor& a, const QColor& b) {
  return std::abs(a.red() - b.red()) <= 8 && std::abs(a.green() - b.green()) <= 8 && std::abs(a.blue() - b.blue()) <= 8;
}

class Screenshots : public ::testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    fs::create_directories(folder);
    QApplication::setPalette(paletteForAppearance(GetParam()));
  }
  void TearDown() override { QApplication::setPalette(paletteForAppearance("light")); }
  fs::path folder = VANTOR_SCREENSHOT_DIR;
  [[nodiscard]] QString file(const char* what) const {
    return QString::fromStdString((folder / (std::string(what) + "-" + GetParam() + ".png")).string());
  }
};

TEST_P(Screenshots, MenuOfHostViewsHighlightsOnlyTheActiveEntry) {
  QMenu menu;
  QtMenuBarHostView* views[] = {entry("Open Vantor"), entry("Check for updates"), entry("Quit")};
  QWidgetAction* actions[3];
  for (int i = 0; i < 3; ++i) actions[i] = QtMenuBarHostView::addToMenu(&menu, views[i]);
  menu.popup(QPoint(0, 0));
  ASSERT_TRUE(QTest::qWaitForWindowExposed(&menu));
  menu.setActiveAction(actions[1]);
  QApplication::processEvents();

  const QImage shot = menu.grab().toImage();
  ASSERT_TRUE(shot.save(file("menu")));
  const QColor highlight = QApplication::palette().color(QPalette::Active, QPalette::Highlight);
  const auto pixelIn = [&](QWidget* view, int x) {
    const QPoint at = view->mapTo(&menu, QPoint(x, view->height() / 2));
    return shot.pixelColor(at * shot.devicePixelRatio());
  };
  // Inside the rounded background, clear of its corners and of the text.
  EXPECT_TRUE(near(pixelIn(views[1], 4), highlight)) << pixelIn(views[1], 4).name().toStdString();
  EXPECT_TRUE(near(pixelIn(views[1], views[1]->width() - 4), highlight));
  EXPECT_FALSE(near(pixelIn(views[0], 4), highlight));
  EXPECT_FALSE(near(pixelIn(views[2], 4), highlight));
  // The very corner stays outside the rounded shape.
  const QColor corner = shot.pixelColor(views[1]->mapTo(&menu, QPoint(0, 0)) * shot.devicePixelRatio());
  EXPECT_FALSE(near(corner, highlight)) << corner.name().toStdString();
  menu.hide();
}

TEST_P(Screenshots, ConfirmationAlert) {
  QWidget widget;
  widget.resize(480, 200);
  widget.show();
  QtWindow window(&widget);
  QtAlertPresenter presenter;
  bool answered = false;
  Alert::confirm(presenter, &window, "Move “Vantor” to the trash?", "Its settings stay where they are.",
                 [&](bool) { answered = true; });
  auto* box = widget.findChild<QMessageBox*>();
  ASSERT_NE(box, nullptr);
  ASSERT_TRUE(QTest::qWaitForWindowExposed(box));
  const QImage shot = box->grab().toImage();
  EXPECT_TRUE(shot.save(file("alert")));
  EXPECT_FALSE(shot.isNull());
  // The window's own colour fills the box's background.
  EXPECT_TRUE(near(shot.pixelColor(2, 2), QApplication::palette().color(QPalette::Window)));
  box->close();
  EXPECT_TRUE(answered);
}

INSTANTIATE_TEST_SUITE_P(Appearances, Screenshots, ::testing::Values("light", "dark"));

}  // namespace
}  // namespace Plinth
