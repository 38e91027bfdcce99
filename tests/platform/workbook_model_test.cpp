// The workbook used the way the modules use it: a small heat and material balance kept as live formulas, a goal
// seek that writes, recalculates and reads back, and the typed-input rules of the grid.

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "platform/workbook.h"

namespace zyl::platform {
namespace {

std::string R(int row) { return std::to_string(row + 1); }

// A species row as the balance fills it: amount typed in kmol (C), MW in J, density in K, enthalpies in H and I.
void SpeciesRow(Sheet& s, int row, const char* formula, double kmol, double mw, double dens, double lat_h,
                double tot_h) {
  s.SetText(row, 0, formula);
  s.SetNumber(row, 2, kmol);
  s.SetFormula(row, 3, "=C" + R(row) + "*J" + R(row));
  s.SetFormula(row, 4, "=0.001*D" + R(row) + "/K" + R(row));
  s.SetFormula(row, 5, "=C" + R(row) + "*H" + R(row));
  s.SetFormula(row, 6, "=C" + R(row) + "*I" + R(row));
  s.SetNumber(row, 7, lat_h);
  s.SetNumber(row, 8, tot_h);
  s.SetNumber(row, 9, mw);
  s.SetNumber(row, 10, dens);
  s.SetText(row, 20, "C");
}

// A stream row: totals of its species rows in C-G, copied again into O-S.
void StreamRow(Sheet& s, int row, int first, int last) {
  s.SetText(row, 20, "P");
  const char* cols = "CDEFG";
  for (int k = 0; k < 5; ++k) {
    std::string c(1, cols[k]);
    s.SetFormula(row, 2 + k, "=SUM(" + c + R(first) + ":" + c + R(last) + ")");
    s.SetFormula(row, 14 + k, "=" + c + R(row));
  }
}

Workbook Balance() {
  Workbook wb("BAL");
  wb.InsertSheet("IN1");
  wb.InsertSheet("OUT1");
  Sheet& in = wb.sheet(1);
  Sheet& out = wb.sheet(2);
  // Input: a stream of 2 kmol C(s) and 2 kmol O2(g); output: 2 kmol CO2(g). Enthalpies in kcal/kmol.
  StreamRow(in, 3, 4, 5);
  SpeciesRow(in, 4, "C", 2, 12.011, 2.26, 0, 0);
  SpeciesRow(in, 5, "O2(g)", 2, 31.999, 31.999 / 22413.6, 0, 0);
  SpeciesRow(out, 4, "CO2(g)", 2, 44.010, 44.010 / 22413.6, 0, -94051.8);
  Sheet& bal = wb.sheet(0);
  const char* cols = "CDEFG";
  const char* stream = "OPQRS";
  for (int k = 0; k < 5; ++k) {
    std::string c(1, cols[k]), o(1, stream[k]);
    for (auto [row, sheet] : {std::pair{2, "IN1"}, std::pair{3, "OUT1"}})
      bal.SetFormula(row, 2 + k, "=SUM(" + std::string(sheet) + "!$" + c + "$1:$" + c + "$65536)-SUM(" +
                                     sheet + "!$" + o + "$1:$" + o + "$65536)");
    bal.SetFormula(4, 2 + k, "=" + c + "4-" + c + "3");
  }
  return wb;
}

TEST(BalanceWorkbook, TotalsFollowEveryEdit) {
  Workbook wb = Balance();
  Sheet& bal = wb.sheet(0);
  Sheet& in = wb.sheet(1);
  // Mass balance closes: 2*12.011 + 2*31.999 = 2*44.010; stream rows are not counted twice.
  EXPECT_NEAR(bal.Value(2, 3).number, 88.02, 1e-9);
  EXPECT_NEAR(bal.Value(4, 3).number, 0, 1e-9);
  EXPECT_NEAR(bal.Value(4, 6).number, -188103.6, 1e-6);  // heat balance, G of BALANCE
  // Volume of the gas by the ideal-gas density: 2 kmol O2 is 44.8272 Nm3.
  EXPECT_NEAR(in.Value(5, 4).number, 2 * 22.4136, 1e-9);
  // Typing kg into D turns C into a formula of D, as the balance does.
  in.SetNumber(4, 3, 12.011);
  in.SetFormula(4, 2, "=D5/J5");
  EXPECT_NEAR(in.Value(4, 2).number, 1, 1e-12);
  EXPECT_NEAR(bal.Value(4, 3).number, 12.011, 1e-9);
  // A species row inserted inside the stream is summed by the stream row and by BAL.
  ASSERT_EQ(in.InsertRows(5), "");
  EXPECT_EQ(in.Formula(3, 2), "=SUM(C5:C7)");
  SpeciesRow(in, 5, "N2(g)", 1, 28.014, 28.014 / 22413.6, 0, 0);
  EXPECT_NEAR(in.Value(3, 3).number, 12.011 + 28.014 + 2 * 31.999, 1e-9);
  EXPECT_NEAR(bal.Value(2, 3).number, 12.011 + 28.014 + 2 * 31.999, 1e-9);
  // Deleting that row again restores the balance.
  ASSERT_EQ(in.DeleteRows(5), "");
  EXPECT_NEAR(bal.Value(2, 3).number, 12.011 + 2 * 31.999, 1e-9);
  EXPECT_EQ(in.Formula(3, 2), "=SUM(C5:C6)");
}

TEST(BalanceWorkbook, GoalSeekByIntervalHalving) {
  // The target iteration writes a variable, recalculates and reads a target cell many times.
  Workbook wb = Balance();
  Sheet& in = wb.sheet(1);
  Sheet& bal = wb.sheet(0);
  double lo = 0, hi = 10, want = 0;  // kmol of C that makes the mass balance zero
  double x = lo + (hi - lo) / 2;
  for (int i = 0; i < 60; ++i) {
    in.SetNumber(4, 2, x);
    double d = want - bal.Value(4, 3).number;  // BALANCE = OUT - IN falls as C grows
    if (d < 0) lo = x;
    else hi = x;
    x = lo + (hi - lo) / 2;
  }
  EXPECT_NEAR(x, 2, 1e-9);
}

TEST(BalanceWorkbook, WaterVapourPressureFormulas) {
  // The vapour pressure formulas written for water rows; T in kelvin in A1, P in MPa in A2.
  Workbook wb;
  Sheet& s = wb.sheet(0);
  s.SetNumber(0, 0, 372.79);
  s.SetNumber(1, 0, 0.1);
  s.SetFormula(0, 1, "=0.1 * 2.718281828 ^ (11.78 * (A1 - 372.79) / (A1 - 43.15))");
  s.SetFormula(1, 1, "=-0.009 * A2 + 273.16");
  s.SetFormula(2, 1, "=(10 ^ (10.5380997 - 2663.91 / (A3 + 0.01))) / 10000");
  s.SetNumber(2, 0, 273.16);
  s.SetNumberFormat(0, 1, 2, 1, "0.0##");
  EXPECT_DOUBLE_EQ(s.Value(0, 1).number, 0.1);
  EXPECT_NEAR(s.Value(1, 1).number, 273.1591, 1e-12);
  EXPECT_NEAR(s.Value(2, 1).number, std::pow(10.0, 10.5380997 - 2663.91 / 273.17) / 10000, 1e-15);
  EXPECT_NEAR(s.Value(2, 1).number, 0.00061, 0.00001);
  EXPECT_EQ(s.DisplayText(0, 1), "0.1");
  EXPECT_EQ(s.DisplayText(1, 1), "273.159");
  s.SetNumber(0, 0, 473.15);  // 200 °C: about 1.55 MPa by steam tables; this fit gives the same order
  EXPECT_GT(s.Value(0, 1).number, 1.0);
  EXPECT_LT(s.Value(0, 1).number, 2.5);
}

TEST(GridInput, TypedTextBecomesTheRightKindOfValue) {
  Workbook wb;
  Sheet& s = wb.sheet(0);
  s.SetInput(0, 0, "12.5");
  s.SetInput(1, 0, "-1.5E+3");
  s.SetInput(2, 0, "50%");
  s.SetInput(3, 0, "true");
  s.SetInput(4, 0, "'123");
  s.SetInput(5, 0, "12,5");
  s.SetInput(6, 0, "=A1*2");
  s.SetInput(7, 0, "=");
  EXPECT_EQ(s.Value(0, 0).number, 12.5);
  EXPECT_EQ(s.Value(1, 0).number, -1500);
  EXPECT_EQ(s.Value(2, 0).number, 0.5);
  EXPECT_TRUE(s.Value(3, 0).is_bool());
  EXPECT_EQ(s.Value(4, 0).text, "123");
  EXPECT_EQ(s.Value(5, 0).text, "12,5");  // only a point separates decimals
  EXPECT_EQ(s.Value(6, 0).number, 25);
  EXPECT_EQ(s.Value(7, 0).text, "=");
  s.SetNumber(8, 0, 0.1 + 0.2);
  EXPECT_EQ(s.InputText(8, 0), "0.30000000000000004");
  EXPECT_EQ(s.InputText(6, 0), "=A1*2");
  EXPECT_EQ(s.InputText(3, 0), "TRUE");
  s.SetInput(6, 0, "");
  EXPECT_EQ(s.Find(6, 0), nullptr);
}

TEST(Formulas, ComparisonsTextsAndErrorsBehaveAsInSpreadsheets) {
  Workbook wb;
  Sheet& s = wb.sheet(0);
  s.SetText(0, 0, "abc");
  s.SetNumber(1, 0, 5);
  s.SetFormula(2, 0, "=1/0");
  struct Case {
    const char* formula;
    const char* shown;
  } cases[] = {
      {"=A1=\"ABC\"", "TRUE"},          {"=A2<A1", "TRUE"},           {"=A9=0", "TRUE"},
      {"=A9=\"\"", "TRUE"},             {"=\"x\"&1/3", "x0.333333333333333"},
      {"=\"n=\"&1E+20", "n=1E+20"},     {"=IFERROR(A3,-1)", "-1"},    {"=ISERROR(A3)", "TRUE"},
      {"=COUNTA(A1:A9)", "3"},          {"=COUNT(A1:A9)", "1"},       {"=SUM(A1:A2)", "5"},
      {"=A1+1", "#VALUE!"},             {"=SUM(A1:A3)", "#DIV/0!"},   {"=MAX(A3,1)", "#DIV/0!"},
      {"=LEFT(A1,2)&UPPER(\"d\")", "abD"}, {"=MID(\"hello\",2,3)", "ell"}, {"=LEN(A1)", "3"},
      {"=TEXT(1234.5,\"0.0\")", "1234.5"}, {"=VALUE(\"2.5\")*2", "5"},  {"=-A2^2", "25"},
      {"=10-2-3", "5"},                 {"=2*3+4*5", "26"},           {"=1<2=TRUE", "TRUE"},
      {"=AVERAGE(A1)", "#DIV/0!"},      {"=ROUNDUP(1.21,1)", "1.3"},  {"=ROUNDDOWN(-1.29,1)", "-1.2"},
      {"=LOG(0)", "#NUM!"},             {"=POWER(0,-1)", "#DIV/0!"},  {"=IF(\"x\",1,2)", "#VALUE!"},
      {"=TRUNC(-2.7)", "-2"},           {"=ATAN2(1,1)*4", "3.141592654"},
  };
  int row = 10;
  for (const auto& c : cases) {
    s.SetFormula(row, 1, c.formula);
    EXPECT_EQ(s.DisplayText(row, 1), c.shown) << c.formula;
    ++row;
  }
  EXPECT_EQ(FormatValue(wb.Evaluate("SUM(A1:A2)*2"), ""), "10");
  EXPECT_FALSE(wb.ValueOf("not a ref"));
  EXPECT_FALSE(wb.ValueOf("Nope!A1"));
}

TEST(Sheets, ActiveSheetFollowsInsertsMovesAndDeletes) {
  Workbook wb("A");
  wb.InsertSheet("B");
  wb.InsertSheet("C");
  wb.SetActiveSheet(1);
  wb.InsertSheet("Z", 0);
  EXPECT_EQ(wb.sheet(wb.ActiveSheet()).name(), "B");
  wb.MoveSheet(2, 3);
  EXPECT_EQ(wb.sheet(wb.ActiveSheet()).name(), "B");
  wb.DeleteSheet(wb.ActiveSheet());
  EXPECT_LT(wb.ActiveSheet(), wb.SheetCount());
  EXPECT_EQ(wb.sheet(0).Index(), 0);
  EXPECT_EQ(wb.sheet(2).Index(), 2);
}

TEST(Files, LoadKeepsListenersAndReportsReset) {
  Workbook wb = Balance();
  auto path = std::filesystem::temp_directory_path() / ("zyl_reset_" + std::to_string(::getpid()) + ".xlsx");
  ASSERT_EQ(wb.Save(path), "");
  Workbook other;
  bool reset = false;
  other.AddListener([&](const WorkbookEvent& e) { reset |= e.kind == WorkbookEvent::Kind::Reset; });
  ASSERT_EQ(other.Load(path), "");
  EXPECT_TRUE(reset);
  EXPECT_EQ(other.SheetCount(), 3);
  reset = false;
  ASSERT_EQ(other.Load(path), "");
  EXPECT_TRUE(reset);
  std::filesystem::remove(path);
}

}  // namespace
}  // namespace zyl::platform
