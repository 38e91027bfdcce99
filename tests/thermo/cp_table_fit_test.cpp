#include "thermo/cp_table_fit.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <random>

#include <fmt/format.h>

#include "thermo/lookup.h"
#include "thermo/species_db.h"

namespace zyl::thermo {
namespace {

SpeciesData Shipped(std::string_view name) {
  auto db = OpenSpeciesDb(std::filesystem::path(ZYL_SOURCE_DATA_DIR) / "Databases/MainDB6.ZYL");
  EXPECT_TRUE(db);
  if (!db) return {};
  SpeciesLocation loc;
  auto span = FindSpeciesInDb(name, *db);
  loc.db = db.get();
  loc.first = span.first;
  loc.last = span.last;
  SpeciesData sp = ReadSpeciesData(loc, name);
  EXPECT_FALSE(sp.ranges.empty()) << name;
  return sp;
}

/// A table of Cp (and optionally H - H298, S, G) of a species at n points evenly spread over [t1, t2].
CpTable Sample(const SpeciesData& sp, double t1, double t2, int n, bool all_columns) {
  CpTable tab;
  tab.has_cp = true;
  tab.has_dh = tab.has_s = tab.has_g = all_columns;
  const double h298 = CalcSpeciesAtTPlain(sp, kT0).h;
  for (int i = 0; i < n; ++i) {
    CpTablePoint p;
    p.t = t1 + (t2 - t1) * i / (n - 1);
    auto v = CalcSpeciesAtTPlain(sp, p.t);
    p.cp = v.cp;
    if (all_columns) {
      p.dh = v.h - h298;
      p.s = v.s;
      p.g = v.g;
    }
    tab.points.push_back(p);
  }
  return tab;
}

double WorstCpMiss(const SpeciesData& ref, const CpFitResult& fit, double t1, double t2) {
  SpeciesData got = FitToSpeciesData(fit.ranges, ref.name);
  double worst = 0;
  for (int i = 0; i <= 400; ++i) {
    double t = t1 + (t2 - t1) * i / 400;
    double a = CalcSpeciesAtTPlain(ref, t).cp, b = CalcSpeciesAtTPlain(got, t).cp;
    worst = std::max(worst, std::fabs(b - a) / std::fabs(a));
  }
  return worst;
}

// Cp of shipped species sampled at 20 points and refitted gives back the stored curve (checked at
// 401 points, between the samples too): a one-range solid, and a three-range solid with its breaks.
TEST(CpTableFit, RefitOfShippedCpCurves) {
  SpeciesData cu = Shipped("Cu");
  CpFitResult one = FitCpTable(Sample(cu, 298.15, 1358, 20, false));
  ASSERT_TRUE(one.ok) << one.error;
  ASSERT_EQ(one.ranges.size(), 1u);
  EXPECT_LT(WorstCpMiss(cu, one, 298.15, 1358), 1e-3);
  EXPECT_LT(one.max_cp_error, 0.1);

  SpeciesData nacl = Shipped("NaCl");
  CpFitOptions opt;
  opt.breaks = {500};
  CpFitResult two = FitCpTable(Sample(nacl, 298.15, 1074, 20, false), opt);
  ASSERT_TRUE(two.ok) << two.error;
  ASSERT_EQ(two.ranges.size(), 2u);
  EXPECT_LT(WorstCpMiss(nacl, two, 298.15, 1074), 1e-3);
  // Cp only: H and S at 298.15 K are not determined and are said to be stored as 0.
  EXPECT_EQ(two.ranges[0].h, 0.0);
  EXPECT_EQ(two.notes.size(), 3u);  // H, S and the break

  SpeciesData al = Shipped("Al2O3");

  // Without breaks the proposer splits the three-range curve where the error demands it.
  CpFitResult proposed = FitCpTable(Sample(al, 298.15, 2327, 60, false));
  ASSERT_TRUE(proposed.ok);
  EXPECT_GT(proposed.ranges.size(), 1u);
  EXPECT_LT(proposed.max_cp_error, 0.5);
}

// NaCl through its melting point: Cp, H - H298, S and G with two rows at 1074 K (solid, liquid).
// The fit needs a break there and keeps the enthalpy of fusion; JANAF (4th ed.) gives
// 28.158 kJ/mol = 6.730 kcal/mol at 1073.8 K, and Sfus = 28.158/1073.8 = 26.22 J/(mol K) = 6.27 cal/(mol K).
TEST(CpTableFit, PhaseChangeKeepsTheTransitionEnthalpy) {
  SpeciesData nacl = Shipped("NaCl");
  CpTable tab = Sample(nacl, 298.15, 1074, 16, true);
  CpTable liq = Sample(nacl, 1074.0001, 1600, 8, true);
  liq.points.front().t = 1074;  // the liquid row at the melting point: the value just above it
  for (auto& p : tab.points) p.phase = "s";
  for (auto& p : liq.points) p.phase = "l";
  tab.has_phase = true;
  tab.points.insert(tab.points.end(), liq.points.begin(), liq.points.end());
  CpFitOptions opt;
  opt.breaks = {500};
  CpFitResult fit = FitCpTable(tab, opt);
  ASSERT_TRUE(fit.ok) << fit.error;
  ASSERT_EQ(fit.ranges.size(), 3u);
  EXPECT_EQ(fit.ranges[1].phase, "s");
  EXPECT_FALSE(fit.ranges[1].transition);
  EXPECT_EQ(fit.ranges[2].phase, "l");
  EXPECT_TRUE(fit.ranges[2].transition);
  EXPECT_DOUBLE_EQ(fit.ranges[2].t1, 1074);
  EXPECT_NEAR(fit.ranges[2].h, 6.730, 0.03);
  EXPECT_NEAR(fit.ranges[2].s, 6.27, 0.03);
  // H and S at 298.15 K follow from G and S: the shipped -98.2935 kcal/mol and 17.2443 cal/(mol K).
  EXPECT_NEAR(fit.ranges[0].h, -98.2935, 1e-3);
  EXPECT_NEAR(fit.ranges[0].s, 17.2443, 1e-3);
  EXPECT_LT(fit.max_dh_error, 2.0);  // cal/mol
  // The liquid row at 1074 K is fitted inside the liquid range.
  EXPECT_EQ(fit.points[16].range, 2);
  EXPECT_NEAR(fit.points[16].dh, *fit.points[16].given.dh, 2.0);

  // The same table without a Phase column: the two rows at 1074 K still make a transition.
  tab.has_phase = false;
  for (auto& p : tab.points) p.phase.clear();
  CpFitResult jump = FitCpTable(tab, opt);
  ASSERT_TRUE(jump.ok);
  ASSERT_EQ(jump.ranges.size(), 3u);
  EXPECT_TRUE(jump.ranges[2].transition);
  EXPECT_NEAR(jump.ranges[2].h, 6.730, 0.03);
}

// Closed form: H - H298 of Cp = 20 + 8e-3 T (cal/(mol K)) is 20 (T - 298.15) + 4e-3 (T^2 - 298.15^2);
// a table of H only gives back A = 20, B = 8 (C and D near 0), with no Cp column at all.
TEST(CpTableFit, EnthalpyOnlyTableGivesTheCoefficients) {
  CpTable tab;
  tab.has_dh = true;
  for (int i = 0; i < 12; ++i) {
    CpTablePoint p;
    p.t = 300 + 100 * i;
    p.dh = 20 * (p.t - kT0) + 4e-3 * (p.t * p.t - kT0 * kT0);
    tab.points.push_back(p);
  }
  CpFitOptions opt;
  opt.h298 = -1000.0;  // cal/mol
  CpFitResult fit = FitCpTable(tab, opt);
  ASSERT_TRUE(fit.ok) << fit.error;
  ASSERT_EQ(fit.ranges.size(), 1u);
  const auto& r = fit.ranges[0];
  EXPECT_NEAR(r.a + r.b * 1e-3 * 800 + r.c * 1e5 / (800.0 * 800) + r.d * 1e-6 * 800 * 800, 20 + 8e-3 * 800, 1e-3);
  EXPECT_NEAR(r.a, 20, 0.01);
  EXPECT_NEAR(r.b, 8, 0.01);
  EXPECT_DOUBLE_EQ(r.h, -1.0);
  EXPECT_LT(fit.max_dh_error, 0.05);
}

// Measured Cp with 1 % scatter: the residuals are reported as they are, and the proposer does not
// chase the noise with extra ranges.
TEST(CpTableFit, NoisyDataShowsItsResiduals) {
  std::mt19937 rng(17);
  std::uniform_real_distribution<double> noise(-0.01, 0.01);
  CpTable tab;
  tab.has_cp = true;
  for (int i = 0; i < 40; ++i) {
    CpTablePoint p;
    p.t = 300 + 25 * i;
    p.cp = (12 + 2e-3 * p.t - 1e5 / (p.t * p.t)) * (1 + noise(rng));
    tab.points.push_back(p);
  }
  CpFitResult fit = FitCpTable(tab);
  ASSERT_TRUE(fit.ok);
  EXPECT_EQ(fit.ranges.size(), 1u);
  EXPECT_GT(fit.max_cp_error, 0.5);
  EXPECT_LT(fit.max_cp_error, 2.0);
  int nonzero = 0;
  for (const auto& p : fit.points) nonzero += std::fabs(p.cp - *p.given.cp) > 1e-4;
  EXPECT_GT(nonzero, 30);
  // The fitted curve stays near the noise-free one.
  SpeciesData sp = FitToSpeciesData(fit.ranges, "X");
  for (double t : {400.0, 700.0, 1000.0})
    EXPECT_NEAR(CalcSpeciesAtTPlain(sp, t).cp, 12 + 2e-3 * t - 1e5 / (t * t), 0.05);
}

TEST(CpTableFit, ParsesUnitsAndHeaders) {
  std::string err;
  // 41.84 J/(mol K) = 10 cal/(mol K); 4.184 kJ/mol = 1000 cal/mol.
  auto j = ParseCpTable("# measured\nT/K; Cp [J/(mol K)]; H-H298; S ; G;Phase\n300;41.84;4.184;;;s\n\n400;41.84;;83.68;-4.184;l\n",
                        false, &err);
  ASSERT_TRUE(j) << err;
  ASSERT_EQ(j->points.size(), 2u);
  EXPECT_DOUBLE_EQ(*j->points[0].cp, 10.0);
  EXPECT_DOUBLE_EQ(*j->points[0].dh, 1000.0);
  EXPECT_FALSE(j->points[0].s);
  EXPECT_DOUBLE_EQ(*j->points[1].s, 20.0);
  EXPECT_DOUBLE_EQ(*j->points[1].g, -1000.0);
  EXPECT_EQ(j->points[1].phase, "l");
  EXPECT_TRUE(j->has_phase && j->has_g);
  auto c = ParseCpTable("T\tCp\n300\t10\n400\t11\n", true, &err);
  ASSERT_TRUE(c);
  EXPECT_DOUBLE_EQ(*c->points[1].cp, 11.0);

  struct Bad {
    const char* text;
    const char* message;
  };
  for (const Bad& b : {Bad{"", "The table is empty (a header line T,Cp,... is needed)"},
                       Bad{"Cp,S\n1,2\n", "Line 1: The table needs a column T"},
                       Bad{"T\n300\n", "Line 1: The table needs a column Cp, H-H298, S or G"},
                       Bad{"T,Cv\n", "Line 1: Unknown column \"Cv\" (use T, Cp, H-H298, S, G, Phase)"},
                       Bad{"T,Cp\n300,1,2\n", "Line 2: 3 fields, the header names 2"},
                       Bad{"T,Cp\n300,1\n-4,2\n", "Line 3: T must be above 0 K"},
                       Bad{"T,Cp\n300,1\n400,1,5\n", "Line 3: 3 fields, the header names 2"},
                       Bad{"T,Cp\n300,1\n400,abc\n", "Line 3: \"abc\" is not a number"},
                       Bad{"T,Cp\n300,nan\n", "Line 2: \"nan\" is not a number"},
                       Bad{"T,Cp\n300,1\n", "The table needs at least 2 rows with values"}}) {
    EXPECT_FALSE(ParseCpTable(b.text, false, &err)) << b.text;
    EXPECT_EQ(err, b.message) << b.text;
  }
}

TEST(CpTableFit, RefusesTablesItCanNotFit) {
  CpTable tab;
  tab.has_cp = true;
  for (double t : {300.0, 400.0, 500.0}) tab.points.push_back({t, 10.0, {}, {}, {}, ""});
  CpFitOptions opt;
  opt.breaks = {900};
  auto out = FitCpTable(tab, opt);
  EXPECT_FALSE(out.ok);
  EXPECT_EQ(out.error, "Break 900 K lies outside the table (300 K to 500 K)");
  tab.points.push_back({400.0, 11.0, {}, {}, {}, ""});
  tab.points.push_back({400.0, 12.0, {}, {}, {}, ""});
  EXPECT_EQ(FitCpTable(tab).error, "More than two rows at 400 K");
  CpTable flat;
  flat.has_cp = true;
  flat.points = {{300.0, 10.0, {}, {}, {}, ""}, {300.0, 10.0, {}, {}, {}, ""}};
  EXPECT_EQ(FitCpTable(flat).error, "The table needs rows at two or more temperatures");
}

// Random and truncated tables never crash the parser or the fitter.
TEST(CpTableFit, RandomAndTruncatedTablesSurvive) {
  int cases = 300;
  if (const char* env = std::getenv("ZYL_FUZZ_CASES")) cases = std::max(1, std::atoi(env));
  const std::string good =
      "T,Cp,H-H298,S,G,Phase\n298.15,25,0,33,-9.8,s\n500,26,5.1,46,-18,s\n1000,28,19,65,-46,s\n1358,30,29,74,-72,s\n"
      "1358,32,42,84,-72,l\n1600,32,50,90,-94,l\n";
  std::mt19937 rng(4);
  const std::string alphabet = "0123456789.,;-+eE\tTCpHSGhase\n #";
  for (int i = 0; i < cases; ++i) {
    std::string text = good.substr(0, rng() % (good.size() + 1));
    int edits = static_cast<int>(rng() % 6);
    for (int e = 0; e < edits && !text.empty(); ++e)
      text[rng() % text.size()] = alphabet[rng() % alphabet.size()];
    std::string err;
    auto tab = ParseCpTable(text, i % 2 == 0, &err);
    if (!tab) {
      EXPECT_FALSE(err.empty());
      continue;
    }
    auto fit = FitCpTable(*tab);
    if (fit.ok) {
      for (const auto& r : fit.ranges) EXPECT_LE(r.t1, r.t2);
    }
  }
}

}  // namespace
}  // namespace zyl::thermo
