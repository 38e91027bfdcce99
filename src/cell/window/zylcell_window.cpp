#include "cell/window/zylcell_window.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QMenuBar>
#include <QProcess>

#include "cell/cell.h"
#include "cell/cell_sheet.h"
#include "platform/paths.h"
#include "platform/window/grid.h"
#include "platform/window/qt_messages.h"
#include "thermo/lookup.h"

namespace zyl::cell::window {

QString CellFolder() {
  auto dir = platform::UserDataDir() / "Cell";
  std::error_code ec;
  std::filesystem::create_directories(dir, ec);
  return QString::fromStdString(dir.string());
}

ZYLcell::ZYLcell(platform::Messages* msgs, QWidget* parent) : QMainWindow(parent), book_("Cell") {
  setObjectName("ZYLcell");
  setAttribute(Qt::WA_DeleteOnClose);
  if (!msgs) {
    own_msgs_ = std::make_unique<platform::window::QtMessages>(this);
    msgs = own_msgs_.get();
  }
  msgs_ = msgs;
  NewCellBook(&book_);
  grid_ = new platform::window::Grid(&book_, this);
  grid_->setObjectName("F1Cell");
  grid_->Refresh();
  setCentralWidget(grid_);
  setWindowTitle("Electrochemical Cell Equilibriums - " + name_);

  QMenu* file = menuBar()->addMenu("&File");
  file->addAction("&Open…", this, [this] {
    QString p = QFileDialog::getOpenFileName(this, "Open Cell Sheet", CellFolder(), "Cell sheet (*.xlsx);;All files (*)");
    if (!p.isEmpty()) OpenFile(p);
  })->setObjectName("MOpen");
  file->addAction("&Save…", this, [this] {
    QString p = QFileDialog::getSaveFileName(this, "Save Cell Sheet", CellFolder() + "/" + name_ + ".xlsx",
                                             "Cell sheet (*.xlsx)");
    if (!p.isEmpty()) SaveFile(p);
  })->setObjectName("MSave");
  file->addAction("&Print…", this, [this] { grid_->Print("Printer error. No printers installed?"); });
  file->addAction("&Close", this, &QWidget::close);
  QMenu* edit = menuBar()->addMenu("&Edit");
  edit->addAction("&Copy", QKeySequence::Copy, this, [this] { grid_->CopySelection(); });
  edit->addAction("&Paste", QKeySequence::Paste, this, [this] { grid_->PasteClipboard(); });
  edit->addAction("Update &Compositions", this, [this] {
    UpdateCompositions(&book_);
    grid_->Refresh();
  });
  menuBar()->addAction("&Calculate", this, &ZYLcell::Calculate)->setObjectName("MCalculate");
  resize(820, 520);
}

ZYLcell::~ZYLcell() {
  delete grid_;  // the grid listens to book_
  grid_ = nullptr;
}

bool ZYLcell::WriteInputFile(const QString& path) {
  CellSystem sys;
  std::string error = CellFromSheet(book_, &sys);
  if (error.empty()) {
    sys.file_name = QFileInfo(path).fileName().toStdString();
    error = WriteCellInput(sys, DatabaseSource(thermo::SharedSpeciesDatabases()), path.toStdString());
  }
  if (!error.empty()) {
    msgs_->Show(error);
    return false;
  }
  labfile_ = path;
  return true;
}

void ZYLcell::Calculate() {
  QString path = CellFolder() + "/" + name_ + ".CEL";
  if (!WriteInputFile(path)) return;
  QString program = QString::fromStdString((platform::ProgramDir() / "zyl-cell").string());
  if (!QProcess::startDetached(program, {path})) msgs_->Show("Can not start " + program.toStdString());
}

bool ZYLcell::OpenFile(const QString& path) {
  platform::Workbook fresh("Cell");
  std::string error = fresh.Load(path.toStdString());
  CellSystem probe;
  if (error.empty()) error = CellFromSheet(fresh, &probe);
  if (!error.empty()) {
    msgs_->Error(error);
    return false;
  }
  const platform::Sheet& from = fresh.sheet(std::max(0, fresh.FindSheet("Cell")));
  platform::Sheet& to = book_.sheet(book_.FindSheet("Cell"));
  to.ClearAll(0, 0, platform::kMaxRows - 1, platform::kMaxCols - 1);
  to.Paste(0, 0, from.Copy(0, 0, from.LastRow(), from.LastCol()));
  DefineCellAreas(&book_);
  for (auto [name, range] : fresh.Names())  // the file's own places of the areas on its cell sheet
    if (range.sheet == from.name()) book_.DefineName(name, {to.name(), range.r1, range.c1, range.r2, range.c2});
  UpdateCompositions(&book_);
  grid_->Refresh();
  name_ = QFileInfo(path).completeBaseName();
  setWindowTitle("Electrochemical Cell Equilibriums - " + name_);
  return true;
}

bool ZYLcell::SaveFile(const QString& path) {
  std::string error = book_.Save(path.toStdString());
  if (!error.empty()) {
    msgs_->Error(error);
    return false;
  }
  name_ = QFileInfo(path).completeBaseName();
  setWindowTitle("Electrochemical Cell Equilibriums - " + name_);
  return true;
}

}  // namespace zyl::cell::window
