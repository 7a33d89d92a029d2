#include "slice_view.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

namespace desktop_host {

namespace {

constexpr double kZoomStep = 1.25;
constexpr double kMostZoom = 64.0;
constexpr int kNotch = 120;  // eighths of a degree that the wheel tells for a notch

}  // namespace

SliceView::SliceView() {
  setFocusPolicy(Qt::StrongFocus);
  setMinimumSize(120, 120);
}

void SliceView::SetPicture(const QImage& picture, double pixelAspect, bool isSmooth) {
  isSmooth_ = isSmooth;
  picture_ = picture;
  pixelAspect_ = pixelAspect;
  update();
}

void SliceView::SetText(const example::ScreenLetters& letters, const QString& caption) {
  letters_ = letters;
  caption_ = caption;
  update();
}

void SliceView::SetChosenPixel(std::optional<QPoint> pixel) {
  chosenPixel_ = pixel;
  update();
}

void SliceView::ShowWhole() {
  zoom_ = 1.0;
  shift_ = {};
  update();
}

QRectF SliceView::PictureArea() const {
  QSizeF size(picture_.width(), picture_.height() * pixelAspect_);
  size.scale(this->size(), Qt::KeepAspectRatio);
  QRectF area(QPointF(), size * zoom_);
  area.moveCenter(QRectF(rect()).center() + shift_);
  return area;
}

void SliceView::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.fillRect(rect(), Qt::black);
  if (picture_.isNull()) return;
  const QRectF area = PictureArea();
  painter.setRenderHint(QPainter::SmoothPixmapTransform, isSmooth_);
  painter.drawImage(area, picture_);
  PaintText(painter);
  if (!chosenPixel_) return;
  const QPointF place(area.left() + (chosenPixel_->x() + 0.5) * area.width() / picture_.width(),
                      area.top() + (chosenPixel_->y() + 0.5) * area.height() / picture_.height());
  painter.setPen(Qt::yellow);
  painter.drawLine(place - QPointF(6.0, 0.0), place + QPointF(6.0, 0.0));
  painter.drawLine(place - QPointF(0.0, 6.0), place + QPointF(0.0, 6.0));
}

void SliceView::PaintText(QPainter& painter) const {
  const QRect inside = rect().adjusted(4, 2, -4, -2);
  painter.setPen(Qt::white);
  const auto letter = [&](char text, int place) {
    if (text != 0) painter.drawText(inside, place, QString(QChar(text)));
  };
  letter(letters_.left, Qt::AlignLeft | Qt::AlignVCenter);
  letter(letters_.right, Qt::AlignRight | Qt::AlignVCenter);
  letter(letters_.top, Qt::AlignHCenter | Qt::AlignTop);
  letter(letters_.bottom, Qt::AlignHCenter | Qt::AlignBottom);
  painter.drawText(inside, Qt::AlignLeft | Qt::AlignBottom, caption_);
}

void SliceView::ChooseAt(QPointF place) {
  const QRectF area = PictureArea();
  if (picture_.isNull() || !area.contains(place) || !onPixelChosen) return;
  const QPointF inside = place - area.topLeft();
  const int x = static_cast<int>(inside.x() * picture_.width() / area.width());
  const int y = static_cast<int>(inside.y() * picture_.height() / area.height());
  onPixelChosen({std::min(x, picture_.width() - 1), std::min(y, picture_.height() - 1)});
}

void SliceView::mousePressEvent(QMouseEvent* event) {
  dragged_ = event->position();
  if (event->button() == Qt::LeftButton) ChooseAt(event->position());
}

void SliceView::mouseMoveEvent(QMouseEvent* event) {
  const QPointF way = event->position() - dragged_;
  dragged_ = event->position();
  if ((event->buttons() & Qt::LeftButton) != 0) ChooseAt(event->position());
  if ((event->buttons() & Qt::MiddleButton) != 0) {
    shift_ += way;
    update();
  }
  if ((event->buttons() & Qt::RightButton) != 0 && onWindowDragged)
    onWindowDragged({way.x() / std::max(1, width()), way.y() / std::max(1, height())});
}

// What is at that place stays there.
void SliceView::ZoomAround(QPointF place, double factor) {
  const double former = zoom_;
  zoom_ = std::clamp(zoom_ * factor, 1.0, kMostZoom);
  if (zoom_ == 1.0) return ShowWhole();
  const QPointF fromCentre = place - QRectF(rect()).center() - shift_;
  shift_ += fromCentre * (1.0 - zoom_ / former);
  update();
}

void SliceView::wheelEvent(QWheelEvent* event) {
  wheelRest_ += event->angleDelta().y();
  const int notches = wheelRest_ / kNotch;  // smooth wheels tell less than a notch at a time
  wheelRest_ -= notches * kNotch;
  event->accept();
  if (notches == 0) return;
  if ((event->modifiers() & Qt::ControlModifier) != 0) {
    ZoomAround(event->position(), std::pow(kZoomStep, notches));
  } else if (onStep) {
    onStep(notches);
  }
}

void SliceView::keyPressEvent(QKeyEvent* event) {
  const auto move = [this](int x, int y) {
    if (onMove) onMove({x, y});
  };
  const auto step = [this](int slices) {
    if (onStep) onStep(slices);
  };
  switch (event->key()) {
    case Qt::Key_Left:
      return move(-1, 0);
    case Qt::Key_Right:
      return move(1, 0);
    case Qt::Key_Up:
      return move(0, -1);
    case Qt::Key_Down:
      return move(0, 1);
    case Qt::Key_PageUp:
      return step(1);
    case Qt::Key_PageDown:
      return step(-1);
    case Qt::Key_Plus:
      return ZoomAround(QRectF(rect()).center(), kZoomStep);
    case Qt::Key_Minus:
      return ZoomAround(QRectF(rect()).center(), 1.0 / kZoomStep);
    case Qt::Key_Home:
      return ShowWhole();
    default:
      QWidget::keyPressEvent(event);
  }
}

}  // namespace desktop_host
