#include "Plinth/permissions/folder_picker_qt.h"

#include <QFileDialog>
#include <memory>
#include <utility>

#include "Plinth/desktop/window_qt.h"

namespace Plinth {

void QtFolderPicker::beginSheet(const OpenPanelOptions& options, Window* window, FolderPickerCompletion completion) {
  auto* dialog = new QFileDialog(QtWindow::widgetOf(window));
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  dialog->setOption(QFileDialog::DontUseNativeDialog);
  dialog->setWindowModality(dialog->parentWidget() != nullptr ? Qt::WindowModal : Qt::ApplicationModal);
  dialog->setAcceptMode(QFileDialog::AcceptOpen);
  if (options.canChooseFiles) {
    dialog->setFileMode(options.allowsMultipleSelection ? QFileDialog::ExistingFiles : QFileDialog::ExistingFile);
  } else {
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
  }
  dialog->setOption(QFileDialog::ReadOnly, !options.canCreateDirectories);
  const std::string start = options.directory.path();
  if (!start.empty()) dialog->setDirectory(QString::fromStdString(start));
  if (!options.prompt.empty()) dialog->setLabelText(QFileDialog::Accept, QString::fromStdString(options.prompt));

  auto pending = std::make_shared<FolderPickerCompletion>(std::move(completion));
  QObject::connect(dialog, &QFileDialog::finished, dialog, [dialog, pending](int result) {
    auto handler = std::exchange(*pending, nullptr);
    if (!handler) return;
    const QStringList chosen = dialog->selectedFiles();
    if (result != QDialog::Accepted) {
      handler(ModalResponse::cancel, std::nullopt);
    } else if (chosen.isEmpty()) {
      handler(ModalResponse::OK, std::nullopt);
    } else {
      handler(ModalResponse::OK, Keel::URL::fileURL(chosen.first().toStdString(), QFileInfo(chosen.first()).isDir()));
    }
  });
  dialog->open();
}

}  // namespace Plinth
