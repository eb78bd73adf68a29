#include "Plinth/inventory/alert.h"

#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "Plinth/desktop/resource_bundle.h"

namespace Plinth {
namespace {

// Records what it was asked to show and answers as told.
class ScriptedPresenter : public AlertPresenter {
 public:
  int response = alertFirstButtonReturn;
  int reportsPerSheet = 1;
  std::vector<AlertContent> shown;
  Window* sheetWindow = nullptr;

  int runModal(const AlertContent& content) override {
    shown.push_back(content);
    return response;
  }
  void beginSheet(const AlertContent& content, Window* window, AlertCompletion completion) override {
    shown.push_back(content);
    sheetWindow = window;
    for (int i = 0; i < reportsPerSheet; ++i) completion(response);
  }
};

TEST(Alert, AsksWithNoFirstAsTheDefaultInEitherForm) {
  ScriptedPresenter presenter;
  Window window;
  (void)Alert::confirm(presenter, "Delete?", "It cannot be undone.");
  Alert::confirm(presenter, &window, "Delete?", "It cannot be undone.", [](bool) {});
  ASSERT_EQ(presenter.shown.size(), 2U);
  for (const auto& content : presenter.shown) {
    EXPECT_EQ(content.messageText, "Delete?");
    EXPECT_EQ(content.informativeText, "It cannot be undone.");
    EXPECT_EQ(content.buttonTitles, (std::vector<std::string>{localizedString("NO"), localizedString("YES")}));
  }
  EXPECT_EQ(presenter.shown[0].style, AlertStyle::warning);
  EXPECT_EQ(presenter.shown[1].style, AlertStyle::informational);
  EXPECT_EQ(presenter.sheetWindow, &window);
}

TEST(Alert, OnlyTheSecondButtonAnswersYes) {
  ScriptedPresenter presenter;
  for (int response : {alertFirstButtonReturn, alertClosedResponse, 1002, 0, 1}) {
    presenter.response = response;
    EXPECT_FALSE(Alert::confirm(presenter, "m", "i")) << response;
    std::optional<bool> answer;
    Alert::confirm(presenter, nullptr, "m", "i", [&](bool yes) { answer = yes; });
    EXPECT_EQ(answer, false) << response;
  }
  presenter.response = alertSecondButtonReturn;
  EXPECT_TRUE(Alert::confirm(presenter, "m", "i"));
  std::optional<bool> answer;
  Alert::confirm(presenter, nullptr, "m", "i", [&](bool yes) { answer = yes; });
  EXPECT_EQ(answer, true);
}

TEST(Alert, TheSheetCompletionRunsOnceAndWithoutAUserInterfaceTheAnswerIsNo) {
  ScriptedPresenter presenter;
  presenter.reportsPerSheet = 3;
  int calls = 0;
  Alert::confirm(presenter, nullptr, "m", "i", [&](bool) { ++calls; });
  EXPECT_EQ(calls, 1);

  AlertPresenter::setShared(nullptr);
  EXPECT_FALSE(Alert::confirm("m", "i"));
  std::optional<bool> answer;
  Alert::confirm(nullptr, "m", "i", [&](bool yes) { answer = yes; });
  EXPECT_EQ(answer, false);
}

}  // namespace
}  // namespace Plinth
