#include "platform/workbook.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <random>

#include "platform/workbook_formula.h"

namespace zyl::platform {
namespace {

double Num(const Workbook& wb, std::string_view ref) {
  auto v = wb.ValueOf(ref);
  EXPECT_TRUE(v && v->is_number()) << ref;
  return v && v->is_number() ? v->number : NAN;
}

std::string Err(const Workbook& wb, std::string_view ref) {
  auto v = wb.ValueOf(ref);
  return v && v->is_error() ? std::string(ErrorText(v->error)) : "(no error)";
}

TEST(Workbook, ArithmeticAndFunctions) {
  Workbook wb;
  Sheet& s = wb.sheet(0);
  s.SetNumber(0, 0, 2);
  s.SetNumber(1, 0, 3);
  s.SetText(2, 0, "text");
  struct Case {
    const char* formula;
    double expected;
  } cases[] = {
      {"=A1+A2*2", 8},        {"=-A1^2", 4},          {"=2^3^2", 64},
      {"=SUM(A1:A3)", 5},     {"=AVERAGE(A1:A4)", 2.5}, {"=COUNT(A1:A3)", 2},
      {"=MIN(A1:A2,-1)", -1}, {"=MAX(A1:A2)", 3},     {"=ABS(-4)", 4},
      {"=SQRT(16)", 4},       {"=LN(EXP(2))", 2},     {"=LOG(100)", 2},
      {"=LOG(8,2)", 3},       {"=LOG10(1000)", 3},    {"=POWER(2,10)", 1024},
      {"=IF(A1>1,10,20)", 10}, {"=IF(AND(A1>1,OR(A2<0,NOT(FALSE))),1,0)", 1},
      {"=ROUND(2.675,2)", 2.68}, {"=ROUND(-1.5,0)", -2}, {"=INT(-1.5)", -2},
      {"=MOD(-7,3)", 2},      {"=PI()", M_PI},        {"=50%", 0.5},
      {"=A9+1", 1},           {"=\"3\"+1", 4},        {"=1E+15*2", 2e15},
      {"=(1+2)*3", 9},        {"=1+2=3", 1},
  };
  int row = 10;
  for (const auto& c : cases) {
    EXPECT_EQ(s.SetFormula(row, 1, c.formula), "") << c.formula;
    auto v = s.Value(row, 1);
    ASSERT_TRUE(v.is_number() || v.is_bool()) << c.formula << " gave " << FormatValue(v, "");
    EXPECT_NEAR(v.number, c.expected, 1e-12) << c.formula;
    ++row;
  }
  EXPECT_EQ(wb.Evaluate("=\"a\"&\"b\"&1.5").text, "ab1.5");
  // Typed in any case, shown as spreadsheets show it.
  s.SetFormula(0, 5, "=sum( a1:$b$2 ) + if(true, in1!c5, #ref!)&\"abc\"");
  EXPECT_EQ(s.Formula(0, 5), "=SUM( A1:$B$2 ) + IF(TRUE, in1!C5, #REF!)&\"abc\"");  // sheet names keep their case
}

TEST(Workbook, ErrorValues) {
  Workbook wb;
  Sheet& s = wb.sheet(0);
  s.SetText(0, 0, "abc");
  s.SetFormula(1, 0, "=1/0");
  s.SetFormula(2, 0, "=A1+1");
  s.SetFormula(3, 0, "=NOSUCH(1)");
  s.SetFormula(4, 0, "=SQRT(-1)");
  s.SetFormula(5, 0, "=SUM(A2,1)");
  s.SetFormula(6, 0, "=Nowhere!A1");
  s.SetFormula(7, 0, "=IF(TRUE,1,1/0)");
  EXPECT_EQ(Err(wb, "A2"), "#DIV/0!");
  EXPECT_EQ(Err(wb, "A3"), "#VALUE!");
  EXPECT_EQ(Err(wb, "A4"), "#NAME?");
  EXPECT_EQ(Err(wb, "A5"), "#NUM!");
  EXPECT_EQ(Err(wb, "A6"), "#DIV/0!");
  EXPECT_EQ(Err(wb, "A7"), "#REF!");
  EXPECT_EQ(Num(wb, "A8"), 1);
  EXPECT_NE(s.SetFormula(8, 0, "=1+"), "");
  EXPECT_EQ(Err(wb, "A9"), "#NAME?");
  EXPECT_EQ(s.Formula(8, 0), "=1+");
}

TEST(Workbook, IncrementalRecalcAndCycles) {
  Workbook wb;
  Sheet& s = wb.sheet(0);
  s.SetNumber(0, 0, 1);
  // A chain down the whole column: no recursion, however long.
  for (int r = 1; r < kMaxRows; ++r) s.SetFormula(r, 0, "=A" + std::to_string(r) + "+1");
  EXPECT_EQ(Num(wb, "A65536"), 65536);
  s.SetNumber(0, 0, 10);
  EXPECT_EQ(Num(wb, "A65536"), 65545);
  // A cycle is marked, not followed; breaking it recovers.
  s.SetFormula(0, 0, "=A65536");
  EXPECT_EQ(Err(wb, "A1"), "#CIRC!");
  EXPECT_EQ(Err(wb, "A2"), "#CIRC!");
  s.SetNumber(0, 0, 0);
  EXPECT_EQ(Num(wb, "A65536"), 65535);
  s.SetFormula(0, 1, "=SUM(B1:B3)");
  EXPECT_EQ(Err(wb, "B1"), "#CIRC!");
}

TEST(Workbook, DeeplyNestedFormulaIsAnError) {
  Workbook wb;
  std::string f = "=" + std::string(5000, '(') + "1" + std::string(5000, ')');
  EXPECT_NE(wb.sheet(0).SetFormula(0, 0, f), "");
  EXPECT_EQ(Err(wb, "A1"), "#NAME?");
  std::string g = "=" + std::string(100000, '-') + "1";
  EXPECT_NE(wb.sheet(0).SetFormula(1, 0, g), "");
}

TEST(Workbook, CrossSheetWholeColumnSums) {
  Workbook wb("BAL");
  ASSERT_EQ(wb.InsertSheet("IN1"), "");
  Sheet& bal = wb.sheet(0);
  Sheet& in = wb.sheet(1);
  bal.SetFormula(2, 2, "=SUM(IN1!$C$1:$C$65536)-SUM(IN1!$O$1:$O$65536)");
  in.SetNumber(5, 2, 4);
  in.SetNumber(6, 2, 6);
  in.SetFormula(4, 2, "=SUM(C6:C7)");
  in.SetFormula(4, 14, "=C5");
  EXPECT_EQ(Num(wb, "BAL!C3"), 10);
  in.SetNumber(6, 2, 1);
  EXPECT_EQ(Num(wb, "BAL!C3"), 5);
}

}  // namespace
}  // namespace zyl::platform

