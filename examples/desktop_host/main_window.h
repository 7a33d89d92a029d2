#pragma once

#include <QMainWindow>
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

/// The host's window: a slice of an image, computations on it, and what they found as overlays with a legend.
class MainWindow : public QMainWindow {
 public:
  MainWindow();
  /// Waits for the end of a computation.
  ~MainWindow() override;

  /// Shows the middle slice of an image; tells the user when it cannot be read.
  void Open(const std::string& path);

  /// Whether a computation runs in its worker.
  bool IsBusy() const { return worker_.joinable(); }

 protected:
  /// Stays open while a computation runs, which its progress window cancels.
  void closeEvent(QCloseEvent* event) override;

 private:
  void BuildMenus();
  void BuildToolBar();
  void BuildPanels();
  QAction* AddAction(QMenu* menu, const QString& text, const char* name);

  void AskForFile();
  void ShowSlice(int index);
  void Compute(const Processing& processing);
  void Finish(const std::shared_ptr<Outcome>& outcome, const QString& failure);
  void Keep(Outcome outcome);
  void EnableActions();
  void ShowSegmentation(std::optional<Segmentation> segmentation);
  Segmentation SegmentationOfSlice(int index) const;
  void ListOverlays();
  void SetOverlay(const Overlay& overlay);
  void Redraw();
  void FillLegend();
  void ChoosePixel(QPoint pixel);
  void AskForDistance();
  std::size_t ChosenVoxel() const;

  SliceView* view_ = nullptr;
  QListWidget* legend_ = nullptr;
  QSlider* slider_ = nullptr;
  QSpinBox* classes_ = nullptr;
  QMenu* overlayMenu_ = nullptr;
  QActionGroup* overlayGroup_ = nullptr;

  example::GreyImage image_;
  example::GreyImage slice_;
  double white_ = 1.0;
  QList<QAction*> imageActions_;  // that need an image
  QAction* open_ = nullptr;
  QAction* distance_ = nullptr;
  std::optional<Segmentation> segmentation_;       // of the slice
  std::optional<Segmentation> wholeSegmentation_;  // of all slices
  std::thread worker_;
  Overlay overlay_;
  std::optional<QPoint> chosenPixel_;
};

}  // namespace desktop_host
