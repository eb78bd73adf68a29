#include "Plinth/desktop/resource_bundle.h"

namespace Plinth {

const Keel::ResourceBundle& resourceBundle() {
  static const Keel::ResourceBundle bundle = Keel::ResourceBundle::findOrDie(
      "Plinth_Plinth", Keel::ResourceBundle::searchFolders(reinterpret_cast<const void*>(&resourceBundle)));
  return bundle;
}

std::string localizedString(std::string_view key) { return resourceBundle().localizedString(key); }

}  // namespace Plinth
