// A domain file holding arbitrary bytes, as another program or a damaged disk
// may leave it: the store must read it without crashing, whatever it keeps of
// it must write back, and what it wrote must read back as what it holds.
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "Keel/services/persistent_user_defaults.h"
#include "testing/memory_domain_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using Vantor::Testing::MemoryDomainFile;
  constexpr Keel::PersistentUserDefaultsOptions noTimedWrites{std::chrono::hours(1)};
  auto file = std::make_shared<MemoryDomainFile::State>();
  file->bytes = std::string(reinterpret_cast<const char*>(data), size);
  Keel::TextDictionary held;
  {
    Keel::PersistentUserDefaults defaults(std::make_unique<MemoryDomainFile>(file), noTimedWrites);
    (void)defaults.dictionaryRepresentation();
    defaults.set(std::int64_t{1}, "fuzz");
    if (!defaults.synchronize()) std::abort();
    held = defaults.dictionaryRepresentation();
  }
  Keel::PersistentUserDefaults reread(std::make_unique<MemoryDomainFile>(file), noTimedWrites);
  if (reread.dictionaryRepresentation() != held) std::abort();
  return 0;
}
