#include <QDragEnterEvent>
#include <QKeyEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QStatusBar>
#include <QWheelEvent>

#include "desktop_host_window.h"

namespace mth_test {
namespace {

using desktop_host::SliceView;

void PressKey(QWidget* widget, int key) {
  QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
  QApplication::sendEvent(widget, &press);
}

void PressButton(QWidget* widget, Qt::MouseButton button, QPointF place) {
  QMouseEvent press(QEvent::MouseButtonPress, place, place, button, button, {});
  QApplication::sendEvent(widget, &press);
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

}  // namespace
}  // namespace mth_test
