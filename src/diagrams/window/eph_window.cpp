#include "diagrams/window/eph_window.h"

#include <QApplication>
#include <QBuffer>
#include <QClipboard>
#include <QFileDialog>
#include <QFileInfo>
#include <QKeySequence>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QPainter>
#include <QPrintDialog>
#include <QPrinter>
#include <QSvgGenerator>
#include <QTabWidget>

#include "diagrams/species_source.h"
#include "diagrams/window/diagram_painter.h"
#include "diagrams/window/predom_window.h"
#include "platform/paths.h"

namespace zyl::diagrams {

namespace {
constexpr double kZoomStep = 0.8;
const QSize kPictureSize(1000, 800);
}  // namespace

EphWindow::EphWindow(QWidget* parent) : QMainWindow(parent) {
  setObjectName("EphWindow");
  setWindowTitle(tr("Eh - pH - Diagrams"));
  tabs_ = new QTabWidget(this);
  tabs_->setObjectName("Tabs");
  setCentralWidget(tabs_);
  QMenu* file = menuBar()->addMenu(tr("&File"));
  file->addAction(tr("&Open..."), QKeySequence::Open, this, &EphWindow::OpenFile)->setObjectName("MOpen");
  file->addAction(tr("&Save Picture..."), QKeySequence::Save, this, &EphWindow::SaveAs)->setObjectName("MSavePicture");
  file->addAction(tr("&Print..."), QKeySequence::Print, this, &EphWindow::Print)->setObjectName("MPrint");
  file->addSeparator();
  file->addAction(tr("E&xit"), QKeySequence::Quit, this, &QWidget::close)->setObjectName("MExit");
  QMenu* edit = menuBar()->addMenu(tr("&Edit"));
  edit->addAction(tr("&Copy"), QKeySequence::Copy, this, &EphWindow::Copy)->setObjectName("MCopy");
  QMenu* view = menuBar()->addMenu(tr("&View"));
  view->addAction(tr("Zoom &In"), QKeySequence::ZoomIn, this, [this] { Zoom(kZoomStep); })->setObjectName("MZoomIn");
  view->addAction(tr("Zoom &Out"), QKeySequence::ZoomOut, this, [this] { Zoom(1 / kZoomStep); })
      ->setObjectName("MZoomOut");
  view->addAction(tr("&Whole Diagram"), this, &EphWindow::ResetZoom)->setObjectName("MZoomReset");
  resize(900, 760);
}

void EphWindow::Fail(const QString& message) {
  error_ = message;
  if (isVisible()) QMessageBox::warning(this, "ZYL", message);
}

bool EphWindow::Open(const QString& path) {
  IepReadResult r = ReadIep(path.toStdString());
  if (!r.setup) {
    Fail(QString::fromStdString(r.error));
    return false;
  }
  if (!dbs_.main) {
    if (std::string e = OpenDatabasesForCommand(dbs_); !e.empty()) {
      Fail(QString::fromStdString(e));
      return false;
    }
  }
  setWindowTitle(tr("Eh - pH - Diagrams") + " - " + QFileInfo(path).fileName());
  return Show(*r.setup, DatabaseReader(dbs_));
}

bool EphWindow::Show(const IepSetup& setup, EphSpeciesReader read) {
  if (setup.elements.empty() || setup.temperatures.empty()) {
    Fail(tr("The set-up names no element or no temperature."));
    return false;
  }
  setup_ = setup;
  shown_ = setup;
  read_ = std::move(read);
  Recompute();
  return error_.isEmpty();
}

void EphWindow::Recompute() {
  error_.clear();
  diagrams_ = ComputeSetup(shown_, read_);
  pictures_.clear();
  for (size_t i = 0; i < diagrams_.size(); ++i) {
    if (!diagrams_[i].error.empty()) {
      Fail(QString::fromStdString(diagrams_[i].error));
      diagrams_.clear();
      pictures_.clear();
      break;
    }
    pictures_.push_back(BuildEphPicture(shown_, i, diagrams_[i]));
  }
  const int current = tabs_->currentIndex();
  while (views_.size() > pictures_.size()) {
    delete views_.back();
    views_.pop_back();
  }
  for (size_t i = 0; i < pictures_.size(); ++i) {
    if (i >= views_.size()) {
      auto* v = new PredomView(tabs_);
      v->setObjectName(QString("View%1").arg(i + 1));
      views_.push_back(v);
      tabs_->addTab(v, QString());
    }
    views_[i]->SetPicture(&pictures_[i]);
    tabs_->setTabText(static_cast<int>(i), QString("%1 %2").arg(QString::fromStdString(FormatFixed(shown_.temperatures[i], 2)),
                                                                shown_.celsius ? "C" : "K"));
  }
  if (current >= 0 && current < tabs_->count()) tabs_->setCurrentIndex(current);
}

void EphWindow::Zoom(double factor) {
  if (diagrams_.empty()) return;
  const double cx = (shown_.ph_min + shown_.ph_max) / 2, cy = (shown_.eh_min + shown_.eh_max) / 2;
  const double hx = (shown_.ph_max - shown_.ph_min) / 2 * factor, hy = (shown_.eh_max - shown_.eh_min) / 2 * factor;
  shown_.ph_min = cx - hx, shown_.ph_max = cx + hx;
  shown_.eh_min = cy - hy, shown_.eh_max = cy + hy;
  Recompute();
}

void EphWindow::ResetZoom() {
  shown_ = setup_;
  if (!diagrams_.empty()) Recompute();
}

bool EphWindow::SavePicture(const QString& path, QSize size) {
  const int i = tabs_->currentIndex();
  if (i < 0 || i >= static_cast<int>(pictures_.size())) return false;
  QString error;
  if (!RenderToFile(pictures_[static_cast<size_t>(i)], path, size, &error)) {
    Fail(error);
    return false;
  }
  return true;
}

void EphWindow::SaveAs() {
  if (pictures_.empty()) return;
  const QString folder = QString::fromStdString((platform::UserDataDir() / "EpH").string());
  QString path = QFileDialog::getSaveFileName(this, tr("Save Picture"), folder,
                                              tr("PNG (*.png);;SVG (*.svg);;PDF (*.pdf)"));
  if (!path.isEmpty()) SavePicture(path);
}

void EphWindow::OpenFile() {
  const QString folder = QString::fromStdString((platform::UserDataDir() / "EpH").string());
  QString path = QFileDialog::getOpenFileName(this, tr("Open"), folder, tr("EpH Files (*.iep)"));
  if (!path.isEmpty()) Open(path);
}

void EphWindow::Copy() {
  const int i = tabs_->currentIndex();
  if (i < 0 || i >= static_cast<int>(pictures_.size())) return;
  const DiagramPicture& pic = pictures_[static_cast<size_t>(i)];
  auto* mime = new QMimeData;
  mime->setImageData(RenderImage(pic, kPictureSize));
  QBuffer svg;
  svg.open(QIODevice::WriteOnly);
  QSvgGenerator gen;
  gen.setOutputDevice(&svg);
  gen.setSize(kPictureSize);
  gen.setViewBox(QRectF(QPointF(0, 0), kPictureSize));
  {
    QPainter p(&gen);
    PaintDiagram(p, QRectF(QPointF(0, 0), kPictureSize), pic);
  }
  mime->setData("image/svg+xml", svg.data());
  QApplication::clipboard()->setMimeData(mime);
}

void EphWindow::Print() {
  const int i = tabs_->currentIndex();
  if (i < 0 || i >= static_cast<int>(pictures_.size())) return;
  QPrinter printer(QPrinter::HighResolution);
  printer.setPageOrientation(QPageLayout::Landscape);
  QPrintDialog dialog(&printer, this);
  if (dialog.exec() != QDialog::Accepted) return;
  QPainter p(&printer);
  QRect page = printer.pageLayout().paintRectPixels(printer.resolution());
  page.moveTo(0, 0);
  QSize fit = kPictureSize.scaled(page.size(), Qt::KeepAspectRatio);
  p.setViewport(QRect(QPoint((page.width() - fit.width()) / 2, (page.height() - fit.height()) / 2), fit));
  p.setWindow(QRect(QPoint(0, 0), kPictureSize));
  PaintDiagram(p, QRectF(QPointF(0, 0), kPictureSize), pictures_[static_cast<size_t>(i)]);
}

}  // namespace zyl::diagrams
