#include "main_window.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDockWidget>
#include <QDragEnterEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QLabel>
#include <QListWidget>
#include <QMenuBar>
#include <QMimeData>
#include <QSlider>
#include <QSpinBox>
#include <QStatusBar>
#include <QToolBar>
#include <QVBoxLayout>

#include "slice_view.h"
#include "std/Std_message.h"
#include "support/cancellation.h"

// The window's parts, its image and its computations; what is shown of them is in main_window_views.cpp, what
// is saved in main_window_files.cpp.

namespace desktop_host {

namespace {

constexpr int kAxisZ = 2;
constexpr int kMostClasses = 8;

}  // namespace

MainWindow::MainWindow() {
  setWindowTitle("mth desktop host");
  resize(860, 680);
  setAcceptDrops(true);
  BuildPanels();
  BuildToolBar();
  BuildFileMenu();
  BuildMenus();
  ListOverlays();
  EnableActions();
  statusBar()->showMessage(
      "File, Open shows a NIfTI, PNG or DICOM image; or drop one, or a folder of slices, here");
}

QAction* MainWindow::AddAction(QMenu* menu, const QString& text, const char* name) {
  QAction* action = menu->addAction(text);
  action->setObjectName(name);
  return action;
}

void MainWindow::BuildFileMenu() {
  QMenu* file = menuBar()->addMenu("&File");
  open_ = AddAction(file, "&Open...", "open");
  open_->setShortcut(QKeySequence::Open);
  connect(open_, &QAction::triggered, this, [this] { AskForFile(); });
  file->addSeparator();
  openSeries_ = AddAction(file, "Open s&eries...", "openSeries");
  connect(openSeries_, &QAction::triggered, this, [this] { AskForFolder(); });
  AddSaving(file, "Save &segmentation...", "saveSegmentation", "DICOM segmentations", "dcm",
            &MainWindow::SaveSegmentation);
  AddSaving(file, "Save &labels...", "saveLabels", "NIfTI labels", "nii.gz", &MainWindow::SaveLabels);
  AddSaving(file, "Save &table...", "saveTable", "Tables", "csv", &MainWindow::SaveTable);
  AddSaving(file, "Save &picture...", "savePicture", "Pictures", "png", &MainWindow::SavePicture);
  savePicture_ = segmentationActions_.takeLast();  // needs an image alone
  imageActions_.append(savePicture_);
  file->addSeparator();
  QAction* quit = AddAction(file, "&Quit", "quit");
  quit->setShortcut(QKeySequence::Quit);
  connect(quit, &QAction::triggered, this, &QWidget::close);
}

void MainWindow::BuildMenus() {
  QMenu* compute = menuBar()->addMenu("&Compute");
  compute->setToolTipsVisible(true);
  for (const Processing& processing : Processings()) {
    QAction* action = AddAction(compute, processing.name, processing.name);
    action->setToolTip(processing.hint);
    imageActions_.append(action);
    connect(action, &QAction::triggered, this, [this, &processing] { Compute(processing); });
  }
  compute->addSeparator();
  undo_ = AddAction(compute, "&Undo denoise", "undo");
  undo_->setShortcut(QKeySequence::Undo);
  connect(undo_, &QAction::triggered, this, [this] { Undo(); });
  distance_ = AddAction(compute, "D&istance to a class...", "distance");
  connect(distance_, &QAction::triggered, this, [this] { AskForDistance(); });

  overlayMenu_ = menuBar()->addMenu("&Overlay");
}

void MainWindow::BuildToolBar() {
  classes_ = new QSpinBox;
  classes_->setObjectName("classes");
  classes_->setRange(2, kMostClasses);
  classes_->setValue(example::kUsualTissues);
  opacity_ = new QSlider(Qt::Horizontal);
  opacity_->setObjectName("opacity");
  opacity_->setRange(0, 100);
  opacity_->setMaximumWidth(120);
  opacity_->setValue(static_cast<int>(100.0 * overlay_.labelOpacity));
  connect(opacity_, &QSlider::valueChanged, this, [this](int percent) {
    overlay_.labelOpacity = percent / 100.0;
    Redraw();
  });
  QToolBar* bar = addToolBar("Settings");
  bar->addWidget(new QLabel(" Classes "));
  bar->addWidget(classes_);
  bar->addWidget(new QLabel("  Labels "));
  bar->addWidget(opacity_);
}

SliceView* MainWindow::BuildView(int axis) {
  auto* view = new SliceView;
  view->onPixelChosen = [this, axis](QPoint pixel) { ChoosePixel(axis, pixel); };
  view->onMove = [this, axis](QPoint pixels) { MovePixel(axis, pixels); };
  view->onStep = [this, axis](int slices) {
    auto position = position_;
    position[static_cast<std::size_t>(axis)] += slices;
    MoveTo(position);
  };
  view->onWindowDragged = [this](QPointF share) { DragWindow(share); };
  return view;
}

void MainWindow::BuildPanels() {
  const char* const names[] = {"slice_x", "slice_y", "slice"};
  for (int axis = 0; axis < 3; ++axis) {
    views_[static_cast<std::size_t>(axis)] = BuildView(axis);
    views_[static_cast<std::size_t>(axis)]->setObjectName(names[axis]);
  }
  slider_ = new QSlider(Qt::Horizontal);
  slider_->hide();
  connect(slider_, &QSlider::valueChanged, this, [this](int index) {
    MoveTo({position_[0], position_[1], index});
  });

  auto* centre = new QWidget;
  auto* layout = new QGridLayout(centre);
  layout->addWidget(views_[2], 0, 0);
  layout->addWidget(views_[1], 0, 1);
  layout->addWidget(views_[0], 1, 0);
  layout->addWidget(slider_, 2, 0, 1, 2);
  setCentralWidget(centre);
  ShowViews(false);
  views_[2]->setFocus();

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

// Three views of a volume, one of an image, which then has all the room.
void MainWindow::ShowViews(bool areThree) {
  views_[0]->setVisible(areThree);
  views_[1]->setVisible(areThree);
  auto* layout = dynamic_cast<QGridLayout*>(centralWidget()->layout());
  layout->setColumnStretch(0, 1);
  layout->setRowStretch(0, 1);
  layout->setColumnStretch(1, areThree ? 1 : 0);
  layout->setRowStretch(1, areThree ? 1 : 0);
}

void MainWindow::AskForFile() {
  const QString path = QFileDialog::getOpenFileName(
      this, "Open an image", QString(), "Images (*.nii *.nii.gz *.png *.dcm *.ima DICOMDIR);;All files (*)");
  if (!path.isEmpty()) Open(path.toStdString());
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
  const QList<QUrl> urls = event->mimeData()->urls();
  if (!IsBusy() && urls.size() == 1 && urls.front().isLocalFile()) event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event) {
  const QList<QUrl> urls = event->mimeData()->urls();
  if (urls.size() != 1 || !urls.front().isLocalFile()) return;
  event->acceptProposedAction();
  Open(urls.front().toLocalFile().toStdString());
}

void MainWindow::Open(const std::string& path) {
  if (IsBusy()) {
    statusBar()->showMessage("A computation runs: cancel it, or wait for its end");
    return;
  }
  example::GreyImage image;
  try {
    const std::optional<example::SeriesChoice> series = AskForSeries(path);
    if (!series) return;
    image = example::ReadImage(path, *series);
  } catch (const std::exception& failure) {
    Std_ShowMessage(failure.what(), MessageKind::Error, "");
    return;
  }
  path_ = path;
  former_.reset();
  window_ = {0.0, example::WhiteLevel(image)};
  const auto [nx, ny, nz] = image.size;
  position_ = {nx / 2, ny / 2, nz / 2};
  for (SliceView* view : views_) view->ShowWhole();
  ShowViews(nz > 1);
  const QSignalBlocker blocker(slider_);
  slider_->setRange(0, nz - 1);
  slider_->setValue(nz / 2);
  slider_->setVisible(nz > 1);
  SetImage(std::move(image));
  const QString name = QFileInfo(QString::fromStdString(path)).fileName();
  setWindowTitle(name + " - mth desktop host");
}

void MainWindow::SetImage(example::GreyImage image) {
  image_ = std::move(image);
  wholeSegmentation_.reset();
  ShowSlice(position_[kAxisZ]);
  EnableActions();
}

void MainWindow::Undo() {
  if (!former_) return;
  example::GreyImage image = std::move(*former_);
  former_.reset();
  SetImage(std::move(image));
  statusBar()->showMessage("The image is as it was before the denoising");
}

// In a worker, so that the user can go on looking at slices; its progress window has a button to cancel.
void MainWindow::Compute(const Processing& processing) {
  if (IsBusy() || image_.values.empty()) return;
  const auto request =
      std::make_shared<Request>(Request{image_, slice_, classes_->value(), position_[kAxisZ]});
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
    former_ = std::move(image_);
    SetImage(std::move(*outcome.image));
  } else if (outcome.segmentation) {
    KeepSegmentation(std::move(outcome));
  } else {
    statusBar()->showMessage("The computation has no result; the picture is as before");
  }
}

// Classes of a slice are shown over that slice, wherever the user has gone meanwhile.
void MainWindow::KeepSegmentation(Outcome outcome) {
  const bool hasConverged = outcome.segmentation->hasConverged;
  wholeSegmentation_.reset();
  if (outcome.isOfWholeImage) {
    wholeSegmentation_ = std::move(outcome.segmentation);
    ShowSegmentation(SegmentationOfPlane(kAxisZ, position_[kAxisZ]));
  } else {
    MoveTo({position_[0], position_[1], outcome.sliceIndex});
    ShowSegmentation(std::move(outcome.segmentation));
  }
  TellVoxel();
  if (!hasConverged) statusBar()->showMessage("Not converged: these classes are not final");
}

// What cannot be done now is grey, and cannot be asked for ahead.
void MainWindow::EnableActions() {
  const bool hasImage = !image_.values.empty();
  for (QAction* action : imageActions_) action->setEnabled(hasImage && !IsBusy());
  for (QAction* action : segmentationActions_) action->setEnabled(segmentation_ && !IsBusy());
  open_->setEnabled(!IsBusy());
  openSeries_->setEnabled(!IsBusy());
  undo_->setEnabled(!IsBusy() && former_);
  classes_->setEnabled(!IsBusy());
  opacity_->setEnabled(segmentation_.has_value());
  distance_->setEnabled(!IsBusy() && segmentation_ && segmentation_->engine);
}

MainWindow::~MainWindow() {
  if (IsBusy()) worker_.join();
}

void MainWindow::closeEvent(QCloseEvent* event) {
  event->setAccepted(!IsBusy());
  if (IsBusy()) statusBar()->showMessage("A computation runs: cancel it, or wait for its end");
}

}  // namespace desktop_host
