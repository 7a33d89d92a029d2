#include "main_window.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
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

#include "slice_view.h"
#include "std/Std_message.h"

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
  statusBar()->showMessage("File, Open shows a NIfTI or PNG image");
}

QAction* MainWindow::AddAction(QMenu* menu, const QString& text, const char* name) {
  QAction* action = menu->addAction(text);
  action->setObjectName(name);
  return action;
}

void MainWindow::BuildMenus() {
  QMenu* file = menuBar()->addMenu("&File");
  QAction* open = AddAction(file, "&Open...", "open");
  open->setShortcut(QKeySequence::Open);
  connect(open, &QAction::triggered, this, [this] { AskForFile(); });
  QAction* quit = AddAction(file, "&Quit", "quit");
  quit->setShortcut(QKeySequence::Quit);
  connect(quit, &QAction::triggered, this, &QWidget::close);

  QMenu* compute = menuBar()->addMenu("&Compute");
  compute->setToolTipsVisible(true);
  for (const Processing& processing : Processings()) {
    QAction* action = AddAction(compute, processing.name, processing.name);
    action->setToolTip(processing.hint);
    connect(action, &QAction::triggered, this, [this, &processing] { Compute(processing); });
  }
  compute->addSeparator();
  QAction* distance = AddAction(compute, "&Distance to a class...", "distance");
  connect(distance, &QAction::triggered, this, [this] { AskForDistance(); });

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
  try {
    image_ = example::ReadImage(path);
  } catch (const std::exception& failure) {
    Std_ShowMessage(failure.what(), MessageKind::Error, "");
    return;
  }
  white_ = example::WhiteLevel(image_);
  const int count = image_.size[kAxisZ];
  const QSignalBlocker blocker(slider_);
  slider_->setRange(0, count - 1);
  slider_->setValue(count / 2);
  slider_->setVisible(count > 1);
  ShowSlice(count / 2);
  statusBar()->showMessage(QFileInfo(QString::fromStdString(path)).fileName());
}

void MainWindow::ShowSlice(int index) {
  slice_ = example::ExtractPlane(image_, kAxisZ, index);
  ChoosePixel({slice_.size[0] / 2, slice_.size[1] / 2});
  ForgetSegmentation();
}

void MainWindow::Compute(const Processing& processing) {
  try {
    Keep(processing.run({image_, slice_, classes_->value()}));
  } catch (const std::exception& failure) {
    Std_ShowMessage(failure.what(), MessageKind::Error, "");
  }
}

void MainWindow::Keep(Outcome outcome) {
  if (outcome.image) {
    image_ = std::move(*outcome.image);
    ShowSlice(slider_->value());
  } else if (outcome.segmentation) {
    segmentation_ = std::move(outcome.segmentation);
    ListOverlays();
    SetOverlay({Overlay::Kind::Labels, 0});
  } else {
    statusBar()->showMessage("The computation has no result; the picture is as before");
  }
}

void MainWindow::ForgetSegmentation() {
  segmentation_.reset();
  ListOverlays();
  SetOverlay({});
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
                    size ? (*size)[1] / (*size)[0] : 1.0);
  FillLegend();
}

void MainWindow::FillLegend() {
  legend_->clear();
  if (!segmentation_ || overlay_.kind == Overlay::Kind::None) return;
  const auto colours = example::DistinctColours(static_cast<int>(segmentation_->centroids.size()));
  if (overlay_.kind == Overlay::Kind::Membership) {
    const std::size_t k = overlay_.classIndex;
    legend_->addItem(new QListWidgetItem(DrawChip(kBlack, colours[k]), "membership 0 to 1"));
    legend_->addItem(ClassText(*segmentation_, k));
    return;
  }
  for (std::size_t k = 0; k < segmentation_->centroids.size(); ++k) {
    legend_->addItem(new QListWidgetItem(DrawChip(colours[k], colours[k]), ClassText(*segmentation_, k)));
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
    text += QString(", class %1").arg(segmentation_->labels[voxel]);
  }
  statusBar()->showMessage(text);
}

// Any class can be asked for: the library tells the user about one that does not exist.
void MainWindow::AskForDistance() {
  if (!segmentation_ || segmentation_->sampleOfVoxel[ChosenVoxel()] < 0) {
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
  const double distance = segmentation_->engine->GetSampleDistanceToCentroid(
      segmentation_->sampleOfVoxel[ChosenVoxel()], cluster);
  if (k < order.size()) {
    statusBar()->showMessage(QString("distance to class %1: %2").arg(number).arg(distance));
  }
}

}  // namespace desktop_host
