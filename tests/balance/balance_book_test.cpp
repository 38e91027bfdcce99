#include "balance/balance_book.h"

#include <gtest/gtest.h>

#include "balance/balance_calc.h"
#include "balance_test_util.h"

namespace zyl::balance {
namespace {

using testing::Find;
using testing::Fixture;
using testing::H;

constexpr int R = kFirstDataRow;  // first data row, "4" in formulas

TEST(BalanceBook, NewWorkbookLayout) {
  Fixture f;
  const platform::Workbook& wb = f.book.book();
  ASSERT_EQ(wb.SheetCount(), 3);
  EXPECT_EQ(wb.sheet(0).name(), "BAL");
  EXPECT_EQ(wb.sheet(1).name(), "IN1");
  EXPECT_EQ(wb.sheet(2).name(), "OUT1");
  EXPECT_EQ(wb.sheet(1).Value(0, 0).text, "INPUT SPECIES (1)");
  EXPECT_EQ(wb.sheet(2).Value(0, 0).text, "OUTPUT SPECIES (1)");
  EXPECT_EQ(wb.sheet(1).Value(1, col::kTemp).text, "Temper.");
  EXPECT_EQ(wb.sheet(1).Value(2, col::kTemp).text, "°C");
  EXPECT_EQ(wb.sheet(1).Value(2, col::kNm3).text, "Nm³");
  EXPECT_EQ(wb.sheet(0).Value(0, 0).text, "BALANCE (kcal)");
  // BAL rows: whole-column sums minus the stream totals; BALANCE = OUT - IN.
  EXPECT_EQ(wb.sheet(0).Formula(3, col::kKmol), "=SUM(IN1!$C$1:$C$65536)-SUM(IN1!$O$1:$O$65536)");
  EXPECT_EQ(wb.sheet(0).Formula(4, col::kTotH), "=SUM(OUT1!$G$1:$G$65536)-SUM(OUT1!$S$1:$S$65536)");
  EXPECT_EQ(wb.sheet(0).Formula(5, col::kKg), "=D5-D4");
}

TEST(BalanceBook, TypedAmountColumnDecidesTheFormulas) {
  Fixture f;
  int in = f.book.InSheet(1);
  const platform::Sheet& sh = f.book.book().sheet(in);
  ASSERT_TRUE(f.book.EditCell(in, R, col::kFormula, "CO2(g)"));
  ASSERT_TRUE(f.book.EditCell(in, R, col::kKmol, "2"));
  EXPECT_EQ(sh.Formula(R, col::kKg), "=C4*J4");
  EXPECT_EQ(sh.Formula(R, col::kNm3), "=0.001*D4/K4");
  EXPECT_EQ(sh.Formula(R, col::kLatH), "=C4*H4");
  EXPECT_EQ(sh.Formula(R, col::kTotH), "=C4*I4");
  EXPECT_EQ(sh.Value(R, col::kKind).text, "C");
  double mw = sh.Number(R, col::kMW).value();
  EXPECT_NEAR(mw, 44.0095, 0.01);
  EXPECT_NEAR(sh.Number(R, col::kKg).value(), 2 * mw, 1e-9);
  // Gas with no database density: ideal gas, 22.4136 Nm3/kmol.
  EXPECT_NEAR(sh.Number(R, col::kNm3).value(), 2 * 22.4136, 1e-9);

  ASSERT_TRUE(f.book.EditCell(in, R, col::kKg, "88"));
  EXPECT_EQ(sh.Formula(R, col::kKmol), "=D4/J4");
  EXPECT_EQ(sh.Formula(R, col::kNm3), "=0.001*D4/K4");
  EXPECT_TRUE(sh.Formula(R, col::kKg).empty());
  EXPECT_NEAR(sh.Number(R, col::kKmol).value(), 88 / mw, 1e-12);
  EXPECT_EQ(f.book.InputColumn(in, R), col::kKg);

  ASSERT_TRUE(f.book.EditCell(in, R, col::kNm3, "44.8272"));
  EXPECT_EQ(sh.Formula(R, col::kKmol), "=D4/J4");
  EXPECT_EQ(sh.Formula(R, col::kKg), "=1000*E4*K4");
  EXPECT_NEAR(sh.Number(R, col::kKmol).value(), 2.0, 1e-9);
  EXPECT_EQ(sh.Style(R, col::kNm3).color, platform::kRed);
  EXPECT_EQ(sh.Style(R, col::kKmol).color, platform::kBlack);
  // A refill keeps the typed column.
  f.book.MReCalc();
  EXPECT_EQ(f.book.InputColumn(in, R), col::kNm3);
  EXPECT_NEAR(sh.Number(R, col::kKmol).value(), 2.0, 1e-9);
}

TEST(BalanceBook, DensityRules) {
  const double mw = 28.0134;
  EXPECT_DOUBLE_EQ(BalanceDensity("N2(g)", mw, 0, false), mw / 22413.6);
  EXPECT_DOUBLE_EQ(BalanceDensity("N2(g)", mw, 1.25, false), 1.25 * 0.001);
  EXPECT_DOUBLE_EQ(BalanceDensity("N2(g)", mw, 1.25, true), mw / 22413.6);
  EXPECT_DOUBLE_EQ(BalanceDensity("CaO", 56.08, 3.34, true), 3.34);
  EXPECT_DOUBLE_EQ(BalanceDensity("SiO2", 60.08, 0, false), 1.0E15);
  EXPECT_FALSE(IsGas("H2O(l)"));
  EXPECT_TRUE(IsGas(" H2O(g) "));

  Fixture f;
  int in = f.book.InSheet(1);
  const platform::Sheet& sh = f.book.book().sheet(in);
  f.book.PutSpecies(in, R, "SiO2", 25, col::kKg, 60);
  f.book.PutSpecies(in, R + 1, "N2(g)", 25, col::kKmol, 1);
  f.book.book().Recalculate();
  EXPECT_NEAR(sh.Number(R, col::kNm3).value(), 0.0, 1e-15);  // no density: no volume, no division by zero
  EXPECT_NEAR(sh.Number(R + 1, col::kNm3).value(), 28.0134 / 1.25, 0.01);
  f.book.MUnits({EnergyUnit::kcal, TempUnit::C, true});
  EXPECT_NEAR(sh.Number(R + 1, col::kNm3).value(), 22.4136, 1e-9);
}

TEST(BalanceBook, EnthalpiesFollowTemperatureAndUnits) {
  Fixture f;
  int in = f.book.InSheet(1);
  const platform::Sheet& sh = f.book.book().sheet(in);
  f.book.PutSpecies(in, R, "CO2(g)", std::nullopt, col::kKmol, 3);  // empty temperature: 298.15 K
  f.book.book().Recalculate();
  EXPECT_NEAR(sh.Number(R, col::kSpecTotH).value(), -94050.0, 1e-6);  // kcal/kmol
  EXPECT_NEAR(sh.Number(R, col::kSpecLatH).value(), 0.0, 1e-9);
  EXPECT_NEAR(sh.Number(R, col::kTotH).value(), 3 * -94050.0, 1e-6);

  ASSERT_TRUE(f.book.EditCell(in, R, col::kTemp, "1000"));
  double h = H(Find("CO2(g)"), 1273.15);
  EXPECT_NEAR(sh.Number(R, col::kSpecTotH).value(), h, 1e-3);
  EXPECT_NEAR(sh.Number(R, col::kLatH).value(), 3 * (h + 94050.0), 1e-3);

  f.book.MUnits({EnergyUnit::MJ, TempUnit::K, false});
  EXPECT_NEAR(sh.Number(R, col::kTemp).value(), 1273.15, 1e-9);
  EXPECT_EQ(sh.Value(2, col::kTemp).text, "K");
  EXPECT_EQ(sh.Value(2, col::kTotH).text, "MJ");
  EXPECT_EQ(f.book.book().sheet(0).Value(0, 0).text, "BALANCE (MJ)");
  EXPECT_NEAR(sh.Number(R, col::kSpecTotH).value(), h * 4.184e-3, 1e-6);
  EXPECT_NEAR(f.book.book().sheet(0).Number(3, col::kTotH).value(), 3 * h * 4.184e-3, 1e-6);
}

TEST(BalanceBook, ProtectionAndTemperatureFormulas) {
  Fixture f;
  int in = f.book.InSheet(1);
  f.book.PutSpecies(in, R, "O2(g)", 25, col::kKmol, 1);
  EXPECT_FALSE(f.book.EditCell(in, R, col::kTotH, "5"));
  EXPECT_EQ(f.msgs.Last(),
            "All other cells than red ones are protected !\nPress: ESC-key to exit cell edit mode.\n"
            "Select: Format, Red Font Shield to unprotect.");
  EXPECT_FALSE(f.book.EditCell(0, 3, col::kKmol, "1"));
  EXPECT_FALSE(f.book.EditCell(in, 1, col::kFormula, "x"));
  EXPECT_FALSE(f.book.EditCell(in, R, col::kTemp, "=100+200"));
  EXPECT_EQ(f.msgs.Last(), "Please use temperature formulas only on stream rows.");
  // A stream row takes a formula, and its species follow it.
  ASSERT_TRUE(f.book.InsertStream(in, R, "Air"));
  EXPECT_EQ(f.book.Kind(in, R), RowKind::Stream);
  EXPECT_EQ(f.book.Kind(in, R + 1), RowKind::Species);
  ASSERT_TRUE(f.book.EditCell(in, R, col::kTemp, "=100+200"));
  const platform::Sheet& sh = f.book.book().sheet(in);
  EXPECT_DOUBLE_EQ(sh.Number(R + 1, col::kTemp).value(), 300);
  EXPECT_NEAR(sh.Number(R + 1, col::kSpecTotH).value(), H(Find("O2(g)"), 573.15), 1e-3);
}

TEST(BalanceBook, StreamRowsAreNotCountedTwice) {
  Fixture f;
  int in = f.book.InSheet(1);
  f.book.PutStream(in, R, "Air");
  f.book.PutSpecies(in, R + 1, "O2(g)", 25, col::kKmol, 1);
  f.book.PutSpecies(in, R + 2, "N2(g)", 25, col::kKmol, 3.76);
  f.book.PutSpecies(in, R + 4, "CH4(g)", 25, col::kKmol, 0.5);  // after a blank row: no stream
  f.book.RefreshStreamT(in);
  f.book.book().Recalculate();
  const platform::Sheet& sh = f.book.book().sheet(in);
  EXPECT_EQ(sh.Formula(R, col::kKmol), "=SUM(C5:C6)");
  EXPECT_EQ(sh.Formula(R, col::kStream + 4), "=SUM(G5:G6)");
  EXPECT_NEAR(sh.Number(R, col::kKmol).value(), 4.76, 1e-12);
  auto totals = ReadBalSheet(f.book);
  ASSERT_EQ(totals.size(), 1u);
  EXPECT_NEAR(totals[0].in.kmol, 5.26, 1e-12);
  EXPECT_NEAR(totals[0].balance.kmol, -5.26, 1e-12);
  EXPECT_NEAR(sh.Number(0, col::kTotal).value(), 5.26, 1e-12);
  // A species typed right below the stream joins it.
  ASSERT_TRUE(f.book.EditCell(in, R + 3, col::kFormula, "CO2(g)"));
  EXPECT_EQ(sh.Formula(R, col::kKmol), "=SUM(C5:C8)");
}

TEST(BalanceBook, UnknownSpeciesIsReported) {
  Fixture f;
  int out = f.book.OutSheet(1);
  EXPECT_FALSE(f.book.PutSpecies(out, R + 2, "Xx2(g)", 25, col::kKmol, 1));
  EXPECT_EQ(f.msgs.Last(), "Cannot find: Xx2(g) at row 6");
}

TEST(BalanceBook, AreasInsertDeleteAndRefusals) {
  Fixture f;
  EXPECT_FALSE(f.book.MDelBA(1));
  EXPECT_EQ(f.msgs.Last(), "Can not delete the only existing IN1 and OUT1 sheets!");
  EXPECT_FALSE(f.book.MDelBA(0));
  EXPECT_EQ(f.msgs.Last(), "Can not delete BAL sheet!");
  EXPECT_EQ(f.book.MInsBA(), 2);
  EXPECT_EQ(f.book.MInsBA(), 3);
  const platform::Workbook& wb = f.book.book();
  std::vector<std::string> names;
  for (int i = 0; i < wb.SheetCount(); ++i) names.push_back(wb.sheet(i).name());
  EXPECT_EQ(names, (std::vector<std::string>{"BAL", "IN1", "IN2", "IN3", "OUT1", "OUT2", "OUT3"}));
  f.book.PutSpecies(f.book.InSheet(3), R, "CaO", 25, col::kKmol, 2);
  EXPECT_TRUE(f.book.DeleteSheet(0) == false);
  EXPECT_EQ(f.msgs.Last(), "Can not delete BAL, IN and OUT sheets!");
  EXPECT_FALSE(f.book.MInsCol(1, 3));
  EXPECT_EQ(f.msgs.Last(), "Can not Insert Columns on BAL, IN and OUT sheets!");
  EXPECT_FALSE(f.book.MDelCol(0, 3));
  EXPECT_EQ(f.msgs.Last(), "Can not Delete Columns on BAL, IN and OUT sheets!");
  // Deleting area 2 renumbers area 3 and its BAL block.
  ASSERT_TRUE(f.book.MDelBA(f.book.OutSheet(2)));
  names.clear();
  for (int i = 0; i < wb.SheetCount(); ++i) names.push_back(wb.sheet(i).name());
  EXPECT_EQ(names, (std::vector<std::string>{"BAL", "IN1", "IN2", "OUT1", "OUT2"}));
  EXPECT_EQ(wb.sheet(2).Value(0, 0).text, "INPUT SPECIES (2)");
  auto totals = ReadBalSheet(f.book);
  ASSERT_EQ(totals.size(), 2u);
  EXPECT_NEAR(totals[1].in.kmol, 2.0, 1e-12);
  EXPECT_EQ(BalanceBook::CheckSheetOrder(wb), 2);
  // User sheets may be deleted and get column edits.
  f.book.book().InsertSheet("Notes");
  int notes = wb.FindSheet("Notes");
  EXPECT_TRUE(f.book.MInsCol(notes, 0));
  EXPECT_TRUE(f.book.DeleteSheet(notes));
  EXPECT_FALSE(f.book.MCalcH(1, R, 0));
  EXPECT_EQ(f.msgs.Last(), "Can not calculate on BAL, IN and OUT sheets!");
}

// The enthalpy and molar-weight commands of user sheets: values against the closed-form H of the test
// species, and no silent answer for an impossible temperature (was evaluated at 0.01 K) or a broken formula.
TEST(BalanceBook, CalcHAndMolarWeightOnAUserSheet) {
  Fixture f;
  f.book.book().InsertSheet("Calc");
  const int s = f.book.book().FindSheet("Calc");
  platform::Sheet& sh = f.book.book().sheet(s);
  sh.SetText(0, 0, "CO2(g)");
  sh.SetNumber(0, 1, 1000);  // °C
  ASSERT_TRUE(f.book.MCalcH(s, 0, 0));
  const testing::Coeffs& co2 = testing::Find("CO2(g)");
  EXPECT_NEAR(sh.Number(0, 2).value(), testing::H(co2, 1273.15) - testing::H(co2, 298.15), 1e-6);
  EXPECT_NEAR(sh.Number(0, 3).value(), testing::H(co2, 1273.15), 1e-6);
  for (const char* t : {"-500", "hot"}) {
    sh.SetInput(0, 1, t);
    EXPECT_FALSE(f.book.MCalcH(s, 0, 0)) << t;
    EXPECT_EQ(f.msgs.Last(), kMsgNoTemperature) << t;
  }
  sh.SetText(1, 0, "Ca3(PO4)2");
  ASSERT_TRUE(f.book.MInsMW(s, 1, 0));
  EXPECT_NEAR(sh.Number(1, 1).value(), 310.174, 0.01);  // 3 x 40.078 + 2 x 30.974 + 8 x 15.999
  sh.SetText(2, 0, "Ca3(PO4");
  EXPECT_FALSE(f.book.MInsMW(s, 2, 0));
  EXPECT_NE(f.msgs.Last().find("Unclosed '('"), std::string::npos);
}

TEST(BalanceBook, SaveOpenAndSheetOrder) {
  testing::TempDir dir;
  Fixture f;
  f.book.MUnits({EnergyUnit::kJ, TempUnit::C, false});
  f.book.PutSpecies(f.book.InSheet(1), R, "CH4(g)", 25, col::kKmol, 1);
  f.book.PutSpecies(f.book.OutSheet(1), R, "CO2(g)", 900, col::kKg, 44);
  f.book.book().Recalculate();
  Totals before = BalTot(f.book);
  auto path = dir / "b.xlsx";
  ASSERT_EQ(f.book.Save(path), "");

  Fixture g;
  ASSERT_EQ(g.book.Open(path), "");
  EXPECT_EQ(g.book.units().energy, EnergyUnit::kJ);
  EXPECT_EQ(g.book.AreaCount(), 1);
  g.book.MReCalc();
  Totals after = BalTot(g.book);
  EXPECT_NEAR(after.tot_h, before.tot_h, 1e-6 * std::fabs(before.tot_h));
  EXPECT_NEAR(after.kg, before.kg, 1e-9);
  EXPECT_EQ(g.book.InputColumn(g.book.OutSheet(1), R), col::kKg);
  // Protection travels with the file: input cells unlocked, the rest locked.
  EXPECT_TRUE(g.book.book().sheet(1).Protected());
  EXPECT_FALSE(g.book.book().sheet(1).Style(R, col::kKmol).locked);
  EXPECT_TRUE(g.book.book().sheet(1).Style(R, col::kTotH).locked);

  platform::Workbook bad("BAL");
  bad.InsertSheet("OUT1");
  bad.InsertSheet("IN1");
  ASSERT_EQ(bad.Save(dir / "bad.xlsx"), "");
  EXPECT_EQ(g.book.Open(dir / "bad.xlsx"), "Error in sheet order, please use backup file!");
  EXPECT_EQ(g.book.AreaCount(), 1);  // unchanged
}

TEST(BalanceBook, WaterPressureFormulas) {
  Fixture f;
  int in = f.book.InSheet(1);
  f.book.PutSpecies(in, R, "H2O(l)", 99.64, col::kKmol, 1);
  f.book.PutSpecies(in, R + 1, "O2(g)", 25, col::kKmol, 1);
  EXPECT_FALSE(f.book.MInsPress(in, R + 1));
  EXPECT_EQ(f.msgs.Last(), "Please select an H2O row.");
  ASSERT_TRUE(f.book.MInsPress(in, R));
  const platform::Sheet& sh = f.book.book().sheet(in);
  EXPECT_EQ(sh.Formula(R, col::kPress), "=0.1 * 2.718281828 ^ (11.78 * ((B4+273.15) - 372.79) / ((B4+273.15) - 43.15))");
  EXPECT_NEAR(sh.Number(R, col::kPress).value(), 0.1, 1e-3);  // boiling at 372.79 K
  EXPECT_NEAR(sh.Number(R, col::kPress + 1).value(), 273.16 - 0.009 * 0.1, 1e-4);
  EXPECT_EQ(sh.Style(R, col::kPress).number_format, "0.0##");
  f.book.EditCell(in, R, col::kTemp, "0.01");
  EXPECT_NEAR(sh.Number(R, col::kPress + 2).value(), 0.00061, 0.00002);  // sublimation at 273.16 K
}

TEST(BalanceBook, PasteStreamAsLinks) {
  Fixture f;
  f.book.MInsBA();
  int out1 = f.book.OutSheet(1), in1 = f.book.InSheet(1), in2 = f.book.InSheet(2), out2 = f.book.OutSheet(2);
  f.book.PutStream(out1, R, "Gas");
  f.book.PutSpecies(out1, R + 1, "CO2(g)", 800, col::kKmol, 1);
  f.book.PutSpecies(out1, R + 2, "N2(g)", 800, col::kKg, 56);
  f.book.RefreshStreamT(out1);
  f.book.PutStream(in1, R, "Feed");
  f.book.RefreshStreamT(in1);
  f.book.book().Recalculate();

  EXPECT_FALSE(f.book.MPasteL(out1, R, out1, R + 5));
  EXPECT_EQ(f.msgs.Last(), "Can not Paste a Stream to the same sheet!");
  EXPECT_FALSE(f.book.MPasteL(out1, R, out2, R));
  EXPECT_EQ(f.msgs.Last(), "Can not Paste a Stream to an OUT sheet unless inside a Balance Area!");
  EXPECT_FALSE(f.book.MPasteL(in1, R, in2, R));
  EXPECT_EQ(f.msgs.Last(), "Can only Copy a Stream from an OUT sheet unless inside a Balance Area!");

  ASSERT_TRUE(f.book.MPasteL(out1, R, in2, R));
  const platform::Sheet& sh = f.book.book().sheet(in2);
  EXPECT_EQ(sh.Formula(R + 1, col::kFormula), "=OUT1!A5");
  EXPECT_EQ(sh.Formula(R + 2, col::kKg), "=OUT1!D6");
  EXPECT_EQ(sh.Formula(R, col::kKmol), "=SUM(C5:C6)");
  EXPECT_NEAR(sh.Number(R, col::kKmol).value(), 3.0, 1e-3);
  EXPECT_NEAR(sh.Number(R + 1, col::kTotH).value(), f.book.book().sheet(out1).Number(R + 1, col::kTotH).value(),
              1e-9);
  // The links follow a change at the source after a recalculation.
  f.book.EditCell(out1, R + 1, col::kKmol, "2");
  f.book.MReCalc();
  EXPECT_NEAR(sh.Number(R, col::kKmol).value(), 4.0, 1e-3);
}

}  // namespace
}  // namespace zyl::balance

