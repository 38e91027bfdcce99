#include "balance/stream_editor.h"

#include <gtest/gtest.h>

#include "balance/balance_calc.h"
#include "balance_test_util.h"

namespace zyl::balance {
namespace {

constexpr int S = kStreamFirstRow;

struct Editor {
  MapSpeciesSource species;
  platform::HeadlessMessages msgs{false};
  StreamDoc doc{species, msgs};
  Editor() {
    testing::AddAll(species);
    doc.SetName("Flue/gas: 1.2+");
    doc.SetRow(0, "CO2(g)", 1.5);
    doc.SetRow(1, "N2(g)", 7.52);   // a gas with a database density: still 22.4136 Nm3/kmol
    doc.SetRow(2, "CaO", 0.25);     // condensed, density 3.34
    doc.SetRow(3, "SiO2", 0.1);     // condensed without density
  }
  double Amount(int i) { return doc.sheet().Number(S + i, scol::kAmount).value(); }
  double Kmol(int i) { return doc.sheet().Number(S + i, scol::kKmol).value(); }
};

TEST(StreamEditor, RemoveInvChar) {
  EXPECT_EQ(RemoveInvChar("A/B:C.D"), "ABCD");
  EXPECT_EQ(RemoveInvChar("Gas+Dust\\1"), "GasDust1");
}

TEST(StreamEditor, ConversionsAndRoundTrip) {
  Editor e;
  std::vector<double> kmol;
  for (int i = 0; i < 4; ++i) kmol.push_back(e.Kmol(i));
  EXPECT_EQ(kmol, (std::vector<double>{1.5, 7.52, 0.25, 0.1}));
  EXPECT_EQ(e.doc.sheet().Formula(S, scol::kKmol), "=C5");

  e.doc.ChangeUnit(AmountUnit::Nm3);
  EXPECT_DOUBLE_EQ(e.Amount(0), 1.5 * 22.4136);
  EXPECT_DOUBLE_EQ(e.Amount(1), 7.52 * 22.4136);
  double mw_cao = e.doc.sheet().Number(S + 2, scol::kMW).value();
  EXPECT_DOUBLE_EQ(e.Amount(2), mw_cao * 0.001 * 0.25 / 3.34);
  EXPECT_EQ(e.doc.sheet().Formula(S + 1, scol::kKmol), "=C6/22.4136");
  EXPECT_EQ(e.doc.sheet().Formula(S + 2, scol::kKmol), "=1000*C7*I7/H7");
  EXPECT_DOUBLE_EQ(e.doc.sheet().Number(S + 3, scol::kDens).value(), kDefaultCondensedDensity);
  EXPECT_EQ(e.doc.sheet().Value(3, scol::kAmount).text, "Nm3");
  EXPECT_EQ(e.doc.sheet().Value(3, scol::kContent).text, "vol-%");
  for (int i = 0; i < 4; ++i) EXPECT_NEAR(e.Kmol(i), kmol[i], 1e-12) << i;

  e.doc.ChangeUnit(AmountUnit::kg);
  EXPECT_EQ(e.doc.sheet().Formula(S, scol::kKmol), "=C5/H5");
  EXPECT_EQ(e.doc.sheet().Value(3, scol::kContent).text, "wt-%");
  e.doc.ChangeUnit(AmountUnit::kmol);
  for (int i = 0; i < 4; ++i) EXPECT_NEAR(e.Amount(i), kmol[i], 1e-12) << i;
}

TEST(StreamEditor, SumAndContents) {
  Editor e;
  const platform::Sheet& sh = e.doc.sheet();
  int total = S + 4;
  EXPECT_EQ(sh.Value(total, 0).text, "Total");
  EXPECT_EQ(sh.Formula(total, scol::kAmount), "=SUM(C5:C8)");
  EXPECT_NEAR(sh.Number(total, scol::kAmount).value(), 9.37, 1e-12);
  EXPECT_NEAR(sh.Number(S, scol::kContent).value(), 100 * 1.5 / 9.37, 1e-9);
  EXPECT_NEAR(sh.Number(total, scol::kContent).value(), 100, 1e-9);
  // A fifth row moves the total down.
  e.doc.SetRow(4, "O2(g)", 0.63);
  EXPECT_EQ(sh.Formula(S + 5, scol::kAmount), "=SUM(C5:C9)");
  EXPECT_NEAR(sh.Number(S + 5, scol::kAmount).value(), 10.0, 1e-12);
  e.doc.SetRow(5, "Unobtainium", 1);
  EXPECT_EQ(e.msgs.Last(), "Cannot find: Unobtainium at row 10");
}

TEST(StreamEditor, RowsTypedOverOrBelowTheTotalJoinTheStream) {
  Editor e;
  platform::Sheet& sh = e.doc.sheet();
  // As typed in the grid: the species into the total row, its amount next; then one more row under a gap.
  sh.SetInput(S + 4, scol::kSpecies, "O2(g)");
  e.doc.RefreshAll();
  EXPECT_EQ(sh.Formula(S + 4, scol::kAmount), "");  // not the old total's SUM
  sh.SetInput(S + 4, scol::kAmount, "0.63");
  e.doc.RefreshAll();
  sh.SetInput(S + 7, scol::kSpecies, "H2O(g)");
  sh.SetInput(S + 7, scol::kAmount, "2");
  EXPECT_TRUE(e.doc.RefreshAll());
  EXPECT_DOUBLE_EQ(e.Kmol(4), 0.63);
  EXPECT_DOUBLE_EQ(e.Kmol(7), 2);
  EXPECT_EQ(sh.Value(S + 8, 0).text, "Total");
  EXPECT_NEAR(sh.Number(S + 8, scol::kKmol).value(), 12.0, 1e-12);
  EXPECT_EQ(e.doc.Species().size(), 6u);
}

TEST(StreamEditor, FileKeepsTheUnitAndCopiesIntoTheBalance) {
  testing::TempDir dir;
  Editor e;
  e.doc.SetTemperature(800);
  e.doc.ChangeUnit(AmountUnit::kg);
  ASSERT_EQ(e.doc.Save(dir / "flue.STR"), "");
  Editor f;
  ASSERT_EQ(f.doc.Open(dir / "flue.STR"), "");
  EXPECT_EQ(f.doc.unit(), AmountUnit::kg);
  EXPECT_EQ(f.doc.temp_unit(), TempUnit::C);
  EXPECT_NEAR(f.Kmol(0), 1.5, 1e-12);

  testing::Fixture b;
  b.book.MUnits({EnergyUnit::kcal, TempUnit::K, false});
  int out = b.book.OutSheet(1);
  ASSERT_TRUE(CopyStreamToBalance(f.doc, b.book, out, kFirstDataRow));
  const platform::Sheet& sh = b.book.book().sheet(out);
  EXPECT_EQ(sh.Value(kFirstDataRow, col::kFormula).text, "Fluegas 12");
  EXPECT_EQ(b.book.Kind(out, kFirstDataRow), RowKind::Stream);
  EXPECT_NEAR(sh.Number(kFirstDataRow + 1, col::kTemp).value(), 1073.15, 1e-9);
  EXPECT_NEAR(sh.Number(kFirstDataRow, col::kKmol).value(), 9.37, 1e-9);
  EXPECT_NEAR(ReadBalSheet(b.book)[0].out.kmol, 9.37, 1e-9);
  // The stream's enthalpy equals the rows' enthalpy in the balance.
  auto [tot, lat] = f.doc.Enthalpy(EnergyUnit::kcal);
  EXPECT_NEAR(tot, sh.Number(kFirstDataRow, col::kTotH).value(), 1e-6 * std::fabs(tot));
  EXPECT_GT(lat, 0);
}

}  // namespace
}  // namespace zyl::balance
