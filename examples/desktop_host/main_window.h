#pragma once

#include <QMainWindow>
#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "pictures.h"
#include "processing.h"
#include "support/image.h"

class QAction;
class QActionGroup;
class QListWidget;
class QMenu;
class QSlider;
class QSpinBox;

namespace desktop_host {

class SliceView;

/// The host's window: three linked views of an image, computations on it, and what they found as overlays
/// with a legend.
class MainWindow : public QMainWindow {
 public:
  MainWindow();
  /// Waits for the end of a computation.
  ~MainWindow() override;

  /// Shows the middle of an image; tells the user when it cannot be read.
  void Open(const std::string& path);
  /// Whether a computation runs in its worker.
  bool IsBusy() const { return worker_.joinable(); }

  /// Write what is shown now; tell the user what goes wrong, and replace no input.
  void SaveLabels(const std::string& path);
  void SavePicture(const std::string& path);
  void SaveTable(const std::string& path);
  void SaveSegmentation(const std::string& path);

 protected:
  /// Stays open while a computation runs, which its progress window cancels.
  void closeEvent(QCloseEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;

 private:
  void BuildFileMenu();
  void BuildMenus();
  void BuildToolBar();
  void BuildPanels();
  SliceView* BuildView(int axis);
  QAction* AddAction(QMenu* menu, const QString& text, const char* name);
  void AddSaving(QMenu* menu, const QString& text, const char* name, const QString& kind,
                 const QString& ending, void (MainWindow::*save)(const std::string& path));

  void ShowViews(bool areThree);
  void AskForFile();
  void AskForFolder();
  std::optional<example::SeriesChoice> AskForSeries(const std::string& path);
  void Compute(const Processing& processing);
  void Finish(const std::shared_ptr<Outcome>& outcome, const QString& failure);
  void Keep(Outcome outcome);
  void KeepSegmentation(Outcome outcome);
  void SetImage(example::GreyImage image);
  void Undo();
  void EnableActions();

  void MoveTo(std::array<int, 3> position);
  void ShowSlice(int index);
  void ShowSegmentation(std::optional<Segmentation> segmentation);
  Segmentation SegmentationOfPlane(int axis, int index) const;
  const Segmentation* Measured() const;
  QString AmountText(double voxels) const;
  void ListOverlays();
  void SetOverlay(const Overlay& overlay);
  void Redraw();
  void RedrawPlane(int axis);
  void FillLegend();
  void ChoosePixel(int axis, QPoint pixel);
  void MovePixel(int axis, QPoint pixels);
  void DragWindow(QPointF share);
  void TellVoxel();
  void AskForDistance();
  std::size_t ChosenVoxel() const;
  void Save(const std::string& path, const std::function<void(const std::string& path)>& write);

  std::array<SliceView*, 3> views_{};  // by the axis that they look along
  QListWidget* legend_ = nullptr;
  QSlider* slider_ = nullptr;
  QSlider* opacity_ = nullptr;
  QSpinBox* classes_ = nullptr;
  QMenu* overlayMenu_ = nullptr;
  QActionGroup* overlayGroup_ = nullptr;

  std::string path_;
  example::GreyImage image_;
  std::optional<example::GreyImage> former_;  // before the last denoising
  example::GreyImage slice_;                  // along z, which is computed upon
  std::array<int, 3> position_{0, 0, 0};      // the voxel that all views show
  Window window_;
  QList<QAction*> imageActions_;         // that need an image
  QList<QAction*> segmentationActions_;  // that need classes
  QAction* open_ = nullptr;
  QAction* openSeries_ = nullptr;
  QAction* undo_ = nullptr;
  QAction* savePicture_ = nullptr;
  QAction* distance_ = nullptr;
  std::optional<Segmentation> segmentation_;       // of the slice
  std::optional<Segmentation> wholeSegmentation_;  // of all slices
  std::thread worker_;
  Overlay overlay_;
};

}  // namespace desktop_host
