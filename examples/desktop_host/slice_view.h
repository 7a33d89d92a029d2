#pragma once

#include <QImage>
#include <QString>
#include <QWidget>
#include <functional>
#include <optional>

#include "support/image.h"

namespace desktop_host {

/// Shows a picture as large as it fits, in the proportions of the patient, with the letters of his
/// directions, a caption and a cross on a chosen pixel.
///
/// The wheel and the page keys ask for other slices, arrow keys move the cross, and so does the left button;
/// the right one asks for another window of greys. Ctrl with the wheel, + and - zoom, the middle button
/// moves the picture, Home shows the whole of it again.
class SliceView : public QWidget {
 public:
  SliceView();

  std::function<void(QPoint pixel)> onPixelChosen;
  std::function<void(int slices)> onStep;
  std::function<void(QPoint pixels)> onMove;
  /// By which share of the view's size the mouse was dragged, to the right and downwards.
  std::function<void(QPointF share)> onWindowDragged;

  /// @param pixelAspect  height of a pixel divided by its width.
  /// @param isSmooth     interpolated when it is enlarged; pictures of labels are not.
  void SetPicture(const QImage& picture, double pixelAspect, bool isSmooth);
  const QImage& GetPicture() const { return picture_; }
  void SetText(const example::ScreenLetters& letters, const QString& caption);
  const QString& GetCaption() const { return caption_; }
  void SetChosenPixel(std::optional<QPoint> pixel);
  std::optional<QPoint> GetChosenPixel() const { return chosenPixel_; }
  /// Where the picture is drawn, which may be beyond the view.
  QRectF PictureArea() const;
  void ShowWhole();

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void wheelEvent(QWheelEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;

 private:
  void ZoomAround(QPointF place, double factor);
  void ChooseAt(QPointF place);
  void PaintText(QPainter& painter) const;

  QImage picture_;
  double pixelAspect_ = 1.0;
  bool isSmooth_ = true;
  example::ScreenLetters letters_{0, 0, 0, 0};
  QString caption_;
  std::optional<QPoint> chosenPixel_;
  double zoom_ = 1.0;
  QPointF shift_;
  QPointF dragged_;
  int wheelRest_ = 0;
};

}  // namespace desktop_host
