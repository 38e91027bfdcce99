#include "diagrams/window/diagram_window.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QKeySequence>
#include <QMenuBar>
#include <QMessageBox>

#include "diagrams/species_source.h"
#include "diagrams/window/diagram_painter.h"
#include "platform/paths.h"

namespace zyl::diagrams {

namespace {
const QSize kPictureSize(1000, 800);
}  // namespace

void ZoomLimits(double& xmin, double& xmax, double& ymin, double& ymax, double factor) {
  const double cx = (xmin + xmax) / 2, cy = (ymin + ymax) / 2;
  const double hx = (xmax - xmin) / 2 * factor, hy = (ymax - ymin) / 2 * factor;
  xmin = cx - hx, xmax = cx + hx;
  ymin = cy - hy, ymax = cy + hy;
}

DiagramWindow::DiagramWindow(QWidget* parent, const QString& object_name, const QString& title, const QString& folder)
    : QMainWindow(parent), title_(title), folder_(folder) {
  setObjectName(object_name);
  setWindowTitle(title);
  file_ = menuBar()->addMenu(tr("&File"));
  save_ = file_->addAction(tr("&Save Picture..."), QKeySequence::Save, this, &DiagramWindow::SaveAs);
  save_->setObjectName("MSavePicture");
  file_->addAction(tr("&Print..."), QKeySequence::Print, this, &DiagramWindow::Print)->setObjectName("MPrint");
  file_->addSeparator();
  file_->addAction(tr("E&xit"), QKeySequence::Quit, this, &QWidget::close)->setObjectName("MExit");
  QMenu* edit = menuBar()->addMenu(tr("&Edit"));
  edit->addAction(tr("&Copy"), QKeySequence::Copy, this, &DiagramWindow::Copy)->setObjectName("MCopy");
  QMenu* view = menuBar()->addMenu(tr("&View"));
  view->addAction(tr("Zoom &In"), QKeySequence::ZoomIn, this, [this] { Zoom(kZoomStep); })->setObjectName("MZoomIn");
  view->addAction(tr("Zoom &Out"), QKeySequence::ZoomOut, this, [this] { Zoom(1 / kZoomStep); })
      ->setObjectName("MZoomOut");
  view->addAction(tr("&Whole Diagram"), this, &DiagramWindow::ResetZoom)->setObjectName("MZoomReset");
  resize(900, 760);
}

void DiagramWindow::AddOpenAction(const QString& filter) {
  auto* open = new QAction(tr("&Open..."), this);
  open->setObjectName("MOpen");
  open->setShortcut(QKeySequence::Open);
  connect(open, &QAction::triggered, this, [this, filter] {
    QString path = QFileDialog::getOpenFileName(this, tr("Open"), folder_, filter);
    if (!path.isEmpty()) OpenPath(path);
  });
  file_->insertAction(save_, open);
}

bool DiagramWindow::OpenDatabases() {
  if (dbs_.main) return true;
  if (std::string e = OpenDatabasesForCommand(dbs_); !e.empty()) {
    Fail(QString::fromStdString(e));
    return false;
  }
  return true;
}

void DiagramWindow::TitleWithFile(const QString& path) { setWindowTitle(title_ + " - " + QFileInfo(path).fileName()); }

void DiagramWindow::Fail(const QString& message) {
  error_ = message;
  if (isVisible()) QMessageBox::warning(this, "ZYL", message);
}

void DiagramWindow::Zoom(double factor) {
  if (CurrentPicture()) ZoomShown(factor);
}

void DiagramWindow::ResetZoom() {
  if (CurrentPicture()) ZoomShown(1);
}

bool DiagramWindow::SavePicture(const QString& path, QSize size) {
  const DiagramPicture* pic = CurrentPicture();
  if (!pic) return false;
  QString error;
  if (!RenderToFile(*pic, path, size, &error)) {
    Fail(error);
    return false;
  }
  return true;
}

void DiagramWindow::SaveAs() {
  if (!CurrentPicture()) return;
  QString path = QFileDialog::getSaveFileName(this, tr("Save Picture"), folder_, tr("PNG (*.png);;SVG (*.svg);;PDF (*.pdf)"));
  if (!path.isEmpty()) SavePicture(path);
}

void DiagramWindow::Copy() {
  if (const DiagramPicture* pic = CurrentPicture()) CopyDiagram(*pic, kPictureSize);
}

void DiagramWindow::Print() {
  if (const DiagramPicture* pic = CurrentPicture()) PrintDiagram(*pic, this, kPictureSize);
}

}  // namespace zyl::diagrams
