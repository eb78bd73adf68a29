#include "Plinth/statusitem/menu_bar_item_controller.h"

#include <gtest/gtest.h>

#include "testing/fake_status_bar.h"

namespace Plinth {
namespace {

using Testing::FakeStatusBar;
using Testing::FakeView;

class RecordingDelegate : public MenuBarDelegate {
 public:
  std::vector<std::string> heard;
  void menuBarItemsDidChange() override { heard.emplace_back("items"); }
  void menuBarThemeDidChange(MenuBarTheme theme) override { heard.emplace_back(rawValue(theme)); }
};

TEST(MenuBarTheme, RawValuesAndTheNameRule) {
  EXPECT_EQ(menuBarTheme("dark"), MenuBarTheme::dark);
  EXPECT_EQ(menuBarTheme("light"), MenuBarTheme::light);
  EXPECT_EQ(menuBarTheme("Dark"), std::nullopt);
  for (const char* dark : {"dark", "Dark", "NSAppearanceNameDarkAqua", "NSAppearanceNameVibrantDARK"}) {
    EXPECT_EQ(themeForAppearanceName(dark), MenuBarTheme::dark) << dark;
  }
  for (const char* light : {"light", "NSAppearanceNameAqua", "", "dar k"}) {
    EXPECT_EQ(themeForAppearanceName(light), MenuBarTheme::light) << light;
  }
}

TEST(MenuBarItemController, FollowsTheFirstItemsAppearanceAndRelaysOutEveryView) {
  auto bar = std::make_shared<FakeStatusBar>();
  std::vector<std::string> journal;
  MenuBarItemController controller(std::vector<std::shared_ptr<View>>{std::make_shared<FakeView>(&journal, "a"),
                                                                      std::make_shared<FakeView>(&journal, "b")},
                                   bar);
  // The initial notification lays the views out and tells nobody.
  EXPECT_EQ(journal, (std::vector<std::string>{"layout a", "layout b"}));
  EXPECT_EQ(MenuBar::statusItem(), controller.item()->item());
  controller.add(controller.makeItem(std::make_shared<FakeView>(&journal, "c")));

  auto delegate = std::make_shared<RecordingDelegate>();
  controller.setDelegate(delegate);
  journal.clear();
  bar->button(0).appearance = "NSAppearanceNameDarkAqua";
  controller.item()->item()->didChangeValue(effectiveAppearanceKeyPath);
  EXPECT_EQ(journal, (std::vector<std::string>{"layout a", "layout b", "layout c"}));
  EXPECT_EQ(delegate->heard, std::vector<std::string>{"dark"});
  EXPECT_EQ(controller.theme(), MenuBarTheme::dark);

  // Other key paths, or none, change nothing.
  journal.clear();
  controller.observeValue(std::nullopt, *controller.item()->item());
  controller.observeValue("button.image", *controller.item()->item());
  controller.item()->item()->didChangeValue("button");
  EXPECT_TRUE(journal.empty());
  EXPECT_EQ(delegate->heard.size(), 1U);

  // A controller without a delegate still lays out.
  controller.setDelegate(nullptr);
  controller.item()->item()->didChangeValue(effectiveAppearanceKeyPath);
  EXPECT_EQ(journal.size(), 3U);
  MenuBar::setStatusItem(nullptr);
}

TEST(MenuBarItemController, RemovingExtraItemsKeepsTheFirstAndTellsTheDelegate) {
  auto bar = std::make_shared<FakeStatusBar>();
  MenuBarItemController controller(Image::fromData({1}), bar);
  auto delegate = std::make_shared<RecordingDelegate>();
  controller.setDelegate(delegate);
  const auto first = controller.item();
  controller.add(controller.makeItem());
  controller.add(controller.makeItem());
  EXPECT_EQ(bar->shown.size(), 3U);
  EXPECT_EQ(controller.lastItem(), controller.items()[2]);

  delegate->heard.clear();
  controller.removeExtraItems();
  EXPECT_EQ(controller.items(), std::vector<std::shared_ptr<MenuBarItem>>{first});
  EXPECT_EQ(bar->shown.size(), 1U);
  EXPECT_EQ(delegate->heard, (std::vector<std::string>{"items", "items", "items"}));

  delegate->heard.clear();
  controller.removeExtraItems();
  EXPECT_EQ(delegate->heard, std::vector<std::string>{"items"});
  EXPECT_EQ(controller.items().size(), 1U);

  // Removing the first too leaves a controller that answers without items.
  controller.remove(first);
  EXPECT_EQ(controller.item(), nullptr);
  EXPECT_EQ(controller.lastItem(), nullptr);
  EXPECT_EQ(controller.theme(), MenuBarTheme::light);
  EXPECT_TRUE(bar->shown.empty());

  // Without a button the theme is light; the controller still works.
  bar->buttons = false;
  MenuBarItemController bare(bar);
  EXPECT_EQ(bare.theme(), MenuBarTheme::light);
  MenuBar::setStatusItem(nullptr);
}

TEST(MenuBarItemController, StopsObservingWhenDestroyedEvenAfterItsFirstItemWasRemoved) {
  auto bar = std::make_shared<FakeStatusBar>();
  auto delegate = std::make_shared<RecordingDelegate>();
  for (const bool removeFirst : {false, true}) {
    std::shared_ptr<StatusItem> statusItem;
    {
      MenuBarItemController controller(bar);
      controller.setDelegate(delegate);
      statusItem = controller.item()->item();
      if (removeFirst) controller.remove(controller.item());
    }
    delegate->heard.clear();
    // MenuBar still holds the status item; it must not reach the destroyed controller.
    statusItem->didChangeValue(effectiveAppearanceKeyPath);
    EXPECT_TRUE(delegate->heard.empty());
    EXPECT_EQ(MenuBar::statusItem(), statusItem);
  }
  MenuBar::setStatusItem(nullptr);
}

}  // namespace
}  // namespace Plinth
