#include "equilibrium/gibbs_solver.h"

#include <gtest/gtest.h>

#include <cmath>

using zyl::equilibrium::GibbsProblem;
using zyl::equilibrium::SolveGibbs;

namespace {

// A2 = 2 A with K = x_A²·P/x_A2. From 1 mol A2 the dissociated fraction is
// α = sqrt(K / (K + 4P)) (closed form of the mass-action law).
TEST(GibbsSolver, DissociationMatchesClosedForm) {
  for (double p : {0.1, 1.0, 10.0}) {
    for (double lnk : {-6.0, 0.0, 3.0}) {
      GibbsProblem pr;
      pr.elements = {"A"};
      pr.element_mol = {2.0};
      pr.pressure = p;
      pr.species = {{"A2", {2.0}, 0.0, false}, {"A", {1.0}, -lnk / 2.0, false}};
      const auto r = SolveGibbs(pr);
      ASSERT_TRUE(r.ok) << r.message;
      const double k = std::exp(lnk);
      const double alpha = std::sqrt(k / (k + 4.0 * p));
      EXPECT_NEAR(r.mol[1], 2.0 * alpha, 1e-8 * 2.0 * alpha) << "P=" << p << " lnK=" << lnk;
      EXPECT_NEAR(r.mol[0], 1.0 - alpha, 1e-8);
      EXPECT_LT(r.max_residual, 1e-10);
    }
  }
}

// C(s) + CO2 = 2 CO with K = 1 at 1 bar: x_CO²/x_CO2 = 1 and x_CO + x_CO2 = 1
// give x_CO = (√5 − 1)/2 while graphite is in excess; with too little carbon
// no graphite may remain and all carbon is gas.
TEST(GibbsSolver, GraphiteAppearsOnlyWhenInExcess) {
  GibbsProblem pr;
  pr.elements = {"C", "O"};
  pr.species = {{"C(s)", {1, 0}, 0.0, true},
                {"CO", {1, 1}, -20.0, false},
                {"CO2", {1, 2}, -40.0, false},
                {"O2", {0, 2}, 0.0, false}};
  pr.element_mol = {5.0, 2.0};
  auto r = SolveGibbs(pr);
  ASSERT_TRUE(r.ok) << r.message;
  const double xco = r.mol[1] / r.gas_mol;
  EXPECT_NEAR(xco, (std::sqrt(5.0) - 1.0) / 2.0, 1e-7);
  EXPECT_GT(r.mol[0], 3.0);
  EXPECT_GT(r.mol[3], 0.0);  // trace O2 is kept, not cut to zero
  EXPECT_LT(r.mol[3], 1e-15);
  EXPECT_LT(r.max_residual, 1e-10);

  pr.element_mol = {0.5, 2.0};
  r = SolveGibbs(pr);
  ASSERT_TRUE(r.ok) << r.message;
  EXPECT_EQ(r.mol[0], 0.0);
  EXPECT_NEAR(r.mol[1] + r.mol[2], 0.5, 1e-10);
  EXPECT_LT(r.max_residual, 1e-10);
}

TEST(GibbsSolver, BadInputIsReportedNotSolved) {
  GibbsProblem pr;
  pr.elements = {"A"};
  pr.element_mol = {-1.0};
  pr.species = {{"A", {1.0}, 0.0, false}};
  EXPECT_FALSE(SolveGibbs(pr).ok);
  pr.element_mol = {1.0};
  pr.pressure = 0.0;
  EXPECT_FALSE(SolveGibbs(pr).ok);
  pr.pressure = 1.0;
  pr.species = {{"A(s)", {1.0}, 0.0, true}};
  EXPECT_FALSE(SolveGibbs(pr).ok);
}

}  // namespace

namespace {

// C-H-O gases with graphite near 1000 K (ΔfG°/RT from the JANAF tables at 1000 K),
// over 5,000 pseudo-random compositions: every one must converge, keep all
// amounts non-negative and balance the elements.
TEST(GibbsSolver, CompositionSweepNeverFails) {
  constexpr double kRT = 8.314462618 * 1000.0 / 1000.0;  // kJ/mol at 1000 K
  GibbsProblem pr;
  pr.elements = {"C", "H", "O"};
  pr.species = {{"H2", {0, 2, 0}, 0.0, false},          {"O2", {0, 0, 2}, 0.0, false},
                {"H2O", {0, 2, 1}, -192.59 / kRT, false}, {"OH", {0, 1, 1}, 16.98 / kRT, false},
                {"H", {0, 1, 0}, 165.49 / kRT, false},    {"O", {0, 0, 1}, 186.87 / kRT, false},
                {"CO", {1, 0, 1}, -200.28 / kRT, false},  {"CO2", {1, 0, 2}, -395.89 / kRT, false},
                {"CH4", {1, 4, 0}, 19.49 / kRT, false},   {"C(gr)", {1, 0, 0}, 0.0, true}};
  unsigned seed = 12345u;
  auto next = [&seed] {
    seed = seed * 1664525u + 1013904223u;
    return (seed >> 8) / 16777216.0;
  };
  int graphite = 0;
  for (int k = 0; k < 5000; ++k) {
    pr.element_mol = {next() * 3.0, next() * 4.0 + 1e-3, next() * 3.0 + 1e-3};
    pr.pressure = std::pow(10.0, next() * 4.0 - 2.0);
    const auto r = SolveGibbs(pr);
    ASSERT_TRUE(r.ok) << k << ": " << r.message;
    EXPECT_LT(r.max_residual, 1e-10) << k;
    for (double m : r.mol) ASSERT_GE(m, 0.0) << k;
    if (r.mol[9] > 0.0) ++graphite;
  }
  EXPECT_GT(graphite, 100);  // the sweep does cross the carbon-deposition boundary
}

}  // namespace
