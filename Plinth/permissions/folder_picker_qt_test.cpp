#include "Plinth/permissions/folder_picker_qt.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QFileDialog>
#include <QPushButton>
#include <filesystem>
#include <optional>

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
  int calls = 0;
  std::optional<ModalResponse> response;
  std::optional<Keel::URL> url;
  const auto completion = [&](ModalResponse r, std::optional<Keel::URL> u) {
    ++calls;
    response = r;
    url = std::move(u);
  };

  QtFolderPicker picker;
  picker.beginSheet(options, &window, completion);
  auto* dialog = widget.findChild<QFileDialog*>();
  ASSERT_NE(dialog, nullptr);
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(dialog->windowModality(), Qt::WindowModal);
  EXPECT_EQ(dialog->fileMode(), QFileDialog::Directory);
  EXPECT_TRUE(dialog->testOption(QFileDialog::ReadOnly));  // no new folders
  EXPECT_EQ(dialog->directory().absolutePath().toStdString(), start.string());
  EXPECT_EQ(dialog->labelText(QFileDialog::Accept), "Allow");
  dialog->selectFile(QString::fromStdString((start / "chosen").string()));
  static_cast<QDialog*>(dialog)->accept();  // as the accept button does
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(response, ModalResponse::OK);
  ASSERT_TRUE(url);
  EXPECT_EQ(url->path(), (start / "chosen").string());

  picker.beginSheet(options, nullptr, completion);  // free-standing
  dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
  ASSERT_NE(dialog, nullptr);
  EXPECT_EQ(dialog->parentWidget(), nullptr);
  dialog->reject();
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(response, ModalResponse::cancel);
  EXPECT_FALSE(url);
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

}  // namespace
}  // namespace Plinth
