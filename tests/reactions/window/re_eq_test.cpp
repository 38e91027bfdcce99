#include "reactions/window/re_eq.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QFile>
#include <QItemSelectionModel>
#include <QLineEdit>
#include <QPrinterInfo>
#include <QTableView>

#include "platform/window/dialogs.h"
#include "platform/window/grid.h"
#include "platform/window/qt_app.h"
#include "platform/window/qt_messages.h"
#include "platform/window/xy_plot.h"
#include "reactions/window/window_db.h"
#include "reactions/window/re_eq_r.h"
#include "shell/program_state.h"
#include "thermo/lookup.h"

namespace zyl::reactions::window {
namespace {

class ReactionWindow : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    zyl::testing::App();
    dir_ = new zyl::testing::TempDir;
    const auto path = dir_->Path() / "MainDB6.ZYL";
    ASSERT_EQ(zyl::testing::WriteWindowTestDb(path), "");
    thermo::SharedSpeciesDatabases().main = thermo::OpenSpeciesDb(path);
  }
  static void TearDownTestSuite() {
    thermo::SharedSpeciesDatabases().main.reset();
    delete dir_;
  }
  void SetUp() override { platform::window::SetAppMessages(&messages); }
  void TearDown() override {
    platform::window::SetAppMessages(nullptr);
    for (ReEqR* r : form.Results()) delete r;
  }
  ReEqR* Calculate(const QString& equation, const QString& t1, const QString& t2, const QString& step) {
    form.SetEquation(equation);
    form.MhT1->setText(t1);
    form.MhT2->setText(t2);
    form.MhStep->setText(step);
    return form.CalcBut_Click();
  }
  const platform::Sheet& SheetOf(ReEqR* r) { return r->book().sheet(r->book().ActiveSheet()); }

  static zyl::testing::TempDir* dir_;
  platform::HeadlessMessages messages{false};
  ReEq form;
};
zyl::testing::TempDir* ReactionWindow::dir_ = nullptr;

TEST_F(ReactionWindow, WaterFrom25To1000StepOneGivesThreeHundredRows) {
  form.TUnit->setCurrentIndex(0);  // °C
  form.RUnit->setCurrentIndex(0);  // kJ
  ReEqR* r = Calculate("2H2(g)+O2(g)=2H2O(g)", "25", "1000", "1");
  ASSERT_NE(r, nullptr) << messages.Last();
  EXPECT_TRUE(messages.Log().empty()) << messages.Last();
  EXPECT_EQ(r->windowTitle(), "Results - 2H2(g)+O2(g)=2H2O(g)");
  EXPECT_TRUE(r->isVisible());
  EXPECT_EQ(r->parentWidget(), nullptr);
  ASSERT_EQ(r->RowCount(), 300);

  const platform::Sheet& s = SheetOf(r);
  EXPECT_EQ(s.DisplayText(kHeaderRow, 0), "T");
  EXPECT_EQ(s.DisplayText(kHeaderRow, 3), "ΔG");
  EXPECT_EQ(s.DisplayText(kUnitRow, 0), "°C");
  EXPECT_EQ(s.DisplayText(kUnitRow, 1), "kJ");
  EXPECT_EQ(s.DisplayText(kUnitRow, 2), "J/K");
  EXPECT_EQ(s.DisplayText(0, 1), "2H2(g)+O2(g)=2H2O(g)");
  // First and last rows at the ends of the range, every cell in the sheet's number format.
  EXPECT_DOUBLE_EQ(*s.Number(kFirstDataRow, 0), 25.0);
  EXPECT_NEAR(*s.Number(kFirstDataRow + 299, 0), 1000.0, 1e-9);
  EXPECT_EQ(s.DisplayText(kFirstDataRow, 0), "25.000 ");
  EXPECT_EQ(s.Style(kFirstDataRow + 150, 3).number_format, "#####0.000 ");
  EXPECT_FALSE(s.Find(kFirstDataRow + 300, 0) && s.Value(kFirstDataRow + 300, 0).is_number());
  // The sheet holds what the calculation gave, column by column.
  const ReactionTable& t = r->table();
  for (int i : {0, 137, 299})
    for (const ColumnInfo& c : t.Columns())
      EXPECT_DOUBLE_EQ(*s.Number(kFirstDataRow + i, TemplateColumn(c.column)), *t.Cell(t.rows[i], c.column))
          << "row " << i << " " << c.header;
  // ΔG of water formation is negative and rises with T.
  EXPECT_LT(*s.Number(kFirstDataRow, 3), *s.Number(kFirstDataRow + 299, 3));
  EXPECT_EQ(r->plot()->Data().size(), 300);
  EXPECT_TRUE(s.ColumnHidden(TemplateColumn(Column::E)));
  EXPECT_FALSE(s.ColumnHidden(TemplateColumn(Column::LogK)));
  EXPECT_EQ(form.MhEqu->itemText(0), "2H2(g)+O2(g)=2H2O(g)") << "kept in the history";
}

