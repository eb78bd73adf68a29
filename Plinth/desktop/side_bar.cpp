#include "Plinth/desktop/side_bar.h"

#include <utility>

namespace Plinth {

std::shared_ptr<SideBarItem> SideBarGroup::addItem(std::string itemTitle, std::any object) {
  return addItem(std::move(itemTitle), std::nullopt, std::move(object));
}

std::shared_ptr<SideBarItem> SideBarGroup::addItem(std::string itemTitle, std::optional<Image> image, std::any object) {
  auto item = std::make_shared<SideBarItem>(std::move(itemTitle), std::move(image), std::move(object));
  items.push_back(item);
  return item;
}

void SideBarGroup::add(std::shared_ptr<SideBarItem> item) { items.push_back(std::move(item)); }

void SideBarGroup::remove(const std::shared_ptr<SideBarItem>& item) { std::erase(items, item); }

}  // namespace Plinth
