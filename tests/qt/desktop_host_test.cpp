#include <QAction>
#include <QActionGroup>
#include <QDragEnterEvent>
#include <QFile>
#include <QFileDialog>
#include <QInputDialog>
#include <QKeyEvent>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QMouseEvent>
#include <QPushButton>
#include <QSlider>
#include <QSpinBox>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

#include "application.h"
#include "main_window.h"
#include "slice_view.h"
#include "std/qt/Std_wait_bar_window.h"
#include "support/dicom_io.h"
#include "support/nifti_io.h"

namespace mth_test {
namespace {

using desktop_host::MainWindow;
using desktop_host::SliceView;

const char* const kSlice = MTH_DATA_DIR "/t1_brain_axial.nii.gz";

class DesktopHost : public QtTest {
 protected:
  DesktopHost() { window_.emplace().show(); }

  const QImage& Picture() { return Find<SliceView>("slice")->GetPicture(); }
  template <class Widget>
  Widget* Find(const QString& name) {
    auto* found = dynamic_cast<Widget*>(window_->findChild<QWidget*>(name));
    if (found == nullptr) std::abort();
    return found;
  }

  // Takes an entry as Take and waits for the end of what it computes.
  bool TakeAndWait(const QString& menuTitle, const QString& text) {
    return Take(menuTitle, text) && PumpUntil([this] { return !window_->IsBusy(); });
  }

  // Takes the entry of a menu whose text begins so, unless it is grey.
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

  // Answers the next modal dialog of that type; what happens until then must open one.
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