TEST_F(ReactionWindow, UnknownSpeciesAndUnbalancedEquationsOpenNoResults) {
  EXPECT_EQ(Calculate("2H2(g)+O2(g)=2H2Oq(g)", "25", "100", "25"), nullptr);
  EXPECT_EQ(messages.Last(), "H2Oq(g) was not found from the Database !\nThermochemical data can not be calculated.");
  EXPECT_EQ(Calculate("H2(g)+O2(g)=H2O(g)", "25", "100", "25"), nullptr);
  EXPECT_NE(messages.Last().find("Too much O("), std::string::npos) << messages.Last();
  EXPECT_NE(messages.Last().find("Please, edit !"), std::string::npos);
  EXPECT_EQ(Calculate("Ar=Ar(g)", "25", "100", "25"), nullptr);
  EXPECT_NE(messages.Last().find("NOTE: Use (g)-suffix for gaseous species, such as:"), std::string::npos);
  EXPECT_EQ(Calculate("2H2(g)+O2(g)=2H2O(g)", "25", "hot", "25"), nullptr);
  EXPECT_EQ(messages.Last(), "Please, give the temperatures and the step as numbers !");
  EXPECT_TRUE(form.Results().isEmpty());
  EXPECT_EQ(form.Equation(), "2H2(g)+O2(g)=2H2O(g)") << "the equation stays for editing";
  for (QWidget* w : QApplication::topLevelWidgets()) EXPECT_EQ(qobject_cast<ReEqR*>(w), nullptr);
}

TEST_F(ReactionWindow, UnitsColumnOptionAndThePotentialColumn) {
  form.TUnit->setCurrentIndex(1);  // K
  form.RUnit->setCurrentIndex(1);  // kcal
  form.CheckCol->setChecked(false);
  ReEqR* r = Calculate("Fe(+3a)+e-=Fe(+2a)", "298.15", "348.15", "10");
  ASSERT_NE(r, nullptr) << messages.Last();
  const platform::Sheet& s = SheetOf(r);
  EXPECT_EQ(s.DisplayText(kUnitRow, 0), "K");
  EXPECT_EQ(s.DisplayText(kUnitRow, 1), "kcal");
  EXPECT_EQ(s.DisplayText(kUnitRow, 2), "cal/K");
  EXPECT_TRUE(s.ColumnHidden(TemplateColumn(Column::LogK)));
  const int e = TemplateColumn(Column::E);
  EXPECT_FALSE(s.ColumnHidden(e));
  EXPECT_EQ(s.DisplayText(kHeaderRow, e), "POTENTIAL E");
  EXPECT_EQ(s.DisplayText(kUnitRow, e), "E vs. SHE");
  EXPECT_EQ(s.Style(kFirstDataRow, e).number_format, "###.####");
  ASSERT_TRUE(s.Number(kFirstDataRow, e));
  // E = -ΔG / |2 · 1 · 23.045| with ΔG in kcal.
  EXPECT_NEAR(*s.Number(kFirstDataRow, e), -*s.Number(kFirstDataRow, 3) / (2.0 * 23.045), 1e-9);
  EXPECT_EQ(r->RowCount(), 6);
}

