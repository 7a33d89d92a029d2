#pragma once

#include <QAction>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QTemporaryDir>
#include <QTimer>
#include <cstdlib>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "application.h"
#include "main_window.h"
#include "slice_view.h"
#include "support/nifti_io.h"

namespace mth_test {

inline constexpr const char* kSlice = MTH_DATA_DIR "/t1_brain_axial.nii.gz";

/// The window of the desktop host, and people's ways to work with it.
class DesktopHost : public QtTest {
 protected:
  DesktopHost() { window_.emplace().show(); }

  const QImage& Picture() { return Find<desktop_host::SliceView>("slice")->GetPicture(); }
  template <class Widget>
  Widget* Find(const QString& name) {
    auto* found = dynamic_cast<Widget*>(window_->findChild<QWidget*>(name));
    if (found == nullptr) std::abort();
    return found;
  }

  /// Takes an entry as Take and waits for the end of what it computes.
  bool TakeAndWait(const QString& menuTitle, const QString& text) {
    return Take(menuTitle, text) && PumpUntil([this] { return !window_->IsBusy(); });
  }

  /// Takes the entry of a menu whose text begins so, unless it is grey.
  bool Take(const QString& menuTitle, const QString& text) {
    for (const QAction* menu : window_->menuBar()->actions()) {
      if (menu->text().remove('&') != menuTitle) continue;
      for (QAction* action : menu->menu()->actions()) {
        if (!action->text().remove('&').startsWith(text)) continue;
        if (!action->isEnabled()) return false;
        action->trigger();
        return true;
      }
    }
    return false;
  }

  /// Answers the next modal dialog of that type; what happens until then must open one.
  template <class Dialog, class Answer>
  static void AnswerNext(Answer answer) {
    QTimer::singleShot(0, [answer] {
      auto* dialog = dynamic_cast<Dialog*>(QApplication::activeModalWidget());
      if (dialog == nullptr) std::abort();  // nobody would ever close it
      answer(*dialog);
    });
  }
  static QString TextOfNextMessage(const std::function<void()>& program) {
    QString text;
    AnswerNext<QMessageBox>([&text](QMessageBox& dialog) {
      text = dialog.text();
      dialog.accept();
    });
    program();
    return text;
  }

  std::optional<desktop_host::MainWindow> window_;
};

/// How many different colours a picture has that are not grey.
inline std::size_t CountHues(const QImage& picture) {
  std::set<int> hues;
  for (int y = 0; y < picture.height(); ++y) {
    for (int x = 0; x < picture.width(); ++x) {
      const QColor colour = picture.pixelColor(x, y);
      if (colour.hsvSaturation() > 60) hues.insert(colour.hsvHue() / 20);
    }
  }
  return hues.size();
}

/// A volume of 20 x 24 x 12 voxels whose value tells the place, in the grid of a scanner.
inline std::string WriteVolume(const QTemporaryDir& folder) {
  example::GreyImage image;
  image.size = {20, 24, 12};
  image.voxelSize = {1.0, 1.0, 2.0};
  image.affine = example::Affine{{{1, 0, 0, -10}, {0, 1, 0, 0}, {0, 0, 2, 5}}};
  std::vector<float> values;
  for (int i = 0; i < 20 * 24 * 12; ++i) values.push_back(static_cast<float>(10 + i % 20 + i / 20 % 24));
  const std::string path = folder.filePath("volume.nii.gz").toStdString();
  example::WriteNiftiFloats(path, image, "", values, example::Meaning::Intensities);
  return path;
}

}  // namespace mth_test
