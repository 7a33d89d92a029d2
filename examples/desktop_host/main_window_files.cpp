#include <QAction>
#include <QFileDialog>
#include <QFileInfo>
#include <QInputDialog>
#include <QMenu>
#include <QPixmap>
#include <QStatusBar>

#include "main_window.h"
#include "std/Std_message.h"
#include "support/batch.h"
#include "support/dicom_io.h"
#include "support/dicom_results.h"
#include "support/failure.h"
#include "support/nifti_io.h"
#include "support/results.h"
#include "support/text.h"

// Which series of a folder the window opens, and what it saves: labels, a table of the classes, a picture of
// the views.

namespace desktop_host {

void MainWindow::AskForFolder() {
  const QString path = QFileDialog::getExistingDirectory(this, "Open a folder of DICOM slices");
  if (!path.isEmpty()) Open(path.toStdString());
}

// Nothing where the user takes none of several.
std::optional<example::SeriesChoice> MainWindow::AskForSeries(const std::string& path) {
  if (example::IsNiftiPath(path) || example::IsPicturePath(path) || !example::IsDicomPath(path))
    return example::SeriesChoice();
  const std::vector<example::SeriesEntry> entries = example::ListDicomSeries(path);
  if (entries.size() < 2) return example::SeriesChoice();
  QStringList lines;
  for (const example::SeriesEntry& entry : entries) lines.append(QString::fromStdString(entry.text));
  bool isOk = false;
  const QString line = QInputDialog::getItem(this, "Several series", "Series:", lines, 0, false, &isOk);
  if (!isOk) return std::nullopt;
  return entries[static_cast<std::size_t>(lines.indexOf(line))].choice;
}

void MainWindow::AddSaving(QMenu* menu, const QString& text, const char* name, const QString& kind,
                           const QString& ending, void (MainWindow::*save)(const std::string& path)) {
  QAction* action = AddAction(menu, text, name);
  segmentationActions_.append(action);
  connect(action, &QAction::triggered, this, [this, kind, ending, save] {
    QFileDialog dialog(this, "Save", QString(), QString("%1 (*.%2)").arg(kind, ending));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setDefaultSuffix(ending);  // before it asks whether to replace a file of that name
    if (dialog.exec() == QDialog::Accepted) (this->*save)(dialog.selectedFiles().front().toStdString());
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
  Save(path, [&](const std::string& place) {
    if (!example::IsNiftiPath(place))
      throw example::WriteFailure("labels need a name that ends in .nii.gz or .nii");
    example::WriteNiftiLabels(place, grid, model, classes->labels);
  });
}

void MainWindow::SaveSegmentation(const std::string& path) {
  if (!image_.dicom || !wholeSegmentation_) {
    Std_ShowMessage("Open a DICOM series and divide all of it first", MessageKind::Warning, "");
    return;
  }
  const Segmentation& classes = *wholeSegmentation_;
  example::DicomOutput output;
  output.folder = QFileInfo(QString::fromStdString(path)).absolutePath().toStdString();
  Save(path, [&](const std::string& place) {
    RequireDicomOutput(output, image_, path_);
    const std::string method = classes.fields.empty() ? "clustering" : "tissues and mixtures";
    WriteDicomLabels(place, image_, SegmentsOf(image_, classes), classes.labels,
                     {"desktop_host", method, std::to_string(classes.centroids.size()) + " classes"}, output);
  });
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
