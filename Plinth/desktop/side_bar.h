// The object model of a source-list sidebar: titled groups of titled items,
// each item with an optional icon and a value of the owner's choosing. An
// outline view's data source walks it; the model draws nothing.
#pragma once

#include <any>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Plinth/desktop/image.h"

namespace Plinth {

class SideBarObject {
 public:
  explicit SideBarObject(std::string titleText) : title(std::move(titleText)) {}
  virtual ~SideBarObject() = default;

  std::string title;
};

class SideBarItem : public SideBarObject {
 public:
  SideBarItem(std::string titleText, std::optional<Image> image, std::any object)
      : SideBarObject(std::move(titleText)), icon(std::move(image)), representedObject(std::move(object)) {}
  SideBarItem(std::string titleText, std::any object)
      : SideBarItem(std::move(titleText), std::nullopt, std::move(object)) {}
  // An item is always made for something it represents, even if that is
  // "nothing" (an empty std::any): a title alone is a programming error, so
  // it does not compile rather than failing when it runs.
  explicit SideBarItem(std::string titleText) = delete;

  std::optional<Image> icon;
  std::any representedObject;  // empty: none
};

// Items are shared objects, told apart by identity: two items with equal
// titles (or equal everything) are still two items.
class SideBarGroup : public SideBarObject {
 public:
  explicit SideBarGroup(std::string titleText) : SideBarObject(std::move(titleText)) {}

  // Make an item (without, or with, an icon), append it, and return it.
  std::shared_ptr<SideBarItem> addItem(std::string itemTitle, std::any object);
  std::shared_ptr<SideBarItem> addItem(std::string itemTitle, std::optional<Image> image, std::any object);
  // Appends `item`, which may already be in this or another group.
  void add(std::shared_ptr<SideBarItem> item);
  // Removes every entry that is `item` itself, keeping the others in order.
  void remove(const std::shared_ptr<SideBarItem>& item);

  std::vector<std::shared_ptr<SideBarItem>> items;
};

}  // namespace Plinth
