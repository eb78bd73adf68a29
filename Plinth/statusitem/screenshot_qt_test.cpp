// Screenshots of an alert, light and dark, into the build folder
// (screenshots/); the item and its menu are shot in a real panel by
// make demo-ui.
#include <gtest/gtest.h>

#include <QApplication>
#include <QMessageBox>
#include <QTest>
#include <filesystem>

#include "Plinth/desktop/window_qt.h"
#include "Plinth/inventory/alert_qt.h"
#include "Plinth/statusitem/status_bar_qt.h"

namespace Plinth {
namespace {

namespace fs = std::filesystem;

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
