#include "Plinth/permissions/folder_picker_qt.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QFileDialog>
#include <QPushButton>
#include <filesystem>
#include <optional>
#include <utility>
#include <vector>

#include "Plinth/desktop/window_qt.h"
#include "testing/temp_dir.h"

namespace Plinth {
namespace {

TEST(QtFolderPicker, OpensWindowModalInTheStartFolderAndAnswersOnce) {
  Vantor::Testing::TempDir dir;
  const auto start = dir.path() / "start";
  std::filesystem::create_directories(start / "chosen");
  QWidget widget;
  widget.show();
  QtWindow window(&widget);

  OpenPanelOptions options;
  options.directory = Keel::URL::fileURL(start.string(), true);
  options.prompt = "Allow";
  std::vector<std::pair<ModalResponse, std::optional<Keel::URL>>> answers;
  const auto completion = [&](ModalResponse r, std::optional<Keel::URL> u) { answers.emplace_back(r, std::move(u)); };

  QtFolderPicker picker;
  picker.beginSheet(options, &window, completion);
  auto* dialog = widget.findChild<QFileDialog*>();
  ASSERT_NE(dialog, nullptr);
  EXPECT_TRUE(answers.empty());
  EXPECT_EQ(dialog->windowModality(), Qt::WindowModal);
  EXPECT_EQ(dialog->fileMode(), QFileDialog::Directory);
  EXPECT_TRUE(dialog->testOption(QFileDialog::ReadOnly));  // no new folders
  EXPECT_EQ(dialog->directory().absolutePath().toStdString(), start.string());
  EXPECT_EQ(dialog->labelText(QFileDialog::Accept), "Allow");
  dialog->selectFile(QString::fromStdString((start / "chosen").string()));
  static_cast<QDialog*>(dialog)->accept();  // as the accept button does
  ASSERT_EQ(answers.size(), 1U);
  EXPECT_EQ(answers[0].first, ModalResponse::OK);
  ASSERT_TRUE(answers[0].second);
  EXPECT_EQ(answers[0].second->path(), (start / "chosen").string());

  picker.beginSheet(options, nullptr, completion);  // free-standing
  dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
  ASSERT_NE(dialog, nullptr);
  EXPECT_EQ(dialog->parentWidget(), nullptr);
  dialog->reject();
  ASSERT_EQ(answers.size(), 2U);
  EXPECT_EQ(answers[1], std::make_pair(ModalResponse::cancel, std::optional<Keel::URL>()));
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

}  // namespace
}  // namespace Plinth
