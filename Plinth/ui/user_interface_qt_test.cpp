#include "Plinth/ui/user_interface_qt.h"

#include <gtest/gtest.h>

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <cstdlib>

#include "Plinth/inventory/alert.h"
#include "Plinth/statusitem/status_bar_qt.h"

namespace Plinth {
namespace {

TEST(QtUserInterface, RunsOnGlibsDispatcherAndInstallsThePresenter) {
  EXPECT_TRUE(isGlibEventDispatcher(QCoreApplication::eventDispatcher()->metaObject()->className()));
  EXPECT_FALSE(isGlibEventDispatcher("QEventDispatcherUNIX"));
  {
    QtUserInterface userInterface;
    EXPECT_NE(AlertPresenter::shared(), nullptr);
    EXPECT_EQ(StatusBar::system()->thickness(), trayThickness);
  }
  EXPECT_EQ(AlertPresenter::shared(), nullptr);
  EXPECT_EQ(StatusBar::system()->thickness(), 0);
}

TEST(QtUserInterfaceDeathTest, AnotherDispatcherStopsTheProgramSayingWhich) {
  // The re-run binary makes its QApplication with GLib switched off.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  setenv("QT_NO_GLIB", "1", 1);
  EXPECT_DEATH(installQtUserInterface(), "Qt runs on the event dispatcher Q[A-Za-z]*, not on GLib.s");
  unsetenv("QT_NO_GLIB");
}

}  // namespace
}  // namespace Plinth