TEST_F(ReactionWindow, TransitionRowsAreAddedAndMarked) {
  form.TUnit->setCurrentIndex(1);
  form.CheckTrans->setChecked(true);
  ReEqR* r = Calculate("4Al+3O2(g)=2Al2O3", "800", "1000", "100");
  ASSERT_NE(r, nullptr) << messages.Last();
  EXPECT_EQ(r->RowCount(), 5);
  const platform::Sheet& s = SheetOf(r);
  EXPECT_NEAR(*s.Number(kFirstDataRow + 2, 0), 933.47 - 0.00003, 1e-3);
  EXPECT_NEAR(*s.Number(kFirstDataRow + 3, 0), 933.47 + 0.00001, 1e-3);
  EXPECT_TRUE(s.Style(kFirstDataRow + 2, 0).italic);
  EXPECT_TRUE(s.Style(kFirstDataRow + 3, 3).italic);
  EXPECT_FALSE(s.Style(kFirstDataRow + 1, 0).italic);
  EXPECT_EQ(r->plot()->Data().size(), 5);
}

TEST_F(ReactionWindow, CopyOneRangePrintAndProtection) {
  form.RUnit->setCurrentIndex(0);  // kJ
  ReEqR* r = Calculate("C+O2(g)=CO2(g)", "25", "125", "50");
  ASSERT_NE(r, nullptr) << messages.Last();
  QTableView* view = r->grid()->View();
  auto* sel = view->selectionModel();
  auto* m = view->model();
  sel->select(QItemSelection(m->index(kHeaderRow, 0), m->index(kFirstDataRow + 1, 1)), QItemSelectionModel::ClearAndSelect);
  r->CopyRange();
  EXPECT_EQ(QApplication::clipboard()->text(), "T\tΔH\n°C\tkJ\n25.000\t" +
                                                   QString::fromStdString(SheetOf(r).DisplayText(kFirstDataRow, 1)).trimmed() +
                                                   "\n75.000\t" +
                                                   QString::fromStdString(SheetOf(r).DisplayText(kFirstDataRow + 1, 1)).trimmed() + "\n");
  sel->select(m->index(kFirstDataRow + 2, 3), QItemSelectionModel::Select);
  QApplication::clipboard()->clear();
  r->CopyRange();
  EXPECT_EQ(messages.Last(), "Please select only one Range !");
  EXPECT_TRUE(QApplication::clipboard()->text().isEmpty());

  // Results are calculated values: typing into them is refused with a message.
  messages.Clear();
  EXPECT_FALSE(m->setData(m->index(kFirstDataRow, 1), "7", Qt::EditRole));
  EXPECT_EQ(messages.Log().size(), 1u);

  if (!QPrinterInfo::availablePrinterNames().isEmpty()) GTEST_SKIP() << "a printer is installed: the dialog would open";
  r->PrintSheet();
  EXPECT_EQ(messages.Last(), "Printer error. No printers installed?");
}

TEST_F(ReactionWindow, PlotFollowsTheChosenQuantityAndSpeciesSearchFindsNames) {
  ReEqR* r = Calculate("C+O2(g)=CO2(g)", "25", "125", "50");
  ASSERT_NE(r, nullptr);
  r->SetPlotQuantity("log K");
  ASSERT_EQ(r->plot()->Data().size(), 3);
  EXPECT_DOUBLE_EQ(r->plot()->Data()[0].y(), *r->table().rows[0].LogK);
  EXPECT_DOUBLE_EQ(r->plot()->Data()[2].x(), 125.0);

  const QStringList found = form.SearchSpecies("co");
  ASSERT_GE(found.size(), 2);
  EXPECT_EQ(found[0], "CO(g)") << "names starting with the text come first";
  EXPECT_TRUE(found.contains("CO2(g)"));
  EXPECT_FALSE(found.contains("H2(g)"));
  EXPECT_EQ(form.SearchSpecies("").size(), int(zyl::testing::WindowTestRecords().size()) - 1) << "Al has two ranges";
}

