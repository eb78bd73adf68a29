#include "Plinth/statusitem/status_bar_qt.h"

#include <gtest/gtest.h>

#include <QBuffer>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QMouseEvent>
#include <QPushButton>
#include <QTest>

#include "Plinth/desktop/image_qt.h"
#include "Plinth/statusitem/menu_bar_host_view_qt.h"
#include "Plinth/statusitem/menu_bar_item_controller.h"

namespace Plinth {
namespace {

std::shared_ptr<QtView> label(const QString& text, int x = 0) {
  auto* widget = new QLabel(text);
  widget->setGeometry(x, 0, 30, 22);
  return std::make_shared<QtView>(widget);
}

class RecordingDelegate : public MenuBarDelegate {
 public:
  std::vector<MenuBarTheme> themes;
  void menuBarItemsDidChange() override {}
  void menuBarThemeDidChange(MenuBarTheme theme) override { themes.push_back(theme); }
};

TEST(QtStatusItem, DrawsTheButtonIntoTheIconAndRedrawsOnEveryChange) {
  auto appearance = std::make_shared<FixedAppearance>();
  auto bar = std::make_shared<QtStatusBar>(appearance, 22);
  MenuBarItem item(label("A"), bar);
  auto& statusItem = static_cast<QtStatusItem&>(*item.item());
  EXPECT_EQ(statusItem.iconPixmap().size(), QSize(30, 22));
  const QImage one = statusItem.iconPixmap().toImage();

  item.add(label("B", 30));
  EXPECT_EQ(statusItem.iconPixmap().size(), QSize(60, 22));
  EXPECT_NE(statusItem.iconPixmap().toImage().copy(0, 0, 30, 22), QImage());
  EXPECT_EQ(statusItem.iconPixmap().toImage().copy(0, 0, 30, 22), one);

  item.setSize(40, 20);
  EXPECT_EQ(statusItem.iconPixmap().size(), QSize(40, 20));
  item.setSize(50, 22);  // the kept constraints' constants
  EXPECT_EQ(statusItem.iconPixmap().size(), QSize(50, 22));

  item.clear();
  EXPECT_EQ(statusItem.iconPixmap().size(), QSize(22, 22));
  EXPECT_TRUE(statusItem.subviews().empty());
  const QImage empty = statusItem.iconPixmap().toImage();
  EXPECT_EQ(empty.pixelColor(5, 5).alpha(), 0);
}

TEST(QtStatusItem, DrawsAnImageScaledToTheBarsThickness) {
  QImage picture(88, 44, QImage::Format_ARGB32);
  picture.fill(Qt::red);
  QByteArray bytes;
  QBuffer buffer(&bytes);
  buffer.open(QIODevice::WriteOnly);
  picture.save(&buffer, "PNG");
  auto bar = std::make_shared<QtStatusBar>(std::make_shared<FixedAppearance>(), 22);
  MenuBarItem item(Image::fromData({bytes.begin(), bytes.end()}), bar);
  const QImage icon = static_cast<QtStatusItem&>(*item.item()).iconPixmap().toImage();
  EXPECT_EQ(icon.size(), QSize(44, 22));  // as wide as the image at the bar's height
  EXPECT_EQ(icon.pixelColor(30, 11), QColor(Qt::red));
  EXPECT_TRUE(toQPixmap(Image::fromData({1, 2, 3})).isNull());
  // Drawn for every height a tray may ask for, as wide as the image there.
  const auto sizes = static_cast<QtStatusItem&>(*item.item()).trayIcon().icon().availableSizes();
  for (const int height : trayIconHeights) EXPECT_TRUE(sizes.contains(QSize(2 * height, height))) << height;
}

TEST(QtStatusItem, TheControllerFollowsTheAppearanceAndTheViewsRedrawInIt) {
  auto appearance = std::make_shared<FixedAppearance>("light");
  auto bar = std::make_shared<QtStatusBar>(appearance, 22);
  auto text = label("Xy");
  MenuBarItemController controller(text, bar);
  auto delegate = std::make_shared<RecordingDelegate>();
  controller.setDelegate(delegate);
  auto& statusItem = static_cast<QtStatusItem&>(*controller.item()->item());
  const QImage light = statusItem.iconPixmap().toImage();

  appearance->setAppearanceName("dark");
  EXPECT_EQ(delegate->themes, std::vector<MenuBarTheme>{MenuBarTheme::dark});
  EXPECT_TRUE(MenuBar::isDark());
  EXPECT_NE(statusItem.iconPixmap().toImage(), light);  // white text now
  appearance->setAppearanceName("light");
  EXPECT_EQ(delegate->themes, (std::vector<MenuBarTheme>{MenuBarTheme::dark, MenuBarTheme::light}));
  EXPECT_EQ(statusItem.iconPixmap().toImage(), light);
  MenuBar::setStatusItem(nullptr);
}

TEST(QtMenuBarHostView, ShowsTheRoundedBackgroundOnlyWhileItsEntryIsHighlighted) {
  QtMenuBarHostView outside;
  outside.resize(100, 24);
  outside.show();
  ASSERT_TRUE(QTest::qWaitForWindowExposed(&outside));
  outside.repaint();
  EXPECT_TRUE(outside.backgroundWidget()->isHidden());

  QMenu menu;
  auto* first = new QtMenuBarHostView;
  first->setMinimumSize(120, 24);
  auto* second = new QtMenuBarHostView;
  second->setMinimumSize(120, 24);
  QWidgetAction* firstEntry = QtMenuBarHostView::addToMenu(&menu, first);
  QWidgetAction* secondEntry = QtMenuBarHostView::addToMenu(&menu, second);
  menu.popup(QPoint(10, 10));
  ASSERT_TRUE(QTest::qWaitForWindowExposed(&menu));

  menu.setActiveAction(firstEntry);
  QApplication::processEvents();
  EXPECT_FALSE(first->backgroundWidget()->isHidden());
  EXPECT_TRUE(second->backgroundWidget()->isHidden());
  EXPECT_EQ(first->backgroundWidget()->geometry(), first->rect());

  // The pointer highlights an entry as the keyboard does.
  QEnterEvent enter(QPointF(5, 5), QPointF(5, 5), QPointF(5, 5));
  QApplication::sendEvent(second, &enter);
  QApplication::processEvents();
  EXPECT_EQ(menu.activeAction(), secondEntry);
  EXPECT_TRUE(first->backgroundWidget()->isHidden());
  EXPECT_FALSE(second->backgroundWidget()->isHidden());

  // Return, and a click on the view, run the entry's action and close the menu.
  int triggered = 0;
  QObject::connect(secondEntry, &QAction::triggered, [&] { ++triggered; });
  QTest::keyClick(&menu, Qt::Key_Return);
  EXPECT_EQ(triggered, 1);
  menu.popup(QPoint(10, 10));
  QMouseEvent release(QEvent::MouseButtonRelease, QPointF(5, 5), QPointF(5, 5), Qt::LeftButton, Qt::NoButton,
                      Qt::NoModifier);
  QApplication::sendEvent(second, &release);
  EXPECT_EQ(triggered, 2);
  EXPECT_FALSE(menu.isVisible());
}

TEST(QtMenuBarHostView, DescribesItsEntryByItsTitleAndIconForHostsThatCannotShowIt) {
  QMenu menu;
  auto* view = new QtMenuBarHostView;
  auto* layout = new QHBoxLayout(view);
  auto* picture = new QLabel;
  picture->setPixmap(QPixmap(8, 8));
  layout->addWidget(picture);
  layout->addWidget(new QLabel("Check for  Updates"));
  layout->addWidget(new QPushButton("Now"));
  QWidgetAction* entry = QtMenuBarHostView::addToMenu(&menu, view);
  EXPECT_EQ(entry->text(), "Check for Updates Now");
  EXPECT_FALSE(entry->icon().isNull());
  view->setTitle("Update Vantor");
  EXPECT_EQ(entry->text(), view->accessibleName());
  EXPECT_EQ(QtMenuBarHostView().title(), "Item");  // nothing to go by
}

}  // namespace
}  // namespace Plinth
