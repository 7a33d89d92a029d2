#pragma once

#include <QImage>
#include <QWidget>
#include <functional>
#include <optional>

namespace desktop_host {

/// Shows a picture as large as it fits, in the proportions of the patient, and a cross on a chosen pixel.
class SliceView : public QWidget {
 public:
  /// Called when the user clicks on a pixel.
  std::function<void(QPoint pixel)> onPixelChosen;

  /// @param pixelAspect  height of a pixel divided by its width.
  /// @param isSmooth     interpolated when it is enlarged; pictures of labels are not.
  void SetPicture(const QImage& picture, double pixelAspect, bool isSmooth);
  const QImage& GetPicture() const { return picture_; }
  void SetChosenPixel(std::optional<QPoint> pixel);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;

 private:
  QRectF PictureArea() const;

  QImage picture_;
  double pixelAspect_ = 1.0;
  bool isSmooth_ = true;
  std::optional<QPoint> chosenPixel_;
};

}  // namespace desktop_host
