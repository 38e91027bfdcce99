// The result form: reading the solver's result file, masses and phase totals against hand-computed
// numbers, the temperature series table and plot, saving and damaged files.
#include "equilibrium/window/result_form.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QPrinterInfo>
#include <QLineEdit>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

#include "platform/messages.h"
#include "platform/window/qt_app.h"
#include "platform/window/xy_plot.h"

namespace zyl::equilibrium::window {
namespace {

namespace fs = std::filesystem;

// Two temperatures; G, residuals and fractions are only carried through.
constexpr const char* kResult = R"json({"results": [
 {"T": 1000, "P": 1, "G": -512.25, "element_residual": 2.5e-14, "iterations": 7, "phases": [
   {"name": "GAS", "type": "gas", "amount": 3, "stable": true, "species": [
     {"name": "H2O(g)", "amount": 2, "mole_fraction": 0.6666666667},
     {"name": "H2(g)", "amount": 1, "mole_fraction": 0.3333333333}]},
   {"name": "CaCO3", "type": "pure", "amount": 0.5, "stable": true, "species": [
     {"name": "CaCO3", "amount": 0.5, "mole_fraction": 1}]},
   {"name": "C", "type": "pure", "amount": 0, "stable": false, "species": [
     {"name": "C", "amount": 0, "mole_fraction": 1}]}]},
 {"T": 1200, "P": 1, "G": -530.5, "element_residual": 1e-15, "iterations": 5, "phases": [
   {"name": "GAS", "type": "gas", "amount": 3.5, "stable": true, "species": [
     {"name": "H2O(g)", "amount": 2.5, "mole_fraction": 0.714},
     {"name": "H2(g)", "amount": 1, "mole_fraction": 0.286}]},
   {"name": "CaCO3", "type": "pure", "amount": 0, "stable": false, "species": [
     {"name": "CaCO3", "amount": 0, "mole_fraction": 1}]},
   {"name": "C", "type": "pure", "amount": 0, "stable": false, "species": [
     {"name": "C", "amount": 0, "mole_fraction": 1}]}]}]})json";

// Standard atomic weights (IUPAC 2013 conventional): H 1.008, C 12.011, O 15.999, Ca 40.078 g/mol.
// The element table may hold the older 1.00794 / 12.0107 / 15.9994: a relative tolerance of 2e-4 covers both.
constexpr double kMwH2O = 2 * 1.008 + 15.999;               // 18.015
constexpr double kMwH2 = 2 * 1.008;                         // 2.016
constexpr double kMwCaCO3 = 40.078 + 12.011 + 3 * 15.999;  // 100.086
constexpr double kRel = 2e-4;

class Silent : public platform::Messages {
 public:
  void Show(std::string_view text, std::string_view, platform::Icon) override { shown.emplace_back(text); }
  platform::Answer AskYesNo(std::string_view, std::string_view) override { return platform::Answer::No; }
  platform::Answer AskYesNoCancel(std::string_view, std::string_view) override { return platform::Answer::No; }
  bool AskText(std::string_view, std::string_view, std::string&) override { return false; }
  std::vector<std::string> shown;
};

/// Row of the first cell in column col that shows text, from row `from`; -1 when none.
int FindRow(const platform::Sheet& s, int col, const std::string& text, int from = 0) {
  for (int r = from; r <= s.LastRow(); ++r)
    if (s.DisplayText(r, col) == text) return r;
  return -1;
}

TEST(EquiResultForm, MassesTotalsAndFlagsAgainstHandNumbers) {
  zyl::testing::App();
  Silent msgs;
  EquiResult form(&msgs);
  auto read = ParseResultJson(kResult);
  ASSERT_TRUE(read.ok()) << read.error;
  form.ShowPoints(read.points);
  const auto& s = form.book().sheet(form.book().FindSheet(kResultSheet));

  const int gas = FindRow(s, kColPhase, "GAS (gas)");
  ASSERT_GE(gas, 0);
  EXPECT_EQ(s.DisplayText(gas, kColStable), "yes");
  EXPECT_DOUBLE_EQ(*s.Number(gas, kColMol), 3.0);
  const double gas_kg = (2 * kMwH2O + 1 * kMwH2) / 1000;  // 0.038046 kg
  EXPECT_NEAR(*s.Number(gas, kColKg), gas_kg, gas_kg * kRel);
  const int h2o = FindRow(s, kColSpecies, "H2O(g)", gas);
  ASSERT_EQ(h2o, gas + 1);
  EXPECT_NEAR(*s.Number(h2o, kColKg), 2 * kMwH2O / 1000, 2 * kMwH2O / 1000 * kRel);
  EXPECT_NEAR(*s.Number(h2o, kColFraction), 0.6666666667, 1e-12);
  EXPECT_FALSE(s.Editable(h2o, kColMol));  // results are not typed over

  const int calcite = FindRow(s, kColPhase, "CaCO3 (pure)");
  ASSERT_GT(calcite, gas);
  EXPECT_NEAR(*s.Number(calcite, kColKg), 0.5 * kMwCaCO3 / 1000, 0.5 * kMwCaCO3 / 1000 * kRel);
  const int graphite = FindRow(s, kColPhase, "C (pure)");
  ASSERT_GT(graphite, calcite);
  EXPECT_EQ(s.DisplayText(graphite, kColStable), "no");
  EXPECT_DOUBLE_EQ(*s.Number(graphite, kColKg), 0.0);

  EXPECT_DOUBLE_EQ(*s.Number(FindRow(s, 0, "G"), 1), -512.25);
  EXPECT_DOUBLE_EQ(*s.Number(FindRow(s, 0, "Element residual"), 1), 2.5e-14);
  // The second temperature's block follows.
  const int t2 = FindRow(s, 0, "T", FindRow(s, 0, "T") + 1);
  ASSERT_GT(t2, graphite);
  EXPECT_DOUBLE_EQ(*s.Number(t2, 1), 1200.0);
}

