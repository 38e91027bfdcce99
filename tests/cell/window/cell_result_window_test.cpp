#include "cell/window/cell_result_window.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QLabel>
#include <QTableWidget>

#include "platform/window/qt_app.h"

namespace zyl::cell::window {
namespace {

TEST(CellWindow, ShowsTheCellOfAnInputFileNamedByCellIni) {
  zyl::testing::App();
  zyl::testing::TempDir dir;
  CellSystem s;
  s.title = "Daniell";
  s.phases = {{"Anode", {{"Zn", 25, 1}, {"Zn(+2a)", 25, 1}}}, {"Cathode", {{"Cu", 25, 1}, {"Cu(+2a)", 25, 1}}}};
  // Gibbs energies of formation, NBS tables, kJ/mol: Zn2+ -147.06, Cu2+ 65.49; E0 = 212.55 / (2 F) = 1.1015 V.
  s.phases[0].species[1].g = -147.06;
  s.phases[1].species[1].g = 65.49;
  QString file = QString::fromStdString((dir.Path() / "DANIELL.CEL").string());
  {
    QFile f(file);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(QByteArray::fromStdString(CellInputText(s)));
    QFile ini(QString::fromStdString((dir.Path() / "CELL.INI").string()));
    ASSERT_TRUE(ini.open(QIODevice::WriteOnly));
    ini.write((file + "\n").toUtf8());
  }
  EXPECT_EQ(FileFromCellIni(QString::fromStdString(dir.Path().string())), file);
  CellResult w;
  ASSERT_TRUE(w.OpenFile(file));
  EXPECT_EQ(w.Species()->rowCount(), 4);
  EXPECT_NEAR(w.result().e0, 1.1015, 0.0005);
  EXPECT_TRUE(w.Results()->text().contains("Zn + Cu(+2a) = Zn(+2a) + Cu"));
  EXPECT_FALSE(w.OpenFile(QString::fromStdString((dir.Path() / "missing.CEL").string())));
  EXPECT_TRUE(w.Results()->text().startsWith("Can not open"));
}

}  // namespace
}  // namespace zyl::cell::window
