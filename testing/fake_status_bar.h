// Status-bar fakes for the status-item tests: they record what the portable
// rules do to buttons and views.
#pragma once

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Plinth/statusitem/status_bar.h"

namespace Plinth::Testing {

class FakeView : public View {
 public:
  FakeView(std::vector<std::string>* journal, std::string name) : journal_(journal), name_(std::move(name)) {}
  void layout() override { journal_->push_back("layout " + name_); }
  void removeFromSuperview() override { journal_->push_back("remove " + name_); }

 private:
  std::vector<std::string>* journal_;
  std::string name_;
};

class FakeButton : public StatusBarButton {
 public:
  std::optional<Image> storedImage;
  ImagePosition position = ImagePosition::noImage;
  std::vector<std::shared_ptr<View>> views;
  std::vector<std::shared_ptr<LayoutConstraint>> added;
  int constraintsMade = 0;
  const void* storedTarget = nullptr;
  std::function<void()> action;
  int storedTag = 0;
  std::string appearance = "light";

  [[nodiscard]] std::optional<Image> image() const override { return storedImage; }
  void setImage(std::optional<Image> image) override { storedImage = std::move(image); }
  [[nodiscard]] ImagePosition imagePosition() const override { return position; }
  void setImagePosition(ImagePosition p) override { position = p; }
  [[nodiscard]] std::vector<std::shared_ptr<View>> subviews() const override { return views; }
  void addSubview(std::shared_ptr<View> view) override { views.push_back(std::move(view)); }
  void setSubviews(std::vector<std::shared_ptr<View>> v) override { views = std::move(v); }
  void setTarget(const void* t) override { storedTarget = t; }
  void setAction(std::function<void()> a) override { action = std::move(a); }
  void setTag(int t) override { storedTag = t; }
  [[nodiscard]] const void* target() const override { return storedTarget; }
  [[nodiscard]] bool hasAction() const override { return static_cast<bool>(action); }
  [[nodiscard]] int tag() const override { return storedTag; }
  [[nodiscard]] std::vector<std::shared_ptr<LayoutConstraint>> constraints() const override { return added; }
  void addConstraint(std::shared_ptr<LayoutConstraint> c) override {
    ++constraintsMade;
    c->setActive(true);
    added.push_back(std::move(c));
  }
  void removeConstraints(const std::vector<std::shared_ptr<LayoutConstraint>>& cs) override {
    for (const auto& c : cs) added.erase(std::remove(added.begin(), added.end(), c), added.end());
  }
  [[nodiscard]] std::string effectiveAppearanceName() const override { return appearance; }
};

class FakeStatusItem : public StatusItem {
 public:
  explicit FakeStatusItem(bool withButton) : hasButton(withButton) {}
  FakeButton fakeButton;
  bool hasButton;
  StatusBarButton* button() override { return hasButton ? &fakeButton : nullptr; }
};

class FakeStatusBar : public StatusBar {
 public:
  bool buttons = true;
  std::vector<std::shared_ptr<FakeStatusItem>> shown;
  std::vector<double> lengths;
  double barThickness = 22;

  std::shared_ptr<StatusItem> statusItem(double length) override {
    lengths.push_back(length);
    shown.push_back(std::make_shared<FakeStatusItem>(buttons));
    return shown.back();
  }
  void removeStatusItem(const std::shared_ptr<StatusItem>& item) override {
    shown.erase(std::remove(shown.begin(), shown.end(), item), shown.end());
  }
  [[nodiscard]] double thickness() const override { return barThickness; }
  [[nodiscard]] bool isVisible() const override { return true; }

  FakeButton& button(std::size_t i) { return shown.at(i)->fakeButton; }
};

}  // namespace Plinth::Testing
