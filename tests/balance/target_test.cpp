#include "balance/target.h"

#include <gtest/gtest.h>

#include <cmath>

#include "balance/balance_calc.h"
#include "balance_test_util.h"

namespace zyl::balance {
namespace {

using testing::Find;
using testing::Fixture;
using testing::H;

constexpr int R = kFirstDataRow;
constexpr int T0 = kTargetFirstRow;

void Task(platform::Sheet& sh, int row, std::string_view var, std::optional<double> mn, std::optional<double> mx,
          std::string_view target, std::optional<double> value, std::optional<double> n) {
  SetCellRef(sh, row, true, var, true);
  SetCellRef(sh, row, false, target, false);
  sh.SetText(row, tcol::kVarName, "x");
  sh.SetText(row, tcol::kTargetName, "y");
  if (mn) sh.SetNumber(row, tcol::kMin, *mn);
  if (mx) sh.SetNumber(row, tcol::kMax, *mx);
  if (value) sh.SetNumber(row, tcol::kTargetValue, *value);
  if (n) sh.SetNumber(row, tcol::kIterations, *n);
}

/// A user sheet "Calc" with A1 = the variable and B1 = 2*A1+1.
struct Linear : Fixture {
  int calc = 0, target = 0;
  Linear() {
    book.book().InsertSheet("Calc");
    calc = book.book().FindSheet("Calc");
    book.book().sheet(calc).SetNumber(0, 0, 0);
    book.book().sheet(calc).SetFormula(0, 1, "=2*A1+1");
    target = TargetSheet(book);
  }
  platform::Sheet& tasks() { return book.book().sheet(target); }
};

TEST(Target, SheetLayout) {
  Linear l;
  const platform::Sheet& sh = l.tasks();
  EXPECT_EQ(sh.name(), "Target");
  EXPECT_EQ(sh.Value(0, 0).text, "Target Calculation Sheet (Goal seek)");
  EXPECT_EQ(sh.Value(1, tcol::kTargetName).text, "Target");
  EXPECT_EQ(sh.Value(2, tcol::kTestValue).text, "Test value");
  EXPECT_EQ(sh.Value(2, tcol::kIterations).text, "Max");
  EXPECT_EQ(sh.Style(T0, tcol::kIterations).number_format, "0");
  EXPECT_EQ(TargetSheet(l.book), l.target);  // made once
}

TEST(Target, HalvingFollowsTheDirectionRuleForAllIterations) {
  // The midpoint already meets the target; the method still runs all N iterations.
  Linear l;
  Task(l.tasks(), T0, "Calc!A1", 0, 4, "Calc!B1", 5, 3);
  std::vector<TargetOutcome> o = MTargetCalS(l.book);
  ASSERT_EQ(o.size(), 1u);
  EXPECT_EQ(o[0].xs, (std::vector<double>{2, 1, 1.5}));
  EXPECT_DOUBLE_EQ(l.book.book().sheet(l.calc).Number(0, 0).value(), 1.5);  // last written value stays
  EXPECT_EQ(o[0].message, "Iteration did not converge on row 4. Try increasing Iteration max value or iterate again.");
  EXPECT_DOUBLE_EQ(l.tasks().Number(T0, tcol::kTestValue).value(), 1.5);  // live link
}

TEST(Target, OneIterationWritesTheMidpoint) {
  Linear l;
  Task(l.tasks(), T0, "Calc!A1", 1, 2, "Calc!B1", 4, 1);
  TargetOutcome o = RunTargetTask(l.book, ReadTargetTask(l.tasks(), T0), false);
  EXPECT_EQ(o.xs, std::vector<double>{1.5});
  EXPECT_TRUE(o.message.empty());  // 2*1.5+1 = 4
}

TEST(Target, LimitsOfTheInterval) {
  Linear l;
  // y = 2x+1 can reach at most 9 with x <= 4: Max is never moved.
  Task(l.tasks(), T0, "Calc!A1", 0, 4, "Calc!B1", 20, 20);
  TargetOutcome hi = RunTargetTask(l.book, ReadTargetTask(l.tasks(), T0), false);
  EXPECT_EQ(hi.message, "Variable max value too low on row 4.");
  EXPECT_EQ(l.msgs.Last(), "Variable max value too low on row 4.\nStop iterations?");
  EXPECT_NEAR(hi.x, 4, 1e-4);
  // Starting at Min, a target below what Min gives moves the interval down only.
  l.book.book().sheet(l.calc).SetNumber(0, 0, 1);
  l.book.book().RecalculateDirty();
  Task(l.tasks(), T0, "Calc!A1", 1, 3, "Calc!B1", 0, 20);
  TargetOutcome lo = RunTargetTask(l.book, ReadTargetTask(l.tasks(), T0), true);
  EXPECT_EQ(lo.message, "Variable min value too high.");
}

TEST(Target, ChecksInOrder) {
  Linear l;
  auto check = [&](bool form) { return IterCell0(l.book, ReadTargetTask(l.tasks(), T0), form); };
  Task(l.tasks(), T0, "Nowhere!A1", 0, 4, "Calc!B1", std::nullopt, 0);
  EXPECT_EQ(check(false), "Reference error in variable cell reference on row 4. Please edit.");
  Task(l.tasks(), T0, "Calc!A1", 0, 4, "Calc!B1", std::nullopt, 0);
  EXPECT_EQ(check(false), " Please give Target Value !");
  l.tasks().SetNumber(T0, tcol::kTargetValue, 5);
  EXPECT_EQ(check(false), "Number of iterations < 1 ?");
  l.tasks().SetNumber(T0, tcol::kIterations, 10);
  EXPECT_EQ(check(false), "");
  // The form's own checks.
  l.tasks().ClearContents(T0, tcol::kVarRef, T0, tcol::kVarRef);
  EXPECT_EQ(check(true), "No variable cell reference on row 4 ?");
  Task(l.tasks(), T0, "Calc!A1", 0, 4, "", 5, 10);
  l.tasks().ClearContents(T0, tcol::kTargetRef, T0, tcol::kTargetRef);
  EXPECT_EQ(check(true), "No target cell reference on row 4 ?");
  Task(l.tasks(), T0, "Calc!B1", 0, 4, "Calc!B1", 5, 10);
  EXPECT_EQ(check(true), "No number in variable cell: Calc!B1");
  Task(l.tasks(), T0, "Calc!A1", 0, 4, "Calc!A1", 5, 10);
  EXPECT_EQ(check(true), "No formula in target cell: Calc!A1");
  Task(l.tasks(), T0, "Calc!A1", 4, 0, "Calc!B1", 5, 10);
  EXPECT_EQ(check(true), "Please check Min and Max values");
}

TEST(Target, StopIterationsEndsTheRun) {
  Linear l;
  Task(l.tasks(), T0, "Calc!A1", 0, 4, "Calc!B1", 20, 5);
  Task(l.tasks(), T0 + 1, "Calc!A1", 0, 4, "Calc!B1", 30, 5);
  l.msgs.Script({platform::Answer::Yes});
  EXPECT_EQ(MTargetCalS(l.book).size(), 1u);
  l.msgs.Script({platform::Answer::No});
  EXPECT_EQ(MTargetCalS(l.book).size(), 2u);
}

TEST(Target, FuelAmountForAChosenProductTemperature) {
  // Methane burnt with 3 kmol O2 in air; products at 1500 °C. Which fuel amount closes the heat balance?
  // The search starts from a small amount of fuel, on the far side of the target from the midpoint: the
  // direction rule then first walks up and halves once the sign changes.
  Fixture f;
  int in = f.book.InSheet(1), out = f.book.OutSheet(1);
  f.book.PutSpecies(in, R, "CH4(g)", 25, col::kKmol, 0.1);
  f.book.PutSpecies(in, R + 1, "O2(g)", 25, col::kKmol, 3);
  f.book.PutSpecies(in, R + 2, "N2(g)", 25, col::kKmol, 11.28);
  const char* rows[][2] = {{"CO2(g)", "=IN1!C4"}, {"H2O(g)", "=2*IN1!C4"}, {"O2(g)", "=IN1!C5-2*IN1!C4"},
                           {"N2(g)", "=IN1!C6"}};
  for (int i = 0; i < 4; ++i) {
    ASSERT_TRUE(f.book.EditCell(out, R + i, col::kFormula, rows[i][0]));
    ASSERT_TRUE(f.book.EditCell(out, R + i, col::kTemp, "1500"));
    ASSERT_TRUE(f.book.EditCell(out, R + i, col::kKmol, rows[i][1]));
  }
  int t = TargetSheet(f.book);
  Task(f.book.book().sheet(t), T0, "IN1!C4", 0, 1.5, "BAL!G6", 0, 30);
  std::vector<TargetOutcome> o = MTargetCalS(f.book);
  ASSERT_EQ(o.size(), 1u);
  EXPECT_EQ(o[0].message, "");
  EXPECT_EQ(o[0].iterations, 30);

  const double T = 1773.15;
  double a = 3 * H(Find("O2(g)"), T) + 11.28 * H(Find("N2(g)"), T);
  double b = H(Find("CO2(g)"), T) + 2 * H(Find("H2O(g)"), T) - 2 * H(Find("O2(g)"), T) - H(Find("CH4(g)"), 298.15);
  double x = -a / b;
  EXPECT_NEAR(f.book.book().sheet(in).Number(R, col::kKmol).value(), x, 1e-6);
  EXPECT_LT(std::fabs(ReadBalSheet(f.book)[0].balance.tot_h), kTargetTolerance);
  // With the fuel found, the temperature solver agrees on 1500 °C.
  TBalResult check = CalTBal(f.book, 1, false);
  EXPECT_TRUE(!check.iterated || std::fabs(check.t_display - 1500) < 0.1);
}

TEST(Target, FormModelWorksOnTheBalance) {
  Linear l;
  BalTargetModel form(l.book);
  platform::Sheet& g = form.grid().sheet(0);
  Task(g, T0, "Calc!A1", 0, 4, "Calc!B1", 6, 30);
  form.F1Link();
  EXPECT_DOUBLE_EQ(g.Number(T0, tcol::kTestValue).value(), 0);
  std::vector<TargetOutcome> o = form.ButIterSel({T0});
  ASSERT_EQ(o.size(), 1u);
  EXPECT_EQ(o[0].message, "");
  EXPECT_NEAR(g.Number(T0, tcol::kTestValue).value(), 2.5, 1e-6);
}

}  // namespace
}  // namespace zyl::balance
