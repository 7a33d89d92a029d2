#include <QAction>
#include <QFileDialog>
#include <QMenu>
#include <QPixmap>
#include <QStatusBar>

#include "main_window.h"
#include "std/Std_message.h"
#include "support/batch.h"
#include "support/failure.h"
#include "support/nifti_io.h"
#include "support/results.h"
#include "support/text.h"

// What the window saves: labels, a table of the classes, a picture of the views.

namespace desktop_host {

void MainWindow::AddSaving(QMenu* menu, const QString& text, const char* name, const QString& kind,
                           void (MainWindow::*save)(const std::string& path)) {
  QAction* action = AddAction(menu, text, name);
  segmentationActions_.append(action);
  connect(action, &QAction::triggered, this, [this, kind, save] {
    const QString path = QFileDialog::getSaveFileName(this, "Save", QString(), kind);
    if (!path.isEmpty()) (this->*save)(path.toStdString());
  });
}

// The dialog has asked before it replaces a file; the image that is shown is never replaced.
void MainWindow::Save(const std::string& path, const std::function<void(const std::string& path)>& write) {
  try {
    example::Results results("desktop_host", {path_}, true);
    results.WriteFile(path, write);
    results.Commit();
    statusBar()->showMessage("Saved " + QString::fromStdString(path));
  } catch (const std::exception& failure) {
    Std_ShowMessage(failure.what(), MessageKind::Error, "");
  }
}

void MainWindow::SaveLabels(const std::string& path) {
  const Segmentation* classes = Measured();
  if (classes == nullptr) return;
  const example::GreyImage& grid = wholeSegmentation_ ? image_ : slice_;
  const std::string model = example::IsNiftiPath(path_) ? path_ : "";
  Save(path,
       [&](const std::string& place) { example::WriteNiftiLabels(place, grid, model, classes->labels); });
}

void MainWindow::SavePicture(const std::string& path) {
  const QPixmap picture = centralWidget()->grab();
  Save(path, [&](const std::string& place) {
    if (!picture.save(QString::fromStdString(place), "PNG"))
      throw example::WriteFailure("the picture cannot be written");
  });
}

void MainWindow::SaveTable(const std::string& path) {
  const Segmentation* classes = Measured();
  if (classes == nullptr) return;
  std::string table = "label,centroid,mean,deviation,voxels,amount\n";
  const auto number = [](double value) { return example::Rounded(value, 8); };
  for (std::size_t k = 0; k < classes->centroids.size(); ++k) {
    const auto voxels = static_cast<double>(classes->voxelCounts[k]);
    table.append(std::to_string(k + 1)).append(",").append(number(classes->centroids[k])).append(",");
    table.append(number(classes->means[k])).append(",").append(number(classes->deviations[k])).append(",");
    table.append(number(voxels)).append(",");
    table.append(example::CsvField(AmountText(voxels).toStdString())).append("\n");
  }
  Save(path, [&](const std::string& place) { example::WriteBytes(place, table.data(), table.size()); });
}

}  // namespace desktop_host
