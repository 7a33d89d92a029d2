#include <QAction>
#include <QActionGroup>
#include <QInputDialog>
#include <QListWidget>
#include <QMenu>
#include <QSlider>
#include <QStatusBar>
#include <algorithm>
#include <cmath>

#include "main_window.h"
#include "mth/clustering/Mth_clustering.h"
#include "slice_view.h"
#include "std/Std_message.h"

// What the window shows: three planes through one voxel, overlays, the legend, and what lies at the voxel.

namespace desktop_host {

namespace {

constexpr int kAxisZ = 2;
constexpr int kMostClasses = 8;
constexpr example::Colour kBlack{0, 0, 0};

// Where a voxel of a plane stands on the screen; and back, as the screen mirrors twice.
QPoint Mirrored(const example::GreyImage& plane, QPoint place) {
  const example::ScreenOrder order = example::ScreenOrderOf(plane);
  return {order.mirrorsColumns ? plane.size[0] - 1 - place.x() : place.x(),
          order.mirrorsRows ? plane.size[1] - 1 - place.y() : place.y()};
}

// The plane's size and directions without its values.
example::GreyImage GridOfPlane(const example::GreyImage& image, int axis) {
  const auto axes = example::LayoutOfPlane(image.size, axis, 0).axes;
  const auto across = static_cast<std::size_t>(axes[0]);
  const auto down = static_cast<std::size_t>(axes[1]);
  example::GreyImage plane;
  plane.size = {image.size[across], image.size[down], 1};
  plane.direction = {image.direction[across], image.direction[down], 0};
  return plane;
}

// "R 12.0 A 3.0 S 45.0 mm".
QString PlaceText(const example::Affine& affine, const std::array<int, 3>& voxel) {
  const char* const letters[] = {"LR", "PA", "IS"};
  QString text;
  for (std::size_t row = 0; row < 3; ++row) {
    const auto& [x, y, z, shift] = affine[row];
    const double place = x * voxel[0] + y * voxel[1] + z * voxel[2] + shift;
    text += QString("%1 %2 ").arg(QChar(letters[row][place < 0.0 ? 0 : 1])).arg(std::abs(place), 0, 'f', 1);
  }
  return text + "mm";
}

}  // namespace

void MainWindow::MoveTo(std::array<int, 3> position) {
  if (image_.values.empty()) return;
  for (std::size_t axis = 0; axis < 3; ++axis)
    position[axis] = std::clamp(position[axis], 0, image_.size[axis] - 1);
  const bool isOtherSlice = position[kAxisZ] != position_[kAxisZ];
  position_ = position;
  const QSignalBlocker blocker(slider_);
  slider_->setValue(position[kAxisZ]);
  if (isOtherSlice) return ShowSlice(position[kAxisZ]);
  Redraw();
  TellVoxel();
}

void MainWindow::ShowSlice(int index) {
  slice_ = example::ExtractPlane(image_, kAxisZ, index);
  // First: what the status bar tells of a voxel is that of this slice.
  ShowSegmentation(wholeSegmentation_ ? std::optional(SegmentationOfPlane(kAxisZ, index)) : std::nullopt);
  TellVoxel();
}

Segmentation MainWindow::SegmentationOfPlane(int axis, int index) const {
  const Segmentation& whole = *wholeSegmentation_;
  Segmentation plane;
  plane.centroids = whole.centroids;
  plane.labels = example::ExtractPlaneValues(whole.labels, image_.size, axis, index);
  for (const auto& membership : whole.memberships)
    plane.memberships.push_back(example::ExtractPlaneValues(membership, image_.size, axis, index));
  return plane;
}

// An overlay that was chosen stays from slice to slice.
void MainWindow::ShowSegmentation(std::optional<Segmentation> segmentation) {
  const bool hadClasses =
      segmentation_ && segmentation && segmentation_->centroids.size() == segmentation->centroids.size();
  segmentation_ = std::move(segmentation);
  ListOverlays();
  Overlay overlay = overlay_;
  if (!hadClasses) overlay.kind = segmentation_ ? Overlay::Kind::Labels : Overlay::Kind::None;
  SetOverlay(overlay);
  EnableActions();
}

// One menu entry for each overlay that there is now.
void MainWindow::ListOverlays() {
  overlayMenu_->clear();
  delete overlayGroup_;
  overlayGroup_ = new QActionGroup(this);
  const auto add = [this](const QString& text, Overlay::Kind kind, std::size_t classIndex) {
    QAction* action = overlayMenu_->addAction(text);
    action->setCheckable(true);
    overlayGroup_->addAction(action);
    connect(action, &QAction::triggered, this, [this, kind, classIndex] {
      SetOverlay({kind, classIndex, overlay_.labelOpacity});
    });
  };
  add("&None", Overlay::Kind::None, 0);
  if (!segmentation_) return;
  add("&Labels", Overlay::Kind::Labels, 0);
  for (std::size_t k = 0; k < segmentation_->centroids.size(); ++k)
    add(QString("Membership of class &%1").arg(k + 1), Overlay::Kind::Membership, k);
}

void MainWindow::SetOverlay(const Overlay& overlay) {
  overlay_ = overlay;
  const auto position = overlay.kind == Overlay::Kind::Membership ? 2 + overlay.classIndex
                                                                  : static_cast<std::size_t>(overlay.kind);
  overlayGroup_->actions()[static_cast<qsizetype>(position)]->setChecked(true);
  Redraw();
  FillLegend();
}

void MainWindow::Redraw() {
  if (image_.values.empty()) return;
  RedrawPlane(kAxisZ);
  if (!example::IsVolume(image_)) return;
  RedrawPlane(0);
  RedrawPlane(1);
}

void MainWindow::RedrawPlane(int axis) {
  const int index = position_[static_cast<std::size_t>(axis)];
  const bool isSlice = axis == kAxisZ;
  const example::GreyImage plane = isSlice ? slice_ : example::ExtractPlane(image_, axis, index);
  std::optional<Segmentation> other;
  if (!isSlice && wholeSegmentation_) other = SegmentationOfPlane(axis, index);
  const Segmentation* classes =
      isSlice ? (segmentation_ ? &*segmentation_ : nullptr) : (other ? &*other : nullptr);
  SliceView& view = *views_[static_cast<std::size_t>(axis)];
  const auto& size = plane.voxelSize;
  view.SetPicture(DrawSlice(plane, window_, classes, overlay_), size ? (*size)[1] / (*size)[0] : 1.0,
                  overlay_.kind != Overlay::Kind::Labels);
  QString caption;
  if (example::IsVolume(image_))
    caption = QString("%1 = %2 of 0 to %3")
                  .arg(QChar("xyz"[axis]))
                  .arg(index)
                  .arg(image_.size[static_cast<std::size_t>(axis)] - 1);
  view.SetText(example::LettersOf(plane), caption);
  const auto axes = example::LayoutOfPlane(image_.size, axis, 0).axes;
  view.SetChosenPixel(Mirrored(
      plane, {position_[static_cast<std::size_t>(axes[0])], position_[static_cast<std::size_t>(axes[1])]}));
}

// Of the whole image where it was divided, otherwise of the slice.
const Segmentation* MainWindow::Measured() const {
  if (wholeSegmentation_) return &*wholeSegmentation_;
  return segmentation_ ? &*segmentation_ : nullptr;
}

QString MainWindow::AmountText(double voxels) const {
  const bool isVolume = wholeSegmentation_ && example::IsVolume(image_);
  if (!image_.voxelSize) return QString("%1 %2").arg(voxels).arg(isVolume ? "voxels" : "pixels");
  const auto& [x, y, z] = *slice_.voxelSize;
  return isVolume ? QString("%1 ml").arg(voxels * x * y * z / 1000.0, 0, 'f', 2)
                  : QString("%1 mm\u00b2").arg(voxels * x * y, 0, 'f', 1);
}

void MainWindow::FillLegend() {
  legend_->clear();
  if (!segmentation_ || overlay_.kind == Overlay::Kind::None) return;
  const Segmentation& measured = *Measured();
  const auto text = [&](std::size_t k) {
    return QString("class %1: grey level %2\n").arg(k + 1).arg(measured.centroids[k], 0, 'f', 1) +
           AmountText(static_cast<double>(measured.voxelCounts[k]));
  };
  const std::vector<example::Colour> colours = LabelColours(measured);
  if (overlay_.kind == Overlay::Kind::Membership) {
    const std::size_t k = overlay_.classIndex;
    legend_->addItem(new QListWidgetItem(DrawChip(kBlack, colours[k]), "membership 0 to 1"));
    legend_->addItem(text(k));
    return;
  }
  for (std::size_t k = 0; k < colours.size(); ++k) {
    const bool isClass = k < measured.centroids.size();
    const QString undecided =
        isClass ? QString()
                : "undecided\n" + AmountText(static_cast<double>(measured.evidence->undecidedVoxels));
    legend_->addItem(new QListWidgetItem(DrawChip(colours[k], colours[k]), isClass ? text(k) : undecided));
  }
}

void MainWindow::ChoosePixel(int axis, QPoint pixel) {
  const auto axes = example::LayoutOfPlane(image_.size, axis, 0).axes;
  const QPoint place = Mirrored(GridOfPlane(image_, axis), pixel);
  auto position = position_;
  position[static_cast<std::size_t>(axes[0])] = place.x();
  position[static_cast<std::size_t>(axes[1])] = place.y();
  MoveTo(position);
}

void MainWindow::MovePixel(int axis, QPoint pixels) {
  const std::optional<QPoint> chosen = views_[static_cast<std::size_t>(axis)]->GetChosenPixel();
  if (chosen) ChoosePixel(axis, *chosen + pixels);
}

// To the right for more contrast's width, downwards for a brighter picture, as most viewers do.
void MainWindow::DragWindow(QPointF share) {
  if (image_.values.empty()) return;
  const double whole = example::WhiteLevel(image_);
  const double level = 0.5 * (window_.black + window_.white) - share.y() * whole;
  const double width = std::max(window_.white - window_.black + share.x() * whole, 1e-3 * whole);
  window_ = {level - 0.5 * width, level + 0.5 * width};
  Redraw();
  statusBar()->showMessage(QString("window %1, level %2").arg(width).arg(level));
}

std::size_t MainWindow::ChosenVoxel() const {
  return static_cast<std::size_t>(position_[0]) +
         static_cast<std::size_t>(slice_.size[0]) * static_cast<std::size_t>(position_[1]);
}

void MainWindow::TellVoxel() {
  const std::size_t voxel = ChosenVoxel();
  QString text = QString("grey %1").arg(slice_.values[voxel]);
  if (segmentation_ && segmentation_->labels[voxel] > 0) {
    const bool isClass = segmentation_->labels[voxel] <= segmentation_->centroids.size();
    text += isClass ? QString(", class %1").arg(segmentation_->labels[voxel]) : QString(", undecided");
  }
  text += QString(", voxel %1 %2 %3").arg(position_[0]).arg(position_[1]).arg(position_[2]);
  if (image_.affine) text += ", " + PlaceText(*image_.affine, position_);
  statusBar()->showMessage(text);
}

// Any class can be asked for: the library tells the user about one that does not exist.
void MainWindow::AskForDistance() {
  if (!segmentation_ || !segmentation_->engine || segmentation_->labels[ChosenVoxel()] == 0) {
    Std_ShowMessage("Segment the slice, then choose a pixel of a class", MessageKind::Warning, "");
    return;
  }
  bool isOk = false;
  const int number =
      QInputDialog::getInt(this, "Distance to a class", "Class:", 1, 1, kMostClasses + 1, 1, &isOk);
  if (!isOk) return;
  const auto& order = segmentation_->clusterOfClass;
  const auto k = static_cast<std::size_t>(number - 1);
  const int cluster = k < order.size() ? order[k] : number - 1;
  // The voxels inside are the engine's samples, in their order.
  const auto end = segmentation_->labels.begin() + static_cast<std::ptrdiff_t>(ChosenVoxel());
  const auto sample = std::count_if(segmentation_->labels.begin(), end, [](int label) { return label > 0; });
  const double distance =
      segmentation_->engine->GetSampleDistanceToCentroid(static_cast<int>(sample), cluster);
  if (k < order.size())
    statusBar()->showMessage(QString("distance to class %1: %2").arg(number).arg(distance));
}

}  // namespace desktop_host
