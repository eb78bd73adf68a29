// A user-defaults domain file held in memory, whose bytes the test or fuzzer
// chooses and whose reads and writes fail when it says so. Header only.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Keel/services/domain_file.h"

namespace Vantor::Testing {

class MemoryDomainFile final : public Keel::DomainFile {
 public:
  struct State {
    std::optional<std::string> bytes;  // the file's content; nothing: missing
    std::uint64_t version = 0;         // a new version reads as another file
    int writes = 0;
    bool readFails = false;
    bool replaceFails = false;
  };
  explicit MemoryDomainFile(std::shared_ptr<State> state) : state_(std::move(state)) {}

  Keel::FileStamp stamp() override {
    if (!state_->bytes) return {};
    return {true, 1, state_->version, static_cast<std::int64_t>(state_->bytes->size()), 0};
  }
  Keel::FileRead read() override {
    if (state_->readFails) return {Keel::FileRead::Status::failed, {}, {}};
    if (!state_->bytes) return {};
    return {Keel::FileRead::Status::read, *state_->bytes, stamp()};
  }
  bool withLock(const std::function<void()>& body) override {
    body();
    return true;
  }
  bool setAside() override {
    state_->bytes.reset();
    ++state_->version;
    return true;
  }
  std::optional<Keel::FileStamp> replace(std::string_view bytes) override {
    if (state_->replaceFails) return std::nullopt;
    state_->bytes = std::string(bytes);
    ++state_->version;
    ++state_->writes;
    return stamp();
  }
  bool takeChangeNotice() override { return true; }

 private:
  std::shared_ptr<State> state_;
};

}  // namespace Vantor::Testing
