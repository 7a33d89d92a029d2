#include <QAction>
#include <QActionGroup>
#include <QInputDialog>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QSpinBox>
#include <QStatusBar>
#include <cstdlib>
#include <set>

#include "application.h"
#include "main_window.h"
#include "slice_view.h"

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

  // Takes the entry of a menu whose text begins so.
  bool Take(const QString& menuTitle, const QString& text) {
    for (const QAction* menu : window_->menuBar()->actions()) {
      if (menu->text().remove('&') != menuTitle) continue;
      for (QAction* action : menu->menu()->actions()) {
        if (!action->text().remove('&').startsWith(text)) continue;
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
  ASSERT_TRUE(Take("Compute", "Fuzzy c-means"));
  const QImage labels = Picture();
  EXPECT_GE(CountHues(labels), 3U);
  EXPECT_EQ(labels.pixelColor(0, 0), plain.pixelColor(0, 0));  // outside the head
  auto* legend = Find<QListWidget>("legend");
  ASSERT_EQ(legend->count(), 3);
  double former = 0.0;
  for (int k = 0; k < 3; ++k) {
    const QString text = legend->item(k)->text();
    ASSERT_TRUE(text.startsWith(QString("class %1: grey level ").arg(k + 1))) << text.toStdString();
    EXPECT_GT(text.section(' ', -1).toDouble(), former);
    former = text.section(' ', -1).toDouble();
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

TEST_F(DesktopHost, EveryComputationChangesThePictureOrTellsWhyNot) {
  for (const auto& processing : desktop_host::Processings()) {
    const QString text = TextOfNextMessage([&] { Take("Compute", QString(processing.name).remove('&')); });
    EXPECT_FALSE(text.isEmpty()) << processing.name;
  }
  for (const auto& processing : desktop_host::Processings()) {
    window_->Open(MTH_DATA_DIR "/t1_head_axial.nii.gz");
    const QImage plain = Picture();
    EXPECT_TRUE(Take("Compute", QString(processing.name).remove('&')));
    EXPECT_NE(Picture(), plain) << processing.name;
  }
}

// With two classes the methods differ only where tissues mix.
TEST_F(DesktopHost, ClusteringsAgreeOnMostVoxels) {
  const example::GreyImage image = example::ReadImage(kSlice);
  std::vector<std::vector<std::uint8_t>> labelings;
  for (const auto& processing : desktop_host::Processings()) {
    const desktop_host::Outcome outcome = processing.run({image, image, 2});
    if (!outcome.segmentation) continue;
    const desktop_host::Segmentation& found = *outcome.segmentation;
    labelings.push_back(found.labels);
    std::size_t agreeing = 0;
    std::size_t inside = 0;
    for (std::size_t voxel = 0; voxel < image.values.size(); ++voxel) {
      EXPECT_EQ(found.labels[voxel] > 0, image.values[voxel] > 0.0);
      inside += found.labels[voxel] > 0 ? 1 : 0;
      agreeing += found.labels[voxel] > 0 && found.labels[voxel] == labelings[0][voxel] ? 1 : 0;
    }
    EXPECT_GT(static_cast<double>(agreeing), 0.9 * static_cast<double>(inside)) << processing.name;
  }
  EXPECT_EQ(labelings.size(), 2U);
}

TEST_F(DesktopHost, TheLibraryTellsOfAClassThatDoesNotExist) {
  window_->Open(kSlice);
  ASSERT_TRUE(Take("Compute", "Fuzzy c-means"));
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

TEST_F(DesktopHost, TheLibraryTellsOfAnImageThatIsNotThere) {
  EXPECT_EQ(TextOfNextMessage([this] { Take("Compute", "Denoise"); }), "La matrice d'entrée est nulle!");
}

TEST_F(DesktopHost, TellsOfAnImageThatCannotBeRead) {
  EXPECT_EQ(TextOfNextMessage([this] { window_->Open("/nowhere/image.nii"); }),
            "cannot find the image /nowhere/image.nii");
}

}  // namespace
}  // namespace mth_test
