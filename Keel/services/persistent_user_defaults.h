// A user-defaults domain kept in one property-list file and shared with other
// processes that use the same file.
#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>

#include "Keel/services/domain_file.h"
#include "Keel/services/user_defaults.h"

namespace Keel {

struct PersistentUserDefaultsOptions {
  // How long after a write the file is written, gathering the writes made
  // meanwhile into one.
  std::chrono::milliseconds writeDelay{50};
};

// Reads come from memory. A write changes memory at once and reaches the file
// `writeDelay` later, together with every other write made meanwhile; it
// reaches it at the latest when the store is destroyed or the process exits
// normally. Writing merges key by key under the domain's lock: keys this
// process changed take its values, every other key keeps what the file holds,
// so processes writing different keys lose nothing. Changes other processes
// write become visible on the first read after they reach the file.
//
// A file that is not a property-list dictionary reads as an empty domain; it
// is left in place until this process writes, which first moves it aside
// (".corrupt-..."), so that it is never overwritten. A write that fails (a
// read-only folder) is dropped quietly: memory keeps the value and the next
// write tries again.
class PersistentUserDefaults final : public UserDefaults {
 public:
  using Options = PersistentUserDefaultsOptions;

  explicit PersistentUserDefaults(const std::filesystem::path& file, Options options = {});
  explicit PersistentUserDefaults(std::unique_ptr<DomainFile> file, Options options = {});
  // Writes what is pending.
  ~PersistentUserDefaults() override;
  PersistentUserDefaults(const PersistentUserDefaults&) = delete;
  PersistentUserDefaults& operator=(const PersistentUserDefaults&) = delete;

  [[nodiscard]] std::optional<AnyValue> object(std::string_view key) const override;
  bool set(const std::optional<AnyValue>& value, std::string_view key) override;
  [[nodiscard]] TextDictionary dictionaryRepresentation() const override;
  bool synchronize() override;

  struct Core;

 private:
  std::shared_ptr<Core> core_;
};

}  // namespace Keel
