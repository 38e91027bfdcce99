#include "diagrams/window/lpp_window.h"

#include <QApplication>
#include <QClipboard>
#include <QFileDialog>
#include <QFileInfo>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QPainter>
#include <QPrintDialog>
#include <QPrinter>

#include "diagrams/species_source.h"
#include "diagrams/window/diagram_painter.h"
#include "diagrams/window/predom_window.h"
#include "platform/paths.h"

namespace zyl::diagrams {

namespace {
const QSize kPictureSize(1000, 800);
}

LppWindow::LppWindow(QWidget* parent) : QMainWindow(parent) {
  setObjectName("LppWindow");
  setWindowTitle(tr("Lpp - Diagrams"));
  view_ = new PredomView(this);
  view_->setObjectName("View");
  setCentralWidget(view_);
  QMenu* file = menuBar()->addMenu(tr("&File"));
  file->addAction(tr("&Save Picture..."), QKeySequence::Save, this, &LppWindow::SaveAs)->setObjectName("MSavePicture");
  file->addAction(tr("&Print..."), QKeySequence::Print, this, &LppWindow::Print)->setObjectName("MPrint");
  file->addSeparator();
  file->addAction(tr("E&xit"), QKeySequence::Quit, this, &QWidget::close)->setObjectName("MExit");
  QMenu* edit = menuBar()->addMenu(tr("&Edit"));
  edit->addAction(tr("&Copy"), QKeySequence::Copy, this, &LppWindow::Copy)->setObjectName("MCopy");
  resize(900, 760);
}

void LppWindow::Fail(const QString& message) {
  error_ = message;
  if (isVisible()) QMessageBox::warning(this, "ZYL", message);
}

bool LppWindow::Open(const QString& path) {
  LppReadResult r = ReadLpp(path.toStdString());
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
  setWindowTitle(tr("Lpp - Diagrams") + " - " + QFileInfo(path).fileName());
  DatabaseSpeciesSource source(dbs_);
  return Show(*r.setup, source);
}

bool LppWindow::Show(const LppSetup& setup, const SpeciesSource& source) {
  error_.clear();
  const PredomSetup p = ToPredomSetup(setup);
  if (std::string e = ValidateSetup(p); !e.empty()) {
    Fail(QString::fromStdString(e));
    return false;
  }
  CollectResult c = CollectData(p, source);
  if (!c.model) {
    Fail(QString::fromStdString(c.error));
    return false;
  }
  picture_ = BuildPicture(*c.model, MakePicture(*c.model));
  view_->SetPicture(&*picture_);
  return true;
}

bool LppWindow::SavePicture(const QString& path, QSize size) {
  if (!picture_) return false;
  QString error;
  if (!RenderToFile(*picture_, path, size, &error)) {
    Fail(error);
    return false;
  }
  return true;
}

void LppWindow::SaveAs() {
  if (!picture_) return;
  const QString folder = QString::fromStdString((platform::UserDataDir() / "Lpp").string());
  QString path = QFileDialog::getSaveFileName(this, tr("Save Picture"), folder, tr("PNG (*.png);;SVG (*.svg);;PDF (*.pdf)"));
  if (!path.isEmpty()) SavePicture(path);
}

void LppWindow::Copy() {
  if (!picture_) return;
  auto* mime = new QMimeData;
  mime->setImageData(RenderImage(*picture_, kPictureSize));
  QApplication::clipboard()->setMimeData(mime);
}

void LppWindow::Print() {
  if (!picture_) return;
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
  PaintDiagram(p, QRectF(QPointF(0, 0), kPictureSize), *picture_);
}

}  // namespace zyl::diagrams
