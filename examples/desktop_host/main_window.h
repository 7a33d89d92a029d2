#pragma once

#include <QMainWindow>
#include <optional>
#include <string>

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

  /// Shows the middle slice of an image; tells the user when it cannot be read.
  void Open(const std::string& path);

 private:
  void BuildMenus();
  void BuildToolBar();
  void BuildPanels();
  QAction* AddAction(QMenu* menu, const QString& text, const char* name);

  void AskForFile();
  void ShowSlice(int index);
  void Compute(const Processing& processing);
  void Keep(Outcome outcome);
  void ForgetSegmentation();
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
  std::optional<Segmentation> segmentation_;
  Overlay overlay_;
  std::optional<QPoint> chosenPixel_;
};

}  // namespace desktop_host
