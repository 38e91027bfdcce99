#include "reactions/reaction.h"

#include <gtest/gtest.h>

#include <cmath>

#include "reactions/test_db.h"

namespace zyl::reactions {
namespace {

class ReactionTest : public ::testing::Test {
 protected:
  thermo::SpeciesData Species(const char* name) {
    return thermo::ReadSpeciesData(thermo::FindSpecies(name, db_.dbs()), name);
  }
  ReactionTable Calc(std::string_view eq, ReactionOptions o = {}) { return CalcReaction(eq, o, db_.dbs()); }
  static ReactionOptions Range(double t1, double t2, double step) {
    ReactionOptions o;
    o.T1 = t1, o.T2 = t2, o.step = step;
    return o;
  }
  void TearDown() override { thermo::SetCrissCobble(false); }

  testing::TestDatabase db_;
};

TEST_F(ReactionTest, SumsMatchSpeciesFunctions) {
  auto t = Calc("2H2(g)+O2(g)=2H2O(g)");
  ASSERT_TRUE(t.ok()) << t.error;
  ASSERT_EQ(t.rows.size(), 10u);
  auto h2 = Species("H2(g)"), o2 = Species("O2(g)"), w = Species("H2O(g)");
  for (const auto& r : t.rows) {
    auto a = thermo::CalcSpeciesAtT(h2, r.T), b = thermo::CalcSpeciesAtT(o2, r.T), c = thermo::CalcSpeciesAtT(w, r.T);
    const double dh = (2 * c.h - 2 * a.h - b.h) / 1000, ds = 2 * c.s - 2 * a.s - b.s;
    const double dg = (2 * c.g - 2 * a.g - b.g) / 1000, k = std::exp(-1000 * dg / (1.987 * r.T));
    EXPECT_NEAR(r.DeltaH, dh, 1e-9);
    EXPECT_NEAR(r.DeltaS, ds, 1e-9);
    EXPECT_NEAR(r.DeltaG, dg, 1e-9);
    EXPECT_NEAR(r.K / k, 1, 1e-12);
    EXPECT_NEAR(r.LogK.value(), std::log10(k), 1e-9);
    // Shown in kJ, J/K and °C.
    EXPECT_NEAR(*t.Cell(r, Column::DeltaH), dh * 4.184, 1e-9);
    EXPECT_NEAR(*t.Cell(r, Column::DeltaS), ds * 4.184, 1e-9);
    EXPECT_NEAR(*t.Cell(r, Column::T), r.T - 273.15, 1e-9);
  }
  // The same range typed in kelvin, shown in kcal.
  ReactionOptions o = Range(298.15, 1273.15, 100);
  o.temp_unit = TempUnit::Kelvin;
  o.energy_unit = EnergyUnit::kcal;
  auto k = Calc("2H2(g)+O2(g)=2H2O(g)", o);
  EXPECT_NEAR(*k.Cell(k.rows[3], Column::DeltaG), t.rows[3].DeltaG, 1e-9);
  EXPECT_NEAR(*k.Cell(k.rows[3], Column::T), t.rows[3].T, 1e-9);
}

TEST_F(ReactionTest, ConstantHeatCapacityClosedForm) {
  // C + CO2(g) = 2CO(g), constant Cp: ΔH = ΔH0 + ΔCp (T - T0), ΔS = ΔS0 + ΔCp ln(T / T0).
  ReactionOptions o = Range(300, 2400, 150);
  o.temp_unit = TempUnit::Kelvin;
  auto t = Calc("C+CO2(g)=2CO(g)", o);
  ASSERT_EQ(t.rows.size(), 15u) << t.error;
  const double dh0 = 2 * -26.5 + 94.0, ds0 = 2 * 47.25 - 51.0 - 1.5, dcp = 2 * 7.5 - 11.0 - 4.0;
  for (const auto& r : t.rows) {
    const double dh = dh0 + dcp * (r.T - 298.15) / 1000, ds = ds0 + dcp * std::log(r.T / 298.15);
    EXPECT_NEAR(r.DeltaH, dh, 1e-9) << r.T;
    EXPECT_NEAR(r.DeltaS, ds, 1e-9) << r.T;
    EXPECT_NEAR(r.DeltaG, dh - r.T * ds / 1000, 1e-9) << r.T;
  }
  // A fraction and its decimal give the same sums.
  auto half = Calc("H2(g)+1/2O2(g)=H2O(g)"), point = Calc("H2(g)+0.5O2(g)=H2O(g)");
  for (size_t i = 0; i < half.rows.size(); ++i) EXPECT_EQ(half.rows[i].DeltaG, point.rows[i].DeltaG);
}

TEST_F(ReactionTest, KAndLogKEdges) {
  for (const auto& r : Calc("H2O(g)=H2O(g)").rows) {  // ΔG = 0
    EXPECT_EQ(r.K, 1.0);
    EXPECT_EQ(r.LogK.value(), 0.0);
  }
  // Beyond double range: K underflows to 0 (log K empty) or overflows (log K stays finite).
  thermo::SpeciesData zero, big;
  zero.ranges.resize(1);
  zero.ranges[0].t1 = 298.15, zero.ranges[0].t2 = 3000;
  big = zero;
  big.ranges[0].h = 1e6;  // cal/mol
  ReactionOptions o = Range(25, 25, 1);
  auto up = CalcReactionTable(ParseEquation("X=Y"), {zero, big}, o);
  EXPECT_EQ(up.rows.at(0).K, 0.0);
  EXPECT_FALSE(up.Cell(up.rows[0], Column::LogK).has_value());
  auto down = CalcReactionTable(ParseEquation("Y=X"), {big, zero}, o);
  EXPECT_TRUE(std::isinf(down.rows.at(0).K));
  EXPECT_NEAR(down.rows[0].LogK.value(), 1e6 / (1.987 * 298.15 * std::log(10.0)), 1e-6);
  // Such a K is written from its log K (10^733.08), never as INF, in the text table and in CSV.
  const std::string k_text = FormatLargeK(down.rows[0].LogK.value());
  EXPECT_EQ(k_text.substr(k_text.size() - 5), "E+733");
  for (const std::string& out : {FormatReactionText(down), FormatReactionCsv(down)}) {
    EXPECT_NE(out.find(k_text), std::string::npos) << out;
    EXPECT_EQ(out.find("INF"), std::string::npos) << out;
    EXPECT_EQ(out.find("inf"), std::string::npos) << out;
  }
}

TEST_F(ReactionTest, TransitionRowsAndJump) {
  ReactionOptions o;
  o.transitions = true;
  auto t = Calc("4Al+3O2(g)=2Al2O3", o);
  ASSERT_EQ(t.rows.size(), 12u) << t.error;
  const auto &below = t.rows[7], &above = t.rows[8];
  EXPECT_TRUE(below.transition && above.transition && !t.rows[9].transition);
  EXPECT_NEAR(below.T, 933.47f - 0.00003, 1e-9);  // the record holds T1 in single precision
  EXPECT_NEAR(above.T, 933.47f + 0.00001, 1e-9);
  EXPECT_NEAR(above.DeltaH - below.DeltaH, -4 * 2.56, 1e-3);  // 4 Al melt on the left
  EXPECT_NEAR(above.DeltaG, below.DeltaG, 1e-3);
  // A phase boundary counts; a continuation of the same phase without a jump does not.
  auto al = Species("Al");
  EXPECT_EQ(TransitionTemperatures(al), (std::vector<double>{933.47f}));
  al.ranges[1].phase[0] = 's';
  al.ranges[1].h = al.ranges[1].s = 0;
  EXPECT_TRUE(TransitionTemperatures(al).empty());
}

TEST(TransitionTemperatures, FitJoinsAreNoTransitions) {
  // Small jumps that only keep fitted ranges on the absolute values are no phase change.
  thermo::SpeciesData sp;
  auto add = [&sp](const char* phase, double t1, double t2, double h) {
    thermo::SpeciesRange r;
    r.phase[0] = phase[0];
    r.t1 = t1, r.t2 = t2, r.h = h, r.a = 6;
    sp.ranges.push_back(r);
  };
  add("s", 298.15, 500, -1000);
  add("s", 500, 1042, 0.3);
  add("s", 1042, 1184, -22);
  add("s", 1184, 1665, 215.1);  // a polymorph change within "s"
  add("l", 1665, 3000, 0);      // a phase letter change counts without a jump
  EXPECT_EQ(TransitionTemperatures(sp), (std::vector<double>{1184, 1665}));

  // The shipped database: iron's alpha-gamma, gamma-delta and melting points, none for water vapour.
  thermo::SpeciesDatabases dbs;
  std::string error;
  dbs.main = thermo::OpenSpeciesDb(std::filesystem::path(ZYL_SOURCE_DATA_DIR) / "Databases" / "MainDB6.ZYL",
                                   nullptr, false, &error);
  ASSERT_TRUE(dbs.main) << error;
  auto iron = thermo::ReadSpeciesData(thermo::FindSpecies("Fe", dbs), "Fe");
  EXPECT_EQ(TransitionTemperatures(iron), (std::vector<double>{1184, 1665, 1809}));
  EXPECT_TRUE(TransitionTemperatures(thermo::ReadSpeciesData(thermo::FindSpecies("H2O(g)", dbs), "H2O(g)")).empty());
}

TEST_F(ReactionTest, ElectronsGiveThePotential) {
  auto t = Calc("Fe(+3a)+e-=Fe(+2a)", Range(25, 75, 25));
  ASSERT_TRUE(t.has_potential) << t.error;
  auto f2 = Species("Fe(+2a)"), f3 = Species("Fe(+3a)");
  for (const auto& r : t.rows) {
    const double dg = (thermo::CalcSpeciesAtT(f2, r.T).g - thermo::CalcSpeciesAtT(f3, r.T).g) / 1000;
    EXPECT_NEAR(r.DeltaG, dg, 1e-9);  // the electron counts zero
    EXPECT_NEAR(r.E.value(), -dg / (2.0 * 23.045), 1e-12);
  }
  EXPECT_NEAR(Calc("2Fe(+3a)+2e-=2Fe(+2a)", Range(25, 75, 25)).rows[0].E.value(), t.rows[0].E.value(), 1e-12);
  auto cols = t.Columns();
  ASSERT_EQ(cols.size(), 7u);
  EXPECT_EQ(cols[6].header, "POTENTIAL E");
  EXPECT_EQ(cols[6].unit, "E vs. SHE");
  EXPECT_EQ(cols[6].number_format, "###.####");
  // A proton missing from the database counts zero too.
  auto h = Calc("2H(+a)+2e-=H2(g)", Range(25, 25, 1));
  EXPECT_NEAR(h.rows.at(0).DeltaG, thermo::CalcSpeciesAtT(Species("H2(g)"), 298.15).g / 1000, 1e-9);
  // Without log K (the column option) and in kcal.
  ReactionOptions o;
  o.show_log_k = false;
  o.energy_unit = EnergyUnit::kcal;
  cols = Calc("2H2(g)+O2(g)=2H2O(g)", o).Columns();
  ASSERT_EQ(cols.size(), 5u);
  EXPECT_EQ(cols[2].unit, "cal/K");
  EXPECT_EQ(cols[4].column, Column::K);
}

TEST_F(ReactionTest, RefusesUnknownAndUnbalanced) {
  EXPECT_EQ(Calc("Ar=Ar(g)").error,
            "Ar was not found from the Database !\nThermochemical data can not be calculated.\n"
            "NOTE: Use (g)-suffix for gaseous species, such as:\nO2(g), F(g), S2(g), CO2(g), SO2(g), etc.");
  EXPECT_TRUE(Calc("Ar(g)=Ar(g)").ok());
  EXPECT_EQ(Calc("Zn+O2(g)=ZnO2").error, "Zn was not found from the Database !\nThermochemical data can not be calculated.");
  auto t = Calc("H2(g)+O2(g)=H2O(g)");
  EXPECT_TRUE(t.rows.empty());
  EXPECT_EQ(t.error.substr(0, t.error.find("\nThese")), "Too much O(1mol) on the left side\nPlease, edit !");
  ReactionOptions o;
  o.step = 0;
  EXPECT_EQ(Calc("H2O(g)=H2O(g)", o).error, kMsgBadStep);
}

TEST_F(ReactionTest, CrissCobbleFlagAndNotes) {
  ReactionOptions o = Range(25, 150, 25);
  auto plain = Calc("Fe(+3a)+e-=Fe(+2a)", o);
  EXPECT_FALSE(thermo::CrissCobble());
  ASSERT_EQ(plain.notes.size(), 2u);  // 125 and 150 °C lie above the ions' ranges
  EXPECT_EQ(plain.notes[0], "Fe(+3a): Extrapolated from 298.15-373.15 K");
  EXPECT_FALSE(plain.rows[2].extrapolated);
  EXPECT_TRUE(plain.rows[5].extrapolated);
  o.criss_cobble = true;
  auto cc = Calc("Fe(+3a)+e-=Fe(+2a)", o);
  EXPECT_TRUE(thermo::CrissCobble());
  ASSERT_FALSE(cc.notes.empty());
  EXPECT_NE(cc.notes[0].find("Extrapolated from"), std::string::npos);
  EXPECT_NEAR(cc.rows[0].DeltaG, plain.rows[0].DeltaG, 1e-9);  // same at 25 °C
  EXPECT_GT(std::fabs(cc.rows[4].DeltaH - plain.rows[4].DeltaH), 1e-6);
  o.criss_cobble = false;
  Calc("Fe(+3a)+e-=Fe(+2a)", o);
  EXPECT_FALSE(thermo::CrissCobble());
}

TEST(ReactionText, CellsAndFields) {
  EXPECT_EQ(FormatCell(-483.6364, Column::DeltaH), "-483.636 ");
  EXPECT_EQ(FormatCell(-0.0001, Column::DeltaG), "0.000 ");
  EXPECT_EQ(FormatCell(1.5e-20, Column::K), "1.5000E-20 ");
  EXPECT_EQ(FormatCell(1e9, Column::K), "1.0000E+09 ");
  EXPECT_EQ(FormatCell(INFINITY, Column::K), "INF ");
  // A K beyond a double is written from log K, never as INF: 10^550.848 = 7.047 x 10^550.
  EXPECT_EQ(FormatLargeK(550.848), "7.0469E+550");
  EXPECT_EQ(FormatLargeK(-400.5), "3.1623E-401");
  EXPECT_EQ(FormatLargeK(999.999999), "1.0000E+1000");
  EXPECT_EQ(FormatCell(0.38535, Column::E), "0.3854");
  EXPECT_EQ(ReadNumberField(" +1e3 "), 1000.0);
  for (const char* bad : {"", "25,5", "12abc", "1e999", "nan"}) EXPECT_FALSE(ReadNumberField(bad).has_value()) << bad;
  EXPECT_EQ(ParseTempUnit("°C"), TempUnit::Celsius);
  EXPECT_FALSE(ParseEnergyUnit("J").has_value());
}

}  // namespace
}  // namespace zyl::reactions
