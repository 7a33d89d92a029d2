#include "slice_view.h"

#include <QMouseEvent>
#include <QPainter>
#include <algorithm>

namespace desktop_host {

void SliceView::SetPicture(const QImage& picture, double pixelAspect, bool isSmooth) {
  isSmooth_ = isSmooth;
  picture_ = picture;
  pixelAspect_ = pixelAspect;
  update();
}

void SliceView::SetChosenPixel(std::optional<QPoint> pixel) {
  chosenPixel_ = pixel;
  update();
}

QRectF SliceView::PictureArea() const {
  QSizeF size(picture_.width(), picture_.height() * pixelAspect_);
  size.scale(this->size(), Qt::KeepAspectRatio);
  QRectF area(QPointF(), size);
  area.moveCenter(QRectF(rect()).center());
  return area;
}

void SliceView::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.fillRect(rect(), Qt::black);
  if (picture_.isNull()) return;
  const QRectF area = PictureArea();
  painter.setRenderHint(QPainter::SmoothPixmapTransform, isSmooth_);
  painter.drawImage(area, picture_);
  if (!chosenPixel_) return;
  const QPointF place(area.left() + (chosenPixel_->x() + 0.5) * area.width() / picture_.width(),
                      area.top() + (chosenPixel_->y() + 0.5) * area.height() / picture_.height());
  painter.setPen(Qt::yellow);
  painter.drawLine(place - QPointF(6.0, 0.0), place + QPointF(6.0, 0.0));
  painter.drawLine(place - QPointF(0.0, 6.0), place + QPointF(0.0, 6.0));
}

void SliceView::mousePressEvent(QMouseEvent* event) {
  const QRectF area = PictureArea();
  if (picture_.isNull() || !area.contains(event->position()) || !onPixelChosen) return;
  const QPointF inside = event->position() - area.topLeft();
  const int x = static_cast<int>(inside.x() * picture_.width() / area.width());
  const int y = static_cast<int>(inside.y() * picture_.height() / area.height());
  onPixelChosen({std::min(x, picture_.width() - 1), std::min(y, picture_.height() - 1)});
}

}  // namespace desktop_host
