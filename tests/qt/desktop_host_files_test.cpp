#include <QFile>
#include <QFileDialog>
#include <QInputDialog>
#include <QListWidget>
#include <QSlider>
#include <QStatusBar>
#include <algorithm>
#include <fstream>

#include "desktop_host_window.h"
#include "support/dicom_io.h"

namespace mth_test {
namespace {

using desktop_host::SliceView;

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
void WriteSlice(const QTemporaryDir& folder, const std::string& series, const std::string& echo, char grey,
                int height = 0) {
  const std::string uid = "1.2." + series + "." + echo + "." + std::to_string(height);
  const std::string file =
      std::string(128, '\0') + "DICM" + Element(2, 0x10, "UI", "1.2.840.10008.1.2.1") +
      Element(8, 0x16, "UI", "1.2.840.10008.5.1.4.1.1.4") + Element(8, 0x18, "UI", uid) +
      Element(0x18, 0x86, "IS", echo) + Element(0x20, 0x0D, "UI", "1.2") +
      Element(0x20, 0x0E, "UI", "1.2." + series) + Element(0x20, 0x11, "IS", series) +
      Element(0x20, 0x32, "DS", "0\\0\\" + std::to_string(height)) +
      Element(0x20, 0x37, "DS", "1\\0\\0\\0\\1\\0") + Element(0x20, 0x52, "UI", "1.2.1") +
      Element(0x28, 2, "US", "1") + Element(0x28, 4, "CS", "MONOCHROME2") + Element(0x28, 0x10, "US", "2") +
      Element(0x28, 0x11, "US", "4") + Element(0x28, 0x30, "DS", "2\\1") + Element(0x28, 0x100, "US", "8") +
      Element(0x28, 0x101, "US", "8") + Element(0x28, 0x102, "US", "7") + Element(0x28, 0x103, "US", "0") +
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

// A Segmentation goes into any folder but that of its series.
TEST_F(DesktopHost, SavesASegmentationOfASeries) {
  const QTemporaryDir folder;
  const QTemporaryDir results;
  if (!example::IsDicomPath(folder.path().toStdString())) GTEST_SKIP() << "a build without DICOM";
  for (int k = 0; k < 12; ++k) WriteSlice(folder, "3", "1", static_cast<char>(30 * (1 + k / 4) + k % 4), k);
  window_->Open(folder.path().toStdString());
  ASSERT_TRUE(TakeAndWait("Compute", "Tissues"));
  const auto save = [&](const QTemporaryDir& place) {
    window_->SaveSegmentation(place.filePath("saved.dcm").toStdString());
  };
  save(results);
  QFile file(results.filePath("saved.dcm"));
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  EXPECT_TRUE(file.readAll().contains("1.2.840.10008.5.1.4.1.1.66.4"));
  const QString text = TextOfNextMessage([&] { save(folder); });
  EXPECT_TRUE(text.contains("folder of the source")) << text.toStdString();
  EXPECT_FALSE(QFile::exists(folder.filePath("saved.dcm")));
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

}  // namespace
}  // namespace mth_test