TEST(EquiResultForm, SeriesTableAndPlotFollowTheTemperatures) {
  zyl::testing::App();
  Silent msgs;
  EquiResult form(&msgs);
  form.ShowPoints(ParseResultJson(kResult).points);
  const int si = form.book().FindSheet(kSeriesSheet);
  ASSERT_GE(si, 0);
  const auto& t = form.book().sheet(si);
  EXPECT_EQ(t.DisplayText(0, 0), "T K");
  EXPECT_EQ(t.DisplayText(0, 1), "GAS: H2O(g) mol");
  EXPECT_DOUBLE_EQ(*t.Number(2, 0), 1200.0);
  EXPECT_DOUBLE_EQ(*t.Number(2, 1), 2.5);
  // The largest amount is plotted first; another choice replots.
  EXPECT_EQ(form.SpeciesCombo()->currentText(), "GAS: H2O(g)");
  ASSERT_EQ(form.Plot()->Data().size(), 2);
  EXPECT_EQ(form.Plot()->Data()[1], QPointF(1200, 2.5));
  form.SpeciesCombo()->setCurrentText("CaCO3: CaCO3");
  ASSERT_EQ(form.Plot()->Data().size(), 2);
  EXPECT_EQ(form.Plot()->Data()[0], QPointF(1000, 0.5));

  // A single temperature: no series sheet (an old one is removed).
  auto one = ParseResultJson(kResult).points;
  one.resize(1);
  form.ShowPoints(one);
  EXPECT_LT(form.book().FindSheet(kSeriesSheet), 0);
}