  std::optional<MainWindow> window_;
};

// How many different colours a picture has that are not grey.
std::size_t CountHues(const QImage& picture) {
  std::set<int> hues;
  for (int y = 0; y < picture.height(); ++y) {
    for (int x = 0; x < picture.width(); ++x) {
      const QColor colour = picture.pixelColor(x, y);
      if (colour.hsvSaturation() > 60) hues.insert(colour.hsvHue() / 20);
    }
  }
  return hues.size();
}

TEST_F(DesktopHost, ShowsASliceAndItsClassesWithALegend) {
  window_->Open(kSlice);
  const QImage plain = Picture();
  EXPECT_EQ(plain.size(), QSize(181, 217));
  EXPECT_EQ(CountHues(plain), 0U);
  EXPECT_EQ(Find<QListWidget>("legend")->count(), 0);

  Find<QSpinBox>("classes")->setValue(3);
  ASSERT_TRUE(TakeAndWait("Compute", "Fuzzy c-means"));
  const QImage labels = Picture();
  EXPECT_GE(CountHues(labels), 3U);
  EXPECT_EQ(labels.pixelColor(0, 0), plain.pixelColor(0, 0));  // outside the head
  auto* legend = Find<QListWidget>("legend");
  ASSERT_EQ(legend->count(), 3);
  double former = 0.0;
  for (int k = 0; k < 3; ++k) {
    const QString text = legend->item(k)->text();
    ASSERT_TRUE(text.startsWith(QString("class %1: grey level ").arg(k + 1))) << text.toStdString();
    const double level = text.section('\n', 0, 0).section(' ', -1).toDouble();
    EXPECT_GT(level, former);
    former = level;
    EXPECT_TRUE(text.endsWith(" mm\u00b2")) << text.toStdString();
    EXPECT_FALSE(legend->item(k)->icon().isNull());
  }

  ASSERT_TRUE(Take("Overlay", "Membership of class 2"));
  EXPECT_NE(Picture(), labels);
  EXPECT_EQ(CountHues(Picture()), 1U);
  EXPECT_EQ(legend->item(0)->text(), "membership 0 to 1");
  ASSERT_TRUE(Take("Overlay", "None"));
  EXPECT_EQ(Picture(), plain);
  EXPECT_EQ(legend->count(), 0);
}

TEST_F(DesktopHost, EveryComputationChangesThePictureOnceThereIsOne) {
  for (const auto& processing : desktop_host::Processings()) {
    EXPECT_FALSE(Take("Compute", QString(processing.name).remove('&'))) << processing.name;
  }
  for (const auto& processing : desktop_host::Processings()) {
    window_->Open(MTH_DATA_DIR "/t1_head_axial.nii.gz");
    const QImage plain = Picture();
    EXPECT_TRUE(TakeAndWait("Compute", QString(processing.name).remove('&')));
    EXPECT_NE(Picture(), plain) << processing.name;
  }
}

// While a computation runs nothing can be asked for ahead, and the window stays open; Cancel leaves the
// picture.
TEST_F(DesktopHost, StaysAliveWhileItComputesAndCanBeCancelled) {
  window_->Open(kSlice);
  const QImage plain = Picture();
  Find<QSpinBox>("classes")->setValue(8);
  ASSERT_TRUE(Take("Compute", "Evidential c-means"));
  EXPECT_TRUE(window_->IsBusy());
  EXPECT_FALSE(Take("Compute", "Fuzzy c-means"));
  EXPECT_FALSE(Take("File", "Open"));
  EXPECT_FALSE(window_->close());
  ASSERT_TRUE(PumpUntil([] { return Shown<STD_WAIT_BAR_WINDOW>() != nullptr; }));
  auto* cancel = Shown<STD_WAIT_BAR_WINDOW>()->findChild<QPushButton*>();
  ASSERT_NE(cancel, nullptr);
  cancel->click();
  ASSERT_TRUE(PumpUntil([this] { return !window_->IsBusy(); }));
  EXPECT_EQ(Picture(), plain);
  EXPECT_TRUE(window_->statusBar()->currentMessage().contains("no result"));
  EXPECT_TRUE(Take("Overlay", "None"));
}

// With two classes the methods differ only where tissues mix.
TEST_F(DesktopHost, ClusteringsAgreeOnMostVoxels) {
  const example::GreyImage image = example::ReadImage(kSlice);
  std::vector<std::vector<std::uint8_t>> labelings;
  for (const auto& processing : desktop_host::Processings()) {
    const desktop_host::Outcome outcome = processing.run({image, image, 2});
    if (!outcome.segmentation || outcome.isOfWholeImage) continue;
    const desktop_host::Segmentation& found = *outcome.segmentation;
    labelings.push_back(found.labels);
    std::size_t agreeing = 0;
    std::size_t decided = 0;
    for (std::size_t voxel = 0; voxel < image.values.size(); ++voxel) {
      EXPECT_EQ(found.labels[voxel] > 0, image.values[voxel] > 0.0);
      const bool isDecided = found.labels[voxel] > 0 && found.labels[voxel] <= 2;
      decided += isDecided ? 1 : 0;
      agreeing += isDecided && found.labels[voxel] == labelings[0][voxel] ? 1 : 0;
    }
    EXPECT_GT(static_cast<double>(agreeing), 0.9 * static_cast<double>(decided)) << processing.name;
  }
  EXPECT_EQ(labelings.size(), 2U);
}

// An image of fractions keeps its shades: it is no longer cut to black and white.
TEST_F(DesktopHost, DenoisesImagesOfFractions) {
  example::GreyImage image = example::ReadImage(kSlice);
  for (double& value : image.values) value /= 256.0;
  const auto& processings = desktop_host::Processings();
  const desktop_host::Outcome outcome = processings.back().run({image, image, 2});
  ASSERT_TRUE(outcome.image);
  double difference = 0.0;
  for (std::size_t voxel = 0; voxel < image.values.size(); ++voxel)
    difference = std::max(difference, std::abs(outcome.image->values[voxel] - image.values[voxel]));
  EXPECT_GT(difference, 0.0);
  EXPECT_LT(difference, 0.2);
}

void PressKey(QWidget* widget, int key) {
  QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
  QApplication::sendEvent(widget, &press);
}

void PressButton(QWidget* widget, Qt::MouseButton button, QPointF place) {
  QMouseEvent press(QEvent::MouseButtonPress, place, place, button, button, {});
  QApplication::sendEvent(widget, &press);
}

// A volume of 20 x 24 x 12 voxels whose value tells the place, in the grid of a scanner.
std::string WriteVolume(const QTemporaryDir& folder) {
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

// A click in one view moves the others; keys and wheel go to other voxels and slices, in the patient's
// directions: his right is on the left of the screen.
TEST_F(DesktopHost, ShowsThreeViewsOfOneVoxel) {
  const QTemporaryDir folder;
  window_->Open(WriteVolume(folder));
  auto* axial = Find<SliceView>("slice");
  auto* coronal = Find<SliceView>("slice_y");
  auto* sagittal = Find<SliceView>("slice_x");
  EXPECT_TRUE(coronal->isVisible() && sagittal->isVisible());
  EXPECT_EQ(axial->GetCaption(), "z = 6 of 0 to 11");
  const auto status = [this] { return window_->statusBar()->currentMessage(); };
  EXPECT_TRUE(status().endsWith("voxel 10 12 6, R 0.0 A 12.0 S 17.0 mm")) << status().toStdString();

  PressKey(axial, Qt::Key_Right);  // to the patient's left
  PressKey(axial, Qt::Key_Up);
  PressKey(axial, Qt::Key_PageUp);
  EXPECT_TRUE(status().contains("voxel 9 13 7,")) << status().toStdString();
  EXPECT_EQ(coronal->GetCaption(), "y = 13 of 0 to 23");
  EXPECT_EQ(sagittal->GetCaption(), "x = 9 of 0 to 19");
  const QRectF area = coronal->PictureArea();
  EXPECT_NEAR(area.height() / area.width(), 12 * 2.0 / 20, 1e-9);  // of thick slices
  PressButton(coronal, Qt::LeftButton, area.topLeft() + QPointF(1.0, 1.0));
  EXPECT_TRUE(status().contains("voxel 19 13 11,")) << status().toStdString();
  QWheelEvent wheel(QPointF(9, 9), QPointF(9, 9), {}, {0, -240}, Qt::NoButton, Qt::NoModifier,
                    Qt::NoScrollPhase, false);
  QApplication::sendEvent(sagittal, &wheel);
  EXPECT_TRUE(status().contains("voxel 17 13 11,")) << status().toStdString();
  for (int i = 0; i < 30; ++i) PressKey(axial, Qt::Key_PageDown);  // ends at the first slice
  EXPECT_EQ(axial->GetCaption(), "z = 0 of 0 to 11");
}

TEST_F(DesktopHost, ZoomsAndMovesTheWindowOfGreys) {
  const QTemporaryDir folder;
  window_->Open(WriteVolume(folder));
  auto* axial = Find<SliceView>("slice");
  const QRectF whole = axial->PictureArea();
  PressKey(axial, Qt::Key_Plus);
  EXPECT_NEAR(axial->PictureArea().width(), 1.25 * whole.width(), 1e-9);
  const QRectF zoomed = axial->PictureArea();
  PressButton(axial, Qt::MiddleButton, {30, 30});
  QMouseEvent pan(QEvent::MouseMove, QPointF(40, 25), QPointF(40, 25), Qt::NoButton, Qt::MiddleButton, {});
  QApplication::sendEvent(axial, &pan);
  EXPECT_EQ(axial->PictureArea(), zoomed.translated(10, -5));
  PressKey(axial, Qt::Key_Home);
  EXPECT_EQ(axial->PictureArea(), whole);

  const QImage plain = Picture();
  PressButton(axial, Qt::RightButton, {30, 30});
  QMouseEvent drag(QEvent::MouseMove, QPointF(30, 60), QPointF(30, 60), Qt::NoButton, Qt::RightButton, {});
  QApplication::sendEvent(axial, &drag);
  EXPECT_GT(Picture().pixelColor(5, 5).red(), plain.pixelColor(5, 5).red());
}

// An element of a DICOM file: explicit types, little endian.
std::string Element(unsigned group, unsigned number, const std::string& type, std::string value) {
  const auto bytes = [](std::size_t whole, int count) {
    std::string text;
    for (int i = 0; i < count; ++i) text += static_cast<char>(whole >> (8 * i));
    return text;
  };
  if (type == "US") value = bytes(std::stoul(value), 2);
  if (value.size() % 2 != 0) value += type == "UI" ? '\0' : ' ';
  const std::string length =
      type == "OW" ? std::string(2, '\0') + bytes(value.size(), 4) : bytes(value.size(), 2);
  return bytes(group, 2) + bytes(number, 2) + type + length + value;
}

// Slices of 4 x 2 pixels, twice as high as wide, with that grey.
void WriteSlice(const QTemporaryDir& folder, const std::string& series, const std::string& echo, char grey) {
  const std::string uid = "1.2." + series + "." + echo;
  const std::string file = std::string(128, '\0') + "DICM" + Element(2, 0x10, "UI", "1.2.840.10008.1.2.1") +
                           Element(8, 0x16, "UI", "1.2.840.10008.5.1.4.1.1.4") + Element(8, 0x18, "UI", uid) +
                           Element(0x18, 0x86, "IS", echo) + Element(0x20, 0x0E, "UI", "1.2." + series) +
                           Element(0x20, 0x11, "IS", series) + Element(0x20, 0x32, "DS", "0\\0\\0") +
                           Element(0x20, 0x37, "DS", "1\\0\\0\\0\\1\\0") + Element(0x28, 2, "US", "1") +
                           Element(0x28, 4, "CS", "MONOCHROME2") + Element(0x28, 0x10, "US", "2") +
                           Element(0x28, 0x11, "US", "4") + Element(0x28, 0x30, "DS", "2\\1") +
                           Element(0x28, 0x100, "US", "8") + Element(0x28, 0x101, "US", "8") +
                           Element(0x28, 0x102, "US", "7") + Element(0x28, 0x103, "US", "0") +
                           Element(0x7FE0, 0x10, "OW", std::string(8, grey));
  std::ofstream(folder.filePath(QString::fromStdString(uid)).toStdString(), std::ios::binary) << file;
}

// Of several series and echoes the user chooses one; its pixels have their true shape.
TEST_F(DesktopHost, AsksWhichSeriesAndEcho) {
  const QTemporaryDir folder;
  if (!example::IsDicomPath(folder.path().toStdString())) GTEST_SKIP() << "a build without DICOM";
  WriteSlice(folder, "3", "1", 31);
  WriteSlice(folder, "3", "2", 32);
  WriteSlice(folder, "4", "1", 41);
  const auto open = [&](int entry, bool isTaken) {
    AnswerNext<QInputDialog>([&](QInputDialog& dialog) {
      EXPECT_EQ(dialog.comboBoxItems().size(), 3);
      dialog.setTextValue(dialog.comboBoxItems().value(entry));
      dialog.done(isTaken ? QDialog::Accepted : QDialog::Rejected);
    });
    window_->Open(folder.path().toStdString());
    return window_->statusBar()->currentMessage();
  };
  EXPECT_TRUE(open(0, true).startsWith("grey 31,"));
  EXPECT_TRUE(open(1, true).startsWith("grey 32,"));
  EXPECT_TRUE(open(2, true).startsWith("grey 41,"));
  EXPECT_TRUE(open(0, false).startsWith("grey 41,"));  // none: as before
  const QRectF area = Find<SliceView>("slice")->PictureArea();
  EXPECT_NEAR(area.height() / area.width(), 1.0, 1e-9);
}

// The desktop and the command line give the same classes, of all methods that both have.
TEST_F(DesktopHost, HasTheNumbersOfTheCommandLine) {
  const QTemporaryDir folder;
  window_->Open(kSlice);
  const std::pair<const char*, const char*> methods[] = {
      {"Tissues", ""}, {"Fuzzy c-means", "-m fcm -c 3"}, {"Evidential c-means", "-m ecm -c 3"}};
  for (const auto& [entry, options] : methods) {
    const std::string output = folder.filePath("result").toStdString();
    const std::string command = std::string(MTH_SEGMENT_MR) + " " + kSlice + " " + options + " -o " + output;
    ASSERT_EQ(std::system((command + " > /dev/null").c_str()), 0) << command;
    std::ifstream file(output + "/report.json");
    const auto report = nlohmann::json::parse(file);
    ASSERT_TRUE(TakeAndWait("Compute", entry));
    for (int k = 0; k < 3; ++k) {
      const auto& entryOfClass = report["classes"][static_cast<std::size_t>(k)];
      EXPECT_EQ(Find<QListWidget>("legend")->item(k)->text(),
                QString("class %1: grey level %2\n%3 mm\u00b2")
                    .arg(k + 1)
                    .arg(entryOfClass["centroid"].get<double>(), 0, 'f', 1)
                    .arg(entryOfClass["area_mm2"].get<double>(), 0, 'f', 1));
    }
  }
}

// Classes of the whole volume stay from slice to slice and overlay all views; what is saved is what is shown.
TEST_F(DesktopHost, SavesWhatItShows) {
  const QTemporaryDir folder;
  window_->Open(WriteVolume(folder));
  const auto file = [&](const char* name) { return folder.filePath(name).toStdString(); };
  EXPECT_FALSE(Take("File", "Save labels"));
  ASSERT_TRUE(TakeAndWait("Compute", "Tissues"));
  EXPECT_GE(CountHues(Find<SliceView>("slice_x")->GetPicture()), 2U);
  EXPECT_TRUE(Find<QListWidget>("legend")->item(0)->text().endsWith(" ml"));
  Find<QSlider>("opacity")->setValue(0);
  EXPECT_EQ(CountHues(Picture()), 0U);
  window_->SaveLabels(file("labels.nii.gz"));
  window_->SaveTable(file("table.csv"));
  window_->SavePicture(file("picture.png"));
  const example::GreyImage labels = example::ReadImage(file("labels.nii.gz"));
  EXPECT_EQ(labels.size, (std::array<int, 3>{20, 24, 12}));
  EXPECT_EQ(*std::max_element(labels.values.begin(), labels.values.end()), 3.0);
  EXPECT_FALSE(QImage(folder.filePath("picture.png")).isNull());
  QFile table(folder.filePath("table.csv"));
  ASSERT_TRUE(table.open(QIODevice::ReadOnly));
  EXPECT_EQ(table.readAll().count('\n'), 4);
  // The image itself is never replaced.
  const QString text = TextOfNextMessage([&] { window_->SaveLabels(file("volume.nii.gz")); });
  EXPECT_TRUE(text.contains("is an input of this run")) << text.toStdString();
}

TEST_F(DesktopHost, TakesBackADenoisingAndOpensWhatIsDropped) {
  QMimeData dropped;
  dropped.setUrls({QUrl::fromLocalFile(kSlice)});
  QDragEnterEvent enter({9, 9}, Qt::CopyAction, &dropped, Qt::LeftButton, {});
  QApplication::sendEvent(&*window_, &enter);
  EXPECT_TRUE(enter.isAccepted());
  QDropEvent drop({9, 9}, Qt::CopyAction, &dropped, Qt::LeftButton, {});
  QApplication::sendEvent(&*window_, &drop);
  EXPECT_TRUE(window_->windowTitle().startsWith("t1_brain_axial.nii.gz"));
  const QImage plain = Picture();
  EXPECT_FALSE(Take("Compute", "Undo"));
  ASSERT_TRUE(TakeAndWait("Compute", "Denoise"));
  EXPECT_NE(Picture(), plain);
  ASSERT_TRUE(Take("Compute", "Undo"));
  EXPECT_EQ(Picture(), plain);
  EXPECT_FALSE(Take("Compute", "Undo"));
}

TEST_F(DesktopHost, TheLibraryTellsOfAClassThatDoesNotExist) {
  window_->Open(kSlice);
  Find<QSpinBox>("classes")->setValue(4);
  ASSERT_TRUE(TakeAndWait("Compute", "Fuzzy c-means"));
  const auto askFor = [this](int number) {
    AnswerNext<QInputDialog>([number](QInputDialog& dialog) {
      dialog.setIntValue(number);
      dialog.accept();
    });
    Take("Compute", "Distance");
  };
  askFor(4);
  EXPECT_TRUE(window_->statusBar()->currentMessage().startsWith("distance to class 4: "));
  QString text;
  AnswerNext<QInputDialog>([&text](QInputDialog& dialog) {
    dialog.setIntValue(5);
    AnswerNext<QMessageBox>([&text](QMessageBox& message) {
      text = message.text();
      message.accept();
    });
    dialog.accept();
  });
  Take("Compute", "Distance");
  EXPECT_EQ(text, "MTH_CLUSTERING::GetSampleDistanceToCentroid : Indice du cluste hors limite!");
}

// A name gets the ending of its kind before the user is asked whether to replace a file.
TEST_F(DesktopHost, SavesUnderNamesOfTheirKind) {
  const QTemporaryDir folder;
  window_->Open(kSlice);
  ASSERT_TRUE(TakeAndWait("Compute", "Fuzzy c-means"));
  AnswerNext<QFileDialog>([&folder](QFileDialog& dialog) {
    dialog.setDirectory(folder.path());
    dialog.selectFile("mine");
    dynamic_cast<QDialog&>(dialog).accept();
  });
  ASSERT_TRUE(Take("File", "Save labels"));
  EXPECT_EQ(example::ReadImage(folder.filePath("mine.nii.gz").toStdString()).size,
            (std::array<int, 3>{181, 217, 1}));
  const QString text =
      TextOfNextMessage([&] { window_->SaveLabels(folder.filePath("mine.png").toStdString()); });
  EXPECT_TRUE(text.contains("ends in .nii.gz")) << text.toStdString();
}

TEST_F(DesktopHost, EndsWhenItIsToldTo) {
  const std::string script =
      "set -m; ASAN_OPTIONS=detect_leaks=0 \"$0\" -platform offscreen & "  // those of the toolkit's fonts
      "until grep -qx desktop_host /proc/$!/comm && grep -q SigCgt:.*[4-7c-f]...$ /proc/$!/status; "
      "do kill -0 $! || exit 1; done; kill -TERM $!; wait $!";
  const int status = std::system(("bash -c '" + script + "' " + MTH_DESKTOP_HOST + " 2>/dev/null").c_str());
  EXPECT_EQ(WEXITSTATUS(status), 130);
}

TEST_F(DesktopHost, TellsOfAnImageThatCannotBeRead) {
  EXPECT_EQ(TextOfNextMessage([this] { window_->Open("/nowhere/image.nii"); }),
            "cannot find the image /nowhere/image.nii");
}

}  // namespace
}  // namespace mth_test
