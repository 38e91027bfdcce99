#include "balance/balance_calc.h"

#include <gtest/gtest.h>

#include <cmath>

#include <fmt/format.h>

#include "balance_test_util.h"

namespace zyl::balance {
namespace {

using testing::Find;
using testing::Fixture;
using testing::H;

constexpr int R = kFirstDataRow;

/// Temperature (K) at which sum n_i H_i(T) equals target (cal), by bisection on the closed-form enthalpies.
double Bisect(const std::vector<std::pair<const char*, double>>& species, double target) {
  double lo = 300, hi = 6000;
  auto f = [&](double T) {
    double h = 0;
    for (auto& [name, n] : species) h += n * H(Find(name), T);
    return h - target;
  };
  for (int i = 0; i < 200; ++i) {
    double mid = (lo + hi) / 2;
    (f(mid) > 0 ? hi : lo) = mid;
  }
  return (lo + hi) / 2;
}

TEST(SolveTBal, ConvergesExtrapolatingThenHalving) {
  // A convex residual: the extrapolation overshoots, then the steps halve.
  auto f = [](double T) { return T * T - 1234.5 * 1234.5; };
  TBalSolution s = SolveTBal(f, f(300), 1e3, 300, 300, 1);
  EXPECT_TRUE(s.iterated);
  EXPECT_EQ(s.relation, " = ");
  EXPECT_NEAR(s.T, 1234.5, 0.1);
  EXPECT_DOUBLE_EQ(s.steps[0], 100.0);
  // Before bracketing every step is at most five times the one before; after it every step halves.
  bool bracketed = false;
  for (size_t i = 1; i < s.steps.size(); ++i) {
    double ratio = std::fabs(s.steps[i] / s.steps[i - 1]);
    if (std::signbit(s.steps[i]) != std::signbit(s.steps[i - 1])) bracketed = true;
    if (bracketed) EXPECT_DOUBLE_EQ(ratio, 0.5) << "step " << i;
    else EXPECT_LE(ratio, 5.0 + 1e-12) << "step " << i;
  }
  EXPECT_TRUE(bracketed);
}

TEST(SolveTBal, ClampsWhenTheResidualNeverChangesSign) {
  auto always_positive = [](double T) { return 1e6 + T; };
  TBalSolution lo = SolveTBal(always_positive, always_positive(500), 1e3, 500, 500, 1);
  EXPECT_DOUBLE_EQ(lo.T, 0.01);
  EXPECT_EQ(lo.relation, " < ");
  auto always_negative = [](double T) { return -1e12 + T; };
  TBalSolution hi = SolveTBal(always_negative, always_negative(500), 1e3, 500, 500, 1);
  EXPECT_DOUBLE_EQ(hi.T, 100273.0);
  EXPECT_EQ(hi.relation, " > ");
  // The steps grow by exactly the cap until the clamp.
  EXPECT_DOUBLE_EQ(hi.steps[1], 500.0);
  EXPECT_DOUBLE_EQ(hi.steps[2], 2500.0);
}

TEST(SolveTBal, StopsAtOnceOnAnUnchangedResidualOrWithinTolerance) {
  int calls = 0;
  auto flat = [&](double) {
    ++calls;
    return 50.0;
  };
  TBalSolution s = SolveTBal(flat, 50.0, 1e3, 800, 800, 1);
  EXPECT_EQ(s.iterations, 1);
  EXPECT_DOUBLE_EQ(s.T, 700.0);
  EXPECT_EQ(calls, 1);
  // |f0| < |Hin| * 0.0001 / divisor: nothing is iterated. The divisor tightens the tolerance.
  TBalSolution ok = SolveTBal(flat, 0.05, 1000, 800, 800, 1);
  EXPECT_FALSE(ok.iterated);
  TBalSolution tight = SolveTBal([](double T) { return T - 800.0004; }, -0.05, 1000, 800, 800, 1000);
  EXPECT_TRUE(tight.iterated);
  // A start that differs from the first row's temperature is evaluated first.
  calls = 0;
  SolveTBal(flat, 50.0, 1e3, 800, 900, 1);
  EXPECT_EQ(calls, 2);
}

struct Combustion : Fixture {
  // 1 kmol methane with stoichiometric air at 25 °C; products at 25 °C to start.
  Combustion() {
    int in = book.InSheet(1), out = book.OutSheet(1);
    book.PutSpecies(in, R, "CH4(g)", 25, col::kKmol, 1);
    book.PutStream(in, R + 1, "Air", 25);
    book.PutSpecies(in, R + 2, "O2(g)", 25, col::kKmol, 2);
    book.PutSpecies(in, R + 3, "N2(g)", 25, col::kKmol, 7.52);
    book.PutSpecies(out, R, "CO2(g)", 25, col::kKmol, 1);
    book.PutSpecies(out, R + 1, "H2O(g)", 25, col::kKmol, 2);
    book.PutSpecies(out, R + 2, "N2(g)", 25, col::kKmol, 7.52);
    book.RefreshStreamT(in);
    book.book().Recalculate();
  }
};

TEST(CalTBal, MethaneWithStoichiometricAirReachesTheAdiabaticTemperature) {
  Combustion c;
  TBalResult r = CalTBal(c.book, 1, true);
  ASSERT_TRUE(r.done);
  ASSERT_TRUE(r.iterated);
  double expected = Bisect({{"CO2(g)", 1}, {"H2O(g)", 2}, {"N2(g)", 7.52}}, H(Find("CH4(g)"), 298.15));
  EXPECT_NEAR(r.T, expected, 0.2);
  EXPECT_GT(r.T, 2200);  // adiabatic flame temperature of methane in air, without dissociation, ~2330 K
  EXPECT_LT(r.T, 2400);
  EXPECT_EQ(r.relation, " = ");
  EXPECT_EQ(c.msgs.Last(), "Temperature of products = " + platform::FormatNumber(r.T - 273.15, "#####0.0") +
                               " C\n(when Heat Balance = 0)");
  // Written into the output rows; the heat balance of the area is now (nearly) zero.
  const platform::Sheet& out = c.book.book().sheet(c.book.OutSheet(1));
  EXPECT_NEAR(out.Number(R + 1, col::kTemp).value(), r.t_display, 1e-9);
  auto totals = ReadBalSheet(c.book);
  EXPECT_LT(std::fabs(totals[0].balance.tot_h), 17890 * 1e-4);
  EXPECT_NEAR(totals[0].balance.kg, 0.0, 0.01);  // mass balance of the combustion

  // A balance that is already closed is left alone.
  TBalResult again = CalTBal(c.book, 1, true);
  EXPECT_FALSE(again.iterated);
  EXPECT_EQ(again.message, "Temperature balance OK");
  EXPECT_EQ(c.msgs.Last(), "Temperature balance OK");
  EXPECT_NEAR(out.Number(R + 1, col::kTemp).value(), r.t_display, 1e-9);
}

TEST(CalTBal, UnitsDoNotChangeTheTemperature) {
  Combustion c;
  c.book.MUnits({EnergyUnit::MJ, TempUnit::K, false});
  TBalResult r = CalTBal(c.book, 1, false);
  double expected = Bisect({{"CO2(g)", 1}, {"H2O(g)", 2}, {"N2(g)", 7.52}}, H(Find("CH4(g)"), 298.15));
  EXPECT_NEAR(r.T, expected, 0.2);
  EXPECT_NEAR(r.t_display, r.T, 1e-12);
  EXPECT_NE(r.message.find(" K\n"), std::string::npos);
  EXPECT_TRUE(c.msgs.Log().empty());  // show flag off
}

TEST(CalTBal, LimestoneCalcinerWithFuelHeat) {
  Fixture f;
  int in = f.book.InSheet(1), out = f.book.OutSheet(1);
  f.book.PutSpecies(in, R, "CaCO3", 25, col::kKg, 100.0869);
  f.book.PutHeat(in, R + 1, "Fuel heat", 60000);  // kcal
  f.book.PutSpecies(out, R, "CaO", 25, col::kKmol, 1);
  f.book.PutSpecies(out, R + 1, "CO2(g)", 25, col::kKmol, 1);
  f.book.book().Recalculate();
  TBalResult r = CalTBal(f.book, 1, false);
  double hin = H(Find("CaCO3"), 298.15) * (100.0869 / f.book.book().sheet(in).Number(R, col::kMW).value()) + 60000e0;
  double expected = Bisect({{"CaO", 1}, {"CO2(g)", 1}}, hin);
  // Converged within |Hin| * 0.0001 = 22.8 kcal; the products take up about 24 kcal/K.
  EXPECT_NEAR(r.T, expected, 1.0);
  EXPECT_GT(r.T, 900);
  EXPECT_LT(r.T, 1400);

  EleBal eb = GetEleBal(f.book, 1);
  ASSERT_EQ(eb.elements.size(), 3u);
  EXPECT_EQ(eb.elements[0].symbol, "Ca");
  EXPECT_TRUE(ElementErrors(eb).empty());
  EXPECT_NEAR(eb.elements[2].in_kmol, 3.0, 1e-3);
  EXPECT_NEAR(eb.in.kg, 100.0869, 1e-9);
  ASSERT_EQ(eb.out.lines.size(), 2u);
  EXPECT_NEAR(eb.out.lines[0].mol_pct, 50.0, 1e-6);
  EXPECT_NEAR(eb.out.lines[0].wt_pct, 100 * 56.077 / 100.0869, 0.01);
  EXPECT_NEAR(eb.out.lines[1].t_display, r.t_display, 1e-9);
  // The fuel heat follows a change of unit; the temperature stays.
  f.book.MUnits({EnergyUnit::kWh, TempUnit::C, false});
  EXPECT_NEAR(f.book.book().sheet(in).Number(R + 1, col::kTotH).value(), 60000 * 4.184 / 3600, 1e-9);
  EXPECT_NEAR(CalTBal(f.book, 1, false).T, r.T, 1.0);
}

TEST(CalTBal, RefusalsAndClamps) {
  Fixture f;
  int in = f.book.InSheet(1), out = f.book.OutSheet(1);
  f.book.PutSpecies(in, R, "CH4(g)", 25, col::kKmol, 1);
  TBalResult none = CalTBal(f.book, 1, true);
  EXPECT_FALSE(none.done);
  EXPECT_EQ(f.msgs.Last(), "No Output Species !");
  // Rows below half a kmol do not count.
  f.book.PutSpecies(out, R, "CO2(g)", 25, col::kKmol, 0.4);
  f.book.book().Recalculate();
  EXPECT_FALSE(CalTBal(f.book, 1, true).done);
  // An output that can never take up the heat brought in ends at the upper clamp.
  f.book.EditCell(out, R, col::kKmol, "1");
  f.book.PutHeat(in, R + 1, "Plasma torch", 1e9);
  f.book.book().Recalculate();
  TBalResult hot = CalTBal(f.book, 1, true);
  EXPECT_EQ(hot.relation, " > ");
  EXPECT_DOUBLE_EQ(hot.T, 100273.0);
  EXPECT_EQ(f.msgs.Last().rfind("Temperature of products > ", 0), 0u);
}

TEST(EleBal, ReportsElementsThatDoNotBalance) {
  Fixture f;
  int in = f.book.InSheet(1), out = f.book.OutSheet(1);
  f.book.PutSpecies(in, R, "CH4(g)", 25, col::kKmol, 1);
  f.book.PutSpecies(in, R + 1, "O2(g)", 25, col::kKmol, 2);
  f.book.PutSpecies(out, R, "CO2(g)", 25, col::kKmol, 1);
  f.book.PutSpecies(out, R + 1, "H2O(g)", 25, col::kKmol, 1.5);  // half a kmol of water missing
  f.book.book().Recalculate();
  EleBal eb = GetEleBal(f.book, 1);
  std::vector<std::string> errors = ElementErrors(eb);
  ASSERT_EQ(errors.size(), 2u);
  EXPECT_EQ(errors[0], "Element Balance Error:  -25.00 % for H");
  EXPECT_EQ(errors[1], "Element Balance Error:  -12.50 % for O");

  platform::Workbook grid("BalMat");
  WriteBalMat(eb, f.book.units(), grid.sheet(0));
  EXPECT_EQ(grid.sheet(0).Value(1, 5).text, "-%");
  EXPECT_EQ(grid.sheet(0).Value(3, 0).text, "C");
  EXPECT_EQ(grid.sheet(0).DisplayText(4, 5), "-25.000");
  double T = 1500;
  std::string report = MaterialBalanceReport(eb, f.book.units(), "test.xlsx", &T);
  EXPECT_NE(report.find("MATERIAL BALANCE"), std::string::npos);
  EXPECT_NE(report.find("File: test.xlsx"), std::string::npos);
  EXPECT_NE(report.find("Element Balance Error:  -25.00 % for H"), std::string::npos);
  EXPECT_NE(report.find("Temperature of Products = 1500.0°C When Heat Balance = 0"), std::string::npos);
}

TEST(BalTot, SumsTheBalanceRowsOfAllAreas) {
  Fixture f;
  f.book.MInsBA();
  f.book.PutSpecies(f.book.InSheet(1), R, "CaO", 25, col::kKmol, 1);
  f.book.PutSpecies(f.book.OutSheet(2), R, "CaO", 25, col::kKmol, 3);
  f.book.book().Recalculate();
  Totals t = BalTot(f.book);
  EXPECT_NEAR(t.kmol, 2.0, 1e-12);
  EXPECT_NEAR(t.tot_h, 2 * -151790.0, 1e-6);
}

// An error in an amount cell used to be read as 0: the totals printed zeros and the solver ran on.
TEST(CheckBalance, AnErrorTravelsToTheTotalsAndStopsTheSolver) {
  Combustion c;
  int in = c.book.InSheet(1);
  c.book.book().sheet(in).SetFormula(R + 2, col::kKmol, "=1/0");  // the O2 row of the air stream
  c.book.MReCalc();
  const platform::Sheet& bal = c.book.book().sheet(c.book.BalSheet());
  EXPECT_TRUE(bal.Value(3, col::kTotH).is_error());  // IN row of the area block
  EXPECT_TRUE(bal.Value(5, col::kTotH).is_error());  // BALANCE row
  std::vector<BalanceProblem> p = CheckBalance(c.book);
  ASSERT_EQ(p.size(), 2u);  // the species row and the stream row that sums it
  EXPECT_EQ(p[0].message, "IN1!C5 holds #DIV/0!");  // the stream row's SUM
  EXPECT_EQ(p[1].message, "IN1!C6 holds #DIV/0!");
  EXPECT_EQ(p[1].sheet, in);
  EXPECT_EQ(p[1].row, R + 2);
  EXPECT_EQ(p[1].col, col::kKmol);
  const double before = c.book.book().sheet(c.book.OutSheet(1)).Number(R, col::kTemp).value();
  TBalResult r = CalTBal(c.book, 1, true);
  EXPECT_FALSE(r.done);
  EXPECT_EQ(c.msgs.Last(), "IN1!C5 holds #DIV/0!\nIN1!C6 holds #DIV/0!");
  EXPECT_EQ(c.book.book().sheet(c.book.OutSheet(1)).Number(R, col::kTemp).value(), before);
  // A problem in another area does not stop this one.
  c.book.MInsBA();
  EXPECT_TRUE(CheckBalance(c.book, 2).empty());
}

// Text used to count as 0 °C and −500 °C as 0.01 K (18.8 GJ of "latent heat" for 2 kmol of O2).
TEST(CheckBalance, TemperaturesThatAreNoTemperatureAreRefused) {
  for (const char* typed : {"hot", "-500"}) {
    Combustion c;
    int out = c.book.OutSheet(1);
    c.book.book().sheet(out).SetInput(R + 1, col::kTemp, typed);
    c.book.MReCalc();
    const platform::Sheet& sh = c.book.book().sheet(out);
    EXPECT_TRUE(sh.Value(R + 1, col::kTotH).is_error()) << typed;
    EXPECT_TRUE(sh.Value(R + 1, col::kLatH).is_error()) << typed;
    EXPECT_TRUE(c.book.book().sheet(c.book.BalSheet()).Value(5, col::kTotH).is_error()) << typed;
    std::vector<BalanceProblem> p = CheckBalance(c.book);
    ASSERT_EQ(p.size(), 1u) << typed;
    EXPECT_EQ(p[0].message, typed[0] == 'h' ? "OUT1!B5: the temperature is not a number"
                                            : "OUT1!B5: -500 °C is below absolute zero");
    EXPECT_FALSE(CalTBal(c.book, 1, false).done) << typed;
    // A valid temperature again gives numbers again.
    c.book.book().sheet(out).SetInput(R + 1, col::kTemp, "1000");
    c.book.MReCalc();
    EXPECT_TRUE(CheckBalance(c.book).empty());
    EXPECT_NEAR(sh.Number(R + 1, col::kTotH).value(), 2 * H(Find("H2O(g)"), 1273.15), 1e-6);  // kcal/kmol = cal/mol
  }
  Fixture k;  // in kelvin, 0 K is no temperature either
  k.book.MUnits({EnergyUnit::kcal, TempUnit::K, false});
  k.book.PutSpecies(k.book.InSheet(1), R, "O2(g)", 0.0, col::kKmol, 2);
  k.book.MReCalc();
  ASSERT_EQ(CheckBalance(k.book).size(), 1u);
  EXPECT_EQ(CheckBalance(k.book)[0].message, "IN1!B4: 0 K is below absolute zero");
}

TEST(CheckBalance, UnknownSpeciesIsAProblem) {
  Combustion c;
  c.book.PutSpecies(c.book.OutSheet(1), R + 3, "Foo(g)", 25, col::kKmol, 1);
  c.book.MReCalc();
  std::vector<BalanceProblem> p = CheckBalance(c.book);
  ASSERT_EQ(p.size(), 1u);
  EXPECT_EQ(p[0].message, "OUT1!A7: Cannot find: Foo(g)");
  EXPECT_FALSE(CalTBal(c.book, 1, false).done);
}

// Every energy and temperature unit against values worked out here: 1 kcal = 4.184 kJ (thermochemical
// calorie), 1 kWh = 3600 kJ; the enthalpies from the closed form of the test species' Cp.
TEST(BalanceUnits, EveryEnergyAndTemperatureUnitGivesTheSameHeat) {
  const double T = 1273.15;  // K
  // kcal: input = 1 kmol CH4 at 25 °C; output latent heat of 1 CO2 + 2 H2O + 7.52 N2 at 1000 °C.
  const double in_kcal = H(Find("CH4(g)"), 298.15);
  double lat_kcal = 0;
  for (auto [name, n] : {std::pair{"CO2(g)", 1.0}, {"H2O(g)", 2.0}, {"N2(g)", 7.52}})
    lat_kcal += n * (H(Find(name), T) - H(Find(name), 298.15));
  const double out_kcal = lat_kcal + H(Find("CO2(g)"), 298.15) + 2 * H(Find("H2O(g)"), 298.15);
  struct Case {
    EnergyUnit unit;
    double per_kcal;
  };
  for (const Case& u : {Case{EnergyUnit::kcal, 1.0}, Case{EnergyUnit::Mcal, 1e-3}, Case{EnergyUnit::kJ, 4.184},
                        Case{EnergyUnit::MJ, 4.184e-3}, Case{EnergyUnit::kWh, 4.184 / 3600}}) {
    for (TempUnit tu : {TempUnit::C, TempUnit::K}) {
      Combustion c;
      c.book.MUnits({u.unit, tu, false});
      const double t_out = tu == TempUnit::C ? 1000.0 : T;
      for (int r = R; r < R + 3; ++r) c.book.book().sheet(c.book.OutSheet(1)).SetNumber(r, col::kTemp, t_out);
      c.book.MReCalc();
      const std::string what = std::string(EnergyUnitName(u.unit)) + " " + std::string(TempUnitName(tu));
      AreaTotals a = ReadBalSheet(c.book)[0];
      EXPECT_NEAR(a.in.tot_h, in_kcal * u.per_kcal, std::fabs(in_kcal * u.per_kcal) * 1e-9) << what;
      EXPECT_NEAR(a.out.lat_h, lat_kcal * u.per_kcal, lat_kcal * u.per_kcal * 1e-9) << what;
      EXPECT_NEAR(a.balance.tot_h, (out_kcal - in_kcal) * u.per_kcal, std::fabs(out_kcal * u.per_kcal) * 1e-9)
          << what;
      EXPECT_NEAR(BalTot(c.book).tot_h, a.balance.tot_h, 1e-9 * std::fabs(a.balance.tot_h)) << what;
      // The product temperature comes out the same in every unit (within the solver's tolerance).
      TBalResult r = CalTBal(c.book, 1, false);
      ASSERT_TRUE(r.done) << what;
      const double expected = Bisect({{"CO2(g)", 1}, {"H2O(g)", 2}, {"N2(g)", 7.52}}, in_kcal);
      EXPECT_NEAR(r.T, expected, 0.5) << what;
      EXPECT_NEAR(r.t_display, tu == TempUnit::C ? r.T - 273.15 : r.T, 1e-9) << what;
    }
  }
}

// Element amounts and masses of the methane combustion; standard atomic weights (IUPAC 2021 abridged):
// H 1.008, C 12.011, N 14.007, O 15.999.
TEST(EleBal, ElementMassesOfTheCombustion) {
  Combustion c;
  EleBal eb = GetEleBal(c.book, 1);
  struct Want {
    const char* symbol;
    double kmol, weight;
  };
  const Want want[] = {{"C", 1, 12.011}, {"H", 4, 1.008}, {"O", 4, 15.999}, {"N", 15.04, 14.007}};
  ASSERT_EQ(eb.elements.size(), 4u);
  for (size_t i = 0; i < 4; ++i) {
    const ElementLine& e = eb.elements[i];
    EXPECT_EQ(e.symbol, want[i].symbol);
    EXPECT_NEAR(e.in_kmol, want[i].kmol, 1e-9) << e.symbol;
    EXPECT_NEAR(e.out_kmol, want[i].kmol, 1e-9) << e.symbol;
    EXPECT_NEAR(e.in_kg, want[i].kmol * want[i].weight, want[i].kmol * 1e-3) << e.symbol;
    EXPECT_NEAR(e.out_kg, e.in_kg, 1e-9) << e.symbol;
  }
  const double total_kg = 12.011 + 4 * 1.008 + 4 * 15.999 + 15.04 * 14.007;
  EXPECT_NEAR(eb.in.kg, total_kg, 0.02);
  std::string report = MaterialBalanceReport(eb, c.book.units(), "m.xlsx");
  EXPECT_NE(report.find(fmt::format("{:<10}{:>14}{:>14}", "N", "15.040",
                                    platform::FormatNumber(eb.elements[3].in_kg, "0.000"))),
            std::string::npos)
      << report;
  EXPECT_NEAR(eb.elements[3].in_kg, 210.665, 0.01);  // 15.04 kmol × 14.007 kg/kmol
}

// Solving used to write the temperature over a stream's temperature formula, and saving lost it.
TEST(CalTBal, TemperatureFormulasAreKeptUnlessTheUserAgrees) {
  for (platform::Answer answer : {platform::Answer::No, platform::Answer::Yes}) {
    Fixture f;
    int in = f.book.InSheet(1), out = f.book.OutSheet(1);
    f.book.PutSpecies(in, R, "CH4(g)", 25, col::kKmol, 1);
    f.book.PutSpecies(in, R + 1, "O2(g)", 25, col::kKmol, 2);
    f.book.PutSpecies(in, R + 2, "N2(g)", 25, col::kKmol, 7.52);
    f.book.PutSpecies(out, R, "CO2(g)", 25, col::kKmol, 1);
    f.book.PutStream(out, R + 1, "Flue");
    f.book.PutSpecies(out, R + 2, "H2O(g)", 25, col::kKmol, 2);
    f.book.PutSpecies(out, R + 3, "N2(g)", 25, col::kKmol, 7.52);
    f.book.book().sheet(out).SetFormula(R + 1, col::kTemp, "=B4+0");
    f.book.RefreshStreamT(out);
    f.book.MReCalc();
    f.msgs.Script({answer});
    TBalResult r = CalTBal(f.book, 1, false);
    ASSERT_TRUE(r.done);
    EXPECT_TRUE(f.msgs.Saw("OUT1!B5"));
    const platform::Sheet& sh = f.book.book().sheet(out);
    EXPECT_NEAR(sh.Number(R, col::kTemp).value(), r.t_display, 1e-9);
    if (answer == platform::Answer::No) {
      EXPECT_EQ(sh.Formula(R + 1, col::kTemp), "=B4+0");
      EXPECT_NEAR(sh.Number(R + 2, col::kTemp).value(), 25, 1e-9);  // the stream's species stay with it
      EXPECT_EQ(r.kept_formulas, std::vector<std::string>{"OUT1!B5"});
      EXPECT_NE(r.message.find("Temperature formulas kept: OUT1!B5"), std::string::npos);
      // The formula follows the row it refers to after a recalculation.
      f.book.MReCalc();
      EXPECT_NEAR(sh.Number(R + 2, col::kTemp).value(), r.t_display, 1e-9);
    } else {
      EXPECT_EQ(sh.Formula(R + 1, col::kTemp), "");
      EXPECT_NEAR(sh.Number(R + 1, col::kTemp).value(), r.t_display, 1e-9);
      EXPECT_NEAR(sh.Number(R + 2, col::kTemp).value(), r.t_display, 1e-9);
      EXPECT_TRUE(r.kept_formulas.empty());
    }
  }
}

// Enthalpies beyond a species' data used to be silent (FeO at 1800 °C, data to 1600 K).
TEST(ExtrapolatedRows, BeyondTheDataIsMarkedInTheSheetAndListed) {
  Fixture f;
  thermo::SpeciesData feo = testing::Data({"FeO", -65.02, 14.52, 12.122, 2.072, -0.75, 5.7});
  feo.ranges[0].t2 = 1600;
  f.species.Add("FeO", feo, 5.7);
  int out = f.book.OutSheet(1);
  f.book.PutSpecies(f.book.InSheet(1), R, "FeO", 25, col::kKmol, 1);
  f.book.PutSpecies(out, R, "FeO", 1800, col::kKmol, 1);
  f.book.MReCalc();
  std::vector<ExtrapolatedRow> x = ExtrapolatedRows(f.book);
  ASSERT_EQ(x.size(), 1u);
  EXPECT_EQ(x[0].cell, "OUT1!B4");
  EXPECT_EQ(x[0].species, "FeO");
  EXPECT_EQ(x[0].note, "Extrapolated from 298.15-1600 K");
  EXPECT_DOUBLE_EQ(x[0].t_display, 1800);
  const platform::Sheet& sh = f.book.book().sheet(out);
  for (int c : {col::kSpecLatH, col::kSpecTotH}) {
    EXPECT_TRUE(sh.Style(R, c).italic);
    EXPECT_EQ(sh.Style(R, c).color, kExtrapolatedColor);
  }
  EXPECT_FALSE(f.book.book().sheet(f.book.InSheet(1)).Style(R, col::kSpecTotH).italic);
  // Back inside the data: the mark goes.
  f.book.EditCell(out, R, col::kTemp, "1200");
  f.book.MReCalc();
  EXPECT_TRUE(ExtrapolatedRows(f.book).empty());
  EXPECT_FALSE(sh.Style(R, col::kSpecTotH).italic);
  EXPECT_EQ(sh.Style(R, col::kSpecTotH).color, platform::kBlack);
  EXPECT_TRUE(ExtrapolatedRows(f.book, 2).empty());
}

}  // namespace
}  // namespace zyl::balance