namespace zyl::platform {
namespace {

int FuzzCases() {
  const char* env = std::getenv("ZYL_FUZZ_CASES");
  int n = env ? std::atoi(env) : 0;
  return n > 0 ? n : 100000;
}

// Random formulas from spreadsheet pieces and random bytes: never a crash, and a formula that compiles keeps its
// value when its references are written back by the rewriter.
TEST(Workbook, FuzzFormulas) {
  static const char* kPieces[] = {"1",    "2.5",  "1E+3", "A1",   "$B$2",  "C3:D9", "S2!A1", "'S 3'!B1:B4",
                                  "+",    "-",    "*",    "/",    "^",     "&",     "%",     "=",
                                  "<>",   "<=",   "(",    ")",    ",",     "SUM(",  "IF(",   "ROUND(",
                                  "\"x\"", "TRUE", "#REF!", "LOG(", "MOD(", " ",    "IV65536", "A:B",
                                  "'",    "!",    "$",    "\"",   "NOPE(", "#DIV/0!", "1.2.3", "A0"};
  Workbook wb("S1");
  wb.InsertSheet("S2");
  wb.InsertSheet("S 3");
  Sheet& s = wb.sheet(0);
  for (int r = 0; r < 10; ++r)
    for (int c = 0; c < 4; ++c) s.SetNumber(r, c, r * 4 + c + 1);
  std::mt19937 rng(99);
  int cases = FuzzCases();
  int compiled = 0;
  for (int i = 0; i < cases; ++i) {
    std::string f;
    if (i % 10 == 0) {
      f.resize(rng() % 40);
      for (char& ch : f) ch = char(rng() % 256);
    } else {
      int n = 1 + int(rng() % 12);
      for (int k = 0; k < n; ++k) f += kPieces[rng() % std::size(kPieces)];
    }
    std::string error = s.SetFormula(20, 0, f);
    CellValue v = s.Value(20, 0);
    if (!error.empty()) continue;
    ++compiled;
    std::string back = RewriteRefs(f, [](RefToken&) { return true; });
    ASSERT_EQ(s.SetFormula(21, 0, back), "") << f << " -> " << back;
    EXPECT_TRUE(s.Value(21, 0) == v || (v.is_number() && std::isnan(v.number))) << f << " -> " << back;
  }
  EXPECT_GT(compiled, cases / 50);
}

}  // namespace
}  // namespace zyl::platform
