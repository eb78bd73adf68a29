#include "Plinth/statusitem/menu_bar.h"

#include <gtest/gtest.h>

#include "Plinth/statusitem/menu_bar_host_view.h"
#include "testing/fake_status_bar.h"

namespace Plinth {
namespace {

using Testing::FakeStatusBar;
using Testing::FakeView;

TEST(MenuBarItem, EachConstructorFillsAVariableLengthItem) {
  auto bar = std::make_shared<FakeStatusBar>();
  std::vector<std::string> journal;
  const Image image = Image::fromData({1, 2, 3});
  MenuBarItem withImage(image, bar);
  auto a = std::make_shared<FakeView>(&journal, "a");
  auto b = std::make_shared<FakeView>(&journal, "b");
  MenuBarItem withViews(std::vector<std::shared_ptr<View>>{a, b}, bar);
  withViews.add(a);

  EXPECT_EQ(bar->lengths, (std::vector<double>{variableStatusItemLength, variableStatusItemLength}));
  EXPECT_EQ(bar->button(0).image(), image);
  EXPECT_EQ(bar->button(0).imagePosition(), ImagePosition::imageLeft);
  EXPECT_EQ(bar->button(1).subviews(), (std::vector<std::shared_ptr<View>>{a, b, a}));

  withImage.setAction(
      &journal, [] {}, 7);
  EXPECT_EQ(bar->button(0).target(), &journal);
  EXPECT_EQ(bar->button(0).tag(), 7);
  withImage.clearAction();
  EXPECT_FALSE(bar->button(0).hasAction());
  EXPECT_EQ(bar->button(0).target(), nullptr);
}

TEST(MenuBarItem, MakesItsSizeConstraintsOnceAndKeepsThemThroughClear) {
  auto bar = std::make_shared<FakeStatusBar>();
  std::vector<std::string> journal;
  MenuBarItem item(std::vector<std::shared_ptr<View>>{std::make_shared<FakeView>(&journal, "a"),
                                                      std::make_shared<FakeView>(&journal, "b")},
                   bar);
  auto& button = bar->button(0);
  item.setSize(30, 22);
  const auto width = item.widthConstraint();
  item.setSize(44, 20);
  EXPECT_EQ(button.constraintsMade, 2);
  EXPECT_EQ(item.widthConstraint(), width);
  EXPECT_EQ(item.widthConstraint()->constant(), 44);
  EXPECT_EQ(item.heightConstraint()->constant(), 20);
  EXPECT_EQ(item.heightConstraint()->attribute(), LayoutConstraint::Attribute::height);
  EXPECT_TRUE(item.widthConstraint()->isActive());

  button.setImage(Image::fromData({9}));
  item.clear();
  EXPECT_FALSE(button.image());
  EXPECT_TRUE(button.constraints().empty());
  EXPECT_FALSE(item.widthConstraint()->isActive());
  EXPECT_TRUE(button.subviews().empty());
  EXPECT_EQ(journal, (std::vector<std::string>{"remove a", "remove b"}));
  item.setSize(10, 10);
  EXPECT_EQ(button.constraintsMade, 2);

  // Without a button there is nothing to constrain.
  bar->buttons = false;
  MenuBarItem bare(bar);
  bare.setSize(1, 1);
  EXPECT_EQ(bare.widthConstraint(), nullptr);
}

TEST(MenuBar, FactsFollowTheBarAndTheFirstItemsAppearance) {
  auto bar = std::make_shared<FakeStatusBar>();
  StatusBar::setSystem(bar);
  MenuBar::setStatusItem(nullptr);
  EXPECT_FALSE(MenuBar::isDark());
  EXPECT_EQ(MenuBar::contentColor(), Color::black());
  bar->barThickness = 24;
  EXPECT_EQ(MenuBar::thickness(), 24);  // asked afresh

  MenuBarItem item(bar);
  MenuBar::setStatusItem(item.item());
  // Which names are dark is menu_bar_item_controller_test.cpp's.
  bar->button(0).appearance = "NSAppearanceNameDarkAqua";
  EXPECT_TRUE(MenuBar::isDark());
  EXPECT_EQ(MenuBar::contentColor(), Color::white());
  bar->button(0).appearance = "NSAppearanceNameAqua";
  EXPECT_FALSE(MenuBar::isDark());

  MenuBar::setStatusItem(nullptr);
  StatusBar::setSystem(nullptr);
  EXPECT_EQ(MenuBar::thickness(), 0);
  EXPECT_EQ(MenuBarItem().item()->button(), nullptr);
}

class FakeEffectView : public EffectView {
 public:
  bool hidden = false;
  double radius = 0;
  bool masks = false;
  void setHidden(bool h) override { hidden = h; }
  [[nodiscard]] bool isHidden() const override { return hidden; }
  [[nodiscard]] bool hasLayer() const override { return true; }
  void setLayerCornerRadius(double r) override { radius = r; }
  [[nodiscard]] double layerCornerRadius() const override { return radius; }
  void setMasksToBounds(bool m) override { masks = m; }
};

class FakeHost : public HostViewPlatform {
 public:
  std::vector<std::string> journal;
  std::shared_ptr<EffectView> makeEffectView(const EffectViewSettings&) override {
    return std::make_shared<FakeEffectView>();
  }
  void addSubviewBelowAll(const std::shared_ptr<EffectView>&) override { journal.emplace_back("below all"); }
  void pinToEdges(const std::shared_ptr<EffectView>&) override { journal.emplace_back("pinned"); }
  [[nodiscard]] std::optional<bool> enclosingMenuItemIsHighlighted() const override { return std::nullopt; }
  void setNeedsDisplay() override { journal.emplace_back("display"); }
};

// When the background shows is status_bar_qt_test.cpp's, in a real menu.
TEST(MenuBarHostView, PinsItsClippedBackgroundBelowAllAndKeepsTwoRadiiUntilOneIsWritten) {
  FakeHost host;
  MenuBarHostView view(host);
  auto& effect = static_cast<FakeEffectView&>(*view.effectView());
  EXPECT_EQ(host.journal, (std::vector<std::string>{"below all", "pinned"}));
  EXPECT_TRUE(effect.masks);

  EXPECT_EQ(view.cornerRadius(), 4.0);
  EXPECT_EQ(effect.radius, 3.0);
  view.setCornerRadius(5.0);
  EXPECT_EQ(effect.radius, 5.0);

  view.setEmphasized(false);
  EXPECT_FALSE(view.isEmphasized());
  EXPECT_EQ(host.journal.back(), "display");
}

}  // namespace
}  // namespace Plinth
