// Revealing through the file manager's D-Bus interface, one bounded call.
#include "Plinth/inventory/file_revealer_linux.h"

#include "Keel/core/message_bus_linux.h"

namespace Plinth {

namespace bus = Keel::detail;

const FileRevealer& FileRevealer::shared() {
  static const BusFileRevealer revealer;
  return revealer;
}

Keel::Result<void> BusFileRevealer::showItems(const std::vector<Keel::URL>& items) const {
  const auto deadline = bus::BusClock::now() + timeout_;
  bus::BusConnection connection(bus::BusType::session, address_, timeout_);
  const auto made = connection.wait();
  if (!made) return Keel::failure(connection.status().errorOr("no session bus"));
  GVariantBuilder uris;
  g_variant_builder_init(&uris, G_VARIANT_TYPE("as"));
  for (const Keel::URL& item : items) g_variant_builder_add(&uris, "s", item.absoluteString.c_str());
  bus::GErrorSlot error;
  const auto reply = bus::callSync(made.get(),
                                   {"org.freedesktop.FileManager1", "/org/freedesktop/FileManager1",
                                    "org.freedesktop.FileManager1", "ShowItems", g_variant_new("(ass)", &uris, "")},
                                   deadline, error);
  if (!reply) return Keel::failure("no file manager answered: " + error.message());
  return Keel::success();
}

}  // namespace Plinth