// An amount sweep at two temperatures: the swept O2 amount is the x column and the plot's x axis,
// with a gap where the temperature changes; T follows in the next column.
TEST(EquiResultForm, AmountSweepIsPlottedAgainstTheSweptAmount) {
  zyl::testing::App();
  Silent msgs;
  EquiResult form(&msgs);
  std::string json = R"json({"results": [)json";
  int i = 0;
  for (double t : {1000.0, 1200.0})
    for (double x : {0.1, 0.3}) {
      json += (i ? "," : "") + std::string(R"json({"T": )json") + std::to_string(t) +
              R"json(, "P": 1, "G": -1, "element_residual": 0, "iterations": 3, "amount_index": )json" +
              std::to_string(i % 2) + R"json(, "amounts": [{"phase": "GAS", "name": "O2(g)", "amount": )json" +
              std::to_string(x) + R"json(}], "phases": [{"name": "GAS", "type": "gas", "amount": 1, "stable": true,
              "species": [{"name": "H2O(g)", "amount": )json" + std::to_string(2 * x + t / 1000) +
              R"json(, "mole_fraction": 1}]}]})json";
      ++i;
    }
  json += "]}";
  auto read = ParseResultJson(json);
  ASSERT_TRUE(read.ok()) << read.error;
  ASSERT_EQ(read.points.size(), 4u);
  ASSERT_EQ(read.points[3].amounts.size(), 1u);
  EXPECT_EQ(read.points[3].amount_index, 1);
  form.ShowPoints(read.points);
  const auto& t = form.book().sheet(form.book().FindSheet(kSeriesSheet));
  EXPECT_EQ(t.DisplayText(0, 0), "O2(g) mol");
  EXPECT_EQ(t.DisplayText(0, 1), "T K");
  EXPECT_EQ(t.DisplayText(0, 2), "GAS: H2O(g) mol");
  EXPECT_DOUBLE_EQ(*t.Number(4, 0), 0.3);
  EXPECT_DOUBLE_EQ(*t.Number(4, 1), 1200.0);
  EXPECT_EQ(form.SpeciesCombo()->count(), 1);
  EXPECT_EQ(form.SpeciesCombo()->currentText(), "GAS: H2O(g)");
  EXPECT_EQ(SeriesAxisTitle(form.points()), "O2(g) in mol");
  const auto& data = form.Plot()->Data();
  ASSERT_EQ(data.size(), 5);  // two points, a gap, two points
  EXPECT_EQ(data[0], QPointF(0.1, 1.2));
  EXPECT_EQ(data[1], QPointF(0.3, 1.6));
  EXPECT_TRUE(std::isnan(data[2].y()));
  EXPECT_EQ(data[4], QPointF(0.3, 1.8));
  // Without swept amounts the x axis stays the temperature.
  EXPECT_EQ(SeriesAxisTitle(ParseResultJson(kResult).points), "T in K");
}

TEST(EquiResultForm, SavesAWorkbookAndRefusesBadFiles) {
  zyl::testing::App();
  zyl::testing::TempDir dir;
  Silent msgs;
  EquiResult form(&msgs);
  const fs::path file = dir.Path() / "INPUT.result.json";
  std::ofstream(file) << kResult;
  ASSERT_TRUE(form.OpenFile(QString::fromStdString(file.string())));
  const fs::path xlsx = dir.Path() / "result.xlsx";
  ASSERT_TRUE(form.SaveFile(QString::fromStdString(xlsx.string())));
  platform::Workbook back;
  ASSERT_EQ(back.Load(xlsx), "");
  const auto& s = back.sheet(back.FindSheet(kResultSheet));
  const int row = FindRow(s, kColSpecies, "H2O(g)");
  ASSERT_GE(row, 0);
  EXPECT_DOUBLE_EQ(*s.Number(row, kColMol), 2.0);
  EXPECT_GE(back.FindSheet(kSeriesSheet), 0);
  EXPECT_TRUE(msgs.shown.empty());

  // Copy without a selection: the whole sheet as the grid shows it, tab-separated.
  QApplication::clipboard()->clear();
  form.Copy();
  const QString copied = QApplication::clipboard()->text();
  EXPECT_TRUE(copied.startsWith("T\t1000.000\tK\t")) << copied.left(40).toStdString();
  EXPECT_TRUE(copied.contains("\tH2O(g)\t2.0000E+00\t6.6667E-01\t")) << copied.toStdString();
  if (QPrinterInfo::availablePrinterNames().isEmpty()) {
    form.Print();
    ASSERT_EQ(msgs.shown.size(), 1u);
    EXPECT_EQ(msgs.shown.back(), kNoPrinter);
    msgs.shown.clear();
  }

  // Unwritable target and missing or damaged files: a message, never a crash.
  EXPECT_FALSE(form.SaveFile(QString::fromStdString((dir.Path() / "no" / "such" / "x.xlsx").string())));
  EXPECT_EQ(msgs.shown.size(), 1u);
  EXPECT_FALSE(form.OpenFile(QString::fromStdString((dir.Path() / "missing.json").string())));
  EXPECT_EQ(msgs.shown.size(), 2u);
  EXPECT_FALSE(form.Text1->text().isEmpty());
  for (const char* bad : {"", "[]", "{\"results\": []}", "{\"results\": [{\"T\": 1}]}",
                          "{\"results\": [{\"T\":1,\"P\":1,\"G\":0,\"element_residual\":0,\"iterations\":1,"
                          "\"phases\":[{\"name\":\"X\",\"type\":\"plasma\",\"amount\":1,\"species\":[]}]}]}"}) {
    auto r = ParseResultJson(bad);
    EXPECT_FALSE(r.ok()) << bad;
    EXPECT_TRUE(r.points.empty());
  }
}

TEST(EquiResultForm, RandomAndTruncatedResultFilesNeverCrash) {
  int cases = 300;
  if (const char* env = std::getenv("ZYL_FUZZ_CASES")) cases = std::max(1, std::atoi(env));
  std::mt19937 rng(12);
  const std::string good = kResult;
  for (int i = 0; i < cases; ++i) {
    std::string text = good.substr(0, rng() % good.size());
    if (i % 2) {
      text = good;
      for (int k = 0; k < 4; ++k) text[rng() % text.size()] = char(rng() % 128);
    }
    auto r = ParseResultJson(text);
    if (r.ok()) {
      EXPECT_FALSE(r.points.empty());
    } else {
      EXPECT_FALSE(r.error.empty());
    }
  }
}

}  // namespace
}  // namespace zyl::equilibrium::window
