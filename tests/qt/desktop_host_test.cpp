#include <QInputDialog>
#include <QListWidget>
#include <QPushButton>
#include <QSpinBox>
#include <QStatusBar>
#include <algorithm>
#include <cmath>
#include <csignal>
#include <memory>
#include <string>
#include <utility>

#include "desktop_host_window.h"
#include "legend.h"
#include "std/qt/Std_wait_bar_window.h"

namespace mth_test {
namespace {

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

// A display whose runs stay at their first step until they are cancelled.
class EndlessDisplay : public STD_DISPLAY {
 public:
  explicit EndlessDisplay(STD_DISPLAY& inner) : inner_(inner) {}
  int ShowMessage(const std::string& text, MessageKind kind, const std::string& caption) override {
    return inner_.ShowMessage(text, kind, caption);
  }
  std::unique_ptr<STD_WAIT_BAR_VIEW> CreateWaitBarView() override {
    return std::make_unique<View>(inner_.CreateWaitBarView());
  }

 private:
  struct View : STD_WAIT_BAR_VIEW {
    explicit View(std::unique_ptr<STD_WAIT_BAR_VIEW> view) : inner(std::move(view)) {}
    void SetTitle(const std::string& text) override { inner->SetTitle(text); }
    void SetAction(const std::string& text) override { inner->SetAction(text); }
    void SetMaximum(int maximum) override { inner->SetMaximum(maximum); }
    void SetPosition(int position) override {
      inner->SetPosition(position);
      while (position > 0 && !inner->IsCancelRequested()) QThread::msleep(1);
    }
    void Show() override { inner->Show(); }
    bool IsCancelRequested() const override { return inner->IsCancelRequested(); }
    std::unique_ptr<STD_WAIT_BAR_VIEW> inner;
  };
  STD_DISPLAY& inner_;
};

// While a computation runs nothing can be asked for ahead, and the window stays open; Cancel leaves the
// picture.
TEST_F(DesktopHost, StaysAliveWhileItComputesAndCanBeCancelled) {
  EndlessDisplay display(*Std_SetDisplay(nullptr));
  const STD_DISPLAY_SCOPE scope(&display);
  window_->Open(kSlice);
  const QImage plain = Picture();
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

// The desktop and the command line give the same classes, of all methods that both have.
TEST_F(DesktopHost, HasTheNumbersOfTheCommandLine) {
  window_->Open(kSlice);
  const std::pair<const char*, const char*> methods[] = {
      {"Tissues", ""}, {"Fuzzy c-means", "-m fcm -c 3"}, {"Evidential c-means", "-m ecm -c 3"}};
  for (const auto& [entry, options] : methods) {
    const QStringList expected = LegendOfCommandLine(options);
    ASSERT_EQ(expected.size(), 3) << options;
    ASSERT_TRUE(TakeAndWait("Compute", entry));
    EXPECT_EQ(TextsOf(*Find<QListWidget>("legend")).mid(0, 3), expected) << options;
  }
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

TEST_F(DesktopHost, EndsWhenItIsToldTo) {
  std::signal(SIGTERM, SIG_DFL);  // the host ignores what it is born to ignore
  const std::string script =
      "set -m; ASAN_OPTIONS=detect_leaks=0 \"$0\" -platform offscreen & "  // those of the toolkit's fonts
      "until grep -qx desktop_host /proc/$!/comm && grep -q SigCgt:.*[4-7c-f]...$ /proc/$!/status; "
      "do kill -0 $! || exit 1; done; kill -TERM $!; "
      "s=147; while [ $s = 147 ]; do wait $!; s=$?; done; exit $s";  // 147: stopped, not ended
  const int status = std::system(("bash -c '" + script + "' " + MTH_DESKTOP_HOST + " 2>/dev/null").c_str());
  EXPECT_EQ(WEXITSTATUS(status), 130);
}

TEST_F(DesktopHost, TellsOfAnImageThatCannotBeRead) {
  EXPECT_EQ(TextOfNextMessage([this] { window_->Open("/nowhere/image.nii"); }),
            "cannot find the image /nowhere/image.nii");
}

}  // namespace
}  // namespace mth_test