namespace zyl::balance {
namespace {

TEST(BalanceBook, RowEditsKeepFormulasAndTotals) {
  testing::Fixture f;
  int in = f.book.InSheet(1);
  const platform::Sheet& sh = f.book.book().sheet(in);
  f.book.PutStream(in, kFirstDataRow, "Air", 25);
  f.book.PutSpecies(in, kFirstDataRow + 1, "O2(g)", 25, col::kKmol, 1);
  f.book.PutSpecies(in, kFirstDataRow + 2, "N2(g)", 25, col::kKg, 28.0134);
  f.book.PutSpecies(in, kFirstDataRow + 3, "CO2(g)", 25, col::kKmol, 2);
  f.book.RefreshStreamT(in);
  f.book.book().Recalculate();
  ASSERT_TRUE(f.book.MDelRow(in, kFirstDataRow + 1));
  EXPECT_EQ(sh.Formula(kFirstDataRow + 1, col::kKmol), "=D5/J5");
  double n2 = sh.Number(kFirstDataRow + 1, col::kKmol).value();
  EXPECT_NEAR(n2, 1.0, 1e-4);
  EXPECT_EQ(sh.Formula(kFirstDataRow, col::kKmol), "=SUM(C5:C6)");
  EXPECT_NEAR(ReadBalSheet(f.book)[0].in.kmol, n2 + 2, 1e-12);
  ASSERT_TRUE(f.book.MInsRow(in, kFirstDataRow + 1));
  EXPECT_EQ(sh.Formula(kFirstDataRow + 2, col::kTotH), "=C6*I6");
  EXPECT_NEAR(ReadBalSheet(f.book)[0].in.kmol, n2 + 2, 1e-12);
  EXPECT_FALSE(f.book.MDelRow(in, 1));  // headings
  f.book.book().sheet(in).SetText(platform::kMaxRows - 1, 0, "last row");
  EXPECT_FALSE(f.book.MInsRow(in, kFirstDataRow));
  EXPECT_EQ(f.msgs.Last(), "Insert would shift cells off the sheet!");
}

TEST(BalanceBook, TemperatureUnitWrapsStreamFormulas) {
  testing::Fixture f;
  int in = f.book.InSheet(1), out = f.book.OutSheet(1);
  f.book.PutStream(out, kFirstDataRow, "Gas", 500);
  f.book.PutSpecies(out, kFirstDataRow + 1, "CO2(g)", 500, col::kKmol, 1);
  f.book.PutStream(in, kFirstDataRow, "Recycle");
  f.book.PutSpecies(in, kFirstDataRow + 1, "CO2(g)", 25, col::kKmol, 1);
  f.book.RefreshStreamT(in);
  f.book.RefreshStreamT(out);
  ASSERT_TRUE(f.book.EditCell(in, kFirstDataRow, col::kTemp, "=OUT1!B4-100"));
  const platform::Sheet& sh = f.book.book().sheet(in);
  EXPECT_DOUBLE_EQ(sh.Number(kFirstDataRow + 1, col::kTemp).value(), 400);
  f.book.MUnits({EnergyUnit::kcal, TempUnit::K, false});
  EXPECT_EQ(sh.Formula(kFirstDataRow, col::kTemp), "=(OUT1!B4-100)+273.15");
  EXPECT_NEAR(sh.Number(kFirstDataRow, col::kTemp).value(), 773.15 - 100 + 273.15, 1e-9);  // K + K: as typed
  f.book.MUnits({EnergyUnit::kcal, TempUnit::C, false});
  EXPECT_NEAR(f.book.book().sheet(out).Number(kFirstDataRow, col::kTemp).value(), 500, 1e-9);
}

}  // namespace
}  // namespace zyl::balance