TEST_F(ReactionWindow, ShippedTemplateCustomTemplatesAndSavedSheets) {
  namespace fs = std::filesystem;
  platform::Workbook shipped;
  ASSERT_EQ(shipped.Load(fs::path(ZYL_SOURCE_DATA_DIR) / "Reaction" / "Results.ORE"), "");
  const platform::Workbook built = BuildResultsTemplate();
  ASSERT_GE(shipped.FindSheet(kResultsSheet), 0);
  const platform::Sheet& a = shipped.sheet(shipped.FindSheet(kResultsSheet));
  for (int c = 0; c < 7; ++c) {
    EXPECT_EQ(a.DisplayText(kHeaderRow, c), built.sheet(0).DisplayText(kHeaderRow, c)) << c;
    EXPECT_TRUE(a.Style(kHeaderRow, c).bold) << c;
  }
  EXPECT_EQ(a.DisplayText(kUnitRow, TemplateColumn(Column::E)), "E vs. SHE");

  // A user's own template: its header texts show in the results.
  zyl::testing::TempDir tmp;
  fs::create_directories(tmp.Path() / "Reaction");
  shipped.sheet(0).SetText(kHeaderRow, 0, "Temperature");
  ASSERT_EQ(shipped.Save(tmp.Path() / "Reaction" / "Results.ORE"), "");
  const fs::path before = shell::ZYL5main().data_dir;
  shell::ZYL5main().data_dir = tmp.Path();
  ReEqR* r = Calculate("C+O2(g)=CO2(g)", "25", "125", "50");
  shell::ZYL5main().data_dir = before;
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(SheetOf(r).DisplayText(kHeaderRow, 0), "Temperature");

  // Saved as REA and reopened: same cells and formats. CSV for other programs.
  const QString rea = QString::fromStdString((tmp.Path() / "co2.REA").string());
  ASSERT_TRUE(r->SaveTo(rea)) << messages.Last();
  platform::Workbook back;
  ASSERT_EQ(back.Load(rea.toStdString()), "");
  const platform::Sheet& b = back.sheet(back.ActiveSheet());
  for (int row : {kHeaderRow, kUnitRow, kFirstDataRow, kFirstDataRow + 2})
    for (int c = 0; c < 6; ++c) EXPECT_EQ(b.DisplayText(row, c), SheetOf(r).DisplayText(row, c)) << row << "," << c;
  EXPECT_TRUE(b.ColumnHidden(TemplateColumn(Column::E)));
  // Opened again in a results window: the same caption and plot.
  ReEqR* opened = ReEqR::OpenResults(nullptr, rea);
  ASSERT_NE(opened, nullptr);
  EXPECT_EQ(opened->windowTitle(), "Results - C+O2(g)=CO2(g)");
  EXPECT_EQ(opened->plot()->Data(), r->plot()->Data());
  EXPECT_EQ(platform::window::RecentFiles("reaction-results").value(0), rea);
  delete opened;
  EXPECT_EQ(ReEqR::OpenResults(nullptr, rea + ".missing"), nullptr);
  const QString csv = QString::fromStdString((tmp.Path() / "co2.csv").string());
  ASSERT_TRUE(r->SaveTo(csv)) << messages.Last();
  QFile f(csv);
  ASSERT_TRUE(f.open(QIODevice::ReadOnly));
  EXPECT_TRUE(f.readAll().contains("125.000"));
  EXPECT_FALSE(r->SaveTo(QString::fromStdString((tmp.Path() / "no" / "such" / "x.REA").string())));
  EXPECT_FALSE(messages.Last().empty());
}

}  // namespace
}  // namespace zyl::reactions::window
