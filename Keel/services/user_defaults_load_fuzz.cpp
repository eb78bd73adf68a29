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

namespace {

class BytesFile final : public Keel::DomainFile {
 public:
  explicit BytesFile(std::shared_ptr<std::optional<std::string>> bytes) : bytes_(std::move(bytes)) {}
  Keel::FileStamp stamp() override {
    return *bytes_ ? Keel::FileStamp{true, 1, version_, static_cast<std::int64_t>((*bytes_)->size()), 0}
                   : Keel::FileStamp{};
  }
  Keel::FileRead read() override {
    if (!*bytes_) return {};
    return {Keel::FileRead::Status::read, **bytes_, stamp()};
  }
  bool withLock(const std::function<void()>& body) override {
    body();
    return true;
  }
  bool setAside() override {
    bytes_->reset();
    ++version_;
    return true;
  }
  std::optional<Keel::FileStamp> replace(std::string_view bytes) override {
    *bytes_ = std::string(bytes);
    ++version_;
    return stamp();
  }
  bool takeChangeNotice() override { return true; }

 private:
  std::shared_ptr<std::optional<std::string>> bytes_;
  std::uint64_t version_ = 1;
};

constexpr Keel::PersistentUserDefaultsOptions noTimedWrites{std::chrono::hours(1)};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto bytes = std::make_shared<std::optional<std::string>>(std::string(reinterpret_cast<const char*>(data), size));
  Keel::TextDictionary held;
  {
    Keel::PersistentUserDefaults defaults(std::make_unique<BytesFile>(bytes), noTimedWrites);
    (void)defaults.dictionaryRepresentation();
    defaults.set(std::int64_t{1}, "fuzz");
    if (!defaults.synchronize()) std::abort();
    held = defaults.dictionaryRepresentation();
  }
  Keel::PersistentUserDefaults reread(std::make_unique<BytesFile>(bytes), noTimedWrites);
  if (reread.dictionaryRepresentation() != held) std::abort();
  return 0;
}
