#include "main_window.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QDockWidget>
#include <QFileDialog>
#include <QFileInfo>
#include <QInputDialog>
#include <QLabel>
#include <QListWidget>
#include <QMenuBar>
#include <QSlider>
#include <QSpinBox>
#include <QStatusBar>
#include <QToolBar>
#include <QVBoxLayout>
#include <algorithm>

#include "mth/clustering/Mth_clustering.h"
#include "slice_view.h"
#include "std/Std_message.h"
#include "support/cancellation.h"

namespace desktop_host {

namespace {

constexpr int kAxisZ = 2;
constexpr int kMostClasses = 8;
constexpr example::Colour kBlack{0, 0, 0};

QString ClassText(const Segmentation& segmentation, std::size_t k) {
  return QString("class %1: grey level %2").arg(k + 1).arg(segmentation.centroids[k], 0, 'f', 1);
}

}  // namespace

MainWindow::MainWindow() {
  setWindowTitle("mth desktop host");
  resize(720, 600);
  BuildPanels();
  BuildToolBar();
  BuildMenus();
  ListOverlays();
  EnableActions();
  statusBar()->showMessage("File, Open shows a NIfTI or PNG image");
}

QAction* MainWindow::AddAction(QMenu* menu, const QString& text, const char* name) {
  QAction* action = menu->addAction(text);
  action->setObjectName(name);
  return action;
}

void MainWindow::BuildMenus() {
  QMenu* file = menuBar()->addMenu("&File");
  open_ = AddAction(file, "&Open...", "open");
  open_->setShortcut(QKeySequence::Open);
  connect(open_, &QAction::triggered, this, [this] { AskForFile(); });
  QAction* quit = AddAction(file, "&Quit", "quit");
  quit->setShortcut(QKeySequence::Quit);
  connect(quit, &QAction::triggered, this, &QWidget::close);

  QMenu* compute = menuBar()->addMenu("&Compute");
  compute->setToolTipsVisible(true);
  for (const Processing& processing : Processings()) {
    QAction* action = AddAction(compute, processing.name, processing.name);
    action->setToolTip(processing.hint);
    imageActions_.append(action);
    connect(action, &QAction::triggered, this, [this, &processing] { Compute(processing); });
  }
  compute->addSeparator();
  distance_ = AddAction(compute, "D&istance to a class...", "distance");
  connect(distance_, &QAction::triggered, this, [this] { AskForDistance(); });

  overlayMenu_ = menuBar()->addMenu("&Overlay");
}

void MainWindow::BuildToolBar() {
  classes_ = new QSpinBox;
  classes_->setObjectName("classes");
  classes_->setRange(2, kMostClasses);
  classes_->setValue(4);
  QToolBar* bar = addToolBar("Settings");
  bar->addWidget(new QLabel(" Classes "));
  bar->addWidget(classes_);
}

void MainWindow::BuildPanels() {
  view_ = new SliceView;
  view_->setObjectName("slice");
  view_->setFocusPolicy(Qt::StrongFocus);
  view_->setFocus();
  view_->onPixelChosen = [this](QPoint pixel) { ChoosePixel(pixel); };
  slider_ = new QSlider(Qt::Horizontal);
  slider_->hide();
  connect(slider_, &QSlider::valueChanged, this, [this](int index) { ShowSlice(index); });

  auto* centre = new QWidget;
  auto* layout = new QVBoxLayout(centre);
  layout->addWidget(view_, 1);
  layout->addWidget(slider_);
  setCentralWidget(centre);

  legend_ = new QListWidget;
  legend_->setObjectName("legend");
  legend_->setSelectionMode(QAbstractItemView::NoSelection);
  legend_->setFocusPolicy(Qt::NoFocus);
  legend_->setIconSize({32, 16});
  auto* dock = new QDockWidget("Legend");
  dock->setFeatures(QDockWidget::NoDockWidgetFeatures);
  dock->setWidget(legend_);
  addDockWidget(Qt::RightDockWidgetArea, dock);
}

void MainWindow::AskForFile() {
  const QString path =
      QFileDialog::getOpenFileName(this, "Open an image", QString(), "Images (*.nii *.nii.gz *.png)");
  if (!path.isEmpty()) Open(path.toStdString());
}

void MainWindow::Open(const std::string& path) {
  if (IsBusy()) {
    statusBar()->showMessage("A computation runs: cancel it, or wait for its end");
    return;
  }
  try {
    image_ = example::ReadImage(path);
  } catch (const std::exception& failure) {
    Std_ShowMessage(failure.what(), MessageKind::Error, "");
    return;
  }
  white_ = example::WhiteLevel(image_);
  wholeSegmentation_.reset();
  const int count = image_.size[kAxisZ];
  const QSignalBlocker blocker(slider_);
  slider_->setRange(0, count - 1);
  slider_->setValue(count / 2);
  slider_->setVisible(count > 1);
  ShowSlice(count / 2);
  EnableActions();
  const QString name = QFileInfo(QString::fromStdString(path)).fileName();
  setWindowTitle(name + " - mth desktop host");
  statusBar()->showMessage(name);
}

void MainWindow::ShowSlice(int index) {
  slice_ = example::ExtractPlane(image_, kAxisZ, index);
  // First: what the status bar tells of a pixel is that of this slice.
  ShowSegmentation(wholeSegmentation_ ? std::optional(SegmentationOfSlice(index)) : std::nullopt);
  ChoosePixel({slice_.size[0] / 2, slice_.size[1] / 2});
}

Segmentation MainWindow::SegmentationOfSlice(int index) const {
  const Segmentation& whole = *wholeSegmentation_;
  Segmentation slice;
  slice.centroids = whole.centroids;
  slice.labels = example::ExtractPlaneValues(whole.labels, image_.size, kAxisZ, index);
  for (const auto& membership : whole.memberships)
    slice.memberships.push_back(example::ExtractPlaneValues(membership, image_.size, kAxisZ, index));
  return slice;
}

// In a worker, so that the user can go on looking at slices; its progress window has a button to cancel.
void MainWindow::Compute(const Processing& processing) {
  if (IsBusy() || image_.values.empty()) return;
  const auto request = std::make_shared<Request>(Request{image_, slice_, classes_->value()});
  statusBar()->showMessage("Computing");
  worker_ = std::thread([this, request, run = processing.run] {
    const auto outcome = std::make_shared<Outcome>();
    QString failure;
    try {
      *outcome = run(*request);
    } catch (const example::Cancelled&) {
    } catch (const std::exception& error) {
      failure = QString::fromUtf8(error.what());
    }
    QMetaObject::invokeMethod(
        this, [this, outcome, failure] { Finish(outcome, failure); }, Qt::QueuedConnection);
  });
  EnableActions();
}

void MainWindow::Finish(const std::shared_ptr<Outcome>& outcome, const QString& failure) {
  worker_.join();
  EnableActions();
  if (!failure.isEmpty()) Std_ShowMessage(failure.toStdString(), MessageKind::Error, "");
  Keep(std::move(*outcome));
}

void MainWindow::Keep(Outcome outcome) {
  if (outcome.image) {
    image_ = std::move(*outcome.image);
    wholeSegmentation_.reset();
    ShowSlice(slider_->value());
  } else if (outcome.segmentation) {
    const bool hasConverged = outcome.segmentation->hasConverged;
    wholeSegmentation_.reset();
    if (outcome.isOfWholeImage) wholeSegmentation_ = std::move(outcome.segmentation);
    ShowSegmentation(wholeSegmentation_ ? SegmentationOfSlice(slider_->value())
                                        : std::move(outcome.segmentation));
    if (!hasConverged) statusBar()->showMessage("Not converged: these classes are not final");
  } else {
    statusBar()->showMessage("The computation has no result; the picture is as before");
  }
}

void MainWindow::ShowSegmentation(std::optional<Segmentation> segmentation) {
  segmentation_ = std::move(segmentation);
  ListOverlays();
  SetOverlay(segmentation_ ? Overlay{Overlay::Kind::Labels, 0} : Overlay{});
  EnableActions();
}

// What cannot be done now is grey, and cannot be asked for ahead.
void MainWindow::EnableActions() {
  const bool hasImage = !image_.values.empty();
  for (QAction* action : imageActions_) action->setEnabled(hasImage && !IsBusy());
  open_->setEnabled(!IsBusy());
  classes_->setEnabled(!IsBusy());
  slider_->setEnabled(!IsBusy() || wholeSegmentation_ || !segmentation_);
  distance_->setEnabled(!IsBusy() && segmentation_ && segmentation_->engine);
}

MainWindow::~MainWindow() {
  if (IsBusy()) worker_.join();
}

void MainWindow::closeEvent(QCloseEvent* event) {
  event->setAccepted(!IsBusy());
  if (IsBusy()) statusBar()->showMessage("A computation runs: cancel it, or wait for its end");
}

// One menu entry for each overlay that there is now.
void MainWindow::ListOverlays() {
  overlayMenu_->clear();
  delete overlayGroup_;
  overlayGroup_ = new QActionGroup(this);
  const auto add = [this](const QString& text, const Overlay& overlay) {
    QAction* action = overlayMenu_->addAction(text);
    action->setCheckable(true);
    overlayGroup_->addAction(action);
    connect(action, &QAction::triggered, this, [this, overlay] { SetOverlay(overlay); });
  };
  add("&None", {});
  if (!segmentation_) return;
  add("&Labels", {Overlay::Kind::Labels, 0});
  for (std::size_t k = 0; k < segmentation_->centroids.size(); ++k) {
    add(QString("Membership of class &%1").arg(k + 1), {Overlay::Kind::Membership, k});
  }
}

void MainWindow::SetOverlay(const Overlay& overlay) {
  overlay_ = overlay;
  const auto position = overlay.kind == Overlay::Kind::Membership ? 2 + overlay.classIndex
                                                                  : static_cast<std::size_t>(overlay.kind);
  overlayGroup_->actions()[static_cast<qsizetype>(position)]->setChecked(true);
  Redraw();
}

void MainWindow::Redraw() {
  const auto& size = slice_.voxelSize;
  view_->SetPicture(DrawSlice(slice_, white_, segmentation_ ? &*segmentation_ : nullptr, overlay_),
                    size ? (*size)[1] / (*size)[0] : 1.0, overlay_.kind != Overlay::Kind::Labels);
  FillLegend();
}

void MainWindow::FillLegend() {
  legend_->clear();
  if (!segmentation_ || overlay_.kind == Overlay::Kind::None) return;
  const std::vector<example::Colour> colours = LabelColours(*segmentation_);
  if (overlay_.kind == Overlay::Kind::Membership) {
    const std::size_t k = overlay_.classIndex;
    legend_->addItem(new QListWidgetItem(DrawChip(kBlack, colours[k]), "membership 0 to 1"));
    legend_->addItem(ClassText(*segmentation_, k));
    return;
  }
  for (std::size_t k = 0; k < colours.size(); ++k) {
    const bool isClass = k < segmentation_->centroids.size();
    legend_->addItem(new QListWidgetItem(DrawChip(colours[k], colours[k]),
                                         isClass ? ClassText(*segmentation_, k) : QString("undecided")));
  }
}

std::size_t MainWindow::ChosenVoxel() const {
  const example::ScreenOrder order = example::ScreenOrderOf(slice_);
  const int x = order.mirrorsColumns ? slice_.size[0] - 1 - chosenPixel_->x() : chosenPixel_->x();
  const int y = order.mirrorsRows ? slice_.size[1] - 1 - chosenPixel_->y() : chosenPixel_->y();
  return static_cast<std::size_t>(x) + static_cast<std::size_t>(slice_.size[0]) * static_cast<std::size_t>(y);
}

void MainWindow::ChoosePixel(QPoint pixel) {
  chosenPixel_ = pixel;
  view_->SetChosenPixel(pixel);
  const std::size_t voxel = ChosenVoxel();
  QString text = QString("grey %1").arg(slice_.values[voxel]);
  if (segmentation_ && segmentation_->labels[voxel] > 0) {
    const bool isClass = segmentation_->labels[voxel] <= segmentation_->centroids.size();
    text += isClass ? QString(", class %1").arg(segmentation_->labels[voxel]) : QString(", undecided");
  }
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
  if (k < order.size()) {
    statusBar()->showMessage(QString("distance to class %1: %2").arg(number).arg(distance));
  }
}

}  // namespace desktop_host
