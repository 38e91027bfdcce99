// zyl-cell: the cell program. Started with a cell input file, or without one on the file that CELL.INI in the
// user's Cell folder names.
#include <QApplication>
#include <QMessageBox>

#include "cell/window/cell_result_window.h"
#include "platform/paths.h"

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  QApplication::setApplicationName("zyl-cell");
  QString file = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QString();
  if (file.isEmpty())
    file = zyl::cell::window::FileFromCellIni(QString::fromStdString((zyl::platform::UserDataDir() / "Cell").string()));
  if (file.isEmpty()) {
    QMessageBox::warning(nullptr, "ZYL", "No cell input file given and no CELL.INI found.");
    return 1;
  }
  zyl::cell::window::CellResult w;
  w.OpenFile(file);
  w.show();
  return app.exec();
}
