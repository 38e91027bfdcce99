#include "balance/window/balance_window.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QPixmap>
#include <QTableView>
#include <cstdlib>
#include <fstream>

#include "../balance_test_util.h"
#include "balance/window/stream_editor_window.h"

#ifdef ZYL_SANITIZED
// Fontconfig keeps a cache for the life of the process.
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig\n"; }
#endif

namespace zyl::balance::window {
namespace {

constexpr int R = kFirstDataRow;

QApplication& App() {
  static int argc = 1;
  static char name[] = "test_balance_window";
  static char* argv[] = {name, nullptr};
  static QApplication* app = new QApplication(argc, argv);
  return *app;
}

/// Saves a picture of a window when ZYL_SCREENSHOT_DIR is set (how docs/screenshots are made).
void Screenshot(QWidget& w, const char* name) {
  const char* dir = std::getenv("ZYL_SCREENSHOT_DIR");
  if (!dir) return;
  w.show();
  QApplication::processEvents();
  w.grab().save(QString(dir) + "/" + name);
}

struct Window : ::testing::Test {
  MapSpeciesSource species;
  platform::HeadlessMessages msgs{false};
  std::unique_ptr<Balance> w;
  void SetUp() override {
    App();
    balance::testing::AddAll(species);
    w = std::make_unique<Balance>(nullptr, &msgs, &species);
  }
  bool Type(int row, int col, const char* text) {
    BookModel* m = w->F1Heat()->Model();
    return m->setData(m->index(row, col), QString::fromUtf8(text), Qt::EditRole);
  }
  QString Shown(int row, int col) {
    QApplication::processEvents();
    BookModel* m = w->F1Heat()->Model();
    return m->data(m->index(row, col), Qt::DisplayRole).toString();
  }
};

TEST_F(Window, MenuCommandsAndGrid) {
  for (const char* name : {"MNew", "MOpen", "MOpen2", "MOpenXLS", "MSave", "MSaveXLS5", "MSaveXLS97", "MInsBA",
                           "MDelBA", "MInsStream", "MInsSpe", "MInsRow", "MDelRow", "MInsCol", "MDelCol", "MUnits",
                           "MReCalc", "MCalcH", "MInsMW", "MInsPress", "MCopy", "MPaste", "MPasteV", "MPasteF",
                           "MPasteL", "MPasteE", "MPrint", "MTargetCalS", "MHelp"})
    EXPECT_NE(w->Action(name), nullptr) << name;
  EXPECT_TRUE(w->Action("MSaveXLS97")->text().contains(".xlsx"));
  EXPECT_EQ(w->F1Heat()->objectName(), "F1Heat");
  EXPECT_EQ(w->F1Heat()->CurrentSheet(), 1);  // IN1
  EXPECT_TRUE(w->windowTitle().startsWith("Heat and Material Balance - "));
  EXPECT_TRUE(w->F1Heat()->View()->isColumnHidden(col::kKind));
  EXPECT_FALSE(w->F1Heat()->View()->isColumnHidden(col::kTotH));
}

TEST_F(Window, TypingASpeciesRowFillsItsFormulas) {
  ASSERT_TRUE(Type(R, col::kFormula, "CO2(g)"));
  ASSERT_TRUE(Type(R, col::kTemp, "25"));
  ASSERT_TRUE(Type(R, col::kKmol, "2"));
  const platform::Sheet& sh = w->book().book().sheet(1);
  EXPECT_EQ(sh.Formula(R, col::kKg), "=C4*J4");
  EXPECT_EQ(Shown(R, col::kKg).toStdString(), platform::FormatNumber(sh.Number(R, col::kKg).value(), "0.000"));
  EXPECT_EQ(Shown(R, col::kTotH), "-188100.000");
  BookModel* m = w->F1Heat()->Model();
  EXPECT_TRUE(m->data(m->index(R, col::kKmol), Qt::ForegroundRole).isValid());  // red input
  w->MReCalc();
  EXPECT_EQ(w->F1Heat()->CurrentSheet(), 0);
  EXPECT_EQ(Shown(3, col::kKmol), "2.000");
}

TEST_F(Window, ProtectedCellShowsTheMessage) {
  Type(R, col::kFormula, "O2(g)");
  EXPECT_FALSE(Type(R, col::kTotH, "7"));
  EXPECT_EQ(msgs.Last(),
            "All other cells than red ones are protected !\nPress: ESC-key to exit cell edit mode.\n"
            "Select: Format, Red Font Shield to unprotect.");
  w->F1Heat()->SelectSheet(0);
  EXPECT_FALSE(Type(3, col::kKmol, "1"));
}

TEST_F(Window, InsertStreamThenPasteItAsLinks) {
  w->F1Heat()->SelectSheet(2);
  w->F1Heat()->SetCurrentCell(R, 0);
  msgs.ScriptText({"Flue gas"});
  w->MInsStream();
  ASSERT_FALSE(msgs.Log().empty());
  EXPECT_EQ(msgs.Log().back().text, "Give Stream Name:");
  EXPECT_EQ(msgs.Log().back().title, "Stream Name");
  EXPECT_EQ(w->book().Kind(2, R), RowKind::Stream);
  ASSERT_TRUE(Type(R + 1, col::kFormula, "CO2(g)"));
  ASSERT_TRUE(Type(R + 1, col::kKmol, "1.5"));
  EXPECT_EQ(Shown(R, col::kKmol), "1.500");  // the stream row sums its species
  EXPECT_EQ(w->F1Heat()->CurrentCell(), std::make_pair(R, 0));  // typing keeps the cursor
  w->MCopy();
  w->F1Heat()->SelectSheet(1);
  w->F1Heat()->SetCurrentCell(R, 0);
  w->MPasteL();
  const platform::Sheet& in = w->book().book().sheet(1);
  EXPECT_EQ(in.Formula(R + 1, col::kFormula), "=OUT1!A5");
  EXPECT_EQ(Shown(R + 1, col::kKmol), "1.500");
}

TEST_F(Window, CopiedStreamSurvivesAreaChangesAndIsDroppedWithItsWorkbook) {
  BalanceBook& b = w->book();
  b.PutStream(2, R, "Flue gas");
  b.PutSpecies(2, R + 1, "CO2(g)", 25, col::kKmol, 1.5);
  w->F1Heat()->Refresh();
  w->F1Heat()->SelectSheet(2);
  w->F1Heat()->SetCurrentCell(R, 0);
  w->MCopy();
  w->MInsBA();  // OUT1 moves from sheet 2 to sheet 3
  int in2 = b.InSheet(2);
  w->F1Heat()->SelectSheet(in2);
  w->F1Heat()->SetCurrentCell(R, 0);
  w->MPasteL();
  EXPECT_EQ(b.book().sheet(in2).Formula(R + 1, col::kFormula), "=OUT1!A5");

  w->F1Heat()->SelectSheet(b.OutSheet(2));
  w->F1Heat()->SetCurrentCell(R, 0);
  w->MCopy();
  w->F1Heat()->SelectSheet(1);
  w->MDelBA();  // area 2 becomes area 1: the copied sheet is gone
  w->F1Heat()->SelectSheet(1);
  w->F1Heat()->SetCurrentCell(R + 5, 0);
  w->MPasteL();
  w->MPaste();
  EXPECT_TRUE(b.book().sheet(1).Value(R + 5, col::kFormula).empty());

  w->MCopy();
  w->MNew();
  w->MPasteL();  // nothing to paste from the old workbook
  EXPECT_TRUE(b.book().sheet(1).Value(R, col::kFormula).empty());
}

TEST_F(Window, SaveAsksForANameUnlessTheFileIsAWorkbook) {
  balance::testing::TempDir dir;
  EXPECT_TRUE(w->SaveNeedsName());
  std::filesystem::path old = dir / "KILN.OHE";
  {
    std::ofstream f(old);
    f << "COMPONENT\nIN CaCO3 25 1\nOUT CaO 900 1\n";
  }
  ASSERT_TRUE(w->ImportOld(QString::fromStdString(old.string())));
  EXPECT_TRUE(w->windowTitle().endsWith("KILN.OHE"));
  EXPECT_TRUE(w->SaveNeedsName());  // never overwrite the old text file with a workbook
  ASSERT_TRUE(w->SaveFile(QString::fromStdString((dir / "kiln.xlsx").string())));
  EXPECT_FALSE(w->SaveNeedsName());
}

TEST_F(Window, TemperatureSolverReports) {
  BalanceBook& b = w->book();
  b.PutSpecies(1, R, "CH4(g)", 25, col::kKmol, 1);
  b.PutSpecies(1, R + 1, "O2(g)", 25, col::kKmol, 2);
  b.PutSpecies(1, R + 2, "N2(g)", 25, col::kKmol, 7.52);
  b.PutSpecies(2, R, "CO2(g)", 25, col::kKmol, 1);
  b.PutSpecies(2, R + 1, "H2O(g)", 25, col::kKmol, 2);
  b.PutSpecies(2, R + 2, "N2(g)", 25, col::kKmol, 7.52);
  b.book().Recalculate();
  BalTem tem(w.get());
  TBalResult r = tem.Calculate();
  EXPECT_TRUE(r.iterated);
  EXPECT_TRUE(tem.LabResult()->text().startsWith("Temperature of products = "));
  EXPECT_EQ(msgs.Last(), tem.LabResult()->text().toStdString());
  EXPECT_EQ(tem.Calculate().message, "Temperature balance OK");
  ASSERT_NE(w->ProductTemperature(1), nullptr);
  EXPECT_DOUBLE_EQ(*w->ProductTemperature(1), r.t_display);
  w->MUnits({EnergyUnit::kcal, TempUnit::K, false});  // the found temperature follows the display unit
  EXPECT_NEAR(*w->ProductTemperature(1), r.t_display + 273.15, 1e-9);
  w->MUnits({EnergyUnit::kcal, TempUnit::C, false});

  BalMat mat(w.get());
  EXPECT_TRUE(mat.Report().contains("MATERIAL BALANCE"));
  EXPECT_TRUE(mat.Report().contains("Temperature of Products = "));
  EXPECT_EQ(mat.grid_book().sheet(0).Value(3, 0).text, "C");

  w->F1Heat()->SelectSheet(2);
  Screenshot(*w, "balance.png");
  Screenshot(tem, "balance-temperature.png");
  Screenshot(mat, "balance-material.png");
}

// An error in an amount cell used to leave zeros in every total; the windows now name and select it.
TEST_F(Window, ErrorCellsAreNamedAndSelected) {
  BalanceBook& b = w->book();
  b.PutSpecies(1, R, "CH4(g)", 25, col::kKmol, 1);
  b.PutSpecies(2, R, "CO2(g)", 25, col::kKmol, 1);
  b.book().sheet(1).SetFormula(R, col::kKmol, "=1/0");
  w->MReCalc();
  EXPECT_EQ(msgs.Last(), "IN1!C4 holds #DIV/0!");
  EXPECT_EQ(w->F1Heat()->CurrentSheet(), 1);
  EXPECT_EQ(w->F1Heat()->CurrentCell(), std::make_pair(R, col::kKmol));
  BalTem tem(w.get());
  EXPECT_FALSE(tem.Calculate().done);
  EXPECT_EQ(tem.LabResult()->text(), "IN1!C4 holds #DIV/0!");
  BalMat mat(w.get());
  EXPECT_EQ(mat.Report(), "IN1!C4 holds #DIV/0!");
  EXPECT_TRUE(mat.grid_book().sheet(0).Value(3, 0).empty());
}

TEST_F(Window, GridActionsFillTheTargetSheet) {
  Type(R, col::kFormula, "CH4(g)");
  Type(R, col::kKmol, "1");
  w->F1Heat()->SetCurrentCell(R, col::kKmol);
  w->SetTargetRef(true);
  w->F1Heat()->SelectSheet(0);
  w->F1Heat()->SetCurrentCell(5, col::kTotH);
  w->SetTargetRef(false);
  int t = w->book().book().FindSheet("Target");
  ASSERT_GE(t, 0);
  const platform::Sheet& tasks = w->book().book().sheet(t);
  EXPECT_EQ(tasks.Value(kTargetFirstRow, tcol::kVarRef).text, "IN1!C4");
  EXPECT_EQ(tasks.Value(kTargetFirstRow, tcol::kTargetRef).text, "BAL!G6");
  EXPECT_EQ(tasks.Formula(kTargetFirstRow, tcol::kTestValue), "=IN1!C4");
  EXPECT_DOUBLE_EQ(tasks.Number(kTargetFirstRow, tcol::kTestValue).value(), 1.0);
  EXPECT_EQ(w->F1Heat()->View()->actions().size(), 2);
}

TEST_F(Window, TargetFormUsesTheCurrentCell) {
  BalanceBook& b = w->book();
  b.book().InsertSheet("Calc");
  int calc = b.book().FindSheet("Calc");
  b.book().sheet(calc).SetNumber(0, 0, 0);
  b.book().sheet(calc).SetFormula(0, 1, "=3*A1");
  w->F1Heat()->Refresh();
  BalTarget form(w.get());
  w->F1Heat()->SelectSheet(calc);
  w->F1Heat()->SetCurrentCell(0, 0);
  form.F1Target()->SetCurrentCell(kTargetFirstRow, 0);
  form.SetCellRef(true);
  w->F1Heat()->SetCurrentCell(0, 1);
  form.SetCellRef(false);
  platform::Sheet& g = form.model().grid().sheet(0);
  EXPECT_EQ(g.Value(kTargetFirstRow, tcol::kVarRef).text, "Calc!A1");
  EXPECT_EQ(g.Value(kTargetFirstRow, tcol::kTargetRef).text, "Calc!B1");
  g.SetNumber(kTargetFirstRow, tcol::kMin, 0);
  g.SetNumber(kTargetFirstRow, tcol::kMax, 10);
  g.SetNumber(kTargetFirstRow, tcol::kTargetValue, 12);
  g.SetNumber(kTargetFirstRow, tcol::kIterations, 30);
  form.F1Target()->SetCurrentCell(kTargetFirstRow, 0);
  std::vector<TargetOutcome> o = form.ButIterSel();
  ASSERT_EQ(o.size(), 1u);
  EXPECT_NEAR(o[0].x, 4, 1e-6);
  Screenshot(form, "balance-target.png");
}

TEST_F(Window, StreamEditorConvertsAndCopies) {
  StreamEditor se(w.get());
  EXPECT_EQ(se.windowTitle(), " Stream Editor ");
  se.doc().SetName("Air/1");
  se.doc().SetRow(0, "O2(g)", 21);
  se.doc().SetRow(1, "N2(g)", 79);
  se.ComboA()->setCurrentIndex(1);  // Nm3
  EXPECT_EQ(se.doc().unit(), AmountUnit::Nm3);
  EXPECT_NEAR(se.doc().sheet().Number(kStreamFirstRow, scol::kAmount).value(), 21 * 22.4136, 1e-9);
  se.ComboA()->setCurrentIndex(0);
  EXPECT_NEAR(se.doc().sheet().Number(kStreamFirstRow, scol::kAmount).value(), 21, 1e-9);
  se.RefreshTotals();
  w->F1Heat()->SelectSheet(1);
  w->F1Heat()->SetCurrentCell(R, 0);
  ASSERT_TRUE(se.CopyToBalance());
  EXPECT_EQ(w->book().book().sheet(1).Value(R, col::kFormula).text, "Air1");
  EXPECT_NEAR(w->book().book().sheet(1).Number(R, col::kKmol).value(), 100, 1e-9);
  se.ComboA()->setCurrentIndex(1);
  se.SyncControls();
  Screenshot(se, "stream-editor.png");
}

// A condensed species without a density in the database gets 1.0 g/cm3, marked in its cell and
// named under the totals; one with a density is not marked.
TEST_F(Window, StreamEditorMarksTheAssumedDensity) {
  StreamEditor se(w.get());
  se.doc().SetRow(0, "CaO", 1);
  se.doc().SetRow(1, "SiO2", 2);  // no density in the test data
  se.doc().SetRow(2, "O2(g)", 1);
  se.doc().RefreshAll();
  se.RefreshTotals();
  const platform::Sheet& sh = se.doc().sheet();
  EXPECT_DOUBLE_EQ(sh.Number(kStreamFirstRow, scol::kDens).value(), 3.34);
  EXPECT_DOUBLE_EQ(sh.Number(kStreamFirstRow + 1, scol::kDens).value(), kDefaultCondensedDensity);
  EXPECT_EQ(sh.Style(kStreamFirstRow, scol::kDens).color, platform::kBlack);
  EXPECT_EQ(sh.Style(kStreamFirstRow + 1, scol::kDens).color, kExtrapolatedColor);
  auto* totals = se.findChild<BookGrid*>("F1Stream2");
  ASSERT_NE(totals, nullptr);
  QApplication::processEvents();
  BookModel* m = totals->Model();
  EXPECT_EQ(m->data(m->index(7, 0), Qt::DisplayRole).toString(), "Density 1.0 g/cm3 assumed:");
  EXPECT_EQ(m->data(m->index(8, 0), Qt::DisplayRole).toString(), "SiO2");
}

}  // namespace
}  // namespace zyl::balance::window
