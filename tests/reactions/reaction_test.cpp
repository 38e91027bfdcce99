#include "reactions/reaction.h"

#include <gtest/gtest.h>

#include <cmath>

#include "reactions/test_db.h"
#include "thermo/species_data.h"

namespace zyl::reactions {
namespace {

using testing::TestDatabase;

class ReactionTest : public ::testing::Test {
 protected:
  thermo::SpeciesData Species(const char* name) {
    return thermo::ReadSpeciesData(thermo::FindSpecies(name, db_.dbs()), name);
  }
  ReactionTable Calc(std::string_view eq, ReactionOptions o = {}) { return CalcReaction(eq, o, db_.dbs()); }
  void TearDown() override { thermo::SetCrissCobble(false); }

  TestDatabase db_;
};

TEST_F(ReactionTest, SumsMatchSpeciesFunctions) {
  ReactionOptions o;
  o.T1 = 25;
  o.T2 = 1000;
  o.step = 100;
  auto t = Calc("2H2(g)+O2(g)=2H2O(g)", o);
  ASSERT_TRUE(t.ok()) << t.error;
  ASSERT_EQ(t.rows.size(), 10u);
  auto h2 = Species("H2(g)"), o2 = Species("O2(g)"), w = Species("H2O(g)");
  for (const auto& r : t.rows) {
    auto a = thermo::CalcSpeciesAtT(h2, r.T), b = thermo::CalcSpeciesAtT(o2, r.T), c = thermo::CalcSpeciesAtT(w, r.T);
    const double dh = (2 * c.h - 2 * a.h - b.h) / 1000, ds = 2 * c.s - 2 * a.s - b.s;
    const double dg = (2 * c.g - 2 * a.g - b.g) / 1000;
    EXPECT_NEAR(r.DeltaH, dh, 1e-9);
    EXPECT_NEAR(r.DeltaS, ds, 1e-9);
    EXPECT_NEAR(r.DeltaG, dg, 1e-9);
    EXPECT_NEAR(r.DeltaG, r.DeltaH - r.T * r.DeltaS / 1000, 1e-9);
    const double k = std::exp(-1000 * dg / (1.987 * r.T));
    EXPECT_NEAR(r.K / k, 1, 1e-12);
    ASSERT_TRUE(r.LogK.has_value());
    EXPECT_NEAR(*r.LogK, std::log10(k), 1e-9);
    EXPECT_FALSE(r.E.has_value());
    // Display in kJ and °C.
    EXPECT_NEAR(*t.Cell(r, Column::DeltaH), dh * 4.184, 1e-9);
    EXPECT_NEAR(*t.Cell(r, Column::DeltaS), ds * 4.184, 1e-9);
    EXPECT_NEAR(*t.Cell(r, Column::T), r.T - 273.15, 1e-9);
  }
  EXPECT_NEAR(t.rows[0].DeltaH, 2 * -57.8, 1e-4);  // formation enthalpies at 298.15 K

  // The same in kcal and kelvin.
  o.energy_unit = EnergyUnit::kcal;
  o.temp_unit = TempUnit::Kelvin;
  o.T1 = 298.15;
  o.T2 = 1273.15;
  auto k = Calc("2 H2(g) + O2(g) = 2 H2O(g)", o);
  ASSERT_EQ(k.rows.size(), t.rows.size());
  EXPECT_NEAR(*k.Cell(k.rows[3], Column::DeltaG), t.rows[3].DeltaG, 1e-9);
  EXPECT_NEAR(*k.Cell(k.rows[3], Column::T), t.rows[3].T, 1e-9);
}

TEST_F(ReactionTest, ConstantHeatCapacityClosedForm) {
  // C + CO2(g) = 2CO(g) with constant Cp: ΔH(T) = ΔH0 + ΔCp (T - T0), ΔS(T) = ΔS0 + ΔCp ln(T/T0).
  ReactionOptions o;
  o.temp_unit = TempUnit::Kelvin;
  o.T1 = 300;
  o.T2 = 2400;
  o.step = 150;
  auto t = Calc("C+CO2(g)=2CO(g)", o);
  ASSERT_TRUE(t.ok()) << t.error;
  const double dh0 = 2 * -26.5 - (-94.0), ds0 = 2 * 47.25 - 51.0 - 1.5, dcp = 2 * 7.5 - 11.0 - 4.0;
  for (const auto& r : t.rows) {
    const double dh = dh0 + dcp * (r.T - 298.15) / 1000;
    const double ds = ds0 + dcp * std::log(r.T / 298.15);
    EXPECT_NEAR(r.DeltaH, dh, 1e-9) << r.T;
    EXPECT_NEAR(r.DeltaS, ds, 1e-9) << r.T;
    EXPECT_NEAR(r.DeltaG, dh - r.T * ds / 1000, 1e-9) << r.T;
  }
}

TEST_F(ReactionTest, FractionsDecimalsAndOrderGiveTheSameSums) {
  auto half = Calc("H2(g)+1/2O2(g)=H2O(g)");
  auto point = Calc("H2(g)+0.5O2(g)=H2O(g)");
  auto doubled = Calc("2H2(g)+O2(g)=2H2O(g)");
  ASSERT_TRUE(half.ok() && point.ok() && doubled.ok());
  ASSERT_EQ(half.rows.size(), point.rows.size());
  for (size_t i = 0; i < half.rows.size(); ++i) {
    EXPECT_EQ(half.rows[i].DeltaG, point.rows[i].DeltaG);
    EXPECT_EQ(half.rows[i].DeltaH, point.rows[i].DeltaH);
    EXPECT_NEAR(2 * half.rows[i].DeltaS, doubled.rows[i].DeltaS, 1e-9);
  }
}

TEST_F(ReactionTest, KAndLogKEdges) {
  // ΔG = 0: K is exactly 1 and log K exactly 0.
  auto t = Calc("H2O(g)=H2O(g)");
  ASSERT_TRUE(t.ok());
  for (const auto& r : t.rows) {
    EXPECT_EQ(r.K, 1.0);
    EXPECT_EQ(*r.LogK, 0.0);
  }
  // Beyond double range: K underflows to 0 (log K empty), or overflows (log K still finite).
  thermo::SpeciesData big;
  thermo::SpeciesRange r;
  r.t1 = 298.15;
  r.t2 = 3000;
  r.h = 1e6;  // cal/mol
  big.ranges.push_back(r);
  thermo::SpeciesData zero = big;
  zero.ranges[0].h = 0;
  ReactionOptions o;
  o.T1 = o.T2 = 25;
  auto up = CalcReactionTable(ParseEquation("X=Y"), {zero, big}, o);
  ASSERT_EQ(up.rows.size(), 1u);
  EXPECT_EQ(up.rows[0].K, 0.0);
  EXPECT_FALSE(up.rows[0].LogK.has_value());
  EXPECT_FALSE(up.Cell(up.rows[0], Column::LogK).has_value());
  auto down = CalcReactionTable(ParseEquation("Y=X"), {big, zero}, o);
  EXPECT_TRUE(std::isinf(down.rows[0].K));
  EXPECT_NEAR(*down.rows[0].LogK, 1e6 / (1.987 * 298.15 * std::log(10.0)), 1e-6);
}

TEST_F(ReactionTest, TransitionRowsAndJump) {
  ReactionOptions o;
  o.transitions = true;
  auto t = Calc("4Al+3O2(g)=2Al2O3", o);
  ASSERT_TRUE(t.ok()) << t.error;
  ASSERT_EQ(t.rows.size(), 12u);
  const auto& below = t.rows[7];
  const auto& above = t.rows[8];
  EXPECT_TRUE(below.transition && above.transition);
  EXPECT_NEAR(below.T, 933.47f - 0.00003, 1e-9);  // the record holds T1 in single precision
  EXPECT_NEAR(above.T, 933.47f + 0.00001, 1e-9);
  // Melting 4 Al on the left lowers ΔH by 4 × 2.56 kcal across the transition.
  EXPECT_NEAR(above.DeltaH - below.DeltaH, -4 * 2.56, 1e-3);
  EXPECT_NEAR(above.DeltaG, below.DeltaG, 1e-3);  // G is continuous
  o.transitions = false;
  EXPECT_EQ(Calc("4Al+3O2(g)=2Al2O3", o).rows.size(), 10u);
  // A phase boundary counts; a continuation range of the same phase without a jump does not.
  auto al = Species("Al");
  EXPECT_EQ(TransitionTemperatures(al), (std::vector<double>{933.47f}));
  al.ranges[1].phase[0] = 's';
  al.ranges[1].h = al.ranges[1].s = 0;
  EXPECT_TRUE(TransitionTemperatures(al).empty());
}

TEST_F(ReactionTest, ElectronsGiveThePotential) {
  ReactionOptions o;
  o.T1 = 25;
  o.T2 = 75;
  o.step = 25;
  auto t = Calc("Fe(+3a)+e-=Fe(+2a)", o);
  ASSERT_TRUE(t.ok()) << t.error;
  ASSERT_TRUE(t.has_potential);
  auto f2 = Species("Fe(+2a)"), f3 = Species("Fe(+3a)");
  for (const auto& r : t.rows) {
    // The electron and (absent here) the proton count zero.
    const double dg = (thermo::CalcSpeciesAtT(f2, r.T).g - thermo::CalcSpeciesAtT(f3, r.T).g) / 1000;
    EXPECT_NEAR(r.DeltaG, dg, 1e-9);
    ASSERT_TRUE(r.E.has_value());
    EXPECT_NEAR(*r.E, -dg / (2.0 * 23.045), 1e-12);
  }
  auto two = Calc("2Fe(+3a)+2e-=2Fe(+2a)", o);
  EXPECT_NEAR(*two.rows[0].E, *t.rows[0].E, 1e-12);
  auto cols = t.Columns();
  ASSERT_EQ(cols.size(), 7u);
  EXPECT_EQ(cols.back().header, "POTENTIAL E");
  EXPECT_EQ(cols.back().unit, "E vs. SHE");
  EXPECT_EQ(cols.back().number_format, "###.####");

  auto h = Calc("2H(+a)+2e-=H2(g)", o);
  ASSERT_TRUE(h.ok()) << h.error;
  EXPECT_NEAR(h.rows[0].DeltaG, thermo::CalcSpeciesAtT(Species("H2(g)"), 298.15).g / 1000, 1e-9);
}

TEST_F(ReactionTest, RefusesUnknownAndUnbalanced) {
  EXPECT_EQ(Calc("Ar=Ar(g)").error,
            "Ar was not found from the Database !\nThermochemical data can not be calculated.\n"
            "NOTE: Use (g)-suffix for gaseous species, such as:\nO2(g), F(g), S2(g), CO2(g), SO2(g), etc.");
  EXPECT_TRUE(Calc("Ar(g)=Ar(g)").ok());
  EXPECT_EQ(Calc("Zn+O2(g)=ZnO2").error, "Zn was not found from the Database !\nThermochemical data can not be calculated.");
  auto t = Calc("H2(g)+O2(g)=H2O(g)");
  EXPECT_TRUE(t.rows.empty());
  EXPECT_EQ(t.error, "Too much O(1mol) on the left side\nPlease, edit !\n"
                     "These coefficients would balance it: 2H2(g)+O2(g)=2H2O(g)");
  EXPECT_EQ(Calc("H2(g)+O2(g)").error, kMsgNoEquals);
  ReactionOptions o;
  o.step = 0;
  EXPECT_EQ(Calc("H2O(g)=H2O(g)", o).error, kMsgBadStep);
}

TEST_F(ReactionTest, CrissCobbleFlagAndNotes) {
  ReactionOptions o;
  o.T1 = 25;
  o.T2 = 150;
  o.step = 25;
  auto plain = Calc("Fe(+3a)+e-=Fe(+2a)", o);
  EXPECT_FALSE(thermo::CrissCobble());
  // 125 °C and 150 °C lie above the ions' ranges.
  ASSERT_EQ(plain.notes.size(), 2u);
  EXPECT_EQ(plain.notes[0], "Fe(+3a): Extrapolated from 298.15-373.15 K");
  EXPECT_FALSE(plain.rows[2].extrapolated);
  EXPECT_TRUE(plain.rows[5].extrapolated);

  o.criss_cobble = true;
  auto cc = Calc("Fe(+3a)+e-=Fe(+2a)", o);
  EXPECT_TRUE(thermo::CrissCobble());
  ASSERT_FALSE(cc.notes.empty());
  EXPECT_NE(cc.notes[0].find("Extrapolated from"), std::string::npos);
  EXPECT_NE(cc.notes[0].find("Criss-Cobble"), std::string::npos);
  EXPECT_NEAR(cc.rows[0].DeltaG, plain.rows[0].DeltaG, 1e-9);  // same at 25 °C
  EXPECT_GT(std::fabs(cc.rows[4].DeltaH - plain.rows[4].DeltaH), 1e-6);
  o.criss_cobble = false;
  Calc("Fe(+3a)+e-=Fe(+2a)", o);
  EXPECT_FALSE(thermo::CrissCobble());
}

TEST_F(ReactionTest, RowCapAndColumns) {
  ReactionOptions o;
  o.step = 1;
  auto t = Calc("2H2(g)+O2(g)=2H2O(g)", o);
  ASSERT_EQ(t.rows.size(), 300u);
  EXPECT_TRUE(t.step_reset);
  EXPECT_NEAR(*t.Cell(t.rows.back(), Column::T), 1000, 1e-9);
  auto cols = t.Columns();
  ASSERT_EQ(cols.size(), 6u);
  EXPECT_EQ(cols[0].unit, "°C");
  EXPECT_EQ(cols[1].unit, "kJ");
  EXPECT_EQ(cols[2].unit, "J/K");
  o.show_log_k = false;
  o.energy_unit = EnergyUnit::kcal;
  o.temp_unit = TempUnit::Kelvin;
  o.T1 = 300;
  o.T2 = 400;
  cols = Calc("2H2(g)+O2(g)=2H2O(g)", o).Columns();
  ASSERT_EQ(cols.size(), 5u);
  EXPECT_EQ(cols[0].unit, "K");
  EXPECT_EQ(cols[2].unit, "cal/K");
  EXPECT_EQ(cols[4].column, Column::K);
}

TEST(FormatCell, SheetNumberFormat) {
  EXPECT_EQ(FormatCell(-483.6364, Column::DeltaH), "-483.636 ");
  EXPECT_EQ(FormatCell(0, Column::DeltaG), "0.000 ");
  EXPECT_EQ(FormatCell(-0.0001, Column::DeltaG), "0.000 ");
  EXPECT_EQ(FormatCell(1, Column::K), "1.000 ");
  EXPECT_EQ(FormatCell(1.5e-20, Column::K), "1.5000E-20 ");
  EXPECT_EQ(FormatCell(2e40, Column::K), "2.0000E+40 ");
  EXPECT_EQ(FormatCell(1e9, Column::K), "1.0000E+09 ");
  EXPECT_EQ(FormatCell(-123456789.0, Column::DeltaH), "-123456789.000 ");
  EXPECT_EQ(FormatCell(INFINITY, Column::K), "INF ");
  EXPECT_EQ(FormatCell(0.38535, Column::E), "0.3854");
}

}  // namespace
}  // namespace zyl::reactions
