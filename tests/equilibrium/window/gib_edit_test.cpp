#include "equilibrium/solver_files.h"  // ahead of Qt headers
#include "equilibrium/window/gib_edit.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QFileInfo>
#include <QMenuBar>

#include "platform/files.h"
#include "platform/messages.h"
#include "platform/window/grid.h"
#include "platform/window/qt_app.h"
#include "thermo/lookup.h"
#include "thermo/species_db.h"

namespace zyl::equilibrium::window {
namespace {

class Recorder : public platform::Messages {
 public:
  void Show(std::string_view text, std::string_view, platform::Icon) override { shown.emplace_back(text); }
  platform::Answer AskYesNo(std::string_view, std::string_view) override { return platform::Answer::No; }
  platform::Answer AskYesNoCancel(std::string_view, std::string_view) override { return platform::Answer::No; }
  bool AskText(std::string_view, std::string_view, std::string&) override { return false; }
  bool Saw(const std::string& t) const { return std::find(shown.begin(), shown.end(), t) != shown.end(); }
  std::vector<std::string> shown;
};

class GibEditTest : public ::testing::Test {
 protected:
  void SetUp() override {
    zyl::testing::App();
    auto& dbs = thermo::SharedSpeciesDatabases();
    if (!dbs.main) {
      std::string error;
      dbs.main = thermo::OpenSpeciesDb(std::filesystem::path(ZYL_SOURCE_DATA_DIR) / "Databases" / "MainDB6.ZYL",
                                       nullptr, false, &error);
      ASSERT_TRUE(dbs.main) << error;
    }
  }
  static int FindRow(const platform::Sheet& sh, const std::string& name) {
    for (int r = kFirstRow; r <= sh.LastRow(); ++r)
      if (sh.DisplayText(r, 0) == name) return r;
    return -1;
  }
};

TEST_F(GibEditTest, FillFromElementsTotalsAndSolverFile) {
  zyl::testing::TempDir dir;
  Recorder rec;
  GibEdit w(&rec);
  EXPECT_EQ(w.objectName(), "GibEdit");
  EXPECT_TRUE(w.windowTitle().startsWith("Equilibrium Calculations "));
  ASSERT_TRUE(w.FillFromElements({"H", "O"}, true, true, false));
  auto& sh = w.book().sheet(0);
  EXPECT_EQ(sh.DisplayText(kFirstRow, 0), "GAS");
  EXPECT_EQ(sh.DisplayText(kFirstRow, 1), "gas");
  const int h2 = FindRow(sh, "H2(g)"), o2 = FindRow(sh, "O2(g)");
  ASSERT_GT(h2, 0);
  ASSERT_GT(o2, 0);
  sh.SetNumber(h2, 2, 2);
  sh.SetNumber(o2, 2, 1);
  sh.SetNumber(o2, 3, 0.5);
  sh.SetNumber(h2, 4, 0.25);
  w.book().Recalculate();
  EXPECT_EQ(sh.Formula(kTotalRow, 2), "=SUM(C6:C2005)");
  EXPECT_DOUBLE_EQ(sh.Number(kTotalRow, 2).value_or(-1), 3);
  EXPECT_DOUBLE_EQ(sh.Number(kTotalRow, 3).value_or(-1), 0.5);
  EXPECT_DOUBLE_EQ(sh.Number(kTotalRow, 4).value_or(-1), 0.25);

  const QString gem = QString::fromStdString((dir.Path() / "hox.gem").string());
  ASSERT_TRUE(w.SaveSolverFile(gem, SolverFormat::Gem)) << (rec.shown.empty() ? "" : rec.shown.back());
  EXPECT_TRUE(rec.shown.empty());
  auto read = ReadDescriptionFile(gem.toStdString());
  ASSERT_TRUE(read.ok()) << read.error;
  double h2_amount = 0;
  for (const auto& s : read.desc.phases[0].species)
    if (s.name == "H2(g)") h2_amount = s.amount;
  EXPECT_DOUBLE_EQ(h2_amount, 2.25);

  // Delete the gas phase row: the species above no phase are refused.
  w.DeleteRows(kFirstRow, kFirstRow);
  EXPECT_FALSE(w.SaveSolverFile(gem + "2", SolverFormat::Gem));
  EXPECT_TRUE(rec.Saw("Species must be devided into phases."));
}

TEST_F(GibEditTest, MessagesTheUserCanReach) {
  zyl::testing::TempDir dir;
  Recorder rec;
  GibEdit w(&rec);
  Sheet s;
  s.T = 1500;
  s.rows = {{SheetRowKind::Species, "H2(g)", PhaseType::Gas, {1, 0, 0}}};
  w.SetSheet(s);
  const QString out = QString::fromStdString((dir.Path() / "a.isg").string());
  EXPECT_FALSE(w.SaveSolverFile(out, SolverFormat::Isg));
  EXPECT_TRUE(rec.Saw("You must insert at least one phase row !"));
  EXPECT_FALSE(QFileInfo::exists(out));

  rec.shown.clear();
  s.rows = {{SheetRowKind::Phase, "GAS", PhaseType::Gas, {}},
            {SheetRowKind::Species, "H2(g)", PhaseType::Gas, {1, 0, 0}},
            {},
            {SheetRowKind::Species, "O2(g)", PhaseType::Gas, {1, 0, 0}}};
  w.SetSheet(s);
  ASSERT_TRUE(w.SaveSolverFile(out, SolverFormat::Isg));
  // Sheet row numbers as the user sees them (1-based, data from row 6).
  EXPECT_TRUE(rec.Saw("Please remove empty row: H2(g) at row 8"));
  EXPECT_TRUE(rec.Saw("WARNING: This file may not work."));
  EXPECT_NE(platform::ReadFile(out.toStdString())->find("WARNING: This file may not work."), std::string::npos);

  rec.shown.clear();
  s.rows[2] = {SheetRowKind::Species, "Qq9(g)", PhaseType::Gas, {}};
  w.SetSheet(s);
  EXPECT_FALSE(w.SaveSolverFile(out, SolverFormat::Gem));
  EXPECT_TRUE(rec.Saw("ZYL can not find: Qq9(g) from the database. Please edit or delete this formula."));

  // An amount count typed into H2 without any step in column F.
  rec.shown.clear();
  w.SetSheet(s);
  w.book().sheet(0).SetNumber(kTRow, kAmountCountCol, 4);
  EXPECT_FALSE(w.SaveSolverFile(out, SolverFormat::Gem));
  EXPECT_TRUE(rec.Saw("Please give Step for Amount"));

  rec.shown.clear();
  EXPECT_FALSE(w.FillFromElements({}, true, true, false));
  EXPECT_FALSE(w.FillFromElements({"Xx"}, true, true, false));
  EXPECT_EQ(rec.shown.size(), 2u);

  // Run Solver writes INPUT.gem in the Gibbs folder and hands it to the hook.
  rec.shown.clear();
  s.rows[2] = {};
  s.rows.erase(s.rows.begin() + 2);
  w.SetSheet(s);
  QString handed;
  GibEdit::ShowSolverRun = [&](QWidget*, const QString& f) { handed = f; };
  auto* run = w.menuBar()->findChild<QAction*>("MSolver");
  ASSERT_NE(run, nullptr);
  run->trigger();
  EXPECT_TRUE(handed.endsWith("Gibbs/INPUT.gem"));
  EXPECT_TRUE(ReadDescriptionFile(handed.toStdString()).ok());
  GibEdit::ShowSolverRun = nullptr;
  run->trigger();
  EXPECT_TRUE(rec.Saw("The solver form is not available."));
}

TEST_F(GibEditTest, XlsxRoundTripAndFilters) {
  zyl::testing::TempDir dir;
  Recorder rec;
  GibEdit w(&rec);
  Sheet s;
  s.T = 900;
  s.T_step = 50;
  s.T_count = 4;
  s.P = 2;
  s.rows = {{SheetRowKind::Phase, "GAS", PhaseType::Gas, {}},
            {SheetRowKind::Species, "CH4(g)", PhaseType::Gas, {1, 0.5, 0}},
            {SheetRowKind::Species, "H2O(g)", PhaseType::Gas, {0, 0, 2}},
            {SheetRowKind::Phase, "GRAPHITE", PhaseType::Pure, {}},
            {SheetRowKind::Species, "C", PhaseType::Gas, {}}};
  s.amount_count = 3;
  s.rows[2].step = 0.25;  // H2O(g): 2, 2.25, 2.5 mol
  w.SetSheet(s);
  const QString x = QString::fromStdString((dir.Path() / "ch4.xlsx").string());
  ASSERT_TRUE(w.SaveFile(x));
  GibEdit v(&rec);
  ASSERT_TRUE(v.OpenFile(x));
  EXPECT_EQ(v.windowTitle(), "Equilibrium Calculations ch4");
  const auto a = DescriptionFromSheet(w.CurrentSheet()), b = DescriptionFromSheet(v.CurrentSheet());
  EXPECT_EQ(DescriptionJson(a), DescriptionJson(b));
  EXPECT_EQ(b.T_count, 4);
  EXPECT_DOUBLE_EQ(b.phases[0].species[0].amount, 1.5);
  EXPECT_EQ(b.amount_count, 3);
  EXPECT_DOUBLE_EQ(b.phases[0].species[1].step, 0.25);
  EXPECT_EQ(v.book().sheet(0).DisplayText(kHeaderRow, kStepCol), "Step (mol)");
  EXPECT_FALSE(v.OpenFile(QString::fromStdString((dir.Path() / "missing.xlsx").string())));
  EXPECT_EQ(SolverFileFilter(), "Gibbs (*.gem);;Gibbs (*.igi);;SGM (*.isg);;ChemSAGE 2 (*.da2);;ChemSAGE 3 (*.dat)");
}

// Streams pasted from a balance: raw materials with their amounts, products as zero-amount candidates,
// grouped by phase suffix; a species both fed and produced keeps its feed amount once.
TEST_F(GibEditTest, PastedStreamsBecomePhases) {
  Recorder rec;
  GibEdit w(&rec);
  w.PasteSpecies({{"CH4(g)", 1000}, {"O2(g)", 2000}, {"CaCO3", 500}, {"Na(+a)", 1}},
                 {{"CO2(g)", 1000}, {"H2O(g)", 2000}, {"CaO", 500}, {"CaCO3", 0}});
  const auto d = DescriptionFromSheet(w.CurrentSheet());
  ASSERT_EQ(d.phases.size(), 4u);
  EXPECT_EQ(d.phases[0].name, "GAS");
  ASSERT_EQ(d.phases[0].species.size(), 4u);
  EXPECT_DOUBLE_EQ(d.phases[0].species[1].amount, 2000);
  EXPECT_DOUBLE_EQ(d.phases[0].species[2].amount, 0);
  EXPECT_EQ(d.phases[1].type, PhaseType::Aqueous);
  EXPECT_EQ(d.phases[2].name, "CaCO3");
  EXPECT_EQ(d.phases[2].species.size(), 1u);
  EXPECT_DOUBLE_EQ(d.phases[2].species[0].amount, 500);
  EXPECT_EQ(d.phases[3].type, PhaseType::Pure);
}

}  // namespace
}  // namespace zyl::equilibrium::window
