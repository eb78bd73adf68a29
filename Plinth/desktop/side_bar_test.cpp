#include "Plinth/desktop/side_bar.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace Plinth {
namespace {

// An item needs something to represent; a title alone does not compile.
static_assert(!std::is_constructible_v<SideBarItem, std::string>);
static_assert(!std::is_constructible_v<SideBarItem, const char*>);
static_assert(std::is_constructible_v<SideBarItem, std::string, std::any>);

TEST(SideBarGroup, RemovesByIdentityKeepingTheOrder) {
  SideBarGroup group("Places");
  auto home = group.addItem("Home", std::string("/home/me"));
  auto twin = std::make_shared<SideBarItem>("Home", std::string("/home/me"));
  auto icon = group.addItem("Desktop", Image::fromData({1, 2, 3}), 7);
  group.add(twin);
  group.add(home);
  ASSERT_EQ(group.items.size(), 4U);
  EXPECT_FALSE(home->icon);
  EXPECT_EQ(icon->icon, Image::fromData({1, 2, 3}));
  EXPECT_EQ(std::any_cast<int>(icon->representedObject), 7);

  group.remove(home);  // both entries of it, not its equal twin
  EXPECT_EQ(group.items, (std::vector<std::shared_ptr<SideBarItem>>{icon, twin}));
  group.remove(std::make_shared<SideBarItem>("Desktop", std::any{}));
  EXPECT_EQ(group.items.size(), 2U);
}

}  // namespace
}  // namespace Plinth
